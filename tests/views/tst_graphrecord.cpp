// The trend graph window: statistics of appended and rebuilt traces, the Y
// range, the X axis, cursors and measurements, and the extreme panels.
#include "RecordStore.h"
#include "Services.h"
#include "ViewFakes.h"
#include "clsKVX5310.h"
#include "frmGraphicRecord.h"

#include <QLabel>
#include <QLineEdit>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QTemporaryDir>
#include <QtTest>
#include <qcustomplot.h>

using namespace kvx;

namespace {

QString text(const QWidget& w, const char* name) {
    if (auto* label = w.findChild<QLabel*>(QLatin1String(name)))
        return label->text();
    return w.findChild<QLineEdit*>(QLatin1String(name))->text();
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

} // namespace

class GraphRecordTest : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();
    void plotsAndDefaultXAxis();
    void extremesNeedAStrictWin_data();
    void extremesNeedAStrictWin();
    void matchIsStrictlyInsideTheBand_data();
    void matchIsStrictlyInsideTheBand();
    void limitFieldsChartOnlyNumbers();
    void yRangeOnlyWidens();
    void frequencyAndUnknownUnits();
    void clearKeepsMatchCountAndPeak_data();
    void clearKeepsMatchCountAndPeak();
    void reDrawRebuildsAndDoublesMatches();
    void reDrawOfEmptyTrace();
    void zoomOutSpansLiveTrace();
    void cursorReadoutsAndMeasurement();
    void extremePanelMeasurement_data();
    void extremePanelMeasurement();
    void extremePanelsNeedCursorMode();
    void editedValueIsChartedOnly();
    void randomValuesAreWholeNumbersInRange();
    void activationRescales();

private:
    QTemporaryDir m_dir;
    std::unique_ptr<RecordStore> m_store;
    int m_storeCount = 0;
};

void GraphRecordTest::init() {
    driver().setUnitPrimary(QStringLiteral("Voltage"));
    m_store = std::make_unique<RecordStore>(QStringLiteral("views-test-%1").arg(++m_storeCount));
    QVERIFY(m_store->open(m_dir.filePath(QStringLiteral("views%1.mdb").arg(m_storeCount))));
}

void GraphRecordTest::cleanup() {
    m_store.reset();
}

void GraphRecordTest::plotsAndDefaultXAxis() {
    frmGraphicRecord g;
    QCustomPlot* plot = g.CWGraph1();
    QCOMPARE(plot->graphCount(), 4);
    QStringList names;
    for (int i = 0; i < 4; ++i)
        names << plot->graph(i)->name();
    QCOMPARE(names, (QStringList{"Plot-1", "Limit-High", "Limit-Low", "Plot-Rel"}));
    QCOMPARE(plot->xAxis->range().lower, 0.0);
    QCOMPARE(plot->xAxis->range().upper, 100.0);
    QCOMPARE(plot->xAxis->label(), QStringLiteral("Elapsed Time [Sec]"));
    QVector<double> ticks, subTicks;
    QVector<QString> labels;
    plot->xAxis->ticker()->generate(plot->xAxis->range(), QLocale::c(), 'g', 6, ticks, &subTicks, &labels);
    QCOMPARE(ticks, (QVector<double>{0, 20, 40, 60, 80, 100}));
    QCOMPARE(labels, (QVector<QString>{"0:0:00", "0:0:20", "0:0:40", "0:1:00", "0:1:20", "0:1:40"}));
    QCOMPARE(subTicks.size(), 15); // every 5 s between the labels
    QCOMPARE(g.windowTitle(), QStringLiteral("Graphic Record"));
}

void GraphRecordTest::extremesNeedAStrictWin_data() {
    QTest::addColumn<QStringList>("readings");
    QTest::addColumn<int>("maxIndex");
    QTest::addColumn<QString>("maxPanel");
    QTest::addColumn<int>("minIndex");
    QTest::addColumn<QString>("minPanel");
    QTest::newRow("tie keeps the first maximum")
        << QStringList{"5", "7 V", "7", "6"} << 1 << "MAX:7 V" << 0 << "MIN:5";
    QTest::newRow("tie keeps the first minimum")
        << QStringList{"4", "-2", "-2.0", "1"} << 0 << "MAX:4" << 1 << "MIN:-2";
    QTest::newRow("single sample is both") << QStringList{"0.25"} << 0 << "MAX:0.25" << 0 << "MIN:0.25";
    QTest::newRow("text without a number reads 0")
        << QStringList{"abc", "-1"} << 0 << "MAX:abc" << 1 << "MIN:-1";
}

