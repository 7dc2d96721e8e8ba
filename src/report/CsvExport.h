#pragma once
// The export key: the working trace as a CSV file for spreadsheets and other
// programs. The fields and their forms are SampleExport's:
//
//   SeqNo,RecTime,Primary,PrimaryUnit,Secondary,SecondaryUnit,Reason,ReasonCaption,Comment,TimeTick,DiffLastTime,NoReply
//   0,2026-01-05T10:00:00+01:00,1.25,V,0.5,kHz,0,Time,,0,0,0

#include "SampleExport.h"

namespace kvx {

class CsvExport {
public:
    static constexpr const char* kDialogFilter = "CSV Files (*.csv)";

    static QByteArray encode(const TraceRecord& trace) { return encodeSamples(trace, ExportFormat::Csv); }

    // The working trace to `path`, straight from the database; tells the operator
    // of a failure.
    static bool exportWorkingTrace(const QString& path);
    // The same on a thread of its own, with a progress window that can cancel it (see
    // BackgroundTask): returns at once, false only when it could not start. The
    // operator hears of a failure when it ends; a cancelled export leaves no file.
    static bool exportWorkingTraceInBackground(const QString& path);
};

} // namespace kvx
