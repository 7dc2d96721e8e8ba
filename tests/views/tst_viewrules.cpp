// The views' table rules, without widgets: elapsed time, Y range, dial scale
// and the clock and period texts of the cursors.
#include "DataRows.h"
#include "GraphScales.h"
#include "MeterScales.h"

#include <QtTest>

using namespace kvx;
using kvx::test::addRow;

class ViewRulesTest : public QObject {
    Q_OBJECT
private slots:
    void formatElapsed_data();
    void formatElapsed();
    void yAxisTable_data();
    void yAxisTable();
    void meterScaleTable_data();
    void meterScaleTable();
    void clockTexts_data();
    void clockTexts();
    void periodBetweenRows_data();
    void periodBetweenRows();
};

void ViewRulesTest::formatElapsed_data() {
    QTest::addColumn<int>("seconds");
    QTest::addColumn<QString>("text");
    addRow("start", 0, "0:0:0");
    addRow("100 s", 100, "0:1:40");
    addRow("3600: divisor 3660 floors to hour 0", 3600, "0:0:0");
    addRow("3659 still hour 0", 3659, "0:0:59");
    addRow("3660 first hour", 3660, "1:1:0");
    addRow("86399", 86399, "23:59:59");
    addRow("90000: hour wraps, no day", 90000, "0:0:0");
    addRow("93000: day part", 93000, "1D 1:50:0");
    addRow("two days", 180000, "2D 1:0:0");
}

void ViewRulesTest::formatElapsed() {
    QFETCH(int, seconds);
    QFETCH(QString, text);
    QCOMPARE(FormatElapsed(seconds), text);
    // Zoom Out reads the text back as the axis end; below an hour it is the count itself.
    if (seconds < 3600)
        QCOMPARE(elapsedTextSeconds(text), double(seconds));
}

void ViewRulesTest::yAxisTable_data() {
    QTest::addColumn<QString>("unit");
    QTest::addColumn<double>("peak");
    QTest::addColumn<QString>("choice"); // "axis N": axis and scale set; "scale N": the scale alone
    addRow("V above top", "V", 5000.0, "axis 1200");
    addRow("V 500 lower edge", "V", 500.0, "axis 1200");
    addRow("V 499.9", "V", 499.9, "axis 500");
    addRow("V 50", "V", 50.0, "axis 500");
    addRow("V 7", "V", 7.0, "axis 50");
    addRow("V 0.5", "V", 0.5, "axis 5");
    addRow("V 0.3", "V", 0.3, "axis 0.5");
    addRow("V 0", "V", 0.0, "axis 0.5");
    addRow("V -0.5 in no band", "V", -0.5, "");
    addRow("empty unit is volts", "", 60.0, "axis 500");
    addRow("mA 2000", "mA", 2000.0, "axis 20000");
    addRow("mA 1999", "mA", 1999.0, "axis 2000");
    addRow("kohm 5000", "kohm", 5000.0, "axis 20000");
    addRow("kohm 4999", "kohm", 4999.0, "axis 5000");
    addRow("nF 5000", "nF", 5000.0, "axis 50000");
    addRow("nF 4999", "nF", 4999.0, "axis 5000");
    addRow("nF 0.2", "nF", 0.2, "axis 0.5");
    addRow("kHz never", "kHz", 700.0, "");
    addRow("dBm: scale 50 only", "dBm", 700.0, "scale 50");
    addRow("unknown small: scale 50 only", "xyz", 0.1, "scale 50");
}

void ViewRulesTest::yAxisTable() {
    QFETCH(QString, unit);
    QFETCH(double, peak);
    QFETCH(QString, choice);
    const YAxisChoice c = yAxisChoiceFor(unit, peak);
    QString seen = c.setScale ? QString::number(c.scale) : QString();
    if (c.setAxis || c.setScale)
        seen.prepend(c.setAxis ? "axis " : "scale ");
    QCOMPARE(seen, choice);
}

