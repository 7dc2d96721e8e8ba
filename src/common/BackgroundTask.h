#pragma once
// Long work the operator starts (an export of a long trace) runs on a thread of
// its own, so that polling, recording and every window go on meanwhile. Once the
// work takes longer than a moment, a progress window shows how far it got, with a
// Cancel key; it is not modal, so the other windows stay usable. Without a display
// (an unattended run) there is no window, only the work.

#include <QString>

#include <atomic>
#include <deque>
#include <functional>

namespace kvx {

// Shared by the work and the progress window; safe to use from both threads.
class TaskProgress {
public:
    void setTotal(qint64 total) { m_total = total; }
    void setDone(qint64 done) { m_done = done; }
    qint64 total() const { return m_total; }
    qint64 done() const { return m_done; }
    // The work asks this between steps and stops when it is set.
    bool cancelled() const { return m_cancelled; }
    void cancel() { m_cancelled = true; }

private:
    std::atomic<qint64> m_total{0};
    std::atomic<qint64> m_done{0};
    std::atomic<bool> m_cancelled{false};
};

// What the work hands back, read by `finished` on the thread that started it.
struct TaskOutcome {
    bool ok = false;
    bool cancelled = false;
    QString error; // why it failed, for the operator
};

class TaskLane;

struct TaskOptions {
    TaskLane* lane = nullptr;
    // Work that must end as a whole (a trace half replaced would not match its
    // header) shows its progress without a Cancel key.
    bool cancellable = true;
};

// Starts `work` on a thread of its own and returns at once. `finished` runs later on
// the calling thread (which must run an event loop), after the thread has ended.
// `label` is the progress window's text.
void runInBackground(const QString& label, std::function<TaskOutcome(TaskProgress&)> work,
                     std::function<void(const TaskOutcome&)> finished, TaskOptions options = {});

// Tasks that must never overlap (two rebuilds of one trace) share a lane: each
// starts once the one before it has finished, its `finished` included, in the
// order they were asked for. Used on the event loop's thread only.
class TaskLane {
public:
    // Runs `start` at once when the lane is free, else after what runs or waits in it.
    // `start` may start one task in this lane (runInBackground with it), or none.
    void queue(std::function<void()> start);
    bool busy() const { return m_busy || !m_waiting.empty(); }

private:
    friend void runInBackground(const QString&, std::function<TaskOutcome(TaskProgress&)>,
                                std::function<void(const TaskOutcome&)>, TaskOptions);
    void next();
    bool m_busy = false;
    std::deque<std::function<void()>> m_waiting;
};

// Background work not yet finished. Quitting and the command line wait for it.
int backgroundTasksRunning();
// Runs the event loop until no background work is left (the work's `finished` included).
void waitForBackgroundTasks();

} // namespace kvx
