#include "RecordStore.h"

#include "LibPq.h"
#include "SampleWriter.h"
#include "ValueRules.h"

#include <QCryptographicHash>
#include <QFileInfo>
#include <QHash>
#include <QRegularExpression>
#include <QSet>
#include <QSqlDatabase>
#include <QSqlDriver>
#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QSysInfo>
#include <QUrl>
#include <QUrlQuery>
#include <QUuid>
#include <sqlite3.h>

namespace kvx {

namespace {

// A text as the statements bind it. A null QString would be stored as SQL null,
// while a record text is always stored as text, an empty one as ''.
QVariant boundText(const QString& text) {
    return text.isNull() ? QVariant(QString(0, QChar())) : QVariant(text);
}

Statement statement(const QString& text, const QStringList& texts = {}) {
    Statement s{text, {}};
    for (const QString& value : texts)
        s.values << boundText(value);
    return s;
}

} // namespace

namespace statements {

Statement S1() {
    return statement(QStringLiteral("select count(*) from datatemp"));
}

Statement S2() {
    return statement(QStringLiteral("select max(recno) from datamain"));
}

Statement S3(const QString& recNo, const QString& startTime, const QString& endTime, const QString& comment,
             const QString& pUnit, const QString& sUnit, const QString& recStyle) {
    return statement(
        QStringLiteral("insert into datamain (RecNo,StartTime,EndTime,Comment,PUnit,SUnit,RecStyle) "
                       "values(?,?,?,?,?,?,?)"),
        {recNo, startTime, endTime, comment, pUnit, sUnit, recStyle});
}

Statement S4(const QString& recNo) {
    return statement(QStringLiteral("insert into datadetail (recno,SeqNo ,RecTime,   PVal    ,SVal,  Reason, "
                                    "Comment, TimeTick, DiffLastTime, NoReply)"
                                    " select ? as recno,SeqNo   ,RecTime,   PVal    ,SVal,  Reason, Comment, "
                                    "TimeTick, DiffLastTime, NoReply  from datatemp"),
                     {recNo});
}

Statement S5(const QString& comment, const QString& recNo) {
    return statement(QStringLiteral("update datamain set comment=? where recno=?"), {comment, recNo});
}

Statement S6(const QString& recNo) {
    return statement(QStringLiteral("delete from datadetail where recno=?"), {recNo});
}

Statement S7(const QString& recNo) {
    return statement(QStringLiteral("insert into datadetail (recno,SeqNo ,RecTime,   PVal    ,SVal,  Reason, "
                                    "Comment, NoReply)"
                                    " select ? as recno,SeqNo   ,RecTime,   PVal    ,SVal,  Reason, Comment, "
                                    "NoReply from datatemp"),
                     {recNo});
}

Statement S8() {
    return statement(
        QStringLiteral(u"select RecNo as [編號], StartTime as [開始時間], EndTime as [結束時間], "
                       u"Comment as [註  解] from datamain order by recno desc"));
}

Statement S9(const QString& recNo) {
    return statement(QStringLiteral("select RecNo, StartTime, EndTime, Comment,Punit,SUnit,RecStyle from "
                                    "datamain where recno=?"),
                     {recNo});
}

Statement S10() {
    return statement(QStringLiteral("delete * from datatemp"));
}

Statement S11(const QString& recNo) {
    return statement(QStringLiteral("insert into datatemp select SeqNo ,RecTime,   PVal    ,SVal,  Reason, "
                                    "Comment,timetick,difflasttime,NoReply from datadetail where recno=?"),
                     {recNo});
}

Statement S12(const QString& recNo) {
    return statement(QStringLiteral("insert into datatemp select SeqNo ,RecTime,   PVal    ,SVal,  Reason, "
                                    "Comment,NoReply from datadetail where recno=?"),
                     {recNo});
}

Statement S13(const NewSample& sample) {
    Statement s = statement(
        QStringLiteral("insert into DataTemp (SeqNo,RecTime,PVal,SVal,Reason,Comment,TimeTick,DiffLastTime,"
                       "NoReply) values (?,?,?,?,?,'',?,?,?)"));
    s.values << sample.seqNo << boundText(sample.recTime) << boundText(sample.pVal) << boundText(sample.sVal)
             << boundText(sample.reason) << sample.timeTick << sample.diffLastTime << int(sample.noReply);
    return s;
}

Statement S14(int filterIndex) {
    switch (filterIndex) {
    case 1:
        return statement(QStringLiteral("select * from datatemp where reason='0' order by seqno asc"));
    case 2:
        return statement(QStringLiteral("select * from datatemp where reason='1' order by seqno asc"));
    case 3:
        return statement(QStringLiteral("select * from datatemp where reason='2' order by seqno asc"));
    case 4:
        return statement(QStringLiteral("select * from datatemp where reason='3' order by seqno asc"));
    default:
        // "Total", and also "Match condition: Percent": code "4" rows have no filter of their own.
        return statement(QStringLiteral("select * from datatemp order by seqno asc"));
    }
}

Statement S15(const QString& comment, const QString& recTime) {
    return statement(QStringLiteral("update DataTemp set Comment =?  where rectime=?"), {comment, recTime});
}

Statement S16() {
    return statement(QStringLiteral("select max(seqno) from datatemp"));
}

} // namespace statements

namespace {

// The name a select-list item gives its column: the alias after "as", else the item itself.
QString selectedColumnName(const QString& item) {
    static const QRegularExpression alias(QStringLiteral(R"(\s+as\s+(\S+)\s*$)"),
                                          QRegularExpression::CaseInsensitiveOption);
    const QRegularExpressionMatch m = alias.match(item);
    return m.hasMatch() ? m.captured(1) : item.trimmed();
}

} // namespace

QString toDialect(const QString& formatStatement, Dialect dialect) {
    // "delete * from t": the dialect allows the star; both engines know "delete from t".
    static const QRegularExpression deleteStar(QStringLiteral(R"(^(\s*delete)\s+\*\s+(from\s))"),
                                               QRegularExpression::CaseInsensitiveOption);
    // "insert into t select a, b from ...": the dialect fills the columns of t named
    // like the selected ones, so a six-column select leaves the rest of the row null.
    // The engines fill by position and want every column, so the selected names are
    // turned into the explicit column list the dialect implies.
    static const QRegularExpression insertSelect(
        QStringLiteral(R"(^(\s*insert\s+into\s+\w+)\s+(select\s+)(.*?)(\s+from\s.*)$)"),
        QRegularExpression::CaseInsensitiveOption | QRegularExpression::DotMatchesEverythingOption);
    // The server quotes a heading with double quotes, not brackets.
    static const QRegularExpression bracketed(QStringLiteral(R"(\[([^\]]*)\])"));
    // A value selected from a "?" has no type on the server, which then takes it for
    // text; the record number column is a number there.
    static const QRegularExpression selectedNumber(QStringLiteral(R"(\?(\s+as\s+recno\b))"),
                                                   QRegularExpression::CaseInsensitiveOption);

    QString sql = formatStatement;
    sql.replace(deleteStar, QStringLiteral("\\1 \\2"));

    const QRegularExpressionMatch m = insertSelect.match(sql);
    if (m.hasMatch()) {
        QStringList columns;
        const QStringList items = m.captured(3).split(QLatin1Char(','));
        for (const QString& item : items)
            columns << selectedColumnName(item);
        sql = m.captured(1) + " (" + columns.join(QLatin1Char(',')) + ") " + m.captured(2) + m.captured(3) +
              m.captured(4);
    }
    if (dialect != Dialect::Sqlite) {
        sql.replace(bracketed, QStringLiteral("\"\\1\""));
        sql.replace(selectedNumber, QStringLiteral("cast(? as bigint)\\1"));
    }
    if (dialect == Dialect::PostgresLibpq) {
        // Each "?" outside a quoted text becomes "$1", "$2", ... in order.
        QString numbered;
        bool quoted = false;
        int parameter = 0;
        for (const QChar c : std::as_const(sql)) {
            if (c == QLatin1Char('\''))
                quoted = !quoted;
            if (c == QLatin1Char('?') && !quoted)
                numbered += QLatin1Char('$') + QString::number(++parameter);
            else
                numbered += c;
        }
        sql = numbered;
    }
    return sql;
}

namespace {

// Record numbers are compared with these columns ("recno=?" with the number as
// text); INTEGER affinity turns the text into a number, so record 10 follows
// record 9 and lists sort by value. The time columns stay empty (null) when a copy
// leaves them out. NoReply is this program's own: 1 marks a sample the meter did
// not answer.
const char* const kSchema[] = {
    "create table if not exists datamain (RecNo INTEGER, StartTime TEXT, EndTime TEXT, Comment TEXT, "
    "PUnit TEXT, SUnit TEXT, RecStyle TEXT, Bench TEXT, Meter TEXT, Origin TEXT)",
    "create table if not exists datadetail (recno INTEGER, SeqNo INTEGER, RecTime TEXT, PVal TEXT, SVal "
    "TEXT, "
    "Reason TEXT, Comment TEXT, TimeTick INTEGER, DiffLastTime INTEGER, NoReply INTEGER NOT NULL DEFAULT 0)",
    "create table if not exists datatemp (SeqNo INTEGER, RecTime TEXT, PVal TEXT, SVal TEXT, Reason TEXT, "
    "Comment TEXT, TimeTick INTEGER, DiffLastTime INTEGER, NoReply INTEGER NOT NULL DEFAULT 0)",
    "create index if not exists datadetail_recno on datadetail (recno)",
    "create index if not exists datatemp_seqno on datatemp (SeqNo)",
};

// The lab server's tables. The shared ones are in the public schema; `datatemp` is
// made in the bench's own schema (%1), which the connection searches first. A record
// number is unique there, which also lets the record list group by it alone; the
// working trace gets the row numbers SQLite gives every table.
const char* const kServerSchema[] = {
    "create table if not exists public.datamain (RecNo bigint primary key, StartTime text, EndTime text, "
    "Comment text, PUnit text, SUnit text, RecStyle text, Bench text, Meter text, Origin text unique)",
    "create table if not exists public.datadetail (recno bigint, SeqNo bigint, RecTime text, PVal text, "
    "SVal text, Reason text, Comment text, TimeTick bigint, DiffLastTime bigint, "
    "NoReply integer not null default 0)",
    "create index if not exists datadetail_recno on public.datadetail (recno)",
    // A record's samples are read in sample order straight from this index: an export
    // of a long record neither sorts nor spills a sort to disk beside the benches'
    // commits. The index above stays: benches of an earlier version make it again.
    "create index if not exists datadetail_recno_seqno on public.datadetail (recno, SeqNo)",
    "create index if not exists datamain_bench on public.datamain (Bench)",
    "create schema if not exists %1",
    "create table if not exists %1.datatemp (rowid bigint generated always as identity, SeqNo bigint, "
    "RecTime text, PVal text, SVal text, Reason text, Comment text, TimeTick bigint, DiffLastTime bigint, "
    "NoReply integer not null default 0)",
    "create index if not exists datatemp_seqno on %1.datatemp (SeqNo)",
};

// The columns each record table must have, and those this program added later,
// which a file made before them is given at open.
struct AddedColumn {
    const char* name;
    const char* type;
};
struct RecordTable {
    const char* name;
    std::vector<const char*> columns;
    std::vector<AddedColumn> added;
};
const AddedColumn kNoReply{"NoReply", "INTEGER NOT NULL DEFAULT 0"};
const RecordTable kRecordTables[] = {
    {"datamain",
     {"RecNo", "StartTime", "EndTime", "Comment", "PUnit", "SUnit", "RecStyle"},
     {{"Bench", "TEXT"}, {"Meter", "TEXT"}, {"Origin", "TEXT"}}},
    {"datadetail",
     {"recno", "SeqNo", "RecTime", "PVal", "SVal", "Reason", "Comment", "TimeTick", "DiffLastTime"},
     {kNoReply}},
    {"datatemp",
     {"SeqNo", "RecTime", "PVal", "SVal", "Reason", "Comment", "TimeTick", "DiffLastTime"},
     {kNoReply}},
};
const char* const kNoReplyColumn = kNoReply.name;

// How long a statement waits for another program's lock before it fails. Short,
// because the polling cycle stores a sample every second on the UI thread.
constexpr int kBusyTimeoutMs = 200;
// How long a read or a change of the working trace waits for queued samples.
constexpr int kSettleWaitMs = 2000;

QString textOf(const QVariant& v) {
    return v.isNull() ? QString() : v.toString();
}

// A sample selected as "SeqNo, RecTime, PVal, SVal, Reason, Comment, TimeTick,
// DiffLastTime, NoReply", in that order.
TempSample sampleOfRow(const QSqlQuery& query) {
    TempSample row;
    row.seqNo = query.value(0).toLongLong();
    row.recTime = textOf(query.value(1));
    row.pVal = textOf(query.value(2));
    row.sVal = textOf(query.value(3));
    row.reason = textOf(query.value(4));
    row.comment = textOf(query.value(5));
    row.timeTick = query.value(6);
    row.diffLastTime = query.value(7);
    row.noReply = query.value(8).toInt() != 0;
    return row;
}

} // namespace

RecordStore::RecordStore(QString connectionName) : m_connectionName(std::move(connectionName)) {}

RecordStore::~RecordStore() {
    close();
}

bool RecordStore::isOpen() const {
    return QSqlDatabase::contains(m_connectionName) &&
           QSqlDatabase::database(m_connectionName, false).isOpen();
}

void RecordStore::close() {
    m_writer.reset(); // what still waits is written first
    if (!QSqlDatabase::contains(m_connectionName))
        return;
    {
        QSqlDatabase db = QSqlDatabase::database(m_connectionName, false);
        db.close();
    }
    QSqlDatabase::removeDatabase(m_connectionName);
}

bool RecordStore::failOpen(const QString& reason) {
    m_openMessage = QStringLiteral("The record database \"%1\" cannot be opened: %2").arg(m_filePath, reason);
    close();
    return false;
}

namespace {

// Names in SQLite are compared without regard to case.
QSet<QString> lowerCaseNames(QSqlQuery& query, int column) {
    QSet<QString> names;
    while (query.next())
        names.insert(query.value(column).toString().toLower());
    return names;
}

// What a file's tables say about it: why it cannot be a record database, or the
// columns added since it was made. Only reads, so a refused file keeps every byte.
struct SchemaCheck {
    QString problem;
    QStringList missingColumns; // "table column type"
};

SchemaCheck checkSchema(QSqlDatabase& db) {
    QSqlQuery query(db);
    if (!query.exec(QStringLiteral("select name from sqlite_master where type='table'")))
        return {query.lastError().databaseText() + QStringLiteral(" (is it a record database?)"), {}};
    const QSet<QString> tables = lowerCaseNames(query, 0);
    SchemaCheck check;
    if (tables.isEmpty())
        return check; // a new file: the tables are made
    for (const RecordTable& table : kRecordTables) {
        const QString name = QLatin1String(table.name);
        if (!tables.contains(name))
            return {QStringLiteral("it has no table %1, so it is not a record database.").arg(name), {}};
        if (!query.exec(QStringLiteral("pragma table_info(%1)").arg(name)))
            return {query.lastError().databaseText(), {}};
        const QSet<QString> columns = lowerCaseNames(query, 1);
        for (const char* column : table.columns) {
            if (!columns.contains(QString::fromLatin1(column).toLower()))
                return {QStringLiteral("its table %1 has no column %2, so it is not a record database.")
                            .arg(name, QLatin1String(column)),
                        {}};
        }
        for (const AddedColumn& column : table.added) {
            if (!columns.contains(QString::fromLatin1(column.name).toLower()))
                check.missingColumns << QStringLiteral("%1 %2 %3")
                                            .arg(name, QLatin1String(column.name),
                                                 QLatin1String(column.type));
        }
    }
    return check;
}

// A file made before some columns existed: they are added, every row kept (and
// unmarked), in one transaction.
QString addMissingColumns(QSqlDatabase& db, const QStringList& columns) {
    if (columns.isEmpty())
        return QString();
    QSqlQuery query(db);
    if (!db.transaction())
        return db.lastError().databaseText();
    for (const QString& column : columns) {
        if (!query.exec(QStringLiteral("alter table %1 add column %2")
                            .arg(column.section(' ', 0, 0), column.section(' ', 1)))) {
            const QString problem = query.lastError().databaseText();
            query.finish();
            db.rollback();
            return problem;
        }
    }
    return db.commit() ? QString() : db.lastError().databaseText();
}

// Sets up an opened connection; returns why it cannot serve as the record database,
// or empty text when it can.
QString prepareDatabase(QSqlDatabase& db) {
    const SchemaCheck schema = checkSchema(db);
    if (!schema.problem.isEmpty())
        return schema.problem;
    // WAL mode: a commit is an append to the -wal file. The samples of a trace are
    // committed on the sample writer's connection with synchronous=FULL, so each is
    // on the disk (fsync) before the next tick; this connection's own changes
    // (records saved, comments) keep NORMAL, which a killed program survives too.
    QSqlQuery query(db);
    if (!query.exec(QStringLiteral("PRAGMA journal_mode=WAL")))
        return query.lastError().databaseText() + QStringLiteral(" (is it a record database?)");
    if (!query.exec(QStringLiteral("PRAGMA synchronous=NORMAL")))
        return query.lastError().databaseText();
    if (const QString problem = addMissingColumns(db, schema.missingColumns); !problem.isEmpty())
        return problem;
    for (const char* statement : kSchema) {
        if (!query.exec(QString::fromLatin1(statement)))
            return query.lastError().databaseText();
    }
    // A program that holds the write lock would make every stored sample fail: find out now.
    if (!query.exec(QStringLiteral("begin immediate")))
        return query.lastError().databaseText() + QStringLiteral(" (is another program using it?)");
    query.exec(QStringLiteral("rollback"));
    return QString();
}

// The schema that holds a bench's working trace on the server: a name made from the
// bench's, which may hold any character.
QString benchSchema(const QString& bench) {
    return QStringLiteral("kvx_bench_") +
           QString::fromLatin1(
               QCryptographicHash::hash(bench.toUtf8(), QCryptographicHash::Sha1).toHex().left(16));
}

// Every statement of a server connection finds the bench's `datatemp` first.
QString startServerSession(QSqlDatabase& db, const QString& bench) {
    QSqlQuery query(db);
    if (!query.exec(QStringLiteral("set search_path to %1, public").arg(benchSchema(bench))))
        return query.lastError().databaseText();
    return QString();
}

// Makes the server's tables when they are missing. Benches opening at the same moment
// take turns, since the server's catalogue does not let two make one table at once.
QString prepareServer(QSqlDatabase& db, const QString& bench) {
    QSqlQuery query(db);
    if (!db.transaction())
        return db.lastError().databaseText();
    bool done = query.exec(QStringLiteral("select pg_advisory_xact_lock(5130)"));
    for (const char* statement : kServerSchema) {
        if (!done)
            break;
        done = query.exec(QString::fromLatin1(statement).replace(QLatin1String("%1"), benchSchema(bench)));
    }
    const QString problem = done ? QString() : query.lastError().databaseText();
    query.finish();
    if (!done) {
        db.rollback();
        return problem;
    }
    if (!db.commit())
        return db.lastError().databaseText();
    return startServerSession(db, bench);
}

// The names of the statements prepared on a server session, kept on the driver of its
// connection; openStoreConnection forgets them whenever it makes a new session.
const char* const kPreparedOnSession = "kvxPreparedOnSession";

// The engine's own handle of a server connection (the Qt driver sits on libpq);
// nullptr for any other. Qt's driver has loaded libpq by then, so the calls
// through libpq() are there too; a SQLite connection never opens it.
PGconn* serverHandle(const QSqlDatabase& db) {
    const QVariant handle = db.isOpen() ? db.driver()->handle() : QVariant();
    // The name the type is known by depends on how Qt learnt it: the typedef or the struct.
    if (!handle.isValid() ||
        (qstrcmp(handle.typeName(), "PGconn*") != 0 && qstrcmp(handle.typeName(), "pg_conn*") != 0) ||
        !libpq())
        return nullptr;
    return *static_cast<PGconn* const*>(handle.constData());
}

QString serverError(PGconn* conn) {
    return QString::fromUtf8(libpq()->PQerrorMessage(conn)).trimmed();
}

} // namespace

QString StoreTarget::displayName() const {
    if (!server)
        return filePath;
    QString text = QStringLiteral("postgresql://");
    if (!user.isEmpty())
        text += user + QLatin1Char('@');
    text += host + QStringLiteral(":%1/").arg(port) + database;
    return text;
}

bool parseStoreText(const QString& text, const QString& defaultFile, StoreTarget* target, QString* error) {
    *target = StoreTarget{};
    const QString trimmed = text.trimmed();
    if (!trimmed.startsWith(QLatin1String("postgresql://")) &&
        !trimmed.startsWith(QLatin1String("postgres://"))) {
        target->filePath = trimmed.isEmpty() ? defaultFile : trimmed;
        return true;
    }
    const QUrl url(trimmed, QUrl::StrictMode);
    const QUrlQuery query(url);
    const bool password = !url.password().isEmpty() || query.hasQueryItem(QStringLiteral("password"));
    if (!url.isValid() || password || url.path().size() < 2) {
        *error = password ? QStringLiteral("a password does not go into the connection text: put it in "
                                           "~/.pgpass or PGPASSWORD")
                          : QStringLiteral("the text does not name a database: postgresql://user@host:5432/"
                                           "database");
        return false;
    }
    target->server = true;
    target->host = url.host();
    target->user = url.userName();
    target->port = url.port(5432);
    target->database = url.path().mid(1);
    QStringList options;
    for (const auto& [key, value] : query.queryItems(QUrl::FullyDecoded))
        options << key + QLatin1Char('=') + value;
    target->options = options.join(QLatin1Char(' '));
    return true;
}

QString defaultBenchName(const QString& programFolder) {
    return QSysInfo::machineHostName() + QLatin1Char(':') + programFolder;
}

QString openStoreConnection(const QString& connectionName, const StoreTarget& target, const QString& bench,
                            StoreRole role) {
    if (!QSqlDatabase::contains(connectionName)) {
        QSqlDatabase db = QSqlDatabase::addDatabase(
            target.server ? QStringLiteral("QPSQL") : QStringLiteral("QSQLITE"), connectionName);
        if (!db.isValid())
            return db.lastError().text();
        if (target.server) {
            db.setHostName(target.host);
            db.setPort(target.port);
            db.setUserName(target.user);
            db.setDatabaseName(target.database);
            // A server that is not there is known in seconds, not minutes.
            // Notices ("the table is there already") are not for the operator.
            db.setConnectOptions(QStringLiteral("connect_timeout=5 application_name=kvx5130 "
                                                "options='-c client_min_messages=warning' ") +
                                 target.options);
        } else {
            db.setDatabaseName(target.filePath);
            // A moment's lock (another connection saving a record) is waited out inside
            // SQLite; the writer waits out a longer one by trying again.
            db.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=%1")
                                     .arg(role == StoreRole::Writer ? 100 : kBusyTimeoutMs));
        }
    }
    QSqlDatabase db = QSqlDatabase::database(connectionName, false);
    db.close();
    if (!db.open())
        return db.lastError().text().trimmed();
    db.driver()->setProperty(kPreparedOnSession, QVariant());
    if (target.server)
        return role == StoreRole::Main ? prepareServer(db, bench) : startServerSession(db, bench);
    if (role == StoreRole::Writer)
        QSqlQuery(db).exec(QStringLiteral("PRAGMA synchronous=FULL"));
    return role == StoreRole::Main ? prepareDatabase(db) : QString();
}

