// The data table window against a real database: which readings become samples
// and why, the time columns, the filter list, comments, and a locked database.

#include "FramePace.h"
#include "StatusReports.h"
#include "TableBench.h"
#include "clsKVX5310.h"

#include <QtTest>
#include <QtWidgets>

using namespace kvx;
using namespace kvx::test;

namespace {

struct Table : TableBench {
    QStringList stored(const QString& columnName) const {
        return db("select " + columnName + " from datatemp order by SeqNo");
    }
    QTableView* grid() const { return table.findChild<QTableView*>("grdHelQuest"); }
    QComboBox* filter() const { return table.findChild<QComboBox*>("CmbSample"); }
    QFrame* commentPanel() const { return table.findChild<QFrame*>("pnlDataComment"); }
    void editComment(int row, const QString& text, const char* button) {
        const QModelIndex cell = grid()->model()->index(row, TraceTableModel::CommentColumn);
        grid()->scrollTo(cell);
        QTest::mouseClick(grid()->viewport(), Qt::LeftButton, {}, grid()->visualRect(cell).center());
        QVERIFY(commentPanel()->isVisible());
        table.findChild<QLineEdit*>("txtDataComment")->clear();
        QTest::keyClicks(table.findChild<QLineEdit*>("txtDataComment"), text);
        QTest::mouseClick(table.findChild<QPushButton*>(button), Qt::LeftButton);
    }
};

} // namespace

class TestDataTable : public QObject {
    Q_OBJECT

private slots:
    void init() { driver().setUnitPrimary("Voltage"); }

    void reasonCodes_data() {
        QTest::addColumn<QString>("interval");
        QTest::addColumn<QString>("holdWord");
        QTest::addColumn<QString>("maxText");
        QTest::addColumn<QString>("minText");
        QTest::addColumn<QString>("readings");
        QTest::addColumn<QString>("expected"); // reason code per reading, '-' when nothing is stored
        addRow("N=1: every reading, limits or not", "1", "HOLD", "10", "-10", "1 50 -50 0", "0000");
        addRow("N=5: every fifth", "5", "", "", "", "1 2 3 4 5 6 7 8 9 10 11", "0----0----0");
        addRow("blank interval stores every reading", "", "", "", "", "1 2 3", "000");
        addRow("negative interval", "-3", "", "", "", "1 2 3", "000");
        addRow("over MAX beats below MIN", "5", "", "10", "20", "0 15 11 10", "0112");
        addRow("below MIN", "5", "", "", "-1", "0 -2 -1 5", "02--");
        addRow("blank limit texts are no limits", "5", "", "  ", " ", "0 99 -99", "0--");
        addRow("limit beats HOLD", "5", "HOLD", "10", "", "20 11 5", "013");
        addRow("HOLD: below the held reading only", "10", "HOLD", "", "", "10 9 9.5 8 8 7", "03-3-3");
        addRow("AUTOHOLD: equal skipped, below by percent", "10", "AUTOHOLD", "", "", "10 10 11 9 9 8",
               "0--4-4");
        addRow("AUTOHOLD: past 200 readings", "300", "AUTOHOLD", "", "", "10" + QString(" 11").repeated(201),
               "0" + QString(200, '-') + "3");
        addRow("AUTOHOLD: equal readings are not counted", "300", "AUTOHOLD", "", "",
               "10" + QString(" 10").repeated(201), "0" + QString(201, '-'));
        addRow("another math word matches nothing", "5", "REL", "", "", "10 1 100", "0--");
    }

    void reasonCodes() {
        QFETCH(QString, interval);
        QFETCH(QString, holdWord);
        QFETCH(QString, maxText);
        QFETCH(QString, minText);
        QFETCH(QString, readings);
        Table t;
        t.state.math = holdWord;
        t.state.limitMax = maxText;
        t.state.limitMin = minText;
        t.table.setField(RecordField::TimerSample, interval);

        QString outcome;
        for (const QString& reading : readings.split(' '))
            outcome += t.feed(reading.toDouble()) ? "+" : "-";
        QStringList codes = t.stored("Reason");
        for (int i = 0; i < outcome.size(); ++i)
            if (outcome[i] == '+')
                outcome[i] = codes.takeFirst().at(0);
        QTEST(outcome, "expected");
        QVERIFY(codes.isEmpty());
    }

