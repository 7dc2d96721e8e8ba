#pragma once
// What the windows share around the working trace, which itself knows no window:
// the order in which they are handed each reading, and the one-at-a-time lane of
// the long work that replaces the trace or rebuilds a window from it.

#include "BackgroundTask.h"

namespace kvx {

// Makes the working trace hand each reading to the windows registered in forms(),
// in this order whatever order they came in: the digital screen, the data table
// (which decides whether it becomes a sample), the analog meter, the graph. The
// front panel does this when it is made.
void showReadingsInWindows();

// Load Rec and the graph's ReDraw run here one at a time, so that no rebuild reads
// a trace another one is half-way through replacing.
TaskLane& traceRebuilds();

} // namespace kvx
