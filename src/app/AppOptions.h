#pragma once
// The program's command line.

#include "FunctionCatalogue.h"
#include "SampleExport.h"

#include <QString>
#include <QStringList>

namespace kvx {

struct AppOptions {
    QString folder;               // --folder DIR: the program folder
    QString link;                 // --link TEXT: connection text, overrides the saved link
    bool start = false;           // --start: start a trace once the windows are up
    QString screenshotFile;       // --screenshot FILE (not in --help): save the main window and exit
    int screenshotDelayMs = 1500; // --screenshot-delay MS: time for the first readings
    int exportRecord = -1;        // --export-record N: write record N's files and exit (0: the working trace)
    QString pdfFile;              // --pdf FILE: its printed report ("-": standard output)
    QString csvFile;              // --csv FILE: its samples as CSV
    QString ndjsonFile;           // --ndjson FILE: its samples as NDJSON
    bool listRecords = false;     // --list-records: list the records and exit
    bool json = false;            // --json: the list as JSON
    QString http;                 // --http [ADDR:]PORT: serve the monitor page (over the settings' address)
    QString httpToken;            // --http-token FILE: the token that lets the page use the keys
    QString database;             // --database TEXT: record store for this run
    QString bench;                // --bench NAME: this bench's name for this run
    QString benchFilter;          // --bench-filter NAME: only that bench's records in the list
    QString copyFrom, copyTo;     // --copy-records FROM TO: copy records between stores and exit
    QString sendCommand;          // --send COMMAND: drive the program running on the folder
    QString sendArgument;         // the text after it (save's description)
    bool helpRequested = false;
    bool versionRequested = false;
    QString error; // non-empty: the command line was refused
};

inline const char* const kAppVersion = "1.0.1";

// `kvx5130 log ...`: headless logging of one or more meters.
struct LogOptions {
    QStringList links;                       // --link TEXT, once per meter, in column order
    int intervalMs = 1000;                   // --interval S
    qint64 count = -1;                       // --count N: rows to write (-1: no limit)
    qint64 durationMs = -1;                  // --duration 10m: time to log (-1: no limit)
    ExportFormat format = ExportFormat::Csv; // --format csv|ndjson
    QString output = QStringLiteral("-");    // --output FILE, "-" for standard output
    QString http;                            // --http [ADDR:]PORT: serve the monitor page
    QString httpToken;                       // --http-token FILE
    const MeterFunction* function = nullptr; // --function DCV|ACV|...: sent to every meter first
    double range = 0.0;                      // --range R with it (0: automatic)
    QString folder;                          // --folder DIR: the program folder (lock, socket, records)
    bool record = false;                     // --record "description": also saved as a record
    QString recordDescription;
    bool helpRequested = false;
    QString error;
};

// True when the command line asks for the logger: its first argument is "log".
bool isLogCommand(const QStringList& arguments);
// `arguments` includes the program name and "log" first.
LogOptions parseLogOptions(const QStringList& arguments);
QString logUsageText();

// `arguments` includes the program name first, as argv gives it. The window
// system's own options (-platform, -display, -style, ...) are let through.
AppOptions parseAppOptions(const QStringList& arguments);
// True when the command needs no window system: the record list, exports without
// a report, and --send.
inline bool runsWithoutWindows(const AppOptions& options) {
    return options.listRecords || !options.copyFrom.isEmpty() || !options.sendCommand.isEmpty() ||
           (options.exportRecord >= 0 && options.pdfFile.isEmpty());
}
QString appUsageText();

} // namespace kvx
