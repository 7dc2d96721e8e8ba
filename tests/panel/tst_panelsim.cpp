// The front panel against the simulated meter on a pseudo-terminal: the exact
// commands each key sends (read back from the simulator's log), the restore of
// the saved function, the link mark, quitting, and a trace across a dropped link.

#include "PanelFixture.h"
#include "SimProcess.h"

#include "OperationRecord.h"

#include <QFile>
#include <QGroupBox>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

using namespace paneltest;
using kvx::test::SimProcess;

namespace {

// A panel linked to a simulator through the --link override, as `kvx5130 --link` does.
struct SimPanel : PanelFixture {
    explicit SimPanel(SimProcess& sim) : sim(sim) {
        kvx::session().linkOverride = QStringLiteral("serial:") + sim.where();
    }
    // Commands the simulator received from `from` on, up to a marker query that
    // the test itself sends, so that nothing sent before it can still be on its way.
    QStringList commandsSince(int from) {
        kvx::driver().IDN();
        QStringList all;
        for (int i = 0; i < 100 && !all.contains(QStringLiteral("*IDN?")); ++i) {
            sim.waitForLoggedCommands(from + 1);
            all = sim.loggedCommands().mid(from);
        }
        all.removeLast();
        return all;
    }
    int logged() const { return static_cast<int>(sim.loggedCommands().size()); }

    SimProcess& sim;
};

const QString kFunc = QStringLiteral(":CONF:FUNC?");

} // namespace

class PanelSimTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void functionKeysSendTheirCommands_data();
    void functionKeysSendTheirCommands();
    void rangeOptionsResendTheActiveFunction_data();
    void rangeOptionsResendTheActiveFunction();
    void modeKeysCycle_data();
    void modeKeysCycle();
    void firstActivationRestoresSavedFunction_data();
    void firstActivationRestoresSavedFunction();
    void linkMarkFollowsTheMetersAnswer_data();
    void linkMarkFollowsTheMetersAnswer();
    void quitWritesOperationFileAndLog_data();
    void quitWritesOperationFileAndLog();
    void traceReadsOncePerTick_data();
    void traceReadsOncePerTick();
    void droppedLinkDuringTraceRecovers();

private:
    SimProcess m_sim{{QStringLiteral("--pty"), QStringLiteral("--seed"), QStringLiteral("5")}};
};

void PanelSimTest::initTestCase() {
    QString error;
    QVERIFY2(m_sim.start(&error), qPrintable(error));
}

void PanelSimTest::functionKeysSendTheirCommands_data() {
    QTest::addColumn<QString>("keyName");
    QTest::addColumn<QStringList>("commands");
    QTest::addColumn<QString>("range");
    const QString none;
    QTest::newRow("DCV") << "cmdDCV" << QStringList{":CONF:VOLT:DC 0", kFunc, kFunc} << "0";
    QTest::newRow("ACV") << "cmdACV" << QStringList{":CONF:VOLT:AC 0", kFunc, kFunc} << "0";
    QTest::newRow("ACDCV") << "cmdACDC_Vol" << QStringList{":CONF:VOLT:ACDC 0", kFunc, kFunc} << "0";
    QTest::newRow("ACV Feq") << "cmdACVFeq" << QStringList{":CONF:VOLT:AC 0", kFunc, kFunc, "CONF:SFR", kFunc}
                             << "0";
    QTest::newRow("Ripple sends nothing") << "cmdRipple" << QStringList{} << "0";
    QTest::newRow("Diode") << "cmdDIODE" << QStringList{":CONF:DIOD ", kFunc} << "0";
    QTest::newRow("DCA") << "cmdDCA" << QStringList{":CONF:CURR:DC 0", kFunc, kFunc} << "0";
    QTest::newRow("ACA") << "cmdACA" << QStringList{":CONF:CURR:AC 0", kFunc, kFunc} << "0";
    QTest::newRow("ACDCA") << "cmdACDC_Cur" << QStringList{":CONF:CURR:ACDC 0", kFunc, kFunc} << "0";
    QTest::newRow("ACA Feq") << "cmdACA_Frq"
                             << QStringList{":CONF:CURR:AC 0", kFunc, kFunc, "CONF:SFR", kFunc} << "0";
    QTest::newRow("Ohm") << "cmdOhm" << QStringList{":CONF:RES 0", kFunc} << "0";
    QTest::newRow("Capacitance") << "cmdCapacitance" << QStringList{":CONF:CAP 0", kFunc} << "0";
    QTest::newRow("Continuity keeps the range field")
        << "cmdContinue" << QStringList{":CONF:CONT", kFunc} << "unchanged";
}

