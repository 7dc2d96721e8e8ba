#pragma once
// The real parts: the functions behind `realFrameParts()`, the only code of the
// application that knows the window libraries' types.

#include <QString>
#include <functional>

class QWidget;

namespace kvx::parts {

QWidget* createDataTable();
QWidget* createGraphic();
QWidget* createAnalog();
QWidget* createDigital();
QWidget* createPanel();
QWidget* createState();
QWidget* createSetting();

bool openRecordDatabase(const QString& path, QString* error);

void applyDisplayColors(QWidget* window);
void watchColorChanges(QWidget* setting, std::function<void()> changed);

void panelFirstActivation(QWidget* panel);
void panelQuit(QWidget* panel);
void panelStartTrace(QWidget* panel);
void panelSaveOperationAs(QWidget* panel);
void panelLoadOperationFrom(QWidget* panel);

} // namespace kvx::parts
