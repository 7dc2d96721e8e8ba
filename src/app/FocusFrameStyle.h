#pragma once
// The platform style with a focus frame that can be seen: a two-pixel ring in
// the highlight colour around the control that has the keyboard focus. The
// styles' own marks (a faint inner line, a dotted rectangle) are easily lost on
// the panel's rows of keys.

#include <QProxyStyle>

namespace kvx {

class FocusFrameStyle final : public QProxyStyle {
public:
    using QProxyStyle::QProxyStyle;
    void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                       const QWidget* widget = nullptr) const override;
    void drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                     const QWidget* widget = nullptr) const override;
};

} // namespace kvx
