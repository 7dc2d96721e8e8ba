// The main frame with the real child windows, connected to the simulated meter
// on a pseudo-terminal: start-up and the database, the places of the windows and
// the Window menu, the frame's fixed size, the FUNCTION menu, quitting, and the
// Setting and Help entries.
#include "DataRows.h"
#include "Forms.h"
#include "HelpGuide.h"
#include "NumericDisplay.h"
#include "TestServices.h"
#include "Session.h"
#include "SimProcess.h"
#include "WindowTestSupport.h"
#include "clsKVX5310.h"
#include "frmANALOGMETER.h"
#include "frmDIGITALMETERMaster.h"
#include "frmKVX5130.h"
#include "mdiMain.h"

#include <QtTest>
#include <QtWidgets>
#include <memory>

using namespace kvx;
using kvx::test::addRow;

namespace {

// Twips of the design to the pixels of the screen (15 to a pixel).
int px(double twips) {
    return qRound(twips / 15.0);
}
QRect twipsRect(int left, int top, int width, int height) {
    return QRect(px(left), px(top), px(width), px(height));
}

// The real digital screen, noting every display layout it is given afterwards, in twips.
class RecordingDigitalScreen final : public frmDIGITALMETERMaster {
public:
    void layoutDisplays(int vmWidth, int vmHeight, int secondTop, int secondWidth,
                        double secondHeight) override {
        layouts << QString::asprintf("%dx%d, second at %d: %dx%g", vmWidth, vmHeight, secondTop, secondWidth,
                                     secondHeight);
        frmDIGITALMETERMaster::layoutDisplays(vmWidth, vmHeight, secondTop, secondWidth, secondHeight);
    }
    QStringList layouts;
};

} // namespace

