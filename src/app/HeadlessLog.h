#pragma once
// `kvx5130 log`: logging one or more meters with no window and no display.
// Each meter has an instrument object of its own, connected through its
// --link text. On every tick each meter is read in turn (primary then
// secondary reading, as the front panel does) and one row goes out with all of
// them; the rows are handed to the file as they come, so a long log is on the
// disk, and the file is put in place when the count or duration is reached or a
// quit signal arrives. A QCoreApplication must exist; none of the window
// classes is touched.
//
// --function and --range are sent to every meter before the first tick.
// The first meter's readings feed the working trace (WorkingTrace.h), which a
// status and a monitor page read. With --folder or --record the logger holds the
// program folder as the window program does and answers --send status and stop
// on its socket; --record stores the first meter's readings as a window trace is
// stored and saves them as a numbered record at the end.

#include "AppOptions.h"

namespace kvx {

// Runs the logger to its end; the exit code: 0, or 1 after a message on stderr
// (a link that cannot be opened, a file that cannot be written).
int runHeadlessLog(const LogOptions& options);

} // namespace kvx
