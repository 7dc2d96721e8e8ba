#pragma once
// A fresh record database in a temporary program folder, a clock that stands
// still, scripted message boxes, and traces made to order.

#include "Forms.h"
#include "RecordStore.h"
#include "Services.h"
#include "Session.h"
#include "ValueRules.h"

#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QStringList>
#include <QTemporaryDir>
#include <QVariantList>
#include <QtTest>

#include <memory>
#include <vector>

namespace kvx::test {

class FakePanel final : public MeterPanel {
public:
    FakePanel() { forms().panel = this; }
    ~FakePanel() override {
        if (forms().panel == this)
            forms().panel = nullptr;
    }
    int styleIndex = 0;
    bool continuousStyleSelected() const override { return styleIndex == 0; }
    void setSampleStyle(int index) override { styleIndex = index; }
    void setCursorText(const QString&) override {}
};

struct ReportFixture {
    QTemporaryDir dir;
    std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
    std::shared_ptr<ScriptedMessageService> messages = std::make_shared<ScriptedMessageService>();

    ReportFixture() {
        resetSession();
        session().programFolder = dir.path();
        setClock(clock);
        setMessages(messages);
        recordStore().open(databasePath());
    }
    ~ReportFixture() { recordStore().close(); }
    QString databasePath() const { return dir.filePath(QString::fromLatin1(kDatabaseFile)); }
    QString path(const QString& name) const { return dir.filePath(name); }
};

// `count` samples one second apart from 2026/01/05 10:00:00: a sine-like swing in
// volts, a steady secondary in kHz, every reason code, and a comment now and then.
inline std::vector<TempSample> makeSamples(int count) {
    std::vector<TempSample> rows;
    const QDateTime base(QDate(2026, 1, 5), QTime(10, 0, 0));
    for (int i = 0; i < count; ++i) {
        TempSample s;
        s.seqNo = i;
        s.recTime = dateTimeText(base.addSecs(i));
        s.pVal =
            numberToText(std::round(100.0 * (3.0 + 2.0 * std::sin(i / 15.0))) / 100.0) + QStringLiteral(" V");
        s.sVal = QStringLiteral("0.5 kHz");
        s.reason = QString::number(i % 5);
        if (i % 40 == 7)
            s.comment = QStringLiteral("check %1").arg(i); // the others stay null texts
        s.timeTick = qint64(i);
        s.diffLastTime = qint64(i == 0 ? 0 : 1);
        rows.push_back(s);
    }
    return rows;
}

inline RecordHeader makeHeader(const QString& recNo = QStringLiteral("7")) {
    RecordHeader h;
    h.recNo = recNo;
    h.startTime = QStringLiteral("2026/01/05 10:00:00");
    h.endTime = QStringLiteral("2026/01/05 10:03:20");
    h.comment = QStringLiteral("Bench 4, supply ripple");
    h.pUnit = QStringLiteral("V");
    h.sUnit = QStringLiteral("kHz");
    h.recStyle = QStringLiteral("0");
    return h;
}

// Saves a record with these samples straight into datamain and datadetail.
inline void storeRecord(const RecordHeader& h, const std::vector<TempSample>& rows) {
    RecordStore& store = recordStore();
    QVERIFY(store.replaceTrace(rows));
    QVERIFY(store.insertHeader(h));
    QVERIFY(store.copyTraceToRecord(h.recNo));
    QVERIFY(store.clearTrace());
}

// Every datatemp row as one text with each value's SQL type and quoted value, to
// compare rows byte for byte, nulls and types included.
inline QStringList datatempRows(const QString& databasePath) {
    QStringList out;
    const QString name = QStringLiteral("report-test-reader");
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
        db.setDatabaseName(databasePath);
        db.open();
        QSqlQuery q(db);
        QString columns;
        for (const char* c :
             {"SeqNo", "RecTime", "PVal", "SVal", "Reason", "Comment", "TimeTick", "DiffLastTime"})
            columns +=
                QStringLiteral("%1typeof(%2)||':'||hex(%2)").arg(columns.isEmpty() ? "" : "||'|'||", c);
        if (!q.exec(QStringLiteral("select ") + columns + QStringLiteral(" from datatemp order by rowid")))
            qWarning("query failed: %s", qPrintable(q.lastError().text()));
        while (q.next())
            out << q.value(0).toString();
    }
    QSqlDatabase::removeDatabase(name);
    return out;
}

} // namespace kvx::test
