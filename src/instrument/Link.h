#pragma once
// One transport to the meter. A reply ends at its terminator (line feed) or at
// GPIB END, never at a guessed pause; `read` returns it with the terminator
// still on it, as the meter sent it.

#include <QByteArray>
#include <QString>
#include <functional>
#include <memory>

namespace kvx {

// Error numbers a link reports next to its text; the connection test shows them
// as "[n]". They sort failures by what went wrong, whatever the transport.
enum LinkErrorNumber : int {
    kLinkNoError = 0,
    kLinkSettingsError = 1, // the settings name no usable device, host or address
    kLinkOpenError = 2,     // the device, library or host could not be opened
    kLinkWriteError = 3,
    kLinkReadError = 4,
    kLinkTimeoutError = 5, // no complete reply within the link's timeout
    kLinkNotOpenError = 6, // nothing configured, or the device went away
};

class Link {
public:
    virtual ~Link() = default;
    Link() = default;
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;

    virtual bool open(QString* error) = 0;
    virtual void close() = 0;
    // False once the device went away (unplugged adapter, closed socket): the
    // owner then opens it again before its next write.
    virtual bool isOpen() const = 0;
    // Writes the bytes as given; the caller has added any terminator the link needs.
    virtual bool write(const QByteArray& data, QString* error) = 0;
    virtual bool read(QByteArray* reply, QString* error) = 0;
    virtual QString description() const = 0;
    // The connection text that opens this link again ("tcp:meter.lab:5025");
    // empty for links no connection text names (stand-ins).
    virtual QString connectionText() const { return QString(); }
    // Timeout of one write or one whole reply.
    virtual void setTimeoutMs(int ms) { m_timeoutMs = ms; }
    int timeoutMs() const { return m_timeoutMs; }

    // Called, from the event loop, when the link fails while no exchange runs
    // (the peer closed the connection, the adapter was unplugged). Links that
    // cannot notice that on their own never call it.
    using IdleErrorHandler = std::function<void(const QString& description)>;
    void setIdleErrorHandler(IdleErrorHandler handler) { m_idleErrorHandler = std::move(handler); }

    // The number of the last failure (LinkErrorNumber), kLinkNoError after a success.
    int lastErrorNumber() const { return m_lastErrorNumber; }

protected:
    // Records a failure and hands its text to the caller; always returns false.
    bool fail(int number, const QString& text, QString* error);
    bool succeed() {
        m_lastErrorNumber = kLinkNoError;
        return true;
    }
    void reportIdleError(const QString& description) const;

private:
    int m_timeoutMs = 1000;
    int m_lastErrorNumber = kLinkNoError;
    IdleErrorHandler m_idleErrorHandler;
};

// GPIB primary addresses an instrument can take; 31 is the bus's "unlisten".
// The settings field stores 31 too, and opening a link on it is refused with a
// message that names the range.
inline constexpr int kFirstGpibAddress = 0;
inline constexpr int kLastGpibAddress = 30;
inline constexpr int kLastStoredGpibAddress = 31;
inline bool isGpibAddress(int address) {
    return address >= kFirstGpibAddress && address <= kLastGpibAddress;
}

// A whole number within [low, high], blanks around it allowed.
bool readWholeNumber(const QString& text, int low, int high, int* value);

// A parsed connection text: the connection kind, and the settings its link
// class read from the rest of the text, in one form.
struct ConnectionTarget {
    QString scheme;          // "serial", "gpib", "prologix", "prologix-tcp" or "tcp"
    QString method;          // "RS232" or "GPIB": which of the driver's two link objects takes it
    QString where;           // the device, board or host:port
    qint32 baudRate = 0;     // serial: 0 keeps the present rate
    qint16 gpibAddress = -1; // GPIB: -1 keeps the present address
    // The GPIB control's back-end text, "<scheme>:<where>".
    QString gpibBackend() const { return scheme + QLatin1Char(':') + where; }
};

// Parses a connection text (the --link option and the settings give one):
//
//   serial:<device>[@<baud>]       RS-232 on any serial device: /dev/ttyS0, a USB
//                                  adapter (/dev/ttyUSB0), a pseudo-terminal, framed
//                                  as the settings say (8N1 unless changed). Each
//                                  command goes out with one CR.
//                                  Without @<baud> the settings' rate stays.
//   gpib:<board>:<address>         linux-gpib (libgpib.so.0, loaded when used): the
//                                  command as it stands, ended by EOI.
//   prologix:<device>:<address>    a "++" GPIB controller on a serial device, and
//   prologix-tcp:<host>:<port>:<address>   the same over TCP: the controller is set
//                                  to ++mode 1, ++addr, ++auto 0, ++eoi 1, ++eos 3,
//                                  so the meter gets the command with EOI and no
//                                  terminator byte; replies are fetched with
//                                  "++read eoi"; ++loc on close.
//   tcp:<host>[:<port>]            the meter's raw SCPI socket, port 5025 by default;
//                                  each command goes out with one LF.
//
// The settings' COM port n, with no device given, is /dev/ttyS(n-1). Addresses
// are GPIB primary addresses 0 to 30. Every reply is read up to the meter's LF
// (or GPIB END) within the link's timeout (half a second unless set otherwise).
// Returns false with a message for anything else. Each kind is one row of the
// registry in LinkSchemes.h.
bool parseConnectionText(const QString& text, ConnectionTarget* target, QString* error);

// The connection text of a parsed target, in the form above (the port always written).
QString connectionText(const ConnectionTarget& target);

} // namespace kvx
