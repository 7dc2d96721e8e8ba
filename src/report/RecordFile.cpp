#include "RecordFile.h"

#include "Forms.h"
#include "Services.h"
#include "Session.h"
#include "ValueRules.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>
#include <QSaveFile>

#include <cmath>

#ifndef KVX_VERSION
#define KVX_VERSION "1.0.1"
#endif

namespace kvx {

namespace {

// Header members in the order they are written, with the header field each holds.
struct HeaderMember {
    const char* name;
    QString RecordHeader::*field;
};
const HeaderMember kHeaderMembers[] = {
    {"recNo", &RecordHeader::recNo},       {"startTime", &RecordHeader::startTime},
    {"endTime", &RecordHeader::endTime},   {"comment", &RecordHeader::comment},
    {"pUnit", &RecordHeader::pUnit},       {"sUnit", &RecordHeader::sUnit},
    {"recStyle", &RecordHeader::recStyle},
};

const char* const kColumns[] = {"SeqNo",  "RecTime", "PVal",     "SVal",
                                "Reason", "Comment", "TimeTick", "DiffLastTime"};
constexpr int kColumnCount = int(std::size(kColumns));
constexpr double kLargestWholeNumber = 9007199254740992.0; // 2^53: every whole number up to it is exact

// One JSON value in compact form. QJsonDocument only writes objects and arrays,
// so the value goes into an array whose brackets are cut off again.
QByteArray jsonValue(const QJsonValue& value) {
    const QByteArray array = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    return array.mid(1, array.size() - 2);
}

QJsonValue timeValue(const QVariant& value) {
    if (value.isNull())
        return QJsonValue(QJsonValue::Null);
    return QJsonValue(value.toLongLong());
}

QByteArray sampleLine(const TempSample& s) {
    const QJsonArray row{
        QJsonValue(s.seqNo),      s.recTime, s.pVal, s.sVal, s.reason, s.comment, timeValue(s.timeTick),
        timeValue(s.diffLastTime)};
    return QJsonDocument(row).toJson(QJsonDocument::Compact);
}

bool wholeNumber(const QJsonValue& value, qint64* out) {
    if (!value.isDouble())
        return false;
    const double d = value.toDouble();
    if (!std::isfinite(d) || std::trunc(d) != d || std::fabs(d) > kLargestWholeNumber)
        return false;
    *out = value.toInteger();
    return true;
}

// What is wrong with the document, or empty text when it is a version-1 record.
class Decoder {
public:
    explicit Decoder(TraceRecord& out) : m_out(out) {}

    QString decode(const QJsonObject& root) {
        if (root.value(QLatin1String("format")).toString() != QLatin1String(RecordFile::kFormatName))
            return QStringLiteral("it is not a KVX-5130 record file");
        if (QString problem = checkVersion(root.value(QLatin1String("version"))); !problem.isEmpty())
            return problem;
        if (QString problem = readHeader(root.value(QLatin1String("header"))); !problem.isEmpty())
            return problem;
        if (QString problem = checkColumns(root.value(QLatin1String("columns"))); !problem.isEmpty())
            return problem;
        return readSamples(root.value(QLatin1String("samples")));
    }

private:
    static QString checkVersion(const QJsonValue& value) {
        qint64 version = 0;
        if (!wholeNumber(value, &version) || version < 1)
            return QStringLiteral("its format version is missing or not valid");
        if (version != RecordFile::kVersion)
            return QStringLiteral(
                       "it was written in record-file version %1, and this program reads version %2 only")
                .arg(version)
                .arg(RecordFile::kVersion);
        return QString();
    }

    QString readHeader(const QJsonValue& value) {
        if (!value.isObject())
            return QStringLiteral("its record header is missing");
        const QJsonObject header = value.toObject();
        for (const HeaderMember& member : kHeaderMembers) {
            const QJsonValue field = header.value(QLatin1String(member.name));
            if (!field.isString())
                return QStringLiteral("its record header is damaged (\"%1\" is missing or not text)")
                    .arg(QLatin1String(member.name));
            m_out.header.*member.field = field.toString();
        }
        return QString();
    }

    static QString checkColumns(const QJsonValue& value) {
        const QJsonArray columns = value.toArray();
        bool same = value.isArray() && columns.size() == kColumnCount;
        for (int i = 0; same && i < kColumnCount; ++i)
            same = columns[i].toString() == QLatin1String(kColumns[i]);
        return same ? QString() : QStringLiteral("its sample columns are not the ones this program knows");
    }

    QString readSamples(const QJsonValue& value) {
        if (!value.isArray())
            return QStringLiteral("its samples are missing");
        const QJsonArray rows = value.toArray();
        m_out.samples.reserve(size_t(rows.size()));
        for (qsizetype i = 0; i < rows.size(); ++i) {
            TempSample sample;
            if (const QString problem = readSample(rows[i], sample); !problem.isEmpty())
                return QStringLiteral("sample %1 of %2 is damaged (%3)")
                    .arg(i + 1)
                    .arg(rows.size())
                    .arg(problem);
            m_out.samples.push_back(std::move(sample));
        }
        return QString();
    }

