#include "Forms.h"

#include <QApplication>
#include <QWidget>

namespace kvx {

Forms& forms() {
    static Forms f;
    return f;
}

bool IsFormLoaded(const QString& name) {
    const QString wanted = name.trimmed();
    const auto widgets = QApplication::allWidgets();
    for (QWidget* w : widgets) {
        if (w->property("kvxForm").toBool() && w->objectName() == wanted)
            return true;
    }
    return false;
}

} // namespace kvx
