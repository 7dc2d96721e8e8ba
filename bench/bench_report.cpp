// Reports, record files and exports of long traces: what the operator waits for
// after pressing print, saving or opening a record file, or exporting a CSV.

#include "BackgroundTask.h"
#include "CsvExport.h"
#include "RecordFile.h"
#include "RecordStore.h"
#include "SampleExport.h"
#include "TestServices.h"
#include "Session.h"
#include "TraceReport.h"
#include "ValueRules.h"

#include <QFileInfo>
#include <QProcess>
#include <QPainter>
#include <QPdfWriter>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>

namespace {

kvx::TraceRecord makeTrace(int samples) {
    kvx::TraceRecord trace;
    trace.header = {QStringLiteral("1"),
                    QStringLiteral("2026/01/05 10:00:00"),
                    QStringLiteral("2026/01/06 13:46:40"),
                    QStringLiteral("soak"),
                    QStringLiteral("V"),
                    QStringLiteral("kHz"),
                    QStringLiteral("0")};
    const QDateTime base(QDate(2026, 1, 5), QTime(10, 0, 0));
    trace.samples.reserve(size_t(samples));
    for (int i = 0; i < samples; ++i) {
        kvx::TempSample s;
        s.seqNo = i;
        s.recTime = kvx::dateTimeText(base.addSecs(i));
        s.pVal = kvx::numberToText(std::round(1000.0 * std::sin(i / 30.0)) / 100.0) + QStringLiteral(" V");
        s.sVal = QStringLiteral("50 kHz");
        s.reason = QStringLiteral("0");
        if (i % 100 == 0)
            s.comment = QStringLiteral("note %1, \"checked\"").arg(i);
        s.timeTick = qint64(i);
        s.diffLastTime = qint64(1);
        trace.samples.push_back(std::move(s));
    }
    return trace;
}

void BM_RecordFileSave(benchmark::State& state) {
    const kvx::TraceRecord trace = makeTrace(int(state.range(0)));
    const QDateTime when(QDate(2026, 1, 5), QTime(10, 0, 0));
    for (auto _ : state)
        benchmark::DoNotOptimize(kvx::RecordFile::encode(trace, when));
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_RecordFileSave)->Arg(100000)->Unit(benchmark::kMillisecond);

void BM_RecordFileOpen(benchmark::State& state) {
    const QByteArray bytes =
        kvx::RecordFile::encode(makeTrace(int(state.range(0))), QDateTime::currentDateTime());
    for (auto _ : state)
        benchmark::DoNotOptimize(kvx::RecordFile::decode(bytes));
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.counters["MB"] = bytes.size() / 1e6;
}
BENCHMARK(BM_RecordFileOpen)->Arg(100000)->Unit(benchmark::kMillisecond);

// Putting an opened file's samples into the working table, one transaction.
void BM_ReplaceWorkingTrace(benchmark::State& state) {
    QTemporaryDir dir;
    kvx::RecordStore store(QStringLiteral("bench-report-replace"));
    store.open(dir.filePath(QStringLiteral("bench.mdb")));
    const kvx::TraceRecord trace = makeTrace(int(state.range(0)));
    for (auto _ : state)
        store.replaceTrace(trace.samples);
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_ReplaceWorkingTrace)->Arg(100000)->Unit(benchmark::kMillisecond);

// The working trace of `samples` rows in a fresh database, for the exports.
struct ExportBench {
    QTemporaryDir dir;
    kvx::RecordStore store{QStringLiteral("bench-report-export")};
    QString databasePath() const { return dir.filePath(QStringLiteral("bench.mdb")); }
    bool open(int samples) {
        return store.open(databasePath()) && store.replaceTrace(makeTrace(samples).samples);
    }
};

// CSV or NDJSON export of the working trace into a file, straight from the database.
void exportBench(benchmark::State& state, kvx::ExportFormat format) {
    ExportBench bench;
    if (!bench.open(int(state.range(0)))) {
        state.SkipWithError("could not build the working trace");
        return;
    }
    const kvx::TraceRecord trace = makeTrace(0);
    const QString file = bench.dir.filePath(QStringLiteral("export"));
    for (auto _ : state) {
        if (!kvx::exportSamples(bench.store, QString(), trace.header, format, file, nullptr))
            state.SkipWithError("export failed");
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.counters["MB"] = QFileInfo(file).size() / 1e6;
}

void BM_CsvExport(benchmark::State& state) {
    exportBench(state, kvx::ExportFormat::Csv);
}
BENCHMARK(BM_CsvExport)->Arg(100000)->Unit(benchmark::kMillisecond)->UseRealTime();

// The CSV key's path: the writer settled, the export on a thread of its own with a
// connection of its own, and its end seen by the window thread's event loop.
void BM_CsvExportKey(benchmark::State& state) {
    ExportBench bench;
    if (!bench.open(int(state.range(0)))) {
        state.SkipWithError("could not build the working trace");
        return;
    }
    bench.store.close();
    if (!kvx::recordStore().open(bench.databasePath())) {
        state.SkipWithError("could not open the record store");
        return;
    }
    const QString file = bench.dir.filePath(QStringLiteral("export.csv"));
    for (auto _ : state) {
        if (!kvx::CsvExport::exportWorkingTraceInBackground(file))
            state.SkipWithError("export failed to start");
        kvx::waitForBackgroundTasks();
    }
    kvx::recordStore().close();
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_CsvExportKey)->Arg(100000)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_NdjsonExport(benchmark::State& state) {
    exportBench(state, kvx::ExportFormat::Ndjson);
}
BENCHMARK(BM_NdjsonExport)->Arg(100000)->Unit(benchmark::kMillisecond)->UseRealTime();

// The floor: the sqlite3 shell writing the same rows of the same database as CSV.
void BM_CsvExportFloorSqlite3Shell(benchmark::State& state) {
    ExportBench bench;
    if (!bench.open(int(state.range(0)))) {
        state.SkipWithError("could not build the working trace");
        return;
    }
    bench.store.close();
    const QStringList arguments{
        QStringLiteral("-csv"), bench.databasePath(),
        QStringLiteral("SELECT SeqNo, RecTime, PVal, SVal, Reason, Comment, TimeTick, DiffLastTime, NoReply "
                       "FROM datatemp ORDER BY SeqNo ASC")};
    for (auto _ : state) {
        QProcess shell;
        shell.setStandardOutputFile(QProcess::nullDevice());
        shell.start(QStringLiteral("sqlite3"), arguments);
        if (!shell.waitForFinished(60000) || shell.exitCode() != 0)
            state.SkipWithError("the sqlite3 shell failed (missing?)");
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_CsvExportFloorSqlite3Shell)->Arg(100000)->Unit(benchmark::kMillisecond)->UseRealTime();

// Print key to a finished PDF: the graph plotted from the samples, every page drawn.
void BM_ReportPdf(benchmark::State& state) {
    kvx::resetSession();
    kvx::setClock(std::make_shared<kvx::ManualClock>());
    QTemporaryDir dir;
    const kvx::TraceRecord trace = makeTrace(int(state.range(0)));
    for (auto _ : state) {
        const kvx::TraceReport report = kvx::TraceReport::forTrace(trace);
        report.writePdf(dir.filePath(QStringLiteral("report.pdf")));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_ReportPdf)->Arg(200)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

} // namespace

namespace {

// The floor: the same samples' table texts written straight to a PDF writer,
// every cell one drawText at a point, 48 rows a page, nothing measured or laid out.
void BM_ReportPdfFloor(benchmark::State& state) {
    QTemporaryDir dir;
    const kvx::TraceRecord trace = makeTrace(int(state.range(0)));
    for (auto _ : state) {
        QPdfWriter pdf(dir.filePath(QStringLiteral("floor.pdf")));
        pdf.setResolution(96);
        pdf.setPageLayout(QPageLayout(QPageSize(QPageSize::A4), QPageLayout::Portrait,
                                      QMarginsF(12, 12, 12, 12), QPageLayout::Millimeter));
        QPainter painter(&pdf);
        QFont font;
        font.setPointSizeF(9);
        painter.setFont(font);
        const double columns[] = {0, 60, 200, 300, 400, 480};
        int row = 0;
        for (const kvx::TempSample& s : trace.samples) {
            if (row == 48) {
                pdf.newPage();
                row = 0;
            }
            const double y = 40 + row * 19;
            const QString cells[] = {
                QString::number(s.seqNo), s.recTime, s.pVal, s.sVal, s.reason, s.comment};
            for (int c = 0; c < 6; ++c)
                painter.drawText(QPointF(columns[c], y), cells[c]);
            ++row;
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_ReportPdfFloor)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

} // namespace
