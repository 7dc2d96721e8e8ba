#include "ReportGraph.h"

#include "DisplayColors.h"
#include "Forms.h"
#include "GraphScales.h"
#include "RecordStore.h"
#include "ValueRules.h"
#include "clsKVX5310.h"
#include "frmGraphicRecord.h"

#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <qcustomplot.h>

#include <algorithm>
#include <optional>
#include <vector>

namespace kvx {

namespace {

constexpr double kDefaultXSpan = 100.0; // seconds the graph window opens on
constexpr double kPaperLineWidth = 1.6; // logical pixels: a screen's one-pixel line is a hairline on paper
constexpr double kScreenDpi = 96.0;     // the resolution QCustomPlot lays its plot out for
constexpr double kMostPixelsPerPoint = 4.0; // a raster plot at 384 dpi: sharp on paper, a few MB at most

QStringList statisticsOf(const QWidget& window) {
    QStringList texts;
    for (const char* name : kStatisticsPanels) {
        const auto* panel = window.findChild<QLabel*>(QLatin1String(name));
        if (!panel)
            return {};
        texts << panel->text();
    }
    return texts;
}

QString fieldText(const QWidget& window, const char* name) {
    const auto* field = window.findChild<QLineEdit*>(QLatin1String(name));
    return field ? field->text() : QString();
}

// What the report copies from the graph window on screen.
struct ShownGraph {
    QStringList statistics;
    QString limHigh, limLow, rel;
    std::optional<QCPRange> yRange;
};

std::optional<ShownGraph> shownGraph(GraphRecord* graph) {
    const auto* window = dynamic_cast<const QWidget*>(graph);
    if (!window)
        return std::nullopt;
    ShownGraph shown;
    shown.statistics = statisticsOf(*window);
    if (shown.statistics.isEmpty())
        return std::nullopt;
    shown.limHigh = fieldText(*window, "LimHigh");
    shown.limLow = fieldText(*window, "LimLow");
    shown.rel = fieldText(*window, "txtRel");
    if (const auto* plot = qobject_cast<const QCustomPlot*>(graph->plotWidget()))
        shown.yRange = plot->yAxis->range();
    return shown;
}

// Keeps the application's graph window registered while a hidden one is made.
class KeepRegisteredGraph {
public:
    KeepRegisteredGraph() : m_graph(forms().graph) {}
    ~KeepRegisteredGraph() { forms().graph = m_graph; }
    KeepRegisteredGraph(const KeepRegisteredGraph&) = delete;
    KeepRegisteredGraph& operator=(const KeepRegisteredGraph&) = delete;

private:
    GraphRecord* m_graph;
};

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

// Widens the plot's lines and its X range for as long as it lives.
class PaperView {
public:
    PaperView(QCustomPlot& plot, int sampleCount) : m_plot(plot), m_xRange(plot.xAxis->range()) {
        for (int i = 0; i < plot.graphCount(); ++i) {
            QPen pen = plot.graph(i)->pen();
            m_pens.push_back(pen);
            pen.setWidthF(std::max(pen.widthF(), kPaperLineWidth));
            plot.graph(i)->setPen(pen);
        }
        plot.xAxis->setRange(0.0, std::max(kDefaultXSpan, double(sampleCount - 1)));
    }
    ~PaperView() {
        for (int i = 0; i < int(m_pens.size()) && i < m_plot.graphCount(); ++i)
            m_plot.graph(i)->setPen(m_pens[size_t(i)]);
        m_plot.xAxis->setRange(m_xRange);
    }
    PaperView(const PaperView&) = delete;
    PaperView& operator=(const PaperView&) = delete;

private:
    QCustomPlot& m_plot;
    QCPRange m_xRange;
    std::vector<QPen> m_pens;
};

} // namespace

QFont searchableFont(QFont font) {
    font.setStyleStrategy(QFont::PreferNoShaping);
    return font;
}

// The hidden window the report's graph is drawn from.
struct ReportGraph::Parts {
    frmGraphicRecord window{driverUnits()};
};

ReportGraph::ReportGraph(const TraceRecord& trace, GraphRecord* shown)
    : m_sampleCount(int(trace.samples.size())) {
    const std::optional<ShownGraph> onScreen = shownGraph(shown);
    {
        const KeepRegisteredGraph keep;
        m_parts = std::make_unique<Parts>();
    }
    m_window = &m_parts->window;

    frmGraphicRecord& graph = *m_window;
    graph.applyColors(kPrintColors);
    makeTextsSearchable(*graph.CWGraph1());
    if (onScreen) {
        graph.setLimHighText(onScreen->limHigh);
        graph.setLimLowText(onScreen->limLow);
        graph.setRelText(onScreen->rel);
    }
    // The samples are in hand: the graph is rebuilt from them as ReDraw rebuilds it
    // from the working table.
    std::vector<double> values;
    std::vector<qint32> noReplyRows;
    values.reserve(trace.samples.size());
    for (const TempSample& sample : trace.samples) {
        if (sample.noReply)
            noReplyRows.push_back(qint32(values.size()));
        values.push_back(parseLeadingNumber(sample.pVal));
    }
    graph.ReDrawFrom(std::move(values), noReplyRows);
    if (onScreen && onScreen->yRange) {
        graph.CWGraph1()->yAxis->setRange(*onScreen->yRange);
    } else {
        const YAxisChoice y = yAxisChoiceFor(trace.header.pUnit, graph.trace().peakAbs);
        if (y.setAxis)
            graph.CWGraph1()->yAxis->setRange(-y.scale, y.scale);
    }
    m_statistics = onScreen ? onScreen->statistics : statisticsOf(graph);
}

ReportGraph::~ReportGraph() {
    // The hidden window must not take the registered graph window's slot with it.
    const KeepRegisteredGraph keep;
    m_parts.reset();
}

void ReportGraph::paint(QCPPainter& painter, const QRectF& area) const {
    QCustomPlot& plot = *m_window->CWGraph1();
    // Laid out at the size a screen would give it, so axis texts and margins
    // keep their proportions on paper.
    const double scale = painter.device()->logicalDpiX() / kScreenDpi;
    const QSize logical((area.size() / scale).toSize());
    if (logical.isEmpty())
        return;
    const PaperView paper(plot, m_sampleCount);
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
