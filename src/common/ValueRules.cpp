#include "ValueRules.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace kvx {

namespace {

// The parse runs over QString text and over the UTF-8 bytes the database hands out.
// Only ASCII characters make up a number, and no byte of a multi-byte UTF-8
// sequence is ASCII, so both read the same prefix of the same text.
char16_t unitAt(const QString& text, qsizetype i) {
    return text[i].unicode();
}
char16_t unitAt(std::string_view text, size_t i) {
    return static_cast<unsigned char>(text[i]);
}

bool isBlank(char16_t c) {
    return c == u' ' || c == u'\t';
}

bool isAsciiDigit(char16_t c) {
    return c >= u'0' && c <= u'9';
}

// Length of the longest numeric prefix of `text` starting at `pos`; 0 when none.
template <class Text> int numericPrefixLength(const Text& text, int pos) {
    const int start = pos;
    const int n = int(text.size());
    if (pos < n && (unitAt(text, pos) == u'+' || unitAt(text, pos) == u'-'))
        ++pos;
    int digits = 0;
    while (pos < n && isAsciiDigit(unitAt(text, pos))) {
        ++pos;
        ++digits;
    }
    if (pos < n && unitAt(text, pos) == u'.') {
        ++pos;
        while (pos < n && isAsciiDigit(unitAt(text, pos))) {
            ++pos;
            ++digits;
        }
    }
    if (digits == 0)
        return 0;
    // An exponent counts only when digits follow it ("1E" reads as 1).
    if (pos < n && (unitAt(text, pos) == u'e' || unitAt(text, pos) == u'E')) {
        int e = pos + 1;
        if (e < n && (unitAt(text, e) == u'+' || unitAt(text, e) == u'-'))
            ++e;
        const int expDigitsStart = e;
        while (e < n && isAsciiDigit(unitAt(text, e)))
            ++e;
        if (e > expDigitsStart)
            pos = e;
    }
    return pos - start;
}

template <class Text> int leadingBlanks(const Text& text) {
    int pos = 0;
    while (pos < int(text.size()) && isBlank(unitAt(text, pos)))
        ++pos;
    return pos;
}

template <class Text> double parseLeading(const Text& text) {
    const int pos = leadingBlanks(text);
    const int len = numericPrefixLength(text, pos);
    if (len == 0)
        return 0.0;
    // The prefix is already known to be a plain number of ASCII characters, so it
    // is converted through a small buffer: this parse runs once per stored row
    // when a long trace is rebuilt.
    char buffer[64];
    if (len >= int(sizeof buffer)) {
        QString prefix(len, Qt::Uninitialized);
        for (int i = 0; i < len; ++i)
            prefix[i] = QChar(unitAt(text, pos + i));
        return prefix.toDouble();
    }
    for (int i = 0; i < len; ++i)
        buffer[i] = static_cast<char>(unitAt(text, pos + i));
    const char* begin = buffer[0] == '+' ? buffer + 1 : buffer;
    double value = 0.0;
    const auto result = std::from_chars(begin, buffer + len, value);
    if (result.ec != std::errc() || !std::isfinite(value))
        return 0.0;
    return value;
}

} // namespace

double parseLeadingNumber(const QString& text) {
    return parseLeading(text);
}

double parseLeadingNumber(std::string_view utf8) {
    return parseLeading(utf8);
}

bool startsWithNumber(const QString& text) {
    return numericPrefixLength(text, leadingBlanks(text)) > 0;
}

bool isNumeric(const QString& text) {
    const QString t = text.trimmed();
    return !t.isEmpty() && numericPrefixLength(t, 0) == t.size();
}

QString numberToText(double value) {
    if (value == 0.0)
        return QStringLiteral("0"); // no "-0"
    return QString::number(value, 'g', 15);
}

double roundToSignificant(double value, int digits) {
    if (value == 0.0 || !std::isfinite(value))
        return value;
    return QString::number(value, 'g', digits).toDouble();
}

double roundHalfEven(double value) {
    const double lower = std::floor(value);
    const double diff = value - lower;
    if (diff > 0.5)
        return lower + 1.0;
    if (diff < 0.5)
        return lower;
    return std::fmod(lower, 2.0) == 0.0 ? lower : lower + 1.0;
}

std::optional<qint16> roundToInt16(double value) {
    if (!std::isfinite(value))
        return std::nullopt;
    const double r = roundHalfEven(value);
    if (r > 32767.0 || r < -32768.0)
        return std::nullopt;
    return static_cast<qint16>(r);
}

QString fixedDecimals(double value, int decimals) {
    return QString::number(value, 'f', decimals);
}

QString fixedText(const QString& text, int width) {
    return text.left(width).leftJustified(width, QLatin1Char(' '));
}

QString trimBlanks(const QString& text) {
    int begin = 0;
    int end = text.size();
    while (begin < end && text[begin] == QLatin1Char(' '))
        ++begin;
    while (end > begin && text[end - 1] == QLatin1Char(' '))
        --end;
    return text.mid(begin, end - begin);
}

