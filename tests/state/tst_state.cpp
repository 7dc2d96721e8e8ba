// The state panel against the driver's command log and the shared stand-ins for
// the dial and the graph, which note their calls. No link is configured, so every
// command the panel sends leaves a stop line "Execute Stop: [<command>]..." in the log.

#include "DataRows.h"
#include "Forms.h"
#include "TestServices.h"
#include "Session.h"
#include "StatusReports.h"
#include "UpDown.h"
#include "WindowTestSupport.h"
#include "clsKVX5310.h"
#include "frmState.h"

#include <QtTest>
#include <QtWidgets>

using namespace kvx;
using kvx::test::addRow;
using kvx::test::callLog;

namespace {

// The commands logged since `mark` characters of the log.
QStringList commandsSince(int mark) {
    static const QRegularExpression line(QStringLiteral("^Execute (?:Err )?Stop: \\[(.*)\\]"),
                                         QRegularExpression::MultilineOption);
    QStringList sent;
    auto it = line.globalMatch(driver().ExecLog().mid(mark));
    while (it.hasNext())
        sent << it.next().captured(1);
    return sent;
}

void click(UpDown* stepper, bool up) {
    const auto buttons = stepper->findChildren<QToolButton*>();
    QTest::mouseClick(buttons.at(up ? 0 : 1), Qt::LeftButton);
}

} // namespace

class TestState : public QObject {
    Q_OBJECT

private slots:
    void init() {
        resetSession();
        m_messages = std::make_shared<ScriptedMessageService>();
        setMessages(m_messages);
        m_panel = new frmState(driverUnits());
        m_panel->show();
        callLog().clear();
        m_logMark = driver().ExecLog().size();
    }

    void cleanup() { delete m_panel; }

    void unattendedReportsOnStatusLine() {
        statusReports().setEchoToStderr(false);
        UnattendedMessageService unattended;
        unattended.notice(QStringLiteral("Communication Error!"), QStringLiteral("Warning"));
        QCOMPARE(child<QLabel>("lblStatus")->text(), QStringLiteral("Warning: Communication Error!"));
        // Nobody can answer without a display: No keeps the recorded data as it is.
        QCOMPARE(unattended.ask(QStringLiteral("Abandon record?"), QString()), Answer::No);
        QVERIFY(child<QLabel>("lblStatus")->toolTip().startsWith(QStringLiteral("Abandon record? No")));
    }

    void limitEntry_data() {
        QTest::addColumn<QString>("box");
        QTest::addColumn<QString>("range");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QStringList>("sent");
        QTest::addColumn<QStringList>("viewCalls");
        QTest::addColumn<QString>("message");
        QTest::addColumn<QString>("status"); // the state panel's status line, for a text that is no number
        const QString refused = QStringLiteral("Input Value should between -500 and 500");
        const QStringList none;
        addRow("upper inside", "txtLimMax", "500", "499.9", QStringList{":CALC:LIM:UPP 499.9"},
               QStringList{"analog.LimHigh(499.9)", "graph.LimHigh(499.9)"}, "", "");
        addRow("upper equal to range", "txtLimMax", "500", "500", none, none, refused, "");
        addRow("empty sends 0", "txtLimMax", "500", "", QStringList{":CALC:LIM:UPP 0"},
               QStringList{"analog.LimHigh()", "graph.LimHigh()"}, "", "");
        addRow("lower inside", "txtLimMin", "500", "-12.5", QStringList{":CALC:LIM:LOW -12.5"},
               QStringList{"analog.LimLow(-12.5)", "graph.LimLow(-12.5)"}, "", "");
        addRow("lower equal to minus range", "txtLimMin", "500", "-500", none, none, refused, "");
        addRow("a word is not sent", "txtLimMax", "500", "12V", none, none, "",
               "A limit is a number: \"12V\" was not sent");
        addRow("a decimal comma is named", "txtLimMin", "500", "3,25", none, none, "",
               "A limit takes a decimal point: 3.25, not 3,25");
        addRow("no range yet", "txtLimMax", "", "", none, none, "Input Value should between  and ", "");
    }

    void limitEntry() {
        QFETCH(QString, box);
        QFETCH(QString, range);
        QFETCH(QString, typed);
        QFETCH(QString, message);

        m_panel->setRangeText(range);
        callLog().clear();
        auto* limit = child<QLineEdit>(box.toLatin1());
        QTest::keyClicks(limit, typed);
        QCOMPARE(commandsSince(m_logMark), QStringList{}); // typing alone sends nothing
        QTest::keyClick(limit, Qt::Key_Return);

        QTEST(commandsSince(m_logMark), "sent");
        QTEST(callLog(), "viewCalls");
        QCOMPARE(m_messages->texts(), message.isEmpty() ? QStringList{} : QStringList{message});
        QCOMPARE(limit->text(), typed); // a refused text stays for correcting
        QFETCH(QString, status);
        if (!status.isEmpty())
            QCOMPARE(child<QLabel>("lblStatus")->text(), status);
    }

