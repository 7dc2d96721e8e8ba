#include "DataRows.h"
#include "gpibcontroller.h"
#include "linesplitter.h"
#include "metermodel.h"

#include <QRegularExpression>
#include <QtTest>

#include <algorithm>
#include <cmath>

using namespace kvxsim;
using kvx::test::addRow;

namespace {

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

} // namespace

class TestSim : public QObject {
    Q_OBJECT

private slots:
    // --- Meter model ------------------------------------------------------------------------

    // The replies to one or more queries (separated by ';') after a series of commands.
    void replies_data() {
        QTest::addColumn<QStringList>("commands");
        QTest::addColumn<QString>("queries");
        QTest::addColumn<QString>("replies");
        const auto function = [](const char* name, const QStringList& commands, const char* reply) {
            addRow(name, commands, ":CONF:FUNC?", reply);
        };
        function("power-on", {}, "DCV");
        function("dc+ac volts read as ac+dc", {":CONF:VOLT:DCAC 0"}, "AC+DCV");
        function("ac+dc current", {":CONF:CURR:ACDC 0"}, "AC+DCA");
        function("no frequency on dc", {":CONF:VOLT:DC 0", "CONF:SFR"}, "DCV");
        function("new function drops frequency", {":CONF:CURR:AC 0", "CONF:SFR", ":CONF:CURR:AC 0"}, "ACA");
        function("preset", {":CONF:CURR:AC 0", "CONF:SFR", "PRES"}, "DCV");
        function("bad range keeps function", {":CONF:CAP 0", ":CONF:VOLT:DC 7"}, "CAPACITANCE");

        const auto range = [](const char* name, const QStringList& commands, const char* rangeAndAuto) {
            addRow(name, commands, ":CONF:RANG?;:CONF:AUTO?", rangeAndAuto);
        };
        range("auto picks 5 V for a lab supply", {":CONF:VOLT:DC 0"}, "5;1");
        range("auto picks 500 V for the mains", {":CONF:VOLT:AC 0"}, "500;1");
        range("fixed 1200 V", {":CONF:VOLT:DC 1200"}, "1200;0");
        range("fixed 0.5 kohm", {":CONF:RES 0.5"}, "0.5;0");
        range("range written 5.0", {":CONF:CAP 5.0"}, "5;0");
        range("auto off keeps the auto range", {":CONF:VOLT:AC 0", ":CONF:AUTO 0"}, "500;0");
        range("auto on again", {":CONF:VOLT:DC 50", ":CONF:AUTO 1"}, "5;1");
        range("1200 is no current range", {":CONF:CURR:DC 5", ":CONF:CURR:DC 1200"}, "5;0");

        const auto modes = [](const char* name, const QStringList& commands, const char* bits) {
            addRow(name, commands, ":CONF:MOD?", bits);
        };
        modes("no modes", {}, "0");
        modes("min", {":CALC:MIN 1"}, "1");
        modes("max", {":CALC:MAX 1"}, "2");
        modes("max then min share the display", {":CALC:MAX 1", ":CALC:MIN 1"}, "1");
        modes("hold", {":CALC:HOLD 1"}, "4");
        modes("autohold", {":CALC:HOLD 2"}, "8");
        modes("hold off", {":CALC:HOLD 1", ":CALC:HOLD 0"}, "0");
        modes("dBm", {":CONF:VOLT:AC 0", ":CALC:SDBM:STAT 1"}, "16");
        modes("no dBm on current", {":CONF:CURR:AC 0", ":CALC:SDBM:STAT 1"}, "0");
        modes("rel", {":CALC:REL:STAT 1"}, "32");
        modes("compare", {":CALC:LIMI:STAT 1"}, "64");
        modes("function clears the math, keeps compare",
              {":CALC:MAX 1", ":CALC:HOLD 2", ":CALC:REL:STAT 1", ":CALC:LIMI:STAT 1", ":CONF:VOLT:DC 0"},
              "64");
        modes("preset clears everything", {":CALC:HOLD 1", ":CALC:LIMI:STAT 1", "PRES"}, "0");

        // The simulated lab supply sits near 3.25 V. Replies: the verdict, then the questionable condition.
        const auto limits = [](const char* name, const QString& upperLowerState, const QString& replies) {
            const QStringList v = upperLowerState.split(' ');
            addRow(name,
                   QStringList{":CALC:LIM:UPP " + v[0], ":CALC:LIM:LOW " + v[1], ":CALC:LIMI:STAT " + v[2],
                               ":READ?"},
                   ":CALC:LIM:FAIL?;STAT:QUES:COND?", replies);
        };
        limits("inside", "5 1 1", "1;0");
        limits("above", "2.5 1 1", "2;" + QString::number(QuesLimitFailHigh));
        limits("below", "10 4 1", "0;" + QString::number(QuesLimitFailLow));
        limits("compare off", "2.5 1 0", "1;0");

        // Spellings the parser accepts: none of them leaves an error behind.
        const auto spelling = [](const char* name, const char* query, const char* reply) {
            addRow(name, QStringList{}, QString(query) + ";SYST:ERR?", QString(reply) + ";0,\"No error\"");
        };
        spelling("without colon", "CONF:FUNC?", "DCV");
        spelling("lower case", ":conf:func?", "DCV");
        spelling("long form", ":CONFIGURE:FUNCTION?", "DCV");
        spelling("identity lower case", "*idn?", kIdentity);
        spelling("error query with colon", ":SYST:ERR?", "0,\"No error\"");
        spelling("LIMI and LIM are one node", ":CALC:LIMI:UPP?", "0");
        spelling("LIMIT spelled out", ":calc:limit:upper?", "0");
        spelling("operation complete", "*OPC?", "1");

        // A refused command answers nothing and queues one error, which the status byte shows until it is
        // read.
        const auto refused = [](const char* name, const char* command, const char* error) {
            addRow(name, QStringList{}, QString(command) + ";*STB?;SYST:ERR?;SYST:ERR?;*STB?",
                   "(none);4;" + QString(error) + ";0,\"No error\";0");
        };
        const char* const undefined = "-113,\"Undefined header\"";
        refused("unknown header", ":FOO:BAR 1", undefined);
        refused("unknown function", ":CONF:VOLT:XX 0", undefined);
        refused("query form is a different command", ":READ", undefined);
        refused("abbreviation too short", ":CON:FUNC?", undefined);
        refused("range not on the meter", ":CONF:VOLT:DC 7", "-222,\"Data out of range\"");
        refused("switch that is not one", ":CALC:MAX 3", "-224,\"Illegal parameter value\"");
    }

