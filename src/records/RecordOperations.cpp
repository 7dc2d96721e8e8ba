#include "RecordOperations.h"

#include "Forms.h"
#include "Services.h"
#include "Session.h"
#include "ValueRules.h"
#include "WorkingTrace.h"

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

bool RecordOperations::loadFromListLine(const QString& line) {
    if (line.isEmpty())
        return false;
    return loadRecord(recordNumberOfListLine(line), TimeColumns::Kept);
}

bool RecordOperations::loadFromGrid(const QString& recNo) {
    return loadRecord(trimBlanks(recNo), TimeColumns::Dropped);
}

bool RecordOperations::loadRecord(const QString& recNo, TimeColumns times) {
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

    const QString loadedRecNo = fieldText(RecordField::Recno);
    const bool copied = recordStore().clearTrace() &&
                        (times == TimeColumns::Kept ? recordStore().loadRecordWithTimes(loadedRecNo)
                                                    : recordStore().loadRecordWithoutTimes(loadedRecNo));
    if (!copied) {
        showError();
        return false;
    }
    workingTrace().restart();
    if (forms().dataTable)
        forms().dataTable->refreshRows();
    if (forms().graph)
        forms().graph->ReDraw();
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
