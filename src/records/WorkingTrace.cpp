#include "WorkingTrace.h"

#include "ValueRules.h"

#include <QJsonValue>

namespace kvx {

namespace {

std::optional<double> typedNumber(const QString& text) {
    if (trimBlanks(text).isEmpty())
        return std::nullopt;
    return parseLeadingNumber(text);
}

QJsonValue numberOrNull(std::optional<double> value) {
    return value ? QJsonValue(*value) : QJsonValue(QJsonValue::Null);
}

} // namespace

void WorkingTrace::setLink(const QString& connectionText) {
    if (connectionText == m_link)
        return;
    m_link = connectionText;
    emit statusChanged();
}

void WorkingTrace::setLive(bool answering) {
    if (answering == m_live)
        return;
    m_live = answering;
    emit statusChanged();
}

void WorkingTrace::setFunction(const QString& function, const QString& primaryUnit, const QString& secondaryUnit) {
    if (function == m_function && primaryUnit == m_primaryUnit && secondaryUnit == m_secondaryUnit)
        return;
    m_function = function;
    m_primaryUnit = primaryUnit;
    m_secondaryUnit = secondaryUnit;
    emit statusChanged();
}

void WorkingTrace::setLimits(const QString& lowText, const QString& highText) {
    const std::optional<double> low = typedNumber(lowText);
    const std::optional<double> high = typedNumber(highText);
    if (low == m_limitLow && high == m_limitHigh)
        return;
    m_limitLow = low;
    m_limitHigh = high;
    emit statusChanged();
}

void WorkingTrace::begin(const QDateTime& at) {
    m_tracing = true;
    m_startedAt = at;
    m_statistics = TraceStatistics();
    emit statusChanged();
}

void WorkingTrace::end() {
    if (!m_tracing)
        return;
    m_tracing = false;
    emit statusChanged();
}

void WorkingTrace::noteReading(const TakenReading& reading) {
    m_last = reading;
    // Empty limits read as 0, as the graph reads them: nothing matches then.
    m_statistics.add(reading.primary, m_limitLow.value_or(0.0), m_limitHigh.value_or(0.0));
    if (m_windowFeed)
        m_windowFeed(reading);
    emit readingTaken(reading);
}

bool WorkingTrace::store(const NewSample& sample) {
    if (!recordStore().queueSample(sample))
        return false;
    if (m_samples)
        ++*m_samples;
    emit sampleStored({sample, m_primaryUnit, m_secondaryUnit});
    return true;
}

qint64 WorkingTrace::samples() const {
    if (!m_samples)
        m_samples = recordStore().countSamples(); // stays unknown when the store cannot tell
    return m_samples.value_or(0);
}

void WorkingTrace::restart(std::optional<qint64> samples) {
    m_samples = samples;
    emit restarted();
}

QJsonObject WorkingTrace::statusJson(const QDateTime& now) const {
    QJsonObject status{{"link", m_link},
                       {"state", m_live ? "LIVE" : "DEAD"},
                       {"function", m_function},
                       {"tracing", m_tracing},
                       {"samples", samples()},
                       {"matches", m_statistics.matchCount},
                       {"limit_low", numberOrNull(m_limitLow)},
                       {"limit_high", numberOrNull(m_limitHigh)}};
    const bool counted = m_statistics.sampleCount > 0;
    status.insert("max", counted ? QJsonValue(m_statistics.maxValue) : QJsonValue());
    status.insert("min", counted ? QJsonValue(m_statistics.minValue) : QJsonValue());
    if (m_tracing) {
        status.insert("started", isoDateTimeText(m_startedAt));
        status.insert("elapsed_s", double(m_startedAt.msecsTo(now)) / 1000.0);
    } else {
        status.insert("started", QJsonValue());
        status.insert("elapsed_s", QJsonValue());
    }
    if (m_last) {
        status.insert("last", QJsonObject{{"time", isoDateTimeText(m_last->at)},
                                          {"primary", m_last->primary},
                                          {"primary_unit", m_primaryUnit},
                                          {"secondary", m_last->secondary},
                                          {"secondary_unit", m_secondaryUnit},
                                          {"no_reply", m_last->noReply}});
    } else {
        status.insert("last", QJsonValue());
    }
    return status;
}

WorkingTrace& workingTrace() {
    static WorkingTrace trace;
    return trace;
}

} // namespace kvx
