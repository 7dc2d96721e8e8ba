#pragma once
// The trend graph: the trace over elapsed time with its limit and reference
// lines, running statistics, zoom and two measuring cursors. It keeps its own
// copy of the trace; `datatemp` is read only when the whole graph is rebuilt.

#include "DisplayColors.h"
#include "Forms.h"
#include "GraphScales.h"
#include "MeterUnits.h"

#include <QTimer>
#include <QWidget>
#include <array>
#include <vector>

class QCustomPlot;
class QCPGraph;
class QCPItemStraightLine;
class QCPItemTracer;
class QLineEdit;
class QPushButton;
class QSlider;
class QMouseEvent;

namespace kvx {

class CaptionPanel;
class RecordStore;

// The window's trace state. Sample k (0-based) sits at elapsed time k seconds
// and is point k of "Plot-1".
struct TraceState : TraceStatistics {
    std::vector<double> plotValues;
    // LimHigh, LimLow and txtRel at each sample; 0 where the field was empty or not a number.
    std::vector<double> highValues, lowValues, relValues;
    // Samples the meter did not answer (stored as 0), each marked on the graph.
    qint32 noReplyCount = 0;
    double yScale = 0.0;
    bool liveTrace = false;
};

class frmGraphicRecord : public QWidget, public GraphRecord {
    Q_OBJECT
public:
    enum Mode { ZoomMode = 0, PanMode = 1, CursorCoordinates = 2, CursorMeasurements = 3 };

    // `units` names the meter's present primary unit whenever the Y axis is scaled;
    // ReDraw reads the working trace from `store`.
    frmGraphicRecord(const MeterUnits& units, RecordStore& store, QWidget* parent = nullptr);
    ~frmGraphicRecord() override;

    void setValueText(const QString& text) override;
    QString valueText() const override;
    void setLimHighText(const QString& text) override;
    void setLimLowText(const QString& text) override;
    void setRelText(const QString& text) override;
    // Rebuilds the graph from the working trace in the background; several asked for
    // while one waits make one. waitForBackgroundTasks() waits for it.
    void ReDraw() override;
    void Redraw1() override;
    // Rebuilds the graph as ReDraw does, from the primary values of a trace already
    // in hand and the positions of the samples without a reply among them.
    void ReDrawFrom(std::vector<double> values, const std::vector<qint32>& noReplyRows);
    void ClearGraph() override;
    void ShowGraph() override;
    void setNoReply(bool noReply) override { m_noReply = noReply; }
    double GetRandomValue() override;
    void ScaleYAxis(double peak) override;
    void setLiveTrace(bool on) override;
    QWidget* plotWidget() override;
    QString unit() const override { return m_units.sUnitPrimary(); }
    std::optional<GraphShown> shown() const override;

    // Text, grid, marker, background, play, trace and frame colours (see ColorSlot).
    void applyColors(const DisplayColors& colors);

    const TraceState& trace() const { return m_trace; }
    QCustomPlot* CWGraph1() const { return m_plot; }

    void setGraphMode(int mode);
    int graphMode() const;

    // A cursor (0 or 1) moved onto a point, as when the operator drags it there.
    void moveCursor(int cursor, int pointIndex);
    int cursorPointIndex(int cursor) const { return m_cursorIndex[cursor]; }

    // The MAX and MIN panels' click handlers.
    void pnlMax_Click();
    void pnlMin_Click();
    void ZoomOut_Click();

    // Draws at once what is waiting for the replot timer (at most 25 a second).
    void replotPending();

    // The demonstration feed (Command1).
    bool demoFeedRunning() const { return m_demoTimer->isActive(); }

protected:
    bool event(QEvent* event) override;

private:
    void buildControls();
    void setupPlot();
    void setDefaultXAxis();
    void scheduleReplot();
    void resetCaptions();
    void showStatistics();
    QCPGraph* plot(int index) const;
    void chartPoint(int plotIndex, double key, double value);
    void onValueEdited();
    void onCursorChanged(int cursor);
    void refreshMeasurementFromPoints();
    void jumpToExtreme(qint32 index);
    void placeCursor(int cursor, int pointIndex);
    void showCursors(bool on);
    void onPlotMousePress(QMouseEvent* event);
    void onPlotMouseMove(QMouseEvent* event);
    void onPlotMouseRelease(QMouseEvent* event);
    int pointIndexAt(double key) const;
    void onActivated();
    // The trace line in the replay colour (rebuilt from the store) or the live one.
    void setReplayed(bool replayed);
    void startRebuild();
    void toggleDemoFeed();
    void onDemoTick();

    const MeterUnits& m_units;
    TraceState m_trace;
    QCustomPlot* m_plot = nullptr;
    std::array<QCPItemStraightLine*, 2> m_cursorLine{};
    std::array<QCPItemTracer*, 2> m_cursorTracer{};
    std::array<int, 2> m_cursorIndex{{0, 0}};
    int m_draggedCursor = -1;

    QLineEdit* m_value = nullptr;
    QLineEdit* m_limHigh = nullptr;
    QLineEdit* m_limLow = nullptr;
    QLineEdit* m_rel = nullptr;
    QSlider* m_mode = nullptr;
    CaptionPanel* m_pnlMax = nullptr;
    CaptionPanel* m_pnlMin = nullptr;
    CaptionPanel* m_pnlStdCount = nullptr;
    CaptionPanel* m_pnlTotCount = nullptr;
    CaptionPanel* m_pnlIncrementTime = nullptr;
    CaptionPanel* m_pnlTotTimes = nullptr;
    QLineEdit* m_xPosition = nullptr;
    QLineEdit* m_yPosition = nullptr;
    QLineEdit* m_periodVal = nullptr;
    QLineEdit* m_amplitudeVal = nullptr;
    QTimer* m_demoTimer = nullptr;
    QTimer m_replotTimer;
    RecordStore& m_store;
    DisplayColors m_colors = kDefaultDisplayColors;
    bool m_replayed = false;
    bool m_rebuildWaiting = false;
    quint64 m_traceChanges = 0; // each sample charted and each clear
    bool m_noReply = false;
};

} // namespace kvx
