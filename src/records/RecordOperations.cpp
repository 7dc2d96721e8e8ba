#include "RecordOperations.h"

#include "BackgroundTask.h"
#include "Forms.h"
#include "ReadingWindows.h"
#include "Services.h"
#include "Session.h"
#include "ValueRules.h"
#include "WorkingTrace.h"

#include <QThread>

namespace kvx {

namespace {

QString fieldText(RecordField which) {
    return forms().dataTable ? forms().dataTable->field(which) : QString();
}

void setFieldText(RecordField which, const QString& text) {
    if (forms().dataTable)
        forms().dataTable->setField(which, text);
}

// "0" for the continuous sample style, "1" for the triggered one.
QString currentRecordStyle() {
    const MeterPanel* panel = forms().panel;
    return (!panel || panel->continuousStyleSelected()) ? QStringLiteral("0") : QStringLiteral("1");
}

int sampleStyleIndex(const QString& recStyle) {
    if (recStyle == QLatin1String("0"))
        return 0;
    if (recStyle == QLatin1String("1"))
        return 1;
    return -1; // neither option
}

} // namespace

RecordHeader RecordOperations::workingHeader() {
    RecordHeader header;
    header.recNo = fieldText(RecordField::Recno);
    header.startTime = fieldText(RecordField::StartTime);
    header.endTime = fieldText(RecordField::EndTime);
    header.comment = fieldText(RecordField::DataDesc);
    header.pUnit = fieldText(RecordField::PUnit);
    header.sUnit = fieldText(RecordField::SUnit);
    header.recStyle = currentRecordStyle();
    return header;
}

void RecordOperations::showSaveError() {
    const StoreError& e = recordStore().lastError();
    messages().notice(QStringLiteral("System Error caused by ") + e.number + QStringLiteral(":") +
                      e.description);
}

void RecordOperations::showError() {
    const StoreError& e = recordStore().lastError();
    messages().notice(e.number + QStringLiteral(":") + e.description);
}

bool RecordOperations::saveRecord() {
    const std::optional<qint64> count = recordStore().countSamples();
    if (!count) {
        showSaveError();
        return false;
    }
    if (*count == 0) {
        messages().notice(QStringLiteral("You have to measure first"));
        return false;
    }
    const QString recNo = fieldText(RecordField::Recno);
    if (!recNo.isEmpty()) {
        if (messages().ask(QStringLiteral("Do you want to update?")) != Answer::Yes)
            return false;
        return updateRecord(recNo);
    }
    if (messages().ask(QStringLiteral("Are you sure?")) != Answer::Yes)
        return false;
    return saveNewRecord();
}

bool RecordOperations::updateRecord(const QString& recNo) {
    // Only the description of the header changes. The samples go back without
    // their time columns, so an updated record has empty TimeTick and DiffLastTime.
    if (!recordStore().updateRecordComment(fieldText(RecordField::DataDesc), recNo) ||
        !recordStore().deleteRecordSamples(recNo) || !recordStore().copyTraceToRecordWithoutTimes(recNo)) {
        showSaveError();
        return false;
    }
    return true;
}

bool RecordOperations::saveNewRecord() {
    // The number is taken and the header written in one step, so that benches saving
    // at the same moment on one server never get the same number.
    const std::optional<QString> recNo = recordStore().insertNewHeader(workingHeader());
    if (!recNo) {
        // No record has a number for this trace: the next save is a new record again.
        setFieldText(RecordField::Recno, QString());
        showSaveError();
        return false;
    }
    // With the header written, the number stays: saving again updates this record.
    setFieldText(RecordField::Recno, *recNo);
    if (!recordStore().copyTraceToRecord(*recNo)) {
        showSaveError();
        return false;
    }
    return true;
}

std::optional<std::vector<RecordListRow>> RecordOperations::listRecords() {
    auto rows = recordStore().listRecords();
    if (!rows)
        showError();
    return rows;
}

QString RecordOperations::listLine(const RecordListRow& row) {
    return fixedText(row.recNo, 6) + row.startTime.left(14) + fixedText(row.comment, 25);
}

QString RecordOperations::recordNumberOfListLine(const QString& line) {
    return trimBlanks(line.left(6));
}

bool RecordOperations::loadFromListLine(const QString& line, LoadDone done) {
    if (line.isEmpty())
        return false;
    return loadRecord(recordNumberOfListLine(line), TimeColumns::Kept, std::move(done));
}

bool RecordOperations::loadFromGrid(const QString& recNo, LoadDone done) {
    return loadRecord(trimBlanks(recNo), TimeColumns::Dropped, std::move(done));
}

namespace {

bool g_loading = false; // a load is under way: another one is refused

// The copy of a record into the working trace, on a thread of its own.
void startLoad(const QString& recNo, bool withTimes, const RecordOperations::LoadDone& done) {
    const auto finish = [done](bool loaded) {
        g_loading = false;
        if (done)
            done(loaded);
    };
    // The copy runs on a connection of its own, which must not come between queued samples.
    if (!recordStore().settleWriter()) {
        const StoreError& e = recordStore().lastError();
        messages().notice(e.number + QStringLiteral(":") + e.description);
        return finish(false);
    }
    const auto work = [target = recordStore().target(), bench = recordStore().bench(), recNo,
                       withTimes](TaskProgress&) {
        RecordStore store(QStringLiteral("kvx5130-load-%1").arg(quintptr(QThread::currentThreadId())));
        TaskOutcome outcome;
        if (!store.openForReading(target, bench)) {
            outcome.error = QStringLiteral("0:") + store.openMessage();
            return outcome;
        }
        outcome.ok = store.replaceTraceWithRecord(recNo, withTimes);
        if (!outcome.ok)
            outcome.error = store.lastError().number + QStringLiteral(":") + store.lastError().description;
        return outcome;
    };
    const auto finished = [finish](const TaskOutcome& outcome) {
        if (!outcome.ok) {
            messages().notice(outcome.error);
            return finish(false);
        }
        workingTrace().restart();
        if (forms().dataTable)
            forms().dataTable->refreshRows();
        if (forms().graph)
            forms().graph->ReDraw();
        finish(true);
    };
    runInBackground(QStringLiteral("Loading record %1...").arg(recNo), work, finished,
                    {&traceRebuilds(), false});
}

} // namespace

bool RecordOperations::loadRecord(const QString& recNo, TimeColumns times, LoadDone done) {
    if (g_loading)
        return false;
    const auto header = recordStore().readHeader(recNo);
    if (!header) {
        showError();
        return false;
    }
    if (!header->has_value())
        return false;
    const RecordHeader& h = **header;
    setFieldText(RecordField::Recno, h.recNo);
    setFieldText(RecordField::StartTime, h.startTime);
    setFieldText(RecordField::EndTime, h.endTime);
    setFieldText(RecordField::DataDesc, h.comment);
    setFieldText(RecordField::PUnit, h.pUnit);
    setFieldText(RecordField::SUnit, h.sUnit);
    if (forms().panel)
        forms().panel->setSampleStyle(sampleStyleIndex(h.recStyle));

    // A rebuild of the graph under way finishes first; the load then has the trace to itself.
    g_loading = true;
    traceRebuilds().queue([recNo = fieldText(RecordField::Recno),
                                     withTimes = times == TimeColumns::Kept,
                                     done = std::move(done)] { startLoad(recNo, withTimes, done); });
    return true;
}

void RecordOperations::clearTrace() {
    const std::optional<qint64> count = recordStore().countSamples();
    if (!count) {
        showError();
        return;
    }
    const bool hasSamples = *count > 0;
    if (hasSamples && messages().ask(QStringLiteral("Abandon record?")) != Answer::Yes)
        return;
    if (forms().dataTable)
        forms().dataTable->ClearData();
    if (forms().graph)
        forms().graph->ClearGraph();
    if (forms().analog)
        forms().analog->ResetMeter();
    // Only an abandoned trace restarts the reading clock; an empty one keeps it as it is.
    if (hasSamples)
        session().lastReadingTime = 0.0;
}

} // namespace kvx
