#include "PrologixLink.h"

#include "SerialLink.h"
#include "TcpLink.h"

namespace kvx {

namespace {
constexpr char kEscape = 27;
// USB "++" controllers ignore the rate; a serial one is usually set to this.
constexpr qint32 kControllerBaudRate = 115200;
} // namespace

PrologixLink::PrologixLink(std::unique_ptr<Link> controller, int address, const QString& place)
    : m_controller(std::move(controller)), m_address(address), m_place(place) {
    m_controller->setIdleErrorHandler([this](const QString& description) { reportIdleError(description); });
}

bool PrologixLink::readSerialPlace(const QString& text, ConnectionTarget* target, QString*) {
    target->where = text;
    return !text.isEmpty();
}

// The controller's port has no usual number, so it is always written.
bool PrologixLink::readTcpPlace(const QString& text, ConnectionTarget* target, QString*) {
    return TcpLink::readHostPort(text, 0, &target->where);
}

std::unique_ptr<Link> PrologixLink::makeSerial(const ConnectionTarget& target, const SerialFraming&) {
    return std::make_unique<PrologixLink>(std::make_unique<SerialLink>(target.where, kControllerBaudRate),
                                          target.gpibAddress, target.gpibBackend());
}

std::unique_ptr<Link> PrologixLink::makeTcp(const ConnectionTarget& target, const SerialFraming&) {
    QString host;
    quint16 port = 0;
    TcpLink::splitHostPort(target.where, 0, &host, &port);
    return std::make_unique<PrologixLink>(std::make_unique<TcpLink>(host, port, TcpLink::Framing::AsGiven),
                                          target.gpibAddress, target.gpibBackend());
}

QString PrologixLink::connectionText() const {
    return m_place.isEmpty() ? QString() : QStringLiteral("%1:%2").arg(m_place).arg(m_address);
}

PrologixLink::~PrologixLink() {
    close();
}

QString PrologixLink::description() const {
    return QStringLiteral("\"++\" controller on %1, GPIB address %2")
        .arg(m_controller->description())
        .arg(m_address);
}

void PrologixLink::setTimeoutMs(int ms) {
    Link::setTimeoutMs(ms);
    m_controller->setTimeoutMs(ms);
}

QByteArray PrologixLink::dataLine(const QByteArray& message) {
    QByteArray line;
    line.reserve(message.size() + 8);
    for (const char byte : message) {
        if (byte == '\r' || byte == '\n' || byte == kEscape || byte == '+')
            line.append(kEscape);
        line.append(byte);
    }
    line.append('\n');
    return line;
}

bool PrologixLink::passOn(bool ok, const QString& innerError, QString* error) {
    return ok ? succeed() : fail(m_controller->lastErrorNumber(), innerError, error);
}

bool PrologixLink::open(QString* error) {
    QString innerError;
    if (!m_controller->open(&innerError))
        return passOn(false, innerError, error);
    const QByteArray setup = QByteArrayLiteral("++mode 1\n++addr ") + QByteArray::number(m_address) +
                             QByteArrayLiteral("\n++auto 0\n++eoi 1\n++eos 3\n");
    return passOn(m_controller->write(setup, &innerError), innerError, error);
}

void PrologixLink::close() {
    if (m_controller->isOpen()) {
        QString ignored;
        m_controller->write(QByteArrayLiteral("++loc\n"), &ignored);
    }
    m_controller->close();
}

bool PrologixLink::write(const QByteArray& data, QString* error) {
    QString innerError;
    return passOn(m_controller->write(dataLine(data), &innerError), innerError, error);
}

bool PrologixLink::read(QByteArray* reply, QString* error) {
    QString innerError;
    const bool ok = m_controller->write(QByteArrayLiteral("++read eoi\n"), &innerError) &&
                    m_controller->read(reply, &innerError);
    return passOn(ok, innerError, error);
}

} // namespace kvx
