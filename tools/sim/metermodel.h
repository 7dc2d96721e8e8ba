#pragma once

#include "meterfunction.h"
#include "signalsource.h"

#include <QString>

#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

namespace kvxsim {

// Bits of ":CONF:MOD?".
enum ModeBit : int {
    ModeMin = 1 << 0,
    ModeMax = 1 << 1,
    ModeHold = 1 << 2,
    ModeAutoHold = 1 << 3,
    ModeDbm = 1 << 4,
    ModeRel = 1 << 5,
    ModeCompare = 1 << 6,
};

// IEEE 488.2 status byte and standard event status bits.
enum StatusBit : int {
    StbErrorQueue = 1 << 2,
    StbQuestionable = 1 << 3,
    StbMessageAvailable = 1 << 4,
    StbEventSummary = 1 << 5,
    StbMasterSummary = 1 << 6,
    EsrOperationComplete = 1 << 0,
    EsrQueryError = 1 << 2,
    EsrExecutionError = 1 << 4,
    EsrCommandError = 1 << 5,
    EsrPowerOn = 1 << 7,
};

QString formatReading(double value);
extern const char* const kOverloadText;

// The meter as seen through its command parser: one command line in, at most one reply
// out. It knows nothing about links, terminators or timing.
class MeterModel {
public:
    explicit MeterModel(std::uint32_t seed);

    // commandLine excludes the terminator; the reply excludes it too.
    std::optional<QString> execute(const QString& commandLine);

    // The link owns the output queue; *STB? reports MAV from what it says here.
    void setOutputQueued(bool queued) { m_outputQueued = queued; }

private:
    using Reply = std::optional<QString>;
    using Method = Reply (MeterModel::*)(const QString& argument);

    struct Handler {
        const char* pattern;
        bool isQuery;
        Method method;
    };
    static const std::vector<Handler>& handlers();

    struct Reading {
        std::optional<double> primary; // nullopt: overload
        double secondaryKilohertz = 0.0;
    };

    enum class HoldMode { Off, Hold, AutoHold };

    // Function selection
    Reply selectFunction(Function function, const QString& rangeArgument);
    Reply showFrequency(const QString&);
    Reply queryFunction(const QString&);
    Reply setAutoRange(const QString& argument);
    Reply queryAutoRange(const QString&);
    Reply queryRange(const QString&);
    Reply queryMode(const QString&);

    // Readings
    Reply queryRead(const QString&);
    Reply queryValue(const QString&);

    // Math
    Reply setLimitState(const QString& argument);
    Reply queryLimitState(const QString&);
    Reply setUpperLimit(const QString& argument);
    Reply queryUpperLimit(const QString&);
    Reply setLowerLimit(const QString& argument);
    Reply queryLowerLimit(const QString&);
    Reply queryLimitVerdict(const QString&);
    Reply setMax(const QString& argument);
    Reply queryMax(const QString&);
    Reply setMin(const QString& argument);
    Reply queryMin(const QString&);
    Reply setRelState(const QString& argument);
    Reply queryRelState(const QString&);
    Reply setRelValue(const QString& argument);
    Reply queryRelValue(const QString&);
    Reply setDbmState(const QString& argument);
    Reply queryDbmState(const QString&);
    Reply setDbmReference(const QString& argument);
    Reply queryDbmReference(const QString&);
    Reply setHold(const QString& argument);
    Reply queryHold(const QString&);

    // System and status
    Reply preset(const QString&);
    Reply queryIdentity(const QString&);
    Reply operationComplete(const QString&);
    Reply queryOperationComplete(const QString&);
    Reply queryStatusByte(const QString&);
    Reply setServiceRequestEnable(const QString& argument);
    Reply queryServiceRequestEnable(const QString&);
    Reply setEventStatusEnable(const QString& argument);
    Reply queryEventStatusEnable(const QString&);
    Reply queryEventStatus(const QString&);
    Reply clearStatus(const QString&);
    Reply queryQuestionableCondition(const QString&);
    Reply queryQuestionableEvent(const QString&);
    Reply querySystemError(const QString&);

    // Helpers
    Reading measure();
    std::optional<double> measurePrimary(double raw);
    double applyMath(double raw) const;
    void trackExtremes(double value);
    void showExtreme(bool& shown, bool& otherShown, const QString& argument);
    double applyHold(double value);
    void updateLimitVerdict(const std::optional<double>& shown);
    void updateQuestionable(bool overloaded);
    double presentRange() const;
    const FunctionTraits& traits() const { return traitsOf(m_function); }
    void clearModes();
    std::optional<bool> parseSwitch(const QString& argument);
    std::optional<double> parseNumber(const QString& argument);
    void pushError(int code, const char* message);
    int modeBits() const;
    int statusByte() const;

    SignalSource m_source;
    Function m_function = Function::DcVoltage;
    std::optional<double> m_fixedRange; // nullopt: auto ranging
    bool m_frequencyShown = false;

    bool m_maxShown = false;
    bool m_minShown = false;
    std::optional<double> m_runningMax;
    std::optional<double> m_runningMin;
    HoldMode m_hold = HoldMode::Off;
    std::optional<double> m_heldValue;
    bool m_relOn = false;
    double m_relValue = 0.0;
    bool m_dbmOn = false;
    double m_dbmReference = 600.0;
    bool m_limitsOn = false;
    double m_upperLimit = 0.0;
    double m_lowerLimit = 0.0;
    int m_limitVerdict = 1;

    int m_questionableCondition = 0;
    int m_questionableEvent = 0;
    int m_serviceRequestEnable = 0;
    int m_eventStatusEnable = 0;
    int m_eventStatus = EsrPowerOn;
    std::deque<QString> m_errors;
    bool m_outputQueued = false;
};

} // namespace kvxsim
