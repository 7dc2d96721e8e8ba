#include "ValueRules.h"

#include <QtTest>

using namespace kvx;

class TestValueRules : public QObject {
    Q_OBJECT
private slots:
    void leadingNumber_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<double>("expected");
        QTest::newRow("plain") << "1.234" << 1.234;
        QTest::newRow("leading blanks") << "   5.678" << 5.678;
        QTest::newRow("unit after number") << "12.5 V" << 12.5;
        QTest::newRow("reply with line feed") << "3.2541\n" << 3.2541;
        QTest::newRow("sign and exponent") << "-9.9E+37" << -9.9e37;
        QTest::newRow("exponent without digits stops before E") << "1E" << 1.0;
        QTest::newRow("point first") << ".5" << 0.5;
        QTest::newRow("no number") << "abc" << 0.0;
        QTest::newRow("empty") << "" << 0.0;
        QTest::newRow("sign only") << "-" << 0.0;
        QTest::newRow("two numbers keep the first") << "1.5,2.5" << 1.5;
    }
    void leadingNumber() {
        QFETCH(QString, text);
        QFETCH(double, expected);
        QCOMPARE(parseLeadingNumber(text), expected);
    }

    void numeric_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("expected");
        QTest::newRow("number") << "499.9" << true;
        QTest::newRow("blanks around") << " -500 " << true;
        QTest::newRow("empty") << "" << false;
        QTest::newRow("trailing word") << "5 V" << false;
        QTest::newRow("word") << "abc" << false;
    }
    void numeric() {
        QFETCH(QString, text);
        QFETCH(bool, expected);
        QCOMPARE(isNumeric(text), expected);
    }

    void numberText_data() {
        QTest::addColumn<double>("value");
        QTest::addColumn<QString>("expected");
        QTest::newRow("whole") << 20.0 << "20";
        QTest::newRow("half") << 0.5 << "0.5";
        QTest::newRow("negative") << -499.9 << "-499.9";
        QTest::newRow("zero") << 0.0 << "0";
        QTest::newRow("negative zero") << -0.0 << "0";
        QTest::newRow("binary fraction noise hidden") << 0.1 + 0.2 << "0.3";
        QTest::newRow("large range") << 20000.0 << "20000";
    }
    void numberText() {
        QFETCH(double, value);
        QFETCH(QString, expected);
        QCOMPARE(numberToText(value), expected);
    }

    void int16Rounding_data() {
        QTest::addColumn<double>("value");
        QTest::addColumn<bool>("fits");
        QTest::addColumn<int>("expected");
        QTest::newRow("half down to even") << 2.5 << true << 2;
        QTest::newRow("half up to even") << 3.5 << true << 4;
        QTest::newRow("negative half") << -2.5 << true << -2;
        QTest::newRow("ordinary") << 7.6 << true << 8;
        QTest::newRow("top") << 32767.0 << true << 32767;
        QTest::newRow("top half rounds to even, fits") << 32766.5 << true << 32766;
        QTest::newRow("above top fails") << 32768.0 << false << 0;
        QTest::newRow("rounds above top fails") << 32767.5 << false << 0;
        QTest::newRow("bottom") << -32768.0 << true << -32768;
    }
    void int16Rounding() {
        QFETCH(double, value);
        QFETCH(bool, fits);
        QFETCH(int, expected);
        const auto r = roundToInt16(value);
        QCOMPARE(r.has_value(), fits);
        if (fits)
            QCOMPARE(int(*r), expected);
    }

    void binary_data() {
        QTest::addColumn<int>("n");
        QTest::addColumn<QString>("bits");
        QTest::addColumn<QString>("eight");
        QTest::newRow("0") << 0 << "0"
                           << "00000000";
        QTest::newRow("1") << 1 << "1"
                           << "00000001";
        QTest::newRow("2") << 2 << "10"
                           << "00000010";
        QTest::newRow("5") << 5 << "101"
                           << "00000101";
        QTest::newRow("8") << 8 << "1000"
                           << "00001000";
        QTest::newRow("16") << 16 << "10000"
                            << "00010000";
        QTest::newRow("4096 keeps only the low eight") << 4096 << "1000000000000"
                                                       << "00000000";
        QTest::newRow("negative gives its lowest bit") << -3 << "1"
                                                       << "00000001";
        QTest::newRow("negative even") << -4 << "0"
                                       << "00000000";
    }
    void binary() {
        QFETCH(int, n);
        QFETCH(QString, bits);
        QFETCH(QString, eight);
        QCOMPARE(ToBinaryString(qint16(n)), bits);
        QCOMPARE(bitText(qint16(n), 8), eight);
    }

    void dateTexts() {
        const QDateTime t(QDate(2026, 3, 7), QTime(9, 5, 3));
        QCOMPARE(dateTimeText(t), QStringLiteral("2026/03/07 09:05:03"));
        QCOMPARE(timeOfDayText(t), QStringLiteral("09:05:03"));
        QCOMPARE(parseDateTimeText(QStringLiteral(" 2026/03/07 09:05:03 ")), t);
        QVERIFY(!parseDateTimeText(QStringLiteral("yesterday")).isValid());
    }

    void fixedTexts() {
        QCOMPARE(fixedText(QStringLiteral("DC Voltage!"), 10), QStringLiteral("DC Voltage"));
        QCOMPARE(fixedText(QStringLiteral("DCV"), 5), QStringLiteral("DCV  "));
        QCOMPARE(trimBlanks(QStringLiteral("  DCV\n ")), QStringLiteral("DCV\n"));
        QCOMPARE(fixedDecimals(2.5, 2), QStringLiteral("2.50"));
    }

    void significantDigits() {
        QCOMPARE(numberToText(roundToSignificant(3.2633 - 3.2574, 12)), QStringLiteral("0.0059"));
        QCOMPARE(roundToSignificant(123456.789, 4), 123500.0);
        QCOMPARE(roundToSignificant(0.0, 12), 0.0);
    }
};

QTEST_GUILESS_MAIN(TestValueRules)
#include "tst_valuerules.moc"
