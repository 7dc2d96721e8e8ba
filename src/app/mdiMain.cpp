#include "mdiMain.h"

#include "AccessibleNames.h"
#include "Forms.h"
#include "FunctionCatalogue.h"
#include "HelpGuide.h"
#include "Services.h"
#include "Session.h"
#include "Twips.h"
#include "frmAbout.h"

#include <QAbstractButton>
#include <QAction>
#include <QCloseEvent>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenu>
#include <QMenuBar>
#include <QScopedValueRollback>
#include <QScreen>
#include <algorithm>
#include <stdexcept>

namespace kvx {

namespace {

const char* const kFrameCaption = "DUAL DISPLAY DIGITAL MULTIMETER";
const char* const kWindowMenuError = "System [Window] Menu Error";

// Frame sizes (outer, twips): start-up sets one pair, every resize forces the
// other. The frame is laid out for these sizes only; its child windows are
// placed in twips against them.
constexpr int kStartFrameWidth = 12135;
constexpr int kStartFrameHeight = 8680;
constexpr int kFixedFrameWidth = 12000;
constexpr int kFixedFrameHeight = 8650;

// The right-hand column and the left-hand area of the design, in twips.
constexpr int kLeftAreaWidth = 7850;
constexpr int kLeftAreaHeight = 7300;
constexpr int kColumnWidth = 4100;
constexpr int kStartAnalogHeight = 1860;
constexpr int kStartDigitalHeight = 1860;
constexpr int kStartPanelHeight = 3420;
constexpr int kReloadDigitalHeight = 1820; // differs from start-up on purpose
constexpr int kReloadAnalogHeight = 2350;
constexpr int kReloadPanelHeight = 4900;
constexpr int kStateTop = 7300;
constexpr int kStateWidthMargin = 230;
constexpr int kSettingLeft = 1000;
constexpr int kSettingTop = 800;

// Display layouts of the digital screen, twips. The gap between the two
// displays differs per layout (+30 maximised, +5 normal, +0 default position).
struct DisplayLayout {
    int vmWidth;
    int vmHeight;
    int secondWidth;
    double secondHeight;
};
constexpr DisplayLayout kLargeDisplays{11475, 2475, 11475, 1537.5};
constexpr DisplayLayout kSmallDisplays{3825, 825, 3825, 615};
constexpr int kGapMaximised = 30;
constexpr int kGapNormal = 5;
constexpr int kGapDefaultPosition = 0;

// A child window that cannot be loaded: it ends start-up, or the arrangement
// routine with its one message.
struct FormLoadFailure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// A child window's frame. Closing it unloads the window; the frame then waits
// hidden for its deletion and must no longer count as loaded. A kept window is
// only hidden: it stays loaded, and the Window menu shows it again.
class FormFrame : public QMdiSubWindow {
public:
    explicit FormFrame(bool keptOnClose) : m_keptOnClose(keptOnClose) {}
    bool unloaded() const { return m_unloaded; }

protected:
    void closeEvent(QCloseEvent* event) override {
        if (m_keptOnClose) {
            event->ignore();
            hide();
            return;
        }
        QMdiSubWindow::closeEvent(event);
        if (event->isAccepted())
            m_unloaded = true;
    }

private:
    const bool m_keptOnClose;
    bool m_unloaded = false;
};

// The front panel runs the polling timer and quits the program, the data table
// stores every sample with the trace's clock, and the digital screen holds the
// formats the function keys gave it: closing one must not end a running trace,
// lose the settings and log that quitting writes, or show a reading in the
// wrong unit when it comes back.
bool keptOnClose(const QString& formName) {
    return formName == QLatin1String(kFormPanel) || formName == QLatin1String(kFormDataTable) ||
           formName == QLatin1String(kFormDigital);
}

bool shown(const QMdiSubWindow* sub) {
    return sub && sub->isVisible();
}

void placeTwips(QMdiSubWindow* sub, int left, int top, int width, int height) {
    sub->setGeometry(twipsToPixels(left), twipsToPixels(top), twipsToPixels(width), twipsToPixels(height));
}

void toggleMaximised(QMdiSubWindow* sub) {
    if (sub->isMaximized())
        sub->showNormal();
    else
        sub->showMaximized();
}

const char* const kWindowAreaCaptions[] = {"&Digital Meter", "&Analog meter", "&Graphic Record",
                                           "Data &Table", "Default Position"};

QMenu* addNamedMenu(QMenuBar* bar, const char* name, const QString& caption) {
    QMenu* menu = bar->addMenu(caption);
    menu->setObjectName(QString::fromLatin1(name));
    menu->menuAction()->setObjectName(QString::fromLatin1(name));
    return menu;
}

template <typename Target>
QAction* addNamedAction(Target* target, const QString& name, const QString& caption) {
    QAction* action = target->addAction(caption);
    action->setObjectName(name);
    return action;
}

} // namespace

mdiMain::mdiMain(FrameParts parts, QWidget* parent) : QMainWindow(parent), m_parts(std::move(parts)) {
    setObjectName(QStringLiteral("mdiMain"));
    installAccessibleNames();
    setWindowTitle(QString::fromLatin1(kFrameCaption));
    m_area = new QMdiArea(this);
    m_area->setObjectName(QStringLiteral("mdiArea"));
    // Children that reach past the frame's fixed client area stay reachable.
    m_area->setHorizontalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    m_area->setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    setCentralWidget(m_area);
    connect(m_area, &QMdiArea::subWindowActivated, this, &mdiMain::onSubWindowActivated);
    buildMenus();
}

mdiMain::~mdiMain() {
    // Closing the frame hides the child windows, and the area reports each change of
    // the active one; by then this object is only a QWidget, so it must not be told.
    disconnect(m_area, nullptr, this, nullptr);
}

// ----- menus -----

void mdiMain::buildMenus() {
    buildFileMenu();
    buildFunctionMenu();
    QAction* setting = addNamedAction(menuBar(), QStringLiteral("mnuSetting"), QStringLiteral("&Setting"));
    connect(setting, &QAction::triggered, this, &mdiMain::showSetting);
    buildWindowMenu();
    QAction* help = addNamedAction(menuBar(), QStringLiteral("munHelp"), QStringLiteral("&Help"));
    help->setShortcut(QKeySequence::HelpContents);
    connect(help, &QAction::triggered, this, &mdiMain::showHelp);
    QAction* about = addNamedAction(menuBar(), QStringLiteral("mnuAboutMe"), QStringLiteral("&About"));
    connect(about, &QAction::triggered, this, &mdiMain::showAbout);
    buildKeyShortcuts();
}

// The usual desktop keys for the panel keys used most. They press the key itself,
// so a key that is disabled at the moment (Save Rec while tracing) does nothing.
void mdiMain::buildKeyShortcuts() {
    const std::pair<QKeySequence, const char*> keys[] = {
        {QKeySequence::Save, "cmdSaveRecord"},
        {QKeySequence::Print, "cmdPrint"},
        {QKeySequence(Qt::CTRL | Qt::Key_E), "cmdExportCsv"},
    };
    for (const auto& [sequence, keyName] : keys) {
        auto* action = new QAction(this);
        action->setObjectName(QStringLiteral("key_") + QLatin1String(keyName));
        action->setShortcut(sequence);
        const QString name = QString::fromLatin1(keyName);
        connect(action, &QAction::triggered, this, [this, name] { pressPanelKey(name); });
        addAction(action);
    }
    // "&File" and "&FUNCTION" share Alt+F (pressed again, it moves on to the next);
    // Alt+U opens FUNCTION at once.
    auto* function = new QAction(this);
    function->setObjectName(QStringLiteral("key_mnuFunction"));
    function->setShortcut(QKeySequence(Qt::ALT | Qt::Key_U));
    connect(function, &QAction::triggered, this, [this] {
        if (auto* menu = findChild<QMenu*>(QStringLiteral("mnuFunction")))
            menuBar()->setActiveAction(menu->menuAction());
    });
    addAction(function);
}

void mdiMain::buildFileMenu() {
    QMenu* file = addNamedMenu(menuBar(), "mnuFile", QStringLiteral("&File"));
    QAction* save = addNamedAction(file, QStringLiteral("mnuSave"), QStringLiteral("Save"));
    connect(save, &QAction::triggered, this, [this] {
        if (QWidget* panel = loadedForm(kFormPanel); panel && m_parts.panelSaveOperationAs)
            m_parts.panelSaveOperationAs(panel);
    });
    QAction* open = addNamedAction(file, QStringLiteral("mnuOpen"), QStringLiteral("Load"));
    connect(open, &QAction::triggered, this, [this] {
        if (QWidget* panel = loadedForm(kFormPanel); panel && m_parts.panelLoadOperationFrom)
            m_parts.panelLoadOperationFrom(panel);
    });
    QAction* quitEntry = addNamedAction(file, QStringLiteral("mnuQuit"), QStringLiteral("&Quit"));
    quitEntry->setShortcut(QKeySequence::Quit);
    connect(quitEntry, &QAction::triggered, this, &mdiMain::quit);
}

void mdiMain::buildFunctionMenu() {
    // The entries press the front panel's keys, as the function table pairs them
    // (two of them deliberately not with their own key).
    QMenu* menu = addNamedMenu(menuBar(), "mnuFunction", QStringLiteral("&FUNCTION"));
    std::vector<const MeterFunction*> entries;
    for (const MeterFunction& function : meterFunctions())
        entries.push_back(&function);
    std::sort(entries.begin(), entries.end(), [](const MeterFunction* a, const MeterFunction* b) {
        return a->menuPosition < b->menuPosition;
    });
    for (const MeterFunction* entry : entries) {
        QAction* action = addNamedAction(menu, QString::fromLatin1(entry->menuEntry),
                                         QString::fromLatin1(entry->menuCaption));
        if (!entry->menuPresses)
            continue;
        const QString key = QString::fromLatin1(entry->menuPresses);
        connect(action, &QAction::triggered, this, [this, key] { pressPanelKey(key); });
    }
}

void mdiMain::buildWindowMenu() {
    QMenu* window = addNamedMenu(menuBar(), "mnuWindow", QStringLiteral("&Window"));
    int index = 0;
    for (const char* caption : kWindowAreaCaptions) {
        QAction* action =
            addNamedAction(window, QStringLiteral("mnuWindowArea_%1").arg(index), QString::fromUtf8(caption));
        action->setProperty("index", index);
        connect(action, &QAction::triggered, this, [this, index] { arrangeWindow(index); });
        ++index;
    }
}

bool mdiMain::pressPanelKey(const QString& keyName) {
    QWidget* panel = loadedForm(kFormPanel);
    auto* key = panel ? panel->findChild<QAbstractButton*>(keyName) : nullptr;
    if (!key)
        return false;
    key->click();
    return true;
}

// ----- child windows -----

QMdiSubWindow* mdiMain::subWindowOf(const QString& formName) const {
    const QString wanted = formName.trimmed();
    const auto subs = m_area->subWindowList();
    for (QMdiSubWindow* sub : subs) {
        const auto* frame = dynamic_cast<const FormFrame*>(sub);
        if (frame && !frame->unloaded() && sub->widget() && sub->widget()->objectName() == wanted)
            return sub;
    }
    return nullptr;
}

QWidget* mdiMain::loadedForm(const QString& formName) const {
    QMdiSubWindow* sub = subWindowOf(formName);
    return sub ? sub->widget() : nullptr;
}

QMdiSubWindow* mdiMain::loadForm(const QString& formName) {
    if (QMdiSubWindow* existing = subWindowOf(formName))
        return existing;
    const FrameParts::CreateWindow create = m_parts.creatorFor(formName);
    QWidget* form = create ? create() : nullptr;
    if (!form)
        return nullptr;
    if (m_parts.applyDisplayColors)
        m_parts.applyDisplayColors(form);
    auto* sub = new FormFrame(keptOnClose(formName));
    sub->setWidget(form);
    // Closing a child unloads it; the Window menu loads it again.
    sub->setAttribute(Qt::WA_DeleteOnClose);
    sub->setObjectName(formName + QStringLiteral("Frame"));
    // The state panel is a strip along the bottom that the frame keeps in place
    // itself; without a title bar it fits the space below the 7300-twip line.
    if (formName == QLatin1String(kFormState))
        sub->setWindowFlags(Qt::FramelessWindowHint);
    m_area->addSubWindow(sub);
    return sub;
}

QMdiSubWindow* mdiMain::loadFormOrFail(const QString& formName) {
    QMdiSubWindow* sub = loadForm(formName);
    if (!sub)
        throw FormLoadFailure("cannot load " + formName.toStdString());
    return sub;
}

int mdiMain::graphicWidthTwips() const {
    // A closed window counts with the size it is given at start-up.
    const QMdiSubWindow* graphic = subWindowOf(kFormGraphic);
    return graphic ? qRound(pixelsToTwips(graphic->width())) : kLeftAreaWidth;
}

int mdiMain::analogHeightTwips() const {
    const QMdiSubWindow* analog = subWindowOf(kFormAnalog);
    return analog ? qRound(pixelsToTwips(analog->height())) : kStartAnalogHeight;
}

bool mdiMain::load() {
    const QString databasePath = session().pathInFolder(kDatabaseFile);
    QString error;
    if (!m_parts.openDatabase || !m_parts.openDatabase(databasePath, &error)) {
        messages().notice(error.isEmpty() ? tr("The record database %1 cannot be opened.").arg(databasePath)
                                          : error);
        return false;
    }
    setFrameSizeTwips(kStartFrameWidth, kStartFrameHeight);
    try {
        loadChildrenInOrder();
        // The views were made before the panel read the settings that hold their colours.
        applyDisplayColorsToViews();
    } catch (const FormLoadFailure& failure) {
        messages().notice(tr("The program cannot start: %1.").arg(QString::fromStdString(failure.what())));
        return false;
    }
    return true;
}

void mdiMain::loadChildrenInOrder() {
    // The data table lies behind the graph from the start.
    QMdiSubWindow* table = loadFormOrFail(kFormDataTable);
    placeTwips(table, 0, 0, kLeftAreaWidth, kLeftAreaHeight);
    table->show();

    QMdiSubWindow* graphic = loadFormOrFail(kFormGraphic);
    graphic->show();
    placeTwips(graphic, 0, 0, kLeftAreaWidth, kLeftAreaHeight);

    QMdiSubWindow* analog = loadFormOrFail(kFormAnalog);
    placeTwips(analog, graphicWidthTwips(), 0, kColumnWidth, kStartAnalogHeight);
    analog->show();

    QMdiSubWindow* digital = loadFormOrFail(kFormDigital);
    placeTwips(digital, graphicWidthTwips(), analogHeightTwips(), kColumnWidth, kStartDigitalHeight);
    digital->show();

    // The panel's load steps mark the link LIVE or DEAD on the state panel, so the
    // state panel is loaded before it; it is placed and shown last.
    loadFormOrFail(kFormState);
    QMdiSubWindow* panel = loadFormOrFail(kFormPanel);
    const int digitalHeight = qRound(pixelsToTwips(digital->height()));
    placeTwips(panel, graphicWidthTwips(), analogHeightTwips() + digitalHeight, kColumnWidth,
               kStartPanelHeight);
    panel->show();

    QMdiSubWindow* state = loadFormOrFail(kFormState);
    state->move(0, twipsToPixels(kStateTop));
    state->show();
}

void mdiMain::applyDisplayColorsToViews() {
    if (!m_parts.applyDisplayColors)
        return;
    const auto subs = m_area->subWindowList();
    for (QMdiSubWindow* sub : subs) {
        if (sub->widget())
            m_parts.applyDisplayColors(sub->widget());
    }
}

void mdiMain::activatePanel() {
    if (QMdiSubWindow* panel = subWindowOf(kFormPanel))
        m_area->setActiveSubWindow(panel);
}

void mdiMain::onSubWindowActivated(QMdiSubWindow* sub) {
    // The panel's own step acts on its first activation only.
    if (sub && sub->widget() && sub->widget()->objectName() == QLatin1String(kFormPanel) &&
        m_parts.panelFirstActivation)
        m_parts.panelFirstActivation(sub->widget());
}

void mdiMain::startTrace() {
    if (QWidget* panel = loadedForm(kFormPanel); panel && m_parts.panelStartTrace)
        m_parts.panelStartTrace(panel);
}

// ----- window arrangement -----

void mdiMain::arrangeWindow(int index) {
    try {
        switch (index) {
        case 0:
            arrangeDigitalScreen();
            break;
        case 1:
            toggleOrReload(kFormAnalog);
            break;
        case 2:
            toggleOrReload(kFormGraphic);
            break;
        case 3:
            toggleOrReload(kFormDataTable);
            break;
        case 4:
            defaultPosition();
            break;
        default:
            break;
        }
    } catch (const std::exception&) {
        // Windows already changed stay changed.
        messages().notice(QString::fromLatin1(kWindowMenuError));
    }
}

void mdiMain::setDigitalDisplays(bool maximised, int gapTwips) {
    DigitalScreen* screen = forms().digital;
    if (!screen)
        throw FormLoadFailure("the digital screen offers no displays");
    const DisplayLayout& layout = maximised ? kLargeDisplays : kSmallDisplays;
    screen->layoutDisplays(layout.vmWidth, layout.vmHeight, layout.vmHeight + gapTwips, layout.secondWidth,
                           layout.secondHeight);
}

void mdiMain::arrangeDigitalScreen() {
    QMdiSubWindow* digital = subWindowOf(kFormDigital);
    if (!shown(digital)) {
        reloadAtItsPlace(kFormDigital);
        return;
    }
    const bool maximise = !digital->isMaximized();
    toggleMaximised(digital);
    setDigitalDisplays(maximise, maximise ? kGapMaximised : kGapNormal);
}

void mdiMain::toggleOrReload(const QString& formName) {
    // A kept window that was closed comes back the way an unloaded one does.
    if (QMdiSubWindow* sub = subWindowOf(formName); shown(sub))
        toggleMaximised(sub);
    else
        reloadAtItsPlace(formName);
}

void mdiMain::reloadAtItsPlace(const QString& formName) {
    // Read before loading: the new window must not count itself.
    const int graphicWidth = graphicWidthTwips();
    const int analogHeight = analogHeightTwips();
    QMdiSubWindow* sub = loadFormOrFail(formName);
    if (sub->isMaximized())
        sub->showNormal();
    if (formName == QLatin1String(kFormDigital)) {
        placeTwips(sub, graphicWidth, analogHeight, kColumnWidth, kReloadDigitalHeight);
        // A screen closed while maximised comes back with the displays of a new one.
        setDigitalDisplays(false, kGapNormal);
        sub->show();
    } else if (formName == QLatin1String(kFormAnalog)) {
        placeTwips(sub, graphicWidth, 0, kColumnWidth, kReloadAnalogHeight);
        sub->show();
    } else if (formName == QLatin1String(kFormGraphic)) {
        placeTwips(sub, 0, 0, kLeftAreaWidth, kLeftAreaHeight);
        sub->show();
        sub->raise();
        m_area->setActiveSubWindow(sub);
    } else if (formName == QLatin1String(kFormDataTable)) {
        placeTwips(sub, 0, 0, kLeftAreaWidth, kLeftAreaHeight);
        sub->show();
    } else if (formName == QLatin1String(kFormPanel)) {
        placeTwips(sub, graphicWidth, analogHeight, kColumnWidth, kReloadPanelHeight);
        sub->show();
    }
}

void mdiMain::defaultPosition() {
    // Only the maximised state is undone: windows the operator dragged stay put.
    for (const char* name : {kFormAnalog, kFormGraphic, kFormDataTable, kFormDigital}) {
        if (QMdiSubWindow* sub = subWindowOf(name); shown(sub))
            sub->showNormal();
    }
    if (subWindowOf(kFormDigital))
        setDigitalDisplays(false, kGapDefaultPosition);
    if (!shown(subWindowOf(kFormPanel)))
        reloadAtItsPlace(kFormPanel);
}

// ----- frame size -----

void mdiMain::setFrameSizeTwips(int width, int height) {
    // The window system's own border differs between desktops and is not counted.
    // On a screen too small for the design (a scale factor of 2, a small laptop)
    // the frame takes the room there is; the area scrolls to the windows beyond.
    QSize size(twipsToPixels(width), twipsToPixels(height));
    const QScreen* shownOn = screen();
    const QSize room = shownOn ? shownOn->availableGeometry().size() : size;
    if (size.width() > room.width() || size.height() > room.height())
        size = size.boundedTo(room - (frameGeometry().size() - geometry().size()));
    resize(size);
}

void mdiMain::resizeEvent(QResizeEvent* event) {
    QMainWindow::resizeEvent(event);
    applyFrameSizeRule();
}

void mdiMain::changeEvent(QEvent* event) {
    QMainWindow::changeEvent(event);
    // Some window systems report the maximised state after the resize it brought.
    if (event->type() == QEvent::WindowStateChange && (isMaximized() || isFullScreen()))
        QMetaObject::invokeMethod(this, &mdiMain::applyFrameSizeRule, Qt::QueuedConnection);
}

void mdiMain::applyFrameSizeRule() {
    // Setting the size below resizes the frame again, and that pass moves the
    // state panel to the final width. A window system that refuses the size must
    // not make this recurse for ever.
    constexpr int kMaxNesting = 3;
    if (m_sizeRuleDepth >= kMaxNesting)
        return;
    const QScopedValueRollback<int> depth(m_sizeRuleDepth, m_sizeRuleDepth + 1);
    if (isMaximized() || isFullScreen())
        showNormal();
    placeStatePanel();
    setFrameSizeTwips(kFixedFrameWidth, kFixedFrameHeight);
    // A frame that is still being shown takes its new size without a second
    // resize event; the state panel follows it here.
    placeStatePanel();
}

void mdiMain::placeStatePanel() {
    if (QMdiSubWindow* state = subWindowOf(kFormState)) {
        const int frameWidth = qRound(pixelsToTwips(width()));
        state->setGeometry(0, twipsToPixels(kStateTop), twipsToPixels(frameWidth - kStateWidthMargin),
                           state->height());
    }
}

// ----- dialogs, help, quit -----

void mdiMain::showSetting() {
    if (!m_setting) {
        const FrameParts::CreateWindow create = m_parts.creatorFor(kFormSetting);
        m_setting = create ? create() : nullptr;
        if (!m_setting)
            return;
        m_setting->setParent(this, (m_setting->windowFlags() & ~Qt::WindowType_Mask) | Qt::Dialog);
        if (m_parts.watchColorChanges)
            m_parts.watchColorChanges(m_setting, [this] { applyDisplayColorsToViews(); });
    }
    m_setting->move(m_area->mapToGlobal(QPoint(twipsToPixels(kSettingLeft), twipsToPixels(kSettingTop))));
    m_setting->show();
    m_setting->raise();
    m_setting->activateWindow();
}

void mdiMain::showHelp() {
    if (!m_help)
        m_help = new frmHelp(findUserGuide(), this);
    m_help->show();
    m_help->raise();
    m_help->activateWindow();
}

void mdiMain::showAbout() {
    if (!m_about)
        m_about = new frmAbout(this);
    m_about->show();
    m_about->raise();
    m_about->activateWindow();
}

void mdiMain::quit() {
    if (QWidget* panel = loadedForm(kFormPanel); panel && m_parts.panelQuit)
        m_parts.panelQuit(panel);
}

void mdiMain::closeEvent(QCloseEvent* event) {
    // cmdQuit ends the process itself; when it returns (no panel), the frame closes as usual.
    quit();
    event->accept();
}

} // namespace kvx
