#include "OperationRecord.h"

#include <QFile>
#include <QFileInfo>
#include <QtEndian>

namespace kvx {

namespace {

constexpr int kExtensionMagicAt = 876;
constexpr char kExtensionMagic[] = "KVX+";

// Texts are one byte per character. UTF-8 keeps ASCII files byte-identical and lets
// non-Latin text survive; bytes that are not UTF-8 are read as Latin-1.
QString decodeText(const QByteArray& bytes) {
    QByteArray b = bytes;
    const int nul = b.indexOf('\0');
    if (nul >= 0)
        b.truncate(nul);
    const QString utf8 = QString::fromUtf8(b);
    if (!utf8.contains(QChar::ReplacementCharacter))
        return utf8;
    return QString::fromLatin1(b);
}

QByteArray encodeText(const QString& text, int width) {
    QByteArray b = text.toUtf8();
    if (b.size() > width) {
        b.truncate(width);
        // Do not leave half a multi-byte character at the end.
        while (!b.isEmpty() && QString::fromUtf8(b).contains(QChar::ReplacementCharacter))
            b.chop(1);
    }
    return b.leftJustified(width, ' ');
}

class Writer {
public:
    explicit Writer(QByteArray& out) : m_out(out) {}
    void i16(int at, qint16 v) { qToLittleEndian<qint16>(v, m_out.data() + at); }
    void u32(int at, quint32 v) { qToLittleEndian<quint32>(v, m_out.data() + at); }
    void text(int at, int width, const QString& s) { m_out.replace(at, width, encodeText(s, width)); }

private:
    QByteArray& m_out;
};

class Reader {
public:
    explicit Reader(const QByteArray& in) : m_in(in) {}
    qint16 i16(int at) const { return qFromLittleEndian<qint16>(m_in.constData() + at); }
    quint32 u32(int at) const { return qFromLittleEndian<quint32>(m_in.constData() + at); }
    QString text(int at, int width) const { return decodeText(m_in.mid(at, width)); }

private:
    const QByteArray& m_in;
};

} // namespace

QByteArray OperationRecord::encode() const {
    QByteArray out = raw.size() == Size ? raw : QByteArray(Size, '\0');
    Writer w(out);
    w.i16(0, comPort);
    w.i16(2, baudRate);
    w.i16(4, gpibAddress);
    w.text(6, 20, samplingInterval);
    w.text(26, 20, totalTime);
    w.text(46, 255, reportHeader);
    w.text(301, 255, logoFile);
    for (int i = 0; i < ColorCount; ++i)
        w.u32(556 + 4 * i, colors[i]);
    w.text(584, 255, snapshotFolder);
    w.text(839, 1, serialFlag);
    w.text(840, 1, gpibFlag);
    w.text(841, 10, sFunction);
    for (int i = 0; i < 4; ++i)
        w.i16(852 + 2 * i, serialSettings[i]);
    w.text(860, 6, settingText1);
    w.text(866, 6, settingText2);
    w.i16(872, setting3);

    const bool hasExtension = !serialDevice.isEmpty() || !gpibBackend.isEmpty() || !lanFlag.isEmpty() ||
                              !lanAddress.isEmpty() || raw.mid(kExtensionMagicAt, 4) == kExtensionMagic;
    if (hasExtension) {
        out.replace(kExtensionMagicAt, 4, QByteArray(kExtensionMagic, 4));
        w.text(880, 255, serialDevice);
        w.text(1135, 255, gpibBackend);
        w.text(1390, 1, lanFlag);
        w.text(1391, 255, lanAddress);
    }
    return out;
}

bool OperationRecord::decode(const QByteArray& bytes) {
    if (bytes.size() != Size)
        return false;
    OperationRecord r;
    r.raw = bytes;
    Reader in(bytes);
    r.comPort = in.i16(0);
    r.baudRate = in.i16(2);
    r.gpibAddress = in.i16(4);
    r.samplingInterval = in.text(6, 20);
    r.totalTime = in.text(26, 20);
    r.reportHeader = in.text(46, 255);
    r.logoFile = in.text(301, 255);
    for (int i = 0; i < ColorCount; ++i)
        r.colors[i] = in.u32(556 + 4 * i);
    r.snapshotFolder = in.text(584, 255);
    r.serialFlag = in.text(839, 1);
    r.gpibFlag = in.text(840, 1);
    r.sFunction = in.text(841, 10);
    for (int i = 0; i < 4; ++i)
        r.serialSettings[i] = in.i16(852 + 2 * i);
    r.settingText1 = in.text(860, 6);
    r.settingText2 = in.text(866, 6);
    r.setting3 = in.i16(872);
    if (bytes.mid(kExtensionMagicAt, 4) == kExtensionMagic) {
        r.serialDevice = in.text(880, 255).trimmed();
        r.gpibBackend = in.text(1135, 255).trimmed();
        r.lanFlag = in.text(1390, 1).trimmed();
        r.lanAddress = in.text(1391, 255).trimmed();
    }
    *this = r;
    return true;
}

LoadResult OperationFile::load(const QString& path, OperationRecord& record, QString* error) {
    if (!QFileInfo::exists(path))
        return LoadResult::Missing;
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly)) {
        if (error)
            *error = QStringLiteral("The operation file %1 cannot be read: %2").arg(path, f.errorString());
        return LoadResult::Damaged;
    }
    const QByteArray bytes = f.read(OperationRecord::Size);
    if (bytes.size() != OperationRecord::Size || !record.decode(bytes)) {
        if (error)
            *error = QStringLiteral("The operation file %1 is damaged (%2 bytes, a record has %3); "
                                    "the default settings are used.")
                         .arg(path)
                         .arg(f.size())
                         .arg(OperationRecord::Size);
        return LoadResult::Damaged;
    }
    return LoadResult::Loaded;
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
