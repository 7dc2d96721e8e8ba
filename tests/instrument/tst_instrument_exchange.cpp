// The exchange routine: the command log's three line layouts, refused
// exchanges, connecting ("SAME" included), failures, the command-log file and
// the connection test. The clock is a ManualClock that only the link moves.

#include "ScriptedLink.h"
#include "Services.h"
#include "clsKVX5310.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using kvx::clsKVX5310;
using kvx::test::ScriptedLink;

namespace {

const QDateTime kStart(QDate(2026, 1, 5), QTime(10, 0, 0));

} // namespace

class TestExchange : public QObject {
    Q_OBJECT

private slots:
    void init();
    void logLines_data();
    void logLines();
    void elapsedIsSinglePrecision_data();
    void elapsedIsSinglePrecision();
    void refusedBeforeConnecting();
    void nestedExchangeIsRefused();
    void serialAddsCarriageReturn();
    void commandsDoNotRead();
    void failedExchangeEmptiesReply();
    void connectMethod_data();
    void connectMethod();
    void configureFailureLeavesNotReady();
    void sameOnFreshDriverSendsNothing();
    void commandLogFileIsReplaced();
    void connectionTest_data();
    void connectionTest();

private:
    std::shared_ptr<kvx::ManualClock> m_clock;
};

void TestExchange::init() {
    m_clock = std::make_shared<kvx::ManualClock>(kStart);
    kvx::setClock(m_clock);
}

namespace {

// Installs a scripted link on the chosen control and connects through it.
ScriptedLink* connectScripted(clsKVX5310& meter, const QString& method) {
    auto link = std::make_unique<ScriptedLink>();
    ScriptedLink* raw = link.get();
    raw->replies["*SRE?"] = "0\n";
    raw->replies["*SRE?\r"] = "0\n";
    if (method == QLatin1String("RS232"))
        meter.CWSerial1().useLink(std::move(link));
    else
        meter.CWGPIB1().useLink(std::move(link));
    meter.setConnectMethod(method);
    raw->written.clear();
    raw->reads = 0;
    return raw;
}

QString logAfterConnecting(const clsKVX5310& meter, const QString& before) {
    return meter.ExecLog().mid(before.size());
}

} // namespace

void TestExchange::logLines_data() {
    QTest::addColumn<QString>("command");
    QTest::addColumn<bool>("failWrites");
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<QString>("log");
    // The link takes 1.25 s: the clock moves from 10:00:00 to 10:00:01.250.
    QTest::newRow("query") << "*IDN?" << false << QByteArray("KVX\n")
                           << "Execute Start: [*IDN?]10:00:00\r\n"
                              "Execute Stop: [*IDN?]10:00:01 Total Time:1.25\r\n";
    QTest::newRow("command") << ":CALC:HOLD 2" << false << QByteArray()
                             << "Execute Start: [:CALC:HOLD 2]10:00:00\r\n"
                                "Execute Stop: [:CALC:HOLD 2]10:00:01 Total Time:1.25\r\n";
    QTest::newRow("read timeout") << "*IDN?" << false << QByteArray()
                                  << "Execute Start: [*IDN?]10:00:00\r\n"
                                     "Execute Err Stop: [*IDN?]10:00:01 Total Time:1.25 Read timeout\r\n";
    QTest::newRow("write error") << "PRES" << true << QByteArray()
                                 << "Execute Start: [PRES]10:00:00\r\n"
                                    "Execute Err Stop: [PRES]10:00:00 Total Time:0 write refused\r\n";
}

void TestExchange::logLines() {
    QFETCH(QString, command);
    QFETCH(bool, failWrites);
    QFETCH(QByteArray, reply);
    clsKVX5310 meter;
    ScriptedLink* link = connectScripted(meter, QStringLiteral("GPIB"));
    const QString before = meter.ExecLog();
    link->failWrites = failWrites;
    link->onWrite = [this](const QByteArray&) { m_clock->advance(1.25); };
    if (!reply.isEmpty())
        link->replies[command.toLatin1()] = reply;
    if (command.contains(QLatin1Char('?')))
        meter.IDN();
    else if (command == QLatin1String("PRES"))
        meter.PreSet();
    else
        meter.AutoHold();
    QTEST(logAfterConnecting(meter, before), "log");
}

void TestExchange::elapsedIsSinglePrecision_data() {
    QTest::addColumn<double>("seconds");
    QTest::addColumn<QString>("text");
    QTest::newRow("16 ms") << 0.016 << "0.016";
    QTest::newRow("quarter") << 0.25 << "0.25";
    QTest::newRow("whole") << 2.0 << "2";
    QTest::newRow("seven digits") << 12.345 << "12.345";
}