    void replies() {
        QFETCH(QStringList, commands);
        QFETCH(QString, queries);

        MeterModel meter(1);
        run(meter, commands);
        QStringList got;
        for (const QString& query : queries.split(';'))
            got << meter.execute(query).value_or("(none)");
        QTEST(got.join(';'), "replies");
    }

    void readingShape_data() {
        QTest::addColumn<QString>("function");
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("dual");
        QTest::addColumn<double>("low");
        QTest::addColumn<double>("high");
        addRow("dc volts", ":CONF:VOLT:DC 0", "DCV", false, 1.0, 10.0);
        addRow("ac volts", ":CONF:VOLT:AC 0", "ACV", false, 200.0, 260.0);
        addRow("ac+dc volts", ":CONF:VOLT:ACDC 0", "AC+DCV", false, 200.0, 260.0);
        addRow("ripple", ":CONF:VOLT:RIP 0", "RIPPLE", false, 0.001, 0.5);
        addRow("dc milliamps", ":CONF:CURR:DC 0", "DCA", false, 0.1, 50.0);
        addRow("kiloohms", ":CONF:RES 0", "OHM", false, 4.0, 5.0);
        addRow("nanofarads", ":CONF:CAP 0", "CAPACITANCE", false, 80.0, 120.0);
        addRow("diode with trailing blank", ":CONF:DIOD ", "DIODE", false, 0.4, 0.8);
        addRow("continuity", ":CONF:CONT", "CONT", false, 0.0, 0.05);
        addRow("ac volts + frequency", ":CONF:VOLT:AC 0", "Hz+ACV", true, 200.0, 260.0);
        addRow("ac current + frequency", ":CONF:CURR:AC 0", "Hz+ACA", true, 0.1, 500.0);
    }

