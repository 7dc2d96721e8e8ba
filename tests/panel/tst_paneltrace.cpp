// The polling tick and trace control against an in-memory meter, on the settable clock.

#include "PanelFixture.h"

#include "ValueRules.h"

#include <QCheckBox>
#include <QLabel>
#include <QTimer>
#include <QtTest>

using namespace paneltest;
using kvx::RecordField;

class PanelTraceTest : public QObject {
    Q_OBJECT

private slots:
    void tickRearmsOnWholeSecondGrid_data();
    void tickRearmsOnWholeSecondGrid();
    void totalTimeStopsAtFirstTickPastIt_data();
    void totalTimeStopsAtFirstTickPastIt();
    void tickHandsReadingToViewsInOrder_data();
    void tickHandsReadingToViewsInOrder();
    void primaryFormatOnlyWidensUntilReset();
    void startAndStopChangeKeyAndTimeFields();
    void sampleIntervalShownAtStart_data();
    void sampleIntervalShownAtStart();
    void triggerPressesTakeOneReadingEach();
    void deadLinkWarnsAndKeyStillReadsStart();
    void stoppingNeverWaitsForTheMeter();
    void simulatedReadingsStayOffTheLink();
    void startTraceNowStartsEvenAfterATriggerPress();
};

void PanelTraceTest::tickRearmsOnWholeSecondGrid_data() {
    QTest::addColumn<double>("tickSeconds");
    QTest::addColumn<int>("interval");
    QTest::newRow("instant") << 0.0 << 1000;
    QTest::newRow("quarter second") << 0.25 << 750;
    QTest::newRow("1.3 s tick") << 1.3 << 700;
    QTest::newRow("exactly 2 s") << 2.0 << 1000;
    QTest::newRow("4.999 s") << 4.999 << 1;
    QTest::newRow("5 s keeps interval") << 5.0 << 1234;
    QTest::newRow("7.5 s keeps interval") << 7.5 << 1234;
}

void PanelTraceTest::tickRearmsOnWholeSecondGrid() {
    QFETCH(double, tickSeconds);
    QFETCH(int, interval);
    PanelFixture f;
    f.connectFakeMeter();
    f.key("cmdStart")->click();
    f.panel->timer2()->setInterval(1234);
    // The meter takes its time over the reading: the tick lasts that long.
    f.meter->delay = [tickSeconds](const QString& c) {
        return c == QLatin1String(":READ?") ? tickSeconds : 0;
    };
    f.panel->onTimer2Tick();
    QCOMPARE(f.panel->timer2()->interval(), interval);
    QVERIFY(f.panel->timer2()->isActive());
}

void PanelTraceTest::totalTimeStopsAtFirstTickPastIt_data() {
    QTest::addColumn<QString>("totalTime");
    QTest::addColumn<QList<double>>("tickTimes"); // seconds after the start
    QTest::addColumn<int>("stoppingTick");        // -1: runs on
    QTest::newRow("1 minute") << "1" << QList<double>{30, 60, 61} << 2;
    QTest::newRow("blank-padded 2") << " 2  " << QList<double>{119, 120, 121} << 2;
    QTest::newRow("half a minute") << "0.5" << QList<double>{30, 31} << 1;
    QTest::newRow("Continuous") << "Continuous" << QList<double>{60, 3600, 80000} << -1;
    QTest::newRow("not a number") << "abc" << QList<double>{1} << 0;
}

void PanelTraceTest::totalTimeStopsAtFirstTickPastIt() {
    QFETCH(QString, totalTime);
    QFETCH(QList<double>, tickTimes);
    QFETCH(int, stoppingTick);
    PanelFixture f;
    f.connectFakeMeter();
    kvx::session().operation.totalTime = totalTime;
    const QDateTime start = f.clock->now();
    f.key("cmdStart")->click();
    for (int i = 0; i < tickTimes.size(); ++i) {
        f.clock->set(start.addMSecs(qRound64(tickTimes[i] * 1000)));
        f.panel->onTimer2Tick();
        const bool shouldRun = stoppingTick < 0 || i < stoppingTick;
        QCOMPARE(f.panel->timer2()->isActive(), shouldRun);
        QCOMPARE(f.key("cmdStart")->text(), shouldRun ? QStringLiteral("Stop") : QStringLiteral("Start"));
    }
    QCOMPARE(kvx::session().operation.totalTime, totalTime.trimmed());
}

void PanelTraceTest::tickHandsReadingToViewsInOrder_data() {
    QTest::addColumn<QString>("reading");
    QTest::addColumn<QStringList>("commands");
    QTest::addColumn<double>("primary");
    QTest::addColumn<double>("secondary");
    QTest::newRow("dual display") << "60.02,1.234" << QStringList{":READ?"} << 1.234 << 60.02;
    QTest::newRow("single display") << "1.5" << QStringList{":READ?", ":VALUE?"} << 7.25 << 0.0;
}

