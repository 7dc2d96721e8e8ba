#pragma once
// Names for assistive tools. Screen readers announce a control by its accessible
// name; Qt derives one from a button's caption only, so steppers, text fields
// and the diagnostic buttons named after themselves would be announced as
// "button" or "edit". Installed once on the application, this gives every
// control that takes the keyboard focus a name as it is first shown: its own
// when set, else the table of purposes, its caption, its tool tip, or its
// object name spelled out ("txtStartTime" -> "Start Time").

#include <QString>

class QWidget;

namespace kvx {

// Installs the naming on the running application; calling it again does nothing.
void installAccessibleNames();

// The name a control is given when it has none of its own.
QString accessibleNameFor(const QWidget* control);

} // namespace kvx
