// Saving, listing, loading and abandoning records, against a real database and
// the real data table window; the graph, the dial and the panel are stand-ins.

#include "RecordOperations.h"
#include "RecordsTestSupport.h"
#include "clsKVX5310.h"
#include "frmDataTable.h"

#include <QTest>

using namespace kvx;
using namespace kvx::test;

Q_DECLARE_METATYPE(kvx::Answer)

namespace {

struct Bench {
    StoreFixture store;
    FakeStatePanel state;
    FakeGraph graph;
    FakeAnalog analog;
    FakePanel panel;
    frmDataTable table;
    RecordOperations records;
    double clockValue = 36000.0;

    Bench() { table.ClearData(); }
    void record(int samples) {
        for (int i = 0; i < samples; ++i) {
            clockValue += 1.0;
            session().lastReadingTime = clockValue;
            table.setValuePrimary(i);
            table.AppendData();
        }
    }
    void answer(Answer a) { store.messages->queueAnswer(a); }
    QStringList texts() const { return store.messages->texts(); }
    QStringList db(const QString& sql) const { return column(store.databasePath(), sql); }
    // A recorded trace saved as a new record with the given description.
    QString saveNew(int samples, const QString& description) {
        table.ClearData();
        record(samples);
        table.setField(RecordField::StartTime, "2026/01/05 10:00:01");
        table.setField(RecordField::EndTime, "2026/01/05 10:05:00");
        table.setField(RecordField::DataDesc, description);
        answer(Answer::Yes);
        records.saveRecord();
        return table.field(RecordField::Recno);
    }
};

} // namespace

class TestRecordOperations : public QObject {
    Q_OBJECT

private slots:
    void init() { driver().setUnitPrimary("Voltage"); }

    void saveWithoutSamplesAsksToMeasure();
    void saveNewRecord_data();
    void saveNewRecord();
    void updateReplacesSamplesAndLosesTimeColumns();
    void quoteInDescriptionFailsAndKeepsTheTrace_data();
    void quoteInDescriptionFailsAndKeepsTheTrace();
    void recordNumbersPastNine();
    void listLine_data();
    void listLine();
    void loadFromListKeepsTimeColumns();
    void loadFromGridDropsTimeColumns();
    void loadUnknownRecordChangesNothing();
    void recordStyleSelectsTheOption_data();
    void recordStyleSelectsTheOption();
    void clearTrace_data();
    void clearTrace();
};

void TestRecordOperations::saveWithoutSamplesAsksToMeasure() {
    Bench b;
    QVERIFY(!b.records.saveRecord());
    QCOMPARE(b.texts(), QStringList({"You have to measure first"}));
    QCOMPARE(b.db("select count(*) from datamain"), QStringList({"0"}));
}

void TestRecordOperations::saveNewRecord_data() {
    QTest::addColumn<int>("styleIndex");
    QTest::addColumn<Answer>("answer");
    QTest::addColumn<QString>("expectedStyle"); // empty: nothing saved
    QTest::newRow("continuous, yes") << 0 << Answer::Yes << "0";
    QTest::newRow("trigger, yes") << 1 << Answer::Yes << "1";
    QTest::newRow("no") << 0 << Answer::No << "";
}

void TestRecordOperations::saveNewRecord() {
    QFETCH(int, styleIndex);
    QFETCH(Answer, answer);
    QFETCH(QString, expectedStyle);
    Bench b;
    b.panel.styleIndex = styleIndex;
    b.record(3);
    b.table.setField(RecordField::StartTime, "2026/01/05 10:00:01");
    b.table.setField(RecordField::EndTime, "2026/01/05 10:00:03");
    b.table.setField(RecordField::DataDesc, "first run");
    b.answer(answer);

    QCOMPARE(b.records.saveRecord(), !expectedStyle.isEmpty());
    QCOMPARE(b.texts(), QStringList({"Are you sure?"}));
    if (expectedStyle.isEmpty()) {
        QCOMPARE(b.table.field(RecordField::Recno), QString());
        QCOMPARE(b.db("select count(*) from datamain"), QStringList({"0"}));
        return;
    }
    QCOMPARE(b.table.field(RecordField::Recno), QString("1"));
    const auto header = query(b.store.databasePath(), "select * from datamain");
    QCOMPARE(header.size(), 1);
    QCOMPARE(header[0], QVariantList({1, "2026/01/05 10:00:01", "2026/01/05 10:00:03", "first run", "V", "",
                                      expectedStyle}));
    QCOMPARE(b.db("select TimeTick from datadetail where recno='1' order by SeqNo"),
             QStringList({"0", "1", "2"}));
    // The trace stays the working trace.
    QCOMPARE(b.db("select count(*) from datatemp"), QStringList({"3"}));
}

