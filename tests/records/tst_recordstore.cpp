// The record database: hostile text in every statement that takes text, files
// that cannot be used, and a file of the schema before the NoReply column.

#include "DataRows.h"
#include "SyncCountingVfs.h"
#include "WindowTestSupport.h"

#include <QtTest>

using namespace kvx;
using namespace kvx::test;

namespace {

// Every row of the three tables, each as one text.
QStringList tables(const QString& path) {
    return column(path,
                  "select RecNo||'|'||StartTime||'|'||EndTime||'|'||Comment||'|'||PUnit||'|'||SUnit||'|'"
                  "||RecStyle from datamain order by rowid") +
           column(path, "select recno||'|'||SeqNo||'|'||RecTime||'|'||PVal||'|'||SVal||'|'||Reason||'|'||"
                        "Comment||'|'||ifnull(TimeTick,'-')||'|'||NoReply from datadetail order by rowid") +
           column(path, "select SeqNo||'|'||RecTime||'|'||PVal||'|'||SVal||'|'||Reason||'|'||Comment||'|'||"
                        "ifnull(TimeTick,'-')||'|'||NoReply from datatemp order by rowid");
}

void setUpTraceAndRecord() {
    RecordStore& s = recordStore();
    QVERIFY(s.replaceTrace({{0, "t0", "1 V", "0 ", "0", "", 0, 0}, {1, "t1", "2 V", "0 ", "0", "", 1, 1}}));
    QVERIFY(s.insertHeader({"1", "start", "end", "first", "V", "", "0"}) && s.copyTraceToRecord("1"));
}

// `text` in every place of every statement that takes text; which statements succeeded.
QString feedEverywhere(const QString& text) {
    RecordStore& s = recordStore();
    const auto header = [&] {
        return s.readHeader(text).value_or(std::nullopt).value_or(RecordHeader{}).comment;
    };
    const bool done[] = {s.insertSample({2, text, text, text, text, 2, 1, true}), // S13
                         s.updateSampleComment(text, "t1"),                       // S15
                         s.updateSampleComment("c", text),
                         s.insertHeader({text, text, text, text, text, text, text}), // S3
                         s.copyTraceToRecord(text),                                  // S4
                         s.updateRecordComment(text, "1"),                           // S5
                         s.updateRecordComment(text, text),
                         s.deleteRecordSamples(text),           // S6
                         s.copyTraceToRecordWithoutTimes(text), // S7
                         header() == text,                      // S9
                         s.loadRecordWithTimes(text),           // S11
                         s.loadRecordWithoutTimes(text)};       // S12
    QString outcome;
    for (bool d : done)
        outcome += d ? '+' : '-';
    return outcome;
}

} // namespace

class TestRecordStore : public QObject {
    Q_OBJECT

private slots:
    void hostileTextChangesOnlyItsOwnCells_data() {
        QTest::addColumn<QString>("text");
        addRow("comment for every row", "hijack' --");
        addRow("comment that sets a reading", "a', PVal='666 V");
        addRow("description of every record", "changed' where '1'='1' --");
        addRow("double quotes", "x\" or \"1\"=\"1");
        addRow("a second statement", "x; delete from datamain; --");
        addRow("placeholders", "? :a @b $1 ?1");
        addRow("typographic quote, backslash, wildcards", QStringLiteral(u"it’s \\ 100%_*"));
    }

    void hostileTextChangesOnlyItsOwnCells() {
        QFETCH(QString, text);
        const QString plain = "plain text";
        QStringList expected;
        {
            StoreFixture fx;
            setUpTraceAndRecord();
            QCOMPARE(feedEverywhere(plain), QString(12, '+'));
            expected = tables(fx.databasePath()).replaceInStrings(plain, text);
        }
        StoreFixture fx;
        setUpTraceAndRecord();
        if (text.contains('\'')) {
            // Refused before it reaches the file: the tables stay as the set-up left them.
            expected = tables(fx.databasePath());
            QCOMPARE(feedEverywhere(text), QString(12, '-'));
            QCOMPARE(recordStore().lastError().number, QString("1"));
        } else {
            QCOMPARE(feedEverywhere(text), QString(12, '+'));
        }
        QCOMPARE(tables(fx.databasePath()), expected);
    }

    void unusableFileIsRefusedUnchanged_data() {
        QTest::addColumn<QString>("kind"); // or the statements that make the file
        addRow("not a database", "garbage");
        addRow("locked by another program", "locked");
        addRow("a folder", "folder");
        addRow("another program's tables", "create table notes (id INTEGER, body TEXT)");
        addRow("record tables of other columns",
               "create table datamain (x);create table datadetail (x);create table datatemp (x)");
    }

