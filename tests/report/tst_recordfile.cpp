// Record files (*.kvx) and CSV exports of the working trace: an exact round trip
// through a file, refusal of damaged and foreign files without any change, and
// the CSV quoting and layout.
#include "CsvExport.h"
#include "RecordFile.h"
#include "ReportKeys.h"
#include "ReportTestSupport.h"
#include "frmDataTable.h"
#include "frmGraphicRecord.h"

#include <QFile>
#include <QtTest>

using namespace kvx;
using namespace kvx::test;

namespace {

// Texts a spreadsheet, a JSON writer or an SQL statement could trip over.
std::vector<TempSample> awkwardSamples() {
    std::vector<TempSample> rows = makeSamples(6);
    rows[1].comment = QStringLiteral("it's \"fine\", really");
    rows[2].comment = QStringLiteral(u"溫度漂移，第二次量測");
    rows[3].comment = QStringLiteral("line one\r\nline two\ttab \\ back");
    rows[4].pVal = QStringLiteral("1.5 mA"); // taken after a function change
    rows[4].timeTick = QVariant();           // an updated record has no time columns
    rows[4].diffLastTime = QVariant();
    rows[5].comment = QStringLiteral(u"😀 ünïcödé");
    return rows;
}

void setHeaderFields(DataTable& table, const RecordHeader& h) {
    table.setField(RecordField::Recno, h.recNo);
    table.setField(RecordField::StartTime, h.startTime);
    table.setField(RecordField::EndTime, h.endTime);
    table.setField(RecordField::DataDesc, h.comment);
    table.setField(RecordField::PUnit, h.pUnit);
    table.setField(RecordField::SUnit, h.sUnit);
}

QStringList headerFields(const DataTable& table) {
    QStringList out;
    for (RecordField f : {RecordField::Recno, RecordField::StartTime, RecordField::EndTime,
                          RecordField::DataDesc, RecordField::PUnit, RecordField::SUnit})
        out << table.field(f);
    return out;
}

// The encoded file of a two-sample trace, to damage in the tests.
QByteArray smallFile() {
    TraceRecord trace{makeHeader(), makeSamples(2)};
    return RecordFile::encode(trace, QDateTime(QDate(2026, 1, 5), QTime(11, 0, 0)));
}

} // namespace

class RecordFileTest : public QObject {
    Q_OBJECT
private slots:
    void roundTripRestoresTheTraceExactly();
    void fileStartsWithItsFormatAndKeepsTextReadable();
    void damagedFileChangesNothing_data();
    void damagedFileChangesNothing();
    void openingWhileTracingIsRefused();
    void savingNeedsSamplesAndAWritableFile();
    void dialogKeysAddTheSuffix();
    void csvQuoting_data();
    void csvQuoting();
    void csvOfATrace();
    void csvExportOfTheWorkingTrace();
};

void RecordFileTest::roundTripRestoresTheTraceExactly() {
    ReportFixture fx;
    FakePanel panel;
    frmDataTable table;
    frmGraphicRecord graph;
    RecordHeader h = makeHeader(QStringLiteral("12"));
    h.comment = QStringLiteral(u"他說 \"ok\", it's fine");
    h.pUnit = QStringLiteral("kohm");
    setHeaderFields(table, h);
    panel.styleIndex = 1;
    QVERIFY(recordStore().replaceTrace(awkwardSamples()));
    const QStringList before = datatempRows(fx.databasePath());
    QCOMPARE(before.size(), 6);

    const QString file = fx.path(QStringLiteral("trace.kvx"));
    QVERIFY(RecordFile::saveWorkingTrace(file));

    // Another trace takes its place before the file is opened again.
    QVERIFY(recordStore().replaceTrace(makeSamples(3)));
    setHeaderFields(table, makeHeader(QStringLiteral("3")));
    panel.styleIndex = 0;

    QVERIFY(RecordFile::openAsWorkingTrace(file));
    QCOMPARE(datatempRows(fx.databasePath()), before);
    // The record number belonged to the database the file came from: saving the
    // opened trace must make a new record, not overwrite record 12 here.
    QCOMPARE(headerFields(table),
             (QStringList{QString(), h.startTime, h.endTime, h.comment, h.pUnit, h.sUnit}));
    QCOMPARE(panel.styleIndex, 1);
    QCOMPARE(table.rowCount(), 6);
    const QString cjk = QStringLiteral(u"溫度漂移，第二次量測");
    QCOMPARE(table.model().text(2, TraceTableModel::CommentColumn), cjk);
    QCOMPARE(graph.trace().sampleCount, 6);
    QVERIFY(fx.messages->shown().empty());
}

