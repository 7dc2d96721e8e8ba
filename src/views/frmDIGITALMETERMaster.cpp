#include "frmDIGITALMETERMaster.h"

#include "NumericDisplay.h"
#include "Twips.h"

#include <QPalette>

namespace kvx {

frmDIGITALMETERMaster::frmDIGITALMETERMaster(QWidget* parent)
    : QWidget(parent), m_primary(new NumericDisplay(this)), m_secondary(new NumericDisplay(this)) {
    setObjectName(QStringLiteral("frmDIGITALMETERMaster"));
    setProperty("kvxForm", true);
    setWindowTitle(QStringLiteral("Digital Meter"));
    m_primary->setObjectName(QStringLiteral("DigVM"));
    m_secondary->setObjectName(QStringLiteral("DigSecondM"));
    m_secondary->setFormat(QStringLiteral(".##0 \"\""));
    setAutoFillBackground(true);
    applyColors(kDefaultDisplayColors);
    // The displays' normal layout, as the window arrangement restores it.
    layoutDisplays(3825, 825, 825 + 5, 3825, 615);
    resize(twipsToPixels(4100), twipsToPixels(1860));
    forms().digital = this;
}

frmDIGITALMETERMaster::~frmDIGITALMETERMaster() {
    if (forms().digital == this)
        forms().digital = nullptr;
}

void frmDIGITALMETERMaster::setPrimaryValue(double value) {
    m_primary->setValue(value);
}
double frmDIGITALMETERMaster::primaryValue() const {
    return m_primary->value();
}
void frmDIGITALMETERMaster::setPrimaryFormat(const QString& format) {
    m_primary->setFormat(format);
}
QString frmDIGITALMETERMaster::primaryFormat() const {
    return m_primary->format();
}
void frmDIGITALMETERMaster::setSecondaryValue(double value) {
    m_secondary->setValue(value);
}
double frmDIGITALMETERMaster::secondaryValue() const {
    return m_secondary->value();
}
void frmDIGITALMETERMaster::setSecondaryFormat(const QString& format) {
    m_secondary->setFormat(format);
}
QString frmDIGITALMETERMaster::secondaryFormat() const {
    return m_secondary->format();
}

void frmDIGITALMETERMaster::layoutDisplays(int vmWidth, int vmHeight, int secondTop, int secondWidth,
                                           double secondHeight) {
    m_primary->setGeometry(0, 0, twipsToPixels(vmWidth), twipsToPixels(vmHeight));
    m_secondary->setGeometry(0, twipsToPixels(secondTop), twipsToPixels(secondWidth),
                             twipsToPixels(secondHeight));
}

void frmDIGITALMETERMaster::applyColors(const DisplayColors& colors) {
    const QColor digits = colorFromBgr(colors[SlotText]);
    const QColor background = colorFromBgr(colors[SlotDisplay]);
    m_primary->setColors(digits, background);
    m_secondary->setColors(digits, background);
    QPalette pal = palette();
    pal.setColor(QPalette::Window, background);
    setPalette(pal);
}

} // namespace kvx
