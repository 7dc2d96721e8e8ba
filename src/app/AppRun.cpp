#include "AppRun.h"

#include "ControlSocket.h"
#include "ExportRecord.h"
#include "FocusFrameStyle.h"
#include "FolderLock.h"
#include "Link.h"
#include "MeterThread.h"
#include "QuitSignals.h"
#include "Session.h"
#include "StatusReports.h"
#include "WindowCommands.h"
#include "mdiMain.h"

#include <QApplication>
#include <QDirIterator>
#include <QFont>
#include <QGuiApplication>
#include <QIcon>
#include <QImageWriter>
#include <QPixmap>
#include <QTextStream>
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

void applyOptionsToSession(const AppOptions& options) {
    session().programFolder = resolveProgramFolder(options.folder);
    session().linkOverride = options.link.trimmed();
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

int runRecordCommand(const AppOptions& options) {
    applyOptionsToSession(options);
    QTextStream err(stderr);
    if (!options.sendCommand.isEmpty()) {
        QTextStream out(stdout);
        return sendControlCommand(session().programFolder, options.sendCommand, options.sendArgument, out,
                                  err);
    }
    if (options.listRecords) {
        QTextStream out(stdout);
        return listRecords(options.json, out, err);
    }
    return exportRecord(options.exportRecord, {options.pdfFile, options.csvFile, options.ndjsonFile}, err);
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
    if (options.exportRecord >= 0 || options.listRecords)
        return runRecordCommand(options);

    // Unattended means nobody clicks: no message box may hold up the trace.
    const bool attended = displayPresent() && !options.start;
    if (!attended)
        setMessages(std::make_shared<UnattendedMessageService>(displayPresent()));

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
        setMessages(std::make_shared<UnattendedMessageService>(false));
        frame.quit(); // cmdQuit: writes the files and ends the process
        std::exit(0); // before the front panel is loaded there is nothing to write
    });
    if (!frame.load()) {
        printError(QStringLiteral("start-up stopped (program folder %1)").arg(session().programFolder));
        return 1;
    }
    frame.show();
    frame.activatePanel();
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
