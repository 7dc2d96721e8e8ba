// kvx5130-windows: the window program, started by `kvx5130` with the command line
// it was given (see Commands.h). All of it lives in kvx_app.
#include "AppOptions.h"
#include "AppRun.h"
#include "Commands.h"

#include <QApplication>
#include <cstdio>

namespace {

// Without one of these the window system cannot start, and Qt ends the process
// with an abort instead of a message.
bool displayNamed() {
    for (const char* variable : {"QT_QPA_PLATFORM", "DISPLAY", "WAYLAND_DISPLAY"}) {
        if (!qEnvironmentVariableIsEmpty(variable))
            return true;
    }
    return false;
}

} // namespace

int main(int argc, char** argv) {
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);
    const kvx::AppOptions options = kvx::parseAppOptions(arguments);
    if (!options.error.isEmpty() || options.helpRequested)
        return kvx::printUsage(options.error, kvx::appUsageText());
    // An export draws its report off screen and must work without a desktop.
    if (options.exportRecord >= 0 && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    if (!displayNamed()) {
        std::fputs("kvx5130: there is no display to show the windows on (DISPLAY and WAYLAND_DISPLAY are "
                   "not set); QT_QPA_PLATFORM=offscreen runs the program without one\n",
                   stderr);
        return 1;
    }
    QApplication app(argc, argv);
    kvx::prepareApplication(app);
    return kvx::runApplication(app, options);
}
