#pragma once
// Everything the window program does between parsing its command line and its
// event loop, kept in the library so that tests and benchmarks run the same start-up.

#include "AppOptions.h"

class QApplication;

namespace kvx {

class mdiMain;

// Names the application and gives its default font a CJK fallback, so that
// captions in Chinese or Japanese render whatever the desktop's font is.
void prepareApplication(QApplication& app);

// Runs the program: start-up, the window, --start and --screenshot, then the
// event loop. Returns the process exit code.
int runApplication(QApplication& app, const AppOptions& options);

// Saves a picture of the frame and its child windows. False with the reason.
bool saveWindowPicture(mdiMain& frame, const QString& file, QString* error);

} // namespace kvx
