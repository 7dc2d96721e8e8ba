#pragma once
// Writing a saved record's report or CSV from the command line, without showing
// a window:
//   kvx5130 --folder DIR --export-record N --pdf FILE [--csv FILE]
// The record comes from the record database of the program folder (its header
// from `datamain`, its samples from `datadetail`); the working trace is not
// touched. A QApplication must exist (the report draws the graph with the
// graph window's own code), but nothing is shown.

#include <QString>

class QTextStream;

namespace kvx {

// Writes the PDF report to `pdfPath` and/or the CSV file to `csvPath` (an empty
// path skips that file). Uses the application's record store, opening the
// program folder's database when it is not open yet; a folder without a record
// database is an error, never a new empty database. Returns 0 when every asked
// file was written; otherwise 1 after one line on `err` that says why (no such
// record, no database, a file that cannot be written), or 2 when neither path
// is given.
int exportRecord(int recno, const QString& pdfPath, const QString& csvPath, QTextStream& err);

} // namespace kvx
