#pragma once
// The record database from the command line, without showing a window:
//   kvx5130 --folder DIR --list-records [--json]
//   kvx5130 --folder DIR --export-record N [--pdf FILE] [--csv FILE] [--ndjson FILE]
// Records come from the record database of the program folder (headers from
// `datamain`, samples from `datadetail`); record 0 is the working trace
// (`datatemp`). A FILE of "-" is standard output. Only the PDF report needs a
// QApplication and the window libraries (it draws the graph with the graph
// window's own code); the list and the sample exports need a QCoreApplication.

#include <QString>

#include <functional>

class QTextStream;

namespace kvx {

struct TraceRecord;

struct ExportFiles {
    QString pdf;    // the printed report
    QString csv;    // the samples as CSV
    QString ndjson; // the samples as NDJSON
    bool any() const { return !pdf.isEmpty() || !csv.isEmpty() || !ndjson.isEmpty(); }
};

// Writes the asked files of record `recno` (0: the working trace). Uses the
// application's record store, opening the program folder's database when it is
// not open yet; a folder without a record database is an error, never a new
// empty database. Returns 0 when every asked file was written; otherwise 1 after
// one line on `err` that says why (no such record, no database, a file that
// cannot be written), or 2 when no file is asked for.
// The PDF report is drawn by `writeReport` (the window program's); without one a
// --pdf is refused.
using ReportWriter = std::function<bool(const TraceRecord& trace, const QString& path, QString* error)>;
int exportRecord(int recno, const ExportFiles& files, QTextStream& err, const ReportWriter& writeReport = {});

// Lists the saved records, and the working trace as record 0 when it holds
// samples, on `out`: a table, or with `json` a JSON array of objects (recNo,
// startTime, endTime in ISO 8601, description, primaryUnit, secondaryUnit,
// samples, bench, meter); only the records of `bench` when it is not empty.
// Returns 0, or 1 after a line on `err`.
int listRecords(bool json, const QString& bench, QTextStream& out, QTextStream& err);

// Copies every record of the store `from` into the store `to` (database files or
// lab-server texts), leaving out those copied before. Progress and the outcome go
// to `err`. Returns 0, or 1 after a line that says why.
int copyRecords(const QString& from, const QString& to, QTextStream& err);

} // namespace kvx
