#include "Snapshot.h"

#include "Forms.h"
#include "ReportTrace.h"
#include "Services.h"
#include "Session.h"

#include <QDir>
#include <QFileInfo>
#include <QImageWriter>
#include <QPixmap>
#include <QSaveFile>
#include <QWidget>
#include <qcustomplot.h>

namespace kvx {

namespace {

constexpr int kJpegQuality = 92; // a graph of thin lines and text smears below about 90

const QString kTitle = QStringLiteral("Save Trace as JPEG File");

QPixmap pictureOf(QWidget* plot) {
    // QCustomPlot paints its own buffer at the widget's size, also when the
    // window is hidden or covered; any other widget is grabbed as it is.
    if (auto* custom = qobject_cast<QCustomPlot*>(plot))
        return custom->toPixmap();
    return plot->grab();
}

QString folderProblem(const QString& folder) {
    return QStringLiteral("The snapshot cannot be saved: the folder \"%1\" cannot be written.\n"
                          "Choose another snapshot folder in the settings.")
        .arg(QDir::toNativeSeparators(folder));
}

} // namespace

QString Snapshot::folder() {
    const QString chosen = settingText(session().operation.snapshotFolder);
    return chosen.isEmpty() ? session().programFolder + QStringLiteral("/Working") : chosen;
}

QString Snapshot::fileName(const QDateTime& when) {
    return when.toString(QStringLiteral("yyyyMMdd_HHmmss")) + QStringLiteral(".jpg");
}

QString Snapshot::save() {
    QWidget* plot = forms().graph ? forms().graph->plotWidget() : nullptr;
    if (!plot) {
        messages().notice(QStringLiteral("There is no trend graph to save."), kTitle);
        return QString();
    }
    return save(plot, folder(), clock().now());
}

QString Snapshot::save(QWidget* plot, const QString& folder, const QDateTime& when) {
    if (!QDir().mkpath(folder) || !QFileInfo(folder).isDir()) {
        messages().notice(folderProblem(folder), kTitle);
        return QString();
    }
    const QString path = QDir(folder).filePath(fileName(when));
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        messages().notice(folderProblem(folder), kTitle);
        return QString();
    }
    QImageWriter writer(&file, "jpg");
    writer.setQuality(kJpegQuality);
    if (!writer.write(pictureOf(plot).toImage()) || !file.commit()) {
        const QString why =
            writer.error() != QImageWriter::UnknownError ? writer.errorString() : file.errorString();
        messages().notice(QStringLiteral("The snapshot \"%1\" cannot be saved: %2").arg(path, why), kTitle);
        return QString();
    }
    return path;
}

} // namespace kvx
