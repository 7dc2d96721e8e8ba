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
#include "RecordStore.h"
#include "WorkingTrace.h"
#include "clsKVX5310.h"
#include "TestServices.h"
#include "Session.h"
#include "mdiMain.h"

#include <QElapsedTimer>
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
