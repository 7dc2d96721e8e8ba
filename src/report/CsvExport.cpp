#include "CsvExport.h"

#include "Services.h"

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

} // namespace kvx
