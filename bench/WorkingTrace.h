#pragma once
// Builds a working trace of many samples for the benchmarks.

#include <QProcess>
#include <QString>

namespace benchsupport {

// The working trace written through the sqlite3 shell, so that building it does not dominate the run.
inline bool fillWorkingTrace(const QString& databasePath, qint64 rows) {
    QProcess shell;
    shell.start(
        QStringLiteral("sqlite3"),
        {databasePath, QStringLiteral("with recursive n(i) as (select 0 union all select i + 1 from n "
                                      "where i < %1) insert into datatemp "
                                      "(SeqNo,RecTime,PVal,SVal,Reason,Comment,TimeTick,DiffLastTime) "
                                      "select i, '2026/01/05 10:00:00', ((i % 2000) - 1000) * 0.25 || ' V', "
                                      "'60.01 kHz', '0', '', i, 1 from n")
                           .arg(rows - 1)});
    return shell.waitForFinished(300000) && shell.exitCode() == 0;
}

} // namespace benchsupport
