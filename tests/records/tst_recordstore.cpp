// The record database on a real file: opening, the dialect rewrite, record numbers.

#include "RecordStore.h"
#include "RecordsTestSupport.h"

#include <QDir>
#include <QFile>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTest>

using namespace kvx;
using namespace kvx::test;

class TestRecordStore : public QObject {
    Q_OBJECT

private slots:
    void dialectRewrite_data();
    void dialectRewrite();
    void firstRunCreatesTablesAndKeepsThemAfterwards();
    void unusableFileIsRefusedWithItsName_data();
    void unusableFileIsRefusedWithItsName();
    void recordNumbersCountOnPastNine();
    void copiesWithoutTimeColumnsLeaveThemEmpty();
    void quoteInValueFailsWithTheEngineError();
    void highestSampleNumberOfEmptyTrace();
};

void TestRecordStore::dialectRewrite_data() {
    QTest::addColumn<QString>("statement");
    QTest::addColumn<QString>("expected");
    QTest::newRow("delete star") << statements::S10() << "delete from datatemp";
    QTest::newRow("six-column copy gets its column list")
        << statements::S12("3")
        << "insert into datatemp (SeqNo,RecTime,PVal,SVal,Reason,Comment) select SeqNo ,RecTime,   PVal    "
           ",SVal,  "
           "Reason, Comment from datadetail where recno='3'";
    QTest::newRow("full copy names its columns too")
        << statements::S11("3")
        << "insert into datatemp (SeqNo,RecTime,PVal,SVal,Reason,Comment,timetick,difflasttime) select SeqNo "
           ",RecTime,   PVal    ,SVal,  Reason, Comment,timetick,difflasttime from datadetail where "
           "recno='3'";
    QTest::newRow("copy with a column list is left alone") << statements::S4("3") << statements::S4("3");
    QTest::newRow("plain delete is left alone") << statements::S6("3") << statements::S6("3");
    QTest::newRow("sample insert is left alone") << statements::S13("0", "t", "1 V", "0 ", "0", "0", "0")
                                                 << statements::S13("0", "t", "1 V", "0 ", "0", "0", "0");
}

void TestRecordStore::dialectRewrite() {
    QFETCH(QString, statement);
    QFETCH(QString, expected);
    QCOMPARE(toSqlite(statement), expected);
}

void TestRecordStore::firstRunCreatesTablesAndKeepsThemAfterwards() {
    StoreFixture f;
    QVERIFY(recordStore().isOpen());
    QVERIFY(QFile::exists(f.databasePath()));
    QVERIFY(recordStore().insertSample(0, "2026/01/05 10:00:00", "1 V", "0 ", "0", 0, 0));
    recordStore().close();

    QVERIFY(recordStore().open(f.databasePath()));
    QCOMPARE(recordStore().countSamples(), std::optional<qint64>(1));
    QCOMPARE(column(f.databasePath(), "select name from sqlite_master where type='table' order by name"),
             QStringList({"datadetail", "datamain", "datatemp"}));
}

void TestRecordStore::unusableFileIsRefusedWithItsName_data() {
    QTest::addColumn<QString>("kind");
    QTest::newRow("not a database") << "garbage";
    QTest::newRow("locked by another program") << "locked";
    QTest::newRow("a folder") << "folder";
}

void TestRecordStore::unusableFileIsRefusedWithItsName() {
    QFETCH(QString, kind);
    QTemporaryDir dir;
    const QString path = dir.filePath("KVX5130.mdb");
    QSqlDatabase other;
    if (kind == "garbage") {
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QByteArray(4096, 'x'));
    } else if (kind == "folder") {
        QVERIFY(QDir().mkpath(path));
    } else {
        QVERIFY(recordStore().open(path));
        recordStore().close();
        other = QSqlDatabase::addDatabase("QSQLITE", "other-program");
        other.setDatabaseName(path);
        QVERIFY(other.open());
        QVERIFY(QSqlQuery(other).exec("begin immediate"));
    }

    QVERIFY(!recordStore().open(path));
    QVERIFY(!recordStore().isOpen());
    QVERIFY2(recordStore().openMessage().contains(path), qPrintable(recordStore().openMessage()));

    if (other.isValid()) {
        other.close();
        other = QSqlDatabase();
        QSqlDatabase::removeDatabase("other-program");
    }
}

