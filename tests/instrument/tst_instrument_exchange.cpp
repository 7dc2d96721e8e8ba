// The exchange routine: the command log's three line layouts, refused
// exchanges, connecting ("SAME" included), the command-log file and the
// connection test. The clock is a ManualClock that only the link moves.

#include "ScriptedLink.h"
#include "TestServices.h"

#include <QTemporaryDir>
#include <QTest>

using kvx::clsKVX5310;
using kvx::test::installScripted;
using kvx::test::ScriptedLink;
using kvx::test::ScriptedMeter;

class TestExchange : public QObject {
    Q_OBJECT

    std::shared_ptr<kvx::ManualClock> m_clock;

private slots:
    void init() {
        m_clock = std::make_shared<kvx::ManualClock>(QDateTime(QDate(2026, 1, 5), QTime(10, 0, 0)));
        kvx::setClock(m_clock);
    }

    void logLines_data() {
        QTest::addColumn<bool>("serial"); // RS-232: one CR is added on the wire, not in the log
        QTest::addColumn<QString>("command");
        QTest::addColumn<double>("seconds");   // how long the link takes
        QTest::addColumn<QByteArray>("reply"); // "!": the write fails
        QTest::addColumn<QString>("stopLine");
        const auto row = [](const char* name, bool serial, const char* command, double seconds,
                            const char* reply, const char* stopLine) {
            QTest::newRow(name) << serial << command << seconds << QByteArray(reply) << stopLine;
        };
        // Seconds of the day near 36000 leave binary noise in a double difference.
        row("query", false, "*IDN?", 0.016, "KVX\n", "Execute Stop: [*IDN?]10:00:00 Total Time:0.016");
        row("command", false, ":CALC:HOLD 2", 2, "", "Execute Stop: [:CALC:HOLD 2]10:00:02 Total Time:2");
        row("RS-232 query", true, "*IDN?", 1.25, "KVX\n", "Execute Stop: [*IDN?]10:00:01 Total Time:1.25");
        row("read timeout", false, "*IDN?", 12.345, "",
            "Execute Err Stop: [*IDN?]10:00:12 Total Time:12.345 Read timeout");
        row("write error", false, "PRES", 1, "!",
            "Execute Err Stop: [PRES]10:00:00 Total Time:0 write refused");
    }

    // Queries read and commands do not; a failed exchange empties the reply.
    void logLines() {
        QFETCH(bool, serial);
        QFETCH(QString, command);
        QFETCH(double, seconds);
        QFETCH(QByteArray, reply);
        QFETCH(QString, stopLine);
        ScriptedMeter s(serial ? "RS232" : "GPIB");
        const QByteArray end = serial ? "\r" : "";
        s.link->replies["*OPC?" + end] = "1\n";
        s.meter.OperationComplete();
        const QString before = s.meter.ExecLog();
        s.link->reads = 0;
        s.link->failWrites = reply == "!";
        s.link->onWrite = [&](const QByteArray&) { m_clock->advance(seconds); };
        if (!reply.isEmpty())
            s.link->replies[command.toLatin1() + end] = reply;
        if (command == QLatin1String("*IDN?"))
            s.meter.IDN();
        else if (command == QLatin1String("PRES"))
            s.meter.PreSet();
        else
            s.meter.AutoHold();
        QCOMPARE(s.meter.ExecLog().mid(before.size()),
                 QStringLiteral("Execute Start: [%1]10:00:00\r\n%2\r\n").arg(command, stopLine));
        const bool query = command.contains(QLatin1Char('?'));
        const bool failed = stopLine.contains(QLatin1String("Err"));
        QCOMPARE(s.meter.sReply(), failed ? QString() : query ? QString(reply) : QStringLiteral("1\n"));
        QCOMPARE(s.link->reads, query && !s.link->failWrites ? 1 : 0);
        QCOMPARE(s.meter.lastQueryAnswered(), !query || !failed);
    }

