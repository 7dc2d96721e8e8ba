#pragma once
// The trend graph as a printed report shows it: the statistics panels' texts
// and the plot over the whole trace.
//
// The plot is drawn by a hidden graph window rebuilt from the report's own
// samples, so the printed curve is the graph window's own drawing, yet stays as
// it was when the report was put together while a trace runs on behind an open
// print preview. When there is a graph window, the report takes the statistics
// exactly as its panels show them and draws with its limit, reference and Y-axis
// settings; without one (a saved record exported from the command line) the
// hidden window's own panels and the Y range of the record's unit are used.
// Paper gets a palette of its own, dark on white; the Setting dialog's colours
// are the screen's.

#include "ReportTrace.h"

#include <QFont>
#include <QRectF>
#include <QStringList>

#include <memory>

class QCPPainter;
class QWidget;

namespace kvx {

class GraphRecord;
class frmGraphicRecord;

// `font` drawn so that its text reads back from a PDF. Shaping can put digits in Latin text on
// glyphs of their own (the CJK fonts do), which the PDF's text map does not know; the digits
// would then vanish from a search or a copy of the page.
QFont searchableFont(QFont font);

// The statistics panels of the graph window, by their object names.
inline const char* const kStatisticsPanels[] = {"pnlMax", "pnlMin", "pnlStdCount", "pnlTotCount",
                                                "pnlTotTimes"};

class ReportGraph {
public:
    // Rebuilds `trace` in a hidden graph window, following `shown` when it is a
    // graph window with its panels. The window registered in `forms()` stays so.
    ReportGraph(const TraceRecord& trace, GraphRecord* shown);
    ~ReportGraph();
    ReportGraph(const ReportGraph&) = delete;
    ReportGraph& operator=(const ReportGraph&) = delete;

    // "MAX:...", "MIN:...", "Match Condition:...", "Total Sampling:...", "Total Time:..."
    const QStringList& statistics() const { return m_statistics; }

    // Draws the plot into `area` (device pixels of the painter's device), its X
    // axis over the whole trace and its lines widened for paper. On a device of
    // screen resolution (the report's PDF) the plot is drawn
    // as lines and texts; anywhere else as a picture fine enough for a printer.
    void paint(QCPPainter& painter, const QRectF& area) const;

    const frmGraphicRecord& window() const { return *m_window; }

private:
    struct Parts;
    std::unique_ptr<Parts> m_parts;
    frmGraphicRecord* m_window = nullptr;
    QStringList m_statistics;
    int m_sampleCount = 0;
};

} // namespace kvx
