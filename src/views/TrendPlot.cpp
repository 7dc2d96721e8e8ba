#include "TrendPlot.h"

#include "GraphScales.h"
#include "ValueRules.h"

#include <qcustomplot.h>

namespace kvx {

namespace {

// X axis ticks in elapsed seconds, labelled as clock times. Over the default
// 100 s view the labels fall every 20 s with a minor tick every 5 s.
class ClockTicker : public QCPAxisTicker {
protected:
    double getTickStep(const QCPRange& range) override { return clockTickStep(range.size()); }
    int getSubTickCount(double tickStep) override { return clockSubTickCount(tickStep); }
    QString getTickLabel(double tick, const QLocale&, QChar, int) override { return clockTickLabel(tick); }
};

} // namespace

void setUpTrendPlot(QCustomPlot& plot) {
    plot.setNoAntialiasingOnDrag(true);
    plot.setPlottingHint(QCP::phCacheLabels, true);
    const char* names[] = {"Plot-1", "Limit-High", "Limit-Low", "Plot-Rel", "Plot-NoReply"};
    for (const char* name : names) {
        QCPGraph* g = plot.addGraph();
        g->setName(QLatin1String(name));
        g->setAdaptiveSampling(true);
    }
    // Readings the meter did not answer are stored as 0: each gets a mark of its
    // own over the trace, so that the dip to 0 is not read as a measurement.
    QCPGraph* noReply = plot.graph(PlotNoReply);
    noReply->setLineStyle(QCPGraph::lsNone);
    noReply->setScatterStyle(QCPScatterStyle(QCPScatterStyle::ssCross, QColor(220, 0, 0), 9));
    plot.xAxis->setTicker(QSharedPointer<QCPAxisTicker>(new ClockTicker));
    plot.xAxis->setRange(0, kDefaultXSpan);
    plot.xAxis->setLabel(QStringLiteral("Elapsed Time [Sec]"));
    plot.yAxis->setRange(-1200, 1200);
    plot.xAxis->grid()->setSubGridVisible(true);
    plot.yAxis->grid()->setSubGridVisible(true);
}

void colorTrendPlot(QCustomPlot& plot, const DisplayColors& colors, bool replayed) {
    const QColor text = colorFromBgr(colors[SlotText]);
    const QColor grid = colorFromBgr(colors[SlotGrid]);
    const QColor marker = colorFromBgr(colors[SlotMarker]);
    const QColor background = colorFromBgr(colors[SlotBackground]);

    plot.setBackground(background);
    plot.axisRect()->setBackground(background);
    for (QCPAxis* axis : {plot.xAxis, plot.yAxis}) {
        axis->setBasePen(QPen(text));
        axis->setTickPen(QPen(text));
        axis->setSubTickPen(QPen(text));
        axis->setTickLabelColor(text);
        axis->setLabelColor(text);
        axis->grid()->setPen(QPen(grid, 0, Qt::SolidLine));
        QColor subGrid = grid;
        subGrid.setAlpha(140);
        axis->grid()->setSubGridPen(QPen(subGrid, 0, Qt::DotLine));
        axis->grid()->setZeroLinePen(QPen(grid, 0, Qt::SolidLine));
    }
    // Cosmetic one-pixel pens: a wider pen makes the raster engine stroke the whole
    // polyline as an outline, some fifty times slower with long traces.
    plot.graph(PlotHigh)->setPen(QPen(marker, 0));
    plot.graph(PlotLow)->setPen(QPen(marker, 0));
    plot.graph(PlotRel)->setPen(QPen(marker, 0, Qt::DashLine));
    colorTrendTrace(plot, colors, replayed);
}

void colorTrendTrace(QCustomPlot& plot, const DisplayColors& colors, bool replayed) {
    plot.graph(PlotTrace)->setPen(QPen(colorFromBgr(colors[replayed ? SlotPlay : SlotTrace]), 0));
}

// Filled through a plain pointer: the vector's own index operator checks for
// sharing at every point, a million times per rebuild.
QVector<QCPGraphData> graphPoints(const std::vector<double>& values) {
    QVector<QCPGraphData> points(qsizetype(values.size()));
    QCPGraphData* out = points.data();
    for (size_t i = 0; i < values.size(); ++i)
        out[i] = QCPGraphData(double(i), values[i]);
    return points;
}

std::optional<double> limitNumber(const QString& text) {
    if (text.isEmpty() || !isNumeric(text))
        return std::nullopt;
    return parseLeadingNumber(text);
}

} // namespace kvx
