// What the panel reads and writes: the operation file and the link it names,
// the --link override, File Save/Load under a chosen name, and the record keys
// on the record database.

#include "PanelFixture.h"

#include "OperationRecord.h"
#include "RecordStore.h"

#include <QFile>
#include <QListWidget>
#include <QTabWidget>
#include <QTableWidget>
#include <QtTest>

using namespace paneltest;

namespace {

QString operationPath() {
    return kvx::session().pathInFolder(kvx::kOperationFile);
}

void writeOperationFile(const kvx::OperationRecord& record) {
    QVERIFY(kvx::OperationFile::save(operationPath(), record));
}

} // namespace

class PanelFilesTest : public QObject {
    Q_OBJECT

private slots:
    void loadAppliesTheRecordsLink_data();
    void loadAppliesTheRecordsLink();
    void linkOverrideReplacesTheRecordsLink_data();
    void linkOverrideReplacesTheRecordsLink();
    void damagedOperationFileKeepsSettingsAndSaysSo();
    void firstRunTracesUntilStopped();
    void fileSaveAndLoadUnderAChosenName();
    void recordKeysListAndLoadRecords();
};

void PanelFilesTest::loadAppliesTheRecordsLink_data() {
    QTest::addColumn<QString>("serialFlag");
    QTest::addColumn<QString>("gpibFlag");
    QTest::addColumn<QString>("lanFlag");
    QTest::addColumn<QString>("method");
    QTest::addColumn<QString>("backend");
    QTest::newRow("serial") << "1"
                            << " "
                            << ""
                            << "RS232"
                            << "prologix:/nonexistent/tty";
    QTest::newRow("serial flag other than 1") << "0"
                                              << ""
                                              << ""
                                              << "GPIB"
                                              << "prologix:/nonexistent/tty";
    QTest::newRow("GPIB flag decides") << "1"
                                       << "1"
                                       << ""
                                       << "GPIB"
                                       << "prologix:/nonexistent/tty";
    QTest::newRow("GPIB flag 0 means serial") << "0"
                                              << "0"
                                              << ""
                                              << "RS232"
                                              << "prologix:/nonexistent/tty";
    QTest::newRow("no flags, no link") << ""
                                       << ""
                                       << ""
                                       << ""
                                       << "prologix:/nonexistent/tty";
    QTest::newRow("LAN under GPIB") << "0"
                                    << "1"
                                    << "1"
                                    << "GPIB"
                                    << "tcp:127.0.0.1:1";
    QTest::newRow("LAN kept while serial chosen") << "1"
                                                  << "0"
                                                  << "1"
                                                  << "RS232"
                                                  << "tcp:127.0.0.1:1";
}

void PanelFilesTest::loadAppliesTheRecordsLink() {
    QFETCH(QString, serialFlag);
    QFETCH(QString, gpibFlag);
    QFETCH(QString, lanFlag);
    QFETCH(QString, method);
    QFETCH(QString, backend);
    PanelFixture f;
    kvx::OperationRecord record;
    record.comPort = 2;
    record.baudRate = 19200;
    record.gpibAddress = 9;
    record.samplingInterval = QStringLiteral("5");
    record.serialFlag = serialFlag;
    record.gpibFlag = gpibFlag;
    record.serialDevice = f.folder.filePath(QStringLiteral("no-such-tty"));
    record.gpibBackend = QStringLiteral("prologix:/nonexistent/tty");
    record.lanFlag = lanFlag;
    record.lanAddress = QStringLiteral("127.0.0.1:1");
    writeOperationFile(record);

    f.panel->load();
    kvx::clsKVX5310& meter = kvx::driver();
    QCOMPARE(meter.ConnectMethod(), method);
    QCOMPARE(meter.CWSerial1().devicePath(), record.serialDevice);
    QCOMPARE(meter.CWSerial1().baudRate(), 19200);
    QCOMPARE(meter.CWGPIB1().primaryAddress(), qint16(9));
    QCOMPARE(meter.CWGPIB1().backend(), backend);
    // Nothing answers at any of these: the mark says so although SESR_PON is always True.
    QCOMPARE(f.views.state.conn, QStringLiteral("DEAD"));
    QCOMPARE(f.views.state.interval, QStringLiteral("5"));
    QCOMPARE(f.views.table.field(kvx::RecordField::TimerSample), QStringLiteral("5"));
}

void PanelFilesTest::linkOverrideReplacesTheRecordsLink_data() {
    QTest::addColumn<QString>("linkText");
    QTest::addColumn<QString>("method");
    QTest::addColumn<int>("baud");
    QTest::addColumn<int>("messages");
    QTest::newRow("serial with rate") << "serial:/nonexistent/ttyUSB3@38400"
                                      << "RS232" << 38400 << 0;
    QTest::newRow("raw socket") << "tcp:127.0.0.1:1"
                                << "GPIB" << 9600 << 0;
    QTest::newRow("unreadable: record's link, and a message") << "bogus"
                                                              << "GPIB" << 9600 << 1;
}

