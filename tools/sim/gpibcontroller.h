#pragma once

#include <QByteArray>
#include <QList>

#include <deque>
#include <functional>

namespace kvxsim {

// The host side of a "++" GPIB controller with one instrument on its bus. The host
// talks lines; lines starting with "++" configure the controller, everything else is
// data for the addressed instrument. The instrument's replies wait in its output queue
// until the host reads them with "++read" or, in auto mode, right after each data line.
class GpibController {
public:
    enum class Terminator { CrLf = 0, Cr = 1, Lf = 2, None = 3 };

    struct Hooks {
        // Bytes put on the bus for the instrument, with the configured terminator;
        // endOfMessage is true when the controller asserted EOI on the last byte.
        std::function<void(const QByteArray& bytes, bool endOfMessage)> toInstrument;
        std::function<void(const QByteArray& bytes)> toHost;
        std::function<void()> deviceClear;
    };

    GpibController(int instrumentAddress, Hooks hooks);

    void feedFromHost(const QByteArray& bytes);
    void instrumentReplied(const QByteArray& message);
    bool hasQueuedReply() const { return !m_replies.empty(); }
    // A new host connection: half-typed lines and unread replies belong to the old one.
    void connectionReset();

private:
    void finishLine();
    void handleControllerCommand(const QByteArray& line);
    void sendToInstrument(const QByteArray& data);
    void requestRead();
    void deliverReply();
    void clearInstrument();
    void answer(const QByteArray& text);
    bool instrumentAddressed() const;
    void restoreDefaults();
    void setOrQueryInt(const QByteArray& argument, int& setting, int low, int high);

    const int m_instrumentAddress;
    Hooks m_hooks;

    int m_mode = 1;
    int m_address = 0;
    int m_auto = 0;
    int m_eoi = 1;
    int m_eos = 0;
    int m_eotEnable = 0;
    int m_eotChar = 0;
    int m_readTimeoutMs = 500;

    QByteArray m_line;
    bool m_escapeNext = false;
    bool m_lineStartEscaped = false;
    bool m_readPending = false;
    std::deque<QByteArray> m_replies;
};

} // namespace kvxsim
