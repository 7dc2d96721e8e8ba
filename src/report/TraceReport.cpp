#include "TraceReport.h"

#include "BackgroundTask.h"
#include "Forms.h"
#include "MeterScales.h"
#include "SampleExport.h"
#include "Services.h"
#include "Session.h"
#include "TraceTableModel.h"
#include "ValueRules.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QFontMetricsF>
#include <QPagedPaintDevice>
#include <QPainter>
#include <QPdfWriter>
#include <QPrintPreviewDialog>
#include <QPrinter>
#include <QSaveFile>
#include <QTemporaryFile>
#include <QThread>
#include <qcustomplot.h>

#include <algorithm>
#ifdef __GLIBC__
#include <malloc.h>
#endif
#include <array>
#include <memory>
#include <vector>

namespace kvx {

namespace {

constexpr double kMarginMm = 12.0;

QFont reportFont(double points, bool bold = false) {
    QFont font;
    font.setPointSizeF(points);
    font.setBold(bold);
    return searchableFont(font);
}

QString styleName(const QString& recStyle) {
    if (recStyle == QLatin1String("0"))
        return QStringLiteral("Continuous");
    if (recStyle == QLatin1String("1"))
        return QStringLiteral("Trigger");
    return QString();
}

// The sample table's columns: heading, the widest text expected in it, alignment.
// The comment column takes the width the others leave.
struct Column {
    QString heading;
    QString widest;
    Qt::Alignment align;
};

std::array<Column, 6> tableColumns(const RecordHeader& h) {
    return {
        {{QStringLiteral("SeqNo"), QStringLiteral("999999"), Qt::AlignRight},
         {QStringLiteral("Time"), QStringLiteral("2026/12/31 23:59:59"), Qt::AlignLeft},
         {headingWithUnit(QStringLiteral("Primary"), h.pUnit), QStringLiteral("-1234.5678"), Qt::AlignRight},
         {headingWithUnit(QStringLiteral("Secondary"), h.sUnit), QStringLiteral("-1234.5678"),
          Qt::AlignRight},
         {QStringLiteral("Condition"), reasonText(ReasonText::MatchLevel), Qt::AlignLeft},
         {QStringLiteral("Comment"), QString(), Qt::AlignLeft}}};
}

std::array<QString, 6> rowCells(const TempSample& s, const RecordHeader& h) {
    return {QString::number(s.seqNo),
            s.recTime,
            readingNumberText(s.pVal, h.pUnit),
            readingNumberText(s.sVal, h.sUnit),
            reasonCaption(s.reason),
            s.comment};
}

// Paints one report on one device. All lengths are in device pixels.
class ReportPainter {
public:
    ReportPainter(const ReportContent& content, QPagedPaintDevice& device, const ReportProgress& progress)
        : m_content(content), m_device(device), m_progress(progress), m_dpi(device.logicalDpiY()),
          m_page(QPointF(0, 0), device.pageLayout().paintRectPixels(device.logicalDpiX()).size()),
          m_columns(tableColumns(content.trace.header)), m_cellFont(reportFont(9)),
          m_headingFont(reportFont(9, true)), m_cellMetrics(m_cellFont, &device) {
        measureColumns();
    }

    int paint() {
        // A QCustomPlot draws itself only through its own kind of painter.
        QCPPainter painter;
        if (!painter.begin(&m_device))
            return 0;
        m_painter = &painter;
        paginateTable();
        const bool gridOnly = !m_content.gridFilter.isEmpty();
        // A grid whose filter shows nothing still prints its headings.
        if (gridOnly && m_tablePages.empty())
            m_tablePages.emplace_back(0, 0);
        const int firstTablePage = gridOnly ? 1 : 2;
        const int pages = firstTablePage - 1 + int(m_tablePages.size());
        if (!gridOnly) {
            paintFirstPage();
            paintFooter(1, pages);
        }
        for (size_t i = 0; i < m_tablePages.size(); ++i) {
            if (m_progress && !m_progress(int(i) + firstTablePage - 1, pages)) {
                painter.end();
                return 0;
            }
            if (i > 0 || !gridOnly)
                m_device.newPage();
            paintTablePage(m_tablePages[i].first, m_tablePages[i].second);
            paintFooter(int(i) + firstTablePage, pages);
        }
        painter.end();
        return pages;
    }

private:
    double mm(double millimetres) const { return millimetres * m_dpi / 25.4; }
    QFontMetricsF metrics(const QFont& font) const { return QFontMetricsF(font, &m_device); }

