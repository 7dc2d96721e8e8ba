#include "OperationRecord.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QtEndian>

namespace kvx {

namespace {

constexpr int kExtensionMagicAt = 876;
constexpr char kExtensionMagic[] = "KVX+";

// Where each text field lies. The extension fields are read without their
// blanks at either end; the fields of the classic layout keep them.
struct TextField {
    QString OperationRecord::*member;
    int at;
    int width;
    bool extension;
};

const TextField kTextFields[] = {
    {&OperationRecord::samplingInterval, 6, 20, false},  {&OperationRecord::totalTime, 26, 20, false},
    {&OperationRecord::reportHeader, 46, 255, false},    {&OperationRecord::logoFile, 301, 255, false},
    {&OperationRecord::snapshotFolder, 584, 255, false}, {&OperationRecord::serialFlag, 839, 1, false},
    {&OperationRecord::gpibFlag, 840, 1, false},         {&OperationRecord::sFunction, 841, 10, false},
    {&OperationRecord::settingText1, 860, 6, false},     {&OperationRecord::settingText2, 866, 6, false},
    {&OperationRecord::serialDevice, 880, 255, true},    {&OperationRecord::gpibBackend, 1135, 255, true},
    {&OperationRecord::lanFlag, 1390, 1, true},          {&OperationRecord::lanAddress, 1391, 215, true},
    {&OperationRecord::monitorAddress, 1606, 40, true},
    {&OperationRecord::databaseText, 1646, 40, true},    {&OperationRecord::benchName, 1686, 18, true},
};

const TextField* fieldOf(QString OperationRecord::*member) {
    for (const TextField& field : kTextFields) {
        if (field.member == member)
            return &field;
    }
    return nullptr;
}

QString withoutPadding(const QString& text) {
    int end = text.size();
    while (end > 0 && text[end - 1] == QLatin1Char(' '))
        --end;
    return text.left(end);
}

// Texts are one byte per character. UTF-8 keeps ASCII files byte-identical and lets
// non-Latin text survive; bytes that are not UTF-8 (an 8-bit code page of an older
// tool) are read as Latin-1.
QString decodeText(const QByteArray& bytes, bool trimmed) {
    QByteArray b = bytes;
    const int nul = b.indexOf('\0');
    if (nul >= 0)
        b.truncate(nul);
    QString text = QString::fromUtf8(b);
    if (text.contains(QChar::ReplacementCharacter))
        text = QString::fromLatin1(b);
    return trimmed ? text.trimmed() : text;
}

bool hasExtensionMagic(const QByteArray& record) {
    return record.mid(kExtensionMagicAt, 4) == kExtensionMagic;
}

// The extension fields hold this program's values only behind their marker.
bool fieldWasRead(const QByteArray& record, const TextField& field) {
    return !field.extension || hasExtensionMagic(record);
}

QString storedText(const QByteArray& record, const TextField& field) {
    return decodeText(record.mid(field.at, field.width), field.extension);
}

// The bytes of a new text: UTF-8, padded with blanks. Empty when it does not fit.
QByteArray encodeText(const QString& text, int width) {
    const QByteArray b = withoutPadding(text).toUtf8();
    return b.size() <= width ? b.leftJustified(width, ' ') : QByteArray();
}

} // namespace

QByteArray OperationRecord::blankRecord() {
    QByteArray bytes(Size, '\0');
    for (const TextField& field : kTextFields) {
        if (!field.extension)
            bytes.replace(field.at, field.width, QByteArray(field.width, ' '));
    }
    return bytes;
}

bool OperationRecord::fits(QString OperationRecord::*member, const QString& text) const {
    const TextField* field = fieldOf(member);
    if (!field || !encodeText(text, field->width).isEmpty())
        return true;
    return fieldWasRead(raw, *field) && withoutPadding(text) == withoutPadding(storedText(raw, *field));
}

int OperationRecord::width(QString OperationRecord::*member) {
    const TextField* field = fieldOf(member);
    return field ? field->width : 0;
}

QByteArray OperationRecord::encode() const {
    QByteArray out = raw.size() == Size ? raw : blankRecord();
    const auto i16 = [&out](int at, qint16 v) { qToLittleEndian<qint16>(v, out.data() + at); };
    i16(0, comPort);
    i16(2, baudRate);
    i16(4, gpibAddress);
    for (int i = 0; i < ColorCount; ++i)
        qToLittleEndian<quint32>(colors[i], out.data() + 556 + 4 * i);
    for (int i = 0; i < 4; ++i)
        i16(852 + 2 * i, serialSettings[i]);
    i16(872, setting3);

    const bool extensionRead = hasExtensionMagic(out);
    const bool hasExtension = extensionRead || !serialDevice.isEmpty() || !gpibBackend.isEmpty() ||
                              !lanFlag.isEmpty() || !lanAddress.isEmpty() || !monitorAddress.isEmpty() ||
                              !databaseText.isEmpty() || !benchName.isEmpty();
    if (hasExtension && !extensionRead) {
        out.replace(kExtensionMagicAt, 4, QByteArray(kExtensionMagic, 4));
        for (const TextField& field : kTextFields) {
            if (field.extension)
                out.replace(field.at, field.width, QByteArray(field.width, ' '));
        }
    }
    for (const TextField& field : kTextFields) {
        if (!fieldWasRead(out, field))
            continue;
        // A text the operator did not change keeps the bytes it was read from,
        // whatever code page wrote them. A text too long for its field keeps them
        // too: cut short it would name another folder or file. Where text is
        // entered, such text is refused with a message before it gets here.
        const QString& text = this->*field.member;
        if (withoutPadding(text) == withoutPadding(storedText(out, field)))
            continue;
        const QByteArray bytes = encodeText(text, field.width);
        if (!bytes.isEmpty())
            out.replace(field.at, field.width, bytes);
    }
    return out;
}

bool OperationRecord::decode(const QByteArray& bytes) {
    if (bytes.size() != Size)
        return false;
    OperationRecord r;
    r.raw = bytes;
    const auto i16 = [&bytes](int at) { return qFromLittleEndian<qint16>(bytes.constData() + at); };
    r.comPort = i16(0);
    r.baudRate = i16(2);
    r.gpibAddress = i16(4);
    for (int i = 0; i < ColorCount; ++i)
        r.colors[i] = qFromLittleEndian<quint32>(bytes.constData() + 556 + 4 * i);
    for (int i = 0; i < 4; ++i)
        r.serialSettings[i] = i16(852 + 2 * i);
    r.setting3 = i16(872);
    for (const TextField& field : kTextFields) {
        if (fieldWasRead(bytes, field))
            r.*field.member = storedText(bytes, field);
    }
    *this = r;
    return true;
}

LoadResult OperationFile::load(const QString& path, OperationRecord& record, QString* error) {
    const QFileInfo info(path);
    if (!info.exists())
        return LoadResult::Missing;
    const auto damaged = [&](const QString& why) {
        if (error)
            *error = QStringLiteral("The operation file %1 %2.").arg(path, why);
        return LoadResult::Damaged;
    };
    if (info.isDir())
        return damaged(QStringLiteral("is a folder, not a file"));
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly))
        return damaged(QStringLiteral("cannot be read (%1)").arg(f.errorString()));
    const QByteArray bytes = f.read(OperationRecord::Size);
    if (bytes.size() != OperationRecord::Size || !record.decode(bytes))
        return damaged(QStringLiteral("is damaged: it holds %1 bytes, a record has %2")
                           .arg(f.size())
                           .arg(OperationRecord::Size));
    return LoadResult::Loaded;
}

QString OperationFile::keepAside(const QString& path, const QDateTime& when, QString* error) {
    const QString stem =
        path + QStringLiteral(".damaged-") + when.toString(QStringLiteral("yyyyMMdd-HHmmss"));
    QString kept = stem;
    for (int n = 2; QFileInfo::exists(kept); ++n)
        kept = stem + QLatin1Char('-') + QString::number(n);
    if (QDir().rename(path, kept))
        return kept;
    if (error)
        *error = QStringLiteral("it cannot be renamed to %1").arg(kept);
    return QString();
}

bool OperationFile::save(const QString& path, const OperationRecord& record, QString* error) {
    QFile f(path);
    // ReadWrite keeps an existing file's length and overwrites record 1 in place.
    if (!f.open(QIODevice::ReadWrite)) {
        if (error)
            *error = QStringLiteral("The operation file %1 cannot be written: %2").arg(path, f.errorString());
        return false;
    }
    const QByteArray bytes = record.encode();
    if (f.write(bytes) != bytes.size()) {
        if (error)
            *error = QStringLiteral("The operation file %1 cannot be written: %2").arg(path, f.errorString());
        return false;
    }
    return true;
}

} // namespace kvx
