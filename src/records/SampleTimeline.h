#pragma once
// How a reading becomes a stored sample, whoever takes it (the data table of the
// window program, or `kvx5130 log --record`): the reason code it is stored
// with, the text of its values, and its time columns. A trace's time columns
// count on from its first sample: RecTime is that sample's wall-clock second
// plus the running total of the gaps between readings, TimeTick that total and
// DiffLastTime the last gap, each to the whole second.

#include <QDateTime>
#include <QString>

namespace kvx {

// The reason texts a row can show. Rows appended live carry the long "Match
// condition:..." texts; rows read back from the database show "Match condition"
// for code 3 and nothing for code 4.
enum class ReasonText : quint8 { Time, OverMax, BelowMin, MatchLevel, MatchPercent, MatchRebuilt, None };
QString reasonText(ReasonText reason);
// The reason text a row read back shows for a stored reason code.
ReasonText reasonTextOfCode(const QString& code);

// The reason code each reason text is stored with.
QString reasonCode(ReasonText reason);
// A value as a sample stores it: the number, a blank, the unit ("3.2535 V").
QString storedReadingText(double value, const QString& unit);

class SampleTimeline {
public:
    struct Times {
        QDateTime base;
        double clock = 0.0;
        double runningTotal = 0.0;
        qint64 timeTick = 0;
        qint64 diffLastTime = 0;
        QString recTime;
    };

    // The time columns of a sample whose reading was taken at `secondsOfDay` on
    // the seconds-of-day clock; `now` is the wall clock, read for a first sample.
    Times next(double secondsOfDay, const QDateTime& now) const;
    // The sample was taken: the next one measures its gap from it.
    void take(const Times& times);
    // A new trace: the next sample is a first one.
    void reset() { *this = SampleTimeline(); }

private:
    QDateTime m_base;
    double m_runningTotal = 0.0;
    double m_previousClock = 0.0;
};

} // namespace kvx
