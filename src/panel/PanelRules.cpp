#include "PanelRules.h"

#include "FunctionCatalogue.h"
#include "ValueRules.h"

#include <algorithm>
#include <cmath>

namespace kvx::panel {

const std::vector<RangeOption>& rangeOptions(RangeGroup group) {
    // Captions are the meter's own labels, spacing included.
    static const std::vector<RangeOption> voltage{{"0.5V", 0.5}, {"5 V", 5},      {"50V", 50},
                                                  {"500V", 500}, {"1200V", 1200}, {"Auto", 0}};
    static const std::vector<RangeOption> current{{"0.5mA", 0.5}, {"5mA", 5},       {"50mA", 50},
                                                  {"500mA", 500}, {"2000mA", 2000}, {"20000mA", 20000},
                                                  {"Auto", 0}};
    static const std::vector<RangeOption> resistance{
        {"Auto", 0},      {"0.5kOhm", 0.5},   {"5kOhm", 5},        {"50kOhm", 50},
        {"500kOhm", 500}, {"5000kOhm", 5000}, {"20000kOhm", 20000}};
    static const std::vector<RangeOption> capacitance{{"Auto", 0},     {"5 nF", 5},      {"50 nF", 50},
                                                      {"500 nF", 500}, {"5000nF", 5000}, {"50000 nF", 50000}};
    switch (group) {
    case RangeGroup::Voltage:
        return voltage;
    case RangeGroup::Current:
        return current;
    case RangeGroup::Resistance:
        return resistance;
    case RangeGroup::Capacitance:
        break;
    }
    return capacitance;
}

RangeGroup groupOf(FunctionFrame frame) {
    switch (frame) {
    case FunctionFrame::Current:
        return RangeGroup::Current;
    case FunctionFrame::Resistance:
        return RangeGroup::Resistance;
    case FunctionFrame::Capacitance:
        return RangeGroup::Capacitance;
    default:
        return RangeGroup::Voltage;
    }
}

double rangeValue(RangeGroup group, int index) {
    const auto& options = rangeOptions(group);
    if (index < 0 || index >= static_cast<int>(options.size()))
        return 0.0;
    return options[static_cast<size_t>(index)].value;
}

QString primaryDigitsPattern(const QString& unit, double largestMagnitude) {
    // Every unit's coarsest band starts above 500 of its own unit (its top bound,
    // 1200 V, 20000 mA, 20000 kohm or 50000 kHz/nF, lies above that and is inclusive),
    // so the bands below agree for all units. A reading right at a bound keeps the
    // finer pattern.
    Q_UNUSED(unit);
    const double m = largestMagnitude;
    if (m > 500)
        return QStringLiteral(".0 ");
    if (m > 50)
        return QStringLiteral(".#0 ");
    if (m > 5)
        return QStringLiteral(".##0 ");
    return QStringLiteral(".###0 ");
}

QString displayUnit(const QString& unit) {
    return unit.isEmpty() ? QStringLiteral("V") : kvx::displayUnit(unit);
}

QString primaryFormatText(const QString& unit, double largestMagnitude) {
    return primaryDigitsPattern(unit, largestMagnitude) + QLatin1Char('"') + displayUnit(unit) +
           QLatin1Char('"');
}

QString secondaryFormatText(const QString& unit) {
    // Unlike the primary display, no unit here means none: the display is off.
    return QStringLiteral(".##0 \"") + (unit.isEmpty() ? QString() : displayUnit(unit)) + QLatin1Char('"');
}

QString restoreKeyFor(const QString& savedFunction) {
    const MeterFunction* saved = functionForSavedName(trimBlanks(savedFunction));
    return QLatin1String(saved ? saved->key : "cmdDCV");
}

int rearmInterval(double tickSeconds, int currentInterval) {
    // The clock counts whole milliseconds; rounding undoes the binary fraction of
    // a difference of two seconds-of-day values (1.3 s must give 1300 ms, not 1299).
    const long long tookMs = std::max(0LL, std::llround(tickSeconds * 1000.0));
    const long long wholeSeconds = tookMs / 1000;
    if (wholeSeconds >= 5)
        return currentInterval;
    return static_cast<int>((wholeSeconds + 1) * 1000 - tookMs);
}

bool totalTimeElapsed(const QString& totalTime, double elapsedMinutes) {
    const QString text = trimBlanks(totalTime);
    if (text == QLatin1String("Continuous"))
        return false;
    return elapsedMinutes > parseLeadingNumber(text);
}

QString triggerIntervalCaption(double seconds) {
    return QStringLiteral("間隔Time: ") + fixedDecimals(seconds, 2) + QStringLiteral("sec");
}

QString initialIntervalCaption() {
    return QStringLiteral("間隔Time: 1sec");
}

QString clockDisplayText(const QDateTime& when) {
    return when.toString(QStringLiteral("hh:mm:ss MM d, yyyy"));
}

} // namespace kvx::panel