bool RecordStore::open(const QString& filePath) {
    StoreTarget target;
    target.filePath = filePath;
    return open(target);
}

bool RecordStore::open(const StoreTarget& target) {
    close();
    m_target = target;
    m_filePath = target.displayName();
    m_openMessage.clear();
    m_lastError = {};
    if (m_bench.isEmpty())
        m_bench = QStringLiteral("bench");

    if (!target.server) {
        const QFileInfo info(target.filePath);
        if (info.exists() && !info.isFile())
            return failOpen(QStringLiteral("it is not a file."));
        if (info.exists() && !info.isWritable())
            return failOpen(QStringLiteral("the file is read-only."));
    }
    const QString problem = openStoreConnection(m_connectionName, target, m_bench, StoreRole::Main);
    if (!problem.isEmpty())
        return failOpen(problem);
    // An in-memory table (a report's) is private to this connection: no writer.
    if (target.server || target.filePath != QLatin1String(":memory:"))
        m_writer = std::make_unique<SampleWriter>(target, m_bench, m_connectionName);
    return true;
}

bool RecordStore::openForReading(const StoreTarget& target, const QString& bench) {
    close();
    m_target = target;
    m_bench = bench;
    m_filePath = target.displayName();
    m_openMessage.clear();
    m_lastError = {};
    const QString problem = openStoreConnection(m_connectionName, target, bench, StoreRole::Reader);
    return problem.isEmpty() || failOpen(problem);
}

