// The views' table rules, without widgets: elapsed time, Y range, dial scale,
// display formats and the cursor period texts.
#include "DisplayFormat.h"
#include "GraphScales.h"
#include "MeterScales.h"

#include <QtTest>

using namespace kvx;

class ViewRulesTest : public QObject {
    Q_OBJECT
private slots:
    void formatElapsed_data();
    void formatElapsed();
    void elapsedTextReadsBack_data();
    void elapsedTextReadsBack();
    void yAxisTable_data();
    void yAxisTable();
    void meterScaleTable_data();
    void meterScaleTable();
    void displayFormat_data();
    void displayFormat();
    void clockTexts_data();
    void clockTexts();
    void periodBetweenRows_data();
    void periodBetweenRows();
};

void ViewRulesTest::formatElapsed_data() {
    QTest::addColumn<int>("seconds");
    QTest::addColumn<QString>("text");
    QTest::newRow("start") << 0 << "0:0:0";
    QTest::newRow("100 s") << 100 << "0:1:40";
    QTest::newRow("3600: hour divisor 3660 floors to 0") << 3600 << "0:0:0";
    QTest::newRow("3659 still hour 0") << 3659 << "0:0:59";
    QTest::newRow("3660 first hour") << 3660 << "1:1:0";
    QTest::newRow("86399") << 86399 << "23:59:59";
    QTest::newRow("90000 hour wraps, no day") << 90000 << "0:0:0";
    QTest::newRow("93000 day part") << 93000 << "1D 1:50:0";
    QTest::newRow("two days") << 180000 << "2D 1:0:0";
}

void ViewRulesTest::formatElapsed() {
    QFETCH(int, seconds);
    QFETCH(QString, text);
    QCOMPARE(FormatElapsed(seconds), text);
}

void ViewRulesTest::elapsedTextReadsBack_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<double>("seconds");
    QTest::newRow("clock") << "0:1:40" << 100.0;
    QTest::newRow("padded seconds") << "0:0:00" << 0.0;
    QTest::newRow("day part") << "1D 1:50:0" << 86400.0 + 3600 + 3000;
    QTest::newRow("not a time") << "abc" << 0.0;
}

void ViewRulesTest::elapsedTextReadsBack() {
    QFETCH(QString, text);
    QFETCH(double, seconds);
    QCOMPARE(elapsedTextSeconds(text), seconds);
}

void ViewRulesTest::yAxisTable_data() {
    QTest::addColumn<QString>("unit");
    QTest::addColumn<double>("peak");
    QTest::addColumn<bool>("setAxis");
    QTest::addColumn<bool>("setScale");
    QTest::addColumn<double>("scale");
    QTest::newRow("V above top") << "V" << 5000.0 << true << true << 1200.0;
    QTest::newRow("V 1200") << "V" << 1200.0 << true << true << 1200.0;
    QTest::newRow("V 500 lower edge") << "V" << 500.0 << true << true << 1200.0;
    QTest::newRow("V 499.9") << "V" << 499.9 << true << true << 500.0;
    QTest::newRow("V 50") << "V" << 50.0 << true << true << 500.0;
    QTest::newRow("V 7") << "V" << 7.0 << true << true << 50.0;
    QTest::newRow("V 0.5") << "V" << 0.5 << true << true << 5.0;
    QTest::newRow("V 0.3") << "V" << 0.3 << true << true << 0.5;
    QTest::newRow("V 0") << "V" << 0.0 << true << true << 0.5;
    QTest::newRow("empty unit is volts") << "" << 60.0 << true << true << 500.0;
    QTest::newRow("V -0.5 no band") << "V" << -0.5 << false << false << 0.0;
    QTest::newRow("mA 20000") << "mA" << 20000.0 << true << true << 20000.0;
    QTest::newRow("mA 2000") << "mA" << 2000.0 << true << true << 20000.0;
    QTest::newRow("mA 1999") << "mA" << 1999.0 << true << true << 2000.0;
    QTest::newRow("mA 500") << "mA" << 500.0 << true << true << 2000.0;
    QTest::newRow("mA 0.1") << "mA" << 0.1 << true << true << 0.5;
    QTest::newRow("kohm 5000") << "kohm" << 5000.0 << true << true << 20000.0;
    QTest::newRow("kohm 4999") << "kohm" << 4999.0 << true << true << 5000.0;
    QTest::newRow("kohm 5") << "kohm" << 5.0 << true << true << 50.0;
    QTest::newRow("nF 50000") << "nF" << 50000.0 << true << true << 50000.0;
    QTest::newRow("nF 5000") << "nF" << 5000.0 << true << true << 50000.0;
    QTest::newRow("nF 4999") << "nF" << 4999.0 << true << true << 5000.0;
    QTest::newRow("nF 2") << "nF" << 2.0 << true << true << 5.0;
    QTest::newRow("nF 0.2") << "nF" << 0.2 << true << true << 0.5;
    QTest::newRow("kHz never") << "kHz" << 700.0 << false << false << 0.0;
    QTest::newRow("kHz small") << "kHz" << 0.1 << false << false << 0.0;
    QTest::newRow("dBm: scale 50 only") << "dBm" << 700.0 << false << true << 50.0;
    QTest::newRow("unknown small: scale 50 only") << "xyz" << 0.1 << false << true << 50.0;
}

