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
    void formatElapsed_data() {
        QTest::addColumn<int>("seconds");
        QTest::addColumn<QString>("text");
        addRow("100 s", 100, "0:1:40");
        addRow("3600: divisor 3660 floors to hour 0", 3600, "0:0:0");
        addRow("3659 still hour 0", 3659, "0:0:59");
        addRow("3660 first hour", 3660, "1:1:0");
        addRow("86399", 86399, "23:59:59");
        addRow("90000: hour wraps, no day", 90000, "0:0:0");
        addRow("93000: day part", 93000, "1D 1:50:0");
    }

    void formatElapsed() {
        QFETCH(int, seconds);
        QFETCH(QString, text);
        QCOMPARE(FormatElapsed(seconds), text);
        // Zoom Out reads the text back as the axis end; below an hour it is the count itself.
        if (seconds < 3600)
            QCOMPARE(elapsedTextSeconds(text), double(seconds));
    }

    // The graph's Y choice and the dial's scale for the same peak.
    void scaleTables_data() {
        QTest::addColumn<QString>("unit");
        QTest::addColumn<double>("peak");
        QTest::addColumn<QString>("yChoice"); // "axis N": axis and scale set; "scale N": the scale alone
        QTest::addColumn<QString>("dial");    // "x<base> <max>"; empty: the dial keeps its scale
        addRow("V above top", "V", 5000.0, "axis 1200", "x100 12");
        addRow("V 500 lower edge", "V", 500.0, "axis 1200", "x100 12");
        addRow("V 499.9", "V", 499.9, "axis 500", "x10 50");
        addRow("V 0.5", "V", 0.5, "axis 5", "x1 5");
        addRow("V 0.3 in the half band", "V", 0.3, "axis 0.5", "x1 0.5");
        addRow("V -0.5 in no band", "V", -0.5, "", "");
        addRow("empty unit is volts", "", 60.0, "axis 500", "x10 50");
        addRow("mA 2000", "mA", 2000.0, "axis 20000", "x1000 20");
        addRow("kohm 4999", "kohm", 4999.0, "axis 5000", "x100 50");
        addRow("nF 50000: the dial falls back to 20000", "nF", 50000.0, "axis 50000", "x1000 20");
        addRow("nF 49999", "nF", 49999.0, "axis 50000", "x1000 50");
        addRow("nF 0.2: no half band on the dial", "nF", 0.2, "axis 0.5", "x1 5");
        addRow("nF negative", "nF", -1.0, "", "");
        addRow("kHz keeps both", "kHz", 700.0, "", "");
        addRow("dBm: scale 50 only", "dBm", 700.0, "scale 50", "");
        addRow("unknown small: scale 50 only", "xyz", 0.1, "scale 50", "");
    }

    void scaleTables() {
        QFETCH(QString, unit);
        QFETCH(double, peak);
        const YAxisChoice c = yAxisChoiceFor(unit, peak);
        QString seen = c.setScale ? QString::number(c.scale) : QString();
        if (c.setAxis || c.setScale)
            seen.prepend(c.setAxis ? "axis " : "scale ");
        QTEST(seen, "yChoice");
        const auto chosen = meterScaleFor(unit, peak);
        QTEST(chosen ? "x" + chosen->gridBase + " " + chosen->gridMax : QString(), "dial");
    }

    // Every band of every unit at its lower edge and just below it: the edge belongs
    // to the band, a hair less to the band below (under the lowest, the half band).
    void yBandEdges_data() {
        QTest::addColumn<QString>("unit");
        QTest::addColumn<double>("peak");
        QTest::addColumn<double>("scale");
        using Bands = std::vector<std::pair<double, double>>; // lower edge, half-height
        const std::pair<const char*, Bands> units[] = {
            {"V", {{1200, 1200}, {500, 1200}, {50, 500}, {5, 50}, {0.5, 5}}},
            {"mA", {{20000, 20000}, {2000, 20000}, {500, 2000}, {50, 500}, {5, 50}, {0.5, 5}}},
            {"kohm", {{20000, 20000}, {5000, 20000}, {500, 5000}, {50, 500}, {5, 50}, {0.5, 5}}},
            {"nF", {{50000, 50000}, {5000, 50000}, {500, 5000}, {50, 500}, {5, 50}, {0.5, 5}}},
        };
        for (const auto& [unit, bands] : units) {
            for (size_t i = 0; i < bands.size(); ++i) {
                const auto [edge, scale] = bands[i];
                const double below = i + 1 < bands.size() ? bands[i + 1].second : 0.5;
                QTest::addRow("%s %g", unit, edge) << unit << edge << scale;
                QTest::addRow("%s below %g", unit, edge) << unit << edge * 0.999 << below;
            }
        }
    }

    void yBandEdges() {
        QFETCH(QString, unit);
        QFETCH(double, peak);
        const YAxisChoice choice = yAxisChoiceFor(unit, peak);
        QVERIFY(choice.setAxis);
        QTEST(choice.scale, "scale");
    }

    void clockTexts_data() {
        QTest::addColumn<double>("seconds");
        QTest::addColumn<QString>("tick");
        QTest::addColumn<QString>("hhmmss");
        addRow("100 s", 100.0, "0:1:40", "00:01:40");
        addRow("hour", 3725.0, "1:2:05", "01:02:05");
        addRow("elapsed hours go on past a day; the time of day wraps", 86461.0, "24:1:01", "00:01:01");
    }

    void clockTexts() {
        QFETCH(double, seconds);
        QTEST(clockTickLabel(seconds), "tick");
        QTEST(hhmmssText(seconds), "hhmmss");
    }

    // About five labels over the visible span, on steps a clock reads well.
    void tickSteps_data() {
        QTest::addColumn<double>("span");
        QTest::addColumn<double>("step");
        QTest::addColumn<int>("subTicks");
        addRow("a few seconds", 4.0, 1.0, 1);
        addRow("the default 100 s", 100.0, 20.0, 3);
        addRow("just over 100 s", 101.0, 60.0, 3);
        addRow("an hour", 3600.0, 1200.0, 3);
        addRow("three days", 259200.0, 86400.0, 4);
        addRow("beyond the table", 1e8, 864000.0, 4);
    }

    void tickSteps() {
        QFETCH(double, span);
        QFETCH(double, step);
        QCOMPARE(clockTickStep(span), step);
        QTEST(clockSubTickCount(step), "subTicks");
    }

    // The cursors' period: a time of day within a day, "dd hh:mm:ss" once the dates differ.
    void periodBetweenRows_data() {
        QTest::addColumn<QString>("first");
        QTest::addColumn<QString>("second");
        QTest::addColumn<QString>("period");
        addRow("same date", "2026/01/05 10:00:00", "2026/01/05 10:01:40", "00:01:40");
        addRow("second earlier", "2026/01/05 12:00:00", "2026/01/05 10:30:00", "01:30:00");
        addRow("across midnight", "2026/01/05 23:59:50", "2026/01/06 00:00:10", "00 00:00:20");
        addRow("days apart", "2026/01/05 10:00:00", "2026/01/08 10:00:01", "03 00:00:01");
        addRow("empty time", "", "2026/01/05 10:00:00", "");
    }

    void periodBetweenRows() {
        QFETCH(QString, first);
        QFETCH(QString, second);
        QTEST(periodBetweenRowTimes(first, second), "period");
    }
};

QTEST_APPLESS_MAIN(ViewRulesTest)
#include "tst_viewrules.moc"
