#pragma once
// The data table's grid. A trace grows by one row a second, usually while the grid
// shows its newest rows. A plain table view lays out and repaints every visible
// cell for each row added; this one lays out the scroll range and repaints only
// the rows added, and scrolling to the new bottom moves the painted rows up
// instead of painting them again. Any other change of the rows (a new filter, a
// cleared trace, removed rows) is laid out and painted whole, as usual.

#include <QTableView>

namespace kvx {

class TraceGrid final : public QTableView {
public:
    explicit TraceGrid(QWidget* parent = nullptr);
    void setModel(QAbstractItemModel* model) override;
    void doItemsLayout() override;

protected:
    void rowsInserted(const QModelIndex& parent, int first, int last) override;

private:
    void layoutWhole() { m_firstAppended = kLayoutWhole; }
    void paintAppended();

    static constexpr int kNothingAppended = -1;
    static constexpr int kLayoutWhole = -2;
    // The first row added since the last layout, or one of the two marks above.
    int m_firstAppended = kLayoutWhole;
    // The first row laid out but not yet painted, kNothingAppended, or all of them.
    static constexpr int kPaintWhole = -3;
    int m_unpainted = kNothingAppended;
};

} // namespace kvx
