#include "TraceTableModel.h"

namespace kvx {

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
        return selected ? selectedBackground() : dataBackground();
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

TraceTableModel::Row TraceTableModel::makeRow(qint64 seqNo, const QString& recTime, const QString& pVal,
                                              const QString& sVal, ReasonText reason,
                                              const QString& comment) {
    Row r;
    r.seqNo = seqNo;
    r.packed = recTime.toUtf8();
    r.packed += kSeparator;
    r.packed += pVal.toUtf8();
    r.packed += kSeparator;
    r.packed += sVal.toUtf8();
    r.packed.squeeze();
    r.comment = comment;
    r.reason = reason;
    return r;
}

void TraceTableModel::appendRow(qint64 seqNo, const QString& recTime, const QString& pVal,
                                const QString& sVal, ReasonText reason, const QString& comment) {
    const int row = size();
    beginInsertRows(QModelIndex(), row, row);
    m_rows.push_back(makeRow(seqNo, recTime, pVal, sVal, reason, comment));
    endInsertRows();
}

void TraceTableModel::clearRows() {
    beginResetModel();
    m_rows.clear();
    m_selectedRow = -1;
    endResetModel();
}

void TraceTableModel::beginRebuild() {
    beginResetModel();
    m_rows.clear();
    m_selectedRow = -1;
}

void TraceTableModel::addRebuiltRow(qint64 seqNo, const QString& recTime, const QString& pVal,
                                    const QString& sVal, ReasonText reason, const QString& comment) {
    m_rows.push_back(makeRow(seqNo, recTime, pVal, sVal, reason, comment));
}

void TraceTableModel::endRebuild() {
    endResetModel();
}

QString TraceTableModel::packedField(const QByteArray& packed, int field) {
    int from = 0;
    for (int i = 0; i < field; ++i)
        from = packed.indexOf(kSeparator, from) + 1;
    int to = packed.indexOf(kSeparator, from);
    if (to < 0)
        to = packed.size();
    return QString::fromUtf8(packed.constData() + from, to - from);
}

QString TraceTableModel::text(int row, int column) const {
    if (row < 0 || row >= size())
        return QString();
    const Row& r = m_rows[static_cast<size_t>(row)];
    switch (column) {
    case SeqNoColumn:
        return QString::number(r.seqNo);
    case RecTimeColumn:
        return packedField(r.packed, 0);
    case PValColumn:
        return packedField(r.packed, 1);
    case SValColumn:
        return packedField(r.packed, 2);
    case ReasonColumn:
        return reasonText(r.reason);
    case CommentColumn:
        return r.comment;
    default:
        return QString();
    }
}

void TraceTableModel::setComment(int row, const QString& comment) {
    if (row < 0 || row >= size())
        return;
    m_rows[static_cast<size_t>(row)].comment = comment;
    const QModelIndex cell = index(row, CommentColumn);
    emit dataChanged(cell, cell, {Qt::DisplayRole});
}

void TraceTableModel::setCommentWhereTime(const QString& recTime, const QString& comment) {
    const QByteArray wanted = recTime.toUtf8() + kSeparator;
    for (size_t row = 0; row < m_rows.size(); ++row) {
        if (m_rows[row].packed.startsWith(wanted))
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
