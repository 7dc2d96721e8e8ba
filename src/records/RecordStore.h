#pragma once
// The record database: the one place in the program that holds SQL.
//
// Three tables live in the file: `datatemp` (the working trace), `datamain` (one
// header per saved record) and `datadetail` (the samples of all saved records).
// Every statement the program issues is built below by a function named after
// its number, with its text exactly as the record format defines it. Values are
// concatenated into the texts without escaping, so a single quote typed into a
// comment ends the literal and the statement fails; that failure comes back to
// the caller as `lastError()`, nothing here throws.
//
// The statement texts are written for the engine the record format grew up on.
// The few spots SQLite does not accept are rewritten by `toSqlite()` just before
// execution, in one place, so the texts themselves stay as defined.

#include <QString>
#include <QStringList>
#include <QVariant>

#include <functional>
#include <optional>
#include <vector>

namespace kvx {

// The statement texts, by number.
namespace statements {
QString S1();
QString S2();
QString S3(const QString& recNo, const QString& startTime, const QString& endTime, const QString& comment,
           const QString& pUnit, const QString& sUnit, const QString& recStyle);
QString S4(const QString& recNo);
QString S5(const QString& comment, const QString& recNo);
QString S6(const QString& recNo);
QString S7(const QString& recNo);
QString S8();
QString S9(const QString& recNo);
QString S10();
QString S11(const QString& recNo);
QString S12(const QString& recNo);
QString S13(const QString& seqNo, const QString& recTime, const QString& pVal, const QString& sVal,
            const QString& reason, const QString& timeTick, const QString& diffLastTime);
// Filter index 0..5 of the data table's filter list; index 5 reads every row like index 0.
QString S14(int filterIndex);
QString S15(const QString& comment, const QString& recTime);
QString S16();
} // namespace statements

// Rewrites the two constructs of the record format's SQL dialect that SQLite rejects:
// "delete * from t", and "insert into t select a, b from ..." without a column list.
QString toSqlite(const QString& jetStatement);

// A failed statement: the engine's error number and its description.
struct StoreError {
    QString number;
    QString description;
    bool isSet() const { return !description.isEmpty() || !number.isEmpty(); }
};

// One line of the record list (S8), newest record first.
struct RecordListRow {
    QString recNo;
    QString startTime;
    QString endTime;
    QString comment;
};

// A record header as S9 reads it; nulls become empty texts.
struct RecordHeader {
    QString recNo;
    QString startTime;
    QString endTime;
    QString comment;
    QString pUnit;
    QString sUnit;
    QString recStyle;
};

// One sample on its way into `datatemp` (S13).
struct NewSample {
    qint64 seqNo = 0;
    QString recTime;
    QString pVal;
    QString sVal;
    QString reason;
    qint64 timeTick = 0;
    qint64 diffLastTime = 0;
};

// One row of `datatemp` as S14 reads it; TimeTick and DiffLastTime may be null.
struct TempSample {
    qint64 seqNo = 0;
    QString recTime;
    QString pVal;
    QString sVal;
    QString reason;
    QString comment;
    QVariant timeTick;
    QVariant diffLastTime;
};

class RecordStore {
public:
    explicit RecordStore(QString connectionName = QStringLiteral("kvx5130-records"));
    ~RecordStore();
    RecordStore(const RecordStore&) = delete;
    RecordStore& operator=(const RecordStore&) = delete;

    // Opens (and on a first run creates) the database file. On failure returns false
    // and `openMessage()` names the file and the reason, fit to show to the operator.
    bool open(const QString& filePath);
    void close();
    bool isOpen() const;
    QString filePath() const { return m_filePath; }
    QString openMessage() const { return m_openMessage; }

    // The error of the last statement that failed; cleared by every statement that succeeds.
    const StoreError& lastError() const { return m_lastError; }

    // S1: number of samples in the working trace.
    std::optional<qint64> countSamples();
    // S2: the next record number as text, "1" when `datamain` is empty.
    std::optional<QString> nextRecordNumber();
    // S3
    bool insertHeader(const RecordHeader& header);
    // S4: copies the working trace under `recNo`, time columns included.
    bool copyTraceToRecord(const QString& recNo);
    // S5, S6, S7: the update path; S7 copies the trace back without its time columns.
    bool updateRecordComment(const QString& comment, const QString& recNo);
    bool deleteRecordSamples(const QString& recNo);
    bool copyTraceToRecordWithoutTimes(const QString& recNo);
    // S8
    std::optional<std::vector<RecordListRow>> listRecords();
    // The column headings of the record list, as S8 names them.
    static QStringList recordListHeadings();
    // S9: nullopt on failure; an empty inner optional when no record has that number.
    std::optional<std::optional<RecordHeader>> readHeader(const QString& recNo);
    // S10
    bool clearTrace();
    // S11 (time columns kept) and S12 (time columns left empty).
    bool loadRecordWithTimes(const QString& recNo);
    bool loadRecordWithoutTimes(const QString& recNo);
    // S13: stores one sample; committed when this returns true.
    bool insertSample(const NewSample& sample);
    // S14: calls `each` for every row of the filter, in sample order.
    bool readSamples(int filterIndex, const std::function<void(const TempSample&)>& each);
    // S15: sets the comment of every sample stored with the time text `recTime`.
    bool updateSampleComment(const QString& comment, const QString& recTime);
    // S16: the highest sample number; an empty inner optional when the trace is empty.
    std::optional<std::optional<qint64>> highestSampleNumber();

    // ---- Whole traces, for record files, printed reports and exports -------------
    // Unlike the numbered statements above these bind their values, so every text,
    // quotes included, goes into the database and comes back unchanged. The whole
    // working trace is read with readSamples(0, ...).

    // Replaces every row of `datatemp` with `rows` in one transaction: when any
    // row fails the working trace is left exactly as it was. Texts are stored as
    // given (a null text as empty text); a null TimeTick or DiffLastTime stays null.
    bool replaceTrace(const std::vector<TempSample>& rows);
    // The samples of the saved record `recNo` from `datadetail`, every column, in
    // sample order. A record without samples calls `each` never and returns true.
    bool readRecordSamples(const QString& recNo, const std::function<void(const TempSample&)>& each);

private:
    bool execute(const QString& jetStatement);
    bool fail(const QString& number, const QString& description);
    bool failOpen(const QString& reason);
    std::optional<QVariant> singleValue(const QString& jetStatement);

    QString m_connectionName;
    QString m_filePath;
    QString m_openMessage;
    StoreError m_lastError;
};

// The one connection the application opens at start-up and every window uses.
RecordStore& recordStore();

} // namespace kvx
