// The main frame with the real child windows, connected to the simulated meter
// on a pseudo-terminal: start-up and the database, the places of the windows and
// the Window menu, the frame's fixed size, the FUNCTION menu, quitting, and the
// Setting, Help and About entries.
#include "Forms.h"
#include "HelpGuide.h"
#include "NumericDisplay.h"
#include "Services.h"
#include "Session.h"
#include "SimProcess.h"
#include "frmAbout.h"
#include "frmDIGITALMETERMaster.h"
#include "frmKVX5130.h"
#include "mdiMain.h"

#include <QSqlDatabase>
#include <QSqlQuery>
#include <QtTest>
#include <QtWidgets>

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

// A digital screen that notes every display layout it is given, in twips.
class RecordingDigitalScreen final : public QWidget, public DigitalScreen {
public:
    RecordingDigitalScreen() {
        setObjectName(kFormDigital);
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
        layouts << QString::asprintf("%dx%d, second at %d: %dx%g", vmWidth, vmHeight, secondTop, secondWidth,
                                     secondHeight);
    }
    QStringList layouts;
};

} // namespace

class TestFrame : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanup();

    void firstStartCreatesDatabase();
    void unusableDatabaseEndsStartUp_data();
    void unusableDatabaseEndsStartUp();
    void windowsKeepTheirPlaces_data();
    void windowsKeepTheirPlaces();
    void digitalScreenGapFollowsItsWindow();
    void defaultPositionUndoesMaximisedOnly();
    void windowMenuFailureShowsMessage();
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
    void startFrame();
    frmKVX5130* panel() const { return qobject_cast<frmKVX5130*>(m_frame->loadedForm(kFormPanel)); }
    QMdiSubWindow* sub(const QString& form) const { return m_frame->subWindowOf(form); }
    void closeForm(const QString& form);

    test::SimProcess m_simulator{{"--pty", "--seed", "1"}};
    std::unique_ptr<QTemporaryDir> m_folder;
    std::shared_ptr<ScriptedMessageService> m_messages;
    FrameParts m_parts;
    std::unique_ptr<mdiMain> m_frame;
};

void TestFrame::initTestCase() {
    QString error;
    QVERIFY2(m_simulator.start(&error), qPrintable(error));
}

void TestFrame::init() {
    m_folder = std::make_unique<QTemporaryDir>();
    resetSession();
    session().programFolder = m_folder->path();
    session().linkOverride = QStringLiteral("serial:") + m_simulator.where();
    m_messages = std::make_shared<ScriptedMessageService>();
    setMessages(m_messages);
    m_parts = realFrameParts();
}

void TestFrame::cleanup() {
    m_frame.reset();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

void TestFrame::startFrame() {
    m_frame = std::make_unique<mdiMain>(m_parts);
    if (!m_frame->load())
        qFatal("start-up failed: %s", qPrintable(m_messages->texts().join(" | ")));
    m_frame->show();
    if (!QTest::qWaitForWindowExposed(m_frame.get()))
        qFatal("the frame was not shown");
    if (frmKVX5130* p = panel())
        p->setExitAction([] {});
}

void TestFrame::closeForm(const QString& form) {
    QVERIFY(sub(form) && sub(form)->close());
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!sub(form));
    QVERIFY(!IsFormLoaded(form));
}

// ----- start-up -----

void TestFrame::firstStartCreatesDatabase() {
    const QString path = session().pathInFolder(kDatabaseFile);
    QVERIFY(!QFile::exists(path));
    startFrame();
    {
        QSqlDatabase db = QSqlDatabase::addDatabase("QSQLITE", "firstRunCheck");
        db.setDatabaseName(path);
        QVERIFY(db.open());
        for (const char* table : {"datamain", "datadetail", "datatemp"})
            QVERIFY2(db.tables().contains(table, Qt::CaseInsensitive), table);
    }
    QSqlDatabase::removeDatabase("firstRunCheck");
    // The graph lies over the data table, and the panel's link mark was on the state panel in time.
    const auto stack = m_frame->area()->subWindowList(QMdiArea::StackingOrder);
    QVERIFY(stack.indexOf(sub(kFormGraphic)) > stack.indexOf(sub(kFormDataTable)));
    QCOMPARE(forms().state->connText(), QStringLiteral("LIVE"));
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
    QCOMPARE(m_messages->texts().size(), 1);
    QVERIFY2(m_messages->texts().first().contains(path), qPrintable(m_messages->texts().first()));
    QVERIFY(m_frame->area()->subWindowList().isEmpty());
    if (locked) {
        QSqlDatabase::database(holder).close();
        QSqlDatabase::removeDatabase(holder);
    }
}

