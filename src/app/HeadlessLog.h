#pragma once
// `kvx5130 log`: logging one or more meters with no window and no display.
// Each meter has an instrument object of its own, connected through its
// --link text. On every tick each meter is read in turn (primary then
// secondary reading, as the front panel does) and one row goes out with all of
// them; the rows are handed to the file as they come, so a long log is on the
// disk, and the file is put in place when the count or duration is reached or a
// quit signal arrives. A QCoreApplication must exist; none of the window
// classes is touched.

#include "AppOptions.h"

namespace kvx {

// Runs the logger to its end; the exit code: 0, or 1 after a message on stderr
// (a link that cannot be opened, a file that cannot be written).
int runHeadlessLog(const LogOptions& options);

} // namespace kvx