    void timeColumns_data() {
        QTest::addColumn<QDateTime>("clockStart");
        QTest::addColumn<QList<double>>("readingTimes"); // seconds since midnight
        QTest::addColumn<QString>("recTimes");
        QTest::addColumn<QString>("ticks");
        QTest::addColumn<QString>("gaps");
        const QDate day(2026, 1, 5);
        addRow("whole seconds", QDateTime(day, QTime(10, 0)), QList<double>{36000, 36001, 36003.6, 36003.9},
               "2026/01/05 10:00:00,2026/01/05 10:00:01,2026/01/05 10:00:04,2026/01/05 10:00:04", "0,1,4,4",
               "0,1,3,0");
        addRow("gaps add up unrounded", QDateTime(day, QTime(10, 0)),
               QList<double>{36000, 36000.4, 36000.8, 36001.2},
               "2026/01/05 10:00:00,2026/01/05 10:00:00,2026/01/05 10:00:01,2026/01/05 10:00:01", "0,0,1,1",
               "0,0,0,0");
        addRow("two readings at one clock value stay on their day", QDateTime(day, QTime(10, 0)),
               QList<double>{36000, 36000, 36001, 36001},
               "2026/01/05 10:00:00,2026/01/05 10:00:00,2026/01/05 10:00:01,2026/01/05 10:00:01", "0,0,1,1",
               "0,0,1,0");
        // The clock starts again at midnight; the gap, the tick count and the date go on.
        addRow("midnight moves the date on", QDateTime(day, QTime(23, 59, 58)),
               QList<double>{86398, 86399, 1, 2},
               "2026/01/05 23:59:58,2026/01/05 23:59:59,2026/01/06 00:00:01,2026/01/06 00:00:02", "0,1,3,4",
               "0,1,2,1");
        addRow("two midnights, one reading at 00:00:00", QDateTime(day, QTime(23, 59, 58)),
               QList<double>{86398, 43200, 86399, 0, 86399},
               "2026/01/05 23:59:58,2026/01/06 12:00:00,2026/01/06 23:59:59,2026/01/07 00:00:00,"
               "2026/01/07 23:59:59",
               "0,43202,86401,86402,172801", "0,43202,43199,1,86399");
        // The wall clock jumps from 02:00 to 03:00; the times follow it, not the hour of real time.
        const QTimeZone berlin("Europe/Berlin");
        addRow("spring daylight saving", QDateTime(QDate(2026, 3, 29), QTime(1, 59, 58), berlin),
               QList<double>{7198, 7199, 10800, 10801},
               "2026/03/29 01:59:58,2026/03/29 01:59:59,2026/03/29 03:00:00,2026/03/29 03:00:01",
               "0,1,3602,3603", "0,1,3601,1");
    }

    void timeColumns() {
        QFETCH(QDateTime, clockStart);
        QFETCH(QList<double>, readingTimes);
        QFETCH(QString, recTimes);
        QVERIFY2(clockStart.isValid(), "the time zone data (tzdata) is missing");
        Table t;
        t.store.clock->set(clockStart);
        for (double when : readingTimes)
            t.feed(1, when - t.clockValue);
        QCOMPARE(t.stored("RecTime").join(','), recTimes);
        QTEST(t.stored("TimeTick").join(','), "ticks");
        QTEST(t.stored("DiffLastTime").join(','), "gaps");
        QCOMPARE(t.table.GetDate(3), recTimes.section(',', 3, 3));
    }

