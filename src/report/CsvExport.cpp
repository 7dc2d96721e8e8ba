#include "CsvExport.h"

#include "Services.h"

#include <QSaveFile>

#include <algorithm>

namespace kvx {

namespace {

const QString kLineEnd = QStringLiteral("\r\n");

QString timeField(const QVariant& value) {
    return value.isNull() ? QString() : QString::number(value.toLongLong());
}

QString csvLine(const QStringList& fields) {
    QString line;
    for (int i = 0; i < fields.size(); ++i) {
        if (i > 0)
            line += QLatin1Char(',');
        line += CsvExport::quoted(fields[i]);
    }
    return line + kLineEnd;
}

} // namespace

QString CsvExport::quoted(const QString& field) {
    static const QString special = QStringLiteral(",\"\r\n");
    const bool needsQuotes =
        std::any_of(field.begin(), field.end(), [](QChar c) { return special.contains(c); });
    if (!needsQuotes)
        return field;
    QString out = field;
    out.replace(QLatin1Char('"'), QStringLiteral("\"\""));
    return QLatin1Char('"') + out + QLatin1Char('"');
}

QStringList CsvExport::headings(const RecordHeader& header) {
    return {QStringLiteral("SeqNo"),
            QStringLiteral("RecTime"),
            headingWithUnit(QStringLiteral("Primary"), header.pUnit),
            headingWithUnit(QStringLiteral("Secondary"), header.sUnit),
            QStringLiteral("Reason"),
            QStringLiteral("Comment"),
            QStringLiteral("TimeTick"),
            QStringLiteral("DiffLastTime")};
}

QByteArray CsvExport::encode(const TraceRecord& trace) {
    const RecordHeader& h = trace.header;
    QString text = csvLine(headings(h));
    for (const TempSample& s : trace.samples) {
        text += csvLine({QString::number(s.seqNo), s.recTime, readingNumberText(s.pVal, h.pUnit),
                         readingNumberText(s.sVal, h.sUnit), reasonCaption(s.reason), s.comment,
                         timeField(s.timeTick), timeField(s.diffLastTime)});
    }
    return text.toUtf8();
}

bool CsvExport::write(const QString& path, const TraceRecord& trace, QString* error) {
    QSaveFile file(path);
    const QByteArray bytes = encode(trace);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit()) {
        if (error)
            *error = file.errorString();
        return false;
    }
    return true;
}

bool CsvExport::exportWorkingTrace(const QString& path) {
    const std::optional<TraceRecord> trace = workingTraceToWrite();
    if (!trace)
        return false;
    QString error;
    if (!write(path, *trace, &error)) {
        messages().notice(QStringLiteral("The CSV file \"%1\" cannot be written: %2").arg(path, error));
        return false;
    }
    return true;
}

} // namespace kvx