    double footerHeight() const { return metrics(reportFont(8)).height() + mm(3); }
    double bodyBottom() const { return m_page.height() - footerHeight(); }

    void text(const QRectF& box, const QString& s, const QFont& font, Qt::Alignment align,
              const QColor& color = Qt::black) {
        m_painter->setFont(font);
        m_painter->setPen(color);
        const QString shown = metrics(font).elidedText(s, Qt::ElideRight, box.width());
        m_painter->drawText(box, int(align | Qt::AlignVCenter), shown);
    }

    // ------------------------------------------------------------ page one

    void paintFirstPage() {
        double y = paintTitle();
        y = paintRecordBlock(y + mm(4));
        y = paintStatistics(y + mm(4));
        y = paintNoReplyCount(y);
        paintGraph(QRectF(0, y + mm(5), m_page.width(), bodyBottom() - y - mm(7)));
    }

    double paintTitle() {
        double logoWidth = 0.0;
        double logoHeight = 0.0;
        if (!m_content.logo.isNull()) {
            const QSizeF box(mm(45), mm(20));
            const QSizeF logo = QSizeF(m_content.logo.size()).scaled(box, Qt::KeepAspectRatio);
            m_painter->drawImage(QRectF(QPointF(0, 0), logo), m_content.logo);
            logoWidth = logo.width() + mm(5);
            logoHeight = logo.height();
        }
        const QFont titleFont = reportFont(16, true);
        const QFont noteFont = reportFont(9);
        const double titleHeight = metrics(titleFont).height();
        const double noteHeight = metrics(noteFont).height();
        const double textTop = std::max(0.0, (logoHeight - titleHeight - noteHeight) / 2);
        const double textWidth = m_page.width() - logoWidth;
        text(QRectF(logoWidth, textTop, textWidth, titleHeight), m_content.title, titleFont, Qt::AlignLeft);
        const QString printed = dateTimeText(m_content.printedAt);
        const QString note = m_content.title == TraceReport::defaultTitle()
                                 ? QStringLiteral("Printed ") + printed
                                 : QStringLiteral("KVX-5130 trace report, printed ") + printed;
        text(QRectF(logoWidth, textTop + titleHeight, textWidth, noteHeight), note, noteFont, Qt::AlignLeft,
             Qt::darkGray);
        const double bottom = std::max(logoHeight, textTop + titleHeight + noteHeight) + mm(2);
        m_painter->setPen(QPen(Qt::black, mm(0.4)));
        m_painter->drawLine(QPointF(0, bottom), QPointF(m_page.width(), bottom));
        return bottom;
    }

