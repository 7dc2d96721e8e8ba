#include "RecordKeys.h"

#include <QButtonGroup>
#include <QComboBox>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QListWidget>
#include <QLocale>
#include <QPointer>
#include <QPushButton>
#include <QStackedWidget>
#include <QTableWidget>
#include <QTextDocument>
#include <QToolButton>

namespace kvx {

namespace {

constexpr int kKeyHeight = 17;
// A long comment would push the grid's other columns out of sight; its tooltip holds it whole.
constexpr int kWidestGridColumn = 320;

QPushButton* makeKey(QWidget* parent, const QString& name, const QString& caption, const QString& tip) {
    auto* key = new QPushButton(caption, parent);
    key->setObjectName(name);
    key->setToolTip(tip);
    key->setFixedHeight(kKeyHeight);
    key->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
    key->setAutoDefault(false);
    return key;
}

// A key of the status line: as wide as its caption, so the status text keeps the rest.
QToolButton* makeSmallKey(QWidget* parent, const QString& name, const QString& caption, const QString& tip) {
    auto* key = new QToolButton(parent);
    key->setObjectName(name);
    key->setText(caption);
    key->setToolTip(tip);
    key->setFixedHeight(kKeyHeight - 2);
    key->hide();
    return key;
}

// What the grid's headings mean; the headings themselves stay as the record list names them.
const char* const kHeadingToolTips[] = {"Record number", "Start time", "End time", "Comment",
                                        "Bench that saved it"};

QString countText(qint64 count, const QString& one, const QString& many) {
    return QLocale(QLocale::English).toString(count) + QLatin1Char(' ') + (count == 1 ? one : many);
}

// The list line cuts the start time after the hour and the comment after 25
// characters; its tooltip gives the line and the record's times and comment whole.
QString listToolTip(const QString& line, const RecordListRow& row) {
    QString text =
        line + QStringLiteral("\nStart: ") + row.startTime + QStringLiteral("\nEnd: ") + row.endTime;
    if (!row.comment.isEmpty())
        text += QStringLiteral("\nComment: ") + row.comment;
    if (!row.bench.isEmpty())
        text += QStringLiteral("\nBench: ") + row.bench;
    // Kept as typed: a comment that looks like markup is not rendered as markup.
    return Qt::convertFromPlainText(text, Qt::WhiteSpacePre);
}

QTableWidgetItem* gridItem(const QString& text) {
    auto* item = new QTableWidgetItem;
    // Record numbers sort by value when the user sorts the grid by its first column.
    bool isNumber = false;
    const qlonglong number = text.toLongLong(&isNumber);
    if (isNumber)
        item->setData(Qt::DisplayRole, number);
    else
        item->setText(text);
    return item;
}

} // namespace

RecordKeys::RecordKeys(QWidget* panel) : QObject(panel) {
    m_save = makeKey(panel, QStringLiteral("cmdSaveRecord"), QStringLiteral("Save Rec"),
                     QStringLiteral("Save the trace as a record"));
    m_list = makeKey(panel, QStringLiteral("cmdLoadRecord"), QStringLiteral("Load Rec"),
                     QStringLiteral("List the saved records"));
    m_clear = makeKey(panel, QStringLiteral("cmdClear"), QStringLiteral("Clear"),
                      QStringLiteral("Clear the trace"));
    buildRecordViews(panel);

    connect(m_save, &QPushButton::clicked, this, &RecordKeys::saveRecord);
    connect(m_list, &QPushButton::clicked, this, &RecordKeys::listRecords);
    connect(m_clear, &QPushButton::clicked, this, &RecordKeys::clearTrace);
    connect(m_recordList, &QListWidget::itemClicked, this, &RecordKeys::loadFromList);
    // A click or Enter, never a change of the current row: filling the grid must not load a record.
    connect(m_recordGrid, &QTableWidget::cellClicked, this, [this](int row, int) { loadFromGrid(row); });
    m_recordList->installEventFilter(this);
    m_recordGrid->installEventFilter(this);
    connect(m_showList, &QToolButton::clicked, this, [this] { showView(m_recordList); });
    connect(m_showGrid, &QToolButton::clicked, this, [this] { showView(m_recordGrid); });
    connect(m_close, &QToolButton::clicked, this, [this] {
        m_listShown = m_gridShown = false;
        updateViews();
    });
}

void RecordKeys::buildRecordViews(QWidget* panel) {
    m_statusRow = new QWidget(panel);
    auto* row = new QHBoxLayout(m_statusRow);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(1);
    m_status = new QLabel(m_statusRow);
    m_status->setObjectName(QStringLiteral("lblRecordStatus"));
    // A long text is cut at the panel's edge instead of widening the panel; the tooltip holds it.
    m_status->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    row->addWidget(m_status, 1);
    m_showList = makeSmallKey(m_statusRow, QStringLiteral("cmdShowList"), QStringLiteral("List"),
                              QStringLiteral("Show the records as lines"));
    m_showGrid = makeSmallKey(m_statusRow, QStringLiteral("cmdShowGrid"), QStringLiteral("Grid"),
                              QStringLiteral("Show the records as a table"));
    m_close = makeSmallKey(m_statusRow, QStringLiteral("cmdCloseRecords"), QStringLiteral("Close"),
                           QStringLiteral("Put the records away"));
    auto* views = new QButtonGroup(m_statusRow);
    for (QToolButton* key : {m_showList, m_showGrid}) {
        key->setCheckable(true);
        views->addButton(key);
    }
    m_benchFilter = new QComboBox(m_statusRow);
    m_benchFilter->setObjectName(QStringLiteral("cboBenchFilter"));
    m_benchFilter->setToolTip(QStringLiteral("Show the records of every bench or of one"));
    m_benchFilter->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    m_benchFilter->setMinimumContentsLength(8);
    m_benchFilter->setFixedHeight(m_showList->sizeHint().height());
    m_benchFilter->hide();
    connect(m_benchFilter, &QComboBox::textActivated, this, &RecordKeys::showBench);
    row->addWidget(m_benchFilter);
    row->addWidget(m_showList);
    row->addWidget(m_showGrid);
    row->addWidget(m_close);

    m_views = new QStackedWidget(panel);
    m_views->setObjectName(QStringLiteral("recordViews"));
    m_views->hide();

    m_recordList = new QListWidget(m_views);
    m_recordList->setObjectName(QStringLiteral("List1"));
    // The list's columns are padded text: they line up only in a fixed-width font.
    QFont fixed = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    fixed.setPixelSize(10);
    m_recordList->setFont(fixed);
    m_recordList->setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);
    m_views->addWidget(m_recordList);

