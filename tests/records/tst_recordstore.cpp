// The record database: the dialect rewrite, and files that cannot be used.

#include "DataRows.h"
#include "WindowTestSupport.h"

#include <QDir>
#include <QFile>
#include <QTest>

using namespace kvx;
using namespace kvx::test;

class TestRecordStore : public QObject {
    Q_OBJECT

private slots:
    void dialectRewrite_data() {
        QTest::addColumn<QString>("statement");
        QTest::addColumn<QString>("expected"); // empty: left as it is
        const QString into = "insert into datatemp (SeqNo,RecTime,PVal,SVal,Reason,Comment";
        const QString copied = ") select SeqNo ,RecTime,   PVal    ,SVal,  Reason, Comment";
        const QString from = " from datadetail where recno='3'";
        addRow("delete star", statements::S10(), "delete from datatemp");
        addRow("six-column copy gets its column list", statements::S12("3"), into + copied + from);
        addRow("full copy names its columns too", statements::S11("3"),
               into + ",timetick,difflasttime" + copied + ",timetick,difflasttime" + from);
        addRow("copy with a column list", statements::S4("3"), "");
        addRow("plain delete", statements::S6("3"), "");
        addRow("sample insert", statements::S13("0", "t", "1 V", "0 ", "0", "0", "0"), "");
    }

    void dialectRewrite() {
        QFETCH(QString, statement);
        QFETCH(QString, expected);
        QCOMPARE(toSqlite(statement), expected.isEmpty() ? statement : expected);
    }

    void unusableFileIsRefusedWithItsName_data() {
        QTest::addColumn<QString>("kind");
        addRow("not a database", "garbage");
        addRow("locked by another program", "locked");
        addRow("a folder", "folder");
    }

    void unusableFileIsRefusedWithItsName() {
        QFETCH(QString, kind);
        QTemporaryDir dir;
        const QString path = dir.filePath("KVX5130.mdb");
        if (kind == "garbage") {
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(QByteArray(4096, 'x'));
        } else if (kind == "folder") {
            QVERIFY(QDir().mkpath(path));
        } else {
            QVERIFY(recordStore().open(path));
            recordStore().close();
        }
        const std::unique_ptr<OtherProgramLock> lock(kind == "locked" ? new OtherProgramLock(path) : nullptr);
        QVERIFY(!lock || lock->locked);

        QVERIFY(!recordStore().open(path));
        QVERIFY(!recordStore().isOpen());
        QVERIFY2(recordStore().openMessage().contains(path), qPrintable(recordStore().openMessage()));
    }
};

QTEST_MAIN(TestRecordStore)
#include "tst_recordstore.moc"
