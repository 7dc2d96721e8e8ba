#include "frmAbout.h"

#include "SystemInfo.h"

#include <QDialogButtonBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QProcess>
#include <QPushButton>
#include <QVBoxLayout>

namespace kvx {

namespace {

QLabel* namedLabel(const QString& name, const QString& text, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    label->setObjectName(name);
    return label;
}

} // namespace

frmAbout::frmAbout(QWidget* parent)
    : QDialog(parent), m_findTool(findSystemInfoTool),
      m_startTool([](const QString& program) { return QProcess::startDetached(program, {}); }) {
    setObjectName(QStringLiteral("frmAbout"));
    setProperty("kvxForm", true);
    setWindowTitle(tr("About KVX-5130"));
    setModal(false);

    QLabel* title = namedLabel(QStringLiteral("lblTitle"), QStringLiteral("KVX-5130"), this);
    QFont titleFont = title->font();
    titleFont.setPointSizeF(titleFont.pointSizeF() * 1.8);
    titleFont.setBold(true);
    title->setFont(titleFont);
    QLabel* product =
        namedLabel(QStringLiteral("lblProduct"), QStringLiteral("DUAL DISPLAY DIGITAL MULTIMETER"), this);
    QLabel* version = namedLabel(QStringLiteral("lblVersion"), QString::fromLatin1(kVersionText), this);
    QLabel* description = namedLabel(
        QStringLiteral("lblDescription"),
        tr("Remote control, live readings and trace recording for the KVX-5130 dual-display bench multimeter "
           "over RS-232, GPIB or a LAN socket."),
        this);
    description->setWordWrap(true);

    auto* ok = new QPushButton(tr("OK"), this);
    ok->setObjectName(QStringLiteral("cmdOK"));
    ok->setDefault(true);
    auto* sysInfo = new QPushButton(tr("&System Info..."), this);
    sysInfo->setObjectName(QStringLiteral("cmdSysInfo"));
    connect(ok, &QPushButton::clicked, this, &QDialog::close);
    connect(sysInfo, &QPushButton::clicked, this, &frmAbout::showSystemInfo);

    auto* buttons = new QVBoxLayout;
    buttons->addWidget(ok);
    buttons->addWidget(sysInfo);
    buttons->addStretch();
    auto* texts = new QVBoxLayout;
    for (QLabel* label : {title, product, version, description})
        texts->addWidget(label);
    texts->addStretch();
    auto* layout = new QHBoxLayout(this);
    layout->addLayout(texts, 1);
    layout->addLayout(buttons);
    resize(440, 200);
}

void frmAbout::setSystemInfoTool(ToolFinder finder, ToolStarter starter) {
    m_findTool = std::move(finder);
    m_startTool = std::move(starter);
}

void frmAbout::showSystemInfo() {
    const QString tool = m_findTool ? m_findTool() : QString();
    if (!tool.isEmpty() && m_startTool && m_startTool(tool))
        return;
    showOwnSummary();
}

void frmAbout::showOwnSummary() {
    if (!m_infoWindow) {
        auto* window = new QDialog(this);
        window->setObjectName(QStringLiteral("frmSystemInfo"));
        window->setWindowTitle(tr("System Information"));
        auto* text = new QPlainTextEdit(systemInfoText(), window);
        text->setObjectName(QStringLiteral("txtSystemInfo"));
        text->setReadOnly(true);
        auto* close = new QDialogButtonBox(QDialogButtonBox::Close, window);
        connect(close, &QDialogButtonBox::rejected, window, &QDialog::close);
        auto* layout = new QVBoxLayout(window);
        layout->addWidget(text);
        layout->addWidget(close);
        window->resize(480, 240);
        m_infoWindow = window;
    }
    m_infoWindow->show();
    m_infoWindow->raise();
    m_infoWindow->activateWindow();
}

} // namespace kvx