// ----- places and the Window menu -----

void TestFrame::windowsKeepTheirPlaces_data() {
    QTest::addColumn<int>("index"); // of its Window menu entry; 4: default position
    QTest::addColumn<QString>("form");
    QTest::addColumn<QRect>("place");
    QTest::addColumn<QRect>("reloadPlace"); // after it was closed
    const QRect mainArea = twipsRect(0, 0, 7850, 7300);
    // clang-format off
    QTest::newRow("digital screen") << 0 << kFormDigital << twipsRect(7850, 1860, 4100, 1860)
                                    << twipsRect(7850, 1860, 4100, 1820);
    QTest::newRow("analog meter") << 1 << kFormAnalog << twipsRect(7850, 0, 4100, 1860)
                                  << twipsRect(7850, 0, 4100, 2350);
    QTest::newRow("graphic record") << 2 << kFormGraphic << mainArea << mainArea;
    QTest::newRow("data table") << 3 << kFormDataTable << mainArea << mainArea;
    QTest::newRow("front panel") << 4 << kFormPanel << twipsRect(7850, 3720, 4100, 3420)
                                 << twipsRect(7850, 1860, 4100, 4900);
    // clang-format on
}

void TestFrame::windowsKeepTheirPlaces() {
    QFETCH(int, index);
    QFETCH(QString, form);
    startFrame();
    QMdiSubWindow* frame = sub(form);
    QVERIFY(frame && frame->isVisible());
    QTEST(frame->geometry(), "place");
    if (index < 4) { // the entry maximises its window, and the next press puts it back
        m_frame->arrangeWindow(index);
        QVERIFY(frame->isMaximized());
        QCOMPARE(frame->size(), m_frame->area()->viewport()->size());
        m_frame->arrangeWindow(index);
        QVERIFY(!frame->isMaximized());
        QTEST(frame->geometry(), "place");
    }
    closeForm(form);
    m_frame->arrangeWindow(index);
    frame = sub(form);
    QVERIFY(frame && frame->isVisible() && !frame->isMaximized());
    QTEST(frame->geometry(), "reloadPlace");
    QVERIFY(IsFormLoaded(form));
    if (index == 2) // the graph comes back over the data table
        QCOMPARE(m_frame->area()->subWindowList(QMdiArea::StackingOrder).last(), frame);
    QVERIFY(m_messages->shown().empty());
}

void TestFrame::digitalScreenGapFollowsItsWindow() {
    RecordingDigitalScreen* screen = nullptr;
    m_parts.digital = [&screen] { return screen = new RecordingDigitalScreen; };
    startFrame();
    QAction* entry = m_frame->findChild<QAction*>("mnuWindowArea_0");
    QCOMPARE(entry->text(), QStringLiteral("&Digital Meter"));
    entry->trigger();
    QVERIFY(sub(kFormDigital)->isMaximized());
    entry->trigger();
    QVERIFY(!sub(kFormDigital)->isMaximized());
    m_frame->arrangeWindow(4);
    // The gap between the displays: +30 maximised, +5 restored, none at the default position.
    QCOMPARE(screen->layouts,
             (QStringList{"11475x2475, second at 2505: 11475x1537.5", "3825x825, second at 830: 3825x615",
                          "3825x825, second at 825: 3825x615"}));
}

void TestFrame::defaultPositionUndoesMaximisedOnly() {
    startFrame();
    QMdiSubWindow* analog = sub(kFormAnalog);
    QMdiSubWindow* panelFrame = sub(kFormPanel);
    analog->move(40, 30); // both dragged by the operator
    panelFrame->move(10, 20);
    const QRect dragged = analog->geometry();
    const QRect moved = panelFrame->geometry();
    m_frame->arrangeWindow(1);
    QVERIFY(analog->isMaximized());
    m_frame->arrangeWindow(4);
    QVERIFY(!analog->isMaximized());
    QCOMPARE(analog->geometry(), dragged);
    QCOMPARE(sub(kFormPanel), panelFrame);
    QCOMPARE(panelFrame->geometry(), moved);
    for (int other : {-1, 5, 99}) // do nothing
        m_frame->arrangeWindow(other);
    QCOMPARE(analog->geometry(), dragged);
    QCOMPARE(panelFrame->geometry(), moved);
    QVERIFY(m_messages->shown().empty());
}

