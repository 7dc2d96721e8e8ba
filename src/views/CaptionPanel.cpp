#include "CaptionPanel.h"

#include <QMouseEvent>

namespace kvx {

CaptionPanel::CaptionPanel(const QString& objectName, const QString& caption, QWidget* parent)
    : QLabel(caption, parent) {
    setObjectName(objectName);
    setFrameStyle(QFrame::Panel | QFrame::Sunken);
    setMargin(2);
    setMinimumWidth(60);
}

void CaptionPanel::mouseReleaseEvent(QMouseEvent* event) {
    QLabel::mouseReleaseEvent(event);
    if (event->button() == Qt::LeftButton && rect().contains(event->position().toPoint()))
        emit clicked();
}

} // namespace kvx
