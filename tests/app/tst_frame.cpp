// The main frame with the real child windows, connected to the simulated meter
// on a pseudo-terminal: start-up order and places, the Window menu, the frame's
// fixed size, the FUNCTION menu, quitting, the database at start-up, and the
// Setting, Help and About entries.
#include "Forms.h"
#include "HelpGuide.h"
#include "NumericDisplay.h"
#include "Services.h"
#include "Session.h"
#include "frmAbout.h"
#include "frmDIGITALMETERMaster.h"
#include "frmKVX5130.h"
#include "mdiMain.h"

#include <QAbstractButton>
#include <QAction>
#include <QLabel>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QPlainTextEdit>
#include <QProcess>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTextBrowser>
#include <QtTest>

#include <map>
#include <memory>

using namespace kvx;

namespace {

// Twips of the design to the pixels of the screen (15 to a pixel).
int px(double twips) {
    return qRound(twips / 15.0);
}
QRect twipsRect(int left, int top, int width, int height) {
    return QRect(px(left), px(top), px(width), px(height));
}

// A digital screen that keeps every display layout it is given, in twips.
class RecordingDigitalScreen : public QWidget, public DigitalScreen {
public:
    struct Layout {
        int vmWidth, vmHeight, secondTop, secondWidth;
        double secondHeight;
        bool operator==(const Layout& o) const {
            return vmWidth == o.vmWidth && vmHeight == o.vmHeight && secondTop == o.secondTop &&
                   secondWidth == o.secondWidth && secondHeight == o.secondHeight;
        }
    };
    RecordingDigitalScreen() {
        setObjectName(QStringLiteral("frmDIGITALMETERMaster"));
        setProperty("kvxForm", true);
        forms().digital = this;
    }
    ~RecordingDigitalScreen() override {
        if (forms().digital == this)
            forms().digital = nullptr;
    }
    void setPrimaryValue(double) override {}
    double primaryValue() const override { return 0; }
    void setPrimaryFormat(const QString&) override {}
    QString primaryFormat() const override { return {}; }
    void setSecondaryValue(double) override {}
    double secondaryValue() const override { return 0; }
    void setSecondaryFormat(const QString&) override {}
    QString secondaryFormat() const override { return {}; }
    void layoutDisplays(int vmWidth, int vmHeight, int secondTop, int secondWidth,
                        double secondHeight) override {
        layouts.push_back({vmWidth, vmHeight, secondTop, secondWidth, secondHeight});
    }
    std::vector<Layout> layouts;
};

using Layout = RecordingDigitalScreen::Layout;
const Layout kLarge{11475, 2475, 2475 + 30, 11475, 1537.5};
const Layout kSmall{3825, 825, 825 + 5, 3825, 615};
const Layout kDefault{3825, 825, 825, 3825, 615};

} // namespace

Q_DECLARE_METATYPE(QList<int>)

class TestFrame : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();

    void startUpPlacesWindows_data();
    void startUpPlacesWindows();
    void startUpStacksGraphOverTableAndRestoresFunction();
    void firstRunCreatesDatabase();
    void unusableDatabaseEndsStartUp_data();
    void unusableDatabaseEndsStartUp();

    void digitalScreenToggles();
    void toggleMaximisesAndRestores_data();
    void toggleMaximisesAndRestores();
    void closedWindowReloadsAtItsPlace_data();
    void closedWindowReloadsAtItsPlace();
    void defaultPositionUndoesMaximisedOnly();
    void defaultPositionLeavesOpenPanelWhereItIs();
    void windowMenuFailureShowsMessage();
    void otherIndexesDoNothing();

    void frameSizeIsFixed_data();
    void frameSizeIsFixed();

    void functionMenuPressesKeys_data();
    void functionMenuPressesKeys();

    void isFormLoaded();
    void quitRunsPanelQuit_data();
    void quitRunsPanelQuit();
    void startTraceStartsPolling();

    void settingShowsDialogModeless();
    void recordColoursReachViews();
    void helpShowsGuide();
    void aboutAndSystemInfo();

