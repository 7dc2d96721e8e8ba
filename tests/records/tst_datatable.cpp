// The data table window against a real database: which readings become samples
// and why, the time columns, the filter list, comments, and a locked database.

#include "RecordsTestSupport.h"
#include "ValueRules.h"
#include "clsKVX5310.h"
#include "frmDataTable.h"

#include <QComboBox>
#include <QFrame>
#include <QHeaderView>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QTableView>
#include <QTest>

using namespace kvx;
using namespace kvx::test;

namespace {

struct Table {
    StoreFixture store;
    FakeStatePanel state;
    frmDataTable window;
    double clockValue = 36000.0; // 10:00:00, as the manual clock starts

    Table() { window.ClearData(); }
    // One reading handed over by the polling cycle, `seconds` after the previous one.
    bool feed(double value, double seconds = 1.0) {
        clockValue += seconds;
        session().lastReadingTime = clockValue;
        const int before = window.rowCount();
        window.setValuePrimary(value);
        window.setValueSecond(0.0);
        window.AppendData();
        return window.rowCount() > before;
    }
    QStringList stored(const QString& columnName) const {
        return column(store.databasePath(), "select " + columnName + " from datatemp order by SeqNo");
    }
    QTableView* grid() const { return window.findChild<QTableView*>("grdHelQuest"); }
    QComboBox* filter() const { return window.findChild<QComboBox*>("CmbSample"); }
    void clickComment(int row) {
        QTableView* view = grid();
        const QModelIndex cell = view->model()->index(row, TraceTableModel::CommentColumn);
        view->scrollTo(cell);
        QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, view->visualRect(cell).center());
    }
};

} // namespace

class TestDataTable : public QObject {
    Q_OBJECT

private slots:
    void init() { driver().setUnitPrimary("Voltage"); }

    void reasonCodes_data();
    void reasonCodes();
    void liveAndRebuiltReasonTexts();
    void blankOrZeroIntervalStoresEveryReading_data();
    void blankOrZeroIntervalStoresEveryReading();
    void timeColumns();
    void midnightMovesTheDateOn();
    void readingTexts();
    void clearEmptiesEverything();
    void percentFilterShowsAllRows_data();
    void percentFilterShowsAllRows();
    void commentEditCoversSamplesOfTheSameSecond();
    void commentWithQuoteFailsAndKeepsTheTrace();
    void rowSelectionColours();
    void resizeRule();
    void lockedDatabaseIsReportedOnce();
    void lastTraceIsShownAfterRestart();
};

void TestDataTable::reasonCodes_data() {
    QTest::addColumn<QString>("interval");
    QTest::addColumn<QString>("holdWord");
    QTest::addColumn<QString>("maxText");
    QTest::addColumn<QString>("minText");
    QTest::addColumn<QList<double>>("readings");
    QTest::addColumn<QString>("expected"); // reason code per reading, '-' when nothing is stored

    QTest::newRow("every reading with N=1, limits or not") << "1"
                                                           << "HOLD"
                                                           << "10"
                                                           << "-10" << QList<double>{1, 50, -50, 0} << "0000";
    QTest::newRow("every fifth with N=5")
        << "5"
        << ""
        << ""
        << "" << QList<double>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11} << "0----0----0";
    QTest::newRow("over MAX beats below MIN") << "5"
                                              << ""
                                              << "10"
                                              << "20" << QList<double>{0, 15, 11, 10} << "0112";
    QTest::newRow("below MIN") << "5"
                               << ""
                               << ""
                               << "-1" << QList<double>{0, -2, -1, 5} << "02--";
    QTest::newRow("blank limit texts are no limits") << "5"
                                                     << ""
                                                     << "  "
                                                     << " " << QList<double>{0, 99, -99} << "0--";
    QTest::newRow("limit beats HOLD") << "5"
                                      << "HOLD"
                                      << "10"
                                      << "" << QList<double>{20, 11, 5} << "013";
    QTest::newRow("HOLD: below the held reading only")
        << "10"
        << "HOLD"
        << ""
        << "" << QList<double>{10, 9, 9.5, 8, 8, 7} << "03-3-3";
    QTest::newRow("AUTOHOLD: equal skipped, below by percent, above nothing")
        << "10"
        << "AUTOHOLD"
        << ""
        << "" << QList<double>{10, 10, 11, 9, 9, 8} << "0--4-4";
    QList<double> longHold{10};
    for (int i = 0; i < 201; ++i)
        longHold << 11;
    QTest::newRow("AUTOHOLD: past 200 readings since the last sample")
        << "300"
        << "AUTOHOLD"
        << ""
        << "" << longHold << "0" + QString(200, '-') + "3";
    QTest::newRow("another math word matches nothing") << "5"
                                                       << "REL"
                                                       << ""
                                                       << "" << QList<double>{10, 1, 100} << "0--";
}

