// The child windows of the frame, the settings dialog and the database they share.
#include "FramePartsReal.h"

#include "RecordOperations.h"
#include "RecordStore.h"
#include "Session.h"
#include "SessionStore.h"
#include "TraceReport.h"
#include "clsKVX5310.h"
#include "frmANALOGMETER.h"
#include "frmDIGITALMETERMaster.h"
#include "frmDataTable.h"
#include "frmGraphicRecord.h"
#include "frmKVX5130.h"
#include "frmSetting.h"
#include "frmState.h"

#include <QAbstractButton>
#include <algorithm>

namespace kvx::parts {

namespace {

frmKVX5130* asPanel(QWidget* panel) {
    return qobject_cast<frmKVX5130*>(panel);
}

} // namespace

QWidget* createDataTable() {
    auto* table = new frmDataTable(driverUnits(), recordStore());
    table->setPrinting([](QWidget* parent) { showPrintPreview(parent); },
                       [](QWidget* parent) { showGridPrintPreview(parent); });
    return table;
}

QWidget* createGraphic() {
    return new frmGraphicRecord(driverUnits(), recordStore());
}

QWidget* createAnalog() {
    return new frmANALOGMETER(driverUnits());
}
QWidget* createDigital() {
    return new frmDIGITALMETERMaster;
}
QWidget* createState() {
    return new frmState(driverUnits());
}

QWidget* createPanel() {
    auto* panel = new frmKVX5130;
    panel->load();
    return panel;
}

bool openRecordDatabase(const QString&, QString* error) {
    QString problem;
    if (openSessionRecordStore(&problem))
        return true;
    if (error)
        *error = problem;
    return false;
}

void applyDisplayColors(QWidget* window) {
    const DisplayColors& colors = displayColorsInUse(session().operation.colors);
    if (auto* digital = qobject_cast<frmDIGITALMETERMaster*>(window))
        digital->applyColors(colors);
    else if (auto* analog = qobject_cast<frmANALOGMETER*>(window))
        analog->applyColors(colors);
    else if (auto* graphic = qobject_cast<frmGraphicRecord*>(window))
        graphic->applyColors(colors);
}

QWidget* createSetting() {
    return new frmSetting;
}

void watchColorChanges(QWidget* setting, std::function<void()> changed) {
    if (auto* dialog = qobject_cast<frmSetting*>(setting))
        QObject::connect(dialog, &frmSetting::colorsChanged, dialog, std::move(changed));
}

void panelFirstActivation(QWidget* panel) {
    if (frmKVX5130* p = asPanel(panel))
        p->firstActivation();
}

void panelQuit(QWidget* panel) {
    // cmdQuit is the panel's Quit key; pressing it runs the whole quit routine.
    if (auto* quitKey = panel->findChild<QAbstractButton*>(QStringLiteral("cmdQuit")))
        quitKey->click();
}

void panelStartTrace(QWidget* panel) {
    if (frmKVX5130* p = asPanel(panel))
        p->startTraceNow();
}

void panelSaveOperationAs(QWidget* panel) {
    if (frmKVX5130* p = asPanel(panel))
        p->saveOperationAs();
}

void panelLoadOperationFrom(QWidget* panel) {
    if (frmKVX5130* p = asPanel(panel))
        p->loadOperationFrom();
}

} // namespace kvx::parts