    void readingTextsAndTheTraceAfterARestart() {
        Table t;
        driver().setUnitSecond("Frequence");
        t.state.math = "AUTOHOLD";
        t.state.limitMax = "160";
        t.table.setField(RecordField::TimerSample, "10");
        for (double reading : {-1.25, 200.0, 150.0})
            t.feed(reading);
        driver().setUnitSecond("");
        QCOMPARE(t.table.GetValuePrimary(0) + "|" + t.table.GetValueSecond(0), QString("-1.25 V|0 kHz"));
        QCOMPARE(t.stored("PVal || '|' || SVal || '|' || Comment").first(), QString("-1.25 V|0 kHz|"));
        const auto reasons = [](const frmDataTable& w) {
            QStringList texts;
            for (int row = 0; row < w.rowCount(); ++row)
                texts << w.model().text(row, TraceTableModel::ReasonColumn);
            return texts;
        };
        QCOMPARE(reasons(t.table), QStringList({"Time", "Over MAX", "Match condition:%"}));

        // A fresh start shows the stored trace; the rebuilt rows know the percent match by no name.
        frmDataTable restarted(driverUnits(), recordStore());
        QCOMPARE(reasons(restarted), QStringList({"Time", "Over MAX", ""}));
        QCOMPARE(restarted.GetValuePrimary(1), QString("200 V"));
        QCOMPARE(restarted.field(RecordField::TimerSample), QString("1"));
        QCOMPARE(forms().dataTable, static_cast<DataTable*>(&restarted));
    }

    // A long trace fills in after the window is shown; a sample taken meanwhile is
    // numbered after every stored row, never among them.
    void longTraceFillsInAfterTheWindowIsShown() {
        Table t;
        std::vector<TempSample> rows(200000);
        for (size_t i = 0; i < rows.size(); ++i)
            rows[i] = {qint64(i), "2026/01/05 10:00:00", "1 V", "0 kHz", "0", "", {}, {}, false};
        QVERIFY(recordStore().replaceTrace(rows));
        frmDataTable restarted(driverUnits(), recordStore());
        QVERIFY(restarted.model().size() < 200000);
        restarted.setValuePrimary(5.0);
        restarted.AppendData();
        QCOMPARE(restarted.model().size(), 200001);
        QCOMPARE(restarted.model().text(200000, TraceTableModel::SeqNoColumn), QString("200000"));
        frmDataTable another(driverUnits(), recordStore());
        QTRY_COMPARE(another.model().size(), 200001);
    }

    void clearEmptiesEverything() {
        Table t;
        for (int i = 0; i < 3; ++i)
            t.feed(i);
        for (RecordField f : {RecordField::Recno, RecordField::DataDesc, RecordField::StartTime})
            t.table.setField(f, "4");
        t.filter()->setCurrentIndex(2);

        t.table.ClearData();
        QCOMPARE(t.table.rowCount(), 0);
        QCOMPARE(t.grid()->model()->rowCount(), 0);
        QCOMPARE(t.stored("SeqNo"), QStringList());
        for (RecordField f : {RecordField::Recno, RecordField::DataDesc, RecordField::StartTime})
            QCOMPARE(t.table.field(f), QString());
        QCOMPARE(t.table.field(RecordField::PUnit), QString("V"));
        QCOMPARE(t.filter()->currentIndex(), 0);
        QCOMPARE(t.grid()->model()->headerData(2, Qt::Horizontal).toString(),
                 QString("primary reading [ V ]"));

        // A cleared trace starts its times again from the next reading, and takes
        // the units the meter has told by then (a trace started before the first
        // function query is saved with them).
        driver().setUnitPrimary("Current");
        t.feed(7, 30);
        QCOMPARE(t.stored("SeqNo || ':' || TimeTick"), QStringList({"0:0"}));
        QCOMPARE(t.table.field(RecordField::PUnit), QString("mA"));
    }

    void percentFilterShowsAllRows_data() {
        QTest::addColumn<int>("filterIndex");
        QTest::addColumn<QString>("shownSeqNos");
        addRow("Total", 0, "01234");
        addRow("Time", 1, "0");
        addRow("Over MAX", 2, "1");
        addRow("Below MIN", 3, "2");
        addRow("Match condition: Level", 4, "3");
        addRow("Match condition: Percent", 5, "01234");
    }

    void percentFilterShowsAllRows() {
        QFETCH(int, filterIndex);
        Table t;
        for (int seqNo = 0; seqNo < 5; ++seqNo)
            QVERIFY(recordStore().insertSample(
                {seqNo, QString::number(seqNo), "1 V", "0 ", QString::number(seqNo), seqNo, 1}));
        t.filter()->setCurrentIndex(filterIndex);
        if (filterIndex == 0)
            t.table.refreshRows();
        QString shown;
        for (int row = 0; row < t.grid()->model()->rowCount(); ++row)
            shown += t.grid()->model()->index(row, 0).data().toString();
        QTEST(shown, "shownSeqNos");
    }