private:
    mdiMain& startFrame();
    frmKVX5130* panel() const { return qobject_cast<frmKVX5130*>(m_frame->loadedForm("frmKVX5130")); }
    QMdiSubWindow* sub(const char* form) const { return m_frame->subWindowOf(QString::fromLatin1(form)); }
    void closeForm(const char* form);

    QProcess m_simulator;
    QString m_device;
    std::unique_ptr<QTemporaryDir> m_folder;
    std::shared_ptr<ScriptedMessageService> m_messages;
    FrameParts m_parts;
    RecordingDigitalScreen* m_digital = nullptr;
    std::unique_ptr<mdiMain> m_frame;
};

void TestFrame::initTestCase() {
    m_simulator.start(QStringLiteral(KVX_SIM_BINARY), {"--pty", "--seed", "1"});
    QVERIFY(m_simulator.waitForStarted());
    QVERIFY(m_simulator.waitForReadyRead(5000));
    m_device = QString::fromUtf8(m_simulator.readLine()).trimmed();
    QVERIFY(!m_device.isEmpty());
}

void TestFrame::cleanupTestCase() {
    m_simulator.terminate();
    m_simulator.waitForFinished(3000);
}

void TestFrame::init() {
    m_folder = std::make_unique<QTemporaryDir>();
    resetSession();
    session().programFolder = m_folder->path();
    session().linkOverride = QStringLiteral("serial:") + m_device;
    m_messages = std::make_shared<ScriptedMessageService>();
    setMessages(m_messages);
    m_parts = realFrameParts();
    m_digital = nullptr;
}

void TestFrame::cleanup() {
    m_frame.reset();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

mdiMain& TestFrame::startFrame() {
    m_frame = std::make_unique<mdiMain>(m_parts);
    if (!m_frame->load())
        qFatal("start-up failed: %s", qPrintable(m_messages->texts().join(" | ")));
    m_frame->show();
    if (!QTest::qWaitForWindowExposed(m_frame.get()))
        qFatal("the frame was not shown");
    if (frmKVX5130* p = panel())
        p->setExitAction([] {});
    return *m_frame;
}

void TestFrame::closeForm(const char* form) {
    QMdiSubWindow* frame = sub(form);
    QVERIFY(frame);
    QVERIFY(frame->close());
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!sub(form));
}

// ----- start-up -----

void TestFrame::startUpPlacesWindows_data() {
    QTest::addColumn<QString>("form");
    QTest::addColumn<QRect>("place");
    QTest::newRow("data table") << "frmDataTable" << twipsRect(0, 0, 7850, 7300);
    QTest::newRow("graph") << "frmGraphicRecord" << twipsRect(0, 0, 7850, 7300);
    QTest::newRow("analog meter") << "frmANALOGMETER" << twipsRect(7850, 0, 4100, 1860);
    QTest::newRow("digital screen") << "frmDIGITALMETERMaster" << twipsRect(7850, 1860, 4100, 1860);
    QTest::newRow("front panel") << "frmKVX5130" << twipsRect(7850, 1860 + 1860, 4100, 3420);
}

void TestFrame::startUpPlacesWindows() {
    QFETCH(QString, form);
    startFrame();
    QMdiSubWindow* frame = m_frame->subWindowOf(form);
    QVERIFY(frame);
    QVERIFY(frame->isVisible());
    QTEST(frame->geometry(), "place");
}

void TestFrame::startUpStacksGraphOverTableAndRestoresFunction() {
    startFrame();
    const auto stack = m_frame->area()->subWindowList(QMdiArea::StackingOrder);
    QVERIFY(stack.indexOf(sub("frmGraphicRecord")) > stack.indexOf(sub("frmDataTable")));
    // The state panel runs along the bottom, as wide as the fixed frame allows.
    QCOMPARE(sub("frmState")->pos(), QPoint(0, px(7300)));
    QCOMPARE(sub("frmState")->width(), px(12000 - 230));
    QVERIFY(sub("frmState")->isVisible());
    // Loading the panel opened the link, and its state mark was on the state panel in time.
    QCOMPARE(forms().state->connText(), QStringLiteral("LIVE"));
}

void TestFrame::firstRunCreatesDatabase() {
    const QString path = session().pathInFolder(kDatabaseFile);
    QVERIFY(!QFile::exists(path));
    startFrame();
    QVERIFY(QFile::exists(path));
    {
        QSqlDatabase db = QSqlDatabase::addDatabase("QSQLITE", "firstRunCheck");
        db.setDatabaseName(path);
        QVERIFY(db.open());
        const QStringList tables = db.tables();
        for (const char* table : {"datamain", "datadetail", "datatemp"})
            QVERIFY2(tables.contains(table, Qt::CaseInsensitive), table);
    }
    QSqlDatabase::removeDatabase("firstRunCheck");
}

