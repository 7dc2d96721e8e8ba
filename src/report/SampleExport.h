#pragma once
// A trace's samples for other programs: CSV (RFC 4180, for spreadsheets and csv
// readers) or NDJSON (one JSON object per line). Both carry the same fields:
//
//   seqNo         sample number
//   recTime       ISO 8601 local time with its UTC offset, "2026-11-23T17:43:14+01:00"
//                 (the stored text unchanged when it is not a "YYYY/MM/DD HH:MM:SS" time)
//   primary       the reading as a bare number; empty (CSV) or null (NDJSON) when
//                 the stored reading is not a number
//   primaryUnit   its unit as the program shows it ("V", "kΩ"); the record's unit
//                 when the stored reading names none
//   secondary, secondaryUnit   the same for the secondary display
//   reason        the stored reason code ("0".."4")
//   reasonCaption its caption ("Time", "Over MAX", ...)
//   comment       the sample's comment
//   timeTick, diffLastTime     whole numbers; empty / null when not stored
//   noReply       the meter did not answer: 1/0 in CSV, true/false in NDJSON; the
//                 readings are then the 0 a failed read leaves, not a measurement
//
// CSV names the fields in a heading line with their first letter capitalised
// (SeqNo,RecTime,Primary,PrimaryUnit,...), ends every line with CR LF and puts a
// field holding a comma, double quote, CR or LF in double quotes with its quotes
// doubled. NDJSON ends every line with LF and has no heading. Both are UTF-8
// without a byte-order mark.
//
// The exports are built as bytes straight from the database's rows, a buffer at a
// time, because a long trace is exported while the operator waits.

#include "TraceRecord.h"

#include <QByteArray>
#include <QString>

#include <functional>

#include <memory>

class QFileDevice;

namespace kvx {

enum class ExportFormat { Csv, Ndjson };

// One text field: as RFC 4180 quotes it in CSV, a JSON string in NDJSON.
void appendTextField(ExportFormat format, QByteArrayView text, QByteArray* out);
// A number as every csv and json reader takes it: the text itself when it is one
// in JSON's form, else its value in the program's number form ("+5" -> 5). False,
// with nothing appended, when the text is not a finite number.
bool appendNumberField(QByteArrayView number, QByteArray* out);

class SampleEncoder {
public:
    SampleEncoder(ExportFormat format, const RecordHeader& header);

    // The CSV heading line; nothing for NDJSON.
    void appendHeading(QByteArray* out) const;
    void appendSample(const StoredSample& sample, QByteArray* out);

private:
    struct UnitCache {
        QByteArray stored;
        QByteArray shown;
    };
    void appendWholeNumber(const std::optional<qint64>& value, QByteArray* out) const;
    void appendReading(QByteArrayView reading, UnitCache& unit, const char* valueKey, const char* unitKey,
                       QByteArray* out) const;
    void appendReasonCaption(QByteArrayView code, QByteArray* out) const;

    ExportFormat m_format;
    UnitCache m_pUnit, m_sUnit;
    QByteArray m_recordPUnit, m_recordSUnit;
    QByteArray m_captions[5];
};

// The whole export of a trace held in memory.
QByteArray encodeSamples(const TraceRecord& trace, ExportFormat format);

// Where an export goes: "-" is standard output; a file under /dev or /proc
// (/dev/stdout) or one that is not a plain file (a terminal, a pipe) is written
// as it is (at the end of a plain file the shell sent /dev/stdout to); a plain
// file is written beside and put in place by commit(), so a file left unfinished
// is thrown away and an older one stays. A log that grows for days is written in
// place instead (`inPlace`), so that every row written is in the file at once.
class ExportOutput {
public:
    explicit ExportOutput(const QString& path, bool inPlace = false);
    ~ExportOutput();
    ExportOutput(const ExportOutput&) = delete;
    ExportOutput& operator=(const ExportOutput&) = delete;

    bool open();
    bool write(const QByteArray& bytes);
    // Hands what was written so far on to the file (the temporary one of a plain file).
    bool flush();
    bool commit();
    QString errorString() const;

    // True when `path` names standard output or another file that is not a plain file.
    static bool isStream(const QString& path);

private:
    std::unique_ptr<QFileDevice> m_file;
    bool m_saving = false;
    bool m_appending = false;
};

// Exports the saved record `recNo`, or the working trace when `recNo` is empty, from
// `store` to `path` (see ExportOutput). False, with the reason in `error`, when the
// samples cannot be read or the file cannot be written.
// `progress`, when given, runs every few thousand samples with the count so far; it
// answers false to stop, and the file is then left as it was.
bool exportSamples(RecordStore& store, const QString& recNo, const RecordHeader& header, ExportFormat format,
                   const QString& path, QString* error,
                   const std::function<bool(qint64 samples)>& progress = {});

} // namespace kvx
