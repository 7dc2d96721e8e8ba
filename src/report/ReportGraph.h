#pragma once
// The trend graph as a printed report shows it: the statistics panels' texts
// and a resolution-independent picture of the plot spanning the whole trace.
// It is taken from the graph window when there is one, or from a hidden graph
// window rebuilt from the trace's samples, so that a saved record printed from
// the command line shows the same numbers and the same curve as on screen.

#include "ReportTrace.h"

#include <QPicture>
#include <QSize>
#include <QStringList>

#include <optional>

class QWidget;

namespace kvx {

class GraphRecord;

struct GraphCapture {
    // "MAX:...", "MIN:...", "Match Condition:...", "Total Sampling:...", "Total Time:..."
    QStringList statistics;
    // The plot drawn at `size` logical pixels.
    QPicture picture;
    QSize size;
};

// The statistics panels of the graph window, by their object names.
inline const char* const kStatisticsPanels[] = {"pnlMax", "pnlMin", "pnlStdCount", "pnlTotCount",
                                                "pnlTotTimes"};

// The plot's logical size in a report: wide enough for the axis texts to keep
// the proportions they have on screen.
inline constexpr QSize kReportPlotSize{1000, 560};

// The graph window as it stands, when it is a window with the statistics panels
// and a plot; the plot is drawn over the whole trace of `sampleCount` samples.
std::optional<GraphCapture> captureGraphWindow(GraphRecord& window, int sampleCount,
                                               QSize size = kReportPlotSize);

// A hidden graph window rebuilt from `trace`, its Y axis chosen for the trace's
// primary unit. The graph window registered in `forms()` stays registered.
GraphCapture captureTraceGraph(const TraceRecord& trace, QSize size = kReportPlotSize);

// The plot widget drawn as a picture, its X axis over `sampleCount` samples (at
// least the graph's default 100 seconds) and its lines widened for paper; the
// widget is left as it was.
QPicture plotPicture(QWidget* plot, int sampleCount, QSize size);

} // namespace kvx