void RecordFileTest::fileStartsWithItsFormatAndKeepsTextReadable() {
    TraceRecord trace{makeHeader(), awkwardSamples()};
    const QByteArray bytes = RecordFile::encode(trace, QDateTime(QDate(2026, 1, 5), QTime(11, 0, 0)));
    QVERIFY(bytes.startsWith("{\"format\":\"kvx5130-record\",\"version\":1,"));
    QVERIFY(bytes.contains("\"saved\":\"2026/01/05 11:00:00\""));
    // One line per sample, CJK as UTF-8 rather than escapes, empty time columns as null.
    QVERIFY(bytes.contains(QStringLiteral(u"\n[2,\"2026/01/05 10:00:02\",").toUtf8()));
    QVERIFY(bytes.contains(QStringLiteral(u"溫度漂移").toUtf8()));
    QVERIFY(bytes.contains("\"1.5 mA\",\"0.5 kHz\",\"4\",\"\",null,null]"));

    const auto decoded = RecordFile::decode(bytes);
    QVERIFY(decoded);
    QCOMPARE(decoded->samples.size(), trace.samples.size());
    QVERIFY(decoded->samples[4].timeTick.isNull());
}

void RecordFileTest::damagedFileChangesNothing_data() {
    QTest::addColumn<QByteArray>("find");
    QTest::addColumn<QByteArray>("replace");
    QTest::addColumn<int>("cutAt");
    QTest::addColumn<QString>("why");

    const QByteArray sample0 = "[0,\"2026/01/05 10:00:00\",\"3 V\",\"0.5 kHz\",\"0\",\"\",0,0]";
    QTest::newRow("truncated") << QByteArray() << QByteArray() << 200 << "it is damaged";
    QTest::newRow("empty") << QByteArray() << QByteArray() << 0 << "not a KVX-5130 record file";
    QTest::newRow("wrong magic") << QByteArray("kvx5130-record") << QByteArray("kvx5130-settings") << -1
                                 << "not a KVX-5130 record file";
    QTest::newRow("foreign json") << QByteArray("\"format\"") << QByteArray("\"formats\"") << -1
                                  << "not a KVX-5130 record file";
    QTest::newRow("newer version") << QByteArray("\"version\":1") << QByteArray("\"version\":2") << -1
                                   << "written in record-file version 2";
    QTest::newRow("version as text") << QByteArray("\"version\":1") << QByteArray("\"version\":\"1\"") << -1
                                     << "format version is missing or not valid";
    QTest::newRow("version with fraction") << QByteArray("\"version\":1") << QByteArray("\"version\":1.5")
                                           << -1 << "format version is missing or not valid";
    QTest::newRow("header field missing") << QByteArray("\"startTime\"") << QByteArray("\"beginTime\"") << -1
                                          << "header is damaged (\"startTime\"";
    QTest::newRow("header field a number")
        << QByteArray("\"pUnit\":\"V\"") << QByteArray("\"pUnit\":5") << -1 << "header is damaged (\"pUnit\"";
    QTest::newRow("columns changed") << QByteArray("\"TimeTick\",") << QByteArray("\"Tick\",") << -1
                                     << "sample columns";
    QTest::newRow("samples not a list")
        << QByteArray("\"samples\":[") << QByteArray("\"samples\":{\"a\":[") << -1 << "it is damaged";
    QTest::newRow("SeqNo as text") << QByteArray("[0,\"2026") << QByteArray("[\"0\",\"2026") << -1
                                   << "sample 1 of 2 is damaged (SeqNo";
    QTest::newRow("SeqNo with fraction")
        << QByteArray("[1,\"2026") << QByteArray("[1.5,\"2026") << -1 << "sample 2 of 2 is damaged (SeqNo";
    QTest::newRow("reading a number")
        << sample0 << QByteArray(sample0).replace("\"3 V\"", "3") << -1 << "(PVal is not text)";
    QTest::newRow("comment a number")
        << sample0 << QByteArray(sample0).replace(",\"\",0,0]", ",7,0,0]") << -1 << "(Comment is not text)";
    QTest::newRow("time tick as text") << sample0 << QByteArray(sample0).replace(",0,0]", ",\"0\",0]") << -1
                                       << "(TimeTick is neither a whole number nor empty)";
    QTest::newRow("row too short") << sample0 << QByteArray(sample0).replace(",0,0]", ",0]") << -1
                                   << "(not a row of 8 columns)";
}

