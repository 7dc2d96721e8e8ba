#include "SampleTimeline.h"

#include "ValueRules.h"

#include <cmath>

namespace kvx {

namespace {

// Whole seconds as the time columns show them: halves away from zero.
qint64 wholeSeconds(double seconds) {
    return std::llround(seconds);
}

// The wall-clock date and time of `when` to the whole second, as a plain calendar
// value: sample times count on from it the way the seconds-of-day clock does,
// so a daylight-saving change does not shift them by an hour.
QDateTime wallClockToWholeSecond(const QDateTime& when) {
    const QTime time = when.time();
    return QDateTime(when.date(), QTime(time.hour(), time.minute(), time.second()), Qt::UTC);
}

} // namespace

QString reasonText(ReasonText reason) {
    switch (reason) {
    case ReasonText::Time:
        return QStringLiteral("Time");
    case ReasonText::OverMax:
        return QStringLiteral("Over MAX");
    case ReasonText::BelowMin:
        return QStringLiteral("Below MIN");
    case ReasonText::MatchLevel:
        return QStringLiteral("Match condition:Level");
    case ReasonText::MatchPercent:
        return QStringLiteral("Match condition:%");
    case ReasonText::MatchRebuilt:
        return QStringLiteral("Match condition");
    case ReasonText::None:
        break;
    }
    return QString();
}

ReasonText reasonTextOfCode(const QString& code) {
    if (code == QLatin1String("0"))
        return ReasonText::Time;
    if (code == QLatin1String("1"))
        return ReasonText::OverMax;
    if (code == QLatin1String("2"))
        return ReasonText::BelowMin;
    if (code == QLatin1String("3"))
        return ReasonText::MatchRebuilt;
    return ReasonText::None;
}

QString reasonCode(ReasonText reason) {
    switch (reason) {
    case ReasonText::Time:
        return QStringLiteral("0");
    case ReasonText::OverMax:
        return QStringLiteral("1");
    case ReasonText::BelowMin:
        return QStringLiteral("2");
    case ReasonText::MatchLevel:
    case ReasonText::MatchRebuilt:
        return QStringLiteral("3");
    case ReasonText::MatchPercent:
        return QStringLiteral("4");
    case ReasonText::None:
        break;
    }
    return QString();
}

QString storedReadingText(double value, const QString& unit) {
    return numberToText(value) + QStringLiteral(" ") + unit;
}

SampleTimeline::Times SampleTimeline::next(double secondsOfDay, const QDateTime& now) const {
    Times t;
    t.clock = secondsOfDay;
    if (!m_base.isValid()) {
        // The first sample of the trace fixes the moment the running total counts from.
        t.base = wallClockToWholeSecond(now);
        t.runningTotal = m_runningTotal;
        t.diffLastTime = 0;
    } else {
        // The seconds-of-day clock starts again at midnight; the gap does not, so the
        // running total (TimeTick) goes on past a day and the date moves on with it.
        t.base = m_base;
        const double gap = secondsOfDayBetween(m_previousClock, t.clock);
        t.diffLastTime = wholeSeconds(gap);
        t.runningTotal = m_runningTotal + gap;
    }
    t.timeTick = wholeSeconds(t.runningTotal);
    t.recTime = dateTimeText(t.base.addSecs(wholeSeconds(t.runningTotal)));
    return t;
}

void SampleTimeline::take(const Times& times) {
    m_base = times.base;
    m_runningTotal = times.runningTotal;
    m_previousClock = times.clock;
}

} // namespace kvx
