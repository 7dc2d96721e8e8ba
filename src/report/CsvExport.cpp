#include "CsvExport.h"

#include "BackgroundTask.h"
#include "ReportTrace.h"
#include "Services.h"

#include <QFileInfo>
#include <QThread>

namespace kvx {

bool CsvExport::exportWorkingTrace(const QString& path) {
    const std::optional<RecordHeader> header = workingHeaderToWrite();
    if (!header)
        return false;
    QString error;
    if (!exportSamples(recordStore(), QString(), *header, ExportFormat::Csv, path, &error)) {
        if (recordStore().lastError().isSet())
            reportStoreError();
        else
            messages().notice(QStringLiteral("The CSV file \"%1\" cannot be written: %2").arg(path, error));
        return false;
    }
    return true;
}

bool CsvExport::exportWorkingTraceInBackground(const QString& path) {
    const std::optional<RecordHeader> header = workingHeaderToWrite();
    if (!header)
        return false;
    // The export reads on a connection of its own, which sees only what is written.
    if (!recordStore().settleWriter()) {
        reportStoreError();
        return false;
    }
    const auto work = [target = recordStore().target(), bench = recordStore().bench(), path,
                       header = *header](TaskProgress& progress) {
        RecordStore reader(QStringLiteral("kvx5130-export-%1").arg(quintptr(QThread::currentThreadId())));
        TaskOutcome outcome;
        if (!reader.openForReading(target, bench)) {
            outcome.error = reader.openMessage();
            return outcome;
        }
        progress.setTotal(reader.countSamples().value_or(0));
        outcome.ok = exportSamples(reader, QString(), header, ExportFormat::Csv, path, &outcome.error,
                                   [&progress](qint64 samples) {
                                       progress.setDone(samples);
                                       return !progress.cancelled();
                                   });
        return outcome;
    };
    const auto finished = [path](const TaskOutcome& outcome) {
        if (!outcome.ok && !outcome.cancelled)
            messages().notice(QStringLiteral("The CSV file \"%1\" cannot be written: %2").arg(path, outcome.error));
    };
    runInBackground(QStringLiteral("Exporting \"%1\"...").arg(QFileInfo(path).fileName()), work, finished);
    return true;
}

} // namespace kvx
