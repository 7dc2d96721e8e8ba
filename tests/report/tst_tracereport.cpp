// The printed trace report and the command-line export: what lands on which
// page of the PDF, statistics that agree with the graph window, and the export
// of saved records by number.
#include "AppRun.h"
#include "BackgroundTask.h"
#include "ExportRecord.h"
#include "ReportTestSupport.h"
#include "TraceReport.h"
#include "clsKVX5310.h"
#include "frmDataTable.h"
#include "frmGraphicRecord.h"

#include <QtPrintSupport>
#include <QtTest>
#include <QtWidgets>
#include <qcustomplot.h>

using namespace kvx;
using namespace kvx::test;

namespace {

// The text of one page of a PDF, or nullopt when the page is not there.
std::optional<QString> pdfPageText(const QString& pdf, int page) {
    QProcess p;
    p.start(QStandardPaths::findExecutable(QStringLiteral("pdftotext")),
            {"-layout", "-enc", "UTF-8", "-f", QString::number(page), "-l", QString::number(page), pdf, "-"});
    if (!p.waitForFinished(60000) || p.exitStatus() != QProcess::NormalExit || p.exitCode() != 0)
        return std::nullopt;
    return QString::fromUtf8(p.readAllStandardOutput());
}

// The share of dark pixels across the middle of page one, where the graph is printed.
double darkShareOfGraph(const QString& pdf) {
    QProcess::execute(QStandardPaths::findExecutable(QStringLiteral("pdftoppm")),
                      {"-r", "20", "-png", "-singlefile", "-f", "1", "-l", "1", pdf, pdf});
    const QImage page(pdf + QStringLiteral(".png"));
    int dark = 0;
    for (int y = page.height() * 3 / 10; y < page.height() * 7 / 10; ++y)
        for (int x = 0; x < page.width(); ++x)
            dark += qGray(page.pixel(x, y)) < 96;
    return page.isNull() ? 1.0 : dark / (page.width() * page.height() * 0.4);
}

bool havePdfToText() {
    return !QStandardPaths::findExecutable(QStringLiteral("pdftotext")).isEmpty();
}

} // namespace

class TraceReportTest : public QObject {
    Q_OBJECT
private slots:
    // The program's fonts: the report must read back from the PDF with them.
    void initTestCase() { prepareApplication(*qApp); }

    void pagesOfA200SampleReport() {
        StoreFixture fx;
        FakePanel panel;
        frmDataTable table(driverUnits(), recordStore());
        frmGraphicRecord graph(driverUnits(), recordStore());
        // Settings fields come padded with blanks, as the operation record keeps them.
        session().operation.reportHeader = fixedText(QStringLiteral("Lab 3 Ripple Test"), 255);
        QImage logo(120, 60, QImage::Format_RGB32);
        logo.fill(Qt::darkCyan);
        QVERIFY(logo.save(fx.path(QStringLiteral("logo.png"))));
        session().operation.logoFile = fixedText(fx.path(QStringLiteral("logo.png")), 255);
        setHeaderFields(table, makeHeader(QStringLiteral("7")));
        QVERIFY(recordStore().replaceTrace(makeSamples(200)));
        table.refreshRows();
        graph.ReDraw();
        waitForBackgroundTasks();

        const auto report = TraceReport::forWorkingTrace();
        QVERIFY(report);
        QVERIFY(!report->content().logo.isNull());
        const QString pdf = fx.path(QStringLiteral("report.pdf"));
        QVERIFY(report->writePdf(pdf));
        QPointer<QPrintPreviewDialog> preview = createPrintPreview(*report, nullptr);
        preview->show();
        QVERIFY(preview->findChild<QPrintPreviewWidget*>());
        // 200 rows do not fit on two pages.
        QTRY_VERIFY(preview->findChild<QPrintPreviewWidget*>()->pageCount() >= 4);
        const int pages = preview->findChild<QPrintPreviewWidget*>()->pageCount();
        preview->close(); // deletes itself
        QTRY_VERIFY(preview.isNull());
        if (!havePdfToText())
            QSKIP("pdftotext (poppler-utils) is not installed; the PDF's text cannot be read");

        const auto first = pdfPageText(pdf, 1);
        QVERIFY(first);
        for (const char* expected :
             {"Lab 3 Ripple Test", "Record No.:", "2026/01/05 10:03:20", "Bench 4, supply ripple", "MAX:5",
              "MIN:1", "Match Condition:0", "Total Sampling:200", "Total Time:0:3:20", "Elapsed Time [Sec]",
              "4 samples without a reply"})
            QVERIFY2(first->contains(QLatin1String(expected)), expected);
        QVERIFY2(!first->contains(QLatin1String("SeqNo")), "the table starts on page two");
        QVERIFY2(darkShareOfGraph(pdf) < 0.1,
                 "the graph is printed dark on white, whatever the screen's colours");

        // The table: headings on every page, every sample once and in order.
        int page = 2;
        int nextSample = 0;
        const QDateTime start(QDate(2026, 1, 5), QTime(10, 0, 0));
        for (std::optional<QString> text; (text = pdfPageText(pdf, page)); ++page) {
            for (const char* heading : {"SeqNo", "Primary [V]", "Secondary [kHz]"})
                QVERIFY2(text->contains(QLatin1String(heading)),
                         qPrintable(QStringLiteral("page %1").arg(page)));
            QVERIFY(!text->contains(QLatin1String("Total Sampling")));
            for (int at = 0;
                 nextSample < 200 && (at = text->indexOf(dateTimeText(start.addSecs(nextSample)), at)) >= 0;)
                ++nextSample;
        }
        QCOMPARE(page - 1, pages); // the preview shows the pages of the file
        QCOMPARE(nextSample, 200);
        QVERIFY(first->contains(QStringLiteral("Page 1 of %1").arg(pages)));
        QVERIFY(pdfPageText(pdf, pages)->contains(QStringLiteral("Page %1 of %1").arg(pages)));
        QVERIFY(pdfPageText(pdf, 2)->contains(QLatin1String("check 7")));

        // The PDF key writes the same report on a thread of its own, the graph drawn
        // by this thread meanwhile; a report stopped part way leaves no file.
        const QString background = fx.path(QStringLiteral("background.pdf"));
        QVERIFY(writeReportPdfInBackground(background));
        waitForBackgroundTasks();
        QCOMPARE(pdfPageText(background, 1), first);
        QCOMPARE(pdfPageText(background, pages), pdfPageText(pdf, pages));
        QVERIFY(!report->writePdf(fx.path(QStringLiteral("stopped.pdf")), nullptr,
                                  [](int, int) { return false; }));
        QVERIFY(!QFile::exists(fx.path(QStringLiteral("stopped.pdf"))));
    }

