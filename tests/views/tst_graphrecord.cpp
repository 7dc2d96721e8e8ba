// The trend graph window: statistics of appended and rebuilt traces, the Y
// range, the X axis, cursors and measurements, and the extreme panels.
#include "BackgroundTask.h"
#include "DataRows.h"
#include "ValueRules.h"
#include "WindowTestSupport.h"
#include "clsKVX5310.h"
#include "frmGraphicRecord.h"

#include <QtTest>
#include <QtWidgets>
#include <qcustomplot.h>
#include <random>

using namespace kvx;
using namespace kvx::test;

namespace {

QString text(const QWidget& w, const char* name) {
    if (auto* label = w.findChild<QLabel*>(QLatin1String(name)))
        return label->text();
    return w.findChild<QLineEdit*>(QLatin1String(name))->text();
}

// The texts of several panels and fields, joined with '|'.
QString texts(const QWidget& w, std::initializer_list<const char*> names) {
    QStringList out;
    for (const char* name : names)
        out << text(w, name);
    return out.join('|');
}

void feed(frmGraphicRecord& g, const QStringList& readings) {
    for (const QString& r : readings) {
        g.setValueText(r);
        g.ShowGraph();
    }
}

QCPRange yRange(const frmGraphicRecord& g) {
    return g.CWGraph1()->yAxis->range();
}

int points(const frmGraphicRecord& g, int plot) {
    return g.CWGraph1()->graph(plot)->dataCount();
}

// The operator's ways: the mode slider, the mouse on the plot (a click moves
// cursor 1, or cursor 2 with Shift; a cursor is dragged where the other one
// stands), a click on an extreme panel.
void chooseMode(frmGraphicRecord& g, int mode) {
    g.findChild<QSlider*>(QStringLiteral("GraphMode"))->setValue(mode);
}
QPoint atSample(frmGraphicRecord& g, int sample) {
    QCustomPlot* plot = g.CWGraph1();
    return QPoint(qRound(plot->xAxis->coordToPixel(sample)), plot->axisRect()->center().y());
}
void placeCursor(frmGraphicRecord& g, int cursor, int sample) {
    QCustomPlot* plot = g.CWGraph1();
    const Qt::KeyboardModifiers keys = cursor == 1 ? Qt::ShiftModifier : Qt::NoModifier;
    if (g.cursorPointIndex(1 - cursor) != sample) {
        QTest::mouseClick(plot, Qt::LeftButton, keys, atSample(g, sample));
        return;
    }
    QTest::mousePress(plot, Qt::LeftButton, keys, atSample(g, g.cursorPointIndex(cursor)));
    const QPoint to = atSample(g, sample);
    QMouseEvent move(QEvent::MouseMove, to, plot->mapToGlobal(to), Qt::NoButton, Qt::LeftButton, keys);
    QCoreApplication::sendEvent(plot, &move);
    QTest::mouseRelease(plot, Qt::LeftButton, keys, to);
}
void clickPanel(frmGraphicRecord& g, const char* name) {
    QTest::mouseClick(g.findChild<QLabel*>(QLatin1String(name)), Qt::LeftButton);
}
// Shown, with the samples far enough apart to click each one.
void showSpreadOut(frmGraphicRecord& g, int samples) {
    g.show();
    QVERIFY(QTest::qWaitForWindowExposed(&g));
    g.CWGraph1()->xAxis->setRange(-0.5, samples - 0.5);
    g.CWGraph1()->replot();
}

} // namespace

class GraphRecordTest : public QObject {
    Q_OBJECT
private slots:
    void init() { driver().setUnitPrimary(QStringLiteral("Voltage")); }

    // Extremes need a strict win (a tie keeps the earlier text); a match lies strictly inside the band.
    void extremesAndMatches_data() {
        QTest::addColumn<QStringList>("readings");
        QTest::addColumn<QString>("high");
        QTest::addColumn<QString>("low");
        QTest::addColumn<QString>("panels"); // pnlMax|pnlMin|pnlStdCount
        using L = QStringList;
        addRow("tie keeps the first maximum", L{"5", "7 V", "7", "6"}, "", "",
               "MAX:7 V|MIN:5|Match Condition:0");
        addRow("tie keeps the first minimum", L{"4", "-2", "-2.0", "1"}, "", "",
               "MAX:4|MIN:-2|Match Condition:0");
        addRow("text without a number reads 0", L{"abc", "-1"}, "", "", "MAX:abc|MIN:-1|Match Condition:0");
        addRow("inside", L{"5"}, "10", "0", "MAX:5|MIN:5|Match Condition:1");
        addRow("on the high limit", L{"10"}, "10", "0", "MAX:10|MIN:10|Match Condition:0");
        addRow("on the low limit", L{"-3"}, "10", "-3", "MAX:-3|MIN:-3|Match Condition:0");
        addRow("empty low reads 0", L{"4", "-4"}, "10", "", "MAX:4|MIN:-4|Match Condition:1");
        addRow("limit text with a unit still read", L{"4"}, "10 V", "1", "MAX:4|MIN:4|Match Condition:1");
    }

