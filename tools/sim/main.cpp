#include "signalwatcher.h"
#include "simlog.h"
#include "simoptions.h"
#include "simulator.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QLoggingCategory>

#include <csignal>
#include <cstdio>

using namespace kvxsim;

namespace {

std::uint32_t chooseSeed(const SimOptions& options) {
    if (options.seed)
        return *options.seed;
    return static_cast<std::uint32_t>(QDateTime::currentMSecsSinceEpoch());
}

void announce(const QString& address) {
    // The host script waits for this line, so it must not sit in a buffer.
    std::fputs(qPrintable(address + QLatin1Char('\n')), stdout);
    std::fflush(stdout);
}

} // namespace

int main(int argc, char* argv[]) {
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("kvx5130-sim"));

    const OptionsResult parsed = parseSimOptions(QCoreApplication::arguments());
    if (parsed.helpRequested) {
        std::fputs(qPrintable(simUsageText()), stdout);
        return 0;
    }
    if (!parsed.options) {
        std::fprintf(stderr, "kvx5130-sim: %s\nTry 'kvx5130-sim --help'.\n", qPrintable(parsed.error));
        return 2;
    }
    const SimOptions& options = *parsed.options;
    if (!options.verbose)
        QLoggingCategory::setFilterRules(QStringLiteral("kvx.sim.debug=false\nkvx.sim.info=false"));
    std::signal(SIGPIPE, SIG_IGN);

    SignalWatcher signalWatcher;
    QObject::connect(&signalWatcher, &SignalWatcher::terminationRequested, &app, &QCoreApplication::quit);

    const std::uint32_t seed = chooseSeed(options);
    Simulator simulator(options, seed);
    QString error;
    if (!simulator.start(&error)) {
        std::fprintf(stderr, "kvx5130-sim: %s\n", qPrintable(error));
        return 1;
    }
    announce(simulator.address());
    qCInfo(lcSim) << "seed" << seed;
    return QCoreApplication::exec();
}
