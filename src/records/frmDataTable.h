#pragma once
// The data table window: the working trace's samples in a grid, filtered by
// reason and annotated per sample, and `AppendData`, which decides whether the
// newest reading becomes a sample and stores it in the record database.

#include "Forms.h"
#include "MeterUnits.h"
#include "SampleTimeline.h"
#include "TraceTableModel.h"

#include <QDateTime>
#include <QWidget>

#include <functional>
#include <optional>
#include <vector>

class QAction;
class QComboBox;
class QFrame;
class QLabel;
class QLineEdit;
class QPushButton;
class QTableView;

namespace kvx {

class frmDataTable final : public QWidget, public DataTable {
public:
    // `units` names the meter's present units whenever a sample is stored or the
    // headings change; the rows are read from and written to `store`.
    frmDataTable(const MeterUnits& units, RecordStore& store, QWidget* parent = nullptr);
    ~frmDataTable() override;

    // DataTable
    void setValuePrimary(double value) override { dValuePrimary = value; }
    void setValueSecond(double value) override { dValueSecond = value; }
    void setNoReply(bool noReply) override { m_noReply = noReply; }
    void AppendData() override;
    QString GetDate(int row) const override;
    QString GetValuePrimary(int row) const override;
    QString GetValueSecond(int row) const override;
    void RowSelected(int row) override;
    void ClearData() override;
    void refreshRows() override;
    // Reads the rest of the rows now; for callers that number or index them.
    void finishFilling();
    int rowCount() const override;
    int filterIndex() const override;
    QString filterCaption() const override;
    QString field(RecordField which) const override;
    void setField(RecordField which, const QString& text) override;

    // Printing, from the grid's context menu: the whole trace's report, and the
    // rows the filter shows. The frame hands in how each is printed.
    void PrintData();
    void PrintFlexGrid();
    void setPrinting(std::function<void(QWidget*)> printTrace, std::function<void(QWidget*)> printGrid);

    int selectedRow() const { return m_model.selectedRow(); }
    // Grid rows that fit the grid's height; decides when the newest row is scrolled into view.
    int visibleRows() const { return m_visibleRows; }
    const TraceTableModel& model() const { return m_model; }

    // The readings the polling cycle hands over before each AppendData.
    double dValuePrimary = 0.0;
    double dValueSecond = 0.0;

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    void fillSlice();
    void ensureFilled() const;
    void buildControls();
    void layoutControls();
    void setUnitHeadings();
    QLineEdit* fieldEdit(RecordField which) const;

    std::optional<ReasonText> decideReason();
    std::optional<ReasonText> holdReason(const QString& holdWord);
    void advanceSampleCounter();
    int samplesPerTimedSample() const;
    void reportStoreFailure();
    void showMeterUnits();
    void keepNewestInView();

    void openCommentEditor(const QModelIndex& cell);
    void acceptComment();
    void filterChanged();

    const MeterUnits& m_units;
    RecordStore& m_store;
    TraceTableModel m_model;

    QLineEdit* txtRecno = nullptr;
    QLineEdit* txtStartTime = nullptr;
    QLineEdit* txtEndTime = nullptr;
    QLineEdit* txtDataDesc = nullptr;
    QLineEdit* txtPUnit = nullptr;
    QLineEdit* txtSUnit = nullptr;
    QLineEdit* txtTimerSample = nullptr;
    QComboBox* CmbSample = nullptr;
    QTableView* grdHelQuest = nullptr;
    QWidget* m_header = nullptr;
    QFrame* pnlDataComment = nullptr;
    QLineEdit* txtDataComment = nullptr;
    QLabel* lblDataDescQuote = nullptr;
    QLabel* lblDataCommentQuote = nullptr;
    QPushButton* cmdProcOK = nullptr;
    QPushButton* cmdProcCancel = nullptr;

    // The sample rule.
    qint16 m_sampleCounter = 0;
    qint16 m_autoHoldCount = 0;
    double m_heldReference = kNoReference;
    SampleTimeline m_timeline;

    std::function<void(QWidget*)> m_printTrace;
    std::function<void(QWidget*)> m_printGrid;
    QAction* m_printDataAction = nullptr;
    QAction* m_printGridAction = nullptr;

    int m_visibleRows = 0;
    int m_commentRow = -1;
    bool m_storeFailureReported = false;
    bool m_noReply = false;
    bool m_scrollPending = false;

    static constexpr double kNoReference = 99999999.0;
};

} // namespace kvx
