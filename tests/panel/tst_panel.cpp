// The front panel against an in-memory meter on the settable clock: number
// formats, the polling tick and trace control, the restore of the saved function,
// quitting, the operation file and the link it names, and the record keys.

#include "PanelFixture.h"

#include "BackgroundTask.h"
#include "DataRows.h"
#include "OperationRecord.h"
#include "RecordStore.h"
#include "ValueRules.h"
#include "WindowTestSupport.h"

#include <QtTest>
#include <QtWidgets>

using namespace paneltest;
using kvx::RecordField;
using kvx::session;
using kvx::test::callLog;

namespace {

QString operationPath() {
    return session().pathInFolder(kvx::kOperationFile);
}

} // namespace

class PanelTest : public QObject {
    Q_OBJECT

private slots:
    // ----- number formats and the panel's look -----

    void formatBands_data() {
        QTest::addColumn<QString>("unit");
        QTest::addColumn<double>("magnitude");
        QTest::addColumn<QString>("format");
        // clang-format off
        QTest::newRow("V 5 stays fine") << "V" << 5.0 << ".###0 \"V\"";
        QTest::newRow("V 5.001") << "V" << 5.001 << ".##0 \"V\"";
        QTest::newRow("V exactly 50") << "V" << 50.0 << ".##0 \"V\"";
        QTest::newRow("V 50.5") << "V" << 50.5 << ".#0 \"V\"";
        QTest::newRow("V 500.1") << "V" << 500.1 << ".0 \"V\"";
        QTest::newRow("no unit reads as volts") << "" << 12.0 << ".##0 \"V\"";
        // clang-format on
    }

    void formatBands() {
        QFETCH(QString, unit);
        QFETCH(double, magnitude);
        QTEST(kvx::panel::primaryFormatText(unit, magnitude), "format");
    }

    // ----- the polling tick and trace control -----

    void tickRearmsOnWholeSecondGrid_data() {
        QTest::addColumn<double>("tickSeconds");
        QTest::addColumn<int>("interval");
        QTest::newRow("instant") << 0.0 << 1000;
        QTest::newRow("1.3 s tick") << 1.3 << 700;
        QTest::newRow("exactly 2 s") << 2.0 << 1000;
        QTest::newRow("4.999 s") << 4.999 << 1;
        QTest::newRow("5 s keeps interval") << 5.0 << 1234;
    }

    void tickRearmsOnWholeSecondGrid() {
        QFETCH(double, tickSeconds);
        PanelFixture f;
        f.connectFakeMeter();
        f.key("cmdStart")->click();
        f.panel->timer2()->setInterval(1234);
        // The meter takes its time over the reading: the tick lasts that long. It starts at
        // 10:00:00.004, where 1.3 s between two seconds-of-day values is a little less in binary.
        f.meter->readSeconds = tickSeconds;
        f.tick(0.004);
        QTEST(f.panel->timer2()->interval(), "interval");
        QVERIFY(f.panel->timer2()->isActive());
    }

    void totalTimeStopsAtFirstTickPastIt_data() {
        QTest::addColumn<QString>("totalTime");
        QTest::addColumn<QList<double>>("tickTimes"); // seconds after the start
        QTest::addColumn<int>("stoppingTick");        // -1: runs on
        QTest::addColumn<bool>("meterAway");          // stopping must not wait for the meter
        QTest::newRow("1 minute") << "1" << QList<double>{30, 60, 61} << 2 << false;
        QTest::newRow("blank-padded 2") << " 2  " << QList<double>{119, 120, 121} << 2 << false;
        QTest::newRow("half a minute") << "0.5" << QList<double>{30, 31} << 1 << false;
        QTest::newRow("Continuous") << "Continuous" << QList<double>{60, 3600, 80000} << -1 << false;
        QTest::newRow("not a number") << "abc" << QList<double>{1} << 0 << false;
        QTest::newRow("meter away, quietly") << "1" << QList<double>{61} << 0 << true;
    }

