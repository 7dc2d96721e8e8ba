#pragma once
// Scripting a running program: the program that holds a folder (see FolderLock)
// answers on a local socket beside its lock, "kvx5130.socket" in the folder.
// The protocol is one line of text in (a command and its argument), one line
// out: a JSON object, a text, or "error: <why>" when the command failed. The
// client, `kvx5130 --folder DIR --send COMMAND [ARGUMENT]`, prints the answer
// and exits 0, or 1 after an error answer or when nothing answers there.
//
// The server never blocks the thread it runs on: lines are read as they
// arrive, and a command may answer later (a start waits for the meter's
// status). Commands are taken one at a time, in the order they came.

#include <QObject>
#include <QPointer>
#include <QString>

#include <deque>
#include <functional>

class QLocalServer;
class QLocalSocket;
class QTextStream;

namespace kvx {

inline const char* const kControlSocketFile = "kvx5130.socket";
// The answer's prefix when a command failed.
inline const char* const kControlErrorPrefix = "error: ";

// The socket of `folder`. A socket's path is limited (108 bytes on Linux): a
// folder too deep for it answers on a socket in the runtime folder named after
// the folder's path instead, which client and server work out the same way.
QString controlSocketPath(const QString& folder);

class ControlServer final : public QObject {
    Q_OBJECT
public:
    // Answers a command; `ok` false puts the error prefix before the text.
    using Reply = std::function<void(bool ok, const QString& answer)>;
    // Runs one command line (without its line end). It calls `reply` exactly once,
    // now or later; the next command waits until it has.
    using Handler = std::function<void(const QString& command, const QString& argument, const Reply& reply)>;

    explicit ControlServer(QObject* parent = nullptr);
    ~ControlServer() override;

    // Listens on the folder's socket. A socket file left by a killed run is
    // removed first: the caller holds the folder's lock, so no live program owns it.
    bool listen(const QString& folder, QString* error);
    void setHandler(Handler handler) { m_handler = std::move(handler); }

private:
    struct Pending {
        QPointer<QLocalSocket> socket;
        QString line;
    };
    void accept();
    void readLines(QLocalSocket* socket);
    void runNext();

    QLocalServer* m_server = nullptr;
    Handler m_handler;
    std::deque<Pending> m_pending;
    bool m_busy = false;
};

// The answer to "status": the working trace's status object (WorkingTrace::statusJson) on one line.
QString statusAnswer();

// Splits "save my description" into the command and the rest.
void splitControlLine(const QString& line, QString* command, QString* argument);

// The client: sends `command` (and `argument`) to the program on `folder` and
// writes its answer to `out`, or the reason to `err`. The exit code: 0, or 1.
int sendControlCommand(const QString& folder, const QString& command, const QString& argument,
                       QTextStream& out, QTextStream& err);

} // namespace kvx