void GraphRecordTest::extremesNeedAStrictWin() {
    QFETCH(QStringList, readings);
    QFETCH(int, maxIndex);
    QFETCH(QString, maxPanel);
    QFETCH(int, minIndex);
    QFETCH(QString, minPanel);
    frmGraphicRecord g;
    feed(g, readings);
    QCOMPARE(g.trace().maxIndex, maxIndex);
    QCOMPARE(g.trace().minIndex, minIndex);
    QCOMPARE(text(g, "pnlMax"), maxPanel);
    QCOMPARE(text(g, "pnlMin"), minPanel);
}

void GraphRecordTest::matchIsStrictlyInsideTheBand_data() {
    QTest::addColumn<QString>("reading");
    QTest::addColumn<QString>("high");
    QTest::addColumn<QString>("low");
    QTest::addColumn<int>("matches");
    const auto row = [](const char* name, const char* reading, const char* high, const char* low,
                        int matches) {
        QTest::newRow(name) << QString::fromLatin1(reading) << QString::fromLatin1(high)
                            << QString::fromLatin1(low) << matches;
    };
    row("inside", "5", "10", "0", 1);
    row("on the high limit", "10", "10", "0", 0);
    row("on the low limit", "-3", "10", "-3", 0);
    row("above", "11", "10", "0", 0);
    row("both limits empty", "0", "", "", 0);
    row("empty low reads 0", "4", "10", "", 1);
    row("empty low, negative reading", "-4", "10", "", 0);
    row("limit text with a unit still read", "4", "10 V", "1", 1);
}

void GraphRecordTest::matchIsStrictlyInsideTheBand() {
    QFETCH(QString, reading);
    QFETCH(QString, high);
    QFETCH(QString, low);
    QFETCH(int, matches);
    frmGraphicRecord g;
    g.setLimHighText(high);
    g.setLimLowText(low);
    feed(g, {reading});
    QCOMPARE(g.trace().matchCount, matches);
    QCOMPARE(text(g, "pnlStdCount"), QStringLiteral("Match Condition:%1").arg(matches));
}

void GraphRecordTest::limitFieldsChartOnlyNumbers() {
    frmGraphicRecord g;
    g.setLimHighText(QStringLiteral("10"));
    g.setLimLowText(QString());
    g.setRelText(QStringLiteral("10 V")); // not a number as a whole: no point
    feed(g, {"1", "2"});
    g.setLimLowText(QStringLiteral("-5"));
    feed(g, {"3"});
    QCOMPARE(g.CWGraph1()->graph(0)->dataCount(), 3);
    QCOMPARE(g.CWGraph1()->graph(1)->dataCount(), 3);
    QCOMPARE(g.CWGraph1()->graph(2)->dataCount(), 1);
    QCOMPARE(g.CWGraph1()->graph(2)->data()->at(0)->key, 2.0); // at its own sample's time
    QCOMPARE(g.CWGraph1()->graph(3)->dataCount(), 0);
    QCOMPARE(g.trace().lowValues, (std::vector<double>{0, 0, -5}));
    QCOMPARE(g.trace().highValues, (std::vector<double>{10, 10, 10}));
    QCOMPARE(g.trace().plotValues, (std::vector<double>{1, 2, 3}));
}

void GraphRecordTest::yRangeOnlyWidens() {
    frmGraphicRecord g;
    const double expected[] = {0.5, 50, 50};
    const char* readings[] = {"0.3", "7", "1"};
    for (int i = 0; i < 3; ++i) {
        feed(g, {QLatin1String(readings[i])});
        QCOMPARE(yRange(g).upper, expected[i]);
        QCOMPARE(yRange(g).lower, -expected[i]);
        QCOMPARE(g.trace().yScale, expected[i]);
    }
}