bool RecordStore::fail(const QString& number, const QString& description) {
    m_lastError = {number, description};
    return false;
}

bool RecordStore::canStore(const QString& text) {
    return !text.contains(QLatin1Char('\''));
}

bool RecordStore::run(QSqlQuery& query, const Statement& statement, Queued queued) {
    // A quote ended the literal in the record format's statements and made them
    // fail; bound values would store it, so it is refused here, before the database.
    for (const QVariant& value : statement.values) {
        if (value.typeId() == QMetaType::QString && !canStore(value.toString()))
            return fail(QStringLiteral("1"),
                        QStringLiteral("the text \"%1\" holds a single quote, which cannot be stored")
                            .arg(value.toString()));
    }
    if (!isOpen())
        return fail(QStringLiteral("0"), QStringLiteral("the record database is not open"));
    if (queued == Queued::Settle && !m_numbering && !settleWriter())
        return false;
    query.setForwardOnly(true);
    const auto attempt = [&] {
        if (!query.prepare(toDialect(statement.text, dialect())))
            return false;
        for (const QVariant& value : statement.values)
            query.addBindValue(value);
        return query.exec();
    };
    if (!attempt() && !(reconnectIfBroken() && attempt()))
        return fail(query.lastError().nativeErrorCode(), query.lastError().databaseText());
    m_lastError = {};
    return true;
}

