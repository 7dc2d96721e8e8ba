// Memory of the whole program with a long working trace left from the last run:
// the real kvx5130 started offscreen on a program folder whose working trace holds
// 1,000,000 samples, connected to the simulator, left until the data table and the
// graph have taken in the trace, then asked to quit (--screenshot). The figure is
// the process's peak resident set (VmHWM). Goal: at most 100 MB. The floor is the
// same program on an empty working trace, run in the same benchmark.

#include "ProcessMemory.h"
#include "RecordStore.h"
#include "Session.h"
#include "WorkingTrace.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>

#include <algorithm>

namespace {

using benchsupport::peakResidentKb;

void BM_ProgramPeakMemory(benchmark::State& state) {
    const qint64 rows = state.range(0);
    QTemporaryDir folder;
    const QString database = QDir(folder.path()).filePath(QString::fromLatin1(kvx::kDatabaseFile));
    if (!kvx::recordStore().open(database)) { // creates the tables
        state.SkipWithError("could not create the record database");
        return;
    }
    kvx::recordStore().close();
    if (rows > 0 && !benchsupport::fillWorkingTrace(database, rows)) {
        state.SkipWithError("could not build the working trace (sqlite3 shell missing?)");
        return;
    }
    QProcess sim;
    sim.start(QStringLiteral(KVX_SIM_BINARY),
              {QStringLiteral("--pty"), QStringLiteral("--seed"), QStringLiteral("1")});
    if (!sim.waitForStarted() || !sim.waitForReadyRead(5000)) {
        state.SkipWithError("the simulator did not start");
        return;
    }
    const QString device = QString::fromUtf8(sim.readLine()).trimmed();
    qint64 peakKb = 0;
    for (auto _ : state) {
        QProcess program;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        program.setProcessEnvironment(environment);
        // Four seconds: the grid and the graph have read the whole trace well before.
        program.start(QStringLiteral(KVX_APP_BINARY),
                      {QStringLiteral("--folder"), folder.path(), QStringLiteral("--link"),
                       QStringLiteral("serial:") + device, QStringLiteral("--screenshot"),
                       QDir(folder.path()).filePath(QStringLiteral("shot.png")),
                       QStringLiteral("--screenshot-delay"), QStringLiteral("4000")});
        if (!program.waitForStarted()) {
            state.SkipWithError("kvx5130 did not start");
            return;
        }
        while (!program.waitForFinished(50))
            peakKb = std::max(peakKb, peakResidentKb(program.processId()));
        if (program.exitCode() != 0) {
            state.SkipWithError("kvx5130 did not end cleanly");
            return;
        }
    }
    state.counters["peak_rss_MB"] = double(peakKb) / 1024.0;
    sim.terminate();
    sim.waitForFinished(2000);
}
BENCHMARK(BM_ProgramPeakMemory)
    ->ArgName("trace")
    ->Arg(0)
    ->Arg(1000000)
    ->Unit(benchmark::kSecond)
    ->UseRealTime()
    ->Iterations(1);

} // namespace