void GraphRecordTest::frequencyAndUnknownUnits() {
    driver().setUnitPrimary(QStringLiteral("Frequence"));
    frmGraphicRecord g;
    const QCPRange before = yRange(g);
    feed(g, {"0.3", "700"});
    QCOMPARE(yRange(g), before);
    QCOMPARE(g.trace().yScale, 0.0);

    driver().setUnitPrimary(QStringLiteral("dBm"));
    feed(g, {"900"});
    QCOMPARE(yRange(g), before); // the axis is not touched ...
    QCOMPARE(g.trace().yScale, 50.0);
    g.ZoomOut_Click(); // ... but Zoom Out uses the 50
    QCOMPARE(yRange(g).upper, 50.0);
    QCOMPARE(yRange(g).lower, -50.0);
}

void GraphRecordTest::clearKeepsMatchCountAndPeak_data() {
    QTest::addColumn<bool>("continuous");
    QTest::addColumn<QString>("intervalCaption");
    QTest::newRow("continuous style") << true << "interval: 1sec";
    QTest::newRow("trigger style") << false << "interval:";
}

void GraphRecordTest::clearKeepsMatchCountAndPeak() {
    QFETCH(bool, continuous);
    QFETCH(QString, intervalCaption);
    test::FakeMeterPanel panel;
    panel.continuous = continuous;
    frmGraphicRecord g;
    g.setLimHighText(QStringLiteral("1000"));
    g.setLimLowText(QStringLiteral("0"));
    feed(g, {"500", "20"});
    g.CWGraph1()->xAxis->setRange(30, 40);
    g.ClearGraph();
    QCOMPARE(g.trace().sampleCount, 0);
    QCOMPARE(g.trace().matchCount, 2);
    QCOMPARE(g.trace().peakAbs, 500.0);
    QCOMPARE(g.trace().maxIndex, -1);
    QCOMPARE(g.trace().minIndex, -1);
    QVERIFY(g.trace().plotValues.empty());
    QCOMPARE(g.CWGraph1()->graph(0)->dataCount(), 0);
    QCOMPARE(text(g, "pnlMax"), QStringLiteral("MAX:"));
    QCOMPARE(text(g, "pnlStdCount"), QStringLiteral("Match Condition:"));
    QCOMPARE(text(g, "pnlTotCount"), QStringLiteral("Total Sampling:"));
    QCOMPARE(text(g, "pnlIncrementTime"), intervalCaption);
    QCOMPARE(text(g, "pnlTotTimes"), QStringLiteral("Total Time:0:0:0"));
    QCOMPARE(g.CWGraph1()->xAxis->range(), QCPRange(0, 100));

    // A new trace after a 500 V peak keeps the +-1200 axis; smaller readings do not narrow it.
    feed(g, {"30"});
    QCOMPARE(yRange(g).upper, 1200.0);
    QCOMPARE(text(g, "pnlStdCount"), QStringLiteral("Match Condition:3"));
}

void GraphRecordTest::reDrawRebuildsAndDoublesMatches() {
    frmGraphicRecord g;
    g.setRecordStore(m_store.get());
    g.setLimHighText(QStringLiteral("10"));
    g.setLimLowText(QStringLiteral("0"));
    const QStringList readings{"5", "12.5", "3", "-1", "8"};
    for (int i = 0; i < readings.size(); ++i) {
        QVERIFY(m_store->insertSample(
            i, QStringLiteral("2026/01/05 10:00:%1").arg(i, 2, 10, QLatin1Char('0')),
            readings[i] + QStringLiteral(" V"), QStringLiteral("0 "), QStringLiteral("0"), i, i ? 1 : 0));
    }
    feed(g, readings);
    QCOMPARE(g.trace().matchCount, 3);

    g.ReDraw();
    QCOMPARE(g.trace().sampleCount, 5);
    QCOMPARE(g.trace().matchCount, 6);
    QCOMPARE(g.trace().plotValues, (std::vector<double>{5, 12.5, 3, -1, 8}));
    QCOMPARE(g.trace().maxIndex, 1);
    QCOMPARE(g.trace().minIndex, 3);
    QCOMPARE(text(g, "pnlMax"), QStringLiteral("MAX:12.5")); // the number, not the stored text
    QCOMPARE(text(g, "pnlMin"), QStringLiteral("MIN:-1"));
    QCOMPARE(text(g, "pnlStdCount"), QStringLiteral("Match Condition:6"));
    QCOMPARE(text(g, "pnlTotCount"), QStringLiteral("Total Sampling:5"));
    QCOMPARE(text(g, "pnlTotTimes"), QStringLiteral("Total Time:0:0:5"));
    QCOMPARE(g.CWGraph1()->graph(0)->dataCount(), 5);
    QCOMPARE(g.CWGraph1()->graph(1)->dataCount(), 5);
    QCOMPARE(g.CWGraph1()->graph(3)->dataCount(), 0); // txtRel empty
    QCOMPARE(yRange(g).upper, 50.0);
}

