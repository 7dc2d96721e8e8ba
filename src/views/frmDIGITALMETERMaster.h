#pragma once
// The digital screen: the primary reading on top (DigVM) and the secondary one
// below it (DigSecondM). It keeps no logic of its own; the polling cycle sets the
// values and formats, and the window arrangement sizes the displays.

#include "DisplayColors.h"
#include "Forms.h"

#include <QWidget>

namespace kvx {

class NumericDisplay;

class frmDIGITALMETERMaster : public QWidget, public DigitalScreen {
    Q_OBJECT
public:
    explicit frmDIGITALMETERMaster(QWidget* parent = nullptr);
    ~frmDIGITALMETERMaster() override;

    void setPrimaryValue(double value) override;
    double primaryValue() const override;
    void setPrimaryFormat(const QString& format) override;
    QString primaryFormat() const override;
    void setSecondaryValue(double value) override;
    double secondaryValue() const override;
    void setSecondaryFormat(const QString& format) override;
    QString secondaryFormat() const override;
    void layoutDisplays(int vmWidth, int vmHeight, int secondTop, int secondWidth,
                        double secondHeight) override;

    void applyColors(const DisplayColors& colors);

    NumericDisplay* DigVM() const { return m_primary; }
    NumericDisplay* DigSecondM() const { return m_secondary; }

private:
    NumericDisplay* m_primary;
    NumericDisplay* m_secondary;
};

} // namespace kvx
