#include "ExportRecord.h"

#include "RecordStore.h"
#include "SampleExport.h"
#include "Session.h"
#include "SessionStore.h"
#include "TraceRecord.h"
#include "ValueRules.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTextStream>

namespace kvx {

namespace {

bool openRecordDatabase(QTextStream& err) {
    if (recordStore().isOpen())
        return true;
    const QString path = session().pathInFolder(QString::fromLatin1(kDatabaseFile));
    if (!sessionDatabaseText().startsWith(QLatin1String("postgres")) && !QFileInfo(path).isFile()) {
        err << "kvx5130: there is no record database \"" << QDir::toNativeSeparators(path) << "\"\n";
        return false;
    }
    QString problem;
    if (!openSessionRecordStore(&problem)) {
        err << "kvx5130: " << problem << "\n";
        return false;
    }
    return true;
}

QString described(const StoreError& error) {
    return error.number.isEmpty() ? error.description
                                  : error.number + QStringLiteral(": ") + error.description;
}

QString isoOrStored(const QString& stored) {
    QByteArray iso;
    return appendIsoDateTime(stored.toUtf8(), &iso) ? QString::fromLatin1(iso) : stored;
}

} // namespace

int exportRecord(int recno, const ExportFiles& files, QTextStream& err, const ReportWriter& writeReport) {
    const auto finish = [&err](int code) {
        err.flush();
        return code;
    };
    if (!files.any()) {
        err << "kvx5130: --export-record needs --pdf FILE, --csv FILE or --ndjson FILE\n";
        return finish(2);
    }
    if (!openRecordDatabase(err))
        return finish(1);

    const bool working = recno == 0;
    const QString recNo = working ? QString() : QString::number(recno);
    RecordHeader header;
    if (working) {
        // From the command line there is no Record tab: the working trace has no
        // number, times, description or units of its own, and the continuous style.
        header.recStyle = QStringLiteral("0");
    } else {
        const auto found = recordStore().readHeader(recNo);
        if (!found) {
            err << "kvx5130: record " << recNo << " cannot be read: " << described(recordStore().lastError())
                << "\n";
            return finish(1);
        }
        if (!found->has_value()) {
            err << "kvx5130: record " << recNo << " does not exist in \""
                << QDir::toNativeSeparators(recordStore().filePath()) << "\"\n";
            return finish(1);
        }
        header = **found;
    }

    QString error;
    for (const auto& [path, format] :
         {std::pair{files.csv, ExportFormat::Csv}, std::pair{files.ndjson, ExportFormat::Ndjson}}) {
        if (path.isEmpty())
            continue;
        if (!exportSamples(recordStore(), recNo, header, format, path, &error)) {
            err << "kvx5130: \"" << path << "\" cannot be written: " << error << "\n";
            return finish(1);
        }
    }
    if (files.pdf.isEmpty())
        return finish(0);

    if (!writeReport) {
        err << "kvx5130: \"" << files.pdf
            << "\" cannot be written: the report is drawn by the window program\n";
        return finish(1);
    }
    TraceRecord record;
    record.header = header;
    if (working) {
        if (!recordStore().readSamples(0, [&](const TempSample& row) { record.samples.push_back(row); })) {
            err << "kvx5130: the working trace cannot be read: " << storeErrorText(recordStore().lastError())
                << "\n";
            return finish(1);
        }
    } else if (savedRecord(recordStore(), recNo, record, &error) != RecordLookup::Found) {
        err << "kvx5130: record " << recNo << " cannot be read: " << error << "\n";
        return finish(1);
    }
    if (!writeReport(record, files.pdf, &error)) {
        err << "kvx5130: \"" << files.pdf << "\" cannot be written: " << error << "\n";
        return finish(1);
    }
    return finish(0);
}

int listRecords(bool json, const QString& bench, QTextStream& out, QTextStream& err) {
    if (!openRecordDatabase(err))
        return err.flush(), 1;
    std::optional<std::vector<RecordSummary>> records = recordStore().summarizeRecords(bench);
    std::optional<RecordSummary> working = records ? recordStore().summarizeWorkingTrace() : std::nullopt;
    if (!records || !working) {
        err << "kvx5130: the record list cannot be read: " << described(recordStore().lastError()) << "\n";
        return err.flush(), 1;
    }
    working->origin.bench = recordStore().bench();
    working->origin.meter.clear();
    if (working->samples > 0 && (bench.isEmpty() || bench == working->origin.bench))
        records->insert(records->begin(), *working);

    if (json) {
        QJsonArray list;
        for (const RecordSummary& summary : *records) {
            const RecordHeader& r = summary.header;
            bool numbered = false;
            const qint64 number = r.recNo.toLongLong(&numbered);
            list.append(
                QJsonObject{{QStringLiteral("recNo"), numbered ? QJsonValue(number) : QJsonValue(r.recNo)},
                            {QStringLiteral("startTime"), isoOrStored(r.startTime)},
                            {QStringLiteral("endTime"), isoOrStored(r.endTime)},
                            {QStringLiteral("description"), r.comment},
                            {QStringLiteral("primaryUnit"), r.pUnit},
                            {QStringLiteral("secondaryUnit"), r.sUnit},
                            {QStringLiteral("samples"), summary.samples},
                            {QStringLiteral("bench"), summary.origin.bench},
                            {QStringLiteral("meter"), summary.origin.meter}});
        }
        out << QJsonDocument(list).toJson(QJsonDocument::Compact) << "\n";
    } else {
        const auto line = [&out](const QString& no, const QString& start, const QString& end,
                                 const QString& samples, const QString& pUnit, const QString& sUnit,
                                 const QString& bench, const QString& description) {
            const QString gap = QStringLiteral("  ");
            out << no.rightJustified(4) << gap << start.leftJustified(19) << gap << end.leftJustified(19)
                << gap << samples.rightJustified(8) << gap << pUnit.leftJustified(7) << gap
                << sUnit.leftJustified(7) << gap << bench.leftJustified(12) << gap << description << "\n";
        };
        line(QStringLiteral("No."), QStringLiteral("Start"), QStringLiteral("End"), QStringLiteral("Samples"),
             QStringLiteral("Primary"), QStringLiteral("Second."), QStringLiteral("Bench"),
             QStringLiteral("Description"));
        for (const RecordSummary& summary : *records) {
            const RecordHeader& r = summary.header;
            line(r.recNo, r.startTime, r.endTime, QString::number(summary.samples), r.pUnit, r.sUnit,
                 summary.origin.bench,
                 r.recNo == QLatin1String("0") ? QStringLiteral("(working trace)") : r.comment);
        }
    }
    out.flush();
    return 0;
}

int copyRecords(const QString& from, const QString& to, QTextStream& err) {
    const auto failed = [&err](const QString& why) {
        err << "kvx5130: " << why << "\n";
        err.flush();
        return 1;
    };
    StoreTarget targets[2];
    QString why;
    for (int i = 0; i < 2; ++i) {
        if (!parseStoreText(i == 0 ? from : to, QString(), &targets[i], &why))
            return failed(why);
    }
    if (!targets[0].server && !QFileInfo(targets[0].filePath).isFile())
        return failed(QStringLiteral("there is no record database \"%1\"").arg(targets[0].filePath));
    RecordStore source(QStringLiteral("kvx5130-copy-from"));
    RecordStore destination(QStringLiteral("kvx5130-copy-to"));
    // Records saved before they carried a bench are the bench's that kept the file.
    source.setBench(sessionBenchName());
    destination.setBench(sessionBenchName());
    if (!source.open(targets[0]))
        return failed(source.openMessage());
    if (!destination.open(targets[1]))
        return failed(destination.openMessage());
    const std::optional<std::vector<RecordSummary>> records = source.summarizeRecords();
    if (!records)
        return failed(QStringLiteral("the records of \"%1\" cannot be read: %2")
                          .arg(source.filePath(), source.lastError().description));
    int copied = 0;
    qint64 samples = 0;
    for (const RecordSummary& record : *records) {
        err << "record " << record.header.recNo << " (" << record.samples << " samples): ";
        err.flush();
        const auto progress = [&err](qint64 count) {
            err << count << " ";
            err.flush();
        };
        const std::optional<QString> number = destination.copyRecord(source, record, progress);
        if (!number)
            return failed(QStringLiteral("record %1 cannot be copied: %2")
                              .arg(record.header.recNo, described(destination.lastError())));
        if (number->isEmpty()) {
            err << "copied before\n";
            continue;
        }
        err << "copied as record " << *number << "\n";
        ++copied;
        samples += record.samples;
    }
    err << "kvx5130: " << copied << " of " << records->size() << " records copied (" << samples
        << " samples) from " << source.filePath() << " to " << destination.filePath() << "\n";
    err.flush();
    return 0;
}

} // namespace kvx
