#pragma once

#include <QString>
#include <QStringList>

#include <cstdint>
#include <optional>

namespace kvxsim {

struct SimOptions {
    enum class Link { Pty, Tcp };

    Link link = Link::Pty;
    QString ptyLinkPath;
    quint16 tcpPort = 0;
    bool prologix = false;
    int gpibAddress = 7;
    int baud = 0;
    int replyDelayMs = 0;
    std::optional<std::uint32_t> seed;
    QString logPath;
    bool noReply = false;
    int noReplyAfter = 0; // 0: never
    bool garbage = false;
    int dropAfter = 0; // 0: never
    int downMs = 2000;
    bool verbose = false;
};

struct OptionsResult {
    std::optional<SimOptions> options;
    bool helpRequested = false;
    QString error;
};

OptionsResult parseSimOptions(const QStringList& arguments);
QString simUsageText();

} // namespace kvxsim
