#pragma once
// frmState: the meter's state as the front panel last read it, and the three
// values the operator edits here (upper and lower compare limits, dBm reference
// impedance). Limits reach the meter only on Enter and only inside the range;
// stepping the arrows just edits the box. A range change rescales the dial and
// the trend graph.

#include "Forms.h"
#include "MeterUnits.h"

#include <QWidget>
#include <array>

class QLabel;
class QLineEdit;

namespace kvx {

class UpDown;

class frmState : public QWidget, public StatePanel {
    Q_OBJECT
public:
    // The unit box shows the unit `units` names when the function changes.
    explicit frmState(const MeterUnits& units, QWidget* parent = nullptr);
    ~frmState() override;

    // dBm reference impedances in ohms by UpDown3 index; entries past 20 are 0.
    static constexpr int kRefTableSize = 101;
    static const std::array<qint16, kRefTableSize>& referenceImpedances();

    // StatePanel
    void setFunctionText(const QString& text) override;
    QString functionText() const override;
    void setUnitText(const QString& text) override;
    void setRangeText(const QString& text) override;
    QString rangeText() const override;
    QString mathText() const override;
    void setMathText(const QString& text) override;
    QString limitMaxText() const override;
    QString limitMinText() const override;
    QString relText() const override;
    void setRelText(const QString& text) override;
    QString connText() const override;
    void setConnText(const QString& text) override;
    void setConnProblem(const QString& reason) override;
    void setSampleIntervalText(const QString& text) override;
    QString sampleIntervalText() const override;
    void setDbmActive(bool on) override;
    void setRefOhmText(const QString& text) override;

private:
    const MeterUnits& m_units;
    void buildControls();
    void connectEditing();

    void rangeChanged(const QString& range);
    void functionChanged();
    void relativeChanged(const QString& text);
    void refOhmChanged(const QString& text);
    void refIndexChanged(qint64 index);
    void limitEntered(QLineEdit* box);
    void followBoxInStepper(QLineEdit* box, UpDown* stepper);
    void stepByDigit(QLineEdit* box, UpDown* stepper, int caret);
    bool insideRange(double value) const;
    void showStatus(const QString& text);

    QLabel* pnlFunction;
    QLineEdit* txtFunction;
    QLineEdit* txtUnit;
    QLabel* pnlRange;
    QLineEdit* txtRange1;
    QLineEdit* txtRange2;
    QLabel* pnlMath;
    QLineEdit* txtMath;
    QLabel* pnlRel;
    QLineEdit* txtRel;
    QLineEdit* txtLimMax;
    UpDown* UpDown1;
    QLineEdit* txtLimMin;
    UpDown* UpDown2;
    QLabel* lblDBM;
    QLineEdit* txtRefOhm;
    UpDown* UpDown3;
    QLineEdit* txtInterval;
    QLineEdit* txtConn;
    QLabel* lblStatus;
};

} // namespace kvx
