#pragma once
// The analog meter: a dial whose needle follows the primary reading and whose
// scale picks itself from the largest reading seen, widening as larger readings
// come in and never narrowing during a trace.

#include "DisplayColors.h"
#include "Forms.h"
#include "MeterUnits.h"

#include <QWidget>

class QLabel;
class QLineEdit;

namespace kvx {

class MeterDial;

class frmANALOGMETER : public QWidget, public AnalogMeter {
    Q_OBJECT
public:
    // `units` names the meter's present primary unit whenever the dial labels or scales.
    explicit frmANALOGMETER(const MeterUnits& units, QWidget* parent = nullptr);
    ~frmANALOGMETER() override;

    // A written reading always moves the needle, even when the text repeats the last one.
    void setValueText(const QString& text) override;
    QString valueText() const override;
    void setLimHighText(const QString& text) override;
    void setLimLowText(const QString& text) override;
    void setRelText(const QString& text) override;
    void ChooseMeterScale(double peak) override;
    void ResetMeter() override;
    void unitChanged(const QString& unit) override;

    void applyColors(const DisplayColors& colors);

    // 1 makes the needle show the magnitude of the reading.
    void setAbsoluteNeedle(qint16 flag) { absoluteNeedle = flag; }

    MeterDial* CWKnob1() const { return m_dial; }
    QString gridBaseText() const;
    QString gridMaxText() const;
    qint16 gridBase() const { return gridBaseValue; }
    double gridMax() const { return gridMaxValue; }
    double peak() const { return meterPeak; }
    // The number format of the reading read-out ("#.00 \"V\"").
    QString numberFormat() const { return m_numberFormat; }

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    QString primaryUnit() const { return m_units.sUnitPrimary(); }
    const MeterUnits& m_units;
    void onValueChanged();
    void onGridBaseChanged();
    void onGridMaxChanged();
    // The high, low and relative marks on the dial as it now stands.
    void placeMarks();
    void onLimHighChanged();
    void onLimLowChanged();
    void onRelChanged();
    void updateCaption();
    void showReading(double value);
    // A limit or reference text as a pointer position, or the parked end when empty.
    double markPosition(const QString& text, double parkedAt) const;

    MeterDial* m_dial;
    QLineEdit* m_gridBase;
    QLineEdit* m_gridMax;
    QLineEdit* m_value;
    QLineEdit* m_limHigh;
    QLineEdit* m_limLow;
    QLineEdit* m_rel;
    QLabel* m_degree;
    QString m_numberFormat;

    qint16 gridBaseValue = 100;
    double gridMaxValue = 12.0;
    double meterPeak = 0.0;
    qint16 absoluteNeedle = 0;
};

} // namespace kvx
