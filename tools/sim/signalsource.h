#pragma once

#include "meterfunction.h"

#include <cstdint>
#include <random>

namespace kvxsim {

// The signal on the probes: a slow random walk around each function's typical value
// plus reading-to-reading scatter. Built on mt19937 and our own conversions, because the
// standard distributions differ between library vendors and the same seed must give the
// same readings everywhere.
class SignalSource {
public:
    explicit SignalSource(std::uint32_t seed);

    double sample(Function function);
    double frequencyKilohertz();
    // The signal without scatter; the auto ranger looks at this so that noise alone
    // cannot make it flip between ranges.
    double steadyValue(Function function) const;

private:
    double uniform();
    double roughlyNormal();
    void walk(double& drift, double step, double limit);

    std::mt19937 m_rng;
    double m_drift = 0.0;
    double m_frequencyDrift = 0.0;
};

} // namespace kvxsim
