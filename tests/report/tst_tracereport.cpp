// The printed trace report and the command-line export: what lands on which
// page of the PDF, statistics that agree with the graph window, and the export
// of saved records by number.
#include "CsvExport.h"
#include "ExportRecord.h"
#include "ReportTestSupport.h"
#include "TraceReport.h"
#include "frmDataTable.h"
#include "frmGraphicRecord.h"

#include <QFile>
#include <QImage>
#include <QLabel>
#include <QPointer>
#include <QPrintPreviewDialog>
#include <QPrintPreviewWidget>
#include <QPrinter>
#include <QProcess>
#include <QStandardPaths>
#include <QtTest>
#include <qcustomplot.h>

using namespace kvx;
using namespace kvx::test;

namespace {

// The text of one page of a PDF, or nullopt when the page is not there.
std::optional<QString> pdfPageText(const QString& pdf, int page) {
    QProcess p;
    p.start(QStandardPaths::findExecutable(QStringLiteral("pdftotext")),
            {QStringLiteral("-layout"), QStringLiteral("-enc"), QStringLiteral("UTF-8"), QStringLiteral("-f"),
             QString::number(page), QStringLiteral("-l"), QString::number(page), pdf, QStringLiteral("-")});
    if (!p.waitForFinished(60000) || p.exitStatus() != QProcess::NormalExit || p.exitCode() != 0)
        return std::nullopt;
    return QString::fromUtf8(p.readAllStandardOutput());
}

#define REQUIRE_PDFTOTEXT()                                                                                  \
    if (QStandardPaths::findExecutable(QStringLiteral("pdftotext")).isEmpty())                               \
    QSKIP("pdftotext (poppler-utils) is not installed; the PDF's text cannot be read")

void fillDataTable(DataTable& table, const RecordHeader& h) {
    table.setField(RecordField::Recno, h.recNo);
    table.setField(RecordField::StartTime, h.startTime);
    table.setField(RecordField::EndTime, h.endTime);
    table.setField(RecordField::DataDesc, h.comment);
    table.setField(RecordField::PUnit, h.pUnit);
    table.setField(RecordField::SUnit, h.sUnit);
}

QString timeOfSample(int i) {
    return dateTimeText(QDateTime(QDate(2026, 1, 5), QTime(10, 0, 0)).addSecs(i));
}

} // namespace

class TraceReportTest : public QObject {
    Q_OBJECT
private slots:
    void pagesOfA200SampleReport();
    void statisticsAgreeWithTheGraphWindow();
    void reportFollowsTheGraphWindow();
    void rendersOnAPrinter();
    void previewShowsEveryPage();
    void exportOfASavedRecord();
    void exportRefusals_data();
    void exportRefusals();
};

void TraceReportTest::pagesOfA200SampleReport() {
    REQUIRE_PDFTOTEXT();
    ReportFixture fx;
    FakePanel panel;
    frmDataTable table;
    frmGraphicRecord graph;
    // Settings fields come padded with blanks, as the operation record keeps them.
    session().operation.reportHeader = fixedText(QStringLiteral("Lab 3 Ripple Test"), 255);
    QImage logo(120, 60, QImage::Format_RGB32);
    logo.fill(Qt::darkCyan);
    QVERIFY(logo.save(fx.path(QStringLiteral("logo.png"))));
    session().operation.logoFile = fixedText(fx.path(QStringLiteral("logo.png")), 255);
    fillDataTable(table, makeHeader(QStringLiteral("7")));
    QVERIFY(recordStore().replaceTrace(makeSamples(200)));
    table.refreshRows();
    graph.ReDraw();

    const auto report = TraceReport::forWorkingTrace();
    QVERIFY(report);
    QVERIFY(!report->content().logo.isNull());
    const QString pdf = fx.path(QStringLiteral("report.pdf"));
    QVERIFY(report->writePdf(pdf));

    const auto first = pdfPageText(pdf, 1);
    QVERIFY(first);
    for (const char* expected :
         {"Lab 3 Ripple Test", "Record No.:", "2026/01/05 10:03:20", "Bench 4, supply ripple", "MAX:5",
          "MIN:1", "Match Condition:0", "Total Sampling:200", "Total Time:0:3:20", "Elapsed Time [Sec]",
          "Page 1 of "})
        QVERIFY2(first->contains(QLatin1String(expected)), expected);
    QVERIFY2(!first->contains(QLatin1String("SeqNo")), "the table starts on page two");

    // The table: headings on every page, every sample once and in order.
    int page = 2;
    int nextSample = 0;
    for (;; ++page) {
        const auto text = pdfPageText(pdf, page);
        if (!text)
            break;
        QVERIFY2(text->contains(QLatin1String("SeqNo")), qPrintable(QStringLiteral("page %1").arg(page)));
        QVERIFY(text->contains(QLatin1String("Primary [V]")));
        QVERIFY(text->contains(QLatin1String("Secondary [kHz]")));
        QVERIFY(!text->contains(QLatin1String("Total Sampling")));
        for (int at = 0; nextSample < 200 && (at = text->indexOf(timeOfSample(nextSample), at)) >= 0;)
            ++nextSample;
    }
    const int pages = page - 1;
    QCOMPARE(nextSample, 200);
    QVERIFY2(pages >= 4, qPrintable(QStringLiteral("%1 pages").arg(pages))); // 200 rows do not fit on two
    QVERIFY(pdfPageText(pdf, pages)->contains(QStringLiteral("Page %1 of %1").arg(pages)));
    QVERIFY(first->contains(QStringLiteral("Page 1 of %1").arg(pages)));
    QVERIFY(pdfPageText(pdf, 2)->contains(QLatin1String("check 7")));
}

