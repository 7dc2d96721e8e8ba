#pragma once
// The analog dial's scale table, kept apart from the widget so it can be read
// and tested as the table it is.

#include <QString>
#include <optional>

namespace kvx {

// The texts written into GridBase (the multiplier) and GridMax (the dial's end).
struct MeterScale {
    QString gridBase;
    QString gridMax;
    bool operator==(const MeterScale& o) const { return gridBase == o.gridBase && gridMax == o.gridMax; }
};

// The scale for a unit and a peak reading; nullopt keeps the dial as it is
// ("kHz", units outside the table, and peaks below every band). Two rows are
// deliberate: "nF" at 50000 or more falls back to the 20000 scale, and "nF"
// has no 0.5 band. The scale table test pins both.
std::optional<MeterScale> meterScaleFor(const QString& unit, double peak);

} // namespace kvx