void PanelSimTest::functionKeysSendTheirCommands() {
    QFETCH(QString, keyName);
    QFETCH(QStringList, commands);
    QFETCH(QString, range);
    SimPanel f(m_sim);
    f.panel->RestoreSetting();
    f.views.state.range = QStringLiteral("unchanged");
    const int from = f.logged();
    f.panel->findChild<QPushButton*>(keyName)->click();
    QCOMPARE(f.commandsSince(from), commands);
    QCOMPARE(f.views.state.range, range);
}

void PanelSimTest::rangeOptionsResendTheActiveFunction_data() {
    QTest::addColumn<QString>("setupKey");
    QTest::addColumn<QString>("option");
    QTest::addColumn<QStringList>("commands");
    QTest::addColumn<QString>("range");
    QTest::addColumn<QString>("voltageTag");
    const QStringList acaFreq{":CONF:CURR:AC 0", kFunc, kFunc, "CONF:SFR", kFunc};
    QTest::newRow("500V in AC+DC") << "cmdACDC_Vol"
                                   << "OptVolSetting_3" << QStringList{":CONF:VOLT:ACDC 500", kFunc, kFunc}
                                   << "500"
                                   << "ACDCV";
    QTest::newRow("0.5V in DC") << "cmdDCV"
                                << "OptVolSetting_0" << QStringList{":CONF:VOLT:DC 0.5", kFunc, kFunc}
                                << "0.5"
                                << "DCV";
    QTest::newRow("voltage option in ACA Feq") << "cmdACA_Frq"
                                               << "OptVolSetting_1" << acaFreq << "0"
                                               << "ACAFREQ";
    QTest::newRow("voltage option in Ripple") << "cmdRipple"
                                              << "OptVolSetting_2" << QStringList{} << "50"
                                              << "RIPPLE";
    QTest::newRow("current option, no current function") << ""
                                                         << "OptCurSetting_2" << QStringList{} << "50"
                                                         << "";
    QTest::newRow("20000mA in DCA") << "cmdDCA"
                                    << "OptCurSetting_5" << QStringList{":CONF:CURR:DC 20000", kFunc, kFunc}
                                    << "20000"
                                    << "";
    QTest::newRow("ohm Auto") << ""
                              << "optkOhm_0" << QStringList{":CONF:RES 0", kFunc} << "0"
                              << "";
    QTest::newRow("5000kOhm") << ""
                              << "optkOhm_5" << QStringList{":CONF:RES 5000", kFunc} << "5000"
                              << "";
    QTest::newRow("50000 nF") << ""
                              << "optCapacity_5" << QStringList{":CONF:CAP 50000", kFunc} << "50000"
                              << "";
}

void PanelSimTest::rangeOptionsResendTheActiveFunction() {
    QFETCH(QString, setupKey);
    QFETCH(QString, option);
    QFETCH(QStringList, commands);
    QFETCH(QString, range);
    QFETCH(QString, voltageTag);
    SimPanel f(m_sim);
    f.panel->RestoreSetting();
    if (!setupKey.isEmpty())
        f.panel->findChild<QPushButton*>(setupKey)->click();
    const int from = f.logged();
    f.option(option)->click();
    QCOMPARE(f.commandsSince(from), commands);
    QCOMPARE(f.views.state.range, range);
    QCOMPARE(f.panel->findChild<QGroupBox*>("Frame2")->property("Tag").toString(), voltageTag);
}

void PanelSimTest::modeKeysCycle_data() {
    QTest::addColumn<QString>("setupKey");
    QTest::addColumn<QString>("keyName");
    QTest::addColumn<QStringList>("commands"); // one entry per press, blank-separated for several
    QTest::addColumn<QStringList>("mathTexts");
    QTest::newRow("Hold") << ""
                          << "cmdHold" << QStringList{":CALC:HOLD 1", ":CALC:HOLD 2", ":CALC:HOLD 0"}
                          << QStringList{"HOLD", "AutoHold", ""};
    QTest::newRow("Max/Min") << ""
                             << "cmdMaxMin"
                             << QStringList{":CALC:MAX 1", ":CALC:MIN 1", ":CALC:MAX 1", ":CALC:MIN 1"}
                             << QStringList{"MAX", "MIN", "MAX", "MIN"};
    QTest::newRow("Rel") << ""
                         << "cmdREL" << QStringList{":CALC:REL:STAT 1"} << QStringList{""};
    QTest::newRow("Comp") << ""
                          << "cmdComp" << QStringList{":CALC:LIMI:STAT 1"} << QStringList{""};
    QTest::newRow("dbm in volts") << "cmdDCV"
                                  << "cmdDBM" << QStringList{":CALC:SDBM:STAT 1|:CALC:SDBM:REF?"}
                                  << QStringList{""};
    QTest::newRow("dbm in current does nothing") << "cmdACA"
                                                 << "cmdDBM" << QStringList{""} << QStringList{""};
}

