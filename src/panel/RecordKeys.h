#pragma once
// The record keys of the front panel: save the working trace as a record, list
// the stored records, load one back by picking it, and clear the trace. The
// widgets live here; the record store does the work.
//
// The panel is small, so the listed records take the room of the keys while
// they are shown: the list `List1` and the grid `grdRecList` share one place,
// with two keys to switch between them and one to put them away. A status line
// says what the last save, update or load did, without a message box.

#include "RecordOperations.h"

#include <QObject>

class QComboBox;
class QLabel;
class QListWidget;
class QPushButton;
class QStackedWidget;
class QTableWidget;
class QToolButton;
class QWidget;

namespace kvx {

class RecordKeys : public QObject {
    Q_OBJECT
public:
    explicit RecordKeys(QWidget* panel);

    QPushButton* saveKey() const { return m_save; }
    QPushButton* listKey() const { return m_list; }
    QPushButton* clearKey() const { return m_clear; }
    // The status line with the list/grid switch; always on the page.
    QWidget* statusRow() const { return m_statusRow; }
    // The place of the list and the grid; shown while records are listed.
    QStackedWidget* recordViews() const { return m_views; }
    QListWidget* recordList() const { return m_recordList; }
    QTableWidget* recordGrid() const { return m_recordGrid; }

signals:
    // True while listed records are shown: the panel gives them the room of its keys.
    void browsingChanged(bool browsing);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void buildRecordViews(QWidget* panel);
    void saveRecord();
    void clearTrace();
    void listRecords();
    void fillList(const std::vector<RecordListRow>& rows);
    void fillGrid(const std::vector<RecordListRow>& rows);
    void loadFromList();
    void loadFromGrid(int row);
    void showView(QWidget* view);
    void updateViews();
    void setStatus(const QString& text);
    void showBench(const QString& bench);
    void reportWorkingTrace(const QString& verb);

    RecordOperations m_operations;
    QPushButton* m_save = nullptr;
    QPushButton* m_list = nullptr;
    QPushButton* m_clear = nullptr;
    QWidget* m_statusRow = nullptr;
    QLabel* m_status = nullptr;
    QToolButton* m_showList = nullptr;
    QToolButton* m_showGrid = nullptr;
    QToolButton* m_close = nullptr;
    QStackedWidget* m_views = nullptr;
    QListWidget* m_recordList = nullptr;
    QTableWidget* m_recordGrid = nullptr;
    // Every bench's records, or only those of the bench chosen here.
    QComboBox* m_benchFilter = nullptr;
    std::vector<RecordListRow> m_rows;
    // Whether the list and the grid are shown; each hides after a record is loaded from it.
    bool m_listShown = false;
    bool m_gridShown = false;
};

} // namespace kvx
