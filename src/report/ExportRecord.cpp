#include "ExportRecord.h"

#include "CsvExport.h"
#include "RecordStore.h"
#include "ReportTrace.h"
#include "Session.h"
#include "TraceReport.h"

#include <QDir>
#include <QFileInfo>
#include <QTextStream>

namespace kvx {

namespace {

bool openRecordDatabase(QTextStream& err) {
    if (recordStore().isOpen())
        return true;
    const QString path = session().pathInFolder(QString::fromLatin1(kDatabaseFile));
    if (!QFileInfo(path).isFile()) {
        err << "kvx5130: there is no record database \"" << QDir::toNativeSeparators(path) << "\"\n";
        return false;
    }
    if (!recordStore().open(path)) {
        err << "kvx5130: " << recordStore().openMessage() << "\n";
        return false;
    }
    return true;
}

} // namespace

int exportRecord(int recno, const QString& pdfPath, const QString& csvPath, QTextStream& err) {
    const auto finish = [&err](int code) {
        err.flush();
        return code;
    };
    if (pdfPath.isEmpty() && csvPath.isEmpty()) {
        err << "kvx5130: --export-record needs --pdf FILE or --csv FILE\n";
        return finish(2);
    }
    if (!openRecordDatabase(err))
        return finish(1);

    const QString recNo = QString::number(recno);
    TraceRecord record;
    QString error;
    switch (savedRecord(recordStore(), recNo, record, &error)) {
    case RecordLookup::Missing:
        err << "kvx5130: record " << recNo << " does not exist in \""
            << QDir::toNativeSeparators(recordStore().filePath()) << "\"\n";
        return finish(1);
    case RecordLookup::Failed:
        err << "kvx5130: record " << recNo << " cannot be read: " << error << "\n";
        return finish(1);
    case RecordLookup::Found:
        break;
    }

    if (!csvPath.isEmpty() && !CsvExport::write(csvPath, record, &error)) {
        err << "kvx5130: \"" << csvPath << "\" cannot be written: " << error << "\n";
        return finish(1);
    }
    if (!pdfPath.isEmpty() && !TraceReport::forTrace(record).writePdf(pdfPath, &error)) {
        err << "kvx5130: \"" << pdfPath << "\" cannot be written: " << error << "\n";
        return finish(1);
    }
    return finish(0);
}

} // namespace kvx
