#include "WindowCommands.h"

#include "ControlSocket.h"
#include "Forms.h"
#include "RecordOperations.h"
#include "RecordStore.h"
#include "Services.h"
#include "StatusReports.h"
#include "WorkingTrace.h"
#include "mdiMain.h"

#include <QPointer>
#include <QTimer>

#include <memory>
#include <utility>

namespace kvx {

namespace {

// A start gives up when the meter's status has not come back by then.
constexpr int kStartTimeoutMs = 45000;

// While a command runs: the keys' questions are answered Yes, and their notices are
// kept for the answer and go to the status reports instead of a box.
class CommandMessages final : public MessageService {
public:
    void notice(const QString& text, const QString& title) override {
        m_notices << QString(text).replace(QLatin1Char('\n'), QLatin1Char(' '));
        m_forward.notice(text, title);
        if (m_onNotice)
            m_onNotice();
    }
    Answer ask(const QString&, const QString&) override { return Answer::Yes; }

    QString notices() const { return m_notices.join(QLatin1Char(' ')); }
    void onNotice(std::function<void()> then) { m_onNotice = std::move(then); }

private:
    UnattendedMessageService m_forward;
    QStringList m_notices;
    std::function<void()> m_onNotice;
};

// Installs CommandMessages for as long as it lives and puts the previous service back.
class MessagesDuringCommand {
public:
    MessagesDuringCommand() : m_messages(std::make_shared<CommandMessages>()) {
        m_previous = setMessages(m_messages);
    }
    ~MessagesDuringCommand() { setMessages(m_previous); }
    MessagesDuringCommand(const MessagesDuringCommand&) = delete;
    MessagesDuringCommand& operator=(const MessagesDuringCommand&) = delete;
    CommandMessages& messages() { return *m_messages; }

private:
    std::shared_ptr<CommandMessages> m_messages;
    std::shared_ptr<MessageService> m_previous;
};

// A start answers once the trace runs, or with the notice that stopped it (a meter
// that does not answer: "Communication Error!"), or after the timeout when the
// press did nothing (a panel not there yet). It lives until then; its
// destructor puts the message service back.
class PendingStart final : public QObject {
public:
    PendingStart(ControlServer::Reply reply, QObject* parent) : QObject(parent), m_reply(std::move(reply)) {
        connect(&workingTrace(), &WorkingTrace::statusChanged, this, [this] {
            if (workingTrace().tracing())
                finish(true, QStringLiteral("tracing"));
        });
        m_messages.messages().onNotice([this] { finish(false, m_messages.messages().notices()); });
        QTimer::singleShot(kStartTimeoutMs, this, [this] {
            finish(false, QStringLiteral("the trace did not start: the meter's status did not come back"));
        });
    }

private:
    void finish(bool ok, const QString& answer) {
        if (!m_reply)
            return;
        const ControlServer::Reply reply = std::exchange(m_reply, {});
        disconnect(&workingTrace(), nullptr, this, nullptr);
        // Not now: this may run inside the message service it is to put back.
        deleteLater();
        reply(ok, answer);
    }

    MessagesDuringCommand m_messages;
    ControlServer::Reply m_reply;
};

void start(mdiMain& frame, const ControlServer::Reply& reply) {
    if (workingTrace().tracing()) {
        reply(true, QStringLiteral("tracing"));
        return;
    }
    new PendingStart(reply, &frame);
    frame.startTrace();
}

void stop(mdiMain& frame, const ControlServer::Reply& reply) {
    if (workingTrace().tracing()) {
        const MessagesDuringCommand messages;
        frame.pressPanelKey(QStringLiteral("cmdStart"));
    }
    if (workingTrace().tracing())
        reply(false, QStringLiteral("the trace goes on"));
    else
        reply(true, QStringLiteral("stopped"));
}

void clear(mdiMain& frame, const ControlServer::Reply& reply) {
    MessagesDuringCommand messages;
    frame.pressPanelKey(QStringLiteral("cmdClear"));
    const QString notices = messages.messages().notices();
    if (!notices.isEmpty())
        reply(false, notices);
    else if (recordStore().countSamples() != qint64(0))
        reply(false, QStringLiteral("the trace was not cleared"));
    else
        reply(true, QStringLiteral("cleared"));
}

void save(mdiMain& frame, const QString& description, const ControlServer::Reply& reply) {
    DataTable* table = forms().dataTable;
    if (!table) {
        reply(false, QStringLiteral("the data table is not loaded"));
        return;
    }
    if (!RecordStore::canStore(description)) {
        reply(false, QStringLiteral("A single quote (') cannot be stored"));
        return;
    }
    if (!description.isEmpty())
        table->setField(RecordField::DataDesc, description);
    MessagesDuringCommand messages;
    frame.pressPanelKey(QStringLiteral("cmdSaveRecord"));
    const QString notices = messages.messages().notices();
    const QString recNo = RecordOperations::workingHeader().recNo;
    if (!notices.isEmpty())
        reply(false, notices);
    else if (recNo.isEmpty())
        reply(false, QStringLiteral("no record was saved"));
    else
        reply(true, recNo);
}

} // namespace

void serveWindowCommands(ControlServer& server, mdiMain& frame) {
    server.setHandler([frame = QPointer<mdiMain>(&frame)](const QString& command, const QString& argument,
                                                          const ControlServer::Reply& reply) {
        if (!frame) {
            reply(false, QStringLiteral("the program is quitting"));
            return;
        }
        if (command == QLatin1String("status"))
            reply(true, statusAnswer());
        else if (command == QLatin1String("start"))
            start(*frame, reply);
        else if (command == QLatin1String("stop"))
            stop(*frame, reply);
        else if (command == QLatin1String("clear"))
            clear(*frame, reply);
        else if (command == QLatin1String("save"))
            save(*frame, argument, reply);
        else
            reply(false,
                  QStringLiteral("unknown command \"%1\" (status, start, stop, clear, save DESCRIPTION)")
                      .arg(command));
    });
}

} // namespace kvx
