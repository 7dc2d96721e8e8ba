#pragma once

#include "gpibcontroller.h"
#include "hostendpoint.h"
#include "linesplitter.h"
#include "metermodel.h"
#include "pacedwriter.h"
#include "simoptions.h"

#include <QFile>
#include <QObject>
#include <QTimer>

#include <deque>
#include <memory>
#include <random>

namespace kvxsim {

// Ties one host endpoint to the meter model: framing (raw lines or the "++"
// controller), the command log, reply timing and the fault behaviours.
class Simulator : public QObject {
    Q_OBJECT
public:
    Simulator(const SimOptions& options, std::uint32_t seed, QObject* parent = nullptr);
    ~Simulator() override;

    Simulator(const Simulator&) = delete;
    Simulator& operator=(const Simulator&) = delete;

    bool start(QString* error);
    QString address() const { return m_endpoint->address(); }

private:
    void onHostBytes(const QByteArray& bytes);
    void onInstrumentBytes(const QByteArray& bytes, bool endOfMessage);
    void onCommand(const QByteArray& line);
    void processCommands();
    // A meter that stopped answering (from the start, or after some commands).
    bool silent() const;
    void answer(const QString& reply);
    void sendReply(const QByteArray& message);
    void sendPendingReply();
    QByteArray garbage();
    void writeLog(const QByteArray& line);
    void forgetLinkState();
    void dropConnection();
    void comeBack();

    const SimOptions m_options;
    MeterModel m_model;
    std::mt19937 m_garbageRng;
    std::unique_ptr<HostEndpoint> m_endpoint;
    PacedWriter m_writer;           // to the host
    PacedWriter m_reader;           // from the host: taken in no faster than the line carries it
    LineSplitter m_hostLines;       // raw SCPI from the host
    LineSplitter m_instrumentLines; // what the controller put on the bus
    std::unique_ptr<GpibController> m_controller;
    QFile m_log;

    std::deque<QByteArray> m_commands; // received, not yet executed
    QTimer m_replyTimer;
    QByteArray m_pendingReply;
    int m_commandsSinceConnect = 0;
    int m_commandsReceived = 0;
    QTimer m_downTimer;
};

} // namespace kvxsim
