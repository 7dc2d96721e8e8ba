#pragma once
// What the program does from its command line without a window: the record list,
// exports and copies, and commands sent to a running program. The `kvx5130`
// executable links only these and the libraries below them, so that they and
// `kvx5130 log` start without loading a window library; everything else is the
// window program's, which `kvx5130` hands the command line to.

#include "AppOptions.h"
#include "ExportRecord.h"

namespace kvx {

// The usage text: asked for (exit 0), or after a refused command line (exit 2).
int printUsage(const QString& refusal, const QString& text);

// Program folder, link, store and bench overrides from the options.
void applyOptionsToSession(const AppOptions& options);

// The record list, the exports, copies and --send: run to the end under any
// application object and return the exit code. A --pdf is drawn by `writeReport`,
// which only the window program has.
int runRecordCommand(const AppOptions& options, const ReportWriter& writeReport = {});

// Replaces this process with the window program, handing it the same command
// line. Returns only when it cannot be started, with the exit code.
int runWindowProgram(char** argv);

} // namespace kvx
