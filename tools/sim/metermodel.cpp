#include "metermodel.h"

#include "scpiheader.h"

#include <algorithm>
#include <cmath>

namespace kvxsim {

const char* const kOverloadText = "9.9E+37";

namespace {

constexpr std::size_t kErrorQueueDepth = 10;
constexpr double kAutoHoldThreshold = 0.01; // fraction of the held value
constexpr double kDbmFloor = -100.0;
const char* const kIdentity = "KVX,KVX-5130,SIM00001,1.0.1";

struct FunctionCommand {
    const char* pattern;
    Function function;
    bool takesRange; // diode and continuity have one range; anything after them is ignored
};

const FunctionCommand kFunctionCommands[] = {
    {"CONFigure:VOLTage:DC", Function::DcVoltage, true},
    {"CONFigure:VOLTage:AC", Function::AcVoltage, true},
    {"CONFigure:VOLTage:ACDC", Function::AcDcVoltage, true},
    {"CONFigure:VOLTage:DCAC", Function::AcDcVoltage, true},
    {"CONFigure:VOLTage:RIPple", Function::Ripple, true},
    {"CONFigure:CURRent:DC", Function::DcCurrent, true},
    {"CONFigure:CURRent:AC", Function::AcCurrent, true},
    {"CONFigure:CURRent:ACDC", Function::AcDcCurrent, true},
    {"CONFigure:RESistance", Function::Resistance, true},
    {"CONFigure:CAPacitance", Function::Capacitance, true},
    {"CONFigure:DIODe", Function::Diode, false},
    {"CONFigure:CONTinuity", Function::Continuity, false},
};

QString formatSetting(double value) {
    return QString::number(value, 'g', 10);
}
QString formatFlag(bool on) {
    return on ? QStringLiteral("1") : QStringLiteral("0");
}

double toDbm(double volts, double referenceOhms) {
    const double milliwatts = volts * volts / referenceOhms * 1000.0;
    if (milliwatts <= 0.0)
        return kDbmFloor;
    return std::max(kDbmFloor, 10.0 * std::log10(milliwatts));
}

} // namespace

QString formatReading(double value) {
    if (value == 0.0)
        return QStringLiteral("0.0000");
    const int magnitude = static_cast<int>(std::floor(std::log10(std::abs(value))));
    const int decimals = std::clamp(4 - magnitude, 0, 9);
    return QString::number(value, 'f', decimals);
}

MeterModel::MeterModel(std::uint32_t seed) : m_source(seed) {}

const std::vector<MeterModel::Handler>& MeterModel::handlers() {
    static const std::vector<Handler> table{
        {"CONFigure:SFR", false, &MeterModel::showFrequency},
        {"CONFigure:FUNCtion", true, &MeterModel::queryFunction},
        {"CONFigure:AUTO", false, &MeterModel::setAutoRange},
        {"CONFigure:AUTO", true, &MeterModel::queryAutoRange},
        {"CONFigure:RANGe", true, &MeterModel::queryRange},
        {"CONFigure:MODe", true, &MeterModel::queryMode},
        {"READ", true, &MeterModel::queryRead},
        {"VALue", true, &MeterModel::queryValue},
        {"CALCulate:LIMit:STATe", false, &MeterModel::setLimitState},
        {"CALCulate:LIMit:STATe", true, &MeterModel::queryLimitState},
        {"CALCulate:LIMit:UPPer", false, &MeterModel::setUpperLimit},
        {"CALCulate:LIMit:UPPer", true, &MeterModel::queryUpperLimit},
        {"CALCulate:LIMit:LOWer", false, &MeterModel::setLowerLimit},
        {"CALCulate:LIMit:LOWer", true, &MeterModel::queryLowerLimit},
        {"CALCulate:LIMit:FAIL", true, &MeterModel::queryLimitVerdict},
        {"CALCulate:MAXimum", false, &MeterModel::setMax},
        {"CALCulate:MAXimum", true, &MeterModel::queryMax},
        {"CALCulate:MINimum", false, &MeterModel::setMin},
        {"CALCulate:MINimum", true, &MeterModel::queryMin},
        {"CALCulate:RELative:STATe", false, &MeterModel::setRelState},
        {"CALCulate:RELative:STATe", true, &MeterModel::queryRelState},
        {"CALCulate:RELative:DATa", false, &MeterModel::setRelValue},
        {"CALCulate:RELative:DATa", true, &MeterModel::queryRelValue},
        {"CALCulate:SDBM:STATe", false, &MeterModel::setDbmState},
        {"CALCulate:SDBM:STATe", true, &MeterModel::queryDbmState},
        {"CALCulate:SDBM:REFerence", false, &MeterModel::setDbmReference},
        {"CALCulate:SDBM:REFerence", true, &MeterModel::queryDbmReference},
        {"CALCulate:HOLD", false, &MeterModel::setHold},
        {"CALCulate:HOLD", true, &MeterModel::queryHold},
        {"PRESet", false, &MeterModel::preset},
        {"*RST", false, &MeterModel::preset},
        {"*IDN", true, &MeterModel::queryIdentity},
        {"*OPC", false, &MeterModel::operationComplete},
        {"*OPC", true, &MeterModel::queryOperationComplete},
        {"*STB", true, &MeterModel::queryStatusByte},
        {"*SRE", false, &MeterModel::setServiceRequestEnable},
        {"*SRE", true, &MeterModel::queryServiceRequestEnable},
        {"*ESE", false, &MeterModel::setEventStatusEnable},
        {"*ESE", true, &MeterModel::queryEventStatusEnable},
        {"*ESR", true, &MeterModel::queryEventStatus},
        {"*CLS", false, &MeterModel::clearStatus},
        {"STATus:QUEStionable:CONDition", true, &MeterModel::queryQuestionableCondition},
        {"STATus:QUEStionable:EVENt", true, &MeterModel::queryQuestionableEvent},
        {"SYSTem:ERRor", true, &MeterModel::querySystemError},
    };
    return table;
}

std::optional<QString> MeterModel::execute(const QString& commandLine) {
    const ScpiCommand command = parseScpiCommand(commandLine);
    if (command.header.isEmpty())
        return std::nullopt;
    for (const FunctionCommand& entry : kFunctionCommands) {
        if (!command.isQuery && headerMatches(command.header, QLatin1String(entry.pattern)))
            return selectFunction(entry.function, entry.takesRange ? command.argument : QString());
    }
    for (const Handler& handler : handlers()) {
        if (handler.isQuery == command.isQuery &&
            headerMatches(command.header, QLatin1String(handler.pattern)))
            return (this->*handler.method)(command.argument);
    }
    pushError(-113, "Undefined header");
    return std::nullopt;
}

// --- Function selection -------------------------------------------------------------

MeterModel::Reply MeterModel::selectFunction(Function function, const QString& rangeArgument) {
    std::optional<double> fixedRange;
    if (!rangeArgument.isEmpty()) {
        const std::optional<double> requested = parseNumber(rangeArgument);
        if (!requested)
            return std::nullopt;
        if (*requested != 0.0) {
            fixedRange = matchRange(traitsOf(function), *requested);
            if (!fixedRange) {
                pushError(-222, "Data out of range");
                return std::nullopt;
            }
        }
    }
    m_function = function;
    m_fixedRange = fixedRange;
    clearModes();
    return std::nullopt;
}

MeterModel::Reply MeterModel::showFrequency(const QString&) {
    if (!traits().nameWithFrequency) {
        pushError(-221, "Settings conflict");
        return std::nullopt;
    }
    m_frequencyShown = true;
    return std::nullopt;
}

MeterModel::Reply MeterModel::queryFunction(const QString&) {
    return QString::fromLatin1(m_frequencyShown ? traits().nameWithFrequency : traits().name);
}

MeterModel::Reply MeterModel::setAutoRange(const QString& argument) {
    const std::optional<bool> on = parseSwitch(argument);
    if (on)
        m_fixedRange = *on ? std::nullopt : std::optional<double>(presentRange());
    return std::nullopt;
}

MeterModel::Reply MeterModel::queryAutoRange(const QString&) {
    return formatFlag(!m_fixedRange);
}
MeterModel::Reply MeterModel::queryRange(const QString&) {
    return formatSetting(presentRange());
}
MeterModel::Reply MeterModel::queryMode(const QString&) {
    return QString::number(modeBits());
}

// --- Readings -----------------------------------------------------------------------

MeterModel::Reply MeterModel::queryRead(const QString&) {
    const Reading reading = measure();
    const QString primary = reading.primary ? formatReading(*reading.primary) : QLatin1String(kOverloadText);
    if (!m_frequencyShown)
        return primary;
    return formatReading(reading.secondaryKilohertz) + QLatin1Char(',') + primary;
}

MeterModel::Reply MeterModel::queryValue(const QString&) {
    const Reading reading = measure();
    return reading.primary ? formatReading(*reading.primary) : QLatin1String(kOverloadText);
}

MeterModel::Reading MeterModel::measure() {
    Reading reading;
    reading.primary = measurePrimary(m_source.sample(m_function));
    if (m_frequencyShown)
        reading.secondaryKilohertz = m_source.frequencyKilohertz();
    updateLimitVerdict(reading.primary);
    updateQuestionable(!reading.primary);
    return reading;
}

std::optional<double> MeterModel::measurePrimary(double raw) {
    const std::optional<double> autoRange = smallestRangeHolding(traits(), m_source.steadyValue(m_function));
    const std::optional<double> range = m_fixedRange ? m_fixedRange : autoRange;
    const bool overloaded = !range || std::abs(raw) > *range;
    if (overloaded)
        return m_hold != HoldMode::Off && m_heldValue ? m_heldValue : std::nullopt;

    const double value = applyMath(raw);
    trackExtremes(value);
    double shown = value;
    if (m_maxShown)
        shown = *m_runningMax;
    else if (m_minShown)
        shown = *m_runningMin;
    return applyHold(shown);
}

double MeterModel::applyMath(double raw) const {
    double value = raw;
    if (m_dbmOn)
        value = toDbm(value, m_dbmReference);
    if (m_relOn)
        value -= m_relValue;
    return value;
}

void MeterModel::trackExtremes(double value) {
    if (!m_maxShown && !m_minShown)
        return;
    // A strict win is needed to replace an extreme, so equal readings keep the older one.
    if (!m_runningMax || value > *m_runningMax)
        m_runningMax = value;
    if (!m_runningMin || value < *m_runningMin)
        m_runningMin = value;
}

double MeterModel::applyHold(double value) {
    switch (m_hold) {
    case HoldMode::Off:
        m_heldValue = value;
        break;
    case HoldMode::Hold:
        if (!m_heldValue)
            m_heldValue = value;
        break;
    case HoldMode::AutoHold:
        // Auto-hold follows only a change big enough to be a new measurement, not drift.
        if (!m_heldValue || std::abs(value - *m_heldValue) > kAutoHoldThreshold * std::abs(*m_heldValue))
            m_heldValue = value;
        break;
    }
    return *m_heldValue;
}

void MeterModel::updateLimitVerdict(const std::optional<double>& shown) {
    if (!m_limitsOn) {
        m_limitVerdict = 1;
        return;
    }
    if (!shown || *shown > m_upperLimit)
        m_limitVerdict = 2;
    else if (*shown < m_lowerLimit)
        m_limitVerdict = 0;
    else
        m_limitVerdict = 1;
}

void MeterModel::updateQuestionable(bool overloaded) {
    int condition = overloaded ? traits().overloadBit : 0;
    if (m_limitsOn && m_limitVerdict == 2)
        condition |= QuesLimitFailHigh;
    if (m_limitsOn && m_limitVerdict == 0)
        condition |= QuesLimitFailLow;
    m_questionableCondition = condition;
    m_questionableEvent |= condition;
}

double MeterModel::presentRange() const {
    if (m_fixedRange)
        return *m_fixedRange;
    return smallestRangeHolding(traits(), m_source.steadyValue(m_function)).value_or(traits().ranges.back());
}

// --- Math ---------------------------------------------------------------------------

MeterModel::Reply MeterModel::setLimitState(const QString& argument) {
    if (const std::optional<bool> on = parseSwitch(argument))
        m_limitsOn = *on;
    return std::nullopt;
}

MeterModel::Reply MeterModel::queryLimitState(const QString&) {
    return formatFlag(m_limitsOn);
}

MeterModel::Reply MeterModel::setUpperLimit(const QString& argument) {
    if (const std::optional<double> value = parseNumber(argument))
        m_upperLimit = *value;
    return std::nullopt;
}

MeterModel::Reply MeterModel::queryUpperLimit(const QString&) {
    return formatSetting(m_upperLimit);
}

MeterModel::Reply MeterModel::setLowerLimit(const QString& argument) {
    if (const std::optional<double> value = parseNumber(argument))
        m_lowerLimit = *value;
    return std::nullopt;
}

MeterModel::Reply MeterModel::queryLowerLimit(const QString&) {
    return formatSetting(m_lowerLimit);
}
MeterModel::Reply MeterModel::queryLimitVerdict(const QString&) {
    return QString::number(m_limitVerdict);
}

MeterModel::Reply MeterModel::setMax(const QString& argument) {
    showExtreme(m_maxShown, m_minShown, argument);
    return std::nullopt;
}

MeterModel::Reply MeterModel::queryMax(const QString&) {
    return formatFlag(m_maxShown);
}

MeterModel::Reply MeterModel::setMin(const QString& argument) {
    showExtreme(m_minShown, m_maxShown, argument);
    return std::nullopt;
}

MeterModel::Reply MeterModel::queryMin(const QString&) {
    return formatFlag(m_minShown);
}

void MeterModel::showExtreme(bool& shown, bool& otherShown, const QString& argument) {
    const std::optional<bool> on = parseSwitch(argument);
    if (!on)
        return;
    // Switching between maximum and minimum keeps the run; starting from neither begins a new one.
    if (*on && !shown && !otherShown)
        m_runningMax = m_runningMin = std::nullopt;
    shown = *on;
    if (*on)
        otherShown = false; // one display, so the two take turns on it
}

MeterModel::Reply MeterModel::setRelState(const QString& argument) {
    const std::optional<bool> on = parseSwitch(argument);
    if (!on)
        return std::nullopt;
    if (*on && !m_relOn) {
        m_relValue = applyMath(m_source.sample(m_function));
    }
    m_relOn = *on;
    return std::nullopt;
}

MeterModel::Reply MeterModel::queryRelState(const QString&) {
    return formatFlag(m_relOn);
}

MeterModel::Reply MeterModel::setRelValue(const QString& argument) {
    if (const std::optional<double> value = parseNumber(argument))
        m_relValue = *value;
    return std::nullopt;
}

MeterModel::Reply MeterModel::queryRelValue(const QString&) {
    return formatSetting(m_relValue);
}

MeterModel::Reply MeterModel::setDbmState(const QString& argument) {
    const std::optional<bool> on = parseSwitch(argument);
    if (!on)
        return std::nullopt;
    if (*on && !traits().isVoltage) {
        pushError(-221, "Settings conflict");
        return std::nullopt;
    }
    m_dbmOn = *on;
    return std::nullopt;
}

MeterModel::Reply MeterModel::queryDbmState(const QString&) {
    return formatFlag(m_dbmOn);
}

MeterModel::Reply MeterModel::setDbmReference(const QString& argument) {
    const std::optional<double> ohms = parseNumber(argument);
    if (!ohms)
        return std::nullopt;
    if (*ohms <= 0.0) {
        pushError(-222, "Data out of range");
        return std::nullopt;
    }
    m_dbmReference = *ohms;
    return std::nullopt;
}

MeterModel::Reply MeterModel::queryDbmReference(const QString&) {
    return formatSetting(m_dbmReference);
}

MeterModel::Reply MeterModel::setHold(const QString& argument) {
    const std::optional<double> mode = parseNumber(argument);
    if (!mode)
        return std::nullopt;
    if (*mode == 0.0)
        m_hold = HoldMode::Off;
    else if (*mode == 1.0)
        m_hold = HoldMode::Hold;
    else if (*mode == 2.0)
        m_hold = HoldMode::AutoHold;
    else
        pushError(-224, "Illegal parameter value");
    return std::nullopt;
}

MeterModel::Reply MeterModel::queryHold(const QString&) {
    return QString::number(static_cast<int>(m_hold));
}

// --- System and status --------------------------------------------------------------

MeterModel::Reply MeterModel::preset(const QString&) {
    m_function = Function::DcVoltage;
    m_fixedRange = std::nullopt;
    m_frequencyShown = false;
    m_limitsOn = false;
    clearModes();
    return std::nullopt;
}

MeterModel::Reply MeterModel::queryIdentity(const QString&) {
    return QString::fromLatin1(kIdentity);
}

MeterModel::Reply MeterModel::operationComplete(const QString&) {
    m_eventStatus |= EsrOperationComplete;
    return std::nullopt;
}

MeterModel::Reply MeterModel::queryOperationComplete(const QString&) {
    return QStringLiteral("1");
}
MeterModel::Reply MeterModel::queryStatusByte(const QString&) {
    return QString::number(statusByte());
}

MeterModel::Reply MeterModel::setServiceRequestEnable(const QString& argument) {
    if (const std::optional<double> mask = parseNumber(argument))
        m_serviceRequestEnable = static_cast<int>(*mask) & 0xBF; // bit 6 cannot be enabled
    return std::nullopt;
}

MeterModel::Reply MeterModel::queryServiceRequestEnable(const QString&) {
    return QString::number(m_serviceRequestEnable);
}

MeterModel::Reply MeterModel::setEventStatusEnable(const QString& argument) {
    // The host application sends "*ESE" bare as a no-op; only a given mask changes anything.
    if (argument.isEmpty())
        return std::nullopt;
    if (const std::optional<double> mask = parseNumber(argument))
        m_eventStatusEnable = static_cast<int>(*mask) & 0xFF;
    return std::nullopt;
}

MeterModel::Reply MeterModel::queryEventStatusEnable(const QString&) {
    return QString::number(m_eventStatusEnable);
}

MeterModel::Reply MeterModel::queryEventStatus(const QString&) {
    const int status = m_eventStatus;
    m_eventStatus = 0;
    return QString::number(status);
}

MeterModel::Reply MeterModel::clearStatus(const QString&) {
    m_eventStatus = 0;
    m_questionableEvent = 0;
    m_errors.clear();
    return std::nullopt;
}

MeterModel::Reply MeterModel::queryQuestionableCondition(const QString&) {
    return QString::number(m_questionableCondition);
}

MeterModel::Reply MeterModel::queryQuestionableEvent(const QString&) {
    const int events = m_questionableEvent;
    m_questionableEvent = 0;
    return QString::number(events);
}

MeterModel::Reply MeterModel::querySystemError(const QString&) {
    if (m_errors.empty())
        return QStringLiteral("0,\"No error\"");
    const QString error = m_errors.front();
    m_errors.pop_front();
    return error;
}

// --- Helpers ------------------------------------------------------------------------

void MeterModel::clearModes() {
    m_maxShown = m_minShown = false;
    m_runningMax = m_runningMin = std::nullopt;
    m_hold = HoldMode::Off;
    m_heldValue = std::nullopt;
    m_relOn = false;
    m_dbmOn = false;
    m_frequencyShown = false;
}

std::optional<bool> MeterModel::parseSwitch(const QString& argument) {
    const QString word = argument.toUpper();
    if (word == QLatin1String("1") || word == QLatin1String("ON"))
        return true;
    if (word == QLatin1String("0") || word == QLatin1String("OFF"))
        return false;
    pushError(-224, "Illegal parameter value");
    return std::nullopt;
}

std::optional<double> MeterModel::parseNumber(const QString& argument) {
    bool ok = false;
    const double value = argument.toDouble(&ok);
    if (ok && std::isfinite(value))
        return value;
    pushError(argument.isEmpty() ? -109 : -104, argument.isEmpty() ? "Missing parameter" : "Data type error");
    return std::nullopt;
}

void MeterModel::pushError(int code, const char* message) {
    if (m_errors.size() >= kErrorQueueDepth) {
        m_errors.back() = QStringLiteral("-350,\"Queue overflow\"");
        return;
    }
    m_errors.push_back(QStringLiteral("%1,\"%2\"").arg(code).arg(QLatin1String(message)));
    m_eventStatus |= code <= -200 ? EsrExecutionError : EsrCommandError;
}

int MeterModel::modeBits() const {
    int bits = 0;
    bits |= m_minShown ? ModeMin : 0;
    bits |= m_maxShown ? ModeMax : 0;
    bits |= m_hold == HoldMode::Hold ? ModeHold : 0;
    bits |= m_hold == HoldMode::AutoHold ? ModeAutoHold : 0;
    bits |= m_dbmOn ? ModeDbm : 0;
    bits |= m_relOn ? ModeRel : 0;
    bits |= m_limitsOn ? ModeCompare : 0;
    return bits;
}

int MeterModel::statusByte() const {
    int status = 0;
    status |= m_errors.empty() ? 0 : StbErrorQueue;
    status |= m_questionableEvent ? StbQuestionable : 0;
    status |= m_outputQueued ? StbMessageAvailable : 0;
    status |= (m_eventStatus & m_eventStatusEnable) ? StbEventSummary : 0;
    status |= (status & m_serviceRequestEnable) ? StbMasterSummary : 0;
    return status;
}

} // namespace kvxsim