void GraphRecordTest::reDrawOfEmptyTrace() {
    frmGraphicRecord g;
    g.setRecordStore(m_store.get());
    g.ReDraw();
    QCOMPARE(g.trace().sampleCount, 0);
    QCOMPARE(g.CWGraph1()->graph(0)->dataCount(), 0);
    QCOMPARE(text(g, "pnlTotCount"), QStringLiteral("Total Sampling:0"));
    QCOMPARE(text(g, "pnlMax"), QStringLiteral("MAX:"));
}

void GraphRecordTest::zoomOutSpansLiveTrace() {
    frmGraphicRecord g;
    QStringList readings;
    for (int i = 0; i < 150; ++i)
        readings << QStringLiteral("1");
    g.setLiveTrace(true);
    feed(g, readings);
    g.CWGraph1()->xAxis->setRange(10, 20);
    g.ZoomOut_Click();
    QCOMPARE(g.CWGraph1()->xAxis->range(), QCPRange(0, 150));
    QCOMPARE(yRange(g), QCPRange(-5, 5));
    g.setLiveTrace(false);
    g.ZoomOut_Click();
    QCOMPARE(g.CWGraph1()->xAxis->range(), QCPRange(0, 100));
}

void GraphRecordTest::cursorReadoutsAndMeasurement() {
    test::FakeDataTable table;
    test::FakeMeterPanel panel;
    frmGraphicRecord g;
    const QStringList readings{"1", "4.5", "2", "-3.5"};
    for (int i = 0; i < readings.size(); ++i)
        table.rows.push_back(
            {QStringLiteral("2026/01/05 10:00:0%1").arg(i), readings[i] + QStringLiteral(" V")});
    feed(g, readings);

    g.setGraphMode(frmGraphicRecord::CursorCoordinates);
    g.moveCursor(0, 1);
    QCOMPARE(text(g, "XPosition"), QStringLiteral("00:00:01"));
    QCOMPARE(text(g, "YPosition"), QStringLiteral("4.5"));
    QCOMPARE(table.selected, (std::vector<int>{1}));
    QCOMPARE(panel.cursorTexts.last(), QStringLiteral("00:00:01  4.5"));
    g.moveCursor(1, 3);
    QCOMPARE(text(g, "PeriodVal"), QString()); // measurements only in mode 3

    g.setGraphMode(frmGraphicRecord::CursorMeasurements);
    g.moveCursor(1, 3);
    QCOMPARE(text(g, "PeriodVal"), QStringLiteral("00:00:02"));
    QCOMPARE(text(g, "AmplitudeVal"), QStringLiteral("8"));
    g.moveCursor(0, 3); // cursor 1 now later than cursor 2 is not: same point
    QCOMPARE(text(g, "PeriodVal"), QStringLiteral("00:00:00"));
    QCOMPARE(text(g, "AmplitudeVal"), QStringLiteral("0"));
    g.moveCursor(1, 0);
    QCOMPARE(text(g, "PeriodVal"), QStringLiteral("00:00:03"));
    QCOMPARE(text(g, "AmplitudeVal"), QStringLiteral("4.5"));
}

void GraphRecordTest::extremePanelMeasurement_data() {
    QTest::addColumn<QString>("firstTime");
    QTest::addColumn<QString>("maxTime");
    QTest::addColumn<QString>("period");
    QTest::newRow("same day") << "2026/01/05 10:00:00"
                              << "2026/01/05 11:30:15"
                              << "01:30:15";
    QTest::newRow("next day") << "2026/01/05 23:59:50"
                              << "2026/01/06 00:00:10"
                              << "00 00:00:20";
    QTest::newRow("days apart") << "2026/01/05 10:00:00"
                                << "2026/01/08 10:00:01"
                                << "03 00:00:01";
    QTest::newRow("time missing") << ""
                                  << "2026/01/05 10:00:00"
                                  << "";
}

