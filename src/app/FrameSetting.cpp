// The settings dialog, apart from the views: both libraries name their colour
// tables alike.
#include "FramePartsReal.h"

#include "frmSetting.h"

namespace kvx::parts {

QWidget* createSetting() {
    return new frmSetting;
}

void watchColorChanges(QWidget* setting, std::function<void()> changed) {
    if (auto* dialog = qobject_cast<frmSetting*>(setting))
        QObject::connect(dialog, &frmSetting::colorsChanged, dialog, std::move(changed));
}

} // namespace kvx::parts