// Seconds of the day around 36000 leave binary noise in a double difference;
// the log shows the single-precision value instead.
void TestExchange::elapsedIsSinglePrecision() {
    QFETCH(double, seconds);
    QFETCH(QString, text);
    clsKVX5310 meter;
    ScriptedLink* link = connectScripted(meter, QStringLiteral("GPIB"));
    link->onWrite = [&](const QByteArray&) { m_clock->advance(seconds); };
    meter.AutoHold();
    QVERIFY2(meter.ExecLog().endsWith(QStringLiteral(" Total Time:") + text + QStringLiteral("\r\n")),
             qPrintable(meter.ExecLog()));
}

void TestExchange::refusedBeforeConnecting() {
    clsKVX5310 meter;
    auto link = std::make_unique<ScriptedLink>();
    ScriptedLink* raw = link.get();
    meter.CWGPIB1().useLink(std::move(link));
    QVERIFY(!meter.Ready());
    QCOMPARE(meter.ValuePrimary(), QString());
    QVERIFY(raw->written.isEmpty());
    QCOMPARE(meter.ExecLog(), QStringLiteral("Execute Stop: [:READ?]10:00:00 Total Time:0\r\n"
                                             "Execute Stop: [:VALUE?]10:00:00 Total Time:0\r\n"));
    QVERIFY(!meter.lastQueryAnswered());
}

// A timer tick or notification that comes in while a reply is awaited sends
// nothing and leaves only a stop line; the Get decodes the previous reply.
void TestExchange::nestedExchangeIsRefused() {
    clsKVX5310 meter;
    ScriptedLink* link = connectScripted(meter, QStringLiteral("GPIB"));
    link->replies["*IDN?"] = "KVX\n";
    link->replies[":READ?"] = "1.5\n";
    const QString before = meter.ExecLog();
    QString nestedResult = QStringLiteral("not run");
    bool wasExecuting = false;
    link->onWrite = [&](const QByteArray& data) {
        if (data == "*IDN?") {
            wasExecuting = meter.bExecuting();
            nestedResult = meter.ValueBoth();
        }
    };
    QCOMPARE(meter.IDN(), QStringLiteral("KVX\n"));
    QVERIFY(wasExecuting);
    QCOMPARE(nestedResult, QStringLiteral("0\n")); // from the connect's "*SRE?"
    QCOMPARE(link->written, QList<QByteArray>{"*IDN?"});
    QCOMPARE(logAfterConnecting(meter, before),
             QStringLiteral("Execute Start: [*IDN?]10:00:00\r\n"
                            "Execute Stop: [:READ?]10:00:00 Total Time:0\r\n"
                            "Execute Stop: [*IDN?]10:00:00 Total Time:0\r\n"));
    QVERIFY(!meter.bExecuting());
}

// The RS-232 method ends each command with one CR and logs it without.
void TestExchange::serialAddsCarriageReturn() {
    clsKVX5310 meter;
    ScriptedLink* link = connectScripted(meter, QStringLiteral("RS232"));
    link->replies["*IDN?\r"] = "KVX,KVX-5130\n";
    QCOMPARE(meter.IDN(), QStringLiteral("KVX,KVX-5130\n"));
    meter.AutoHold();
    QCOMPARE(link->written, (QList<QByteArray>{"*IDN?\r", ":CALC:HOLD 2\r"}));
    QVERIFY(meter.ExecLog().contains(QStringLiteral("[*IDN?]")));
    QVERIFY(meter.lastQueryAnswered());
}

void TestExchange::commandsDoNotRead() {
    clsKVX5310 meter;
    ScriptedLink* link = connectScripted(meter, QStringLiteral("GPIB"));
    link->replies["*IDN?"] = "KVX\n";
    meter.IDN();
    meter.AutoHold();
    meter.setLimitUPPER(20);
    QCOMPARE(link->reads, 1);
    QCOMPARE(meter.sReply(), QStringLiteral("KVX\n"));
}

void TestExchange::failedExchangeEmptiesReply() {
    clsKVX5310 meter;
    ScriptedLink* link = connectScripted(meter, QStringLiteral("GPIB"));
    link->replies["*IDN?"] = "KVX\n";
    meter.IDN();
    QVERIFY(meter.lastQueryAnswered());
    QCOMPARE(meter.Range(), 0.0); // no reply scripted: the read times out
    QCOMPARE(meter.sReply(), QString());
    QVERIFY(!meter.lastQueryAnswered());
    QVERIFY(!meter.bExecuting());
    QVERIFY(meter.ExecLog().endsWith(QStringLiteral(" Read timeout\r\n")));

    meter.IDN();
    link->failWrites = true;
    meter.AutoHold(); // a failed command empties the reply as well
    QCOMPARE(meter.sReply(), QString());
}

