#pragma once
// The module-level values that the windows share for one run of the program:
// the settings block, the trace clock values and the switches. One instance;
// a test resets it with `resetSession()` before it builds windows.

#include "OperationRecord.h"

#include <QString>

namespace kvx {

struct Session {
    // Folder of the database, the operation file, the command log and the help.
    QString programFolder;
    // The settings block (operation record), read at start-up, written at quit.
    OperationRecord operation;

    // Command-log switch: whether the log is written to its file at quit.
    bool logCommands = false;

    // True while a continuous trace runs.
    bool tracing = false;

    // Seconds-of-day clock values of the polling cycle. A last-reading time of 0
    // means no reading yet, so the next reading starts a new run.
    double startTime = 0.0;
    double lastReadingTime = 0.0;
    double timeSinceLastReading = 0.0;

    // Connection text given with --link; overrides the operation record's link.
    QString linkOverride;
    // Record store and bench name given with --database and --bench; override the
    // operation record's for this run.
    QString databaseOverride;
    QString benchOverride;

    QString pathInFolder(const QString& fileName) const;
};

Session& session();
void resetSession();

// File names in the program folder.
inline const char* const kDatabaseFile = "KVX5130.mdb";
inline const char* const kOperationFile = "KVX-5130.Log";
inline const char* const kCommandLogFile = "KVX_5130_Exection.log";
inline const char* const kHelpFile = "KVX-5130-guide.html";

// The program folder: `--folder DIR` when given, else $KVX5130_FOLDER, else
// $XDG_DATA_HOME/kvx5130 (~/.local/share/kvx5130). It is created when missing.
QString resolveProgramFolder(const QString& fromCommandLine);

} // namespace kvx