void TestFrame::windowMenuFailureShowsMessage() {
    // The digital screen loads at start-up, but cannot be made again later.
    int made = 0;
    m_parts.digital = [&made]() -> QWidget* { return made++ == 0 ? new RecordingDigitalScreen : nullptr; };
    startFrame();
    closeForm(kFormDigital);
    m_frame->arrangeWindow(1);
    m_frame->arrangeWindow(0);
    QCOMPARE(m_messages->texts(), QStringList{"System [Window] Menu Error"});
    QVERIFY(sub(kFormAnalog)->isMaximized()); // what was changed before stays changed
}

// ----- frame size -----

void TestFrame::frameSizeIsFixed_data() {
    QTest::addColumn<QSize>("asked"); // empty: maximised
    QTest::newRow("maximised") << QSize();
    QTest::newRow("resized larger") << QSize(1100, 800);
    QTest::newRow("resized smaller") << QSize(400, 300);
}

void TestFrame::frameSizeIsFixed() {
    QFETCH(QSize, asked);
    startFrame();
    const QSize fixed(px(12000), px(8650));
    QCOMPARE(m_frame->size(), fixed);
    if (asked.isEmpty())
        m_frame->showMaximized();
    else
        m_frame->resize(asked);
    QTRY_COMPARE(m_frame->size(), fixed);
    QTRY_VERIFY(!m_frame->isMaximized());
    // The state panel runs along the bottom, as wide as the fixed frame allows.
    QCOMPARE(sub(kFormState)->pos(), QPoint(0, px(7300)));
    QCOMPARE(sub(kFormState)->width(), px(12000 - 230));
}

// ----- FUNCTION menu -----

void TestFrame::functionMenuPressesKeys_data() {
    QTest::addColumn<QString>("entry");
    QTest::addColumn<QString>("caption");
    QTest::addColumn<QString>("key"); // empty: nothing is pressed
    // clang-format off
    QTest::newRow("DC voltage") << "mnuDCV" << "DC Voltage" << "cmdDCV";
    QTest::newRow("AC voltage") << "mnuACV" << "AC Voltage" << "cmdACV";
    QTest::newRow("AC+DC voltage") << "mnuACDCVol" << "AC+DC Voltage" << "cmdACDC_Vol";
    QTest::newRow("ACV+Frequency runs the current key") << "mnuACVFEQ" << "ACV+Frequency" << "cmdACA_Frq";
    QTest::newRow("ripple") << "mnuRipple" << "Ripple" << "cmdRipple";
    QTest::newRow("DC current") << "mnuDCC" << "DC Current" << "cmdDCA";
    QTest::newRow("AC current") << "mnuACC" << "AC Current" << "cmdACA";
    QTest::newRow("AC+DC current does nothing") << "mnuACDCCur" << "AC+DC Current" << "";
    QTest::newRow("ACA+Frequency") << "mnuACAFeq" << "ACA+Frequency" << "cmdACA_Frq";
    QTest::newRow("resistance") << "mnuResitance" << "Resistance" << "cmdOhm";
    QTest::newRow("capacitance") << "mnuCapacitance" << "Capacitance" << "cmdCapacitance";
    QTest::newRow("diode") << "mnuDiode" << "Diode" << "cmdDIODE";
    QTest::newRow("continuity, spelt as ever") << "mnuContinuity" << "Coutinuity" << "cmdContinue";
    // clang-format on
}

void TestFrame::functionMenuPressesKeys() {
    QFETCH(QString, entry);
    QFETCH(QString, key);
    startFrame();
    QAction* action = m_frame->findChild<QAction*>(entry);
    QTEST(action->text(), "caption");
    std::map<QString, std::unique_ptr<QSignalSpy>> presses;
    for (const char* name :
         {"cmdDCV", "cmdACV", "cmdACDC_Vol", "cmdACVFeq", "cmdRipple", "cmdDIODE", "cmdDCA", "cmdACA",
          "cmdACDC_Cur", "cmdACA_Frq", "cmdOhm", "cmdCapacitance", "cmdContinue"})
        presses[name] = std::make_unique<QSignalSpy>(panel()->findChild<QAbstractButton*>(name),
                                                     &QAbstractButton::clicked);
    action->trigger();
    // The menu presses only its one key; a frequency key then presses its plain key on its own.
    const QString plainKey = key == QLatin1String("cmdACA_Frq") ? QStringLiteral("cmdACA") : QString();
    for (const auto& [name, spy] : presses)
        QVERIFY2(spy->count() == (name == key || name == plainKey ? 1 : 0), qPrintable(name));
}

