// The driver over real links: the exact bytes each link puts on the wire (a
// raw peer on a pseudo-terminal or TCP), the whole exchange against the meter
// simulator on every transport, the linux-gpib binding through a stand-in
// library, and a device that goes away and comes back.

#include "TestServices.h"
#include "SimProcess.h"
#include "ValueRules.h"
#include "WirePeer.h"
#include "clsKVX5310.h"

#include <QtTest>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

using kvx::clsKVX5310;
using kvx::test::SimProcess;
using kvx::test::WirePeer;

namespace {

// Points the driver at a connection text and connects.
bool connectTo(clsKVX5310& meter, const QString& text, int timeoutMs = 1000) {
    kvx::ConnectionTarget target;
    QString error;
    if (!kvx::parseConnectionText(text, &target, &error)) {
        qWarning("%s", qPrintable(error));
        return false;
    }
    kvx::applyConnectionTarget(target, meter.CWSerial1(), meter.CWGPIB1());
    meter.CWSerial1().setTimeoutMs(timeoutMs);
    meter.CWGPIB1().setTimeoutMs(timeoutMs);
    meter.setConnectMethod(target.method);
    if (!meter.Ready())
        qWarning("%s", qPrintable(meter.lastConfigureError()));
    return meter.Ready();
}

// A driver against the simulator; the meter goes before the simulator does.
struct SimMeter {
    explicit SimMeter(const QStringList& arguments) : sim(arguments) {}
    // `connection` holds %1 for where the simulator listens.
    bool connect(const QString& connection, int timeoutMs = 1000) {
        QString error;
        if (!sim.start(&error)) {
            qWarning("%s", qPrintable(error));
            return false;
        }
        const QString where =
            sim.where().startsWith(QLatin1String("tcp:")) ? sim.where().mid(4) : sim.where();
        return connectTo(meter, connection.arg(where), timeoutMs);
    }
    SimProcess sim;
    clsKVX5310 meter;
};

} // namespace

class TestLinks : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    std::shared_ptr<kvx::ScriptedMessageService> m_messages;