void PanelTraceTest::tickHandsReadingToViewsInOrder() {
    QFETCH(QString, reading);
    QFETCH(QStringList, commands);
    QFETCH(double, primary);
    QFETCH(double, secondary);
    PanelFixture f;
    f.connectFakeMeter();
    f.meter->reading = reading;
    f.meter->value = QStringLiteral("7.25");
    f.key("cmdStart")->click();
    f.meter->commands.clear();
    f.views.log.calls.clear();

    f.panel->onTimer2Tick();
    QCOMPARE(f.meter->commands, commands);
    QCOMPARE(f.views.digital.primary, primary);
    QCOMPARE(f.views.digital.secondary, secondary);
    QCOMPARE(f.views.table.primary, primary);
    QCOMPARE(f.views.table.second, secondary);
    const QString text = kvx::numberToText(primary);
    const QStringList order{"DigVM",      "DigSecondM",     "dValuePrimary", "dValueSecond",
                            "AppendData", "analog:" + text, "graph:" + text, "ShowGraph"};
    QCOMPARE(f.views.log.calls, order);
    QCOMPARE(f.panel->findChild<QLabel*>("TimeDisplay")->text(), QStringLiteral("10:00:00 01 5, 2026"));
    QCOMPARE(kvx::session().lastReadingTime, 36000.0);
}

void PanelTraceTest::primaryFormatOnlyWidensUntilReset() {
    PanelFixture f;
    f.connectFakeMeter();
    f.key("cmdDCV")->click();
    f.key("cmdStart")->click();
    QStringList formats;
    for (const char* reading : {"0.3", "12", "3", "-600"}) {
        f.meter->value = QLatin1String(reading);
        f.panel->onTimer2Tick();
        formats << f.views.digital.primaryFmt;
    }
    QCOMPARE(formats, (QStringList{".###0 \"V\"", ".##0 \"V\"", ".##0 \"V\"", ".0 \"V\""}));

    // A new function starts from the finest format, in its own unit.
    f.meter->function = QStringLiteral("OHM");
    f.key("cmdOhm")->click();
    QCOMPARE(f.views.digital.primaryFmt, QStringLiteral(".###0 \"kΩ\""));
    f.meter->value = QStringLiteral("51");
    f.panel->onTimer2Tick();
    QCOMPARE(f.views.digital.primaryFmt, QStringLiteral(".#0 \"kΩ\""));

    // So does a new trace.
    f.key("cmdStart")->click();
    f.key("cmdStart")->click();
    QCOMPARE(f.panel->largestMagnitude(), 0.0);
}

void PanelTraceTest::startAndStopChangeKeyAndTimeFields() {
    PanelFixture f;
    f.connectFakeMeter();
    QPushButton* start = f.key("cmdStart");
    QCOMPARE(start->text(), QStringLiteral("Start"));
    QCOMPARE(start->toolTip(), QStringLiteral("Start To Show Trace"));
    QCOMPARE(start->palette().color(QPalette::Button), QColor(255, 0, 0));

    start->click();
    QVERIFY(kvx::session().tracing);
    QCOMPARE(f.panel->timer2()->interval(), 1000);
    QVERIFY(f.panel->timer2()->isActive());
    QCOMPARE(start->text(), QStringLiteral("Stop"));
    QCOMPARE(start->toolTip(), QStringLiteral("Stop To Show Trace"));
    QCOMPARE(start->palette().color(QPalette::Button), QColor(0, 255, 0));
    QCOMPARE(f.views.table.field(RecordField::StartTime), QStringLiteral("2026/01/05 10:00:00"));
    QVERIFY(f.views.graph.live);

    f.clock->advance(90);
    start->click();
    QVERIFY(!kvx::session().tracing);
    QVERIFY(!f.panel->timer2()->isActive());
    QCOMPARE(start->text(), QStringLiteral("Start"));
    QCOMPARE(start->palette().color(QPalette::Button), QColor(255, 0, 0));
    QCOMPARE(f.views.table.field(RecordField::EndTime), QStringLiteral("2026/01/05 10:01:30"));
    QVERIFY(!f.views.graph.live);
    QCOMPARE(f.views.log.calls.mid(f.views.log.calls.size() - 2), (QStringList{"live:0", "ReDraw"}));

    // A restart keeps the first start time of the trace.
    f.clock->advance(30);
    start->click();
    QCOMPARE(f.views.table.field(RecordField::StartTime), QStringLiteral("2026/01/05 10:00:00"));
    QCOMPARE(f.panel->traceStartTime(), 36120.0);
}

void PanelTraceTest::sampleIntervalShownAtStart_data() {
    QTest::addColumn<QString>("interval");
    QTest::addColumn<QString>("shown");
    QTest::newRow("set") << "2.5 "
                         << "2.5";
    QTest::newRow("zero") << "0"
                          << "1";
    QTest::newRow("blank") << "   "
                           << "1";
    QTest::newRow("not a number") << "x"
                                  << "1";
}

