#include "MonitorServer.h"

#include "RecordStore.h"
#include "SampleExport.h"
#include "Services.h"
#include "StatusReports.h"
#include "WorkingTrace.h"

#include <QElapsedTimer>
#include <QFile>
#include <QHttpServer>
#include <QHttpServerRequest>
#include <QHttpServerResponse>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>
#include <QUrlQuery>
#include <QWebSocket>

namespace kvx {

namespace {

using Status = QHttpServerResponder::StatusCode;

QHttpServerResponse jsonResponse(const QByteArray& json, Status code = Status::Ok) {
    QHttpServerResponse response(QByteArrayLiteral("application/json"), json, code);
    response.addHeader(QByteArrayLiteral("Cache-Control"), QByteArrayLiteral("no-store"));
    return response;
}

QHttpServerResponse errorResponse(Status code, const QString& why) {
    return jsonResponse(QJsonDocument(QJsonObject{{"error", why}}).toJson(QJsonDocument::Compact), code);
}

QHttpServerResponse resource(const QString& path, const QByteArray& type) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return errorResponse(Status::NotFound, QStringLiteral("not found"));
    return QHttpServerResponse(type, file.readAll());
}

// The working trace's units, as the exports name a record's units.
RecordHeader unitsOf(const WorkingTrace& trace) {
    RecordHeader header;
    header.pUnit = trace.primaryUnit();
    header.sUnit = trace.secondaryUnit();
    return header;
}

// One sample as an element of a JSON array: its NDJSON line without the line end.
void appendSampleObject(SampleEncoder& encoder, const StoredSample& sample, QByteArray* out) {
    if (!out->isEmpty())
        out->append(',');
    encoder.appendSample(sample, out);
    if (out->endsWith('\n'))
        out->chop(1);
}

// Constant time, so that the answer's timing tells nothing of the token.
bool sameBytes(const QByteArray& a, const QByteArray& b) {
    if (a.size() != b.size())
        return false;
    unsigned char difference = 0;
    for (qsizetype i = 0; i < a.size(); ++i)
        difference |= static_cast<unsigned char>(a[i] ^ b[i]);
    return difference == 0;
}

// Qt's HTTP server takes whatever a client sends into memory before it parses
// it. Every request this server answers is small, so a connection that sends
// more than this without getting an answer is cut off with 413.
constexpr qint64 kMaxRequestBytes = 64 * 1024;

class GuardedTcpServer final : public QTcpServer {
public:
    using QTcpServer::QTcpServer;

protected:
    void incomingConnection(qintptr descriptor) override {
        auto* socket = new QTcpSocket(this);
        if (!socket->setSocketDescriptor(descriptor)) {
            delete socket;
            return;
        }
        // Connected before the HTTP server's own handler, so it sees the bytes first.
        auto unanswered = std::make_shared<qint64>(0);
        auto cutOff = std::make_shared<bool>(false);
        connect(socket, &QTcpSocket::readyRead, socket, [socket, unanswered, cutOff] {
            *unanswered += socket->bytesAvailable();
            if (*unanswered <= kMaxRequestBytes && !*cutOff)
                return;
            socket->readAll();
            if (*cutOff)
                return;
            *cutOff = true;
            socket->write("HTTP/1.1 413 Payload Too Large\r\nConnection: close\r\nContent-Length: 0\r\n\r\n");
            socket->disconnectFromHost();
        });
        connect(socket, &QTcpSocket::bytesWritten, socket, [unanswered] { *unanswered = 0; });
        addPendingConnection(socket);
    }
};

} // namespace

