// The record store under load: storing one sample into long traces, and saving
// and loading a 100,000-sample record, beside the sqlite3 shell doing the same
// copy on the same file as the floor.

#include "BackgroundTask.h"
#include "FramePace.h"
#include "RecordOperations.h"
#include "RecordStore.h"
#include "Session.h"
#include "TestServices.h"
#include "clsKVX5310.h"
#include "frmDataTable.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <memory>
#include <unistd.h>

namespace {

// Runs SQL through the sqlite3 shell; returns the seconds it took, or -1 on failure.
double runShell(const QString& databasePath, const QString& sql) {
    QProcess shell;
    QElapsedTimer timer;
    timer.start();
    shell.start(QStringLiteral("sqlite3"), {databasePath, sql});
    if (!shell.waitForFinished(120000) || shell.exitCode() != 0)
        return -1.0;
    return timer.nsecsElapsed() / 1e9;
}

// A statement as the shell runs it: each value in its place, as a quoted literal.
QString shellSql(const kvx::Statement& statement) {
    QString sql = kvx::toSqlite(statement.text);
    for (const QVariant& value : statement.values)
        sql.replace(sql.indexOf(QLatin1Char('?')), 1,
                    QLatin1Char('\'') + value.toString() + QLatin1Char('\''));
    return sql;
}

// A working trace of `rows` samples written straight into the file.
bool fillTrace(const QString& databasePath, qint64 rows) {
    const QString sql =
        QStringLiteral("with recursive n(i) as (select 0 union all select i + 1 from n where i < %1) "
                       "insert into datatemp (SeqNo,RecTime,PVal,SVal,Reason,Comment,TimeTick,DiffLastTime) "
                       "select i, '2026/01/05 10:00:00', i || ' V', '0 ', '0', '', i, 1 from n")
            .arg(rows - 1);
    return runShell(databasePath, sql) >= 0.0;
}

struct RecordBench {
    QTemporaryDir dir;
    std::shared_ptr<kvx::ScriptedMessageService> messages = std::make_shared<kvx::ScriptedMessageService>();
    std::unique_ptr<kvx::frmDataTable> table;

    explicit RecordBench(qint64 rows) {
        kvx::resetSession();
        kvx::setClock(std::make_shared<kvx::ManualClock>());
        kvx::setMessages(messages);
        kvx::recordStore().open(path());
        kvx::recordStore().close(); // the tables exist now; the shell fills them
        fillTrace(path(), rows);
        kvx::recordStore().open(path());
        table = std::make_unique<kvx::frmDataTable>(kvx::driverUnits(), kvx::recordStore());
        table->show();
        QCoreApplication::processEvents();
    }
    ~RecordBench() {
        table.reset();
        kvx::recordStore().close();
    }
    QString path() const { return dir.filePath(QString::fromLatin1(kvx::kDatabaseFile)); }
};

// One sample: the sample rule, S13 and the grid append with the newest row scrolled into view.
void BM_StoreSample(benchmark::State& state) {
    RecordBench bench(state.range(0));
    if (bench.table->rowCount() != state.range(0)) {
        state.SkipWithError("trace not filled");
        return;
    }
    const bool paint = state.range(1) != 0;
    double clockValue = 36000.0;
    for (auto _ : state) {
        clockValue += 1.0;
        kvx::session().lastReadingTime = clockValue;
        bench.table->setValuePrimary(clockValue);
        bench.table->AppendData();
        if (paint) {
            kvx::updateWaitingNow();           // every sample painted, as at one a second
            QCoreApplication::processEvents(); // the grid repaints, as between two polling ticks
        }
    }
    state.counters["rows_at_end"] = bench.table->rowCount();
    if (!bench.messages->shown().empty())
        state.SkipWithError("a sample was not stored");
}
BENCHMARK(BM_StoreSample)
    ->ArgsProduct({{1000, 1000000}, {0, 1}})
    ->ArgNames({"rows", "paint"})
    ->Unit(benchmark::kMicrosecond)
    ->Iterations(2000);

// Resident memory of this process, in bytes.
double residentBytes() {
    QFile statm(QStringLiteral("/proc/self/statm"));
    if (!statm.open(QIODevice::ReadOnly))
        return 0.0;
    const QList<QByteArray> fields = statm.readAll().split(' ');
    return fields.size() > 1 ? fields[1].toDouble() * double(sysconf(_SC_PAGESIZE)) : 0.0;
}

// A day of one-second ticks on a fast clock: each stores a sample (the writer
// thread syncs it) and logs two exchanges (the command log's spool). The growth
// per tick in the second half against the first shows that nothing but the
// trace's own rows grows; the command log takes nothing.
void BM_DayOfTicksMemory(benchmark::State& state) {
    RecordBench bench(1);
    kvx::driver().spoolCommandLog(bench.dir.filePath(QStringLiteral("commands.log.part")));
    const qint64 ticks = state.range(0);
    double clockValue = 36000.0;
    const auto run = [&](qint64 count) {
        const double before = residentBytes();
        for (qint64 i = 0; i < count; ++i) {
            clockValue += 1.0;
            kvx::session().lastReadingTime = clockValue;
            kvx::driver().ValuePrimary();
            kvx::driver().ValueSecond();
            bench.table->setValuePrimary(double(i % 1000));
            bench.table->AppendData();
        }
        kvx::recordStore().settleWriter();
        return (residentBytes() - before) / double(count);
    };
    for (auto _ : state) {
        state.counters["bytes_per_tick_first_half"] = run(ticks / 2);
        state.counters["bytes_per_tick_second_half"] = run(ticks / 2);
    }
    state.counters["rows"] = bench.table->rowCount();
}
BENCHMARK(BM_DayOfTicksMemory)->Arg(86400)->Iterations(1)->Unit(benchmark::kSecond);

constexpr qint64 kRecordRows = 100000;

// Saving a new record: S1, S2, S3 and the S4 copy of 100,000 samples.
void BM_SaveRecord(benchmark::State& state) {
    RecordBench bench(kRecordRows);
    kvx::RecordOperations records;
    for (auto _ : state) {
        bench.table->setField(kvx::RecordField::Recno, QString());
        bench.messages->queueAnswer(kvx::Answer::Yes);
        if (!records.saveRecord())
            state.SkipWithError("save failed");
    }
    // The floor: the same copy statement run by the sqlite3 shell on the same file.
    const double shellSeconds =
        runShell(bench.path(), shellSql(kvx::statements::S4(QStringLiteral("999999"))));
    state.counters["sqlite3_shell_ms"] = shellSeconds * 1000.0;
}
BENCHMARK(BM_SaveRecord)->Unit(benchmark::kMillisecond)->Iterations(5);

// Loading a record from the list: S9, S10, the S11 copy and the grid rebuilt from datatemp.
void BM_LoadRecord(benchmark::State& state) {
    RecordBench bench(kRecordRows);
    kvx::RecordOperations records;
    bench.messages->queueAnswer(kvx::Answer::Yes);
    records.saveRecord();
    const QString line =
        kvx::RecordOperations::listLine({QStringLiteral("1"), QString(), QString(), QString()});
    for (auto _ : state) {
        const bool started = records.loadFromListLine(line);
        kvx::waitForBackgroundTasks(); // the copy runs on a thread of its own
        if (!started || bench.table->rowCount() != kRecordRows)
            state.SkipWithError("load failed");
    }
    const QString floorSql = shellSql(kvx::statements::S10()) + QStringLiteral(";") +
                             shellSql(kvx::statements::S11(QStringLiteral("1")));
    state.counters["sqlite3_shell_ms"] = runShell(bench.path(), floorSql) * 1000.0;
}
BENCHMARK(BM_LoadRecord)->Unit(benchmark::kMillisecond)->Iterations(5)->MeasureProcessCPUTime();

} // namespace

