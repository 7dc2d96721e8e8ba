// The analog meter window: scale choice as readings arrive, the needle, the
// limit and relative marks, reset and the layout rule.
#include "MeterDial.h"
#include "ViewFakes.h"
#include "clsKVX5310.h"
#include "frmANALOGMETER.h"

#include <QLabel>
#include <QtTest>

using namespace kvx;

class AnalogMeterTest : public QObject {
    Q_OBJECT
private slots:
    void init() { driver().setUnitPrimary(QStringLiteral("Voltage")); }
    void readingsWidenTheScale_data();
    void readingsWidenTheScale();
    void needleBeyondTheEnd();
    void equalPeakDoesNotRescale();
    void resetLetsASmallerScaleBack();
    void limitMarksFollowFieldsAndPark();
    void rescaleReadsStatePanelLimits();
    void relMarkFollowsStatePanel();
    void captionShowsOhmSign();
    void layoutFollowsTheWindow();
    void startsOnThe1200VoltScaleAndRegisters();
};

void AnalogMeterTest::readingsWidenTheScale_data() {
    QTest::addColumn<QString>("word");
    QTest::addColumn<QStringList>("readings");
    QTest::addColumn<QString>("base");
    QTest::addColumn<QString>("max");
    QTest::addColumn<double>("needle");
    QTest::newRow("V 0.2") << "Voltage" << QStringList{"0.2"} << "1"
                           << "0.5" << 0.2;
    QTest::newRow("V 0.2, 3") << "Voltage" << QStringList{"0.2", "3"} << "1"
                              << "5" << 3.0;
    QTest::newRow("V 0.2, 3, 700") << "Voltage" << QStringList{"0.2", "3", "700"} << "100"
                                   << "12" << 7.0;
    QTest::newRow("V then 2 stays at 1200") << "Voltage" << QStringList{"0.2", "3", "700", "2"} << "100"
                                            << "12" << 0.02;
    QTest::newRow("mA 60 with unit text") << "Current" << QStringList{"60 mA"} << "10"
                                          << "50" << 6.0;
    QTest::newRow("negative reading by magnitude") << "Voltage" << QStringList{"-70"} << "10"
                                                   << "50" << -7.0;
    QTest::newRow("kHz keeps the scale") << "Frequence" << QStringList{"0.2", "700"} << "100"
                                         << "12" << 7.0;
    QTest::newRow("dBm keeps the scale") << "dBm" << QStringList{"3"} << "100"
                                         << "12" << 0.03;
}

void AnalogMeterTest::readingsWidenTheScale() {
    QFETCH(QString, word);
    QFETCH(QStringList, readings);
    QFETCH(QString, base);
    QFETCH(QString, max);
    QFETCH(double, needle);
    driver().setUnitPrimary(word);
    frmANALOGMETER meter;
    for (const QString& r : readings)
        meter.setValueText(r);
    QCOMPARE(meter.gridBaseText(), base);
    QCOMPARE(meter.gridMaxText(), max);
    QCOMPARE(meter.CWKnob1()->axisMaximum(), max.toDouble());
    QCOMPARE(meter.CWKnob1()->pointerValue(MeterDial::Needle), needle);
}

void AnalogMeterTest::needleBeyondTheEnd() {
    driver().setUnitPrimary(QStringLiteral("Capacitance"));
    frmANALOGMETER meter;
    meter.setValueText(QStringLiteral("60000"));
    QCOMPARE(meter.gridBaseText(), QStringLiteral("1000"));
    QCOMPARE(meter.gridMaxText(), QStringLiteral("20"));
    QCOMPARE(meter.CWKnob1()->pointerValue(MeterDial::Needle), 60.0);
    QCOMPARE(meter.CWKnob1()->axisMaximum(), 20.0);
    QCOMPARE(meter.CWKnob1()->caption(), QStringLiteral("x1000 nF"));
}

void AnalogMeterTest::equalPeakDoesNotRescale() {
    frmANALOGMETER meter;
    meter.setValueText(QStringLiteral("30"));
    QCOMPARE(meter.gridMaxText(), QStringLiteral("50"));
    // A scale set from elsewhere stays while readings only repeat the peak.
    meter.ChooseMeterScale(700);
    meter.setValueText(QStringLiteral("-30"));
    QCOMPARE(meter.gridBaseText(), QStringLiteral("100"));
    QCOMPARE(meter.gridMaxText(), QStringLiteral("12"));
    QCOMPARE(meter.CWKnob1()->pointerValue(MeterDial::Needle), -0.3);
}

