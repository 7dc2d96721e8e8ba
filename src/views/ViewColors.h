#pragma once
// The seven display colours of the settings (0x00BBGGRR, red in the low byte)
// and what each one paints in the views.

#include <QColor>
#include <array>

namespace kvx {

using DisplayColors = std::array<quint32, 7>;

enum ColorSlot : int {
    TextColor = 0,       // axis labels and captions, the digits of the displays
    GridColor = 1,       // grid lines, the dial's scale
    MarkerColor = 2,     // the two cursors, the dial's needle
    BackgroundColor = 3, // plot area, display and dial face
    PlayColor = 4,       // the limit and reference lines and marks
    TraceColor = 5,      // the trace itself
    FrameColor = 6,      // the area around the plot and displays
};

// The colours the settings' "Default" gives.
inline constexpr DisplayColors kDefaultDisplayColors{65280u, 11010216u, 255u, 0u, 5811368u, 16776960u, 0u};

inline QColor colorFromBgr(quint32 bgr) {
    return QColor(int(bgr & 0xFF), int((bgr >> 8) & 0xFF), int((bgr >> 16) & 0xFF));
}

} // namespace kvx