// ---- One durable sample ----
// The polling tick hands a sample to the writer thread and goes on; the sample is
// durable once written and synced (synchronous=FULL). Measured: the whole way to
// the disk (wall time), the CPU of the process meanwhile, and the hand-over alone
// (what the event loop pays). The floor: the same insert through the plain SQLite
// library with synchronous=FULL, one commit a sample.

namespace {

kvx::NewSample sampleNumber(qint64 seqNo) {
    return {seqNo,
            QStringLiteral("2026/01/05 10:00:00"),
            QStringLiteral("1.25 V"),
            QStringLiteral("0 "),
            QStringLiteral("0"),
            seqNo,
            1};
}

void BM_DurableSample(benchmark::State& state) {
    RecordBench bench(1);
    qint64 seqNo = 1000;
    for (auto _ : state) {
        if (!kvx::recordStore().queueSample(sampleNumber(seqNo++)) || !kvx::recordStore().settleWriter())
            state.SkipWithError("the sample was not stored");
    }
}
BENCHMARK(BM_DurableSample)->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime();

void BM_DurableSampleHandOver(benchmark::State& state) {
    RecordBench bench(1);
    qint64 seqNo = 1000;
    for (auto _ : state) {
        kvx::recordStore().queueSample(sampleNumber(seqNo++));
        state.PauseTiming();
        kvx::recordStore().settleWriter();
        state.ResumeTiming();
    }
}
BENCHMARK(BM_DurableSampleHandOver)->Unit(benchmark::kMicrosecond);

void BM_DurableSampleFloor(benchmark::State& state) {
    QTemporaryDir dir;
    const QByteArray path = dir.filePath(QStringLiteral("floor.db")).toUtf8();
    sqlite3* db = nullptr;
    sqlite3_open(path.constData(), &db);
    sqlite3_exec(
        db,
        "PRAGMA journal_mode=WAL; PRAGMA synchronous=FULL; create table datatemp (SeqNo INTEGER, "
        "RecTime TEXT, PVal TEXT, SVal TEXT, Reason TEXT, Comment TEXT, TimeTick INTEGER, DiffLastTime "
        "INTEGER, NoReply INTEGER)",
        nullptr, nullptr, nullptr);
    sqlite3_stmt* insert = nullptr;
    sqlite3_prepare_v2(db, "insert into datatemp values (?,'2026/01/05 10:00:00','1.25 V','0 ','0','',?,1,0)",
                       -1, &insert, nullptr);
    sqlite3_int64 seqNo = 0;
    for (auto _ : state) {
        sqlite3_bind_int64(insert, 1, seqNo);
        sqlite3_bind_int64(insert, 2, seqNo);
        ++seqNo;
        if (sqlite3_step(insert) != SQLITE_DONE)
            state.SkipWithError("insert failed");
        sqlite3_reset(insert);
    }
    sqlite3_finalize(insert);
    sqlite3_close(db);
}
BENCHMARK(BM_DurableSampleFloor)->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime();

} // namespace
