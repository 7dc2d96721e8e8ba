#include "gpibcontroller.h"
#include "linesplitter.h"
#include "metermodel.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QSerialPort>
#include <QSignalSpy>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QtTest>

#include <cmath>

using namespace kvxsim;

namespace {

constexpr int kTimeoutMs = 5000;
const char* const kIdentity = "KVX,KVX-5130,SIM00001,1.0.1";

QString run(MeterModel& meter, const QStringList& commands) {
    QString last;
    for (const QString& command : commands)
        last = meter.execute(command).value_or(QString());
    return last;
}

double number(const QString& reply) {
    bool ok = false;
    const double value = reply.toDouble(&ok);
    if (!ok)
        qWarning() << "not a number:" << reply;
    return value;
}

int significantDigits(const QString& reading) {
    QString digits = reading;
    digits.remove(QLatin1Char('-')).remove(QLatin1Char('.'));
    while (digits.startsWith(QLatin1Char('0')))
        digits.remove(0, 1);
    return static_cast<int>(digits.size());
}

// Reads one LF-terminated line, waiting on the device's own readiness, never sleeping.
QByteArray readLine(QIODevice& device, int timeoutMs = kTimeoutMs) {
    QElapsedTimer clock;
    clock.start();
    while (!device.canReadLine()) {
        const int left = timeoutMs - static_cast<int>(clock.elapsed());
        if (left <= 0 || !device.waitForReadyRead(left))
            return device.canReadLine() ? device.readLine() : QByteArray();
    }
    return device.readLine();
}

QByteArray readFile(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// The simulator binary, stopped with SIGTERM when the test is done.
class SimProcess {
public:
    ~SimProcess() { stop(); }

    QString start(const QStringList& arguments) {
        m_process.setProgram(QStringLiteral(KVX_SIM_BINARY));
        m_process.setArguments(arguments);
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process.start();
        if (!m_process.waitForStarted(kTimeoutMs))
            return {};
        return QString::fromUtf8(readLine(m_process)).trimmed();
    }

    int stop() {
        if (m_process.state() == QProcess::NotRunning)
            return m_process.exitCode();
        m_process.terminate();
        if (!m_process.waitForFinished(kTimeoutMs))
            m_process.kill();
        return m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
    }

private:
    QProcess m_process;
};

bool openPort(QSerialPort& port, const QString& path) {
    port.setPortName(path);
    return port.open(QIODevice::ReadWrite);
}

} // namespace

class TestSim : public QObject {
    Q_OBJECT

private slots:
    void functionReply_data();
    void functionReply();
    void readingShape_data();
    void readingShape();
    void overload_data();
    void overload();
    void overloadEventLatchesUntilRead();
    void rangeReplies_data();
    void rangeReplies();
    void modeBits_data();
    void modeBits();
    void limitVerdict_data();
    void limitVerdict();
    void holdFreezesTheReading();
    void maxAndMinFollowTheExtremes();
    void relTakesThePresentReading();
    void dbmFollowsTheReference();
    void caseAndColonTolerance_data();
    void caseAndColonTolerance();
    void rejectedCommandsQueueErrors_data();
    void rejectedCommandsQueueErrors();
    void seedRepeatsReadings();

    void lineSplitting_data();
    void lineSplitting();
    void controllerFraming_data();
    void controllerFraming();

