#include "SampleExport.h"

#include "ValueRules.h"

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <iterator>

namespace kvx {

namespace {

// The fields in their order; CSV headings are the same names capitalised.
constexpr const char* kFields[] = {"seqNo",     "recTime",       "primary",      "primaryUnit",
                                   "secondary", "secondaryUnit", "reason",       "reasonCaption",
                                   "comment",   "timeTick",      "diffLastTime", "noReply"};

// Output is gathered up to this size before it goes to the file.
constexpr qsizetype kWriteBuffer = 1 << 20;

QByteArrayView trimmedBlanks(QByteArrayView text) {
    while (!text.isEmpty() && text.front() == ' ')
        text = text.sliced(1);
    while (!text.isEmpty() && text.back() == ' ')
        text.chop(1);
    return text;
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// A number as JSON writes it, which every csv and json reader takes for one:
// -?(0|[1-9][0-9]*)(.[0-9]+)?([eE][+-]?[0-9]+)?
bool isJsonNumber(QByteArrayView text) {
    qsizetype i = 0;
    const qsizetype n = text.size();
    const auto digits = [&] {
        const qsizetype from = i;
        while (i < n && isDigit(text[i]))
            ++i;
        return i > from;
    };
    if (i < n && text[i] == '-')
        ++i;
    if (i < n && text[i] == '0')
        ++i;
    else if (!digits())
        return false;
    if (i < n && text[i] == '.') {
        ++i;
        if (!digits())
            return false;
    }
    if (i < n && (text[i] == 'e' || text[i] == 'E')) {
        ++i;
        if (i < n && (text[i] == '+' || text[i] == '-'))
            ++i;
        if (!digits())
            return false;
    }
    return i == n;
}

void appendInteger(qint64 value, QByteArray* out) {
    char digits[24];
    const auto end = std::to_chars(digits, digits + sizeof(digits), value).ptr;
    out->append(digits, end - digits);
}

bool needsCsvQuotes(QByteArrayView text) {
    for (const char c : text) {
        if (c == ',' || c == '"' || c == '\r' || c == '\n')
            return true;
    }
    return false;
}

void appendJsonString(QByteArrayView text, QByteArray* out) {
    out->append('"');
    qsizetype plainFrom = 0;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        if (c >= 0x20 && c != '"' && c != '\\')
            continue;
        out->append(text.data() + plainFrom, i - plainFrom);
        plainFrom = i + 1;
        // A quote, a backslash and the common controls have short escapes, the rest \u00XX.
        static constexpr char kShort[][2] = {{'"', '"'}, {'\\', '\\'}, {'\n', 'n'}, {'\r', 'r'}, {'\t', 't'}};
        const auto* found = std::find_if(std::begin(kShort), std::end(kShort),
                                         [c](const char(&pair)[2]) { return pair[0] == char(c); });
        char escaped[8];
        if (found != std::end(kShort))
            out->append('\\').append((*found)[1]);
        else
            out->append(escaped, std::snprintf(escaped, sizeof(escaped), "\\u%04x", c));
    }
    out->append(text.data() + plainFrom, text.size() - plainFrom);
    out->append('"');
}

} // namespace

void appendTextField(ExportFormat format, QByteArrayView text, QByteArray* out) {
    if (format == ExportFormat::Ndjson) {
        appendJsonString(text, out);
    } else if (!needsCsvQuotes(text)) {
        out->append(text);
    } else {
        out->append('"');
        for (const char c : text) {
            if (c == '"')
                out->append('"');
            out->append(c);
        }
        out->append('"');
    }
}

bool appendNumberField(QByteArrayView number, QByteArray* out) {
    if (isJsonNumber(number)) {
        out->append(number);
        return true;
    }
    const QString numberText = QString::fromUtf8(number);
    const double value = isNumeric(numberText) ? parseLeadingNumber(numberText) : NAN;
    if (!std::isfinite(value))
        return false;
    out->append(numberToText(value).toLatin1());
    return true;
}

SampleEncoder::SampleEncoder(ExportFormat format, const RecordHeader& header)
    : m_format(format), m_recordPUnit(trimBlanks(header.pUnit).toUtf8()),
      m_recordSUnit(trimBlanks(header.sUnit).toUtf8()) {
    for (int code = 0; code < 5; ++code)
        m_captions[code] = reasonCaption(QString::number(code)).toUtf8();
}

void SampleEncoder::appendHeading(QByteArray* out) const {
    if (m_format != ExportFormat::Csv)
        return;
    for (const char* field : kFields) {
        if (field != kFields[0])
            out->append(',');
        out->append(char(field[0] - 'a' + 'A'));
        out->append(field + 1);
    }
    out->append("\r\n");
}

void SampleEncoder::appendWholeNumber(const std::optional<qint64>& value, QByteArray* out) const {
    if (value)
        appendInteger(*value, out);
    else if (m_format == ExportFormat::Ndjson)
        out->append("null");
}

void SampleEncoder::appendReading(QByteArrayView reading, UnitCache& unit, const char* valueKey,
                                  const char* unitKey, QByteArray* out) const {
    const bool json = m_format == ExportFormat::Ndjson;
    // The stored form is the number, one blank, the unit; a bare number is in the record's unit.
    const QByteArrayView text = trimmedBlanks(reading);
    const qsizetype blank = text.indexOf(' ');
    const QByteArrayView number = blank < 0 ? text : text.first(blank);
    QByteArrayView storedUnit = blank < 0 ? QByteArrayView() : trimmedBlanks(text.sliced(blank + 1));
    if (storedUnit.isEmpty())
        storedUnit = &unit == &m_pUnit ? m_recordPUnit : m_recordSUnit;

    out->append(valueKey);
    if (!appendNumberField(number, out) && json)
        out->append("null");
    if (unit.stored != storedUnit || unit.shown.isNull()) {
        unit.stored = storedUnit.toByteArray();
        unit.shown = displayUnit(QString::fromUtf8(storedUnit)).toUtf8();
    }
    out->append(unitKey);
    appendTextField(m_format, unit.shown, out);
}

void SampleEncoder::appendReasonCaption(QByteArrayView code, QByteArray* out) const {
    const QByteArrayView trimmed = trimmedBlanks(code);
    if (trimmed.size() == 1 && trimmed[0] >= '0' && trimmed[0] <= '4')
        appendTextField(m_format, m_captions[trimmed[0] - '0'], out);
    else
        appendTextField(m_format, reasonCaption(QString::fromUtf8(code)).toUtf8(), out);
}

void SampleEncoder::appendSample(const StoredSample& s, QByteArray* out) {
    const bool json = m_format == ExportFormat::Ndjson;
    // Each field's lead-in: its key in JSON, the separating comma in CSV.
    const auto key = [json](const char* jsonKey) { return json ? jsonKey : ","; };

    out->append(json ? "{\"seqNo\":" : "");
    appendInteger(s.seqNo, out);
    out->append(key(",\"recTime\":"));
    if (json)
        out->append('"');
    if (!appendIsoDateTime(s.recTime, out)) {
        if (json)
            out->chop(1);
        appendTextField(m_format, s.recTime, out);
    } else if (json) {
        out->append('"');
    }
    appendReading(s.pVal, m_pUnit, key(",\"primary\":"), key(",\"primaryUnit\":"), out);
    appendReading(s.sVal, m_sUnit, key(",\"secondary\":"), key(",\"secondaryUnit\":"), out);
    out->append(key(",\"reason\":"));
    appendTextField(m_format, s.reason, out);
    out->append(key(",\"reasonCaption\":"));
    appendReasonCaption(s.reason, out);
    out->append(key(",\"comment\":"));
    appendTextField(m_format, s.comment, out);
    out->append(key(",\"timeTick\":"));
    appendWholeNumber(s.timeTick, out);
    out->append(key(",\"diffLastTime\":"));
    appendWholeNumber(s.diffLastTime, out);
    out->append(key(",\"noReply\":"));
    if (json)
        out->append(s.noReply ? "true}\n" : "false}\n");
    else
        out->append(s.noReply ? "1\r\n" : "0\r\n");
}

QByteArray encodeSamples(const TraceRecord& trace, ExportFormat format) {
    SampleEncoder encoder(format, trace.header);
    QByteArray out;
    encoder.appendHeading(&out);
    for (const TempSample& s : trace.samples) {
        const QByteArray texts[] = {s.recTime.toUtf8(), s.pVal.toUtf8(), s.sVal.toUtf8(), s.reason.toUtf8(),
                                    s.comment.toUtf8()};
        StoredSample stored;
        stored.seqNo = s.seqNo;
        stored.recTime = texts[0];
        stored.pVal = texts[1];
        stored.sVal = texts[2];
        stored.reason = texts[3];
        stored.comment = texts[4];
        if (!s.timeTick.isNull())
            stored.timeTick = s.timeTick.toLongLong();
        if (!s.diffLastTime.isNull())
            stored.diffLastTime = s.diffLastTime.toLongLong();
        stored.noReply = s.noReply;
        encoder.appendSample(stored, &out);
    }
    return out;
}

// ---------------------------------------------------------------- output

ExportOutput::ExportOutput(const QString& path, bool inPlace) {
    if (path == QLatin1String("-")) {
        m_file = std::make_unique<QFile>();
    } else if (isStream(path)) {
        m_file = std::make_unique<QFile>(path);
        m_appending = QFileInfo(path).isFile();
    } else if (inPlace) {
        m_file = std::make_unique<QFile>(path);
    } else {
        m_file = std::make_unique<QSaveFile>(path);
        m_saving = true;
    }
}

ExportOutput::~ExportOutput() = default;

bool ExportOutput::isStream(const QString& path) {
    if (path == QLatin1String("-"))
        return true;
    // /dev/stdout names a plain file too when the shell sends the output to one.
    if (path.startsWith(QLatin1String("/dev/")) || path.startsWith(QLatin1String("/proc/")))
        return true;
    const QFileInfo info(path);
    return info.exists() && !info.isFile();
}

bool ExportOutput::open() {
    auto* standardOutput = m_saving ? nullptr : static_cast<QFile*>(m_file.get());
    if (standardOutput && standardOutput->fileName().isEmpty())
        return standardOutput->open(stdout, QIODevice::WriteOnly);
    // Appending keeps what the shell's ">>" left in a file behind /dev/stdout.
    return m_file->open(m_appending ? QIODevice::WriteOnly | QIODevice::Append : QIODevice::WriteOnly);
}

bool ExportOutput::write(const QByteArray& bytes) {
    return m_file->write(bytes) == bytes.size();
}

bool ExportOutput::flush() {
    return m_file->flush();
}

bool ExportOutput::commit() {
    if (m_saving)
        return static_cast<QSaveFile*>(m_file.get())->commit();
    const bool flushed = m_file->flush() && m_file->error() == QFileDevice::NoError;
    m_file->close();
    return flushed;
}

QString ExportOutput::errorString() const {
    return m_file->errorString();
}

bool exportSamples(RecordStore& store, const QString& recNo, const RecordHeader& header, ExportFormat format,
                   const QString& path, QString* error, const std::function<bool(qint64 samples)>& progress) {
    constexpr qint64 kProgressEvery = 4096;
    ExportOutput output(path);
    qint64 samples = 0;
    bool stopped = false;
    SampleEncoder encoder(format, header);
    QByteArray buffer;
    buffer.reserve(kWriteBuffer + 4096);
    encoder.appendHeading(&buffer);
    bool written = output.open();
    const bool read = written && store.streamSamples(recNo, [&](const StoredSample& sample) {
        encoder.appendSample(sample, &buffer);
        if (buffer.size() >= kWriteBuffer) {
            written = output.write(buffer);
            buffer.resize(0); // keeps its capacity
        }
        // Asked at the first sample too, so a cancel is heard before most of the work.
        if (progress && samples++ % kProgressEvery == 0 && !progress(samples))
            stopped = true;
        return written && !stopped;
    });
    if (stopped) {
        if (error)
            *error = QStringLiteral("stopped");
        return false;
    }
    if (!read && written) {
        if (error)
            *error = store.lastError().description;
        return false;
    }
    if (!written || !output.write(buffer) || !output.commit()) {
        if (error)
            *error = output.errorString();
        return false;
    }
    return true;
}

} // namespace kvx