private slots:
    void initTestCase() {
        m_messages = std::make_shared<kvx::ScriptedMessageService>();
        kvx::setMessages(m_messages);
        qunsetenv("KVX5130_GPIB_LIBRARY");
    }

    // Connecting sends "*SRE?"; then a query and a command. The peer answers each
    // query with "1\n" (the socket's with CR LF, which reads the same); a "++"
    // controller gets the front panel back on close.
    void wireBytes_data() {
        QTest::addColumn<bool>("tcp");
        QTest::addColumn<QString>("scheme");
        QTest::addColumn<QByteArray>("trigger");
        QTest::addColumn<QByteArray>("bytes");
        const QByteArray controller =
            "++mode 1\n++addr 7\n++auto 0\n++eoi 1\n++eos 3\n*SRE?\n++read eoi\n*IDN?\n"
            "++read eoi\n:CALC:HOLD 2\n++loc\n";
        QTest::newRow("RS-232 adds CR")
            << false << "serial:%1@9600" << QByteArray("?\r") << QByteArray("*SRE?\r*IDN?\r:CALC:HOLD 2\r");
        QTest::newRow("socket adds LF")
            << true << "tcp:%1" << QByteArray("?\n") << QByteArray("*SRE?\n*IDN?\n:CALC:HOLD 2\n");
        QTest::newRow("++ over TCP") << true << "prologix-tcp:%1:7" << QByteArray("++read eoi\n")
                                     << controller;
        QTest::newRow("++ over serial")
            << false << "prologix:%1:7" << QByteArray("++read eoi\n") << controller;
    }

    // The log shows each command without terminator, and the command does not
    // wait for a reply (the peer sends none: the read would fail).
    void wireBytes() {
        QFETCH(bool, tcp);
        QFETCH(QString, scheme);
        QFETCH(QByteArray, trigger);
        WirePeer peer(tcp, trigger, scheme.startsWith(QLatin1String("tcp")) ? "1\r\n" : "1\n");
        QVERIFY(peer.ready());
        auto meter = std::make_unique<clsKVX5310>();
        QVERIFY(connectTo(*meter, scheme.arg(peer.address())));
        QVERIFY(meter->lastQueryAnswered());
        QCOMPARE(meter->IDN(), QStringLiteral("1\n"));
        meter->AutoHold();
        QVERIFY(meter->ExecLog().contains(QLatin1String("[*IDN?]")));
        QVERIFY2(!meter->ExecLog().contains(QLatin1String("Err")), qPrintable(meter->ExecLog()));
        meter.reset();
        QFETCH(QByteArray, bytes);
        QTRY_COMPARE(peer.received(), bytes);
    }

    void againstSimulator_data() {
        QTest::addColumn<QStringList>("simArguments");
        QTest::addColumn<QString>("connection");
        QTest::newRow("serial pty paced at 9600 baud")
            << QStringList{"--pty", "--baud", "9600"} << "serial:%1@9600";
        QTest::newRow("++ on pty") << QStringList{"--pty", "--prologix", "--addr", "9"} << "prologix:%1:9";
    }

    // A function choice, a reading and a command: the meter receives exactly the
    // driver's commands, replies arrive whole, and a command leaves sReply alone.
    void againstSimulator() {
        QFETCH(QStringList, simArguments);
        QFETCH(QString, connection);
        SimMeter s(simArguments + QStringList{"--seed", "5"});
        QVERIFY(s.connect(connection));
        QVERIFY(s.meter.lastQueryAnswered());
        const QString idn = s.meter.IDN();
        QVERIFY2(idn.startsWith(QLatin1String("KVX,KVX-5130,")) && idn.endsWith(QLatin1Char('\n')),
                 qPrintable(idn));
        QCOMPARE(s.meter.VoltageAC(), QStringLiteral("AC Voltage"));
        const QString primary = s.meter.ValuePrimary();
        QVERIFY2(kvx::isNumeric(primary), qPrintable(primary));
        QCOMPARE(s.meter.ValueSecond(), QString());
        s.meter.AutoHold();
        QCOMPARE(s.meter.sReply(), primary);
        const QStringList expected = {"*SRE?",  "*IDN?",   ":CONF:VOLT:AC 0", ":CONF:FUNC?",
                                      ":READ?", ":VALUE?", ":CALC:HOLD 2"};
        QVERIFY(s.sim.waitForLoggedCommands(expected.size()));
        QCOMPARE(s.sim.loggedCommands(), expected);
        QVERIFY(!s.meter.ExecLog().contains(QLatin1String("Err Stop")));
    }

    void linuxGpibAddsNothingAndGoesLocalFirst() {
        const QString trace = m_dir.filePath(QStringLiteral("gpib-trace.txt"));
        auto s = std::make_unique<SimMeter>(QStringList{"--tcp", "0"});
        QVERIFY(s->sim.start());
        qputenv("KVX5130_GPIB_LIBRARY", KVX_GPIB_STANDIN);
        qputenv("KVX_GPIB_STANDIN_TRACE", trace.toLocal8Bit());
        qputenv("KVX_GPIB_STANDIN_PORT", QByteArray::number(s->sim.tcpPort()));
        QVERIFY(connectTo(s->meter, QStringLiteral("gpib:0:7")));
        qunsetenv("KVX5130_GPIB_LIBRARY");
        QVERIFY(s->meter.IDN().startsWith(QLatin1String("KVX,KVX-5130,")));
        s->meter.AutoHold();
        QVERIFY(s->sim.waitForLoggedCommands(3));
        QCOMPARE(s->sim.loggedCommands(), (QStringList{"*SRE?", "*IDN?", ":CALC:HOLD 2"}));
        s.reset();
        QFile file(trace);
        QVERIFY(file.open(QIODevice::ReadOnly));
        // ibdev(board 0, address 7, no secondary, T1s, EOI on, no EOS); messages as they stand.
        QCOMPARE(file.readAll(), QByteArray("ibdev 0 7 0 11 1 0\nibwrt *SRE?\nibrd\nibwrt *IDN?\nibrd\n"
                                            "ibwrt :CALC:HOLD 2\nibloc\nibonl 0\n"));
    }

    // A link that cannot be opened says why, and what to do where the operator can act.
    void openRefusalsSayWhy_data() {
        QTest::addColumn<QString>("connection");
        QTest::addColumn<QByteArray>("library");
        QTest::addColumn<QString>("error");
        QTest::newRow("linux-gpib not installed")
            << "gpib:0:7" << QByteArray("/nonexistent/libgpib.so.0")
            << "linux-gpib is not installed (/nonexistent/libgpib.so.0)";
        QTest::newRow("no such bus") << "gpib:0:7" << QByteArray(KVX_GPIB_STANDIN)
                                     << "ibdev on GPIB board 0, address 7 failed: EDVR";
        QTest::newRow("no such serial device")
            << "serial:/nonexistent/ttyUSB9" << QByteArray()
            << "Cannot open /nonexistent/ttyUSB9: No such file or directory (is the adapter plugged in";
    }

    void openRefusalsSayWhy() {
        QFETCH(QString, connection);
        QFETCH(QByteArray, library);
        QFETCH(QString, error);
        qputenv("KVX5130_GPIB_LIBRARY", library);
        qputenv("KVX_GPIB_STANDIN_PORT", "1"); // nothing listens there
        clsKVX5310 meter;
        QVERIFY(!connectTo(meter, connection));
        qunsetenv("KVX5130_GPIB_LIBRARY");
        QVERIFY2(meter.linkProblem().startsWith(error), qPrintable(meter.linkProblem()));
        const int number = connection.startsWith(QLatin1String("gpib")) ? meter.CWGPIB1().lastErrorNumber()
                                                                        : meter.CWSerial1().lastErrorNumber();
        QCOMPARE(number, static_cast<int>(kvx::kLinkOpenError));
    }

    // The framing reaches the port's line settings. A pseudo-terminal keeps only
    // some of them (it forces 8 bits without parity and refuses RTS/CTS), which is
    // enough to see the whole framing pass through.
    void serialFramingReachesThePort_data() {
        QTest::addColumn<QList<int>>("settings"); // data bits, parity, stop bits, handshake
        QTest::addColumn<bool>("twoStops");
        QTest::addColumn<bool>("xonXoff");
        QTest::newRow("never set") << QList<int>{0, 0, 0, 0} << false << false;
        QTest::newRow("8N2 XON/XOFF") << QList<int>{8, 0, 2, 2} << true << true;
    }

    void serialFramingReachesThePort() {
        QFETCH(QList<int>, settings);
        int master = -1;
        int slave = -1;
        char name[128] = {};
        QVERIFY(openpty(&master, &slave, name, nullptr, nullptr) == 0);
        const auto closeBoth = qScopeGuard([&] {
            ::close(slave);
            ::close(master);
        });
        kvx::SerialControl serial;
        serial.setDevicePath(QString::fromLocal8Bit(name));
        serial.setFraming(kvx::SerialFraming::fromSettings(
            {qint16(settings[0]), qint16(settings[1]), qint16(settings[2]), qint16(settings[3])}));
        QString error;
        QVERIFY2(serial.configure(&error), qPrintable(error));

        termios line{};
        QVERIFY(tcgetattr(slave, &line) == 0);
        QTEST(bool(line.c_cflag & CSTOPB), "twoStops");
        QTEST(bool(line.c_iflag & IXON), "xonXoff");
        serial.close();
    }

    void droppedDeviceIsReopened_data() {
        QTest::addColumn<QStringList>("simArguments");
        QTest::addColumn<QString>("connection");
        QTest::newRow("serial adapter") << QStringList{"--pty", "--pty-link", "LINK"} << "serial:%1";
        QTest::newRow("socket") << QStringList{"--tcp", "0"} << "tcp:%1";
        QTest::newRow("++ controller on serial")
            << QStringList{"--pty", "--pty-link", "LINK", "--prologix"} << "prologix:%1:7";
    }

    // The meter drops the link on the third command and is back 300 ms later (a
    // --pty-link comes back at its path): the exchange that meets the drop fails,
    // later ones reopen the device by themselves.
    void droppedDeviceIsReopened() {
        QFETCH(QStringList, simArguments);
        QFETCH(QString, connection);
        simArguments.replaceInStrings(QStringLiteral("LINK"), m_dir.filePath(QStringLiteral("meter")));
        SimMeter s(simArguments + QStringList{"--drop-after", "3", "--down-ms", "300"});
        QVERIFY(s.connect(connection, 500));
        QVERIFY(!s.meter.IDN().isEmpty());
        QCOMPARE(s.meter.IDN(), QString()); // the third command: the meter goes away
        QVERIFY(s.meter.ExecLog().contains(QLatin1String("Execute Err Stop: [*IDN?]")));
        // Each try is an exchange, so count them here rather than in QTRY_ (which
        // evaluates its condition again after success).
        const QDeadlineTimer deadline(10000);
        while (s.meter.IDN().isEmpty() && !deadline.hasExpired())
            QTest::qWait(20);
        QVERIFY2(s.meter.lastQueryAnswered(), qPrintable(s.meter.ExecLog()));
        QVERIFY(s.meter.IDN().startsWith(QLatin1String("KVX,")));
        QVERIFY(s.meter.Ready());
        s.sim.stop(); // a clean exit removes the --pty-link
        QVERIFY(!QFileInfo(m_dir.filePath(QStringLiteral("meter"))).isSymLink());
    }

    // A socket the meter closes between readings raises the link's notification:
    // "SYSTEM ERROR :" and the reason, and the next exchange connects again.
    void connectionLostWhileIdleIsReported() {
        m_messages->clear();
        SimMeter s({"--tcp", "0"});
        QVERIFY(s.connect(QStringLiteral("tcp:%1")));
        s.sim.stop();
        QTRY_COMPARE(m_messages->shown().size(), static_cast<size_t>(1));
        QVERIFY2(m_messages->texts().first().startsWith(QLatin1String("SYSTEM ERROR :TCP 127.0.0.1:")),
                 qPrintable(m_messages->texts().first()));
        QCOMPARE(s.meter.sReply(), QString());
        QCOMPARE(s.meter.IDN(), QString()); // nobody listens any more
        QCOMPARE(m_messages->shown().size(),
                 static_cast<size_t>(1)); // failures inside an exchange stay quiet
    }
};

QTEST_GUILESS_MAIN(TestLinks)
#include "tst_instrument_links.moc"
