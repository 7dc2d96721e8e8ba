// The trend graph with long traces: appending one sample at 1,000 and at
// 1,000,000 samples (the cost must not grow), one full repaint of 1,000,000
// points, and rebuilding the graph from a 1,000,000-row working trace. The
// rebuild's floor: the same rows selected through the plain SQLite library
// into two vectors (the values and the no-reply marks), nothing drawn.

#include "BackgroundTask.h"
#include "RecordStore.h"
#include "ValueRules.h"
#include "clsKVX5310.h"
#include "frmGraphicRecord.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>
#include <qcustomplot.h>
#include <sqlite3.h>

#include <map>
#include <memory>

namespace {

// A working trace of `rows` samples, written through the sqlite3 shell so that
// building it does not dominate the run. Kept for the whole run, one per size.
class BenchTrace {
public:
    explicit BenchTrace(qint64 rows)
        : m_store(std::make_unique<kvx::RecordStore>(QStringLiteral("bench-views-%1").arg(rows))) {
        const QString path = m_dir.filePath(QStringLiteral("views.mdb"));
        m_store->open(path); // creates the tables
        m_store->close();
        QProcess shell;
        shell.start(
            QStringLiteral("sqlite3"),
            {path, QStringLiteral("with recursive n(i) as (select 0 union all select i + 1 from n "
                                  "where i < %1) insert into datatemp "
                                  "(SeqNo,RecTime,PVal,SVal,Reason,Comment,TimeTick,DiffLastTime) "
                                  "select i, '2026/01/05 10:00:00', ((i % 2000) - 1000) * 0.25 || ' V', "
                                  "'0 ', '0', '', i, 1 from n")
                       .arg(rows - 1)});
        m_ok = shell.waitForFinished(300000) && shell.exitCode() == 0;
        m_ok = m_store->open(path) && m_ok;
    }
    bool ok() const { return m_ok; }
    kvx::RecordStore* store() { return m_store.get(); }

private:
    QTemporaryDir m_dir;
    std::unique_ptr<kvx::RecordStore> m_store;
    bool m_ok = false;
};

// The traces hold database connections, which must close while the application
// (and its SQL driver) still exists: they go with it, not with the program's statics.
std::map<qint64, std::unique_ptr<BenchTrace>>& traces() {
    static auto* made = [] {
        qAddPostRoutine([] { traces().clear(); });
        return new std::map<qint64, std::unique_ptr<BenchTrace>>;
    }();
    return *made;
}

BenchTrace& traceOf(qint64 rows) {
    auto& slot = traces()[rows];
    if (!slot)
        slot = std::make_unique<BenchTrace>(rows);
    return *slot;
}

// A shown graph window holding `rows` samples, loaded the way a stored record is.
std::unique_ptr<kvx::frmGraphicRecord> graphWith(qint64 rows, benchmark::State& state) {
    kvx::driver().setUnitPrimary(QStringLiteral("Voltage"));
    BenchTrace& trace = traceOf(rows);
    if (!trace.ok()) {
        state.SkipWithError("could not build the working trace (sqlite3 shell missing?)");
        return nullptr;
    }
    auto graph = std::make_unique<kvx::frmGraphicRecord>(kvx::driverUnits(), *trace.store());
    graph->setLimHighText(QStringLiteral("200"));
    graph->setLimLowText(QStringLiteral("-200"));
    graph->setRelText(QStringLiteral("10"));
    graph->resize(523, 487);
    graph->show();
    graph->ReDraw();
    kvx::waitForBackgroundTasks();
    QApplication::processEvents();
    return graph;
}

void BM_ShowGraphPerSample(benchmark::State& state) {
    auto graph = graphWith(state.range(0), state);
    if (!graph)
        return;
    QStringList readings;
    for (int i = 0; i < 64; ++i)
        readings << kvx::numberToText((i * 37 % 600) - 300.0) + QStringLiteral(" V");
    int next = 0;
    for (auto _ : state) {
        graph->setValueText(readings[next++ & 63]);
        graph->ShowGraph();
    }
    state.counters["samples"] = double(graph->trace().sampleCount);
}
BENCHMARK(BM_ShowGraphPerSample)->Arg(1000)->Arg(1000000)->Unit(benchmark::kMicrosecond);

void BM_FullReplot1M(benchmark::State& state) {
    auto graph = graphWith(1000000, state);
    if (!graph)
        return;
    QCustomPlot* plot = graph->CWGraph1();
    plot->xAxis->setRange(0, 1000000);
    for (auto _ : state)
        plot->replot(QCustomPlot::rpImmediateRefresh);
}
BENCHMARK(BM_FullReplot1M)->Unit(benchmark::kMillisecond);

void BM_ReDrawFromDatatemp1M(benchmark::State& state) {
    auto graph = graphWith(1000000, state);
    if (!graph)
        return;
    for (auto _ : state) {
        graph->ReDraw();
        kvx::waitForBackgroundTasks(); // the rows are read on a thread and handed back
        graph->CWGraph1()->replot(QCustomPlot::rpImmediateRefresh); // the repaint belongs to the rebuild
    }
    state.counters["samples"] = double(graph->trace().sampleCount);
}
BENCHMARK(BM_ReDrawFromDatatemp1M)->Unit(benchmark::kMillisecond)->Iterations(3)->MeasureProcessCPUTime();

void BM_ReDrawFloor1M(benchmark::State& state) {
    BenchTrace& trace = traceOf(1000000);
    sqlite3* db = nullptr;
    if (!trace.ok() || sqlite3_open_v2(trace.store()->filePath().toUtf8().constData(), &db,
                                       SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK) {
        sqlite3_close(db);
        state.SkipWithError("could not open the working trace");
        return;
    }
    sqlite3_stmt* select = nullptr;
    sqlite3_prepare_v2(db, "select PVal, NoReply from datatemp order by SeqNo asc", -1, &select, nullptr);
    std::vector<double> values;
    std::vector<char> noReply;
    for (auto _ : state) {
        values.clear();
        noReply.clear();
        values.reserve(1000000);
        noReply.reserve(1000000);
        while (sqlite3_step(select) == SQLITE_ROW) {
            values.push_back(sqlite3_column_double(select, 0));
            noReply.push_back(char(sqlite3_column_int(select, 1)));
        }
        sqlite3_reset(select);
    }
    sqlite3_finalize(select);
    sqlite3_close(db);
    state.counters["samples"] = double(values.size());
}
BENCHMARK(BM_ReDrawFloor1M)->Unit(benchmark::kMillisecond)->Iterations(3);

} // namespace