void RecordFileTest::damagedFileChangesNothing() {
    QFETCH(QByteArray, find);
    QFETCH(QByteArray, replace);
    QFETCH(int, cutAt);
    QFETCH(QString, why);
    ReportFixture fx;
    FakePanel panel;
    frmDataTable table;
    setHeaderFields(table, makeHeader(QStringLiteral("4")));
    QVERIFY(recordStore().replaceTrace(makeSamples(3)));
    table.refreshRows();
    const QStringList rowsBefore = datatempRows(fx.databasePath());
    const QStringList fieldsBefore = headerFields(table);

    QByteArray bytes = smallFile();
    if (!find.isEmpty()) {
        QVERIFY2(bytes.contains(find), find.constData());
        bytes.replace(bytes.indexOf(find), find.size(), replace);
    }
    if (cutAt >= 0)
        bytes.truncate(cutAt);
    const QString file = fx.path(QStringLiteral("damaged.kvx"));
    QFile out(file);
    QVERIFY(out.open(QIODevice::WriteOnly));
    out.write(bytes);
    out.close();

    QVERIFY(!RecordFile::openAsWorkingTrace(file));
    QCOMPARE(fx.messages->shown().size(), size_t(1));
    const QString message = fx.messages->shown()[0].text;
    QVERIFY2(message.contains(why), qPrintable(message));
    QVERIFY(message.contains(QStringLiteral("The working trace is unchanged.")));
    QCOMPARE(datatempRows(fx.databasePath()), rowsBefore);
    QCOMPARE(headerFields(table), fieldsBefore);
    QCOMPARE(table.rowCount(), 3);
}

void RecordFileTest::openingWhileTracingIsRefused() {
    ReportFixture fx;
    const QString file = fx.path(QStringLiteral("good.kvx"));
    QVERIFY(RecordFile::write(file, TraceRecord{makeHeader(), makeSamples(5)}));
    QVERIFY(recordStore().replaceTrace(makeSamples(2)));
    session().tracing = true;
    QVERIFY(!RecordFile::openAsWorkingTrace(file));
    QCOMPARE(fx.messages->texts(),
             QStringList{QStringLiteral("Stop the trace before opening a record file.")});
    QCOMPARE(recordStore().countSamples().value_or(-1), 2);
}