void TestRecordOperations::updateReplacesSamplesAndLosesTimeColumns() {
    Bench b;
    QCOMPARE(b.saveNew(3, "first"), QString("1"));
    b.record(2);
    b.table.setField(RecordField::DataDesc, "second");
    b.table.setField(RecordField::StartTime, "changed");
    b.store.messages->clear();
    b.answer(Answer::Yes);

    QVERIFY(b.records.saveRecord());
    QCOMPARE(b.texts(), QStringList({"Do you want to update?"}));
    QCOMPARE(b.db("select Comment || '|' || StartTime from datamain"),
             QStringList({"second|2026/01/05 10:00:01"}));
    QCOMPARE(b.db("select SeqNo from datadetail where recno=1 order by SeqNo"),
             QStringList({"0", "1", "2", "3", "4"}));
    QCOMPARE(
        b.db("select count(*) from datadetail where recno=1 and TimeTick is null and DiffLastTime is null"),
        QStringList({"5"}));

    b.answer(Answer::No);
    b.table.setField(RecordField::DataDesc, "third");
    QVERIFY(!b.records.saveRecord());
    QCOMPARE(b.db("select Comment from datamain"), QStringList({"second"}));
}

void TestRecordOperations::quoteInDescriptionFailsAndKeepsTheTrace_data() {
    QTest::addColumn<bool>("alreadySaved");
    QTest::newRow("new record (S3)") << false;
    QTest::newRow("update (S5)") << true;
}

void TestRecordOperations::quoteInDescriptionFailsAndKeepsTheTrace() {
    QFETCH(bool, alreadySaved);
    Bench b;
    if (alreadySaved)
        b.saveNew(4, "fine");
    else
        b.record(4);
    b.table.setField(RecordField::DataDesc, "operator's note");
    b.store.messages->clear();
    b.answer(Answer::Yes);

    QVERIFY(!b.records.saveRecord());
    const QString shown = b.texts().last();
    QVERIFY2(shown.startsWith("System Error caused by ") && shown.contains(":"), qPrintable(shown));
    QCOMPARE(b.db("select count(*) from datatemp"), QStringList({"4"}));
    QCOMPARE(b.db("select count(*) from datadetail"), QStringList({alreadySaved ? "4" : "0"}));
    QCOMPARE(b.table.rowCount(), 4);
}

void TestRecordOperations::recordNumbersPastNine() {
    Bench b;
    for (int n = 1; n <= 11; ++n)
        QCOMPARE(b.saveNew(1, QString("run %1").arg(n)), QString::number(n));
    const auto rows = b.records.listRecords();
    QVERIFY(rows);
    QCOMPARE(rows->size(), size_t(11));
    QCOMPARE(rows->front().recNo, QString("11"));
    QCOMPARE(rows->at(1).recNo, QString("10"));
    QCOMPARE(rows->back().recNo, QString("1"));
    QCOMPARE(RecordOperations::recordListHeadings(),
             QStringList({u8"編號", u8"開始時間", u8"結束時間", u8"註  解"}));

    QVERIFY(b.records.loadFromListLine(RecordOperations::listLine(rows->at(1))));
    QCOMPARE(b.table.field(RecordField::DataDesc), QString("run 10"));
}

void TestRecordOperations::listLine_data() {
    QTest::addColumn<QString>("recNo");
    QTest::addColumn<QString>("startTime");
    QTest::addColumn<QString>("comment");
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("recNoReadBack");
    QTest::newRow("short fields are padded") << "7"
                                             << "2026/01/05 10:00:01"
                                             << "dc run"
                                             << "7     2026/01/05 10:dc run                   "
                                             << "7";
    QTest::newRow("long comment is cut") << "12"
                                         << "2026/01/05 10:00:01"
                                         << "a comment longer than 25 chars"
                                         << "12    2026/01/05 10:a comment longer than 25 "
                                         << "12";
    QTest::newRow("number over 6 characters cannot be read back")
        << "1234567"
        << "2026/01/05 10:00:01"
        << ""
        << "1234562026/01/05 10:                         "
        << "123456";
}

void TestRecordOperations::listLine() {
    QFETCH(QString, recNo);
    QFETCH(QString, startTime);
    QFETCH(QString, comment);
    QFETCH(QString, line);
    QFETCH(QString, recNoReadBack);
    const QString built = RecordOperations::listLine({recNo, startTime, "end", comment});
    QCOMPARE(built, line);
    QCOMPARE(RecordOperations::recordNumberOfListLine(built), recNoReadBack);
}

