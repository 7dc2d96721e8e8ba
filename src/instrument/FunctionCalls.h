#pragma once
// A function of the catalogue (FunctionCatalogue.h) sent to the meter: the
// driver member its row names, with the range of its group. The front panel's
// keys and the headless logger's --function go through here.

#include "FunctionCatalogue.h"

namespace kvx {

class clsKVX5310;

// Sends `call` with `range` (0: automatic). The two "+ frequency" calls add the
// frequency to the AC function sent before them; the caller sends that first.
void callFunction(clsKVX5310& meter, DriverCall call, double range);

} // namespace kvx