void TestFrame::unusableDatabaseEndsStartUp_data() {
    QTest::addColumn<bool>("locked");
    QTest::newRow("not a database") << false;
    QTest::newRow("locked by another program") << true;
}

void TestFrame::unusableDatabaseEndsStartUp() {
    QFETCH(bool, locked);
    const QString path = session().pathInFolder(kDatabaseFile);
    const QString holder = QStringLiteral("otherProgram");
    if (locked) {
        QSqlDatabase other = QSqlDatabase::addDatabase("QSQLITE", holder);
        other.setDatabaseName(path);
        QVERIFY(other.open());
        QSqlQuery query(other);
        for (const char* statement :
             {"PRAGMA locking_mode=EXCLUSIVE", "BEGIN EXCLUSIVE", "CREATE TABLE notes (line TEXT)"})
            QVERIFY2(query.exec(statement), statement);
    } else {
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QByteArray("These are the operator's notes, not a record database.\n").repeated(200));
    }

    m_frame = std::make_unique<mdiMain>(m_parts);
    QVERIFY(!m_frame->load());
    QCOMPARE(m_messages->shown().size(), size_t(1));
    QVERIFY2(m_messages->texts().first().contains(path), qPrintable(m_messages->texts().first()));
    QVERIFY(m_frame->area()->subWindowList().isEmpty());
    if (locked) {
        QSqlDatabase::database(holder).close();
        QSqlDatabase::removeDatabase(holder);
    }
}

// ----- Window menu -----

void TestFrame::digitalScreenToggles() {
    m_parts.digital = [this] { return m_digital = new RecordingDigitalScreen; };
    startFrame();
    QAction* digitalEntry = m_frame->findChild<QAction*>("mnuWindowArea_0");
    QVERIFY(digitalEntry);
    QCOMPARE(digitalEntry->text(), QStringLiteral("&Digital Meter"));

    digitalEntry->trigger();
    QVERIFY(sub("frmDIGITALMETERMaster")->isMaximized());
    digitalEntry->trigger();
    QVERIFY(!sub("frmDIGITALMETERMaster")->isMaximized());
    m_frame->arrangeWindow(4);
    // The gap between the displays: +30 maximised, +5 restored, none at default position.
    QCOMPARE(m_digital->layouts, (std::vector<Layout>{kLarge, kSmall, kDefault}));
}

void TestFrame::toggleMaximisesAndRestores_data() {
    QTest::addColumn<int>("index");
    QTest::addColumn<QString>("form");
    QTest::newRow("analog meter") << 1 << "frmANALOGMETER";
    QTest::newRow("graphic record") << 2 << "frmGraphicRecord";
    QTest::newRow("data table") << 3 << "frmDataTable";
}

void TestFrame::toggleMaximisesAndRestores() {
    QFETCH(int, index);
    QFETCH(QString, form);
    startFrame();
    QMdiSubWindow* frame = m_frame->subWindowOf(form);
    const QRect before = frame->geometry();
    m_frame->arrangeWindow(index);
    QVERIFY(frame->isMaximized());
    QCOMPARE(frame->size(), m_frame->area()->viewport()->size());
    m_frame->arrangeWindow(index);
    QVERIFY(!frame->isMaximized());
    QCOMPARE(frame->geometry(), before);
}

void TestFrame::closedWindowReloadsAtItsPlace_data() {
    QTest::addColumn<int>("index");
    QTest::addColumn<QString>("form");
    QTest::addColumn<QRect>("place");
    // "graphic width" and "analog height" are the open graph's width and analog meter's height.
    QTest::newRow("digital screen, 1820 high")
        << 0 << "frmDIGITALMETERMaster" << twipsRect(7850, 1860, 4100, 1820);
    QTest::newRow("analog meter, 2350 high") << 1 << "frmANALOGMETER" << twipsRect(7850, 0, 4100, 2350);
    QTest::newRow("graphic record") << 2 << "frmGraphicRecord" << twipsRect(0, 0, 7850, 7300);
    QTest::newRow("data table") << 3 << "frmDataTable" << twipsRect(0, 0, 7850, 7300);
    QTest::newRow("default position, panel") << 4 << "frmKVX5130" << twipsRect(7850, 1860, 4100, 4900);
}

