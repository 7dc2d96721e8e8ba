#include "signalsource.h"

#include <algorithm>

namespace kvxsim {

namespace {
constexpr double kMainsKilohertz = 0.05;
constexpr double kDriftStep = 0.0003;
constexpr double kDriftLimit = 0.012;
constexpr double kFrequencyDriftStep = 0.00005;
constexpr double kFrequencyDriftLimit = 0.002;
} // namespace

SignalSource::SignalSource(std::uint32_t seed) : m_rng(seed) {}

double SignalSource::sample(Function function) {
    walk(m_drift, kDriftStep, kDriftLimit);
    const FunctionTraits& traits = traitsOf(function);
    return steadyValue(function) + traits.typicalSignal * traits.noiseFraction * roughlyNormal();
}

double SignalSource::frequencyKilohertz() {
    walk(m_frequencyDrift, kFrequencyDriftStep, kFrequencyDriftLimit);
    return kMainsKilohertz * (1.0 + m_frequencyDrift + 0.00002 * roughlyNormal());
}

double SignalSource::steadyValue(Function function) const {
    return traitsOf(function).typicalSignal * (1.0 + m_drift);
}

double SignalSource::uniform() {
    return static_cast<double>(m_rng()) / 4294967296.0;
}

double SignalSource::roughlyNormal() {
    // Irwin-Hall with four terms: mean 0, variance 1 after scaling, bounded tails.
    double sum = 0.0;
    for (int i = 0; i < 4; ++i)
        sum += uniform();
    return (sum - 2.0) * 1.7320508;
}

void SignalSource::walk(double& drift, double step, double limit) {
    drift = std::clamp(drift + step * roughlyNormal(), -limit, limit);
}

} // namespace kvxsim
