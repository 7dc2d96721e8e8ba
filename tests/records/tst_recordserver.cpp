// The record store on a lab server beside the SQLite file, each test against a real
// server of its own: the statements give the same rows on both engines, benches
// saving at once never share a number, records move between stores once, and a
// server that restarts mid-trace loses no sample.

#include "ExportRecord.h"
#include "PgServer.h"
#include "StatusReports.h"
#include "WindowTestSupport.h"

#include <QtTest>
#include <set>
#include <thread>

using namespace kvx;
using namespace kvx::test;

namespace {

// Every numbered statement, as the record keys and the data table use them, and
// what each gave back.
QStringList transcript(RecordStore& s) {
    QStringList out;
    const auto said = [&](const char* what, bool ok) {
        out << QString::fromLatin1(what) +
                   (ok ? QString() : QStringLiteral(" failed: ") + s.lastError().description);
    };
    const auto rows = [&](const QString& what, int filter) {
        s.readSamples(filter, [&](const TempSample& t) {
            const QString time = t.timeTick.isNull() ? "-" : t.timeTick.toString();
            out << what +
                       QStringList{QString::number(t.seqNo), t.recTime, t.pVal, t.reason, t.comment}.join(
                           '|') +
                       '|' + time + '|' + QString::number(t.noReply);
        });
    };
    said("S10", s.clearTrace());
    for (int i = 0; i < 5; ++i)
        said("S13", s.queueSample({i, QStringLiteral("2026/11/25 10:00:0%1").arg(i),
                                   QStringLiteral("%1 V").arg(i), "0 ", QString::number(i), i, 1, i == 3}));
    out << QStringLiteral("S1 %1 S16 %2")
               .arg(s.countSamples().value_or(-1))
               .arg(s.highestSampleNumber()->value_or(-1));
    said("S15", s.updateSampleComment("note", "2026/11/25 10:00:02"));
    const QString first = s.insertNewHeader({"", "start", "end", "first", "V", "", "0"}).value_or("none");
    said("S4", s.copyTraceToRecord(first));
    const QString second = s.insertNewHeader({"", "start", "end", "second", "V", "", "1"}).value_or("none");
    said("S4 S5 S6 S7", s.copyTraceToRecord(second) && s.updateRecordComment("second, updated", second) &&
                            s.deleteRecordSamples(second) && s.copyTraceToRecordWithoutTimes(second));
    for (const RecordListRow& row : s.listRecords().value_or(std::vector<RecordListRow>{}))
        out << "S8 " + row.recNo + '|' + row.comment + '|' + row.bench;
    out << "S9 " + s.readHeader(first)->value_or(RecordHeader{}).comment;
    said("S10 S11", s.clearTrace() && s.loadRecordWithTimes(second));
    rows("S14/0 ", 0);
    said("S10 S12", s.clearTrace() && s.loadRecordWithoutTimes(first));
    rows("S14/3 ", 4);
    said("export", s.streamSamples(first, [&](const StoredSample& t) {
        out << "export " + QString::fromUtf8(t.pVal) + '|' + QString::number(t.timeTick.value_or(-1));
        return true;
    }));
    said("page", s.streamWorkingSamplesFrom(2, 2, [&](const StoredSample& t) {
        out << "page " + QString::number(t.seqNo);
        return true;
    }));
    return out;
}

} // namespace

class TestRecordServer : public QObject {
    Q_OBJECT
    PgServer m_server;
    StoreTarget m_target;

private slots:
    void initTestCase() {
        statusReports().setEchoToStderr(false);
        QVERIFY2(m_server.start(), qPrintable(m_server.problem()));
        QVERIFY(parseStoreText(m_server.connectionText(), QString(), &m_target, nullptr));
    }

    void sameRowsOnBothEngines() {
        StoreFixture fx;
        recordStore().setBench("bench-a");
        QVERIFY(recordStore().open(fx.databasePath()));
        const QStringList onFile = transcript(recordStore());
        QVERIFY(recordStore().open(m_target));
        QCOMPARE(transcript(recordStore()), onFile);
        // The rules both follow: numbers from 1, an update drops the time columns,
        // the filter of code 3 leaves code 4 out.
        QCOMPARE(onFile.filter("page "), (QStringList{"page 2", "page 3"}));
        QVERIFY(onFile.contains("S8 2|second, updated|bench-a") && onFile.contains("export 4 V|4") &&
                onFile.contains("S14/0 2|2026/11/25 10:00:02|2 V|2|note|-|0"));
        QCOMPARE(onFile.filter("S14/3 "), QStringList{"S14/3 3|2026/11/25 10:00:03|3 V|3||-|1"});
        QVERIFY(!onFile.join(' ').contains("failed"));
    }