    static QString readSample(const QJsonValue& value, TempSample& s) {
        const QJsonArray row = value.toArray();
        if (!value.isArray() || row.size() != kColumnCount)
            return QStringLiteral("not a row of %1 columns").arg(kColumnCount);
        if (!wholeNumber(row[0], &s.seqNo))
            return QStringLiteral("SeqNo is not a whole number");
        QString* const texts[] = {&s.recTime, &s.pVal, &s.sVal, &s.reason, &s.comment};
        for (int c = 1; c <= 5; ++c) {
            if (!row[c].isString())
                return QStringLiteral("%1 is not text").arg(QLatin1String(kColumns[c]));
            *texts[c - 1] = row[c].toString();
        }
        QVariant* const times[] = {&s.timeTick, &s.diffLastTime};
        for (int c = 6; c <= 7; ++c) {
            qint64 number = 0;
            if (row[c].isNull())
                *times[c - 6] = QVariant();
            else if (wholeNumber(row[c], &number))
                *times[c - 6] = number;
            else
                return QStringLiteral("%1 is neither a whole number nor empty")
                    .arg(QLatin1String(kColumns[c]));
        }
        return QString();
    }

    TraceRecord& m_out;
};

int sampleStyleIndex(const QString& recStyle) {
    if (recStyle == QLatin1String("0"))
        return 0;
    if (recStyle == QLatin1String("1"))
        return 1;
    return -1; // neither option, as loading such a record does
}

void setField(RecordField which, const QString& text) {
    if (forms().dataTable)
        forms().dataTable->setField(which, text);
}

} // namespace

QByteArray RecordFile::encode(const TraceRecord& trace, const QDateTime& savedAt) {
    QJsonObject header;
    for (const HeaderMember& member : kHeaderMembers)
        header.insert(QLatin1String(member.name), trace.header.*member.field);
    QJsonArray columns;
    for (const char* column : kColumns)
        columns.append(QLatin1String(column));

    QByteArray out;
    out.reserve(256 + qsizetype(trace.samples.size()) * 80);
    out += "{\"format\":" + jsonValue(QLatin1String(kFormatName)) + ",\"version\":" + jsonValue(kVersion) +
           ",\n";
    out += "\"application\":" + jsonValue(QStringLiteral("kvx5130 " KVX_VERSION)) +
           ",\"saved\":" + jsonValue(dateTimeText(savedAt)) + ",\n";
    out += "\"header\":" + QJsonDocument(header).toJson(QJsonDocument::Compact) + ",\n";
    out += "\"columns\":" + QJsonDocument(columns).toJson(QJsonDocument::Compact) + ",\n";
    out += "\"samples\":[";
    for (size_t i = 0; i < trace.samples.size(); ++i) {
        out += i == 0 ? "\n" : ",\n";
        out += sampleLine(trace.samples[i]);
    }
    out += "\n]}\n";
    return out;
}

std::optional<TraceRecord> RecordFile::decode(const QByteArray& bytes, QString* error) {
    const auto refuse = [error](const QString& why) {
        if (error)
            *error = why;
        return std::nullopt;
    };
    QJsonParseError parse{};
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &parse);
    if (parse.error != QJsonParseError::NoError) {
        // A file that does not even start like one is foreign; one that does was cut or damaged.
        if (!bytes.startsWith("{\"format\":\"kvx5130-record\""))
            return refuse(QStringLiteral("it is not a KVX-5130 record file"));
        return refuse(
            QStringLiteral("it is damaged (%1 at byte %2)").arg(parse.errorString()).arg(parse.offset));
    }
    if (!document.isObject())
        return refuse(QStringLiteral("it is not a KVX-5130 record file"));
    TraceRecord trace;
    if (const QString problem = Decoder(trace).decode(document.object()); !problem.isEmpty())
        return refuse(problem);
    return trace;
}

bool RecordFile::write(const QString& path, const TraceRecord& trace, QString* error) {
    QSaveFile file(path);
    const QByteArray bytes = encode(trace, clock().now());
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit()) {
        if (error)
            *error = file.errorString();
        return false;
    }
    return true;
}

std::optional<TraceRecord> RecordFile::read(const QString& path, QString* error) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        if (error)
            *error = file.errorString();
        return std::nullopt;
    }
    return decode(file.readAll(), error);
}

bool RecordFile::saveWorkingTrace(const QString& path) {
    const std::optional<TraceRecord> trace = workingTraceToWrite();
    if (!trace)
        return false;
    QString error;
    if (!write(path, *trace, &error)) {
        messages().notice(QStringLiteral("The record file \"%1\" cannot be written: %2").arg(path, error));
        return false;
    }
    return true;
}

bool RecordFile::openAsWorkingTrace(const QString& path) {
    if (session().tracing) {
        messages().notice(QStringLiteral("Stop the trace before opening a record file."));
        return false;
    }
    QString error;
    const std::optional<TraceRecord> trace = read(path, &error);
    if (!trace) {
        messages().notice(
            QStringLiteral("\"%1\" cannot be opened as a record file: %2.\nThe working trace is "
                           "unchanged.")
                .arg(path, error));
        return false;
    }
    // The samples go in first and in one transaction, so a failure leaves the
    // header fields and the samples as they were.
    if (!recordStore().replaceTrace(trace->samples)) {
        const StoreError& e = recordStore().lastError();
        messages().notice(QStringLiteral("System Error caused by ") + e.number + QStringLiteral(":") +
                          e.description);
        return false;
    }
    const RecordHeader& h = trace->header;
    setField(RecordField::Recno, QString());
    setField(RecordField::StartTime, h.startTime);
    setField(RecordField::EndTime, h.endTime);
    setField(RecordField::DataDesc, h.comment);
    setField(RecordField::PUnit, h.pUnit);
    setField(RecordField::SUnit, h.sUnit);
    if (forms().panel)
        forms().panel->setSampleStyle(sampleStyleIndex(h.recStyle));
    if (forms().dataTable)
        forms().dataTable->refreshRows();
    if (forms().graph)
        forms().graph->ReDraw();
    return true;
}

} // namespace kvx
