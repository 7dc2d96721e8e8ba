#include "MeterThread.h"

#include "clsKVX5310.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QThread>
#include <QTimer>

namespace kvx {

namespace {

// A failure inside one exchange must not end the thread, nor leave the work
// counted as pending for ever; the driver already logs what went wrong.
void runGuarded(const std::function<void(clsKVX5310&)>& work) {
    try {
        work(driver());
    } catch (...) {
    }
}

} // namespace

MeterThread::MeterThread() = default;

MeterThread::~MeterThread() {
    stop();
}

void MeterThread::start() {
    if (m_thread)
        return;
    m_thread = new QThread;
    m_thread->setObjectName(QStringLiteral("meter"));
    m_worker = new QObject;
    m_worker->moveToThread(m_thread);
    QObject::connect(m_thread, &QThread::finished, m_worker, &QObject::deleteLater);
    m_thread->start();
}

void MeterThread::stop() {
    if (!m_thread)
        return;
    // The links were opened on the meter thread; they are closed there too.
    post([](clsKVX5310&) { releaseDriver(); });
    QMetaObject::invokeMethod(m_worker, [thread = m_thread] { thread->quit(); }, Qt::QueuedConnection);
    m_thread->wait();
    delete m_thread;
    m_thread = nullptr;
    m_worker = nullptr;
    m_pending = 0;
    // Continuations still queued find their work done; they run as usual.
}

void MeterThread::post(std::function<void(clsKVX5310&)> work) {
    enqueue(nullptr, std::move(work), {});
}

void MeterThread::post(QObject* context, std::function<void(clsKVX5310&)> work, std::function<void()> done) {
    enqueue(context, std::move(work), std::move(done));
}

void MeterThread::enqueue(QObject* context, std::function<void(clsKVX5310&)> work, std::function<void()> done) {
    if (!m_thread) {
        runGuarded(work);
        if (done)
            done();
        return;
    }
    ++m_pending;
    // The continuation goes back through the application object, which outlives
    // every window; a window closed meanwhile is noticed there, on its own thread.
    QPointer<QObject> guard(context);
    if (done)
        ++m_continuationsDue;
    QMetaObject::invokeMethod(
        m_worker,
        [this, work = std::move(work), done = std::move(done), guard, hadContext = context != nullptr] {
            runGuarded(work);
            --m_pending;
            if (!done)
                return;
            QMetaObject::invokeMethod(
                QCoreApplication::instance(),
                [this, done, guard, hadContext] {
                    --m_continuationsDue;
                    if (!hadContext || guard)
                        done();
                },
                Qt::QueuedConnection);
        },
        Qt::QueuedConnection);
}

bool MeterThread::settle(int timeoutMs) {
    const QDeadlineTimer deadline(timeoutMs);
    const auto busy = [this] { return m_pending.load() > 0 || m_continuationsDue.load() > 0; };
    while (busy() && !deadline.hasExpired()) {
        QCoreApplication::sendPostedEvents();
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        if (busy())
            QThread::usleep(200);
    }
    return !busy();
}

MeterThread& meterThread() {
    static MeterThread thread;
    return thread;
}

} // namespace kvx
