#pragma once
// A trace as the report, the record files and the exports see it: the record
// header and every sample with all its columns. It comes either from the
// working trace (the data table window's header fields and `datatemp`) or from
// a saved record (`datamain` and `datadetail`).

#include "RecordStore.h"

#include <QString>

#include <optional>
#include <vector>

namespace kvx {

struct TraceRecord {
    RecordHeader header;
    std::vector<TempSample> samples;
};

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

enum class RecordLookup { Found, Missing, Failed };

// A saved record by number: header from `datamain`, samples from `datadetail`.
RecordLookup savedRecord(RecordStore& store, const QString& recNo, TraceRecord& record,
                         QString* error = nullptr);

// The number of a reading text ("1.25 V" -> "1.25") when the text is that number,
// alone or followed by one blank and `unit`; otherwise the whole text, so that a
// reading taken in another unit or an overload text is never passed off as a number.
QString readingNumberText(const QString& reading, const QString& unit);

// The caption of a stored reason code ("0" -> "Time", "4" -> "Match condition:%").
QString reasonCaption(const QString& code);

// "Primary [V]": a column heading with the unit as the operator reads it; no
// brackets when the unit is empty.
QString headingWithUnit(const QString& heading, const QString& unit);

// A fixed-length text field of the operation record without its blank padding.
QString settingText(const QString& field);

} // namespace kvx
