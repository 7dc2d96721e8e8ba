#include "RecordFile.h"

#include "Forms.h"
#include "Services.h"
#include "Session.h"
#include "ValueRules.h"
#include "WorkingTrace.h"

#include "RecordFileReader.h"

#include <QApplication>
#include <QBuffer>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProgressDialog>
#include <QSaveFile>

#include <memory>

#ifndef KVX_VERSION
#define KVX_VERSION "1.0.1"
#endif

namespace kvx {

namespace {

const char* const kColumns[] = {"SeqNo",   "RecTime",  "PVal",         "SVal",   "Reason",
                                "Comment", "TimeTick", "DiffLastTime", "NoReply"};

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
        QJsonValue(s.seqNo),       s.recTime, s.pVal, s.sVal, s.reason, s.comment, timeValue(s.timeTick),
        timeValue(s.diffLastTime), s.noReply};
    return QJsonDocument(row).toJson(QJsonDocument::Compact);
}

// Everything before the first sample.
QByteArray headText(const RecordHeader& h, const QDateTime& savedAt) {
    QJsonObject header;
    for (const RecordFile::HeaderMember& member : RecordFile::headerMembers())
        header.insert(QLatin1String(member.name), h.*member.field);
    QJsonArray columns;
    for (const char* column : kColumns)
        columns.append(QLatin1String(column));
    QByteArray out;
    out += "{\"format\":" + jsonValue(QLatin1String(RecordFile::kFormatName)) +
           ",\"version\":" + jsonValue(RecordFile::kVersion) + ",\n";
    out += "\"application\":" + jsonValue(QStringLiteral("kvx5130 " KVX_VERSION)) +
           ",\"saved\":" + jsonValue(dateTimeText(savedAt)) + ",\n";
    out += "\"header\":" + QJsonDocument(header).toJson(QJsonDocument::Compact) + ",\n";
    out += "\"columns\":" + QJsonDocument(columns).toJson(QJsonDocument::Compact) + ",\n";
    out += "\"samples\":[";
    return out;
}

const QByteArray kTail = "\n]}\n";

QByteArray sampleSeparator(bool first) {
    return first ? QByteArray("\n") : QByteArray(",\n");
}

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

// Reads a whole record file from `in`, handing each sample to `each`.
bool readAll(QIODevice& in, RecordHeader& header, const std::function<void(TempSample&)>& each,
             QString* error) {
    RecordFileReader reader(in);
    bool ok = reader.readHead();
    TempSample sample;
    RowStep step = RowStep::Stop;
    while (ok && (step = reader.next(sample)) == RowStep::Row)
        each(sample);
    ok = ok && step == RowStep::End && reader.readTail();
    if (!ok && error)
        *error = reader.error();
    header = reader.header();
    return ok;
}

// A progress dialog for an opening that takes a while; its Cancel key ends it.
// It is window-modal, so nothing else starts meanwhile, and never waits for a
// click: the opening goes on by itself.
class OpeningProgress {
public:
    explicit OpeningProgress(const QString& path) {
        if (!qobject_cast<QApplication*>(QCoreApplication::instance()))
            return;
        m_dialog = std::make_unique<QProgressDialog>(
            QStringLiteral("Opening \"%1\"...").arg(QFileInfo(path).fileName()), QStringLiteral("Cancel"), 0,
            kSteps, QApplication::activeWindow());
        m_dialog->setObjectName(QStringLiteral("dlgOpeningRecordFile"));
        m_dialog->setWindowModality(Qt::WindowModal);
        m_dialog->setMinimumDuration(500);
        m_dialog->setAutoClose(false);
        m_dialog->setAutoReset(false);
    }
    bool operator()(qint64 done, qint64 total) {
        if (!m_dialog)
            return true;
        m_dialog->setValue(total > 0 ? int(done * kSteps / total) : 0);
        return !m_dialog->wasCanceled();
    }

private:
    static constexpr int kSteps = 1000;
    std::unique_ptr<QProgressDialog> m_dialog;
};

} // namespace

const std::vector<RecordFile::HeaderMember>& RecordFile::headerMembers() {
    // In the order they are written.
    static const std::vector<HeaderMember> members = {
        {"recNo", &RecordHeader::recNo},       {"startTime", &RecordHeader::startTime},
        {"endTime", &RecordHeader::endTime},   {"comment", &RecordHeader::comment},
        {"pUnit", &RecordHeader::pUnit},       {"sUnit", &RecordHeader::sUnit},
        {"recStyle", &RecordHeader::recStyle},
    };
    return members;
}

