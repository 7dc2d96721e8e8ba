#pragma once
// The trend graph as a printed report shows it: the statistics panels' texts
// and the plot over the whole trace.
//
// The plot is drawn from the report's own samples by the rules the graph window
// draws with (TrendPlot, GraphScales, TraceStatistics), so it stays as it was
// when the report was put together while a trace runs on behind an open print
// preview, and no window is needed (a saved record exported from the command
// line). When the graph window is open, the report takes the statistics exactly
// as its panels show them and draws with its limit, reference and Y-axis
// settings; without one it counts the statistics itself and takes the Y range of
// the record's unit. Paper gets a palette of its own, dark on white; the Setting
// dialog's colours are the screen's.

#include "ReportTrace.h"

#include <QFont>
#include <QRectF>
#include <QStringList>

#include <memory>

class QCPPainter;
class QCustomPlot;

namespace kvx {

struct GraphShown;

// `font` drawn so that its text reads back from a PDF. Shaping can put digits in Latin text on
// glyphs of their own (the CJK fonts do), which the PDF's text map does not know; the digits
// would then vanish from a search or a copy of the page.
QFont searchableFont(QFont font);

class ReportGraph {
public:
    // Plots `trace`, following `shown` (the graph window as it stands) when given.
    ReportGraph(const TraceRecord& trace, const GraphShown* shown);
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

    const QCustomPlot& plot() const { return *m_plot; }

private:
    std::unique_ptr<QCustomPlot> m_plot;
    QStringList m_statistics;
};

} // namespace kvx
