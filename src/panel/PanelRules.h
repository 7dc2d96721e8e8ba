#pragma once
// The front panel's decisions that need no widget: range tables, the number
// format bands of the primary display, the saved-function lookup, the timer
// re-arm rule and the total-time check. The panel calls these; the tests
// check them by table.

#include "FunctionCatalogue.h"

#include <QDateTime>
#include <QString>
#include <vector>

namespace kvx::panel {

enum class RangeGroup { Voltage, Current, Resistance, Capacitance };

struct RangeOption {
    QString caption;
    double value = 0.0;
};

// The options of one range group, in their on-screen order (index = option index).
const std::vector<RangeOption>& rangeOptions(RangeGroup group);

// The range group of a function's range frame (the frames that hold range options).
RangeGroup groupOf(FunctionFrame frame);

// The range an option index stands for; an index outside the group means automatic (0).
double rangeValue(RangeGroup group, int index);

// Digits pattern (".0 ", ".#0 ", ".##0 ", ".###0 ") for the largest magnitude shown in a unit.
QString primaryDigitsPattern(const QString& unit, double largestMagnitude);

// The unit as the operator reads it: "kohm" is shown as "kΩ", no unit means volts.
QString displayUnit(const QString& unit);

// Digits pattern followed by the display unit in double quotes, as the digital screen takes it.
QString primaryFormatText(const QString& unit, double largestMagnitude);
// The secondary display's format: its unit after the digits (".##0 \"kHz\"").
QString secondaryFormatText(const QString& unit);

// Object name of the function key that restores a saved function name: the short
// or the long name of a function, compared exactly (case included). A name that is
// blank or matches nothing restores DC voltage.
QString restoreKeyFor(const QString& savedFunction);

// The next Timer2 interval after a tick that took `tickSeconds`, keeping ticks on
// a whole-second grid. A tick of 5 s or more keeps `currentInterval`.
int rearmInterval(double tickSeconds, int currentInterval);

// True when a trace of `elapsedMinutes` has outrun the total-time text:
// "Continuous" never does, any other text counts by its leading number (0 if none).
bool totalTimeElapsed(const QString& totalTime, double elapsedMinutes);


// "間隔Time: 2.50sec" for a trigger interval; the caption shown before any trigger.
QString triggerIntervalCaption(double seconds);
QString initialIntervalCaption();

// "hh:nn:ss mm d, yyyy": the panel's clock display.
QString clockDisplayText(const QDateTime& when);

} // namespace kvx::panel
