#pragma once
// The working trace as the data table's grid shows it.
//
// A trace can hold millions of samples, and the grid paints a screenful, so the
// rows stay in the record database: the model keeps only each row's rowid (8
// bytes) and reads the rows the grid asks for a page at a time, keeping a few
// pages. Samples taken since the rows were read are kept in memory until the
// store's writer thread has written them; the model then swaps them for their
// rowids, so a trace of days costs no more memory than its rowids. Reading the
// rowids of a long trace is done a slice at a time (fillSome), so the windows are
// usable while the grid fills.

#include "RecordStore.h"
#include "SampleTimeline.h"

#include <QAbstractTableModel>
#include <QColor>
#include <QHash>
#include <QString>

#include <list>
#include <vector>

namespace kvx {

class TraceTableModel final : public QAbstractTableModel {
public:
    enum Column {
        SeqNoColumn,
        RecTimeColumn,
        PValColumn,
        SValColumn,
        ReasonColumn,
        CommentColumn,
        ColumnCount
    };

    // Data cells: blue on light yellow; the selected row black on light pink.
    static QColor dataText() { return QColor(0, 0, 255); }
    static QColor dataBackground() { return QColor(255, 255, 192); }
    static QColor selectedText() { return QColor(0, 0, 0); }
    static QColor selectedBackground() { return QColor(255, 192, 255); }
    // A sample the meter did not answer: stored as 0, tinted so that it is not read as a reading.
    static QColor noReplyBackground() { return QColor(255, 214, 170); }
    static QString noReplyToolTip();

    // Rows per page read from the database, and pages kept.
    static constexpr int kPageRows = 128;
    static constexpr size_t kPagesKept = 12;
    // Written samples held in memory before they are swapped for rowids, in one
    // batch: one rowid lookup every few minutes of a trace, not one a second.
    static constexpr size_t kTailRowsKept = 512;

    explicit TraceTableModel(RecordStore& store);

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

    // Builds the reading headings from the unit texts of the moment.
    void setUnits(const QString& primaryUnit, const QString& secondUnit);

    // Empties the grid and starts reading the rows the filter shows; false (the
    // store's lastError says why) when they cannot be read.
    bool startFill(int filterIndex);
    // Reads rowids for about `milliseconds`; true while more are to come.
    bool fillSome(int milliseconds);
    void finishFill();
    bool filling() const;

    // A sample just taken (and queued for the store), shown after every other row.
    void appendRow(qint64 seqNo, const QString& recTime, const QString& pVal, const QString& sVal,
                   ReasonText reason, bool noReply = false);
    void clearRows();
    int size() const { return static_cast<int>(m_rowIds.size() + m_tail.size()); }
    // Rows held in memory rather than as rowids: those not yet swapped.
    int rowsInMemory() const { return static_cast<int>(m_tail.size()); }

    // Cell text of a row; empty text for a row that is not there.
    QString text(int row, int column) const;
    // The meter did not answer the reading of this row.
    bool noReply(int row) const;
    // Sets the comment of every row with the date-time text `recTime` (the store
    // has already stored it).
    void setCommentWhereTime(const QString& recTime, const QString& comment);

    // The row painted in the selection colours, or -1.
    int selectedRow() const { return m_selectedRow; }
    void setSelectedRow(int row);

private:
    struct Row {
        qint64 seqNo = -1;
        QString recTime;
        QString pVal;
        QString sVal;
        QString comment;
        ReasonText reason = ReasonText::None;
        bool noReply = false;
    };
    struct Page {
        int first = 0;
        std::vector<Row> rows;
    };
    // The row, read from the database when its page is not kept; null when it cannot be read.
    const Row* row(int index) const;
    const Page* page(int first) const;
    void swapWrittenTail();
    void clearAll();
    void rowChanged(int row);

    RecordStore& m_store;
    SampleReader m_fill;
    std::vector<qint64> m_rowIds;         // rows stored in the database, in the grid's order
    std::vector<Row> m_tail;              // rows appended since, maybe not written yet
    QHash<int, ReasonText> m_liveReasons; // stored rows first shown with a long match text
    mutable std::list<Page> m_pages;      // most recently used first
    QString m_primaryUnit;
    QString m_secondUnit;
    int m_selectedRow = -1;
};

} // namespace kvx