    double paintRecordBlock(double top) {
        const RecordHeader& h = m_content.trace.header;
        const QString recNo = h.recNo.isEmpty() ? QStringLiteral("(not saved as a record)") : h.recNo;
        const std::pair<QString, QString> left[] = {{QStringLiteral("Record No.:"), recNo},
                                                    {QStringLiteral("Start Time:"), h.startTime},
                                                    {QStringLiteral("End Time:"), h.endTime}};
        const std::pair<QString, QString> right[] = {
            {QStringLiteral("Sample Style:"), styleName(h.recStyle)},
            {QStringLiteral("Primary Unit:"), displayUnit(h.pUnit)},
            {QStringLiteral("Secondary Unit:"), displayUnit(h.sUnit)}};
        const QFont label = reportFont(10, true);
        const QFont value = reportFont(10);
        const double line = metrics(value).height() * 1.25;
        const double labelWidth = mm(34);
        const double half = m_page.width() / 2;
        for (int i = 0; i < 3; ++i) {
            const double y = top + i * line;
            text(QRectF(0, y, labelWidth, line), left[i].first, label, Qt::AlignLeft);
            text(QRectF(labelWidth, y, half - labelWidth, line), left[i].second, value, Qt::AlignLeft);
            text(QRectF(half, y, labelWidth, line), right[i].first, label, Qt::AlignLeft);
            text(QRectF(half + labelWidth, y, half - labelWidth, line), right[i].second, value,
                 Qt::AlignLeft);
        }
        double y = top + 3 * line;
        text(QRectF(0, y, labelWidth, line), QStringLiteral("Description:"), label, Qt::AlignLeft);
        // The description is the one free text here: it wraps instead of being cut.
        m_painter->setFont(value);
        const QRectF descriptionBox(labelWidth, y + (line - metrics(value).height()) / 2,
                                    m_page.width() - labelWidth, mm(30));
        QRectF used;
        m_painter->drawText(descriptionBox, Qt::AlignLeft | Qt::AlignTop | Qt::TextWordWrap, h.comment,
                            &used);
        return y + std::max(line, used.height() + (line - metrics(value).height()));
    }

    double paintStatistics(double top) {
        // Laid out like the graph window's panels: three over two.
        const QStringList stats = m_content.graph ? m_content.graph->statistics() : QStringList();
        const QFont font = reportFont(10, true);
        const double cellHeight = metrics(font).height() + mm(3);
        const double cellWidth = m_page.width() / 3;
        m_painter->setPen(QPen(Qt::darkGray, mm(0.25)));
        for (int i = 0; i < stats.size(); ++i) {
            const QRectF cell((i % 3) * cellWidth, top + (i / 3) * cellHeight, cellWidth, cellHeight);
            m_painter->fillRect(cell, QColor(240, 240, 240));
            m_painter->setPen(QPen(Qt::darkGray, mm(0.25)));
            m_painter->drawRect(cell);
            text(cell.adjusted(mm(2), 0, -mm(2), 0), stats[i], font, Qt::AlignLeft);
        }
        const int rows = (int(stats.size()) + 2) / 3;
        return top + rows * cellHeight;
    }

    // Samples the meter did not answer are stored as 0: the report says how many,
    // and their rows in the table are tinted.
    double paintNoReplyCount(double top) {
        const auto& samples = m_content.trace.samples;
        const auto count =
            std::count_if(samples.begin(), samples.end(), [](const TempSample& s) { return s.noReply; });
        if (count == 0)
            return top;
        const QFont font = reportFont(10, true);
        const double height = metrics(font).height() + mm(2);
        text(QRectF(0, top + mm(2), m_page.width(), height),
             QStringLiteral("%1 %2 without a reply (stored as 0)")
                 .arg(count)
                 .arg(count == 1 ? QStringLiteral("sample") : QStringLiteral("samples")),
             font, Qt::AlignLeft, QColor(176, 0, 0));
        return top + mm(2) + height;
    }

    void paintGraph(const QRectF& area) {
        if (!m_content.graph || area.height() <= 0)
            return;
        // A plot wider than about twice its height leaves the curve too flat to read.
        const QSizeF size(area.width(), std::min(area.height(), area.width() * 0.75));
        const auto paintPlot = [&] { m_content.graph->paint(*m_painter, QRectF(area.topLeft(), size)); };
        // The plot is a widget's drawing (QCustomPlot), which only the window thread
        // may use: a report written on a thread of its own waits for that thread to draw it.
        QObject* windowThread = QCoreApplication::instance();
        if (QThread::currentThread() == windowThread->thread())
            paintPlot();
        else
            QMetaObject::invokeMethod(windowThread, paintPlot, Qt::BlockingQueuedConnection);
    }

    // ------------------------------------------------------------ the table

    const QFont& cellFont() const { return m_cellFont; }
    const QFont& headingFont() const { return m_headingFont; }
    double cellPadding() const { return mm(0.8); }
    double headingHeight() const { return metrics(headingFont()).height() + 2 * cellPadding(); }
    double captionHeight() const { return metrics(reportFont(9)).height() + mm(2); }

