#include "DataRows.h"
#include "gpibcontroller.h"
#include "linesplitter.h"
#include "metermodel.h"

#include <QtTest>

using namespace kvxsim;
using kvx::test::addRow;

namespace {

QString run(MeterModel& meter, const QStringList& commands) {
    QString last;
    for (const QString& command : commands)
        last = meter.execute(command).value_or(QString());
    return last;
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

        const auto range = [](const char* name, const QStringList& commands, const char* rangeAndAuto) {
            addRow(name, commands, ":CONF:RANG?;:CONF:AUTO?", rangeAndAuto);
        };
        range("auto picks 5 V for a lab supply", {":CONF:VOLT:DC 0"}, "5;1");
        range("auto picks 500 V for the mains", {":CONF:VOLT:AC 0"}, "500;1");
        range("fixed 1200 V", {":CONF:VOLT:DC 1200"}, "1200;0");
        range("fixed 0.5 kohm", {":CONF:RES 0.5"}, "0.5;0");
        range("auto off keeps the auto range", {":CONF:VOLT:AC 0", ":CONF:AUTO 0"}, "500;0");
        range("auto on again", {":CONF:VOLT:DC 50", ":CONF:AUTO 1"}, "5;1");

        const auto modes = [](const char* name, const QStringList& commands, const char* bits) {
            addRow(name, commands, ":CONF:MOD?", bits);
        };
        modes("no modes", {}, "0");
        modes("max", {":CALC:MAX 1"}, "2");
        modes("max then min share the display", {":CALC:MAX 1", ":CALC:MIN 1"}, "1");
        modes("autohold", {":CALC:HOLD 2"}, "8");
        modes("hold off", {":CALC:HOLD 1", ":CALC:HOLD 0"}, "0");
        modes("dBm", {":CONF:VOLT:AC 0", ":CALC:SDBM:STAT 1"}, "16");
        modes("no dBm on current", {":CONF:CURR:AC 0", ":CALC:SDBM:STAT 1"}, "0");
        modes("min, hold, rel and compare each a bit",
              {":CALC:MIN 1", ":CALC:HOLD 1", ":CALC:REL:STAT 1", ":CALC:LIMI:STAT 1"}, "101");
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

        // Spellings the program sends: none of them leaves an error behind.
        const auto spelling = [](const char* name, const char* query, const char* reply) {
            addRow(name, QStringList{}, QString(query) + ";SYST:ERR?", QString(reply) + ";0,\"No error\"");
        };
        spelling("without colon", "CONF:FUNC?", "DCV");
        spelling("LIMI and LIM are one node", ":CALC:LIMI:UPP?", "0");
        spelling("operation complete", "*OPC?", "1");

        // A refused command answers nothing and queues one error, which the status byte shows until it is
        // read.
        const auto refused = [](const char* name, const char* command, const char* error) {
            addRow(name, QStringList{}, QString(command) + ";*STB?;SYST:ERR?;SYST:ERR?;*STB?",
                   "(none);4;" + QString(error) + ";0,\"No error\";0");
        };
        const char* const undefined = "-113,\"Undefined header\"";
        refused("unknown header", ":FOO:BAR 1", undefined);
        refused("query form is a different command", ":READ", undefined);
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
        addRow("read fetches the reply", B("*IDN?\n++read eoi\n"), L{"*IDN?\r\n"}, B("R\n"));
        addRow("read with nothing to read", B("++read eoi\n"), L{}, B());
        addRow("nobody at address 5", B("++addr 5\n*IDN?\n++read eoi\n"), L{}, B());
        addRow("back to address 7", B("++addr 5\n++addr 7\n*IDN?\n++read eoi\n"), L{"*IDN?\r\n"}, B("R\n"));
        addRow("eos none", B("++eos 3\nA\n"), L{"A"}, B());
        addRow("escaped pluses are data", esc + "+" + esc + "+ver\n", L{"++ver\r\n"}, B());
        addRow("escaped LF is data", "A" + esc + "\nB\n", L{"A\nB\r\n"}, B());
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