void TestExchange::connectMethod_data() {
    QTest::addColumn<QStringList>("methods");
    QTest::addColumn<QString>("method");
    QTest::addColumn<int>("serialOpens");
    QTest::addColumn<int>("gpibOpens");
    QTest::addColumn<bool>("serialOpen");
    QTest::addColumn<bool>("gpibOpen");
    QTest::newRow("RS232") << QStringList{"RS232"} << "RS232" << 1 << 0 << true << false;
    QTest::newRow("GPIB") << QStringList{"GPIB"} << "GPIB" << 0 << 1 << false << true;
    QTest::newRow("SAME after RS232 reconfigures")
        << QStringList{"RS232", "SAME"} << "RS232" << 2 << 0 << true << false;
    QTest::newRow("SAME after GPIB reconfigures")
        << QStringList{"GPIB", "SAME"} << "GPIB" << 0 << 2 << false << true;
    QTest::newRow("switching closes the other")
        << QStringList{"RS232", "GPIB"} << "GPIB" << 1 << 1 << false << true;
    QTest::newRow("unknown text keeps the method")
        << QStringList{"RS232", "USB"} << "RS232" << 1 << 0 << true << false;
    QTest::newRow("case counts") << QStringList{"rs232"} << "" << 0 << 0 << false << false;
}

// Every connect ends Ready with one "*SRE?" exchange on the chosen link.
void TestExchange::connectMethod() {
    QFETCH(QStringList, methods);
    clsKVX5310 meter;
    auto serial = std::make_unique<ScriptedLink>();
    auto gpib = std::make_unique<ScriptedLink>();
    ScriptedLink* serialLink = serial.get();
    ScriptedLink* gpibLink = gpib.get();
    serialLink->defaultReply = gpibLink->defaultReply = "0\n";
    meter.CWSerial1().useLink(std::move(serial));
    meter.CWGPIB1().useLink(std::move(gpib));
    for (const QString& method : methods)
        meter.setConnectMethod(method);
    QVERIFY(meter.Ready());
    QTEST(meter.ConnectMethod(), "method");
    QTEST(serialLink->opens, "serialOpens");
    QTEST(gpibLink->opens, "gpibOpens");
    QTEST(serialLink->isOpen(), "serialOpen");
    QTEST(gpibLink->isOpen(), "gpibOpen");
    QCOMPARE(serialLink->written.size() + gpibLink->written.size(),
             meter.ConnectMethod().isEmpty() ? 0 : methods.size());
    for (const QByteArray& w : serialLink->written)
        QCOMPARE(w, QByteArray("*SRE?\r"));
    for (const QByteArray& w : gpibLink->written)
        QCOMPARE(w, QByteArray("*SRE?"));
}

void TestExchange::configureFailureLeavesNotReady() {
    clsKVX5310 meter;
    auto link = std::make_unique<ScriptedLink>();
    link->failOpen = true;
    ScriptedLink* raw = link.get();
    meter.CWGPIB1().useLink(std::move(link));
    meter.setConnectMethod(QStringLiteral("GPIB"));
    QVERIFY(!meter.Ready());
    QCOMPARE(meter.ConnectMethod(), QStringLiteral("GPIB"));
    QCOMPARE(meter.lastConfigureError(), QStringLiteral("no such device"));
    QVERIFY(meter.ExecLog().isEmpty()); // no status exchange was tried
    meter.IDN();
    QVERIFY(raw->written.isEmpty());
    QCOMPARE(meter.ExecLog(), QStringLiteral("Execute Stop: [*IDN?]10:00:00 Total Time:0\r\n"));
}

// "SAME" with no method yet: Ready, yet no link, so exchanges go nowhere but
// are still logged as exchanges.
void TestExchange::sameOnFreshDriverSendsNothing() {
    clsKVX5310 meter;
    auto serial = std::make_unique<ScriptedLink>();
    auto gpib = std::make_unique<ScriptedLink>();
    ScriptedLink* serialLink = serial.get();
    ScriptedLink* gpibLink = gpib.get();
    meter.CWSerial1().useLink(std::move(serial));
    meter.CWGPIB1().useLink(std::move(gpib));
    meter.setConnectMethod(QStringLiteral("SAME"));
    QVERIFY(meter.Ready());
    QCOMPARE(meter.ConnectMethod(), QString());
    QCOMPARE(meter.ValueBoth(), QString());
    QVERIFY(serialLink->written.isEmpty() && gpibLink->written.isEmpty());
    QCOMPARE(serialLink->opens + gpibLink->opens, 0);
    QCOMPARE(meter.ExecLog(), QStringLiteral("Execute Start: [*SRE?]10:00:00\r\n"
                                             "Execute Stop: [*SRE?]10:00:00 Total Time:0\r\n"
                                             "Execute Start: [:READ?]10:00:00\r\n"
                                             "Execute Stop: [:READ?]10:00:00 Total Time:0\r\n"));
    QVERIFY(!meter.lastQueryAnswered());
}