void RecordFileTest::savingNeedsSamplesAndAWritableFile() {
    ReportFixture fx;
    QVERIFY(!RecordFile::saveWorkingTrace(fx.path(QStringLiteral("empty.kvx"))));
    QCOMPARE(fx.messages->texts(), QStringList{QStringLiteral("You have to measure first")});
    QVERIFY(!QFile::exists(fx.path(QStringLiteral("empty.kvx"))));

    fx.messages->clear();
    QVERIFY(recordStore().replaceTrace(makeSamples(2)));
    QFile blocker(fx.path(QStringLiteral("plain-file")));
    QVERIFY(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    const QString impossible = fx.path(QStringLiteral("plain-file/trace.kvx"));
    QVERIFY(!RecordFile::saveWorkingTrace(impossible));
    QCOMPARE(fx.messages->shown().size(), size_t(1));
    QVERIFY(fx.messages->shown()[0].text.startsWith(
        QStringLiteral("The record file \"%1\" cannot be written: ").arg(impossible)));
}

void RecordFileTest::dialogKeysAddTheSuffix() {
    ReportFixture fx;
    FakePanel panel;
    frmDataTable table;
    setHeaderFields(table, makeHeader(QStringLiteral("9")));
    QVERIFY(recordStore().replaceTrace(makeSamples(4)));
    QStringList asked;
    QString answer = fx.path(QStringLiteral("chosen"));
    ReportKeys::setFileChooser(
        [&](QWidget*, bool saving, const QString&, const QString& start, const QString& filter) {
            asked << QStringLiteral("%1|%2|%3").arg(saving ? "save" : "open", start, filter);
            return answer;
        });

    QVERIFY(ReportKeys::saveRecordFileAs(nullptr));
    QVERIFY(QFile::exists(fx.path(QStringLiteral("chosen.kvx"))));
    QVERIFY(ReportKeys::exportCsvAs(nullptr));
    QVERIFY(QFile::exists(fx.path(QStringLiteral("chosen.csv"))));
    answer = fx.path(QStringLiteral("chosen.kvx"));
    QVERIFY(ReportKeys::openRecordFile(nullptr));
    answer.clear(); // the operator cancels
    QVERIFY(!ReportKeys::openRecordFile(nullptr));
    ReportKeys::setFileChooser({});

    QCOMPARE(asked.value(0),
             QStringLiteral("save|%1|KVX-5130 Files (*.kvx)").arg(fx.path("KVX-5130 record 9.kvx")));
    QCOMPARE(asked.value(1),
             QStringLiteral("save|%1|CSV Files (*.csv)").arg(fx.path("KVX-5130 record 9.csv")));
    QCOMPARE(asked.value(2), QStringLiteral("open|%1|KVX-5130 Files (*.kvx)").arg(fx.dir.path()));
    QVERIFY(fx.messages->shown().empty());
}

void RecordFileTest::csvQuoting_data() {
    QTest::addColumn<QString>("field");
    QTest::addColumn<QString>("written");
    QTest::newRow("plain") << "Over MAX"
                           << "Over MAX";
    QTest::newRow("empty") << ""
                           << "";
    QTest::newRow("comma") << "a,b"
                           << "\"a,b\"";
    QTest::newRow("quote") << "say \"hi\""
                           << "\"say \"\"hi\"\"\"";
    QTest::newRow("only a quote") << "\""
                                  << "\"\"\"\"";
    QTest::newRow("line feed") << "a\nb"
                               << "\"a\nb\"";
    QTest::newRow("carriage return") << "a\rb"
                                     << "\"a\rb\"";
    QTest::newRow("apostrophe and semicolon") << "it's; ok"
                                              << "it's; ok";
    QTest::newRow("cjk") << QStringLiteral(u"溫度，高")
                         << QStringLiteral(u"溫度，高"); // a full-width comma is text
}

void RecordFileTest::csvQuoting() {
    QFETCH(QString, field);
    QFETCH(QString, written);
    QCOMPARE(CsvExport::quoted(field), written);
}

void RecordFileTest::csvOfATrace() {
    RecordHeader h = makeHeader();
    h.sUnit = QStringLiteral("kohm");
    std::vector<TempSample> rows = makeSamples(3);
    rows[0].sVal = QStringLiteral("12.5 kohm");
    rows[1].comment = QStringLiteral(u"lid \"open\", 溫度");
    rows[1].pVal = QStringLiteral("1.5 mA");
    rows[2].comment = QStringLiteral("two\r\nlines");
    rows[2].timeTick = QVariant();
    rows[2].diffLastTime = QVariant();
    const QByteArray csv = CsvExport::encode(TraceRecord{h, rows});
    const QByteArray expected =
        QStringLiteral(u"SeqNo,RecTime,Primary [V],Secondary [kΩ],Reason,Comment,TimeTick,DiffLastTime\r\n"
                       u"0,2026/01/05 10:00:00,3,12.5,Time,,0,0\r\n"
                       u"1,2026/01/05 10:00:01,1.5 mA,0.5 kHz,Over MAX,\"lid \"\"open\"\", 溫度\",1,1\r\n"
                       u"2,2026/01/05 10:00:02,3.27,0.5 kHz,Below MIN,\"two\r\nlines\",,\r\n")
            .toUtf8();
    QCOMPARE(csv, expected);
}

void RecordFileTest::csvExportOfTheWorkingTrace() {
    ReportFixture fx;
    const QString file = fx.path(QStringLiteral("trace.csv"));
    QVERIFY(!CsvExport::exportWorkingTrace(file));
    QCOMPARE(fx.messages->texts(), QStringList{QStringLiteral("You have to measure first")});

    QVERIFY(recordStore().replaceTrace(makeSamples(50)));
    QVERIFY(CsvExport::exportWorkingTrace(file));
    QFile in(file);
    QVERIFY(in.open(QIODevice::ReadOnly));
    const QByteArray bytes = in.readAll();
    QCOMPARE(bytes.count("\r\n"), 51);
    QVERIFY(bytes.startsWith("SeqNo,RecTime,Primary,Secondary,Reason,")); // no data table: no units known
    QVERIFY(bytes.endsWith("49,2026/01/05 10:00:49,2.75 V,0.5 kHz,Match condition:%,,49,1\r\n"));
}

QTEST_MAIN(RecordFileTest)
#include "tst_recordfile.moc"
