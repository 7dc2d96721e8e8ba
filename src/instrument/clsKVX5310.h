#pragma once
// The one object through which the program talks to the meter. Each member turns
// one intention into one SCPI command text, sends it through the single exchange
// routine and decodes the reply. Nothing here raises to callers: a failed
// exchange leaves an empty reply and an error line in the command log.
//
// Get members are named as the meter's properties (`LimitUPPER()`), Let members
// carry a `set` prefix (`setLimitUPPER(v)`).

#include "CommandLog.h"
#include "LinkControls.h"
#include "MeterUnits.h"

#include <QMutex>
#include <QString>

#include <atomic>

namespace kvx {

class clsKVX5310 {
public:
    clsKVX5310();
    ~clsKVX5310();
    clsKVX5310(const clsKVX5310&) = delete;
    clsKVX5310& operator=(const clsKVX5310&) = delete;

    // The two link objects the exchange uses ("RS232" and "GPIB").
    SerialControl& CWSerial1() { return m_serial; }
    GpibControl& CWGPIB1() { return m_gpib; }

    // --- Link ---
    // "RS232", "GPIB", or "SAME" for the present method; runs the configure
    // operation, then the first status exchange.
    void setConnectMethod(const QString& method);
    QString ConnectMethod() const { return sConnectMethod_; }

    // --- Units ---
    void setUnitPrimary(const QString& measurementWord);
    void setUnitSecond(const QString& measurementWord);

    // --- Configuration ---
    void setAuto(bool on);
    bool Auto();
    double Range();
    QString Mode();
    QString Func();
    void Capacitance(double range = 0);
    bool Continuity();
    QString CurrentDC(double range = 0);
    QString CurrentAC(double range = 0);
    QString CurrentACDC(double range = 0);
    void Diode();
    void Resitance(double range = 0);
    QString VoltageDC(double range = 0);
    QString VoltageAC(double range = 0);
    QString VoltageACDC(double range = 0);
    QString VoltageDCAC(double range = 0);
    QString Ripple(double range = 0);

    // --- Readings ---
    QString ValueBoth();
    QString ValuePrimary();
    QString ValueSecond();
    void SFR();

    // --- Math ---
    bool LimitState();
    void setLimitState(bool on);
    double LimitLower();
    void setLimitLower(double value);
    double LimitUPPER();
    void setLimitUPPER(double value);
    QString LimitFAIL();
    void setMaxMode(bool on);
    bool MaxMode();
    void setMinMode(bool on);
    bool MinMode();
    bool RelState();
    void setRelState(bool on);
    double RelData();
    // Never called by the program; see the note at its definition.
    void setRelData(double value);
    bool SDBMState();
    void setSDBMState(bool on);
    qint16 SDBMRef();
    void setSDBMRef(qint16 ohms);
    bool Hold();
    void setHold(bool on);
    void AutoHold();
    void PreSet();

    // --- Status registers ---
    qint16 QuestionCondition();
    qint16 QuestionEvent();
    bool QCondLimitTestFailHi() const;
    bool QCondLimitTestFailLo() const;
    bool QCondCapacitanceOverload() const;
    bool QCondOhmOverload() const;
    bool QCondFrequencyNullSense() const;
    bool QCondCurrentOverload() const;
    bool QCondVoltageOverload() const;
    qint16 StautsByteReg();
    bool SBR_OPER() const;
    bool SBR_RQS_MSS() const;
    bool SBR_ESB() const;
    bool SBR_MAV() const;
    bool SBR_QUES() const;
    bool SBR_E_E() const;
    void setStandardEventStatusReg(qint16 ignored = 0);
    qint16 StandardEventStatusReg();
    bool SESR_PON() const { return true; }
    bool SESR_URQ() const;
    bool SESR_CME() const;
    bool SESR_EXE() const;
    bool SESR_DDE() const;
    bool SESR_QYE() const;
    bool SESR_OPC() const;
    bool SystemError();
    void setOperationComplete(qint16 ignored = 0);
    bool OperationComplete();
    QString IDN();

