#include "simulator.h"

#include "ptyendpoint.h"
#include "simlog.h"
#include "tcpendpoint.h"

Q_LOGGING_CATEGORY(lcSim, "kvx.sim")

namespace kvxsim {

namespace {

std::unique_ptr<HostEndpoint> makeEndpoint(const SimOptions& options) {
    if (options.link == SimOptions::Link::Tcp)
        return std::make_unique<TcpEndpoint>(options.tcpPort);
    return std::make_unique<PtyEndpoint>(options.ptyLinkPath);
}

} // namespace

Simulator::Simulator(const SimOptions& options, std::uint32_t seed, QObject* parent)
    : QObject(parent), m_options(options), m_model(seed), m_garbageRng(seed ^ 0x9E3779B9u),
      m_endpoint(makeEndpoint(options)),
      m_writer(options.baud, [this](const QByteArray& bytes) { m_endpoint->write(bytes); }),
      m_reader(options.baud, [this](const QByteArray& bytes) { onHostBytes(bytes); }) {
    // A pseudo-terminal or socket hands over the host's bytes at once; a real line
    // brings them one by one, so the meter starts on a command only once it is through.
    connect(m_endpoint.get(), &HostEndpoint::received, this,
            [this](const QByteArray& bytes) { m_reader.write(bytes); });
    connect(m_endpoint.get(), &HostEndpoint::hostChanged, this, &Simulator::forgetLinkState);

    if (options.prologix) {
        GpibController::Hooks hooks;
        hooks.toInstrument = [this](const QByteArray& bytes, bool end) { onInstrumentBytes(bytes, end); };
        hooks.toHost = [this](const QByteArray& bytes) { m_writer.write(bytes); };
        hooks.deviceClear = [this] {
            m_instrumentLines.clear();
            m_commands.clear();
            m_replyTimer.stop();
        };
        m_controller = std::make_unique<GpibController>(options.gpibAddress, std::move(hooks));
    }

    m_replyTimer.setSingleShot(true);
    m_replyTimer.setTimerType(Qt::PreciseTimer); // a coarse timer may answer early
    m_replyTimer.setInterval(options.replyDelayMs);
    connect(&m_replyTimer, &QTimer::timeout, this, &Simulator::sendPendingReply);
    m_downTimer.setSingleShot(true);
    m_downTimer.setInterval(options.downMs);
    connect(&m_downTimer, &QTimer::timeout, this, &Simulator::comeBack);
}

Simulator::~Simulator() = default;

bool Simulator::start(QString* error) {
    if (!m_options.logPath.isEmpty()) {
        m_log.setFileName(m_options.logPath);
        if (!m_log.open(QIODevice::WriteOnly | QIODevice::Append)) {
            *error = QStringLiteral("cannot open the log %1: %2").arg(m_options.logPath, m_log.errorString());
            return false;
        }
    }
    return m_endpoint->open(error);
}

void Simulator::onHostBytes(const QByteArray& bytes) {
    if (m_controller) {
        m_controller->feedFromHost(bytes);
        return;
    }
    for (const QByteArray& line : m_hostLines.feed(bytes))
        onCommand(line);
}

void Simulator::onInstrumentBytes(const QByteArray& bytes, bool endOfMessage) {
    QList<QByteArray> lines = m_instrumentLines.feed(bytes);
    if (endOfMessage)
        lines += m_instrumentLines.finishMessage();
    for (const QByteArray& line : lines)
        onCommand(line);
}

void Simulator::onCommand(const QByteArray& line) {
    if (m_downTimer.isActive()) // whatever came in the same chunk as the fatal command is lost with it
        return;
    writeLog(line);
    qCDebug(lcSim) << "received" << line;
    ++m_commandsSinceConnect;
    ++m_commandsReceived;
    if (m_options.dropAfter > 0 && m_commandsSinceConnect >= m_options.dropAfter) {
        // The meter took the command, but its answer dies with the cable.
        m_model.execute(QString::fromUtf8(line));
        dropConnection();
        return;
    }
    m_commands.push_back(line);
    processCommands();
}

void Simulator::processCommands() {
    // A meter works through its input in order: while it is still thinking about one
    // query, later commands wait.
    while (!m_commands.empty() && !m_replyTimer.isActive()) {
        const QByteArray command = m_commands.front();
        m_commands.pop_front();
        if (m_controller)
            m_model.setOutputQueued(m_controller->hasQueuedReply());
        const std::optional<QString> reply = m_model.execute(QString::fromUtf8(command));
        if (reply && !silent())
            answer(*reply);
    }
}

bool Simulator::silent() const {
    return m_options.noReply || (m_options.noReplyAfter > 0 && m_commandsReceived >= m_options.noReplyAfter);
}

void Simulator::answer(const QString& reply) {
    const QByteArray message = m_options.garbage ? garbage() : reply.toUtf8() + '\n';
    if (m_options.replyDelayMs <= 0) {
        sendReply(message);
        return;
    }
    m_pendingReply = message;
    m_replyTimer.start();
}

void Simulator::sendPendingReply() {
    sendReply(m_pendingReply);
    m_pendingReply.clear();
    processCommands();
}

void Simulator::sendReply(const QByteArray& message) {
    if (m_controller)
        m_controller->instrumentReplied(message);
    else
        m_writer.write(message);
}

QByteArray Simulator::garbage() {
    // Printable, but nothing a number parser could take for a digit, sign, point or exponent.
    static const char kAlphabet[] =
        "!#$%&()*/:;<=>?@ABCDFGHIJKLMNOPQRSTUVWXYZ[]^_`abcdfghijklmnopqrstuvwxyz{|}~";
    const auto length = 3 + m_garbageRng() % 6;
    QByteArray bytes;
    for (unsigned i = 0; i < length; ++i)
        bytes.append(kAlphabet[m_garbageRng() % (sizeof kAlphabet - 1)]);
    return bytes + '\n';
}

void Simulator::writeLog(const QByteArray& line) {
    if (!m_log.isOpen())
        return;
    m_log.write(line + '\n');
    m_log.flush();
}

void Simulator::forgetLinkState() {
    m_writer.discard();
    m_reader.discard();
    m_hostLines.clear();
    m_instrumentLines.clear();
    m_commands.clear();
    m_replyTimer.stop();
    if (m_controller)
        m_controller->connectionReset();
}

void Simulator::dropConnection() {
    qCInfo(lcSim) << "dropping the connection for" << m_options.downMs << "ms";
    forgetLinkState();
    m_endpoint->close();
    m_commandsSinceConnect = 0;
    m_downTimer.start();
}

void Simulator::comeBack() {
    QString error;
    if (!m_endpoint->open(&error)) {
        qCWarning(lcSim).noquote() << error << "- trying again";
        m_downTimer.start();
        return;
    }
    if (m_options.link == SimOptions::Link::Pty && m_options.ptyLinkPath.isEmpty())
        qCWarning(lcSim).noquote() << "back on" << m_endpoint->address();
    else
        qCInfo(lcSim).noquote() << "back on" << m_endpoint->address();
}

} // namespace kvxsim