    void refused_data() {
        QTest::addColumn<bool>("openFails");
        QTest::newRow("never connected") << false;
        QTest::newRow("open failed") << true;
    }

    // An exchange before a successful connect sends nothing and logs a stop line only.
    void refused() {
        QFETCH(bool, openFails);
        clsKVX5310 meter;
        ScriptedLink* link = installScripted(meter, QStringLiteral("GPIB"));
        link->failOpen = openFails;
        if (openFails) {
            meter.setConnectMethod(QStringLiteral("GPIB"));
            QCOMPARE(meter.ConnectMethod(), QStringLiteral("GPIB"));
            QCOMPARE(meter.lastConfigureError(), QStringLiteral("no such device"));
        }
        QVERIFY(!meter.Ready());
        QCOMPARE(meter.ValuePrimary(), QString());
        QVERIFY(link->written.isEmpty());
        QCOMPARE(meter.ExecLog(), QStringLiteral("Execute Stop: [:READ?]10:00:00 Total Time:0\r\n"
                                                 "Execute Stop: [:VALUE?]10:00:00 Total Time:0\r\n"));
        QVERIFY(!meter.lastQueryAnswered());
    }

    // A timer tick or notification that comes in while a reply is awaited sends
    // nothing and leaves only a stop line; the Get decodes the previous reply.
    void nestedExchangeIsRefused() {
        ScriptedMeter s;
        s.link->replies["*IDN?"] = "KVX\n";
        const QString before = s.meter.ExecLog();
        QString nestedResult = QStringLiteral("not run");
        s.link->onWrite = [&](const QByteArray& data) {
            if (data != "*IDN?")
                return;
            QVERIFY(s.meter.bExecuting());
            nestedResult = s.meter.ValueBoth();
        };
        QCOMPARE(s.meter.IDN(), QStringLiteral("KVX\n"));
        QCOMPARE(nestedResult, QStringLiteral("0\n")); // from the connect's "*SRE?"
        QCOMPARE(s.link->written, QList<QByteArray>{"*IDN?"});
        QCOMPARE(s.meter.ExecLog().mid(before.size()),
                 QStringLiteral("Execute Start: [*IDN?]10:00:00\r\n"
                                "Execute Stop: [:READ?]10:00:00 Total Time:0\r\n"
                                "Execute Stop: [*IDN?]10:00:00 Total Time:0\r\n"));
        QVERIFY(!s.meter.bExecuting());
    }

    void connectMethod_data() {
        QTest::addColumn<QStringList>("methods");
        QTest::addColumn<QString>("method");
        QTest::addColumn<int>("serialOpens");
        QTest::addColumn<int>("gpibOpens");
        const auto row = [](const char* name, const QStringList& methods, const char* method, int serial,
                            int gpib) { QTest::newRow(name) << methods << method << serial << gpib; };
        row("RS232", {"RS232"}, "RS232", 1, 0);
        row("GPIB", {"GPIB"}, "GPIB", 0, 1);
        row("SAME reconfigures", {"RS232", "SAME"}, "RS232", 2, 0);
        row("switching closes the other", {"RS232", "GPIB"}, "GPIB", 1, 1);
        row("switching back", {"GPIB", "RS232"}, "RS232", 1, 1);
        row("unknown text keeps the method", {"RS232", "USB"}, "RS232", 1, 0);
        row("case counts", {"rs232"}, "", 0, 0);
        row("SAME on a fresh driver", {"SAME"}, "", 0, 0);
    }

