#include "TraceStatistics.h"

#include <cmath>

namespace kvx {

TraceStatistics::Change TraceStatistics::add(double value, double bandLow, double bandHigh) {
    Change change;
    const qint32 index = sampleCount;
    if (value > maxValue) {
        maxValue = value;
        maxIndex = index;
        change.max = true;
    }
    if (value < minValue) {
        minValue = value;
        minIndex = index;
        change.min = true;
    }
    if (std::fabs(value) > peakAbs) {
        peakAbs = std::fabs(value);
        change.peak = true;
    }
    if (value > bandLow && bandHigh > value)
        ++matchCount;
    ++sampleCount;
    return change;
}

} // namespace kvx
