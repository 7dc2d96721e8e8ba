#include "ReportKeys.h"

#include "CsvExport.h"
#include "Forms.h"
#include "RecordFile.h"
#include "Services.h"
#include "Session.h"
#include "Snapshot.h"
#include "TraceReport.h"
#include "ValueRules.h"

#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QStandardPaths>

namespace kvx {

namespace {

QString askWithDialog(QWidget* parent, bool saving, const QString& caption, const QString& start,
                      const QString& filter) {
    return saving ? QFileDialog::getSaveFileName(parent, caption, start, filter)
                  : QFileDialog::getOpenFileName(parent, caption, start, filter);
}

ReportKeys::FileChooser& chooser() {
    static ReportKeys::FileChooser current;
    return current;
}

// Record files and CSV are the operator's documents: the dialogs open in the
// Documents folder, then wherever the last file of this run went.
QString& lastDocumentFolder() {
    static QString folder;
    return folder;
}

QString documentFolder() {
    if (!lastDocumentFolder().isEmpty())
        return lastDocumentFolder();
    const QString documents = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    return documents.isEmpty() ? session().programFolder : documents;
}

QString ask(QWidget* parent, bool saving, const QString& caption, const QString& start,
            const QString& filter) {
    const QString chosen = chooser() ? chooser()(parent, saving, caption, start, filter)
                                     : askWithDialog(parent, saving, caption, start, filter);
    if (!chosen.isEmpty())
        lastDocumentFolder() = QFileInfo(chosen).absolutePath();
    return chosen;
}

// A name to offer when saving: the record number when the trace is a saved
// record, otherwise the start time of the trace, otherwise the present moment.
QString suggestedName(const QString& suffix) {
    const DataTable* table = forms().dataTable;
    const QString recNo = table ? trimBlanks(table->field(RecordField::Recno)) : QString();
    QDateTime start =
        table ? parseDateTimeText(trimBlanks(table->field(RecordField::StartTime))) : QDateTime();
    if (!start.isValid())
        start = clock().now();
    const QString base = recNo.isEmpty()
                             ? QStringLiteral("KVX-5130 ") + start.toString(QStringLiteral("yyyyMMdd_HHmmss"))
                             : QStringLiteral("KVX-5130 record ") + recNo;
    return QDir(documentFolder()).filePath(base + QLatin1Char('.') + suffix);
}

} // namespace

void ReportKeys::setFileChooser(FileChooser chooser_) {
    chooser() = std::move(chooser_);
}

QString ReportKeys::withSuffix(const QString& path, const QString& suffix) {
    if (path.isEmpty() || !QFileInfo(path).suffix().isEmpty())
        return path;
    return path + QLatin1Char('.') + suffix;
}

QString ReportKeys::saveSnapshot() {
    return Snapshot::save();
}

bool ReportKeys::printReport(QWidget* parent) {
    return showPrintPreview(parent);
}

bool ReportKeys::saveRecordFileAs(QWidget* parent) {
    const QString suffix = QLatin1String(RecordFile::kSuffix);
    const QString path = withSuffix(ask(parent, true, QStringLiteral("Save Trace as Record File"),
                                        suggestedName(suffix), QLatin1String(RecordFile::kDialogFilter)),
                                    suffix);
    return !path.isEmpty() && RecordFile::saveWorkingTrace(path);
}

bool ReportKeys::openRecordFile(QWidget* parent) {
    const QString path = ask(parent, false, QStringLiteral("Open Record File"), documentFolder(),
                             QLatin1String(RecordFile::kDialogFilter));
    return !path.isEmpty() && RecordFile::openAsWorkingTrace(path);
}

bool ReportKeys::exportCsvAs(QWidget* parent) {
    const QString path =
        withSuffix(ask(parent, true, QStringLiteral("Export Trace as CSV"),
                       suggestedName(QStringLiteral("csv")), QLatin1String(CsvExport::kDialogFilter)),
                   QStringLiteral("csv"));
    return !path.isEmpty() && CsvExport::exportWorkingTraceInBackground(path);
}

bool ReportKeys::exportPdfAs(QWidget* parent) {
    const QString path = withSuffix(ask(parent, true, QStringLiteral("Save Trace Report as PDF"),
                                        suggestedName(QStringLiteral("pdf")), QStringLiteral("PDF Files (*.pdf)")),
                                    QStringLiteral("pdf"));
    return !path.isEmpty() && writeReportPdfInBackground(path);
}

} // namespace kvx