void PanelSimTest::modeKeysCycle() {
    QFETCH(QString, setupKey);
    QFETCH(QString, keyName);
    QFETCH(QStringList, commands);
    QFETCH(QStringList, mathTexts);
    SimPanel f(m_sim);
    f.panel->RestoreSetting();
    if (!setupKey.isEmpty())
        f.panel->findChild<QPushButton*>(setupKey)->click();
    for (int press = 0; press < commands.size(); ++press) {
        const int from = f.logged();
        f.panel->findChild<QPushButton*>(keyName)->click();
        const QStringList expected = commands[press].split(QLatin1Char('|'), Qt::SkipEmptyParts);
        QCOMPARE(f.commandsSince(from), expected);
        QCOMPARE(f.views.state.math, mathTexts[press]);
    }
    if (keyName == QLatin1String("cmdDBM") && !commands.first().isEmpty()) {
        QVERIFY(f.views.state.dbmActive);
        QVERIFY(!f.views.state.refOhm.isEmpty());
    }
}

void PanelSimTest::firstActivationRestoresSavedFunction_data() {
    QTest::addColumn<QString>("saved");
    QTest::addColumn<bool>("linkUp");
    QTest::addColumn<QString>("keyName");
    QTest::newRow("Hz+ACV") << "Hz+ACV" << true << "cmdACVFeq";
    QTest::newRow("ACV + Frequence") << "ACV + Frequence" << true << "cmdACVFeq";
    QTest::newRow("lower case") << "hz+acv" << true << "cmdDCV";
    QTest::newRow("Resitance") << "Resitance " << true << "cmdOhm";
    QTest::newRow("blank") << "          " << true << "cmdDCV";
    QTest::newRow("not Ready") << "AC Voltage" << false << "cmdDCV";
}

void PanelSimTest::firstActivationRestoresSavedFunction() {
    QFETCH(QString, saved);
    QFETCH(bool, linkUp);
    QFETCH(QString, keyName);
    SimPanel f(m_sim);
    if (!linkUp)
        kvx::session().linkOverride = f.folder.filePath(QStringLiteral("no-such-tty")).prepend("serial:");
    kvx::session().operation.sFunction = saved;
    f.panel->load();
    QCOMPARE(kvx::driver().Ready(), linkUp);
    QSignalSpy pressed(f.panel->findChild<QPushButton*>(keyName), &QPushButton::clicked);
    QSignalSpy dcv(f.key("cmdDCV"), &QPushButton::clicked);
    f.panel->firstActivation();
    QCOMPARE(pressed.count(), 1);
    if (keyName != QLatin1String("cmdDCV"))
        QCOMPARE(dcv.count(), 0);
    // Only the first activation restores.
    f.panel->firstActivation();
    QCOMPARE(pressed.count(), 1);
}

void PanelSimTest::linkMarkFollowsTheMetersAnswer_data() {
    QTest::addColumn<QStringList>("simArguments"); // empty: no meter at the device
    QTest::addColumn<QString>("mark");
    QTest::newRow("meter answers") << QStringList{"--pty"} << "LIVE";
    QTest::newRow("meter switched off") << QStringList{"--pty", "--no-reply"} << "DEAD";
    QTest::newRow("no device") << QStringList{} << "DEAD";
}

void PanelSimTest::linkMarkFollowsTheMetersAnswer() {
    QFETCH(QStringList, simArguments);
    QFETCH(QString, mark);
    SimProcess sim(simArguments);
    if (!simArguments.isEmpty())
        QVERIFY(sim.start());
    PanelFixture f;
    kvx::driver().CWSerial1().setTimeoutMs(200);
    kvx::session().linkOverride =
        QStringLiteral("serial:") + (simArguments.isEmpty() ? f.folder.filePath("no-such-tty") : sim.where());
    f.panel->load();
    QCOMPARE(f.views.state.conn, mark);
    QVERIFY(kvx::driver().SESR_PON());
}

void PanelSimTest::quitWritesOperationFileAndLog_data() {
    QTest::addColumn<bool>("logCommands");
    QTest::newRow("log on") << true;
    QTest::newRow("log off") << false;
}