void TraceReportTest::statisticsAgreeWithTheGraphWindow() {
    // A saved record printed without windows shows what the graph window shows
    // for the same samples after loading them.
    ReportFixture fx;
    FakePanel panel;
    const std::vector<TempSample> rows = makeSamples(200);
    const TraceReport hidden = TraceReport::forTrace(TraceRecord{makeHeader(), rows});
    QCOMPARE(hidden.content().graph->statistics(),
             (QStringList{"MAX:5", "MIN:1", "Match Condition:0", "Total Sampling:200", "Total Time:0:3:20"}));

    frmGraphicRecord graph;
    QVERIFY(recordStore().replaceTrace(rows));
    graph.ReDraw();
    const auto shown = TraceReport::forWorkingTrace();
    QVERIFY(shown);
    QCOMPARE(shown->content().graph->statistics(), hidden.content().graph->statistics());
    QCOMPARE(forms().graph, &graph); // the hidden window did not take the registered one's place
}

void TraceReportTest::reportFollowsTheGraphWindow() {
    ReportFixture fx;
    frmGraphicRecord graph;
    graph.setLimHighText(QStringLiteral("4"));
    graph.setLimLowText(QStringLiteral("2"));
    QVERIFY(recordStore().replaceTrace(makeSamples(300)));
    graph.ReDraw();
    graph.ReDraw(); // the window's in-band count runs on across rebuilds: the report shows it as it stands
    graph.CWGraph1()->yAxis->setRange(-10, 10);
    const QString matchShown = graph.findChild<QLabel*>(QStringLiteral("pnlStdCount"))->text();

    const auto report = TraceReport::forWorkingTrace();
    QVERIFY(report);
    const ReportGraph& printed = *report->content().graph;
    QCOMPARE(printed.statistics().value(2), matchShown);
    QCOMPARE(printed.window().trace().matchCount * 2, graph.trace().matchCount);
    const QCustomPlot* plot = printed.window().CWGraph1();
    QCOMPARE(plot->graph(1)->dataCount(), 300); // the high limit line
    QCOMPARE(plot->yAxis->range().lower, -10.0);

    // Painting widens the hidden plot for paper and then leaves it as it was.
    const double xUpper = plot->xAxis->range().upper;
    const QPen pen = plot->graph(0)->pen();
    QVERIFY(report->writePdf(fx.path(QStringLiteral("limits.pdf"))));
    QCOMPARE(plot->xAxis->range().upper, xUpper);
    QCOMPARE(plot->graph(0)->pen(), pen);
}

void TraceReportTest::rendersOnAPrinter() {
    ReportFixture fx;
    const TraceReport report = TraceReport::forTrace(TraceRecord{makeHeader(), makeSamples(120)});
    QPrinter printer(QPrinter::HighResolution);
    prepareReportPrinter(printer, report);
    printer.setOutputFormat(QPrinter::PdfFormat);
    printer.setOutputFileName(fx.path(QStringLiteral("printed.pdf")));
    QCOMPARE(printer.docName(), QStringLiteral("KVX-5130 record 7"));
    const int pages = report.render(printer);
    QVERIFY(pages >= 3);
    QVERIFY(QFileInfo(fx.path(QStringLiteral("printed.pdf"))).size() > 0);
}

