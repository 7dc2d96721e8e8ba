// The analog meter window: scale choice as readings arrive, the needle, the
// limit and relative marks, reset and the layout rule.
#include "DataRows.h"
#include "MeterDial.h"
#include "WindowTestSupport.h"
#include "clsKVX5310.h"
#include "frmANALOGMETER.h"

#include <QLabel>
#include <QtTest>

using namespace kvx;
using namespace kvx::test;

class AnalogMeterTest : public QObject {
    Q_OBJECT
private slots:
    void init() { driver().setUnitPrimary(QStringLiteral("Voltage")); }

    void readingsWidenTheScale_data() {
        QTest::addColumn<QString>("word");
        QTest::addColumn<QString>("readings");
        QTest::addColumn<QString>("caption"); // "x<GridBase> <unit>"
        QTest::addColumn<QString>("max");
        QTest::addColumn<double>("needle");
        addRow("V 0.2, 3", "Voltage", "0.2,3", "x1 V", "5", 3.0);
        addRow("V 0.2, 3, 700", "Voltage", "0.2,3,700", "x100 V", "12", 7.0);
        addRow("V then 2 stays at 1200", "Voltage", "0.2,3,700,2", "x100 V", "12", 0.02);
        addRow("mA 60 with unit text", "Current", "60 mA", "x10 mA", "50", 6.0);
        addRow("negative reading by magnitude", "Voltage", "-70", "x10 V", "50", -7.0);
        addRow("kohm caption with the ohm sign", "Resitance", "600", "x100 kΩ", "50", 6.0);
        addRow("nF 60000: needle past the end", "Capacitance", "60000", "x1000 nF", "20", 60.0);
        addRow("kHz keeps the scale", "Frequence", "0.2,700", "x100 kHz", "12", 7.0);
        // "scale:N" is a scale chosen from elsewhere; it stays while readings only repeat the
        // peak. Reset forgets the peak and lets a smaller scale back; it reads 0 and does not rescale.
        addRow("starts on the 1200 V scale", "Voltage", "", "x100 V", "12", 0.0);
        addRow("chosen scale stays", "Voltage", "30,scale:700,-30", "x100 V", "12", -0.3);
        addRow("reset reads 0", "Voltage", "30,scale:700,reset", "x100 V", "12", 0.0);
        addRow("reset lets a smaller scale back", "Voltage", "30,scale:700,reset,3", "x1 V", "5", 3.0);
    }

    void readingsWidenTheScale() {
        QFETCH(QString, word);
        QFETCH(QString, readings);
        QFETCH(QString, caption);
        QFETCH(QString, max);
        driver().setUnitPrimary(word);
        frmANALOGMETER meter;
        for (const QString& r : readings.split(',', Qt::SkipEmptyParts)) {
            if (r == QLatin1String("reset"))
                meter.ResetMeter();
            else if (r.startsWith(QLatin1String("scale:")))
                meter.ChooseMeterScale(r.mid(6).toDouble());
            else
                meter.setValueText(r);
        }
        QCOMPARE(meter.CWKnob1()->caption(), caption);
        QCOMPARE(meter.CWKnob1()->axisMaximum(), max.toDouble());
        QTEST(meter.CWKnob1()->pointerValue(MeterDial::Needle), "needle");
    }

