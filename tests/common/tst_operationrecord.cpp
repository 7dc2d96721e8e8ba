#include "OperationRecord.h"

#include <QtTest>

using namespace kvx;

namespace {

OperationRecord sampleRecord() {
    OperationRecord r;
    r.comPort = 2;
    r.baudRate = 9600;
    r.gpibAddress = 31;
    r.samplingInterval = QStringLiteral("5");
    r.totalTime = QStringLiteral("Continuous");
    r.reportHeader = QStringLiteral("Bench 3 report");
    r.logoFile = QStringLiteral("/home/lab/logo.jpg");
    r.colors = {65280, 11010216, 255, 0, 5811368, 16776960, 0};
    r.snapshotFolder = QStringLiteral("  /home/lab/Working");
    r.serialFlag = QStringLiteral("0");
    r.gpibFlag = QStringLiteral("1");
    r.sFunction = QStringLiteral("DC Voltage");
    r.serialSettings = {1, 2, 3, -4};
    r.settingText1 = QStringLiteral("abc");
    r.settingText2 = QStringLiteral("xyz");
    r.setting3 = 1234;
    return r;
}

qint16 i16At(const QByteArray& b, int at) {
    return qFromLittleEndian<qint16>(b.constData() + at);
}
quint32 u32At(const QByteArray& b, int at) {
    return qFromLittleEndian<quint32>(b.constData() + at);
}

} // namespace

class TestOperationRecord : public QObject {
    Q_OBJECT
private slots:
    void fieldsSitAtTheirOffsets() {
        const QByteArray b = sampleRecord().encode();
        QCOMPARE(b.size(), 1704);
        QCOMPARE(i16At(b, 0), qint16(2));
        QCOMPARE(i16At(b, 2), qint16(9600));
        QCOMPARE(i16At(b, 4), qint16(31));
        QCOMPARE(b.mid(6, 20), QByteArray("5").leftJustified(20, ' '));
        QCOMPARE(b.mid(26, 20), QByteArray("Continuous").leftJustified(20, ' '));
        QCOMPARE(b.mid(46, 14), QByteArray("Bench 3 report"));
        QCOMPARE(b.at(46 + 254), ' ');
        QCOMPARE(b.mid(301, 18), QByteArray("/home/lab/logo.jpg"));
        QCOMPARE(u32At(b, 556), 65280u);
        QCOMPARE(u32At(b, 576), 16776960u);
        QCOMPARE(b.mid(584, 21), QByteArray("  /home/lab/Working  "));
        QCOMPARE(b.at(839), '0');
        QCOMPARE(b.at(840), '1');
        QCOMPARE(b.mid(841, 10), QByteArray("DC Voltage"));
        QCOMPARE(i16At(b, 852), qint16(1));
        QCOMPARE(i16At(b, 858), qint16(-4));
        QCOMPARE(b.mid(860, 6), QByteArray("abc   "));
        QCOMPARE(b.mid(866, 6), QByteArray("xyz   "));
        QCOMPARE(i16At(b, 872), qint16(1234));
        // Without extension values nothing of this program's own lands past the table.
        QCOMPARE(b.mid(876), QByteArray(1704 - 876, '\0'));
    }

    // Extension values land behind a marker; text that is not Latin-1 survives.
    void extensionFieldsRoundTrip() {
        OperationRecord r = sampleRecord();
        r.reportHeader = QStringLiteral("測試報告 — bench");
        r.serialDevice = QStringLiteral("/dev/ttyUSB0");
        r.gpibBackend = QStringLiteral("prologix:/dev/ttyUSB1");
        r.lanFlag = QStringLiteral("1");
        r.lanAddress = QStringLiteral("10.0.0.7:5025");
        r.monitorAddress = QStringLiteral("0.0.0.0:8080");
        r.databaseText = QStringLiteral("postgresql://lab@db:5432/kvx");
        r.benchName = QStringLiteral("bench-7");
        const QByteArray b = r.encode();
        // Each extension field at its own bytes, padded to its width.
        QCOMPARE(b.mid(876, 4), QByteArray("KVX+"));
        QCOMPARE(b.mid(880, 255).trimmed(), QByteArray("/dev/ttyUSB0"));
        QCOMPARE(b.mid(1135, 255).trimmed(), QByteArray("prologix:/dev/ttyUSB1"));
        QCOMPARE(b.mid(1390, 1), QByteArray("1"));
        QCOMPARE(b.mid(1391, 215).trimmed(), QByteArray("10.0.0.7:5025"));
        QCOMPARE(b.mid(1606, 40).trimmed(), QByteArray("0.0.0.0:8080"));
        QCOMPARE(b.mid(1646, 40).trimmed(), QByteArray("postgresql://lab@db:5432/kvx"));
        QCOMPARE(b.mid(1686, 18).trimmed(), QByteArray("bench-7"));
        OperationRecord back;
        QVERIFY(back.decode(b));
        QCOMPARE(back.reportHeader.trimmed(), r.reportHeader);
        QCOMPARE(back.serialDevice, r.serialDevice);
        QCOMPARE(back.gpibBackend, r.gpibBackend);
        QCOMPARE(back.lanAddress, r.lanAddress);
        QCOMPARE(back.monitorAddress, r.monitorAddress);
        QCOMPARE(back.databaseText, r.databaseText);
        QCOMPARE(back.benchName, r.benchName);
    }