    // Whether the last query got a reply from the meter; the LIVE/DEAD mark uses
    // it, since SESR_PON answers True without asking the meter.
    bool lastQueryAnswered() const { return m_lastQueryAnswered; }
    // Why the last ConnectMethod left Ready False (empty when it did not).
    QString lastConfigureError() const { return m_configureError; }
    // Why the meter could not be reached last: the link's open error, or the last
    // exchange's when the link is open. Empty once the meter answers.
    QString linkProblem() const { return Ready_ ? m_exchangeError : m_configureError; }

    // --- Fields, read-only for the windows ---
    // The units are read by the windows while the meter thread may be setting them.
    QString sUnitPrimary() const;
    QString sUnitSecond() const;
    double dRange() const { return dRange_; }
    QString sMode() const { return sMode_; }
    QString sQuestContent() const { return sQuestContent_; }
    QString sSESRContent() const { return sSESRContent_; }
    QString sSBRContent() const { return sSBRContent_; }
    bool Ready() const { return Ready_; }
    bool bExecuting() const { return bExecuting_; }
    QString ExecLog() const { return m_log.text(); }
    QString sCommand() const { return sCommand_; }
    QString sReply() const { return sReply_; }
    QString sValueSecond() const { return sValueSecond_; }

    // Writes the command log file (replacing it). Returns false when it cannot be written.
    bool writeCommandLog(const QString& path, QString* error = nullptr) const;
    // Sends the log's lines to a spool file from now on (see CommandLog).
    bool spoolCommandLog(const QString& path) { return m_log.spoolTo(path); }
    // A program that never writes the command log (the headless logger) keeps none:
    // four lines an exchange, formatted and written, would be most of its work.
    void keepNoCommandLog() { m_logKept = false; }

private:
    QString ExecuteCommand(const QString& command);
    bool exchange(const QString& command, QString* result, QString* error);
    void appendLogLine(const QString& kind, const QString& command, const QString& tail = QString());
    void onGpibNotification(const QString& description);
    bool replyIs(const char* text) const;
    QString send(const QString& command); // sCommand = command, then ExecuteCommand
    QString rangeSetter(const QString& prefix, double range);
    qint16 registerQuery(const QString& command, QString& bits, int width);

    mutable QMutex m_unitLock;
    QString sUnitPrimary_;
    QString sUnitSecond_;
    double dRange_ = 0.0;
    QString sMode_;
    QString sQuestContent_;
    QString sSESRContent_;
    QString sSBRContent_;
    std::atomic<bool> Ready_{false};
    bool bExecuting_ = false;
    CommandLog m_log;
    bool m_logKept = true;
    QString sCommand_;
    QString sConnectMethod_;
    QString sReply_;
    QString sValueSecond_;
    bool bDataArrived_ = false;
    std::atomic<bool> m_lastQueryAnswered{false};
    int m_relDataDepth = 0;
    QString m_configureError;
    QString m_exchangeError;

    SerialControl m_serial;
    GpibControl m_gpib;
};

// The single instance, created on first use and released at quit.
clsKVX5310& driver();
void releaseDriver();
// The single instance's units, asked afresh at every read, for the windows: a
// window built before the instance is released (at quit) never reads a freed one.
const MeterUnits& driverUnits();

// The settings dialog's connection test: puts the port and baud rate (RS-232)
// or the address (GPIB) on the link object when they are in range, configures
// it, selects the method and asks for the identification. Returns the text to
// show: the identification, "Connection Error!" when it is empty, or
// "Connection Error! Error caused by [n] <description>" when a step failed.
QString runConnectionTest(clsKVX5310& meter, bool serialChosen, qint16 comPort, qint32 baudRate,
                          qint16 gpibAddress);

} // namespace kvx