    void totalTimeStopsAtFirstTickPastIt() {
        QFETCH(QString, totalTime);
        QFETCH(QList<double>, tickTimes);
        QFETCH(int, stoppingTick);
        QFETCH(bool, meterAway);
        PanelFixture f;
        f.connectFakeMeter();
        session().operation.totalTime = totalTime;
        const QDateTime start = f.clock->now();
        f.key("cmdStart")->click();
        f.meter->answering = !meterAway;
        for (int i = 0; i < tickTimes.size(); ++i) {
            f.clock->set(start.addMSecs(qRound64(tickTimes[i] * 1000)));
            f.tick(0);
            const bool shouldRun = stoppingTick < 0 || i < stoppingTick;
            QCOMPARE(f.panel->timer2()->isActive(), shouldRun);
            QCOMPARE(f.key("cmdStart")->text(), shouldRun ? QStringLiteral("Stop") : QStringLiteral("Start"));
        }
        QCOMPARE(session().operation.totalTime, totalTime.trimmed());
        QVERIFY(f.messages->shown().empty());
    }

    void tickHandsReadingToViewsInOrder_data() {
        QTest::addColumn<QString>("reading");
        QTest::addColumn<QStringList>("commands");
        QTest::addColumn<double>("primary");
        QTest::addColumn<double>("secondary");
        QTest::addColumn<bool>("answering");
        QTest::newRow("dual display") << "60.02,1.234" << QStringList{":READ?"} << 1.234 << 60.02 << true;
        QTest::newRow("single display") << "1.5" << QStringList{":READ?", ":VALUE?"} << 7.25 << 0.0 << true;
        // A meter gone away mid-trace: zeros go on to the views, the mark shows why, the timer runs on.
        QTest::newRow("meter away") << "1.5" << QStringList{":READ?", ":VALUE?"} << 0.0 << 0.0 << false;
    }

    void tickHandsReadingToViewsInOrder() {
        QFETCH(QString, reading);
        QFETCH(double, primary);
        QFETCH(double, secondary);
        QFETCH(bool, answering);
        PanelFixture f;
        f.connectFakeMeter();
        f.meter->reading = reading;
        f.meter->value = QStringLiteral("7.25");
        f.key("cmdStart")->click();
        f.meter->commands.clear();
        callLog().clear();
        f.state.conn.clear();
        f.meter->answering = answering;
        f.tick(0);
        QTEST(f.meter->commands, "commands");
        QCOMPARE(f.state.conn, answering ? QStringLiteral("LIVE") : QStringLiteral("DEAD"));
        QVERIFY(f.panel->timer2()->isActive());
        QVERIFY(f.messages->shown().empty());
        QCOMPARE(f.digital.primary, primary);
        QCOMPARE(f.digital.secondary, secondary);
        QCOMPARE(f.table.primary, primary);
        QCOMPARE(f.table.second, secondary);
        const QString text = "Value:" + kvx::numberToText(primary);
        const QString mark = answering ? "replied" : "noReply";
        QCOMPARE(callLog(), (QStringList{"DigVM", "DigSecondM", "dValuePrimary", "dValueSecond", mark,
                                         "AppendData", text, text, mark, "ShowGraph"}));
        QCOMPARE(f.panel->findChild<QLabel*>("TimeDisplay")->text(), QStringLiteral("10:00:00 01 5, 2026"));
        QCOMPARE(session().lastReadingTime, 36000.0);
    }

    void primaryFormatOnlyWidensUntilReset() {
        PanelFixture f;
        f.connectFakeMeter();
        f.key("cmdDCV")->click();
        f.key("cmdStart")->click();
        QStringList formats;
        for (const char* reading : {"0.3", "12", "3", "-600"}) {
            f.meter->value = QLatin1String(reading);
            f.tick();
            formats << f.digital.primaryFormatText;
        }
        QCOMPARE(formats, (QStringList{".###0 \"V\"", ".##0 \"V\"", ".##0 \"V\"", ".0 \"V\""}));
        // A new function starts from the finest format, in its own unit; so does a new trace.
        f.meter->function = QStringLiteral("OHM");
        f.key("cmdOhm")->click();
        QCOMPARE(f.digital.primaryFormatText, QStringLiteral(".###0 \"kΩ\""));
        f.meter->value = QStringLiteral("51");
        f.tick();
        QCOMPARE(f.digital.primaryFormatText, QStringLiteral(".#0 \"kΩ\""));
        f.key("cmdStart")->click();
        f.key("cmdStart")->click();
        QCOMPARE(f.panel->largestMagnitude(), 0.0);
    }

