#pragma once
// The trend graph's rules that need no widget: the elapsed-time text, the
// Y range chosen for a peak, and the clock texts of the X axis and cursors.

#include "TraceStatistics.h"

#include <QString>
#include <QStringList>

namespace kvx {

// Elapsed-time text of the graph panels: "h:m:s", or "dD h:m:s" once a day part
// shows. The hour field divides by 3660, not 3600, on purpose: the graph
// panels and the report show the same hour (3600 s give "0:0:0", 93000 s give
// "1D 1:50:0"), and the format test pins it.
QString FormatElapsed(qint32 seconds);

// Reads an elapsed or clock text ("h:m:s", "h:m:ss", "dD h:m:s") back as seconds,
// the way the X axis takes such a text as one of its bounds. Text that is not
// one gives 0.
double elapsedTextSeconds(const QString& text);

// The graph panels' texts after a trace is rebuilt whole: MAX, MIN (bare
// captions while there is no sample), match count, total sampling, total time.
QStringList statisticsTexts(const TraceStatistics& statistics);

// What ScaleYAxis does for a unit and a peak.
struct YAxisChoice {
    bool setAxis = false;  // the axis becomes -scale .. +scale
    bool setScale = false; // yScale takes `scale`
    double scale = 0.0;
};

// The Y range table: the band that holds the peak gives the half-height. "kHz"
// changes nothing; a unit outside the table only sets yScale to 50, leaving the
// axis alone. A peak inside (-0.5, 0.5) gives +-0.5 for the tabled units.
YAxisChoice yAxisChoiceFor(const QString& unit, double peak);

// The X axis's major tick step for a visible span of seconds: about five labels,
// on steps a clock reads well (1 s ... 10 days); and the minor ticks between two.
double clockTickStep(double span);
int clockSubTickCount(double tickStep);

// X tick labels: seconds as a clock time "h:n:ss" (hours and minutes without a
// leading zero, seconds with one), so 100 s reads "0:1:40". The hours keep
// counting past a day: a two-day trace ends at "48:0:00".
QString clockTickLabel(double seconds);

// "HH:MM:SS" of a count of seconds taken as a time of day (cursor read-outs).
QString hhmmssText(double seconds);

// The cursor period between two data-table time texts ("YYYY/MM/DD HH:MM:SS"):
// later minus earlier, "HH:MM:SS" when both lie on the same date, otherwise
// "DD HH:MM:SS" with DD the whole days between them. Empty when either text is
// empty or not a date-time.
QString periodBetweenRowTimes(const QString& first, const QString& second);

} // namespace kvx
