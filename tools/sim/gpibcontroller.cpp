#include "gpibcontroller.h"

#include <utility>

namespace kvxsim {

namespace {

constexpr char kEscape = 27;
const QByteArray kVersionLine = "kvx5130-sim GPIB-LAN controller version 1.0.1";

QByteArray terminatorBytes(int eos) {
    switch (static_cast<GpibController::Terminator>(eos)) {
    case GpibController::Terminator::CrLf:
        return "\r\n";
    case GpibController::Terminator::Cr:
        return "\r";
    case GpibController::Terminator::Lf:
        return "\n";
    case GpibController::Terminator::None:
        break;
    }
    return {};
}

} // namespace

GpibController::GpibController(int instrumentAddress, Hooks hooks)
    : m_instrumentAddress(instrumentAddress), m_hooks(std::move(hooks)) {
    restoreDefaults();
}

void GpibController::feedFromHost(const QByteArray& bytes) {
    for (char byte : bytes) {
        if (m_escapeNext) {
            m_escapeNext = false;
            if (m_line.size() < 2)
                m_lineStartEscaped = true;
            m_line.append(byte);
        } else if (byte == kEscape) {
            m_escapeNext = true;
        } else if (byte == '\r' || byte == '\n') {
            finishLine();
        } else {
            m_line.append(byte);
        }
    }
}

void GpibController::finishLine() {
    const QByteArray line = std::exchange(m_line, QByteArray());
    const bool startEscaped = std::exchange(m_lineStartEscaped, false);
    if (line.isEmpty())
        return;
    // The controller handles host lines one after another, so a read that is still
    // waiting when the next line arrives has timed out.
    m_readPending = false;
    if (line.startsWith("++") && !startEscaped) {
        handleControllerCommand(line.mid(2).trimmed());
        return;
    }
    sendToInstrument(line);
    if (m_auto)
        requestRead();
}

void GpibController::handleControllerCommand(const QByteArray& line) {
    const qsizetype blank = line.indexOf(' ');
    const QByteArray name = (blank < 0 ? line : line.left(blank)).toLower();
    const QByteArray argument = blank < 0 ? QByteArray() : line.mid(blank + 1).trimmed();

    if (name == "addr")
        setOrQueryInt(argument.split(' ').value(0), m_address, 0, 30);
    else if (name == "auto")
        setOrQueryInt(argument, m_auto, 0, 1);
    else if (name == "eoi")
        setOrQueryInt(argument, m_eoi, 0, 1);
    else if (name == "eos")
        setOrQueryInt(argument, m_eos, 0, 3);
    else if (name == "mode")
        setOrQueryInt(argument, m_mode, 0, 1);
    else if (name == "eot_enable")
        setOrQueryInt(argument, m_eotEnable, 0, 1);
    else if (name == "eot_char")
        setOrQueryInt(argument, m_eotChar, 0, 255);
    else if (name == "read_tmo_ms")
        setOrQueryInt(argument, m_readTimeoutMs, 1, 3000);
    else if (name == "read")
        requestRead();
    else if (name == "ver")
        answer(kVersionLine);
    else if (name == "clr")
        clearInstrument();
    else if (name == "rst")
        restoreDefaults();
    // ++loc, ++ifc, ++llo, ++savecfg and the rest change nothing the host could observe.
}

void GpibController::setOrQueryInt(const QByteArray& argument, int& setting, int low, int high) {
    if (argument.isEmpty()) {
        answer(QByteArray::number(setting));
        return;
    }
    bool ok = false;
    const int value = argument.toInt(&ok);
    if (ok && value >= low && value <= high)
        setting = value;
}

void GpibController::sendToInstrument(const QByteArray& data) {
    // Nobody listens at another address, so those bytes just vanish.
    if (!instrumentAddressed())
        return;
    m_hooks.toInstrument(data + terminatorBytes(m_eos), m_eoi != 0);
}

void GpibController::requestRead() {
    if (!instrumentAddressed())
        return;
    m_readPending = true;
    deliverReply();
}

void GpibController::instrumentReplied(const QByteArray& message) {
    m_replies.push_back(message);
    deliverReply();
}

void GpibController::deliverReply() {
    if (!m_readPending || m_replies.empty())
        return;
    m_readPending = false;
    QByteArray message = m_replies.front();
    m_replies.pop_front();
    if (m_eotEnable)
        message.append(static_cast<char>(m_eotChar));
    m_hooks.toHost(message);
}

void GpibController::clearInstrument() {
    if (!instrumentAddressed())
        return;
    m_replies.clear();
    if (m_hooks.deviceClear)
        m_hooks.deviceClear();
}

void GpibController::answer(const QByteArray& text) {
    m_hooks.toHost(text + "\r\n");
}

bool GpibController::instrumentAddressed() const {
    return m_mode == 1 && m_address == m_instrumentAddress;
}

void GpibController::connectionReset() {
    m_line.clear();
    m_escapeNext = false;
    m_lineStartEscaped = false;
    m_readPending = false;
    m_replies.clear();
}

void GpibController::restoreDefaults() {
    m_mode = 1;
    m_address = m_instrumentAddress;
    m_auto = 0;
    m_eoi = 1;
    m_eos = 0;
    m_eotEnable = 0;
    m_eotChar = 0;
    m_readTimeoutMs = 500;
}

} // namespace kvxsim