void PanelSimTest::quitWritesOperationFileAndLog() {
    QFETCH(bool, logCommands);
    SimPanel f(m_sim);
    kvx::session().logCommands = logCommands;
    const QString logPath = kvx::session().pathInFolder(kvx::kCommandLogFile);
    QFile stale(logPath);
    QVERIFY(stale.open(QIODevice::WriteOnly));
    stale.write("stale\r\n");
    stale.close();

    f.panel->load();
    f.key("cmdACV")->click();
    kvx::session().operation.totalTime = QStringLiteral("12");
    f.key("cmdQuit")->click();
    QVERIFY(f.exited);

    kvx::OperationRecord saved;
    QCOMPARE(kvx::OperationFile::load(kvx::session().pathInFolder(kvx::kOperationFile), saved),
             kvx::LoadResult::Loaded);
    QCOMPARE(saved.sFunction, QStringLiteral("AC Voltage"));
    QCOMPARE(saved.totalTime.trimmed(), QStringLiteral("12"));

    QFile log(logPath);
    QVERIFY(log.open(QIODevice::ReadOnly));
    const QByteArray text = log.readAll();
    if (logCommands) {
        QVERIFY(!text.contains("stale"));
        QVERIFY(text.contains("Execute Start: [:CONF:VOLT:AC 0]"));
        QVERIFY(text.endsWith("\r\n"));
    } else {
        QCOMPARE(text, QByteArray("stale\r\n"));
    }
    // The driver was released: a new one has no link until told.
    QVERIFY(!kvx::driver().Ready());
}

void PanelSimTest::traceReadsOncePerTick_data() {
    QTest::addColumn<QString>("keyName");
    QTest::addColumn<QStringList>("perTick");
    QTest::addColumn<bool>("dual");
    QTest::newRow("single display") << "cmdDCV" << QStringList{":READ?", ":VALUE?"} << false;
    QTest::newRow("with frequency") << "cmdACVFeq" << QStringList{":READ?"} << true;
}

void PanelSimTest::traceReadsOncePerTick() {
    QFETCH(QString, keyName);
    QFETCH(QStringList, perTick);
    QFETCH(bool, dual);
    SimPanel f(m_sim);
    f.panel->load();
    QCOMPARE(f.views.state.conn, QStringLiteral("LIVE"));
    f.panel->findChild<QPushButton*>(keyName)->click();
    f.key("cmdStart")->click();
    const int from = f.logged();
    constexpr int ticks = 3;
    for (int i = 0; i < ticks; ++i) {
        f.clock->advance(1);
        f.panel->onTimer2Tick();
        QVERIFY(f.views.digital.primary != 0.0);
        QCOMPARE(f.views.digital.secondary != 0.0, dual);
        QCOMPARE(f.views.table.primary, f.views.digital.primary);
    }
    QStringList expected;
    for (int i = 0; i < ticks; ++i)
        expected += perTick;
    QCOMPARE(f.commandsSince(from), expected);
    QCOMPARE(f.views.table.appended, ticks);
}

void PanelSimTest::droppedLinkDuringTraceRecovers() {
    // The meter's cable falls out after a few commands and is back 300 ms later,
    // at the same device name.
    QTemporaryDir linkFolder;
    SimProcess flaky(
        {"--pty", "--pty-link", linkFolder.filePath("meter"), "--drop-after", "12", "--down-ms", "300"});
    QString error;
    QVERIFY2(flaky.start(&error), qPrintable(error));
    SimPanel f(flaky);
    kvx::driver().CWSerial1().setTimeoutMs(200);
    f.panel->load();
    f.key("cmdDCV")->click();
    f.key("cmdStart")->click();
    QCOMPARE(f.views.state.conn, QStringLiteral("LIVE"));

    int ticks = 0;
    const auto tick = [&] {
        f.clock->advance(1);
        f.panel->onTimer2Tick();
        ++ticks;
    };
    while (f.views.state.conn == QLatin1String("LIVE") && ticks < 20)
        tick();
    QCOMPARE(f.views.state.conn, QStringLiteral("DEAD"));
    QCOMPARE(f.views.digital.primary, 0.0);
    QVERIFY(f.panel->timer2()->isActive());

    // Ticks go on while the meter is away; readings come back with it.
    QTRY_VERIFY_WITH_TIMEOUT((tick(), f.views.state.conn == QLatin1String("LIVE")), 10000);
    QVERIFY(f.views.digital.primary != 0.0);
    QVERIFY(f.panel->timer2()->isActive());
    QVERIFY(f.messages->shown().empty());
}

QTEST_MAIN(PanelSimTest)
#include "tst_panelsim.moc"