void TestFrame::closedWindowReloadsAtItsPlace() {
    QFETCH(int, index);
    QFETCH(QString, form);
    startFrame();
    closeForm(form.toLatin1().constData());
    QVERIFY(!IsFormLoaded(form));

    m_frame->arrangeWindow(index);
    QMdiSubWindow* frame = m_frame->subWindowOf(form);
    QVERIFY(frame);
    QVERIFY(frame->isVisible());
    QVERIFY(!frame->isMaximized());
    QTEST(frame->geometry(), "place");
    QVERIFY(IsFormLoaded(form));
    if (index == 2)
        QCOMPARE(m_frame->area()->subWindowList(QMdiArea::StackingOrder).last(), frame);
    QVERIFY(m_messages->shown().empty());
}

void TestFrame::defaultPositionUndoesMaximisedOnly() {
    startFrame();
    QMdiSubWindow* analog = sub("frmANALOGMETER");
    analog->move(40, 30); // dragged by the operator
    const QRect dragged = analog->geometry();
    m_frame->arrangeWindow(1);
    QVERIFY(analog->isMaximized());
    m_frame->arrangeWindow(4);
    QVERIFY(!analog->isMaximized());
    QCOMPARE(analog->geometry(), dragged);
}

void TestFrame::defaultPositionLeavesOpenPanelWhereItIs() {
    startFrame();
    QMdiSubWindow* panelFrame = sub("frmKVX5130");
    panelFrame->move(10, 20);
    const QRect moved = panelFrame->geometry();
    m_frame->arrangeWindow(4);
    QCOMPARE(sub("frmKVX5130"), panelFrame);
    QCOMPARE(panelFrame->geometry(), moved);
}

void TestFrame::windowMenuFailureShowsMessage() {
    // The digital screen loads at start-up, but cannot be made again later.
    int made = 0;
    m_parts.digital = [&made]() -> QWidget* { return made++ == 0 ? new RecordingDigitalScreen : nullptr; };
    startFrame();
    closeForm("frmDIGITALMETERMaster");
    m_frame->arrangeWindow(1);
    m_frame->arrangeWindow(0);
    QCOMPARE(m_messages->texts(), QStringList{"System [Window] Menu Error"});
    QVERIFY(sub("frmANALOGMETER")->isMaximized()); // what was changed before stays changed
}

void TestFrame::otherIndexesDoNothing() {
    startFrame();
    QList<QRect> before;
    const auto subs = m_frame->area()->subWindowList();
    for (QMdiSubWindow* s : subs)
        before << s->geometry();
    for (int index : {-1, 5, 99})
        m_frame->arrangeWindow(index);
    QList<QRect> after;
    for (QMdiSubWindow* s : subs)
        after << s->geometry();
    QCOMPARE(after, before);
    QVERIFY(m_messages->shown().empty());
}

// ----- frame size -----

void TestFrame::frameSizeIsFixed_data() {
    QTest::addColumn<QString>("how");
    QTest::newRow("maximised") << "maximise";
    QTest::newRow("resized larger") << "larger";
    QTest::newRow("resized smaller") << "smaller";
}

void TestFrame::frameSizeIsFixed() {
    QFETCH(QString, how);
    startFrame();
    const QSize fixed(px(12000), px(8650));
    QCOMPARE(m_frame->size(), fixed);
    if (how == "maximise")
        m_frame->showMaximized();
    else
        m_frame->resize(how == "larger" ? QSize(1100, 800) : QSize(400, 300));
    QTRY_COMPARE(m_frame->size(), fixed);
    QTRY_VERIFY(!m_frame->isMaximized());
    QCOMPARE(sub("frmState")->geometry().topLeft(), QPoint(0, px(7300)));
    QCOMPARE(sub("frmState")->width(), px(12000 - 230));
}

// ----- FUNCTION menu -----