    void benchesSavingAtOnceGetTheirOwnNumbers_data() {
        QTest::addColumn<bool>("server");
        QTest::newRow("SQLite file") << false;
        QTest::newRow("lab server") << true;
    }

    void benchesSavingAtOnceGetTheirOwnNumbers() {
        QFETCH(bool, server);
        StoreFixture fx;
        recordStore().close();
        StoreTarget target = m_target;
        if (!server)
            target = StoreTarget();
        target.filePath = fx.databasePath();
        std::vector<QStringList> saved(8);
        std::vector<qint64> traceSamples(8);
        std::vector<std::thread> savers;
        for (int bench = 0; bench < 8; ++bench)
            savers.emplace_back([&, bench] {
                RecordStore store(QStringLiteral("saver-%1").arg(bench));
                store.setBench(QStringLiteral("bench-%1").arg(bench));
                if (store.open(target) && store.clearTrace() &&
                    store.queueSample({bench, "t", "1 V", "", "0", 0, 0}))
                    for (int i = 0; i < 5; ++i)
                        saved[size_t(bench)]
                            << store.insertNewHeader({"", "s", "e", "c", "V", "", "0"}).value_or("0");
                traceSamples[size_t(bench)] = store.countSamples().value_or(-1);
            });
        for (std::thread& saver : savers)
            saver.join();
        // On the server each bench has a working trace of its own.
        if (server)
            QCOMPARE(traceSamples, std::vector<qint64>(8, 1));
        std::set<int> numbers;
        for (const QStringList& numbersOfOne : saved)
            for (const QString& n : numbersOfOne)
                numbers.insert(n.toInt());
        QCOMPARE(numbers.size(), size_t(40));
        QCOMPARE(*numbers.rbegin() - *numbers.begin(), 39);
    }

    void recordsMoveBetweenStoresOnce() {
        StoreFixture fx;
        recordStore().setBench("bench-b");
        QVERIFY(recordStore().open(fx.databasePath()));
        transcript(recordStore());
        recordStore().close();
        QString said;
        QTextStream err(&said);
        const QString server = m_server.connectionText();
        QVERIFY(copyRecords(fx.databasePath(), server, err) == 0 && said.contains("2 of 2 records copied"));
        QCOMPARE(copyRecords(fx.databasePath(), server, err), 0);
        QVERIFY2(said.endsWith(QString("0 of 2 records copied (0 samples) from %1 to %2\n")
                                   .arg(fx.databasePath(), m_target.displayName())),
                 qPrintable(said));
        // Listed by bench and exported from the server, as from the command line.
        session().databaseOverride = server;
        QString listed;
        QTextStream out(&listed);
        QCOMPARE(listRecords(true, "bench-b", out, err), 0);
        QVERIFY2(listed.count("\"bench\":\"bench-b\"") == 2 && !listed.contains("bench-a"),
                 qPrintable(listed));
        const int copied = recordStore().summarizeRecords("bench-b")->back().header.recNo.toInt();
        QCOMPARE(exportRecord(copied, {{}, fx.path("r.csv"), {}}, err), 0);
        QCOMPARE(fileBytes(fx.path("r.csv")).count('\n'), 6);
    }

    void serverRestartMidTraceLosesNothing() {
        StoreFixture fx;
        RecordStore& store = recordStore();
        store.setBench("bench-restart");
        QVERIFY(store.open(m_target) && store.clearTrace());
        const auto sample = [&](int i) { return store.queueSample({i, "t", "1 V", "", "0", i, 1}); };
        QVERIFY(sample(0) && store.settleWriter());
        QVERIFY(m_server.stop());
        for (int i = 1; i < 6; ++i)
            QVERIFY(sample(i));
        QTRY_VERIFY(statusReports().last().contains("cannot be stored"));
        QVERIFY(!store.settleWriter());
        QVERIFY(m_server.start());
        QTRY_VERIFY_WITH_TIMEOUT(store.samplesWaiting() == 0, 20000);
        QStringList stored;
        QVERIFY(store.readSamples(0, [&](const TempSample& t) { stored << QString::number(t.seqNo); }));
        QCOMPARE(stored, QString("0 1 2 3 4 5").split(' '));
        QTRY_VERIFY(statusReports().last().contains("stored again"));
    }

    void cleanupTestCase() { QVERIFY(m_server.stop()); }
};

QTEST_MAIN(TestRecordServer)
#include "tst_recordserver.moc"
