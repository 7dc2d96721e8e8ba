#pragma once
// The working trace as the report, the record files and the export keys take it
// from the windows: the header from the data table window's fields, the samples
// from `datatemp`. A saved record is read by `savedRecord` (TraceRecord.h).

#include "TraceRecord.h"

#include <QString>

#include <optional>

namespace kvx {

// The working trace. The header comes from the data table window's fields (empty
// without one) and the sample style from the front panel ("0" without one).
// nullopt, with the store's error in `error`, when `datatemp` cannot be read.
// `filterIndex` picks the rows as the data table's filter list does (0: all of them).
std::optional<TraceRecord> workingTrace(RecordStore& store, QString* error = nullptr, int filterIndex = 0);
// The header of the working trace for a file the operator asked for, its samples
// to be read one at a time with readSamples(0, ...); on failure, or when there is
// no sample yet, the operator has been told why.
std::optional<RecordHeader> workingHeaderToWrite();
// Tells the operator of the record store's last error ("System Error caused by ...").
void reportStoreError();

} // namespace kvx
