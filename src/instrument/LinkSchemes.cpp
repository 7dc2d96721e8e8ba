// The connection kinds, each in one row: which link class reads the text after
// "<scheme>:" and which link it opens. A connection text and the GPIB control's
// back-end text and address are both read here, by the same row.
#include "LinkSchemes.h"

#include "LinuxGpibLink.h"
#include "PrologixLink.h"
#include "SerialLink.h"
#include "TcpLink.h"

#include <QStringList>

namespace kvx {

namespace {

bool refuse(const QString& text, QString* error) {
    if (error)
        *error = text;
    return false;
}

bool refuseForm(const LinkScheme& scheme, QString* error) {
    return refuse(QStringLiteral("a %1 connection reads %2")
                      .arg(QLatin1String(scheme.noun), QLatin1String(scheme.form)),
                  error);
}

QString schemeNames() {
    QStringList names;
    for (const LinkScheme& scheme : linkSchemes())
        names << QLatin1String(scheme.name);
    return names.join(QStringLiteral(", "));
}

// "<place>:<address>", or just "<place>" for a scheme that takes no address.
bool readTarget(const LinkScheme& scheme, const QString& rest, ConnectionTarget* target, QString* error) {
    ConnectionTarget parsed;
    parsed.scheme = QLatin1String(scheme.name);
    parsed.method = QLatin1String(scheme.method);
    QString place = rest;
    int address = -1;
    bool addressRead = true;
    if (scheme.takesAddress) {
        const int colon = rest.lastIndexOf(QLatin1Char(':'));
        if (colon <= 0)
            return refuseForm(scheme, error);
        address = rest.mid(colon + 1).trimmed().toInt(&addressRead);
        place = rest.left(colon);
    }
    QString why;
    if (!scheme.readPlace(place, &parsed, &why))
        return why.isEmpty() ? refuseForm(scheme, error) : refuse(why, error);
    if (scheme.takesAddress) {
        if (!addressRead || !isGpibAddress(address))
            return refuse(QStringLiteral("GPIB address %1 is outside %2 to %3")
                              .arg(addressRead ? address : -1)
                              .arg(kFirstGpibAddress)
                              .arg(kLastGpibAddress),
                          error);
        parsed.gpibAddress = static_cast<qint16>(address);
    }
    *target = parsed;
    return true;
}

} // namespace

const std::vector<LinkScheme>& linkSchemes() {
    static const std::vector<LinkScheme> schemes = {
        {"serial", "RS232", "serial", "serial:<device>[@<baud>]", "", QString(), "",
         LinkPlaces::SerialDevices, false, false, SerialLink::readPlace, SerialLink::make},
        {"gpib", "GPIB", "GPIB", "gpib:<board>:<address>", "linux-gpib board", QStringLiteral("board number"),
         "0", LinkPlaces::Boards, true, false, LinuxGpibLink::readPlace, LinuxGpibLink::make},
        {"prologix", "GPIB", "\"++\" controller", "prologix:<device>:<address>",
         "\"++\" controller, serial device", QStringLiteral("/dev/ttyUSB0"), "", LinkPlaces::SerialDevices,
         true, false, PrologixLink::readSerialPlace, PrologixLink::makeSerial},
        {"prologix-tcp", "GPIB", "\"++\" controller", "prologix-tcp:<host>:<port>:<address>",
         "\"++\" controller, TCP", QStringLiteral("host:1234"), "", LinkPlaces::Typed, true, false,
         PrologixLink::readTcpPlace, PrologixLink::makeTcp},
        {"tcp", "GPIB", "LAN", "tcp:<host>[:<port>]", "LAN socket (raw SCPI)",
         QStringLiteral("host:%1").arg(kScpiSocketPort), "", LinkPlaces::Typed, false, true,
         TcpLink::readPlace, TcpLink::make},
    };
    return schemes;
}

const LinkScheme* linkScheme(const QString& name) {
    for (const LinkScheme& scheme : linkSchemes()) {
        if (name.compare(QLatin1String(scheme.name), Qt::CaseInsensitive) == 0)
            return &scheme;
    }
    return nullptr;
}

bool parseConnectionText(const QString& text, ConnectionTarget* target, QString* error) {
    const QString trimmed = text.trimmed();
    const int colon = trimmed.indexOf(QLatin1Char(':'));
    if (colon < 0)
        return refuse(QStringLiteral("\"%1\" is not a connection text (e.g. serial:/dev/ttyUSB0@9600, "
                                     "gpib:0:7, tcp:192.168.0.60)")
                          .arg(text),
                      error);
    const QString name = trimmed.left(colon).toLower();
    const LinkScheme* scheme = linkScheme(name);
    if (!scheme)
        return refuse(QStringLiteral("unknown connection kind \"%1\" (%2)").arg(name, schemeNames()), error);
    ConnectionTarget parsed;
    if (!readTarget(*scheme, trimmed.mid(colon + 1), &parsed, error))
        return false;
    if (target)
        *target = parsed;
    return true;
}

QString connectionText(const ConnectionTarget& target) {
    const LinkScheme* scheme = linkScheme(target.scheme);
    QString text = target.gpibBackend();
    if (target.baudRate > 0)
        text += QStringLiteral("@%1").arg(target.baudRate);
    if (scheme && scheme->takesAddress && target.gpibAddress >= 0)
        text += QStringLiteral(":%1").arg(target.gpibAddress);
    return text;
}

const LinkScheme* backendScheme(const QString& backend, QString* place) {
    const QString text = backend.trimmed();
    const int colon = text.indexOf(QLatin1Char(':'));
    const LinkScheme* scheme = colon > 0 ? linkScheme(text.left(colon)) : nullptr;
    if (!scheme || QLatin1String(scheme->method) != QLatin1String("GPIB")) {
        place->clear();
        return nullptr;
    }
    *place = text.mid(colon + 1);
    return scheme;
}

QString backendText(const LinkScheme& scheme, const QString& place) {
    const QString typed = place.trimmed();
    return QLatin1String(scheme.name) + QLatin1Char(':') +
           (typed.isEmpty() ? QLatin1String(scheme.defaultPlace) : typed);
}

bool readGpibSettings(const QString& backend, int address, ConnectionTarget* target, QString* error) {
    QString place;
    const LinkScheme* scheme = backendScheme(backend, &place);
    if (!scheme)
        return refuse(QStringLiteral("Unknown GPIB back-end \"%1\" (gpib:<board>, prologix:<device>, "
                                     "prologix-tcp:<host>:<port>, tcp:<host>:<port>)")
                          .arg(backend),
                      error);
    if (scheme->takesAddress)
        place += QStringLiteral(":%1").arg(address);
    return readTarget(*scheme, place, target, error);
}

std::unique_ptr<Link> makeLink(const ConnectionTarget& target, const SerialFraming& framing) {
    const LinkScheme* scheme = linkScheme(target.scheme);
    return scheme ? scheme->make(target, framing) : nullptr;
}

} // namespace kvx