    const QStringList headings = RecordOperations::recordListHeadings() << QStringLiteral("Bench");
    m_recordGrid = new QTableWidget(0, int(headings.size()), m_views);
    m_recordGrid->setObjectName(QStringLiteral("grdRecList"));
    for (int column = 0; column < headings.size(); ++column) {
        auto* heading = new QTableWidgetItem(headings[column]);
        heading->setToolTip(QLatin1String(kHeadingToolTips[column]));
        m_recordGrid->setHorizontalHeaderItem(column, heading);
    }
    m_recordGrid->verticalHeader()->hide();
    m_recordGrid->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_recordGrid->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_recordGrid->setSelectionMode(QAbstractItemView::SingleSelection);
    m_recordGrid->setWordWrap(false);
    m_recordGrid->setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);
    m_recordGrid->horizontalHeader()->setMaximumSectionSize(kWidestGridColumn);
    m_recordGrid->horizontalHeader()->setStretchLastSection(true);
    // Newest first, as listed; a click on a heading sorts by that column.
    m_recordGrid->horizontalHeader()->setSortIndicator(0, Qt::DescendingOrder);
    m_views->addWidget(m_recordGrid);
}

bool RecordKeys::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        if (key == Qt::Key_Return || key == Qt::Key_Enter) {
            if (watched == m_recordList) {
                loadFromList();
                return true;
            }
            if (watched == m_recordGrid && m_recordGrid->currentRow() >= 0) {
                loadFromGrid(m_recordGrid->currentRow());
                return true;
            }
        }
    }
    return QObject::eventFilter(watched, event);
}

void RecordKeys::setStatus(const QString& text) {
    m_status->setText(text);
    m_status->setToolTip(text);
}

// "Record 3 loaded, 1,204 samples": the record now in the working trace and its size.
void RecordKeys::reportWorkingTrace(const QString& verb) {
    const QString recNo = RecordOperations::workingHeader().recNo;
    const std::optional<qint64> samples = recordStore().countSamples();
    QString text = QStringLiteral("Record %1 %2").arg(recNo, verb);
    if (samples)
        text +=
            QStringLiteral(", ") + countText(*samples, QStringLiteral("sample"), QStringLiteral("samples"));
    setStatus(text);
}

void RecordKeys::saveRecord() {
    const bool update = !RecordOperations::workingHeader().recNo.isEmpty();
    if (m_operations.saveRecord())
        reportWorkingTrace(update ? QStringLiteral("updated") : QStringLiteral("saved"));
}

void RecordKeys::clearTrace() {
    m_operations.clearTrace();
    if (recordStore().countSamples() == qint64(0))
        setStatus(QStringLiteral("Trace cleared"));
}

void RecordKeys::listRecords() {
    std::optional<std::vector<RecordListRow>> rows = m_operations.listRecords();
    if (!rows)
        return;
    m_rows = std::move(*rows);
    const QString chosen = m_benchFilter->currentIndex() > 0 ? m_benchFilter->currentText() : QString();
    QStringList benches;
    for (const RecordListRow& row : m_rows) {
        if (!row.bench.isEmpty() && !benches.contains(row.bench))
            benches << row.bench;
    }
    benches.sort();
    m_benchFilter->clear();
    m_benchFilter->addItem(QStringLiteral("All benches"));
    m_benchFilter->addItems(benches);
    m_benchFilter->setCurrentIndex(std::max(0, int(m_benchFilter->findText(chosen))));
    showBench(m_benchFilter->currentText());
    m_listShown = m_gridShown = true;
    m_views->setCurrentWidget(m_recordList);
    updateViews();
}

