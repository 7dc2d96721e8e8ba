#include "Commands.h"

#include "ControlSocket.h"
#include "Session.h"

#include <QByteArray>
#include <QFileInfo>
#include <QTextStream>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <unistd.h>

#ifndef KVX_WINDOWS_FROM_PROGRAM
#error "KVX_WINDOWS_FROM_PROGRAM names the window program's path relative to this one"
#endif

namespace kvx {

int printUsage(const QString& refusal, const QString& text) {
    if (refusal.isEmpty()) {
        std::fputs(qPrintable(text), stdout);
        return 0;
    }
    std::fprintf(stderr, "kvx5130: %s\n%s", qPrintable(refusal), qPrintable(text));
    return 2;
}

void applyOptionsToSession(const AppOptions& options) {
    session().programFolder = resolveProgramFolder(options.folder);
    session().linkOverride = options.link.trimmed();
    session().databaseOverride = options.database;
    session().benchOverride = options.bench;
}

int runRecordCommand(const AppOptions& options, const ReportWriter& writeReport) {
    applyOptionsToSession(options);
    QTextStream err(stderr);
    if (!options.copyFrom.isEmpty())
        return copyRecords(options.copyFrom, options.copyTo, err);
    if (!options.sendCommand.isEmpty()) {
        QTextStream out(stdout);
        return sendControlCommand(session().programFolder, options.sendCommand, options.sendArgument, out,
                                  err);
    }
    if (options.listRecords) {
        QTextStream out(stdout);
        return listRecords(options.json, options.benchFilter, out, err);
    }
    return exportRecord(options.exportRecord, {options.pdfFile, options.csvFile, options.ndjsonFile}, err,
                        writeReport);
}

int runWindowProgram(char** argv) {
    // Found from this program's own file, so that an installed tree can be moved.
    const QString self = QFileInfo(QStringLiteral("/proc/self/exe")).canonicalFilePath();
    const QByteArray program =
        QFileInfo(QFileInfo(self).path() + QStringLiteral("/" KVX_WINDOWS_FROM_PROGRAM))
            .absoluteFilePath()
            .toLocal8Bit();
    execv(program.constData(), argv);
    std::fprintf(stderr, "kvx5130: the window program \"%s\" cannot be started: %s\n", program.constData(),
                 std::strerror(errno));
    return 1;
}

} // namespace kvx
