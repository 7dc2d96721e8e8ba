#include "clsKVX5310.h"

#include "FunctionCatalogue.h"
#include "Services.h"
#include "ValueRules.h"

#include <QSaveFile>
#include <charconv>
#include <exception>
#include <optional>

namespace kvx {

namespace {

const QString kGpib = QStringLiteral("GPIB");
const QString kSerial = QStringLiteral("RS232");
const QString kSame = QStringLiteral("SAME");
const QString kLineEnd = QStringLiteral("\r\n");

// Elapsed seconds are kept in single precision, as the seconds-of-day timer
// gives them: written in the shortest form that reads back as the same single.
QString singlePrecisionText(double seconds) {
    const float single = static_cast<float>(seconds);
    char buffer[32];
    const auto written = std::to_chars(buffer, buffer + sizeof buffer, single);
    return numberToText(QByteArray(buffer, static_cast<int>(written.ptr - buffer)).toDouble());
}

// Character `position` (1 = leftmost) of a bit text is "1"; False for a text never filled.
bool bitAt(const QString& bits, int position) {
    return position <= bits.size() && bits[position - 1] == QLatin1Char('1');
}

QString onOff(bool on) {
    return on ? QStringLiteral("1") : QStringLiteral("0");
}

QString unitFor(const QString& measurementWord) {
    static const std::pair<const char*, const char*> units[] = {
        {"Voltage", "V"},      {"Current", "mA"}, {"Resitance", "kohm"},  {"Frequence", "kHz"},
        {"Capacitance", "nF"}, {"Diode", "V"},    {"Continuity", "kohm"}, {"dBm", "dBm"},
    };
    for (const auto& [word, unit] : units) {
        if (measurementWord == QLatin1String(word))
            return QString::fromLatin1(unit);
    }
    return {};
}

// Mode bits from bit 0 upwards; a later hit replaces an earlier one, so the
// highest set bit of 0-6 names the mode. Bit 7 means nothing here.
const char* const kModeNames[] = {"MIN", "MAX", "HOLD", "AUTOHOLD", "dBm", "REL", "COMP"};

// setRelData assigns itself again after each send. A few levels show the
// pattern on the wire; a bound keeps the recursion from exhausting the stack.
constexpr int kRelDataDepthLimit = 16;

std::unique_ptr<clsKVX5310>& driverSlot() {
    static std::unique_ptr<clsKVX5310> instance;
    return instance;
}

} // namespace

clsKVX5310::clsKVX5310() {
    m_gpib.setNotificationHandler([this](const QString& description) { onGpibNotification(description); });
}

clsKVX5310::~clsKVX5310() {
    m_gpib.setNotificationHandler({});
    m_gpib.close();
    m_serial.close();
}

// ---------------------------------------------------------------- link

void clsKVX5310::setConnectMethod(const QString& method) {
    Ready_ = false;
    m_configureError.clear();
    m_exchangeError.clear();
    const QString chosen = method == kSame ? sConnectMethod_ : method;
    if (chosen == kGpib) {
        sConnectMethod_ = kGpib;
        m_serial.close();
        if (!m_gpib.configure(&m_configureError))
            return;
    } else if (chosen == kSerial) {
        sConnectMethod_ = kSerial;
        m_gpib.close();
        if (!m_serial.configure(&m_configureError))
            return;
    }
    Ready_ = true;
    StandardEventStatusReg();
    Ready_ = SESR_PON();
}

void clsKVX5310::appendLogLine(const QString& kind, const QString& command, const QString& tail) {
    m_log.append(kind + QStringLiteral(": [") + command + QLatin1Char(']') + timeOfDayText(clock().now()) +
                 tail + kLineEnd);
}

QString clsKVX5310::ExecuteCommand(const QString& command) {
    const double startSeconds = m_logKept ? clock().secondsSinceMidnight() : 0.0;
    const auto logStop = [&](const QString& kind, const QString& afterTime) {
        if (m_logKept)
            appendLogLine(kind, command,
                          QStringLiteral(" Total Time:") +
                              singlePrecisionText(clock().secondsSinceMidnight() - startSeconds) + afterTime);
    };
    if (command.contains(QLatin1Char('?')))
        m_lastQueryAnswered = false;
    if (!Ready_ || bExecuting_) {
        logStop(QStringLiteral("Execute Stop"), QString());
        return {};
    }
    if (m_logKept)
        appendLogLine(QStringLiteral("Execute Start"), command);
    bExecuting_ = true;
    QString result;
    QString error;
    bool ok = false;
    try {
        ok = exchange(command, &result, &error);
    } catch (const std::exception& e) {
        error = QString::fromLocal8Bit(e.what());
    }
    bExecuting_ = false;
    m_exchangeError = ok ? QString() : error;
    if (!ok) {
        sReply_.clear();
        logStop(QStringLiteral("Execute Err Stop"), QLatin1Char(' ') + error);
        return {};
    }
    logStop(QStringLiteral("Execute Stop"), QString());
    return result;
}

bool clsKVX5310::exchange(const QString& command, QString* result, QString* error) {
    const bool isQuery = command.contains(QLatin1Char('?'));
    const QByteArray bytes = command.toLatin1();
    QByteArray reply;
    if (sConnectMethod_ == kGpib) {
        // The GPIB link ends the message itself (EOI, or its own line feed).
        if (!m_gpib.write(bytes, error) || (isQuery && !m_gpib.read(&reply, error)))
            return false;
        if (isQuery)
            *result = QString::fromLatin1(reply);
    } else if (sConnectMethod_ == kSerial) {
        // The result stays empty on this link: callers read sReply.
        if (!m_serial.write(bytes + '\r', error) || (isQuery && !m_serial.read(&reply, error)))
            return false;
        if (isQuery)
            bDataArrived_ = true;
    } else {
        return true; // no link chosen: nothing goes anywhere
    }
    if (isQuery) {
        sReply_ = QString::fromLatin1(reply);
        m_lastQueryAnswered = !reply.isEmpty();
    }
    return true;
}

QString clsKVX5310::send(const QString& command) {
    sCommand_ = command;
    return ExecuteCommand(command);
}

// A query's reply without the meter's line terminator, compared exactly.
bool clsKVX5310::replyIs(const char* text) const {
    QString reply = sReply_;
    if (reply.endsWith(QLatin1Char('\n')))
        reply.chop(1);
    if (reply.endsWith(QLatin1Char('\r')))
        reply.chop(1);
    return reply == QLatin1String(text);
}

// Connection lost while idle: the driver reads what the device has, then tells
// the operator every time it happens.
void clsKVX5310::onGpibNotification(const QString& description) {
    if (!bExecuting_) {
        QByteArray pending;
        QString ignored;
        sReply_ = m_gpib.read(&pending, &ignored) ? QString::fromLatin1(pending) : QString();
    }
    messages().notice(QStringLiteral("SYSTEM ERROR :") + description);
}

bool clsKVX5310::writeCommandLog(const QString& path, QString* error) const {
    return m_log.writeTo(path, error);
}

// ---------------------------------------------------------------- units

QString clsKVX5310::sUnitPrimary() const {
    const QMutexLocker locker(&m_unitLock);
    return sUnitPrimary_;
}

QString clsKVX5310::sUnitSecond() const {
    const QMutexLocker locker(&m_unitLock);
    return sUnitSecond_;
}

void clsKVX5310::setUnitPrimary(const QString& measurementWord) {
    const QMutexLocker locker(&m_unitLock);
    sUnitPrimary_ = unitFor(measurementWord);
}

void clsKVX5310::setUnitSecond(const QString& measurementWord) {
    const QMutexLocker locker(&m_unitLock);
    sUnitSecond_ = unitFor(measurementWord);
}

// ---------------------------------------------------------------- configuration

void clsKVX5310::setAuto(bool on) {
    send(QStringLiteral(":CONF:AUTO ") + onOff(on));
}

bool clsKVX5310::Auto() {
    send(QStringLiteral(":CONF:AUTO?"));
    return parseLeadingNumber(sReply_) == 1.0;
}

double clsKVX5310::Range() {
    send(QStringLiteral(":CONF:RANG?"));
    dRange_ = parseLeadingNumber(sReply_);
    return dRange_;
}

QString clsKVX5310::Mode() {
    send(QStringLiteral(":CONF:MOD?"));
    const std::optional<qint16> value = roundToInt16(parseLeadingNumber(sReply_));
    if (!value)
        return {};
    sMode_ = (QStringLiteral("00000000") + ToBinaryString(*value)).right(8);
    QString mode;
    for (int bit = 0; bit < 7; ++bit) {
        if (bitAt(sMode_, 8 - bit))
            mode = QString::fromLatin1(kModeNames[bit]);
    }
    return mode;
}

QString clsKVX5310::Func() {
    send(QStringLiteral(":CONF:FUNC?"));
    QString reply = trimBlanks(sReply_);
    reply.chop(1); // the meter's line terminator
    // An unknown reply is returned as it stands and leaves both units as they are.
    const MeterFunction* known = functionForReply(reply);
    if (!known)
        return reply;
    setUnitPrimary(QString::fromLatin1(known->primaryWord));
    setUnitSecond(QString::fromLatin1(known->secondWord));
    return QString::fromLatin1(known->name);
}

QString clsKVX5310::rangeSetter(const QString& prefix, double range) {
    send(prefix + numberToText(range));
    return Func();
}

void clsKVX5310::Capacitance(double range) {
    send(QStringLiteral(":CONF:CAP ") + numberToText(range));
}

bool clsKVX5310::Continuity() {
    send(QStringLiteral(":CONF:CONT"));
    return true;
}

QString clsKVX5310::CurrentDC(double range) {
    return rangeSetter(QStringLiteral(":CONF:CURR:DC "), range);
}
QString clsKVX5310::CurrentAC(double range) {
    return rangeSetter(QStringLiteral(":CONF:CURR:AC "), range);
}
QString clsKVX5310::CurrentACDC(double range) {
    return rangeSetter(QStringLiteral(":CONF:CURR:ACDC "), range);
}

void clsKVX5310::Diode() {
    send(QStringLiteral(":CONF:DIOD "));
}

void clsKVX5310::Resitance(double range) {
    send(QStringLiteral(":CONF:RES ") + numberToText(range));
}

QString clsKVX5310::VoltageDC(double range) {
    return rangeSetter(QStringLiteral(":CONF:VOLT:DC "), range);
}
QString clsKVX5310::VoltageAC(double range) {
    return rangeSetter(QStringLiteral(":CONF:VOLT:AC "), range);
}
QString clsKVX5310::VoltageACDC(double range) {
    return rangeSetter(QStringLiteral(":CONF:VOLT:ACDC "), range);
}
QString clsKVX5310::VoltageDCAC(double range) {
    return rangeSetter(QStringLiteral(":CONF:VOLT:DCAC "), range);
}
QString clsKVX5310::Ripple(double range) {
    return rangeSetter(QStringLiteral(":CONF:VOLT:RIP "), range);
}

// ---------------------------------------------------------------- readings

QString clsKVX5310::ValueBoth() {
    send(QStringLiteral(":READ?"));
    return sReply_;
}

// A dual reading comes as "secondary,primary"; a single one needs ":VALUE?".
QString clsKVX5310::ValuePrimary() {
    send(QStringLiteral(":READ?"));
    const int comma = sReply_.indexOf(QLatin1Char(','));
    if (comma >= 0) {
        sValueSecond_ = trimBlanks(sReply_.left(comma));
        return sReply_.mid(comma + 1);
    }
    send(QStringLiteral(":VALUE?"));
    sValueSecond_ = QStringLiteral("NONE");
    return sReply_;
}

QString clsKVX5310::ValueSecond() {
    if (sValueSecond_.contains(QLatin1String("NONE"))) {
        sValueSecond_.clear();
        return {};
    }
    return sValueSecond_;
}

void clsKVX5310::SFR() {
    send(QStringLiteral("CONF:SFR"));
}

// ---------------------------------------------------------------- math

bool clsKVX5310::LimitState() {
    send(QStringLiteral(":CALC:LIMI:STAT?"));
    return replyIs("1");
}

void clsKVX5310::setLimitState(bool on) {
    send(QStringLiteral(":CALC:LIMI:STAT ") + onOff(on));
}

double clsKVX5310::LimitLower() {
    send(QStringLiteral(":CALC:LIM:LOW?"));
    return parseLeadingNumber(sReply_);
}

void clsKVX5310::setLimitLower(double value) {
    send(QStringLiteral(":CALC:LIM:LOW ") + numberToText(value));
}

double clsKVX5310::LimitUPPER() {
    send(QStringLiteral(":CALC:LIM:UPP?"));
    return parseLeadingNumber(sReply_);
}

void clsKVX5310::setLimitUPPER(double value) {
    send(QStringLiteral(":CALC:LIM:UPP ") + numberToText(value));
}

// The meter is asked, but the verdict is judged on a copy fixed at "1": the
// answer is always "pass", whatever the meter says. The query still goes on the
// wire and into the command log.
QString clsKVX5310::LimitFAIL() {
    send(QStringLiteral(":CALC:LIM:FAIL?"));
    const QString verdict = QStringLiteral("1");
    if (verdict == QLatin1String("0"))
        return QStringLiteral("low");
    if (verdict == QLatin1String("1"))
        return QStringLiteral("pass");
    if (verdict == QLatin1String("2"))
        return QStringLiteral("high");
    return {};
}

void clsKVX5310::setMaxMode(bool on) {
    send(QStringLiteral(":CALC:MAX ") + onOff(on));
}

bool clsKVX5310::MaxMode() {
    send(QStringLiteral(":CALC:MAX?"));
    return replyIs("1");
}

void clsKVX5310::setMinMode(bool on) {
    send(QStringLiteral(":CALC:MIN ") + onOff(on));
}

bool clsKVX5310::MinMode() {
    send(QStringLiteral(":CALC:MIN?"));
    return replyIs("1");
}

bool clsKVX5310::RelState() {
    send(QStringLiteral(":CALC:REL:STAT?"));
    return replyIs("1");
}

void clsKVX5310::setRelState(bool on) {
    send(QStringLiteral(":CALC:REL:STAT ") + onOff(on));
}

double clsKVX5310::RelData() {
    send(QStringLiteral(":CALC:REL:DAT?"));
    return parseLeadingNumber(sReply_);
}

// Sends the value, then assigns itself again with the number of an empty text;
// see kRelDataDepthLimit for where it stops. Nothing in the program calls it.
void clsKVX5310::setRelData(double value) {
    if (m_relDataDepth >= kRelDataDepthLimit)
        return;
    ++m_relDataDepth;
    send(QStringLiteral(":CALC:REL:DAT ") + numberToText(value));
    setRelData(parseLeadingNumber(QString()));
    --m_relDataDepth;
}

// Never asks the meter: compares "1" with a working text that is still empty.
bool clsKVX5310::SDBMState() {
    sCommand_ = QStringLiteral(":CALC:SDBM:STAT?");
    return false;
}

void clsKVX5310::setSDBMState(bool on) {
    send(QStringLiteral(":CALC:SDBM:STAT ") + onOff(on));
}

qint16 clsKVX5310::SDBMRef() {
    send(QStringLiteral(":CALC:SDBM:REF?"));
    return roundToInt16(parseLeadingNumber(sReply_)).value_or(0);
}

void clsKVX5310::setSDBMRef(qint16 ohms) {
    send(QStringLiteral(":CALC:SDBM:REF ") + numberToText(ohms));
}

bool clsKVX5310::Hold() {
    send(QStringLiteral(":CALC:HOLD?"));
    return replyIs("1");
}

void clsKVX5310::setHold(bool on) {
    send(QStringLiteral(":CALC:HOLD ") + onOff(on));
}

void clsKVX5310::AutoHold() {
    send(QStringLiteral(":CALC:HOLD 2"));
}

void clsKVX5310::PreSet() {
    send(QStringLiteral("PRES"));
}

// ---------------------------------------------------------------- status registers

// A reply too large for 16 bits ends the member with 0 and leaves `bits` alone.
qint16 clsKVX5310::registerQuery(const QString& command, QString& bits, int width) {
    send(command);
    const std::optional<qint16> value = roundToInt16(parseLeadingNumber(sReply_));
    if (!value)
        return 0;
    bits = bitText(*value, width);
    return *value;
}

qint16 clsKVX5310::QuestionCondition() {
    return registerQuery(QStringLiteral("STAT:QUES:COND?"), sQuestContent_, 16);
}

qint16 clsKVX5310::QuestionEvent() {
    return registerQuery(QStringLiteral("STAT:QUES:EVEN?"), sQuestContent_, 16);
}

bool clsKVX5310::QCondLimitTestFailHi() const {
    return bitAt(sQuestContent_, 4);
}
bool clsKVX5310::QCondLimitTestFailLo() const {
    return bitAt(sQuestContent_, 5);
}
bool clsKVX5310::QCondCapacitanceOverload() const {
    return bitAt(sQuestContent_, 6);
}
bool clsKVX5310::QCondOhmOverload() const {
    return bitAt(sQuestContent_, 7);
}
bool clsKVX5310::QCondFrequencyNullSense() const {
    return bitAt(sQuestContent_, 11);
}
bool clsKVX5310::QCondCurrentOverload() const {
    return bitAt(sQuestContent_, 15);
}
bool clsKVX5310::QCondVoltageOverload() const {
    return bitAt(sQuestContent_, 16);
}

qint16 clsKVX5310::StautsByteReg() {
    return registerQuery(QStringLiteral("*STB?"), sSBRContent_, 8);
}

bool clsKVX5310::SBR_OPER() const {
    return bitAt(sSBRContent_, 1);
}
bool clsKVX5310::SBR_RQS_MSS() const {
    return bitAt(sSBRContent_, 2);
}
bool clsKVX5310::SBR_ESB() const {
    return bitAt(sSBRContent_, 3);
}
bool clsKVX5310::SBR_MAV() const {
    return bitAt(sSBRContent_, 4);
}
bool clsKVX5310::SBR_QUES() const {
    return bitAt(sSBRContent_, 5);
}
bool clsKVX5310::SBR_E_E() const {
    return bitAt(sSBRContent_, 6);
}

// Sends the bare "*ESE" (no reply is read) and decodes the reply left over
// from the previous query into the status-byte text.
void clsKVX5310::setStandardEventStatusReg(qint16) {
    send(QStringLiteral("*ESE"));
    if (const std::optional<qint16> value = roundToInt16(parseLeadingNumber(sReply_)))
        sSBRContent_ = bitText(*value, 8);
}

// The event bits come from the service-request enable register's reply.
qint16 clsKVX5310::StandardEventStatusReg() {
    return registerQuery(QStringLiteral("*SRE?"), sSESRContent_, 8);
}

bool clsKVX5310::SESR_URQ() const {
    return bitAt(sSESRContent_, 2);
}
bool clsKVX5310::SESR_CME() const {
    return bitAt(sSESRContent_, 3);
}
bool clsKVX5310::SESR_EXE() const {
    return bitAt(sSESRContent_, 4);
}
bool clsKVX5310::SESR_DDE() const {
    return bitAt(sSESRContent_, 5);
}
bool clsKVX5310::SESR_QYE() const {
    return bitAt(sSESRContent_, 6);
}
bool clsKVX5310::SESR_OPC() const {
    return bitAt(sSESRContent_, 8);
}

// Never asks the meter: its empty working text differs from "0".
bool clsKVX5310::SystemError() {
    sCommand_ = QStringLiteral("SYST:ERR?");
    return true;
}

void clsKVX5310::setOperationComplete(qint16) {
    send(QStringLiteral("*OPC"));
}

bool clsKVX5310::OperationComplete() {
    send(QStringLiteral("*OPC?"));
    return !replyIs("0");
}

QString clsKVX5310::IDN() {
    send(QStringLiteral("*IDN?"));
    return sReply_;
}

// ---------------------------------------------------------------- module level

clsKVX5310& driver() {
    auto& slot = driverSlot();
    if (!slot)
        slot = std::make_unique<clsKVX5310>();
    return *slot;
}

void releaseDriver() {
    driverSlot().reset();
}

const MeterUnits& driverUnits() {
    struct DriverUnits final : MeterUnits {
        QString sUnitPrimary() const override { return driver().sUnitPrimary(); }
        QString sUnitSecond() const override { return driver().sUnitSecond(); }
    };
    static const DriverUnits units;
    return units;
}

QString runConnectionTest(clsKVX5310& meter, bool serialChosen, qint16 comPort, qint32 baudRate,
                          qint16 gpibAddress) {
    const auto caused = [](int number, const QString& description) {
        return QStringLiteral("Connection Error! Error caused by [%1] %2").arg(number).arg(description);
    };
    QString error;
    if (serialChosen && comPort >= 1 && comPort <= 4) {
        meter.CWSerial1().setPortNumber(comPort);
        meter.CWSerial1().setBaudRate(baudRate);
        if (!meter.CWSerial1().configure(&error))
            return caused(meter.CWSerial1().lastErrorNumber(), error);
    }
    // Any address the settings field holds is put on the control; configuring
    // refuses 31, the bus's unlisten, so the test shows why it cannot be used.
    if (!serialChosen && gpibAddress >= kFirstGpibAddress && gpibAddress <= kLastStoredGpibAddress) {
        meter.CWGPIB1().setPrimaryAddress(gpibAddress);
        if (!meter.CWGPIB1().configure(&error))
            return caused(meter.CWGPIB1().lastErrorNumber(), error);
    }
    meter.setConnectMethod(serialChosen ? kSerial : kGpib);
    if (!meter.Ready()) {
        const int number =
            serialChosen ? meter.CWSerial1().lastErrorNumber() : meter.CWGPIB1().lastErrorNumber();
        return caused(number, meter.lastConfigureError());
    }
    const QString identification = meter.IDN();
    return identification.isEmpty() ? QStringLiteral("Connection Error!") : identification;
}

} // namespace kvx
