// Saving, listing, loading and abandoning records, against a real database and
// the real data table window; the graph, the dial and the panel are stand-ins.

#include "BackgroundTask.h"
#include "RecordOperations.h"
#include "TableBench.h"
#include "clsKVX5310.h"

#include <QTest>

using namespace kvx;
using namespace kvx::test;

Q_DECLARE_METATYPE(kvx::Answer)

namespace {

struct Bench : TableBench {
    FakeGraph graph;
    FakeAnalog analog;
    FakePanel panel;
    RecordOperations records;

    // Samples 0, 1, 2, ...; the meter did not answer the reading of sample 1.
    void record(int samples) {
        for (int i = 0; i < samples; ++i) {
            table.setNoReply(i == 1);
            feed(i);
        }
    }
    QStringList texts() const { return store.messages->texts(); }
    // Records a trace and saves it as a new record with this description; returns its number.
    QString saveNew(int samples, const QString& description, Answer answer = Answer::Yes) {
        table.ClearData();
        record(samples);
        table.setField(RecordField::StartTime, "2026/01/05 10:00:01");
        table.setField(RecordField::EndTime, "2026/01/05 10:05:00");
        table.setField(RecordField::DataDesc, description);
        store.messages->clear();
        store.messages->queueAnswer(answer);
        records.saveRecord();
        return table.field(RecordField::Recno);
    }
};

} // namespace

class TestRecordOperations : public QObject {
    Q_OBJECT

private slots:
    void init() { driver().setUnitPrimary("Voltage"); }

    void saveNewRecord_data() {
        QTest::addColumn<int>("samples");
        QTest::addColumn<int>("styleIndex");
        QTest::addColumn<QString>("description");
        QTest::addColumn<Answer>("answer");
        QTest::addColumn<QString>(
            "shown"); // the messages, joined; the engine's own text after "caused by 1:"
        QTest::addColumn<QString>("recNo");      // txtRecno afterwards
        QTest::addColumn<QString>("savedStyle"); // empty: nothing saved
        addRow("continuous, yes", 3, 0, "first run", Answer::Yes, "Are you sure?", "1", "0");
        addRow("trigger, yes", 3, 1, "first run", Answer::Yes, "Are you sure?", "1", "1");
        addRow("no", 3, 0, "first run", Answer::No, "Are you sure?", "", "");
        addRow("no samples", 0, 0, "first run", Answer::Yes, "You have to measure first", "", "");
        // No header was written, so the number is given back: the next save is a new record again.
        addRow("quote fails, trace kept", 3, 0, "operator's note", Answer::Yes,
               "Are you sure?|System Error caused by 1:", "", "");
    }

    void saveNewRecord() {
        QFETCH(int, samples);
        QFETCH(int, styleIndex);
        QFETCH(QString, description);
        QFETCH(Answer, answer);
        QFETCH(QString, shown);
        QFETCH(QString, savedStyle);
        Bench b;
        b.panel.styleIndex = styleIndex;

        QTEST(b.saveNew(samples, description, answer), "recNo");
        QCOMPARE(b.texts().join('|').left(shown.size()), shown);
        QCOMPARE(b.texts().size(), shown.count('|') + 1);
        QCOMPARE(
            b.db("select RecNo||'|'||StartTime||'|'||EndTime||'|'||Comment||'|'||PUnit||'|'||SUnit||'|'||"
                 "RecStyle from datamain"),
            savedStyle.isEmpty() ? QStringList()
                                 : QStringList{"1|2026/01/05 10:00:01|2026/01/05 10:05:00|" + description +
                                               "|V||" + savedStyle});
        QCOMPARE(b.db("select TimeTick||':'||NoReply from datadetail where recno='1' order by SeqNo"),
                 savedStyle.isEmpty() ? QStringList() : QStringList({"0:0", "1:1", "2:0"}));
        QCOMPARE(b.db("select count(*) from datatemp"), QStringList{QString::number(samples)}); // trace stays
        QCOMPARE(b.table.rowCount(), samples);
    }

    void updateReplacesSamplesAndLosesTimeColumns() {
        Bench b;
        QCOMPARE(b.saveNew(3, "first"), QString("1"));
        b.record(2);
        b.table.setField(RecordField::DataDesc, "second");
        b.table.setField(RecordField::StartTime, "changed");
        b.store.messages->clear();
        b.store.messages->queueAnswer(Answer::Yes);

        QVERIFY(b.records.saveRecord());
        QCOMPARE(b.texts(), QStringList({"Do you want to update?"}));
        QCOMPARE(b.db("select Comment || '|' || StartTime from datamain"),
                 QStringList({"second|2026/01/05 10:00:01"}));
        QCOMPARE(
            b.db("select SeqNo||':'||coalesce(TimeTick, DiffLastTime, 'null')||':'||NoReply from datadetail "
                 "order by SeqNo"),
            QStringList({"0:null:0", "1:null:1", "2:null:0", "3:null:0", "4:null:1"}));

        for (const auto answer : {Answer::No, Answer::Yes}) { // no, then a quote the engine refuses
            b.store.messages->queueAnswer(answer);
            b.table.setField(RecordField::DataDesc, "operator's note");
            QVERIFY(!b.records.saveRecord());
        }
        QVERIFY(b.texts().last().startsWith("System Error caused by 1:"));
        QCOMPARE(b.db("select Comment from datamain"), QStringList({"second"}));
        QCOMPARE(b.db("select count(*) from datadetail union all select count(*) from datatemp"),
                 QStringList({"5", "5"}));
    }

