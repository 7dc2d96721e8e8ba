// The views' table rules, without widgets: elapsed time, Y range, dial scale
// and the clock and period texts of the cursors.
#include "GraphScales.h"
#include "MeterScales.h"

#include <QtTest>

using namespace kvx;

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
    const auto row = [](const char* name, int seconds, const char* text) {
        QTest::newRow(name) << seconds << QString::fromLatin1(text);
    };
    row("start", 0, "0:0:0");
    row("100 s", 100, "0:1:40");
    row("3600: divisor 3660 floors to hour 0", 3600, "0:0:0");
    row("3659 still hour 0", 3659, "0:0:59");
    row("3660 first hour", 3660, "1:1:0");
    row("86399", 86399, "23:59:59");
    row("90000: hour wraps, no day", 90000, "0:0:0");
    row("93000: day part", 93000, "1D 1:50:0");
    row("two days", 180000, "2D 1:0:0");
}

void ViewRulesTest::formatElapsed() {
    QFETCH(int, seconds);
    QFETCH(QString, text);
    QCOMPARE(FormatElapsed(seconds), text);
    // Zoom Out reads the text back as the axis end; below an hour it is the count itself.
    if (seconds < 3600)
        QCOMPARE(elapsedTextSeconds(text), double(seconds));
}

// scale 0 with setScale false: nothing is set.
void ViewRulesTest::yAxisTable_data() {
    QTest::addColumn<QString>("unit");
    QTest::addColumn<double>("peak");
    QTest::addColumn<bool>("setAxis");
    QTest::addColumn<double>("scale");
    const auto row = [](const char* name, const char* unit, double peak, bool setAxis, double scale) {
        QTest::newRow(name) << QString::fromLatin1(unit) << peak << setAxis << scale;
    };
    row("V above top", "V", 5000, true, 1200);
    row("V 500 lower edge", "V", 500, true, 1200);
    row("V 499.9", "V", 499.9, true, 500);
    row("V 50", "V", 50, true, 500);
    row("V 7", "V", 7, true, 50);
    row("V 0.5", "V", 0.5, true, 5);
    row("V 0.3", "V", 0.3, true, 0.5);
    row("V 0", "V", 0, true, 0.5);
    row("V -0.5 in no band", "V", -0.5, false, 0);
    row("empty unit is volts", "", 60, true, 500);
    row("mA 2000", "mA", 2000, true, 20000);
    row("mA 1999", "mA", 1999, true, 2000);
    row("mA 500", "mA", 500, true, 2000);
    row("kohm 5000", "kohm", 5000, true, 20000);
    row("kohm 4999", "kohm", 4999, true, 5000);
    row("nF 5000", "nF", 5000, true, 50000);
    row("nF 4999", "nF", 4999, true, 5000);
    row("nF 0.2", "nF", 0.2, true, 0.5);
    row("kHz never", "kHz", 700, false, 0);
    row("kHz small", "kHz", 0.1, false, 0);
    row("dBm: scale 50 only", "dBm", 700, false, 50);
    row("unknown small: scale 50 only", "xyz", 0.1, false, 50);
}

void ViewRulesTest::yAxisTable() {
    QFETCH(QString, unit);
    QFETCH(double, peak);
    QFETCH(bool, setAxis);
    QFETCH(double, scale);
    const YAxisChoice c = yAxisChoiceFor(unit, peak);
    QCOMPARE(c.setAxis, setAxis);
    QCOMPARE(c.setScale, scale != 0);
    if (c.setScale)
        QCOMPARE(c.scale, scale);
}