bool parseListenAddress(const QString& text, QHostAddress* address, quint16* port, QString* error) {
    const QString trimmed = text.trimmed();
    const qsizetype colon = trimmed.lastIndexOf(QLatin1Char(':'));
    QString host = colon < 0 ? QString() : trimmed.left(colon);
    const QString portText = colon < 0 ? trimmed : trimmed.mid(colon + 1);
    bool ok = false;
    const uint number = portText.toUInt(&ok);
    if (!ok || number > 65535) {
        *error = QStringLiteral("\"%1\" is not [ADDRESS:]PORT (a port is 0 to 65535)").arg(text);
        return false;
    }
    if (host.startsWith(QLatin1Char('[')) && host.endsWith(QLatin1Char(']')))
        host = host.mid(1, host.size() - 2);
    QHostAddress parsed(QStringLiteral("127.0.0.1"));
    if (!host.isEmpty() && !parsed.setAddress(host)) {
        *error = QStringLiteral("\"%1\" is not an IP address").arg(host);
        return false;
    }
    *address = parsed;
    *port = quint16(number);
    return true;
}

bool readTokenFile(const QString& path, QByteArray* token, QString* error) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("the token file %1 cannot be read: %2").arg(path, file.errorString());
        return false;
    }
    *token = file.readLine(4096).trimmed();
    if (token->isEmpty()) {
        *error = QStringLiteral("the token file %1 holds no token on its first line").arg(path);
        return false;
    }
    return true;
}

MonitorServer::MonitorServer(WorkingTrace& trace, RecordStore& store, QObject* parent)
    : QObject(parent), m_trace(trace), m_store(store), m_http(std::make_unique<QHttpServer>()) {
    m_sendTimer = new QTimer(this);
    m_sendTimer->setSingleShot(true);
    connect(m_sendTimer, &QTimer::timeout, this, &MonitorServer::send);
    addRoutes();
    connect(m_http.get(), &QHttpServer::newWebSocketConnection, this, &MonitorServer::acceptClients);
    connect(&m_trace, &WorkingTrace::sampleStored, this, &MonitorServer::onSample);
    connect(&m_trace, &WorkingTrace::readingTaken, this, [this] {
        m_changed = true;
        scheduleSend();
    });
    connect(&m_trace, &WorkingTrace::statusChanged, this, [this] {
        m_changed = true;
        scheduleSend();
    });
    connect(&m_trace, &WorkingTrace::restarted, this, [this] {
        // The samples held back belong to the trace that is gone.
        m_pendingSamples.clear();
        m_restarted = true;
        scheduleSend();
    });
}

MonitorServer::~MonitorServer() = default;

bool MonitorServer::listen(const QString& addressText, QString* error) {
    quint16 wanted = 0;
    if (!parseListenAddress(addressText, &m_address, &wanted, error))
        return false;
    auto* tcp = new GuardedTcpServer(this);
    m_port = tcp->listen(m_address, wanted) ? tcp->serverPort() : 0;
    if (m_port != 0)
        m_http->bind(tcp);
    else
        delete tcp;
    if (m_port == 0) {
        *error = QStringLiteral("the monitor page cannot be served at %1:%2 (the port is in use or not allowed)")
                     .arg(m_address.toString())
                     .arg(wanted);
        return false;
    }
    return true;
}

QString MonitorServer::url() const {
    const QString host = m_address.protocol() == QAbstractSocket::IPv6Protocol
                             ? QStringLiteral("[%1]").arg(m_address.toString())
                             : m_address.toString();
    return QStringLiteral("http://%1:%2/").arg(host).arg(m_port);
}

