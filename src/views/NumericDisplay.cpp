#include "NumericDisplay.h"

#include "DisplayColors.h"
#include "DisplayFormat.h"
#include "FramePace.h"
#include "ValueRules.h"

#include <QFontDatabase>
#include <QPainter>

namespace kvx {

namespace {

// Unlit segments show this many digit places at least, as on the meter's glass.
constexpr int kMinimumDigitPlaces = 5;

// The unlit segments behind a number: every digit and sign place becomes '8';
// the point keeps its place (the seven-segment font gives it no width).
QString unlitSegments(const QString& number) {
    QString ghost;
    int places = 0;
    for (QChar c : number) {
        if (c == QLatin1Char('.')) {
            ghost += c;
        } else {
            ghost += QLatin1Char('8');
            ++places;
        }
    }
    if (places < kMinimumDigitPlaces)
        ghost.prepend(QString(kMinimumDigitPlaces - places, QLatin1Char('8')));
    return ghost;
}

} // namespace

QString sevenSegmentFamily() {
    static const QString family = [] {
        const QString wanted = QStringLiteral("DSEG7 Classic");
        if (QFontDatabase::families().contains(wanted))
            return wanted;
        // Fontconfig may not be consulted on every platform plugin; load the file directly.
        const int id = QFontDatabase::addApplicationFont(
            QStringLiteral("/usr/share/fonts/truetype/dseg/DSEG7Classic-Regular.ttf"));
        const QStringList loaded = QFontDatabase::applicationFontFamilies(id);
        return loaded.isEmpty() ? QStringLiteral("Monospace") : loaded.first();
    }();
    return family;
}

NumericDisplay::NumericDisplay(QWidget* parent)
    : QWidget(parent), m_digits(colorFromBgr(kDefaultDisplayColors[SlotText])),
      m_background(colorFromBgr(kDefaultDisplayColors[SlotDisplay])) {
    setAttribute(Qt::WA_OpaquePaintEvent);
    setMinimumSize(40, 16);
}

void NumericDisplay::setValue(double value) {
    if (value == m_value)
        return;
    m_value = value;
    updateAtFramePace(this);
}

void NumericDisplay::setFormat(const QString& format) {
    if (format == m_format)
        return;
    m_format = format;
    update();
}

QString NumericDisplay::numberText() const {
    return displayNumberText(m_value, m_format);
}

QString NumericDisplay::unitText() const {
    return displayUnit(parseDisplayFormat(m_format).unit);
}

void NumericDisplay::setColors(const QColor& digits, const QColor& background) {
    m_digits = digits;
    m_background = background;
    update();
}

QSize NumericDisplay::sizeHint() const {
    return QSize(255, 55);
}

void NumericDisplay::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.fillRect(rect(), m_background);
    p.setRenderHint(QPainter::TextAntialiasing);

    const QRect inner = rect().adjusted(4, 3, -4, -3);
    const QString unit = unitText();

    QFont unitFont = font();
    unitFont.setPixelSize(qMax(8, int(inner.height() * 0.34)));
    const QFontMetrics unitMetrics(unitFont);
    const int unitWidth = unit.isEmpty() ? 0 : unitMetrics.horizontalAdvance(unit) + 6;

    const QString number = numberText();
    const QString ghost = unlitSegments(number);
    QFont digitFont(sevenSegmentFamily());
    int pixelSize = qMax(6, int(inner.height() * 0.78));
    digitFont.setPixelSize(pixelSize);
    // Shrink until the widest of number and unlit segments fits beside the unit.
    const int room = qMax(10, inner.width() - unitWidth);
    for (;;) {
        const QFontMetrics fm(digitFont);
        const int wide = qMax(fm.horizontalAdvance(ghost), fm.horizontalAdvance(number));
        if (wide <= room || pixelSize <= 6)
            break;
        pixelSize = qMax(6, pixelSize * room / wide);
        digitFont.setPixelSize(pixelSize);
        if (pixelSize == 6)
            break;
    }

    const QRect digitsRect(inner.left(), inner.top(), room, inner.height());
    p.setFont(digitFont);
    QColor unlit = m_digits;
    unlit.setAlpha(28);
    p.setPen(unlit);
    p.drawText(digitsRect, Qt::AlignRight | Qt::AlignVCenter, ghost);
    p.setPen(m_digits);
    p.drawText(digitsRect, Qt::AlignRight | Qt::AlignVCenter, number);

    if (!unit.isEmpty()) {
        p.setFont(unitFont);
        const QRect unitRect(inner.right() - unitWidth + 1, inner.top(), unitWidth, inner.height());
        p.drawText(unitRect.adjusted(6, 0, 0, -int(inner.height() * 0.12)), Qt::AlignLeft | Qt::AlignBottom,
                   unit);
    }
}

} // namespace kvx