    void readingShape() {
        QFETCH(QString, function);
        QFETCH(bool, dual);
        QFETCH(double, low);
        QFETCH(double, high);

        MeterModel meter(7);
        run(meter, {function});
        if (dual)
            run(meter, {"CONF:SFR"});
        QTEST(run(meter, {":CONF:FUNC?"}), "name");

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

    void overload_data() {
        QTest::addColumn<QString>("function");
        QTest::addColumn<int>("overloadBit");
        addRow("mains on 50 V", ":CONF:VOLT:AC 50", int(QuesVoltageOverload));
        addRow("current on 0.5 mA", ":CONF:CURR:DC 0.5", int(QuesCurrentOverload));
        addRow("resistor on 0.5 kohm", ":CONF:RES 0.5", int(QuesOhmOverload));
        addRow("capacitor on 5 nF", ":CONF:CAP 5", int(QuesCapacitanceOverload));
        addRow("volts on 5 V", ":CONF:VOLT:DC 5", 0);
        addRow("auto range", ":CONF:RES 0", 0);
    }

    void overload() {
        QFETCH(QString, function);
        QFETCH(int, overloadBit);

        MeterModel meter(3);
        const QString reading = run(meter, {function, ":READ?"});
        QCOMPARE(reading == QLatin1String(kOverloadText), overloadBit != 0);
        QCOMPARE(run(meter, {"STAT:QUES:COND?"}).toInt(), overloadBit);
        // Back on auto range the condition goes, but the event stays until it is read.
        run(meter, {function.section(' ', 0, 0) + " 0", ":READ?"});
        QCOMPARE(run(meter, {"STAT:QUES:COND?"}), QStringLiteral("0"));
        QCOMPARE(run(meter, {"STAT:QUES:EVEN?"}).toInt(), overloadBit);
        QCOMPARE(run(meter, {"STAT:QUES:EVEN?"}), QStringLiteral("0"));
    }

    void seedRepeatsReadings() {
        const auto readings = [](std::uint32_t seed) {
            MeterModel meter(seed);
            QList<double> values;
            for (const char* function : {":CONF:VOLT:DC 0", ":CONF:CURR:AC 0", ":CONF:CAP 0"}) {
                run(meter, {function});
                for (int i = 0; i < 10; ++i)
                    values << number(run(meter, {":READ?"}));
            }
            return values;
        };
        QCOMPARE(readings(42), readings(42));
        QVERIFY(readings(42) != readings(43));
    }

    // --- Framing --------------------------------------------------------------------------

    void lineSplitting_data() {
        QTest::addColumn<QByteArrayList>("chunks");
        QTest::addColumn<QByteArrayList>("lines");
        using L = QByteArrayList;
        addRow("CRLF is one end", L{"A\r\nB\r\n"}, L{"A", "B"});
        addRow("empty lines dropped", L{"\r\n\n\rA\n\n"}, L{"A"});
        addRow("split across reads", L{"*ID", "N?", "\r"}, L{"*IDN?"});
        addRow("unfinished line waits", L{"A\rB"}, L{"A"});
        addRow("trailing blank kept", L{":CONF:DIOD \r"}, L{":CONF:DIOD "});
    }

    void lineSplitting() {
        QFETCH(QByteArrayList, chunks);
        QFETCH(QByteArrayList, lines);

        LineSplitter splitter;
        QByteArrayList got;
        for (const QByteArray& chunk : chunks)
            got += splitter.feed(chunk);
        QCOMPARE(got, lines);
    }

    void controllerFraming_data() {
        QTest::addColumn<QByteArray>("host");
        QTest::addColumn<QByteArrayList>("toInstrument");
        QTest::addColumn<QByteArray>("toHost");
        using B = QByteArray;
        using L = QByteArrayList;
        const B esc(1, '\x1b');
        addRow("data gets CRLF", B("*IDN?\n"), L{"*IDN?\r\n"}, B());
        addRow("CR ends a line too", B("A\rB\r\n"), L{"A\r\n", "B\r\n"}, B());
        addRow("read fetches the reply", B("*IDN?\n++read eoi\n"), L{"*IDN?\r\n"}, B("R\n"));
        addRow("auto reads after data", B("++auto 1\n*IDN?\n"), L{"*IDN?\r\n"}, B("R\n"));
        addRow("auto after a command finds nothing", B("++auto 1\nPRES\n"), L{"PRES\r\n"}, B());
        addRow("read with nothing to read", B("++read eoi\n"), L{}, B());
        addRow("address query", B("++addr\n"), L{}, B("7\r\n"));
        addRow("nobody at address 5", B("++addr 5\n*IDN?\n++read eoi\n"), L{}, B());
        addRow("back to address 7", B("++addr 5\n++addr 7\n*IDN?\n++read eoi\n"), L{"*IDN?\r\n"}, B("R\n"));
        addRow("eos CR", B("++eos 1\nA\n"), L{"A\r"}, B());
        addRow("eos LF", B("++eos 2\nA\n"), L{"A\n"}, B());
        addRow("eos none", B("++eos 3\nA\n"), L{"A"}, B());
        addRow("eoi off", B("++eoi 0\nA\n"), L{"A\r\n(no EOI)"}, B());
        addRow("escaped pluses are data", esc + "+" + esc + "+ver\n", L{"++ver\r\n"}, B());
        addRow("escaped LF is data", "A" + esc + "\nB\n", L{"A\nB\r\n"}, B());
        addRow("clear drops the unread reply", B("*IDN?\n++clr\n++read eoi\n"), L{"*IDN?\r\n"}, B());
        addRow("reset restores defaults", B("++addr 3\n++eos 3\n++rst\n++addr\nA\n"), L{"A\r\n"}, B("7\r\n"));
    }

    void controllerFraming() {
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
};

QTEST_GUILESS_MAIN(TestSim)
#include "tst_sim.moc"