void TestRecordStore::recordNumbersCountOnPastNine() {
    StoreFixture f;
    QCOMPARE(recordStore().nextRecordNumber(), std::optional<QString>("1"));
    for (int n = 1; n <= 11; ++n) {
        const std::optional<QString> next = recordStore().nextRecordNumber();
        QCOMPARE(next, std::optional<QString>(QString::number(n)));
        QVERIFY(recordStore().insertHeader({*next, "s", "e", "c", "V", "", "0"}));
    }
    QCOMPARE(recordStore().nextRecordNumber(), std::optional<QString>("12"));

    const auto rows = recordStore().listRecords();
    QVERIFY(rows);
    QStringList order;
    for (const RecordListRow& r : *rows)
        order << r.recNo;
    QCOMPARE(order, QStringList({"11", "10", "9", "8", "7", "6", "5", "4", "3", "2", "1"}));

    const auto header = recordStore().readHeader("10");
    QVERIFY(header && header->has_value());
    QCOMPARE((*header)->recNo, QString("10"));
}

void TestRecordStore::copiesWithoutTimeColumnsLeaveThemEmpty() {
    StoreFixture f;
    QVERIFY(recordStore().insertSample(0, "2026/01/05 10:00:00", "1 V", "0 ", "0", 0, 0));
    QVERIFY(recordStore().insertSample(1, "2026/01/05 10:00:01", "2 V", "0 ", "0", 1, 1));
    QVERIFY(recordStore().copyTraceToRecord("1"));
    QVERIFY(recordStore().copyTraceToRecordWithoutTimes("2"));
    QCOMPARE(column(f.databasePath(), "select TimeTick from datadetail where recno=1 order by SeqNo"),
             QStringList({"0", "1"}));
    QCOMPARE(column(f.databasePath(), "select TimeTick from datadetail where recno=2 order by SeqNo"),
             QStringList({"<null>", "<null>"}));

    QVERIFY(recordStore().clearTrace());
    QVERIFY(recordStore().loadRecordWithoutTimes("1"));
    QCOMPARE(column(f.databasePath(), "select DiffLastTime from datatemp order by SeqNo"),
             QStringList({"<null>", "<null>"}));
    QVERIFY(recordStore().clearTrace());
    QVERIFY(recordStore().loadRecordWithTimes("1"));
    QCOMPARE(column(f.databasePath(), "select DiffLastTime from datatemp order by SeqNo"),
             QStringList({"0", "1"}));
}

void TestRecordStore::quoteInValueFailsWithTheEngineError() {
    StoreFixture f;
    QVERIFY(!recordStore().insertHeader({"1", "s", "e", "it's", "V", "", "0"}));
    QVERIFY(recordStore().lastError().isSet());
    QVERIFY(!recordStore().lastError().number.isEmpty());
    QVERIFY(!recordStore().updateRecordComment("o'clock", "1"));
    QVERIFY(!recordStore().updateSampleComment("o'clock", "2026/01/05 10:00:00"));
    // The next good statement clears the error.
    QVERIFY(recordStore().countSamples());
    QVERIFY(!recordStore().lastError().isSet());
}

void TestRecordStore::highestSampleNumberOfEmptyTrace() {
    StoreFixture f;
    auto highest = recordStore().highestSampleNumber();
    QVERIFY(highest && !highest->has_value());
    QVERIFY(recordStore().insertSample(4, "t", "1 V", "0 ", "0", 0, 0));
    highest = recordStore().highestSampleNumber();
    QVERIFY(highest && highest->has_value());
    QCOMPARE(**highest, 4);
}

QTEST_MAIN(TestRecordStore)
#include "tst_recordstore.moc"
