// The function keys, the range groups and the mode keys of the front panel.
// Each function key sends its function command with the range chosen in its
// group; a range option re-sends the active function of its group, so a range
// change always travels as a new function command.

#include "MeterThread.h"
#include "clsKVX5310.h"
#include "frmKVX5130.h"

#include "FunctionCalls.h"
#include "FunctionCatalogue.h"
#include "ValueRules.h"
#include "WorkingTrace.h"

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

void frmKVX5130::showFunction(const QString& function, const QString& secondUnit) {
    if (StatePanel* state = statePanel())
        state->setFunctionText(function);
    workingTrace().setFunction(function, driver().sUnitPrimary(), secondUnit);
    SetPrimaryFormat();
    if (DigitalScreen* screen = forms().digital)
        screen->setSecondaryFormat(panel::secondaryFormatText(secondUnit));
}

void frmKVX5130::setVoltageOptionsSelectable(const QString& indexes, bool selectable) {
    for (QChar index : indexes) {
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

// --- Function keys ---

namespace {

FunctionFrame frameOf(RangeGroup group) {
    switch (group) {
    case RangeGroup::Current:
        return FunctionFrame::Current;
    case RangeGroup::Resistance:
        return FunctionFrame::Resistance;
    case RangeGroup::Capacitance:
        return FunctionFrame::Capacitance;
    case RangeGroup::Voltage:
        break;
    }
    return FunctionFrame::Voltage;
}

} // namespace

QGroupBox* frmKVX5130::frameBox(FunctionFrame frame) const {
    switch (frame) {
    case FunctionFrame::Voltage:
        return m_frame2;
    case FunctionFrame::Current:
        return m_frame3;
    case FunctionFrame::Resistance:
        return m_frame4;
    case FunctionFrame::Capacitance:
        return m_frame5;
    case FunctionFrame::None:
        break;
    }
    return nullptr;
}

namespace {

// The function the meter reports after the command, and the unit that goes with it.
struct FunctionShown {
    QString function;
    QString secondUnit;
};

} // namespace

// Every function key takes the same steps, in this order on the wire: the
// function command (with its group's range), the function query, then the
// panel: options, tag and range field. The two frequency keys first press the
// AC key of their frame, whose steps are queued ahead of theirs.
void frmKVX5130::runFunctionKey(const MeterFunction& function) {
    beginFunction(frameBox(function.frame));
    const bool ranged = function.rangeGroup != FunctionFrame::None;
    const double range = ranged ? rangeOf(panel::groupOf(function.rangeGroup)) : 0.0;
    if (function.call == DriverCall::Nothing) {
        // Ripple: the meter keeps its present function; only the panel changes.
        if (StatePanel* state = statePanel())
            state->setFunctionText(QLatin1String(function.name));
        SetPrimaryFormat();
        finishFunctionKey(function, range, QString());
        return;
    }
    if (function.call == DriverCall::VoltageFrequency)
        key(QStringLiteral("cmdACV"))->click();
    else if (function.call == DriverCall::CurrentFrequency)
        key(QStringLiteral("cmdACA"))->click();
    const DriverCall call = function.call;
    meterThread().call<FunctionShown>(
        this,
        [call, range](clsKVX5310& meter) {
            callFunction(meter, call, range);
            FunctionShown shown;
            shown.function = meter.Func();
            shown.secondUnit = meter.sUnitSecond();
            return shown;
        },
        [this, function = &function, range](FunctionShown shown) {
            showFunction(shown.function, shown.secondUnit);
            finishFunctionKey(*function, range, shown.function);
        });
}

void frmKVX5130::finishFunctionKey(const MeterFunction& function, double range, const QString& shown) {
    if (function.voltageOptions)
        setVoltageOptionsSelectable(QLatin1String(function.voltageOptions), function.optionsSelectable);
    if (function.tag)
        setFrameTag(frameBox(function.tagFrame), QLatin1String(function.tag));
    if (function.rangeGroup != FunctionFrame::None)
        showRange(range);
    // The current-plus-frequency key names the function as the secondary display's unit.
    if (function.call == DriverCall::CurrentFrequency) {
        if (DigitalScreen* screen = forms().digital)
            screen->setSecondaryFormat(QStringLiteral(".#0 \"") + shown + QLatin1Char('"'));
    }
}

// --- Range groups ---

void frmKVX5130::onRangeOption(RangeGroup group, int index) {
    const double range = panel::rangeValue(group, index);
    m_range[groupIndex(group)] = range;
    showRange(range);
    rerunFunctionOf(frameOf(group));
}

// A range option re-sends the function its frame holds: the one its tag names,
// or the only function of a frame without tags.
void frmKVX5130::rerunFunctionOf(FunctionFrame frame) {
    const QString tag = frame == FunctionFrame::Voltage   ? m_voltageTag
                        : frame == FunctionFrame::Current ? m_currentTag
                                                          : QString();
    for (const MeterFunction& function : meterFunctions()) {
        const bool tagged = function.tag && function.tagFrame == frame && tag == QLatin1String(function.tag);
        const bool onlyOne = !function.tag && function.frame == frame;
        if (tagged || onlyOne) {
            key(QLatin1String(function.key))->click();
            return;
        }
    }
}

// --- Mode keys ---
// The panel shows the new mode at once, so a second press continues from it
// even while the first is still on its way to a slow meter.

void frmKVX5130::onHold() {
    StatePanel* state = statePanel();
    const QString mode = state ? trimBlanks(state->mathText()) : QString();
    QString next;
    if (mode.isEmpty()) {
        meterThread().post([](clsKVX5310& meter) { meter.setHold(true); });
        next = QStringLiteral("HOLD");
    } else if (mode == QLatin1String("HOLD")) {
        meterThread().post([](clsKVX5310& meter) { meter.AutoHold(); });
        next = QStringLiteral("AutoHold");
    } else {
        meterThread().post([](clsKVX5310& meter) { meter.setHold(false); });
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
        meterThread().post([](clsKVX5310& meter) { meter.setMinMode(true); });
        next = QStringLiteral("MIN");
    } else {
        meterThread().post([](clsKVX5310& meter) { meter.setMaxMode(true); });
        next = QStringLiteral("MAX");
    }
    if (state)
        state->setMathText(next);
}

void frmKVX5130::onREL() {
    meterThread().post([](clsKVX5310& meter) { meter.setRelState(true); });
}

void frmKVX5130::onComp() {
    meterThread().post([](clsKVX5310& meter) { meter.setLimitState(true); });
}

namespace {

// dBm is offered on volts only; the key switches it over and reads back the reference.
struct DbmSwitch {
    bool offered = false;
    bool nowOn = false;
    qint16 referenceOhms = 0;
};

DbmSwitch switchDbm(clsKVX5310& meter) {
    DbmSwitch outcome;
    if (meter.sUnitPrimary() != QLatin1String("V"))
        return outcome;
    outcome.offered = true;
    if (meter.SDBMState()) {
        meter.setSDBMState(false);
        return outcome;
    }
    meter.setSDBMState(true);
    outcome.nowOn = true;
    outcome.referenceOhms = meter.SDBMRef();
    return outcome;
}

} // namespace

void frmKVX5130::onDBM() {
    meterThread().call<DbmSwitch>(this, switchDbm, [](DbmSwitch outcome) {
        StatePanel* state = statePanel();
        if (!outcome.offered || !state)
            return;
        state->setDbmActive(outcome.nowOn);
        if (outcome.nowOn)
            state->setRefOhmText(QString::number(outcome.referenceOhms));
    });
}

} // namespace kvx
