#pragma once
// The seven display colours of the operation record (0x00BBGGRR, red in the low
// byte), in the slot order of the settings dialog's swatches, and what each one
// paints in the views.

#include <QColor>
#include <array>

namespace kvx {

using DisplayColors = std::array<quint32, 7>;

enum ColorSlot : int {
    SlotText = 0,       // digits of the digital screen; captions, axis labels and dial numbers
    SlotGrid = 1,       // the graph's grid lines and the dial's scale
    SlotMarker = 2,     // limit and relative lines, the cursors, the dial's limit and relative marks
    SlotBackground = 3, // the graph's plot area and the dial face
    SlotPlay = 4,       // a trace rebuilt from the record store rather than recorded live
    SlotTrace = 5,      // the live trace and the dial's needle
    SlotDisplay = 6,    // background of the digital screen
};

// The colours the views start with; the same as the settings' "Default".
inline constexpr DisplayColors kFactoryViewColors{65280u, 11010216u, 255u, 0u, 5811368u, 16776960u, 0u};

inline QColor colorFromBgr(quint32 bgr) {
    return QColor(int(bgr & 0xFF), int((bgr >> 8) & 0xFF), int((bgr >> 16) & 0xFF));
}

} // namespace kvx