    void extremesAndMatches() {
        QFETCH(QStringList, readings);
        QFETCH(QString, high);
        QFETCH(QString, low);
        frmGraphicRecord g(driverUnits(), recordStore());
        g.setLimHighText(high);
        g.setLimLowText(low);
        feed(g, readings);
        QTEST(texts(g, {"pnlMax", "pnlMin", "pnlStdCount"}), "panels");
    }

    void limitFieldsChartOnlyNumbers() {
        frmGraphicRecord g(driverUnits(), recordStore());
        g.setLimHighText(QStringLiteral("10"));
        g.setLimLowText(QString());
        g.setRelText(QStringLiteral("10 V")); // not a number as a whole: no point
        feed(g, {"1", "2"});
        g.setLimLowText(QStringLiteral("-5"));
        feed(g, {"3"});
        QCOMPARE((QList<int>{points(g, 0), points(g, 1), points(g, 2), points(g, 3)}),
                 (QList<int>{3, 3, 1, 0}));
        QCOMPARE(g.CWGraph1()->graph(2)->data()->at(0)->key, 2.0); // at its own sample's time
        QCOMPARE(g.trace().lowValues, (std::vector<double>{0, 0, -5}));
        QCOMPARE(g.trace().highValues, (std::vector<double>{10, 10, 10}));
    }

    void yRangeOnlyWidens() {
        frmGraphicRecord g(driverUnits(), recordStore());
        const std::pair<const char*, double> steps[] = {{"0.3", 0.5}, {"7", 50}, {"1", 50}};
        for (const auto& [reading, expected] : steps) {
            feed(g, {QLatin1String(reading)});
            QCOMPARE(yRange(g), QCPRange(-expected, expected));
            QCOMPARE(g.trace().yScale, expected);
        }
    }

    void frequencyAndUnknownUnits() {
        driver().setUnitPrimary(QStringLiteral("Frequence"));
        frmGraphicRecord g(driverUnits(), recordStore());
        const QCPRange before = yRange(g);
        feed(g, {"0.3", "700"});
        QCOMPARE(yRange(g), before);
        QCOMPARE(g.trace().yScale, 0.0);

        driver().setUnitPrimary(QStringLiteral("dBm"));
        feed(g, {"900"});
        QCOMPARE(yRange(g), before); // the axis is not touched ...
        QCOMPARE(g.trace().yScale, 50.0);
        g.ZoomOut_Click(); // ... but Zoom Out uses the 50
        QCOMPARE(yRange(g), QCPRange(-50, 50));
    }

    void clearKeepsMatchCountAndPeak() {
        FakePanel panel; // continuous style
        frmGraphicRecord g(driverUnits(), recordStore());
        g.setLimHighText(QStringLiteral("1000"));
        g.setLimLowText(QStringLiteral("0"));
        feed(g, {"500", "20"});
        g.CWGraph1()->xAxis->setRange(30, 40);
        g.ClearGraph();
        QCOMPARE(points(g, 0), 0);
        QCOMPARE(texts(g, {"pnlMax", "pnlStdCount", "pnlTotCount", "pnlIncrementTime", "pnlTotTimes"}),
                 "MAX:|Match Condition:|Total Sampling:|interval: 1sec|Total Time:0:0:0");
        QCOMPARE(g.CWGraph1()->xAxis->range(), QCPRange(0, 100));

        // A new trace after a 500 V peak keeps the +-1200 axis; smaller readings do not narrow it.
        feed(g, {"30"});
        QCOMPARE(yRange(g).upper, 1200.0);
        QCOMPARE(texts(g, {"pnlMax", "pnlStdCount", "pnlTotCount"}),
                 "MAX:30|Match Condition:3|Total Sampling:1");
        panel.styleIndex = 1; // trigger style
        g.ClearGraph();
        QCOMPARE(text(g, "pnlIncrementTime"), QStringLiteral("interval:"));
    }

