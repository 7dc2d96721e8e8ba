#pragma once
// Traces made to order for the report tests, on top of the shared stand-ins and
// record database.

#include "DataRows.h"
#include "WindowTestSupport.h"

#include <QtTest>

namespace kvx::test {

inline RecordHeader makeHeader(const QString& recNo = QStringLiteral("7")) {
    return {recNo, "2026/01/05 10:00:00", "2026/01/05 10:03:20", "Bench 4, supply ripple", "V", "kHz", "0"};
}

// Saves a record with these samples straight into datamain and datadetail.
inline void storeRecord(const RecordHeader& h, const std::vector<TempSample>& rows) {
    QVERIFY(recordStore().replaceTrace(rows) && recordStore().insertHeader(h));
    QVERIFY(recordStore().copyTraceToRecord(h.recNo) && recordStore().clearTrace());
}

// The header fields of the data table, Recno to SUnit, in the order of RecordField.
inline void setHeaderFields(DataTable& table, const RecordHeader& h) {
    const QString texts[] = {h.recNo, h.startTime, h.endTime, h.comment, h.pUnit, h.sUnit};
    for (int field = 0; field < 6; ++field)
        table.setField(RecordField(field), texts[field]);
}

inline QStringList headerFields(const DataTable& table) {
    QStringList texts;
    for (int field = 0; field < 6; ++field)
        texts << table.field(RecordField(field));
    return texts;
}

// Points the user's Pictures or Documents folder (kind "PICTURES", "DOCUMENTS")
// at `folder`, through an XDG configuration beside it.
inline void useUserFolder(const char* kind, const QString& folder) {
    const QString config = QFileInfo(folder).absolutePath() + QStringLiteral("/config");
    QDir().mkpath(config);
    QFile dirs(config + QStringLiteral("/user-dirs.dirs"));
    if (dirs.open(QIODevice::Append))
        dirs.write("XDG_" + QByteArray(kind) + "_DIR=\"" + folder.toUtf8() + "\"\n");
    qputenv("XDG_CONFIG_HOME", config.toUtf8());
}

// Every datatemp row with each value's SQL type and bytes, to compare rows
// exactly, nulls and types included.
inline QStringList datatempRows(const QString& databasePath) {
    QStringList values;
    for (const char* c :
         {"SeqNo", "RecTime", "PVal", "SVal", "Reason", "Comment", "TimeTick", "DiffLastTime", "NoReply"})
        values << QStringLiteral("typeof(%1)||':'||hex(%1)").arg(c);
    return column(databasePath, "select " + values.join("||'|'||") + " from datatemp order by rowid");
}

} // namespace kvx::test
