// The digital screen: format texts shown on the displays and the display layout.
#include "DataRows.h"
#include "NumericDisplay.h"
#include "frmDIGITALMETERMaster.h"

#include <QtTest>

using namespace kvx;
using kvx::test::addRow;

class DigitalScreenTest : public QObject {
    Q_OBJECT
private slots:
    void displaysShowValueThroughFormat_data();
    void displaysShowValueThroughFormat();
    void layoutInTwips_data();
    void layoutInTwips();
    void registersAndLeaves();
};

void DigitalScreenTest::displaysShowValueThroughFormat_data() {
    QTest::addColumn<QString>("format");
    QTest::addColumn<double>("value");
    QTest::addColumn<QString>("number");
    QTest::addColumn<QString>("unit");
    addRow("volts three decimals", ".##0 \"V\"", 12.3456, "12.346", "V");
    addRow("kohm as kOhm sign", ".#0 \"kohm\"", 0.5, "0.50", "kΩ");
    addRow("one decimal", ".0 \"mA\"", -1234.56, "-1234.6", "mA");
    addRow("four decimals", ".###0 \"nF\"", 0.3, "0.3000", "nF");
}

void DigitalScreenTest::displaysShowValueThroughFormat() {
    QFETCH(QString, format);
    QFETCH(double, value);
    QFETCH(QString, number);
    QFETCH(QString, unit);
    frmDIGITALMETERMaster screen;
    DigitalScreen& digital = screen;
    digital.setPrimaryFormat(format);
    digital.setPrimaryValue(value);
    digital.setSecondaryFormat(format);
    digital.setSecondaryValue(value);
    for (NumericDisplay* display : {screen.DigVM(), screen.DigSecondM()}) {
        QCOMPARE(display->numberText(), number);
        QCOMPARE(display->unitText(), unit);
    }
}

void DigitalScreenTest::layoutInTwips_data() {
    QTest::addColumn<QList<int>>("twips"); // vmWidth, vmHeight, secondTop, secondWidth
    QTest::addColumn<double>("secondHeight");
    QTest::addColumn<QRect>("vm");
    QTest::addColumn<QRect>("second");
    addRow("maximised", QList<int>{11475, 2475, 2505, 11475}, 1537.5, QRect(0, 0, 765, 165),
           QRect(0, 167, 765, 103));
    addRow("normal", QList<int>{3825, 825, 830, 3825}, 615.0, QRect(0, 0, 255, 55), QRect(0, 55, 255, 41));
}

void DigitalScreenTest::layoutInTwips() {
    QFETCH(QList<int>, twips);
    QFETCH(double, secondHeight);
    QFETCH(QRect, vm);
    QFETCH(QRect, second);
    frmDIGITALMETERMaster screen;
    screen.layoutDisplays(twips[0], twips[1], twips[2], twips[3], secondHeight);
    QCOMPARE(screen.DigVM()->geometry(), vm);
    QCOMPARE(screen.DigSecondM()->geometry(), second);
}

void DigitalScreenTest::registersAndLeaves() {
    {
        frmDIGITALMETERMaster screen;
        QCOMPARE(forms().digital, static_cast<DigitalScreen*>(&screen));
        QVERIFY(IsFormLoaded(QStringLiteral("frmDIGITALMETERMaster")));
        QCOMPARE(screen.DigVM()->objectName() + screen.DigSecondM()->objectName(),
                 QString("DigVMDigSecondM"));
        QCOMPARE(sevenSegmentFamily(), QStringLiteral("DSEG7 Classic"));
    }
    QCOMPARE(forms().digital, nullptr);
}

QTEST_MAIN(DigitalScreenTest)
#include "tst_digitalscreen.moc"
