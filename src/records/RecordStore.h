#pragma once
// The record database: the one place in the program that holds SQL.
//
// Three tables live in the file: `datatemp` (the working trace), `datamain` (one
// header per saved record) and `datadetail` (the samples of all saved records).
// Every statement the program issues is built below by a function named after
// its number: its text, with a "?" where each value goes, and the values, which
// reach the database bound, never as part of the text. So no typed text can
// change what a statement does. A text value that holds a single quote is still
// refused, as the record format requires, before the statement reaches
// the database; that failure, like any other, comes back to the caller as
// `lastError()`, nothing here throws.
//
// The statement texts are the record format's own dialect, kept word for word.
// The few spots an engine does not accept are rewritten by `toDialect()` just
// before execution, in one place, so the texts themselves stay as defined.
//
// Two engines hold the tables: the SQLite file in the program folder (the
// default, nothing to set up) or a lab server (PostgreSQL) shared by many benches.
// On the server `datamain` and `datadetail` are shared, and each bench has a
// `datatemp` of its own, in a schema named after the bench that the connection
// looks in first; so every statement reads the same on both engines.

#include <QByteArrayView>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

class QSqlDatabase;
class QSqlQuery;
struct sqlite3;
struct sqlite3_stmt;

namespace kvx {

struct NewSample;

// A statement: its text with a "?" for each value, and the values in that order.
struct Statement {
    QString text;
    QVariantList values;
};

// The statements, by number.
namespace statements {
Statement S1();
Statement S2();
Statement S3(const QString& recNo, const QString& startTime, const QString& endTime, const QString& comment,
             const QString& pUnit, const QString& sUnit, const QString& recStyle);
Statement S4(const QString& recNo);
Statement S5(const QString& comment, const QString& recNo);
Statement S6(const QString& recNo);
Statement S7(const QString& recNo);
Statement S8();
Statement S9(const QString& recNo);
Statement S10();
Statement S11(const QString& recNo);
Statement S12(const QString& recNo);
Statement S13(const NewSample& sample);
// Filter index 0..5 of the data table's filter list; index 5 reads every row like index 0.
Statement S14(int filterIndex);
Statement S15(const QString& comment, const QString& recTime);
Statement S16();
} // namespace statements

// PostgresLibpq is the server's dialect for a statement handed to libpq itself,
// which numbers its parameters: "$1", "$2", ... instead of "?".
enum class Dialect { Sqlite, Postgres, PostgresLibpq };

// Rewrites the constructs of the record format's SQL dialect that an engine rejects:
// "delete * from t", "insert into t select a, b from ..." without a column list, and
// for the server "[heading]" aliases and a record number selected from a "?".
QString toDialect(const QString& formatStatement, Dialect dialect);
inline QString toSqlite(const QString& formatStatement) {
    return toDialect(formatStatement, Dialect::Sqlite);
}

// Where the records live, from the store's connection text: a lab server for
// "postgresql://user@host:5432/database" ("postgres://" too; libpq's parameters
// such as sslmode may follow after "?"), else the SQLite file at that path.
// A password is never part of the text: libpq finds it in ~/.pgpass or PGPASSWORD.
struct StoreTarget {
    bool server = false;
    QString filePath;
    QString host, user, database, options;
    int port = 5432;
    // The text that names it, for messages and the record list.
    QString displayName() const;
};
// Empty text: the file `defaultFile`. False with the reason for a server text that
// carries a password or lacks a database name.
bool parseStoreText(const QString& text, const QString& defaultFile, StoreTarget* target, QString* error);
// The bench a store works for when none is named: host name and program folder.
QString defaultBenchName(const QString& programFolder);

// Makes (or makes again, after the server went away) the connection named
// `connectionName` to `target`. The main connection also makes the tables that are
// missing; the writer's commits each wait until the sample is on the disk. Empty
// text when it is open, else why not.
enum class StoreRole { Main, Writer, Reader };
QString openStoreConnection(const QString& connectionName, const StoreTarget& target, const QString& bench,
                            StoreRole role);

// Stores `samples` in the working trace with S13 on the open connection
// `connectionName`, all of them or none; empty text once they are committed, else
// why not. On the server S13 is prepared once per session (a session made by
// openStoreConnection prepares it again), and a lone sample is one statement
// committed on its own: one round trip to the server and its sync to disk.
QString storeSamples(const QString& connectionName, const StoreTarget& target,
                     const std::vector<NewSample>& samples);

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
    QString bench = QString(); // the bench that saved it
};