void TraceReportTest::previewShowsEveryPage() {
    ReportFixture fx;
    QVERIFY(recordStore().replaceTrace(makeSamples(150)));
    const auto report = TraceReport::forWorkingTrace();
    QVERIFY(report);
    QPrinter sized(QPrinter::ScreenResolution);
    prepareReportPrinter(sized, *report);
    sized.setOutputFormat(QPrinter::PdfFormat);
    sized.setOutputFileName(fx.path(QStringLiteral("sized.pdf")));
    const int pages = report->render(sized);

    QPointer<QPrintPreviewDialog> dialog = createPrintPreview(*report, nullptr);
    dialog->resize(900, 700);
    dialog->show();
    auto* preview = dialog->findChild<QPrintPreviewWidget*>();
    QVERIFY(preview);
    QTRY_COMPARE(preview->pageCount(), pages);
    dialog->close(); // deletes itself
    QTRY_VERIFY(dialog.isNull());
}

void TraceReportTest::exportOfASavedRecord() {
    ReportFixture fx;
    storeRecord(makeHeader(QStringLiteral("1")), makeSamples(10));
    storeRecord(makeHeader(QStringLiteral("2")), makeSamples(200));
    QVERIFY(recordStore().replaceTrace(makeSamples(3))); // the working trace is another one
    recordStore().close();                               // the command line starts with the database closed

    QString messages;
    QTextStream err(&messages);
    const QString pdf = fx.path(QStringLiteral("record2.pdf"));
    const QString csv = fx.path(QStringLiteral("record2.csv"));
    QCOMPARE(exportRecord(2, pdf, csv, err), 0);
    QCOMPARE(messages, QString());

    QFile in(csv);
    QVERIFY(in.open(QIODevice::ReadOnly));
    const QByteArray bytes = in.readAll();
    QCOMPARE(bytes.count("\r\n"), 201);
    QVERIFY(
        bytes.startsWith("SeqNo,RecTime,Primary [V],Secondary [kHz],Reason,Comment,TimeTick,DiffLastTime\r\n"
                         "0,2026/01/05 10:00:00,3,0.5,Time,,0,0\r\n"));
    QCOMPARE(recordStore().countSamples().value_or(-1), 3);
    if (!QStandardPaths::findExecutable(QStringLiteral("pdftotext")).isEmpty()) {
        const auto first = pdfPageText(pdf, 1);
        QVERIFY(first);
        QVERIFY(first->contains(QLatin1String("Total Sampling:200")));
        QVERIFY(first->contains(QLatin1String(TraceReport::defaultTitle().toLatin1())));
    } else {
        QVERIFY(QFileInfo(pdf).size() > 0);
    }
}

void TraceReportTest::exportRefusals_data() {
    QTest::addColumn<int>("recno");
    QTest::addColumn<bool>("withDatabase");
    QTest::addColumn<bool>("withPaths");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("message");
    QTest::newRow("missing record") << 99 << true << true << 1 << "record 99 does not exist in";
    QTest::newRow("no database") << 1 << false << true << 1 << "there is no record database";
    QTest::newRow("nothing to write") << 1 << true << false << 2 << "needs --pdf FILE or --csv FILE";
}

void TraceReportTest::exportRefusals() {
    QFETCH(int, recno);
    QFETCH(bool, withDatabase);
    QFETCH(bool, withPaths);
    QFETCH(int, exitCode);
    QFETCH(QString, message);
    ReportFixture fx;
    storeRecord(makeHeader(QStringLiteral("1")), makeSamples(5));
    recordStore().close();
    if (!withDatabase)
        session().programFolder = fx.path(QStringLiteral("elsewhere"));
    const QString pdf = withPaths ? fx.path(QStringLiteral("out.pdf")) : QString();
    const QString csv = withPaths ? fx.path(QStringLiteral("out.csv")) : QString();

    QString messages;
    QTextStream err(&messages);
    QCOMPARE(exportRecord(recno, pdf, csv, err), exitCode);
    QVERIFY2(messages.contains(message), qPrintable(messages));
    QVERIFY(messages.endsWith(QLatin1Char('\n')));
    QVERIFY(!QFile::exists(fx.path(QStringLiteral("out.pdf"))));
    QVERIFY(!QFile::exists(fx.path(QStringLiteral("out.csv"))));
    QVERIFY(!QFile::exists(fx.path(QStringLiteral("elsewhere/KVX5130.mdb"))));
}

QTEST_MAIN(TraceReportTest)
#include "tst_tracereport.moc"
