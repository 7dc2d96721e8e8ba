#pragma once
// The printed trace report of the print key: on page one the report header and
// logo of the settings, the record's number, times, description and units, the
// statistics as the graph shows them and the graph over the whole trace; from
// page two on the table of samples, its column headings repeated on every page.
// Each page carries "Page n of m" at its foot. A grid printout is the table
// alone, with the rows the data table's filter shows.
//
// A report is put together once (the windows and the database are read then) and
// can be painted any number of times, on a printer, in the print preview or into
// a PDF file.

#include "ReportGraph.h"
#include "ReportTrace.h"

#include <QDateTime>
#include <QImage>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

class QPagedPaintDevice;
class QPrinter;
class QPrintPreviewDialog;
class QWidget;

namespace kvx {

// Told before each page of the sample table is painted: the pages done and the
// page count. Answers false to stop; the report is then not written.
using ReportProgress = std::function<bool(int pagesDone, int pages)>;

struct ReportContent {
    QString title;
    QImage logo;
    TraceRecord trace;
    // Shared by the copies of a report, such as the one a print preview keeps.
    std::shared_ptr<const ReportGraph> graph;
    QDateTime printedAt;
    // A grid printout: the table pages only, holding the rows of this filter.
    QString gridFilter;
};

class TraceReport {
public:
    explicit TraceReport(ReportContent content) : m_content(std::move(content)) {}

    // The working trace: header fields of the data table window, `datatemp`, and
    // the graph window's panels and settings as they stand, when it is open.
    // nullopt, with the reason in `error`, when the working trace cannot be read.
    static std::optional<TraceReport> forWorkingTrace(QString* error = nullptr);
    // The data table's grid as its filter shows it: the sample table alone.
    static std::optional<TraceReport> forGrid(QString* error = nullptr);
    // A saved or opened trace, its graph plotted from its samples alone.
    static TraceReport forTrace(const TraceRecord& trace);

    // Paints every page on `device` (a printer or a PDF writer); returns the page
    // count, 0 when the device cannot be painted on.
    // On a thread of its own the graph is drawn by the window thread meanwhile.
    int render(QPagedPaintDevice& device, const ReportProgress& progress = {}) const;
    // A4 portrait PDF, written atomically, with the graph as lines and texts.
    bool writePdf(const QString& path, QString* error = nullptr, const ReportProgress& progress = {}) const;

    const ReportContent& content() const { return m_content; }
    // "KVX-5130 Trace Report" when the settings give no report header.
    static QString defaultTitle();

private:
    ReportContent m_content;
};

// The report of `trace` as a PDF file at `path`; "-" writes it to standard output.
// False with the reason.
bool writeReportFile(const TraceRecord& trace, const QString& path, QString* error);

// Sets the page, margins and document name a report is printed with.
void prepareReportPrinter(QPrinter& printer, const TraceReport& report);

// The print key: a print preview of the working trace's report, from which the
// operator prints on any printer or into a PDF file. Tells the operator when
// there is nothing to print. Returns false when no preview was shown.
bool showPrintPreview(QWidget* parent);
// The grid's print: a preview of the rows the data table's filter shows.
bool showGridPrintPreview(QWidget* parent);
// The PDF key: the working trace's report written to `path` on a thread of its
// own, with a progress window that can cancel it (see BackgroundTask). Returns at
// once: false when there is nothing to write (the operator is told why); a
// failure later is told when the writing ends. A cancelled report leaves no file.
bool writeReportPdfInBackground(const QString& path);
// The same previews, not yet shown; the dialog owns the report and its printer.
QPrintPreviewDialog* createPrintPreview(const TraceReport& report, QWidget* parent);

} // namespace kvx
