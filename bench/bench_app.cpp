// Start-up of the whole program, offscreen: the database opened, the six child
// windows loaded and placed, the front panel's link opened against the simulated
// meter on a pseudo-terminal and its saved function pressed, until the frame and
// every child window are shown and painted. Goal: under 0.5 s.

#include "Services.h"
#include "Session.h"
#include "mdiMain.h"

#include <QApplication>
#include <QDir>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QProcess>
#include <QTemporaryDir>
#include <QWindow>
#include <benchmark/benchmark.h>

#include <memory>

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

void runStartUps(benchmark::State& state, bool firstRun) {
    const QString device = simulatedMeterDevice();
    if (device.isEmpty()) {
        state.SkipWithError("the simulator did not start");
        return;
    }
    kvx::setMessages(std::make_shared<kvx::ScriptedMessageService>());
    QTemporaryDir folder;
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
    runStartUps(state, false);
}
void BM_FirstRunStartUpCreatingDatabase(benchmark::State& state) {
    runStartUps(state, true);
}

} // namespace

BENCHMARK(BM_StartUpToAllWindowsShown)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(20);
BENCHMARK(BM_FirstRunStartUpCreatingDatabase)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(10);
