// The headless logger as a user runs it: the real `kvx5130 log` process against the
// simulator on a TCP port, the fastest link it has.
//
// BM_HeadlessLog/samples:1000: `kvx5130 log --interval 0 --count 1000` (the fastest interval:
// each tick as soon as the last one is done), from the process's start to its exit,
// the rows written to a file. Beside it, BM_HeadlessLogFloorMinimalClient: a bare
// socket client that sends the very command lines the logger sent (read back from
// the simulator's log of a first run, connection and function set-up included) and
// waits for each reply, over the same link. Goal: the logger at most 1.2 times the
// floor.
//
// BM_HeadlessLogDayPeakMemory: a 24 h log (`--duration 24h`, a tick a second, with
// `--record` so that every sample is also stored and saved as a record) on the
// program's clock run fast (KVX5130_CLOCK_RATE), its peak resident set (VmHWM)
// sampled while it runs. Goal: under 40 MB. Its floor is the same logger taking one
// row.

#include "ProcessMemory.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <memory>

namespace {

// A simulator on a TCP port for the length of a benchmark.
class Simulator {
public:
    explicit Simulator(const QStringList& extra = {}) {
        m_process.start(QStringLiteral(KVX_SIM_BINARY),
                        QStringList{QStringLiteral("--tcp"), QStringLiteral("0"), QStringLiteral("--seed"),
                                    QStringLiteral("1")} +
                            extra);
        if (m_process.waitForStarted() && m_process.waitForReadyRead(5000))
            m_link = QString::fromUtf8(m_process.readLine()).trimmed();
    }
    ~Simulator() {
        m_process.terminate();
        m_process.waitForFinished(2000);
    }
    // "tcp:127.0.0.1:<port>", empty when it did not start.
    QString link() const { return m_link; }
    quint16 port() const { return quint16(m_link.section(QLatin1Char(':'), 2).toUInt()); }

private:
    QProcess m_process;
    QString m_link;
};

using benchsupport::peakResidentKb;

struct LogRun {
    bool ok = false;
    qint64 peakKb = 0;
    QByteArray err;
};

// Runs `kvx5130 log` with `arguments` to its end, sampling its peak memory every 20 ms.
LogRun runLogger(const QStringList& arguments, const QString& clockRate = {}) {
    QProcess program;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    if (!clockRate.isEmpty())
        environment.insert(QStringLiteral("KVX5130_CLOCK_RATE"), clockRate);
    program.setProcessEnvironment(environment);
    program.start(QStringLiteral(KVX_APP_BINARY), QStringList{QStringLiteral("log")} + arguments);
    LogRun run;
    if (!program.waitForStarted())
        return run;
    while (!program.waitForFinished(20))
        run.peakKb = std::max(run.peakKb, peakResidentKb(program.processId()));
    run.err = program.readAllStandardError();
    run.ok = program.exitStatus() == QProcess::NormalExit && program.exitCode() == 0;
    return run;
}

QStringList tickArguments(const QString& link, const QTemporaryDir& folder, int count) {
    return {QStringLiteral("--link"),     link,
            QStringLiteral("--interval"), QStringLiteral("0"),
            QStringLiteral("--count"),    QString::number(count),
            QStringLiteral("--output"),   folder.filePath(QStringLiteral("log.csv"))};
}

void BM_HeadlessLog(benchmark::State& state) {
    const int samples = int(state.range(0));
    const Simulator sim;
    const QTemporaryDir folder;
    if (sim.link().isEmpty()) {
        state.SkipWithError("the simulator did not start");
        return;
    }
    for (auto _ : state) {
        if (!runLogger(tickArguments(sim.link(), folder, samples)).ok) {
            state.SkipWithError("kvx5130 log failed");
            return;
        }
    }
}
// One sample: the process's start, the connection and the function query alone.
BENCHMARK(BM_HeadlessLog)
    ->ArgName("samples")
    ->Arg(1)
    ->Arg(1000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(5);

void BM_HeadlessLogFloorMinimalClient(benchmark::State& state) {
    const int samples = int(state.range(0));
    // The logger's own exchanges, as the simulator received them.
    const QTemporaryDir folder;
    const QString log = folder.filePath(QStringLiteral("commands.log"));
    QStringList commands;
    {
        const Simulator recording({QStringLiteral("--log"), log});
        if (recording.link().isEmpty() || !runLogger(tickArguments(recording.link(), folder, samples)).ok) {
            state.SkipWithError("the first run of kvx5130 log failed");
            return;
        }
    }
    QFile file(log);
    if (!file.open(QIODevice::ReadOnly)) {
        state.SkipWithError("no command log");
        return;
    }
    for (const QByteArray& line : file.readAll().split('\n')) {
        if (!line.isEmpty())
            commands << QString::fromLatin1(line);
    }
    const Simulator sim;
    for (auto _ : state) {
        QTcpSocket socket;
        socket.connectToHost(QStringLiteral("127.0.0.1"), sim.port());
        if (!socket.waitForConnected(5000)) {
            state.SkipWithError("no connection");
            return;
        }
        socket.setSocketOption(QAbstractSocket::LowDelayOption, 1);
        for (const QString& command : commands) {
            socket.write(command.toLatin1() + '\n');
            // A query waits for its reply line; a setting has none.
            if (command.endsWith(QLatin1Char('?'))) {
                while (!socket.canReadLine()) {
                    if (!socket.waitForReadyRead(5000)) {
                        state.SkipWithError("no reply");
                        return;
                    }
                }
                benchmark::DoNotOptimize(socket.readLine());
            } else {
                socket.flush();
            }
        }
        socket.disconnectFromHost();
    }
    state.counters["exchanges"] = double(commands.size());
}
BENCHMARK(BM_HeadlessLogFloorMinimalClient)
    ->ArgName("samples")
    ->Arg(1)
    ->Arg(1000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(5);

// A day of ticks a second, on a clock 2,000 times as fast: about 43 s of wall time.
void BM_HeadlessLogDayPeakMemory(benchmark::State& state) {
    const bool day = state.range(0) != 0;
    const Simulator sim;
    const QTemporaryDir folder;
    if (sim.link().isEmpty()) {
        state.SkipWithError("the simulator did not start");
        return;
    }
    LogRun run;
    for (auto _ : state) {
        QStringList arguments{QStringLiteral("--link"),   sim.link(),
                              QStringLiteral("--folder"), folder.path(),
                              QStringLiteral("--record"), QStringLiteral("a day"),
                              QStringLiteral("--output"), folder.filePath(QStringLiteral("day.csv"))};
        arguments << (day ? QStringList{QStringLiteral("--duration"), QStringLiteral("24h")}
                          : QStringList{QStringLiteral("--count"), QStringLiteral("1")});
        run = runLogger(arguments, QStringLiteral("2000"));
        if (!run.ok) {
            state.SkipWithError(("kvx5130 log failed: " + run.err).constData());
            return;
        }
    }
    QFile rows(folder.filePath(QStringLiteral("day.csv")));
    rows.open(QIODevice::ReadOnly);
    state.counters["rows"] = double(rows.readAll().count('\n') - 1);
    state.counters["peak_rss_MB"] = double(run.peakKb) / 1024.0;
}
BENCHMARK(BM_HeadlessLogDayPeakMemory)
    ->ArgName("day")
    ->Arg(0)
    ->Arg(1)
    ->Unit(benchmark::kSecond)
    ->UseRealTime()
    ->Iterations(1);

} // namespace