    // A record written by another program, with bytes this one does not interpret,
    // texts in an 8-bit code page, a long folder path and a device with leading
    // blanks, is overwritten in place: the file comes back unchanged. A changed
    // text changes its own field only; one too long for it changes nothing.
    void fileRoundTripIsByteIdentical() {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("KVX-5130.Log"));
        QByteArray foreign = sampleRecord().encode();
        foreign[851] = 'Z';
        foreign[875] = char(0x7f);
        foreign.replace(46, 14, QByteArray("Caf\xe9 \xe0 l'\xe9t\xe9\0\0", 14));
        foreign.replace(584, 208, QByteArray("/home/j\xfcrgen/") + QByteArray(195, '\xe9'));
        foreign.replace(876, 20, QByteArray("KVX+    /dev/ttyS1\0\0", 20));
        foreign[1700] = char(0x55);
        foreign += QByteArray(1300, 'x');
        QFile f(path);
        QVERIFY(f.open(QIODevice::WriteOnly) && f.write(foreign) == foreign.size());
        f.close();
        OperationRecord r;
        QCOMPARE(OperationFile::load(path, r), LoadResult::Loaded);
        QCOMPARE(r.sFunction, QStringLiteral("DC Voltage"));
        QCOMPARE(r.serialDevice, QStringLiteral("/dev/ttyS1"));
        QVERIFY(OperationFile::save(path, r));
        QVERIFY(f.open(QIODevice::ReadOnly));
        QCOMPARE(f.readAll(), foreign);
        f.close();

        r.reportHeader = QStringLiteral("Bench 4");
        r.logoFile = QString(256, QLatin1Char('a'));
        QVERIFY(!r.fits(&OperationRecord::logoFile, r.logoFile));
        QVERIFY(OperationFile::save(path, r));
        QVERIFY(f.open(QIODevice::ReadOnly));
        const QByteArray changed = f.readAll();
        QCOMPARE(changed.mid(46, 255), QByteArray("Bench 4").leftJustified(255, ' '));
        QCOMPARE(changed.left(46) + changed.mid(301), foreign.left(46) + foreign.mid(301));
    }

    void badFiles_data() {
        QTest::addColumn<int>("size");
        QTest::addColumn<int>("expected");
        QTest::newRow("missing") << -1 << int(LoadResult::Missing);
        QTest::newRow("one byte short") << 1703 << int(LoadResult::Damaged);
        QTest::newRow("empty") << 0 << int(LoadResult::Damaged);
        QTest::newRow("a folder") << -2 << int(LoadResult::Damaged);
    }
    void badFiles() {
        QFETCH(int, size);
        QFETCH(int, expected);
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("KVX-5130.Log"));
        QFile f(path);
        if (size >= 0)
            QVERIFY(f.open(QIODevice::WriteOnly) && f.write(QByteArray(size, 'a')) == size);
        f.close();
        if (size == -2)
            QVERIFY(QDir(dir.path()).mkdir(QStringLiteral("KVX-5130.Log")));
        OperationRecord r = sampleRecord();
        QString error;
        QCOMPARE(int(OperationFile::load(path, r, &error)), expected);
        // The settings in hand are kept, never half-read.
        QCOMPARE(r.sFunction, QStringLiteral("DC Voltage"));
        QCOMPARE(error.isEmpty(), expected == int(LoadResult::Missing));
    }
};

QTEST_GUILESS_MAIN(TestOperationRecord)
#include "tst_operationrecord.moc"