void TestDataTable::reasonCodes() {
    QFETCH(QString, interval);
    QFETCH(QString, holdWord);
    QFETCH(QString, maxText);
    QFETCH(QString, minText);
    QFETCH(QList<double>, readings);
    QFETCH(QString, expected);

    Table t;
    t.state.holdWord = holdWord;
    t.state.maxText = maxText;
    t.state.minText = minText;
    t.window.setField(RecordField::TimerSample, interval);

    QList<bool> storedFlags;
    for (double reading : readings)
        storedFlags << t.feed(reading);
    QStringList codes = t.stored("Reason");
    QString outcome;
    for (bool stored : storedFlags)
        outcome += stored ? codes.takeFirst() : QStringLiteral("-");
    QCOMPARE(outcome, expected);
    QCOMPARE(t.stored("SeqNo").size(), t.window.rowCount());
}

void TestDataTable::liveAndRebuiltReasonTexts() {
    Table t;
    t.state.holdWord = "AUTOHOLD";
    t.state.maxText = "160";
    t.window.setField(RecordField::TimerSample, "10");
    for (double reading : {10.0, 200.0, 150.0})
        t.feed(reading);
    QStringList live;
    for (int row = 0; row < 3; ++row)
        live << t.window.model().text(row, TraceTableModel::ReasonColumn);
    QCOMPARE(live, QStringList({"Time", "Over MAX", "Match condition:%"}));

    t.window.refreshRows();
    QCOMPARE(t.window.model().text(2, TraceTableModel::ReasonColumn), QString());
    QCOMPARE(t.window.model().text(1, TraceTableModel::ReasonColumn), QString("Over MAX"));
}

void TestDataTable::blankOrZeroIntervalStoresEveryReading_data() {
    QTest::addColumn<QString>("interval");
    QTest::newRow("blank") << "";
    QTest::newRow("zero") << "0";
    QTest::newRow("not a number") << "abc";
    QTest::newRow("negative") << "-3";
}

void TestDataTable::blankOrZeroIntervalStoresEveryReading() {
    QFETCH(QString, interval);
    Table t;
    t.window.setField(RecordField::TimerSample, interval);
    for (int i = 0; i < 4; ++i)
        QVERIFY(t.feed(i));
    QCOMPARE(t.stored("Reason"), QStringList({"0", "0", "0", "0"}));
}

void TestDataTable::timeColumns() {
    Table t;
    t.feed(1, 0.0);
    t.feed(2, 1.0);
    t.feed(3, 2.6);
    t.feed(4, 0.3);
    QCOMPARE(t.stored("RecTime"), QStringList({"2026/01/05 10:00:00", "2026/01/05 10:00:01",
                                               "2026/01/05 10:00:04", "2026/01/05 10:00:04"}));
    QCOMPARE(t.stored("TimeTick"), QStringList({"0", "1", "4", "4"}));
    QCOMPARE(t.stored("DiffLastTime"), QStringList({"0", "1", "3", "0"}));
    QCOMPARE(t.window.diffLastTime(2), 3.0);
    QCOMPARE(t.window.GetDate(2), QString("2026/01/05 10:00:04"));
}

void TestDataTable::midnightMovesTheDateOn() {
    Table t;
    t.store.clock->set(QDateTime(QDate(2026, 1, 5), QTime(23, 59, 58)));
    t.clockValue = 86397.0;
    t.feed(1); // 23:59:58
    t.feed(2); // 23:59:59
    t.clockValue = 0.0;
    t.feed(3); // 00:00:01 the next day
    t.feed(4); // 00:00:02
    QCOMPARE(t.stored("RecTime"), QStringList({"2026/01/05 23:59:58", "2026/01/05 23:59:59",
                                               "2026/01/06 00:00:01", "2026/01/06 00:00:02"}));
    // The gap across midnight is the clock difference as it is, a day short.
    QCOMPARE(t.stored("DiffLastTime"), QStringList({"0", "1", "-86398", "1"}));
}

void TestDataTable::readingTexts() {
    Table t;
    driver().setUnitSecond("Frequence");
    session().lastReadingTime = 100.0;
    t.window.setValuePrimary(-1.25);
    t.window.setValueSecond(50);
    t.window.AppendData();
    driver().setUnitSecond("");
    QCOMPARE(t.window.GetValuePrimary(0), QString("-1.25 V"));
    QCOMPARE(t.window.GetValueSecond(0), QString("50 kHz"));
    QCOMPARE(t.stored("PVal"), QStringList({"-1.25 V"}));
    QCOMPARE(t.stored("SVal"), QStringList({"50 kHz"}));
    QCOMPARE(t.stored("Comment"), QStringList({""}));
}

