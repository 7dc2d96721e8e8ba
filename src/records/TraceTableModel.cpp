#include "TraceTableModel.h"

#include <algorithm>
#include <cstring>

namespace kvx {

namespace {

// Texts are kept in blocks of this size; a row whose texts are longer gets a block of its own.
constexpr qsizetype kTextBlockBytes = 1 << 20;

void appendText(QByteArray& block, const QString& text) {
    const QByteArray bytes = text.toUtf8();
    const quint32 length = quint32(bytes.size());
    block.append(reinterpret_cast<const char*>(&length), sizeof length);
    block.append(bytes);
}

} // namespace

QString reasonText(ReasonText reason) {
    switch (reason) {
    case ReasonText::Time:
        return QStringLiteral("Time");
    case ReasonText::OverMax:
        return QStringLiteral("Over MAX");
    case ReasonText::BelowMin:
        return QStringLiteral("Below MIN");
    case ReasonText::MatchLevel:
        return QStringLiteral("Match condition:Level");
    case ReasonText::MatchPercent:
        return QStringLiteral("Match condition:%");
    case ReasonText::MatchRebuilt:
        return QStringLiteral("Match condition");
    case ReasonText::None:
        break;
    }
    return QString();
}

ReasonText reasonTextOfCode(const QString& code) {
    if (code == QLatin1String("0"))
        return ReasonText::Time;
    if (code == QLatin1String("1"))
        return ReasonText::OverMax;
    if (code == QLatin1String("2"))
        return ReasonText::BelowMin;
    if (code == QLatin1String("3"))
        return ReasonText::MatchRebuilt;
    return ReasonText::None;
}

int TraceTableModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : size();
}

int TraceTableModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant TraceTableModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid())
        return QVariant();
    const bool selected = index.row() == m_selectedRow;
    switch (role) {
    case Qt::DisplayRole:
        return text(index.row(), index.column());
    case Qt::ForegroundRole:
        return selected ? selectedText() : dataText();
    case Qt::BackgroundRole:
        if (selected)
            return selectedBackground();
        return noReply(index.row()) ? noReplyBackground() : dataBackground();
    case Qt::ToolTipRole:
        return noReply(index.row()) ? noReplyToolTip() : QVariant();
    default:
        return QVariant();
    }
}

QVariant TraceTableModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (role != Qt::DisplayRole || orientation != Qt::Horizontal)
        return QAbstractTableModel::headerData(section, orientation, role);
    // "Sampling Time" heads the sample number and "Interval" the date-time: the
    // pairing is part of the window's look and is kept.
    switch (section) {
    case SeqNoColumn:
        return QStringLiteral("Sampling Time");
    case RecTimeColumn:
        return QStringLiteral("Interval");
    case PValColumn:
        return QStringLiteral("primary reading [ ") + m_primaryUnit + QStringLiteral(" ]");
    case SValColumn:
        return QStringLiteral("second reading [ ") + m_secondUnit + QStringLiteral(" ] ");
    case ReasonColumn:
        return QStringLiteral("Condition");
    case CommentColumn:
        return QStringLiteral("    Comment   ");
    default:
        return QVariant();
    }
}

void TraceTableModel::setUnits(const QString& primaryUnit, const QString& secondUnit) {
    m_primaryUnit = primaryUnit;
    m_secondUnit = secondUnit;
    emit headerDataChanged(Qt::Horizontal, PValColumn, SValColumn);
}

QString TraceTableModel::noReplyToolTip() {
    return QStringLiteral("The meter did not reply to this reading: it is stored as 0");
}

TraceTableModel::Row TraceTableModel::makeRow(qint64 seqNo, const QString& recTime, const QString& pVal,
                                              const QString& sVal, ReasonText reason, bool noReply) {
    const qsizetype needed =
        3 * qsizetype(sizeof(quint32)) + 3 * (recTime.size() + pVal.size() + sVal.size());
    if (m_textBlocks.empty() || m_textBlocks.back().size() + needed > m_textBlocks.back().capacity()) {
        m_textBlocks.emplace_back();
        m_textBlocks.back().reserve(std::max(kTextBlockBytes, needed));
    }
    QByteArray& block = m_textBlocks.back();
    Row r;
    r.seqNo = seqNo;
    r.block = quint32(m_textBlocks.size() - 1);
    r.offset = quint32(block.size());
    for (const QString* text : {&recTime, &pVal, &sVal})
        appendText(block, *text);
    r.reason = reason;
    r.noReply = noReply;
    return r;
}

