#include "Link.h"

#include <QStringList>

namespace kvx {

bool Link::fail(int number, const QString& text, QString* error) {
    m_lastErrorNumber = number;
    if (error)
        *error = text;
    return false;
}

void Link::reportIdleError(const QString& description) const {
    if (m_idleErrorHandler)
        m_idleErrorHandler(description);
}

namespace {

constexpr int kDefaultScpiPort = 5025;

bool refuse(const QString& text, QString* error) {
    if (error)
        *error = text;
    return false;
}

bool readWholeNumber(const QString& text, int low, int high, int* value) {
    bool ok = false;
    const int n = text.trimmed().toInt(&ok);
    if (!ok || n < low || n > high)
        return false;
    *value = n;
    return true;
}

bool readGpibAddress(const QString& text, ConnectionTarget* target) {
    int address = 0;
    if (!readWholeNumber(text, 0, 30, &address))
        return false;
    target->gpibAddress = static_cast<qint16>(address);
    return true;
}

// "host:port" with both parts present and the port a valid TCP port.
bool isHostAndPort(const QString& text) {
    const int colon = text.lastIndexOf(QLatin1Char(':'));
    int port = 0;
    return colon > 0 && readWholeNumber(text.mid(colon + 1), 1, 65535, &port);
}

bool parseSerial(const QString& rest, ConnectionTarget* target, QString* error) {
    QString device = rest;
    const int at = rest.lastIndexOf(QLatin1Char('@'));
    if (at >= 0) {
        int baud = 0;
        if (!readWholeNumber(rest.mid(at + 1), 1, 4000000, &baud))
            return refuse(QStringLiteral("the baud rate after '@' must be a positive whole number"), error);
        target->baudRate = baud;
        device = rest.left(at);
    }
    if (device.isEmpty())
        return refuse(QStringLiteral("a serial connection needs a device, e.g. serial:/dev/ttyUSB0@9600"),
                      error);
    target->method = QStringLiteral("RS232");
    target->devicePath = device;
    return true;
}

bool parseLinuxGpib(const QString& rest, ConnectionTarget* target, QString* error) {
    const QStringList parts = rest.split(QLatin1Char(':'));
    int board = 0;
    if (parts.size() != 2 || !readWholeNumber(parts[0], 0, 15, &board) || !readGpibAddress(parts[1], target))
        return refuse(QStringLiteral("a GPIB connection reads gpib:<board>:<address>, address 0 to 30"),
                      error);
    target->method = QStringLiteral("GPIB");
    target->gpibBackend = QStringLiteral("gpib:%1").arg(board);
    return true;
}

// "<where>:<address>" where <where> is a device path or "host:port".
bool parseController(const QString& scheme, const QString& rest, bool overTcp, ConnectionTarget* target,
                     QString* error) {
    const int colon = rest.lastIndexOf(QLatin1Char(':'));
    const QString where = colon > 0 ? rest.left(colon) : QString();
    const bool whereOk = overTcp ? isHostAndPort(where) : !where.isEmpty();
    if (!whereOk || !readGpibAddress(rest.mid(colon + 1), target)) {
        const QString form = overTcp ? QStringLiteral("prologix-tcp:<host>:<port>:<address>")
                                     : QStringLiteral("prologix:<device>:<address>");
        return refuse(QStringLiteral("a \"++\" controller connection reads %1, address 0 to 30").arg(form),
                      error);
    }
    target->method = QStringLiteral("GPIB");
    target->gpibBackend = scheme + QLatin1Char(':') + where;
    return true;
}

bool parseScpiSocket(const QString& rest, ConnectionTarget* target, QString* error) {
    QString hostAndPort = rest;
    if (!isHostAndPort(rest)) {
        if (rest.isEmpty() || rest.contains(QLatin1Char(':')))
            return refuse(QStringLiteral("a LAN connection reads tcp:<host>[:<port>]"), error);
        hostAndPort = rest + QStringLiteral(":%1").arg(kDefaultScpiPort);
    }
    target->method = QStringLiteral("GPIB");
    target->gpibBackend = QStringLiteral("tcp:") + hostAndPort;
    return true;
}

} // namespace

bool parseConnectionText(const QString& text, ConnectionTarget* target, QString* error) {
    const QString trimmed = text.trimmed();
    const int colon = trimmed.indexOf(QLatin1Char(':'));
    const QString scheme = trimmed.left(colon).toLower();
    const QString rest = colon < 0 ? QString() : trimmed.mid(colon + 1);
    ConnectionTarget parsed;
    bool ok = false;
    if (colon < 0)
        ok = refuse(QStringLiteral("\"%1\" is not a connection text (e.g. serial:/dev/ttyUSB0@9600, "
                                   "gpib:0:7, tcp:192.168.0.60)")
                        .arg(text),
                    error);
    else if (scheme == QLatin1String("serial"))
        ok = parseSerial(rest, &parsed, error);
    else if (scheme == QLatin1String("gpib"))
        ok = parseLinuxGpib(rest, &parsed, error);
    else if (scheme == QLatin1String("prologix"))
        ok = parseController(scheme, rest, false, &parsed, error);
    else if (scheme == QLatin1String("prologix-tcp"))
        ok = parseController(scheme, rest, true, &parsed, error);
    else if (scheme == QLatin1String("tcp"))
        ok = parseScpiSocket(rest, &parsed, error);
    else
        ok = refuse(
            QStringLiteral("unknown connection kind \"%1\" (serial, gpib, prologix, prologix-tcp, tcp)")
                .arg(scheme),
            error);
    if (ok && target)
        *target = parsed;
    return ok;
}

} // namespace kvx