bool RecordStore::reconnectIfBroken() {
    if (!m_target.server)
        return false;
    QSqlDatabase db = QSqlDatabase::database(m_connectionName, false);
    const PGconn* handle = serverHandle(db);
    if (handle && libpq()->PQstatus(handle) == CONNECTION_OK &&
        libpq()->PQtransactionStatus(handle) != PQTRANS_UNKNOWN)
        return false; // the statement failed, not the connection
    return openStoreConnection(m_connectionName, m_target, m_bench, StoreRole::Reader).isEmpty();
}

bool RecordStore::execute(const Statement& statement) {
    QSqlQuery query(QSqlDatabase::database(m_connectionName, false));
    return run(query, statement);
}

std::optional<QVariant> RecordStore::singleValue(const Statement& statement) {
    QSqlQuery query(QSqlDatabase::database(m_connectionName, false));
    if (!run(query, statement))
        return std::nullopt;
    return query.next() ? query.value(0) : QVariant();
}

std::optional<qint64> RecordStore::countSamples() {
    const auto v = singleValue(statements::S1());
    if (!v)
        return std::nullopt;
    return v->toLongLong();
}

std::optional<QString> RecordStore::nextRecordNumber() {
    const auto v = singleValue(statements::S2());
    if (!v)
        return std::nullopt;
    // An empty datamain gives one row holding null: the first record is number 1.
    if (v->isNull())
        return QStringLiteral("1");
    return QString::number(v->toLongLong() + 1).trimmed();
}

bool RecordStore::insertHeader(const RecordHeader& h) {
    return execute(statements::S3(h.recNo, h.startTime, h.endTime, h.comment, h.pUnit, h.sUnit, h.recStyle));
}

namespace {

// SQLite's write lock, for as long as a save takes: other savers may hold it for a
// moment each, and a save waits its turn longer than a statement does.
bool lockFile(QSqlDatabase& db, QSqlQuery& lock) {
    QSqlQuery(db).exec(QStringLiteral("pragma busy_timeout = %1").arg(kSettleWaitMs));
    const bool locked = lock.exec(QStringLiteral("begin immediate"));
    QSqlQuery(db).exec(QStringLiteral("pragma busy_timeout = %1").arg(kBusyTimeoutMs));
    return locked;
}

} // namespace

std::optional<QString> RecordStore::insertNewHeader(RecordHeader header, const QString& origin,
                                                    const std::function<bool(const QString&)>& beforeCommit) {
    if (!isOpen()) {
        fail(QStringLiteral("0"), QStringLiteral("the record database is not open"));
        return std::nullopt;
    }
    // Queued samples go first: while the lock below is held the writer cannot write.
    if (!settleWriter())
        return std::nullopt;
    const struct Numbering {
        bool& flag;
        explicit Numbering(bool& f) : flag(f) { flag = true; }
        ~Numbering() { flag = false; }
    } numbering(m_numbering);
    // No other saver may read the same highest number between S2 and S3: SQLite
    // takes the write lock at the start, the server locks the header table (readers
    // go on) until the commit.
    QSqlDatabase db = QSqlDatabase::database(m_connectionName, false);
    QSqlQuery lock(db);
    const bool locked = m_target.server
                            ? (db.transaction() || (reconnectIfBroken() && db.transaction())) &&
                                  lock.exec(QStringLiteral("lock table datamain in share row exclusive mode"))
                            : lockFile(db, lock);
    const auto rollBack = [&](const QSqlError& error) -> std::optional<QString> {
        QSqlQuery(db).exec(QStringLiteral("rollback"));
        if (error.isValid())
            fail(error.nativeErrorCode(), error.databaseText());
        return std::nullopt;
    };
    if (!locked)
        return rollBack(lock.lastError().isValid() ? lock.lastError() : db.lastError());
    const std::optional<QString> next = nextRecordNumber();
    if (!next)
        return rollBack(QSqlError());
    header.recNo = *next;
    QSqlQuery query(db);
    const Statement origins{QStringLiteral("update datamain set Bench=?, Meter=?, Origin=? where recno=?"),
                            {boundText(m_bench), boundText(m_meter),
                             origin.isEmpty() ? QUuid::createUuid().toString(QUuid::WithoutBraces) : origin,
                             header.recNo}};
    if (!insertHeader(header) || !run(query, origins, Queued::Ignore) ||
        (beforeCommit && !beforeCommit(header.recNo)))
        return rollBack(QSqlError());
    query.finish();
    if (!QSqlQuery(db).exec(QStringLiteral("commit")))
        return rollBack(db.lastError());
    return header.recNo;
}

std::optional<QStringList> RecordStore::recordOrigins() {
    QSqlQuery query(QSqlDatabase::database(m_connectionName, false));
    if (!run(query, {QStringLiteral("select Origin from datamain where Origin is not null"), {}},
             Queued::Ignore))
        return std::nullopt;
    QStringList origins;
    while (query.next())
        origins << query.value(0).toString();
    return origins;
}

bool RecordStore::copyTraceToRecord(const QString& recNo) {
    return execute(statements::S4(recNo));
}

bool RecordStore::updateRecordComment(const QString& comment, const QString& recNo) {
    return execute(statements::S5(comment, recNo));
}

bool RecordStore::deleteRecordSamples(const QString& recNo) {
    return execute(statements::S6(recNo));
}

bool RecordStore::copyTraceToRecordWithoutTimes(const QString& recNo) {
    return execute(statements::S7(recNo));
}

QStringList RecordStore::recordListHeadings() {
    static const QRegularExpression bracketed(QStringLiteral(R"(\[([^\]]*)\])"));
    QStringList headings;
    auto it = bracketed.globalMatch(statements::S8().text);
    while (it.hasNext())
        headings << it.next().captured(1);
    return headings;
}

std::optional<std::vector<RecordListRow>> RecordStore::listRecords(const QString& bench) {
    QSqlQuery query(QSqlDatabase::database(m_connectionName, false));
    if (!run(query, statements::S8()))
        return std::nullopt;
    std::vector<RecordListRow> rows;
    while (query.next())
        rows.push_back({textOf(query.value(0)), textOf(query.value(1)), textOf(query.value(2)),
                        textOf(query.value(3)), QString()});
    // The bench of each record, beside the list's own statement.
    QSqlQuery benches(QSqlDatabase::database(m_connectionName, false));
    if (!run(benches, {QStringLiteral("select RecNo, Bench from datamain"), {}}, Queued::Ignore))
        return std::nullopt;
    QHash<QString, QString> benchOf;
    while (benches.next())
        benchOf.insert(textOf(benches.value(0)), textOf(benches.value(1)));
    std::vector<RecordListRow> kept;
    for (RecordListRow& row : rows) {
        row.bench = benchOf.value(row.recNo);
        if (bench.isEmpty() || row.bench == bench)
            kept.push_back(std::move(row));
    }
    return kept;
}

std::optional<std::optional<RecordHeader>> RecordStore::readHeader(const QString& recNo) {
    QSqlQuery query(QSqlDatabase::database(m_connectionName, false));
    if (!run(query, statements::S9(recNo)))
        return std::nullopt;
    if (!query.next())
        return std::optional<RecordHeader>();
    RecordHeader h;
    h.recNo = textOf(query.value(0)).trimmed();
    h.startTime = textOf(query.value(1)).trimmed();
    h.endTime = textOf(query.value(2)).trimmed();
    h.comment = textOf(query.value(3)).trimmed();
    h.pUnit = textOf(query.value(4)).trimmed();
    h.sUnit = textOf(query.value(5)).trimmed();
    h.recStyle = textOf(query.value(6)).trimmed();
    return std::optional<RecordHeader>(h);
}

bool RecordStore::clearTrace() {
    return execute(statements::S10());
}

bool RecordStore::loadRecordWithTimes(const QString& recNo) {
    return execute(statements::S11(recNo));
}

bool RecordStore::loadRecordWithoutTimes(const QString& recNo) {
    return execute(statements::S12(recNo));
}