    void commentEditCoversSamplesOfTheSameSecond() {
        Table t;
        t.feed(1, 0.0);
        t.feed(2, 0.4); // same second as the first
        t.feed(3, 1.0);
        QCOMPARE(t.table.GetDate(0), t.table.GetDate(1));
        t.table.show();
        QVERIFY(QTest::qWaitForWindowExposed(&t.table));

        t.editComment(1, "spike", "cmdProcOK");
        QVERIFY(!t.commentPanel()->isVisible());
        QCOMPARE(t.stored("Comment"), QStringList({"spike", "spike", ""}));
        QCOMPARE(t.table.model().text(0, TraceTableModel::CommentColumn), QString("spike"));

        t.editComment(2, "ignored", "cmdProcCancel");
        QVERIFY(!t.commentPanel()->isVisible());
        QCOMPARE(t.stored("Comment").last(), QString());

        // A quote is refused: one message, the panel stays open with its hint, nothing changes.
        QVERIFY(!t.table.findChild<QLabel*>("lblDataCommentQuote")->isVisible());
        t.editComment(2, "it's high", "cmdProcOK");
        QVERIFY(
            t.store.messages->texts().value(0).startsWith("1:the text \"it's high\" holds a single quote"));
        QVERIFY(t.commentPanel()->isVisible());
        QVERIFY(t.table.findChild<QLabel*>("lblDataCommentQuote")->isVisible());
        QTest::keyClicks(t.table.findChild<QLineEdit*>("txtDataDesc"), "Bob's bench");
        QVERIFY(t.table.findChild<QLabel*>("lblDataDescQuote")->isVisible());
        QCOMPARE(t.stored("Comment"), QStringList({"spike", "spike", ""}));
        QCOMPARE(t.table.model().text(2, TraceTableModel::CommentColumn), QString());
        QCOMPARE(t.table.rowCount(), 3);
    }

    void rowSelectionColoursAndResizeRule() {
        Table t;
        const QAbstractItemModel* model = t.grid()->model();
        t.table.show();
        QVERIFY(QTest::qWaitForWindowExposed(&t.table));
        t.table.resize(700, 500);
        QCOMPARE(t.table.visibleRows(),
                 t.grid()->height() / t.grid()->verticalHeader()->defaultSectionSize());
        // Past the visible rows, the newest row stays in view.
        for (int i = 0; i < t.table.visibleRows() + 20; ++i)
            t.feed(i);
        const QModelIndex newest = model->index(t.table.rowCount() - 1, 0);
        QTRY_VERIFY(t.grid()->viewport()->rect().contains(t.grid()->visualRect(newest)));

        t.table.RowSelected(1);
        t.table.RowSelected(2);
        QCOMPARE(t.table.selectedRow(), 2);
        const auto colour = [model](int row, int role) {
            return model->index(row, 4).data(role).value<QColor>();
        };
        QCOMPARE(colour(2, Qt::BackgroundRole), QColor(255, 192, 255)); // the selected row
        QCOMPARE(colour(1, Qt::BackgroundRole), QColor(255, 255, 192)); // the one selected before
        t.table.RowSelected(t.table.rowCount()); // not a row: nothing changes
        QCOMPARE(t.table.selectedRow(), 2);
        // A reading the meter did not answer is tinted and says why.
        t.table.setNoReply(true);
        t.feed(0);
        QCOMPARE(colour(t.table.rowCount() - 1, Qt::BackgroundRole), QColor(255, 214, 170));
        QVERIFY(model->index(t.table.rowCount() - 1, 2)
                    .data(Qt::ToolTipRole)
                    .toString()
                    .contains("did not reply"));
        QCOMPARE(colour(t.table.rowCount() - 2, Qt::BackgroundRole), QColor(255, 255, 192));
    }