// Who saved a record: the bench's name, the meter's *IDN? reply, and the record's
// lasting identity, which a copy to another store keeps so that it is copied once.
struct RecordOrigin {
    QString bench;
    QString meter;
    QString origin;
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
    // The meter gave no reading: the values are the 0 a failed read leaves.
    bool noReply = false;
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
    bool noReply = false;
};

// One sample as the database holds it, for exports: the texts are its UTF-8
// bytes, valid only while the callback that receives them runs.
struct StoredSample {
    qint64 seqNo = 0;
    QByteArrayView recTime, pVal, sVal, reason, comment;
    std::optional<qint64> timeTick, diffLastTime;
    bool noReply = false;
};

// A line of the command line's record list: a saved record with its sample count.
struct RecordSummary {
    RecordHeader header; // without its sample style
    qint64 samples = 0;
    RecordOrigin origin = RecordOrigin();
};

// What a source of rows for `RecordStore::replaceTrace` hands out at each call.
enum class RowStep { Row, End, Stop };
// Fills its argument and answers Row, or answers End after the last row, or Stop
// to give up (the working trace then stays as it was).
using RowSource = std::function<RowStep(TempSample&)>;

class SampleWriter;

// Reads what `RecordStore::startSampleReader` selected a slice at a time, so that a
// long trace can be shown while the windows stay usable. The statement stays open
// between slices; the store's writer waits meanwhile, as for any reader.
class SampleReader {
public:
    SampleReader();
    ~SampleReader();
    SampleReader(const SampleReader&) = delete;
    SampleReader& operator=(const SampleReader&) = delete;

    bool active() const { return m_query != nullptr; }
    // Appends up to `maxRows` rows; false once the last row has been read.
    bool read(int maxRows, std::vector<TempSample>* rows);
    // The same for a reader of rowids (RecordStore::startRowIdReader).
    bool readRowIds(int maxRows, std::vector<qint64>* rowIds);
    void stop();

private:
    friend class RecordStore;
    std::unique_ptr<QSqlQuery> m_query;
    int m_seqNo = -1, m_recTime = -1, m_pVal = -1, m_sVal = -1, m_reason = -1, m_comment = -1;
    int m_timeTick = -1, m_diffLastTime = -1, m_noReply = -1;
};

class RecordStore {
public:
    explicit RecordStore(QString connectionName = QStringLiteral("kvx5130-records"));
    ~RecordStore();
    RecordStore(const RecordStore&) = delete;
    RecordStore& operator=(const RecordStore&) = delete;

    // Opens (and on a first run creates) the database file. A file whose tables are
    // not the record tables is refused before a byte of it is written; one made
    // before the NoReply column existed gets the column, every row kept. On failure
    // returns false and `openMessage()` names the file and the reason, fit to show
    // to the operator.
    bool open(const QString& filePath);
    // Opens the file or the lab server of `target`; on the server, the working trace is
    // the one of `bench()`. A server that cannot be reached is refused like a file.
    bool open(const StoreTarget& target);
    // The same store on a connection of the calling thread: for work on a thread of
    // its own, such as an export or loading a record. No table is made, no writer
    // started; the working trace reads as it stood when the writer last settled.
    bool openForReading(const StoreTarget& target, const QString& bench);
    const StoreTarget& target() const { return m_target; }
    void close();
    bool isOpen() const;
    // The file, or the server's text.
    QString filePath() const { return m_filePath; }
    bool onServer() const { return m_target.server; }
    // The bench this store saves records for; set before open.
    void setBench(const QString& name) { m_bench = name; }
    QString bench() const { return m_bench; }
    // The meter's identification, saved with each new record.
    void setMeterIdentity(const QString& idn) { m_meter = idn; }
    QString openMessage() const { return m_openMessage; }

    // The error of the last statement that failed; cleared by every statement that succeeds.
    const StoreError& lastError() const { return m_lastError; }
    // False when the text holds a single quote, which no statement stores.
    static bool canStore(const QString& text);