    double columnWidth(int c) const { return m_columnWidths[size_t(c)]; }

    void measureColumns() {
        const QFontMetricsF cells = metrics(cellFont());
        const QFontMetricsF headings = metrics(headingFont());
        double used = 0.0;
        for (size_t c = 0; c + 1 < m_columns.size(); ++c) {
            const double text = std::max(cells.horizontalAdvance(m_columns[c].widest),
                                         headings.horizontalAdvance(m_columns[c].heading));
            m_columnWidths[c] = text + 2 * cellPadding() + mm(1.5);
            used += m_columnWidths[c];
        }
        // On narrow paper the fixed columns give way so that comments keep some room.
        const double most = m_page.width() * 0.88;
        if (used > most) {
            for (size_t c = 0; c + 1 < m_columns.size(); ++c)
                m_columnWidths[c] *= most / used;
            used = most;
        }
        m_columnWidths.back() = m_page.width() - used;
    }

    double rowHeight(const TempSample& s) const {
        const QFontMetricsF& fm = m_cellMetrics;
        double height = fm.height();
        if (!s.comment.isEmpty()) {
            const QRectF wrapped = fm.boundingRect(QRectF(0, 0, columnWidth(5) - 2 * cellPadding(), 1e9),
                                                   Qt::TextWordWrap, s.comment);
            height = std::max(height, wrapped.height());
        }
        return height + 2 * cellPadding();
    }

    // Rows [first, last) of each table page.
    void paginateTable() {
        m_tablePages.clear();
        const auto& samples = m_content.trace.samples;
        const double room = bodyBottom() - captionHeight() - headingHeight();
        m_rowHeights.resize(samples.size());
        size_t first = 0;
        double used = 0.0;
        for (size_t i = 0; i < samples.size(); ++i) {
            m_rowHeights[i] = rowHeight(samples[i]);
            // A row taller than a whole page still gets a page of its own.
            const double height = std::min(m_rowHeights[i], room);
            if (used + height > room && i > first) {
                m_tablePages.emplace_back(first, i);
                first = i;
                used = 0.0;
            }
            used += height;
        }
        if (first < samples.size())
            m_tablePages.emplace_back(first, samples.size());
    }

    void paintTablePage(size_t first, size_t last) {
        const RecordHeader& h = m_content.trace.header;
        QString caption = QStringLiteral("Samples");
        if (!h.recNo.isEmpty())
            caption += QStringLiteral(" of record ") + h.recNo;
        if (!h.startTime.isEmpty())
            caption += QStringLiteral(", ") + h.startTime + QStringLiteral(" to ") + h.endTime;
        if (!m_content.gridFilter.isEmpty())
            caption += QStringLiteral(" (shown: ") + m_content.gridFilter + QStringLiteral(")");
        text(QRectF(0, 0, m_page.width(), captionHeight()), caption, reportFont(9), Qt::AlignLeft,
             Qt::darkGray);

        double y = captionHeight();
        const QRectF headingRow(0, y, m_page.width(), headingHeight());
        m_painter->fillRect(headingRow, QColor(220, 220, 220));
        double x = 0.0;
        for (int c = 0; c < int(m_columns.size()); ++c) {
            const QRectF cell(x, y, columnWidth(c), headingHeight());
            text(cell.adjusted(cellPadding(), 0, -cellPadding(), 0), m_columns[size_t(c)].heading,
                 headingFont(), m_columns[size_t(c)].align);
            x += columnWidth(c);
        }
        y += headingHeight();
        m_painter->setPen(QPen(Qt::black, mm(0.3)));
        m_painter->drawLine(QPointF(0, y), QPointF(m_page.width(), y));

        const auto& samples = m_content.trace.samples;
        for (size_t i = first; i < last; ++i) {
            const double height = std::min(m_rowHeights[i], bodyBottom() - y);
            paintRow(samples[i], y, height, (i - first) % 2 == 1);
            y += height;
        }
    }