    void marksFollowFieldsAndStatePanel() {
        FakeStatePanel state;
        state.limitMax = QStringLiteral("400");
        frmANALOGMETER meter;
        const auto mark = [&meter](MeterDial::Pointer p) { return meter.CWKnob1()->pointerValue(p); };
        meter.setValueText(QStringLiteral("100")); // x10, +-50: the rescale reads the panel's limits
        QCOMPARE(mark(MeterDial::HighMark), 40.0);
        QCOMPARE(mark(MeterDial::LowMark), -50.0); // empty: parked at the minimum
        QCOMPARE(mark(MeterDial::Needle), 10.0);
        meter.setLimHighText(QStringLiteral("300"));
        meter.setLimLowText(QStringLiteral("abc"));
        QCOMPARE(mark(MeterDial::HighMark), 30.0);
        QCOMPARE(mark(MeterDial::LowMark), 0.0); // not a number reads 0
        meter.setLimHighText(QString());
        QCOMPARE(mark(MeterDial::HighMark), 50.0);

        state.rel = QStringLiteral("600");
        meter.setRelText(QStringLiteral("1")); // the field only prompts the mark to look
        QCOMPARE(mark(MeterDial::RelMark), 60.0);
        meter.ChooseMeterScale(700); // x100: the mark still shows 600
        QCOMPARE(mark(MeterDial::RelMark), 6.0);
        state.rel.clear();
        meter.setRelText(QStringLiteral("2"));
        QCOMPARE(mark(MeterDial::RelMark), -12.0);

        // x1 to x10 on the same +-50 dial: the marks move although the dial's size does not.
        state.limitMax = QStringLiteral("30");
        meter.ResetMeter();
        meter.setValueText(QStringLiteral("7"));
        QCOMPARE(mark(MeterDial::HighMark), 30.0);
        meter.setValueText(QStringLiteral("70"));
        QCOMPARE(meter.gridMaxText(), QStringLiteral("50"));
        QCOMPARE(mark(MeterDial::HighMark), 3.0);
        QCOMPARE(mark(MeterDial::Needle), 7.0);
    }

    void numberFormatAndLayout() {
        frmANALOGMETER meter;
        meter.setValueText(QStringLiteral("600"));
        meter.unitChanged(QStringLiteral("kohm"));
        const QLabel* degree = meter.findChild<QLabel*>(QStringLiteral("pnlDegree"));
        QCOMPARE(degree->text(), QString::fromUtf8("600.00 kΩ"));

        meter.resize(300, 150); // 4500 x 2250 twips
        meter.show();
        QVERIFY(QTest::qWaitForWindowExposed(&meter));
        QCOMPARE(meter.CWKnob1()->size(), QSize(qRound((4500 - 100) / 15.0), qRound((2250 - 500) / 15.0)));
        QCOMPARE(degree->pos(),
                 QPoint(qRound(qRound(0.453 * 4500) / 15.0), qRound(qRound(0.593 * 2250) / 15.0)));
    }

    // The dial keeps a picture of its face and draws only the needle anew: after any
    // change it must look exactly as a dial given that state from the start.
    void dialRedrawsWhatChanged_data() {
        QTest::addColumn<int>("change");
        const char* const names[] = {"needle", "high mark", "relative mark", "axis", "caption", "colours", "size", "font"};
        for (int i = 0; i < 8; ++i)
            QTest::newRow(names[i]) << i;
    }
    void dialRedrawsWhatChanged() {
        QFETCH(int, change);
        const auto apply = [change](MeterDial& d) {
            switch (change) {
            case 0: d.setPointerValue(MeterDial::Needle, 7.5); break;
            case 1: d.setPointerValue(MeterDial::HighMark, 3.0); break;
            case 2: d.setPointerValue(MeterDial::RelMark, -2.0); break;
            case 3: d.setAxis(-50.0, 50.0); break;
            case 4: d.setCaption(QStringLiteral("x10 mV")); break;
            case 5: d.setColors({Qt::white, Qt::black, Qt::blue, Qt::red, Qt::green}); break;
            case 6: d.resize(260, 140); break;
            default: {
                QFont bold = d.font();
                bold.setBold(true);
                d.setFont(bold);
                break;
            }
            }
        };
        MeterDial changed, fresh;
        for (MeterDial* d : {&changed, &fresh}) {
            d->resize(200, 110);
            d->setCaption(QStringLiteral("x1 V"));
        }
        const QImage before = changed.grab().toImage();
        apply(changed);
        apply(fresh);
        QVERIFY(changed.grab().toImage() != before);
        QCOMPARE(changed.grab().toImage(), fresh.grab().toImage());
    }

    void registersWhileItLives() {
        {
            frmANALOGMETER meter;
            QCOMPARE(forms().analog, static_cast<AnalogMeter*>(&meter));
            QVERIFY(IsFormLoaded(QStringLiteral(" frmANALOGMETER ")));
        }
        QCOMPARE(forms().analog, nullptr);
    }
};

QTEST_MAIN(AnalogMeterTest)
#include "tst_analogmeter.moc"