    // S1: number of samples in the working trace.
    std::optional<qint64> countSamples();
    // S2: the next record number as text, "1" when `datamain` is empty.
    std::optional<QString> nextRecordNumber();
    // S3
    bool insertHeader(const RecordHeader& header);
    // S2 and S3 as one step that no other saver can come between, on both engines: the
    // header gets the next record number, this store's bench and meter, and `origin`
    // (a new one when empty). The number, or nullopt with lastError() set.
    std::optional<QString> insertNewHeader(RecordHeader header, const QString& origin = QString(),
                                           const std::function<bool(const QString&)>& beforeCommit = {});
    // The origins of the saved records, for copies between stores.
    std::optional<QStringList> recordOrigins();
    // S4: copies the working trace under `recNo`, time columns included.
    bool copyTraceToRecord(const QString& recNo);
    // S5, S6, S7: the update path; S7 copies the trace back without its time columns.
    bool updateRecordComment(const QString& comment, const QString& recNo);
    bool deleteRecordSamples(const QString& recNo);
    bool copyTraceToRecordWithoutTimes(const QString& recNo);
    // S8, with each record's bench; only the records of `bench` when it is not empty.
    std::optional<std::vector<RecordListRow>> listRecords(const QString& bench = QString());
    // The column headings of the record list, as S8 names them.
    static QStringList recordListHeadings();
    // S9: nullopt on failure; an empty inner optional when no record has that number.
    std::optional<std::optional<RecordHeader>> readHeader(const QString& recNo);
    // S10
    bool clearTrace();
    // S11 (time columns kept) and S12 (time columns left empty).
    bool loadRecordWithTimes(const QString& recNo);
    bool loadRecordWithoutTimes(const QString& recNo);
    // S10 then S11 (or S12) in one transaction: the working trace becomes the record,
    // or, when a statement fails, stays as it was.
    bool replaceTraceWithRecord(const QString& recNo, bool withTimes);
    // S13: stores one sample; committed when this returns true.
    bool insertSample(const NewSample& sample);
    // The polling tick's way: hands the sample to the writer thread (see
    // SampleWriter) and returns at once; false only when the queue is full. Every
    // other call that reads or changes the working trace first waits (2 s at most)
    // until the queued samples are written, so nothing is read or stored out of order.
    bool queueSample(const NewSample& sample);
    // Waits until the queued samples are written (2 s at most); false, with
    // lastError() set, when they still wait. For readers on connections of their own.
    bool settleWriter();
    // S14: calls `each` for every row of the filter, in sample order.
    bool readSamples(int filterIndex, const std::function<void(const TempSample&)>& each);
    // S14, to be read a slice at a time through `reader`.
    bool startSampleReader(int filterIndex, SampleReader* reader);
    // S15: sets the comment of every sample stored with the time text `recTime`.
    bool updateSampleComment(const QString& comment, const QString& recTime);
    // S16: the highest sample number; an empty inner optional when the trace is empty.
    std::optional<std::optional<qint64>> highestSampleNumber();

    // ---- The data table's grid, which reads its rows when it paints them ----------

    // The rowid of every row S14 selects for `filterIndex`, in its order, to be read a
    // slice at a time through `reader` (SampleReader::readRowIds). Like S14, it waits
    // for queued samples first. The two reads below do not: the grid shows queued
    // samples from memory, and a paint must never wait on a locked database.
    bool startRowIdReader(int filterIndex, SampleReader* reader);
    // The working trace's rows with these rowids, in the order given; a rowid that is
    // not there leaves its row with the sample number -1.
    bool readSamplesByRowId(const std::vector<qint64>& rowIds, std::vector<TempSample>* rows);
    // The rowids of the samples numbered `first` to `last`, in sample order.
    bool readRowIdsOfSamples(qint64 first, qint64 last, std::vector<qint64>* rowIds);
    // Samples handed to queueSample that are not written yet.
    size_t samplesWaiting() const;

    // ---- Whole traces, for record files, printed reports and exports -------------
    // Unlike the numbered statements above these store every text, quotes included,
    // and give it back unchanged. The whole working trace is read with readSamples(0, ...).