    void paintRow(const TempSample& s, double top, double height, bool shaded) {
        if (s.noReply)
            m_painter->fillRect(QRectF(0, top, m_page.width(), height), TraceTableModel::noReplyBackground());
        else if (shaded)
            m_painter->fillRect(QRectF(0, top, m_page.width(), height), QColor(246, 246, 246));
        const auto cells = rowCells(s, m_content.trace.header);
        m_painter->setFont(cellFont());
        m_painter->setPen(Qt::black);
        double x = 0.0;
        for (int c = 0; c < int(cells.size()); ++c) {
            const QRectF cell = QRectF(x, top, columnWidth(c), height)
                                    .adjusted(cellPadding(), cellPadding(), -cellPadding(), -cellPadding());
            const QString& shown = cells[size_t(c)];
            if (c == 5 && !shown.isEmpty())
                m_painter->drawText(cell, Qt::AlignLeft | Qt::AlignTop | Qt::TextWordWrap, shown);
            else if (c != 5)
                cellLine(cell, shown, m_columns[size_t(c)].align);
            x += columnWidth(c);
        }
    }

    // One line of a cell at the top of `cell`, cut with an ellipsis when too wide.
    // Drawn at its baseline: the cells are most of a long report, and a text laid
    // out in a box costs several times as much.
    void cellLine(const QRectF& cell, QString shown, Qt::Alignment align) {
        double width = m_cellMetrics.horizontalAdvance(shown);
        if (width > cell.width()) {
            shown = m_cellMetrics.elidedText(shown, Qt::ElideRight, cell.width());
            width = m_cellMetrics.horizontalAdvance(shown);
        }
        const double left = (align & Qt::AlignRight) ? cell.right() - width : cell.left();
        m_painter->drawText(QPointF(left, cell.top() + m_cellMetrics.ascent()), shown);
    }

    void paintFooter(int page, int pages) {
        const QFont font = reportFont(8);
        const double height = metrics(font).height();
        const double top = m_page.height() - height;
        m_painter->setPen(QPen(Qt::darkGray, mm(0.2)));
        m_painter->drawLine(QPointF(0, top - mm(1)), QPointF(m_page.width(), top - mm(1)));
        const QRectF line(0, top, m_page.width(), height);
        text(line, m_content.title, font, Qt::AlignLeft, Qt::darkGray);
        text(line, QStringLiteral("Page %1 of %2").arg(page).arg(pages), font, Qt::AlignRight, Qt::darkGray);
    }

