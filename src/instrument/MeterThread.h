#pragma once
// Where the driver's exchanges run. A meter that does not answer holds an
// exchange for the link's whole timeout; run on the window's thread that would
// freeze every window for that long, so once the meter thread is started every
// use of the driver goes through it: the work runs on the meter's own thread, in
// the order it was handed over, and what the windows do with the outcome runs
// afterwards on their thread, in the same order.
//
// Before `start()` (unit tests of the panel logic, tools that need no window) the
// work and its continuation run at once on the caller's thread, so a caller
// never needs to know which of the two it got.

#include <QObject>
#include <QPointer>

#include <atomic>
#include <functional>
#include <memory>

class QThread;

namespace kvx {

class clsKVX5310;

class MeterThread {
public:
    MeterThread();
    ~MeterThread();
    MeterThread(const MeterThread&) = delete;
    MeterThread& operator=(const MeterThread&) = delete;

    // Starts the thread; from then on the driver is used there only.
    void start();
    // Runs what is queued, releases the driver on its own thread (links are
    // closed where they were opened) and ends the thread.
    void stop();
    bool running() const { return m_thread != nullptr; }

    // Queues `work`; `done` then runs on `context`'s thread with the result,
    // unless `context` is gone by then.
    template <class Result>
    void call(QObject* context, std::function<Result(clsKVX5310&)> work, std::function<void(Result)> done) {
        auto result = std::make_shared<Result>();
        enqueue(context, [work = std::move(work), result](clsKVX5310& meter) { *result = work(meter); },
                [done = std::move(done), result] { done(std::move(*result)); });
    }
    // Queues work whose outcome nobody waits for.
    void post(std::function<void(clsKVX5310&)> work);
    // Queues work and a continuation without a result.
    void post(QObject* context, std::function<void(clsKVX5310&)> work, std::function<void()> done);

    // Work handed over and not yet finished (continuations not counted).
    int pending() const { return m_pending.load(); }
    // Waits, with the event loop running, until all work handed over so far has
    // finished and its continuations have run. For quit, and for tests.
    // False when `timeoutMs` ran out first.
    bool settle(int timeoutMs = 30000);

private:
    void enqueue(QObject* context, std::function<void(clsKVX5310&)> work, std::function<void()> done);

    QThread* m_thread = nullptr;
    QObject* m_worker = nullptr; // lives on m_thread; work is queued to it
    std::atomic<int> m_pending{0};
    std::atomic<int> m_continuationsDue{0};
};

// The program's one meter thread.
MeterThread& meterThread();

} // namespace kvx
