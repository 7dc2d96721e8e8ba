// kvx5130: the KVX-5130 bench multimeter program. All of it lives in kvx_app.
#include "AppOptions.h"
#include "AppRun.h"
#include "HeadlessLog.h"

#include <QApplication>
#include <QCoreApplication>
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

// The usage text: asked for (exit 0), or after a refused command line (exit 2).
int usage(const QString& refusal, const QString& text) {
    if (refusal.isEmpty()) {
        std::fputs(qPrintable(text), stdout);
        return 0;
    }
    std::fprintf(stderr, "kvx5130: %s\n%s", qPrintable(refusal), qPrintable(text));
    return 2;
}

} // namespace

int main(int argc, char** argv) {
    // The command line is read before the window system starts, so that --help,
    // --version and a refused option work without a display.
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);
    if (kvx::isLogCommand(arguments)) {
        const kvx::LogOptions log = kvx::parseLogOptions(arguments);
        if (!log.error.isEmpty() || log.helpRequested)
            return usage(log.error, kvx::logUsageText());
        QCoreApplication app(argc, argv);
        return kvx::runHeadlessLog(log);
    }
    const kvx::AppOptions options = kvx::parseAppOptions(arguments);
    if (!options.error.isEmpty() || options.helpRequested)
        return usage(options.error, kvx::appUsageText());
    if (options.versionRequested) {
        std::printf("kvx5130 %s\n", kvx::kAppVersion);
        return 0;
    }
    if (kvx::runsWithoutWindows(options)) {
        QCoreApplication app(argc, argv);
        return kvx::runRecordCommand(options);
    }
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
