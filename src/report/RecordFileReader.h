#pragma once
// Reads a record file (docs/record-file-format.md) one sample at a time, so that
// a file of millions of samples is checked and stored without ever being held
// whole: the memory taken stays in proportion to one sample, whatever the file
// holds or claims. Every value is checked as it is read, the sample numbers
// included (0 to kLargestSampleNumber, each above the one before).
//
// Usage:
//   RecordFileReader reader(file);
//   if (!reader.readHead()) ... reader.error()
//   TempSample s;
//   while ((step = reader.next(s)) == RowStep::Row) ...
//   step == RowStep::End && reader.readTail()   // the rest of the document is right too

#include "RecordStore.h"

#include <QByteArray>
#include <QJsonValue>
#include <QString>

class QIODevice;

namespace kvx {

class RecordFileReader {
public:
    // Sample numbers fit the data table's 32-bit row counter.
    static constexpr qint64 kLargestSampleNumber = 2147483647;

    explicit RecordFileReader(QIODevice& in);

    // Reads the document up to its first sample: the format name, the version, the
    // header and the columns, which come before the samples. False, with error(),
    // when the file is not a record file this program reads.
    bool readHead();
    const RecordHeader& header() const { return m_header; }
    int version() const { return m_version; }

    // The next sample: Row, End after the last one, or Stop when it is damaged.
    RowStep next(TempSample& sample);
    // After End: the members after the samples and the end of the document.
    bool readTail();

    // Why the file was refused, fit to follow "cannot be opened as a record file: ".
    QString error() const { return m_error; }
    // Bytes of the file read so far.
    qint64 bytesRead() const { return m_consumed; }

private:
    // One value of a sample row.
    struct Scalar {
        enum Kind { Null, Flag, Number, Text, Other } kind = Null;
        double number = 0.0;
        bool flag = false;
        QString text;
    };

    int peekByte();
    int nextByte();
    int peekToken();
    bool take(char expected);
    bool fail(const QString& why);
    bool damaged(const QString& what);
    bool readString(QString& out);
    bool readNumber(double& out);
    bool readLiteral(const char* word);
    bool readValue(QJsonValue& out, int depth = 0);
    bool readScalar(Scalar& out);
    bool readMember(QString& key);
    bool acceptHeadMember(const QString& key, const QJsonValue& value);
    QString checkSample(int values, TempSample& s);
    QString checkHead() const;

    QIODevice& m_in;
    QByteArray m_buffer;
    qsizetype m_at = 0;
    qint64 m_consumed = 0;
    QByteArray m_scratch;
    QString m_error;

    bool m_formatSeen = false;
    int m_version = 0;
    bool m_headerSeen = false;
    QJsonValue m_columns;
    QString m_headProblem;
    RecordHeader m_header;

    qint64 m_samplesRead = 0;
    qint64 m_previousSeqNo = -1;
    Scalar m_row[10];
};

} // namespace kvx