    void startAndStopATrace() {
        PanelFixture f;
        f.connectFakeMeter();
        QPushButton* start = f.key("cmdStart");
        // The key, the tracing flag and the timer, in one line.
        const auto state = [&] {
            return QStringList{
                start->text(), start->toolTip(), start->palette().color(QPalette::Button).name(),
                QString::number(session().tracing), QString::number(f.panel->timer2()->isActive())};
        };
        const QStringList stopped{"Start", "Start To Show Trace", "#ff0000", "0", "0"};
        // A meter that does not answer: a warning, and the key still offers to start.
        f.meter->answering = false;
        start->click();
        QCOMPARE(f.messages->texts(), QStringList{"Communication Error!"});
        QCOMPARE(state(), stopped);
        QCOMPARE(f.state.conn, QStringLiteral("DEAD"));

        f.meter->answering = true;
        session().operation.samplingInterval = QStringLiteral("2.5 ");
        start->click();
        QCOMPARE(state(), (QStringList{"Stop", "Stop To Show Trace", "#00ff00", "1", "1"}));
        QCOMPARE(f.state.conn, QStringLiteral("LIVE"));
        QCOMPARE(f.panel->timer2()->interval(), 1000);
        QCOMPARE(f.state.interval, QStringLiteral("2.5"));
        QCOMPARE(f.table.field(RecordField::StartTime), QStringLiteral("2026/01/05 10:00:00"));
        QVERIFY(f.graph.live);

        f.clock->advance(90);
        start->click();
        QCOMPARE(state(), stopped);
        QCOMPARE(f.table.field(RecordField::EndTime), QStringLiteral("2026/01/05 10:01:30"));
        QCOMPARE(callLog().mid(callLog().size() - 2), (QStringList{"live:0", "ReDraw"}));

        // A restart keeps the first start time of the trace; an unset interval shows as 1.
        f.clock->advance(30);
        session().operation.samplingInterval = QStringLiteral("0");
        start->click();
        QCOMPARE(f.table.field(RecordField::StartTime), QStringLiteral("2026/01/05 10:00:00"));
        QCOMPARE(f.panel->traceStartTime(), 36120.0);
        QCOMPARE(f.state.interval, QStringLiteral("1"));
    }

    void triggerPressesTakeOneReadingEach() {
        PanelFixture f;
        f.connectFakeMeter();
        f.meter->reading = QStringLiteral("60,2");
        auto* label = f.panel->findChild<QLabel*>("lblInterval");
        f.option("optSampleStyle_1")->click();
        QCOMPARE(label->text(), QStringLiteral("間隔Time: 1sec"));
        QVERIFY(!f.panel->continuousStyleSelected());

        f.clock->advance(1);
        f.meter->commands.clear();
        f.key("cmdStart")->click();
        QCOMPARE(f.meter->commands.count(":READ?"), 1);
        QCOMPARE(f.table.appended, 1);
        QCOMPARE(label->text(), QStringLiteral("間隔Time: 1.00sec"));
        f.clock->advance(2.5);
        f.key("cmdStart")->click();
        QCOMPARE(label->text(), QStringLiteral("間隔Time: 2.50sec"));
        QCOMPARE(f.table.appended, 2);
        QVERIFY(!f.panel->timer2()->isActive());
        QCOMPARE(f.key("cmdStart")->text(), QStringLiteral("Start"));

        // A third press leaves the tracing flag set; a trace started for the operator starts all the same.
        f.key("cmdStart")->click();
        f.panel->startTraceNow();
        QVERIFY(f.panel->timer2()->isActive());
        QVERIFY(f.panel->continuousStyleSelected());
        QCOMPARE(f.key("cmdStart")->text(), QStringLiteral("Stop"));
    }