QString dateTimeText(const QDateTime& when) {
    return when.toString(QStringLiteral("yyyy/MM/dd HH:mm:ss"));
}

QString timeOfDayText(const QDateTime& when) {
    return when.toString(QStringLiteral("HH:mm:ss"));
}

QString isoDateTimeText(const QDateTime& when) {
    // Qt writes UTC itself as "Z"; the exports write "+00:00", and so does this.
    const int offset = when.offsetFromUtc();
    const int minutes = std::abs(offset) / 60;
    return when.toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss")) +
           QStringLiteral("%1%2:%3")
               .arg(offset < 0 ? QLatin1Char('-') : QLatin1Char('+'))
               .arg(minutes / 60, 2, 10, QLatin1Char('0'))
               .arg(minutes % 60, 2, 10, QLatin1Char('0'));
}

QDateTime parseDateTimeText(const QString& text) {
    return QDateTime::fromString(text.trimmed(), QStringLiteral("yyyy/MM/dd HH:mm:ss"));
}

bool appendIsoDateTime(QByteArrayView text, QByteArray* out) {
    static constexpr char kForm[] = "0000/00/00 00:00:00";
    static constexpr qsizetype kHourLength = 13;   // "YYYY/MM/DD HH"
    static constexpr qsizetype kMinuteLength = 16; // "YYYY/MM/DD HH:MM"
    if (text.size() != qsizetype(sizeof(kForm) - 1))
        return false;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const bool digitWanted = kForm[i] == '0';
        const char c = text[i];
        if (digitWanted ? (c < '0' || c > '9') : c != kForm[i])
            return false;
    }
    const auto number = [&text](int at, int length) {
        int n = 0;
        for (int i = at; i < at + length; ++i)
            n = n * 10 + (text[i] - '0');
        return n;
    };
    if (number(17, 2) > 59)
        return false;
    // The zone is asked as little as it can be: once an hour when the hour's first and
    // last minutes have one offset (every hour but those of a clock change), else
    // once a minute.
    struct Offset {
        bool valid = false;
        char text[7] = {}; // "+01:00"
    };
    const auto offsetAt = [&number](int minute) {
        Offset found;
        const QDateTime local(QDate(number(0, 4), number(5, 2), number(8, 2)), QTime(number(11, 2), minute));
        // A time skipped by a clock change comes back moved to another minute or hour.
        found.valid = local.isValid() && local.time().minute() == minute &&
                      local.time().hour() == number(11, 2) && local.date().day() == number(8, 2);
        if (found.valid) {
            const int offset = local.offsetFromUtc();
            const int minutes = std::abs(offset) / 60;
            std::snprintf(found.text, sizeof(found.text), "%c%02d:%02d", offset < 0 ? '-' : '+',
                          minutes / 60 % 100, minutes % 60);
        }
        return found;
    };
    struct Cache {
        char hour[kHourLength] = {};
        bool wholeHour = false; // `offset` holds for every minute of `hour`
        char minute[kMinuteLength] = {};
        Offset offset;
    };
    thread_local Cache last;
    if (std::memcmp(last.hour, text.data(), kHourLength) != 0) {
        std::memcpy(last.hour, text.data(), kHourLength);
        std::memset(last.minute, 0, kMinuteLength);
        const Offset first = offsetAt(0), lastMinute = offsetAt(59);
        last.wholeHour = first.valid && lastMinute.valid && std::memcmp(first.text, lastMinute.text, 6) == 0;
        last.offset = first;
    }
    if (!last.wholeHour && std::memcmp(last.minute, text.data(), kMinuteLength) != 0) {
        std::memcpy(last.minute, text.data(), kMinuteLength);
        last.offset = offsetAt(number(14, 2));
    }
    if (!last.offset.valid)
        return false;
    const qsizetype at = out->size();
    out->append(text.data(), text.size());
    char* written = out->data() + at;
    written[4] = written[7] = '-';
    written[10] = 'T';
    out->append(last.offset.text, 6);
    return true;
}

QString ToBinaryString(qint16 n) {
    // Written as the register routine states it: lowest bit first, then halving
    // while the quotient is above 1. A negative value skips the loop.
    QString bits = (n % 2 != 0) ? QStringLiteral("1") : QStringLiteral("0");
    int q = static_cast<int>(std::floor(n / 2.0));
    while (q > 1) {
        bits.prepend(q % 2 != 0 ? QLatin1Char('1') : QLatin1Char('0'));
        q = static_cast<int>(std::floor(q / 2.0));
    }
    if (q == 1)
        bits.prepend(QLatin1Char('1'));
    return bits;
}

QString bitText(qint16 n, int width) {
    const QString padded = QString(17, QLatin1Char('0')) + ToBinaryString(n);
    return padded.right(width);
}

double secondsOfDayBetween(double from, double to) {
    constexpr double secondsPerDay = 86400.0;
    const double seconds = to - from;
    return seconds < 0 ? seconds + secondsPerDay : seconds;
}

QString displayUnit(const QString& unit) {
    if (unit == QLatin1String("kohm"))
        return QStringLiteral("k\u03A9");
    return unit;
}

} // namespace kvx
