#pragma once
// The value rules every part of the program shares: how numbers are read from
// and written to text, how they are rounded to 16 bits, and how dates look.
// Each rule lives here once; nothing else re-implements them.

#include <QByteArray>
#include <QByteArrayView>
#include <QDateTime>
#include <QString>
#include <optional>
#include <string_view>

namespace kvx {

// Lenient leading-number parse: after leading blanks, the longest prefix that is
// a decimal number (sign, digits, point, exponent) is read; text without one gives 0.
double parseLeadingNumber(const QString& text);
// The same parse over UTF-8 text, as the record database hands it out.
double parseLeadingNumber(std::string_view utf8);

// True when the lenient parse finds a number at the start of the text (after blanks).
bool startsWithNumber(const QString& text);
// A reading that got no reply: the exchange failed, or the reply holds no number.
// It is stored as the 0 it reads as, and marked so that it is never taken for a
// measured 0.
inline bool readingMissing(bool answered, const QString& reply) {
    return !answered || !startsWithNumber(reply);
}

// True when the whole text (blanks around it allowed) is a number. Empty text is not.
bool isNumeric(const QString& text);

// Ordinary number-to-text: shortest decimal form, no padding (20 -> "20", 0.5 -> "0.5").
QString numberToText(double value);

// Drops the binary noise that subtracting two readings leaves in the last digits
// (3.2633 - 3.2574 -> 0.0059), keeping `digits` significant digits.
double roundToSignificant(double value, int digits);

// Rounds to the nearest integer, halves to even (2.5 -> 2, 3.5 -> 4).
double roundHalfEven(double value);

// Rounds to a 16-bit signed integer, halves to even. Values outside -32768..32767
// do not fit: the caller then ends with its default result.
std::optional<qint16> roundToInt16(double value);

// A number with a fixed count of decimals ("0.00" style formats).
QString fixedDecimals(double value, int decimals);

// Text padded with blanks or cut to exactly `width` characters (fixed-length fields).
QString fixedText(const QString& text, int width);

// Trims blanks only (spaces), as the field rules do; line ends are left alone.
QString trimBlanks(const QString& text);

// "YYYY/MM/DD HH:MM:SS": records, data table and start/end fields.
QString dateTimeText(const QDateTime& when);
// Seconds from one seconds-of-day clock reading to a later one, across midnight
// too: the clock starts again at 0, so a smaller reading is on the next day.
// Two readings of one clock value are 0 apart.
double secondsOfDayBetween(double from, double to);
// "HH:MM:SS": times of day in logs and cursor read-outs.
QString timeOfDayText(const QDateTime& when);
// ISO 8601 with the UTC offset in force ("2026-11-23T17:43:14+01:00"): the times
// of status answers and of the monitor page, as exports write them.
QString isoDateTimeText(const QDateTime& when);
// Reads a "YYYY/MM/DD HH:MM:SS" text back; invalid QDateTime when it is not one.
QDateTime parseDateTimeText(const QString& text);
// Exports: a "YYYY/MM/DD HH:MM:SS" local time appended to `out` in ISO 8601 with
// the UTC offset then in force ("2026-11-23T17:43:14+01:00"). False, with nothing
// appended, when the text is not of that form or names no local time (an invalid
// date, an hour skipped by a clock change). An hour repeated by a clock change
// takes the offset the time zone gives it. Rows come a second apart, so the
// offset of the last hour seen is kept (per thread) and the time zone is asked
// about twice an hour.
bool appendIsoDateTime(QByteArrayView recordTime, QByteArray* out);

// The unit as the operator reads it: "kohm" is shown as "kΩ"; any other unit,
// empty included, as it is.
QString displayUnit(const QString& unit);

// A 16-bit integer as its binary digits, most significant first, no leading zeros
// ("0" for 0). A negative value gives only its lowest bit.
QString ToBinaryString(qint16 n);

// The register rule: `ToBinaryString` behind a run of zeros, cut to the rightmost `width`.
QString bitText(qint16 n, int width);

} // namespace kvx
