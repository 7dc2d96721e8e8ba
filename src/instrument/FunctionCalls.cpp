#include "FunctionCalls.h"

#include "clsKVX5310.h"

namespace kvx {

void callFunction(clsKVX5310& meter, DriverCall call, double range) {
    switch (call) {
    case DriverCall::Nothing:
        break;
    case DriverCall::VoltageDC:
        meter.VoltageDC(range);
        break;
    case DriverCall::VoltageAC:
        meter.VoltageAC(range);
        break;
    case DriverCall::VoltageACDC:
        meter.VoltageACDC(range);
        break;
    case DriverCall::CurrentDC:
        meter.CurrentDC(range);
        break;
    case DriverCall::CurrentAC:
        meter.CurrentAC(range);
        break;
    case DriverCall::CurrentACDC:
        meter.CurrentACDC(range);
        break;
    case DriverCall::VoltageFrequency:
    case DriverCall::CurrentFrequency:
        // The AC key before it has already been sent; this adds the frequency.
        meter.SFR();
        break;
    case DriverCall::Diode:
        meter.Diode();
        break;
    case DriverCall::Resistance:
        meter.Resitance(range);
        break;
    case DriverCall::Capacitance:
        meter.Capacitance(range);
        break;
    case DriverCall::Continuity:
        meter.Continuity();
        break;
    }
}

} // namespace kvx
