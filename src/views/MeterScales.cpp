#include "MeterScales.h"

namespace kvx {

namespace {

struct Row {
    double from; // lowest peak of the band; the band above starts where this one ends
    const char* gridBase;
    const char* gridMax;
};

// Rows from the top band down. The first row also takes any larger peak. The
// last row of the volt, current and ohm tables is the (-0.5, 0.5) band, whose
// lower end is open; it is tested apart.
const Row kVoltRows[] = {
    {1200, "100", "12"}, {500, "100", "12"}, {50, "10", "50"}, {5, "1", "50"}, {0.5, "1", "5"}};
const Row kCurrentRows[] = {{20000, "1000", "20"}, {2000, "1000", "20"}, {500, "100", "20"},
                            {50, "10", "50"},      {5, "1", "50"},       {0.5, "1", "5"}};
const Row kOhmRows[] = {{20000, "1000", "20"}, {5000, "1000", "20"}, {500, "100", "50"},
                        {50, "10", "50"},      {5, "1", "50"},       {0.5, "1", "5"}};
// The 50000-and-up row gives the 20000 scale, smaller than the band below it: kept.
// The bottom band starts at 0 and there is no 0.5 band: kept.
const Row kCapacitanceRows[] = {{50000, "1000", "20"}, {5000, "1000", "50"}, {500, "100", "50"},
                                {50, "10", "50"},      {5, "1", "50"},       {0, "1", "5"}};

template <size_t N> std::optional<MeterScale> pick(const Row (&rows)[N], double peak, bool halfBand) {
    for (const Row& r : rows) {
        if (peak >= r.from)
            return MeterScale{QString::fromLatin1(r.gridBase), QString::fromLatin1(r.gridMax)};
    }
    if (halfBand && -0.5 < peak && peak < 0.5)
        return MeterScale{QStringLiteral("1"), QStringLiteral("0.5")};
    return std::nullopt;
}

} // namespace

std::optional<MeterScale> meterScaleFor(const QString& unit, double peak) {
    if (unit == QLatin1String("V") || unit.isEmpty())
        return pick(kVoltRows, peak, true);
    if (unit == QLatin1String("mA"))
        return pick(kCurrentRows, peak, true);
    if (unit == QLatin1String("kohm"))
        return pick(kOhmRows, peak, true);
    if (unit == QLatin1String("nF"))
        return pick(kCapacitanceRows, peak, false);
    return std::nullopt;
}

} // namespace kvx