    const ReportContent& m_content;
    QPagedPaintDevice& m_device;
    const ReportProgress& m_progress;
    const double m_dpi;
    const QRectF m_page;
    const std::array<Column, 6> m_columns;
    std::array<double, 6> m_columnWidths{};
    const QFont m_cellFont;
    const QFont m_headingFont;
    const QFontMetricsF m_cellMetrics;
    QCPPainter* m_painter = nullptr;
    std::vector<std::pair<size_t, size_t>> m_tablePages;
    std::vector<double> m_rowHeights;
};

// The PDF writer compresses each page through buffers of several megabytes, made
// and freed once a page. The C library would hand that memory back to the system
// after every page and take it again for the next, most of a long report's time;
// while a report is written freed memory is kept for the next page instead, and
// handed back once at the end.
class KeepFreedMemory {
public:
#ifdef __GLIBC__
    KeepFreedMemory() {
        mallopt(M_MMAP_THRESHOLD, kLargeBlock);
        mallopt(M_TRIM_THRESHOLD, 2 * kLargeBlock);
    }
    ~KeepFreedMemory() {
        mallopt(M_TRIM_THRESHOLD, kLargeBlock);
        malloc_trim(0);
    }
#else
    KeepFreedMemory() = default;
#endif
    KeepFreedMemory(const KeepFreedMemory&) = delete;
    KeepFreedMemory& operator=(const KeepFreedMemory&) = delete;

private:
    // The most the C library raises its own limits to when it sees large blocks.
    [[maybe_unused]] static constexpr int kLargeBlock = 32 * 1024 * 1024;
};

ReportContent contentHeader(TraceRecord trace) {
    ReportContent content;
    const QString header = settingText(session().operation.reportHeader);
    content.title = header.isEmpty() ? TraceReport::defaultTitle() : header;
    const QString logoFile = settingText(session().operation.logoFile);
    if (!logoFile.isEmpty())
        content.logo.load(logoFile);
    content.trace = std::move(trace);
    content.printedAt = clock().now();
    return content;
}

} // namespace

QString TraceReport::defaultTitle() {
    return QStringLiteral("KVX-5130 Trace Report");
}

std::optional<TraceReport> TraceReport::forWorkingTrace(QString* error) {
    std::optional<TraceRecord> trace = workingTrace(recordStore(), error);
    if (!trace)
        return std::nullopt;
    ReportContent content = contentHeader(std::move(*trace));
    // The graph window's panels and settings as the operator sees them, when it is open.
    std::optional<GraphShown> shown;
    if (const GraphRecord* graph = forms().graph)
        shown = graph->shown();
    content.graph = std::make_shared<const ReportGraph>(content.trace, shown ? &*shown : nullptr);
    return TraceReport(std::move(content));
}

std::optional<TraceReport> TraceReport::forGrid(QString* error) {
    const DataTable* table = forms().dataTable;
    const int filter = table ? table->filterIndex() : 0;
    std::optional<TraceRecord> trace = workingTrace(recordStore(), error, filter);
    if (!trace)
        return std::nullopt;
    ReportContent content = contentHeader(std::move(*trace));
    content.gridFilter =
        table && !table->filterCaption().isEmpty() ? table->filterCaption() : QStringLiteral("Total");
    return TraceReport(std::move(content));
}

TraceReport TraceReport::forTrace(const TraceRecord& trace) {
    ReportContent content = contentHeader(trace);
    content.graph = std::make_shared<const ReportGraph>(content.trace, nullptr);
    return TraceReport(std::move(content));
}

int TraceReport::render(QPagedPaintDevice& device, const ReportProgress& progress) const {
    const KeepFreedMemory keep;
    return ReportPainter(m_content, device, progress).paint();
}

bool TraceReport::writePdf(const QString& path, QString* error, const ReportProgress& progress) const {
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        if (error)
            *error = file.errorString();
        return false;
    }
    {
        QPdfWriter pdf(&file);
        // Screen resolution lets the graph go in as lines and texts (see ReportGraph::paint);
        // every length is a real coordinate, so nothing is lost by it.
        pdf.setResolution(96);
        pdf.setPageLayout(QPageLayout(QPageSize(QPageSize::A4), QPageLayout::Portrait,
                                      QMarginsF(kMarginMm, kMarginMm, kMarginMm, kMarginMm),
                                      QPageLayout::Millimeter));
        pdf.setTitle(m_content.title);
        pdf.setCreator(QStringLiteral("kvx5130"));
        if (render(pdf, progress) == 0) {
            file.cancelWriting();
            if (error)
                *error = QStringLiteral("the report could not be drawn");
            return false;
        }
    }
    if (!file.commit()) {
        if (error)
            *error = file.errorString();
        return false;
    }
    return true;
}

void prepareReportPrinter(QPrinter& printer, const TraceReport& report) {
    printer.setPageLayout(QPageLayout(QPageSize(QPageSize::A4), QPageLayout::Portrait,
                                      QMarginsF(kMarginMm, kMarginMm, kMarginMm, kMarginMm),
                                      QPageLayout::Millimeter));
    const QString recNo = report.content().trace.header.recNo;
    printer.setDocName(recNo.isEmpty() ? QStringLiteral("KVX-5130 trace")
                                       : QStringLiteral("KVX-5130 record ") + recNo);
}

