#pragma once
// Record files ("*.kvx"): a trace kept outside the record database, to hand to
// someone else or to keep with a test report, and opened again as the working
// trace exactly as it was saved.
//
// Format, version 2. A UTF-8 JSON document (RFC 8259), one object:
//
//   {"format":"kvx5130-record","version":2,
//   "application":"kvx5130 1.0.1","saved":"2026/01/05 10:00:00",
//   "header":{"comment":"bench 4","endTime":"2026/01/05 10:01:40","pUnit":"V","recNo":"3",
//             "recStyle":"0","sUnit":"kHz","startTime":"2026/01/05 09:58:20"},
//   "columns":["SeqNo","RecTime","PVal","SVal","Reason","Comment","TimeTick","DiffLastTime","NoReply"],
//   "samples":[
//   [0,"2026/01/05 09:58:20","1.25 V","0.5 kHz","0","",0,0,false],
//   [1,"2026/01/05 09:58:21","0 V","0 kHz","0","",1,1,true]
//   ]}
//
// - "format" is exactly "kvx5130-record" and comes first, so the file's first
//   bytes identify it; "version" is a whole number. A reader refuses a version it
//   does not know; version 1 is version 2 without the NoReply column.
// - "format", "version", "header" and "columns" come before "samples", so that a
//   reader checks and stores the samples one at a time.
// - "header" holds the seven texts of a record header, named as above, in any
//   order; all are required and all are JSON strings. "recNo" is the number the trace had in
//   the database it was saved from ("" for a trace never saved as a record).
// - "samples" holds one array per row of the trace in the order of the working
//   trace: SeqNo a whole number from 0 to 2147483647, each above the one before;
//   RecTime, PVal, SVal, Reason and Comment strings exactly as stored; TimeTick
//   and DiffLastTime whole numbers or null (a record updated in the database or
//   loaded from the record grid has them empty); NoReply true for a sample the
//   meter did not answer (its readings are the 0 a failed read leaves).
// - "application" and "saved" (when the file was written) are for people; a
//   reader does not need them. Members a reader does not know are ignored.
// - Whole numbers are JSON numbers without fraction or exponent, at most 2^53.
//
// The whole file is checked before anything changes: a damaged, foreign or newer
// file is refused with a message and the working trace stays as it was. Opened
// as the working trace, the file's header fills the data table's header fields,
// except the record number, which is left empty: the number belonged to another
// database, and saving the opened trace makes a new record rather than
// overwriting whatever record has that number here. Neither reading nor writing
// holds more than one sample at a time.
// docs/record-file-format.md tells the same for people who read these files.

#include "ReportTrace.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>

#include <functional>
#include <optional>
#include <vector>

namespace kvx {

class RecordFile {
public:
    static constexpr const char* kFormatName = "kvx5130-record";
    static constexpr int kVersion = 2;
    // The record-file filter of the front panel's file dialogs.
    static constexpr const char* kDialogFilter = "KVX-5130 Files (*.kvx)";
    static constexpr const char* kSuffix = "kvx";

    // A header member of the file and the header field it holds.
    struct HeaderMember {
        const char* name;
        QString RecordHeader::*field;
    };
    static const std::vector<HeaderMember>& headerMembers();

    static QByteArray encode(const TraceRecord& trace, const QDateTime& savedAt);
    // Reads a whole file's bytes; nullopt, with the reason in `error`, when the
    // bytes are not a record file this program can read.
    static std::optional<TraceRecord> decode(const QByteArray& bytes, QString* error = nullptr);

    // Writes atomically: an existing file is replaced only once the new one is complete.
    static bool write(const QString& path, const TraceRecord& trace, QString* error = nullptr);

    // The front panel's record-file keys. Both tell the operator what went wrong
    // through `messages()` and return false then.
    // Saves the working trace (header fields, sample style and all of `datatemp`).
    static bool saveWorkingTrace(const QString& path);
    // Makes the file the working trace, as loading a record does: header fields,
    // sample style, `datatemp` replaced, the data table and graph rebuilt. The
    // file is read twice, first to check it and then to store it; `progress` hears
    // of both (bytes done out of twice the file's size) and ends the opening, with
    // the working trace as it was, by answering false. Without one, a progress
    // dialog with a Cancel key shows once the opening takes a while.
    using Progress = std::function<bool(qint64 done, qint64 total)>;
    static bool openAsWorkingTrace(const QString& path, const Progress& progress = {});
};

} // namespace kvx
