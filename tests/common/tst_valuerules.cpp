#include "ValueRules.h"

#include <QtTest>

#include <ctime>

using namespace kvx;

class TestValueRules : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() {
        // Offsets are checked in a zone with clock changes.
        qputenv("TZ", "Europe/Berlin");
        tzset();
    }

    // Exports give the stored local time with its UTC offset; a minute's offset is kept, so
    // rows alternate across the summer change to catch a stale one.
    void isoDateTime_data() {
        QTest::addColumn<QByteArray>("stored");
        QTest::addColumn<QByteArray>("iso"); // empty: refused
        QTest::newRow("winter") << QByteArray("2026/11/23 17:43:14")
                                << QByteArray("2026-11-23T17:43:14+01:00");
        QTest::newRow("summer") << QByteArray("2026/07/01 00:00:59")
                                << QByteArray("2026-07-01T00:00:59+02:00");
        QTest::newRow("same minute, winter again")
            << QByteArray("2026/11/23 17:43:15") << QByteArray("2026-11-23T17:43:15+01:00");
        QTest::newRow("before the change")
            << QByteArray("2026/03/29 01:59:59") << QByteArray("2026-03-29T01:59:59+01:00");
        QTest::newRow("skipped hour") << QByteArray("2026/03/29 02:30:00") << QByteArray();
        QTest::newRow("after the change")
            << QByteArray("2026/03/29 03:00:00") << QByteArray("2026-03-29T03:00:00+02:00");
        QTest::newRow("no such day") << QByteArray("2026/02/30 10:00:00") << QByteArray();
        QTest::newRow("second 60") << QByteArray("2026/01/05 10:00:60") << QByteArray();
        QTest::newRow("other form") << QByteArray("2026-01-05 10:00:00") << QByteArray();
        QTest::newRow("blank behind") << QByteArray("2026/01/05 10:00:00 ") << QByteArray();
    }
    void isoDateTime() {
        QFETCH(QByteArray, stored);
        QFETCH(QByteArray, iso);
        QByteArray out("x");
        QCOMPARE(appendIsoDateTime(stored, &out), !iso.isEmpty());
        QCOMPARE(out, "x" + iso);
        // Status answers write a time the same way, UTC included.
        const QDateTime local = parseDateTimeText(QString::fromLatin1(stored));
        if (!iso.isEmpty())
            QCOMPARE(isoDateTimeText(local).toLatin1(), iso);
        QCOMPARE(isoDateTimeText(QDateTime(QDate(2026, 1, 5), QTime(10, 0), Qt::UTC)),
                 QStringLiteral("2026-01-05T10:00:00+00:00"));
    }

    // Both rules share one reading of what a number is; isNumeric wants nothing after it.
    void numbers_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<double>("leading");
        QTest::addColumn<bool>("numeric");
        QTest::newRow("blanks around") << " -500 " << -500.0 << true;
        QTest::newRow("unit after number") << "12.5 V" << 12.5 << false;
        QTest::newRow("reply with line feed") << "3.2541\n" << 3.2541 << true;
        QTest::newRow("sign and exponent") << "-9.9E+37" << -9.9e37 << true;
        QTest::newRow("exponent without digits stops before E") << "1E" << 1.0 << false;
        QTest::newRow("point first") << ".5" << 0.5 << true;
        QTest::newRow("no number") << "abc" << 0.0 << false;
        QTest::newRow("empty") << "" << 0.0 << false;
        QTest::newRow("sign only") << "-" << 0.0 << false;
        QTest::newRow("two numbers keep the first") << "1.5,2.5" << 1.5 << false;
        QTest::newRow("non-ASCII unit") << QStringLiteral("-2.5 \u00b5V") << -2.5 << false;
        QTest::newRow("longer than the fast path")
            << QString(70, QLatin1Char('1')) << 1.1111111111111111e69 << true;
    }
    void numbers() {
        QFETCH(QString, text);
        QTEST(parseLeadingNumber(text), "leading");
        QTEST(isNumeric(text), "numeric");
        const QByteArray utf8 = text.toUtf8(); // as the record database hands it out
        QTEST(parseLeadingNumber(std::string_view(utf8.constData(), size_t(utf8.size()))), "leading");
    }

    void numberText_data() {
        QTest::addColumn<double>("value");
        QTest::addColumn<QString>("expected");
        QTest::newRow("half") << 0.5 << "0.5";
        QTest::newRow("negative") << -499.9 << "-499.9";
        QTest::newRow("negative zero") << -0.0 << "0";
        QTest::newRow("binary fraction noise hidden") << 0.1 + 0.2 << "0.3";
        QTest::newRow("large range, no exponent") << 20000.0 << "20000";
    }
    void numberText() {
        QFETCH(double, value);
        QTEST(numberToText(value), "expected");
    }

    // "none": the value does not fit in 16 bits.
    void int16Rounding_data() {
        QTest::addColumn<double>("value");
        QTest::addColumn<QString>("expected");
        QTest::newRow("half down to even") << 2.5 << "2";
        QTest::newRow("half up to even") << 3.5 << "4";
        QTest::newRow("negative half") << -2.5 << "-2";
        QTest::newRow("ordinary") << 7.6 << "8";
        QTest::newRow("top") << 32767.0 << "32767";
        QTest::newRow("top half rounds to even, fits") << 32766.5 << "32766";
        QTest::newRow("above top fails") << 32768.0 << "none";
        QTest::newRow("rounds above top fails") << 32767.5 << "none";
        QTest::newRow("bottom") << -32768.0 << "-32768";
        QTest::newRow("below bottom fails") << -32769.0 << "none";
    }
    void int16Rounding() {
        QFETCH(double, value);
        const auto r = roundToInt16(value);
        QTEST(r ? QString::number(*r) : QStringLiteral("none"), "expected");
    }

    void binary_data() {
        QTest::addColumn<int>("n");
        QTest::addColumn<QString>("bits");
        QTest::addColumn<QString>("eight");
        const auto row = [](const char* name, int n, const char* bits, const char* eight) {
            QTest::newRow(name) << n << bits << eight;
        };
        row("0", 0, "0", "00000000");
        row("5", 5, "101", "00000101");
        row("16", 16, "10000", "00010000");
        row("4096 keeps only the low eight", 4096, "1000000000000", "00000000");
        row("negative gives its lowest bit", -3, "1", "00000001");
        row("negative even", -4, "0", "00000000");
    }
    void binary() {
        QFETCH(int, n);
        QTEST(ToBinaryString(qint16(n)), "bits");
        QTEST(bitText(qint16(n), 8), "eight");
    }

    void texts() {
        const QDateTime t(QDate(2026, 3, 7), QTime(9, 5, 3));
        QCOMPARE(dateTimeText(t), QStringLiteral("2026/03/07 09:05:03"));
        QCOMPARE(parseDateTimeText(QStringLiteral(" 2026/03/07 09:05:03 ")), t);
        QVERIFY(!parseDateTimeText(QStringLiteral("yesterday")).isValid());
        QCOMPARE(fixedText(QStringLiteral("DC Voltage!"), 10), QStringLiteral("DC Voltage"));
        QCOMPARE(fixedText(QStringLiteral("DCV"), 5), QStringLiteral("DCV  "));
        QCOMPARE(trimBlanks(QStringLiteral("  DCV\n ")), QStringLiteral("DCV\n"));
        QCOMPARE(numberToText(roundToSignificant(3.2633 - 3.2574, 12)), QStringLiteral("0.0059"));
        QCOMPARE(roundToSignificant(123456.789, 4), 123500.0);
    }
};

QTEST_GUILESS_MAIN(TestValueRules)
#include "tst_valuerules.moc"
