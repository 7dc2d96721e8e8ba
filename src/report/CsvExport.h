#pragma once
// The trace as a CSV file for spreadsheets: UTF-8 without a byte-order mark,
// one heading line that names the units, then one line per sample, fields
// quoted by RFC 4180 (a field holding a comma, a double quote, CR or LF is put
// in double quotes and its quotes doubled) and every line ended by CR LF.
//
//   SeqNo,RecTime,Primary [V],Secondary [kHz],Reason,Comment,TimeTick,DiffLastTime,NoReply
//   0,2026/01/05 10:00:00,1.25,0.5,Time,,0,0,0
//
// The readings are written as bare numbers under their unit, so a spreadsheet
// reads them as numbers; a reading that is not a number in the heading's unit is
// written as the text it was stored with. Empty TimeTick and DiffLastTime stay
// empty. NoReply is 1 for a sample the meter did not answer: its readings are the
// 0 a failed read leaves, not a measurement.

#include "ReportTrace.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

namespace kvx {

class CsvExport {
public:
    static constexpr const char* kDialogFilter = "CSV Files (*.csv)";

    // One field as RFC 4180 writes it.
    static QString quoted(const QString& field);
    static QStringList headings(const RecordHeader& header);
    static QByteArray encode(const TraceRecord& trace);
    // One sample's line, CR LF included.
    static QString line(const TempSample& sample, const RecordHeader& header);
    static bool write(const QString& path, const TraceRecord& trace, QString* error = nullptr);

    // The export key: the working trace to `path`, one sample at a time; tells
    // the operator of a failure.
    static bool exportWorkingTrace(const QString& path);
};

} // namespace kvx