void PanelTraceTest::sampleIntervalShownAtStart() {
    QFETCH(QString, interval);
    QFETCH(QString, shown);
    PanelFixture f;
    f.connectFakeMeter();
    kvx::session().operation.samplingInterval = interval;
    f.key("cmdStart")->click();
    QCOMPARE(f.views.state.interval, shown);
}

void PanelTraceTest::triggerPressesTakeOneReadingEach() {
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
    QCOMPARE(f.views.table.appended, 1);
    QCOMPARE(label->text(), QStringLiteral("間隔Time: 1.00sec"));

    f.clock->advance(2.5);
    f.key("cmdStart")->click();
    QCOMPARE(label->text(), QStringLiteral("間隔Time: 2.50sec"));
    QCOMPARE(f.views.table.appended, 2);
    QVERIFY(!f.panel->timer2()->isActive());
    QCOMPARE(f.key("cmdStart")->text(), QStringLiteral("Start"));

    // Each press inverted the flag; after two it is back where it was, so a
    // continuous press now starts.
    f.option("optSampleStyle_0")->click();
    f.key("cmdStart")->click();
    QVERIFY(f.panel->timer2()->isActive());
}

void PanelTraceTest::deadLinkWarnsAndKeyStillReadsStart() {
    PanelFixture f;
    f.connectFakeMeter();
    f.meter->answering = false;
    f.key("cmdStart")->click();
    QCOMPARE(f.messages->shown().size(), size_t(1));
    QCOMPARE(f.messages->shown().front().text, QStringLiteral("Communication Error!"));
    QCOMPARE(f.messages->shown().front().title, QStringLiteral("Warning"));
    QCOMPARE(f.key("cmdStart")->text(), QStringLiteral("Start"));
    QCOMPARE(f.key("cmdStart")->toolTip(), QStringLiteral("Start To Show Trace"));
    QCOMPARE(f.views.state.conn, QStringLiteral("DEAD"));
    QVERIFY(!kvx::session().tracing);
    QVERIFY(!f.panel->timer2()->isActive());

    f.meter->answering = true;
    f.key("cmdStart")->click();
    QCOMPARE(f.views.state.conn, QStringLiteral("LIVE"));
    QVERIFY(f.panel->timer2()->isActive());
}

void PanelTraceTest::stoppingNeverWaitsForTheMeter() {
    // The total time runs out while the meter is away: the trace still ends, quietly.
    PanelFixture f;
    f.connectFakeMeter();
    kvx::session().operation.totalTime = QStringLiteral("1");
    f.key("cmdStart")->click();
    f.meter->answering = false;
    f.clock->advance(61);
    f.panel->onTimer2Tick();
    QVERIFY(!f.panel->timer2()->isActive());
    QCOMPARE(f.key("cmdStart")->text(), QStringLiteral("Start"));
    QVERIFY(f.messages->shown().empty());
}

void PanelTraceTest::simulatedReadingsStayOffTheLink() {
    PanelFixture f;
    f.connectFakeMeter();
    f.panel->findChild<QCheckBox*>("Check1")->setChecked(true);
    f.key("cmdStart")->click();
    kvx::randomSource().seed(7);
    f.views.digital.secondary = -1;
    f.meter->commands.clear();
    int negatives = 0;
    for (int i = 0; i < 200; ++i) {
        f.clock->advance(1);
        f.panel->onTimer2Tick();
        const double v = f.views.digital.primary;
        QVERIFY2(v == std::floor(v) && std::abs(v) <= 299, qPrintable(QString::number(v)));
        negatives += v < 0 ? 1 : 0;
        QCOMPARE(f.views.graph.value, kvx::numberToText(v));
    }
    QVERIFY(f.meter->commands.isEmpty());
    QCOMPARE(f.views.digital.secondary, -1.0);
    QCOMPARE(f.views.table.appended, 200);
    // A sign draw above 5 of 0..9 (10 folding to 0): about 40 % negative.
    QVERIFY2(negatives > 50 && negatives < 110, qPrintable(QString::number(negatives)));
    QCOMPARE(kvx::session().timeSinceLastReading, 1.0);
}

void PanelTraceTest::startTraceNowStartsEvenAfterATriggerPress() {
    PanelFixture f;
    f.connectFakeMeter();
    f.option("optSampleStyle_1")->click();
    f.key("cmdStart")->click(); // leaves the tracing flag set
    f.panel->startTraceNow();
    QVERIFY(f.panel->timer2()->isActive());
    QVERIFY(f.panel->continuousStyleSelected());
    QCOMPARE(f.key("cmdStart")->text(), QStringLiteral("Stop"));
}

QTEST_MAIN(PanelTraceTest)
#include "tst_paneltrace.moc"
