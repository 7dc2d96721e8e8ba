#pragma once
// Window geometry is given in twips; the screen has 15 of them to a pixel.

#include <cmath>

namespace kvx::views {

constexpr double kTwipsPerPixel = 15.0;

inline int twipsToPixels(double twips) {
    return static_cast<int>(std::lround(twips / kTwipsPerPixel));
}
inline double pixelsToTwips(int pixels) {
    return pixels * kTwipsPerPixel;
}

} // namespace kvx::views
