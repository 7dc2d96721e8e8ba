#include "Session.h"

#include <QDir>
#include <QStandardPaths>

namespace kvx {

QString Session::pathInFolder(const QString& fileName) const {
    return QDir(programFolder).filePath(fileName);
}

Session& session() {
    static Session s;
    return s;
}

void resetSession() {
    const QString folder = session().programFolder;
    session() = Session{};
    session().programFolder = folder;
}

QString resolveProgramFolder(const QString& fromCommandLine) {
    QString folder = fromCommandLine;
    if (folder.isEmpty())
        folder = qEnvironmentVariable("KVX5130_FOLDER");
    if (folder.isEmpty()) {
        QString data = qEnvironmentVariable("XDG_DATA_HOME");
        if (data.isEmpty())
            data = QDir::homePath() + QStringLiteral("/.local/share");
        folder = data + QStringLiteral("/kvx5130");
    }
    QDir().mkpath(folder);
    return QDir(folder).absolutePath();
}

} // namespace kvx
