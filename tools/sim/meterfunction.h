#pragma once

#include <QString>

#include <optional>
#include <vector>

namespace kvxsim {

enum class Function {
    DcVoltage,
    AcVoltage,
    AcDcVoltage,
    Ripple,
    DcCurrent,
    AcCurrent,
    AcDcCurrent,
    Resistance,
    Capacitance,
    Diode,
    Continuity,
};

// Bits of the questionable-status condition register.
enum QuestionableBit : int {
    QuesVoltageOverload = 1 << 0,
    QuesCurrentOverload = 1 << 1,
    QuesFrequencyNull = 1 << 5,
    QuesOhmOverload = 1 << 9,
    QuesCapacitanceOverload = 1 << 10,
    QuesLimitFailLow = 1 << 11,
    QuesLimitFailHigh = 1 << 12,
};

struct FunctionTraits {
    const char* name;              // reply of ":CONF:FUNC?"
    const char* nameWithFrequency; // reply with the secondary display on frequency, or nullptr
    std::vector<double> ranges;    // full-scale values in the display unit, ascending
    double typicalSignal;          // what the simulated probe sees, in the display unit
    double noiseFraction;          // relative size of the reading-to-reading scatter
    int overloadBit;
    bool isVoltage; // dBm applies only to voltages
};

const FunctionTraits& traitsOf(Function function);

// The smallest range that holds |value|; nullopt when even the top range is too small.
std::optional<double> smallestRangeHolding(const FunctionTraits& traits, double value);

// Matches a range argument against the function's ranges, tolerating "5.0" or "5E0".
std::optional<double> matchRange(const FunctionTraits& traits, double requested);

} // namespace kvxsim
