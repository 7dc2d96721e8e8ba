// A whole trace in one process: the real frame and windows against the simulated
// meter, limits set on the state panel, the trace taken tick by tick with a
// settable clock, then measured with both cursors.

#include "SimProcess.h"

#include "Forms.h"
#include "TestServices.h"
#include "Session.h"
#include "ValueRules.h"
#include "frmGraphicRecord.h"
#include "frmKVX5130.h"
#include "mdiMain.h"

#include <QtTest>
#include <QtWidgets>
#include <cmath>
#include <qcustomplot.h>

using namespace kvx;

class TestTrace : public QObject {
    Q_OBJECT
private slots:
    void traceWithLimitsAndCursors() {
        test::SimProcess sim({QStringLiteral("--pty"), QStringLiteral("--seed"), QStringLiteral("21")});
        QString error;
        QVERIFY2(sim.start(&error), qPrintable(error));
        QTemporaryDir folder;
        auto clock = std::make_shared<ManualClock>(QDateTime(QDate(2026, 11, 20), QTime(14, 30, 0)));
        setClock(clock);
        auto messages = std::make_shared<ScriptedMessageService>();
        setMessages(messages);
        resetSession();
        session().programFolder = folder.path();
        session().linkOverride = QStringLiteral("serial:") + sim.where();

        mdiMain frame;
        QVERIFY(frame.load());
        frame.show();
        frame.activatePanel();
        auto* panel = qobject_cast<frmKVX5130*>(frame.loadedForm(QStringLiteral("frmKVX5130")));
        auto* graph = qobject_cast<frmGraphicRecord*>(frame.loadedForm(QStringLiteral("frmGraphicRecord")));
        QVERIFY(panel && graph);
        QTRY_COMPARE(forms().state->connText(), QStringLiteral("LIVE"));

        // DC volts on the 5 V range, so that limits inside ±5 are accepted.
        panel->findChild<QRadioButton*>(QStringLiteral("OptVolSetting_1"))->click();
        QCOMPARE(forms().state->rangeText(), QStringLiteral("5"));
        for (const auto& [box, text] : {std::pair{"txtLimMax", "3.2575"}, std::pair{"txtLimMin", "3.2535"}}) {
            auto* edit = qobject_cast<QWidget*>(
                frame.loadedForm(QStringLiteral("frmState"))->findChild<QLineEdit*>(QLatin1String(box)));
            QVERIFY(edit);
            static_cast<QLineEdit*>(edit)->setText(QLatin1String(text));
            QTest::keyClick(edit, Qt::Key_Return);
        }
        QVERIFY2(messages->texts().isEmpty(), qPrintable(messages->texts().join('\n')));
        // A command gets no reply, so the simulator may log it a moment later.
        QTRY_VERIFY(sim.loggedCommands().contains(QStringLiteral(":CALC:LIM:UPP 3.2575")));

        frame.startTrace();
        QVERIFY(session().tracing);
        const int ticks = 40;
        for (int i = 0; i < ticks; ++i) {
            clock->advance(1.0);
            panel->onTimer2Tick();
        }
        QCOMPARE(graph->trace().sampleCount, ticks);
        QCOMPARE(forms().dataTable->rowCount(), ticks);
        // Every sample charted is the reading the data table stored for it.
        for (int row : {0, 17, ticks - 1})
            QCOMPARE(graph->trace().plotValues[size_t(row)],
                     parseLeadingNumber(forms().dataTable->GetValuePrimary(row)));
        QCOMPARE(graph->CWGraph1()->graph(1)->dataCount(), ticks); // Limit-High drawn with the trace

        graph->setGraphMode(frmGraphicRecord::CursorMeasurements);
        graph->moveCursor(0, 8);
        graph->moveCursor(1, 33);
        auto text = [graph](const char* name) {
            return graph->findChild<QLineEdit*>(QLatin1String(name))->text();
        };
        QCOMPARE(text("XPosition"), QStringLiteral("00:00:08"));
        QCOMPARE(text("PeriodVal"), QStringLiteral("00:00:25"));
        const double amplitude = std::abs(parseLeadingNumber(forms().dataTable->GetValuePrimary(33)) -
                                          parseLeadingNumber(forms().dataTable->GetValuePrimary(8)));
        QCOMPARE(parseLeadingNumber(text("AmplitudeVal")), amplitude);

        panel->setExitAction([] {});
    }
};

QTEST_MAIN(TestTrace)
#include "tst_e2e_trace.moc"