void TestFrame::functionMenuPressesKeys_data() {
    QTest::addColumn<QString>("entry");
    QTest::addColumn<QString>("caption");
    QTest::addColumn<QString>("key"); // empty: nothing is pressed
    QTest::newRow("DC voltage") << "mnuDCV"
                                << "DC Voltage"
                                << "cmdDCV";
    QTest::newRow("AC voltage") << "mnuACV"
                                << "AC Voltage"
                                << "cmdACV";
    QTest::newRow("AC+DC voltage") << "mnuACDCVol"
                                   << "AC+DC Voltage"
                                   << "cmdACDC_Vol";
    QTest::newRow("ACV+Frequency runs the current key") << "mnuACVFEQ"
                                                        << "ACV+Frequency"
                                                        << "cmdACA_Frq";
    QTest::newRow("ripple") << "mnuRipple"
                            << "Ripple"
                            << "cmdRipple";
    QTest::newRow("DC current") << "mnuDCC"
                                << "DC Current"
                                << "cmdDCA";
    QTest::newRow("AC current") << "mnuACC"
                                << "AC Current"
                                << "cmdACA";
    QTest::newRow("AC+DC current does nothing") << "mnuACDCCur"
                                                << "AC+DC Current"
                                                << "";
    QTest::newRow("ACA+Frequency") << "mnuACAFeq"
                                   << "ACA+Frequency"
                                   << "cmdACA_Frq";
    QTest::newRow("resistance") << "mnuResitance"
                                << "Resistance"
                                << "cmdOhm";
    QTest::newRow("capacitance") << "mnuCapacitance"
                                 << "Capacitance"
                                 << "cmdCapacitance";
    QTest::newRow("diode") << "mnuDiode"
                           << "Diode"
                           << "cmdDIODE";
    QTest::newRow("continuity, spelt as ever") << "mnuContinuity"
                                               << "Coutinuity"
                                               << "cmdContinue";
}

void TestFrame::functionMenuPressesKeys() {
    QFETCH(QString, entry);
    QFETCH(QString, key);
    startFrame();
    QAction* action = m_frame->findChild<QAction*>(entry);
    QVERIFY(action);
    QTEST(action->text(), "caption");

    const QStringList functionKeys{"cmdDCV",   "cmdACV",         "cmdACDC_Vol", "cmdACVFeq",   "cmdRipple",
                                   "cmdDIODE", "cmdDCA",         "cmdACA",      "cmdACDC_Cur", "cmdACA_Frq",
                                   "cmdOhm",   "cmdCapacitance", "cmdContinue"};
    std::map<QString, std::unique_ptr<QSignalSpy>> presses;
    for (const QString& name : functionKeys) {
        auto* button = panel()->findChild<QAbstractButton*>(name);
        QVERIFY2(button, qPrintable(name));
        presses[name] = std::make_unique<QSignalSpy>(button, &QAbstractButton::clicked);
    }
    action->trigger();
    int pressedInAll = 0;
    for (const auto& [name, spy] : presses)
        pressedInAll += spy->count();
    if (key.isEmpty()) {
        QCOMPARE(pressedInAll, 0);
    } else {
        // A frequency key presses its plain key on its own; the menu presses only the one.
        QCOMPARE(presses[key]->count(), 1);
        QCOMPARE(presses["cmdACVFeq"]->count(), 0);
    }
}

// ----- loaded windows, quit, start -----

void TestFrame::isFormLoaded() {
    startFrame();
    QVERIFY(IsFormLoaded("frmState"));
    QVERIFY(IsFormLoaded("  frmState "));
    QVERIFY(!IsFormLoaded("frmstate"));
    QVERIFY(!IsFormLoaded("frmAbout"));
    closeForm("frmState");
    QVERIFY(!IsFormLoaded("frmState"));
    QVERIFY(forms().state == nullptr);
    m_frame->showAbout();
    QVERIFY(IsFormLoaded("frmAbout"));
}

void TestFrame::quitRunsPanelQuit_data() {
    QTest::addColumn<bool>("fromMenu");
    QTest::newRow("File Quit") << true;
    QTest::newRow("closing the frame") << false;
}

void TestFrame::quitRunsPanelQuit() {
    QFETCH(bool, fromMenu);
    startFrame();
    int ended = 0;
    panel()->setExitAction([&ended] { ++ended; });
    session().operation.sFunction.clear();
    if (fromMenu)
        m_frame->findChild<QAction*>("mnuQuit")->trigger();
    else
        m_frame->close();
    QCOMPARE(ended, 1);
    // cmdQuit wrote the operation file with the function in use before ending.
    QVERIFY(QFile::exists(session().pathInFolder(kOperationFile)));
    QVERIFY(!session().operation.sFunction.trimmed().isEmpty());
}