QByteArrayView TraceTableModel::rowBytes(const Row& row, int field) const {
    const char* at = m_textBlocks[row.block].constData() + row.offset;
    quint32 length = 0;
    for (int i = 0;; ++i) {
        std::memcpy(&length, at, sizeof length);
        at += sizeof length;
        if (i == field)
            return QByteArrayView(at, qsizetype(length));
        at += length;
    }
}

QString TraceTableModel::rowText(const Row& row, int field) const {
    return QString::fromUtf8(rowBytes(row, field));
}

void TraceTableModel::appendRow(qint64 seqNo, const QString& recTime, const QString& pVal,
                                const QString& sVal, ReasonText reason, bool noReply) {
    const int row = size();
    beginInsertRows(QModelIndex(), row, row);
    m_rows.push_back(makeRow(seqNo, recTime, pVal, sVal, reason, noReply));
    endInsertRows();
}

void TraceTableModel::clearAll() {
    m_rows.clear();
    m_rows.shrink_to_fit();
    m_textBlocks.clear();
    m_comments.clear();
    m_selectedRow = -1;
}

void TraceTableModel::clearRows() {
    beginResetModel();
    clearAll();
    endResetModel();
}

void TraceTableModel::beginRebuild() {
    beginResetModel();
    clearAll();
}

void TraceTableModel::addRebuiltRow(qint64 seqNo, const QString& recTime, const QString& pVal,
                                    const QString& sVal, ReasonText reason, const QString& comment,
                                    bool noReply) {
    if (!comment.isEmpty())
        m_comments.insert(size(), comment);
    m_rows.push_back(makeRow(seqNo, recTime, pVal, sVal, reason, noReply));
}

void TraceTableModel::endRebuild() {
    endResetModel();
}

void TraceTableModel::appendRebuiltRows(const std::vector<TempSample>& rows) {
    if (rows.empty())
        return;
    beginInsertRows(QModelIndex(), size(), size() + static_cast<int>(rows.size()) - 1);
    for (const TempSample& row : rows) {
        if (!row.comment.isEmpty())
            m_comments.insert(size(), row.comment);
        m_rows.push_back(
            makeRow(row.seqNo, row.recTime, row.pVal, row.sVal, reasonTextOfCode(row.reason), row.noReply));
    }
    endInsertRows();
}

QString TraceTableModel::text(int row, int column) const {
    if (row < 0 || row >= size())
        return QString();
    const Row& r = m_rows[static_cast<size_t>(row)];
    switch (column) {
    case SeqNoColumn:
        return QString::number(r.seqNo);
    case RecTimeColumn:
        return rowText(r, 0);
    case PValColumn:
        return rowText(r, 1);
    case SValColumn:
        return rowText(r, 2);
    case ReasonColumn:
        return reasonText(r.reason);
    case CommentColumn:
        return m_comments.value(row);
    default:
        return QString();
    }
}

bool TraceTableModel::noReply(int row) const {
    return row >= 0 && row < size() && m_rows[static_cast<size_t>(row)].noReply;
}

void TraceTableModel::setComment(int row, const QString& comment) {
    if (row < 0 || row >= size())
        return;
    if (comment.isEmpty())
        m_comments.remove(row);
    else
        m_comments.insert(row, comment);
    const QModelIndex cell = index(row, CommentColumn);
    emit dataChanged(cell, cell, {Qt::DisplayRole});
}

void TraceTableModel::setCommentWhereTime(const QString& recTime, const QString& comment) {
    const QByteArray wanted = recTime.toUtf8();
    for (size_t row = 0; row < m_rows.size(); ++row) {
        if (rowBytes(m_rows[row], 0) == wanted)
            setComment(static_cast<int>(row), comment);
    }
}

void TraceTableModel::rowChanged(int row) {
    if (row < 0 || row >= size())
        return;
    emit dataChanged(index(row, 0), index(row, ColumnCount - 1), {Qt::ForegroundRole, Qt::BackgroundRole});
}

void TraceTableModel::setSelectedRow(int row) {
    const int previous = m_selectedRow;
    m_selectedRow = row;
    rowChanged(previous);
    rowChanged(row);
}

} // namespace kvx
