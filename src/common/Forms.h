#pragma once
// The public operations that the child windows offer one another. Windows call
// each other only through these, by way of `forms()`, so that the libraries keep
// pointing one way and a test can build only the windows it needs. A window
// registers itself when it is created and leaves when it is destroyed; a call to
// a window that is not there does nothing.

#include <QString>
#include <QStringList>
#include <optional>

class QWidget;

namespace kvx {

// frmState: the meter's state as last read, and the limits and dBm reference.
class StatePanel {
public:
    virtual ~StatePanel() = default;
    virtual void setFunctionText(const QString& text) = 0; // txtFunction
    virtual QString functionText() const = 0;
    virtual void setUnitText(const QString& text) = 0;  // txtUnit
    virtual void setRangeText(const QString& text) = 0; // txtRange2 (runs the range change)
    virtual QString rangeText() const = 0;
    virtual QString mathText() const = 0; // txtMath: the hold-mode word
    virtual void setMathText(const QString& text) = 0;
    virtual QString limitMaxText() const = 0; // txtLimMax
    virtual QString limitMinText() const = 0; // txtLimMin
    virtual QString relText() const = 0;      // txtRel
    virtual void setRelText(const QString& text) = 0;
    virtual QString connText() const = 0; // txtConn: "LIVE" / "DEAD"
    virtual void setConnText(const QString& text) = 0;
    // Why the meter is not answering, for the operator who points at DEAD (empty: it answers).
    virtual void setConnProblem(const QString& reason) { (void)reason; }
    virtual void setSampleIntervalText(const QString& text) = 0; // txtInterval
    virtual QString sampleIntervalText() const = 0;
    // The dBm indicator and reference field: shown and enabled, or hidden and disabled.
    virtual void setDbmActive(bool on) = 0;
    virtual void setRefOhmText(const QString& text) = 0; // txtRefOhm
};

// frmDIGITALMETERMaster: the two numeric displays. Format texts are a digits
// pattern followed by the unit in double quotes (".##0 \"V\"").
class DigitalScreen {
public:
    virtual ~DigitalScreen() = default;
    virtual void setPrimaryValue(double value) = 0; // DigVM
    virtual double primaryValue() const = 0;
    virtual void setPrimaryFormat(const QString& format) = 0;
    virtual QString primaryFormat() const = 0;
    virtual void setSecondaryValue(double value) = 0; // DigSecondM
    virtual double secondaryValue() const = 0;
    virtual void setSecondaryFormat(const QString& format) = 0;
    virtual QString secondaryFormat() const = 0;
    // Display geometry in twips: DigVM (width, height), DigSecondM (top, width, height).
    virtual void layoutDisplays(int vmWidth, int vmHeight, int secondTop, int secondWidth,
                                double secondHeight) = 0;
};

// frmANALOGMETER: the dial.
class AnalogMeter {
public:
    virtual ~AnalogMeter() = default;
    virtual void setValueText(const QString& text) = 0; // Value: moves the needle
    virtual QString valueText() const = 0;
    virtual void setLimHighText(const QString& text) = 0;
    virtual void setLimLowText(const QString& text) = 0;
    virtual void setRelText(const QString& text) = 0;
    virtual void ChooseMeterScale(double peak) = 0;
    virtual void ResetMeter() = 0;
    // The unit of the primary display changed: scale labels, caption and number format follow.
    virtual void unitChanged(const QString& unit) = 0;
};

// frmGraphicRecord: the trend graph.
// What a printed report copies from the graph window as the operator sees it.
struct GraphShown {
    // The panels' texts: MAX, MIN, match count, total sampling, total time.
    QStringList statistics;
    QString limHigh, limLow, rel;
    double yLower = 0.0, yUpper = 0.0;
};

class GraphRecord {
public:
    virtual ~GraphRecord() = default;
    virtual void setValueText(const QString& text) = 0; // Value: the newest reading
    virtual QString valueText() const = 0;
    virtual void setLimHighText(const QString& text) = 0;
    virtual void setLimLowText(const QString& text) = 0;
    virtual void setRelText(const QString& text) = 0;
    virtual void ReDraw() = 0;
    virtual void Redraw1() = 0;
    virtual void ClearGraph() = 0;
    virtual void ShowGraph() = 0;
    // The value handed over got no reply from the meter: the next ShowGraph marks its point.
    virtual void setNoReply(bool) {}
    virtual double GetRandomValue() = 0;
    virtual void ScaleYAxis(double peak) = 0;
    virtual void setLiveTrace(bool on) = 0;
    // The plot widget and the unit of its readings, for snapshots.
    virtual QWidget* plotWidget() = 0;
    virtual QString unit() const { return QString(); }
    // None when there is no window to follow (a stand-in).
    virtual std::optional<GraphShown> shown() const { return std::nullopt; }
};

// Header fields of the data table window that the record operations read and write.
enum class RecordField { Recno, StartTime, EndTime, DataDesc, PUnit, SUnit, TimerSample };

// frmDataTable: the working trace's rows, and storing each new sample.
class DataTable {
public:
    virtual ~DataTable() = default;
    virtual void setValuePrimary(double value) = 0; // dValuePrimary
    virtual void setValueSecond(double value) = 0;  // dValueSecond
    // The readings handed over got no reply from the meter (they read as 0): the
    // next AppendData marks its sample so.
    virtual void setNoReply(bool) {}
    virtual void AppendData() = 0;
    virtual QString GetDate(int row) const = 0;
    virtual QString GetValuePrimary(int row) const = 0;
    virtual QString GetValueSecond(int row) const = 0;
    virtual void RowSelected(int row) = 0;
    virtual void ClearData() = 0;
    // The filter list's change handler: rebuilds the rows from the working table.
    virtual void refreshRows() = 0;
    virtual int rowCount() const = 0;
    // The filter list: its index (0 "Total" to 5) and the caption shown. A table
    // without one shows every row.
    virtual int filterIndex() const { return 0; }
    virtual QString filterCaption() const { return QString(); }
    virtual QString field(RecordField which) const = 0;
    virtual void setField(RecordField which, const QString& text) = 0;
};

// frmKVX5130: what the other windows read from the front panel.
class MeterPanel {
public:
    virtual ~MeterPanel() = default;
    // optSampleStyle item 0 ("Continuous") is selected.
    virtual bool continuousStyleSelected() const = 0;
    virtual void setSampleStyle(int index) = 0; // -1 selects neither
    // Cursor read-out copied from the graph window.
    virtual void setCursorText(const QString& text) = 0;
};

struct Forms {
    StatePanel* state = nullptr;
    DigitalScreen* digital = nullptr;
    AnalogMeter* analog = nullptr;
    GraphRecord* graph = nullptr;
    DataTable* dataTable = nullptr;
    MeterPanel* panel = nullptr;
};

Forms& forms();

// True when a loaded window has the given name (compared after trimming blanks).
bool IsFormLoaded(const QString& name);

} // namespace kvx
