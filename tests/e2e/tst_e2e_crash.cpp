// The real program as a process: a trace survives a SIGKILL and the next run takes
// the folder over, a second program on the folder is refused, the quit signals
// quit as File → Quit does even with a silent meter or a damaged settings file,
// and the command line works without a display: help, version, refusals, the
// record list and the exports.

#include "DataRows.h"
#include "RecordStore.h"
#include "SimProcess.h"
#include "WindowTestSupport.h"

#include <QtSql>
#include <QtTest>
#include <csignal>
#include <fcntl.h>
#include <pty.h>
#include <unistd.h>

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

// Runs the program with no display named; its exit code, standard output and error.
struct Run {
    int exitCode = -1;
    QByteArray out, err;
};
Run runWithoutDisplay(const QStringList& arguments) {
    QProcess app;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char* variable : {"QT_QPA_PLATFORM", "DISPLAY", "WAYLAND_DISPLAY"})
        environment.remove(QLatin1String(variable));
    app.setProcessEnvironment(environment);
    app.start(QStringLiteral(KVX_APP_BINARY), arguments);
    if (!app.waitForFinished(30000) || app.exitStatus() != QProcess::NormalExit)
        return {};
    return {app.exitCode(), app.readAllStandardOutput(), app.readAllStandardError()};
}