bool RecordStore::beginReplacingTrace(QSqlDatabase* db) {
    if (!isOpen())
        return fail(QStringLiteral("0"), QStringLiteral("the record database is not open"));
    if (!settleWriter())
        return false;
    *db = QSqlDatabase::database(m_connectionName, false);
    return db->transaction() || fail(db->lastError().nativeErrorCode(), db->lastError().databaseText());
}

bool RecordStore::replaceTraceWithRecord(const QString& recNo, bool withTimes) {
    QSqlDatabase db;
    if (!beginReplacingTrace(&db))
        return false;
    if (!clearTrace() || !(withTimes ? loadRecordWithTimes(recNo) : loadRecordWithoutTimes(recNo))) {
        const StoreError failed = m_lastError;
        db.rollback();
        m_lastError = failed;
        return false;
    }
    if (!db.commit()) {
        const QSqlError error = db.lastError();
        db.rollback();
        return fail(error.nativeErrorCode(), error.databaseText());
    }
    return true;
}

bool RecordStore::insertSample(const NewSample& s) {
    return execute(statements::S13(s));
}

bool RecordStore::queueSample(const NewSample& s) {
    if (!m_writer)
        return insertSample(s);
    if (!m_writer->enqueue(s))
        return fail(QStringLiteral("0"),
                    QStringLiteral("%1 samples already wait to be written").arg(SampleWriter::kQueueBound));
    return true;
}

bool RecordStore::settleWriter() {
    if (!m_writer || m_writer->flush(kSettleWaitMs))
        return true;
    return fail(QStringLiteral("0"),
                QStringLiteral("%1 samples still wait to be written: the record database is locked")
                    .arg(m_writer->waiting()));
}

bool RecordStore::readSamples(int filterIndex, const std::function<void(const TempSample&)>& each) {
    SampleReader reader;
    if (!startSampleReader(filterIndex, &reader))
        return false;
    std::vector<TempSample> rows;
    bool more = true;
    while (more) {
        rows.clear();
        more = reader.read(4096, &rows);
        for (const TempSample& row : rows)
            each(row);
    }
    return true;
}

bool RecordStore::startSampleReader(int filterIndex, SampleReader* reader) {
    reader->stop();
    auto query = std::make_unique<QSqlQuery>(QSqlDatabase::database(m_connectionName, false));
    query->setForwardOnly(true);
    if (!run(*query, statements::S14(filterIndex)))
        return false;
    const QSqlRecord columns = query->record();
    reader->m_seqNo = columns.indexOf(QStringLiteral("SeqNo"));
    reader->m_recTime = columns.indexOf(QStringLiteral("RecTime"));
    reader->m_pVal = columns.indexOf(QStringLiteral("PVal"));
    reader->m_sVal = columns.indexOf(QStringLiteral("SVal"));
    reader->m_reason = columns.indexOf(QStringLiteral("Reason"));
    reader->m_comment = columns.indexOf(QStringLiteral("Comment"));
    reader->m_timeTick = columns.indexOf(QStringLiteral("TimeTick"));
    reader->m_diffLastTime = columns.indexOf(QStringLiteral("DiffLastTime"));
    reader->m_noReply = columns.indexOf(QLatin1String(kNoReplyColumn));
    reader->m_query = std::move(query);
    return true;
}

SampleReader::SampleReader() = default;

SampleReader::~SampleReader() = default;

void SampleReader::stop() {
    m_query.reset();
}

bool SampleReader::read(int maxRows, std::vector<TempSample>* rows) {
    if (!m_query)
        return false;
    QSqlQuery& query = *m_query;
    for (int n = 0; n < maxRows; ++n) {
        if (!query.next()) {
            stop();
            return false;
        }
        TempSample row;
        row.seqNo = query.value(m_seqNo).toLongLong();
        row.recTime = textOf(query.value(m_recTime));
        row.pVal = textOf(query.value(m_pVal));
        row.sVal = textOf(query.value(m_sVal));
        row.reason = textOf(query.value(m_reason));
        row.comment = textOf(query.value(m_comment));
        row.timeTick = query.value(m_timeTick);
        row.diffLastTime = query.value(m_diffLastTime);
        row.noReply = query.value(m_noReply).toInt() != 0;
        rows->push_back(std::move(row));
    }
    return true;
}

bool SampleReader::readRowIds(int maxRows, std::vector<qint64>* rowIds) {
    if (!m_query)
        return false;
    for (int n = 0; n < maxRows; ++n) {
        if (!m_query->next()) {
            stop();
            return false;
        }
        rowIds->push_back(m_query->value(0).toLongLong());
    }
    return true;
}

bool RecordStore::startRowIdReader(int filterIndex, SampleReader* reader) {
    reader->stop();
    // The filter's own statement, selecting the rowid instead of the columns, so
    // that the grid's rows are exactly the ones the filter shows, in its order.
    Statement rowIds = statements::S14(filterIndex);
    rowIds.text.replace(QStringLiteral("select *"), QStringLiteral("select rowid"));
    auto query = std::make_unique<QSqlQuery>(QSqlDatabase::database(m_connectionName, false));
    if (!run(*query, rowIds))
        return false;
    reader->m_query = std::move(query);
    return true;
}

bool RecordStore::readSamplesByRowId(const std::vector<qint64>& rowIds, std::vector<TempSample>* rows) {
    rows->assign(rowIds.size(), TempSample{});
    for (TempSample& row : *rows)
        row.seqNo = -1;
    if (rowIds.empty())
        return true;
    QString marks = QStringLiteral("?");
    for (size_t i = 1; i < rowIds.size(); ++i)
        marks += QStringLiteral(",?");
    Statement page{QStringLiteral("select SeqNo, RecTime, PVal, SVal, Reason, Comment, TimeTick, "
                                  "DiffLastTime, NoReply, rowid from datatemp where rowid in (%1)")
                       .arg(marks),
                   {}};
    QHash<qint64, size_t> positions;
    positions.reserve(qsizetype(rowIds.size()));
    for (size_t i = 0; i < rowIds.size(); ++i) {
        page.values << rowIds[i];
        positions.insert(rowIds[i], i);
    }
    QSqlQuery query(QSqlDatabase::database(m_connectionName, false));
    if (!run(query, page, Queued::Ignore))
        return false;
    while (query.next()) {
        const auto at = positions.constFind(query.value(9).toLongLong());
        if (at != positions.constEnd())
            (*rows)[*at] = sampleOfRow(query);
    }
    return true;
}

bool RecordStore::readRowIdsOfSamples(qint64 first, qint64 last, std::vector<qint64>* rowIds) {
    QSqlQuery query(QSqlDatabase::database(m_connectionName, false));
    const Statement range{
        QStringLiteral("select rowid from datatemp where SeqNo between ? and ? order by seqno asc"),
        {first, last}};
    if (!run(query, range, Queued::Ignore))
        return false;
    while (query.next())
        rowIds->push_back(query.value(0).toLongLong());
    return true;
}

size_t RecordStore::samplesWaiting() const {
    return m_writer ? m_writer->waiting() : 0;
}

bool RecordStore::updateSampleComment(const QString& comment, const QString& recTime) {
    return execute(statements::S15(comment, recTime));
}

std::optional<std::optional<qint64>> RecordStore::highestSampleNumber() {
    const auto v = singleValue(statements::S16());
    if (!v)
        return std::nullopt;
    if (v->isNull())
        return std::optional<qint64>();
    return std::optional<qint64>(v->toLongLong());
}

RecordStore& recordStore() {
    // Kept until the process ends, like the connection it holds: a static object's
    // destructor would run after the SQL module's own globals are gone.
    static RecordStore* store = new RecordStore;
    return *store;
}

// ---------------------------------------------------------------- whole traces: record files, reports

namespace {

// Time columns are whole numbers or null; a null value binds as SQL null.
QVariant boundTime(const QVariant& value) {
    return value.isNull() ? QVariant() : value;
}

} // namespace

bool RecordStore::replaceTrace(const std::vector<TempSample>& rows) {
    auto next = rows.begin();
    return replaceTrace([&](TempSample& row) {
        if (next == rows.end())
            return RowStep::End;
        row = *next++;
        return RowStep::Row;
    });
}

