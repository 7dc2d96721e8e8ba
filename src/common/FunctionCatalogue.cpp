#include "FunctionCatalogue.h"

namespace kvx {

namespace {

using F = FunctionFrame;
using D = DriverCall;

// "Resitance" and "Frequence" are the meter driver's own spellings of the names it saves.
const std::vector<MeterFunction> kFunctions = {
    {"cmdDCV", "DCV", "DC voltage", D::VoltageDC, "DCV", nullptr, "DC Voltage", "Voltage", "", F::Voltage,
     F::Voltage, "DCV", F::Voltage, "430", true, "mnuDCV", "DC Voltage", "cmdDCV", 0},
    {"cmdACV", "ACV", "AC voltage", D::VoltageAC, "ACV", nullptr, "AC Voltage", "Voltage", "", F::Voltage,
     F::Voltage, "ACV", F::Voltage, "430", true, "mnuACV", "AC Voltage", "cmdACV", 1},
    {"cmdACDC_Vol", "ACDCV", "AC plus DC voltage", D::VoltageACDC, "AC+DCV", nullptr, "AC+DC Voltage",
     "Voltage", "", F::Voltage, F::Voltage, "ACDCV", F::Voltage, "430", true, "mnuACDCVol", "AC+DC Voltage",
     "cmdACDC_Vol", 2},
    // The frequency display does not cover the lowest and the two highest voltage ranges.
    {"cmdACVFeq", "ACV Feq", "AC voltage and frequency", D::VoltageFrequency, "Hz+ACV", "ACV + Frequence",
     "ACV + Frequence", "Voltage", "Frequence", F::Voltage, F::Voltage, "ACVFREQ", F::Voltage, "403", false,
     "mnuACVFEQ", "ACV+Frequency", "cmdACA_Frq", 3},
    {"cmdRipple", "Ripple", "Ripple", D::Nothing, "RIPPLE", nullptr, "Ripple", "", "", F::Voltage, F::Voltage,
     "RIPPLE", F::Voltage, "430", false, "mnuRipple", "Ripple", "cmdRipple", 4},
    {"cmdDCA", "DCA", "DC current", D::CurrentDC, "DCA", nullptr, "DC Current", "Current", "", F::Current,
     F::Current, "DCA", F::Current, nullptr, false, "mnuDCC", "DC Current", "cmdDCA", 5},
    {"cmdACA", "ACA", "AC current", D::CurrentAC, "ACA", nullptr, "AC Current", "Current", "", F::Current,
     F::Current, "ACA", F::Current, nullptr, false, "mnuACC", "AC Current", "cmdACA", 6},
    {"cmdACDC_Cur", "ACDCA", "AC plus DC current", D::CurrentACDC, "AC+DCA", nullptr, "AC+DC Current",
     "Current", "", F::Current, F::Current, "ACDCA", F::Current, nullptr, false, "mnuACDCCur",
     "AC+DC Current", nullptr, 7},
    // Its tag lives in the voltage frame, so a voltage option re-runs this key; the
    // current key it presses leaves the current frame in front.
    {"cmdACA_Frq", "ACA Feq", "AC current and frequency", D::CurrentFrequency, "Hz+ACA", nullptr,
     "ACA + Frequence", "Current", "Frequence", F::Voltage, F::Current, "ACAFREQ", F::Voltage, "4", false,
     "mnuACAFeq", "ACA+Frequency", "cmdACA_Frq", 8},
    {"cmdDIODE", "Diode", "Diode", D::Diode, "DIODE", nullptr, "Diode", "Diode", "", F::Voltage, F::Voltage,
     "DIODE", F::Voltage, nullptr, false, "mnuDiode", "Diode", "cmdDIODE", 11},
    {"cmdOhm", "\u03A9", "Resistance", D::Resistance, "OHM", nullptr, "Resitance", "Resitance", "",
     F::Resistance, F::Resistance, nullptr, F::None, nullptr, false, "mnuResitance", "Resistance", "cmdOhm",
     9},
    {"cmdCapacitance", "nF", "Capacitance", D::Capacitance, "CAPACITANCE", nullptr, "Capacitance",
     "Capacitance", "", F::Capacitance, F::Capacitance, nullptr, F::None, nullptr, false, "mnuCapacitance",
     "Capacitance", "cmdCapacitance", 10},
    // Continuity has no range group: the range field keeps what it shows.
    {"cmdContinue", "Continue", "Continuity", D::Continuity, "CONT", nullptr, "Continuity", "Continuity", "",
     F::None, F::None, nullptr, F::None, nullptr, false, "mnuContinuity", "Coutinuity", "cmdContinue", 12},
};

template <class Match> const MeterFunction* find(Match match) {
    for (const MeterFunction& function : kFunctions) {
        if (match(function))
            return &function;
    }
    return nullptr;
}

bool is(const QString& text, const char* value) {
    return value && text == QLatin1String(value);
}

} // namespace

const std::vector<MeterFunction>& meterFunctions() {
    return kFunctions;
}

const MeterFunction* functionForReply(const QString& reply) {
    return find([&](const MeterFunction& f) { return is(reply, f.reply) || is(reply, f.otherReply); });
}

const MeterFunction* functionForKey(const QString& key) {
    return find([&](const MeterFunction& f) { return is(key, f.key); });
}

const MeterFunction* functionForSavedName(const QString& saved) {
    return find([&](const MeterFunction& f) { return is(saved, f.reply) || is(saved, f.name); });
}

} // namespace kvx