    // Random traces with ties and values on the limits: the statistics a live trace
    // builds sample by sample are the ones ReDraw rebuilds from the store.
    void statisticsAgreeLiveAndRebuilt() {
        for (const unsigned seed : {1u, 2u, 3u}) {
            StoreFixture store;
            frmGraphicRecord g(driverUnits(), recordStore());
            g.setLimHighText(QStringLiteral("4"));
            g.setLimLowText(QStringLiteral("-4"));
            std::mt19937 random(seed);
            std::uniform_int_distribution<int> tenths(-60, 60);
            QStringList readings;
            for (int i = 0; i < 300; ++i) {
                readings << numberToText(tenths(random) / 10.0);
                QVERIFY(recordStore().insertSample(
                    {i, dateTimeText(QDateTime(QDate(2026, 1, 5), QTime(10, 0)).addSecs(i)),
                     readings.last() + " V", "0 ", "0", i, i ? 1 : 0, i == 7}));
            }
            feed(g, readings);
            const TraceStatistics live = g.trace();
            g.CWGraph1()->yAxis->setRange(-1, 1);
            g.ReDraw();
            waitForBackgroundTasks();
            QCOMPARE(yRange(g), QCPRange(-50, 50)); // the rebuilt peak chooses the axis again
            const auto* marks = g.CWGraph1()->graph(4)->data().data(); // the one sample without a reply
            QCOMPARE(marks->size(), 1);
            QCOMPARE((std::pair{marks->at(0)->key, marks->at(0)->value}),
                     (std::pair{7.0, readings[7].toDouble()}));
            const TraceStatistics rebuilt = g.trace();
            QCOMPARE(rebuilt.sampleCount, live.sampleCount);
            QCOMPARE((std::pair{rebuilt.maxValue, rebuilt.maxIndex}),
                     (std::pair{live.maxValue, live.maxIndex}));
            QCOMPARE((std::pair{rebuilt.minValue, rebuilt.minIndex}),
                     (std::pair{live.minValue, live.minIndex}));
            QCOMPARE(rebuilt.peakAbs, live.peakAbs);
            QCOMPARE(rebuilt.matchCount, 2 * live.matchCount); // the count runs on across a rebuild
        }
    }

    // A rebuild read in the background never overwrites what the graph charted or
    // cleared after it was asked for (a trace stopped and started again at once).
    void rebuildOlderThanTheGraphIsDropped() {
        StoreFixture store;
        QVERIFY(recordStore().replaceTrace(makeSamples(5)));
        frmGraphicRecord g(driverUnits(), recordStore());
        g.ReDraw();
        g.ClearGraph();
        feed(g, {"7"});
        waitForBackgroundTasks();
        QCOMPARE(g.trace().plotValues, std::vector<double>{7.0});
        g.ReDraw();
        waitForBackgroundTasks();
        QCOMPARE(g.trace().sampleCount, 5);
    }

    void zoomOutSpansLiveTrace() {
        frmGraphicRecord g(driverUnits(), recordStore());
        g.setLiveTrace(true);
        feed(g, QStringList(150, QStringLiteral("1")));
        g.CWGraph1()->xAxis->setRange(10, 20);
        g.ZoomOut_Click();
        QCOMPARE(g.CWGraph1()->xAxis->range(), QCPRange(0, 150));
        QCOMPARE(yRange(g), QCPRange(-5, 5));
        g.setLiveTrace(false);
        g.ZoomOut_Click();
        QCOMPARE(g.CWGraph1()->xAxis->range(), QCPRange(0, 100));
    }

    void cursorReadoutsAndMeasurement() {
        FakeDataTable table;
        FakePanel panel;
        frmGraphicRecord g(driverUnits(), recordStore());
        const QStringList readings{"1", "4.5", "2", "-3.5"};
        for (int i = 0; i < readings.size(); ++i)
            table.rows.push_back({QStringLiteral("2026/01/05 10:00:0%1").arg(i), readings[i] + " V"});
        feed(g, readings);
        showSpreadOut(g, 4);

        chooseMode(g, frmGraphicRecord::CursorCoordinates);
        const auto moved = [&g](int cursor, int point) {
            placeCursor(g, cursor, point);
            return texts(g, {"XPosition", "YPosition", "PeriodVal", "AmplitudeVal"});
        };
        QCOMPARE(moved(0, 1), QStringLiteral("00:00:01|4.5||")); // measurements only in the measuring mode
        QCOMPARE(table.selected, (std::vector<int>{1}));
        QCOMPARE(panel.cursorTexts.last(), QStringLiteral("00:00:01  4.5"));

        chooseMode(g, frmGraphicRecord::CursorMeasurements);
        QCOMPARE(moved(1, 3), QStringLiteral("00:00:01|4.5|00:00:02|8"));
        QCOMPARE(moved(0, 3), QStringLiteral("00:00:03|-3.5|00:00:00|0")); // both on the same point
    }

