#include "simoptions.h"

#include <QCommandLineParser>

namespace kvxsim {

namespace {

const char* const kUsage = R"(Usage: kvx5130-sim (--pty [--pty-link PATH] | --tcp PORT) [options]

Simulates a KVX-5130 dual-display bench multimeter answering SCPI commands, for
tests and for working on the application without a meter.

The first line written to standard output says where to connect: the pseudo-
terminal's device path (or PATH with --pty-link), or "tcp:127.0.0.1:<port>".
Nothing else goes to standard output; diagnostics go to standard error.

Link (exactly one):
  --pty               Create a pseudo-terminal in raw mode and answer on it.
  --pty-link PATH     With --pty: also make PATH a symbolic link to the device
                      (an existing symbolic link is replaced) and print PATH.
                      The link survives reconnections, the device path does not.
  --tcp PORT          Listen on 127.0.0.1:PORT, one client at a time; 0 picks a
                      free port.

GPIB controller:
  --prologix          Put the meter behind a "++" GPIB controller: host lines
                      beginning with "++" configure the controller (++addr,
                      ++auto, ++eoi, ++eos, ++read, ++ver, ++mode, ++clr, ++loc,
                      ++ifc, ++rst), all other lines go to the instrument.
                      ESC before CR, LF, ESC or '+' sends that byte as data.
  --addr N            The meter's GPIB address (default 7).

Without --prologix the link carries raw SCPI: a command ends at CR or LF.
Each query is answered with its reply and one LF.

Timing:
  --baud N            Pace every byte at 10/N seconds, both ways: replies reach
                      the host, and the host's commands are taken in, no faster
                      than a line at N baud (8N1) carries them (0: no pacing,
                      the default).
  --reply-delay MS    Wait MS milliseconds before answering a query.

Readings and logging:
  --seed N            Seed the simulated readings so that runs repeat; without
                      it the seed comes from the clock.
  --log FILE          Append each command received to FILE, one per line,
                      exactly as received without its terminator.

Faults:
  --no-reply          Never answer a query (commands are still logged).
  --no-reply-after N  Answer until the N-th command arrives, then never again:
                      a meter that hangs in the middle of a trace.
  --garbage           Answer every query with a few random non-numeric bytes.
  --drop-after N      Drop the connection when the N-th command arrives: the
                      pseudo-terminal is closed and its link removed, or the TCP
                      client is closed and listening stops. The meter comes back
                      after --down-ms and drops again after N more commands.
  --down-ms MS        How long the meter stays away after a drop (default 2000).

Other:
  --verbose           Report connections and commands on standard error.
  --help              Show this text.

SIGTERM and SIGINT end the simulator cleanly and remove the --pty-link link.

Examples:
  kvx5130-sim --pty --pty-link /tmp/kvx5130 --log /tmp/kvx5130.log
      then point the application at serial:/tmp/kvx5130
  kvx5130-sim --tcp 5025 --prologix --addr 7 --seed 1
      a "++" controller on tcp:127.0.0.1:5025 with the meter at address 7
  kvx5130-sim --pty --pty-link /tmp/kvx5130 --baud 9600 --reply-delay 50
      a slow serial meter
  kvx5130-sim --tcp 0 --drop-after 20 --down-ms 500
      a meter whose cable falls out every 20 commands
)";

struct IntOption {
    const char* name;
    int* target;
    int minimum;
    int maximum;
};

bool readInt(const QCommandLineParser& parser, const IntOption& option, QString* error) {
    if (!parser.isSet(QLatin1String(option.name)))
        return true;
    bool ok = false;
    const int value = parser.value(QLatin1String(option.name)).toInt(&ok);
    if (!ok || value < option.minimum || value > option.maximum) {
        *error = QStringLiteral("--%1 needs a whole number from %2 to %3")
                     .arg(QLatin1String(option.name))
                     .arg(option.minimum)
                     .arg(option.maximum);
        return false;
    }
    *option.target = value;
    return true;
}

void declareOptions(QCommandLineParser& parser) {
    const char* const valued[] = {"pty-link", "tcp", "addr",       "baud",   "reply-delay",
                                  "seed",     "log", "drop-after", "down-ms", "no-reply-after"};
    const char* const flags[] = {"pty", "prologix", "no-reply", "garbage", "verbose", "help"};
    for (const char* name : valued)
        parser.addOption(QCommandLineOption(QLatin1String(name), QString(), QStringLiteral("value")));
    for (const char* name : flags)
        parser.addOption(QCommandLineOption(QLatin1String(name)));
}

QString checkLinkChoice(const QCommandLineParser& parser) {
    const bool pty = parser.isSet(QStringLiteral("pty"));
    const bool tcp = parser.isSet(QStringLiteral("tcp"));
    if (pty == tcp)
        return QStringLiteral("choose exactly one of --pty and --tcp");
    if (parser.isSet(QStringLiteral("pty-link")) && !pty)
        return QStringLiteral("--pty-link needs --pty");
    if (!parser.positionalArguments().isEmpty())
        return QStringLiteral("unexpected argument: %1").arg(parser.positionalArguments().first());
    return {};
}

bool readSeed(const QCommandLineParser& parser, SimOptions& options, QString* error) {
    if (!parser.isSet(QStringLiteral("seed")))
        return true;
    bool ok = false;
    const qulonglong seed = parser.value(QStringLiteral("seed")).toULongLong(&ok);
    if (!ok || seed > 0xFFFFFFFFull) {
        *error = QStringLiteral("--seed needs a whole number from 0 to 4294967295");
        return false;
    }
    options.seed = static_cast<std::uint32_t>(seed);
    return true;
}

} // namespace

OptionsResult parseSimOptions(const QStringList& arguments) {
    OptionsResult result;
    QCommandLineParser parser;
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    declareOptions(parser);
    if (!parser.parse(arguments)) {
        result.error = parser.errorText();
        return result;
    }
    if (parser.isSet(QStringLiteral("help"))) {
        result.helpRequested = true;
        return result;
    }
    result.error = checkLinkChoice(parser);
    if (!result.error.isEmpty())
        return result;

    SimOptions options;
    int tcpPort = 0;
    const IntOption numbers[] = {
        {"tcp", &tcpPort, 0, 65535},
        {"addr", &options.gpibAddress, 0, 30},
        {"baud", &options.baud, 0, 10000000},
        {"reply-delay", &options.replyDelayMs, 0, 3600000},
        {"drop-after", &options.dropAfter, 0, 1000000000},
        {"down-ms", &options.downMs, 0, 3600000},
        {"no-reply-after", &options.noReplyAfter, 0, 1000000000},
    };
    for (const IntOption& number : numbers) {
        if (!readInt(parser, number, &result.error))
            return result;
    }
    if (!readSeed(parser, options, &result.error))
        return result;

    options.link = parser.isSet(QStringLiteral("tcp")) ? SimOptions::Link::Tcp : SimOptions::Link::Pty;
    options.tcpPort = static_cast<quint16>(tcpPort);
    options.ptyLinkPath = parser.value(QStringLiteral("pty-link"));
    options.logPath = parser.value(QStringLiteral("log"));
    options.prologix = parser.isSet(QStringLiteral("prologix"));
    options.noReply = parser.isSet(QStringLiteral("no-reply"));
    options.garbage = parser.isSet(QStringLiteral("garbage"));
    options.verbose = parser.isSet(QStringLiteral("verbose"));
    result.options = options;
    return result;
}

QString simUsageText() {
    return QString::fromLatin1(kUsage);
}

} // namespace kvxsim
