// kvx5130: the KVX-5130 bench multimeter program. All of it lives in kvx_app.
#include "AppOptions.h"
#include "AppRun.h"

#include <QApplication>
#include <cstdio>

namespace {

// --help works without a display, so it is answered before the window system starts.
bool helpAsked(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        const QByteArray argument(argv[i]);
        if (argument == "--help" || argument == "-h" || argument == "-help")
            return true;
    }
    return false;
}

} // namespace

int main(int argc, char** argv) {
    if (helpAsked(argc, argv)) {
        std::fputs(qPrintable(kvx::appUsageText()), stdout);
        return 0;
    }
    QStringList rawArguments;
    for (int i = 0; i < argc; ++i)
        rawArguments << QString::fromLocal8Bit(argv[i]);
    // An export draws its report off screen and must work without a desktop.
    if (kvx::exportAsked(rawArguments) && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    kvx::prepareApplication(app);
    const kvx::AppOptions options = kvx::parseAppOptions(QApplication::arguments());
    if (!options.error.isEmpty()) {
        std::fprintf(stderr, "kvx5130: %s\n%s", qPrintable(options.error), qPrintable(kvx::appUsageText()));
        return 2;
    }
    return kvx::runApplication(app, options);
}