bool RecordStore::replaceTrace(const RowSource& next) {
    QSqlDatabase db;
    if (!beginReplacingTrace(&db))
        return false;
    QSqlQuery query(db);
    const auto rollBack = [&](const QSqlError& error) {
        query.finish();
        db.rollback();
        return fail(error.nativeErrorCode(), error.databaseText());
    };
    if (!query.exec(QStringLiteral("delete from datatemp")))
        return rollBack(query.lastError());
    if (!query.prepare(QStringLiteral("insert into datatemp (SeqNo,RecTime,PVal,SVal,Reason,Comment,TimeTick,"
                                      "DiffLastTime,NoReply) values (?,?,?,?,?,?,?,?,?)")))
        return rollBack(query.lastError());
    TempSample row;
    for (RowStep step; (step = next(row)) != RowStep::End;) {
        if (step == RowStep::Stop) {
            query.finish();
            db.rollback();
            return fail(QStringLiteral("0"), QStringLiteral("stopped before the end"));
        }
        query.addBindValue(row.seqNo);
        query.addBindValue(boundText(row.recTime));
        query.addBindValue(boundText(row.pVal));
        query.addBindValue(boundText(row.sVal));
        query.addBindValue(boundText(row.reason));
        query.addBindValue(boundText(row.comment));
        query.addBindValue(boundTime(row.timeTick));
        query.addBindValue(boundTime(row.diffLastTime));
        query.addBindValue(int(row.noReply));
        if (!query.exec())
            return rollBack(query.lastError());
    }
    query.finish();
    if (!db.commit())
        return rollBack(db.lastError());
    m_lastError = {};
    return true;
}

bool RecordStore::readRecordSamples(const QString& recNo,
                                    const std::function<void(const TempSample&)>& each) {
    if (!isOpen())
        return fail(QStringLiteral("0"), QStringLiteral("the record database is not open"));
    QSqlQuery query(QSqlDatabase::database(m_connectionName, false));
    query.setForwardOnly(true);
    if (!query.prepare(
            QStringLiteral("select SeqNo, RecTime, PVal, SVal, Reason, Comment, TimeTick, DiffLastTime, "
                           "NoReply from datadetail where recno = ? order by SeqNo asc")))
        return fail(query.lastError().nativeErrorCode(), query.lastError().databaseText());
    query.addBindValue(recNo);
    if (!query.exec())
        return fail(query.lastError().nativeErrorCode(), query.lastError().databaseText());
    while (query.next())
        each(sampleOfRow(query));
    m_lastError = {};
    return true;
}

namespace {

// The engine's own handle of a connection; the Qt driver and this code use the one
// system SQLite library, so the handle is shared as it is.
sqlite3* engineHandle(const QString& connectionName) {
    const QSqlDatabase db = QSqlDatabase::database(connectionName, false);
    const QVariant handle = db.isOpen() ? db.driver()->handle() : QVariant();
    if (!handle.isValid() || qstrcmp(handle.typeName(), "sqlite3*") != 0)
        return nullptr;
    return *static_cast<sqlite3* const*>(handle.constData());
}

} // namespace

namespace {

// What an export reads: the working trace, or a saved record with its number bound
// the way SQLite and the server mark it.
const char* const kStreamSelects[] = {
    "select SeqNo, RecTime, PVal, SVal, Reason, Comment, TimeTick, DiffLastTime, NoReply from datatemp "
    "order by SeqNo asc",
    "select SeqNo, RecTime, PVal, SVal, Reason, Comment, TimeTick, DiffLastTime, NoReply from datadetail "
    "where recno = ? order by SeqNo asc",
    "select SeqNo, RecTime, PVal, SVal, Reason, Comment, TimeTick, DiffLastTime, NoReply from datadetail "
    "where recno = $1 order by SeqNo asc",
};

} // namespace

bool RecordStore::readPrimaryValues(std::vector<double>* values, std::vector<qint32>* noReplyRows,
                                    const std::function<void(qint64)>& progress) {
    if (!isOpen())
        return fail(QStringLiteral("0"), QStringLiteral("the record database is not open"));
    if (!settleWriter())
        return false;
    constexpr size_t kProgressEvery = 10000;
    const auto tell = [&] {
        if (progress && values->size() % kProgressEvery == 0)
            progress(qint64(values->size()));
    };
    if (m_target.server)
        return streamSamplesOfServer(kStreamSelects[0], {}, [&](const StoredSample& s) {
            values->push_back(parseLeadingNumber(std::string_view(s.pVal.data(), size_t(s.pVal.size()))));
            if (s.noReply)
                noReplyRows->push_back(qint32(values->size() - 1));
            tell();
            return true;
        });
    // Read through the SQLite library under the driver's own connection: the graph
    // rebuilds from a million rows, and each row's text is parsed from the bytes as
    // they are, without a QVariant and a UTF-16 copy of it.
    sqlite3* db = engineHandle(m_connectionName);
    if (!db)
        return fail(QStringLiteral("0"), QStringLiteral("the record database is not an SQLite database"));
    sqlite3_stmt* select = nullptr;
    int rc =
        sqlite3_prepare_v2(db, "select PVal, NoReply from datatemp order by SeqNo asc", -1, &select, nullptr);
    while (rc == SQLITE_OK && (rc = sqlite3_step(select)) == SQLITE_ROW) {
        const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(select, 0));
        const std::string_view pVal =
            text ? std::string_view(text, size_t(sqlite3_column_bytes(select, 0))) : std::string_view();
        values->push_back(parseLeadingNumber(pVal));
        if (sqlite3_column_int(select, 1) != 0)
            noReplyRows->push_back(qint32(values->size() - 1));
        tell();
        rc = SQLITE_OK;
    }
    sqlite3_finalize(select);
    if (rc != SQLITE_DONE)
        return fail(QString::number(rc), QString::fromUtf8(sqlite3_errmsg(db)));
    m_lastError = {};
    return true;
}

} // namespace kvx

// ---------------------------------------------------------------- exports and the record list

