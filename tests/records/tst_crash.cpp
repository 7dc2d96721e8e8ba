// A recording process killed outright loses no stored sample: this test runs
// itself as a child that records samples, kills it with SIGKILL in mid-trace and
// looks for every sample the child had reported as stored.

#include "WindowTestSupport.h"
#include "frmDataTable.h"

#include <QApplication>
#include <QProcess>
#include <QTest>

#include <cstdio>

using namespace kvx;
using namespace kvx::test;

namespace {

const char* const kChildSwitch = "--record-until-killed";

// The child: records a sample at a time and says so once each one is stored.
int recordUntilKilled(const QString& databasePath) {
    setClock(std::make_shared<ManualClock>());
    setMessages(std::make_shared<ScriptedMessageService>());
    if (!recordStore().open(databasePath))
        return 2;
    frmDataTable table;
    table.ClearData();
    for (int i = 0; i < 200000; ++i) {
        session().lastReadingTime = 36000.0 + i;
        table.setValuePrimary(i);
        table.AppendData();
        if (table.rowCount() != i + 1)
            return 3;
        std::printf("stored %d\n", i);
        std::fflush(stdout);
    }
    return 0;
}

} // namespace

class TestCrash : public QObject {
    Q_OBJECT

private slots:
    void killedMidTraceKeepsEveryStoredSample() {
        QTemporaryDir dir;
        const QString path = dir.filePath(kDatabaseFile);
        QProcess child;
        child.start(QCoreApplication::applicationFilePath(), {kChildSwitch, path});
        QVERIFY(child.waitForStarted());

        int lastReported = -1;
        while (lastReported < 300 && child.waitForReadyRead(10000)) {
            while (child.canReadLine()) {
                const QByteArray line = child.readLine();
                if (line.startsWith("stored "))
                    lastReported = line.mid(7).trimmed().toInt();
            }
        }
        QVERIFY2(lastReported >= 300, "the child did not record");
        child.kill(); // SIGKILL: no handler, no clean close of the database
        QVERIFY(child.waitForFinished());
        QCOMPARE(child.exitStatus(), QProcess::CrashExit);

        QVERIFY(recordStore().open(path)); // what a fresh start of the program on the same file sees
        const std::optional<qint64> count = recordStore().countSamples();
        QVERIFY(count);
        QVERIFY2(*count >= lastReported + 1,
                 qPrintable(QString("%1 stored, %2 reported").arg(*count).arg(lastReported)));
        const auto highest = recordStore().highestSampleNumber();
        QVERIFY(highest && highest->has_value());
        QCOMPARE(**highest, *count - 1); // no gaps
    }
};

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() == 3 && args.at(1) == QLatin1String(kChildSwitch))
        return recordUntilKilled(args.at(2));
    TestCrash test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_crash.moc"
