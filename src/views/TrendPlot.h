#pragma once
// The trend plot as the graph window and the printed report both draw it: its
// five graphs, clock-time X axis, grids and colours, and the points of a whole
// trace. The window adds its cursors and mouse handling; the report draws a plot
// of its own from the samples it is given, with no window behind it.

#include "DisplayColors.h"

#include <QString>
#include <QVector>
#include <optional>
#include <vector>

class QCustomPlot;
class QCPGraphData;

namespace kvx {

// The plot's graphs, in the order they are added.
enum TrendPlotIndex { PlotTrace = 0, PlotHigh = 1, PlotLow = 2, PlotRel = 3, PlotNoReply = 4 };

// The seconds the X axis shows before the operator zooms: "0:0:00" .. "0:1:40".
inline constexpr double kDefaultXSpan = 100.0;

// Adds the graphs, the clock ticker and the grids; the Y axis starts at +-1200.
void setUpTrendPlot(QCustomPlot& plot);

// Text, grid, marker and background colours (see ColorSlot) on the axes and the
// limit and reference lines, and the trace's colour.
void colorTrendPlot(QCustomPlot& plot, const DisplayColors& colors, bool replayed);
// The trace line in the replay colour (a trace rebuilt whole) or the live one.
void colorTrendTrace(QCustomPlot& plot, const DisplayColors& colors, bool replayed);

// One point a second from 0.
QVector<QCPGraphData> graphPoints(const std::vector<double>& values);

// The value of a limit or reference field: none when it is empty or not a number.
std::optional<double> limitNumber(const QString& text);

} // namespace kvx
