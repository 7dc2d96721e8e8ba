#include "frmGraphicRecord.h"

#include "CaptionPanel.h"
#include "GraphScales.h"
#include "ReadingWindows.h"
#include "RecordStore.h"
#include "Services.h"
#include "TrendPlot.h"
#include "Twips.h"
#include "ValueRules.h"

#include <QEvent>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMdiSubWindow>
#include <QPointer>
#include <QPushButton>
#include <QSlider>
#include <QThread>
#include <QVBoxLayout>
#include <cmath>
#include <iterator>
#include <optional>
#include <qcustomplot.h>
#include <utility>

namespace kvx {

namespace {

// The readings carry a handful of digits; their difference is shown without the
// binary noise the subtraction leaves behind.
QString amplitudeText(double first, double second) {
    return numberToText(roundToSignificant(std::fabs(second - first), 12));
}

constexpr int kReplotIntervalMs = 40; // at most 25 repaints a second
constexpr int kDemoIntervalMs = 1000;
constexpr double kCursorGrabPixels = 8.0;

QLineEdit* makeField(const char* name, bool readOnly = false) {
    auto* field = new QLineEdit;
    field->setObjectName(QLatin1String(name));
    field->setReadOnly(readOnly);
    return field;
}

// The value of a limit or reference field, when its text is a number.
std::optional<double> fieldNumber(const QLineEdit* field) {
    return limitNumber(field->text());
}

} // namespace

frmGraphicRecord::frmGraphicRecord(const MeterUnits& units, RecordStore& store, QWidget* parent)
    : QWidget(parent), m_units(units), m_store(store) {
    setObjectName(QStringLiteral("frmGraphicRecord"));
    setProperty("kvxForm", true);
    setWindowTitle(QStringLiteral("Graphic Record"));
    buildControls();
    setupPlot();
    applyColors(kDefaultDisplayColors);

    m_replotTimer.setSingleShot(true);
    m_replotTimer.setInterval(kReplotIntervalMs);
    connect(&m_replotTimer, &QTimer::timeout, this, [this] { replotPending(); });

    ClearGraph();
    setGraphMode(ZoomMode);
    resize(twipsToPixels(7850), twipsToPixels(7300));
    forms().graph = this;
}

frmGraphicRecord::~frmGraphicRecord() {
    if (forms().graph == this)
        forms().graph = nullptr;
}

void frmGraphicRecord::buildControls() {
    auto* root = new QVBoxLayout(this);
    root->setContentsMargins(4, 4, 4, 4);
    root->setSpacing(3);

    m_pnlMax = new CaptionPanel(QStringLiteral("pnlMax"), QStringLiteral("MAX:"));
    m_pnlMin = new CaptionPanel(QStringLiteral("pnlMin"), QStringLiteral("MIN:"));
    m_pnlStdCount = new CaptionPanel(QStringLiteral("pnlStdCount"), QStringLiteral("Match Condition:"));
    m_pnlTotCount = new CaptionPanel(QStringLiteral("pnlTotCount"), QStringLiteral("Total Sampling:"));
    m_pnlIncrementTime =
        new CaptionPanel(QStringLiteral("pnlIncrementTime"), QStringLiteral("IntervalTime:"));
    m_pnlTotTimes = new CaptionPanel(QStringLiteral("pnlTotTimes"), QStringLiteral("Total Time:"));
    m_pnlMax->setCursor(Qt::PointingHandCursor);
    m_pnlMin->setCursor(Qt::PointingHandCursor);
    m_pnlMax->setToolTip(QStringLiteral("Move the cursor to the largest value"));
    m_pnlMin->setToolTip(QStringLiteral("Move the cursor to the smallest value"));
    connect(m_pnlMax, &CaptionPanel::clicked, this, &frmGraphicRecord::pnlMax_Click);
    connect(m_pnlMin, &CaptionPanel::clicked, this, &frmGraphicRecord::pnlMin_Click);
    auto* panels = new QGridLayout;
    panels->setSpacing(3);
    panels->addWidget(m_pnlMax, 0, 0);
    panels->addWidget(m_pnlMin, 0, 1);
    panels->addWidget(m_pnlStdCount, 0, 2);
    panels->addWidget(m_pnlTotCount, 1, 0);
    panels->addWidget(m_pnlIncrementTime, 1, 1);
    panels->addWidget(m_pnlTotTimes, 1, 2);
    root->addLayout(panels);

    m_plot = new QCustomPlot;
    m_plot->setObjectName(QStringLiteral("CWGraph1"));
    m_plot->setMinimumHeight(120);
    root->addWidget(m_plot, 1);

    // Graph operations: the mode slide with a caption beside each position.
    auto* frame1 = new QGroupBox(QStringLiteral("Graph Operations"));
    frame1->setObjectName(QStringLiteral("Frame1"));
    m_mode = new QSlider(Qt::Vertical);
    m_mode->setObjectName(QStringLiteral("GraphMode"));
    m_mode->setRange(ZoomMode, CursorMeasurements);
    m_mode->setInvertedAppearance(true); // position 0 at the top, beside its caption
    m_mode->setInvertedControls(true);
    m_mode->setTickPosition(QSlider::TicksLeft);
    m_mode->setPageStep(1);
    auto* captions = new QVBoxLayout;
    captions->setSpacing(0);
    for (const char* text : {"Zoom", "Pan", "Cursor Coordinates", "Cursor Measurements"})
        captions->addWidget(new QLabel(QLatin1String(text)));
    auto* frame1Layout = new QHBoxLayout(frame1);
    frame1Layout->setContentsMargins(4, 2, 4, 2);
    frame1Layout->addWidget(m_mode);
    frame1Layout->addLayout(captions);
    connect(m_mode, &QSlider::valueChanged, this, &frmGraphicRecord::setGraphMode);

    auto* ssFrame1 = new QGroupBox(QStringLiteral("Cursor Information"));
    ssFrame1->setObjectName(QStringLiteral("SSFrame1"));
    m_xPosition = makeField("XPosition", true);
    m_yPosition = makeField("YPosition", true);
    auto* cursorInfo = new QFormLayout(ssFrame1);
    cursorInfo->setContentsMargins(4, 2, 4, 2);
    cursorInfo->addRow(QStringLiteral("X:"), m_xPosition);
    cursorInfo->addRow(QStringLiteral("Y:"), m_yPosition);

    auto* measureFrame = new QGroupBox(QStringLiteral("Cursor Measurements"));
    measureFrame->setObjectName(QStringLiteral("fraMeasurements"));
    m_periodVal = makeField("PeriodVal", true);
    m_amplitudeVal = makeField("AmplitudeVal", true);
    auto* measure = new QFormLayout(measureFrame);
    measure->setContentsMargins(4, 2, 4, 2);
    measure->addRow(QStringLiteral("Period:"), m_periodVal);
    measure->addRow(QStringLiteral("Amplitude:"), m_amplitudeVal);

    auto* zoomOut = new QPushButton(QStringLiteral("Zoom Out"));
    zoomOut->setObjectName(QStringLiteral("ZoomOut"));
    connect(zoomOut, &QPushButton::clicked, this, &frmGraphicRecord::ZoomOut_Click);
    auto* buttons = new QGridLayout;
    buttons->setSpacing(2);
    buttons->addWidget(zoomOut, 0, 0, 1, 3);
    for (int i = 1; i <= 3; ++i) {
        const QString name = QStringLiteral("Command%1").arg(i);
        auto* button = new QPushButton(name);
        button->setObjectName(name);
        buttons->addWidget(button, 1 + (i - 1) / 2, (i - 1) % 2 == 0 ? 0 : 1, 1, (i == 3) ? 2 : 1);
        if (i == 1)
            connect(button, &QPushButton::clicked, this, &frmGraphicRecord::toggleDemoFeed);
        else if (i == 2)
            connect(button, &QPushButton::clicked, this, &frmGraphicRecord::ReDraw);
        else
            connect(button, &QPushButton::clicked, this, [this] {
                m_trace.plotValues.assign(10001, 0.0);
                ReDraw();
            });
    }

    auto* bottom = new QHBoxLayout;
    bottom->setSpacing(4);
    bottom->addWidget(frame1);
    auto* readouts = new QVBoxLayout;
    readouts->setSpacing(2);
    readouts->addWidget(ssFrame1);
    readouts->addWidget(measureFrame);
    bottom->addLayout(readouts, 1);
    bottom->addLayout(buttons);
    root->addLayout(bottom);

    m_value = makeField("Value");
    m_limHigh = makeField("LimHigh");
    m_limLow = makeField("LimLow");
    m_rel = makeField("txtRel");
    m_value->setToolTip(
        QStringLiteral("Newest reading; an edited value is charted when you leave the field"));
    connect(m_value, &QLineEdit::editingFinished, this, &frmGraphicRecord::onValueEdited);
    auto* fields = new QHBoxLayout;
    fields->setSpacing(3);
    const std::pair<const char*, QLineEdit*> labelled[] = {
        {"Value", m_value}, {"High", m_limHigh}, {"Low", m_limLow}, {"Rel", m_rel}};
    for (const auto& [caption, field] : labelled) {
        fields->addWidget(new QLabel(QLatin1String(caption)));
        fields->addWidget(field, 1);
    }
    root->addLayout(fields);

    m_demoTimer = new QTimer(this);
    m_demoTimer->setObjectName(QStringLiteral("Timer1"));
    m_demoTimer->setInterval(kDemoIntervalMs);
    connect(m_demoTimer, &QTimer::timeout, this, &frmGraphicRecord::onDemoTick);
}

void frmGraphicRecord::setupPlot() {
    setUpTrendPlot(*m_plot);

    for (int i = 0; i < 2; ++i) {
        auto* line = new QCPItemStraightLine(m_plot);
        line->setObjectName(QStringLiteral("Cursor-%1").arg(i + 1));
        line->point1->setCoords(0, 0);
        line->point2->setCoords(0, 1);
        auto* tracer = new QCPItemTracer(m_plot);
        // Placed on the cursor's point by hand: a tracer bound to a graph complains
        // whenever that graph is empty.
        tracer->position->setType(QCPItemPosition::ptPlotCoords);
        tracer->setStyle(QCPItemTracer::tsCircle);
        tracer->setSize(7);
        m_cursorLine[i] = line;
        m_cursorTracer[i] = tracer;
    }
    connect(m_plot, &QCustomPlot::mousePress, this, &frmGraphicRecord::onPlotMousePress);
    connect(m_plot, &QCustomPlot::mouseMove, this, &frmGraphicRecord::onPlotMouseMove);
    connect(m_plot, &QCustomPlot::mouseRelease, this, &frmGraphicRecord::onPlotMouseRelease);
}

QCPGraph* frmGraphicRecord::plot(int index) const {
    return m_plot->graph(index);
}

QWidget* frmGraphicRecord::plotWidget() {
    return m_plot;
}

std::optional<GraphShown> frmGraphicRecord::shown() const {
    return GraphShown{{m_pnlMax->text(), m_pnlMin->text(), m_pnlStdCount->text(), m_pnlTotCount->text(),
                       m_pnlTotTimes->text()},
                      m_limHigh->text(),
                      m_limLow->text(),
                      m_rel->text(),
                      m_plot->yAxis->range().lower,
                      m_plot->yAxis->range().upper};
}

void frmGraphicRecord::setValueText(const QString& text) {
    m_value->setText(text);
}
QString frmGraphicRecord::valueText() const {
    return m_value->text();
}
void frmGraphicRecord::setLimHighText(const QString& text) {
    m_limHigh->setText(text);
}
void frmGraphicRecord::setLimLowText(const QString& text) {
    m_limLow->setText(text);
}
void frmGraphicRecord::setRelText(const QString& text) {
    m_rel->setText(text);
}

void frmGraphicRecord::setLiveTrace(bool on) {
    m_trace.liveTrace = on;
}

void frmGraphicRecord::scheduleReplot() {
    if (!m_replotTimer.isActive())
        m_replotTimer.start();
}

void frmGraphicRecord::replotPending() {
    m_replotTimer.stop();
    m_plot->replot(QCustomPlot::rpQueuedReplot);
}

void frmGraphicRecord::chartPoint(int plotIndex, double key, double value) {
    plot(plotIndex)->addData(key, value);
}

// ---------------------------------------------------------------- elapsed time and scales

void frmGraphicRecord::ScaleYAxis(double peak) {
    const YAxisChoice choice = yAxisChoiceFor(m_units.sUnitPrimary(), peak);
    if (choice.setAxis)
        m_plot->yAxis->setRange(-choice.scale, choice.scale);
    if (choice.setScale)
        m_trace.yScale = choice.scale;
    scheduleReplot();
}

double frmGraphicRecord::GetRandomValue() {
    RandomSource& rnd = randomSource();
    const auto a = qint64(roundHalfEven(rnd.next() * 10)) % 10;
    const auto b = qint64(roundHalfEven(rnd.next() * 300)) % 300;
    return a > 5 ? -double(b) : double(b);
}

// ---------------------------------------------------------------- the trace

void frmGraphicRecord::setDefaultXAxis() {
    m_plot->xAxis->setRange(0, kDefaultXSpan);
    m_plot->xAxis->setLabel(QStringLiteral("Elapsed Time [Sec]"));
}

void frmGraphicRecord::ClearGraph() {
    ++m_traceChanges;
    m_trace.clearSamples();
    m_trace.liveTrace = false;
    m_trace.plotValues.clear();
    m_trace.highValues.clear();
    m_trace.lowValues.clear();
    m_trace.relValues.clear();
    m_trace.noReplyCount = 0;
    for (int i = 0; i < m_plot->graphCount(); ++i)
        plot(i)->data()->clear();
    resetCaptions();
    m_xPosition->clear();
    m_yPosition->clear();
    m_amplitudeVal->clear();
    m_periodVal->clear();
    setDefaultXAxis();
    setReplayed(false);
    scheduleReplot();
}

void frmGraphicRecord::resetCaptions() {
    MeterPanel* panel = forms().panel;
    const bool continuous = panel == nullptr || panel->continuousStyleSelected();
    m_pnlMax->setText(QStringLiteral("MAX:"));
    m_pnlMin->setText(QStringLiteral("MIN:"));
    m_pnlStdCount->setText(QStringLiteral("Match Condition:"));
    m_pnlTotCount->setText(QStringLiteral("Total Sampling:"));
    m_pnlIncrementTime->setText(continuous ? QStringLiteral("interval: 1sec") : QStringLiteral("interval:"));
    m_pnlTotTimes->setText(QStringLiteral("Total Time:0:0:0"));
}

void frmGraphicRecord::showStatistics() {
    m_pnlStdCount->setText(QStringLiteral("Match Condition:") + QString::number(m_trace.matchCount));
    m_pnlTotCount->setText(QStringLiteral("Total Sampling:") + QString::number(m_trace.sampleCount));
    m_pnlIncrementTime->setText(QStringLiteral("interval:1sec"));
    m_pnlTotTimes->setText(QStringLiteral("Total Time:") + FormatElapsed(m_trace.sampleCount));
}

void frmGraphicRecord::ShowGraph() {
    ++m_traceChanges;
    TraceState& t = m_trace;
    const qint32 k = t.sampleCount;
    const QString typed = m_value->text();
    const double value = parseLeadingNumber(typed);
    const double key = k; // one second per sample, whatever the real interval

    t.plotValues.resize(size_t(k) + 1, 0.0);
    t.highValues.resize(size_t(k) + 1, 0.0);
    t.lowValues.resize(size_t(k) + 1, 0.0);
    t.relValues.resize(size_t(k) + 1, 0.0);
    t.plotValues[k] = value;
    if (m_replayed)
        setReplayed(false);
    chartPoint(PlotTrace, key, value);
    if (std::exchange(m_noReply, false)) {
        chartPoint(PlotNoReply, key, value);
        ++t.noReplyCount;
    }

    const std::pair<QLineEdit*, std::pair<std::vector<double>*, int>> lines[] = {
        {m_limHigh, {&t.highValues, PlotHigh}},
        {m_limLow, {&t.lowValues, PlotLow}},
        {m_rel, {&t.relValues, PlotRel}}};
    for (const auto& [field, target] : lines) {
        if (const auto number = fieldNumber(field)) {
            (*target.first)[k] = *number;
            chartPoint(target.second, key, *number);
        }
    }

    const TraceStatistics::Change change =
        t.add(value, parseLeadingNumber(m_limLow->text()), parseLeadingNumber(m_limHigh->text()));
    if (change.max)
        m_pnlMax->setText(QStringLiteral("MAX:") + typed);
    if (change.min)
        m_pnlMin->setText(QStringLiteral("MIN:") + typed);
    if (change.peak)
        ScaleYAxis(t.peakAbs);
    showStatistics();

    // A live trace scrolls like a strip chart once it reaches the right edge.
    const QCPRange x = m_plot->xAxis->range();
    if (t.liveTrace && key > x.upper)
        m_plot->xAxis->setRange(key - x.size(), key);
    scheduleReplot();
}

void frmGraphicRecord::ReDraw() {
    // A rebuild asked for again before the last one started is that one: it reads
    // the rows as they stand when it starts.
    if (m_rebuildWaiting)
        return;
    m_rebuildWaiting = true;
    traceRebuilds().queue([self = QPointer<frmGraphicRecord>(this)] {
        if (self)
            self->startRebuild();
    });
}

// The rows are read on a thread of their own and handed back in one go; the window
// answers meanwhile. Whatever cannot be read leaves the graph empty, as a trace
// without rows does.
void frmGraphicRecord::startRebuild() {
    m_rebuildWaiting = false;
    struct Rows {
        std::vector<double> values;
        std::vector<qint32> noReplyRows;
    };
    auto rows = std::make_shared<Rows>();
    RecordStore& records = m_store;
    // The reading connection sees only what the writer has written.
    if (!records.isOpen() || !records.settleWriter()) {
        ReDrawFrom({}, {});
        return;
    }
    const auto work = [target = records.target(), bench = records.bench(), rows](TaskProgress& progress) {
        RecordStore reader(QStringLiteral("kvx5130-redraw-%1").arg(quintptr(QThread::currentThreadId())));
        TaskOutcome outcome;
        if (!reader.openForReading(target, bench))
            return outcome;
        // Room for the rows there are; the numbers the rows carry decide nothing here.
        if (const auto count = reader.countSamples(); count && *count > 0) {
            progress.setTotal(*count);
            rows->values.reserve(size_t(*count));
        }
        outcome.ok = reader.readPrimaryValues(&rows->values, &rows->noReplyRows,
                                              [&progress](qint64 done) { progress.setDone(done); });
        return outcome;
    };
    // A trace cleared or grown while the rows were read is newer than they are.
    const auto finished = [self = QPointer<frmGraphicRecord>(this), rows,
                           seen = m_traceChanges](const TaskOutcome&) {
        if (self && self->m_traceChanges == seen)
            self->ReDrawFrom(std::move(rows->values), rows->noReplyRows);
    };
    runInBackground(QStringLiteral("Drawing the trace..."), work, finished,
                    {&traceRebuilds(), false});
}

void frmGraphicRecord::ReDrawFrom(std::vector<double> values, const std::vector<qint32>& noReplyRows) {
    ClearGraph();
    TraceState& t = m_trace;
    t.plotValues = std::move(values);

    const auto high = fieldNumber(m_limHigh);
    const auto low = fieldNumber(m_limLow);
    const auto rel = fieldNumber(m_rel);
    const double bandLow = parseLeadingNumber(m_limLow->text());
    const double bandHigh = parseLeadingNumber(m_limHigh->text());
    for (const double value : t.plotValues)
        t.add(value, bandLow, bandHigh);
    t.highValues.assign(t.plotValues.size(), high.value_or(0.0));
    t.lowValues.assign(t.plotValues.size(), low.value_or(0.0));
    t.relValues.assign(t.plotValues.size(), rel.value_or(0.0));
    if (t.maxIndex >= 0)
        m_pnlMax->setText(QStringLiteral("MAX:") + numberToText(t.maxValue));
    if (t.minIndex >= 0)
        m_pnlMin->setText(QStringLiteral("MIN:") + numberToText(t.minValue));
    ScaleYAxis(t.peakAbs);

    const auto plotArray = [this](int plotIndex, const std::vector<double>& values) {
        plot(plotIndex)->data()->set(graphPoints(values), true);
    };
    plotArray(PlotTrace, t.plotValues);
    QVector<QCPGraphData> noReplyPoints;
    noReplyPoints.reserve(qsizetype(noReplyRows.size()));
    for (const qint32 row : noReplyRows)
        noReplyPoints.append(QCPGraphData(double(row), t.plotValues[size_t(row)]));
    plot(PlotNoReply)->data()->set(noReplyPoints, true);
    t.noReplyCount = qint32(noReplyPoints.size());
    setReplayed(true);
    if (high)
        plotArray(PlotHigh, t.highValues);
    if (low)
        plotArray(PlotLow, t.lowValues);
    if (rel)
        plotArray(PlotRel, t.relValues);
    showStatistics();
    scheduleReplot();
}

void frmGraphicRecord::Redraw1() {
    for (int i = 0; i < m_plot->graphCount(); ++i)
        plot(i)->data()->clear();
    plot(PlotTrace)->data()->set(graphPoints(m_trace.plotValues), true);
    scheduleReplot();
}

void frmGraphicRecord::onValueEdited() {
    // Only an edit by the operator charts a point; readings written by the
    // polling cycle go through ShowGraph.
    if (!m_value->isModified())
        return;
    m_value->setModified(false);
    const auto* data = plot(PlotTrace)->data().data();
    const double key = data->isEmpty() ? 0.0 : (data->constEnd() - 1)->key + 1.0;
    chartPoint(PlotTrace, key, parseLeadingNumber(m_value->text()));
    const std::pair<QLineEdit*, int> lines[] = {{m_limHigh, PlotHigh}, {m_limLow, PlotLow}, {m_rel, PlotRel}};
    for (const auto& [field, plotIndex] : lines) {
        if (const auto number = fieldNumber(field))
            chartPoint(plotIndex, key, *number);
    }
    scheduleReplot();
}

// ---------------------------------------------------------------- modes, zoom, cursors

void frmGraphicRecord::setGraphMode(int mode) {
    mode = qBound(int(ZoomMode), mode, int(CursorMeasurements));
    if (m_mode->value() != mode) {
        m_mode->setValue(mode); // comes back here through valueChanged
        return;
    }
    m_draggedCursor = -1;
    switch (mode) {
    case ZoomMode:
        m_plot->setInteractions(QCP::iRangeZoom);
        m_plot->setSelectionRectMode(QCP::srmZoom);
        break;
    case PanMode:
        m_plot->setInteractions(QCP::iRangeDrag | QCP::iRangeZoom);
        m_plot->setSelectionRectMode(QCP::srmNone);
        break;
    default:
        m_plot->setInteractions(QCP::Interactions());
        m_plot->setSelectionRectMode(QCP::srmNone);
        break;
    }
    const bool cursors = mode >= CursorCoordinates;
    if (cursors) {
        for (int i = 0; i < 2; ++i)
            placeCursor(i, m_cursorIndex[i]);
    }
    showCursors(cursors);
    m_plot->setCursor(cursors ? Qt::SizeHorCursor : Qt::CrossCursor);
    m_plot->setToolTip(cursors ? QStringLiteral("Drag a cursor, or click to bring cursor 1 there "
                                                "(Shift+click: cursor 2)")
                               : QString());
    scheduleReplot();
}

int frmGraphicRecord::graphMode() const {
    return m_mode->value();
}

void frmGraphicRecord::showCursors(bool on) {
    for (int i = 0; i < 2; ++i) {
        m_cursorLine[i]->setVisible(on);
        m_cursorTracer[i]->setVisible(on && !plot(PlotTrace)->data()->isEmpty());
    }
}

int frmGraphicRecord::pointIndexAt(double key) const {
    const int count = plot(PlotTrace)->dataCount();
    if (count == 0)
        return 0;
    // Points lie one second apart from 0, so the nearest point is the rounded key.
    return int(qBound(0.0, std::round(key), double(count - 1)));
}

void frmGraphicRecord::placeCursor(int cursor, int pointIndex) {
    const auto data = plot(PlotTrace)->data();
    const int count = data->size();
    pointIndex = count == 0 ? 0 : qBound(0, pointIndex, count - 1);
    m_cursorIndex[cursor] = pointIndex;
    const double key = count == 0 ? 0.0 : data->at(pointIndex)->key;
    m_cursorLine[cursor]->point1->setCoords(key, 0);
    m_cursorLine[cursor]->point2->setCoords(key, 1);
    m_cursorTracer[cursor]->position->setCoords(key, count == 0 ? 0.0 : data->at(pointIndex)->value);
    m_cursorTracer[cursor]->setVisible(m_cursorLine[cursor]->visible() && count > 0);
    scheduleReplot();
}

void frmGraphicRecord::moveCursor(int cursor, int pointIndex) {
    placeCursor(cursor, pointIndex);
    onCursorChanged(cursor);
}

void frmGraphicRecord::onCursorChanged(int cursor) {
    const int mode = graphMode();
    if (mode < CursorCoordinates)
        return;
    const auto data = plot(PlotTrace)->data();
    if (cursor == 0) {
        const int index = m_cursorIndex[0];
        const bool have = index < data->size();
        m_xPosition->setText(have ? hhmmssText(data->at(index)->key) : QString());
        m_yPosition->setText(have ? numberToText(data->at(index)->value) : QString());
        m_periodVal->clear();
        m_amplitudeVal->clear();
        if (MeterPanel* panel = forms().panel)
            panel->setCursorText(m_xPosition->text() + QStringLiteral("  ") + m_yPosition->text());
        if (DataTable* table = forms().dataTable)
            table->RowSelected(index);
    }
    if (mode == CursorMeasurements)
        refreshMeasurementFromPoints();
}

void frmGraphicRecord::refreshMeasurementFromPoints() {
    if (m_xPosition->text().isEmpty()) {
        m_periodVal->clear();
        m_amplitudeVal->clear();
        return;
    }
    const auto data = plot(PlotTrace)->data();
    const int count = data->size();
    const auto valueAt = [&](int index) {
        if (DataTable* table = forms().dataTable)
            return parseLeadingNumber(table->GetValuePrimary(index));
        return index < count ? data->at(index)->value : 0.0;
    };
    const auto keyAt = [&](int index) { return index < count ? data->at(index)->key : 0.0; };
    const double x1 = keyAt(m_cursorIndex[0]);
    const double x2 = keyAt(m_cursorIndex[1]);
    m_periodVal->setText(hhmmssText(std::max(x1, x2) - std::min(x1, x2)));
    m_amplitudeVal->setText(amplitudeText(valueAt(m_cursorIndex[0]), valueAt(m_cursorIndex[1])));
}

void frmGraphicRecord::pnlMax_Click() {
    jumpToExtreme(m_trace.maxIndex);
}
void frmGraphicRecord::pnlMin_Click() {
    jumpToExtreme(m_trace.minIndex);
}

void frmGraphicRecord::jumpToExtreme(qint32 index) {
    const int mode = graphMode();
    if (index < 0 || mode < CursorCoordinates)
        return;
    placeCursor(0, index);
    DataTable* table = forms().dataTable;
    if (table) {
        table->RowSelected(index);
        m_xPosition->setText(table->GetDate(index));
        m_yPosition->setText(table->GetValuePrimary(index));
    }
    if (mode != CursorMeasurements || !table)
        return;
    const QString firstTime = table->GetDate(m_cursorIndex[0]);
    const QString secondTime = table->GetDate(m_cursorIndex[1]);
    if (firstTime.isEmpty() || secondTime.isEmpty())
        return;
    m_periodVal->setText(periodBetweenRowTimes(firstTime, secondTime));
    const double v1 = parseLeadingNumber(table->GetValuePrimary(m_cursorIndex[0]));
    const double v2 = parseLeadingNumber(table->GetValuePrimary(m_cursorIndex[1]));
    m_amplitudeVal->setText(amplitudeText(v1, v2));
}

void frmGraphicRecord::ZoomOut_Click() {
    if (m_trace.sampleCount <= 0)
        return;
    // A live trace is shown whole: up to the elapsed-time text, read back as a clock time.
    const double upper =
        m_trace.liveTrace ? elapsedTextSeconds(FormatElapsed(m_trace.sampleCount)) : kDefaultXSpan;
    m_plot->xAxis->setRange(0, upper);
    m_plot->yAxis->setRange(-m_trace.yScale, m_trace.yScale);
    scheduleReplot();
}

void frmGraphicRecord::onPlotMousePress(QMouseEvent* event) {
    if (graphMode() < CursorCoordinates || event->button() != Qt::LeftButton)
        return;
    // The cursor under the mouse is taken; elsewhere cursor 1 jumps to the click,
    // or cursor 2 with Shift held.
    const double px = event->position().x();
    int chosen = (event->modifiers() & Qt::ShiftModifier) ? 1 : 0;
    double nearest = kCursorGrabPixels;
    for (int i = 0; i < 2; ++i) {
        const double cx = m_plot->xAxis->coordToPixel(m_cursorLine[i]->point1->key());
        if (std::fabs(cx - px) <= nearest) {
            nearest = std::fabs(cx - px);
            chosen = i;
        }
    }
    m_draggedCursor = chosen;
    moveCursor(chosen, pointIndexAt(m_plot->xAxis->pixelToCoord(px)));
}

void frmGraphicRecord::onPlotMouseMove(QMouseEvent* event) {
    if (m_draggedCursor < 0 || graphMode() < CursorCoordinates)
        return;
    const int index = pointIndexAt(m_plot->xAxis->pixelToCoord(event->position().x()));
    if (index != m_cursorIndex[m_draggedCursor])
        moveCursor(m_draggedCursor, index);
}

void frmGraphicRecord::onPlotMouseRelease(QMouseEvent*) {
    m_draggedCursor = -1;
}

// ---------------------------------------------------------------- demonstration feed

void frmGraphicRecord::toggleDemoFeed() {
    if (m_demoTimer->isActive()) {
        m_demoTimer->stop();
        return;
    }
    setDefaultXAxis();
    scheduleReplot();
    m_demoTimer->start();
}

void frmGraphicRecord::onDemoTick() {
    m_value->setText(numberToText(GetRandomValue()));
    ShowGraph();
}

// ---------------------------------------------------------------- window events and colours

bool frmGraphicRecord::event(QEvent* event) {
    if (event->type() == QEvent::WindowActivate)
        onActivated();
    // Inside the main window's MDI area the child widget gets no activation event
    // of its own; its sub-window announces the activation instead.
    if (event->type() == QEvent::ParentChange) {
        if (auto* sub = qobject_cast<QMdiSubWindow*>(parentWidget()))
            connect(sub, &QMdiSubWindow::aboutToActivate, this, &frmGraphicRecord::onActivated,
                    Qt::UniqueConnection);
    }
    return QWidget::event(event);
}

void frmGraphicRecord::onActivated() {
    if (m_trace.sampleCount > 0)
        ScaleYAxis(m_trace.peakAbs);
}

void frmGraphicRecord::applyColors(const DisplayColors& colors) {
    m_colors = colors;
    colorTrendPlot(*m_plot, colors, m_replayed);
    const QColor marker = colorFromBgr(colors[SlotMarker]);
    for (int i = 0; i < 2; ++i) {
        m_cursorLine[i]->setPen(QPen(marker, 1, i == 0 ? Qt::SolidLine : Qt::DashLine));
        m_cursorTracer[i]->setPen(QPen(marker, 1.5));
    }
    scheduleReplot();
}

void frmGraphicRecord::setReplayed(bool replayed) {
    m_replayed = replayed;
    colorTrendTrace(*m_plot, m_colors, replayed);
}

} // namespace kvx
