// The state panel against the driver's command log and small stand-ins for the
// dial and the graph. No link is configured, so every command the panel sends
// leaves a stop line "Execute Stop: [<command>]..." in the log.

#include "Forms.h"
#include "Services.h"
#include "Session.h"
#include "UpDown.h"
#include "clsKVX5310.h"
#include "frmState.h"

#include <QLineEdit>
#include <QRegularExpression>
#include <QTest>
#include <QToolButton>

using namespace kvx;

namespace {

// Every call the two views receive, in order, as "who.what(argument)".
QStringList calls;

class FakeAnalog final : public AnalogMeter {
public:
    void setValueText(const QString&) override {}
    QString valueText() const override { return {}; }
    void setLimHighText(const QString& t) override { calls << "analog.LimHigh(" + t + ")"; }
    void setLimLowText(const QString& t) override { calls << "analog.LimLow(" + t + ")"; }
    void setRelText(const QString& t) override { calls << "analog.Rel(" + t + ")"; }
    void ChooseMeterScale(double peak) override { calls << "analog.Scale(" + QString::number(peak) + ")"; }
    void ResetMeter() override {}
    void unitChanged(const QString& unit) override { calls << "analog.Unit(" + unit + ")"; }
};

class FakeGraph final : public GraphRecord {
public:
    void setValueText(const QString&) override {}
    QString valueText() const override { return {}; }
    void setLimHighText(const QString& t) override { calls << "graph.LimHigh(" + t + ")"; }
    void setLimLowText(const QString& t) override { calls << "graph.LimLow(" + t + ")"; }
    void setRelText(const QString& t) override { calls << "graph.Rel(" + t + ")"; }
    void ReDraw() override {}
    void Redraw1() override {}
    void ClearGraph() override {}
    void ShowGraph() override {}
    double GetRandomValue() override { return 0; }
    void ScaleYAxis(double peak) override { calls << "graph.Scale(" + QString::number(peak) + ")"; }
    void setLiveTrace(bool) override {}
    QWidget* plotWidget() override { return nullptr; }
};

// The commands logged since `mark` characters of the log.
QStringList commandsSince(int mark) {
    static const QRegularExpression line(QStringLiteral("^Execute (?:Err )?Stop: \\[(.*)\\]"),
                                         QRegularExpression::MultilineOption);
    QStringList sent;
    auto it = line.globalMatch(driver().ExecLog().mid(mark));
    while (it.hasNext())
        sent << it.next().captured(1);
    return sent;
}

void click(UpDown* stepper, bool up) {
    const auto buttons = stepper->findChildren<QToolButton*>();
    QTest::mouseClick(buttons.at(up ? 0 : 1), Qt::LeftButton);
}

} // namespace

class TestState : public QObject {
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void registersAndLeaves();
    void limitEntry_data();
    void limitEntry();
    void stepByDigit_data();
    void stepByDigit();
    void referenceImpedance_data();
    void referenceImpedance();
    void meterValueIsShownNotSent();
    void rangeChange_data();
    void rangeChange();
    void relativeCopy_data();
    void relativeCopy();
    void functionSelectsDialUnit();

private:
    template <typename T> T* child(const char* name) { return m_panel->findChild<T*>(QLatin1String(name)); }

    std::shared_ptr<ScriptedMessageService> m_messages;
    FakeAnalog m_analog;
    FakeGraph m_graph;
    frmState* m_panel = nullptr;
    int m_logMark = 0;
};

void TestState::init() {
    resetSession();
    m_messages = std::make_shared<ScriptedMessageService>();
    setMessages(m_messages);
    forms().analog = &m_analog;
    forms().graph = &m_graph;
    m_panel = new frmState;
    m_panel->show();
    calls.clear();
    m_logMark = driver().ExecLog().size();
}

void TestState::cleanup() {
    delete m_panel;
    forms().analog = nullptr;
    forms().graph = nullptr;
}

void TestState::registersAndLeaves() {
    QCOMPARE(forms().state, static_cast<StatePanel*>(m_panel));
    QVERIFY(IsFormLoaded(QStringLiteral(" frmState ")));
    delete m_panel;
    m_panel = nullptr;
    QVERIFY(forms().state == nullptr);
    QVERIFY(!IsFormLoaded(QStringLiteral("frmState")));
    m_panel = new frmState; // for cleanup
}

