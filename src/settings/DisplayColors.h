#pragma once
// The seven display colours of the operation record and the views each drives.
// Colours are stored as 0x00BBGGRR (red in the low byte).
//
// Swatch (record slot) -> what it colours:
//   0 Text        the digits of the digital screen and the graph's captions and read-outs
//   1 Grid        the trend graph's grid lines
//   2 Marker      limit and relative lines, cursors and the dial's limit marks
//   3 Background  the trend graph's plot area
//   4 Play        a trace replayed from the record store (not recorded live)
//   5 Trace       the live trace line
//   6 Display     the background of the digital screen
// The factory colours (green text, purple grid, red markers, black plot, olive
// replay, cyan trace, black display) read well on the dark plot this order gives.

#include <QColor>
#include <QString>
#include <array>

namespace kvx {

enum class DisplayColor { Text = 0, Grid, Marker, Background, Play, Trace, Display };

inline constexpr int kDisplayColorCount = 7;

// Captions beside the swatches, in slot order.
inline const std::array<const char*, kDisplayColorCount> kDisplayColorCaptions = {
    "Text : ", "Grid : ", "Marker : ", "Background : ", "Play : ", "Trace : ", "Display : "};

// What "Default" puts in slots 0 to 6.
inline constexpr std::array<quint32, kDisplayColorCount> kDefaultDisplayColors = {65280,   11010216, 255, 0,
                                                                                  5811368, 16776960, 0};

inline QColor colorFromRecord(quint32 bgr) {
    return QColor(int(bgr & 0xFF), int((bgr >> 8) & 0xFF), int((bgr >> 16) & 0xFF));
}

inline quint32 colorToRecord(const QColor& color) {
    return quint32(color.red()) | (quint32(color.green()) << 8) | (quint32(color.blue()) << 16);
}

} // namespace kvx
