#pragma once
// The user guide: an HTML file shipped with the program, shown in a window of
// its own so that help works the same with or without a desktop browser.

#include <QStringList>
#include <QWidget>

class QTextBrowser;

namespace kvx {

// Where the guide is looked for, first match wins: the program folder (an
// operator's own copy), share/kvx5130/guide/ beside the executable's bin/ (an
// installation, or the build folder), then the source tree it was built from.
QStringList userGuideCandidates();
// The first candidate that exists, or an empty text.
QString findUserGuide();

class frmHelp : public QWidget {
    Q_OBJECT
public:
    explicit frmHelp(const QString& guidePath, QWidget* parent = nullptr);
    QTextBrowser* browser() const { return m_browser; }

private:
    QTextBrowser* m_browser;
};

} // namespace kvx