    void unusableFileIsRefusedUnchanged() {
        QFETCH(QString, kind);
        QTemporaryDir dir;
        const QString path = dir.filePath("KVX5130.mdb");
        if (kind == "garbage") {
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(QByteArray(4096, 'x'));
        } else if (kind == "folder") {
            QVERIFY(QDir().mkpath(path));
        } else if (kind == "locked") {
            QVERIFY(recordStore().open(path));
            recordStore().close();
        } else {
            for (const QString& sql : kind.split(';'))
                column(path, sql);
        }
        const QByteArray before = fileBytes(path);
        const std::unique_ptr<OtherProgramLock> lock(kind == "locked" ? new OtherProgramLock(path) : nullptr);
        QVERIFY(!lock || lock->locked);

        QVERIFY(!recordStore().open(path));
        QVERIFY(!recordStore().isOpen());
        QVERIFY2(recordStore().openMessage().contains(path), qPrintable(recordStore().openMessage()));
        QCOMPARE(fileBytes(path), before);
    }

    void fileOfThePreviousSchemaIsUpgraded() {
        QTemporaryDir dir;
        const QString path = dir.filePath("KVX5130.mdb");
        for (const char* sql :
             {"create table datamain (RecNo INTEGER, StartTime TEXT, EndTime TEXT, Comment TEXT, PUnit TEXT, "
              "SUnit TEXT, RecStyle TEXT)",
              "create table datadetail (recno INTEGER, SeqNo INTEGER, RecTime TEXT, PVal TEXT, SVal TEXT, "
              "Reason "
              "TEXT, Comment TEXT, TimeTick INTEGER, DiffLastTime INTEGER)",
              "create table datatemp (SeqNo INTEGER, RecTime TEXT, PVal TEXT, SVal TEXT, Reason TEXT, "
              "Comment "
              "TEXT, TimeTick INTEGER, DiffLastTime INTEGER)",
              "insert into datamain values (1, 's', 'e', 'old', 'V', '', '0')",
              "insert into datadetail values (1, 0, 't0', '0 V', '0 ', '0', '', 0, 0)",
              "insert into datatemp values (0, 't0', '0 V', '0 ', '0', 'kept', 0, 0)"})
            column(path, sql);

        QVERIFY2(recordStore().open(path), qPrintable(recordStore().openMessage()));
        QVERIFY(recordStore().insertSample({1, "t1", "0 V", "0 ", "0", 1, 1, true}));
        QVERIFY(recordStore().copyTraceToRecord("2"));
        QCOMPARE(tables(path),
                 QStringList({"1|s|e|old|V||0", "1|0|t0|0 V|0 |0||0|0", "2|0|t0|0 V|0 |0|kept|0|0",
                              "2|1|t1|0 V|0 |0||1|1", "0|t0|0 V|0 |0|kept|0|0", "1|t1|0 V|0 |0||1|1"}));
        recordStore().close();
    }

    // An insert that fails half way leaves the working trace as it was, and the
    // store usable: nothing of the failed replace stays, no transaction stays open.
    void failedReplaceLeavesTheTraceAndTheStoreUsable() {
        StoreFixture fx;
        QVERIFY(recordStore().replaceTrace(makeSamples(3)));
        column(fx.databasePath(), "create trigger refuse before insert on datatemp when new.SeqNo = 2 "
                                  "begin select raise(abort, 'refused'); end");
        QVERIFY(!recordStore().replaceTrace(makeSamples(5)));
        QVERIFY(recordStore().lastError().description.contains(QLatin1String("refused")));
        QCOMPARE(column(fx.databasePath(), "select count(*) from datatemp"), QStringList{"3"});
        std::vector<TempSample> read;
        QVERIFY(recordStore().readSamples(0, [&](const TempSample& row) { read.push_back(row); }));
        QCOMPARE(read.size(), size_t(3));

        column(fx.databasePath(), "drop trigger refuse");
        QVERIFY(recordStore().insertSample({3, "t3", "1 V", "0 ", "0", 3, 1}));
        QCOMPARE(column(fx.databasePath(), "select count(*) from datatemp"), QStringList{"4"}); // committed
        QVERIFY(recordStore().replaceTrace(makeSamples(5)));
        QCOMPARE(column(fx.databasePath(), "select count(*) from datatemp"), QStringList{"5"});
    }

    // Each queued sample is on the disk once written: one sync (at least) per
    // sample, done by the writer thread, not by the caller.
    void everyQueuedSampleIsSynced() {
        SyncCountingVfs counting;
        StoreFixture fx;
        const int before = counting.syncs();
        constexpr int samples = 20;
        for (int i = 0; i < samples; ++i) {
            QVERIFY(recordStore().queueSample({i, "t", "1 V", "0 ", "0", i, 1}));
            QVERIFY(recordStore().settleWriter()); // one tick after another
        }
        QVERIFY2(counting.syncs() - before >= samples,
                 qPrintable(QString::number(counting.syncs() - before)));
    }
};

QTEST_MAIN(TestRecordStore)
#include "tst_recordstore.moc"
