// The snapshot key: the picture's name from the clock, the folder of the
// settings (or the program folder's "Working"), made when missing, and a clear
// message when it cannot be written.
#include "ReportKeys.h"
#include "ReportTestSupport.h"
#include "Snapshot.h"
#include "frmGraphicRecord.h"

#include <QDir>
#include <QFile>
#include <QImageReader>
#include <QtTest>
#include <qcustomplot.h>

using namespace kvx;
using namespace kvx::test;

class SnapshotTest : public QObject {
    Q_OBJECT
private slots:
    void nameFromTheClock_data();
    void nameFromTheClock();
    void savesAJpegInAFolderItMakes_data();
    void savesAJpegInAFolderItMakes();
    void unwritableFolderIsReported();
    void nothingToSaveWithoutAGraph();
};

void SnapshotTest::nameFromTheClock_data() {
    QTest::addColumn<QDateTime>("when");
    QTest::addColumn<QString>("name");
    QTest::newRow("morning") << QDateTime(QDate(2026, 1, 5), QTime(10, 0, 0)) << "20260105_100000.jpg";
    QTest::newRow("single digits") << QDateTime(QDate(2026, 2, 3), QTime(4, 5, 6)) << "20260203_040506.jpg";
    QTest::newRow("last second of the year")
        << QDateTime(QDate(2026, 12, 31), QTime(23, 59, 59, 999)) << "20261231_235959.jpg";
}

void SnapshotTest::nameFromTheClock() {
    QFETCH(QDateTime, when);
    QFETCH(QString, name);
    ReportFixture fx;
    fx.clock->set(when);
    frmGraphicRecord graph;
    QCOMPARE(QFileInfo(ReportKeys::saveSnapshot()).fileName(), name);
}

void SnapshotTest::savesAJpegInAFolderItMakes_data() {
    QTest::addColumn<QString>("setting");
    QTest::addColumn<QString>("folder");
    QTest::newRow("settings folder, two levels missing") << "shots/bench 4"
                                                         << "shots/bench 4";
    QTest::newRow("empty setting") << ""
                                   << "Working";
}

void SnapshotTest::savesAJpegInAFolderItMakes() {
    QFETCH(QString, setting);
    QFETCH(QString, folder);
    ReportFixture fx;
    // The setting comes padded with blanks, as the operation record keeps it.
    session().operation.snapshotFolder = fixedText(setting.isEmpty() ? setting : fx.path(setting), 255);
    frmGraphicRecord graph;
    graph.resize(500, 400);
    QVERIFY(recordStore().replaceTrace(makeSamples(30)));
    graph.ReDraw();

    const QString saved = ReportKeys::saveSnapshot();
    QCOMPARE(saved, fx.path(folder + QStringLiteral("/20260105_100000.jpg")));
    QImageReader reader(saved);
    QCOMPARE(reader.format(), QByteArray("jpeg"));
    QCOMPARE(reader.size(), graph.plotWidget()->size());
    QVERIFY(fx.messages->shown().empty());

    // A second snapshot in another second lands beside the first.
    fx.clock->advance(1);
    QVERIFY(ReportKeys::saveSnapshot().endsWith(QStringLiteral("20260105_100001.jpg")));
    QCOMPARE(QDir(fx.path(folder)).entryList(QDir::Files).size(), 2);
}

void SnapshotTest::unwritableFolderIsReported() {
    ReportFixture fx;
    // A folder below a plain file can be made by nobody, the super-user included.
    QFile blocker(fx.path(QStringLiteral("not-a-folder")));
    QVERIFY(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    const QString folder = fx.path(QStringLiteral("not-a-folder/shots"));
    session().operation.snapshotFolder = fixedText(folder, 255);
    frmGraphicRecord graph;

    QCOMPARE(ReportKeys::saveSnapshot(), QString());
    QCOMPARE(fx.messages->shown().size(), size_t(1));
    QCOMPARE(fx.messages->shown()[0].text,
             QStringLiteral("The snapshot cannot be saved: the folder \"%1\" cannot be written.\n"
                            "Choose another snapshot folder in the settings.")
                 .arg(folder));
    QCOMPARE(fx.messages->shown()[0].title, QStringLiteral("Save Trace as JPEG File"));
}

void SnapshotTest::nothingToSaveWithoutAGraph() {
    ReportFixture fx;
    QCOMPARE(ReportKeys::saveSnapshot(), QString());
    QCOMPARE(fx.messages->texts(), QStringList{QStringLiteral("There is no trend graph to save.")});
    QVERIFY(!QDir(fx.path(QStringLiteral("Working"))).exists());
}

QTEST_MAIN(SnapshotTest)
#include "tst_snapshot.moc"