    // The grid's print: the rows the filter shows, table pages only. A filter that
    // shows nothing still prints its headings; a trace with no sample prints nothing.
    void gridPrintout_data() {
        QTest::addColumn<int>("samples");
        QTest::addColumn<int>("filter");
        QTest::addColumn<QString>("shown");
        QTest::addColumn<int>("rows");
        QTest::newRow("Over MAX of 200") << 200 << 2 << "Over MAX" << 40;
        QTest::newRow("nothing matches") << 3 << 4 << "Match condition: Level" << 0;
        QTest::newRow("nothing measured") << 0 << 0 << "Total" << 0;
    }

    void gridPrintout() {
        QFETCH(int, samples);
        QFETCH(int, filter);
        QFETCH(QString, shown);
        StoreFixture fx;
        FakePanel panel;
        frmDataTable table(driverUnits(), recordStore());
        setHeaderFields(table, makeHeader(QStringLiteral("7")));
        QVERIFY(recordStore().replaceTrace(makeSamples(samples)));
        table.findChild<QComboBox*>(QStringLiteral("CmbSample"))->setCurrentIndex(filter);
        if (samples == 0) {
            QVERIFY(!showGridPrintPreview(nullptr));
            QCOMPARE(fx.messages->texts(), QStringList{"You have to measure first"});
            return;
        }

        const auto report = TraceReport::forGrid();
        QVERIFY(report);
        QTEST(int(report->content().trace.samples.size()), "rows");
        const QString pdf = fx.path(QStringLiteral("grid.pdf"));
        QVERIFY(report->writePdf(pdf));
        if (!havePdfToText())
            QSKIP("pdftotext (poppler-utils) is not installed; the PDF's text cannot be read");
        const auto first = pdfPageText(pdf, 1);
        QVERIFY(first);
        QVERIFY(first->contains(QStringLiteral("(shown: %1)").arg(shown)));
        QVERIFY(first->contains(QLatin1String("SeqNo")));
        QVERIFY2(!first->contains(QLatin1String("Total Sampling")), "no graph page");
        // Samples 1, 6, 11, ... are the ones over MAX; no other sample is printed.
        QString all;
        for (int page = 1; const auto text = pdfPageText(pdf, page); ++page)
            all += *text;
        const QDateTime start(QDate(2026, 1, 5), QTime(10, 0, 0));
        for (int i = 1; i < samples; ++i) // sample 0's time is the caption's start time
            QCOMPARE(all.contains(dateTimeText(start.addSecs(i))), filter == 2 && i % 5 == 1);
    }