void TestState::limitEntry_data() {
    QTest::addColumn<QString>("box");
    QTest::addColumn<QString>("range");
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QStringList>("sent");
    QTest::addColumn<QStringList>("viewCalls");
    QTest::addColumn<QString>("message");

    const QString refused500 = QStringLiteral("Input Value should between -500 and 500");
    QTest::newRow("upper inside") << "txtLimMax"
                                  << "500"
                                  << "499.9" << QStringList{":CALC:LIM:UPP 499.9"}
                                  << QStringList{"analog.LimHigh(499.9)", "graph.LimHigh(499.9)"} << "";
    QTest::newRow("upper equal to range") << "txtLimMax"
                                          << "500"
                                          << "500" << QStringList{} << QStringList{} << refused500;
    QTest::newRow("upper equal to minus range") << "txtLimMax"
                                                << "500"
                                                << "-500" << QStringList{} << QStringList{} << refused500;
    QTest::newRow("empty sends 0") << "txtLimMax"
                                   << "500"
                                   << "" << QStringList{":CALC:LIM:UPP 0"}
                                   << QStringList{"analog.LimHigh()", "graph.LimHigh()"} << "";
    QTest::newRow("lower inside") << "txtLimMin"
                                  << "500"
                                  << "-12.5" << QStringList{":CALC:LIM:LOW -12.5"}
                                  << QStringList{"analog.LimLow(-12.5)", "graph.LimLow(-12.5)"} << "";
    QTest::newRow("lower equal to minus range") << "txtLimMin"
                                                << "500"
                                                << "-500" << QStringList{} << QStringList{} << refused500;
    QTest::newRow("word ignored silently") << "txtLimMax"
                                           << "500"
                                           << "12V" << QStringList{} << QStringList{} << "";
    QTest::newRow("no range yet") << "txtLimMax"
                                  << ""
                                  << "" << QStringList{} << QStringList{}
                                  << "Input Value should between  and ";
}

void TestState::limitEntry() {
    QFETCH(QString, box);
    QFETCH(QString, range);
    QFETCH(QString, typed);
    QFETCH(QStringList, sent);
    QFETCH(QStringList, viewCalls);
    QFETCH(QString, message);

    m_panel->setRangeText(range);
    calls.clear();
    m_logMark = driver().ExecLog().size();
    auto* limit = child<QLineEdit>(box.toLatin1());
    QTest::keyClicks(limit, typed);
    QCOMPARE(commandsSince(m_logMark), QStringList{}); // typing alone sends nothing
    QTest::keyClick(limit, Qt::Key_Return);

    QCOMPARE(commandsSince(m_logMark), sent);
    QCOMPARE(calls, viewCalls);
    QCOMPARE(m_messages->texts(), message.isEmpty() ? QStringList{} : QStringList{message});
    QCOMPARE(limit->text(), typed); // a refused text stays for correcting
}

void TestState::stepByDigit_data() {
    QTest::addColumn<QString>("typed");
    QTest::addColumn<int>("caret");
    QTest::addColumn<int>("ups");
    QTest::addColumn<int>("downs");
    QTest::addColumn<QString>("shown");

    QTest::newRow("hundreds") << "1234" << 2 << 1 << 0 << "1334";
    QTest::newRow("hundreds twice keeps digit") << "1234" << 2 << 2 << 0 << "1434";
    QTest::newRow("units at the end") << "1234" << 4 << 1 << 0 << "1235";
    QTest::newRow("caret at start") << "1234" << 0 << 1 << 0 << "11234";
    QTest::newRow("down by tens") << "1234" << 3 << 0 << 3 << "1204";
    QTest::newRow("stops at upper bound") << "99000" << 1 << 1 << 0 << "100000";
    QTest::newRow("stops at lower bound") << "-99000" << 2 << 0 << 5 << "-100000";
    QTest::newRow("negative units") << "-5" << 2 << 0 << 1 << "-6";
}

void TestState::stepByDigit() {
    QFETCH(QString, typed);
    QFETCH(int, caret);
    QFETCH(int, ups);
    QFETCH(int, downs);
    QFETCH(QString, shown);

    m_panel->setRangeText(QStringLiteral("100000"));
    m_logMark = driver().ExecLog().size();
    auto* limit = child<QLineEdit>("txtLimMax");
    auto* stepper = child<UpDown>("UpDown1");
    QTest::keyClicks(limit, typed);
    limit->setCursorPosition(caret);
    for (int i = 0; i < ups; ++i)
        click(stepper, true);
    for (int i = 0; i < downs; ++i)
        click(stepper, false);

    QCOMPARE(limit->text(), shown);
    QCOMPARE(commandsSince(m_logMark), QStringList{});
}