void TestFrame::startTraceStartsPolling() {
    startFrame();
    QVERIFY(!panel()->timer2()->isActive());
    m_frame->startTrace();
    QVERIFY(panel()->timer2()->isActive());
    QCOMPARE(panel()->findChild<QAbstractButton*>("cmdStart")->text(), QStringLiteral("Stop"));
}

// ----- Setting, Help, About -----

void TestFrame::settingShowsDialogModeless() {
    startFrame();
    m_frame->findChild<QAction*>("mnuSetting")->trigger();
    QWidget* setting = m_frame->findChild<QWidget*>("frmSetting");
    QVERIFY(setting);
    QVERIFY(setting->isVisible());
    QVERIFY(setting->isWindow());
    QVERIFY(!setting->isModal());
    QCOMPARE(setting->pos(), m_frame->area()->mapToGlobal(QPoint(px(1000), px(800))));
    m_frame->findChild<QAction*>("mnuSetting")->trigger();
    QCOMPARE(m_frame->findChildren<QWidget*>("frmSetting").size(), 1);
}

void TestFrame::recordColoursReachViews() {
    // A first run's record holds no colours: the screen keeps its factory green digits.
    startFrame();
    auto digits = [this] {
        auto* screen = qobject_cast<frmDIGITALMETERMaster*>(m_frame->loadedForm("frmDIGITALMETERMaster"));
        return screen->DigVM()->digitColor();
    };
    QCOMPARE(digits(), QColor(0, 255, 0));
    m_frame.reset();

    session().operation.colors = {0x0000FF, 0xA800A8, 0x00FFFF, 0, 0x58ACA8, 0xFFFF00, 0}; // text red
    startFrame();
    QCOMPARE(digits(), QColor(255, 0, 0));

    // OK in the settings dialog stores new colours and says so.
    m_frame->showSetting();
    session().operation.colors[0] = 0xFF0000; // blue
    QVERIFY(QMetaObject::invokeMethod(m_frame->findChild<QWidget*>("frmSetting"), "colorsChanged"));
    QCOMPARE(digits(), QColor(0, 0, 255));
}

void TestFrame::helpShowsGuide() {
    startFrame();
    m_frame->findChild<QAction*>("munHelp")->trigger();
    auto* help = m_frame->findChild<frmHelp*>("frmHelp");
    QVERIFY(help);
    QVERIFY(help->isVisible());
    QVERIFY(help->browser()->source().isLocalFile());
    QVERIFY(help->browser()->toPlainText().contains("Connecting the meter"));
}

void TestFrame::aboutAndSystemInfo() {
    startFrame();
    m_frame->findChild<QAction*>("mnuAboutMe")->trigger();
    auto* about = m_frame->findChild<frmAbout*>("frmAbout");
    QVERIFY(about);
    QVERIFY(about->isVisible());
    QVERIFY(!about->isModal());
    QCOMPARE(about->findChild<QLabel*>("lblVersion")->text(), QStringLiteral("Version : 1.0.1"));

    QStringList started;
    about->setSystemInfoTool([] { return QStringLiteral("/usr/bin/hardinfo"); },
                             [&started](const QString& tool) { return started << tool, true; });
    about->findChild<QAbstractButton*>("cmdSysInfo")->click();
    QCOMPARE(started, QStringList{"/usr/bin/hardinfo"});
    QVERIFY(!about->systemInfoWindow());

    // No tool installed: the program shows the system's information itself.
    about->setSystemInfoTool([] { return QString(); },
                             [&started](const QString& tool) { return started << tool, true; });
    about->findChild<QAbstractButton*>("cmdSysInfo")->click();
    QCOMPARE(started.size(), 1);
    QVERIFY(about->systemInfoWindow() && about->systemInfoWindow()->isVisible());
    const QString text = about->systemInfoWindow()->findChild<QPlainTextEdit*>()->toPlainText();
    QVERIFY(text.contains(QStringLiteral("Qt version: ") + qVersion()));
    QVERIFY(text.contains("Kernel: "));
}

QTEST_MAIN(TestFrame)
#include "tst_frame.moc"