void ViewRulesTest::yAxisTable() {
    QFETCH(QString, unit);
    QFETCH(double, peak);
    QFETCH(bool, setAxis);
    QFETCH(bool, setScale);
    QFETCH(double, scale);
    const YAxisChoice c = yAxisChoiceFor(unit, peak);
    QCOMPARE(c.setAxis, setAxis);
    QCOMPARE(c.setScale, setScale);
    if (setScale)
        QCOMPARE(c.scale, scale);
}

void ViewRulesTest::meterScaleTable_data() {
    QTest::addColumn<QString>("unit");
    QTest::addColumn<double>("peak");
    QTest::addColumn<QString>("base"); // empty: the dial keeps its scale
    QTest::addColumn<QString>("max");
    QTest::newRow("V above top") << "V" << 3000.0 << "100"
                                 << "12";
    QTest::newRow("V 500") << "V" << 500.0 << "100"
                           << "12";
    QTest::newRow("V 499") << "V" << 499.0 << "10"
                           << "50";
    QTest::newRow("V 50") << "V" << 50.0 << "10"
                          << "50";
    QTest::newRow("V 5") << "V" << 5.0 << "1"
                         << "50";
    QTest::newRow("V 3") << "V" << 3.0 << "1"
                         << "5";
    QTest::newRow("V 0.2") << "V" << 0.2 << "1"
                           << "0.5";
    QTest::newRow("V -0.5 open end") << "V" << -0.5 << ""
                                     << "";
    QTest::newRow("empty unit as volts") << "" << 700.0 << "100"
                                         << "12";
    QTest::newRow("mA 20000") << "mA" << 25000.0 << "1000"
                              << "20";
    QTest::newRow("mA 2000") << "mA" << 2000.0 << "1000"
                             << "20";
    QTest::newRow("mA 1999") << "mA" << 1999.0 << "100"
                             << "20";
    QTest::newRow("mA 60") << "mA" << 60.0 << "10"
                           << "50";
    QTest::newRow("mA 0.1") << "mA" << 0.1 << "1"
                            << "0.5";
    QTest::newRow("kohm 5000") << "kohm" << 5000.0 << "1000"
                               << "20";
    QTest::newRow("kohm 4999") << "kohm" << 4999.0 << "100"
                               << "50";
    QTest::newRow("kohm 0.4") << "kohm" << 0.4 << "1"
                              << "0.5";
    QTest::newRow("nF 60000 falls back to 20000") << "nF" << 60000.0 << "1000"
                                                  << "20";
    QTest::newRow("nF 50000 falls back to 20000") << "nF" << 50000.0 << "1000"
                                                  << "20";
    QTest::newRow("nF 49999") << "nF" << 49999.0 << "1000"
                              << "50";
    QTest::newRow("nF 4999") << "nF" << 4999.0 << "100"
                             << "50";
    QTest::newRow("nF 0.2 has no 0.5 band") << "nF" << 0.2 << "1"
                                            << "5";
    QTest::newRow("nF 0") << "nF" << 0.0 << "1"
                          << "5";
    QTest::newRow("nF negative") << "nF" << -1.0 << ""
                                 << "";
    QTest::newRow("kHz keeps") << "kHz" << 700.0 << ""
                               << "";
    QTest::newRow("dBm keeps") << "dBm" << 700.0 << ""
                               << "";
}

void ViewRulesTest::meterScaleTable() {
    QFETCH(QString, unit);
    QFETCH(double, peak);
    QFETCH(QString, base);
    QFETCH(QString, max);
    const auto scale = meterScaleFor(unit, peak);
    if (base.isEmpty()) {
        QVERIFY(!scale);
        return;
    }
    QVERIFY(scale);
    QCOMPARE(scale->gridBase, base);
    QCOMPARE(scale->gridMax, max);
}

void ViewRulesTest::displayFormat_data() {
    QTest::addColumn<QString>("format");
    QTest::addColumn<double>("value");
    QTest::addColumn<QString>("shown");
    QTest::newRow(".0 V") << ".0 \"V\"" << 712.34 << "712.3 V";
    QTest::newRow(".#0 mA") << ".#0 \"mA\"" << 60.0 << "60.00 mA";
    QTest::newRow(".##0 V") << ".##0 \"V\"" << 12.3456 << "12.346 V";
    QTest::newRow(".###0 V negative") << ".###0 \"V\"" << -0.3 << "-0.3000 V";
    QTest::newRow("kohm shown as kOhm sign") << ".##0 \"kohm\"" << 1.5 << QString::fromUtf8("1.500 kΩ");
    QTest::newRow("meter label format") << "#.00 \"nF\"" << 3.0 << "3.00 nF";
    QTest::newRow("no unit") << ".#0 \"\"" << 1.0 << "1.00";
    QTest::newRow("frequency function word") << ".#0 \"kHz\"" << 1.234 << "1.23 kHz";
}

void ViewRulesTest::displayFormat() {
    QFETCH(QString, format);
    QFETCH(double, value);
    QFETCH(QString, shown);
    QCOMPARE(displayText(value, format), shown);
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
    QTest::newRow("earlier second cursor") << "2026/01/05 12:00:00"
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
