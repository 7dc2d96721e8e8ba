#include "HelpGuide.h"

#include "Session.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QTextBrowser>
#include <QUrl>
#include <QVBoxLayout>

namespace kvx {

QStringList userGuideCandidates() {
    const QString name = QString::fromLatin1(kHelpFile);
    const QString executableDir = QCoreApplication::applicationDirPath();
    QStringList candidates;
    if (!session().programFolder.isEmpty())
        candidates << session().pathInFolder(name);
    // The installed guide lies at a fixed place relative to the program; the build folder is laid
    // out the same way.
    candidates << QDir::cleanPath(executableDir + QStringLiteral("/" KVX_GUIDE_FROM_PROGRAM "/") + name)
               << QStringLiteral(KVX_GUIDE_SOURCE_DIR "/") + name;
    return candidates;
}

QString findUserGuide() {
    const QStringList candidates = userGuideCandidates();
    for (const QString& path : candidates) {
        if (QFileInfo(path).isFile())
            return QFileInfo(path).absoluteFilePath();
    }
    return QString();
}

frmHelp::frmHelp(const QString& guidePath, QWidget* parent) : QWidget(parent, Qt::Window) {
    setObjectName(QStringLiteral("frmHelp"));
    setWindowTitle(tr("KVX-5130 User Guide"));
    m_browser = new QTextBrowser(this);
    m_browser->setObjectName(QStringLiteral("txtGuide"));
    m_browser->setOpenExternalLinks(true);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_browser);
    if (guidePath.isEmpty()) {
        m_browser->setHtml(
            tr("<h2>The user guide is not installed</h2><p>It was looked for at:</p><ul><li>%1</li></ul>")
                .arg(userGuideCandidates().join(QStringLiteral("</li><li>"))));
    } else {
        m_browser->setSource(QUrl::fromLocalFile(guidePath));
    }
    resize(760, 640);
}

} // namespace kvx
