#pragma once
// The monitor page: a small web server inside the running program (with its
// windows or as `kvx5130 log`) that lets a browser elsewhere watch the working
// trace. It serves one page from the program's resources, the status object of
// WorkingTrace (/api/status), the trace so far in pages (/api/trace?from=N), and
// a WebSocket (/ws) that carries what happened since its last message, at most
// four messages a second. It reads only WorkingTrace and the record store, never
// a window; what Start, Stop and Save Rec do is handed in by the program.
//
// Control needs the token the program was started with (--http-token FILE),
// sent as the header "X-Monitor-Token" or the query item "token". Without a
// token file the page is read-only and every control request gets 403.
//
// Everything runs on the event loop of the polling tick, so nothing here may
// wait: a page of samples is read from what is on the disk, a client that stops
// reading is dropped once its backlog passes a limit, and a request Qt cannot
// parse is closed by Qt.

#include <QByteArray>
#include <QHostAddress>
#include <QObject>
#include <QString>

#include <functional>
#include <memory>
#include <vector>

class QHttpServer;
class QHttpServerRequest;
class QHttpServerResponse;
class QTimer;
class QWebSocket;

namespace kvx {

class RecordStore;
class WorkingTrace;
struct TraceSample;

// "[ADDR:]PORT", "8080", "0.0.0.0:8080", "[::1]:8080": where the page is served.
// Without an address it binds 127.0.0.1, so the page is not reachable from
// elsewhere unless asked for. Port 0 takes a free port. False with the reason.
bool parseListenAddress(const QString& text, QHostAddress* address, quint16* port, QString* error);
// The token is the file's first line without blanks around it. False with the
// reason when the file cannot be read or holds no token.
bool readTokenFile(const QString& path, QByteArray* token, QString* error);

// What the page's keys do. Each returns an empty text when done, else why not.
// An unset function answers that the key is not there in this run.
struct MonitorControls {
    std::function<QString()> start;
    std::function<QString()> stop;
    std::function<QString()> saveRecord;
};

class MonitorServer final : public QObject {
    Q_OBJECT
public:
    // Samples in one page of /api/trace.
    static constexpr int kPageSize = 5000;
    // The shortest time between two messages to one WebSocket client.
    static constexpr int kSendIntervalMs = 250;
    // Bytes a WebSocket client may leave unread before it is dropped.
    static constexpr qint64 kMaxBacklog = 8 * 1024 * 1024;

    MonitorServer(WorkingTrace& trace, RecordStore& store, QObject* parent = nullptr);
    ~MonitorServer() override;

    // Starts serving at "[ADDR:]PORT". False with the reason.
    bool listen(const QString& addressText, QString* error);
    // Where it serves, as "http://ADDR:PORT/".
    QString url() const;
    quint16 port() const { return m_port; }
    // An empty token leaves the page read-only.
    void setToken(const QByteArray& token) { m_token = token; }
    void setControls(MonitorControls controls) { m_controls = std::move(controls); }
    int clientCount() const { return int(m_clients.size()); }

private:
    void addRoutes();
    QHttpServerResponse status() const;
    QHttpServerResponse tracePage(const QHttpServerRequest& request) const;
    QHttpServerResponse control(const QHttpServerRequest& request, const std::function<QString()>& action) const;
    bool tokenMatches(const QHttpServerRequest& request) const;
    void acceptClients();
    void onSample(const TraceSample& sample);
    void scheduleSend();
    void send();

    WorkingTrace& m_trace;
    RecordStore& m_store;
    std::unique_ptr<QHttpServer> m_http;
    QHostAddress m_address;
    quint16 m_port = 0;
    QByteArray m_token;
    MonitorControls m_controls;
    std::vector<std::unique_ptr<QWebSocket>> m_clients;
    QTimer* m_sendTimer = nullptr;
    // Encoded samples since the last message, and whether the trace restarted meanwhile.
    QByteArray m_pendingSamples;
    bool m_restarted = false;
    bool m_changed = false;
};

// Starts the monitor page of this process's working trace when `address` is set:
// "[ADDR:]PORT", with the token on the first line of `tokenFile` (empty: the page
// is read-only). Says where it serves on stderr and the status line. Null when
// `address` is empty, or with the reason in `error` when it cannot serve.
std::unique_ptr<MonitorServer> startMonitor(const QString& address, const QString& tokenFile,
                                            MonitorControls controls, QString* error);

} // namespace kvx