    void statisticsFollowTheGraphWindow() {
        StoreFixture fx;
        FakePanel panel;
        std::vector<TempSample> rows = makeSamples(200);
        rows.back().seqNo = 4000000000; // decides nothing about the memory the graph takes
        const TraceReport hidden = TraceReport::forTrace(TraceRecord{makeHeader(), rows}); // no window open
        QStringList expected{"MAX:5", "MIN:1", "Match Condition:0", "Total Sampling:200",
                             "Total Time:0:3:20"};
        QCOMPARE(hidden.content().graph->statistics(), expected);

        frmGraphicRecord graph(driverUnits(), recordStore());
        graph.setLimHighText(QStringLiteral("4"));
        graph.setLimLowText(QStringLiteral("2"));
        QVERIFY(recordStore().replaceTrace(rows));
        // The window's in-band count runs on across rebuilds: the report shows it as it stands.
        graph.ReDraw();
        waitForBackgroundTasks();
        graph.ReDraw();
        waitForBackgroundTasks();
        graph.CWGraph1()->yAxis->setRange(-10, 10);
        const auto report = TraceReport::forWorkingTrace();
        QVERIFY(report);
        const ReportGraph& printed = *report->content().graph;
        expected[2] = graph.findChild<QLabel*>(QStringLiteral("pnlStdCount"))->text();
        QCOMPARE(printed.statistics(), expected);
        const QCustomPlot& plot = printed.plot();
        QCOMPARE(plot.graph(1)->dataCount(), 200); // the high limit line
        QCOMPARE(plot.graph(3)->dataCount(), 0);   // no reference line for an empty field
        QCOMPARE(plot.graph(4)->dataCount(), 4);   // the marks of the samples without a reply
        QCOMPARE(plot.yAxis->range().lower, -10.0);
        QCOMPARE(plot.xAxis->range().upper, 199.0);
    }

    void exportOfASavedRecord_data() {
        QTest::addColumn<int>("recno");
        QTest::addColumn<bool>("withDatabase");
        QTest::addColumn<bool>("withPaths");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("message"); // or the number of samples written
        addRow("existing record", 2, true, true, 0, "200");
        addRow("working trace", 0, true, true, 0, "3");
        addRow("missing record", 99, true, true, 1, "record 99 does not exist in");
        addRow("no database", 1, false, true, 1, "there is no record database");
        addRow("nothing to write", 1, true, false, 2, "needs --pdf FILE, --csv FILE or --ndjson FILE");
    }

    void exportOfASavedRecord() {
        QFETCH(int, recno);
        QFETCH(bool, withDatabase);
        QFETCH(bool, withPaths);
        QFETCH(int, exitCode);
        QFETCH(QString, message);
        StoreFixture fx;
        storeRecord(makeHeader(QStringLiteral("1")), makeSamples(10));
        storeRecord(makeHeader(QStringLiteral("2")), makeSamples(200));
        QVERIFY(recordStore().replaceTrace(makeSamples(3))); // the working trace is another one
        recordStore().close(); // the command line starts with the database closed
        if (!withDatabase)
            session().programFolder = fx.path(QStringLiteral("elsewhere"));
        const QString pdf = withPaths ? fx.path(QStringLiteral("out.pdf")) : QString();
        const QString csv = withPaths ? fx.path(QStringLiteral("out.csv")) : QString();
        const QString ndjson = withPaths ? fx.path(QStringLiteral("out.ndjson")) : QString();

        QString messages;
        QTextStream err(&messages);
        QCOMPARE(exportRecord(recno, {pdf, csv, ndjson}, err, writeReportFile), exitCode);
        if (exitCode != 0) {
            QVERIFY2(messages.contains(message) && messages.endsWith('\n'), qPrintable(messages));
            QCOMPARE(QDir(fx.dir.path()).entryList(QStringList{"out.*", "elsewhere"}), QStringList());
            return;
        }
        QCOMPARE(messages, QString());
        const QByteArray bytes = fileBytes(csv);
        QCOMPARE(bytes.count("\r\n"), message.toInt() + 1);
        QCOMPARE(fileBytes(ndjson).count('\n'), message.toInt());
        QCOMPARE(recordStore().countSamples().value_or(-1), 3);
        QVERIFY(QFileInfo(pdf).size() > 0);
        if (havePdfToText()) {
            const auto first = pdfPageText(pdf, 1);
            QVERIFY(first && first->contains(QLatin1String("Total Sampling:") + message));
            QVERIFY(first->contains(TraceReport::defaultTitle()));
        }
    }
};

QTEST_MAIN(TraceReportTest)
#include "tst_tracereport.moc"
