#pragma once
// The main frame: a multiple-document window that opens the record database,
// loads and places the six child windows, carries the menu bar (whose function
// entries only press the front panel's keys), arranges the children again on
// request and passes a request to quit on to the front panel.
//
// Places and sizes are designed in twips inside the frame's client area; the
// frame's own size is its size in twips without the window system's border.

#include "FrameParts.h"

#include <QMainWindow>
#include <QPointer>

class QAction;
class QMdiArea;
class QMdiSubWindow;

namespace kvx {

class mdiMain : public QMainWindow {
    Q_OBJECT
public:
    explicit mdiMain(FrameParts parts = realFrameParts(), QWidget* parent = nullptr);
    ~mdiMain() override;

    // Start-up: opens the database (kept open for the run), sizes the frame and
    // loads the child windows in their order. False when start-up cannot go on;
    // the message naming the cause has been shown.
    bool load();

    // The Window menu (`mnuWindowArea`): 0 digital screen, 1 analog meter,
    // 2 graphic record, 3 data table (each toggles maximised/normal, or reloads a
    // closed window at its place), 4 default position. Other indexes do nothing.
    void arrangeWindow(int index);

    // Presses a key of the front panel as if it had been clicked. False when the
    // panel or the key is not there.
    bool pressPanelKey(const QString& keyName);

    // Makes the front panel the active window, which runs its first activation.
    void activatePanel();
    // "Start" pressed for the operator (the --start option).
    void startTrace();

    void showSetting(); // "&Setting"
    void showHelp();    // "&Help"
    void showAbout();   // "&About"
    void quit();        // "&Quit": the front panel's cmdQuit

    QMdiArea* area() const { return m_area; }
    // The frame of a loaded child window, nullptr when it is not loaded.
    QMdiSubWindow* subWindowOf(const QString& formName) const;
    QWidget* loadedForm(const QString& formName) const;

protected:
    void resizeEvent(QResizeEvent* event) override;
    void changeEvent(QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    void buildMenus();
    void buildFileMenu();
    void buildFunctionMenu();
    void buildWindowMenu();
    void buildKeyShortcuts();

    QMdiSubWindow* loadForm(const QString& formName);
    QMdiSubWindow* loadFormOrFail(const QString& formName);
    void loadChildrenInOrder();
    void applyDisplayColorsToViews();

    void arrangeDigitalScreen();
    void toggleOrReload(const QString& formName);
    void reloadAtItsPlace(const QString& formName);
    void defaultPosition();
    void setDigitalDisplays(bool maximised, int gapTwips);

    void applyFrameSizeRule();
    void placeStatePanel();
    void setFrameSizeTwips(int width, int height);
    int graphicWidthTwips() const;
    int analogHeightTwips() const;
    void onSubWindowActivated(QMdiSubWindow* sub);

    FrameParts m_parts;
    QMdiArea* m_area = nullptr;
    QPointer<QWidget> m_setting;
    QPointer<QWidget> m_about;
    QPointer<QWidget> m_help;
    int m_sizeRuleDepth = 0;
};

} // namespace kvx