void RecordKeys::showBench(const QString& bench) {
    const bool all = m_benchFilter->currentIndex() <= 0;
    std::vector<RecordListRow> rows;
    for (const RecordListRow& row : m_rows) {
        if (all || row.bench == bench)
            rows.push_back(row);
    }
    fillList(rows);
    fillGrid(rows);
    setStatus(rows.empty() ? QStringLiteral("No saved records")
                           : countText(static_cast<qint64>(rows.size()), QStringLiteral("saved record"),
                                       QStringLiteral("saved records")));
}

void RecordKeys::fillList(const std::vector<RecordListRow>& rows) {
    m_recordList->clear();
    for (const RecordListRow& row : rows) {
        const QString line = RecordOperations::listLine(row);
        auto* item = new QListWidgetItem(line);
        item->setToolTip(listToolTip(line, row));
        m_recordList->addItem(item);
    }
    // The keyboard starts on the newest record; nothing is chosen until a click or Enter.
    if (m_recordList->count() > 0)
        m_recordList->setCurrentRow(0, QItemSelectionModel::NoUpdate);
}

void RecordKeys::fillGrid(const std::vector<RecordListRow>& rows) {
    m_recordGrid->setSortingEnabled(false);
    m_recordGrid->clearContents();
    m_recordGrid->setRowCount(static_cast<int>(rows.size()));
    int gridRow = 0;
    for (const RecordListRow& row : rows) {
        const QStringList cells{row.recNo, row.startTime, row.endTime, row.comment, row.bench};
        for (int column = 0; column < cells.size(); ++column)
            m_recordGrid->setItem(gridRow, column, gridItem(cells[column]));
        m_recordGrid->item(gridRow, 3)->setToolTip(row.comment);
        ++gridRow;
    }
    // Sorts by the heading the user chose last, newest first until then.
    m_recordGrid->setSortingEnabled(true);
    // Rows and headings as tall as the panel's small font, so that the little room shows several.
    const int rowHeight = m_recordGrid->fontMetrics().height() + 2;
    m_recordGrid->verticalHeader()->setMinimumSectionSize(rowHeight);
    m_recordGrid->verticalHeader()->setDefaultSectionSize(rowHeight);
    m_recordGrid->horizontalHeader()->setFixedHeight(rowHeight + 1);
    m_recordGrid->resizeColumnsToContents();
    m_recordGrid->scrollToTop();
    // Enter loads the current row; the keyboard starts on the top one.
    if (m_recordGrid->rowCount() > 0)
        m_recordGrid->setCurrentCell(0, 0, QItemSelectionModel::NoUpdate);
}

void RecordKeys::showView(QWidget* view) {
    m_views->setCurrentWidget(view);
    updateViews();
}

void RecordKeys::updateViews() {
    if (!m_listShown)
        m_views->setCurrentWidget(m_recordGrid);
    if (!m_gridShown)
        m_views->setCurrentWidget(m_recordList);
    const bool browsing = m_listShown || m_gridShown;
    m_views->setVisible(browsing);
    for (QToolButton* key : {m_showList, m_showGrid, m_close})
        key->setVisible(browsing);
    // The panel is small: the bench list shows only when there are benches to choose from.
    m_benchFilter->setVisible(browsing && m_benchFilter->count() > 2);
    m_showList->setEnabled(m_listShown);
    m_showGrid->setEnabled(m_gridShown);
    m_showList->setChecked(m_views->currentWidget() == m_recordList);
    m_showGrid->setChecked(m_views->currentWidget() == m_recordGrid);
    emit browsingChanged(browsing);
    (browsing ? m_views->currentWidget() : static_cast<QWidget*>(m_list))->setFocus();
}

// A load ends in the background; the list or grid is put away once it has.
void RecordKeys::loadFromList() {
    const QListWidgetItem* item = m_recordList->currentItem();
    if (!item)
        return;
    m_operations.loadFromListLine(item->text(), [self = QPointer<RecordKeys>(this)](bool loaded) {
        if (!self || !loaded)
            return;
        self->reportWorkingTrace(QStringLiteral("loaded"));
        self->m_listShown = false;
        self->updateViews();
    });
}

void RecordKeys::loadFromGrid(int row) {
    const QTableWidgetItem* number = m_recordGrid->item(row, 0);
    if (!number)
        return;
    const auto putAway = [self = QPointer<RecordKeys>(this)](bool loaded) {
        if (!self)
            return;
        if (loaded)
            self->reportWorkingTrace(QStringLiteral("loaded"));
        self->m_gridShown = false;
        self->updateViews();
    };
    if (!m_operations.loadFromGrid(number->text(), putAway))
        putAway(false);
}

} // namespace kvx
