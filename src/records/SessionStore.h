#pragma once
// The record store this run opens, chosen from the command line and the program
// folder's operation file. The window program and the command-line commands open
// it the same way.

#include <QString>

namespace kvx {

// The record store of this run: --database, else the operation file's text, else
// the SQLite file in the program folder; and its bench: --bench, else the operation
// file's name, else the host name with the program folder.
QString sessionDatabaseText();
QString sessionBenchName();
// Opens it as recordStore(); false with a message naming the store.
bool openSessionRecordStore(QString* error);

} // namespace kvx
