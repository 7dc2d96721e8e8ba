#pragma once
// The rows of the working trace as the data table window keeps them in memory,
// and the table model its grid shows them through.
//
// A trace can hold millions of samples, so a row is kept compact: the sample number
// as a number, the reason as an index into the few reason texts, and the date-time
// and both reading texts as UTF-8 in large shared blocks, so that a row costs about
// what its texts take. Comments, nearly always empty, are kept apart for the few
// rows that have one. Appending is amortised constant time and the grid only asks
// for the rows it paints.

#include "RecordStore.h"

#include <QAbstractTableModel>
#include <QByteArray>
#include <QColor>
#include <QHash>
#include <QString>

#include <deque>
#include <vector>

namespace kvx {

// The reason texts a row can show. Rows appended live carry the long "Match
// condition:..." texts; rows rebuilt from the database show "Match condition"
// for code 3 and nothing for code 4.
enum class ReasonText : quint8 { Time, OverMax, BelowMin, MatchLevel, MatchPercent, MatchRebuilt, None };
QString reasonText(ReasonText reason);
// The reason text a rebuilt row shows for a stored reason code.
ReasonText reasonTextOfCode(const QString& code);

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

    using QAbstractTableModel::QAbstractTableModel;

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

    // Builds the reading headings from the unit texts of the moment.
    void setUnits(const QString& primaryUnit, const QString& secondUnit);

    void appendRow(qint64 seqNo, const QString& recTime, const QString& pVal, const QString& sVal,
                   ReasonText reason, bool noReply = false);
    void clearRows();
    // Rebuilding from the database: one model reset around all the rows.
    void beginRebuild();
    void addRebuiltRow(qint64 seqNo, const QString& recTime, const QString& pVal, const QString& sVal,
                       ReasonText reason, const QString& comment, bool noReply);
    void endRebuild();
    // Rows read back from the database, appended after those shown (one insert).
    void appendRebuiltRows(const std::vector<TempSample>& rows);
    int size() const { return static_cast<int>(m_rows.size()); }

    // Cell text of a row; empty text for a row that is not there.
    QString text(int row, int column) const;
    void setComment(int row, const QString& comment);
    // Sets the comment of every row with the date-time text `recTime`.
    void setCommentWhereTime(const QString& recTime, const QString& comment);

    // The meter did not answer the reading of this row.
    bool noReply(int row) const;

    // The row painted in the selection colours, or -1.
    int selectedRow() const { return m_selectedRow; }
    void setSelectedRow(int row);

private:
    struct Row {
        qint64 seqNo = 0;
        // Where the row's texts start: the date-time, the primary and the secondary
        // reading, each as its length in bytes (4 bytes) followed by its UTF-8 bytes.
        quint32 block = 0;
        quint32 offset = 0;
        ReasonText reason = ReasonText::None;
        bool noReply = false;
    };
    Row makeRow(qint64 seqNo, const QString& recTime, const QString& pVal, const QString& sVal,
                ReasonText reason, bool noReply);
    QByteArrayView rowBytes(const Row& row, int field) const;
    QString rowText(const Row& row, int field) const;
    void clearAll();
    void rowChanged(int row);

    std::deque<Row> m_rows;
    std::vector<QByteArray> m_textBlocks;
    QHash<int, QString> m_comments; // by row
    QString m_primaryUnit;
    QString m_secondUnit;
    int m_selectedRow = -1;
};

} // namespace kvx