void GraphRecordTest::extremePanelMeasurement() {
    QFETCH(QString, firstTime);
    QFETCH(QString, maxTime);
    QFETCH(QString, period);
    test::FakeDataTable table;
    frmGraphicRecord g;
    table.rows = {{firstTime, QStringLiteral("2 V")}, {maxTime, QStringLiteral("9.5 V")}};
    feed(g, {"2", "9.5"});
    g.setGraphMode(frmGraphicRecord::CursorMeasurements);
    g.moveCursor(1, 0);
    table.selected.clear();
    g.pnlMax_Click();
    QCOMPARE(g.cursorPointIndex(0), 1);
    QCOMPARE(table.selected, (std::vector<int>{1}));
    QCOMPARE(text(g, "XPosition"), maxTime);
    QCOMPARE(text(g, "YPosition"), QStringLiteral("9.5 V"));
    QCOMPARE(text(g, "PeriodVal"), period);
    if (!period.isEmpty())
        QCOMPARE(text(g, "AmplitudeVal"), QStringLiteral("7.5"));
}

void GraphRecordTest::extremePanelsNeedCursorMode() {
    test::FakeDataTable table;
    frmGraphicRecord g;
    g.setGraphMode(frmGraphicRecord::CursorCoordinates);
    g.pnlMin_Click(); // no samples yet: minIndex is -1
    QVERIFY(table.selected.empty());
    table.rows = {{QStringLiteral("2026/01/05 10:00:00"), QStringLiteral("3 V")},
                  {QStringLiteral("2026/01/05 10:00:01"), QStringLiteral("1 V")}};
    feed(g, {"3", "1"});
    g.setGraphMode(frmGraphicRecord::ZoomMode);
    g.pnlMin_Click();
    QVERIFY(table.selected.empty());
    g.setGraphMode(frmGraphicRecord::CursorCoordinates);
    g.show();
    QVERIFY(QTest::qWaitForWindowExposed(&g));
    QTest::mouseClick(g.findChild<QLabel*>(QStringLiteral("pnlMin")), Qt::LeftButton);
    QCOMPARE(table.selected, (std::vector<int>{1}));
    QCOMPARE(text(g, "YPosition"), QStringLiteral("1 V"));
}

void GraphRecordTest::editedValueIsChartedOnly() {
    frmGraphicRecord g;
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
    QCOMPARE(g.CWGraph1()->graph(0)->dataCount(), 3);
    QCOMPARE(g.CWGraph1()->graph(0)->data()->at(2)->key, 2.0);
    QCOMPARE(g.CWGraph1()->graph(0)->data()->at(2)->value, 42.0);
    QCOMPARE(g.CWGraph1()->graph(1)->dataCount(), 3);
    QCOMPARE(g.trace().sampleCount, 2);
    QCOMPARE(g.trace().maxIndex, 1);
    // A reading written by the program is not an edit.
    g.setValueText(QStringLiteral("7"));
    value->setFocus();
    QTest::keyClick(value, Qt::Key_Tab);
    QCOMPARE(g.CWGraph1()->graph(0)->dataCount(), 3);
}

void GraphRecordTest::randomValuesAreWholeNumbersInRange() {
    frmGraphicRecord g;
    randomSource().seed(5130);
    int negatives = 0;
    for (int i = 0; i < 4000; ++i) {
        const double v = g.GetRandomValue();
        QVERIFY(v == std::floor(v));
        QVERIFY(v >= -299 && v <= 299);
        negatives += v < 0;
    }
    // Sign selector values 6..9 of 0..9, with 0 and 10 sharing the ends: about 40 %.
    QVERIFY(negatives > 1400 && negatives < 1800);
}

void GraphRecordTest::activationRescales() {
    QMdiArea area;
    auto* g = new frmGraphicRecord;
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

QTEST_MAIN(GraphRecordTest)
#include "tst_graphrecord.moc"
