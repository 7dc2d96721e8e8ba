#include "frmANALOGMETER.h"

#include "DisplayFormat.h"
#include "MeterDial.h"
#include "MeterScales.h"
#include "Twips.h"
#include "ValueRules.h"

#include <QLabel>
#include <QLineEdit>
#include <cmath>

namespace kvx {

namespace {

QString numberFormatFor(const QString& unit) {
    return QStringLiteral("#.00 \"%1\"").arg(unit);
}

QLineEdit* makeField(QWidget* parent, const char* name, const QString& hint) {
    auto* field = new QLineEdit(parent);
    field->setObjectName(QLatin1String(name));
    field->setPlaceholderText(hint);
    field->setToolTip(hint);
    return field;
}

} // namespace

frmANALOGMETER::frmANALOGMETER(const MeterUnits& units, QWidget* parent)
    : QWidget(parent), m_units(units), m_dial(new MeterDial(this)),
      m_gridBase(makeField(this, "GridBase", "multiplier")),
      m_gridMax(makeField(this, "GridMax", "dial end")), m_value(makeField(this, "Value", "reading")),
      m_limHigh(makeField(this, "LimHigh", "high limit")), m_limLow(makeField(this, "LimLow", "low limit")),
      m_rel(makeField(this, "txtRel", "relative")), m_degree(new QLabel(this)) {
    setObjectName(QStringLiteral("frmANALOGMETER"));
    setProperty("kvxForm", true);
    setWindowTitle(QStringLiteral("Analog Meter"));
    m_dial->setObjectName(QStringLiteral("CWKnob1"));
    m_degree->setObjectName(QStringLiteral("pnlDegree"));
    m_degree->setAttribute(Qt::WA_TransparentForMouseEvents);
    // The scale fields only carry the dial's state: the caption names the multiplier.
    m_gridBase->hide();
    m_gridMax->hide();
    m_numberFormat = numberFormatFor(primaryUnit());

    connect(m_value, &QLineEdit::textChanged, this, &frmANALOGMETER::onValueChanged);
    connect(m_gridBase, &QLineEdit::textChanged, this, &frmANALOGMETER::onGridBaseChanged);
    connect(m_gridMax, &QLineEdit::textChanged, this, &frmANALOGMETER::onGridMaxChanged);
    connect(m_limHigh, &QLineEdit::textChanged, this, &frmANALOGMETER::onLimHighChanged);
    connect(m_limLow, &QLineEdit::textChanged, this, &frmANALOGMETER::onLimLowChanged);
    connect(m_rel, &QLineEdit::textChanged, this, &frmANALOGMETER::onRelChanged);

    // A +-12 dial at x100: the 1200 V scale.
    m_gridBase->setText(QStringLiteral("100"));
    m_gridMax->setText(QStringLiteral("12"));
    meterPeak = 0.0;
    showReading(0.0);
    applyColors(kDefaultDisplayColors);
    resize(twipsToPixels(4100), twipsToPixels(1860));
    forms().analog = this;
}

frmANALOGMETER::~frmANALOGMETER() {
    if (forms().analog == this)
        forms().analog = nullptr;
}

void frmANALOGMETER::setValueText(const QString& text) {
    if (m_value->text() == text)
        onValueChanged();
    else
        m_value->setText(text);
}

QString frmANALOGMETER::valueText() const {
    return m_value->text();
}
void frmANALOGMETER::setLimHighText(const QString& text) {
    m_limHigh->setText(text);
}
void frmANALOGMETER::setLimLowText(const QString& text) {
    m_limLow->setText(text);
}
void frmANALOGMETER::setRelText(const QString& text) {
    m_rel->setText(text);
}
QString frmANALOGMETER::gridBaseText() const {
    return m_gridBase->text();
}
QString frmANALOGMETER::gridMaxText() const {
    return m_gridMax->text();
}

void frmANALOGMETER::ChooseMeterScale(double peak) {
    if (const auto scale = meterScaleFor(primaryUnit(), peak)) {
        m_gridBase->setText(scale->gridBase);
        m_gridMax->setText(scale->gridMax);
    }
    updateCaption();
}

void frmANALOGMETER::ResetMeter() {
    meterPeak = 0.0;
    // Through the reading handler: the needle returns to 0 and, with the peak at
    // 0, a zero reading does not rescale; the next real reading chooses afresh.
    setValueText(QStringLiteral("0"));
}

void frmANALOGMETER::unitChanged(const QString& unit) {
    m_numberFormat = numberFormatFor(unit);
    updateCaption();
    showReading(parseLeadingNumber(m_value->text()));
}

void frmANALOGMETER::onValueChanged() {
    const double v = parseLeadingNumber(m_value->text());
    if (std::fabs(v) > meterPeak) {
        meterPeak = std::fabs(v);
        ChooseMeterScale(meterPeak);
    }
    const double shown = absoluteNeedle == 1 ? std::fabs(v) : v;
    m_dial->setPointerValue(MeterDial::Needle, shown / gridBaseValue);
    showReading(v);
}

void frmANALOGMETER::onGridBaseChanged() {
    // A base that does not fit 16 bits leaves the divisor as it was.
    if (const auto rounded = roundToInt16(parseLeadingNumber(m_gridBase->text())))
        gridBaseValue = *rounded;
    updateCaption();
    // The marks are in dial units: x1 to x10 on the same +-50 dial moves them too.
    placeMarks();
}

void frmANALOGMETER::onGridMaxChanged() {
    gridMaxValue = parseLeadingNumber(m_gridMax->text());
    m_dial->setAxis(-gridMaxValue, gridMaxValue);
    placeMarks();
    m_dial->setPointerValue(MeterDial::Needle, 0.0);
}

void frmANALOGMETER::placeMarks() {
    StatePanel* state = forms().state;
    const QString high = state ? state->limitMaxText() : m_limHigh->text();
    const QString low = state ? state->limitMinText() : m_limLow->text();
    m_dial->setPointerValue(MeterDial::HighMark, markPosition(high, gridMaxValue));
    m_dial->setPointerValue(MeterDial::LowMark, markPosition(low, -gridMaxValue));
    // The relative mark is in dial units too: a new scale re-places it, so it
    // keeps marking the same reading.
    onRelChanged();
}

void frmANALOGMETER::onLimHighChanged() {
    m_dial->setPointerValue(MeterDial::HighMark, markPosition(m_limHigh->text(), m_dial->axisMaximum()));
}

void frmANALOGMETER::onLimLowChanged() {
    m_dial->setPointerValue(MeterDial::LowMark, markPosition(m_limLow->text(), m_dial->axisMinimum()));
}

void frmANALOGMETER::onRelChanged() {
    // The mark follows the state panel's relative value, which is the one the
    // meter works with; the field here is only the prompt to look again.
    StatePanel* state = forms().state;
    const QString rel = state ? state->relText() : m_rel->text();
    m_dial->setPointerValue(MeterDial::RelMark, markPosition(rel, m_dial->axisMinimum()));
}

double frmANALOGMETER::markPosition(const QString& text, double parkedAt) const {
    if (text.isEmpty())
        return parkedAt;
    return parseLeadingNumber(text) / gridBaseValue;
}

void frmANALOGMETER::updateCaption() {
    m_dial->setCaption(QStringLiteral("x%1 %2").arg(m_gridBase->text(), displayUnit(primaryUnit())));
}

void frmANALOGMETER::showReading(double value) {
    m_degree->setText(displayText(value, m_numberFormat));
    m_degree->adjustSize();
}

void frmANALOGMETER::applyColors(const DisplayColors& colors) {
    MeterDial::Colors dial;
    dial.face = colorFromBgr(colors[SlotBackground]);
    dial.scale = colorFromBgr(colors[SlotGrid]);
    dial.text = colorFromBgr(colors[SlotText]);
    dial.needle = colorFromBgr(colors[SlotTrace]);
    dial.marks = colorFromBgr(colors[SlotMarker]);
    m_dial->setColors(dial);
    m_degree->setStyleSheet(
        QStringLiteral("QLabel { color: %1; background: transparent; }").arg(dial.text.name()));
    QPalette pal = palette();
    pal.setColor(QPalette::Window, dial.face);
    setPalette(pal);
    setAutoFillBackground(true);
}

void frmANALOGMETER::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    const double w = pixelsToTwips(width());
    const double h = pixelsToTwips(height());
    const int dialWidth = twipsToPixels(w - 100);
    const int dialHeight = twipsToPixels(h - 500);
    m_dial->setGeometry(twipsToPixels(50), 0, qMax(0, dialWidth), qMax(0, dialHeight));

    // The reading fields share the strip under the dial.
    QLineEdit* strip[] = {m_value, m_limHigh, m_limLow, m_rel};
    const int top = qMax(0, dialHeight) + 2;
    const int fieldHeight = qMax(12, height() - top - 2);
    const int gap = 3;
    const int fieldWidth = qMax(10, (dialWidth - gap * 3) / 4);
    int x = twipsToPixels(50);
    for (QLineEdit* field : strip) {
        field->setGeometry(x, top, fieldWidth, fieldHeight);
        x += fieldWidth + gap;
    }

    m_degree->move(twipsToPixels(std::round(0.453 * w)), twipsToPixels(std::round(0.593 * h)));
    m_degree->raise();
}

} // namespace kvx