    // The sign draw, scaled to 0..10 and rounded half to even (10 folds to 0), is
    // negative above 5; the magnitude draw scaled to 0..300 the same way.
    void simulatedReadingDraws_data() {
        QTest::addColumn<double>("signDraw");
        QTest::addColumn<double>("magnitudeDraw");
        QTest::addColumn<double>("reading");
        kvx::test::addRow("sign 5 is positive", 0.5, 0.5, 150.0);
        kvx::test::addRow("sign 6 is negative", 0.55, 0.5, -150.0);
        kvx::test::addRow("0.54 rounds to 5", 0.54, 0.1, 30.0);
        kvx::test::addRow("sign 9 is negative", 0.9, 0.1, -30.0);
        kvx::test::addRow("sign 10 folds to 0", 0.96, 0.9, 270.0);
        kvx::test::addRow("magnitude 300 folds to 0", 0.1, 0.9999, 0.0);
        kvx::test::addRow("magnitude half to even", 0.0, 0.005, 2.0);
    }
    void simulatedReadingDraws() {
        QFETCH(double, signDraw);
        QFETCH(double, magnitudeDraw);
        PanelFixture f;
        f.connectFakeMeter();
        f.panel->findChild<QCheckBox*>("Check1")->setChecked(true);
        f.key("cmdStart")->click();
        f.tick();
        f.digital.secondary = -1;
        f.meter->commands.clear();
        kvx::randomSource().script({signDraw, magnitudeDraw});
        f.tick();
        QTEST(f.digital.primary, "reading");
        // Simulated readings stay off the link and leave the secondary display alone.
        QVERIFY(f.meter->commands.isEmpty());
        QCOMPARE(f.digital.secondary, -1.0);
        QCOMPARE(f.graph.value, kvx::numberToText(f.digital.primary));
        QCOMPARE(f.table.appended, 2);
        QCOMPARE(session().timeSinceLastReading, 1.0);
    }

    // ----- first activation, quit -----

    void firstActivationRestoresSavedFunction_data() {
        QTest::addColumn<QString>("saved");
        QTest::addColumn<bool>("linkUp");
        QTest::addColumn<QString>("keyName");
        // A saved function is found by its short or long name, exactly, case included.
        QTest::newRow("DCV") << "DCV" << true << "cmdDCV";
        QTest::newRow("AC Voltage") << "AC Voltage" << true << "cmdACV";
        QTest::newRow("ACV + Frequence") << "ACV + Frequence" << true << "cmdACVFeq";
        QTest::newRow("lower case falls back") << "hz+acv" << true << "cmdDCV";
        QTest::newRow("Resitance as spelt") << "Resitance " << true << "cmdOhm";
        QTest::newRow("Resistance spelt right is unknown") << "Resistance" << true << "cmdDCV";
        QTest::newRow("blank-padded CONT") << "CONT      " << true << "cmdContinue";
        QTest::newRow("Ripple") << "Ripple" << true << "cmdRipple";
        QTest::newRow("blank") << "          " << true << "cmdDCV";
        QTest::newRow("not Ready") << "AC Voltage" << false << "cmdDCV";
    }

    void firstActivationRestoresSavedFunction() {
        QFETCH(QString, saved);
        QFETCH(bool, linkUp);
        QFETCH(QString, keyName);
        PanelFixture f;
        if (linkUp)
            f.connectFakeMeter();
        else
            session().linkOverride = "serial:" + f.folder.filePath("no-such-tty");
        session().operation.sFunction = saved;
        f.panel->load();
        QCOMPARE(kvx::driver().Ready(), linkUp);
        QSignalSpy pressed(f.key(keyName), &QPushButton::clicked);
        QSignalSpy dcv(f.key("cmdDCV"), &QPushButton::clicked);
        f.panel->firstActivation();
        f.panel->firstActivation(); // only the first one restores
        QCOMPARE(pressed.count(), 1);
        QCOMPARE(dcv.count(), keyName == QLatin1String("cmdDCV") ? 1 : 0);
    }