    void endToEndPty();
    void endToEndTcpThroughController();
    void ptyLinkSurvivesDropAndGoesOnExit();
};

// --- Meter model ------------------------------------------------------------------------

void TestSim::functionReply_data() {
    QTest::addColumn<QStringList>("commands");
    QTest::addColumn<QString>("function");

    QTest::newRow("power-on") << QStringList{} << "DCV";
    QTest::newRow("dc volts") << QStringList{":CONF:VOLT:DC 0"} << "DCV";
    QTest::newRow("ac volts") << QStringList{":CONF:VOLT:AC 0"} << "ACV";
    QTest::newRow("ac+dc volts") << QStringList{":CONF:VOLT:ACDC 0"} << "AC+DCV";
    QTest::newRow("dc+ac volts read as ac+dc") << QStringList{":CONF:VOLT:DCAC 0"} << "AC+DCV";
    QTest::newRow("ripple") << QStringList{":CONF:VOLT:RIP 0"} << "RIPPLE";
    QTest::newRow("dc current") << QStringList{":CONF:CURR:DC 0"} << "DCA";
    QTest::newRow("ac current") << QStringList{":CONF:CURR:AC 0"} << "ACA";
    QTest::newRow("ac+dc current") << QStringList{":CONF:CURR:ACDC 0"} << "AC+DCA";
    QTest::newRow("resistance") << QStringList{":CONF:RES 0"} << "OHM";
    QTest::newRow("capacitance") << QStringList{":CONF:CAP 0"} << "CAPACITANCE";
    QTest::newRow("diode with trailing blank") << QStringList{":CONF:DIOD "} << "DIODE";
    QTest::newRow("continuity") << QStringList{":CONF:CONT"} << "CONT";
    QTest::newRow("ac volts + frequency") << QStringList{":CONF:VOLT:AC 0", "CONF:SFR"} << "Hz+ACV";
    QTest::newRow("ac current + frequency") << QStringList{":CONF:CURR:AC 500", "CONF:SFR"} << "Hz+ACA";
    QTest::newRow("no frequency on dc") << QStringList{":CONF:VOLT:DC 0", "CONF:SFR"} << "DCV";
    QTest::newRow("new function drops frequency")
        << QStringList{":CONF:VOLT:AC 0", "CONF:SFR", ":CONF:VOLT:AC 0"} << "ACV";
    QTest::newRow("preset") << QStringList{":CONF:CURR:AC 0", "CONF:SFR", "PRES"} << "DCV";
    QTest::newRow("bad range keeps function")
        << QStringList{":CONF:CAP 0", ":CONF:VOLT:DC 7"} << "CAPACITANCE";
}

void TestSim::functionReply() {
    QFETCH(QStringList, commands);
    QFETCH(QString, function);

    MeterModel meter(1);
    run(meter, commands);
    QCOMPARE(meter.execute(":CONF:FUNC?").value_or("(none)"), function);
}

void TestSim::readingShape_data() {
    QTest::addColumn<QString>("function");
    QTest::addColumn<bool>("dual");
    QTest::addColumn<double>("low");
    QTest::addColumn<double>("high");

    QTest::newRow("dc volts") << ":CONF:VOLT:DC 0" << false << 1.0 << 10.0;
    QTest::newRow("ac volts") << ":CONF:VOLT:AC 0" << false << 200.0 << 260.0;
    QTest::newRow("ripple") << ":CONF:VOLT:RIP 0" << false << 0.001 << 0.5;
    QTest::newRow("dc milliamps") << ":CONF:CURR:DC 0" << false << 0.1 << 50.0;
    QTest::newRow("kiloohms") << ":CONF:RES 0" << false << 4.0 << 5.0;
    QTest::newRow("nanofarads") << ":CONF:CAP 0" << false << 80.0 << 120.0;
    QTest::newRow("diode") << ":CONF:DIOD " << false << 0.4 << 0.8;
    QTest::newRow("continuity") << ":CONF:CONT" << false << 0.0 << 0.05;
    QTest::newRow("ac volts + frequency") << ":CONF:VOLT:AC 0" << true << 200.0 << 260.0;
    QTest::newRow("ac current + frequency") << ":CONF:CURR:AC 0" << true << 0.1 << 500.0;
}

void TestSim::readingShape() {
    QFETCH(QString, function);
    QFETCH(bool, dual);
    QFETCH(double, low);
    QFETCH(double, high);

    MeterModel meter(7);
    run(meter, {function});
    if (dual)
        run(meter, {"CONF:SFR"});

    const QRegularExpression plainDecimal(QStringLiteral("^-?\\d+\\.\\d+$"));
    for (int i = 0; i < 50; ++i) {
        const QStringList parts = meter.execute(":READ?").value_or(QString()).split(QLatin1Char(','));
        QCOMPARE(parts.size(), dual ? 2 : 1);
        const QString primary = parts.last();
        QVERIFY2(plainDecimal.match(primary).hasMatch(), qPrintable(primary));
        QVERIFY2(significantDigits(primary) >= 4 && significantDigits(primary) <= 5, qPrintable(primary));
        QVERIFY2(number(primary) > low && number(primary) < high, qPrintable(primary));
        if (dual) {
            QVERIFY2(plainDecimal.match(parts.first()).hasMatch(), qPrintable(parts.first()));
            QVERIFY2(std::abs(number(parts.first()) - 0.05) < 0.005, qPrintable(parts.first()));
        }
    }
    // The application asks ":VALUE?" when ":READ?" gave one number, but it must never see two.
    QVERIFY(!meter.execute(":VALUE?").value_or(",").contains(QLatin1Char(',')));
}

void TestSim::overload_data() {
    QTest::addColumn<QString>("function");
    QTest::addColumn<int>("overloadBit");

    QTest::newRow("volts on 0.5 V") << ":CONF:VOLT:DC 0.5" << int(QuesVoltageOverload);
    QTest::newRow("mains on 50 V") << ":CONF:VOLT:AC 50" << int(QuesVoltageOverload);
    QTest::newRow("current on 0.5 mA") << ":CONF:CURR:DC 0.5" << int(QuesCurrentOverload);
    QTest::newRow("resistor on 0.5 kohm") << ":CONF:RES 0.5" << int(QuesOhmOverload);
    QTest::newRow("capacitor on 5 nF") << ":CONF:CAP 5" << int(QuesCapacitanceOverload);
    QTest::newRow("volts on 5 V") << ":CONF:VOLT:DC 5" << 0;
    QTest::newRow("mains on 500 V") << ":CONF:VOLT:AC 500" << 0;
    QTest::newRow("auto range") << ":CONF:RES 0" << 0;
}

void TestSim::overload() {
    QFETCH(QString, function);
    QFETCH(int, overloadBit);

    MeterModel meter(3);
    run(meter, {function});
    const QString reading = meter.execute(":READ?").value_or(QString());
    QCOMPARE(reading == QLatin1String(kOverloadText), overloadBit != 0);
    QCOMPARE(run(meter, {"STAT:QUES:COND?"}).toInt(), overloadBit);
}

void TestSim::overloadEventLatchesUntilRead() {
    MeterModel meter(3);
    run(meter, {":CONF:VOLT:DC 0.5", ":READ?", ":CONF:VOLT:DC 0", ":READ?"});
    QCOMPARE(run(meter, {"STAT:QUES:COND?"}), QStringLiteral("0"));
    QCOMPARE(run(meter, {"STAT:QUES:EVEN?"}).toInt(), int(QuesVoltageOverload));
    QCOMPARE(run(meter, {"STAT:QUES:EVEN?"}), QStringLiteral("0"));
}

void TestSim::rangeReplies_data() {
    QTest::addColumn<QStringList>("commands");
    QTest::addColumn<QString>("range");
    QTest::addColumn<QString>("autoRange");
    const auto row = [](const char* name, const QStringList& commands, const char* range,
                        const char* autoRange) { QTest::newRow(name) << commands << range << autoRange; };
    row("auto picks 5 V for a lab supply", {":CONF:VOLT:DC 0"}, "5", "1");
    row("auto picks 500 V for the mains", {":CONF:VOLT:AC 0"}, "500", "1");
    row("fixed 1200 V", {":CONF:VOLT:DC 1200"}, "1200", "0");
    row("fixed 0.5 kohm", {":CONF:RES 0.5"}, "0.5", "0");
    row("fixed 20000 mA", {":CONF:CURR:AC 20000"}, "20000", "0");
    row("range written 5.0", {":CONF:CAP 5.0"}, "5", "0");
    row("auto off keeps the auto range", {":CONF:VOLT:AC 0", ":CONF:AUTO 0"}, "500", "0");
    row("auto on again", {":CONF:VOLT:DC 50", ":CONF:AUTO 1"}, "5", "1");
    row("1200 is no current range", {":CONF:CURR:DC 5", ":CONF:CURR:DC 1200"}, "5", "0");
}

void TestSim::rangeReplies() {
    QFETCH(QStringList, commands);
    QFETCH(QString, range);
    QFETCH(QString, autoRange);

    MeterModel meter(5);
    run(meter, commands);
    QCOMPARE(run(meter, {":CONF:RANG?"}), range);
    QCOMPARE(run(meter, {":CONF:AUTO?"}), autoRange);
}

void TestSim::modeBits_data() {
    QTest::addColumn<QStringList>("commands");
    QTest::addColumn<int>("bits");

    QTest::newRow("none") << QStringList{} << 0;
    QTest::newRow("min") << QStringList{":CALC:MIN 1"} << 1;
    QTest::newRow("max") << QStringList{":CALC:MAX 1"} << 2;
    QTest::newRow("max then min share the display") << QStringList{":CALC:MAX 1", ":CALC:MIN 1"} << 1;
    QTest::newRow("hold") << QStringList{":CALC:HOLD 1"} << 4;
    QTest::newRow("autohold") << QStringList{":CALC:HOLD 2"} << 8;
    QTest::newRow("hold off") << QStringList{":CALC:HOLD 1", ":CALC:HOLD 0"} << 0;
    QTest::newRow("dBm") << QStringList{":CONF:VOLT:AC 0", ":CALC:SDBM:STAT 1"} << 16;
    QTest::newRow("no dBm on current") << QStringList{":CONF:CURR:AC 0", ":CALC:SDBM:STAT 1"} << 0;
    QTest::newRow("rel") << QStringList{":CALC:REL:STAT 1"} << 32;
    QTest::newRow("compare") << QStringList{":CALC:LIMI:STAT 1"} << 64;
    QTest::newRow("hold and rel") << QStringList{":CALC:HOLD 1", ":CALC:REL:STAT 1"} << 36;
    QTest::newRow("function clears the math, keeps compare")
        << QStringList{":CALC:MAX 1", ":CALC:HOLD 2", ":CALC:REL:STAT 1", ":CALC:LIMI:STAT 1",
                       ":CONF:VOLT:DC 0"}
        << 64;
    QTest::newRow("preset clears everything")
        << QStringList{":CALC:HOLD 1", ":CALC:LIMI:STAT 1", "PRES"} << 0;
}

void TestSim::modeBits() {
    QFETCH(QStringList, commands);
    QFETCH(int, bits);

    MeterModel meter(1);
    run(meter, commands);
    QCOMPARE(run(meter, {":CONF:MOD?"}), QString::number(bits));
}

void TestSim::limitVerdict_data() {
    QTest::addColumn<QString>("state");
    QTest::addColumn<QString>("upper");
    QTest::addColumn<QString>("lower");
    QTest::addColumn<QString>("verdict");
    QTest::addColumn<int>("conditionBits");
    const auto row = [](const char* name, const char* state, const char* upper, const char* lower,
                        const char* verdict,
                        int bits) { QTest::newRow(name) << state << upper << lower << verdict << bits; };
    // The simulated lab supply sits near 3.25 V.
    row("inside", "1", "5", "1", "1", 0);
    row("above", "1", "2.5", "1", "2", int(QuesLimitFailHigh));
    row("below", "1", "10", "4", "0", int(QuesLimitFailLow));
    row("compare off", "0", "2.5", "1", "1", 0);
}

void TestSim::limitVerdict() {
    QFETCH(QString, state);
    QFETCH(QString, upper);
    QFETCH(QString, lower);
    QFETCH(QString, verdict);
    QFETCH(int, conditionBits);

    MeterModel meter(2);
    run(meter, {":CALC:LIM:UPP " + upper, ":CALC:LIM:LOW " + lower, ":CALC:LIMI:STAT " + state, ":READ?"});
    QCOMPARE(run(meter, {":CALC:LIM:FAIL?"}), verdict);
    QCOMPARE(run(meter, {"STAT:QUES:COND?"}).toInt(), conditionBits);
    QCOMPARE(run(meter, {":CALC:LIM:UPP?"}), upper);
    QCOMPARE(run(meter, {":CALC:LIM:LOW?"}), lower);
    QCOMPARE(run(meter, {":CALC:LIMI:STAT?"}), state);
}

void TestSim::holdFreezesTheReading() {
    MeterModel meter(11);
    const QString held = run(meter, {":CALC:HOLD 1", ":READ?"});
    for (int i = 0; i < 10; ++i)
        QCOMPARE(run(meter, {":READ?"}), held);
    QCOMPARE(run(meter, {":CALC:HOLD?"}), QStringLiteral("1"));

    run(meter, {":CALC:HOLD 0"});
    QStringList free;
    for (int i = 0; i < 10; ++i)
        free << run(meter, {":READ?"});
    free.removeDuplicates();
    QVERIFY2(free.size() > 1, "readings should move again once hold is off");
}

void TestSim::maxAndMinFollowTheExtremes() {
    MeterModel meter(13);
    run(meter, {":CALC:MAX 1"});
    double previous = number(run(meter, {":READ?"}));
    for (int i = 0; i < 40; ++i) {
        const double shown = number(run(meter, {":READ?"}));
        QVERIFY(shown >= previous);
        previous = shown;
    }
    const double maximum = previous;

    // The same run goes on under MIN: its minimum lies below the maximum seen so far.
    run(meter, {":CALC:MIN 1"});
    previous = number(run(meter, {":READ?"}));
    QVERIFY(previous < maximum);
    for (int i = 0; i < 40; ++i) {
        const double shown = number(run(meter, {":READ?"}));
        QVERIFY(shown <= previous);
        previous = shown;
    }
    QCOMPARE(run(meter, {":CALC:MIN?"}), QStringLiteral("1"));
    QCOMPARE(run(meter, {":CALC:MAX?"}), QStringLiteral("0"));
}

void TestSim::relTakesThePresentReading() {
    MeterModel meter(17);
    run(meter, {":CALC:REL:STAT 1"});
    const double relative = number(run(meter, {":CALC:REL:DAT?"}));
    QVERIFY2(relative > 3.0 && relative < 3.5, qPrintable(QString::number(relative)));
    QVERIFY(std::abs(number(run(meter, {":READ?"}))) < 0.05);

    run(meter, {":CALC:REL:DAT 1"});
    const double shifted = number(run(meter, {":READ?"}));
    QVERIFY2(shifted > 2.0 && shifted < 2.5, qPrintable(QString::number(shifted)));
}

void TestSim::dbmFollowsTheReference() {
    MeterModel meter(19);
    QCOMPARE(run(meter, {":CALC:SDBM:REF?"}), QStringLiteral("600"));
    run(meter, {":CONF:VOLT:AC 500", ":CALC:SDBM:STAT 1"});
    const double at600 = number(run(meter, {":READ?"}));
    // 230 V across 600 ohm is about 88 W, or 49.5 dBm.
    QVERIFY2(std::abs(at600 - 49.5) < 0.5, qPrintable(QString::number(at600)));

    run(meter, {":CALC:SDBM:REF 50"});
    QCOMPARE(run(meter, {":CALC:SDBM:REF?"}), QStringLiteral("50"));
    const double at50 = number(run(meter, {":READ?"}));
    QVERIFY2(std::abs(at50 - at600 - 10.0 * std::log10(12.0)) < 0.2, qPrintable(QString::number(at50)));
}

void TestSim::caseAndColonTolerance_data() {
    QTest::addColumn<QString>("command");
    QTest::addColumn<QString>("reply");
    const auto row = [](const char* name, const char* command, const char* reply) {
        QTest::newRow(name) << command << reply;
    };
    row("as the application sends it", ":CONF:FUNC?", "DCV");
    row("without colon", "CONF:FUNC?", "DCV");
    row("lower case", ":conf:func?", "DCV");
    row("mixed case", "Conf:Func?", "DCV");
    row("long form", ":CONFIGURE:FUNCTION?", "DCV");
    row("identity lower case", "*idn?", kIdentity);
    row("error query with colon", ":SYST:ERR?", "0,\"No error\"");
    row("LIMI and LIM are one node", ":CALC:LIMI:UPP?", "0");
    row("LIMIT spelled out", ":calc:limit:upper?", "0");
    row("operation complete", "*OPC?", "1");
}

void TestSim::caseAndColonTolerance() {
    QFETCH(QString, command);
    QFETCH(QString, reply);

    MeterModel meter(1);
    QCOMPARE(meter.execute(command).value_or("(none)"), reply);
    QCOMPARE(run(meter, {"SYST:ERR?"}), QStringLiteral("0,\"No error\""));
}

void TestSim::rejectedCommandsQueueErrors_data() {
    QTest::addColumn<QString>("command");
    QTest::addColumn<QString>("error");
    const auto row = [](const char* name, const char* command, const char* error) {
        QTest::newRow(name) << command << error;
    };
    const char* const undefined = "-113,\"Undefined header\"";
    row("unknown header", ":FOO:BAR 1", undefined);
    row("unknown function", ":CONF:VOLT:XX 0", undefined);
    row("query form is a different command", ":READ", undefined);
    row("abbreviation too short", ":CON:FUNC?", undefined);
    row("range not on the meter", ":CONF:VOLT:DC 7", "-222,\"Data out of range\"");
    row("switch that is not one", ":CALC:MAX 3", "-224,\"Illegal parameter value\"");
}

void TestSim::rejectedCommandsQueueErrors() {
    QFETCH(QString, command);
    QFETCH(QString, error);

    MeterModel meter(1);
    QVERIFY(!meter.execute(command));
    QVERIFY(run(meter, {"*STB?"}).toInt() & StbErrorQueue);
    QCOMPARE(run(meter, {"SYST:ERR?"}), error);
    QCOMPARE(run(meter, {"SYST:ERR?"}), QStringLiteral("0,\"No error\""));
    QVERIFY(!(run(meter, {"*STB?"}).toInt() & StbErrorQueue));
}

void TestSim::seedRepeatsReadings() {
    const auto readings = [](std::uint32_t seed) {
        MeterModel meter(seed);
        QStringList replies;
        for (const char* function : {":CONF:VOLT:DC 0", ":CONF:CURR:AC 0", ":CONF:CAP 0"}) {
            run(meter, {function});
            for (int i = 0; i < 10; ++i)
                replies << run(meter, {":READ?"});
        }
        return replies;
    };
    QCOMPARE(readings(42), readings(42));
    QVERIFY(readings(42) != readings(43));
}

// --- Framing --------------------------------------------------------------------------

void TestSim::lineSplitting_data() {
    QTest::addColumn<QByteArrayList>("chunks");
    QTest::addColumn<QByteArrayList>("lines");

    QTest::newRow("CR") << QByteArrayList{"*IDN?\r"} << QByteArrayList{"*IDN?"};
    QTest::newRow("LF") << QByteArrayList{"*IDN?\n"} << QByteArrayList{"*IDN?"};
    QTest::newRow("CRLF is one end") << QByteArrayList{"A\r\nB\r\n"} << QByteArrayList{"A", "B"};
    QTest::newRow("empty lines dropped") << QByteArrayList{"\r\n\n\rA\n\n"} << QByteArrayList{"A"};
    QTest::newRow("split across reads") << QByteArrayList{"*ID", "N?", "\r"} << QByteArrayList{"*IDN?"};
    QTest::newRow("unfinished line waits") << QByteArrayList{"A\rB"} << QByteArrayList{"A"};
    QTest::newRow("trailing blank kept") << QByteArrayList{":CONF:DIOD \r"} << QByteArrayList{":CONF:DIOD "};
}

void TestSim::lineSplitting() {
    QFETCH(QByteArrayList, chunks);
    QFETCH(QByteArrayList, lines);

    LineSplitter splitter;
    QByteArrayList got;
    for (const QByteArray& chunk : chunks)
        got += splitter.feed(chunk);
    QCOMPARE(got, lines);
}

void TestSim::controllerFraming_data() {
    QTest::addColumn<QByteArray>("host");
    QTest::addColumn<QByteArrayList>("toInstrument");
    QTest::addColumn<QByteArray>("toHost");

    const QByteArray esc(1, '\x1b');
    QTest::newRow("data gets CRLF") << QByteArray("*IDN?\n") << QByteArrayList{"*IDN?\r\n"} << QByteArray();
    QTest::newRow("CR ends a line too")
        << QByteArray("A\rB\r\n") << QByteArrayList{"A\r\n", "B\r\n"} << QByteArray();
    QTest::newRow("read fetches the reply")
        << QByteArray("*IDN?\n++read eoi\n") << QByteArrayList{"*IDN?\r\n"} << QByteArray("R\n");
    QTest::newRow("bare read") << QByteArray("*IDN?\n++read\n") << QByteArrayList{"*IDN?\r\n"}
                               << QByteArray("R\n");
    QTest::newRow("auto reads after data")
        << QByteArray("++auto 1\n*IDN?\n") << QByteArrayList{"*IDN?\r\n"} << QByteArray("R\n");
    QTest::newRow("auto after a command finds nothing")
        << QByteArray("++auto 1\nPRES\n") << QByteArrayList{"PRES\r\n"} << QByteArray();
    QTest::newRow("read with nothing to read")
        << QByteArray("++read eoi\n") << QByteArrayList{} << QByteArray();
    QTest::newRow("address query") << QByteArray("++addr\n") << QByteArrayList{} << QByteArray("7\r\n");
    QTest::newRow("auto query") << QByteArray("++auto 1\n++auto\n") << QByteArrayList{}
                                << QByteArray("1\r\n");
    QTest::newRow("nobody at address 5")
        << QByteArray("++addr 5\n*IDN?\n++read eoi\n") << QByteArrayList{} << QByteArray();
    QTest::newRow("back to address 7") << QByteArray("++addr 5\n++addr 7\n*IDN?\n++read eoi\n")
                                       << QByteArrayList{"*IDN?\r\n"} << QByteArray("R\n");
    QTest::newRow("eos CR") << QByteArray("++eos 1\nA\n") << QByteArrayList{"A\r"} << QByteArray();
    QTest::newRow("eos LF") << QByteArray("++eos 2\nA\n") << QByteArrayList{"A\n"} << QByteArray();
    QTest::newRow("eos none") << QByteArray("++eos 3\nA\n") << QByteArrayList{"A"} << QByteArray();
    QTest::newRow("eoi off") << QByteArray("++eoi 0\nA\n") << QByteArrayList{"A\r\n(no EOI)"} << QByteArray();
    QTest::newRow("escaped pluses are data") << esc + "+" + esc + "+ver\n"
                                             << QByteArrayList{"++ver\r\n"} << QByteArray();
    QTest::newRow("escaped LF is data") << "A" + esc + "\nB\n" << QByteArrayList{"A\nB\r\n"} << QByteArray();
    QTest::newRow("escaped ESC is data") << "A" + esc + esc + "\n"
                                         << QByteArrayList{"A" + esc + "\r\n"} << QByteArray();
    QTest::newRow("clear drops the unread reply")
        << QByteArray("*IDN?\n++clr\n++read eoi\n") << QByteArrayList{"*IDN?\r\n"} << QByteArray();
    QTest::newRow("reset restores defaults") << QByteArray("++addr 3\n++eos 3\n++rst\n++addr\nA\n")
                                             << QByteArrayList{"A\r\n"} << QByteArray("7\r\n");
}

void TestSim::controllerFraming() {
    QFETCH(QByteArray, host);
    QFETCH(QByteArrayList, toInstrument);
    QFETCH(QByteArray, toHost);

    QByteArrayList instrumentGot;
    QByteArray hostGot;
    GpibController* controllerPtr = nullptr;
    GpibController::Hooks hooks;
    hooks.toInstrument = [&](const QByteArray& bytes, bool endOfMessage) {
        instrumentGot << bytes + (endOfMessage ? "" : "(no EOI)");
        if (bytes.contains('?')) // a meter that answers every query at once with "R"
            controllerPtr->instrumentReplied("R\n");
    };
    hooks.toHost = [&](const QByteArray& bytes) { hostGot += bytes; };
    GpibController controller(7, hooks);
    controllerPtr = &controller;

    controller.feedFromHost(host);
    QCOMPARE(instrumentGot, toInstrument);
    QCOMPARE(hostGot, toHost);
}

// --- The real binary ------------------------------------------------------------------

void TestSim::endToEndPty() {
    QTemporaryDir dir;
    const QString logPath = dir.filePath("commands.log");
    SimProcess sim;
    const QString device = sim.start({"--pty", "--log", logPath, "--seed", "1"});
    QVERIFY2(device.startsWith("/dev/"), qPrintable(device));

    QSerialPort port;
    QVERIFY2(openPort(port, device), qPrintable(port.errorString()));
    port.write("*IDN?\r");
    QCOMPARE(readLine(port), QByteArray(kIdentity) + '\n');
    port.write(":CONF:VOLT:AC 0\r:READ?\r");
    QVERIFY(number(QString::fromUtf8(readLine(port)).trimmed()) > 200.0);

    QCOMPARE(readFile(logPath), QByteArray("*IDN?\n:CONF:VOLT:AC 0\n:READ?\n"));
    QCOMPARE(sim.stop(), 0);
}

void TestSim::endToEndTcpThroughController() {
    QTemporaryDir dir;
    const QString logPath = dir.filePath("commands.log");
    SimProcess sim;
    const QString address = sim.start({"--tcp", "0", "--prologix", "--log", logPath});
    const QRegularExpressionMatch match = QRegularExpression("^tcp:127\\.0\\.0\\.1:(\\d+)$").match(address);
    QVERIFY2(match.hasMatch(), qPrintable(address));

    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, match.captured(1).toUShort());
    QVERIFY(socket.waitForConnected(kTimeoutMs));
    socket.write("++mode 1\r\n++addr 7\r\n++auto 1\r\n*IDN?\r\n");
    QCOMPARE(readLine(socket), QByteArray(kIdentity) + '\n');

