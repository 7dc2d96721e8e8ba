#include "RecordFileReader.h"

#include "RecordFile.h"

#include <QIODevice>
#include <QJsonArray>
#include <QJsonObject>
#include <QStringDecoder>

#include <charconv>
#include <cmath>

namespace kvx {

namespace {

constexpr qint64 kChunkBytes = 1 << 20;
constexpr int kDeepestNesting = 64;
constexpr double kLargestWholeNumber = 9007199254740992.0; // 2^53: every whole number up to it is exact

const char* const kColumns[] = {"SeqNo",   "RecTime",  "PVal",         "SVal",   "Reason",
                                "Comment", "TimeTick", "DiffLastTime", "NoReply"};

int columnCount(int version) {
    return version >= 2 ? 9 : 8;
}

bool isWhole(double d) {
    return std::isfinite(d) && std::trunc(d) == d && std::fabs(d) <= kLargestWholeNumber;
}

bool wholeNumber(const QJsonValue& value, qint64* out) {
    if (!value.isDouble() || !isWhole(value.toDouble()))
        return false;
    *out = value.toInteger();
    return true;
}

void appendUtf8(QByteArray& out, char32_t c) {
    if (c < 0x80) {
        out.append(char(c));
    } else if (c < 0x800) {
        out.append(char(0xC0 | (c >> 6)));
        out.append(char(0x80 | (c & 0x3F)));
    } else if (c < 0x10000) {
        out.append(char(0xE0 | (c >> 12)));
        out.append(char(0x80 | ((c >> 6) & 0x3F)));
        out.append(char(0x80 | (c & 0x3F)));
    } else {
        out.append(char(0xF0 | (c >> 18)));
        out.append(char(0x80 | ((c >> 12) & 0x3F)));
        out.append(char(0x80 | ((c >> 6) & 0x3F)));
        out.append(char(0x80 | (c & 0x3F)));
    }
}

bool isHighSurrogate(char32_t c) {
    return c >= 0xD800 && c <= 0xDBFF;
}
bool isLowSurrogate(char32_t c) {
    return c >= 0xDC00 && c <= 0xDFFF;
}

QString notOurs() {
    return QStringLiteral("it is not a KVX-5130 record file");
}

} // namespace

RecordFileReader::RecordFileReader(QIODevice& in) : m_in(in) {}

int RecordFileReader::peekByte() {
    if (m_at == m_buffer.size()) {
        m_buffer.resize(kChunkBytes);
        const qint64 read = m_in.read(m_buffer.data(), kChunkBytes);
        m_buffer.resize(read > 0 ? qsizetype(read) : 0);
        m_at = 0;
        if (m_buffer.isEmpty())
            return -1;
    }
    return uchar(m_buffer[m_at]);
}

int RecordFileReader::nextByte() {
    const int c = peekByte();
    if (c >= 0) {
        ++m_at;
        ++m_consumed;
    }
    return c;
}

int RecordFileReader::peekToken() {
    for (int c = peekByte();; c = peekByte()) {
        if (c != ' ' && c != '\t' && c != '\n' && c != '\r')
            return c;
        nextByte();
    }
}

bool RecordFileReader::fail(const QString& why) {
    if (m_error.isEmpty())
        m_error = why;
    return false;
}

bool RecordFileReader::damaged(const QString& what) {
    // A file that does not even start like one is foreign; one that does was cut or damaged.
    if (!m_formatSeen)
        return fail(notOurs());
    return fail(QStringLiteral("it is damaged (%1 at byte %2)").arg(what).arg(m_consumed));
}

bool RecordFileReader::take(char expected) {
    const int c = peekToken();
    if (c != uchar(expected))
        return damaged(c < 0 ? QStringLiteral("the file ends early")
                             : QStringLiteral("'%1' expected").arg(QLatin1Char(expected)));
    nextByte();
    return true;
}

bool RecordFileReader::readString(QString& out) {
    if (!take('"'))
        return false;
    m_scratch.clear();
    bool ascii = true;
    char32_t pendingHigh = 0; // a high surrogate waiting for its low half
    const auto flushPending = [&] {
        if (pendingHigh)
            appendUtf8(m_scratch, U'\uFFFD');
        pendingHigh = 0;
    };
    for (;;) {
        const int c = nextByte();
        if (c < 0)
            return damaged(QStringLiteral("the file ends inside a text"));
        if (c < 0x20)
            return damaged(QStringLiteral("a control character inside a text"));
        if (c == '"')
            break;
        if (c != '\\') {
            flushPending();
            ascii = ascii && c < 0x80;
            m_scratch.append(char(c));
            continue;
        }
        const int e = nextByte();
        const char* simple = nullptr;
        switch (e) {
        case '"':
            simple = "\"";
            break;
        case '\\':
            simple = "\\";
            break;
        case '/':
            simple = "/";
            break;
        case 'b':
            simple = "\b";
            break;
        case 'f':
            simple = "\f";
            break;
        case 'n':
            simple = "\n";
            break;
        case 'r':
            simple = "\r";
            break;
        case 't':
            simple = "\t";
            break;
        case 'u':
            break;
        default:
            return damaged(QStringLiteral("a bad escape inside a text"));
        }
        if (simple) {
            flushPending();
            m_scratch.append(simple);
            continue;
        }
        char32_t unit = 0;
        for (int i = 0; i < 4; ++i) {
            const int h = nextByte();
            const int digit = (h >= '0' && h <= '9')   ? h - '0'
                              : (h >= 'a' && h <= 'f') ? h - 'a' + 10
                              : (h >= 'A' && h <= 'F') ? h - 'A' + 10
                                                       : -1;
            if (digit < 0)
                return damaged(QStringLiteral("a bad \\u escape inside a text"));
            unit = unit * 16 + char32_t(digit);
        }
        ascii = false;
        if (pendingHigh && isLowSurrogate(unit)) {
            appendUtf8(m_scratch, 0x10000 + ((pendingHigh - 0xD800) << 10) + (unit - 0xDC00));
            pendingHigh = 0;
        } else {
            flushPending();
            if (isHighSurrogate(unit))
                pendingHigh = unit;
            else
                appendUtf8(m_scratch, isLowSurrogate(unit) ? U'\uFFFD' : unit);
        }
    }
    flushPending();
    if (ascii) {
        out = QString::fromLatin1(m_scratch);
        return true;
    }
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    out = utf8(m_scratch);
    if (utf8.hasError())
        return damaged(QStringLiteral("a text that is not UTF-8"));
    return true;
}

bool RecordFileReader::readNumber(double& out) {
    m_scratch.clear();
    const auto digits = [this] {
        int count = 0;
        for (int c = peekByte(); c >= '0' && c <= '9'; c = peekByte(), ++count)
            m_scratch.append(char(nextByte()));
        return count;
    };
    if (peekToken() == '-')
        m_scratch.append(char(nextByte()));
    if (peekByte() == '0')
        m_scratch.append(char(nextByte()));
    else if (digits() == 0)
        return damaged(QStringLiteral("a bad number"));
    if (peekByte() == '.') {
        m_scratch.append(char(nextByte()));
        if (digits() == 0)
            return damaged(QStringLiteral("a bad number"));
    }
    if (peekByte() == 'e' || peekByte() == 'E') {
        m_scratch.append(char(nextByte()));
        if (peekByte() == '+' || peekByte() == '-')
            m_scratch.append(char(nextByte()));
        if (digits() == 0)
            return damaged(QStringLiteral("a bad number"));
    }
    const auto result = std::from_chars(m_scratch.constData(), m_scratch.constData() + m_scratch.size(), out);
    if (result.ec == std::errc::result_out_of_range)
        out = m_scratch.startsWith('-') ? -HUGE_VAL : HUGE_VAL; // a number, but no whole one
    return true;
}

bool RecordFileReader::readLiteral(const char* word) {
    for (const char* c = word; *c; ++c) {
        if (nextByte() != uchar(*c))
            return damaged(QStringLiteral("an unknown word"));
    }
    return true;
}

bool RecordFileReader::readValue(QJsonValue& out, int depth) {
    const int c = peekToken();
    if ((c == '{' || c == '[') && depth >= kDeepestNesting)
        return damaged(QStringLiteral("values nested too deeply"));
    if (c == '{') {
        nextByte();
        QJsonObject object;
        if (peekToken() == '}') {
            nextByte();
            out = object;
            return true;
        }
        for (;;) {
            QString key;
            QJsonValue value;
            if (!readMember(key) || !readValue(value, depth + 1))
                return false;
            object.insert(key, value);
            if (peekToken() != ',')
                break;
            nextByte();
        }
        out = object;
        return take('}');
    }
    if (c == '[') {
        nextByte();
        QJsonArray array;
        if (peekToken() == ']') {
            nextByte();
            out = array;
            return true;
        }
        for (;;) {
            QJsonValue value;
            if (!readValue(value, depth + 1))
                return false;
            array.append(value);
            if (peekToken() != ',')
                break;
            nextByte();
        }
        out = array;
        return take(']');
    }
    if (c == '"') {
        QString text;
        if (!readString(text))
            return false;
        out = text;
        return true;
    }
    if (c == '-' || (c >= '0' && c <= '9')) {
        double number = 0.0;
        if (!readNumber(number))
            return false;
        out = number;
        return true;
    }
    if (c == 't' || c == 'f' || c == 'n') {
        out = c == 'n' ? QJsonValue(QJsonValue::Null) : QJsonValue(c == 't');
        return readLiteral(c == 't' ? "true" : c == 'f' ? "false" : "null");
    }
    return damaged(c < 0 ? QStringLiteral("the file ends early") : QStringLiteral("an unexpected character"));
}

bool RecordFileReader::readMember(QString& key) {
    if (peekToken() != '"')
        return damaged(QStringLiteral("a member name expected"));
    return readString(key) && take(':');
}

bool RecordFileReader::readScalar(Scalar& out) {
    const int c = peekToken();
    if (c == '"') {
        out.kind = Scalar::Text;
        return readString(out.text);
    }
    if (c == '-' || (c >= '0' && c <= '9')) {
        out.kind = Scalar::Number;
        return readNumber(out.number);
    }
    if (c == 't' || c == 'f') {
        out.kind = Scalar::Flag;
        out.flag = c == 't';
        return readLiteral(c == 't' ? "true" : "false");
    }
    if (c == 'n') {
        out.kind = Scalar::Null;
        return readLiteral("null");
    }
    QJsonValue ignored;
    out.kind = Scalar::Other;
    return readValue(ignored);
}

// ---------------------------------------------------------------- the head: format, version, header, columns

bool RecordFileReader::acceptHeadMember(const QString& key, const QJsonValue& value) {
    if (key == QLatin1String("format")) {
        m_formatSeen = value.toString() == QLatin1String(RecordFile::kFormatName);
        if (!m_formatSeen)
            return fail(notOurs());
    } else if (key == QLatin1String("version")) {
        qint64 version = 0;
        if (!wholeNumber(value, &version) || version < 1) {
            m_headProblem = QStringLiteral("its format version is missing or not valid");
        } else if (version > RecordFile::kVersion) {
            m_headProblem =
                QStringLiteral(
                    "it was written in record-file version %1, and this program reads versions 1 to %2 only")
                    .arg(version)
                    .arg(RecordFile::kVersion);
        } else {
            m_headProblem.clear();
            m_version = int(version);
        }
    } else if (key == QLatin1String("header")) {
        m_headerSeen = true;
        if (!value.isObject())
            return fail(QStringLiteral("its record header is missing"));
        const QJsonObject header = value.toObject();
        for (const RecordFile::HeaderMember& member : RecordFile::headerMembers()) {
            const QJsonValue field = header.value(QLatin1String(member.name));
            if (!field.isString())
                return fail(QStringLiteral("its record header is damaged (\"%1\" is missing or not text)")
                                .arg(QLatin1String(member.name)));
            m_header.*member.field = field.toString();
        }
    } else if (key == QLatin1String("columns")) {
        m_columns = value;
    }
    return true;
}

QString RecordFileReader::checkHead() const {
    if (!m_formatSeen)
        return notOurs();
    if (m_version == 0 || !m_headProblem.isEmpty())
        return m_headProblem.isEmpty() ? QStringLiteral("its format version is missing or not valid")
                                       : m_headProblem;
    if (!m_headerSeen)
        return QStringLiteral("its record header is missing");
    const QJsonArray columns = m_columns.toArray();
    const int expected = columnCount(m_version);
    bool same = m_columns.isArray() && columns.size() == expected;
    for (int i = 0; same && i < expected; ++i)
        same = columns[i].toString() == QLatin1String(kColumns[i]);
    return same ? QString() : QStringLiteral("its sample columns are not the ones this program knows");
}

bool RecordFileReader::readHead() {
    if (peekToken() != '{')
        return fail(notOurs());
    nextByte();
    for (;;) {
        if (peekToken() == '}')
            return fail(checkHead().isEmpty() ? QStringLiteral("its samples are missing") : checkHead());
        QString key;
        if (!readMember(key))
            return false;
        if (key == QLatin1String("samples")) {
            if (const QString problem = checkHead(); !problem.isEmpty())
                return fail(problem);
            if (peekToken() != '[')
                return fail(QStringLiteral("its samples are missing"));
            nextByte();
            return true;
        }
        QJsonValue value;
        if (!readValue(value) || !acceptHeadMember(key, value))
            return false;
        if (peekToken() != '}' && !take(','))
            return false;
    }
}

// ---------------------------------------------------------------- samples

RowStep RecordFileReader::next(TempSample& sample) {
    if (!m_error.isEmpty())
        return RowStep::Stop;
    int c = peekToken();
    if (c == ']') {
        nextByte();
        return RowStep::End;
    }
    if (m_samplesRead > 0 && !take(','))
        return RowStep::Stop;
    ++m_samplesRead;
    const auto refuse = [this](const QString& problem) {
        fail(QStringLiteral("sample %1 is damaged (%2)").arg(m_samplesRead).arg(problem));
        return RowStep::Stop;
    };
    c = peekToken();
    if (c != '[') {
        QJsonValue ignored;
        return readValue(ignored)
                   ? refuse(QStringLiteral("not a row of %1 columns").arg(columnCount(m_version)))
                   : RowStep::Stop;
    }
    nextByte();
    int values = 0;
    Scalar extra;
    if (peekToken() != ']') {
        for (;;) {
            if (!readScalar(values < int(std::size(m_row)) ? m_row[values] : extra))
                return RowStep::Stop;
            ++values;
            if (peekToken() != ',')
                break;
            nextByte();
        }
    }
    if (!take(']'))
        return RowStep::Stop;
    if (const QString problem = checkSample(values, sample); !problem.isEmpty())
        return refuse(problem);
    return RowStep::Row;
}

QString RecordFileReader::checkSample(int values, TempSample& s) {
    const int expected = columnCount(m_version);
    if (values != expected)
        return QStringLiteral("not a row of %1 columns").arg(expected);
    if (m_row[0].kind != Scalar::Number || !isWhole(m_row[0].number))
        return QStringLiteral("SeqNo is not a whole number");
    s.seqNo = qint64(m_row[0].number);
    if (s.seqNo < 0 || s.seqNo > kLargestSampleNumber)
        return QStringLiteral("SeqNo %1 is not between 0 and %2").arg(s.seqNo).arg(kLargestSampleNumber);
    if (s.seqNo == m_previousSeqNo)
        return QStringLiteral("SeqNo %1 appears twice").arg(s.seqNo);
    if (s.seqNo < m_previousSeqNo)
        return QStringLiteral("SeqNo %1 follows %2; the numbers must rise").arg(s.seqNo).arg(m_previousSeqNo);
    QString* const texts[] = {&s.recTime, &s.pVal, &s.sVal, &s.reason, &s.comment};
    for (int c = 1; c <= 5; ++c) {
        if (m_row[c].kind != Scalar::Text)
            return QStringLiteral("%1 is not text").arg(QLatin1String(kColumns[c]));
        *texts[c - 1] = std::move(m_row[c].text);
    }
    QVariant* const times[] = {&s.timeTick, &s.diffLastTime};
    for (int c = 6; c <= 7; ++c) {
        if (m_row[c].kind == Scalar::Null)
            *times[c - 6] = QVariant();
        else if (m_row[c].kind == Scalar::Number && isWhole(m_row[c].number))
            *times[c - 6] = qint64(m_row[c].number);
        else
            return QStringLiteral("%1 is neither a whole number nor empty").arg(QLatin1String(kColumns[c]));
    }
    s.noReply = false;
    if (expected > 8) {
        if (m_row[8].kind != Scalar::Flag)
            return QStringLiteral("NoReply is neither true nor false");
        s.noReply = m_row[8].flag;
    }
    m_previousSeqNo = s.seqNo;
    return QString();
}

bool RecordFileReader::readTail() {
    if (!m_error.isEmpty())
        return false;
    while (peekToken() == ',') {
        nextByte();
        QString key;
        QJsonValue ignored;
        if (!readMember(key) || !readValue(ignored))
            return false;
    }
    if (!take('}'))
        return false;
    if (peekToken() >= 0)
        return damaged(QStringLiteral("more text after the end"));
    return true;
}

} // namespace kvx
