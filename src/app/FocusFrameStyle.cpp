#include "FocusFrameStyle.h"

#include <QPainter>
#include <QStyleOption>
#include <QWidget>

namespace kvx {

namespace {

constexpr int kRingWidth = 2;

bool hasKeyboardFocus(const QStyleOption* option, const QWidget* widget) {
    return (option->state & QStyle::State_HasFocus) && widget && widget->hasFocus();
}

void drawRing(const QStyleOption* option, QPainter* painter) {
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing, false);
    painter->setPen(QPen(option->palette.color(QPalette::Highlight), kRingWidth));
    painter->setBrush(Qt::NoBrush);
    painter->drawRect(option->rect.adjusted(1, 1, -1, -1));
    painter->restore();
}

} // namespace

void FocusFrameStyle::drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                                    const QWidget* widget) const {
    QProxyStyle::drawPrimitive(element, option, painter, widget);
    // Text fields; the dotted rectangle of radio buttons and check boxes.
    if ((element == PE_FrameLineEdit || element == PE_FrameFocusRect) && hasKeyboardFocus(option, widget))
        drawRing(option, painter);
}

void FocusFrameStyle::drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                                  const QWidget* widget) const {
    QProxyStyle::drawControl(element, option, painter, widget);
    if (element == CE_PushButton && hasKeyboardFocus(option, widget))
        drawRing(option, painter);
}

} // namespace kvx
