// The driver over real links: the exact bytes each link puts on the wire (a
// raw peer on a pseudo-terminal or TCP), the whole exchange against the meter
// simulator on every transport, the linux-gpib binding through a stand-in
// library, and a device that goes away and comes back.

#include "Services.h"
#include "SimProcess.h"
#include "ValueRules.h"
#include "WirePeer.h"
#include "clsKVX5310.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

using kvx::clsKVX5310;
using kvx::test::SimProcess;
using kvx::test::WirePeer;

namespace {

const QByteArray kControllerSetup = "++mode 1\n++addr 7\n++auto 0\n++eoi 1\n++eos 3\n";

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

QStringList traceLines(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromLatin1(file.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

} // namespace

class TestLinks : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void wireBytes_data();
    void wireBytes();
    void controllerGivesFrontPanelBackOnClose();
    void againstSimulator_data();
    void againstSimulator();
    void linuxGpibAddsNothingAndGoesLocalFirst();
    void linuxGpibMissingOrUnreachable_data();
    void linuxGpibMissingOrUnreachable();
    void silentMeterTimesOut();
    void droppedDeviceIsReopened_data();
    void droppedDeviceIsReopened();
    void connectionLostWhileIdleIsReported();

private:
    QTemporaryDir m_dir;
    std::shared_ptr<kvx::ScriptedMessageService> m_messages;
};

void TestLinks::initTestCase() {
    m_messages = std::make_shared<kvx::ScriptedMessageService>();
    kvx::setMessages(m_messages);
    qunsetenv("KVX5130_GPIB_LIBRARY");
}

void TestLinks::wireBytes_data() {
    QTest::addColumn<QString>("peerKind");
    QTest::addColumn<QString>("scheme");
    QTest::addColumn<QByteArray>("trigger");
    QTest::addColumn<bool>("query");
    QTest::addColumn<QByteArray>("bytes");
    // Connecting sends "*SRE?" first; the peer answers every query with "1\n".
    QTest::newRow("RS-232 query adds CR")
        << "pty"
        << "serial:%1@9600" << QByteArray("?\r") << true << QByteArray("*SRE?\r*IDN?\r");
    QTest::newRow("RS-232 command adds CR")
        << "pty"
        << "serial:%1@9600" << QByteArray("?\r") << false << QByteArray("*SRE?\r:CALC:HOLD 2\r");
    QTest::newRow("socket query adds LF")
        << "tcp"
        << "tcp:%1" << QByteArray("?\n") << true << QByteArray("*SRE?\n*IDN?\n");
    QTest::newRow("socket command adds LF")
        << "tcp"
        << "tcp:%1" << QByteArray("?\n") << false << QByteArray("*SRE?\n:CALC:HOLD 2\n");
    QTest::newRow("++ over TCP query") << "tcp"
                                       << "prologix-tcp:%1:7" << QByteArray("++read eoi\n") << true
                                       << kControllerSetup + "*SRE?\n++read eoi\n*IDN?\n++read eoi\n";
    QTest::newRow("++ over serial command") << "pty"
                                            << "prologix:%1:7" << QByteArray("++read eoi\n") << false
                                            << kControllerSetup + "*SRE?\n++read eoi\n:CALC:HOLD 2\n";
}

void TestLinks::wireBytes() {
    QFETCH(QString, peerKind);
    QFETCH(QString, scheme);
    QFETCH(QByteArray, trigger);
    QFETCH(bool, query);
    QFETCH(QByteArray, bytes);
    const std::unique_ptr<WirePeer> peer =
        peerKind == QLatin1String("pty") ? WirePeer::pseudoTerminal() : WirePeer::tcpListener();
    QVERIFY(peer);
    peer->answer(trigger, "1\n");
    clsKVX5310 meter;
    QVERIFY(connectTo(meter, scheme.arg(peer->address())));
    QVERIFY(meter.lastQueryAnswered());
    if (query)
        QCOMPARE(meter.IDN(), QStringLiteral("1\n"));
    else
        meter.AutoHold();
    QTRY_COMPARE(peer->received(), bytes);
}

void TestLinks::controllerGivesFrontPanelBackOnClose() {
    const std::unique_ptr<WirePeer> peer = WirePeer::tcpListener();
    QVERIFY(peer);
    peer->answer("++read eoi\n", "0\n");
    {
        clsKVX5310 meter;
        QVERIFY(connectTo(meter, QStringLiteral("prologix-tcp:%1:7").arg(peer->address())));
    }
    QTRY_VERIFY(peer->received().endsWith("*SRE?\n++read eoi\n++loc\n"));
}

void TestLinks::againstSimulator_data() {
    QTest::addColumn<QStringList>("simArguments");
    QTest::addColumn<QString>("connection");
    QTest::newRow("serial pty") << QStringList{"--pty"} << "serial:%1@9600";
    QTest::newRow("serial pty paced at 9600 baud")
        << QStringList{"--pty", "--baud", "9600"} << "serial:%1@9600";
    QTest::newRow("raw socket") << QStringList{"--tcp", "0"} << "tcp:%1";
    QTest::newRow("++ on pty") << QStringList{"--pty", "--prologix", "--addr", "9"} << "prologix:%1:9";
    QTest::newRow("++ over TCP") << QStringList{"--tcp", "0", "--prologix"} << "prologix-tcp:%1:7";
}

// A function choice, a reading and a command: the meter receives exactly the
// driver's commands, replies arrive whole, and a command leaves sReply alone.
void TestLinks::againstSimulator() {
    QFETCH(QStringList, simArguments);
    QFETCH(QString, connection);
    SimProcess sim(simArguments + QStringList{"--seed", "5"});
    QString error;
    QVERIFY2(sim.start(&error), qPrintable(error));
    const QString where = sim.where().startsWith(QLatin1String("tcp:")) ? sim.where().mid(4) : sim.where();
    clsKVX5310 meter;
    QVERIFY(connectTo(meter, connection.arg(where)));
    QVERIFY(meter.lastQueryAnswered());
    QVERIFY(meter.IDN().startsWith(QLatin1String("KVX,KVX-5130,")));
    QVERIFY(meter.IDN().endsWith(QLatin1Char('\n')));
    QCOMPARE(meter.VoltageAC(), QStringLiteral("AC Voltage"));
    QCOMPARE(meter.sUnitPrimary(), QStringLiteral("V"));
    const QString primary = meter.ValuePrimary();
    QVERIFY2(kvx::isNumeric(primary), qPrintable(primary));
    QCOMPARE(meter.ValueSecond(), QString());
    meter.AutoHold();
    QCOMPARE(meter.sReply(), primary);
    const QStringList expected = {"*SRE?",       "*IDN?",  "*IDN?",   ":CONF:VOLT:AC 0",
                                  ":CONF:FUNC?", ":READ?", ":VALUE?", ":CALC:HOLD 2"};
    QVERIFY(sim.waitForLoggedCommands(expected.size()));
    QCOMPARE(sim.loggedCommands(), expected);
    QVERIFY(!meter.ExecLog().contains(QLatin1String("Err Stop")));
}

void TestLinks::linuxGpibAddsNothingAndGoesLocalFirst() {
    SimProcess sim({"--tcp", "0"});
    QString error;
    QVERIFY2(sim.start(&error), qPrintable(error));
    const QString trace = m_dir.filePath(QStringLiteral("gpib-trace.txt"));
    qputenv("KVX5130_GPIB_LIBRARY", KVX_GPIB_STANDIN);
    qputenv("KVX_GPIB_STANDIN_PORT", QByteArray::number(sim.tcpPort()));
    qputenv("KVX_GPIB_STANDIN_TRACE", trace.toLocal8Bit());
    {
        clsKVX5310 meter;
        QVERIFY(connectTo(meter, QStringLiteral("gpib:0:7")));
        QVERIFY(meter.IDN().startsWith(QLatin1String("KVX,KVX-5130,")));
        meter.AutoHold();
    }
    qunsetenv("KVX5130_GPIB_LIBRARY");
    // ibdev(board 0, address 7, no secondary, T1s, EOI on, no EOS); messages as they stand.
    QCOMPARE(traceLines(trace), (QStringList{"ibdev 0 7 0 11 1 0", "ibwrt *SRE?", "ibrd", "ibwrt *IDN?",
                                             "ibrd", "ibwrt :CALC:HOLD 2", "ibloc", "ibonl 0"}));
    QVERIFY(sim.waitForLoggedCommands(3));
    QCOMPARE(sim.loggedCommands(), (QStringList{"*SRE?", "*IDN?", ":CALC:HOLD 2"}));
}

void TestLinks::linuxGpibMissingOrUnreachable_data() {
    QTest::addColumn<QByteArray>("library");
    QTest::addColumn<QString>("error");
    QTest::newRow("not installed") << QByteArray("/nonexistent/libgpib.so.0")
                                   << "linux-gpib is not installed (/nonexistent/libgpib.so.0)";
    QTest::newRow("no such bus") << QByteArray(KVX_GPIB_STANDIN)
                                 << "ibdev on GPIB board 0, address 7 failed: EDVR";
}

void TestLinks::linuxGpibMissingOrUnreachable() {
    QFETCH(QByteArray, library);
    QFETCH(QString, error);
    qputenv("KVX5130_GPIB_LIBRARY", library);
    qputenv("KVX_GPIB_STANDIN_PORT", "1"); // nothing listens there
    clsKVX5310 meter;
    QVERIFY(!connectTo(meter, QStringLiteral("gpib:0:7")));
    qunsetenv("KVX5130_GPIB_LIBRARY");
    QVERIFY2(meter.lastConfigureError().startsWith(error), qPrintable(meter.lastConfigureError()));
    QCOMPARE(meter.CWGPIB1().lastErrorNumber(), static_cast<int>(kvx::kLinkOpenError));
}

void TestLinks::silentMeterTimesOut() {
    SimProcess sim({"--pty", "--no-reply"});
    QString error;
    QVERIFY2(sim.start(&error), qPrintable(error));
    clsKVX5310 meter;
    QVERIFY(connectTo(meter, QStringLiteral("serial:%1").arg(sim.where()), 100));
    QVERIFY(!meter.lastQueryAnswered());
    QCOMPARE(meter.IDN(), QString());
    QVERIFY2(meter.ExecLog().contains(QRegularExpression(QStringLiteral(
                 "Execute Err Stop: \\[\\*IDN\\?\\]\\d\\d:\\d\\d:\\d\\d Total Time:[0-9.]+ Read timeout"))),
             qPrintable(meter.ExecLog()));
}

void TestLinks::droppedDeviceIsReopened_data() {
    QTest::addColumn<QStringList>("simArguments");
    QTest::addColumn<QString>("connection");
    QTest::newRow("serial adapter") << QStringList{"--pty", "--pty-link", "LINK"} << "serial:%1";
    QTest::newRow("socket") << QStringList{"--tcp", "0"} << "tcp:%1";
    QTest::newRow("++ controller on serial")
        << QStringList{"--pty", "--pty-link", "LINK", "--prologix"} << "prologix:%1:7";
}

// The meter drops the link on the third command and is back 300 ms later: the
// exchange that meets the drop fails, later ones reopen the device by themselves.
void TestLinks::droppedDeviceIsReopened() {
    QFETCH(QStringList, simArguments);
    QFETCH(QString, connection);
    QTemporaryDir dir;
    simArguments.replaceInStrings(QStringLiteral("LINK"), dir.filePath(QStringLiteral("meter")));
    SimProcess sim(simArguments + QStringList{"--drop-after", "3", "--down-ms", "300"});
    QString error;
    QVERIFY2(sim.start(&error), qPrintable(error));
    const QString where = sim.where().startsWith(QLatin1String("tcp:")) ? sim.where().mid(4) : sim.where();
    clsKVX5310 meter;
    QVERIFY(connectTo(meter, connection.arg(where), 500));
    QVERIFY(!meter.IDN().isEmpty());
    QCOMPARE(meter.IDN(), QString()); // the third command: the meter goes away
    QVERIFY(meter.ExecLog().contains(QLatin1String("Execute Err Stop: [*IDN?]")));
    // Each try is an exchange, so count them here rather than in QTRY_ (which
    // evaluates its condition again after success).
    const QDeadlineTimer deadline(10000);
    while (meter.IDN().isEmpty() && !deadline.hasExpired())
        QTest::qWait(20);
    QVERIFY2(meter.lastQueryAnswered(), qPrintable(meter.ExecLog()));
    QVERIFY(meter.IDN().startsWith(QLatin1String("KVX,")));
    QVERIFY(meter.Ready());
}

// A socket the meter closes between readings raises the link's notification:
// "SYSTEM ERROR :" and the reason, and the next exchange connects again.
void TestLinks::connectionLostWhileIdleIsReported() {
    m_messages->clear();
    auto sim = std::make_unique<SimProcess>(QStringList{"--tcp", "0"});
    QString error;
    QVERIFY2(sim->start(&error), qPrintable(error));
    clsKVX5310 meter;
    QVERIFY(connectTo(meter, QStringLiteral("tcp:%1").arg(sim->where().mid(4))));
    sim->stop();
    QTRY_COMPARE(m_messages->shown().size(), static_cast<size_t>(1));
    QVERIFY2(m_messages->texts().first().startsWith(QLatin1String("SYSTEM ERROR :TCP 127.0.0.1:")),
             qPrintable(m_messages->texts().first()));
    QCOMPARE(meter.sReply(), QString());
    QCOMPARE(meter.IDN(), QString());                             // nobody listens any more
    QCOMPARE(m_messages->shown().size(), static_cast<size_t>(1)); // failures inside an exchange stay quiet
}

QTEST_GUILESS_MAIN(TestLinks)
#include "tst_instrument_links.moc"
