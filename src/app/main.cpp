// kvx5130: the KVX-5130 bench multimeter program. This executable reads the command
// line and runs what needs no window itself (`kvx5130 log`, the record list,
// exports, copies, --send); for the windows it hands the command line to the
// window program. It links no window library, so those commands start as fast as
// a plain Qt program.
#include "AppOptions.h"
#include "Commands.h"
#include "HeadlessLog.h"

#include <QCoreApplication>
#include <cstdio>

int main(int argc, char** argv) {
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);
    if (kvx::isLogCommand(arguments)) {
        const kvx::LogOptions log = kvx::parseLogOptions(arguments);
        if (!log.error.isEmpty() || log.helpRequested)
            return kvx::printUsage(log.error, kvx::logUsageText());
        // Qt's own event loop rather than glib's: glib's wakes itself through an
        // eventfd at every change of a socket notifier, two more system calls for
        // each of the logger's exchanges.
        if (!qEnvironmentVariableIsSet("QT_NO_GLIB"))
            qputenv("QT_NO_GLIB", "1");
        QCoreApplication app(argc, argv);
        return kvx::runHeadlessLog(log);
    }
    const kvx::AppOptions options = kvx::parseAppOptions(arguments);
    if (!options.error.isEmpty() || options.helpRequested)
        return kvx::printUsage(options.error, kvx::appUsageText());
    if (options.versionRequested) {
        std::printf("kvx5130 %s\n", kvx::kAppVersion);
        return 0;
    }
    if (kvx::runsWithoutWindows(options)) {
        QCoreApplication app(argc, argv);
        return kvx::runRecordCommand(options);
    }
    return kvx::runWindowProgram(argv);
}