void MonitorServer::addRoutes() {
    using Method = QHttpServerRequest::Method;
    m_http->route(QStringLiteral("/"), Method::Get, [] {
        return resource(QStringLiteral(":/monitor/monitor.html"), QByteArrayLiteral("text/html; charset=utf-8"));
    });
    m_http->route(QStringLiteral("/dygraph.min.js"), Method::Get, [] {
        return resource(QStringLiteral(":/monitor/dygraph.min.js"),
                        QByteArrayLiteral("text/javascript; charset=utf-8"));
    });
    m_http->route(QStringLiteral("/dygraph.min.css"), Method::Get, [] {
        return resource(QStringLiteral(":/monitor/dygraph.min.css"), QByteArrayLiteral("text/css; charset=utf-8"));
    });
    // Qt hands a connection to the WebSocket server only when a route takes the
    // upgrade request and writes nothing back.
    m_http->route(QStringLiteral("/ws"), [](const QHttpServerRequest& request, QHttpServerResponder&& responder) {
        if (request.value(QByteArrayLiteral("Upgrade")).compare("websocket", Qt::CaseInsensitive) != 0)
            responder.write(QJsonDocument(QJsonObject{{"error", "a WebSocket is opened here"}}),
                            QHttpServerResponder::StatusCode::BadRequest);
    });
    m_http->route(QStringLiteral("/api/status"), Method::Get, [this] { return status(); });
    m_http->route(QStringLiteral("/api/trace"), Method::Get,
                  [this](const QHttpServerRequest& request) { return tracePage(request); });
    m_http->route(QStringLiteral("/api/start"), Method::Post, [this](const QHttpServerRequest& request) {
        return control(request, m_controls.start);
    });
    m_http->route(QStringLiteral("/api/stop"), Method::Post, [this](const QHttpServerRequest& request) {
        return control(request, m_controls.stop);
    });
    m_http->route(QStringLiteral("/api/save"), Method::Post, [this](const QHttpServerRequest& request) {
        return control(request, m_controls.saveRecord);
    });
}

