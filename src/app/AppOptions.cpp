#include "AppOptions.h"

#include <QCommandLineOption>
#include <QCommandLineParser>

#include "MonitorServer.h"
#include "PanelRules.h"
#include "RecordStore.h"
#include "ValueRules.h"

namespace kvx {

namespace {

const char* const kUsage = R"(Usage: kvx5130 [options]

Remote control, live readings and trace recording for the KVX-5130 dual-display
bench multimeter.

Options:
  --folder DIR   Program folder holding the record database KVX5130.mdb, the
                 settings file KVX-5130.Log and the command log
                 KVX_5130_Exection.log. Default: $KVX5130_FOLDER, else
                 $XDG_DATA_HOME/kvx5130 (~/.local/share/kvx5130). Created when
                 missing.
  --link TEXT    Connect through TEXT instead of the link saved in the settings:
                   serial:/dev/ttyUSB0@9600          RS-232 (any serial device)
                   gpib:0:7                          linux-gpib board 0, address 7
                   prologix:/dev/ttyUSB0:7           "++" GPIB controller, serial
                   prologix-tcp:192.168.0.50:1234:7  "++" GPIB controller, LAN
                   tcp:192.168.0.60:5025             raw SCPI socket
  --start        Start a trace as soon as the windows are up, as if "Start"
                 had been pressed (unattended logging).
  --database TEXT
                 Keep the records on a lab server for this run instead of the
                 store chosen in the Setting dialog:
                   postgresql://user@host:5432/database
                 Any other text, or none, is KVX5130.mdb in the program folder.
                 The password comes from ~/.pgpass or PGPASSWORD, never from
                 the text.
  --bench NAME   This bench's name for this run: saved records carry it and
                 each bench has its own working trace on a lab server.
                 Default: the Setting dialog's, else host name:program folder.
  --list-records [--json] [--bench-filter NAME]
                 List the saved records (number, start and end time, sample
                 count, units, bench, description) and the working trace as
                 record 0, as a table or as JSON, and exit; with
                 --bench-filter only the records that bench saved. No display
                 needed.
  --export-record N [--pdf FILE] [--csv FILE] [--ndjson FILE]
                 Write record N's printed report (PDF), its samples as CSV
                 and/or as NDJSON (one JSON object per line) and exit,
                 without showing a window; record 0 is the working trace.
                 FILE "-" is standard output (for one of the files). Exits
                 non-zero with a message when the record does not exist.
  --http [ADDR:]PORT
                 Serve the monitor page, a live view of the bench for a
                 browser, at PORT on 127.0.0.1 or on ADDR (0.0.0.0: every
                 network); port 0 takes a free one. Overrides the Setting
                 dialog's "Monitor page". The address is said on stderr.
  --http-token FILE
                 Let a browser that sends the token on FILE's first line
                 (header X-Monitor-Token, or the page opened as
                 /?token=TOKEN) use Start, Stop and Save Rec; without it
                 the page is read-only.
  --copy-records FROM TO
                 Copy every record of the store FROM into the store TO (each a
                 database file or a postgresql:// text) under new numbers, with
                 its bench and meter, and exit; a record copied before is left
                 out, so a second run adds nothing. Progress goes to stderr.
  --send COMMAND [TEXT]
                 Drive the kvx5130 that runs on the folder (the window program
                 or a logger) through its socket kvx5130.socket there, print its
                 answer and exit; exits 1 with a message when none runs there or
                 the command fails. COMMAND is one of:
                   status          a JSON object: link, state (LIVE/DEAD),
                                   function, tracing, samples, last reading,...
                   start           start a continuous trace ("tracing")
                   stop            stop it ("stopped")
                   clear           clear the working trace ("cleared")
                   save "TEXT"     save the working trace as a record described
                                   by TEXT, as Save Rec does without its
                                   questions; answers the record's number
                 A logger takes status and stop. The socket's protocol: one line
                 in ("save TEXT"), one line out (JSON or text), "error: WHY" when
                 the command failed.
  --help         Show this text.
  --version      Show the program's version.

kvx5130 log --link TEXT [--link TEXT ...] [options]: log meters without windows
(kvx5130 log --help lists its options).
)";

const char* const kLogUsage = R"(Usage: kvx5130 log --link TEXT [--link TEXT ...] [options]

Polls one or more KVX-5130 meters without a window or a display and writes one
row per tick with every meter's readings, units and no-reply mark, until the
count or duration is reached or SIGINT/SIGTERM arrives; the file is complete
either way. Exits 1 with a message when a link cannot be opened at the start.
A meter that stops answering or whose link drops later never stops the run:
its readings are written as 0 and marked in the no-reply column, its link is
opened again at every tick, and its readings go on once it answers again.

Options:
  --link TEXT          A meter's connection text (see kvx5130 --help); give it
                       once per meter, in the order of the columns.
  --interval S         Seconds between ticks (default 1; fractions allowed; 0:
                       each tick as soon as the last one is done).
  --count N            Stop after N rows.
  --duration D         Stop after D: seconds, or with a unit, 90s, 10m, 2h.
  --format csv|ndjson  CSV with a heading line (default), or one JSON object
                       per line.
  --output FILE        Where the rows go; "-" is standard output (default).
                       When stderr is a terminal the rows do not go to, a line
                       there tells the rows so far and the time elapsed.
  --http [ADDR:]PORT   Serve the monitor page of the first meter (see
                       kvx5130 --help); read-only.
  --function F         Set every meter to the function F first: DCV, ACV,
                       AC+DCV, Hz+ACV, RIPPLE, DCA, ACA, AC+DCA, Hz+ACA, DIODE,
                       OHM, CAPACITANCE or CONT (the meter's own names).
  --range R            With --function: its range, as the front panel offers
                       it (V, mA, kOhm or nF: 0.5, 5, 50, ...), or auto
                       (default).
  --record "TEXT"      Also store the trace in the program folder's record
                       database and save it as a new numbered record described
                       by TEXT, as Save Rec does in the window program: the first
                       --link's meter, one sample per tick with reason code 0
                       (time) and the time columns TimeTick and DiffLastTime. The
                       working trace of the folder must be empty (the window
                       program's Clear, or --send clear), and is emptied again
                       once the record is saved.
  --folder DIR         The program folder (see kvx5130 --help). With --folder
                       or --record the logger holds the folder as the window
                       program does (one program per folder) and answers
                       kvx5130 --folder DIR --send status|stop.
  --help               Show this text.

CSV columns: Time (ISO 8601 with the UTC offset), Tick, then for each meter n
MnPrimary, MnPrimaryUnit, MnSecondary, MnSecondaryUnit, MnNoReply. NDJSON:
{"time":...,"tick":...,"meters":[{"link":...,"primary":...,"primaryUnit":...,
"secondary":...,"secondaryUnit":...,"noReply":false},...]}.
)";

// "90", "90s", "10m", "2h": a duration in milliseconds, or -1.
qint64 durationMs(const QString& text) {
    static const QList<QPair<QString, double>> units{{QStringLiteral("ms"), 1.0},
                                                     {QStringLiteral("s"), 1e3},
                                                     {QStringLiteral("m"), 60e3},
                                                     {QStringLiteral("h"), 3600e3}};
    QString number = text.trimmed();
    double scale = 1e3;
    for (const auto& [suffix, ms] : units) {
        if (number.endsWith(suffix) && isNumeric(number.chopped(suffix.size()))) {
            number.chop(suffix.size());
            scale = ms;
            break;
        }
    }
    const double value = isNumeric(number) ? parseLeadingNumber(number) * scale : -1.0;
    return value > 0 && value < 1e15 ? qint64(value) : -1;
}

// Why an --http text is refused; empty when it is an address and port.
QString monitorAddressRefusal(const QString& text) {
    QHostAddress address;
    quint16 port = 0;
    QString error;
    return parseListenAddress(text, &address, &port, &error) ? QString() : QStringLiteral("--http: ") + error;
}

// Options of the window system, which QApplication takes from the same command line.
void letWindowSystemOptionsThrough(QCommandLineParser& parser) {
    for (const char* name :
         {"platform", "display", "style", "stylesheet", "platformtheme", "qwindowgeometry", "qwindowtitle"}) {
        QCommandLineOption option(QString::fromLatin1(name), QString(), QStringLiteral("VALUE"));
        option.setFlags(QCommandLineOption::HiddenFromHelp);
        parser.addOption(option);
    }
    QCommandLineOption reverse(QStringLiteral("reverse"));
    reverse.setFlags(QCommandLineOption::HiddenFromHelp);
    parser.addOption(reverse);
}

// A function by the meter's name for it, in any case.
const MeterFunction* functionNamed(const QString& name) {
    for (const MeterFunction& function : meterFunctions()) {
        if (name.compare(QLatin1String(function.reply), Qt::CaseInsensitive) == 0)
            return &function;
    }
    return nullptr;
}

// "auto", an option's value ("50") or its caption ("50mA"); the range, or -1.
double rangeNamed(panel::RangeGroup group, const QString& text) {
    const QString wanted = text.simplified().remove(QLatin1Char(' '));
    const bool number = isNumeric(wanted);
    for (const panel::RangeOption& option : panel::rangeOptions(group)) {
        const bool valueMatches = number && parseLeadingNumber(wanted) == option.value;
        if (valueMatches ||
            wanted.compare(QString(option.caption).remove(QLatin1Char(' ')), Qt::CaseInsensitive) == 0)
            return option.value;
    }
    return -1.0;
}

// The logger's --function, --range, --folder and --record.
LogOptions readLogTarget(const QCommandLineParser& parser, const QCommandLineOption& function,
                         const QCommandLineOption& range, const QCommandLineOption& folder,
                         const QCommandLineOption& record, LogOptions options) {
    if (parser.isSet(function) && !(options.function = functionNamed(parser.value(function).trimmed()))) {
        options.error =
            QStringLiteral("--function \"%1\" is none of the meter's functions (kvx5130 log --help "
                           "lists them)")
                .arg(parser.value(function));
        return options;
    }
    if (parser.isSet(range)) {
        // Diode, continuity and ripple send no range, whatever frame the panel shows for them.
        const DriverCall call = options.function ? options.function->call : DriverCall::Nothing;
        if (options.function == nullptr || options.function->rangeGroup == FunctionFrame::None ||
            call == DriverCall::Nothing || call == DriverCall::Diode || call == DriverCall::Continuity) {
            options.error = QStringLiteral("--range goes with a --function that has ranges");
            return options;
        }
        options.range = rangeNamed(panel::groupOf(options.function->rangeGroup), parser.value(range));
        if (options.range < 0) {
            options.error = QStringLiteral("--range \"%1\" is none of the ranges of %2")
                                .arg(parser.value(range), QLatin1String(options.function->reply));
            return options;
        }
    }
    options.folder = parser.value(folder);
    options.record = parser.isSet(record);
    options.recordDescription = parser.value(record).trimmed();
    if (!RecordStore::canStore(options.recordDescription))
        options.error = QStringLiteral("--record: a single quote (') cannot be stored");
    return options;
}

} // namespace

bool isLogCommand(const QStringList& arguments) {
    return arguments.size() > 1 && arguments[1] == QLatin1String("log");
}

QString logUsageText() {
    return QString::fromUtf8(kLogUsage);
}

LogOptions parseLogOptions(const QStringList& arguments) {
    QCommandLineParser parser;
    const QCommandLineOption link(QStringLiteral("link"), QString(), QStringLiteral("TEXT"));
    const QCommandLineOption interval(QStringLiteral("interval"), QString(), QStringLiteral("S"));
    const QCommandLineOption count(QStringLiteral("count"), QString(), QStringLiteral("N"));
    const QCommandLineOption duration(QStringLiteral("duration"), QString(), QStringLiteral("D"));
    const QCommandLineOption format(QStringLiteral("format"), QString(), QStringLiteral("FORMAT"));
    const QCommandLineOption output(QStringLiteral("output"), QString(), QStringLiteral("FILE"));
    const QCommandLineOption help(QStringList{QStringLiteral("help"), QStringLiteral("h")});
    const QCommandLineOption http(QStringLiteral("http"), QString(), QStringLiteral("ADDRESS"));
    const QCommandLineOption function(QStringLiteral("function"), QString(), QStringLiteral("F"));
    const QCommandLineOption range(QStringLiteral("range"), QString(), QStringLiteral("R"));
    const QCommandLineOption folder(QStringLiteral("folder"), QString(), QStringLiteral("DIR"));
    const QCommandLineOption record(QStringLiteral("record"), QString(), QStringLiteral("TEXT"));
    parser.addOptions(
        {link, interval, count, duration, format, output, http, help, function, range, folder, record});

    LogOptions options;
    QStringList withoutVerb = arguments;
    withoutVerb.removeAt(1);
    if (!parser.parse(withoutVerb)) {
        options.error = parser.errorText();
        return options;
    }
    options.helpRequested = parser.isSet(help);
    if (options.helpRequested)
        return options;
    const auto refuse = [&options](const QString& why) {
        options.error = why;
        return options;
    };
    if (!parser.positionalArguments().isEmpty())
        return refuse(QStringLiteral("Unexpected argument: %1").arg(parser.positionalArguments().first()));
    for (const QString& text : parser.values(link)) {
        if (text.trimmed().isEmpty())
            return refuse(QStringLiteral("--link needs a connection text"));
        options.links << text.trimmed();
    }
    if (options.links.isEmpty())
        return refuse(QStringLiteral("log needs at least one --link TEXT"));
    if (parser.isSet(interval)) {
        const QString text = parser.value(interval).trimmed();
        const double ms = isNumeric(text) ? parseLeadingNumber(text) * 1000.0 : 0.0;
        if (!(ms == 0.0 || (ms >= 1.0 && ms <= 86400e3)))
            return refuse(QStringLiteral("--interval needs a number of seconds (0, or 0.001 to 86400)"));
        options.intervalMs = int(ms);
    }
    if (parser.isSet(count) && parser.isSet(duration))
        return refuse(QStringLiteral("--count and --duration go one at a time"));
    if (parser.isSet(count)) {
        bool ok = false;
        options.count = parser.value(count).toLongLong(&ok);
        if (!ok || options.count < 1)
            return refuse(QStringLiteral("--count needs a number of rows"));
    }
    if (parser.isSet(duration) && (options.durationMs = durationMs(parser.value(duration))) < 0)
        return refuse(QStringLiteral("--duration needs a time such as 90, 90s, 10m or 2h"));
    const QString formatName = parser.value(format);
    if (formatName == QLatin1String("ndjson"))
        options.format = ExportFormat::Ndjson;
    else if (!formatName.isEmpty() && formatName != QLatin1String("csv"))
        return refuse(QStringLiteral("--format is csv or ndjson"));
    if (parser.isSet(output)) {
        options.output = parser.value(output);
        if (options.output.isEmpty())
            return refuse(QStringLiteral("--output needs a file name or -"));
    }
    if (parser.isSet(http) && !(options.error = monitorAddressRefusal(parser.value(http))).isEmpty())
        return options;
    options.http = parser.value(http);
    return readLogTarget(parser, function, range, folder, record, options);
}

QString appUsageText() {
    return QString::fromUtf8(kUsage);
}

AppOptions parseAppOptions(const QStringList& arguments) {
    QCommandLineParser parser;
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    const QCommandLineOption folder(QStringLiteral("folder"), QString(), QStringLiteral("DIR"));
    const QCommandLineOption link(QStringLiteral("link"), QString(), QStringLiteral("TEXT"));
    const QCommandLineOption start(QStringLiteral("start"));
    const QCommandLineOption help(QStringList{QStringLiteral("help"), QStringLiteral("h")});
    const QCommandLineOption version(QStringLiteral("version"));
    QCommandLineOption screenshot(QStringLiteral("screenshot"), QString(), QStringLiteral("FILE"));
    screenshot.setFlags(QCommandLineOption::HiddenFromHelp);
    QCommandLineOption screenshotDelay(QStringLiteral("screenshot-delay"), QString(), QStringLiteral("MS"));
    screenshotDelay.setFlags(QCommandLineOption::HiddenFromHelp);
    const QCommandLineOption exportRecord(QStringLiteral("export-record"), QString(), QStringLiteral("N"));
    const QCommandLineOption pdf(QStringLiteral("pdf"), QString(), QStringLiteral("FILE"));
    const QCommandLineOption csv(QStringLiteral("csv"), QString(), QStringLiteral("FILE"));
    const QCommandLineOption ndjson(QStringLiteral("ndjson"), QString(), QStringLiteral("FILE"));
    const QCommandLineOption listRecords(QStringLiteral("list-records"));
    const QCommandLineOption json(QStringLiteral("json"));
    const QCommandLineOption http(QStringLiteral("http"), QString(), QStringLiteral("ADDRESS"));
    const QCommandLineOption httpToken(QStringLiteral("http-token"), QString(), QStringLiteral("FILE"));
    const QCommandLineOption database(QStringLiteral("database"), QString(), QStringLiteral("TEXT"));
    const QCommandLineOption bench(QStringLiteral("bench"), QString(), QStringLiteral("NAME"));
    const QCommandLineOption benchFilter(QStringLiteral("bench-filter"), QString(), QStringLiteral("NAME"));
    const QCommandLineOption copyRecords(QStringLiteral("copy-records"), QString(), QStringLiteral("FROM"));
    const QCommandLineOption send(QStringLiteral("send"), QString(), QStringLiteral("COMMAND"));
    parser.addOptions({folder, link, start, help, version, screenshot, screenshotDelay, exportRecord, pdf,
                       csv, ndjson, listRecords, json, http, httpToken, database, bench, benchFilter,
                       copyRecords, send});
    letWindowSystemOptionsThrough(parser);

    AppOptions options;
    if (!parser.parse(arguments)) {
        options.error = parser.errorText();
        return options;
    }
    QStringList positional = parser.positionalArguments();
    if (parser.isSet(copyRecords)) {
        options.copyFrom = parser.value(copyRecords).trimmed();
        options.copyTo = positional.isEmpty() ? QString() : positional.takeFirst().trimmed();
        if (options.copyFrom.isEmpty() || options.copyTo.isEmpty()) {
            options.error = QStringLiteral("--copy-records needs the store to copy FROM and the one TO");
            return options;
        }
    }
    options.sendCommand = parser.value(send).trimmed();
    // save's description is the one argument that is not an option.
    if (options.sendCommand == QLatin1String("save") && positional.size() == 1)
        options.sendArgument = positional.takeFirst().trimmed();
    if (!positional.isEmpty()) {
        options.error = QStringLiteral("Unexpected argument: %1").arg(positional.first());
        return options;
    }
    options.database = parser.value(database).trimmed();
    options.bench = parser.value(bench).trimmed();
    options.benchFilter = parser.value(benchFilter).trimmed();
    // A store text is checked here, so that one with a password in it is refused
    // before it could reach a file or a log.
    for (const QString& text : {options.database, options.copyFrom, options.copyTo}) {
        StoreTarget target;
        QString why;
        if (!parseStoreText(text, QString(), &target, &why)) {
            options.error = QStringLiteral("the store text is refused: %1").arg(why);
            return options;
        }
    }
    if (parser.isSet(bench) && options.bench.isEmpty()) {
        options.error = QStringLiteral("--bench needs a name");
        return options;
    }
    if (parser.isSet(benchFilter) && !parser.isSet(listRecords)) {
        options.error = QStringLiteral("--bench-filter goes with --list-records");
        return options;
    }
    static const QStringList commands{QStringLiteral("status"), QStringLiteral("start"),
                                      QStringLiteral("stop"), QStringLiteral("clear"),
                                      QStringLiteral("save")};
    if (parser.isSet(send) && !commands.contains(options.sendCommand)) {
        options.error = QStringLiteral("--send takes status, start, stop, clear or save \"description\"");
        return options;
    }
    if (options.sendArgument.contains(QLatin1Char('\n'))) {
        options.error = QStringLiteral("a description is one line");
        return options;
    }
    options.helpRequested = parser.isSet(help);
    options.versionRequested = parser.isSet(version);
    options.folder = parser.value(folder);
    options.link = parser.value(link);
    options.start = parser.isSet(start);
    options.screenshotFile = parser.value(screenshot);
    if (parser.isSet(screenshotDelay)) {
        bool ok = false;
        const int delay = parser.value(screenshotDelay).toInt(&ok);
        if (!ok || delay < 0) {
            options.error = QStringLiteral("--screenshot-delay needs a number of milliseconds");
            return options;
        }
        options.screenshotDelayMs = delay;
    }
    if (parser.isSet(link) && options.link.trimmed().isEmpty()) {
        options.error = QStringLiteral("--link needs a connection text");
        return options;
    }
    options.pdfFile = parser.value(pdf);
    options.csvFile = parser.value(csv);
    options.ndjsonFile = parser.value(ndjson);
    options.listRecords = parser.isSet(listRecords);
    options.json = parser.isSet(json);
    const QStringList files{options.pdfFile, options.csvFile, options.ndjsonFile};
    const bool anyFile = parser.isSet(pdf) || parser.isSet(csv) || parser.isSet(ndjson);
    if (parser.isSet(exportRecord)) {
        bool ok = false;
        options.exportRecord = parser.value(exportRecord).toInt(&ok);
        if (!ok || options.exportRecord < 0)
            options.error = QStringLiteral("--export-record needs a record number (0: the working trace)");
        else if (files.join(QString()).isEmpty())
            options.error = QStringLiteral("--export-record needs --pdf FILE, --csv FILE or --ndjson FILE");
        else if (files.count(QStringLiteral("-")) + files.count(QStringLiteral("/dev/stdout")) > 1)
            options.error = QStringLiteral("only one of the files can go to standard output");
        else if (options.listRecords)
            options.error = QStringLiteral("--list-records and --export-record go one at a time");
    } else if (anyFile) {
        options.error = QStringLiteral("--pdf, --csv and --ndjson go with --export-record N");
    }
    if (options.error.isEmpty() && parser.isSet(send) &&
        (options.listRecords || parser.isSet(exportRecord) || options.start || parser.isSet(link)))
        options.error = QStringLiteral("--send goes with --folder only");
    if (options.error.isEmpty() && options.json && !options.listRecords)
        options.error = QStringLiteral("--json goes with --list-records");
    options.http = parser.value(http);
    options.httpToken = parser.value(httpToken);
    if (options.error.isEmpty() && parser.isSet(http))
        options.error = monitorAddressRefusal(options.http);
    if (options.error.isEmpty() && parser.isSet(httpToken) && options.httpToken.isEmpty())
        options.error = QStringLiteral("--http-token needs a file name");
    return options;
}

} // namespace kvx