class TestFrame : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() {
        QString error;
        QVERIFY2(m_simulator.start(&error), qPrintable(error));
    }

    void init() {
        m_folder = std::make_unique<QTemporaryDir>();
        resetSession();
        session().programFolder = m_folder->path();
        session().linkOverride = QStringLiteral("serial:") + m_simulator.where();
        m_messages = std::make_shared<ScriptedMessageService>();
        setMessages(m_messages);
        m_parts = realFrameParts();
    }

    void cleanup() {
        m_frame.reset();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    // ----- start-up -----

    void firstStartCreatesDatabase() {
        const QString path = session().pathInFolder(kDatabaseFile);
        QVERIFY(!QFile::exists(path));
        startFrame();
        QVERIFY(QFile::exists(path));
        // The graph lies over the data table, and the panel's link mark was on the state panel in time.
        const auto stack = m_frame->area()->subWindowList(QMdiArea::StackingOrder);
        QVERIFY(stack.indexOf(sub(kFormGraphic)) > stack.indexOf(sub(kFormDataTable)));
        QCOMPARE(forms().state->connText(), QStringLiteral("LIVE"));
        // The grid's print entries reach the reports, which have nothing to print yet.
        for (const char* print : {"actPrintData", "actPrintFlexGrid"})
            m_frame->findChild<QAction*>(print)->trigger();
        QCOMPARE(m_messages->texts(), QStringList(2, QStringLiteral("You have to measure first")));
        QVERIFY(!panel()->timer2()->isActive());
        m_frame->startTrace();
        QVERIFY(panel()->timer2()->isActive());
        QCOMPARE(panel()->findChild<QAbstractButton*>("cmdStart")->text(), QStringLiteral("Stop"));
    }

    void unusableDatabaseEndsStartUp() {
        const QString path = session().pathInFolder(kDatabaseFile);
        QVERIFY(test::writeFile(path,
                                QByteArray("The operator's notes, not a record database.\n").repeated(200)));
        m_frame = std::make_unique<mdiMain>(m_parts);
        QVERIFY(!m_frame->load());
        QCOMPARE(m_messages->texts().size(), 1);
        QVERIFY2(m_messages->texts().first().contains(path), qPrintable(m_messages->texts().first()));
        QVERIFY(m_frame->area()->subWindowList().isEmpty());
    }

    // ----- places and the Window menu -----

    void windowsKeepTheirPlaces_data() {
        QTest::addColumn<int>("index"); // of its Window menu entry; 4: default position
        QTest::addColumn<QString>("form");
        QTest::addColumn<QRect>("place");
        QTest::addColumn<QRect>("reloadPlace"); // after it was closed
        const QRect mainArea = twipsRect(0, 0, 7850, 7300);
        addRow("digital screen", 0, kFormDigital, twipsRect(7850, 1860, 4100, 1860),
               twipsRect(7850, 1860, 4100, 1820));
        addRow("analog meter", 1, kFormAnalog, twipsRect(7850, 0, 4100, 1860),
               twipsRect(7850, 0, 4100, 2350));
        addRow("graphic record", 2, kFormGraphic, mainArea, mainArea);
        addRow("data table", 3, kFormDataTable, mainArea, mainArea);
        addRow("front panel", 4, kFormPanel, twipsRect(7850, 3720, 4100, 3420),
               twipsRect(7850, 1860, 4100, 4900));
    }

    void windowsKeepTheirPlaces() {
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
        // The panel, the data table and the digital screen are only hidden, so a running trace goes on.
        const QPointer<QWidget> before = frame->widget();
        const bool kept = index == 0 || index >= 3;
        closeForm(form, kept);
        m_frame->arrangeWindow(index);
        frame = sub(form);
        QVERIFY(frame && frame->isVisible() && !frame->isMaximized());
        QTEST(frame->geometry(), "reloadPlace");
        QVERIFY(IsFormLoaded(form));
        QCOMPARE(frame->widget() == before, kept);
        if (index == 2) // the graph comes back over the data table
            QCOMPARE(m_frame->area()->subWindowList(QMdiArea::StackingOrder).last(), frame);
        QVERIFY(m_messages->shown().empty());
    }

    void defaultPositionUndoesMaximisedOnly() {
        RecordingDigitalScreen* screen = nullptr;
        m_parts.digital = [&screen] { return screen = new RecordingDigitalScreen; };
        startFrame();
        QMdiSubWindow* analog = sub(kFormAnalog);
        QMdiSubWindow* panelFrame = sub(kFormPanel);
        analog->move(40, 30); // both dragged by the operator
        panelFrame->move(10, 20);
        const QRect dragged = analog->geometry();
        const QRect moved = panelFrame->geometry();
        QAction* digitalEntry = m_frame->findChild<QAction*>("mnuWindowArea_0");
        digitalEntry->trigger();
        QVERIFY(sub(kFormDigital)->isMaximized());
        digitalEntry->trigger();
        QVERIFY(!sub(kFormDigital)->isMaximized());
        m_frame->arrangeWindow(1);
        QVERIFY(analog->isMaximized());
        m_frame->arrangeWindow(4);
        for (int other : {-1, 5, 99}) // do nothing
            m_frame->arrangeWindow(other);
        QVERIFY(!analog->isMaximized());
        QCOMPARE(analog->geometry(), dragged);
        QCOMPARE(sub(kFormPanel), panelFrame);
        QCOMPARE(panelFrame->geometry(), moved);
        // The gap between the displays: +30 maximised, +5 restored, none at the default position.
        QCOMPARE(screen->layouts,
                 (QStringList{"11475x2475, second at 2505: 11475x1537.5", "3825x825, second at 830: 3825x615",
                              "3825x825, second at 825: 3825x615"}));
        QVERIFY(m_messages->shown().empty());
    }

    void windowMenuFailureShowsMessage() {
        // The analog meter loads at start-up, but cannot be made again later.
        int made = 0;
        m_parts.analog = [&made]() -> QWidget* { return made++ == 0 ? new frmANALOGMETER(driverUnits()) : nullptr; };
        startFrame();
        closeForm(kFormAnalog);
        m_frame->arrangeWindow(2);
        m_frame->arrangeWindow(1);
        QCOMPARE(m_messages->texts(), QStringList{"System [Window] Menu Error"});
        QVERIFY(sub(kFormGraphic)->isMaximized()); // what was changed before stays changed
    }

    // ----- frame size -----

    void frameSizeIsFixed() {
        startFrame();
        const QSize fixed(px(12000), px(8650));
        QCOMPARE(m_frame->size(), fixed);
        m_frame->resize(400, 300);
        QTRY_COMPARE(m_frame->size(), fixed);
        m_frame->showMaximized();
        QTRY_COMPARE(m_frame->size(), fixed);
        QTRY_VERIFY(!m_frame->isMaximized());
    }

    // ----- FUNCTION menu -----

    void functionMenuPressesKeys_data() {
        QTest::addColumn<QString>("entry");
        QTest::addColumn<QString>("caption");
        QTest::addColumn<QStringList>("pressed"); // a frequency key presses its plain key itself
        QTest::addColumn<QKeySequence>("keys");   // typed on the frame instead of the entry
        const QStringList currentFrequency{"cmdACA", "cmdACA_Frq"};
        addRow("DC voltage", "mnuDCV", "DC Voltage", QStringList{"cmdDCV"}, QKeySequence());
        addRow("ACV+Frequency runs the current key", "mnuACVFEQ", "ACV+Frequency", currentFrequency,
               QKeySequence());
        addRow("AC+DC current does nothing", "mnuACDCCur", "AC+DC Current", QStringList{}, QKeySequence());
        addRow("continuity, spelt as ever", "mnuContinuity", "Coutinuity", QStringList{"cmdContinue"},
               QKeySequence());
        addRow("Ctrl+S presses Save Rec", "", "", QStringList{"cmdSaveRecord"},
               QKeySequence(QKeySequence::Save));
        addRow("Ctrl+P presses Print", "", "", QStringList{"cmdPrint"}, QKeySequence(QKeySequence::Print));
        addRow("Ctrl+E presses CSV", "", "", QStringList{"cmdExportCsv"}, QKeySequence("Ctrl+E"));
    }

    void functionMenuPressesKeys() {
        QFETCH(QString, entry);
        QFETCH(QKeySequence, keys);
        startFrame();
        QStringList pressed;
        for (QAbstractButton* button : panel()->findChildren<QAbstractButton*>()) {
            if (!keys.isEmpty()) // only the press is of interest, not the dialogs behind it
                disconnect(button, &QAbstractButton::clicked, nullptr, nullptr);
            connect(button, &QAbstractButton::clicked, button,
                    [&pressed, button] { pressed << button->objectName(); });
        }
        if (keys.isEmpty()) {
            QAction* action = m_frame->findChild<QAction*>(entry);
            QTEST(action->text(), "caption");
            action->trigger();
        } else {
            QTest::keySequence(m_frame.get(), keys);
        }
        QTEST(pressed, "pressed");
    }

    // ----- loaded windows, quit, start -----

    void quitRunsPanelQuit_data() {
        QTest::addColumn<bool>("fromMenu");
        QTest::addColumn<bool>("panelClosed");
        QTest::newRow("File Quit") << true << false;
        QTest::newRow("closing the frame") << false << false;
        QTest::newRow("File Quit, panel closed") << true << true;
    }

    void quitRunsPanelQuit() {
        QFETCH(bool, fromMenu);
        QFETCH(bool, panelClosed);
        startFrame();
        int ended = 0;
        panel()->setExitAction([&ended] { ++ended; });
        if (panelClosed)
            closeForm(kFormPanel, true);
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

    void settingColoursReachViews() {
        // A first run's record holds no colours: the screen keeps its factory green digits.
        startFrame();
        const auto digits = [this] {
            auto* screen = qobject_cast<frmDIGITALMETERMaster*>(m_frame->loadedForm(kFormDigital));
            return screen->DigVM()->digitColor();
        };
        QCOMPARE(digits(), QColor(0, 255, 0));
        m_frame.reset();
        session().operation.colors = {0x0000FF, 0xA800A8, 0x00FFFF, 0, 0x58ACA8, 0xFFFF00, 0}; // text red
        startFrame();
        QCOMPARE(digits(), QColor(255, 0, 0));
        // The dialog is made once, modeless, at its place; its OK stores new colours and says so.
        QAction* entry = m_frame->findChild<QAction*>("mnuSetting");
        entry->trigger();
        entry->trigger();
        const auto dialogs = m_frame->findChildren<QWidget*>(kFormSetting);
        QCOMPARE(dialogs.size(), 1);
        QVERIFY(dialogs[0]->isVisible() && dialogs[0]->isWindow() && !dialogs[0]->isModal());
        QCOMPARE(dialogs[0]->pos(), m_frame->area()->mapToGlobal(QPoint(px(1000), px(800))));
        session().operation.colors[0] = 0xFF0000; // blue
        QVERIFY(QMetaObject::invokeMethod(dialogs[0], "colorsChanged"));
        QCOMPARE(digits(), QColor(0, 0, 255));
    }

    void loadedFormsAndHelp() {
        startFrame();
        QVERIFY(IsFormLoaded("  frmState "));
        QVERIFY(!IsFormLoaded("frmstate"));
        closeForm(kFormState);
        QVERIFY(forms().state == nullptr);
        // The program folder holds no guide: the installed one is shown.
        m_frame->findChild<QAction*>("munHelp")->trigger();
        auto* help = m_frame->findChild<frmHelp*>("frmHelp");
        QVERIFY(help && help->isVisible());
        QVERIFY(help->browser()->toPlainText().contains("Connecting the meter"));
    }

private:
    void startFrame() {
        m_frame = std::make_unique<mdiMain>(m_parts);
        if (!m_frame->load())
            qFatal("start-up failed: %s", qPrintable(m_messages->texts().join(" | ")));
        m_frame->show();
        if (!QTest::qWaitForWindowExposed(m_frame.get()))
            qFatal("the frame was not shown");
        if (frmKVX5130* p = panel())
            p->setExitAction([] {});
    }

    void closeForm(const QString& form, bool kept = false) {
        QVERIFY(sub(form));
        QCOMPARE(sub(form)->close(), !kept);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCOMPARE(sub(form) != nullptr, kept);
        QVERIFY(!kept || !sub(form)->isVisible());
        QCOMPARE(IsFormLoaded(form), kept);
    }

    frmKVX5130* panel() const { return qobject_cast<frmKVX5130*>(m_frame->loadedForm(kFormPanel)); }
    QMdiSubWindow* sub(const QString& form) const { return m_frame->subWindowOf(form); }

    test::SimProcess m_simulator{{"--pty", "--seed", "1"}};
    std::unique_ptr<QTemporaryDir> m_folder;
    std::shared_ptr<ScriptedMessageService> m_messages;
    FrameParts m_parts;
    std::unique_ptr<mdiMain> m_frame;
};

QTEST_MAIN(TestFrame)
#include "tst_frame.moc"