void TestRecordOperations::loadFromListKeepsTimeColumns() {
    Bench b;
    const QString longComment = "a description well beyond twenty-five characters";
    b.saveNew(3, longComment);
    b.saveNew(2, "other");
    b.panel.styleIndex = 1;
    callLog().clear();

    const auto rows = b.records.listRecords();
    QVERIFY(rows);
    QVERIFY(b.records.loadFromListLine(RecordOperations::listLine(rows->back())));
    QCOMPARE(b.table.field(RecordField::Recno), QString("1"));
    QCOMPARE(b.table.field(RecordField::DataDesc), longComment);
    QCOMPARE(b.table.field(RecordField::StartTime), QString("2026/01/05 10:00:01"));
    QCOMPARE(b.table.field(RecordField::PUnit), QString("V"));
    QCOMPARE(b.panel.styleIndex, 0);
    QCOMPARE(b.db("select TimeTick from datatemp order by SeqNo"), QStringList({"0", "1", "2"}));
    QCOMPARE(b.table.rowCount(), 3);
    QCOMPARE(callLog(), QStringList({"ReDraw"}));
}

void TestRecordOperations::loadFromGridDropsTimeColumns() {
    Bench b;
    b.saveNew(3, "grid");
    b.saveNew(5, "other");
    QVERIFY(b.records.loadFromGrid("1"));
    QCOMPARE(b.table.field(RecordField::DataDesc), QString("grid"));
    QCOMPARE(b.db("select coalesce(TimeTick, 'null') from datatemp order by SeqNo"),
             QStringList({"null", "null", "null"}));
    QCOMPARE(b.table.rowCount(), 3);
    QCOMPARE(b.table.GetValuePrimary(2), QString("2 V"));
}

void TestRecordOperations::loadUnknownRecordChangesNothing() {
    Bench b;
    b.saveNew(3, "kept");
    callLog().clear();
    QVERIFY(!b.records.loadFromListLine("99    2026/01/05 10:x"));
    QVERIFY(!b.records.loadFromListLine(""));
    QCOMPARE(b.db("select count(*) from datatemp"), QStringList({"3"}));
    QCOMPARE(b.table.field(RecordField::DataDesc), QString("kept"));
    QCOMPARE(callLog(), QStringList());
}

void TestRecordOperations::recordStyleSelectsTheOption_data() {
    QTest::addColumn<QString>("recStyle");
    QTest::addColumn<int>("selected");
    QTest::newRow("continuous") << "0" << 0;
    QTest::newRow("trigger") << "1" << 1;
    QTest::newRow("anything else selects neither") << "7" << -1;
}

void TestRecordOperations::recordStyleSelectsTheOption() {
    QFETCH(QString, recStyle);
    QFETCH(int, selected);
    Bench b;
    QVERIFY(recordStore().insertHeader({"5", "s", "e", "c", "V", "", recStyle}));
    QVERIFY(b.records.loadFromGrid("5"));
    QCOMPARE(b.panel.styleIndex, selected);
}

void TestRecordOperations::clearTrace_data() {
    QTest::addColumn<int>("samples");
    QTest::addColumn<Answer>("answer");
    QTest::addColumn<QStringList>("questions");
    QTest::addColumn<QStringList>("calls");
    QTest::addColumn<bool>("clockReset");
    const QStringList all{"ClearGraph rows=0", "ResetMeter"};
    QTest::newRow("trace, yes") << 3 << Answer::Yes << QStringList{"Abandon record?"} << all << true;
    QTest::newRow("trace, no") << 3 << Answer::No << QStringList{"Abandon record?"} << QStringList{} << false;
    QTest::newRow("empty trace: no question, clock kept") << 0 << Answer::No << QStringList{} << all << false;
}

void TestRecordOperations::clearTrace() {
    QFETCH(int, samples);
    QFETCH(Answer, answer);
    QFETCH(QStringList, questions);
    QFETCH(QStringList, calls);
    QFETCH(bool, clockReset);
    Bench b;
    b.record(samples);
    session().lastReadingTime = 36100.0;
    b.table.setField(RecordField::Recno, "3");
    callLog().clear();
    b.answer(answer);

    b.records.clearTrace();
    QCOMPARE(b.texts(), questions);
    QCOMPARE(callLog(), calls);
    const bool cleared = !calls.isEmpty();
    QCOMPARE(b.table.field(RecordField::Recno), cleared ? QString() : QString("3"));
    QCOMPARE(b.db("select count(*) from datatemp"), QStringList({cleared ? "0" : QString::number(samples)}));
    QCOMPARE(session().lastReadingTime, clockReset ? 0.0 : 36100.0);
}

QTEST_MAIN(TestRecordOperations)
#include "tst_recordoperations.moc"
