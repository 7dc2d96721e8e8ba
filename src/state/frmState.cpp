#include "frmState.h"

#include "Services.h"
#include "StatusReports.h"
#include "UpDown.h"
#include "ValueRules.h"
#include "MeterThread.h"
#include "clsKVX5310.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QVBoxLayout>
#include <algorithm>
#include <cmath>

namespace kvx {

namespace {

// Stepping a limit by more than this is of no use on any range of the meter, and
// keeps 10^(digits) well inside the stepper's integer.
constexpr qint64 kLargestStep = 1000000000;
constexpr int kDefaultRefIndex = 15; // 600 ohms, the usual dBm reference

QLineEdit* makeBox(const char* name, int width, bool editable, QWidget* parent) {
    auto* box = new QLineEdit(parent);
    box->setObjectName(QLatin1String(name));
    box->setFixedWidth(width);
    box->setReadOnly(!editable);
    if (!editable)
        box->setFocusPolicy(Qt::NoFocus);
    return box;
}

QLabel* makeCaption(const char* name, const QString& text, QWidget* parent) {
    auto* caption = new QLabel(text, parent);
    caption->setObjectName(QLatin1String(name));
    caption->setAlignment(Qt::AlignLeft | Qt::AlignBottom);
    return caption;
}

// One column of the strip: a caption over its boxes.
void addColumn(QHBoxLayout* strip, QLabel* caption, std::initializer_list<QWidget*> row) {
    auto* column = new QVBoxLayout;
    column->setSpacing(1);
    column->addWidget(caption);
    auto* line = new QHBoxLayout;
    line->setSpacing(1);
    for (QWidget* w : row)
        line->addWidget(w);
    line->addStretch(1);
    column->addLayout(line);
    strip->addLayout(column);
}

qint64 wholeNumber(double value) {
    const double rounded = roundHalfEven(value);
    return static_cast<qint64>(std::clamp(rounded, -1e15, 1e15));
}

// "kohm" is the driver's unit word; the operator reads kΩ.
QString unitForDisplay(const QString& unit) {
    return unit == QLatin1String("kohm") ? QStringLiteral("k\u03A9") : unit;
}

} // namespace

const std::array<qint16, frmState::kRefTableSize>& frmState::referenceImpedances() {
    static const std::array<qint16, kRefTableSize> table = [] {
        std::array<qint16, kRefTableSize> t{};
        const qint16 ohms[] = {2,   4,   8,   16,  50,  75,  93,  110,  124,  125, 135,
                               150, 250, 300, 500, 600, 800, 900, 1000, 1200, 8000};
        std::copy(std::begin(ohms), std::end(ohms), t.begin());
        return t;
    }();
    return table;
}

frmState::frmState(const MeterUnits& units, QWidget* parent) : QWidget(parent), m_units(units) {
    setObjectName(QStringLiteral("frmState"));
    setProperty("kvxForm", true);
    setWindowTitle(QStringLiteral("State"));
    buildControls();
    connectEditing();
    forms().state = this;
}

frmState::~frmState() {
    if (forms().state == this)
        forms().state = nullptr;
}

void frmState::buildControls() {
    pnlFunction = makeCaption("pnlFunction", QStringLiteral("Function"), this);
    txtFunction = makeBox("txtFunction", 72, false, this);
    txtUnit = makeBox("txtUnit", 40, false, this);
    pnlRange = makeCaption("pnlRange", QStringLiteral("Range"), this);
    txtRange1 = makeBox("txtRange1", 52, false, this);
    txtRange2 = makeBox("txtRange2", 52, false, this);
    pnlMath = makeCaption("pnlMath", QStringLiteral("Math"), this);
    txtMath = makeBox("txtMath", 62, false, this);
    pnlRel = makeCaption("pnlRel", QStringLiteral("Rel"), this);
    txtRel = makeBox("txtRel", 58, false, this);
    txtLimMax = makeBox("txtLimMax", 64, true, this);
    UpDown1 = new UpDown(this);
    UpDown1->setObjectName(QStringLiteral("UpDown1"));
    UpDown1->setAccessibleName(QStringLiteral("Upper limit"));
    txtLimMin = makeBox("txtLimMin", 64, true, this);
    UpDown2 = new UpDown(this);
    UpDown2->setObjectName(QStringLiteral("UpDown2"));
    UpDown2->setAccessibleName(QStringLiteral("Lower limit"));
    txtRefOhm = makeBox("txtRefOhm", 46, true, this);
    UpDown3 = new UpDown(this);
    UpDown3->setObjectName(QStringLiteral("UpDown3"));
    UpDown3->setAccessibleName(QStringLiteral("dBm reference impedance"));
    txtInterval = makeBox("txtInterval", 38, false, this);
    txtConn = makeBox("txtConn", 44, false, this);
    for (QLineEdit* box : {txtUnit, txtInterval, txtConn})
        box->setAlignment(Qt::AlignCenter);
    for (QLineEdit* box : {txtRange1, txtRange2, txtRel, txtLimMax, txtLimMin, txtRefOhm})
        box->setAlignment(Qt::AlignRight);
    txtLimMax->setToolTip(QStringLiteral("Upper limit: press Enter to send it to the meter"));
    txtLimMin->setToolTip(QStringLiteral("Lower limit: press Enter to send it to the meter"));
    txtRefOhm->setToolTip(QStringLiteral("dBm reference impedance in ohms"));

    lblDBM = new QLabel(QStringLiteral("dBm"), this);
    lblDBM->setObjectName(QStringLiteral("lblDBM"));
    lblDBM->setAlignment(Qt::AlignCenter);
    lblDBM->setStyleSheet(
        QStringLiteral("background:#00c000; color:white; font-weight:bold; padding:0 3px;"));
    QSizePolicy keepPlace = lblDBM->sizePolicy();
    keepPlace.setRetainSizeWhenHidden(true);
    lblDBM->setSizePolicy(keepPlace);

    const auto& table = referenceImpedances();
    UpDown3->setRange(0, 20); // entries past 20 hold no impedance
    UpDown3->setValueQuietly(kDefaultRefIndex);
    txtRefOhm->setText(QString::number(table[kDefaultRefIndex]));
    UpDown1->setRange(0, 0);
    UpDown2->setRange(0, 0);

    auto* strip = new QHBoxLayout(this);
    strip->setContentsMargins(4, 2, 4, 3);
    strip->setSpacing(6);
    addColumn(strip, pnlFunction, {txtFunction});
    addColumn(strip, makeCaption("lblUnit", QStringLiteral("Unit"), this), {txtUnit});
    addColumn(strip, pnlRange, {txtRange1, txtRange2});
    addColumn(strip, pnlMath, {txtMath});
    addColumn(strip, pnlRel, {txtRel});
    addColumn(strip, makeCaption("lblLimMax", QStringLiteral("MAX Limit"), this), {txtLimMax, UpDown1});
    addColumn(strip, makeCaption("lblLimMin", QStringLiteral("MIN Limit"), this), {txtLimMin, UpDown2});
    addColumn(strip, makeCaption("lblRefOhm", QStringLiteral("Ref \u03A9"), this),
              {txtRefOhm, UpDown3, lblDBM});
    addColumn(strip, makeCaption("lblInterval", QStringLiteral("Interval (s)"), this), {txtInterval});
    addColumn(strip, makeCaption("lblConn", QStringLiteral("Link"), this), {txtConn});

    // The latest report that must not wait for a click (see StatusReports.h). A long
    // one must not widen the strip: the label clips it and its tooltip holds it whole.
    lblStatus = new QLabel(this);
    lblStatus->setObjectName(QStringLiteral("lblStatus"));
    lblStatus->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    lblStatus->setStyleSheet(QStringLiteral("color:#a00000;"));
    strip->addWidget(lblStatus, 1);
    showStatus(statusReports().last());
    connect(&statusReports(), &StatusReports::reported, this, &frmState::showStatus);
    setDbmActive(false);
}

void frmState::showStatus(const QString& text) {
    lblStatus->setText(text);
    lblStatus->setToolTip(text);
}

void frmState::connectEditing() {
    connect(txtRange2, &QLineEdit::textChanged, this, &frmState::rangeChanged);
    connect(txtFunction, &QLineEdit::textChanged, this, &frmState::functionChanged);
    connect(txtRel, &QLineEdit::textChanged, this, &frmState::relativeChanged);
    connect(txtRefOhm, &QLineEdit::textEdited, this, &frmState::refOhmChanged);
    connect(UpDown3, &UpDown::valueChanged, this, &frmState::refIndexChanged);

    const std::pair<QLineEdit*, UpDown*> limits[] = {{txtLimMax, UpDown1}, {txtLimMin, UpDown2}};
    for (const auto& [box, stepper] : limits) {
        connect(box, &QLineEdit::returnPressed, this, [this, box = box] { limitEntered(box); });
        connect(box, &QLineEdit::cursorPositionChanged, this,
                [this, box = box, stepper = stepper](int, int caret) { stepByDigit(box, stepper, caret); });
        connect(box, &QLineEdit::textEdited, this,
                [this, box = box, stepper = stepper] { followBoxInStepper(box, stepper); });
        connect(stepper, &UpDown::valueChanged, this, [box = box](qint64 value) {
            // Keep the caret the same distance from the end, so the same digit goes on stepping.
            const int fromEnd = box->text().size() - box->cursorPosition();
            box->setText(QString::number(value));
            box->setCursorPosition(std::max(0, int(box->text().size()) - fromEnd));
        });
    }
}

// --- Rules ---

void frmState::rangeChanged(const QString& range) {
    txtRange1->setText(QLatin1Char('-') + range);
    const double fullScale = parseLeadingNumber(range);
    if (AnalogMeter* analog = forms().analog)
        analog->ChooseMeterScale(fullScale);
    if (GraphRecord* graph = forms().graph)
        graph->ScaleYAxis(fullScale);
    const qint64 bound = wholeNumber(fullScale);
    UpDown1->setRange(-bound, bound);
    UpDown2->setRange(-bound, bound);
}

void frmState::functionChanged() {
    // The unit box follows the function the driver last reported.
    setUnitText(m_units.sUnitPrimary());
    if (AnalogMeter* analog = forms().analog)
        analog->unitChanged(m_units.sUnitPrimary());
}

void frmState::relativeChanged(const QString& text) {
    if (!insideRange(parseLeadingNumber(text)))
        return;
    if (AnalogMeter* analog = forms().analog)
        analog->setRelText(text);
    if (GraphRecord* graph = forms().graph)
        graph->setRelText(text);
}

void frmState::refOhmChanged(const QString& text) {
    if (!isNumeric(text))
        return;
    if (const std::optional<qint16> ohms = roundToInt16(parseLeadingNumber(text)))
        meterThread().post([ohms = *ohms](clsKVX5310& meter) { meter.setSDBMRef(ohms); });
}

void frmState::refIndexChanged(qint64 index) {
    const auto& table = referenceImpedances();
    if (index < 0 || index >= kRefTableSize)
        return;
    const QString ohms = QString::number(table[static_cast<size_t>(index)]);
    if (ohms == txtRefOhm->text())
        return;
    txtRefOhm->setText(ohms);
    refOhmChanged(ohms); // a step counts as an edit: the meter follows at once
}

void frmState::limitEntered(QLineEdit* box) {
    const QString text = box->text();
    if (!text.isEmpty() && !isNumeric(text)) {
        // Not sent, as before; but the operator learns why nothing happened.
        const bool decimalComma = isNumeric(QString(text).replace(QLatin1Char(','), QLatin1Char('.')));
        showStatus(decimalComma ? QStringLiteral("A limit takes a decimal point: %1, not %2")
                                      .arg(QString(text).replace(QLatin1Char(','), QLatin1Char('.')), text)
                                : QStringLiteral("A limit is a number: \"%1\" was not sent").arg(text));
        return;
    }
    const double value = parseLeadingNumber(text);
    if (!insideRange(value)) {
        messages().notice(QStringLiteral("Input Value should between ") + txtRange1->text() +
                          QStringLiteral(" and ") + txtRange2->text());
        return;
    }
    const bool upper = box == txtLimMax;
    meterThread().post([upper, value](clsKVX5310& meter) {
        upper ? meter.setLimitUPPER(value) : meter.setLimitLower(value);
    });
    if (AnalogMeter* analog = forms().analog)
        upper ? analog->setLimHighText(text) : analog->setLimLowText(text);
    if (GraphRecord* graph = forms().graph)
        upper ? graph->setLimHighText(text) : graph->setLimLowText(text);
}

void frmState::followBoxInStepper(QLineEdit* box, UpDown* stepper) {
    stepper->setValueQuietly(wholeNumber(parseLeadingNumber(box->text())));
}

void frmState::stepByDigit(QLineEdit* box, UpDown* stepper, int caret) {
    const int digitsRight = std::max(0, int(box->text().size()) - caret);
    const double step = std::pow(10.0, digitsRight);
    stepper->setIncrement(step >= double(kLargestStep) ? kLargestStep : qint64(std::llround(step)));
}

// Strict on both sides: a limit equal to the full range is refused.
bool frmState::insideRange(double value) const {
    return parseLeadingNumber(txtRange1->text()) < value && value < parseLeadingNumber(txtRange2->text());
}

// --- StatePanel ---

void frmState::setFunctionText(const QString& text) {
    txtFunction->setText(text);
}
QString frmState::functionText() const {
    return txtFunction->text();
}
void frmState::setUnitText(const QString& text) {
    txtUnit->setText(unitForDisplay(text));
}
void frmState::setRangeText(const QString& text) {
    txtRange2->setText(text);
}
QString frmState::rangeText() const {
    return txtRange2->text();
}
QString frmState::mathText() const {
    return txtMath->text();
}
void frmState::setMathText(const QString& text) {
    txtMath->setText(text);
}
QString frmState::limitMaxText() const {
    return txtLimMax->text();
}
QString frmState::limitMinText() const {
    return txtLimMin->text();
}
QString frmState::relText() const {
    return txtRel->text();
}
void frmState::setRelText(const QString& text) {
    txtRel->setText(text);
}
QString frmState::connText() const {
    return txtConn->text();
}

void frmState::setConnText(const QString& text) {
    txtConn->setText(text);
    const bool live = text == QLatin1String("LIVE");
    const bool dead = text == QLatin1String("DEAD");
    txtConn->setStyleSheet(live   ? QStringLiteral("color:#008000; font-weight:bold;")
                           : dead ? QStringLiteral("color:#c00000; font-weight:bold;")
                                  : QString());
}

void frmState::setConnProblem(const QString& reason) {
    txtConn->setToolTip(reason.isEmpty() ? QStringLiteral("The meter answers") : reason);
}

void frmState::setSampleIntervalText(const QString& text) {
    txtInterval->setText(text);
}
QString frmState::sampleIntervalText() const {
    return txtInterval->text();
}

void frmState::setDbmActive(bool on) {
    lblDBM->setVisible(on);
    txtRefOhm->setEnabled(on);
    UpDown3->setEnabled(on);
}

// The meter's own value is only shown: sending it back would be an echo. The
// stepper follows when the value is one of the table's impedances.
void frmState::setRefOhmText(const QString& text) {
    txtRefOhm->setText(text);
    const std::optional<qint16> ohms =
        isNumeric(text) ? roundToInt16(parseLeadingNumber(text)) : std::nullopt;
    if (!ohms)
        return;
    const auto& table = referenceImpedances();
    const auto listed = table.begin() + UpDown3->maximum() + 1;
    const auto found = std::find(table.begin(), listed, *ohms);
    if (found != listed)
        UpDown3->setValueQuietly(found - table.begin());
}

} // namespace kvx
