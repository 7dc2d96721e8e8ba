#pragma once
// A pair of arrow buttons that steps a whole number between two bounds, for a
// text box beside it. The box and the stepper keep separate values on purpose:
// the stepper writes its value into the box when stepped, and the box hands its
// number back when the operator types, so a step always starts from what is shown.

#include <QWidget>

class QToolButton;

namespace kvx {

class UpDown : public QWidget {
    Q_OBJECT
public:
    explicit UpDown(QWidget* parent = nullptr);

    // Bounds are inclusive; a value outside them is pulled in without announcing it.
    void setRange(qint64 minimum, qint64 maximum);
    qint64 minimum() const { return m_minimum; }
    qint64 maximum() const { return m_maximum; }

    void setIncrement(qint64 step);
    qint64 increment() const { return m_increment; }

    qint64 value() const { return m_value; }
    // Announces the new value when it differs from the present one.
    void setValue(qint64 value);
    // For following the box it serves: no announcement.
    void setValueQuietly(qint64 value);

    // One step up or down, stopping at the bounds.
    void stepUp();
    void stepDown();

signals:
    void valueChanged(qint64 value);

private:
    qint64 clamped(qint64 value) const;

    QToolButton* m_upButton;
    QToolButton* m_downButton;
    qint64 m_minimum = 0;
    qint64 m_maximum = 100;
    qint64 m_increment = 1;
    qint64 m_value = 0;
};

} // namespace kvx
