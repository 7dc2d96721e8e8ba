#pragma once
// A meter-style numeric read-out: the value in seven-segment digits over the
// unlit segments, the unit beside it in an ordinary font. It shows a value
// through a format text (".##0 \"V\""), like the displays of the meter itself.

#include <QColor>
#include <QString>
#include <QWidget>

namespace kvx {

class NumericDisplay : public QWidget {
    Q_OBJECT
public:
    explicit NumericDisplay(QWidget* parent = nullptr);

    void setValue(double value);
    double value() const { return m_value; }
    void setFormat(const QString& format);
    QString format() const { return m_format; }

    // What the display shows: the number part and the unit as the operator reads it.
    QString numberText() const;
    QString unitText() const;

    void setColors(const QColor& digits, const QColor& background);
    QColor digitColor() const { return m_digits; }
    QColor backgroundColor() const { return m_background; }

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    double m_value = 0.0;
    QString m_format = QStringLiteral(".##0 \"V\"");
    QColor m_digits;
    QColor m_background;
};

// The seven-segment family the displays use, loaded once from the installed fonts.
QString sevenSegmentFamily();

} // namespace kvx
