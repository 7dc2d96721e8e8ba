#pragma once
// MAX, MIN, peak and match count of a trace: the graph, the live status and
// the monitor page all count them by these rules.

#include <QtGlobal>

namespace kvx {

// The trace's running statistics, the same whether the samples come one by one
// from the meter or all at once from the store.
struct TraceStatistics {
    qint32 sampleCount = 0;
    // Runs on across clears and rebuilds: only a new window starts it at 0.
    qint32 matchCount = 0;
    double maxValue = -1000000000.0;
    qint32 maxIndex = -1;
    double minValue = 1000000000.0;
    qint32 minIndex = -1;
    // The largest magnitude seen; never lowered, so the Y range never narrows.
    double peakAbs = 0.0;

    // What one more sample changed, for the captions and the Y axis.
    struct Change {
        bool max = false, min = false, peak = false;
    };
    // Strict wins (a tie keeps the earlier sample). A match lies inside the band,
    // both ends excluded; empty limits read as 0, so nothing matches then.
    Change add(double value, double bandLow, double bandHigh);
    // A cleared graph counts its samples, MAX and MIN again; the match count and
    // the peak run on.
    void clearSamples() {
        const TraceStatistics fresh;
        sampleCount = fresh.sampleCount;
        maxValue = fresh.maxValue;
        maxIndex = fresh.maxIndex;
        minValue = fresh.minValue;
        minIndex = fresh.minIndex;
    }
};

} // namespace kvx