QPrintPreviewDialog* createPrintPreview(const TraceReport& report, QWidget* parent) {
    auto* dialog = new QPrintPreviewDialog(parent);
    dialog->setObjectName(QStringLiteral("dlgPrintPreview"));
    const bool grid = !report.content().gridFilter.isEmpty();
    dialog->setWindowTitle(grid ? QStringLiteral("Print Grid") : QStringLiteral("Print Trace Report"));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    prepareReportPrinter(*dialog->printer(), report);
    // The report was put together when the key was pressed; the preview repaints
    // that same report on every change of page setup, even while a trace runs on.
    auto shown = std::make_shared<TraceReport>(report);
    QObject::connect(dialog, &QPrintPreviewDialog::paintRequested, dialog,
                     [shown](QPrinter* target) { shown->render(*target); });
    return dialog;
}

namespace {

// Whether a report put together just now has something to print; tells the operator why not.
bool reportReady(const std::optional<TraceReport>& report, const QString& error) {
    if (!report) {
        messages().notice(QStringLiteral("System Error caused by ") + error);
        return false;
    }
    // A filter that shows no row still prints: an empty "Over MAX" grid is worth keeping.
    const ReportContent& content = report->content();
    const bool nothingMeasured =
        content.trace.samples.empty() &&
        (content.gridFilter.isEmpty() || recordStore().countSamples().value_or(0) == 0);
    if (nothingMeasured) {
        messages().notice(QStringLiteral("You have to measure first"));
        return false;
    }
    return true;
}

// Shows the preview of a report put together just now, or says why there is none.
bool previewReport(const std::optional<TraceReport>& report, const QString& error, QWidget* parent) {
    if (!reportReady(report, error))
        return false;
    QPrintPreviewDialog* dialog = createPrintPreview(*report, parent);
    dialog->exec();
    return true;
}

} // namespace

bool showPrintPreview(QWidget* parent) {
    QString error;
    const std::optional<TraceReport> report = TraceReport::forWorkingTrace(&error);
    return previewReport(report, error, parent);
}

bool showGridPrintPreview(QWidget* parent) {
    QString error;
    const std::optional<TraceReport> report = TraceReport::forGrid(&error);
    return previewReport(report, error, parent);
}

bool writeReportPdfInBackground(const QString& path) {
    QString error;
    std::optional<TraceReport> report = TraceReport::forWorkingTrace(&error);
    if (!reportReady(report, error))
        return false;
    // Held by the finished step too, so that the report's plot widget is let go
    // on the window thread, whichever step lets go last.
    auto shown = std::make_shared<const TraceReport>(std::move(*report));
    const auto work = [shown, path](TaskProgress& progress) {
        TaskOutcome outcome;
        outcome.ok = shown->writePdf(path, &outcome.error, [&progress](int pagesDone, int pages) {
            progress.setTotal(pages);
            progress.setDone(pagesDone);
            return !progress.cancelled();
        });
        return outcome;
    };
    const auto finished = [shown, path](const TaskOutcome& outcome) {
        if (!outcome.ok && !outcome.cancelled)
            messages().notice(QStringLiteral("The PDF file \"%1\" cannot be written: %2").arg(path, outcome.error));
    };
    runInBackground(QStringLiteral("Writing \"%1\"...").arg(QFileInfo(path).fileName()), work, finished);
    return true;
}

// The report is drawn into a plain file; a stream gets a copy of it.
bool writeReportFile(const TraceRecord& trace, const QString& path, QString* error) {
    const TraceReport report = TraceReport::forTrace(trace);
    if (!ExportOutput::isStream(path))
        return report.writePdf(path, error);
    QTemporaryFile drawn(QDir::temp().filePath(QStringLiteral("kvx5130-report-XXXXXX.pdf")));
    if (!drawn.open()) {
        *error = drawn.errorString();
        return false;
    }
    drawn.close();
    if (!report.writePdf(drawn.fileName(), error))
        return false;
    QFile pdf(drawn.fileName());
    ExportOutput output(path);
    if (!pdf.open(QIODevice::ReadOnly) || !output.open() || !output.write(pdf.readAll()) ||
        !output.commit()) {
        *error = pdf.error() != QFileDevice::NoError ? pdf.errorString() : output.errorString();
        return false;
    }
    return true;
}

} // namespace kvx