void ViewRulesTest::meterScaleTable_data() {
    QTest::addColumn<QString>("unit");
    QTest::addColumn<double>("peak");
    QTest::addColumn<QString>("base"); // empty: the dial keeps its scale
    QTest::addColumn<QString>("max");
    const auto row = [](const char* name, const char* unit, double peak, const char* base, const char* max) {
        QTest::newRow(name) << QString::fromLatin1(unit) << peak << QString::fromLatin1(base)
                            << QString::fromLatin1(max);
    };
    row("V above top", "V", 3000, "100", "12");
    row("V 500", "V", 500, "100", "12");
    row("V 499", "V", 499, "10", "50");
    row("V 5", "V", 5, "1", "50");
    row("V 3", "V", 3, "1", "5");
    row("V 0.2", "V", 0.2, "1", "0.5");
    row("V -0.5: open end", "V", -0.5, "", "");
    row("empty unit as volts", "", 700, "100", "12");
    row("mA 2000", "mA", 2000, "1000", "20");
    row("mA 1999", "mA", 1999, "100", "20");
    row("mA 0.1", "mA", 0.1, "1", "0.5");
    row("kohm 5000", "kohm", 5000, "1000", "20");
    row("kohm 4999", "kohm", 4999, "100", "50");
    row("nF 60000 falls back to 20000", "nF", 60000, "1000", "20");
    row("nF 50000 falls back to 20000", "nF", 50000, "1000", "20");
    row("nF 49999", "nF", 49999, "1000", "50");
    row("nF 0.2: no 0.5 band", "nF", 0.2, "1", "5");
    row("nF negative", "nF", -1, "", "");
    row("kHz keeps", "kHz", 700, "", "");
    row("dBm keeps", "dBm", 700, "", "");
}

void ViewRulesTest::meterScaleTable() {
    QFETCH(QString, unit);
    QFETCH(double, peak);
    QFETCH(QString, base);
    QFETCH(QString, max);
    const auto scale = meterScaleFor(unit, peak);
    QCOMPARE(scale.has_value(), !base.isEmpty());
    if (scale)
        QCOMPARE(*scale, (MeterScale{base, max}));
}

void ViewRulesTest::clockTexts_data() {
    QTest::addColumn<double>("seconds");
    QTest::addColumn<QString>("tick");
    QTest::addColumn<QString>("hhmmss");
    QTest::newRow("origin") << 0.0 << "0:0:00"
                            << "00:00:00";
    QTest::newRow("100 s") << 100.0 << "0:1:40"
                           << "00:01:40";
    QTest::newRow("hour") << 3725.0 << "1:2:05"
                          << "01:02:05";
    QTest::newRow("wraps at a day") << 86400.0 + 61 << "0:1:01"
                                    << "00:01:01";
}

void ViewRulesTest::clockTexts() {
    QFETCH(double, seconds);
    QFETCH(QString, tick);
    QFETCH(QString, hhmmss);
    QCOMPARE(clockTickLabel(seconds), tick);
    QCOMPARE(hhmmssText(seconds), hhmmss);
}

void ViewRulesTest::periodBetweenRows_data() {
    QTest::addColumn<QString>("first");
    QTest::addColumn<QString>("second");
    QTest::addColumn<QString>("period");
    QTest::newRow("same date") << "2026/01/05 10:00:00"
                               << "2026/01/05 10:01:40"
                               << "00:01:40";
    QTest::newRow("second earlier") << "2026/01/05 12:00:00"
                                    << "2026/01/05 10:30:00"
                                    << "01:30:00";
    QTest::newRow("across midnight") << "2026/01/05 23:59:50"
                                     << "2026/01/06 00:00:10"
                                     << "00 00:00:20";
    QTest::newRow("two days") << "2026/01/05 10:00:00"
                              << "2026/01/07 11:00:05"
                              << "02 01:00:05";
    QTest::newRow("empty time") << ""
                                << "2026/01/05 10:00:00"
                                << "";
}

void ViewRulesTest::periodBetweenRows() {
    QFETCH(QString, first);
    QFETCH(QString, second);
    QFETCH(QString, period);
    QCOMPARE(periodBetweenRowTimes(first, second), period);
}

QTEST_APPLESS_MAIN(ViewRulesTest)
#include "tst_viewrules.moc"
