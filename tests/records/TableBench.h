#pragma once
// The data table window on a fresh database, beside a stand-in state panel, fed
// one reading at a time as the polling cycle feeds it.

#include "DataRows.h"
#include "WindowTestSupport.h"
#include "clsKVX5310.h"
#include "frmDataTable.h"

namespace kvx::test {

struct TableBench {
    StoreFixture store;
    FakeStatePanel state;
    frmDataTable table{driverUnits(), recordStore()};
    double clockValue = 36000.0; // 10:00:00, as the manual clock starts

    TableBench() { table.ClearData(); }
    // One reading, `seconds` after the previous one; whether it became a sample.
    bool feed(double value, double seconds = 1.0) {
        session().lastReadingTime = clockValue += seconds;
        const int before = table.rowCount();
        table.setValuePrimary(value);
        table.setValueSecond(0.0);
        table.AppendData();
        return table.rowCount() > before;
    }
    QStringList db(const QString& sql) const {
        recordStore().settleWriter();
        return column(store.databasePath(), sql);
    }
};

} // namespace kvx::test
