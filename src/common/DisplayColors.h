#pragma once
// The seven display colours of the operation record, in the slot order of the
// settings dialog's swatches, and what each one paints. Colours are stored as
// 0x00BBGGRR (red in the low byte).
//
// The factory colours (green text, purple grid, red markers, black plot, olive
// replay, cyan trace, black display) read well on the dark plot this order gives.

#include <QColor>
#include <array>

namespace kvx {

inline constexpr int kDisplayColorCount = 7;
using DisplayColors = std::array<quint32, kDisplayColorCount>;

enum ColorSlot : int {
    SlotText = 0,       // digits of the digital screen; captions, axis labels and dial numbers
    SlotGrid = 1,       // the graph's grid lines and the dial's scale
    SlotMarker = 2,     // limit and relative lines, the cursors, the dial's limit and relative marks
    SlotBackground = 3, // the graph's plot area and the dial face
    SlotPlay = 4,       // a trace rebuilt from the record store rather than recorded live
    SlotTrace = 5,      // the live trace and the dial's needle
    SlotDisplay = 6,    // background of the digital screen
};

// Captions beside the swatches, in slot order.
inline const std::array<const char*, kDisplayColorCount> kDisplayColorCaptions = {
    "Text : ", "Grid : ", "Marker : ", "Background : ", "Play : ", "Trace : ", "Display : "};

// What "Default" puts in slots 0 to 6, and what the views start with.
inline constexpr DisplayColors kDefaultDisplayColors{65280u, 11010216u, 255u, 0u, 5811368u, 16776960u, 0u};

// The colours the views paint with: a record that never held colours (all
// zero, a first run) leaves them at the factory colours.
inline const DisplayColors& displayColorsInUse(const DisplayColors& stored) {
    for (quint32 color : stored) {
        if (color != 0)
            return stored;
    }
    return kDefaultDisplayColors;
}

inline QColor colorFromBgr(quint32 bgr) {
    return QColor(int(bgr & 0xFF), int((bgr >> 8) & 0xFF), int((bgr >> 16) & 0xFF));
}

inline quint32 colorToBgr(const QColor& color) {
    return quint32(color.red()) | (quint32(color.green()) << 8) | (quint32(color.blue()) << 16);
}

} // namespace kvx