    // Replaces every row of `datatemp` with `rows` in one transaction: when any
    // row fails the working trace is left exactly as it was. Texts are stored as
    // given (a null text as empty text); a null TimeTick or DiffLastTime stays null.
    bool replaceTrace(const std::vector<TempSample>& rows);
    // The same with the rows handed out one at a time, so that no more than one
    // is held; a source that answers Stop leaves the working trace as it was.
    bool replaceTrace(const RowSource& next);
    // The samples of the saved record `recNo` from `datadetail`, every column, in
    // sample order. A record without samples calls `each` never and returns true.
    bool readRecordSamples(const QString& recNo, const std::function<void(const TempSample&)>& each);
    // Exports: every sample of the saved record `recNo`, or of the working trace when
    // `recNo` is empty, in sample order, straight from the engine without a copy. `each`
    // answers false to stop (this then returns false with lastError() unset).
    bool streamSamples(const QString& recNo, const std::function<bool(const StoredSample&)>& each);
    // A page of the working trace for watchers: up to `maxRows` samples numbered
    // `firstSeqNo` or higher, in sample order, as streamSamples hands them out. It
    // reads what is on the disk and does not wait for queued samples, so that a
    // locked database never holds up the caller; watchers learn of queued samples
    // from WorkingTrace::sampleStored.
    bool streamWorkingSamplesFrom(qint64 firstSeqNo, int maxRows,
                                  const std::function<bool(const StoredSample&)>& each);
    // Every saved record with its sample count, lowest number first; only those of
    // `bench` when it is not empty.
    std::optional<std::vector<RecordSummary>> summarizeRecords(const QString& bench = QString());
    // Writes the header of `summary` from `source` under a new number, with its bench,
    // meter and origin, and copies its samples, texts as they are, all in one
    // transaction (on the server the samples go as one stream); unless a record of
    // that origin is here already. The new number, empty text when the record was
    // here, nullopt on failure. `progress` hears the count every 10,000 samples.
    std::optional<QString> copyRecord(RecordStore& source, const RecordSummary& summary,
                                      const std::function<void(qint64)>& progress = {});
    // The working trace as a summary numbered "0": times of its first and last samples
    // and their count; no comment or units (those live in the data table window).
    std::optional<RecordSummary> summarizeWorkingTrace();
    // The primary value of every row of `datatemp` as a number (parseLeadingNumber),
    // appended to `values` in sample order, and the positions in it of the rows
    // without a meter reply: what the graph charts, without the rest of each row.
    // `progress` hears the count of rows read every 10,000 rows.
    bool readPrimaryValues(std::vector<double>* values, std::vector<qint32>* noReplyRows,
                           const std::function<void(qint64)>& progress = {});

private:
    // Steps a prepared sample select to its end, handing each row to `each`, and
    // finalizes it.
    bool finishStream(sqlite3* db, sqlite3_stmt* statement, const std::function<bool(const StoredSample&)>& each);
    // Runs `statement` on `query`; false, with lastError() set, when it fails or
    // when one of its texts holds a single quote (then nothing reaches the database).
    enum class Queued { Settle, Ignore };
    bool run(QSqlQuery& query, const Statement& statement, Queued queued = Queued::Settle);
    bool execute(const Statement& statement);
    // The store open, the queued samples written and a transaction begun on `db`.
    bool beginReplacingTrace(QSqlDatabase* db);
    bool fail(const QString& number, const QString& description);
    bool failOpen(const QString& reason);
    std::optional<QVariant> singleValue(const Statement& statement);
    Dialect dialect() const { return m_target.server ? Dialect::Postgres : Dialect::Sqlite; }
    // A server connection that broke (the server restarted) is made again once.
    bool reconnectIfBroken();
    bool writeCopiedSamples(RecordStore& source, const QString& sourceRecNo, const QString& recNo,
                            const std::function<void(qint64)>& progress);
    // A select of sample rows in the order of `kStreamSelects`, with its $n parameters.
    bool streamSamplesOfServer(const char* text, const std::vector<QByteArray>& parameters,
                               const std::function<bool(const StoredSample&)>& each);

    QString m_connectionName;
    StoreTarget m_target;
    QString m_bench;
    QString m_meter;
    bool m_numbering = false; // a new record's number is being taken: the writer waits
    QString m_filePath;
    QString m_openMessage;
    StoreError m_lastError;
    std::unique_ptr<SampleWriter> m_writer;
};

// The one connection the application opens at start-up and every window uses.
RecordStore& recordStore();

} // namespace kvx