void TestDataTable::clearEmptiesEverything() {
    Table t;
    for (int i = 0; i < 3; ++i)
        t.feed(i);
    t.window.setField(RecordField::Recno, "4");
    t.window.setField(RecordField::DataDesc, "bench run");
    t.window.setField(RecordField::StartTime, "2026/01/05 10:00:00");
    t.filter()->setCurrentIndex(2);

    t.window.ClearData();
    QCOMPARE(t.window.rowCount(), 0);
    QCOMPARE(t.grid()->model()->rowCount(), 0);
    QCOMPARE(t.stored("SeqNo"), QStringList());
    for (int row : {-1, 0, 1})
        QVERIFY(t.window.GetDate(row).isEmpty() && t.window.GetValuePrimary(row).isEmpty() &&
                t.window.GetValueSecond(row).isEmpty());
    QCOMPARE(t.window.field(RecordField::Recno), QString());
    QCOMPARE(t.window.field(RecordField::DataDesc), QString());
    QCOMPARE(t.window.field(RecordField::StartTime), QString());
    QCOMPARE(t.window.field(RecordField::PUnit), QString("V"));
    QCOMPARE(t.filter()->currentIndex(), 0);
    QCOMPARE(t.grid()->model()->headerData(2, Qt::Horizontal).toString(), QString("primary reading [ V ]"));

    // A cleared trace starts its times again from the next reading.
    t.feed(7, 30);
    QCOMPARE(t.stored("SeqNo"), QStringList({"0"}));
    QCOMPARE(t.stored("TimeTick"), QStringList({"0"}));
}

void TestDataTable::percentFilterShowsAllRows_data() {
    QTest::addColumn<int>("filterIndex");
    QTest::addColumn<QStringList>("shownSeqNos");
    QTest::newRow("Total") << 0 << QStringList{"0", "1", "2", "3", "4"};
    QTest::newRow("Time") << 1 << QStringList{"0"};
    QTest::newRow("Over MAX") << 2 << QStringList{"1"};
    QTest::newRow("Below MIN") << 3 << QStringList{"2"};
    QTest::newRow("Match condition: Level") << 4 << QStringList{"3"};
    QTest::newRow("Match condition: Percent") << 5 << QStringList{"0", "1", "2", "3", "4"};
}

void TestDataTable::percentFilterShowsAllRows() {
    QFETCH(int, filterIndex);
    QFETCH(QStringList, shownSeqNos);
    Table t;
    const char* codes[] = {"0", "1", "2", "3", "4"};
    for (int seqNo = 0; seqNo < 5; ++seqNo)
        QVERIFY(
            recordStore().insertSample(seqNo, QString::number(seqNo), "1 V", "0 ", codes[seqNo], seqNo, 1));

    t.filter()->setCurrentIndex(filterIndex);
    if (filterIndex == 0)
        t.window.refreshRows();
    QStringList shown;
    for (int row = 0; row < t.grid()->model()->rowCount(); ++row)
        shown << t.grid()->model()->index(row, 0).data().toString();
    QCOMPARE(shown, shownSeqNos);
}

void TestDataTable::commentEditCoversSamplesOfTheSameSecond() {
    Table t;
    t.feed(1, 0.0);
    t.feed(2, 0.4); // same second as the first
    t.feed(3, 1.0);
    QCOMPARE(t.window.GetDate(0), t.window.GetDate(1));

    auto* panel = t.window.findChild<QFrame*>("pnlDataComment");
    t.window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&t.window));
    t.clickComment(1);
    QVERIFY(panel->isVisible());
    t.window.findChild<QLineEdit*>("txtDataComment")->setText("spike");
    QTest::mouseClick(t.window.findChild<QPushButton*>("cmdProcOK"), Qt::LeftButton);

    QVERIFY(!panel->isVisible());
    QCOMPARE(t.stored("Comment"), QStringList({"spike", "spike", ""}));
    QCOMPARE(t.window.model().text(0, TraceTableModel::CommentColumn), QString("spike"));

    // Cancel writes nothing.
    t.clickComment(2);
    t.window.findChild<QLineEdit*>("txtDataComment")->setText("ignored");
    QTest::mouseClick(t.window.findChild<QPushButton*>("cmdProcCancel"), Qt::LeftButton);
    QVERIFY(!panel->isVisible());
    QCOMPARE(t.stored("Comment").last(), QString());
}

