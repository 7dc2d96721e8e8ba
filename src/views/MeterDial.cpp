#include "MeterDial.h"

#include "DisplayColors.h"
#include "FramePace.h"
#include "ValueRules.h"

#include <QEvent>
#include <QPainter>
#include <QPainterPath>
#include <QtMath>
#include <algorithm>
#include <cmath>

namespace kvx {

namespace {

constexpr double kHalfSweepDegrees = 50.0;
constexpr int kMajorDivisions = 4; // marks at min, min/2, 0, max/2, max
constexpr int kMinorPerMajor = 5;
constexpr double kPinnedOvershoot = 1.03; // a pointer beyond the end rests just past it

struct Geometry {
    QPointF pivot;
    double radius = 0;
};

Geometry arcGeometry(const QRectF& area, double labelRoom) {
    const double sinHalf = std::sin(qDegreesToRadians(kHalfSweepDegrees));
    const double cosHalf = std::cos(qDegreesToRadians(kHalfSweepDegrees));
    const double byWidth = (area.width() - 2 * labelRoom) / (2 * sinHalf);
    const double byHeight = (area.height() - labelRoom - 18) / (1 - cosHalf);
    Geometry g;
    g.radius = std::max(10.0, std::min(byWidth, byHeight));
    g.pivot = QPointF(area.center().x(), area.top() + labelRoom + g.radius);
    return g;
}

QPointF onArc(const Geometry& g, double angleDegrees, double radius) {
    const double a = qDegreesToRadians(angleDegrees);
    return QPointF(g.pivot.x() + radius * std::sin(a), g.pivot.y() - radius * std::cos(a));
}

} // namespace

MeterDial::MeterDial(QWidget* parent) : QWidget(parent) {
    const DisplayColors& d = kDefaultDisplayColors;
    m_colors = {colorFromBgr(d[SlotBackground]), colorFromBgr(d[SlotGrid]), colorFromBgr(d[SlotText]),
                colorFromBgr(d[SlotTrace]), colorFromBgr(d[SlotMarker])};
    setMinimumSize(60, 30);
}

void MeterDial::setAxis(double minimum, double maximum) {
    m_minimum = minimum;
    m_maximum = maximum;
    faceChanged();
}

void MeterDial::setPointerValue(Pointer which, double value) {
    m_pointers[which] = value;
    // The needle alone moves at every reading; the marks are part of the face.
    if (which == Needle)
        updateAtFramePace(this);
    else
        faceChanged();
}

void MeterDial::setCaption(const QString& caption) {
    m_caption = caption;
    faceChanged();
}

void MeterDial::setColors(const Colors& colors) {
    m_colors = colors;
    faceChanged();
}

void MeterDial::faceChanged() {
    m_face = QPixmap();
    update();
}

void MeterDial::changeEvent(QEvent* event) {
    if (event->type() == QEvent::FontChange)
        m_face = QPixmap();
    QWidget::changeEvent(event);
}

QStringList MeterDial::scaleLabels() const {
    QStringList labels;
    for (int i = 0; i <= kMajorDivisions; ++i)
        labels << numberToText(m_minimum + (m_maximum - m_minimum) * i / kMajorDivisions);
    return labels;
}

QFont MeterDial::labelFont() const {
    QFont labels = font();
    labels.setPixelSize(std::clamp(int(height() * 0.13), 8, 16));
    return labels;
}

double MeterDial::angleOf(double value) const {
    const double span = m_maximum - m_minimum;
    if (!(span > 0) || !std::isfinite(value))
        return 0.0;
    const double t = std::clamp((value - m_minimum) / span * 2.0 - 1.0, -kPinnedOvershoot, kPinnedOvershoot);
    return t * kHalfSweepDegrees;
}

void MeterDial::paintEvent(QPaintEvent*) {
    // Everything but the needle changes only with the axis, the marks, the caption,
    // the colours, the font or the size, so it is drawn once into a picture of the
    // face; a new reading then costs the copy of that picture and one line.
    const qreal ratio = devicePixelRatioF();
    if (m_face.isNull() || m_face.devicePixelRatio() != ratio || m_face.deviceIndependentSize() != QSizeF(size())) {
        m_face = QPixmap(size() * ratio);
        m_face.setDevicePixelRatio(ratio);
        QPainter face(&m_face);
        paintFace(face);
    }
    QPainter p(this);
    p.drawPixmap(0, 0, m_face);
    p.setRenderHint(QPainter::Antialiasing);
    const Geometry g = arcGeometry(QRectF(rect()).adjusted(2, 0, -2, 0), QFontMetricsF(labelFont()).height() + 4);
    // The needle, from below the face up to the scale.
    p.setClipRect(rect());
    const double needleAngle = angleOf(m_pointers[Needle]);
    p.setPen(QPen(m_colors.needle, 2.0, Qt::SolidLine, Qt::RoundCap));
    p.drawLine(onArc(g, needleAngle, g.radius * 0.25), onArc(g, needleAngle, g.radius - 2));
}

void MeterDial::paintFace(QPainter& p) const {
    p.setRenderHint(QPainter::Antialiasing);
    p.fillRect(rect(), m_colors.face);

    const QFont labels = labelFont();
    p.setFont(labels);
    const QFontMetricsF fm(labels);
    const Geometry g = arcGeometry(QRectF(rect()).adjusted(2, 0, -2, 0), fm.height() + 4);
    // Scale arc and marks.
    p.setPen(QPen(m_colors.scale, 1.5));
    const QRectF circle(g.pivot.x() - g.radius, g.pivot.y() - g.radius, 2 * g.radius, 2 * g.radius);
    p.drawArc(circle, int((90 - kHalfSweepDegrees) * 16), int(2 * kHalfSweepDegrees * 16));
    const int minorCount = kMajorDivisions * kMinorPerMajor;
    for (int i = 0; i <= minorCount; ++i) {
        const double angle = -kHalfSweepDegrees + 2 * kHalfSweepDegrees * i / minorCount;
        const bool major = i % kMinorPerMajor == 0;
        const double inner = g.radius - (major ? 8 : 4);
        p.drawLine(onArc(g, angle, g.radius), onArc(g, angle, inner));
    }
    p.setPen(m_colors.text);
    const QStringList texts = scaleLabels();
    for (int i = 0; i <= kMajorDivisions; ++i) {
        const double angle = -kHalfSweepDegrees + 2 * kHalfSweepDegrees * i / kMajorDivisions;
        const QPointF at = onArc(g, angle, g.radius + fm.height() * 0.6 + 1);
        const double w = fm.horizontalAdvance(texts[i]);
        p.drawText(QRectF(at.x() - w / 2 - 2, at.y() - fm.height() / 2, w + 4, fm.height()), Qt::AlignCenter,
                   texts[i]);
    }

    // Marks: small triangles under the arc pointing up at the scale, clear of the numbers.
    // The relative mark is drawn hollow so it stays apart from the limit marks.
    auto drawMark = [&](double value, bool hollow) {
        const double angle = angleOf(value);
        const double size = std::clamp(g.radius * 0.07, 9.0, 20.0);
        const QPointF tip = onArc(g, angle, g.radius + 1);
        const QPointF baseCentre = onArc(g, angle, g.radius - size);
        const double a = qDegreesToRadians(angle);
        const double halfBase = size * 0.45;
        const QPointF across(halfBase * std::cos(a), halfBase * std::sin(a)); // along the arc there
        const QPointF left = baseCentre - across;
        const QPointF right = baseCentre + across;
        QPainterPath path(tip);
        path.lineTo(left);
        path.lineTo(right);
        path.closeSubpath();
        if (hollow)
            p.strokePath(path, QPen(m_colors.marks, 1.2));
        else
            p.fillPath(path, m_colors.marks);
    };
    drawMark(m_pointers[RelMark], true);
    drawMark(m_pointers[LowMark], false);
    drawMark(m_pointers[HighMark], false);

    // Caption at the lower left of the face.
    QFont captionFont = labels;
    captionFont.setBold(true);
    p.setFont(captionFont);
    p.setPen(m_colors.text);
    p.drawText(rect().adjusted(4, 0, 0, -2), Qt::AlignLeft | Qt::AlignBottom, m_caption);
}

} // namespace kvx
