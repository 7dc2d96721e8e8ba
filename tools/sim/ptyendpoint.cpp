#include "ptyendpoint.h"

#include "simlog.h"

#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <termios.h>
#include <unistd.h>
#include <utility>

namespace kvxsim {

namespace {

constexpr int kRearmMs = 200;

QString systemError(const char* what) {
    return QStringLiteral("%1: %2").arg(QLatin1String(what), QString::fromLocal8Bit(std::strerror(errno)));
}

void closeFd(int& fd) {
    if (fd >= 0)
        ::close(fd);
    fd = -1;
}

} // namespace

PtyEndpoint::PtyEndpoint(QString linkPath, QObject* parent)
    : HostEndpoint(parent), m_linkPath(std::move(linkPath)) {
    m_rearm.setSingleShot(true);
    m_rearm.setInterval(kRearmMs);
    connect(&m_rearm, &QTimer::timeout, this, [this] {
        if (m_notifier)
            m_notifier->setEnabled(true);
    });
}

PtyEndpoint::~PtyEndpoint() {
    close();
}

bool PtyEndpoint::open(QString* error) {
    if (!createPty(error))
        return false;
    if (!m_linkPath.isEmpty() && !pointLink(error)) {
        close();
        return false;
    }
    m_notifier = new QSocketNotifier(m_master, QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &PtyEndpoint::readMaster);
    return true;
}

bool PtyEndpoint::createPty(QString* error) {
    m_master = ::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK);
    if (m_master < 0 || ::grantpt(m_master) != 0 || ::unlockpt(m_master) != 0) {
        *error = systemError("cannot create a pseudo-terminal");
        closeFd(m_master);
        return false;
    }
    const char* name = ::ptsname(m_master);
    m_slavePath = QString::fromLocal8Bit(name ? name : "");

    // Holding the slave open ourselves keeps the master from reporting EIO and hang-up
    // whenever no host has the device open, which would otherwise wake us constantly.
    m_heldSlave = ::open(name, O_RDWR | O_NOCTTY);
    termios settings{};
    if (m_heldSlave < 0 || ::tcgetattr(m_master, &settings) != 0) {
        *error = systemError("cannot open the pseudo-terminal");
        close();
        return false;
    }
    ::cfmakeraw(&settings);
    ::tcsetattr(m_master, TCSANOW, &settings);
    return true;
}

bool PtyEndpoint::pointLink(QString* error) {
    const QFileInfo existing(m_linkPath);
    if (existing.exists() && !existing.isSymLink()) {
        *error = QStringLiteral("%1 exists and is not a symbolic link").arg(m_linkPath);
        return false;
    }
    // Build the new link beside the old one and rename it over, so that a host
    // reopening the path never finds it missing or half-made.
    const QByteArray target = QFile::encodeName(m_slavePath);
    const QByteArray link = QFile::encodeName(m_linkPath);
    const QByteArray staging = link + ".new" + QByteArray::number(::getpid());
    ::unlink(staging.constData());
    if (::symlink(target.constData(), staging.constData()) != 0 ||
        ::rename(staging.constData(), link.constData()) != 0) {
        *error = systemError("cannot create the link");
        ::unlink(staging.constData());
        return false;
    }
    return true;
}

void PtyEndpoint::removeLink() {
    if (m_linkPath.isEmpty())
        return;
    const QFileInfo link(m_linkPath);
    // Leave the path alone if someone else has put something else there meanwhile.
    if (link.isSymLink() && link.symLinkTarget() == m_slavePath)
        QFile::remove(m_linkPath);
}

void PtyEndpoint::close() {
    m_rearm.stop();
    if (m_notifier) {
        // close() may run inside the notifier's own signal, so it must not die here.
        m_notifier->setEnabled(false);
        m_notifier->deleteLater();
        m_notifier = nullptr;
    }
    if (m_master >= 0)
        removeLink();
    closeFd(m_heldSlave);
    closeFd(m_master);
}

QString PtyEndpoint::address() const {
    return m_linkPath.isEmpty() ? m_slavePath : m_linkPath;
}

void PtyEndpoint::write(const QByteArray& bytes) {
    if (m_master < 0)
        return;
    const ssize_t written = ::write(m_master, bytes.constData(), static_cast<size_t>(bytes.size()));
    if (written < bytes.size())
        qCInfo(lcSim) << "host is not reading; dropped" << bytes.size() - qMax<ssize_t>(written, 0)
                      << "bytes";
}

void PtyEndpoint::readMaster() {
    char buffer[4096];
    for (;;) {
        const ssize_t count = ::read(m_master, buffer, sizeof buffer);
        if (count > 0) {
            emit received(QByteArray(buffer, static_cast<qsizetype>(count)));
            if (m_master < 0) // a handler took the endpoint away
                return;
            continue;
        }
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0 && errno == EAGAIN)
            return;
        // EIO or end of file: should not happen while we hold the slave, but if it does,
        // look again a little later rather than spinning on a readable-forever fd.
        m_notifier->setEnabled(false);
        m_rearm.start();
        return;
    }
}

} // namespace kvxsim
