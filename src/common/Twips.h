#pragma once
// Window geometry is given in twips; the screen has 15 of them to a pixel.

namespace kvx {

constexpr double kTwipsPerPixel = 15.0;

constexpr int twipsToPixels(double twips) {
    const double pixels = twips / kTwipsPerPixel;
    return static_cast<int>(pixels >= 0 ? pixels + 0.5 : pixels - 0.5);
}
constexpr double pixelsToTwips(int pixels) {
    return pixels * kTwipsPerPixel;
}

} // namespace kvx