// A program folder whose database holds a working trace of `samples` rows and, saved
// from it, record 1.
bool makeRecordFolder(const QTemporaryDir& folder, int samples) {
    kvx::RecordStore store(QStringLiteral("e2e-writer"));
    if (!store.open(folder.filePath(QStringLiteral("KVX5130.mdb"))))
        return false;
    std::vector<kvx::TempSample> rows;
    for (int i = 0; i < samples; ++i)
        rows.push_back({i, QStringLiteral("2026/01/05 10:00:%1").arg(i, 2, 10, QLatin1Char('0')),
                        QStringLiteral("%1 V").arg(1.25 + i), QStringLiteral("50 kHz"), QStringLiteral("0"),
                        QString(), qint64(i), qint64(1), i == 1});
    return store.replaceTrace(rows) &&
           store.insertHeader({QStringLiteral("1"), rows.front().recTime, rows.back().recTime,
                               QStringLiteral("soak"), QStringLiteral("V"), QStringLiteral("kHz"),
                               QStringLiteral("0")}) &&
           store.copyTraceToRecord(QStringLiteral("1"));
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
        const QByteArray spool = kvx::test::fileBytes(folder.filePath("KVX_5130_Exection.log.part"));
        QVERIFY(spool.count("Execute Stop: [:READ?]") >= beforeKill.size());

        // The program starts again on the same folder, takes over the lock the killed
        // one left, and keeps the trace it finds.
        QProcess again;
        again.setProcessChannelMode(QProcess::ForwardedChannels);
        const QStringList screenshot{"--screenshot", folder.filePath("restart.png"), "--screenshot-delay",
                                     "0"};
        again.start(QStringLiteral(KVX_APP_BINARY), traceArguments(folder, sim).mid(0, 4) + screenshot);
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
        if (settingsBytes >= 0)
            QVERIFY(kvx::test::writeFile(settings, damaged));

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
        QVERIFY(settingsBytes < 0 || kvx::test::fileBytes(folder.filePath(kept.first())) == damaged);
    }

    void commandLineWithoutDisplay_data() {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("output");
        using kvx::test::addRow;
        addRow("version", QStringList{"--version"}, 0, "kvx5130 1.0.1");
        addRow("help", QStringList{"--help"}, 0, "--export-record N");
        addRow("unknown option", QStringList{"--speed", "9600"}, 2, "Usage: kvx5130");
        addRow("logger's help", QStringList{"log", "--help"}, 0, "--format csv|ndjson");
        addRow("logger's unknown option", QStringList{"log", "--link", "tcp:h", "--start"}, 2,
               "Usage: kvx5130 log");
        addRow("no database", QStringList{"--folder", "/proc/kvx5130-none", "--list-records"}, 1,
               "no record database");
        addRow("windows", QStringList{"--start"}, 1, "QT_QPA_PLATFORM=offscreen");
    }

    void commandLineWithoutDisplay() {
        QFETCH(QStringList, arguments);
        QFETCH(QString, output);
        const Run run = runWithoutDisplay(arguments);
        QTEST(run.exitCode, "exitCode");
        QVERIFY(QString::fromLocal8Bit(run.out + run.err).contains(output));
    }

    // Records listed and exported with no display, to files and to standard output.
    void recordsWithoutDisplay() {
        QTemporaryDir folder;
        QVERIFY(makeRecordFolder(folder, 3));
        const QStringList inFolder{QStringLiteral("--folder"), folder.path()};

        Run run = runWithoutDisplay(inFolder + QStringList{"--list-records", "--json"});
        QCOMPARE(run.exitCode, 0);
        const QJsonArray list = QJsonDocument::fromJson(run.out).array();
        QCOMPARE(list.size(), 2);
        const auto field = [&list](int record, const char* key) {
            return list[record].toObject().value(QLatin1String(key)).toVariant().toString();
        };
        // The working trace is record 0.
        QCOMPARE(
            (QStringList{field(0, "recNo"), field(0, "samples"), field(1, "recNo"), field(1, "samples"),
                         field(1, "primaryUnit"), field(1, "description"), field(1, "endTime").left(19)}),
            (QStringList{"0", "3", "1", "3", "V", "soak", "2026-01-05T10:00:02"}));
        run = runWithoutDisplay(inFolder + QStringList{"--list-records"});
        QCOMPARE(run.exitCode, 0);
        QVERIFY2(run.out.contains("2026/01/05 10:00:02         3  V        kHz                    soak"),
                 run.out.constData());

        run = runWithoutDisplay(inFolder + QStringList{"--export-record", "0", "--ndjson", "-"});
        QVERIFY2(run.exitCode == 0, run.err.constData());
        QCOMPARE(run.out.count('\n'), 3);
        QVERIFY(run.out.startsWith("{\"seqNo\":0,\"recTime\":\"2026-01-05T10:00:00"));
        const QString csvFile = folder.filePath("r.csv");
        run =
            runWithoutDisplay(inFolder + QStringList{"--export-record", "1", "--pdf", "-", "--csv", csvFile});
        QCOMPARE(run.exitCode, 0);
        QVERIFY(run.out.startsWith("%PDF"));
        QVERIFY(kvx::test::fileBytes(csvFile).contains("\r\n1,2026-01-05T10:00:01"));
    }

    // Two simulated meters, one on a pseudo-terminal and one on a socket, logged with no
    // display: every tick a row with both meters' readings.
    void headlessLogOfTwoMeters() {
        kvx::test::SimProcess pty({QStringLiteral("--pty"), QStringLiteral("--seed"), QStringLiteral("3")});
        kvx::test::SimProcess tcp({QStringLiteral("--tcp"), QStringLiteral("0"),
                                   QStringLiteral("--no-reply-after"), QStringLiteral("12")});
        QString error;
        QVERIFY2(pty.start(&error) && tcp.start(&error), qPrintable(error));
        const QStringList links{"log", "--link", "serial:" + pty.where(), "--link", tcp.where()};

        Run run = runWithoutDisplay(links +
                                    QStringList{"--count", "8", "--interval", "0.02", "--format", "ndjson"});
        QCOMPARE(run.exitCode, 0);
        const QList<QByteArray> lines = run.out.trimmed().split('\n');
        QCOMPARE(lines.size(), 8);
        const auto meters = [&lines](int tick) {
            return QJsonDocument::fromJson(lines[tick]).object().value("meters").toArray();
        };
        for (int tick = 0; tick < lines.size(); ++tick) {
            QCOMPARE(QJsonDocument::fromJson(lines[tick]).object().value("tick").toInt(-1), tick);
            QCOMPARE(meters(tick).size(), 2);
            QCOMPARE(meters(tick)[1].toObject().value("link").toString(), tcp.where());
            for (const QJsonValue& meter : meters(tick)) {
                QVERIFY(meter.toObject().value("primary").isDouble());
                QCOMPARE(meter.toObject().value("primaryUnit").toString(), "V");
            }
            QVERIFY(meters(tick)[0].toObject().value("primary").toDouble() != 0.0);
            QVERIFY(!meters(tick)[0].toObject().value("noReply").toBool());
        }
        // The socket's meter falls silent after its first twelve commands.
        QVERIFY(meters(int(lines.size()) - 1)[1].toObject().value("noReply").toBool());

        // No count: SIGINT ends it between rows, the file complete. Its stderr is a
        // terminal, where a line tells how far it got.
        const QTemporaryDir folder;
        const QString file = folder.filePath("log.csv");
        int terminal = -1, terminalSide = -1;
        QVERIFY(::openpty(&terminal, &terminalSide, nullptr, nullptr, nullptr) == 0);
        ::fcntl(terminal, F_SETFL, O_NONBLOCK);
        QProcess app;
        app.setChildProcessModifier([terminalSide] { ::dup2(terminalSide, STDERR_FILENO); });
        app.start(QStringLiteral(KVX_APP_BINARY),
                  links.mid(0, 3) + QStringList{"--interval", "0.02", "--output", file});
        QVERIFY(app.waitForStarted());
        QTRY_VERIFY_WITH_TIMEOUT(kvx::test::fileBytes(file).count("\r\n") >= 3, 10000);
        ::kill(pid_t(app.processId()), SIGINT);
        QVERIFY(app.waitForFinished(10000));
        QCOMPARE(app.exitCode(), 0);
        const QByteArray csv = kvx::test::fileBytes(file);
        QVERIFY(
            csv.startsWith("Time,Tick,M1Primary,M1PrimaryUnit,M1Secondary,M1SecondaryUnit,M1NoReply\r\n"));
        QVERIFY(csv.endsWith("\r\n"));
        ::close(terminalSide);
        char shown[4096];
        const QByteArray progress(shown, int(qMax<ssize_t>(0, ::read(terminal, shown, sizeof shown))));
        ::close(terminal);
        QVERIFY2(progress.contains(" rows, 0:00:0"), progress.constData());

        run = runWithoutDisplay(
            {"log", "--link", "serial:" + folder.filePath("no-such-device"), "--count", "1"});
        QCOMPARE(run.exitCode, 1);
        QVERIFY2(run.err.contains("cannot be opened"), run.err.constData());

        // A link that drops mid-run: its rows are marked, the link is opened again at
        // every tick, and the readings go on once the meter is back.
        kvx::test::SimProcess dropping({QStringLiteral("--tcp"), QStringLiteral("0"),
                                        QStringLiteral("--drop-after"), QStringLiteral("6"),
                                        QStringLiteral("--down-ms"), QStringLiteral("200")});
        QVERIFY2(dropping.start(&error), qPrintable(error));
        run = runWithoutDisplay({"log", "--link", dropping.where(), "--count", "40", "--interval", "0.02"});
        QCOMPARE(run.exitCode, 0);
        QString marks;
        for (const QByteArray& row : run.out.trimmed().split('\n').mid(1))
            marks += QString::fromLatin1(row.trimmed().right(1));
        QCOMPARE(marks.size(), 40);
        QVERIFY2(QRegularExpression(QStringLiteral("^0+1+0+1+")).match(marks).hasMatch(), qPrintable(marks));
    }

    // --record: the first meter's readings saved as a record, with the reason code and
    // time columns of a window trace, on a clock 600 times as fast; a working trace that
    // holds samples is not replaced; --send finds nothing on a folder nobody holds.
    void headlessLogRecord() {
        kvx::test::SimProcess sim({QStringLiteral("--tcp"), QStringLiteral("0")});
        QString error;
        QVERIFY2(sim.start(&error), qPrintable(error));
        QTemporaryDir held;
        QVERIFY(makeRecordFolder(held, 3));
        const QStringList log{"log", "--link", sim.where(), "--function", "ACA", "--range", "50mA"};
        Run run =
            runWithoutDisplay(log + QStringList{"--count", "1", "--folder", held.path(), "--record", "x"});
        QCOMPARE(run.exitCode, 1);
        QVERIFY2(run.err.contains("holds 3 samples"), run.err.constData());

        QTemporaryDir folder;
        qputenv("KVX5130_CLOCK_RATE", "600");
        run = runWithoutDisplay(
            log + QStringList{"--duration", "10m", "--folder", folder.path(), "--record", "fan"});
        qunsetenv("KVX5130_CLOCK_RATE");
        QVERIFY2(run.exitCode == 0 && run.err.contains("saved as record 1"), run.err.constData());
        kvx::RecordStore store(QStringLiteral("e2e-record"));
        QVERIFY(store.open(folder.filePath(QStringLiteral("KVX5130.mdb"))));
        QCOMPARE(store.countSamples(), std::optional<qint64>(0));
        QCOMPARE(store.readHeader("1")->value().comment, QStringLiteral("fan"));
        QCOMPARE(store.readHeader("1")->value().pUnit, QStringLiteral("mA"));
        std::vector<kvx::TempSample> samples;
        QVERIFY(store.readRecordSamples("1", [&samples](const kvx::TempSample& s) { samples.push_back(s); }));
        // A tick a second of the fast clock for ten of its minutes (fewer when a loaded
        // machine lets ticks fall behind: they then come at once, and the time columns
        // still count the clock's seconds).
        QVERIFY2(samples.size() >= 100 && samples.size() <= 600, qPrintable(QString::number(samples.size())));
        for (const kvx::TempSample& sample : samples) {
            QCOMPARE(sample.reason, QStringLiteral("0"));
            QVERIFY(sample.pVal.endsWith(QLatin1String(" mA")));
        }
        QCOMPARE(samples[0].timeTick.toLongLong(), 0);
        QVERIFY2(samples.back().timeTick.toLongLong() >= 590 && samples.back().timeTick.toLongLong() <= 603,
                 qPrintable(samples.back().timeTick.toString()));
        // Saved with its time columns, as Save Rec saves a new record.
        QVERIFY(!samples.back().diffLastTime.isNull());

        run = runWithoutDisplay({"--folder", folder.path(), "--send", "status"});
        QCOMPARE(run.exitCode, 1);
        QVERIFY2(run.err.contains("no kvx5130 runs on the folder"), run.err.constData());
    }
};

QTEST_GUILESS_MAIN(TestCrash)
#include "tst_e2e_crash.moc"
