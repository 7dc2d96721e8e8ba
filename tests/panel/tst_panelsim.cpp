// The front panel against the simulated meter on a pseudo-terminal: the exact
// commands each key and each range option sends, read back from the simulator's log.
// CTest runs the suite twice: with the exchanges run where they are asked for, and
// with the meter thread the program uses (KVX_TEST_METER_THREAD=1); the wire must
// not tell the two apart.

#include "MeterThread.h"
#include "PanelFixture.h"
#include "SimProcess.h"

#include <QtTest>

using namespace paneltest;
using kvx::test::SimProcess;

namespace {

bool onMeterThread() {
    return qEnvironmentVariableIntValue("KVX_TEST_METER_THREAD") == 1;
}

// A panel linked to a simulator through the --link override, as `kvx5130 --link` does.
struct SimPanel : PanelFixture {
    explicit SimPanel(SimProcess& sim) : sim(sim) {
        kvx::session().linkOverride = QStringLiteral("serial:") + sim.where();
        if (onMeterThread())
            kvx::meterThread().start();
    }
    ~SimPanel() {
        settle();
        kvx::meterThread().stop();
    }
    // Lets every exchange handed to the meter thread finish, and the panel act on it.
    static void settle() { QVERIFY(kvx::meterThread().settle()); }
    // Commands the simulator received from `from` on, up to a marker query that
    // the test itself sends, so that nothing sent before it can still be on its way.
    QStringList commandsSince(int from) {
        kvx::meterThread().post([](kvx::clsKVX5310& meter) { meter.IDN(); });
        settle();
        QStringList all;
        for (int i = 0; i < 100 && !all.contains(QStringLiteral("*IDN?")); ++i) {
            sim.waitForLoggedCommands(from + 1);
            all = sim.loggedCommands().mid(from);
        }
        all.removeLast();
        return all;
    }
    int logged() const { return static_cast<int>(sim.loggedCommands().size()); }
    // Opens the link to the simulator and presses `keyName`, if one is given.
    void linkAndPress(const QString& keyName) {
        panel->RestoreSetting();
        if (!keyName.isEmpty())
            key(keyName)->click();
        settle();
    }

    SimProcess& sim;
};

const QString kFunc = QStringLiteral(":CONF:FUNC?");

// A function command followed by as many function queries.
QStringList sent(const QString& command, int functionQueries) {
    return QStringList{command} + QStringList(functionQueries, kFunc);
}

} // namespace

class PanelSimTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        QString error;
        QVERIFY2(m_sim.start(&error), qPrintable(error));
    }

    void controlsSendTheirCommands_data() {
        QTest::addColumn<QString>("setupKey"); // pressed before, when given
        QTest::addColumn<QString>("control");  // the key or range option pressed
        QTest::addColumn<QStringList>("commands");
        QTest::addColumn<QString>("range"); // the range field afterwards
        const QStringList acv = sent(":CONF:VOLT:AC 0", 2), aca = sent(":CONF:CURR:AC 0", 2);
        const QStringList frequency{"CONF:SFR", kFunc};
        const QString none;
        // clang-format off
        QTest::newRow("DCV") << none << "cmdDCV" << sent(":CONF:VOLT:DC 0", 2) << "0";
        QTest::newRow("ACV") << none << "cmdACV" << acv << "0";
        QTest::newRow("ACDCV") << none << "cmdACDC_Vol" << sent(":CONF:VOLT:ACDC 0", 2) << "0";
        QTest::newRow("ACV Feq") << none << "cmdACVFeq" << acv + frequency << "0";
        QTest::newRow("Ripple sends nothing") << none << "cmdRipple" << QStringList{} << "0";
        QTest::newRow("Diode") << none << "cmdDIODE" << sent(":CONF:DIOD ", 1) << "0";
        QTest::newRow("DCA") << none << "cmdDCA" << sent(":CONF:CURR:DC 0", 2) << "0";
        QTest::newRow("ACA") << none << "cmdACA" << aca << "0";
        QTest::newRow("ACDCA") << none << "cmdACDC_Cur" << sent(":CONF:CURR:ACDC 0", 2) << "0";
        QTest::newRow("ACA Feq") << none << "cmdACA_Frq" << aca + frequency << "0";
        QTest::newRow("Ohm") << none << "cmdOhm" << sent(":CONF:RES 0", 1) << "0";
        QTest::newRow("Capacitance") << none << "cmdCapacitance" << sent(":CONF:CAP 0", 1) << "0";
        QTest::newRow("Continuity keeps the range field") << none << "cmdContinue" << sent(":CONF:CONT", 1)
                                                          << "unchanged";
        // A range option sends its group's active function again, with the option's range, or sends nothing.
        QTest::newRow("500V in AC+DC") << "cmdACDC_Vol" << "OptVolSetting_3" << sent(":CONF:VOLT:ACDC 500", 2)
                                       << "500";
        QTest::newRow("5 V in ACA Feq") << "cmdACA_Frq" << "OptVolSetting_1" << aca + frequency << "0";
        QTest::newRow("50V in Ripple") << "cmdRipple" << "OptVolSetting_2" << QStringList{} << "50";
        QTest::newRow("50mA, no current function") << none << "OptCurSetting_2" << QStringList{} << "50";
        // Every option, with the plain function of its group active; range 0 is "Auto".
        const struct {
            const char *prefix, *setupKey, *command;
            int functionQueries;
            QStringList ranges;
        } groups[] = {
            {"OptVolSetting", "cmdDCV", ":CONF:VOLT:DC ", 2, {"0.5", "5", "50", "500", "1200", "0"}},
            {"OptCurSetting", "cmdDCA", ":CONF:CURR:DC ", 2, {"0.5", "5", "50", "500", "2000", "20000", "0"}},
            {"optkOhm", "", ":CONF:RES ", 1, {"0", "0.5", "5", "50", "500", "5000", "20000"}},
            {"optCapacity", "", ":CONF:CAP ", 1, {"0", "5", "50", "500", "5000", "50000"}},
        };
        // clang-format on
        for (const auto& g : groups) {
            for (int i = 0; i < g.ranges.size(); ++i) {
                const QString option = QStringLiteral("%1_%2").arg(QLatin1String(g.prefix)).arg(i);
                QTest::newRow(qPrintable(option))
                    << g.setupKey << option << sent(g.command + g.ranges[i], g.functionQueries)
                    << g.ranges[i];
            }
        }
    }

    void controlsSendTheirCommands() {
        QFETCH(QString, setupKey);
        QFETCH(QString, control);
        SimPanel f(m_sim);
        auto* button = f.panel->findChild<QAbstractButton*>(control);
        // Ranges start automatic: each group shows its "Auto" option chosen.
        if (qobject_cast<QRadioButton*>(button))
            QCOMPARE(button->isChecked(), button->text() == QLatin1String("Auto"));
        f.linkAndPress(setupKey);
        f.state.range = QStringLiteral("unchanged");
        const int from = f.logged();
        button->click();
        QTEST(f.commandsSince(from), "commands");
        QTEST(f.state.range, "range");
    }

    void modeKeysCycle_data() {
        QTest::addColumn<QString>("setupKey");
        QTest::addColumn<QString>("keyName");
        QTest::addColumn<QStringList>("commands"); // one entry per press, '|' between several commands
        QTest::addColumn<QStringList>("mathTexts");
        // clang-format off
        QTest::newRow("Hold") << "" << "cmdHold" << QStringList{":CALC:HOLD 1", ":CALC:HOLD 2", ":CALC:HOLD 0"}
                              << QStringList{"HOLD", "AutoHold", ""};
        QTest::newRow("Max/Min") << "" << "cmdMaxMin"
                                 << QStringList{":CALC:MAX 1", ":CALC:MIN 1", ":CALC:MAX 1", ":CALC:MIN 1"}
                                 << QStringList{"MAX", "MIN", "MAX", "MIN"};
        QTest::newRow("Rel") << "" << "cmdREL" << QStringList{":CALC:REL:STAT 1"} << QStringList{""};
        QTest::newRow("Comp") << "" << "cmdComp" << QStringList{":CALC:LIMI:STAT 1"} << QStringList{""};
        QTest::newRow("dbm in volts") << "cmdDCV" << "cmdDBM" << QStringList{":CALC:SDBM:STAT 1|:CALC:SDBM:REF?"}
                                      << QStringList{""};
        QTest::newRow("dbm in current does nothing") << "cmdACA" << "cmdDBM" << QStringList{""} << QStringList{""};
        // clang-format on
    }

    void modeKeysCycle() {
        QFETCH(QString, setupKey);
        QFETCH(QString, keyName);
        QFETCH(QStringList, commands);
        QFETCH(QStringList, mathTexts);
        SimPanel f(m_sim);
        f.linkAndPress(setupKey);
        for (int press = 0; press < commands.size(); ++press) {
            const int from = f.logged();
            f.key(keyName)->click();
            QCOMPARE(f.commandsSince(from), commands[press].split(QLatin1Char('|'), Qt::SkipEmptyParts));
            QCOMPARE(f.state.math, mathTexts[press]);
        }
        // The dBm indicator comes on with the reference the meter reported.
        const bool dbmOn = keyName == QLatin1String("cmdDBM") && !commands.first().isEmpty();
        QCOMPARE(f.state.dbmActive, dbmOn);
        QCOMPARE(!f.state.refOhm.isEmpty(), dbmOn);
    }

    // A meter that answers nothing, or nothing that is a number: the reading goes on as 0, marked.
    void readingsWithoutAReplyAreMarked_data() {
        QTest::addColumn<QString>("fault");
        QTest::newRow("answers") << "";
        QTest::newRow("garbage") << "--garbage";
        QTest::newRow("silent") << "--no-reply";
    }

    void readingsWithoutAReplyAreMarked() {
        QFETCH(QString, fault);
        SimProcess sim(QStringList{"--pty", "--seed", "3"} + QStringList(fault).filter("-"));
        QVERIFY(sim.start());
        SimPanel f(sim);
        f.linkAndPress("");
        f.panel->onTimer2Tick();
        f.settle();
        QCOMPARE(f.table.appended, 1);
        QCOMPARE(f.graph.noReply, !fault.isEmpty());
        QCOMPARE(f.table.primary == 0.0, !fault.isEmpty());
        // A silent meter is DEAD, and the state panel says why.
        const bool silent = fault == QLatin1String("--no-reply");
        QCOMPARE(f.state.conn, silent ? QStringLiteral("DEAD") : QStringLiteral("LIVE"));
        QCOMPARE(f.state.connProblem.startsWith(QLatin1String("The meter does not answer: ")), silent);
    }

    // The secondary display carries the unit of the function; the current-plus-
    // frequency key writes the function's name there instead, deliberately.
    void secondaryDisplayShowsItsUnit_data() {
        QTest::addColumn<QString>("keyName");
        QTest::addColumn<QString>("format");
        QTest::newRow("DCV has none") << "cmdDCV"
                                      << ".##0 \"\"";
        QTest::newRow("ACV Feq") << "cmdACVFeq"
                                 << ".##0 \"kHz\"";
        QTest::newRow("ACA Feq") << "cmdACA_Frq"
                                 << ".#0 \"ACA + Frequence\"";
    }

    void secondaryDisplayShowsItsUnit() {
        QFETCH(QString, keyName);
        SimPanel f(m_sim);
        f.linkAndPress(keyName);
        QTEST(f.digital.secondaryFormatText, "format");
    }

    // A meter that never answers holds each exchange for the whole timeout; on the
    // meter thread a key and a tick come back at once and finish later, in order.
    void silentMeterNeverHoldsUpThePanel() {
        if (!onMeterThread())
            QSKIP("exchanges run on the meter thread only in the program's own set-up");
        SimProcess sim({"--pty", "--no-reply"});
        QVERIFY(sim.start());
        SimPanel f(sim);
        f.linkAndPress("");
        const int from = f.logged();
        f.key("cmdDCV")->click();
        f.panel->onTimer2Tick();
        QVERIFY(kvx::meterThread().pending() > 0);
        QCOMPARE(f.table.appended, 0);
        f.panel->onTimer2Tick(); // the first tick's reading is still on its way: skipped
        f.settle();
        QCOMPARE(f.table.appended, 1);
        QVERIFY(f.graph.noReply);
        QCOMPARE(f.state.range, QStringLiteral("0"));
        // The key's commands went out before the tick's reading.
        const QStringList sentAfter = f.commandsSince(from);
        QCOMPARE(sentAfter.mid(0, 3), sent(":CONF:VOLT:DC 0", 2));
        QCOMPARE(sentAfter.count(":READ?"), 1);
    }

private:
    SimProcess m_sim{{QStringLiteral("--pty"), QStringLiteral("--seed"), QStringLiteral("5")}};
};

QTEST_MAIN(PanelSimTest)
#include "tst_panelsim.moc"
