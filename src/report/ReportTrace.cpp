#include "ReportTrace.h"

#include "Forms.h"
#include "RecordOperations.h"
#include "Services.h"

namespace kvx {

std::optional<TraceRecord> workingTrace(RecordStore& store, QString* error, int filterIndex) {
    TraceRecord trace;
    trace.header = RecordOperations::workingHeader();
    if (!store.readSamples(filterIndex, [&](const TempSample& row) { trace.samples.push_back(row); })) {
        if (error)
            *error = storeErrorText(store.lastError());
        return std::nullopt;
    }
    return trace;
}

void reportStoreError() {
    messages().notice(QStringLiteral("System Error caused by ") + storeErrorText(recordStore().lastError()));
}

std::optional<RecordHeader> workingHeaderToWrite() {
    const std::optional<qint64> count = recordStore().countSamples();
    if (!count) {
        reportStoreError();
        return std::nullopt;
    }
    if (*count == 0) {
        messages().notice(QStringLiteral("You have to measure first"));
        return std::nullopt;
    }
    return RecordOperations::workingHeader();
}

} // namespace kvx
