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
            QStringLiteral("DiffLastTime"),
            QStringLiteral("NoReply")};
}

QString CsvExport::line(const TempSample& s, const RecordHeader& h) {
    return csvLine({QString::number(s.seqNo), s.recTime, readingNumberText(s.pVal, h.pUnit),
                    readingNumberText(s.sVal, h.sUnit), reasonCaption(s.reason), s.comment,
                    timeField(s.timeTick), timeField(s.diffLastTime),
                    s.noReply ? QStringLiteral("1") : QStringLiteral("0")});
}

QByteArray CsvExport::encode(const TraceRecord& trace) {
    QString text = csvLine(headings(trace.header));
    for (const TempSample& s : trace.samples)
        text += line(s, trace.header);
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
    const std::optional<RecordHeader> header = workingHeaderToWrite();
    if (!header)
        return false;
    // A file left unfinished is thrown away.
    QSaveFile file(path);
    bool written = file.open(QIODevice::WriteOnly) && file.write(csvLine(headings(*header)).toUtf8()) >= 0;
    if (written && !recordStore().readSamples(0, [&](const TempSample& s) {
            written = written && file.write(line(s, *header).toUtf8()) >= 0;
        })) {
        reportStoreError();
        return false;
    }
    if (!written || !file.commit()) {
        messages().notice(
            QStringLiteral("The CSV file \"%1\" cannot be written: %2").arg(path, file.errorString()));
        return false;
    }
    return true;
}

} // namespace kvx
