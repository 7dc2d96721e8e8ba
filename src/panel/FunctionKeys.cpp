// The function keys, the range groups and the mode keys of the front panel.
// Each function key sends its function command with the range chosen in its
// group; a range option re-sends the active function of its group, so a range
// change always travels as a new function command.

#include "clsKVX5310.h"
#include "frmKVX5130.h"

#include "ValueRules.h"

#include <QGroupBox>
#include <QPushButton>
#include <QRadioButton>
#include <QStackedWidget>

namespace kvx {

using panel::RangeGroup;

namespace {

StatePanel* statePanel() {
    return forms().state;
}

} // namespace

// --- Steps shared by the function keys ---

void frmKVX5130::beginFunction(QGroupBox* frame) {
    // A new function must not inherit the old one's number format.
    resetLargestMagnitude();
    if (frame)
        m_rangeStack->setCurrentWidget(frame);
}

QString frmKVX5130::showFunction() {
    const QString function = driver().Func();
    if (StatePanel* state = statePanel())
        state->setFunctionText(function);
    SetPrimaryFormat();
    if (DigitalScreen* screen = forms().digital)
        screen->setSecondaryFormat(panel::secondaryFormatText(driver().sUnitSecond()));
    return function;
}

void frmKVX5130::setVoltageOptionsSelectable(std::initializer_list<int> indexes, bool selectable) {
    for (int index : indexes) {
        if (auto* option = findChild<QRadioButton*>(QStringLiteral("OptVolSetting_%1").arg(index)))
            option->setEnabled(selectable);
    }
}

void frmKVX5130::setFrameTag(QGroupBox* frame, const QString& tag) {
    if (frame == m_frame2)
        m_voltageTag = tag;
    else if (frame == m_frame3)
        m_currentTag = tag;
    frame->setProperty("Tag", tag);
}

void frmKVX5130::showRange(double range) {
    if (StatePanel* state = statePanel())
        state->setRangeText(numberToText(range));
}

// --- Voltage keys ---

void frmKVX5130::onDCV() {
    beginFunction(m_frame2);
    driver().VoltageDC(rangeOf(RangeGroup::Voltage));
    showFunction();
    setVoltageOptionsSelectable({4, 3, 0}, true);
    setFrameTag(m_frame2, QStringLiteral("DCV"));
    showRange(rangeOf(RangeGroup::Voltage));
}

void frmKVX5130::onACV() {
    beginFunction(m_frame2);
    driver().VoltageAC(rangeOf(RangeGroup::Voltage));
    showFunction();
    setVoltageOptionsSelectable({4, 3, 0}, true);
    setFrameTag(m_frame2, QStringLiteral("ACV"));
    showRange(rangeOf(RangeGroup::Voltage));
}

void frmKVX5130::onACDC_Vol() {
    beginFunction(m_frame2);
    driver().VoltageACDC(rangeOf(RangeGroup::Voltage));
    showFunction();
    setVoltageOptionsSelectable({4, 3, 0}, true);
    setFrameTag(m_frame2, QStringLiteral("ACDCV"));
    showRange(rangeOf(RangeGroup::Voltage));
}

void frmKVX5130::onACVFeq() {
    beginFunction(m_frame2);
    key(QStringLiteral("cmdACV"))->click();
    driver().SFR();
    showFunction();
    // The frequency display does not cover the lowest and the two highest voltage ranges.
    setVoltageOptionsSelectable({4, 0, 3}, false);
    setFrameTag(m_frame2, QStringLiteral("ACVFREQ"));
    showRange(rangeOf(RangeGroup::Voltage));
}

void frmKVX5130::onRipple() {
    // The meter keeps its present function: only the panel changes, and nothing is sent.
    beginFunction(m_frame2);
    if (StatePanel* state = statePanel())
        state->setFunctionText(QStringLiteral("Ripple"));
    SetPrimaryFormat();
    setVoltageOptionsSelectable({4, 3, 0}, false);
    setFrameTag(m_frame2, QStringLiteral("RIPPLE"));
    showRange(rangeOf(RangeGroup::Voltage));
}

void frmKVX5130::onDIODE() {
    beginFunction(m_frame2);
    driver().Diode();
    showFunction();
    setFrameTag(m_frame2, QStringLiteral("DIODE"));
    showRange(rangeOf(RangeGroup::Voltage));
}

// --- Current keys ---

void frmKVX5130::onDCA() {
    beginFunction(m_frame3);
    driver().CurrentDC(rangeOf(RangeGroup::Current));
    showFunction();
    setFrameTag(m_frame3, QStringLiteral("DCA"));
    showRange(rangeOf(RangeGroup::Current));
}

void frmKVX5130::onACA() {
    beginFunction(m_frame3);
    driver().CurrentAC(rangeOf(RangeGroup::Current));
    showFunction();
    setFrameTag(m_frame3, QStringLiteral("ACA"));
    showRange(rangeOf(RangeGroup::Current));
}

void frmKVX5130::onACDC_Cur() {
    beginFunction(m_frame3);
    driver().CurrentACDC(rangeOf(RangeGroup::Current));
    showFunction();
    setFrameTag(m_frame3, QStringLiteral("ACDCA"));
    showRange(rangeOf(RangeGroup::Current));
}

void frmKVX5130::onACA_Frq() {
    // Its tag lives in the voltage frame, so a voltage option re-runs this key; the
    // current key it presses leaves the current frame in front.
    beginFunction(m_frame2);
    key(QStringLiteral("cmdACA"))->click();
    driver().SFR();
    const QString function = showFunction();
    setVoltageOptionsSelectable({4}, false);
    setFrameTag(m_frame2, QStringLiteral("ACAFREQ"));
    showRange(rangeOf(RangeGroup::Current));
    if (DigitalScreen* screen = forms().digital)
        screen->setSecondaryFormat(QStringLiteral(".#0 \"") + function + QLatin1Char('"'));
}

// --- Resistance, capacitance, continuity ---

void frmKVX5130::onOhm() {
    beginFunction(m_frame4);
    driver().Resitance(rangeOf(RangeGroup::Resistance));
    showFunction();
    showRange(rangeOf(RangeGroup::Resistance));
}

void frmKVX5130::onCapacitance() {
    beginFunction(m_frame5);
    driver().Capacitance(rangeOf(RangeGroup::Capacitance));
    showFunction();
    showRange(rangeOf(RangeGroup::Capacitance));
}

void frmKVX5130::onContinue() {
    // Continuity has no range group: the range field keeps what it shows.
    beginFunction(nullptr);
    driver().Continuity();
    showFunction();
}

// --- Range groups ---

void frmKVX5130::onRangeOption(RangeGroup group, int index) {
    const double range = panel::rangeValue(group, index);
    m_range[groupIndex(group)] = range;
    showRange(range);
    switch (group) {
    case RangeGroup::Voltage:
        rerunVoltageFunction();
        break;
    case RangeGroup::Current:
        rerunCurrentFunction();
        break;
    case RangeGroup::Resistance:
        key(QStringLiteral("cmdOhm"))->click();
        break;
    case RangeGroup::Capacitance:
        key(QStringLiteral("cmdCapacitance"))->click();
        break;
    }
}

void frmKVX5130::rerunVoltageFunction() {
    static const std::vector<std::pair<QString, QString>> keyByTag{
        {QStringLiteral("ACAFREQ"), QStringLiteral("cmdACA_Frq")},
        {QStringLiteral("ACDCV"), QStringLiteral("cmdACDC_Vol")},
        {QStringLiteral("ACV"), QStringLiteral("cmdACV")},
        {QStringLiteral("ACVFREQ"), QStringLiteral("cmdACVFeq")},
        {QStringLiteral("DIODE"), QStringLiteral("cmdDIODE")},
        {QStringLiteral("RIPPLE"), QStringLiteral("cmdRipple")},
        {QStringLiteral("DCV"), QStringLiteral("cmdDCV")},
    };
    for (const auto& [tag, keyName] : keyByTag) {
        if (m_voltageTag == tag) {
            key(keyName)->click();
            return;
        }
    }
}

void frmKVX5130::rerunCurrentFunction() {
    if (m_currentTag == QLatin1String("ACA"))
        key(QStringLiteral("cmdACA"))->click();
    else if (m_currentTag == QLatin1String("ACDCA"))
        key(QStringLiteral("cmdACDC_Cur"))->click();
    else if (m_currentTag == QLatin1String("DCA"))
        key(QStringLiteral("cmdDCA"))->click();
}

// --- Mode keys ---

void frmKVX5130::onHold() {
    StatePanel* state = statePanel();
    const QString mode = state ? trimBlanks(state->mathText()) : QString();
    QString next;
    if (mode.isEmpty()) {
        driver().setHold(true);
        next = QStringLiteral("HOLD");
    } else if (mode == QLatin1String("HOLD")) {
        driver().AutoHold();
        next = QStringLiteral("AutoHold");
    } else {
        driver().setHold(false);
    }
    if (state)
        state->setMathText(next);
}

void frmKVX5130::onMaxMin() {
    // After the first press the key only alternates MAX and MIN; choosing a
    // function again is what ends max/min.
    StatePanel* state = statePanel();
    const QString mode = state ? trimBlanks(state->mathText()) : QString();
    QString next;
    if (mode == QLatin1String("MAX")) {
        driver().setMinMode(true);
        next = QStringLiteral("MIN");
    } else {
        driver().setMaxMode(true);
        next = QStringLiteral("MAX");
    }
    if (state)
        state->setMathText(next);
}

void frmKVX5130::onREL() {
    driver().setRelState(true);
}

void frmKVX5130::onComp() {
    driver().setLimitState(true);
}

void frmKVX5130::onDBM() {
    if (driver().sUnitPrimary() != QLatin1String("V"))
        return;
    StatePanel* state = statePanel();
    if (driver().SDBMState()) {
        driver().setSDBMState(false);
        if (state)
            state->setDbmActive(false);
        return;
    }
    driver().setSDBMState(true);
    if (state) {
        state->setDbmActive(true);
        state->setRefOhmText(QString::number(driver().SDBMRef()));
    }
}

} // namespace kvx