QHttpServerResponse MonitorServer::status() const {
    QJsonObject object = m_trace.statusJson(clock().now());
    return jsonResponse(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

QHttpServerResponse MonitorServer::tracePage(const QHttpServerRequest& request) const {
    const QUrlQuery query = request.query();
    bool ok = true;
    const qint64 from = query.hasQueryItem(QStringLiteral("from"))
                            ? query.queryItemValue(QStringLiteral("from")).toLongLong(&ok)
                            : 0;
    if (!ok)
        return errorResponse(Status::BadRequest, QStringLiteral("from needs a sample number"));
    QByteArray samples;
    qint64 last = -1;
    int count = 0;
    if (m_store.isOpen()) {
        SampleEncoder encoder(ExportFormat::Ndjson, unitsOf(m_trace));
        const bool read = m_store.streamWorkingSamplesFrom(from, kPageSize, [&](const StoredSample& sample) {
            appendSampleObject(encoder, sample, &samples);
            last = sample.seqNo;
            ++count;
            return true;
        });
        if (!read)
            return errorResponse(Status::ServiceUnavailable,
                                 QStringLiteral("the trace cannot be read now: %1")
                                     .arg(m_store.lastError().description));
    }
    // "next" is where the following page starts; null after the last one.
    QByteArray body = "{\"from\":" + QByteArray::number(from) + ",\"stored\":" +
                      (m_store.isOpen() ? "true" : "false") + ",\"next\":" +
                      (count == kPageSize ? QByteArray::number(last + 1) : QByteArray("null")) + ",\"samples\":[";
    body += samples;
    body += "]}";
    return jsonResponse(body);
}

bool MonitorServer::tokenMatches(const QHttpServerRequest& request) const {
    if (m_token.isEmpty())
        return false;
    QByteArray sent = request.value(QByteArrayLiteral("X-Monitor-Token"));
    if (sent.isEmpty())
        sent = request.query().queryItemValue(QStringLiteral("token"), QUrl::FullyDecoded).toUtf8();
    return sameBytes(sent, m_token);
}

QHttpServerResponse MonitorServer::control(const QHttpServerRequest& request,
                                           const std::function<QString()>& action) const {
    if (m_token.isEmpty())
        return errorResponse(Status::Forbidden,
                             QStringLiteral("the page is read-only: the program was started without --http-token"));
    if (!tokenMatches(request))
        return errorResponse(Status::Forbidden, QStringLiteral("the token is missing or wrong"));
    if (!action)
        return errorResponse(Status::Conflict, QStringLiteral("this key is not there in this run"));
    const QString refusal = action();
    if (!refusal.isEmpty())
        return errorResponse(Status::Conflict, refusal);
    return jsonResponse(QJsonDocument(QJsonObject{{"done", true}}).toJson(QJsonDocument::Compact));
}

void MonitorServer::acceptClients() {
    while (m_http->hasPendingWebSocketConnections()) {
        std::unique_ptr<QWebSocket> client = m_http->nextPendingWebSocketConnection();
        if (!client)
            continue;
        if (client->requestUrl().path() != QLatin1String("/ws")) {
            client->close(QWebSocketProtocol::CloseCodePolicyViolated, QStringLiteral("unknown path"));
            client.release()->deleteLater();
            continue;
        }
        // The page sends nothing that matters; whatever it sends is kept small.
        client->setMaxAllowedIncomingMessageSize(4096);
        client->setMaxAllowedIncomingFrameSize(4096);
        QWebSocket* socket = client.get();
        connect(socket, &QWebSocket::disconnected, this, [this, socket] {
            for (auto it = m_clients.begin(); it != m_clients.end(); ++it) {
                if (it->get() == socket) {
                    it->release()->deleteLater();
                    m_clients.erase(it);
                    return;
                }
            }
        });
        m_clients.push_back(std::move(client));
        // The newcomer learns the status at once, within the same rate as the others.
        m_changed = true;
        scheduleSend();
    }
}

void MonitorServer::onSample(const TraceSample& sample) {
    if (m_clients.empty())
        return;
    const NewSample& s = sample.sample;
    const QByteArray recTime = s.recTime.toUtf8(), pVal = s.pVal.toUtf8(), sVal = s.sVal.toUtf8(),
                     reason = s.reason.toUtf8();
    StoredSample stored;
    stored.seqNo = s.seqNo;
    stored.recTime = recTime;
    stored.pVal = pVal;
    stored.sVal = sVal;
    stored.reason = reason;
    stored.comment = QByteArrayView("", 0);
    stored.timeTick = s.timeTick;
    stored.diffLastTime = s.diffLastTime;
    stored.noReply = s.noReply;
    RecordHeader units;
    units.pUnit = sample.primaryUnit;
    units.sUnit = sample.secondaryUnit;
    SampleEncoder encoder(ExportFormat::Ndjson, units);
    appendSampleObject(encoder, stored, &m_pendingSamples);
    m_changed = true;
    scheduleSend();
}

void MonitorServer::scheduleSend() {
    if (m_clients.empty()) {
        m_pendingSamples.clear();
        m_restarted = false;
        m_changed = false;
        return;
    }
    if (!m_sendTimer->isActive())
        m_sendTimer->start(kSendIntervalMs);
}

void MonitorServer::send() {
    if (m_clients.empty() || (!m_changed && !m_restarted))
        return;
    QByteArray message = QByteArrayLiteral("{\"restart\":") + (m_restarted ? "true" : "false") +
                         ",\"status\":" +
                         QJsonDocument(m_trace.statusJson(clock().now())).toJson(QJsonDocument::Compact) +
                         ",\"samples\":[" + m_pendingSamples + "]}";
    m_pendingSamples.clear();
    m_restarted = false;
    m_changed = false;
    const QString text = QString::fromUtf8(message);
    for (auto it = m_clients.begin(); it != m_clients.end();) {
        QWebSocket* client = it->get();
        // A browser that stopped reading would make the program hold every
        // message for it; it is let go instead, and can join again.
        if (client->bytesToWrite() > kMaxBacklog) {
            client->disconnect(this);
            client->abort();
            it->release()->deleteLater();
            it = m_clients.erase(it);
            continue;
        }
        client->sendTextMessage(text);
        ++it;
    }
}

std::unique_ptr<MonitorServer> startMonitor(const QString& address, const QString& tokenFile,
                                            MonitorControls controls, QString* error) {
    error->clear();
    if (address.trimmed().isEmpty())
        return nullptr;
    QByteArray token;
    if (!tokenFile.isEmpty() && !readTokenFile(tokenFile, &token, error))
        return nullptr;
    auto server = std::make_unique<MonitorServer>(workingTrace(), recordStore());
    if (!server->listen(address, error))
        return nullptr;
    server->setToken(token);
    server->setControls(std::move(controls));
    statusReports().report(QStringLiteral("monitor page at %1%2")
                               .arg(server->url(), token.isEmpty() ? QStringLiteral(" (read-only)") : QString()));
    return server;
}

} // namespace kvx
