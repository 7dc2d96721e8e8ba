#pragma once
// The record keys of the front panel: save the working trace as a record, list
// the stored records, load one back by picking it, and clear the trace. The
// widgets live here; the record store does the work.

#include "RecordOperations.h"

#include <QObject>

class QListWidget;
class QPushButton;
class QTableWidget;
class QWidget;

namespace kvx {

class RecordKeys : public QObject {
    Q_OBJECT
public:
    explicit RecordKeys(QWidget* panel);

    QPushButton* saveKey() const { return m_save; }
    QPushButton* listKey() const { return m_list; }
    QPushButton* clearKey() const { return m_clear; }
    QListWidget* recordList() const { return m_recordList; }
    QTableWidget* recordGrid() const { return m_recordGrid; }

private:
    void listRecords();
    void loadFromList();
    void loadFromGrid(int row);

    RecordOperations m_operations;
    QPushButton* m_save = nullptr;
    QPushButton* m_list = nullptr;
    QPushButton* m_clear = nullptr;
    QListWidget* m_recordList = nullptr;
    QTableWidget* m_recordGrid = nullptr;
};

} // namespace kvx
