#include "RecordKeys.h"

#include <QFontDatabase>
#include <QHeaderView>
#include <QListWidget>
#include <QPushButton>
#include <QTableWidget>

namespace kvx {

namespace {

QPushButton* makeKey(QWidget* parent, const QString& name, const QString& caption, const QString& tip) {
    auto* key = new QPushButton(caption, parent);
    key->setObjectName(name);
    key->setToolTip(tip);
    key->setFixedHeight(17);
    key->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
    key->setAutoDefault(false);
    return key;
}

} // namespace

RecordKeys::RecordKeys(QWidget* panel) : QObject(panel) {
    m_save = makeKey(panel, QStringLiteral("cmdSaveRecord"), QStringLiteral("Save Rec"),
                     QStringLiteral("Save the trace as a record"));
    m_list = makeKey(panel, QStringLiteral("cmdLoadRecord"), QStringLiteral("Load Rec"),
                     QStringLiteral("List the saved records"));
    m_clear = makeKey(panel, QStringLiteral("cmdClear"), QStringLiteral("Clear"),
                      QStringLiteral("Clear the trace"));

    m_recordList = new QListWidget(panel);
    m_recordList->setObjectName(QStringLiteral("List1"));
    // The list's columns are padded text: they line up only in a fixed-width font.
    QFont fixed = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    fixed.setPixelSize(10);
    m_recordList->setFont(fixed);
    m_recordList->hide();

    m_recordGrid = new QTableWidget(0, 4, panel);
    m_recordGrid->setObjectName(QStringLiteral("grdRecList"));
    m_recordGrid->setHorizontalHeaderLabels(RecordOperations::recordListHeadings());
    m_recordGrid->verticalHeader()->hide();
    m_recordGrid->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_recordGrid->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_recordGrid->setSelectionMode(QAbstractItemView::SingleSelection);
    m_recordGrid->horizontalHeader()->setStretchLastSection(true);
    m_recordGrid->hide();

    connect(m_save, &QPushButton::clicked, this, [this] { m_operations.saveRecord(); });
    connect(m_list, &QPushButton::clicked, this, &RecordKeys::listRecords);
    connect(m_clear, &QPushButton::clicked, this, [this] { m_operations.clearTrace(); });
    connect(m_recordList, &QListWidget::itemClicked, this, &RecordKeys::loadFromList);
    // A click, not a selection change: filling the grid must never load a record.
    connect(m_recordGrid, &QTableWidget::cellClicked, this, [this](int row, int) { loadFromGrid(row); });
}

void RecordKeys::listRecords() {
    const std::optional<std::vector<RecordListRow>> rows = m_operations.listRecords();
    if (!rows)
        return;
    m_recordList->clear();
    m_recordGrid->setRowCount(0);
    m_recordGrid->setRowCount(static_cast<int>(rows->size()));
    int gridRow = 0;
    for (const RecordListRow& row : *rows) {
        m_recordList->addItem(RecordOperations::listLine(row));
        const QStringList cells{row.recNo, row.startTime, row.endTime, row.comment};
        for (int column = 0; column < cells.size(); ++column)
            m_recordGrid->setItem(gridRow, column, new QTableWidgetItem(cells[column]));
        ++gridRow;
    }
    m_recordGrid->resizeColumnsToContents();
    m_recordGrid->show();
    m_recordList->show();
}

void RecordKeys::loadFromList() {
    const QListWidgetItem* item = m_recordList->currentItem();
    if (!item)
        return;
    if (m_operations.loadFromListLine(item->text()))
        m_recordList->hide();
}

void RecordKeys::loadFromGrid(int row) {
    const QTableWidgetItem* number = m_recordGrid->item(row, 0);
    if (!number)
        return;
    m_operations.loadFromGrid(number->text());
    m_recordGrid->hide();
}

} // namespace kvx