namespace kvx {

namespace {

// A row of one of those selects, from the engine's texts (`text`) and nullable numbers (`time`).
template <class Text, class Time>
void fillStoredSample(StoredSample* row, const Text& text, const Time& time) {
    row->seqNo = text(0).toLongLong();
    row->recTime = text(1);
    row->pVal = text(2);
    row->sVal = text(3);
    row->reason = text(4);
    row->comment = text(5);
    row->timeTick = time(6);
    row->diffLastTime = time(7);
    row->noReply = text(8) != "0";
}

QByteArrayView columnBytes(sqlite3_stmt* statement, int column) {
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
    return text ? QByteArrayView(text, sqlite3_column_bytes(statement, column)) : QByteArrayView("", 0);
}

std::optional<qint64> columnTime(sqlite3_stmt* statement, int column) {
    if (sqlite3_column_type(statement, column) == SQLITE_NULL)
        return std::nullopt;
    return sqlite3_column_int64(statement, column);
}

} // namespace

bool RecordStore::streamSamples(const QString& recNo, const std::function<bool(const StoredSample&)>& each) {
    if (!isOpen())
        return fail(QStringLiteral("0"), QStringLiteral("the record database is not open"));
    if (recNo.isEmpty() && !settleWriter())
        return false;
    if (m_target.server) {
        if (recNo.isEmpty())
            return streamSamplesOfServer(kStreamSelects[0], {}, each);
        return streamSamplesOfServer(kStreamSelects[2], {recNo.toUtf8()}, each);
    }
    sqlite3* db = engineHandle(m_connectionName);
    if (!db)
        return fail(QStringLiteral("0"), QStringLiteral("the record database is not an SQLite database"));
    const char* const text = kStreamSelects[recNo.isEmpty() ? 0 : 1];
    sqlite3_stmt* statement = nullptr;
    const auto engineFailure = [&](int code) {
        sqlite3_finalize(statement);
        return fail(QString::number(code), QString::fromUtf8(sqlite3_errmsg(db)));
    };
    int code = sqlite3_prepare_v2(db, text, -1, &statement, nullptr);
    if (code != SQLITE_OK)
        return engineFailure(code);
    const QByteArray boundRecNo = recNo.toUtf8();
    if (!recNo.isEmpty() && (code = sqlite3_bind_text(statement, 1, boundRecNo.constData(),
                                                      int(boundRecNo.size()), SQLITE_STATIC)) != SQLITE_OK)
        return engineFailure(code);
    return finishStream(db, statement, each);
}

bool RecordStore::finishStream(sqlite3* db, sqlite3_stmt* statement,
                               const std::function<bool(const StoredSample&)>& each) {
    StoredSample row;
    int code = SQLITE_OK;
    while ((code = sqlite3_step(statement)) == SQLITE_ROW) {
        fillStoredSample(
            &row, [&](int column) { return columnBytes(statement, column); },
            [&](int column) { return columnTime(statement, column); });
        if (!each(row)) {
            sqlite3_finalize(statement);
            m_lastError = {};
            return false;
        }
    }
    sqlite3_finalize(statement);
    if (code != SQLITE_DONE)
        return fail(QString::number(code), QString::fromUtf8(sqlite3_errmsg(db)));
    m_lastError = {};
    return true;
}

bool RecordStore::streamWorkingSamplesFrom(qint64 firstSeqNo, int maxRows,
                                           const std::function<bool(const StoredSample&)>& each) {
    if (!isOpen())
        return fail(QStringLiteral("0"), QStringLiteral("the record database is not open"));
    if (m_target.server)
        return streamSamplesOfServer(
            "select SeqNo, RecTime, PVal, SVal, Reason, Comment, TimeTick, DiffLastTime, NoReply "
            "from datatemp where SeqNo >= $1 order by SeqNo asc limit $2",
            {QByteArray::number(firstSeqNo), QByteArray::number(maxRows)}, each);
    sqlite3* db = engineHandle(m_connectionName);
    if (!db)
        return fail(QStringLiteral("0"), QStringLiteral("the record database is not an SQLite database"));
    const char* const text =
        "select SeqNo, RecTime, PVal, SVal, Reason, Comment, TimeTick, DiffLastTime, NoReply "
        "from datatemp where SeqNo >= ? order by SeqNo asc limit ?";
    sqlite3_stmt* statement = nullptr;
    int code = sqlite3_prepare_v2(db, text, -1, &statement, nullptr);
    if (code == SQLITE_OK && (code = sqlite3_bind_int64(statement, 1, firstSeqNo)) == SQLITE_OK)
        code = sqlite3_bind_int(statement, 2, maxRows);
    if (code != SQLITE_OK) {
        sqlite3_finalize(statement);
        return fail(QString::number(code), QString::fromUtf8(sqlite3_errmsg(db)));
    }
    return finishStream(db, statement, each);
}

std::optional<std::vector<RecordSummary>> RecordStore::summarizeRecords(const QString& bench) {
    QSqlQuery query(QSqlDatabase::database(m_connectionName, false));
    // The samples are counted per record number first and the counts joined to the
    // headers: grouping the joined rows instead carries every header's texts through the
    // grouping once per sample, which took longer than the counting itself.
    Statement summaries{
        QStringLiteral("select m.RecNo, m.StartTime, m.EndTime, m.Comment, m.PUnit, m.SUnit, "
                       "coalesce(d.samples, 0), m.Bench, m.Meter, m.Origin, m.RecStyle from datamain m "
                       "left join (select recno, count(*) as samples from datadetail group by recno) d "
                       "on d.recno = m.RecNo %1order by m.RecNo asc")
            .arg(bench.isEmpty() ? QString() : QStringLiteral("where m.Bench = ? ")),
        {}};
    if (!bench.isEmpty())
        summaries.values << bench;
    std::vector<RecordSummary> rows;
    const auto keep = [&rows](const auto& text) {
        rows.push_back({{text(0), text(1), text(2), text(3), text(4), text(5), text(10)},
                        text(6).toLongLong(),
                        {text(7), text(8), text(9)}});
    };
    if (m_target.server && isOpen()) {
        // Through libpq as one result: the rows are counted before they are kept, and
        // no value of ten thousand headers goes through a QVariant.
        PGconn* conn = serverHandle(QSqlDatabase::database(m_connectionName, false));
        if (conn && libpq()->PQstatus(conn) != CONNECTION_OK && reconnectIfBroken())
            conn = serverHandle(QSqlDatabase::database(m_connectionName, false));
        const QByteArray benchText = bench.toUtf8();
        const char* values[] = {benchText.constData()};
        PGresult* result =
            conn ? libpq()->PQexecParams(
                       conn, toDialect(summaries.text, Dialect::PostgresLibpq).toUtf8().constData(),
                       int(summaries.values.size()), nullptr, values, nullptr, nullptr, 0)
                 : nullptr;
        if (libpq()->PQresultStatus(result) != PGRES_TUPLES_OK) {
            libpq()->PQclear(result);
            fail(QStringLiteral("0"),
                 conn ? serverError(conn) : QStringLiteral("the record database is not a server"));
            return std::nullopt;
        }
        rows.reserve(size_t(libpq()->PQntuples(result)));
        for (int row = 0; row < libpq()->PQntuples(result); ++row)
            keep([&](int column) {
                return libpq()->PQgetisnull(result, row, column)
                           ? QString()
                           : QString::fromUtf8(libpq()->PQgetvalue(result, row, column),
                                               libpq()->PQgetlength(result, row, column));
            });
        libpq()->PQclear(result);
        m_lastError = {};
        return rows;
    }
    if (!run(query, summaries, Queued::Ignore))
        return std::nullopt;
    while (query.next())
        keep([&query](int column) { return textOf(query.value(column)); });
    return rows;
}

namespace {

// A text as the server's copy stream carries it.
void appendCopyText(QByteArray* line, QByteArrayView text) {
    for (const char c : text) {
        switch (c) {
        case '\\':
            line->append("\\\\");
            break;
        case '\t':
            line->append("\\t");
            break;
        case '\n':
            line->append("\\n");
            break;
        case '\r':
            line->append("\\r");
            break;
        default:
            line->append(c);
        }
    }
}

void appendCopyTime(QByteArray* line, const std::optional<qint64>& value) {
    if (value)
        line->append(QByteArray::number(*value));
    else
        line->append("\\N");
}

// Reads what the server still sends for the statement in progress.
void drainResults(PGconn* conn) {
    while (PGresult* rest = libpq()->PQgetResult(conn))
        libpq()->PQclear(rest);
}

} // namespace

bool RecordStore::writeCopiedSamples(RecordStore& source, const QString& sourceRecNo, const QString& recNo,
                                     const std::function<void(qint64)>& progress) {
    qint64 count = 0;
    const auto counted = [&] {
        if (++count % 10000 == 0 && progress)
            progress(count);
    };
    QSqlDatabase db = QSqlDatabase::database(m_connectionName, false);
    if (!m_target.server) {
        QSqlQuery insert(db);
        if (!insert.prepare(
                QStringLiteral("insert into datadetail (recno,SeqNo,RecTime,PVal,SVal,Reason,Comment,"
                               "TimeTick,DiffLastTime,NoReply) values (?,?,?,?,?,?,?,?,?,?)")))
            return fail(insert.lastError().nativeErrorCode(), insert.lastError().databaseText());
        const auto text = [](QByteArrayView bytes) { return QString::fromUtf8(bytes); };
        const auto time = [](const std::optional<qint64>& v) { return v ? QVariant(*v) : QVariant(); };
        const bool copied = source.streamSamples(sourceRecNo, [&](const StoredSample& s) {
            insert.addBindValue(recNo);
            insert.addBindValue(s.seqNo);
            for (QByteArrayView bytes : {s.recTime, s.pVal, s.sVal, s.reason, s.comment})
                insert.addBindValue(text(bytes));
            insert.addBindValue(time(s.timeTick));
            insert.addBindValue(time(s.diffLastTime));
            insert.addBindValue(int(s.noReply));
            counted();
            return insert.exec();
        });
        if (!copied)
            return fail(insert.lastError().nativeErrorCode(), insert.lastError().isValid()
                                                                  ? insert.lastError().databaseText()
                                                                  : source.lastError().description);
        return true;
    }
    PGconn* conn = serverHandle(db);
    if (!conn)
        return fail(QStringLiteral("0"), QStringLiteral("the record database is not a server"));
    PGresult* started =
        libpq()->PQexec(conn, "copy datadetail (recno,SeqNo,RecTime,PVal,SVal,Reason,Comment,TimeTick,"
                              "DiffLastTime,NoReply) from stdin");
    const bool copying = libpq()->PQresultStatus(started) == PGRES_COPY_IN;
    libpq()->PQclear(started);
    if (!copying)
        return fail(QStringLiteral("0"), serverError(conn));
    const QByteArray number = recNo.toUtf8();
    QByteArray lines;
    bool sent = true;
    const bool read = source.streamSamples(sourceRecNo, [&](const StoredSample& s) {
        lines += number;
        lines += '\t';
        lines += QByteArray::number(s.seqNo);
        for (QByteArrayView text : {s.recTime, s.pVal, s.sVal, s.reason, s.comment}) {
            lines += '\t';
            appendCopyText(&lines, text);
        }
        lines += '\t';
        appendCopyTime(&lines, s.timeTick);
        lines += '\t';
        appendCopyTime(&lines, s.diffLastTime);
        lines += s.noReply ? "\t1\n" : "\t0\n";
        counted();
        if (lines.size() >= (1 << 20)) {
            sent = libpq()->PQputCopyData(conn, lines.constData(), int(lines.size())) == 1;
            lines.clear();
        }
        return sent;
    });
    if (read && sent && !lines.isEmpty())
        sent = libpq()->PQputCopyData(conn, lines.constData(), int(lines.size())) == 1;
    const bool ended =
        libpq()->PQputCopyEnd(conn, read && sent ? nullptr : "the source could not be read") == 1;
    PGresult* result = libpq()->PQgetResult(conn);
    const bool stored = read && sent && ended && libpq()->PQresultStatus(result) == PGRES_COMMAND_OK;
    libpq()->PQclear(result);
    const QString problem = read ? serverError(conn) : source.lastError().description;
    drainResults(conn);
    return stored || fail(QStringLiteral("0"), problem);
}

std::optional<QString> RecordStore::copyRecord(RecordStore& source, const RecordSummary& summary,
                                               const std::function<void(qint64)>& progress) {
    // A record saved before records carried an origin is known by where it was saved.
    const QString origin = !summary.origin.origin.isEmpty()
                               ? summary.origin.origin
                               : source.filePath() + QLatin1Char('#') + summary.header.recNo +
                                     QLatin1Char('@') + summary.header.startTime;
    const auto present =
        singleValue({QStringLiteral("select count(*) from datamain where Origin=?"), {origin}});
    if (!present)
        return std::nullopt;
    if (present->toLongLong() > 0)
        return QString();
    const QString bench =
        std::exchange(m_bench, summary.origin.bench.isEmpty() ? source.bench() : summary.origin.bench);
    const QString meter = std::exchange(m_meter, summary.origin.meter);
    const std::optional<QString> recNo = insertNewHeader(summary.header, origin, [&](const QString& number) {
        return writeCopiedSamples(source, summary.header.recNo, number, progress);
    });
    m_bench = bench;
    m_meter = meter;
    return recNo;
}

std::optional<RecordSummary> RecordStore::summarizeWorkingTrace() {
    QSqlQuery query(QSqlDatabase::database(m_connectionName, false));
    const Statement summary{
        QStringLiteral("select count(*), (select RecTime from datatemp order by SeqNo asc limit 1), "
                       "(select RecTime from datatemp order by SeqNo desc limit 1) from datatemp"),
        {}};
    if (!run(query, summary) || !query.next())
        return std::nullopt;
    RecordSummary row;
    row.header.recNo = QStringLiteral("0");
    row.samples = query.value(0).toLongLong();
    row.header.startTime = textOf(query.value(1));
    row.header.endTime = textOf(query.value(2));
    return row;
}

namespace {

QByteArrayView serverText(const PGresult* row, int column) {
    return QByteArrayView(libpq()->PQgetvalue(row, 0, column), libpq()->PQgetlength(row, 0, column));
}

std::optional<qint64> serverTime(const PGresult* row, int column) {
    if (libpq()->PQgetisnull(row, 0, column))
        return std::nullopt;
    return QByteArrayView(libpq()->PQgetvalue(row, 0, column)).toLongLong();
}

} // namespace

bool RecordStore::streamSamplesOfServer(const char* text, const std::vector<QByteArray>& parameters,
                                        const std::function<bool(const StoredSample&)>& each) {
    // Through libpq one row at a time, so that a long record is never held whole.
    PGconn* conn = serverHandle(QSqlDatabase::database(m_connectionName, false));
    if (conn && libpq()->PQstatus(conn) != CONNECTION_OK && reconnectIfBroken())
        conn = serverHandle(QSqlDatabase::database(m_connectionName, false));
    if (!conn)
        return fail(QStringLiteral("0"), QStringLiteral("the record database is not a server"));
    std::vector<const char*> values;
    for (const QByteArray& parameter : parameters)
        values.push_back(parameter.constData());
    if (!libpq()->PQsendQueryParams(conn, text, int(values.size()), nullptr, values.data(), nullptr, nullptr,
                                    0) ||
        !libpq()->PQsetSingleRowMode(conn)) {
        const QString problem = serverError(conn);
        drainResults(conn);
        return fail(QStringLiteral("0"), problem);
    }
    bool stopped = false;
    QString problem;
    StoredSample row;
    while (PGresult* result = libpq()->PQgetResult(conn)) {
        const ExecStatusType status = libpq()->PQresultStatus(result);
        if (status == PGRES_SINGLE_TUPLE && !stopped) {
            fillStoredSample(
                &row, [&](int column) { return serverText(result, column); },
                [&](int column) { return serverTime(result, column); });
            if (!each(row)) {
                stopped = true;
                // The rest of the rows are not wanted: the server is asked to stop sending them.
                if (PGcancel* cancel = libpq()->PQgetCancel(conn)) {
                    char reason[256];
                    libpq()->PQcancel(cancel, reason, int(sizeof reason));
                    libpq()->PQfreeCancel(cancel);
                }
            }
        } else if (status != PGRES_SINGLE_TUPLE && status != PGRES_TUPLES_OK && !stopped) {
            problem = QString::fromUtf8(libpq()->PQresultErrorMessage(result)).trimmed();
        }
        libpq()->PQclear(result);
    }
    if (!problem.isEmpty())
        return fail(QStringLiteral("0"), problem);
    m_lastError = {};
    return !stopped;
}

namespace {

// Runs `statement` on the server session of `db` as the prepared statement `name`,
// which is prepared the first time the session runs it: from then on it costs one
// round trip, without the statement's text or a plan. Empty text, or why it failed.
QString runPrepared(const QSqlDatabase& db, const char* name, const Statement& statement) {
    PGconn* conn = serverHandle(db);
    if (!conn)
        return QStringLiteral("the record database is not a server");
    QStringList prepared = db.driver()->property(kPreparedOnSession).toStringList();
    if (!prepared.contains(QLatin1String(name))) {
        PGresult* made =
            libpq()->PQprepare(conn, name, toDialect(statement.text, Dialect::PostgresLibpq).toUtf8(),
                               int(statement.values.size()), nullptr);
        const bool done = libpq()->PQresultStatus(made) == PGRES_COMMAND_OK;
        libpq()->PQclear(made);
        if (!done)
            return serverError(conn);
        db.driver()->setProperty(kPreparedOnSession, prepared << QLatin1String(name));
    }
    std::vector<QByteArray> texts;
    texts.reserve(size_t(statement.values.size()));
    std::vector<const char*> values;
    for (const QVariant& value : statement.values) {
        texts.push_back(value.toString().toUtf8());
        values.push_back(value.isNull() ? nullptr : texts.back().constData());
    }
    PGresult* result =
        libpq()->PQexecPrepared(conn, name, int(values.size()), values.data(), nullptr, nullptr, 0);
    const bool done = libpq()->PQresultStatus(result) == PGRES_COMMAND_OK;
    libpq()->PQclear(result);
    return done ? QString() : serverError(conn);
}

// A statement that takes no value, through libpq.
QString runPlain(PGconn* conn, const char* text) {
    PGresult* result = libpq()->PQexec(conn, text);
    const bool done = libpq()->PQresultStatus(result) == PGRES_COMMAND_OK;
    libpq()->PQclear(result);
    return done ? QString() : serverError(conn);
}

QString storeSamplesOnServer(const QSqlDatabase& db, const std::vector<NewSample>& samples) {
    if (samples.size() == 1)
        return runPrepared(db, "kvx_s13", statements::S13(samples.front()));
    PGconn* conn = serverHandle(db);
    if (!conn)
        return QStringLiteral("the record database is not a server");
    QString problem = runPlain(conn, "begin");
    for (auto sample = samples.begin(); problem.isEmpty() && sample != samples.end(); ++sample)
        problem = runPrepared(db, "kvx_s13", statements::S13(*sample));
    if (problem.isEmpty())
        problem = runPlain(conn, "commit");
    if (!problem.isEmpty() && libpq()->PQtransactionStatus(conn) != PQTRANS_IDLE)
        runPlain(conn, "rollback");
    return problem;
}

} // namespace

QString storeSamples(const QString& connectionName, const StoreTarget& target,
                     const std::vector<NewSample>& samples) {
    QSqlDatabase db = QSqlDatabase::database(connectionName, false);
    if (samples.empty())
        return QString();
    if (target.server)
        return storeSamplesOnServer(db, samples);
    QSqlQuery query(db);
    const auto failed = [&](const QSqlError& error) {
        query.finish();
        if (db.isOpen())
            db.rollback();
        return error.databaseText().isEmpty() ? error.text().trimmed() : error.databaseText();
    };
    if (!db.transaction())
        return failed(db.lastError());
    if (!query.prepare(toDialect(statements::S13(samples.front()).text, Dialect::Sqlite)))
        return failed(query.lastError());
    for (const NewSample& sample : samples) {
        for (const QVariant& value : statements::S13(sample).values)
            query.addBindValue(value);
        if (!query.exec())
            return failed(query.lastError());
    }
    query.finish();
    return db.commit() ? QString() : failed(db.lastError());
}

} // namespace kvx
