#include "Snapshot.h"

#include "Forms.h"
#include "ReportTrace.h"
#include "Services.h"
#include "Session.h"
#include "StatusReports.h"
#include "ValueRules.h"

#include <QDir>
#include <QFileInfo>
#include <QImageWriter>
#include <QPainter>
#include <QPixmap>
#include <QSaveFile>
#include <QStandardPaths>
#include <QWidget>
#include <qcustomplot.h>

namespace kvx {

namespace {

constexpr int kJpegQuality = 92; // a graph of thin lines and text smears below about 90

const QString kTitle = QStringLiteral("Save Trace as JPEG File");

// A picture goes into notes and reports, where the screen's 1:1 pixels look
// blurred: draw it at twice the size at least, more on a high-density screen.
double pictureScale(const QWidget* plot) {
    return std::max(2.0, plot->devicePixelRatioF());
}

QImage plotImage(QWidget* plot, double scale) {
    // QCustomPlot paints its own buffer at the widget's size, also when the
    // window is hidden or covered; any other widget is grabbed as it is.
    if (auto* custom = qobject_cast<QCustomPlot*>(plot))
        return custom->toPixmap(0, 0, scale).toImage();
    return plot->grab().toImage();
}

// The plot with what a picture on its own needs: a title with the moment it was
// taken, and the reading axis's title with its unit beside the plot.
QImage pictureOf(QWidget* plot, const QString& readingUnit, const QDateTime& when) {
    const double scale = pictureScale(plot);
    const QImage graph = plotImage(plot, scale);
    const QColor background = graph.isNull() ? QColor(Qt::black) : QColor(graph.pixel(0, 0));
    const QColor ink = background.lightness() < 128 ? QColor(Qt::white) : QColor(Qt::black);
    QFont font = plot->font();
    font.setPixelSize(int(13 * scale));
    const int band = int(QFontMetrics(font).height() * 1.6);

    QImage picture(graph.width() + band, graph.height() + band, QImage::Format_RGB32);
    picture.fill(background);
    QPainter painter(&picture);
    painter.drawImage(band, band, graph);
    painter.setFont(font);
    painter.setPen(ink);
    painter.drawText(
        QRect(band, 0, graph.width(), band), Qt::AlignCenter,
        QStringLiteral("KVX-5130 trend, %1").arg(when.toString(QStringLiteral("yyyy/MM/dd HH:mm:ss"))));
    const QString unit = displayUnit(readingUnit);
    const QString axisTitle =
        unit.isEmpty() ? QStringLiteral("Reading") : QStringLiteral("Reading [%1]").arg(unit);
    painter.translate(0, band + graph.height());
    painter.rotate(-90);
    painter.drawText(QRect(0, 0, graph.height(), band), Qt::AlignCenter, axisTitle);
    return picture;
}

QString folderProblem(const QString& folder) {
    return QStringLiteral("The snapshot cannot be saved: the folder \"%1\" cannot be written.\n"
                          "Choose another snapshot folder in the settings.")
        .arg(QDir::toNativeSeparators(folder));
}

} // namespace

QString Snapshot::folder() {
    const QString chosen = settingText(session().operation.snapshotFolder);
    if (!chosen.isEmpty())
        return chosen;
    const QString pictures = QStandardPaths::writableLocation(QStandardPaths::PicturesLocation);
    return pictures.isEmpty() ? session().programFolder + QStringLiteral("/Working") : pictures;
}

QString Snapshot::fileName(const QDateTime& when) {
    return when.toString(QStringLiteral("yyyyMMdd_HHmmss")) + QStringLiteral(".jpg");
}

QString Snapshot::save() {
    GraphRecord* graph = forms().graph;
    QWidget* plot = graph ? graph->plotWidget() : nullptr;
    if (!plot) {
        messages().notice(QStringLiteral("There is no trend graph to save."), kTitle);
        return QString();
    }
    return save(plot, graph->unit(), folder(), clock().now());
}

QString Snapshot::save(QWidget* plot, const QString& unit, const QString& folder, const QDateTime& when) {
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
    if (!writer.write(pictureOf(plot, unit, when)) || !file.commit()) {
        const QString why =
            writer.error() != QImageWriter::UnknownError ? writer.errorString() : file.errorString();
        messages().notice(QStringLiteral("The snapshot \"%1\" cannot be saved: %2").arg(path, why), kTitle);
        return QString();
    }
    statusReports().report(QStringLiteral("Snapshot saved as %1").arg(QDir::toNativeSeparators(path)));
    return path;
}

} // namespace kvx