void TestDataTable::commentWithQuoteFailsAndKeepsTheTrace() {
    Table t;
    for (int i = 0; i < 3; ++i)
        t.feed(i);
    t.window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&t.window));
    t.clickComment(0);
    t.window.findChild<QLineEdit*>("txtDataComment")->setText("it's high");
    QTest::mouseClick(t.window.findChild<QPushButton*>("cmdProcOK"), Qt::LeftButton);

    QCOMPARE(t.store.messages->shown().size(), size_t(1));
    QVERIFY(t.window.findChild<QFrame*>("pnlDataComment")->isVisible());
    QCOMPARE(t.stored("Comment"), QStringList({"", "", ""}));
    QCOMPARE(t.window.model().text(0, TraceTableModel::CommentColumn), QString());
    QCOMPARE(t.window.rowCount(), 3);
}

void TestDataTable::rowSelectionColours() {
    Table t;
    for (int i = 0; i < 3; ++i)
        t.feed(i);
    const QAbstractItemModel* model = t.grid()->model();
    auto background = [model](int row) {
        return model->index(row, 4).data(Qt::BackgroundRole).value<QColor>();
    };
    auto text = [model](int row) { return model->index(row, 4).data(Qt::ForegroundRole).value<QColor>(); };

    t.window.RowSelected(1);
    t.window.RowSelected(2);
    QCOMPARE(t.window.selectedRow(), 2);
    QCOMPARE(background(2), QColor(255, 192, 255));
    QCOMPARE(text(2), QColor(Qt::black));
    QCOMPARE(background(1), QColor(255, 255, 192));
    QCOMPARE(text(1), QColor(0, 0, 255));
    t.window.RowSelected(3); // not a row: nothing changes
    QCOMPARE(t.window.selectedRow(), 2);
}

void TestDataTable::resizeRule() {
    Table t;
    t.window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&t.window));
    t.window.resize(700, 500);
    QCOMPARE(t.grid()->height(), 500 - 80);
    QCOMPARE(t.grid()->width(), 700 - 17);
    QCOMPARE(t.window.visibleRows(), t.grid()->height() / t.grid()->verticalHeader()->defaultSectionSize());

    // Past the visible rows, the newest row stays in view.
    for (int i = 0; i < t.window.visibleRows() + 20; ++i)
        t.feed(i);
    const QModelIndex newest = t.grid()->model()->index(t.window.rowCount() - 1, 0);
    QTRY_VERIFY(t.grid()->viewport()->rect().contains(t.grid()->visualRect(newest)));
}

void TestDataTable::lockedDatabaseIsReportedOnce() {
    Table t;
    t.feed(1);
    QSqlDatabase other = QSqlDatabase::addDatabase("QSQLITE", "other-program");
    other.setDatabaseName(t.store.databasePath());
    QVERIFY(other.open());
    QVERIFY(QSqlQuery(other).exec("begin immediate"));

    for (int i = 0; i < 3; ++i)
        QVERIFY(!t.feed(2));
    QCOMPARE(t.store.messages->shown().size(), size_t(1));
    QVERIFY(t.store.messages->texts().first().contains(t.store.databasePath()));

    QVERIFY(QSqlQuery(other).exec("rollback"));
    other.close();
    other = QSqlDatabase();
    QSqlDatabase::removeDatabase("other-program");

    QVERIFY(t.feed(3));
    QCOMPARE(t.stored("SeqNo"), QStringList({"0", "1"}));
    // The gap runs from the last sample that was stored.
    QCOMPARE(t.stored("DiffLastTime"), QStringList({"0", "4"}));
    QCOMPARE(t.store.messages->shown().size(), size_t(1));
}

void TestDataTable::lastTraceIsShownAfterRestart() {
    StoreFixture store;
    QVERIFY(recordStore().insertSample(0, "2026/01/05 10:00:00", "1 V", "0 ", "0", 0, 0));
    QVERIFY(recordStore().insertSample(1, "2026/01/05 10:00:01", "2 V", "0 ", "3", 1, 1));
    frmDataTable window;
    QCOMPARE(window.rowCount(), 2);
    QCOMPARE(window.GetValuePrimary(1), QString("2 V"));
    QCOMPARE(window.model().text(1, TraceTableModel::ReasonColumn), QString("Match condition"));
    QCOMPARE(window.field(RecordField::TimerSample), QString("1"));
    QCOMPARE(window.windowTitle(), QString("Data Table"));
    QCOMPARE(forms().dataTable, static_cast<DataTable*>(&window));
}

QTEST_MAIN(TestDataTable)
#include "tst_datatable.moc"
