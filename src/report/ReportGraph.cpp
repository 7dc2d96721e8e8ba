#include "ReportGraph.h"

#include "DisplayColors.h"
#include "Forms.h"
#include "GraphScales.h"
#include "TrendPlot.h"
#include "ValueRules.h"

#include <QPainter>
#include <qcustomplot.h>

#include <algorithm>

namespace kvx {

namespace {

constexpr double kPaperLineWidth = 1.6; // logical pixels: a screen's one-pixel line is a hairline on paper
constexpr double kScreenDpi = 96.0;     // the resolution QCustomPlot lays its plot out for
constexpr double kMostPixelsPerPoint = 4.0; // a raster plot at 384 dpi: sharp on paper, a few MB at most

// Dark on white (0x00BBGGRR, by the slots of DisplayColors): text black, grid light grey, limit
// and reference lines red, background white, the trace dark blue, live or replayed.
constexpr DisplayColors kPrintColors{0x000000u, 0xC8C8C8u, 0x0000C8u, 0xFFFFFFu,
                                     0xA00000u, 0xA00000u, 0xFFFFFFu};

void makeTextsSearchable(QCustomPlot& plot) {
    for (QCPAxis* axis : plot.axisRect()->axes()) {
        axis->setTickLabelFont(searchableFont(axis->tickLabelFont()));
        axis->setLabelFont(searchableFont(axis->labelFont()));
    }
}

void widenForPaper(QCustomPlot& plot) {
    for (int i = 0; i < plot.graphCount(); ++i) {
        QPen pen = plot.graph(i)->pen();
        pen.setWidthF(std::max(pen.widthF(), kPaperLineWidth));
        plot.graph(i)->setPen(pen);
    }
}

// A line at a limit or reference field's value along the whole trace, when the field holds a number.
void plotLevel(QCustomPlot& plot, int graph, const QString& field, size_t sampleCount) {
    if (const auto level = limitNumber(field))
        plot.graph(graph)->data()->set(graphPoints(std::vector<double>(sampleCount, *level)), true);
}

} // namespace

QFont searchableFont(QFont font) {
    font.setStyleStrategy(QFont::PreferNoShaping);
    return font;
}

ReportGraph::ReportGraph(const TraceRecord& trace, const GraphShown* shown)
    : m_plot(std::make_unique<QCustomPlot>()) {
    QCustomPlot& plot = *m_plot;
    setUpTrendPlot(plot);
    colorTrendPlot(plot, kPrintColors, true);
    makeTextsSearchable(plot);

    std::vector<double> values;
    QVector<QCPGraphData> noReplyPoints;
    values.reserve(trace.samples.size());
    TraceStatistics statistics;
    const double bandLow = shown ? parseLeadingNumber(shown->limLow) : 0.0;
    const double bandHigh = shown ? parseLeadingNumber(shown->limHigh) : 0.0;
    for (const TempSample& sample : trace.samples) {
        const double value = parseLeadingNumber(sample.pVal);
        if (sample.noReply)
            noReplyPoints.append(QCPGraphData(double(values.size()), value));
        values.push_back(value);
        statistics.add(value, bandLow, bandHigh);
    }
    plot.graph(PlotTrace)->data()->set(graphPoints(values), true);
    plot.graph(PlotNoReply)->data()->set(noReplyPoints, true);
    if (shown) {
        plotLevel(plot, PlotHigh, shown->limHigh, values.size());
        plotLevel(plot, PlotLow, shown->limLow, values.size());
        plotLevel(plot, PlotRel, shown->rel, values.size());
        plot.yAxis->setRange(shown->yLower, shown->yUpper);
        m_statistics = shown->statistics;
    } else {
        const YAxisChoice y = yAxisChoiceFor(trace.header.pUnit, statistics.peakAbs);
        if (y.setAxis)
            plot.yAxis->setRange(-y.scale, y.scale);
        m_statistics = statisticsTexts(statistics);
    }
    widenForPaper(plot);
    plot.xAxis->setRange(0.0, std::max(kDefaultXSpan, double(values.size()) - 1));
}

ReportGraph::~ReportGraph() = default;

void ReportGraph::paint(QCPPainter& painter, const QRectF& area) const {
    QCustomPlot& plot = *m_plot;
    // Laid out at the size a screen would give it, so axis texts and margins
    // keep their proportions on paper.
    const double scale = painter.device()->logicalDpiX() / kScreenDpi;
    const QSize logical((area.size() / scale).toSize());
    if (logical.isEmpty())
        return;
    if (qFuzzyCompare(scale, 1.0)) {
        // Drawn as lines and texts. QCustomPlot sizes its fonts for the device it
        // paints on, so this only holds on a device of screen resolution.
        painter.save();
        painter.translate(area.topLeft());
        painter.setClipRect(QRect(QPoint(0, 0), logical));
        plot.toPainter(&painter, logical.width(), logical.height());
        painter.restore();
        return;
    }
    // Any other resolution gets a picture fine enough for the printer.
    const QPixmap picture =
        plot.toPixmap(logical.width(), logical.height(), std::min(scale, kMostPixelsPerPoint));
    painter.drawPixmap(area, picture, QRectF(picture.rect()));
}

} // namespace kvx