    // Another program holding the database locked never stops the trace: every
    // reading of the lock's ticks is taken, waits in order and is written once the
    // lock goes. The operator is told on the status line (no box), and again when
    // storing goes on.
    void lockedDatabaseLosesNothing_data() {
        QTest::addColumn<int>("ticks");
        QTest::newRow("a lock of 3 ticks") << 3;
        QTest::newRow("a lock of 60 ticks") << 60;
    }

    void lockedDatabaseLosesNothing() {
        QFETCH(int, ticks);
        statusReports().setEchoToStderr(false);
        Table t;
        t.feed(1);
        QVERIFY(recordStore().settleWriter());
        {
            OtherProgramLock lock(t.store.databasePath());
            QVERIFY(lock.locked);
            for (int i = 0; i < ticks; ++i)
                QVERIFY(t.feed(2));
            QTRY_VERIFY(statusReports().last().contains(QLatin1String("cannot be stored")));
            QVERIFY(!recordStore().settleWriter()); // still locked: nothing read out of order
            // The grid still paints: stored rows read without waiting, queued ones from memory.
            QCOMPARE(t.table.GetValuePrimary(0) + t.table.GetValuePrimary(ticks), QString("1 V2 V"));
        }
        QVERIFY(recordStore().settleWriter());
        QStringList expected;
        for (int i = 0; i <= ticks; ++i)
            expected << QString::number(i);
        QCOMPARE(t.stored("SeqNo"), expected);
        QCOMPARE(t.stored("DiffLastTime").mid(1), QStringList(ticks, QStringLiteral("1")));
        QTRY_VERIFY(statusReports().last().contains(QLatin1String("stored again")));
        QVERIFY(t.store.messages->shown().empty());
    }

    // The grid paints only the rows a sample adds: what is on the screen after each
    // append is what a whole repaint shows, before and after the grid scrolls.
    void appendedRowsOnScreenAsRepainted() {
        Table t;
        t.table.show();
        QVERIFY(QTest::qWaitForWindowExposed(&t.table));
        QScreen* screen = t.table.screen();
        const auto onScreen = [&] {
            // The layout's timer, then the paint it asks for, each in a frame of its own
            // however soon after the last one.
            for (int pass = 0; pass < 3; ++pass) {
                QCoreApplication::processEvents();
                updateWaitingNow();
            }
            QCoreApplication::processEvents();
            return screen->grabWindow(t.table.winId()).toImage();
        };
        onScreen();
        for (int i = 0; i < t.table.visibleRows() + 3; ++i) {
            t.feed(i);
            const QImage shown = onScreen();
            t.grid()->viewport()->repaint();
            QCOMPARE(onScreen(), shown);
        }
    }

    // Once written, samples shown live are swapped for their rowids and read back
    // when painted: the grid shows the same texts, the long match texts included.
    void writtenRowsReadBackTheSame() {
        statusReports().setEchoToStderr(false);
        Table t;
        t.state.math = "AUTOHOLD";
        t.table.setField(RecordField::TimerSample, "7");
        QStringList shown;
        {
            OtherProgramLock lock(t.store.databasePath()); // nothing is written meanwhile
            QVERIFY(lock.locked);
            for (int i = 0; t.table.rowCount() <= int(TraceTableModel::kTailRowsKept); ++i)
                t.feed(100 - i % 9);
            QCOMPARE(t.table.model().rowsInMemory(), t.table.rowCount());
            for (int row = 0; row < t.table.rowCount(); ++row)
                for (int column = 0; column < TraceTableModel::ColumnCount; ++column)
                    shown << t.table.model().text(row, column);
        }
        QVERIFY(shown.contains("Match condition:%"));
        QVERIFY(recordStore().settleWriter());
        const int before = t.table.rowCount();
        t.table.setField(RecordField::TimerSample, "1");
        t.feed(1);
        QVERIFY(t.table.model().rowsInMemory() <= 1);
        QStringList readBack;
        for (int row = 0; row < before; ++row)
            for (int column = 0; column < TraceTableModel::ColumnCount; ++column)
                readBack << t.table.model().text(row, column);
        QCOMPARE(readBack, shown);
    }
};

QTEST_MAIN(TestDataTable)
#include "tst_datatable.moc"
