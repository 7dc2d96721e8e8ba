// The connection kinds, each in one row: how its text after "<scheme>:" reads,
// and which link it opens. A connection text and the GPIB control's back-end
// text are both read here, by the same row.
#include "Link.h"
#include "LinkControls.h"
#include "LinuxGpibLink.h"
#include "PrologixLink.h"
#include "SerialLink.h"
#include "TcpLink.h"

#include <QStringList>

namespace kvx {

namespace {

// USB "++" controllers ignore the rate; a serial one is usually set to this.
constexpr qint32 kControllerBaudRate = 115200;
constexpr int kLastGpibBoard = 15;

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

// A GPIB message link: the part of its text before the instrument address (its
// "where"), checked and written back in one form.
struct GpibScheme {
    const char* name;
    const char* noun; // what the operator calls it
    const char* form; // for the message when the text does not read
    bool takesAddress;
    bool (*readWhere)(const QString& where, QString* normalised);
    std::unique_ptr<Link> (*make)(const QString& where, int address);
};

bool readBoard(const QString& where, QString* normalised) {
    int board = 0;
    if (!readWholeNumber(where, 0, kLastGpibBoard, &board))
        return false;
    *normalised = QString::number(board);
    return true;
}

bool readDevice(const QString& where, QString* normalised) {
    *normalised = where;
    return !where.isEmpty();
}

bool readHostAndPort(const QString& where, quint16 defaultPort, QString* normalised) {
    QString host;
    quint16 port = 0;
    if (!splitHostPort(where, defaultPort, &host, &port))
        return false;
    *normalised = host + QLatin1Char(':') + QString::number(port);
    return true;
}

const GpibScheme kGpibSchemes[] = {
    {"gpib", "GPIB", "gpib:<board>:<address>", true, readBoard,
     [](const QString& where, int address) -> std::unique_ptr<Link> {
         return std::make_unique<LinuxGpibLink>(where.toInt(), address);
     }},
    {"prologix", "\"++\" controller", "prologix:<device>:<address>", true, readDevice,
     [](const QString& where, int address) -> std::unique_ptr<Link> {
         return std::make_unique<PrologixLink>(std::make_unique<SerialLink>(where, kControllerBaudRate),
                                               address);
     }},
    {"prologix-tcp", "\"++\" controller", "prologix-tcp:<host>:<port>:<address>", true,
     [](const QString& where, QString* normalised) { return readHostAndPort(where, 0, normalised); },
     [](const QString& where, int address) -> std::unique_ptr<Link> {
         QString host;
         quint16 port = 0;
         splitHostPort(where, 0, &host, &port);
         return std::make_unique<PrologixLink>(
             std::make_unique<TcpLink>(host, port, TcpLink::Framing::AsGiven), address);
     }},
    {"tcp", "LAN", "tcp:<host>[:<port>]", false,
     [](const QString& where, QString* normalised) {
         return readHostAndPort(where, kScpiSocketPort, normalised);
     },
     [](const QString& where, int) -> std::unique_ptr<Link> {
         QString host;
         quint16 port = 0;
         splitHostPort(where, kScpiSocketPort, &host, &port);
         return std::make_unique<TcpLink>(host, port, TcpLink::Framing::AppendLineFeed);
     }},
};

const GpibScheme* gpibScheme(const QString& name) {
    for (const GpibScheme& scheme : kGpibSchemes) {
        if (name.compare(QLatin1String(scheme.name), Qt::CaseInsensitive) == 0)
            return &scheme;
    }
    return nullptr;
}

bool refuseForm(const GpibScheme& scheme, QString* error) {
    return refuse(QStringLiteral("a %1 connection reads %2")
                      .arg(QLatin1String(scheme.noun), QLatin1String(scheme.form)),
                  error);
}

// The one reading of a GPIB message link's settings, whether they come from a
// connection text or from the GPIB control's back-end text and address: the
// scheme's "where" checked and written back in one form, and the address inside
// the bus's range when the scheme takes one.
bool readGpibSettings(const GpibScheme& scheme, const QString& where, int address, QString* normalised,
                      QString* error) {
    if (!scheme.readWhere(where, normalised))
        return refuseForm(scheme, error);
    if (scheme.takesAddress && !isGpibAddress(address))
        return refuse(QStringLiteral("GPIB address %1 is outside %2 to %3")
                          .arg(address)
                          .arg(kFirstGpibAddress)
                          .arg(kLastGpibAddress),
                      error);
    return true;
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

// "<where>:<address>", or just "<where>" for a link that takes no address.
bool parseGpib(const GpibScheme& scheme, const QString& rest, ConnectionTarget* target, QString* error) {
    const int colon = scheme.takesAddress ? rest.lastIndexOf(QLatin1Char(':')) : -1;
    if (scheme.takesAddress && colon <= 0)
        return refuseForm(scheme, error);
    bool addressRead = true;
    const int address = scheme.takesAddress ? rest.mid(colon + 1).trimmed().toInt(&addressRead) : -1;
    QString normalised;
    if (!readGpibSettings(scheme, scheme.takesAddress ? rest.left(colon) : rest, addressRead ? address : -1,
                          &normalised, error))
        return false;
    target->method = QStringLiteral("GPIB");
    target->gpibBackend = QLatin1String(scheme.name) + QLatin1Char(':') + normalised;
    target->gpibAddress = static_cast<qint16>(address);
    return true;
}

QString schemeNames() {
    QStringList names{QStringLiteral("serial")};
    for (const GpibScheme& scheme : kGpibSchemes)
        names << QLatin1String(scheme.name);
    return names.join(QStringLiteral(", "));
}

} // namespace

bool splitHostPort(const QString& text, quint16 defaultPort, QString* host, quint16* port) {
    const int colon = text.lastIndexOf(QLatin1Char(':'));
    int value = defaultPort;
    if (colon >= 0 && !readWholeNumber(text.mid(colon + 1), 1, 65535, &value))
        return false;
    *host = colon < 0 ? text : text.left(colon);
    if (value < 1 || host->isEmpty())
        return false;
    *port = static_cast<quint16>(value);
    return true;
}

bool parseConnectionText(const QString& text, ConnectionTarget* target, QString* error) {
    const QString trimmed = text.trimmed();
    const int colon = trimmed.indexOf(QLatin1Char(':'));
    if (colon < 0)
        return refuse(QStringLiteral("\"%1\" is not a connection text (e.g. serial:/dev/ttyUSB0@9600, "
                                     "gpib:0:7, tcp:192.168.0.60)")
                          .arg(text),
                      error);
    const QString scheme = trimmed.left(colon).toLower();
    const QString rest = trimmed.mid(colon + 1);
    ConnectionTarget parsed;
    bool ok = false;
    if (scheme == QLatin1String("serial"))
        ok = parseSerial(rest, &parsed, error);
    else if (const GpibScheme* gpib = gpibScheme(scheme))
        ok = parseGpib(*gpib, rest, &parsed, error);
    else
        ok = refuse(QStringLiteral("unknown connection kind \"%1\" (%2)").arg(scheme, schemeNames()), error);
    if (ok && target)
        *target = parsed;
    return ok;
}

QString connectionText(const ConnectionTarget& target) {
    if (target.method == QLatin1String("RS232"))
        return QStringLiteral("serial:") + target.devicePath +
               (target.baudRate > 0 ? QStringLiteral("@%1").arg(target.baudRate) : QString());
    const GpibScheme* scheme = gpibScheme(target.gpibBackend.section(QLatin1Char(':'), 0, 0));
    const bool withAddress = scheme && scheme->takesAddress && target.gpibAddress >= 0;
    return target.gpibBackend + (withAddress ? QStringLiteral(":%1").arg(target.gpibAddress) : QString());
}

std::unique_ptr<Link> makeGpibLink(const QString& backend, int address, QString* error) {
    const int colon = backend.indexOf(QLatin1Char(':'));
    const GpibScheme* scheme = colon > 0 ? gpibScheme(backend.left(colon)) : nullptr;
    QString where;
    if (!scheme) {
        refuse(QStringLiteral("Unknown GPIB back-end \"%1\" (gpib:<board>, prologix:<device>, "
                              "prologix-tcp:<host>:<port>, tcp:<host>:<port>)")
                   .arg(backend),
               error);
        return nullptr;
    }
    if (!readGpibSettings(*scheme, backend.mid(colon + 1), address, &where, error))
        return nullptr;
    return scheme->make(where, address);
}

} // namespace kvx
