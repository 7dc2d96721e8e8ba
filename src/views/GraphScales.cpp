#include "GraphScales.h"

#include "ValueRules.h"

#include <QRegularExpression>
#include <cmath>

namespace kvx {

namespace {

constexpr qint64 kSecondsPerDay = 86400;

// Floor division, so the fields stay right for any sign of the count.
qint64 floorDiv(qint64 n, qint64 d) {
    qint64 q = n / d;
    if ((n % d != 0) && ((n < 0) != (d < 0)))
        --q;
    return q;
}

qint64 floorMod(qint64 n, qint64 d) {
    return n - floorDiv(n, d) * d;
}

QString twoDigits(qint64 n) {
    return QStringLiteral("%1").arg(n, 2, 10, QLatin1Char('0'));
}

struct Band {
    double from; // the band holds peaks from here up to the band above
    double scale;
};

// Bands from the top down; the first row is the top band, which also takes any
// larger peak.
const Band kVoltBands[] = {{1200, 1200}, {500, 1200}, {50, 500}, {5, 50}, {0.5, 5}};
const Band kCurrentBands[] = {{20000, 20000}, {2000, 20000}, {500, 2000}, {50, 500}, {5, 50}, {0.5, 5}};
const Band kOhmBands[] = {{20000, 20000}, {5000, 20000}, {500, 5000}, {50, 500}, {5, 50}, {0.5, 5}};
const Band kCapacitanceBands[] = {{50000, 50000}, {5000, 50000}, {500, 5000}, {50, 500}, {5, 50}, {0.5, 5}};

template <size_t N> std::optional<double> bandScale(const Band (&bands)[N], double peak) {
    for (const Band& b : bands) {
        if (peak >= b.from)
            return b.scale;
    }
    return std::nullopt;
}

} // namespace

QString FormatElapsed(qint32 seconds) {
    const qint64 n = seconds;
    const qint64 s = floorMod(n, 60);
    const qint64 m = floorMod(floorDiv(n, 60), 60);
    const qint64 h = floorMod(floorDiv(n, 3660), 24);
    const qint64 d = h > 0 ? floorDiv(floorDiv(n, 3600), 24) : 0;
    const QString clock = QStringLiteral("%1:%2:%3").arg(h).arg(m).arg(s);
    if (d < 1)
        return clock;
    return QStringLiteral("%1D %2").arg(d).arg(clock);
}

double elapsedTextSeconds(const QString& text) {
    static const QRegularExpression pattern(QStringLiteral("^\\s*(?:(\\d+)D\\s+)?(\\d+):(\\d+):(\\d+)\\s*$"));
    const auto match = pattern.match(text);
    if (!match.hasMatch())
        return 0.0;
    const double days = match.captured(1).isEmpty() ? 0.0 : match.captured(1).toDouble();
    return days * kSecondsPerDay + match.captured(2).toDouble() * 3600 + match.captured(3).toDouble() * 60 +
           match.captured(4).toDouble();
}

QStringList statisticsTexts(const TraceStatistics& statistics) {
    const auto extreme = [](const char* caption, qint32 index, double value) {
        return QLatin1String(caption) + (index >= 0 ? numberToText(value) : QString());
    };
    return {extreme("MAX:", statistics.maxIndex, statistics.maxValue),
            extreme("MIN:", statistics.minIndex, statistics.minValue),
            QStringLiteral("Match Condition:") + QString::number(statistics.matchCount),
            QStringLiteral("Total Sampling:") + QString::number(statistics.sampleCount),
            QStringLiteral("Total Time:") + FormatElapsed(statistics.sampleCount)};
}

YAxisChoice yAxisChoiceFor(const QString& unit, double peak) {
    YAxisChoice choice;
    std::optional<double> scale;
    if (unit == QLatin1String("V") || unit.isEmpty())
        scale = bandScale(kVoltBands, peak);
    else if (unit == QLatin1String("mA"))
        scale = bandScale(kCurrentBands, peak);
    else if (unit == QLatin1String("kohm"))
        scale = bandScale(kOhmBands, peak);
    else if (unit == QLatin1String("nF"))
        scale = bandScale(kCapacitanceBands, peak);
    else if (unit == QLatin1String("kHz"))
        return choice;
    else {
        choice.setScale = true;
        choice.scale = 50.0;
        return choice;
    }
    if (-0.5 < peak && peak < 0.5)
        scale = 0.5;
    if (scale) {
        choice.setAxis = choice.setScale = true;
        choice.scale = *scale;
    }
    return choice;
}

QString clockTickLabel(double seconds) {
    // Elapsed time keeps counting its hours past a day; a view panned before the
    // start shows the clock of the day before.
    const qint64 rounded = std::llround(seconds);
    const qint64 total = rounded >= 0 ? rounded : floorMod(rounded, kSecondsPerDay);
    return QStringLiteral("%1:%2:%3").arg(total / 3600).arg((total / 60) % 60).arg(twoDigits(total % 60));
}

QString hhmmssText(double seconds) {
    const qint64 total = floorMod(std::llround(seconds), kSecondsPerDay);
    return QStringLiteral("%1:%2:%3")
        .arg(twoDigits(total / 3600), twoDigits((total / 60) % 60), twoDigits(total % 60));
}

QString periodBetweenRowTimes(const QString& first, const QString& second) {
    if (first.trimmed().isEmpty() || second.trimmed().isEmpty())
        return QString();
    const QDateTime a = parseDateTimeText(first.trimmed());
    const QDateTime b = parseDateTimeText(second.trimmed());
    if (!a.isValid() || !b.isValid())
        return QString();
    const qint64 span = std::llabs(a.secsTo(b));
    if (a.date() == b.date())
        return hhmmssText(double(span));
    return QStringLiteral("%1 %2").arg(twoDigits(span / kSecondsPerDay), hhmmssText(double(span)));
}

double clockTickStep(double span) {
    static const double steps[] = {1,    2,    5,    10,    20,    60,    120,   300,    600,    1200,
                                   1800, 3600, 7200, 10800, 21600, 43200, 86400, 172800, 432000, 864000};
    const double wanted = span / 5.0;
    for (double step : steps) {
        if (step >= wanted - 1e-9)
            return step;
    }
    return steps[std::size(steps) - 1];
}

int clockSubTickCount(double tickStep) {
    // Over the default 100 s view: labels every 20 s, a minor tick every 5 s.
    if (std::fmod(tickStep, 20.0) == 0.0 && tickStep <= 1200)
        return 3;
    if (tickStep >= 5 && std::fmod(tickStep, 5.0) == 0.0)
        return 4;
    return 1;
}

} // namespace kvx