QByteArray RecordFile::encode(const TraceRecord& trace, const QDateTime& savedAt) {
    QByteArray out = headText(trace.header, savedAt);
    for (size_t i = 0; i < trace.samples.size(); ++i)
        out += sampleSeparator(i == 0) + sampleLine(trace.samples[i]);
    return out + kTail;
}

std::optional<TraceRecord> RecordFile::decode(const QByteArray& bytes, QString* error) {
    QBuffer buffer;
    buffer.setData(bytes);
    buffer.open(QIODevice::ReadOnly);
    TraceRecord trace;
    if (!readAll(
            buffer, trace.header, [&](TempSample& s) { trace.samples.push_back(std::move(s)); }, error))
        return std::nullopt;
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

bool RecordFile::saveWorkingTrace(const QString& path) {
    const std::optional<RecordHeader> header = workingHeaderToWrite();
    if (!header)
        return false;
    // The samples go from the working table to the file one at a time; a file
    // left unfinished is thrown away.
    QSaveFile file(path);
    bool written = file.open(QIODevice::WriteOnly) && file.write(headText(*header, clock().now())) >= 0;
    bool first = true;
    if (written && !recordStore().readSamples(0, [&](const TempSample& s) {
            written = written && file.write(sampleSeparator(first) + sampleLine(s)) >= 0;
            first = false;
        })) {
        reportStoreError();
        return false;
    }
    if (!written || file.write(kTail) != kTail.size() || !file.commit()) {
        messages().notice(
            QStringLiteral("The record file \"%1\" cannot be written: %2").arg(path, file.errorString()));
        return false;
    }
    return true;
}

bool RecordFile::openAsWorkingTrace(const QString& path, const Progress& progress) {
    if (session().tracing) {
        messages().notice(QStringLiteral("Stop the trace before opening a record file."));
        return false;
    }
    std::optional<OpeningProgress> dialog;
    if (!progress)
        dialog.emplace(path);
    const Progress report = progress ? progress : Progress(std::ref(*dialog));
    const auto refuse = [&path](const QString& why) {
        messages().notice(
            QStringLiteral("\"%1\" cannot be opened as a record file: %2.\nThe working trace is unchanged.")
                .arg(path, why));
        return false;
    };
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return refuse(file.errorString());
    const qint64 total = 2 * file.size();
    constexpr qint64 kSamplesBetweenReports = 4096;

    // First the whole file is checked, holding one sample at a time.
    RecordFileReader check(file);
    bool going = check.readHead();
    TempSample sample;
    RowStep step = RowStep::Stop;
    for (qint64 n = 1; going && (step = check.next(sample)) == RowStep::Row; ++n) {
        if (n % kSamplesBetweenReports == 0 && !report(check.bytesRead(), total))
            return false; // cancelled: nothing has changed
    }
    if (!going || step != RowStep::End || !check.readTail())
        return refuse(check.error());
    const RecordHeader header = check.header();

    // Then the samples replace the working table's, in one transaction that a
    // cancel or a file changed meanwhile rolls back.
    if (!file.seek(0))
        return refuse(file.errorString());
    RecordFileReader store(file);
    bool cancelled = false;
    qint64 stored = 0;
    const bool replaced = store.readHead() && recordStore().replaceTrace([&](TempSample& row) {
        const RowStep next = store.next(row);
        if (next == RowStep::Row && ++stored % kSamplesBetweenReports == 0 &&
            !report(total / 2 + store.bytesRead(), total)) {
            cancelled = true;
            return RowStep::Stop;
        }
        return next;
    });
    if (cancelled)
        return false;
    if (!replaced) {
        if (!store.error().isEmpty())
            return refuse(store.error());
        reportStoreError();
        return false;
    }
    report(total, total);
    setField(RecordField::Recno, QString());
    setField(RecordField::StartTime, header.startTime);
    setField(RecordField::EndTime, header.endTime);
    setField(RecordField::DataDesc, header.comment);
    setField(RecordField::PUnit, header.pUnit);
    setField(RecordField::SUnit, header.sUnit);
    if (forms().panel)
        forms().panel->setSampleStyle(sampleStyleIndex(header.recStyle));
    workingTrace().restart();
    if (forms().dataTable)
        forms().dataTable->refreshRows();
    if (forms().graph)
        forms().graph->ReDraw();
    return true;
}

} // namespace kvx