void TestState::referenceImpedance_data() {
    QTest::addColumn<int>("index");
    QTest::addColumn<QString>("shown");

    QTest::newRow("first") << 0 << "2";
    QTest::newRow("75 ohm") << 5 << "75";
    QTest::newRow("last") << 20 << "8000";
    QTest::newRow("past the table stays at 20") << 21 << "8000";
}

void TestState::referenceImpedance() {
    QFETCH(int, index);
    QFETCH(QString, shown);

    m_panel->setDbmActive(true);
    auto* stepper = child<UpDown>("UpDown3");
    stepper->setValue(index);
    QCOMPARE(child<QLineEdit>("txtRefOhm")->text(), shown);
    QCOMPARE(commandsSince(m_logMark), QStringList{":CALC:SDBM:REF " + shown});
}

void TestState::meterValueIsShownNotSent() {
    // The front panel writes what the meter reported; typing is what sends.
    auto* box = child<QLineEdit>("txtRefOhm");
    m_panel->setDbmActive(true);
    m_panel->setRefOhmText(QStringLiteral("50"));
    QCOMPARE(box->text(), QStringLiteral("50"));
    QCOMPARE(commandsSince(m_logMark), QStringList{});
    click(child<UpDown>("UpDown3"), true); // the stepper followed to 50's place
    QCOMPARE(box->text(), QStringLiteral("75"));

    box->clear();
    m_logMark = driver().ExecLog().size();
    QTest::keyClicks(box, QStringLiteral("40000"));
    // "40000" does not fit 16 bits: the conversion fails and nothing goes out.
    QCOMPARE(commandsSince(m_logMark), (QStringList{":CALC:SDBM:REF 4", ":CALC:SDBM:REF 40",
                                                    ":CALC:SDBM:REF 400", ":CALC:SDBM:REF 4000"}));
}

void TestState::rangeChange_data() {
    QTest::addColumn<QString>("range");
    QTest::addColumn<QString>("lower");
    QTest::addColumn<QString>("fullScale");
    QTest::addColumn<int>("bound");

    QTest::newRow("500") << "500"
                         << "-500"
                         << "500" << 500;
    QTest::newRow("fraction rounds to even") << "2.5"
                                             << "-2.5"
                                             << "2.5" << 2;
    QTest::newRow("small range") << "0.5"
                                 << "-0.5"
                                 << "0.5" << 0;
    QTest::newRow("1000") << "1000"
                          << "-1000"
                          << "1000" << 1000;
}

void TestState::rangeChange() {
    QFETCH(QString, range);
    QFETCH(QString, lower);
    QFETCH(QString, fullScale);
    QFETCH(int, bound);

    m_panel->setRangeText(range);
    QCOMPARE(child<QLineEdit>("txtRange1")->text(), lower);
    QCOMPARE(m_panel->rangeText(), range);
    QCOMPARE(calls, (QStringList{"analog.Scale(" + fullScale + ")", "graph.Scale(" + fullScale + ")"}));
    for (const char* name : {"UpDown1", "UpDown2"}) {
        QCOMPARE(child<UpDown>(name)->maximum(), bound);
        QCOMPARE(child<UpDown>(name)->minimum(), -bound);
    }
}

void TestState::relativeCopy_data() {
    QTest::addColumn<QString>("rel");
    QTest::addColumn<bool>("copied");

    QTest::newRow("inside") << "499" << true;
    QTest::newRow("negative inside") << "-499.99" << true;
    QTest::newRow("equal to range") << "500" << false;
    QTest::newRow("equal to minus range") << "-500" << false;
    QTest::newRow("outside") << "750" << false;
}

void TestState::relativeCopy() {
    QFETCH(QString, rel);
    QFETCH(bool, copied);

    m_panel->setRangeText(QStringLiteral("500"));
    calls.clear();
    m_panel->setRelText(rel);
    const QStringList expected =
        copied ? QStringList{"analog.Rel(" + rel + ")", "graph.Rel(" + rel + ")"} : QStringList{};
    QCOMPARE(calls, expected);
    QCOMPARE(m_messages->texts(), QStringList{});
    QCOMPARE(commandsSince(m_logMark), QStringList{});
}

void TestState::functionSelectsDialUnit() {
    m_panel->setFunctionText(QStringLiteral("VOLT"));
    QCOMPARE(calls, QStringList{"analog.Unit(" + driver().sUnitPrimary() + ")"});
    m_panel->setUnitText(QStringLiteral("kohm"));
    QCOMPARE(child<QLineEdit>("txtUnit")->text(), QStringLiteral("k\u03A9"));
}

QTEST_MAIN(TestState)
#include "tst_state.moc"
