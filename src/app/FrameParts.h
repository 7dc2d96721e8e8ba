#pragma once
// What the main frame is built from: one small function per child window, the
// database opening, and the main panel's routines that the frame runs. The frame
// only ever sees QWidgets; `realFrameParts()` is the one place that knows the
// window libraries' types. A test can swap a single part (a window that fails to
// load, a quit that does not end the test) and keep the real rest.

#include <QString>
#include <functional>

class QWidget;

namespace kvx {

// Object names of the windows the frame loads.
inline const char* const kFormDataTable = "frmDataTable";
inline const char* const kFormGraphic = "frmGraphicRecord";
inline const char* const kFormAnalog = "frmANALOGMETER";
inline const char* const kFormDigital = "frmDIGITALMETERMaster";
inline const char* const kFormPanel = "frmKVX5130";
inline const char* const kFormState = "frmState";
inline const char* const kFormSetting = "frmSetting";
inline const char* const kFormAbout = "frmAbout";

struct FrameParts {
    using CreateWindow = std::function<QWidget*()>;
    using PanelRoutine = std::function<void(QWidget* panel)>;

    // Each returns a new window (named as its form), or nullptr when it cannot be made.
    CreateWindow dataTable;
    CreateWindow graphic;
    CreateWindow analog;
    CreateWindow digital;
    CreateWindow panel; // runs the panel's own load steps
    CreateWindow state;
    CreateWindow setting;

    // Opens the one database connection for the run. False with the reason (naming the file).
    std::function<bool(const QString& path, QString* error)> openDatabase;

    // Gives a view the display colours of the operation record; other windows are left alone.
    std::function<void(QWidget* window)> applyDisplayColors;
    // Calls `changed` whenever the settings dialog has stored new colours.
    std::function<void(QWidget* setting, std::function<void()> changed)> watchColorChanges;

    PanelRoutine panelFirstActivation;   // presses the saved function's key once
    PanelRoutine panelQuit;              // cmdQuit: saves, writes the log, ends the process
    PanelRoutine panelStartTrace;        // as if "Start" had been pressed
    PanelRoutine panelSaveOperationAs;   // File "Save"
    PanelRoutine panelLoadOperationFrom; // File "Load"

    // The creator for a form name, or an empty function for a name the frame does not load.
    CreateWindow creatorFor(const QString& formName) const;
};

// The real windows from the window libraries.
FrameParts realFrameParts();

} // namespace kvx
