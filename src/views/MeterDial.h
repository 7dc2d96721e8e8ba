#pragma once
// The analog meter's dial: a scale arc numbered from the axis minimum to its
// maximum, with four pointers (the needle, the high-limit, low-limit and
// relative marks) and a caption naming multiplier and unit.

#include <QColor>
#include <QPixmap>
#include <QWidget>
#include <array>

namespace kvx {

class MeterDial : public QWidget {
    Q_OBJECT
public:
    enum Pointer { Needle = 0, HighMark = 1, LowMark = 2, RelMark = 3 };

    explicit MeterDial(QWidget* parent = nullptr);

    void setAxis(double minimum, double maximum);
    double axisMinimum() const { return m_minimum; }
    double axisMaximum() const { return m_maximum; }

    // Pointer values are kept as given; one beyond the axis is drawn pinned at its end.
    void setPointerValue(Pointer which, double value);
    double pointerValue(Pointer which) const { return m_pointers[which]; }

    void setCaption(const QString& caption);
    QString caption() const { return m_caption; }

    struct Colors {
        QColor face, scale, text, needle, marks;
    };
    void setColors(const Colors& colors);

    // Texts of the major scale marks, left to right.
    QStringList scaleLabels() const;

protected:
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    QFont labelFont() const;
    // The needle's angle from straight up, in degrees.
    double angleOf(double value) const;
    void paintFace(QPainter& painter) const;
    // The face is drawn again at the next paint.
    void faceChanged();

    double m_minimum = -12.0;
    double m_maximum = 12.0;
    std::array<double, 4> m_pointers{{0.0, 12.0, -12.0, -12.0}};
    QString m_caption;
    Colors m_colors;
    QPixmap m_face; // everything but the needle; null until drawn
};

} // namespace kvx