    // Every connect ends Ready with one "*SRE?" exchange on the chosen link; with
    // no method chosen the exchanges are logged but go nowhere.
    void connectMethod() {
        QFETCH(QStringList, methods);
        QFETCH(QString, method);
        clsKVX5310 meter;
        ScriptedLink* serial = installScripted(meter, QStringLiteral("RS232"));
        ScriptedLink* gpib = installScripted(meter, QStringLiteral("GPIB"));
        serial->defaultReply = gpib->defaultReply = "0\n";
        for (const QString& m : methods)
            meter.setConnectMethod(m);
        QVERIFY(meter.Ready());
        QCOMPARE(meter.ConnectMethod(), method);
        QTEST(serial->opens, "serialOpens");
        QTEST(gpib->opens, "gpibOpens");
        QCOMPARE(serial->isOpen(), method == QLatin1String("RS232"));
        QCOMPARE(gpib->isOpen(), method == QLatin1String("GPIB"));
        QCOMPARE(serial->written, QList<QByteArray>(serial->written.size(), "*SRE?\r"));
        QCOMPARE(gpib->written, QList<QByteArray>(gpib->written.size(), "*SRE?"));
        QCOMPARE(serial->written.size() + gpib->written.size(), method.isEmpty() ? 0 : methods.size());
        QCOMPARE(meter.ExecLog().count(QLatin1String("Execute Start: [*SRE?]")), methods.size());
        QVERIFY(!meter.ExecLog().contains(QLatin1String("Err")));
    }

    // Replacing the command-log file is checked where the panel quits; here, a place it cannot be written.
    void commandLogFileThatCannotBeWritten() {
        QTemporaryDir dir;
        ScriptedMeter s;
        QString error;
        QVERIFY(!s.meter.writeCommandLog(dir.filePath(QStringLiteral("missing/folder/log")), &error));
        QVERIFY(!error.isEmpty());
    }

    // `setting` is the COM port (RS-232) or the address (GPIB); `after` is what the control holds then.
    void connectionTest_data() {
        QTest::addColumn<bool>("serial");
        QTest::addColumn<int>("setting");
        QTest::addColumn<bool>("failOpen");
        QTest::addColumn<QByteArray>("idn");
        QTest::addColumn<QString>("shown");
        QTest::addColumn<int>("after");
        // The controls start at port 1, 9600 baud and address 0.
        const QString failed = QStringLiteral("Connection Error! Error caused by [2] no such device");
        const auto row = [](const char* name, bool serial, int setting, bool failOpen, const char* idn,
                            const QString& shown, int after) {
            QTest::newRow(name) << serial << setting << failOpen << QByteArray(idn) << shown << after;
        };
        row("serial port 4 is set", true, 4, false, "KVX,KVX-5130\n", "KVX,KVX-5130\n", 4);
        row("serial port 5 is not set", true, 5, false, "KVX\n", "KVX\n", 1);
        row("port 5, cannot open", true, 5, true, "", failed, 1); // fails in ConnectMethod
        row("serial silent", true, 2, false, "", "Connection Error!", 2);
        row("serial cannot open", true, 2, true, "", failed, 2);
        row("gpib address 30 is set", false, 30, false, "KVX\n", "KVX\n", 30);
        row("gpib address 31 is refused", false, 31, false, "KVX\n",
            "Connection Error! Error caused by [1] GPIB address 31 is outside 0 to 30", 31);
        row("gpib address 32 is not", false, 32, false, "KVX\n", "KVX\n", 0);
        row("gpib cannot open", false, 7, true, "", failed, 7);
    }

    void connectionTest() {
        QFETCH(bool, serial);
        QFETCH(int, setting);
        QFETCH(QByteArray, idn);
        clsKVX5310 meter;
        ScriptedLink* link = installScripted(meter, serial ? "RS232" : "GPIB");
        QFETCH(bool, failOpen);
        link->failOpen = failOpen;
        if (!idn.isEmpty())
            link->replies[serial ? "*IDN?\r" : "*IDN?"] = idn;
        const auto asked = static_cast<qint16>(setting);
        QTEST(kvx::runConnectionTest(meter, serial, serial ? asked : 1, 19200, serial ? 0 : asked), "shown");
        QTEST(int(serial ? meter.CWSerial1().portNumber() : meter.CWGPIB1().primaryAddress()), "after");
        QCOMPARE(meter.CWSerial1().baudRate(), serial && setting <= 4 ? 19200 : 9600);
    }
};

QTEST_GUILESS_MAIN(TestExchange)
#include "tst_instrument_exchange.moc"
