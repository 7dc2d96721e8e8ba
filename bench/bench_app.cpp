// Start-up of the whole program, offscreen: the database opened, the six child
// windows loaded and placed, the front panel's link opened against the simulated
// meter on a pseudo-terminal and its saved function pressed, until the frame and
// every child window are shown and painted, with a working trace of 1,000 and of
// 1,000,000 samples left from the last run. Goal: under 0.5 s; the data table
// fills afterwards.
//
// Event-loop lateness while tracing: the real frame tracing against the simulator
// as it behaves normally, hangs, answers in 400 ms, drops the line or sends
// garbage, with a 10 ms probe timer measuring how late the window's event loop
// gets round to it. Goal: p99 under 30 ms, the worst under 100 ms. The floor is
// the same probe in an event loop with nothing else to do.

#include "MeterThread.h"
#include "MonitorServer.h"
#include "RecordStore.h"
#include "WorkingTrace.h"
#include "clsKVX5310.h"
#include "TestServices.h"
#include "Session.h"
#include "mdiMain.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QThread>
#include <QWebSocket>
#include <QEventLoop>
#include <QTimer>

#include <QApplication>
#include <QDir>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QProcess>
#include <QTemporaryDir>
#include <QWindow>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <ctime>
#include <memory>
#include <vector>

