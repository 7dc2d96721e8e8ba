// The digital screen: format texts shown on the displays and the display layout.
#include "DataRows.h"
#include "NumericDisplay.h"
#include "frmDIGITALMETERMaster.h"

#include <QtTest>

using namespace kvx;
using kvx::test::addRow;

namespace {

// Counts the paints of a display and notes the value it last painted.
struct PaintCounter : QObject {
    explicit PaintCounter(NumericDisplay* display) : display(display) { display->installEventFilter(this); }
    bool eventFilter(QObject*, QEvent* event) override {
        if (event->type() == QEvent::Paint) {
            ++count;
            painted = display->value();
        }
        return false;
    }
    NumericDisplay* display;
    int count = 0;
    double painted = 0;
};

} // namespace

class DigitalScreenTest : public QObject {
    Q_OBJECT
private slots:
    void displaysShowValueThroughFormat_data() {
        QTest::addColumn<QString>("format");
        QTest::addColumn<double>("value");
        QTest::addColumn<QString>("number");
        QTest::addColumn<QString>("unit");
        addRow("volts three decimals", ".##0 \"V\"", 12.3456, "12.346", "V");
        addRow("kohm as kOhm sign", ".#0 \"kohm\"", 0.5, "0.50", "kΩ");
        addRow("one decimal", ".0 \"mA\"", -1234.56, "-1234.6", "mA");
    }

    void displaysShowValueThroughFormat() {
        QFETCH(QString, format);
        QFETCH(double, value);
        frmDIGITALMETERMaster screen;
        DigitalScreen& digital = screen;
        digital.setPrimaryFormat(format);
        digital.setPrimaryValue(value);
        digital.setSecondaryFormat(format);
        digital.setSecondaryValue(value);
        for (NumericDisplay* display : {screen.DigVM(), screen.DigSecondM()}) {
            QTEST(display->numberText(), "number");
            QTEST(display->unitText(), "unit");
        }
    }

    // Readings faster than the eye (the fast clock): at most one repaint a frame, however
    // often the event loop comes round between them.
    void fastReadingsRepaintAtFramePace() {
        frmDIGITALMETERMaster screen;
        screen.show();
        QVERIFY(QTest::qWaitForWindowExposed(&screen));
        PaintCounter paints(screen.DigVM());
        QElapsedTimer took;
        took.start();
        for (int i = 1; i <= 200; ++i) {
            screen.setPrimaryValue(i);
            QCoreApplication::processEvents();
        }
        QVERIFY2(paints.count <= took.elapsed() / 40 + 2, qPrintable(QString::number(paints.count)));
        QTRY_COMPARE(paints.painted, 200.0); // the last reading is not left unpainted
    }

    void layoutInTwipsAndRegistration() {
        {
            frmDIGITALMETERMaster screen; // starts in the normal layout
            QCOMPARE(forms().digital, static_cast<DigitalScreen*>(&screen));
            QVERIFY(IsFormLoaded(QStringLiteral("frmDIGITALMETERMaster")));
            QCOMPARE(screen.DigVM()->geometry(), QRect(0, 0, 255, 55));
            QCOMPARE(screen.DigSecondM()->geometry(), QRect(0, 55, 255, 41));
            screen.layoutDisplays(11475, 2475, 2505, 11475, 1537.5); // maximised
            QCOMPARE(screen.DigVM()->geometry(), QRect(0, 0, 765, 165));
            QCOMPARE(screen.DigSecondM()->geometry(), QRect(0, 167, 765, 103));
        }
        QCOMPARE(forms().digital, nullptr);
    }
};

QTEST_MAIN(DigitalScreenTest)
#include "tst_digitalscreen.moc"
