// Record files (*.kvx) and the CSV and NDJSON exports: an exact round trip
// through a file, refusal of damaged and foreign files without any change, the
// export layouts, and Python's csv and json modules reading the exported numbers.
#include "BackgroundTask.h"
#include "CsvExport.h"
#include "RecordFile.h"
#include "ReportKeys.h"
#include "ReportTestSupport.h"
#include "clsKVX5310.h"
#include "frmDataTable.h"
#include "frmGraphicRecord.h"

#include <QtTest>

#include <ctime>

using namespace kvx;
using namespace kvx::test;

class RecordFileTest : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() {
        // Exported times carry the offset of this zone.
        qputenv("TZ", "Europe/Berlin");
        tzset();
    }

    void roundTripRestoresTheTraceExactly() {
        StoreFixture fx;
        FakePanel panel;
        frmDataTable table(driverUnits(), recordStore());
        frmGraphicRecord graph(driverUnits(), recordStore());
        RecordHeader h = makeHeader(QStringLiteral("12"));
        h.comment = QStringLiteral(u"他說 \"ok\", it's fine");
        h.pUnit = QStringLiteral("kohm");
        setHeaderFields(table, h);
        panel.styleIndex = 1;
        // Texts a spreadsheet, a JSON writer or an SQL statement could trip over.
        std::vector<TempSample> rows = makeSamples(6);
        rows[1].comment = QStringLiteral("it's \"fine\", really");
        rows[2].comment = QStringLiteral(u"溫度漂移，第二次量測");
        rows[3].comment = QStringLiteral("line one\r\nline two\ttab \\ back");
        rows[4].pVal = QStringLiteral("1.5 mA"); // taken after a function change
        rows[4].timeTick = QVariant();           // an updated record has no time columns
        rows[4].diffLastTime = QVariant();
        rows[5].comment = QStringLiteral(u"😀 ünïcödé");
        QVERIFY(recordStore().replaceTrace(rows));
        const QStringList before = datatempRows(fx.databasePath());

        const QString file = fx.path(QStringLiteral("trace.kvx"));
        QVERIFY(RecordFile::saveWorkingTrace(file));
        // One line per sample, CJK as UTF-8 rather than escapes, empty time columns as null.
        const QByteArray bytes = fileBytes(file);
        QVERIFY(bytes.startsWith("{\"format\":\"kvx5130-record\",\"version\":2,"));
        QVERIFY(bytes.contains("\"saved\":\"2026/01/05 10:00:00\""));
        QVERIFY(bytes.contains("\n[2,\"2026/01/05 10:00:02\",") && bytes.contains(rows[2].comment.toUtf8()));
        QVERIFY(bytes.contains("\"1.5 mA\",\"0.5 kHz\",\"4\",\"\",null,null,false]"));

        // Another trace takes its place before the file is opened again, once the trace is stopped.
        QVERIFY(recordStore().replaceTrace(makeSamples(3)));
        setHeaderFields(table, makeHeader(QStringLiteral("3")));
        panel.styleIndex = 0;
        session().tracing = true;
        QVERIFY(!RecordFile::openAsWorkingTrace(file));
        QCOMPARE(fx.messages->texts(), QStringList{"Stop the trace before opening a record file."});
        QCOMPARE(recordStore().countSamples().value_or(-1), 3);
        session().tracing = false;
        fx.messages->clear();

        QVERIFY(RecordFile::openAsWorkingTrace(file));
        waitForBackgroundTasks(); // the graph is drawn again from the store
        QCOMPARE(datatempRows(fx.databasePath()), before);
        // The record number belonged to the database the file came from: saving the
        // opened trace must make a new record, not overwrite record 12 here.
        QCOMPARE(headerFields(table),
                 (QStringList{QString(), h.startTime, h.endTime, h.comment, h.pUnit, h.sUnit}));
        QCOMPARE(panel.styleIndex, 1);
        QCOMPARE(table.rowCount(), 6);
        QCOMPARE(graph.trace().sampleCount, 6);
        QVERIFY(fx.messages->shown().empty());

        // A file of version 1 knows no NoReply column: its samples open unmarked.
        QByteArray version1 = bytes;
        version1.replace("\"version\":2", "\"version\":1").replace(",\"NoReply\"]", "]");
        version1.replace(",true]", "]").replace(",false]", "]");
        QVERIFY(writeFile(file, version1) && RecordFile::openAsWorkingTrace(file));
        QCOMPARE(column(fx.databasePath(), "select sum(NoReply) || '/' || count(*) from datatemp"),
                 QStringList{"0/6"});
    }

    void damagedFileChangesNothing_data() {
        QTest::addColumn<QString>("find"); // the first place, in the file of two samples, ...
        QTest::addColumn<QString>("replace");
        QTest::addColumn<int>("cutAt"); // ... or where the file ends early
        QTest::addColumn<QString>("why");
        const char* notOurs = "not a KVX-5130 record file";
        const char* badVersion = "format version is missing or not valid";
        addRow("truncated", "", "", 200, "it is damaged");
        addRow("empty", "", "", 0, notOurs);
        addRow("wrong magic", "kvx5130-record", "kvx5130-settings", -1, notOurs);
        addRow("newer version", "\"version\":2", "\"version\":3", -1, "written in record-file version 3");
        addRow("version as text", "\"version\":2", "\"version\":\"2\"", -1, badVersion);
        addRow("header field missing", "\"startTime\"", "\"beginTime\"", -1,
               "header is damaged (\"startTime\"");
        addRow("header field a number", "\"pUnit\":\"V\"", "\"pUnit\":5", -1, "header is damaged (\"pUnit\"");
        addRow("columns changed", "\"TimeTick\",", "\"Tick\",", -1, "sample columns");
        addRow("samples not a list", "\"samples\":[", "\"samples\":7,\"rows\":[", -1,
               "its samples are missing");
        addRow("SeqNo with fraction", "[1,\"2026", "[1.5,\"2026", -1, "sample 2 is damaged (SeqNo");
        addRow("SeqNo four billion", "[1,\"2026", "[4000000000,\"2026", -1,
               "(SeqNo 4000000000 is not between 0 and 2147483647)");
        addRow("SeqNo twice", "[1,\"2026", "[0,\"2026", -1, "sample 2 is damaged (SeqNo 0 appears twice)");
        addRow("SeqNo falling", "[0,\"2026", "[7,\"2026", -1, "(SeqNo 1 follows 7; the numbers must rise)");
        addRow("reading a number", "\"3 V\"", "3", -1, "(PVal is not text)");
        addRow("time tick as text", ",0,0,false]", ",\"0\",0,false]", -1,
               "(TimeTick is neither a whole number nor empty)");
        addRow("mark as text", ",0,0,false]", ",0,0,\"no\"]", -1, "(NoReply is neither true nor false)");
        addRow("row too short", ",0,0,false]", ",0,false]", -1, "(not a row of 9 columns)");
        addRow("nested too deeply",
               "\"application\":", "\"x\":" + QString("[").repeated(100000) + "],\"a\":", -1,
               "nested too deeply");
    }

    void damagedFileChangesNothing() {
        QFETCH(QString, find);
        QFETCH(QString, replace);
        QFETCH(int, cutAt);
        QFETCH(QString, why);
        StoreFixture fx;
        FakePanel panel;
        frmDataTable table(driverUnits(), recordStore());
        setHeaderFields(table, makeHeader(QStringLiteral("4")));
        QVERIFY(recordStore().replaceTrace(makeSamples(3)));
        table.refreshRows();
        const QStringList rowsBefore = datatempRows(fx.databasePath());
        const QStringList fieldsBefore = headerFields(table);

        QByteArray bytes = RecordFile::encode({makeHeader(), makeSamples(2)}, QDateTime());
        if (!find.isEmpty()) {
            QVERIFY2(bytes.contains(find.toUtf8()), qPrintable(find));
            bytes.replace(bytes.indexOf(find.toUtf8()), find.toUtf8().size(), replace.toUtf8());
        }
        if (cutAt >= 0)
            bytes.truncate(cutAt);
        const QString file = fx.path(QStringLiteral("damaged.kvx"));
        QVERIFY(writeFile(file, bytes));

        QVERIFY(!RecordFile::openAsWorkingTrace(file));
        QCOMPARE(fx.messages->shown().size(), size_t(1));
        const QString message = fx.messages->shown()[0].text;
        QVERIFY2(message.contains(why) && message.contains("The working trace is unchanged."),
                 qPrintable(message));
        QCOMPARE(datatempRows(fx.databasePath()), rowsBefore);
        QCOMPARE(headerFields(table), fieldsBefore);
        QCOMPARE(table.rowCount(), 3);
    }

    void savingNeedsSamplesAndAWritableFile() {
        StoreFixture fx;
        QVERIFY(!RecordFile::saveWorkingTrace(fx.path(QStringLiteral("empty.kvx"))));
        QVERIFY(!CsvExport::exportWorkingTrace(fx.path(QStringLiteral("empty.csv"))));
        QCOMPARE(fx.messages->texts(), QStringList(2, "You have to measure first"));
        QCOMPARE(QDir(fx.dir.path()).entryList(QStringList{"empty.*"}), QStringList());

        fx.messages->clear();
        QVERIFY(recordStore().replaceTrace(makeSamples(2)));
        QVERIFY(CsvExport::exportWorkingTrace(fx.path(QStringLiteral("trace.csv"))));
        QCOMPARE(fileBytes(fx.path(QStringLiteral("trace.csv"))).count("\r\n"), 3);
        QVERIFY(writeFile(fx.path(QStringLiteral("plain-file"))));
        const QString impossible = fx.path(QStringLiteral("plain-file/trace.kvx"));
        QVERIFY(!RecordFile::saveWorkingTrace(impossible));
        QCOMPARE(fx.messages->shown().size(), size_t(1));
        QVERIFY(fx.messages->shown()[0].text.startsWith(
            QStringLiteral("The record file \"%1\" cannot be written: ").arg(impossible)));
    }

    void dialogKeysAddTheSuffix() {
        StoreFixture fx;
        FakePanel panel;
        frmDataTable table(driverUnits(), recordStore());
        setHeaderFields(table, makeHeader(QStringLiteral("9")));
        QVERIFY(recordStore().replaceTrace(makeSamples(50)));
        useUserFolder("DOCUMENTS", fx.path(QStringLiteral("Documents")));
        QStringList asked;
        QString answer = fx.path(QStringLiteral("chosen"));
        ReportKeys::setFileChooser(
            [&](QWidget*, bool saving, const QString&, const QString& start, const QString& filter) {
                asked << QStringLiteral("%1|%2|%3").arg(saving ? "save" : "open", start, filter);
                return answer;
            });

        QVERIFY(ReportKeys::saveRecordFileAs(nullptr));
        QVERIFY(ReportKeys::exportCsvAs(nullptr));
        // The key exports on a thread of its own, from the same rows as a direct export.
        waitForBackgroundTasks();
        QVERIFY(CsvExport::exportWorkingTrace(fx.path(QStringLiteral("direct.csv"))));
        QCOMPARE(fileBytes(fx.path(QStringLiteral("chosen.csv"))), fileBytes(fx.path(QStringLiteral("direct.csv"))));
        // A stopped export leaves no file behind.
        QString error;
        QVERIFY(!exportSamples(recordStore(), QString(), makeHeader(QStringLiteral("9")), ExportFormat::Csv,
                               fx.path(QStringLiteral("stopped.csv")), &error, [](qint64) { return false; }));
        QVERIFY(!QFile::exists(fx.path(QStringLiteral("stopped.csv"))));
        answer = fx.path(QStringLiteral("chosen.kvx"));
        QVERIFY(ReportKeys::openRecordFile(nullptr));
        // Documents first, then the folder of the file chosen last.
        QCOMPARE(asked, (QStringList{"save|" + fx.path("Documents/KVX-5130 record 9.kvx") +
                                         "|KVX-5130 Files (*.kvx)",
                                     "save|" + fx.path("KVX-5130 record 9.csv") + "|CSV Files (*.csv)",
                                     "open|" + fx.dir.path() + "|KVX-5130 Files (*.kvx)"}));
        answer.clear(); // the operator cancels
        QVERIFY(!ReportKeys::openRecordFile(nullptr));
        ReportKeys::setFileChooser({});
        QVERIFY(fx.messages->shown().empty());
        const QByteArray bytes = fileBytes(fx.path(QStringLiteral("chosen.csv")));
        QCOMPARE(bytes.count("\r\n"), 51);
        QVERIFY(
            bytes.endsWith("49,2026-01-05T10:00:49+01:00,2.75,V,0.5,kHz,4,Match condition:%,,49,1,0\r\n"));
    }

    // Cancelled while the file is checked, or while it is stored: nothing changes.
    void cancelledOpeningChangesNothing() {
        StoreFixture fx;
        const QString file = fx.path(QStringLiteral("long.kvx"));
        QVERIFY(RecordFile::write(file, {makeHeader(), makeSamples(20000)}));
        QVERIFY(recordStore().replaceTrace(makeSamples(3)));
        const QStringList before = datatempRows(fx.databasePath());
        for (const double cancelPast : {0.0, 0.75}) {
            int reports = 0;
            QVERIFY(!RecordFile::openAsWorkingTrace(file, [&](qint64 done, qint64 total) {
                ++reports;
                return done < cancelPast * total;
            }));
            QVERIFY(reports > 0);
            QCOMPARE(datatempRows(fx.databasePath()), before);
        }
        QVERIFY(fx.messages->shown().empty());
    }

    void exportsOfATrace_data() {
        QTest::addColumn<int>("format");
        QTest::addColumn<QString>("expected");
        QTest::newRow("csv")
            << int(ExportFormat::Csv)
            << QStringLiteral(
                   u"SeqNo,RecTime,Primary,PrimaryUnit,Secondary,SecondaryUnit,Reason,ReasonCaption,"
                   u"Comment,TimeTick,DiffLastTime,NoReply\r\n"
                   u"0,2026-01-05T10:00:00+01:00,3,V,12.5,kΩ,0,Time,a\tb\x01,0,0,0\r\n"
                   u"1,2026-07-05T10:00:01+02:00,1.5,mA,0.5,kHz,1,Over MAX,\"lid \"\"open\"\", "
                   u"溫度\",1,1,0\r\n"
                   u"2,yesterday,3.27,V,,kΩ,2,Below MIN,\"two\r\nlines\",,,0\r\n");
        QTest::newRow("ndjson")
            << int(ExportFormat::Ndjson)
            << QStringLiteral(
                   u"{\"seqNo\":0,\"recTime\":\"2026-01-05T10:00:00+01:00\",\"primary\":3,\"primaryUnit\":"
                   u"\"V\","
                   u"\"secondary\":12.5,\"secondaryUnit\":\"kΩ\",\"reason\":\"0\",\"reasonCaption\":\"Time\","
                   u"\"comment\":\"a\\tb\\u0001\",\"timeTick\":0,\"diffLastTime\":0,\"noReply\":false}\n"
                   u"{\"seqNo\":1,\"recTime\":\"2026-07-05T10:00:01+02:00\",\"primary\":1.5,\"primaryUnit\":"
                   u"\"mA\","
                   u"\"secondary\":0.5,\"secondaryUnit\":\"kHz\",\"reason\":\"1\",\"reasonCaption\":\"Over "
                   u"MAX\","
                   u"\"comment\":\"lid \\\"open\\\", "
                   u"溫度\",\"timeTick\":1,\"diffLastTime\":1,\"noReply\":false}\n"
                   u"{\"seqNo\":2,\"recTime\":\"yesterday\",\"primary\":3.27,\"primaryUnit\":\"V\","
                   u"\"secondary\":null,\"secondaryUnit\":\"kΩ\",\"reason\":\"2\",\"reasonCaption\":\"Below "
                   u"MIN\","
                   u"\"comment\":\"two\\r\\nlines\",\"timeTick\":null,\"diffLastTime\":null,\"noReply\":"
                   u"false}\n");
    }
    void exportsOfATrace() {
        QFETCH(int, format);
        RecordHeader h = makeHeader();
        h.sUnit = QStringLiteral("kohm");
        std::vector<TempSample> rows = makeSamples(3);
        rows[0].sVal = QStringLiteral("12.5 kohm");
        rows[0].comment = QStringLiteral("a\tb\x01");
        rows[1].recTime = QStringLiteral("2026/07/05 10:00:01");
        rows[1].comment = QStringLiteral(u"lid \"open\", 溫度");
        rows[1].pVal = QStringLiteral("1.5 mA");
        rows[2].recTime = QStringLiteral("yesterday");
        rows[2].sVal = QStringLiteral("OL"); // not a number: no value, the record's unit
        rows[2].comment = QStringLiteral("two\r\nlines");
        rows[2].timeTick = QVariant();
        rows[2].diffLastTime = QVariant();
        QTEST(QString::fromUtf8(encodeSamples(TraceRecord{h, rows}, ExportFormat(format))), "expected");
    }

    // What the exports are for: another program reads the readings as numbers and the
    // times as instants. Python's own csv and json modules read both files of a record
    // straight from the database.
    void otherProgramsReadTheNumbers() {
        StoreFixture fx;
        std::vector<TempSample> rows = makeSamples(60);
        rows[20].pVal = QStringLiteral("-1.5e-05 V");
        rows[21].recTime = QStringLiteral("2026/07/01 12:00:00");
        storeRecord(makeHeader(), rows);
        const QString csvFile = fx.path(QStringLiteral("r.csv")),
                      ndjsonFile = fx.path(QStringLiteral("r.ndjson"));
        for (const auto& [file, format] :
             {std::pair{csvFile, ExportFormat::Csv}, std::pair{ndjsonFile, ExportFormat::Ndjson}}) {
            QString error;
            QVERIFY2(exportSamples(recordStore(), QStringLiteral("7"), makeHeader(), format, file, &error),
                     qPrintable(error));
        }
        const char* const script = R"(
import csv, json, sys
from datetime import datetime
table = list(csv.DictReader(open(sys.argv[1], newline='', encoding='utf-8')))
lines = [json.loads(line) for line in open(sys.argv[2], encoding='utf-8')]
assert len(table) == len(lines)
for c, j in zip(table, lines):
    assert float(c['Primary']) == j['primary'] and float(c['Secondary']) == j['secondary']
    assert c['RecTime'] == j['recTime'] and (c['NoReply'] == '1') == j['noReply']
    print(c['SeqNo'], '%.17g' % float(c['Primary']), c['PrimaryUnit'], '%.17g' % float(c['Secondary']),
          int(datetime.fromisoformat(c['RecTime']).timestamp()), c['NoReply'], sep='|')
)";
        QProcess python;
        python.start(QStringLiteral("python3"),
                     {QStringLiteral("-c"), QString::fromLatin1(script), csvFile, ndjsonFile});
        QVERIFY(python.waitForFinished(30000));
        QVERIFY2(python.exitCode() == 0, python.readAllStandardError().constData());
        QStringList expected;
        for (const TempSample& s : rows)
            expected << QStringLiteral("%1|%2|V|%3|%4|%5")
                            .arg(QString::number(s.seqNo),
                                 QString::number(parseLeadingNumber(s.pVal), 'g', 17),
                                 QString::number(parseLeadingNumber(s.sVal), 'g', 17),
                                 QString::number(parseDateTimeText(s.recTime).toSecsSinceEpoch()),
                                 QString::number(int(s.noReply)));
        QCOMPARE(QString::fromUtf8(python.readAllStandardOutput()).split('\n', Qt::SkipEmptyParts), expected);
    }
};

QTEST_MAIN(RecordFileTest)
#include "tst_recordfile.moc"
