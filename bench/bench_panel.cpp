// One polling tick of the front panel with every real window fed: the digital
// screen, the data table (sample rule and insert into the working trace), the
// analog meter and the graph, at working traces of 1,000, 100,000 and 1,000,000
// samples. With painting on, each tick is followed by what a reading costs the
// screen: the repaints it scheduled, the graph's replot (its timer is due once a
// second, once per reading), the grid scrolled to the newest row, all painted.
// The meter is an in-memory link answering at once (the exchange's own cost is
// measured in bench_instrument), or the panel's "Simulate" reading.

#include "BackgroundTask.h"
#include "FramePace.h"
#include "Link.h"
#include "RecordStore.h"
#include "Session.h"
#include "TestServices.h"
#include "WorkingTrace.h"
#include "clsKVX5310.h"
#include "frmANALOGMETER.h"
#include "frmDIGITALMETERMaster.h"
#include "frmDataTable.h"
#include "frmGraphicRecord.h"
#include "frmKVX5130.h"
#include "frmState.h"

#include <QApplication>
#include <QCheckBox>
#include <QProcess>
#include <QPushButton>
#include <QTableView>
#include <qcustomplot.h>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>

#include <memory>

namespace {

// A meter that answers every query at once with a dual-display reading.
class InstantMeterLink final : public kvx::Link {
public:
    bool open(QString*) override { return true; }
    void close() override {}
    bool isOpen() const override { return true; }
    bool write(const QByteArray& data, QString*) override {
        m_reply = data.startsWith(":READ?") ? readingReply() : QByteArray("DCV\n");
        return true;
    }
    bool read(QByteArray* reply, QString*) override {
        *reply = m_reply;
        return succeed();
    }
    QString description() const override { return QStringLiteral("instant meter"); }

private:
    QByteArray readingReply() {
        m_step = (m_step + 37) % 600;
        return "60.01," + QByteArray::number((m_step - 300) * 0.25) + '\n';
    }
    QByteArray m_reply;
    int m_step = 0;
};

struct PanelBench {
    QTemporaryDir dir;
    std::shared_ptr<kvx::ManualClock> clock = std::make_shared<kvx::ManualClock>();
    std::unique_ptr<kvx::frmDataTable> table;
    std::unique_ptr<kvx::frmGraphicRecord> graph;
    std::unique_ptr<kvx::frmANALOGMETER> analog;
    std::unique_ptr<kvx::frmDIGITALMETERMaster> digital;
    std::unique_ptr<kvx::frmState> state;
    std::unique_ptr<kvx::frmKVX5130> panel;
    QTableView* grid = nullptr;
    bool ok = false;

    PanelBench(qint64 rows, bool simulate) {
        kvx::releaseDriver();
        kvx::resetSession();
        kvx::session().programFolder = dir.path();
        kvx::session().operation.totalTime = QStringLiteral("Continuous");
        kvx::session().operation.serialFlag = QStringLiteral("1");
        kvx::setClock(clock);
        kvx::setMessages(std::make_shared<kvx::ScriptedMessageService>());
        const QString path = dir.filePath(QString::fromLatin1(kvx::kDatabaseFile));
        kvx::recordStore().open(path); // creates the tables
        kvx::recordStore().close();
        ok = benchsupport::fillWorkingTrace(path, rows) && kvx::recordStore().open(path);

        // In the frame's order, each placed at its start-up size.
        table = std::make_unique<kvx::frmDataTable>(kvx::driverUnits(), kvx::recordStore());
        table->setGeometry(0, 0, 523, 487);
        graph = std::make_unique<kvx::frmGraphicRecord>(kvx::driverUnits(), kvx::recordStore());
        graph->setGeometry(0, 0, 523, 487);
        analog = std::make_unique<kvx::frmANALOGMETER>(kvx::driverUnits());
        analog->resize(273, 124);
        digital = std::make_unique<kvx::frmDIGITALMETERMaster>();
        digital->resize(273, 124);
        panel = std::make_unique<kvx::frmKVX5130>();
        state = std::make_unique<kvx::frmState>(kvx::driverUnits());
        grid = table->findChild<QTableView*>(QStringLiteral("grdHelQuest"));
        for (QWidget* w : std::initializer_list<QWidget*>{table.get(), graph.get(), analog.get(),
                                                          digital.get(), panel.get(), state.get()})
            w->show();

        kvx::driver().CWSerial1().useLink(std::make_unique<InstantMeterLink>());
        panel->RestoreSetting();
        panel->findChild<QPushButton*>(QStringLiteral("cmdDCV"))->click();
        panel->findChild<QCheckBox*>(QStringLiteral("Check1"))->setChecked(simulate);
        table->refreshRows();
        graph->ReDraw();
        kvx::waitForBackgroundTasks();
        panel->findChild<QPushButton*>(QStringLiteral("cmdStart"))->click();
        QApplication::processEvents();
        ok = ok && table->rowCount() >= rows && kvx::driver().Ready() && grid;
    }
    ~PanelBench() {
        panel.reset();
        state.reset();
        digital.reset();
        analog.reset();
        graph.reset();
        table.reset();
        kvx::recordStore().close();
        kvx::releaseDriver();
        kvx::setClock(std::make_shared<kvx::SystemClock>());
    }
};

// Arguments: working-trace rows, simulate (0: instant link, 1: "Simulate"), paint (1: the
// repaints the tick scheduled are run before the next tick).
void BM_PanelTick(benchmark::State& state) {
    PanelBench bench(state.range(0), state.range(1) != 0);
    if (!bench.ok) {
        state.SkipWithError("could not build the working trace (sqlite3 shell missing?)");
        return;
    }
    const bool paint = state.range(2) != 0;
    for (auto _ : state) {
        bench.clock->advance(1.0);
        bench.panel->onTimer2Tick();
        if (paint) {
            bench.grid->scrollToBottom();
            bench.graph->replotPending(); // what its timer does, once per reading
            kvx::updateWaitingNow();      // every reading painted, as at one a second
            QApplication::processEvents();
        }
    }
    state.counters["rows"] = double(bench.table->rowCount());
}
BENCHMARK(BM_PanelTick)
    ->ArgNames({"trace", "simulate", "paint"})
    ->Args({1000, 0, 0})
    ->Args({100000, 0, 0})
    ->Args({1000, 1, 0})
    ->Args({100000, 1, 0})
    ->Args({1000, 0, 1})
    ->Args({100000, 0, 1})
    ->Args({1000000, 0, 1})
    ->Unit(benchmark::kMicrosecond);

} // namespace