    void quitWritesOperationFileAndLog_data() {
        QTest::addColumn<bool>("logCommands");
        QTest::newRow("log on") << true;
        QTest::newRow("log off") << false;
    }

    void quitWritesOperationFileAndLog() {
        QFETCH(bool, logCommands);
        PanelFixture f;
        f.connectFakeMeter();
        session().logCommands = logCommands;
        const QString logPath = session().pathInFolder(kvx::kCommandLogFile);
        QVERIFY(kvx::test::writeFile(logPath, "stale\r\n"));
        f.meter->function = QStringLiteral("ACV");
        f.key("cmdACV")->click();
        session().operation.totalTime = QStringLiteral("12");
        f.key("cmdQuit")->click();
        QVERIFY(f.exited);

        kvx::OperationRecord saved;
        QCOMPARE(kvx::OperationFile::load(operationPath(), saved), kvx::LoadResult::Loaded);
        QCOMPARE(saved.sFunction, QStringLiteral("AC Voltage"));
        QCOMPARE(saved.totalTime.trimmed(), QStringLiteral("12"));
        QFile log(logPath);
        QVERIFY(log.open(QIODevice::ReadOnly));
        const QByteArray text = log.readAll();
        QCOMPARE(text.contains("Execute Start: [:CONF:VOLT:AC 0]"), logCommands);
        QCOMPARE(text.startsWith("stale"), !logCommands);
        QVERIFY(text.endsWith("\r\n"));
        // The driver was released: a new one has no link until told.
        QVERIFY(!kvx::driver().Ready());
    }

    // ----- the operation file and the link it names -----

    void loadAppliesTheLink_data() {
        QTest::addColumn<QString>("flags"); // serial, GPIB and LAN flags of the record
        QTest::addColumn<QString>("linkText");
        QTest::addColumn<QString>("method");
        QTest::addColumn<QString>("backend");
        QTest::addColumn<int>("baud");
        const QString prologix = QStringLiteral("prologix:/nonexistent/tty");
        const QString tcp = QStringLiteral("tcp:127.0.0.1:1");
        // clang-format off
        QTest::newRow("serial") << "1| |" << "" << "RS232" << prologix << 19200;
        QTest::newRow("serial flag other than 1") << "0||" << "" << "GPIB" << prologix << 19200;
        QTest::newRow("GPIB flag decides, over LAN") << "1|1|1" << "" << "GPIB" << tcp << 19200;
        QTest::newRow("no flags, no link") << "||" << "" << "" << prologix << 19200;
        QTest::newRow("GPIB flag 0 means serial, LAN kept") << "0|0|1" << "" << "RS232" << tcp << 19200;
        // A --link text replaces the record's link settings; an unreadable one leaves them, and says so.
        QTest::newRow("--link serial@rate") << "|1|" << "serial:/nonexistent/ttyUSB3@38400" << "RS232"
                                            << "gpib:0" << 38400;
        QTest::newRow("--link raw socket") << "1||" << "tcp:127.0.0.1:1" << "GPIB" << tcp << 9600;
        QTest::newRow("--link unreadable") << "|1|" << "bogus" << "GPIB" << prologix << 19200;
        // clang-format on
    }

