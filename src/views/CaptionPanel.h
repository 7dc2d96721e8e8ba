#pragma once
// A sunken caption panel that reports a click, for the graph's MAX/MIN panels.

#include <QLabel>

namespace kvx {

class CaptionPanel : public QLabel {
    Q_OBJECT
public:
    explicit CaptionPanel(const QString& objectName, const QString& caption, QWidget* parent = nullptr);

signals:
    void clicked();

protected:
    void mouseReleaseEvent(QMouseEvent* event) override;
};

} // namespace kvx
