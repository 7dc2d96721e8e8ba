#include "TraceRecord.h"

#include "SampleTimeline.h"
#include "ValueRules.h"

namespace kvx {

QString storeErrorText(const StoreError& error) {
    return error.number + QStringLiteral(":") + error.description;
}

RecordLookup savedRecord(RecordStore& store, const QString& recNo, TraceRecord& record, QString* error) {
    const auto header = store.readHeader(recNo);
    if (!header) {
        if (error)
            *error = storeErrorText(store.lastError());
        return RecordLookup::Failed;
    }
    if (!header->has_value())
        return RecordLookup::Missing;
    TraceRecord found;
    found.header = **header;
    if (!store.readRecordSamples(recNo, [&](const TempSample& row) { found.samples.push_back(row); })) {
        if (error)
            *error = storeErrorText(store.lastError());
        return RecordLookup::Failed;
    }
    record = std::move(found);
    return RecordLookup::Found;
}

QString readingNumberText(const QString& reading, const QString& unit) {
    const QString text = trimBlanks(reading);
    if (isNumeric(text))
        return text;
    const int blank = text.indexOf(QLatin1Char(' '));
    if (blank > 0 && text.mid(blank + 1) == unit) {
        const QString number = text.left(blank);
        if (isNumeric(number))
            return number;
    }
    return reading;
}

QString reasonCaption(const QString& code) {
    static const ReasonText byCode[] = {ReasonText::Time, ReasonText::OverMax, ReasonText::BelowMin,
                                        ReasonText::MatchLevel, ReasonText::MatchPercent};
    const QString trimmed = trimBlanks(code);
    if (trimmed.size() == 1 && trimmed[0] >= QLatin1Char('0') && trimmed[0] <= QLatin1Char('4'))
        return reasonText(byCode[trimmed[0].unicode() - '0']);
    return code;
}

QString headingWithUnit(const QString& heading, const QString& unit) {
    const QString shown = displayUnit(trimBlanks(unit));
    return shown.isEmpty() ? heading : heading + QStringLiteral(" [") + shown + QStringLiteral("]");
}

QString settingText(const QString& field) {
    QString text = field;
    while (!text.isEmpty() && (text.back() == QLatin1Char(' ') || text.back() == QChar(0)))
        text.chop(1);
    return trimBlanks(text);
}

} // namespace kvx