void AnalogMeterTest::resetLetsASmallerScaleBack() {
    frmANALOGMETER meter;
    meter.setValueText(QStringLiteral("700"));
    QCOMPARE(meter.gridMaxText(), QStringLiteral("12"));
    meter.ResetMeter();
    QCOMPARE(meter.peak(), 0.0);
    QCOMPARE(meter.valueText(), QStringLiteral("0"));
    QCOMPARE(meter.CWKnob1()->pointerValue(MeterDial::Needle), 0.0);
    QCOMPARE(meter.gridMaxText(), QStringLiteral("12")); // a zero reading does not rescale
    meter.setValueText(QStringLiteral("3"));
    QCOMPARE(meter.gridMaxText(), QStringLiteral("5"));
}

void AnalogMeterTest::limitMarksFollowFieldsAndPark() {
    frmANALOGMETER meter;
    meter.setValueText(QStringLiteral("30")); // x1, +-50
    meter.setLimHighText(QStringLiteral("40"));
    meter.setLimLowText(QStringLiteral("abc"));
    QCOMPARE(meter.CWKnob1()->pointerValue(MeterDial::HighMark), 40.0);
    QCOMPARE(meter.CWKnob1()->pointerValue(MeterDial::LowMark), 0.0); // not a number reads 0
    meter.setLimHighText(QString());
    meter.setLimLowText(QString());
    QCOMPARE(meter.CWKnob1()->pointerValue(MeterDial::HighMark), 50.0);
    QCOMPARE(meter.CWKnob1()->pointerValue(MeterDial::LowMark), -50.0);
}

void AnalogMeterTest::rescaleReadsStatePanelLimits() {
    test::FakeStatePanel state;
    state.limitMax = QStringLiteral("400");
    frmANALOGMETER meter;
    meter.setValueText(QStringLiteral("100")); // x10, +-50
    QCOMPARE(meter.CWKnob1()->pointerValue(MeterDial::HighMark), 40.0);
    QCOMPARE(meter.CWKnob1()->pointerValue(MeterDial::LowMark), -50.0); // empty: parked at the minimum
    QCOMPARE(meter.CWKnob1()->pointerValue(MeterDial::Needle), 10.0);
}

void AnalogMeterTest::relMarkFollowsStatePanel() {
    test::FakeStatePanel state;
    frmANALOGMETER meter;
    state.rel = QStringLiteral("600");
    meter.setRelText(QStringLiteral("1")); // the field only prompts the mark to look
    QCOMPARE(meter.CWKnob1()->pointerValue(MeterDial::RelMark), 6.0);
    meter.setValueText(QStringLiteral("60")); // x10: the mark still shows 600
    QCOMPARE(meter.CWKnob1()->pointerValue(MeterDial::RelMark), 60.0);
    meter.ChooseMeterScale(700);
    state.rel.clear();
    meter.setRelText(QStringLiteral("2"));
    QCOMPARE(meter.CWKnob1()->pointerValue(MeterDial::RelMark), -12.0);
}

void AnalogMeterTest::captionShowsOhmSign() {
    driver().setUnitPrimary(QStringLiteral("Resitance"));
    frmANALOGMETER meter;
    meter.setValueText(QStringLiteral("600"));
    QCOMPARE(meter.CWKnob1()->caption(), QString::fromUtf8("x100 kΩ"));
    meter.unitChanged(QStringLiteral("kohm"));
    QCOMPARE(meter.numberFormat(), QStringLiteral("#.00 \"kohm\""));
    QCOMPARE(meter.findChild<QLabel*>(QStringLiteral("pnlDegree"))->text(), QString::fromUtf8("600.00 kΩ"));
}

void AnalogMeterTest::layoutFollowsTheWindow() {
    frmANALOGMETER meter;
    meter.resize(300, 150); // 4500 x 2250 twips
    meter.show();
    QVERIFY(QTest::qWaitForWindowExposed(&meter));
    QCOMPARE(meter.CWKnob1()->width(), qRound((4500 - 100) / 15.0));
    QCOMPARE(meter.CWKnob1()->height(), qRound((2250 - 500) / 15.0));
    const QLabel* degree = meter.findChild<QLabel*>(QStringLiteral("pnlDegree"));
    QCOMPARE(degree->x(), qRound(qRound(0.453 * 4500) / 15.0));
    QCOMPARE(degree->y(), qRound(qRound(0.593 * 2250) / 15.0));
}

void AnalogMeterTest::startsOnThe1200VoltScaleAndRegisters() {
    {
        frmANALOGMETER meter; // a +-12 dial at x100: the 1200 V scale
        QCOMPARE(meter.gridBaseText(), QStringLiteral("100"));
        QCOMPARE(meter.gridMaxText(), QStringLiteral("12"));
        QCOMPARE(meter.CWKnob1()->caption(), QStringLiteral("x100 V"));
        QCOMPARE(forms().analog, static_cast<AnalogMeter*>(&meter));
        QVERIFY(IsFormLoaded(QStringLiteral(" frmANALOGMETER ")));
    }
    QCOMPARE(forms().analog, nullptr);
}

QTEST_MAIN(AnalogMeterTest)
#include "tst_analogmeter.moc"
