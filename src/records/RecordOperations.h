#pragma once
// The record keys of the front panel: save the working trace as a numbered
// record, list the saved records, load one back, and abandon the trace.
//
// They work on the header fields of the data table window and on the record
// database, and call the graph, the analog meter and the front panel through
// `forms()`. Every question and notice goes through `messages()`.
//
// Usage from the front panel:
//   RecordOperations records;
//   cmdSaveRecord:   records.saveRecord();
//   cmdLoadRecord:   if (auto rows = records.listRecords()) {
//                        List1->clear();
//                        for (const auto& row : *rows) List1->addItem(RecordOperations::listLine(row));
//                        // grdRecList: one row per entry, columns recNo, startTime, endTime,
//                        // comment under RecordOperations::recordListHeadings()
//                        List1->show();
//                    }
//   List1 click:     records.loadFromListLine(List1->currentItem()->text(),
//                                            [](bool loaded) { if (loaded) List1->hide(); });
//   grdRecList row:  records.loadFromGrid(recNoOfTheChosenRow, ...); then hide grdRecList
//   cmdClear:        records.clearTrace();

#include "RecordStore.h"

#include <QString>
#include <QStringList>

#include <functional>
#include <optional>
#include <vector>

namespace kvx {

class RecordOperations {
public:
    // Saves the working trace: a new record after "Are you sure?", or, when the
    // data table holds a record number, an update after "Do you want to update?".
    // Returns true when a record was written.
    bool saveRecord();

    // The saved records, highest number first; nullopt (after a notice) on failure.
    std::optional<std::vector<RecordListRow>> listRecords();
    // The fixed-width line of the record list: number (6), start time (cut to 14),
    // comment (25). Loading reads the number back from the first 6 characters.
    static QString listLine(const RecordListRow& row);
    static QString recordNumberOfListLine(const QString& line);
    // Headings of the record grid's four columns.
    static QStringList recordListHeadings() { return RecordStore::recordListHeadings(); }
    // The header of the working trace: the data table's record fields and the panel's sample style.
    static RecordHeader workingHeader();

    // Loads the record of a list line into the working trace, time columns included.
    // The header fields are set at once; the samples are copied on a thread of their
    // own, and then the data table and the graph are rebuilt and `done` hears whether
    // the record was loaded (a failure is told first). Returns false at once, without
    // calling `done`, when no record has that number, a statement failed, or another
    // load is under way. waitForBackgroundTasks() waits for the whole load.
    using LoadDone = std::function<void(bool loaded)>;
    bool loadFromListLine(const QString& line, LoadDone done = {});
    // Loads a record chosen in the record grid; this path leaves the time columns empty.
    bool loadFromGrid(const QString& recNo, LoadDone done = {});

    // Abandons the working trace (asks first when it holds samples).
    void clearTrace();

private:
    enum class TimeColumns { Kept, Dropped };
    bool loadRecord(const QString& recNo, TimeColumns times, LoadDone done);
    bool saveNewRecord();
    bool updateRecord(const QString& recNo);
    void showSaveError();
    void showError();
};

} // namespace kvx