void ViewRulesTest::meterScaleTable_data() {
    QTest::addColumn<QString>("unit");
    QTest::addColumn<double>("peak");
    QTest::addColumn<QString>("scale"); // "x<base> <max>"; empty: the dial keeps its scale
    addRow("V above top", "V", 3000.0, "x100 12");
    addRow("V 500", "V", 500.0, "x100 12");
    addRow("V 499", "V", 499.0, "x10 50");
    addRow("V 5", "V", 5.0, "x1 50");
    addRow("V 3", "V", 3.0, "x1 5");
    addRow("V 0.2", "V", 0.2, "x1 0.5");
    addRow("V -0.5: open end", "V", -0.5, "");
    addRow("empty unit as volts", "", 700.0, "x100 12");
    addRow("mA 2000", "mA", 2000.0, "x1000 20");
    addRow("mA 1999", "mA", 1999.0, "x100 20");
    addRow("mA 0.1", "mA", 0.1, "x1 0.5");
    addRow("kohm 5000", "kohm", 5000.0, "x1000 20");
    addRow("kohm 4999", "kohm", 4999.0, "x100 50");
    addRow("nF 60000 falls back to 20000", "nF", 60000.0, "x1000 20");
    addRow("nF 50000 falls back to 20000", "nF", 50000.0, "x1000 20");
    addRow("nF 49999", "nF", 49999.0, "x1000 50");
    addRow("nF 0.2: no 0.5 band", "nF", 0.2, "x1 5");
    addRow("nF negative", "nF", -1.0, "");
    addRow("kHz keeps", "kHz", 700.0, "");
    addRow("dBm keeps", "dBm", 700.0, "");
}

void ViewRulesTest::meterScaleTable() {
    QFETCH(QString, unit);
    QFETCH(double, peak);
    QFETCH(QString, scale);
    const auto chosen = meterScaleFor(unit, peak);
    QCOMPARE(chosen ? "x" + chosen->gridBase + " " + chosen->gridMax : QString(), scale);
}

void ViewRulesTest::clockTexts_data() {
    QTest::addColumn<double>("seconds");
    QTest::addColumn<QString>("tick");
    QTest::addColumn<QString>("hhmmss");
    addRow("origin", 0.0, "0:0:00", "00:00:00");
    addRow("100 s", 100.0, "0:1:40", "00:01:40");
    addRow("hour", 3725.0, "1:2:05", "01:02:05");
    addRow("wraps at a day", 86461.0, "0:1:01", "00:01:01");
}

void ViewRulesTest::clockTexts() {
    QFETCH(double, seconds);
    QFETCH(QString, tick);
    QFETCH(QString, hhmmss);
    QCOMPARE(clockTickLabel(seconds), tick);
    QCOMPARE(hhmmssText(seconds), hhmmss);
}

// The cursors' period: a time of day within a day, "dd hh:mm:ss" once the dates differ.
void ViewRulesTest::periodBetweenRows_data() {
    QTest::addColumn<QString>("first");
    QTest::addColumn<QString>("second");
    QTest::addColumn<QString>("period");
    addRow("same date", "2026/01/05 10:00:00", "2026/01/05 10:01:40", "00:01:40");
    addRow("second earlier", "2026/01/05 12:00:00", "2026/01/05 10:30:00", "01:30:00");
    addRow("across midnight", "2026/01/05 23:59:50", "2026/01/06 00:00:10", "00 00:00:20");
    addRow("days apart", "2026/01/05 10:00:00", "2026/01/08 10:00:01", "03 00:00:01");
    addRow("empty time", "", "2026/01/05 10:00:00", "");
}

void ViewRulesTest::periodBetweenRows() {
    QFETCH(QString, first);
    QFETCH(QString, second);
    QFETCH(QString, period);
    QCOMPARE(periodBetweenRowTimes(first, second), period);
}

QTEST_APPLESS_MAIN(ViewRulesTest)
#include "tst_viewrules.moc"