    void loadAppliesTheLink() {
        QFETCH(QString, flags);
        QFETCH(QString, linkText);
        PanelFixture f;
        kvx::OperationRecord record;
        record.comPort = 2;
        record.baudRate = 19200;
        record.gpibAddress = 9;
        record.serialSettings = {7, 2, 2, 0};
        record.samplingInterval = QStringLiteral("5");
        record.serialFlag = flags.section('|', 0, 0);
        record.gpibFlag = flags.section('|', 1, 1);
        record.lanFlag = flags.section('|', 2, 2);
        record.serialDevice = f.folder.filePath(QStringLiteral("no-such-tty"));
        record.gpibBackend = QStringLiteral("prologix:/nonexistent/tty");
        record.lanAddress = QStringLiteral("127.0.0.1:1");
        QVERIFY(kvx::OperationFile::save(operationPath(), record));
        session().linkOverride = linkText;

        f.panel->load();
        QTEST(kvx::driver().ConnectMethod(), "method");
        QTEST(kvx::driver().CWGPIB1().backend(), "backend");
        QTEST(kvx::driver().CWSerial1().baudRate(), "baud");
        if (linkText.isEmpty()) {
            QCOMPARE(kvx::driver().CWSerial1().devicePath(), record.serialDevice);
            QCOMPARE(kvx::driver().CWGPIB1().primaryAddress(), qint16(9));
        }
        // Whichever link is chosen, the serial line is framed as the record says.
        QCOMPARE(kvx::driver().CWSerial1().framing().text(), QStringLiteral("7E2"));
        QCOMPARE(f.messages->texts().isEmpty(), linkText != QLatin1String("bogus"));
        QCOMPARE(f.messages->texts().size(), linkText == QLatin1String("bogus") ? 1 : 0);
        // Nothing answers at any of these: the mark says so although SESR_PON is always True.
        QCOMPARE(f.state.conn, QStringLiteral("DEAD"));
        QCOMPARE(f.state.interval, QStringLiteral("5"));
        QCOMPARE(f.table.field(RecordField::TimerSample), QStringLiteral("5"));
    }

    void unusableOperationFile_data() {
        QTest::addColumn<QByteArray>("content"); // empty: no file
        QTest::addColumn<QString>("totalTime");
        QTest::addColumn<QString>("totalTimeAfter");
        // A first run traces until stopped; a damaged file leaves the settings as they are, and says so.
        // clang-format off
        QTest::newRow("first run") << QByteArray() << "" << "Continuous";
        QTest::newRow("damaged") << QByteArray(100, 'x') << "7" << "7";
        // clang-format on
    }

    void unusableOperationFile() {
        QFETCH(QByteArray, content);
        QFETCH(QString, totalTime);
        PanelFixture f;
        if (!content.isEmpty())
            QVERIFY(kvx::test::writeFile(operationPath(), content));
        session().operation.totalTime = totalTime;
        f.panel->load();
        QTEST(session().operation.totalTime, "totalTimeAfter");
        QCOMPARE(f.messages->texts().size(), content.isEmpty() ? 0 : 1);
        QVERIFY(content.isEmpty() || f.messages->texts().first().contains(operationPath()));
    }

    void fileSaveAndLoadUnderAChosenName() {
        PanelFixture f;
        f.connectFakeMeter();
        const QString chosen = f.folder.filePath(QStringLiteral("bench-3.Log"));
        session().operation.samplingInterval = QStringLiteral("3");
        QVERIFY(f.panel->saveOperationTo(chosen));
        QVERIFY(!QFile::exists(operationPath()));

        session().operation.samplingInterval = QStringLiteral("8");
        f.state.interval.clear();
        QVERIFY(f.panel->loadOperationFromPath(chosen));
        QCOMPARE(session().operation.samplingInterval.trimmed(), QStringLiteral("3"));
        // The loaded settings were applied at once.
        QCOMPARE(f.state.interval, QStringLiteral("3"));
        QCOMPARE(kvx::driver().ConnectMethod(), QStringLiteral("RS232"));
        QVERIFY(!f.panel->loadOperationFromPath(f.folder.filePath(QStringLiteral("missing.Log"))));
        QVERIFY(f.messages->shown().empty());
    }

