#include "DisplayFormat.h"

#include "MeterScales.h"
#include "ValueRules.h"

namespace kvx {

DisplayFormat parseDisplayFormat(const QString& format) {
    DisplayFormat parsed;
    const int quote = format.indexOf(QLatin1Char('"'));
    const QString pattern = quote >= 0 ? format.left(quote) : format;
    if (quote >= 0) {
        const int closing = format.indexOf(QLatin1Char('"'), quote + 1);
        parsed.unit = closing >= 0 ? format.mid(quote + 1, closing - quote - 1) : format.mid(quote + 1);
    }
    const int point = pattern.indexOf(QLatin1Char('.'));
    if (point >= 0) {
        int end = pattern.indexOf(QLatin1Char(' '), point + 1);
        if (end < 0)
            end = pattern.size();
        parsed.decimals = end - point - 1;
    }
    return parsed;
}

QString displayNumberText(double value, const QString& format) {
    return fixedDecimals(value, parseDisplayFormat(format).decimals);
}

QString displayText(double value, const QString& format) {
    const DisplayFormat parsed = parseDisplayFormat(format);
    const QString number = fixedDecimals(value, parsed.decimals);
    const QString unit = displayUnit(parsed.unit);
    return unit.isEmpty() ? number : number + QLatin1Char(' ') + unit;
}

} // namespace kvx