void TestExchange::commandLogFileIsReplaced() {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("KVX_5130_Exection.log"));
    {
        QFile old(path);
        QVERIFY(old.open(QIODevice::WriteOnly));
        old.write(QByteArray(5000, 'x'));
    }
    clsKVX5310 meter;
    ScriptedLink* link = connectScripted(meter, QStringLiteral("RS232"));
    link->replies["*IDN?\r"] = "KVX\n";
    meter.IDN();
    QVERIFY(meter.writeCommandLog(path));
    QFile written(path);
    QVERIFY(written.open(QIODevice::ReadOnly));
    QCOMPARE(written.readAll(), (meter.ExecLog() + QStringLiteral("\r\n")).toUtf8());

    QString error;
    QVERIFY(!meter.writeCommandLog(dir.filePath(QStringLiteral("missing/folder/log")), &error));
    QVERIFY(!error.isEmpty());
}

void TestExchange::connectionTest_data() {
    QTest::addColumn<bool>("serialChosen");
    QTest::addColumn<int>("comPort");
    QTest::addColumn<int>("gpibAddress");
    QTest::addColumn<bool>("failOpen");
    QTest::addColumn<QByteArray>("idn");
    QTest::addColumn<QString>("shown");
    QTest::addColumn<int>("portAfter");
    QTest::addColumn<int>("addressAfter");
    // The controls start at port 1, 9600 baud and address 0.
    QTest::newRow("serial answers") << true << 3 << 0 << false << QByteArray("KVX,KVX-5130\n")
                                    << "KVX,KVX-5130\n"
                                    << 3 << 0;
    QTest::newRow("serial port out of range is not set")
        << true << 5 << 0 << false << QByteArray("KVX\n") << "KVX\n"
        << 1 << 0;
    QTest::newRow("serial silent") << true << 2 << 0 << false << QByteArray() << "Connection Error!" << 2
                                   << 0;
    QTest::newRow("serial cannot open") << true << 2 << 0 << true << QByteArray()
                                        << "Connection Error! Error caused by [2] no such device" << 2 << 0;
    QTest::newRow("gpib answers") << false << 1 << 22 << false << QByteArray("KVX\n") << "KVX\n" << 1 << 22;
    QTest::newRow("gpib address 31 is set") << false << 1 << 31 << false << QByteArray("KVX\n") << "KVX\n"
                                            << 1 << 31;
    QTest::newRow("gpib address 32 is not") << false << 1 << 32 << false << QByteArray("KVX\n") << "KVX\n"
                                            << 1 << 0;
    QTest::newRow("gpib cannot open") << false << 1 << 7 << true << QByteArray()
                                      << "Connection Error! Error caused by [2] no such device" << 1 << 7;
}

void TestExchange::connectionTest() {
    QFETCH(bool, serialChosen);
    QFETCH(int, comPort);
    QFETCH(int, gpibAddress);
    QFETCH(bool, failOpen);
    QFETCH(QByteArray, idn);
    clsKVX5310 meter;
    auto link = std::make_unique<ScriptedLink>();
    link->failOpen = failOpen;
    if (!idn.isEmpty()) {
        link->replies["*IDN?"] = idn;
        link->replies["*IDN?\r"] = idn;
    }
    if (serialChosen)
        meter.CWSerial1().useLink(std::move(link));
    else
        meter.CWGPIB1().useLink(std::move(link));
    const QString shown = kvx::runConnectionTest(meter, serialChosen, static_cast<qint16>(comPort), 19200,
                                                 static_cast<qint16>(gpibAddress));
    QTEST(shown, "shown");
    QTEST(static_cast<int>(meter.CWSerial1().portNumber()), "portAfter");
    QTEST(static_cast<int>(meter.CWGPIB1().primaryAddress()), "addressAfter");
    if (serialChosen && comPort <= 4)
        QCOMPARE(meter.CWSerial1().baudRate(), 19200);
}

QTEST_GUILESS_MAIN(TestExchange)
#include "tst_instrument_exchange.moc"
