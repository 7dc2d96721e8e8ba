#pragma once
// The front panel: function keys and range groups, the polling timer that feeds
// every view, trace start/stop and the operation file. It talks to the meter
// only through the driver and to the other windows only through `forms()`.

#include "Forms.h"
#include "FunctionCatalogue.h"
#include "Link.h"
#include "PanelRules.h"

#include <QWidget>
#include <array>
#include <functional>
#include <optional>

class QButtonGroup;
class QCheckBox;
class QGroupBox;
class QLabel;
class QPushButton;
class QRadioButton;
class QStackedWidget;
class QTimer;

namespace kvx {

class RecordKeys;
class clsKVX5310;
struct OperationRecord;

class frmKVX5130 : public QWidget, public MeterPanel {
    Q_OBJECT
public:
    explicit frmKVX5130(QWidget* parent = nullptr);
    ~frmKVX5130() override;
    frmKVX5130(const frmKVX5130&) = delete;
    frmKVX5130& operator=(const frmKVX5130&) = delete;

    // The panel's load steps: read the operation file and open the link it names.
    void load();
    // Restores the saved function by pressing its key. Acts once, after `load()`;
    // the frame calls it when the panel is first activated.
    void firstActivation();
    // cmdQuit: saves the operation file and the command log, releases the driver, ends.
    void quit();

    // --- MeterPanel ---
    bool continuousStyleSelected() const override;
    void setSampleStyle(int index) override;
    void setCursorText(const QString& text) override;

    // --- Operation file ---
    void SaveOperation();
    void LoadOperation();
    void RestoreSetting();
    // File menu "Save"/"Load": a file dialog, then the path versions below.
    void saveOperationAs();
    void loadOperationFrom();
    bool saveOperationTo(const QString& path);
    bool loadOperationFromPath(const QString& path);

    // --- Trace control ---
    // Starts a continuous trace as if "Start" had been pressed (unattended logging).
    void startTraceNow();
    // What ends the process after cmdQuit has saved everything; tests replace it.
    void setExitAction(std::function<void()> exitAction);

    // --- Polling ---
    // A tick hands its reading to the meter thread and finishes when the reading
    // is back; ticks never overlap.
    void onTimer2Tick();
    // Asks the meter for both values; `then` runs once they reached every view.
    void ReadMeterValue(std::function<void()> then = {});
    void SimulateMeterValue();
    void SetPrimaryFormat();
    QTimer* timer2() const { return m_timer2; }
    double largestMagnitude() const { return m_largestMagnitude; }
    double traceStartTime() const { return m_traceStartTime; }

    // Range values of the four groups (0 = automatic).
    double rangeOf(panel::RangeGroup group) const { return m_range[groupIndex(group)]; }

private:
    static size_t groupIndex(panel::RangeGroup group) { return static_cast<size_t>(group); }

    void buildUi();
    void applyCompactLook();
    void fixClockWidth();
    // Start-up found the operation file damaged: moves it aside and says where.
    void keepDamagedOperationFile(const QString& path, const QString& problem);
    QWidget* buildFunctionPage();
    QWidget* buildFunctionKeys();
    QWidget* buildRangeFrames();
    QGroupBox* buildRangeFrame(panel::RangeGroup group, const QString& frameName, const QString& title,
                               const QString& optionPrefix, int columns);
    QWidget* buildModeKeys();
    QWidget* buildRecordPage();
    QWidget* buildRecordPageKeys();
    QWidget* buildTraceFrame();
    QPushButton* addKey(const QString& name, const QString& caption, void (frmKVX5130::*handler)());
    QPushButton* addKey(const QString& name, const QString& caption, std::function<void()> handler);
    QPushButton* key(const QString& name) const;

    // Function keys: one routine for the thirteen keys of the function table.
    void runFunctionKey(const MeterFunction& function);
    // The panel's part once the meter thread has sent a function and read it back.
    void finishFunctionKey(const MeterFunction& function, double range, const QString& shown);
    QGroupBox* frameBox(FunctionFrame frame) const;
    void onRangeOption(panel::RangeGroup group, int index);
    void rerunFunctionOf(FunctionFrame frame);

    // Steps shared by the function keys.
    void beginFunction(QGroupBox* frame);
    void showFunction(const QString& function, const QString& secondUnit);
    void setVoltageOptionsSelectable(const QString& indexes, bool selectable);
    void setFrameTag(QGroupBox* frame, const QString& tag);
    void showRange(double range);

    // Mode keys.
    void onHold();
    void onMaxMin();
    void onREL();
    void onComp();
    void onDBM();

    // Trace keys.
    void onStart();
    void onSampleStyle();
    void stopTrace();
    void beginTrace();
    void takeOneReading();
    void takeReading(std::function<void()> then);
    void finishTick(double tickStart, int trace);
    void showReading(const QString& reading, bool answered, const QString& problem, const QString& secondText);
    void setStartKeyLook(const QString& caption, const QColor& colour, const QString& toolTip);
    void onQuit();
    // Snapshot, printed report, record files and the CSV export.
    void onShutter();
    void onPrint();
    void onSaveRecordFile();
    void onOpenRecordFile();
    void onExportCsv();
    void onExportPdf();

    // Link state.
    static void applyLinkSettings(clsKVX5310& meter, const OperationRecord& op);
    // The --link text parsed, or nothing (told once when it cannot be used).
    std::optional<ConnectionTarget> linkOverride();
    // The connection text of the link the settings chose (no --link given).
    static QString linkTextOf(clsKVX5310& meter);
    // Asks the meter for its status; `then` learns whether it answered.
    void checkLink(std::function<void(bool answered)> then);
    void showLinkState(bool answered, const QString& problem = QString());
    void showRestoredSettings();

    void feedViews(double primary, double secondary, bool noReply);
    void resetLargestMagnitude();
    void noteReading(double primary);
    void updateClockDisplay();

    QStackedWidget* m_rangeStack = nullptr;
    QGroupBox* m_frame2 = nullptr;
    QGroupBox* m_frame3 = nullptr;
    QGroupBox* m_frame4 = nullptr;
    QGroupBox* m_frame5 = nullptr;
    QPushButton* m_cmdStart = nullptr;
    QButtonGroup* m_sampleStyle = nullptr;
    QLabel* m_lblInterval = nullptr;
    QLabel* m_timeDisplay = nullptr;
    QLabel* m_cursorText = nullptr;
    QCheckBox* m_check1 = nullptr;
    QTimer* m_timer2 = nullptr;
    RecordKeys* m_recordKeys = nullptr;

    std::array<double, 4> m_range{};
    QString m_voltageTag;
    QString m_currentTag;

    bool m_firstActivation = false;
    bool m_activationDeferred = false;
    std::optional<bool> m_linkAnswered; // unset until the first check
    QString m_linkReason;               // the driver's reason when it did not answer
    bool m_tickRunning = false;
    bool m_startPending = false; // a Start press waits for the meter's status
    int m_traceNumber = 0;       // counts stops, so a late reading knows its trace ended
    double m_largestMagnitude = 0.0;
    double m_traceStartTime = 0.0;
    double m_previousTriggerTime = 0.0;
    std::function<void()> m_exitAction;
};

} // namespace kvx
