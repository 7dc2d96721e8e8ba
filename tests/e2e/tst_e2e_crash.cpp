// The real program as a process: a trace survives a SIGKILL and the next run takes
// the folder over, a second program on the folder is refused, the quit signals
// quit as File → Quit does even with a silent meter or a damaged settings file,
// and the command line works without a display.

#include "DataRows.h"
#include "SimProcess.h"

#include <QtSql>
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

QStringList traceArguments(const QTemporaryDir& folder, const kvx::test::SimProcess& sim) {
    return {QStringLiteral("--folder"), folder.path(), QStringLiteral("--link"),
            QStringLiteral("serial:") + sim.where(), QStringLiteral("--start")};
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
        app.start(QStringLiteral(KVX_APP_BINARY), traceArguments(folder, sim));
        QVERIFY(app.waitForStarted());

        // The trace stores one sample a second; wait for a few of them to be committed.
        QTRY_VERIFY_WITH_TIMEOUT(storedSequenceNumbers(database).size() >= 4, 30000);
        // A second program on the same folder is refused, naming the first.
        QProcess second;
        second.start(QStringLiteral(KVX_APP_BINARY), traceArguments(folder, sim));
        QVERIFY(second.waitForFinished(30000));
        QCOMPARE(second.exitCode(), 1);
        QVERIFY(second.readAllStandardError().contains(" (process " + QByteArray::number(app.processId())));
        const QList<qint64> beforeKill = storedSequenceNumbers(database);
        ::kill(static_cast<pid_t>(app.processId()), SIGKILL);
        QVERIFY(app.waitForFinished(5000));
        QCOMPARE(app.exitStatus(), QProcess::CrashExit);

        const QList<qint64> afterKill = storedSequenceNumbers(database);
        QVERIFY(afterKill.size() >= beforeKill.size());
        QCOMPARE(afterKill.mid(0, beforeKill.size()), beforeKill);
        for (int i = 0; i < afterKill.size(); ++i)
            QCOMPARE(afterKill[i], qint64(i));
        // The command log up to the kill is on the disk, one line per exchange.
        QFile spool(folder.filePath(QStringLiteral("KVX_5130_Exection.log.part")));
        QVERIFY(spool.open(QIODevice::ReadOnly));
        QVERIFY(spool.readAll().count("Execute Stop: [:READ?]") >= beforeKill.size());

        // The program starts again on the same folder, takes over the lock the killed
        // one left, and keeps the trace it finds.
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

    void quitSignals_data() {
        QTest::addColumn<int>("signalNumber");
        QTest::addColumn<QStringList>("simOptions");
        QTest::addColumn<int>("settingsBytes"); // of a damaged settings file; -1 none, -2 a folder
        QTest::addColumn<QString>("reported");  // on stderr
        using kvx::test::addRow;
        addRow("SIGTERM mid-trace", int(SIGTERM), QStringList{}, -1, "");
        addRow("SIGINT, meter silent", int(SIGINT), QStringList{"--no-reply"}, -1, "Communication Error!");
        addRow("SIGHUP, meter gone mid-trace", int(SIGHUP),
               QStringList{"--drop-after", "24", "--down-ms", "600000"}, -1, "");
        addRow("settings file of 100 bytes", int(SIGTERM), QStringList{}, 100, "holds 100 bytes");
        addRow("settings file empty", int(SIGINT), QStringList{}, 0, "holds 0 bytes");
        addRow("settings file a folder", int(SIGHUP), QStringList{}, -2, "is a folder");
    }

    // A signal quits as File → Quit does, within 2 s; a damaged settings file holds
    // up neither the trace of --start nor the quit, and its bytes are kept.
    void quitSignals() {
        QFETCH(int, signalNumber);
        QFETCH(QStringList, simOptions);
        QFETCH(int, settingsBytes);
        QFETCH(QString, reported);
        kvx::test::SimProcess sim(QStringList{QStringLiteral("--pty")} + simOptions);
        QString error;
        QVERIFY2(sim.start(&error), qPrintable(error));
        QTemporaryDir folder;
        const QString settings = folder.filePath(QStringLiteral("KVX-5130.Log"));
        const QByteArray damaged(qMax(0, settingsBytes), 'd');
        if (settingsBytes == -2)
            QVERIFY(QDir(folder.path()).mkdir(QStringLiteral("KVX-5130.Log")));
        QFile file(settings);
        if (settingsBytes >= 0)
            QVERIFY(file.open(QIODevice::WriteOnly) && file.write(damaged) == damaged.size());
        file.close();

        QProcess app;
        app.start(QStringLiteral(KVX_APP_BINARY), traceArguments(folder, sim));
        QVERIFY(app.waitForStarted());
        // The report comes first (nothing waits for a click), then the trace runs, or
        // the meter is gone.
        QString errors;
        QTRY_VERIFY_WITH_TIMEOUT(
            (errors += QString::fromLocal8Bit(app.readAllStandardError())).contains(reported), 30000);
        const int dropAfter = simOptions.contains("--drop-after") ? simOptions[1].toInt() : 1;
        QTRY_VERIFY_WITH_TIMEOUT(sim.loggedCommands().size() >= dropAfter, 30000);
        if (!simOptions.contains("--no-reply"))
            QTRY_VERIFY_WITH_TIMEOUT(storedSequenceNumbers(folder.filePath("KVX5130.mdb")).size() >= 2,
                                     20000);
        QElapsedTimer quitting;
        quitting.start();
        ::kill(static_cast<pid_t>(app.processId()), signalNumber);
        QVERIFY(app.waitForFinished(10000));
        QVERIFY2(quitting.elapsed() < 2000, qPrintable(QString::number(quitting.elapsed())));
        QCOMPARE(app.exitStatus(), QProcess::NormalExit);
        QCOMPARE(app.exitCode(), 0);
        QCOMPARE(QFileInfo(settings).size(), qint64(1704));
        if (settingsBytes == -1)
            return;
        const QStringList kept = QDir(folder.path())
                                     .entryList({QStringLiteral("KVX-5130.Log.damaged-*")},
                                                QDir::AllEntries | QDir::NoDotAndDotDot);
        QCOMPARE(kept.size(), 1);
        QVERIFY2(errors.contains(kept.first()), qPrintable(errors));
        file.setFileName(folder.filePath(kept.first()));
        QCOMPARE(settingsBytes < 0 || (file.open(QIODevice::ReadOnly) && file.readAll() == damaged), true);
    }

    void commandLineWithoutDisplay_data() {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("output");
        using kvx::test::addRow;
        addRow("version", QStringList{"--version"}, 0, "kvx5130 1.0.1");
        addRow("help", QStringList{"--help"}, 0, "--export-record N");
        addRow("unknown option", QStringList{"--speed", "9600"}, 2, "Usage: kvx5130");
        addRow("export without a file", QStringList{"--export-record", "3"}, 2, "Usage: kvx5130");
        addRow("windows", QStringList{"--start"}, 1, "QT_QPA_PLATFORM=offscreen");
    }

    void commandLineWithoutDisplay() {
        QFETCH(QStringList, arguments);
        QFETCH(int, exitCode);
        QFETCH(QString, output);
        QProcess app;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        for (const char* variable : {"QT_QPA_PLATFORM", "DISPLAY", "WAYLAND_DISPLAY"})
            environment.remove(QLatin1String(variable));
        app.setProcessEnvironment(environment);
        app.start(QStringLiteral(KVX_APP_BINARY), arguments);
        QVERIFY(app.waitForFinished(10000));
        QCOMPARE(app.exitStatus(), QProcess::NormalExit);
        QCOMPARE(app.exitCode(), exitCode);
        QVERIFY(QString::fromLocal8Bit(app.readAllStandardOutput() + app.readAllStandardError())
                    .contains(output));
    }
};

QTEST_GUILESS_MAIN(TestCrash)
#include "tst_e2e_crash.moc"
