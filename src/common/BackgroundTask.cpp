#include "BackgroundTask.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QGuiApplication>
#include <QPointer>
#include <QProgressDialog>
#include <QThread>
#include <QTimer>

#include <memory>

namespace kvx {

namespace {

int g_running = 0;

constexpr int kShowAfterMs = 400;   // quick work never flashes a window
constexpr int kRefreshEveryMs = 100; // the bar moves ten times a second

bool windowsCanShow() {
    return qobject_cast<QGuiApplication*>(QCoreApplication::instance()) != nullptr &&
           QGuiApplication::platformName() != QLatin1String("offscreen");
}

// The progress window of one task: refreshed by a timer from the shared
// counters, so the work never waits on the window.
class ProgressWindow {
public:
    ProgressWindow(const QString& label, std::shared_ptr<TaskProgress> progress, bool cancellable)
        : m_progress(std::move(progress)) {
        if (!windowsCanShow())
            return;
        m_dialog = new QProgressDialog(label, QStringLiteral("Cancel"), 0, 0);
        if (!cancellable)
            m_dialog->setCancelButton(nullptr);
        m_dialog->setObjectName(QStringLiteral("taskProgress"));
        m_dialog->setWindowModality(Qt::NonModal);
        m_dialog->setMinimumDuration(kShowAfterMs);
        m_dialog->setAutoClose(false);
        m_dialog->setAutoReset(false);
        QObject::connect(m_dialog, &QProgressDialog::canceled, [progress = m_progress] { progress->cancel(); });
        m_timer.setInterval(kRefreshEveryMs);
        QObject::connect(&m_timer, &QTimer::timeout, [this] { refresh(); });
        m_timer.start();
    }
    ~ProgressWindow() { delete m_dialog.data(); }
    ProgressWindow(const ProgressWindow&) = delete;
    ProgressWindow& operator=(const ProgressWindow&) = delete;

private:
    void refresh() {
        if (!m_dialog)
            return;
        // Counts past an int's range are shown in thousandths of the total.
        const qint64 total = m_progress->total();
        if (total > 0) {
            m_dialog->setMaximum(1000);
            m_dialog->setValue(int(qMin<qint64>(1000, m_progress->done() * 1000 / total)));
        }
    }

    std::shared_ptr<TaskProgress> m_progress;
    QPointer<QProgressDialog> m_dialog;
    QTimer m_timer;
};

} // namespace

void TaskLane::queue(std::function<void()> start) {
    m_waiting.push_back(std::move(start));
    if (!m_busy)
        next();
}

void TaskLane::next() {
    // A start that starts no task leaves the lane free for the one after it.
    while (!m_busy && !m_waiting.empty()) {
        const std::function<void()> start = std::move(m_waiting.front());
        m_waiting.pop_front();
        start();
    }
}

void runInBackground(const QString& label, std::function<TaskOutcome(TaskProgress&)> work,
                     std::function<void(const TaskOutcome&)> finished, TaskOptions options) {
    auto progress = std::make_shared<TaskProgress>();
    auto outcome = std::make_shared<TaskOutcome>();
    auto window = std::make_shared<ProgressWindow>(label, progress, options.cancellable);
    if (options.lane)
        options.lane->m_busy = true;
    QThread* thread = QThread::create([progress, outcome, work = std::move(work)] {
        *outcome = work(*progress);
        outcome->cancelled = outcome->cancelled || (!outcome->ok && progress->cancelled());
    });
    ++g_running;
    // The receiver is the application object, so `finished` runs on this thread.
    QObject::connect(
        thread, &QThread::finished, QCoreApplication::instance(),
        [thread, outcome, window, lane = options.lane, finished = std::move(finished)]() mutable {
            thread->deleteLater();
            window.reset();
            if (finished)
                finished(*outcome);
            // The next task of the lane starts before this one stops counting, so
            // that a wait for background work sees the lane through to its end.
            if (lane) {
                lane->m_busy = false;
                lane->next();
            }
            --g_running;
        });
    thread->start();
}

int backgroundTasksRunning() {
    return g_running;
}

void waitForBackgroundTasks() {
    while (g_running > 0)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

} // namespace kvx
