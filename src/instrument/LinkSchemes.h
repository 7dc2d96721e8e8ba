#pragma once
// The registry of connection kinds: one row per scheme, naming the link class
// that reads the rest of its text and makes its link. Connection texts, the GPIB
// control's back-end text and the Setting dialog's list are all read from here.

#include "Link.h"
#include "SerialFraming.h"

#include <QString>
#include <memory>
#include <vector>

namespace kvx {

// What the Setting dialog offers for a scheme's place.
enum class LinkPlaces { Boards, SerialDevices, Typed };

struct LinkScheme {
    const char* name;    // the text before the first ':'
    const char* method;  // "RS232" or "GPIB": the driver's link object that takes it
    const char* noun;    // what the operator calls it, in messages
    const char* form;    // how its text reads, in messages
    const char* caption; // the Setting dialog's "GPIB via" entry
    QString hint;        // the Setting dialog's example place
    const char* defaultPlace;
    LinkPlaces places;
    bool takesAddress; // a GPIB primary address follows the place
    bool lanSocket;    // the settings' LAN flag and address follow this scheme
    // The link class's reading of the place, written back in one form into
    // `target`; false, with a message or with none (then the form is named).
    bool (*readPlace)(const QString& place, ConnectionTarget* target, QString* error);
    // The link a target of this scheme names, not yet opened.
    std::unique_ptr<Link> (*make)(const ConnectionTarget& target, const SerialFraming& framing);
};

// Every connection kind, serial first; the GPIB control's in the Setting dialog's order.
const std::vector<LinkScheme>& linkSchemes();
// The row of a scheme name (any case); null when there is none.
const LinkScheme* linkScheme(const QString& name);

// The GPIB control's settings, its back-end text and address, read as a target
// by the same rows as a connection text ("Unknown GPIB back-end" for a text no
// GPIB scheme reads).
bool readGpibSettings(const QString& backend, int address, ConnectionTarget* target, QString* error);
// A back-end text's scheme and the place after it; null (place empty) when no GPIB scheme reads it.
const LinkScheme* backendScheme(const QString& backend, QString* place);
// The back-end text of a scheme and a place as typed.
QString backendText(const LinkScheme& scheme, const QString& place);

// The link a parsed target names, not yet opened.
std::unique_ptr<Link> makeLink(const ConnectionTarget& target, const SerialFraming& framing = {});

} // namespace kvx
