#include "ReportGraph.h"

#include "Forms.h"
#include "GraphScales.h"
#include "RecordStore.h"
#include "Session.h"
#include "frmGraphicRecord.h"

#include <QLabel>
#include <QPainter>
#include <qcustomplot.h>

#include <algorithm>
#include <vector>

namespace kvx {

namespace {

constexpr double kDefaultXSpan = 100.0; // seconds the graph window opens on
constexpr double kPaperLineWidth = 1.6; // logical pixels: a screen's one-pixel line is a hairline on paper

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

// Keeps the application's graph window registered while a hidden one lives.
class KeepRegisteredGraph {
public:
    KeepRegisteredGraph() : m_graph(forms().graph) {}
    ~KeepRegisteredGraph() { forms().graph = m_graph; }
    KeepRegisteredGraph(const KeepRegisteredGraph&) = delete;
    KeepRegisteredGraph& operator=(const KeepRegisteredGraph&) = delete;

private:
    GraphRecord* m_graph;
};

bool anyColorSet(const OperationRecord& op) {
    return std::any_of(op.colors.begin(), op.colors.end(), [](quint32 c) { return c != 0; });
}

} // namespace

QPicture plotPicture(QWidget* plot, int sampleCount, QSize size) {
    QPicture picture;
    picture.setBoundingRect(QRect(QPoint(0, 0), size));
    auto* custom = qobject_cast<QCustomPlot*>(plot);
    if (!custom) {
        QPainter painter(&picture);
        painter.scale(double(size.width()) / plot->width(), double(size.height()) / plot->height());
        plot->render(&painter);
        return picture;
    }
    const PaperView paper(*custom, sampleCount);
    // Recorded as drawing commands, so texts stay texts and lines stay lines at
    // any printer resolution. (The vectorized painter mode would leave out the
    // plot's background colour, which QCustomPlot only fills in the other mode.)
    QCPPainter painter(&picture);
    custom->toPainter(&painter, size.width(), size.height());
    painter.end();
    return picture;
}

std::optional<GraphCapture> captureGraphWindow(GraphRecord& window, int sampleCount, QSize size) {
    auto* widget = dynamic_cast<QWidget*>(&window);
    QWidget* plot = window.plotWidget();
    if (!widget || !plot)
        return std::nullopt;
    GraphCapture capture;
    capture.statistics = statisticsOf(*widget);
    if (capture.statistics.isEmpty())
        return std::nullopt;
    capture.picture = plotPicture(plot, sampleCount, size);
    capture.size = size;
    return capture;
}

GraphCapture captureTraceGraph(const TraceRecord& trace, QSize size) {
    // The hidden window rebuilds from a working table of its own, in memory, so
    // the application's working trace is not touched.
    static int storeCount = 0;
    RecordStore samples(QStringLiteral("kvx5130-report-graph-%1").arg(++storeCount));
    samples.open(QStringLiteral(":memory:"));
    samples.replaceTrace(trace.samples);

    const KeepRegisteredGraph keep;
    frmGraphicRecord graph;
    if (anyColorSet(session().operation))
        graph.applyColors(session().operation.colors);
    graph.setRecordStore(&samples);
    graph.ReDraw();
    const YAxisChoice y = yAxisChoiceFor(trace.header.pUnit, graph.trace().peakAbs);
    if (y.setAxis)
        graph.CWGraph1()->yAxis->setRange(-y.scale, y.scale);

    GraphCapture capture;
    capture.statistics = statisticsOf(graph);
    capture.picture = plotPicture(graph.plotWidget(), int(trace.samples.size()), size);
    capture.size = size;
    return capture;
}

} // namespace kvx
