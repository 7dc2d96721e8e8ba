#pragma once
// Format texts of the numeric displays: a digits pattern, then the unit in
// double quotes (".##0 \"V\""). The characters after the '.' up to the blank
// count the decimals shown.

#include <QString>

namespace kvx {

struct DisplayFormat {
    int decimals = 0;
    QString unit; // as written in the format ("kohm", not yet "kΩ")
};

DisplayFormat parseDisplayFormat(const QString& format);

// The number part of a display: fixed decimals from the format.
QString displayNumberText(double value, const QString& format);

// Number and shown unit, as one line of text ("1.234 kΩ").
QString displayText(double value, const QString& format);

} // namespace kvx
