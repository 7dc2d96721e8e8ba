#pragma once
// A trace as the report, the record files and the exports see it: the record
// header and every sample with all its columns, and the rules that turn its
// stored texts into what a reader is shown. Nothing here needs a window.

#include "RecordStore.h"

#include <QString>

#include <vector>

namespace kvx {

struct TraceRecord {
    RecordHeader header;
    std::vector<TempSample> samples;
};

enum class RecordLookup { Found, Missing, Failed };

// A saved record by number: header from `datamain`, samples from `datadetail`.
RecordLookup savedRecord(RecordStore& store, const QString& recNo, TraceRecord& record,
                         QString* error = nullptr);

// "number:description" of a store error, as the error messages show it.
QString storeErrorText(const StoreError& error);

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
