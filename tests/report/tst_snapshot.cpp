// The snapshot key: the picture's name from the clock, the folder of the
// settings (or the user's Pictures folder), made when missing, the status line
// naming it, and a clear message when it cannot be written.
#include "ReportKeys.h"
#include "ReportTestSupport.h"
#include "Snapshot.h"
#include "StatusReports.h"
#include "clsKVX5310.h"
#include "frmGraphicRecord.h"

#include <QtGui>
#include <QtTest>

using namespace kvx;
using namespace kvx::test;

class SnapshotTest : public QObject {
    Q_OBJECT
private slots:
    void savesAJpegInAFolderItMakes_data() {
        QTest::addColumn<QString>("setting");
        QTest::addColumn<QDateTime>("when");
        QTest::addColumn<QString>("saved");
        addRow("settings folder, two levels missing", "shots/bench 4",
               QDateTime(QDate(2026, 1, 5), QTime(10, 0)), "shots/bench 4/20260105_100000.jpg");
        addRow("empty setting, single digits", "", QDateTime(QDate(2026, 2, 3), QTime(4, 5, 6)),
               "Pictures/20260203_040506.jpg");
        addRow("last second of the year", "", QDateTime(QDate(2026, 12, 31), QTime(23, 59, 59, 999)),
               "Pictures/20261231_235959.jpg");
    }

    void savesAJpegInAFolderItMakes() {
        QFETCH(QString, setting);
        QFETCH(QDateTime, when);
        QFETCH(QString, saved);
        StoreFixture fx;
        fx.clock->set(when);
        useUserFolder("PICTURES", fx.path(QStringLiteral("Pictures")));
        statusReports().setEchoToStderr(false);
        // The setting comes padded with blanks, as the operation record keeps it.
        session().operation.snapshotFolder = fixedText(setting.isEmpty() ? setting : fx.path(setting), 255);
        frmGraphicRecord graph(driverUnits(), recordStore());
        graph.resize(500, 400);

        QCOMPARE(ReportKeys::saveSnapshot(), fx.path(saved));
        QImageReader reader(fx.path(saved));
        QCOMPARE(reader.format(), QByteArray("jpeg"));
        // Twice the plot's size at least, with a title band above and an axis band beside it.
        QVERIFY(reader.size().width() > 2 * graph.plotWidget()->width());
        QCOMPARE(reader.size().width() - 2 * graph.plotWidget()->width(),
                 reader.size().height() - 2 * graph.plotWidget()->height());
        QVERIFY(fx.messages->shown().empty());
        QCOMPARE(statusReports().last(), QStringLiteral("Snapshot saved as ") + fx.path(saved));
    }

    void refusalsAreReported() {
        StoreFixture fx;
        QCOMPARE(ReportKeys::saveSnapshot(), QString()); // no graph window
        QCOMPARE(fx.messages->texts(), QStringList{QStringLiteral("There is no trend graph to save.")});
        QVERIFY(!QDir(fx.path(QStringLiteral("Working"))).exists());

        // A folder below a plain file can be made by nobody, the super-user included.
        QVERIFY(writeFile(fx.path(QStringLiteral("not-a-folder"))));
        const QString folder = fx.path(QStringLiteral("not-a-folder/shots"));
        session().operation.snapshotFolder = fixedText(folder, 255);
        frmGraphicRecord graph(driverUnits(), recordStore());
        fx.messages->clear();
        QCOMPARE(ReportKeys::saveSnapshot(), QString());
        QCOMPARE(fx.messages->shown().size(), size_t(1));
        QCOMPARE(fx.messages->shown()[0].text,
                 QStringLiteral("The snapshot cannot be saved: the folder \"%1\" cannot be written.\n"
                                "Choose another snapshot folder in the settings.")
                     .arg(folder));
        QCOMPARE(fx.messages->shown()[0].title, QStringLiteral("Save Trace as JPEG File"));
    }
};

QTEST_MAIN(SnapshotTest)
#include "tst_snapshot.moc"