    // Numbering past nine and the newest-first list are used through the panel's record tab.
    void listLineColumns() {
        // Number, start and comment in columns of 6, 14 and 25 characters.
        QCOMPARE(RecordOperations::listLine({"10", "2026/01/05 10:00:01", "e", "run 10"}),
                 QString("10    2026/01/05 10:run 10                   "));
        // A number over six characters cannot be read back from its line.
        QCOMPARE(
            RecordOperations::recordNumberOfListLine(RecordOperations::listLine({"1234567", "s", "e", ""})),
            QString("123456"));
    }

    void loadRecord_data() {
        QTest::addColumn<bool>("fromList");
        QTest::addColumn<QString>("recStyle");
        QTest::addColumn<int>("selected");
        QTest::addColumn<QString>("timeTicks");
        addRow("from the list, times kept", true, "1", 1, "0:0,1:1,2:0");
        addRow("from the grid, times dropped", false, "0", 0, "-:0,-:1,-:0");
        addRow("unknown style selects neither", false, "7", -1, "-:0,-:1,-:0");
    }

    void loadRecord() {
        QFETCH(bool, fromList);
        QFETCH(QString, recStyle);
        Bench b;
        const QString longComment = "a description well beyond twenty-five characters";
        b.panel.styleIndex = recStyle == "1" ? 1 : 0;
        b.saveNew(3, longComment);
        b.panel.styleIndex = 1 - b.panel.styleIndex;
        b.saveNew(5, "other");
        b.db("update datamain set RecStyle='" + recStyle + "' where RecNo=1");
        callLog().clear();

        const auto rows = b.records.listRecords();
        QVERIFY(rows);
        const QString line = RecordOperations::listLine(rows->back());
        QCOMPARE(line.size(), 6 + 14 + 25); // the long comment cut
        QVERIFY(fromList ? b.records.loadFromListLine(line) : b.records.loadFromGrid("1"));
        // A second load while the first runs is refused, never mixed into it.
        QVERIFY(!b.records.loadFromGrid("2"));
        waitForBackgroundTasks();
        QCOMPARE(b.table.field(RecordField::Recno), QString("1"));
        QCOMPARE(b.table.field(RecordField::DataDesc), longComment);
        QCOMPARE(b.table.field(RecordField::StartTime), QString("2026/01/05 10:00:01"));
        QCOMPARE(b.table.field(RecordField::PUnit), QString("V"));
        QTEST(b.panel.styleIndex, "selected");
        QTEST(b.db("select ifnull(TimeTick,'-')||':'||NoReply from datatemp order by SeqNo").join(','),
              "timeTicks");
        QVERIFY(b.table.model().noReply(1) && !b.table.model().noReply(2));
        QCOMPARE(b.table.rowCount(), 3);
        QCOMPARE(b.table.GetValuePrimary(2), QString("2 V"));
        QCOMPARE(callLog(), QStringList({"ReDraw"}));

        // A record that is not there changes nothing.
        QVERIFY(!b.records.loadFromListLine("99    2026/01/05 10:x") && !b.records.loadFromListLine(""));
        QCOMPARE(b.table.field(RecordField::DataDesc), longComment);
        QCOMPARE(b.table.rowCount(), 3);
        QCOMPARE(callLog(), QStringList({"ReDraw"}));
    }

    void clearTrace_data() {
        QTest::addColumn<int>("samples");
        QTest::addColumn<Answer>("answer");
        QTest::addColumn<QString>("question");
        QTest::addColumn<bool>("cleared");
        QTest::addColumn<bool>("clockReset");
        addRow("trace, yes", 3, Answer::Yes, "Abandon record?", true, true);
        addRow("trace, no", 3, Answer::No, "Abandon record?", false, false);
        addRow("empty trace: no question, clock kept", 0, Answer::No, "", true, false);
    }

    void clearTrace() {
        QFETCH(int, samples);
        QFETCH(Answer, answer);
        QFETCH(bool, cleared);
        QFETCH(bool, clockReset);
        Bench b;
        b.record(samples);
        session().lastReadingTime = 36100.0;
        b.table.setField(RecordField::Recno, "3");
        callLog().clear();
        b.store.messages->queueAnswer(answer);

        b.records.clearTrace();
        QTEST(b.texts().join(""), "question");
        QCOMPARE(callLog().join(","), cleared ? "ClearGraph rows=0,ResetMeter" : "");
        QCOMPARE(b.table.field(RecordField::Recno), cleared ? QString() : QString("3"));
        QCOMPARE(b.db("select count(*) from datatemp"),
                 QStringList({cleared ? "0" : QString::number(samples)}));
        QCOMPARE(session().lastReadingTime, clockReset ? 0.0 : 36100.0);
    }
};

QTEST_MAIN(TestRecordOperations)
#include "tst_recordoperations.moc"