    void stepByDigit_data() {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<int>("caret");
        QTest::addColumn<int>("clicks"); // up when positive, down when negative
        QTest::addColumn<QString>("shown");
        addRow("hundreds", "1234", 2, 1, "1334");
        addRow("hundreds twice keeps digit", "1234", 2, 2, "1434");
        addRow("units at the end", "1234", 4, 1, "1235");
        addRow("caret at start", "1234", 0, 1, "11234");
        addRow("down by tens", "1234", 3, -3, "1204");
        addRow("stops at upper bound", "99000", 1, 1, "100000");
        addRow("stops at lower bound", "-99000", 2, -5, "-100000");
    }

    void stepByDigit() {
        QFETCH(QString, typed);
        QFETCH(int, caret);
        QFETCH(int, clicks);

        m_panel->setRangeText(QStringLiteral("100000"));
        auto* limit = child<QLineEdit>("txtLimMax");
        QTest::keyClicks(limit, typed);
        limit->setCursorPosition(caret);
        for (int i = 0; i < std::abs(clicks); ++i)
            click(child<UpDown>("UpDown1"), clicks > 0);

        QTEST(limit->text(), "shown");
        QCOMPARE(commandsSince(m_logMark), QStringList{});
    }

    void referenceImpedance() {
        // The front panel shows what the meter reported; a step or typing is what sends.
        auto* box = child<QLineEdit>("txtRefOhm");
        auto* stepper = child<UpDown>("UpDown3");
        m_panel->setDbmActive(true);
        m_panel->setRefOhmText(QStringLiteral("50"));
        QCOMPARE(commandsSince(m_logMark), QStringList{});
        click(stepper, true);  // the stepper followed to 50's place
        stepper->setValue(21); // past the table: its last entry
        QCOMPARE(box->text(), QStringLiteral("8000"));
        box->clear();
        QTest::keyClicks(box, QStringLiteral("40000"));
        // "40000" does not fit 16 bits: the conversion fails and nothing goes out.
        QCOMPARE(commandsSince(m_logMark),
                 (QStringList{":CALC:SDBM:REF 75", ":CALC:SDBM:REF 8000", ":CALC:SDBM:REF 4",
                              ":CALC:SDBM:REF 40", ":CALC:SDBM:REF 400", ":CALC:SDBM:REF 4000"}));
    }

    void rangeChange_data() {
        QTest::addColumn<QString>("range");
        QTest::addColumn<int>("bound");
        addRow("500", "500", 500);
        addRow("fraction rounds to even", "2.5", 2);
        addRow("small range", "0.5", 0);
    }

    void rangeChange() {
        QFETCH(QString, range);
        QFETCH(int, bound);

        m_panel->setRangeText(range);
        QCOMPARE(child<QLineEdit>("txtRange1")->text(), "-" + range);
        QCOMPARE(callLog(), (QStringList{"analog.Scale(" + range + ")", "graph.Scale(" + range + ")"}));
        for (const char* name : {"UpDown1", "UpDown2"}) {
            QCOMPARE(child<UpDown>(name)->maximum(), bound);
            QCOMPARE(child<UpDown>(name)->minimum(), -bound);
        }
    }

    void relativeCopy_data() {
        QTest::addColumn<QString>("rel");
        QTest::addColumn<bool>("copied");
        addRow("inside", "499", true);
        addRow("negative inside", "-499.99", true);
        addRow("equal to range", "500", false);
        addRow("equal to minus range", "-500", false);
    }

    void relativeCopy() {
        QFETCH(QString, rel);
        QFETCH(bool, copied);

        m_panel->setRangeText(QStringLiteral("500"));
        callLog().clear();
        m_panel->setRelText(rel);
        const QStringList expected =
            copied ? QStringList{"analog.Rel(" + rel + ")", "graph.Rel(" + rel + ")"} : QStringList{};
        QCOMPARE(callLog(), expected);
        QCOMPARE(m_messages->texts(), QStringList{});
        QCOMPARE(commandsSince(m_logMark), QStringList{});
    }

    void functionSelectsDialUnit() {
        m_panel->setFunctionText(QStringLiteral("VOLT"));
        QCOMPARE(callLog(), QStringList{"analog.Unit(" + driver().sUnitPrimary() + ")"});
        m_panel->setUnitText(QStringLiteral("kohm"));
        QCOMPARE(child<QLineEdit>("txtUnit")->text(), QStringLiteral("k\u03A9"));
    }

private:
    template <typename T> T* child(const char* name) { return m_panel->findChild<T*>(QLatin1String(name)); }

    std::shared_ptr<ScriptedMessageService> m_messages;
    test::FakeAnalog m_analog;
    test::FakeGraph m_graph;
    frmState* m_panel = nullptr;
    int m_logMark = 0;
};

QTEST_MAIN(TestState)
#include "tst_state.moc"