    void recordTabListsAndLoadsRecords() {
        // 19 saved records (record n has n samples) and a working trace saved as the 20th,
        // at the panel's own size in its child window, used as a user would.
        PanelFixture f;
        kvx::RecordStore& store = kvx::recordStore();
        QVERIFY(store.open(f.folder.filePath(kvx::kDatabaseFile)));
        for (int n = 1; n <= 19; ++n) {
            const QString start = QStringLiteral("2026/01/%1 10:00:00").arg(n, 2, 10, QLatin1Char('0'));
            QVERIFY(store.insertSample({n, start, "1.5 V", "", "0", 0, 0}));
            const QString comment = n == 1 ? QStringLiteral("漢字の説明は一行に入らない長さです") : "run";
            QVERIFY(
                store.insertHeader({QString::number(n), start, start, comment, "V", "", n == 3 ? "1" : "0"}));
            QVERIFY(store.copyTraceToRecord(QString::number(n)));
        }
        QMdiArea area;
        kvx::frmKVX5130* panel = f.panel.get();
        area.addSubWindow(f.panel.release())->resize(273, 228);
        area.show();
        QVERIFY(QTest::qWaitForWindowExposed(&area));
        auto* tabs = panel->findChild<QTabBar*>();
        QTest::mouseClick(tabs, Qt::LeftButton, {}, tabs->tabRect(1).center());
        auto* status = panel->findChild<QLabel*>("lblRecordStatus");
        auto* list = panel->findChild<QListWidget*>("List1");
        auto* grid = panel->findChild<QTableWidget*>("grdRecList");
        auto click = [panel](const char* name) {
            QTest::mouseClick(panel->findChild<QAbstractButton*>(name), Qt::LeftButton);
        };
        f.messages->queueAnswer(kvx::Answer::Yes);
        click("cmdSaveRecord");
        QCOMPARE(status->text(), QStringLiteral("Record 20 saved, 19 samples"));

        click("cmdLoadRecord");
        QCOMPARE(list->count(), 20);
        for (int row = 0; row < list->count(); ++row) { // every line fits, or its tooltip holds it
            const QString line = list->item(row)->text();
            const QString tip = QTextDocumentFragment::fromHtml(list->item(row)->toolTip()).toPlainText();
            QVERIFY2(list->fontMetrics().horizontalAdvance(line) <= list->viewport()->width() ||
                         tip.startsWith(line + "\nStart: 2026/01/"),
                     qPrintable(line));
        }
        click("cmdShowGrid");
        QVERIFY(grid->isVisible() && grid->viewport()->height() >= 5 * grid->rowHeight(0));
        // Newest first; a click on a heading sorts by it, record numbers by value.
        QCOMPARE(grid->item(0, 0)->text(), QStringLiteral("20"));
        auto* headings = grid->horizontalHeader();
        QTest::mouseClick(headings->viewport(), Qt::LeftButton, {},
                          {headings->sectionViewportPosition(0) + 4, 4});
        QCOMPARE(grid->item(1, 0)->text(), QStringLiteral("2"));
        QTest::mouseClick(grid->viewport(), Qt::LeftButton, {},
                          grid->visualItemRect(grid->item(2, 0)).center());
        kvx::waitForBackgroundTasks();
        QCOMPARE(status->text(), QStringLiteral("Record 3 loaded, 3 samples"));
        QVERIFY(!panel->continuousStyleSelected() && !grid->isVisible()); // the record's trigger style
        // The list is still out; a pick from it puts it away too.
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->visualItemRect(list->item(0)).center());
        kvx::waitForBackgroundTasks();
        QCOMPARE(f.table.field(RecordField::Recno), QStringLiteral("20"));
        QVERIFY(!list->isVisible() && panel->findChild<QPushButton*>("cmdLoadRecord")->isVisible());

        click("cmdLoadRecord");
        click("cmdShowGrid");
        QTest::keyClick(grid, Qt::Key_Down);
        QTest::keyClick(grid, Qt::Key_Down);
        QTest::keyClick(grid, Qt::Key_Return);
        kvx::waitForBackgroundTasks();
        QCOMPARE(f.table.field(RecordField::Recno), QStringLiteral("3"));
        store.close();
    }
};

QTEST_MAIN(PanelTest)
#include "tst_panel.moc"