// ----- loaded windows, quit, start -----

void TestFrame::isFormLoaded() {
    startFrame();
    QVERIFY(IsFormLoaded("frmState"));
    QVERIFY(IsFormLoaded("  frmState "));
    QVERIFY(!IsFormLoaded("frmstate"));
    QVERIFY(!IsFormLoaded("frmAbout"));
    closeForm(kFormState);
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
    QWidget* setting = m_frame->findChild<QWidget*>(kFormSetting);
    QVERIFY(setting && setting->isVisible() && setting->isWindow() && !setting->isModal());
    QCOMPARE(setting->pos(), m_frame->area()->mapToGlobal(QPoint(px(1000), px(800))));
    m_frame->findChild<QAction*>("mnuSetting")->trigger();
    QCOMPARE(m_frame->findChildren<QWidget*>(kFormSetting).size(), 1);
}

void TestFrame::recordColoursReachViews() {
    // A first run's record holds no colours: the screen keeps its factory green digits.
    startFrame();
    const auto digits = [this] {
        return qobject_cast<frmDIGITALMETERMaster*>(m_frame->loadedForm(kFormDigital))->DigVM()->digitColor();
    };
    QCOMPARE(digits(), QColor(0, 255, 0));
    m_frame.reset();
    session().operation.colors = {0x0000FF, 0xA800A8, 0x00FFFF, 0, 0x58ACA8, 0xFFFF00, 0}; // text red
    startFrame();
    QCOMPARE(digits(), QColor(255, 0, 0));
    // OK in the settings dialog stores new colours and says so.
    m_frame->showSetting();
    session().operation.colors[0] = 0xFF0000; // blue
    QVERIFY(QMetaObject::invokeMethod(m_frame->findChild<QWidget*>(kFormSetting), "colorsChanged"));
    QCOMPARE(digits(), QColor(0, 0, 255));
}

void TestFrame::helpShowsGuide() {
    // The program folder holds no guide: the installed one is shown.
    startFrame();
    m_frame->findChild<QAction*>("munHelp")->trigger();
    auto* help = m_frame->findChild<frmHelp*>("frmHelp");
    QVERIFY(help && help->isVisible());
    QVERIFY(help->browser()->source().isLocalFile());
    QVERIFY(help->browser()->toPlainText().contains("Connecting the meter"));
}

void TestFrame::aboutAndSystemInfo() {
    startFrame();
    m_frame->findChild<QAction*>("mnuAboutMe")->trigger();
    auto* about = m_frame->findChild<frmAbout*>(kFormAbout);
    QVERIFY(about && about->isVisible() && !about->isModal());
    QCOMPARE(about->findChild<QLabel*>("lblVersion")->text(), QStringLiteral("Version : 1.0.1"));
    QStringList started;
    const auto starter = [&started](const QString& tool) { return started << tool, true; };
    about->setSystemInfoTool([] { return QStringLiteral("/usr/bin/hardinfo"); }, starter);
    about->findChild<QAbstractButton*>("cmdSysInfo")->click();
    QCOMPARE(started, QStringList{"/usr/bin/hardinfo"});
    QVERIFY(!about->systemInfoWindow());
    // No tool installed: the program shows the system's information itself.
    about->setSystemInfoTool([] { return QString(); }, starter);
    about->findChild<QAbstractButton*>("cmdSysInfo")->click();
    QCOMPARE(started.size(), 1);
    QVERIFY(about->systemInfoWindow() && about->systemInfoWindow()->isVisible());
    const QString text = about->systemInfoWindow()->findChild<QPlainTextEdit*>()->toPlainText();
    QVERIFY(text.contains(QStringLiteral("Qt version: ") + qVersion()));
    QVERIFY(text.contains("Kernel: "));
}

QTEST_MAIN(TestFrame)
#include "tst_frame.moc"
