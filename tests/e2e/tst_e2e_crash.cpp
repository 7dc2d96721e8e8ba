// A trace must survive the program being killed: every sample stored before a
// SIGKILL is still in the working table when the program starts again.

#include "SimProcess.h"

#include <QProcess>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>

namespace {

const QString kConnection = QStringLiteral("e2e-reader");

// Samples in the working table as another program sees them: only committed rows.
QList<qint64> storedSequenceNumbers(const QString& databasePath) {
    QList<qint64> numbers;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), kConnection);
        db.setDatabaseName(databasePath);
        db.setConnectOptions(QStringLiteral("QSQLITE_OPEN_READONLY;QSQLITE_BUSY_TIMEOUT=2000"));
        if (db.open()) {
            QSqlQuery q(db);
            if (q.exec(QStringLiteral("select SeqNo from datatemp order by SeqNo")))
                while (q.next())
                    numbers << q.value(0).toLongLong();
        }
    }
    QSqlDatabase::removeDatabase(kConnection);
    return numbers;
}

} // namespace

class TestCrash : public QObject {
    Q_OBJECT
private slots:
    void samplesSurviveSigkill() {
        kvx::test::SimProcess sim({QStringLiteral("--pty"), QStringLiteral("--seed"), QStringLiteral("11")});
        QString error;
        QVERIFY2(sim.start(&error), qPrintable(error));
        QTemporaryDir folder;
        const QString database = folder.filePath(QStringLiteral("KVX5130.mdb"));

        QProcess app;
        app.setProcessChannelMode(QProcess::ForwardedChannels);
        app.start(QStringLiteral(KVX_APP_BINARY),
                  {QStringLiteral("--folder"), folder.path(), QStringLiteral("--link"),
                   QStringLiteral("serial:") + sim.where(), QStringLiteral("--start")});
        QVERIFY(app.waitForStarted());

        // The trace stores one sample a second; wait for a few of them to be committed.
        QTRY_VERIFY_WITH_TIMEOUT(storedSequenceNumbers(database).size() >= 4, 30000);
        const QList<qint64> beforeKill = storedSequenceNumbers(database);
        ::kill(static_cast<pid_t>(app.processId()), SIGKILL);
        QVERIFY(app.waitForFinished(5000));
        QCOMPARE(app.exitStatus(), QProcess::CrashExit);

        const QList<qint64> afterKill = storedSequenceNumbers(database);
        QVERIFY(afterKill.size() >= beforeKill.size());
        QCOMPARE(afterKill.mid(0, beforeKill.size()), beforeKill);
        for (int i = 0; i < afterKill.size(); ++i)
            QCOMPARE(afterKill[i], qint64(i));

        // The program starts again on the same folder and keeps the trace it finds.
        QProcess again;
        again.setProcessChannelMode(QProcess::ForwardedChannels);
        again.start(QStringLiteral(KVX_APP_BINARY),
                    {QStringLiteral("--folder"), folder.path(), QStringLiteral("--link"),
                     QStringLiteral("serial:") + sim.where(), QStringLiteral("--screenshot"),
                     folder.filePath(QStringLiteral("restart.png")), QStringLiteral("--screenshot-delay"),
                     QStringLiteral("0")});
        QVERIFY(again.waitForFinished(30000));
        QCOMPARE(again.exitStatus(), QProcess::NormalExit);
        QCOMPARE(again.exitCode(), 0);
        QCOMPARE(storedSequenceNumbers(database), afterKill);
    }
};

QTEST_GUILESS_MAIN(TestCrash)
#include "tst_e2e_crash.moc"
