#pragma once
// Window places are designed in twips; the screen works in pixels. At 96 dots per
// inch a pixel is 15 twips, and every place the frame sets goes through here.

#include <QtGlobal>

namespace kvx::app {

inline constexpr double kTwipsPerPixel = 15.0;

inline int twipsToPixels(double twips) {
    return qRound(twips / kTwipsPerPixel);
}
inline double pixelsToTwips(int pixels) {
    return pixels * kTwipsPerPixel;
}

} // namespace kvx::app
