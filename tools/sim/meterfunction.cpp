#include "meterfunction.h"

#include <cmath>

namespace kvxsim {

namespace {

const std::vector<double> kVoltRanges{0.5, 5, 50, 500, 1200};
const std::vector<double> kMilliampRanges{0.5, 5, 50, 500, 2000, 20000};
const std::vector<double> kKiloohmRanges{0.5, 5, 50, 500, 5000, 20000};
const std::vector<double> kNanofaradRanges{5, 50, 500, 5000, 50000};

// Signals a bench user would plausibly have connected: a lab supply, the mains, a
// small load current, a 4.7 kohm resistor, a 100 nF capacitor, a silicon diode.
const FunctionTraits kTraits[] = {
    {"DCV", nullptr, kVoltRanges, 3.2541, 0.0002, QuesVoltageOverload, true},
    {"ACV", "Hz+ACV", kVoltRanges, 230.12, 0.0005, QuesVoltageOverload, true},
    {"AC+DCV", nullptr, kVoltRanges, 230.31, 0.0005, QuesVoltageOverload, true},
    {"RIPPLE", nullptr, kVoltRanges, 0.04512, 0.004, QuesVoltageOverload, true},
    {"DCA", nullptr, kMilliampRanges, 1.8523, 0.0006, QuesCurrentOverload, false},
    {"ACA", "Hz+ACA", kMilliampRanges, 23.514, 0.0008, QuesCurrentOverload, false},
    {"AC+DCA", nullptr, kMilliampRanges, 23.602, 0.0008, QuesCurrentOverload, false},
    {"OHM", nullptr, kKiloohmRanges, 4.7023, 0.0001, QuesOhmOverload, false},
    {"CAPACITANCE", nullptr, kNanofaradRanges, 100.27, 0.001, QuesCapacitanceOverload, false},
    {"DIODE", nullptr, {5}, 0.6124, 0.0005, QuesVoltageOverload, true},
    {"CONT", nullptr, {0.5}, 0.01043, 0.003, QuesOhmOverload, false},
};

bool sameRange(double a, double b) {
    return std::abs(a - b) <= 1e-9 * std::max(1.0, std::abs(b));
}

} // namespace

const FunctionTraits& traitsOf(Function function) {
    return kTraits[static_cast<int>(function)];
}

std::optional<double> smallestRangeHolding(const FunctionTraits& traits, double value) {
    for (double range : traits.ranges) {
        if (std::abs(value) <= range)
            return range;
    }
    return std::nullopt;
}

std::optional<double> matchRange(const FunctionTraits& traits, double requested) {
    for (double range : traits.ranges) {
        if (sameRange(range, requested))
            return range;
    }
    return std::nullopt;
}

} // namespace kvxsim
