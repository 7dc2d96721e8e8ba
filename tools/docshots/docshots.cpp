// Takes the pictures of the user guide and the README: the real frame against a
// meter (the simulator, as a rule), a short trace with both limits set, a saved
// record listed on the Record tab, and every window grabbed into a folder.
//
//   kvx5130-docshots OUTDIR LINK [--main-only NAME]
//
// The clock is a settable one, so the trace and its times come out the same on
// every run. scripts/screenshots.sh runs it at scale 1 and 2.

#include "AppRun.h"
#include "BackgroundTask.h"
#include "Forms.h"
#include "Session.h"
#include "TestServices.h"
#include "TraceReport.h"
#include "frmKVX5130.h"
#include "mdiMain.h"

#include <QApplication>
#include <QDir>
#include <QLineEdit>
#include <QMdiSubWindow>
#include <QRadioButton>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTest>
#include <QTextStream>

#include <memory>

using namespace kvx;

namespace {

constexpr int kTraceTicks = 40;

QTextStream& err() {
    static QTextStream stream(stderr);
    return stream;
}

class Shooter {
public:
    explicit Shooter(QString folder) : m_folder(std::move(folder)) {}
    bool save(QWidget* window, const char* name) {
        if (!window) {
            err() << "docshots: no window for " << name << Qt::endl;
            return false;
        }
        QApplication::processEvents();
        const QString path = QDir(m_folder).filePath(QLatin1String(name) + QStringLiteral(".png"));
        const bool saved = window->grab().save(path);
        err() << (saved ? "docshots: wrote " : "docshots: cannot write ") << path << Qt::endl;
        return saved;
    }

private:
    QString m_folder;
};

void typeLimit(mdiMain& frame, const char* box, const char* value) {
    auto* edit = frame.loadedForm(QStringLiteral("frmState"))->findChild<QLineEdit*>(QLatin1String(box));
    edit->setText(QLatin1String(value));
    QTest::keyClick(edit, Qt::Key_Return);
}

} // namespace

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    prepareApplication(app);
    const QStringList args = QCoreApplication::arguments();
    if (args.size() < 3) {
        err() << "usage: kvx5130-docshots OUTDIR LINK [--main-only NAME]" << Qt::endl;
        return 2;
    }
    const QString out = args[1];
    const bool mainOnly = args.size() >= 5 && args[3] == QLatin1String("--main-only");
    QDir().mkpath(out);

    QTemporaryDir folder;
    auto clock = std::make_shared<ManualClock>(QDateTime(QDate(2026, 11, 20), QTime(14, 30, 0)));
    setClock(clock);
    auto messages = std::make_shared<ScriptedMessageService>();
    setMessages(messages);
    resetSession();
    session().programFolder = folder.path();
    session().linkOverride = args[2];

    mdiMain frame;
    if (!frame.load())
        return 1;
    frame.show();
    frame.activatePanel();
    auto* panel = qobject_cast<frmKVX5130*>(frame.loadedForm(QStringLiteral("frmKVX5130")));
    if (!panel || !QTest::qWaitFor([] { return forms().state->connText() == QLatin1String("LIVE"); }, 5000)) {
        err() << "docshots: the meter does not answer on " << args[2] << Qt::endl;
        return 1;
    }
    // DC volts on the 5 V range, limits around the simulated reading, a trace of 40 s.
    panel->findChild<QRadioButton*>(QStringLiteral("OptVolSetting_1"))->click();
    typeLimit(frame, "txtLimMax", "3.2575");
    typeLimit(frame, "txtLimMin", "3.2535");
    frame.startTrace();
    for (int i = 0; i < kTraceTicks; ++i) {
        clock->advance(1.0);
        panel->onTimer2Tick();
    }
    Shooter shots(out);
    if (mainOnly)
        return shots.save(&frame, qPrintable(args[4])) ? 0 : 1;

    bool ok = shots.save(&frame, "live-trace");
    panel->findChild<QAbstractButton*>(QStringLiteral("cmdStart"))->click(); // stop
    waitForBackgroundTasks(); // the graph is drawn again from the store
    for (int i = 0; i < 3; ++i)
        messages->queueAnswer(Answer::Yes);
    panel->findChild<QAbstractButton*>(QStringLiteral("cmdSaveRecord"))->click();
    panel->findChild<QTabWidget*>(QStringLiteral("tabPanel"))->setCurrentIndex(1);
    ok = shots.save(frame.subWindowOf(QStringLiteral("frmKVX5130")), "record-keys") && ok;
    panel->findChild<QAbstractButton*>(QStringLiteral("cmdLoadRecord"))->click();
    ok = shots.save(frame.subWindowOf(QStringLiteral("frmKVX5130")), "record-tab") && ok;
    panel->findChild<QTabWidget*>(QStringLiteral("tabPanel"))->setCurrentIndex(0);
    ok = shots.save(&frame, "main-window") && ok;
    for (const auto& [form, name] :
         {std::pair{"frmKVX5130", "front-panel"}, std::pair{"frmState", "state-panel"},
          std::pair{"frmDIGITALMETERMaster", "digital-meter"}, std::pair{"frmANALOGMETER", "analog-meter"},
          std::pair{"frmGraphicRecord", "graph"}, std::pair{"frmDataTable", "data-table"}})
        ok = shots.save(frame.subWindowOf(QLatin1String(form)), name) && ok;
    frame.showSetting();
    ok = shots.save(QApplication::activeModalWidget()
                        ? QApplication::activeModalWidget()
                        : frame.findChild<QWidget*>(QStringLiteral("frmSetting")),
                    "settings") &&
         ok;
    frame.showAbout();
    ok = shots.save(frame.findChild<QWidget*>(QStringLiteral("frmAbout")), "about") && ok;
    // The printed report as a PDF; the script turns its first page into a picture.
    const std::optional<TraceReport> report = TraceReport::forWorkingTrace();
    ok = report && report->writePdf(QDir(out).filePath(QStringLiteral("report.pdf"))) && ok;
    if (!messages->texts().isEmpty())
        err() << "docshots: messages shown: " << messages->texts().join(QStringLiteral(" | ")) << Qt::endl;
    panel->setExitAction([] {});
    return ok ? 0 : 1;
}
