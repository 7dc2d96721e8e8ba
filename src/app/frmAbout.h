#pragma once
// The About box: program title, version and a way to the system's information.

#include <QDialog>
#include <QPointer>
#include <functional>

class QPushButton;

namespace kvx {

inline const char* const kVersionText = "Version : 1.0.1";

class frmAbout : public QDialog {
    Q_OBJECT
public:
    // Finds an installed system-information tool (empty text: none), and starts one.
    using ToolFinder = std::function<QString()>;
    using ToolStarter = std::function<bool(const QString& program)>;

    explicit frmAbout(QWidget* parent = nullptr);

    void setSystemInfoTool(ToolFinder finder, ToolStarter starter);

    // "System Info...": the installed tool, or the program's own summary window.
    void showSystemInfo();
    // The summary window, once it has been shown.
    QWidget* systemInfoWindow() const { return m_infoWindow; }

private:
    void showOwnSummary();

    ToolFinder m_findTool;
    ToolStarter m_startTool;
    QPointer<QWidget> m_infoWindow;
};

} // namespace kvx