    void extremePanelsMoveTheCursorInCursorModes() {
        FakeDataTable table;
        frmGraphicRecord g(driverUnits(), recordStore());
        showSpreadOut(g, 3);
        chooseMode(g, frmGraphicRecord::CursorCoordinates);
        clickPanel(g, "pnlMin"); // no samples yet: no extreme to go to
        QVERIFY(table.selected.empty());
        // The maximum a day later: the period takes the form with the days.
        table.rows = {
            {"2026/01/05 23:59:50", "2 V"}, {"2026/01/06 00:00:10", "9.5 V"}, {"2026/01/06 00:00:11", "1 V"}};
        feed(g, {"2", "9.5", "1"});
        showSpreadOut(g, 3);
        chooseMode(g, frmGraphicRecord::ZoomMode);
        clickPanel(g, "pnlMin");
        QVERIFY(table.selected.empty());

        chooseMode(g, frmGraphicRecord::CursorMeasurements);
        placeCursor(g, 1, 0);
        table.selected.clear();
        clickPanel(g, "pnlMax");
        QCOMPARE(g.cursorPointIndex(0), 1);
        QCOMPARE(table.selected, (std::vector<int>{1}));
        QCOMPARE(texts(g, {"XPosition", "YPosition", "PeriodVal", "AmplitudeVal"}),
                 QStringLiteral("2026/01/06 00:00:10|9.5 V|00 00:00:20|7.5"));
        placeCursor(g, 1, 1);
        clickPanel(g, "pnlMin"); // both on the same day now
        QCOMPARE(text(g, "PeriodVal"), QStringLiteral("00:00:01"));

        chooseMode(g, frmGraphicRecord::CursorCoordinates);
        clickPanel(g, "pnlMin");
        QCOMPARE(table.selected, (std::vector<int>{1, 2, 2}));
        QCOMPARE(text(g, "YPosition"), QStringLiteral("1 V"));
    }

    void editedValueIsChartedOnly() {
        frmGraphicRecord g(driverUnits(), recordStore());
        g.setLimHighText(QStringLiteral("10"));
        feed(g, {"1", "2"});
        g.show();
        g.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&g));
        auto* value = g.findChild<QLineEdit*>(QStringLiteral("Value"));
        value->clear();
        value->setFocus();
        QTest::keyClicks(value, QStringLiteral("42"));
        QTest::keyClick(value, Qt::Key_Tab); // leaving the field
        QCOMPARE((QList<int>{points(g, 0), points(g, 1), g.trace().sampleCount, g.trace().maxIndex}),
                 (QList<int>{3, 3, 2, 1}));
        const QCPGraphData edited = *g.CWGraph1()->graph(0)->data()->at(2);
        QCOMPARE(QPointF(edited.key, edited.value), QPointF(2, 42));
        // A reading written by the program is not an edit.
        g.setValueText(QStringLiteral("7"));
        value->setFocus();
        QTest::keyClick(value, Qt::Key_Tab);
        QCOMPARE(points(g, 0), 3);
    }

    void randomValuesAreWholeNumbersInRange() {
        frmGraphicRecord g(driverUnits(), recordStore());
        randomSource().seed(5130);
        int negatives = 0;
        for (int i = 0; i < 4000; ++i) {
            const double v = g.GetRandomValue();
            QVERIFY(v == std::floor(v) && v >= -299 && v <= 299);
            negatives += v < 0;
        }
        // Sign selector values 6..9 of 0..9, with 0 and 10 sharing the ends: about 40 %.
        QVERIFY(negatives > 1400 && negatives < 1800);
    }

    void activationRescales() {
        QMdiArea area;
        auto* g = new frmGraphicRecord(driverUnits(), recordStore());
        QMdiSubWindow* graphWindow = area.addSubWindow(g);
        QMdiSubWindow* other = area.addSubWindow(new QWidget);
        area.show();
        QVERIFY(QTest::qWaitForWindowExposed(&area));
        area.setActiveSubWindow(other);
        feed(*g, {"7"});
        g->CWGraph1()->yAxis->setRange(-1, 1);
        area.setActiveSubWindow(graphWindow);
        QCOMPARE(yRange(*g), QCPRange(-50, 50));
    }
};

QTEST_MAIN(GraphRecordTest)
#include "tst_graphrecord.moc"
