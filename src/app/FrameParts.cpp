#include "FrameParts.h"

#include "FramePartsReal.h"

namespace kvx {

FrameParts::CreateWindow FrameParts::creatorFor(const QString& formName) const {
    const QString name = formName.trimmed();
    if (name == QLatin1String(kFormDataTable))
        return dataTable;
    if (name == QLatin1String(kFormGraphic))
        return graphic;
    if (name == QLatin1String(kFormAnalog))
        return analog;
    if (name == QLatin1String(kFormDigital))
        return digital;
    if (name == QLatin1String(kFormPanel))
        return panel;
    if (name == QLatin1String(kFormState))
        return state;
    if (name == QLatin1String(kFormSetting))
        return setting;
    return {};
}

FrameParts realFrameParts() {
    FrameParts parts;
    parts.dataTable = parts::createDataTable;
    parts.graphic = parts::createGraphic;
    parts.analog = parts::createAnalog;
    parts.digital = parts::createDigital;
    parts.panel = parts::createPanel;
    parts.state = parts::createState;
    parts.setting = parts::createSetting;
    parts.openDatabase = parts::openRecordDatabase;
    parts.applyDisplayColors = parts::applyDisplayColors;
    parts.watchColorChanges = parts::watchColorChanges;
    parts.panelFirstActivation = parts::panelFirstActivation;
    parts.panelQuit = parts::panelQuit;
    parts.panelStartTrace = parts::panelStartTrace;
    parts.panelSaveOperationAs = parts::panelSaveOperationAs;
    parts.panelLoadOperationFrom = parts::panelLoadOperationFrom;
    return parts;
}

} // namespace kvx
