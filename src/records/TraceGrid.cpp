#include "TraceGrid.h"

#include "FramePace.h"

#include <QHeaderView>

#include <utility>

namespace kvx {

TraceGrid::TraceGrid(QWidget* parent) : QTableView(parent) {
    // Scrolled by whole rows, a grid at its end moves every row when the next one
    // comes (the last row is kept at the bottom edge); scrolled by pixels it moves
    // them by one row, which the screen does by moving what is painted.
    setVerticalScrollMode(ScrollPerPixel);
}

void TraceGrid::setModel(QAbstractItemModel* model) {
    if (QAbstractItemModel* previous = this->model())
        disconnect(previous, nullptr, this, nullptr);
    QTableView::setModel(model);
    layoutWhole();
    if (!model)
        return;
    // Anything else that moves or replaces rows is laid out whole.
    const auto whole = [this] { layoutWhole(); };
    connect(model, &QAbstractItemModel::modelReset, this, whole);
    connect(model, &QAbstractItemModel::layoutChanged, this, whole);
    connect(model, &QAbstractItemModel::rowsRemoved, this, whole);
    connect(model, &QAbstractItemModel::rowsMoved, this, whole);
    connect(model, &QAbstractItemModel::columnsInserted, this, whole);
    connect(model, &QAbstractItemModel::columnsRemoved, this, whole);
}

void TraceGrid::rowsInserted(const QModelIndex& parent, int first, int last) {
    QTableView::rowsInserted(parent, first, last);
    if (m_firstAppended == kLayoutWhole)
        return;
    // Rows put in among the others move every row below them.
    if (parent.isValid() || last != model()->rowCount() - 1)
        layoutWhole();
    else if (m_firstAppended == kNothingAppended || first < m_firstAppended)
        m_firstAppended = first;
}

void TraceGrid::doItemsLayout() {
    const int firstAppended = m_firstAppended;
    m_firstAppended = kNothingAppended;
    if (firstAppended < 0) {
        QTableView::doItemsLayout();
        return;
    }
    // Only rows at the end came: the scroll range grows and the rows above stay
    // where they are. The view's own layout would repaint every visible cell, so
    // its repaint is dropped and only the new rows are painted.
    const QSize sizeBefore = viewport()->size();
    const int offsetBefore = verticalHeader()->offset();
    viewport()->setAttribute(Qt::WA_UpdatesDisabled, true);
    QTableView::doItemsLayout();
    viewport()->setAttribute(Qt::WA_UpdatesDisabled, false);
    // A scroll bar that came (or went) resized the cells' area, or the rows moved
    // (a grid scrolled to its end keeps the last row at the bottom edge, and a new
    // range can move it): all of it is painted.
    if (viewport()->size() != sizeBefore || verticalHeader()->offset() != offsetBefore)
        m_unpainted = kPaintWhole;
    else if (m_unpainted != kPaintWhole && (m_unpainted == kNothingAppended || firstAppended < m_unpainted))
        m_unpainted = firstAppended;
    // Rows that come faster than the frame rate are painted once a frame. Where the
    // rows are is found when they are painted: the grid may have scrolled meanwhile.
    atFramePace(viewport(), [this] { paintAppended(); });
}

void TraceGrid::paintAppended() {
    const int first = std::exchange(m_unpainted, kNothingAppended);
    if (first == kPaintWhole) {
        viewport()->update();
        return;
    }
    if (first == kNothingAppended)
        return;
    const int top = qMax(0, rowViewportPosition(first));
    if (top < viewport()->height())
        viewport()->update(0, top, viewport()->width(), viewport()->height() - top);
}

} // namespace kvx
