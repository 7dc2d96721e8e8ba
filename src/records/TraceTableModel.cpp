#include "TraceTableModel.h"

#include <QElapsedTimer>

#include <algorithm>

namespace kvx {

TraceTableModel::TraceTableModel(RecordStore& store) : m_store(store) {}

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

// ---- Filling: the rowids of the rows shown ----

bool TraceTableModel::startFill(int filterIndex) {
    beginResetModel();
    clearAll();
    const bool started = m_store.startRowIdReader(filterIndex, &m_fill);
    endResetModel();
    return started;
}

bool TraceTableModel::filling() const {
    return m_fill.active();
}

bool TraceTableModel::fillSome(int milliseconds) {
    constexpr int kRowIdsPerRead = 8192;
    QElapsedTimer spent;
    spent.start();
    std::vector<qint64> rowIds;
    bool more = m_fill.active();
    while (more && spent.elapsed() < milliseconds) {
        rowIds.clear();
        more = m_fill.readRowIds(kRowIdsPerRead, &rowIds);
        if (rowIds.empty())
            continue;
        // Rows appended while filling come after every stored row: they are numbered after them.
        const int first = static_cast<int>(m_rowIds.size());
        beginInsertRows(QModelIndex(), first, first + static_cast<int>(rowIds.size()) - 1);
        m_rowIds.insert(m_rowIds.end(), rowIds.begin(), rowIds.end());
        endInsertRows();
    }
    return more;
}

void TraceTableModel::finishFill() {
    while (fillSome(1000)) {
    }
}

// ---- Rows appended live ----

void TraceTableModel::appendRow(qint64 seqNo, const QString& recTime, const QString& pVal,
                                const QString& sVal, ReasonText reason, bool noReply) {
    const int at = size();
    beginInsertRows(QModelIndex(), at, at);
    m_tail.push_back(Row{seqNo, recTime, pVal, sVal, QString(), reason, noReply});
    endInsertRows();
    swapWrittenTail();
}

void TraceTableModel::swapWrittenTail() {
    // The samples still queued are the newest ones: the rows before them are on the
    // disk. Each is swapped only when each sample number is found once: a sample
    // numbered like a stored row (a filtered grid numbers new samples after its own
    // rows) stays in memory.
    const size_t queued = std::min(m_tail.size(), m_store.samplesWaiting());
    const size_t written = m_tail.size() - queued;
    if (written <= kTailRowsKept || m_fill.active())
        return;
    std::vector<qint64> rowIds;
    if (!m_store.readRowIdsOfSamples(m_tail.front().seqNo, m_tail[written - 1].seqNo, &rowIds) ||
        rowIds.size() != written)
        return;
    // A match shown live keeps its long text; read back it would show the short one.
    for (size_t i = 0; i < written; ++i) {
        const ReasonText live = m_tail[i].reason;
        if (live == ReasonText::MatchLevel || live == ReasonText::MatchPercent)
            m_liveReasons.insert(static_cast<int>(m_rowIds.size() + i), live);
    }
    m_rowIds.insert(m_rowIds.end(), rowIds.begin(), rowIds.end());
    m_tail.erase(m_tail.begin(), m_tail.begin() + static_cast<qsizetype>(written));
}

void TraceTableModel::clearAll() {
    m_fill.stop();
    m_rowIds.clear();
    m_rowIds.shrink_to_fit();
    m_tail.clear();
    m_liveReasons.clear();
    m_pages.clear();
    m_selectedRow = -1;
}

void TraceTableModel::clearRows() {
    beginResetModel();
    clearAll();
    endResetModel();
}

// ---- Reading rows ----

const TraceTableModel::Page* TraceTableModel::page(int first) const {
    for (auto it = m_pages.begin(); it != m_pages.end(); ++it) {
        if (it->first == first) {
            m_pages.splice(m_pages.begin(), m_pages, it);
            return &m_pages.front();
        }
    }
    const size_t end = std::min(m_rowIds.size(), static_cast<size_t>(first) + kPageRows);
    const std::vector<qint64> rowIds(m_rowIds.begin() + first,
                                     m_rowIds.begin() + static_cast<qsizetype>(end));
    std::vector<TempSample> samples;
    // A database another program holds locked gives blank rows for now; the next paint asks again.
    if (!m_store.readSamplesByRowId(rowIds, &samples))
        return nullptr;
    Page fresh{first, {}};
    fresh.rows.reserve(samples.size());
    for (const TempSample& s : samples) {
        const int at = first + static_cast<int>(fresh.rows.size());
        const ReasonText reason = m_liveReasons.value(at, reasonTextOfCode(s.reason));
        fresh.rows.push_back(Row{s.seqNo, s.recTime, s.pVal, s.sVal, s.comment, reason, s.noReply});
    }
    m_pages.push_front(std::move(fresh));
    if (m_pages.size() > kPagesKept)
        m_pages.pop_back();
    return &m_pages.front();
}

const TraceTableModel::Row* TraceTableModel::row(int index) const {
    if (index < 0 || index >= size())
        return nullptr;
    const size_t stored = m_rowIds.size();
    if (static_cast<size_t>(index) >= stored)
        return &m_tail[static_cast<size_t>(index) - stored];
    const int first = index - index % kPageRows;
    const Page* p = page(first);
    if (p && static_cast<size_t>(index - first) >= p->rows.size()) {
        // Kept from before more rows were stored: read again.
        m_pages.pop_front();
        p = page(first);
    }
    if (!p || static_cast<size_t>(index - first) >= p->rows.size())
        return nullptr;
    return &p->rows[static_cast<size_t>(index - first)];
}

QString TraceTableModel::text(int index, int column) const {
    const Row* r = row(index);
    if (!r)
        return QString();
    switch (column) {
    case SeqNoColumn:
        return QString::number(r->seqNo);
    case RecTimeColumn:
        return r->recTime;
    case PValColumn:
        return r->pVal;
    case SValColumn:
        return r->sVal;
    case ReasonColumn:
        return reasonText(r->reason);
    case CommentColumn:
        return r->comment;
    default:
        return QString();
    }
}

bool TraceTableModel::noReply(int index) const {
    const Row* r = row(index);
    return r && r->noReply;
}

void TraceTableModel::setCommentWhereTime(const QString& recTime, const QString& comment) {
    // The store has the comment: kept pages are read again when next painted.
    m_pages.clear();
    for (Row& r : m_tail) {
        if (r.recTime == recTime)
            r.comment = comment;
    }
    if (size() > 0)
        emit dataChanged(index(0, CommentColumn), index(size() - 1, CommentColumn), {Qt::DisplayRole});
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
