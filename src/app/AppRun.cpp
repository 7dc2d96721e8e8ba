#include "AppRun.h"

#include "Commands.h"
#include "ControlSocket.h"
#include "DialogMessages.h"
#include "FocusFrameStyle.h"
#include "FolderLock.h"
#include "Link.h"
#include "MeterThread.h"
#include "MonitorServer.h"
#include "QuitSignals.h"
#include "Session.h"
#include "StatusReports.h"
#include "TraceReport.h"
#include "WorkingTrace.h"
#include "WindowCommands.h"
#include "mdiMain.h"

#include <QApplication>
#include <QDirIterator>
#include <QFont>
#include <QGuiApplication>
#include <QIcon>
#include <QImageWriter>
#include <QPixmap>
#include <QTimer>
#include <cstdio>
#include <cstdlib>

namespace kvx {

namespace {

void printError(const QString& text) {
    std::fprintf(stderr, "kvx5130: %s\n", qPrintable(text));
}

// Traditional Chinese first: the panel's captions use its forms.
const char* const kCjkFamilies[] = {"Noto Sans CJK TC", "Noto Sans CJK JP", "Noto Sans CJK SC",
                                    "WenQuanYi Zen Hei", "Droid Sans Fallback"};

// The icon's sizes are drawn from one picture into the resource folders ":/icons/<w>x<h>/".
QIcon programIcon() {
    QIcon icon;
    QDirIterator sizes(QStringLiteral(":/icons"), {QStringLiteral("kvx5130.png")}, QDir::Files,
                       QDirIterator::Subdirectories);
    while (sizes.hasNext())
        icon.addFile(sizes.next());
    return icon;
}

// The offscreen and minimal platforms draw into memory: nobody sees a window there.
bool displayPresent() {
    const QString platform = QGuiApplication::platformName();
    return platform != QLatin1String("offscreen") && platform != QLatin1String("minimal");
}

// Notices of a run nobody attends go to stderr and the state panel; a question,
// which only the operator's own click asks, gets a box when there is a display.
std::shared_ptr<MessageService> unattendedMessages() {
    return std::make_shared<UnattendedMessageService>(
        displayPresent() ? std::make_shared<DialogMessageService>() : nullptr);
}

// The messages of a key pressed from the monitor page: the key's own question is
// answered Yes (whoever pressed it there asked for it); any further one No, the
// answer that keeps recorded data as it is. The first notice is the answer the page gets.
class PageMessageService final : public MessageService {
public:
    void notice(const QString& text, const QString&) override {
        if (m_notice.isEmpty())
            m_notice = text;
    }
    Answer ask(const QString&, const QString&) override { return m_asked++ == 0 ? Answer::Yes : Answer::No; }
    QString firstNotice() const { return m_notice; }

private:
    QString m_notice;
    int m_asked = 0;
};

// A key of the front panel pressed from the monitor page. No box waits at the bench
// meanwhile.
QString pressForPage(mdiMain& frame, const QString& key, bool attended) {
    auto answers = std::make_shared<PageMessageService>();
    setMessages(answers);
    const bool pressed = frame.pressPanelKey(key);
    if (attended)
        setMessages(std::make_shared<DialogMessageService>());
    else
        setMessages(unattendedMessages());
    if (!answers->firstNotice().isEmpty())
        return answers->firstNotice();
    return pressed ? QString() : QStringLiteral("the front panel is not there");
}

// The monitor page when --http or the Setting dialog asks for it. A page that
// cannot be served is reported, and the program goes on without it.
std::unique_ptr<MonitorServer> serveMonitorPage(mdiMain& frame, const AppOptions& options, bool attended) {
    MonitorControls keys;
    keys.start = [&frame] {
        if (workingTrace().tracing())
            return QStringLiteral("a trace is running already");
        frame.startTrace();
        return QString();
    };
    keys.stop = [&frame, attended] {
        if (!workingTrace().tracing())
            return QStringLiteral("no trace is running");
        return pressForPage(frame, QStringLiteral("cmdStart"), attended);
    };
    keys.saveRecord = [&frame, attended] {
        if (workingTrace().tracing())
            return QStringLiteral("Save Rec waits until the trace is stopped");
        return pressForPage(frame, QStringLiteral("cmdSaveRecord"), attended);
    };
    const QString address = options.http.isEmpty() ? session().operation.monitorAddress.trimmed() : options.http;
    QString error;
    std::unique_ptr<MonitorServer> server = startMonitor(address, options.httpToken, std::move(keys), &error);
    if (!error.isEmpty())
        statusReports().report(error);
    return server;
}

} // namespace

void prepareApplication(QApplication& app) {
    QApplication::setApplicationName(QStringLiteral("KVX-5130"));
    QApplication::setApplicationVersion(QString::fromLatin1(kAppVersion));
    // Every window carries the icon; the desktop entry's name ties the windows to the launcher.
    QApplication::setWindowIcon(programIcon());
    QGuiApplication::setDesktopFileName(QStringLiteral("kvx5130"));
    QFont font = app.font();
    QStringList families{font.family()};
    QStringList fallbacks;
    for (const char* family : kCjkFamilies)
        fallbacks << QString::fromLatin1(family);
    families << fallbacks;
    font.setFamilies(families);
    QApplication::setFont(font);
    // Windows that pick a family of their own keep the fallback too.
    QFont::insertSubstitutions(font.family(), fallbacks);
    QApplication::setStyle(new FocusFrameStyle(QApplication::style()->name()));
}

bool saveWindowPicture(mdiMain& frame, const QString& file, QString* error) {
    const QPixmap picture = frame.grab();
    QImageWriter writer(file);
    if (writer.write(picture.toImage()))
        return true;
    if (error)
        *error = QStringLiteral("%1: %2").arg(file, writer.errorString());
    return false;
}

int runApplication(QApplication& app, const AppOptions& options) {
    if (!options.link.isEmpty()) {
        ConnectionTarget target;
        QString error;
        if (!parseConnectionText(options.link, &target, &error)) {
            printError(QStringLiteral("--link %1: %2").arg(options.link, error));
            return 2;
        }
    }
    applyOptionsToSession(options);
    if (options.exportRecord >= 0 || options.listRecords || !options.copyFrom.isEmpty())
        return runRecordCommand(options, writeReportFile);

    // Unattended means nobody clicks: no message box may hold up the trace.
    const bool attended = displayPresent() && !options.start;
    if (attended)
        setMessages(std::make_shared<DialogMessageService>());
    else
        setMessages(unattendedMessages());

    // Released by its destructor when cmdQuit ends the process.
    static FolderLock folderLock;
    QString refusal;
    if (!folderLock.acquire(session().programFolder, &refusal)) {
        if (attended)
            printError(refusal);
        messages().notice(refusal, QStringLiteral("Warning"));
        return 1;
    }

    // From here on the meter is talked to from its own thread, so that a slow or
    // silent meter never holds up the windows.
    meterThread().start();
    mdiMain frame;
    const QuitSignals quitSignals([&frame] {
        // Whoever sent the signal is not there to answer a box.
        setMessages(std::make_shared<UnattendedMessageService>());
        frame.quit(); // cmdQuit: writes the files and ends the process
        std::exit(0); // before the front panel is loaded there is nothing to write
    });
    if (!frame.load()) {
        printError(QStringLiteral("start-up stopped (program folder %1)").arg(session().programFolder));
        return 1;
    }
    frame.show();
    frame.activatePanel();
    const std::unique_ptr<MonitorServer> monitor = serveMonitorPage(frame, options, attended);
    serveWindowCommands(folderLock.control(), frame);
    if (!folderLock.controlProblem().isEmpty())
        statusReports().report(folderLock.controlProblem());
    if (options.start)
        QTimer::singleShot(0, &frame, [&frame] { frame.startTrace(); });
    if (!options.screenshotFile.isEmpty()) {
        QTimer::singleShot(options.screenshotDelayMs, &frame, [&frame, &app, &options] {
            QString error;
            const bool saved = saveWindowPicture(frame, options.screenshotFile, &error);
            if (!saved)
                printError(error);
            app.exit(saved ? 0 : 1);
        });
    }
    const int exitCode = app.exec();
    // The links were opened on the meter thread and are closed there, while the
    // application still exists.
    meterThread().stop();
    return exitCode;
}

} // namespace kvx