void PanelFilesTest::linkOverrideReplacesTheRecordsLink() {
    QFETCH(QString, linkText);
    QFETCH(QString, method);
    QFETCH(int, baud);
    QFETCH(int, messages);
    PanelFixture f;
    kvx::session().operation.gpibFlag = QStringLiteral("1");
    kvx::session().operation.gpibBackend = QStringLiteral("prologix:/nonexistent/tty");
    kvx::session().linkOverride = linkText;
    f.panel->RestoreSetting();
    QCOMPARE(kvx::driver().ConnectMethod(), method);
    QCOMPARE(kvx::driver().CWSerial1().baudRate(), baud);
    QCOMPARE(int(f.messages->shown().size()), messages);
}

void PanelFilesTest::damagedOperationFileKeepsSettingsAndSaysSo() {
    PanelFixture f;
    QFile file(operationPath());
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(QByteArray(100, 'x'));
    file.close();
    kvx::session().operation.totalTime = QStringLiteral("7");
    f.panel->load();
    QCOMPARE(f.messages->shown().size(), size_t(1));
    QVERIFY(f.messages->shown().front().text.contains(operationPath()));
    QCOMPARE(kvx::session().operation.totalTime, QStringLiteral("7"));
}

void PanelFilesTest::firstRunTracesUntilStopped() {
    PanelFixture f;
    kvx::session().operation.totalTime.clear();
    f.panel->load();
    QCOMPARE(kvx::session().operation.totalTime, QStringLiteral("Continuous"));
    QVERIFY(f.messages->shown().empty());
}

void PanelFilesTest::fileSaveAndLoadUnderAChosenName() {
    PanelFixture f;
    f.connectFakeMeter();
    const QString chosen = f.folder.filePath(QStringLiteral("bench-3.Log"));
    kvx::session().operation.samplingInterval = QStringLiteral("3");
    kvx::session().operation.totalTime = QStringLiteral("90");
    QVERIFY(f.panel->saveOperationTo(chosen));
    QVERIFY(!QFile::exists(operationPath()));

    kvx::session().operation.samplingInterval = QStringLiteral("8");
    kvx::session().operation.totalTime = QStringLiteral("Continuous");
    f.views.state.interval.clear();
    QVERIFY(f.panel->loadOperationFromPath(chosen));
    QCOMPARE(kvx::session().operation.samplingInterval.trimmed(), QStringLiteral("3"));
    QCOMPARE(kvx::session().operation.totalTime.trimmed(), QStringLiteral("90"));
    // The loaded settings were applied at once.
    QCOMPARE(f.views.state.interval, QStringLiteral("3"));
    QCOMPARE(kvx::driver().ConnectMethod(), QStringLiteral("RS232"));

    QVERIFY(!f.panel->loadOperationFromPath(f.folder.filePath(QStringLiteral("missing.Log"))));
    QVERIFY(f.messages->shown().empty());
}

void PanelFilesTest::recordKeysListAndLoadRecords() {
    PanelFixture f;
    kvx::RecordStore& store = kvx::recordStore();
    QVERIFY(store.open(f.folder.filePath(kvx::kDatabaseFile)));
    QVERIFY(store.insertSample(1, "2026/01/05 10:00:00", "1.5 V", "", "0", 0, 0));
    QVERIFY(store.insertHeader(
        {"3", "2026/01/05 10:00:00", "2026/01/05 10:05:00", "triggered run", "V", "", "1"}));
    QVERIFY(store.copyTraceToRecord("3"));
    QVERIFY(store.insertHeader({"12", "2026/01/06 09:00:00", "2026/01/06 09:30:00", "long", "V", "", "0"}));

    f.panel->resize(273, 228);
    f.panel->show();
    QVERIFY(QTest::qWaitForWindowExposed(f.panel.get()));
    f.panel->findChild<QTabWidget*>()->setCurrentIndex(1);
    auto* list = f.panel->findChild<QListWidget*>("List1");
    auto* grid = f.panel->findChild<QTableWidget*>("grdRecList");
    QVERIFY(!list->isVisible() && !grid->isVisible());

    f.key("cmdLoadRecord")->click();
    QVERIFY(list->isVisible() && grid->isVisible());
    QCOMPARE(list->count(), 2);
    QVERIFY(list->item(0)->text().startsWith(QStringLiteral("12    ")));
    QCOMPARE(grid->rowCount(), 2);
    QCOMPARE(grid->horizontalHeaderItem(0)->text(), QStringLiteral("編號"));
    QCOMPARE(grid->horizontalHeaderItem(3)->text(), QStringLiteral("註  解"));
    QCOMPARE(grid->item(1, 3)->text(), QStringLiteral("triggered run"));

    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->visualItemRect(list->item(1)).center());
    QCOMPARE(f.views.table.field(kvx::RecordField::Recno), QStringLiteral("3"));
    QVERIFY(!f.panel->continuousStyleSelected());
    QVERIFY(!list->isVisible());

    QTest::mouseClick(grid->viewport(), Qt::LeftButton, {}, grid->visualItemRect(grid->item(0, 0)).center());
    QCOMPARE(f.views.table.field(kvx::RecordField::Recno), QStringLiteral("12"));
    QVERIFY(f.panel->continuousStyleSelected());
    QVERIFY(!grid->isVisible());
    store.close();
}

QTEST_MAIN(PanelFilesTest)
#include "tst_panelfiles.moc"