    socket.write("++auto 0\n:CONF:FUNC?\n++read eoi\n");
    QCOMPARE(readLine(socket), QByteArray("DCV\n"));
    QCOMPARE(readFile(logPath), QByteArray("*IDN?\n:CONF:FUNC?\n"));
}

void TestSim::ptyLinkSurvivesDropAndGoesOnExit() {
    QTemporaryDir dir;
    const QString link = dir.filePath("kvx5130");
    SimProcess sim;
    const QString address = sim.start({"--pty", "--pty-link", link, "--drop-after", "2", "--down-ms", "300"});
    QCOMPARE(address, link);

    {
        QSerialPort port;
        QVERIFY(openPort(port, link));
        QSignalSpy failures(&port, &QSerialPort::errorOccurred);
        port.write("*IDN?\r");
        QCOMPARE(readLine(port), QByteArray(kIdentity) + '\n');
        port.write("*IDN?\r"); // the second command pulls the cable
        // The link goes before the device does, so either sign means the meter is away.
        QTRY_VERIFY_WITH_TIMEOUT(!failures.isEmpty() || !QFileInfo(link).isSymLink(), kTimeoutMs);
        QVERIFY(port.readAll().isEmpty());
    }

    QTRY_VERIFY_WITH_TIMEOUT(QFileInfo(link).isSymLink(), kTimeoutMs);
    QSerialPort port;
    QVERIFY(openPort(port, link));
    port.write("*IDN?\r");
    QCOMPARE(readLine(port), QByteArray(kIdentity) + '\n');

    QCOMPARE(sim.stop(), 0);
    QVERIFY(!QFileInfo(link).isSymLink());
}

QTEST_GUILESS_MAIN(TestSim)
#include "tst_sim.moc"