namespace {

// One simulated meter for all runs, stopped when the application object goes.
class SimulatedMeter : public QObject {
public:
    explicit SimulatedMeter(QObject* parent) : QObject(parent) {
        m_process.start(QStringLiteral(KVX_SIM_BINARY),
                        {QStringLiteral("--pty"), QStringLiteral("--seed"), QStringLiteral("1")});
        if (m_process.waitForStarted() && m_process.waitForReadyRead(5000))
            m_device = QString::fromUtf8(m_process.readLine()).trimmed();
    }
    ~SimulatedMeter() override {
        m_process.terminate();
        m_process.waitForFinished(2000);
    }
    QString device() const { return m_device; }

private:
    QProcess m_process;
    QString m_device;
};

QString simulatedMeterDevice() {
    static SimulatedMeter* meter = new SimulatedMeter(qApp);
    return meter->device();
}

bool allWindowsShown(kvx::mdiMain& frame) {
    if (!frame.windowHandle() || !frame.windowHandle()->isExposed())
        return false;
    const auto subs = frame.area()->subWindowList();
    if (subs.size() != 6)
        return false;
    for (const QMdiSubWindow* sub : subs) {
        if (!sub->isVisible())
            return false;
    }
    return true;
}

// A program folder whose database holds a working trace of `rows` samples.
bool prepareWorkingTrace(const QString& folder, qint64 rows) {
    const QString path = QDir(folder).filePath(QString::fromLatin1(kvx::kDatabaseFile));
    if (!kvx::recordStore().open(path)) // creates the tables
        return false;
    kvx::recordStore().close();
    return benchsupport::fillWorkingTrace(path, rows);
}

// One start-up, from an empty frame to every window painted. False when start-up failed.
bool startUp(kvx::mdiMain& frame) {
    if (!frame.load())
        return false;
    frame.show();
    frame.activatePanel();
    while (!allWindowsShown(frame))
        QCoreApplication::processEvents();
    QCoreApplication::processEvents(); // the first paint of the children
    return true;
}

void runStartUps(benchmark::State& state, bool firstRun, qint64 traceRows = 0) {
    const QString device = simulatedMeterDevice();
    if (device.isEmpty()) {
        state.SkipWithError("the simulator did not start");
        return;
    }
    kvx::setMessages(std::make_shared<kvx::ScriptedMessageService>());
    QTemporaryDir folder;
    if (traceRows > 0 && !prepareWorkingTrace(folder.path(), traceRows)) {
        state.SkipWithError("could not build the working trace (sqlite3 shell missing?)");
        return;
    }
    for (auto _ : state) {
        state.PauseTiming();
        kvx::resetSession();
        kvx::session().programFolder = folder.path();
        kvx::session().linkOverride = QStringLiteral("serial:") + device;
        if (firstRun)
            QFile::remove(QDir(folder.path()).filePath(QString::fromLatin1(kvx::kDatabaseFile)));
        auto frame = std::make_unique<kvx::mdiMain>();
        state.ResumeTiming();

        const bool started = startUp(*frame);

        state.PauseTiming();
        frame.reset();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        state.ResumeTiming();
        if (!started) {
            state.SkipWithError("start-up failed");
            return;
        }
    }
}

void BM_StartUpToAllWindowsShown(benchmark::State& state) {
    runStartUps(state, false, state.range(0));
}
void BM_FirstRunStartUpCreatingDatabase(benchmark::State& state) {
    runStartUps(state, true);
}

// How late a 10 ms timer fires, in milliseconds, over `seconds` of the event loop.
std::vector<double> probeLateness(double seconds) {
    std::vector<double> lateness;
    QTimer probe;
    probe.setTimerType(Qt::PreciseTimer);
    probe.setInterval(10);
    QElapsedTimer sinceLast;
    QObject::connect(&probe, &QTimer::timeout, [&] {
        lateness.push_back(std::max(0.0, sinceLast.nsecsElapsed() / 1e6 - 10.0));
        sinceLast.restart();
    });
    QEventLoop loop;
    QTimer::singleShot(static_cast<int>(seconds * 1000), &loop, &QEventLoop::quit);
    sinceLast.start();
    probe.start();
    loop.exec();
    return lateness;
}

void reportLateness(benchmark::State& state, std::vector<double> lateness) {
    if (lateness.empty())
        return;
    std::sort(lateness.begin(), lateness.end());
    const auto at = [&](double fraction) {
        return lateness[std::min(lateness.size() - 1, static_cast<size_t>(fraction * lateness.size()))];
    };
    state.counters["p50_ms"] = at(0.50);
    state.counters["p99_ms"] = at(0.99);
    state.counters["max_ms"] = lateness.back();
    state.counters["probes"] = static_cast<double>(lateness.size());
}

// The meter's behaviours the lateness bench runs against.
const std::vector<QStringList>& meterBehaviours() {
    static const std::vector<QStringList> behaviours{
        {"--pty", "--seed", "1"},                           // 0: normal
        {"--pty", "--no-reply-after", "10"},                // 1: hangs after the trace has started
        {"--pty", "--reply-delay", "400"},                  // 2: answers in 400 ms
        {"--tcp", "0", "--drop-after", "10", "--down-ms", "3000"}, // 3: the line drops and comes back
        {"--pty", "--garbage"},                             // 4: garbage
    };
    return behaviours;
}

constexpr double kTraceSeconds = 10;

// Arguments: the meter's behaviour (above), and 1 to run the exchanges on the meter
// thread as the program does, 0 to run them on the window's thread.
void BM_EventLoopLatenessWhileTracing(benchmark::State& state) {
    QProcess sim;
    sim.start(QStringLiteral(KVX_SIM_BINARY), meterBehaviours().at(static_cast<size_t>(state.range(0))));
    if (!sim.waitForStarted() || !sim.waitForReadyRead(5000)) {
        state.SkipWithError("the simulator did not start");
        return;
    }
    const QString where = QString::fromUtf8(sim.readLine()).trimmed();
    const QString link = where.startsWith(QLatin1String("tcp:")) ? where : QStringLiteral("serial:") + where;
    const bool meterThread = state.range(1) == 1;
    kvx::setMessages(std::make_shared<kvx::ScriptedMessageService>());
    for (auto _ : state) {
        QTemporaryDir folder;
        kvx::resetSession();
        kvx::session().programFolder = folder.path();
        kvx::session().linkOverride = link;
        if (meterThread)
            kvx::meterThread().start();
        auto frame = std::make_unique<kvx::mdiMain>();
        if (!startUp(*frame)) {
            state.SkipWithError("start-up failed");
            return;
        }
        kvx::meterThread().settle();
        frame->startTrace();
        reportLateness(state, probeLateness(kTraceSeconds));
        frame.reset();
        kvx::meterThread().stop();
        kvx::releaseDriver();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    sim.terminate();
    sim.waitForFinished(2000);
}

void BM_EventLoopLatenessFloor(benchmark::State& state) {
    for (auto _ : state)
        reportLateness(state, probeLateness(kTraceSeconds));
}

} // namespace

BENCHMARK(BM_EventLoopLatenessWhileTracing)
    ->ArgsProduct({{0, 1, 2, 3, 4}, {1}})
    ->Args({1, 0})
    ->Args({2, 0})
    ->Unit(benchmark::kSecond)
    ->UseRealTime()
    ->Iterations(1);
BENCHMARK(BM_EventLoopLatenessFloor)->Unit(benchmark::kSecond)->UseRealTime()->Iterations(1);
BENCHMARK(BM_StartUpToAllWindowsShown)
    ->ArgName("trace")
    ->Arg(1000)
    ->Arg(1000000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->MeasureProcessCPUTime()
    ->Iterations(10);
BENCHMARK(BM_FirstRunStartUpCreatingDatabase)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(10);

// ---- The monitor page --------------------------------------------------------
// The real frame tracing against the simulator while its monitor page serves 20
// WebSocket clients, beside the same with none: how late the event loop the
// polling tick runs on gets, and the CPU that loop spends. The clients run on a
// thread of their own, so only the program's side lands on the loop measured.
// Goal: the lateness within the tracing goals above, 20 clients under 5 % of one
// core. And a browser joining a 100,000-sample trace: every page of
// /api/trace fetched and parsed, beside the sqlite3 shell writing the same rows
// as JSON (the floor).

namespace {

class WebSocketClients final : public QThread {
public:
    WebSocketClients(QUrl url, int count) : m_url(std::move(url)), m_count(count) {}
    std::atomic<int> connected{0};
    std::atomic<qint64> messages{0};

protected:
    void run() override {
        std::vector<std::unique_ptr<QWebSocket>> sockets;
        for (int i = 0; i < m_count; ++i) {
            auto socket = std::make_unique<QWebSocket>();
            QObject::connect(socket.get(), &QWebSocket::connected, [this] { ++connected; });
            QObject::connect(socket.get(), &QWebSocket::textMessageReceived, [this] { ++messages; });
            socket->open(m_url);
            sockets.push_back(std::move(socket));
        }
        exec();
    }

private:
    QUrl m_url;
    int m_count;
};

double threadCpuSeconds() {
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return double(t.tv_sec) + double(t.tv_nsec) / 1e9;
}

void BM_MonitorLatenessWithClients(benchmark::State& state) {
    const QString device = simulatedMeterDevice();
    if (device.isEmpty()) {
        state.SkipWithError("the simulator did not start");
        return;
    }
    const int clientCount = int(state.range(0));
    kvx::setMessages(std::make_shared<kvx::ScriptedMessageService>());
    for (auto _ : state) {
        QTemporaryDir folder;
        kvx::resetSession();
        kvx::session().programFolder = folder.path();
        kvx::session().linkOverride = QStringLiteral("serial:") + device;
        kvx::meterThread().start();
        auto frame = std::make_unique<kvx::mdiMain>();
        QString error;
        std::unique_ptr<kvx::MonitorServer> monitor;
        if (!startUp(*frame) || !(monitor = kvx::startMonitor(QStringLiteral("0"), QString(), {}, &error))) {
            state.SkipWithError("start-up failed");
            return;
        }
        kvx::meterThread().settle();
        WebSocketClients clients(QUrl(QStringLiteral("ws://127.0.0.1:%1/ws").arg(monitor->port())), clientCount);
        clients.start();
        QElapsedTimer waited;
        waited.start();
        while (clients.connected < clientCount && waited.elapsed() < 10000)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        frame->startTrace();
        const double cpuBefore = threadCpuSeconds();
        reportLateness(state, probeLateness(kTraceSeconds));
        state.counters["loop_cpu_pct"] = (threadCpuSeconds() - cpuBefore) / kTraceSeconds * 100.0;
        state.counters["clients"] = monitor->clientCount();
        state.counters["messages_per_client_s"] =
            clientCount > 0 ? double(clients.messages) / clientCount / kTraceSeconds : 0.0;
        clients.quit();
        clients.wait();
        monitor.reset();
        frame.reset();
        kvx::meterThread().stop();
        kvx::releaseDriver();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
}

constexpr qint64 kJoinedTrace = 100000;

void BM_MonitorLateJoinerFetch(benchmark::State& state) {
    QTemporaryDir folder;
    const QString path = QDir(folder.path()).filePath(QString::fromLatin1(kvx::kDatabaseFile));
    QString error;
    std::unique_ptr<kvx::MonitorServer> monitor;
    if (!prepareWorkingTrace(folder.path(), kJoinedTrace) || !kvx::recordStore().open(path) ||
        !(monitor = kvx::startMonitor(QStringLiteral("0"), QString(), {}, &error))) {
        state.SkipWithError("could not build the working trace or serve it");
        return;
    }
    QNetworkAccessManager network;
    qint64 samples = 0;
    for (auto _ : state) {
        samples = 0;
        QJsonValue next = 0;
        while (next.isDouble()) {
            QNetworkReply* reply = network.get(QNetworkRequest(
                QUrl(QStringLiteral("%1api/trace?from=%2").arg(monitor->url()).arg(qint64(next.toDouble())))));
            QEventLoop loop;
            QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
            loop.exec();
            const QJsonObject page = QJsonDocument::fromJson(reply->readAll()).object();
            reply->deleteLater();
            samples += page.value(QStringLiteral("samples")).toArray().size();
            next = page.value(QStringLiteral("next"));
        }
    }
    if (samples != kJoinedTrace)
        state.SkipWithError("not every sample came");
    state.SetItemsProcessed(state.iterations() * samples);
    monitor.reset();
    kvx::recordStore().close();
}

void BM_MonitorLateJoinerFetchFloorSqlite3Shell(benchmark::State& state) {
    QTemporaryDir folder;
    const QString path = QDir(folder.path()).filePath(QString::fromLatin1(kvx::kDatabaseFile));
    if (!prepareWorkingTrace(folder.path(), kJoinedTrace)) {
        state.SkipWithError("could not build the working trace");
        return;
    }
    const QStringList arguments{
        QStringLiteral("-json"), path,
        QStringLiteral("SELECT SeqNo, RecTime, PVal, SVal, Reason, Comment, TimeTick, DiffLastTime, NoReply "
                       "FROM datatemp ORDER BY SeqNo ASC")};
    for (auto _ : state) {
        QProcess shell;
        shell.start(QStringLiteral("sqlite3"), arguments);
        if (!shell.waitForFinished(60000) || shell.exitCode() != 0)
            state.SkipWithError("the sqlite3 shell failed (missing?)");
        // The client's side of the floor: the rows parsed.
        benchmark::DoNotOptimize(QJsonDocument::fromJson(shell.readAllStandardOutput()).array().size());
    }
    state.SetItemsProcessed(state.iterations() * kJoinedTrace);
}

} // namespace

BENCHMARK(BM_MonitorLatenessWithClients)
    ->ArgName("clients")
    ->Arg(0)
    ->Arg(20)
    ->Unit(benchmark::kSecond)
    ->UseRealTime()
    ->Iterations(1);
BENCHMARK(BM_MonitorLateJoinerFetch)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);
BENCHMARK(BM_MonitorLateJoinerFetchFloorSqlite3Shell)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);
