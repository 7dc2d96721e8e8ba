// The lab server under load, against a real PostgreSQL server started for the run
// (tests/support/PgServer.h, commits durable): storing a sample while 20 benches
// store one a second each and a client exports a 100,000-sample record; listing
// 10,000 records; copying a million samples from a bench's SQLite file. Each beside
// its floor: plain libpq for one sample (under the same load and on the idle server),
// psql for the listing and the copy. The server runs with its default settings.

#include "PgServer.h"
#include "RecordStore.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>
#include <libpq-fe.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <thread>
#include <utility>

namespace {

using kvx::test::PgServer;

// One server for every benchmark of the run, made on first use, stopped and its
// folder removed as the application ends (a server left running outlives the run).
PgServer* g_server = nullptr;

PgServer& server() {
    if (!g_server) {
        g_server = new PgServer(true);
        qAddPostRoutine([] { delete std::exchange(g_server, nullptr); });
        if (!g_server->start())
            qFatal("the server does not start: %s", qPrintable(g_server->problem()));
    }
    return *g_server;
}

kvx::StoreTarget serverTarget() {
    kvx::StoreTarget target;
    QString error;
    kvx::parseStoreText(server().connectionText(), QString(), &target, &error);
    return target;
}

bool psql(const QString& sql) {
    QByteArray said;
    const bool done = server().psql({"-c", sql}, &said) == 0;
    if (!done)
        qWarning("psql: %s", said.constData());
    return done;
}

// The tables, as the program makes them, emptied.
bool emptyServer() {
    kvx::RecordStore store(QStringLiteral("bench-schema"));
    store.setBench(QStringLiteral("bench-schema"));
    return store.open(serverTarget()) && psql("truncate datamain, datadetail");
}

double percentile(std::vector<double> values, double p) {
    if (values.empty())
        return 0.0;
    std::sort(values.begin(), values.end());
    return values[std::min(values.size() - 1, size_t(p * double(values.size())))];
}

double runProcess(const QString& program, const QStringList& arguments) {
    QProcess process;
    process.setStandardOutputFile(QProcess::nullDevice());
    QElapsedTimer timer;
    timer.start();
    process.start(program, arguments);
    if (!process.waitForFinished(600000) || process.exitCode() != 0) {
        qWarning("%s failed: %s", qPrintable(program), process.readAllStandardError().constData());
        return -1.0;
    }
    return timer.nsecsElapsed() / 1e9;
}

constexpr int kBenches = 20;
constexpr int kSecondsOfLoad = 30;

// The floors' own working trace, made like a bench's (columns, row number, index).
bool makeFloorTrace() {
    return psql("drop table if exists floortemp; create table floortemp (rowid bigint generated always as "
                "identity, SeqNo bigint, RecTime text, PVal text, SVal text, Reason text, Comment text, "
                "TimeTick bigint, DiffLastTime bigint, NoReply integer not null default 0); "
                "create index on floortemp (SeqNo)");
}

// A connection of plain libpq with the floors' insert prepared on it.
PGconn* connectLibpq() {
    PGconn* conn = PQconnectdb(QStringLiteral("host=127.0.0.1 port=%1 user=kvx dbname=kvx")
                                   .arg(server().port())
                                   .toUtf8()
                                   .constData());
    PQclear(
        PQprepare(conn, "floor",
                  "insert into floortemp (SeqNo, RecTime, PVal, SVal, Reason, Comment, TimeTick, "
                  "DiffLastTime, NoReply) values ($1, '2026/01/05 10:00:00', '1 V', '0 ', '0', '', $1, 1, 0)",
                  1, nullptr));
    return conn;
}

// One sample as plain libpq stores it, committed: the floor of a bench's tick.
bool insertWithLibpq(PGconn* conn, int seqNo) {
    const QByteArray number = QByteArray::number(seqNo);
    const char* values[] = {number.constData()};
    PGresult* result = PQexecPrepared(conn, "floor", 1, values, nullptr, nullptr, 0);
    const bool done = PQresultStatus(result) == PGRES_COMMAND_OK;
    PQclear(result);
    return done;
}

// The lab's load: 20 benches, each storing one sample a second for kSecondsOfLoad
// seconds on a thread of its own (`makeBench(b)` gives bench b's tick, which stores
// one sample and answers true once it is committed), while a client exports a
// 100,000-sample record over and over as `--export-record` reads it. The latency of
// every tick that stored its sample, the ticks that failed and the exports done go
// into the state's counters.
template <class MakeBench> void runLabLoad(benchmark::State& state, const MakeBench& makeBench) {
    if (!emptyServer() || !makeFloorTrace() ||
        !psql("insert into datamain (RecNo, Bench) values (1, 'exporter'); insert into datadetail "
              "select 1, s, '2026/01/05 10:00:00', s || ' V', '0 ', '0', '', s, 1, 0 "
              "from generate_series(0, 99999) s; analyze"))
        return state.SkipWithError("the server cannot be filled");
    std::vector<double> latencies;
    std::atomic<int> failed{0}, exports{0};
    for (auto _ : state) {
        std::atomic<bool> running{true}, exporting{false};
        std::thread exporter([&] {
            kvx::RecordStore store(QStringLiteral("exporter"));
            store.setBench(QStringLiteral("exporter"));
            if (!store.open(serverTarget())) {
                exporting = true; // no export: the counter says so
                return;
            }
            while (running) {
                exporting = true;
                if (store.streamSamples(QStringLiteral("1"),
                                        [&](const kvx::StoredSample&) { return running.load(); }))
                    ++exports;
            }
        });
        while (!exporting)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        std::vector<std::vector<double>> perBench(kBenches);
        std::vector<std::thread> benches;
        for (int b = 0; b < kBenches; ++b)
            benches.emplace_back([&, b] {
                // Made, used and let go on this thread, as a bench's connections are.
                const std::function<bool(int)> tick = makeBench(b);
                // A trace's first sample also connects the writer, once a trace: it is not
                // one of the ticks measured.
                if (tick)
                    tick(-1);
                const auto start = std::chrono::steady_clock::now() + std::chrono::milliseconds(50 * b);
                for (int seqNo = 0; seqNo < kSecondsOfLoad; ++seqNo) {
                    std::this_thread::sleep_until(start + std::chrono::seconds(seqNo));
                    QElapsedTimer timer;
                    timer.start();
                    if (tick && tick(seqNo))
                        perBench[size_t(b)].push_back(timer.nsecsElapsed() / 1e6);
                    else
                        ++failed;
                }
            });
        for (std::thread& bench : benches)
            bench.join();
        running = false;
        exporter.join();
        for (const auto& some : perBench)
            latencies.insert(latencies.end(), some.begin(), some.end());
    }
    state.counters["p99_ms"] = percentile(latencies, 0.99);
    state.counters["median_ms"] = percentile(latencies, 0.5);
    state.counters["samples"] = double(latencies.size());
    state.counters["failed"] = failed.load();
    state.counters["exports"] = exports.load();
}

// A bench's tick as the program makes it: S13 handed to the store's writer thread and
// committed on the bench's own connection; the latency runs until it is committed.
void BM_ServerSampleUnderLoad(benchmark::State& state) {
    runLabLoad(state, [](int b) -> std::function<bool(int)> {
        auto store = std::make_shared<kvx::RecordStore>(QStringLiteral("bench-%1").arg(b));
        store->setBench(QStringLiteral("bench-%1").arg(b));
        if (!store->open(serverTarget()))
            return {};
        return [store](int seqNo) {
            return store->queueSample({seqNo, "2026/01/05 10:00:00", "1 V", "0 ", "0", seqNo, 1}) &&
                   store->settleWriter();
        };
    });
}
BENCHMARK(BM_ServerSampleUnderLoad)->Iterations(1)->Unit(benchmark::kSecond)->UseRealTime();

// Floor under the same load: the same 20 threads each committing the row through
// plain libpq on a connection of their own while the same export runs.
void BM_ServerSampleUnderLoadFloorLibpq(benchmark::State& state) {
    runLabLoad(state, [](int) -> std::function<bool(int)> {
        std::shared_ptr<PGconn> conn(connectLibpq(), PQfinish);
        return [conn](int seqNo) { return insertWithLibpq(conn.get(), seqNo); };
    });
}
BENCHMARK(BM_ServerSampleUnderLoadFloorLibpq)->Iterations(1)->Unit(benchmark::kSecond)->UseRealTime();

// Floor: one insert committed through plain libpq on an idle server.
void BM_ServerSampleFloorLibpq(benchmark::State& state) {
    if (!emptyServer() || !makeFloorTrace())
        return state.SkipWithError("no server");
    PGconn* conn = connectLibpq();
    std::vector<double> latencies;
    int i = 0;
    for (auto _ : state) {
        QElapsedTimer timer;
        timer.start();
        insertWithLibpq(conn, i++);
        latencies.push_back(timer.nsecsElapsed() / 1e6);
    }
    PQfinish(conn);
    state.counters["p99_ms"] = percentile(latencies, 0.99);
    state.counters["median_ms"] = percentile(latencies, 0.5);
}
BENCHMARK(BM_ServerSampleFloorLibpq)->Iterations(300)->Unit(benchmark::kMillisecond)->UseRealTime();

// 10,000 records of 10 samples each, from 20 benches.
bool fillRecords() {
    return emptyServer() &&
           psql(
               "insert into datamain select i, '2026/01/05 10:00:00', '2026/01/05 11:00:00', 'record ' || i, "
               "'V', '', '0', 'bench-' || (i % 20), 'KVX-5130', 'origin-' || i from generate_series(1, "
               "10000) i; "
               "insert into datadetail select r, s, '2026/01/05 10:00:00', s || ' V', '0 ', '0', '', s, 1, 0 "
               "from generate_series(1, 10000) r, generate_series(0, 9) s; analyze");
}

// `kvx5130 --list-records` against the server: the whole command, process and all.
void BM_ListRecordsOnServer(benchmark::State& state) {
    if (!fillRecords())
        return state.SkipWithError("the server cannot be filled");
    QTemporaryDir folder;
    for (auto _ : state) {
        const double seconds =
            runProcess(QStringLiteral(KVX_APP_BINARY), {"--folder", folder.path(), "--database",
                                                        server().connectionText(), "--list-records"});
        if (seconds < 0)
            return state.SkipWithError("the listing failed");
        state.SetIterationTime(seconds);
    }
}
BENCHMARK(BM_ListRecordsOnServer)->Iterations(5)->UseManualTime()->Unit(benchmark::kMillisecond);

// Floor: psql running the listing's query on the same rows.
void BM_ListRecordsOnServerFloorPsql(benchmark::State& state) {
    if (!fillRecords())
        return state.SkipWithError("the server cannot be filled");
    for (auto _ : state) {
        const double seconds = runProcess(
            PgServer::binary("psql"),
            {"-h", "127.0.0.1", "-p", QString::number(server().port()), "-U", "kvx", "-d", "kvx", "-X", "-c",
             "select m.RecNo, m.StartTime, m.EndTime, m.Comment, m.PUnit, m.SUnit, coalesce(d.samples, 0), "
             "m.Bench, m.Meter, m.Origin, m.RecStyle from datamain m left join (select recno, count(*) as "
             "samples from datadetail group by recno) d on d.recno = m.RecNo order by m.RecNo asc"});
        if (seconds < 0)
            return state.SkipWithError("psql failed");
        state.SetIterationTime(seconds);
    }
}
BENCHMARK(BM_ListRecordsOnServerFloorPsql)->Iterations(5)->UseManualTime()->Unit(benchmark::kMillisecond);

// A bench's SQLite file holding one record of a million samples, and the same rows as
// the tab-separated text psql's \copy reads.
struct MillionSamples {
    QTemporaryDir dir;
    bool made = false;
    MillionSamples() {
        {
            kvx::RecordStore store(QStringLiteral("million"));
            store.setBench(QStringLiteral("bench-file"));
            made = store.open(file()) && store.insertNewHeader({"", "s", "e", "million", "V", "", "0"});
        }
        const QString rows =
            QStringLiteral("with recursive n(i) as (select 0 union all select i + 1 from n where i < 999999) "
                           "insert into datadetail select 1, i, '2026/01/05 10:00:00', i || ' V', '0 ', '0', "
                           "'', i, 1, 0 from n");
        made = made && runProcess(QStringLiteral("sqlite3"), {file(), rows}) >= 0;
        QProcess dump;
        dump.setStandardOutputFile(dir.filePath("rows.tsv"));
        dump.start(QStringLiteral("sqlite3"), {"-separator", "\t", "-nullvalue", "\\N", file(),
                                               "select * from datadetail order by SeqNo"});
        made = made && dump.waitForFinished(600000) && dump.exitCode() == 0;
    }
    QString file() const { return dir.filePath(QStringLiteral("KVX5130.mdb")); }
};

MillionSamples& million() {
    static MillionSamples* made = new MillionSamples;
    return *made;
}

// `kvx5130 --copy-records FILE SERVER`: the whole command, into empty tables.
void BM_CopyMillionSamplesToServer(benchmark::State& state) {
    if (!million().made)
        return state.SkipWithError("the file cannot be made");
    for (auto _ : state) {
        if (!emptyServer())
            return state.SkipWithError("no server");
        const double seconds =
            runProcess(QStringLiteral(KVX_APP_BINARY), {"--folder", million().dir.path(), "--copy-records",
                                                        million().file(), server().connectionText()});
        if (seconds < 0)
            return state.SkipWithError("the copy failed");
        state.SetIterationTime(seconds);
    }
}
BENCHMARK(BM_CopyMillionSamplesToServer)->Iterations(3)->UseManualTime()->Unit(benchmark::kMillisecond);

// Floor: psql's \copy of the same rows.
void BM_CopyMillionSamplesToServerFloorPsql(benchmark::State& state) {
    if (!million().made)
        return state.SkipWithError("the file cannot be made");
    for (auto _ : state) {
        if (!emptyServer())
            return state.SkipWithError("no server");
        const double seconds = runProcess(
            PgServer::binary("psql"),
            {"-h", "127.0.0.1", "-p", QString::number(server().port()), "-U", "kvx", "-d", "kvx", "-X", "-c",
             QStringLiteral("\\copy datadetail from '%1'").arg(million().dir.filePath("rows.tsv"))});
        if (seconds < 0)
            return state.SkipWithError("psql failed");
        state.SetIterationTime(seconds);
    }
}
BENCHMARK(BM_CopyMillionSamplesToServerFloorPsql)
    ->Iterations(3)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

} // namespace
