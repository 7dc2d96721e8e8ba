#pragma once
// Stand-ins for the windows that reach each other through forms(), a fresh record
// database per test, and a second connection to see (or block) what reached the file.

#include "Forms.h"
#include "RecordStore.h"
#include "Services.h"
#include "Session.h"

#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>
#include <vector>

namespace kvx::test {

// Holds a forms() slot for as long as the stand-in lives.
template <class Form, Form* Forms::*Slot> class Registered : public Form {
public:
    Registered() { forms().*Slot = this; }
    ~Registered() override {
        if (forms().*Slot == this)
            forms().*Slot = nullptr;
    }
};

// Calls the stand-ins note, in order across all of them.
inline QStringList& callLog() {
    static QStringList log;
    return log;
}

class FakeStatePanel final : public Registered<StatePanel, &Forms::state> {
public:
    QString function, range, math, limitMax, limitMin, rel;
    void setFunctionText(const QString& text) override { function = text; }
    QString functionText() const override { return function; }
    void setUnitText(const QString&) override {}
    void setRangeText(const QString& text) override { range = text; }
    QString rangeText() const override { return range; }
    QString mathText() const override { return math; }
    void setMathText(const QString& text) override { math = text; }
    QString limitMaxText() const override { return limitMax; }
    QString limitMinText() const override { return limitMin; }
    QString relText() const override { return rel; }
    void setRelText(const QString& text) override { rel = text; }
    QString connText() const override { return QStringLiteral("LIVE"); }
    void setConnText(const QString&) override {}
    void setSampleIntervalText(const QString&) override {}
    QString sampleIntervalText() const override { return {}; }
    void setDbmActive(bool) override {}
    void setRefOhmText(const QString&) override {}
};

class FakeGraph final : public Registered<GraphRecord, &Forms::graph> {
public:
    void setValueText(const QString&) override {}
    QString valueText() const override { return {}; }
    void setLimHighText(const QString&) override {}
    void setLimLowText(const QString&) override {}
    void setRelText(const QString&) override {}
    void ReDraw() override { callLog() << QStringLiteral("ReDraw"); }
    void Redraw1() override {}
    // Notes the rows the data table still held, to show the order of the calls.
    void ClearGraph() override {
        callLog() << QStringLiteral("ClearGraph rows=%1")
                         .arg(forms().dataTable ? forms().dataTable->rowCount() : -1);
    }
    void ShowGraph() override {}
    double GetRandomValue() override { return 0.0; }
    void ScaleYAxis(double) override {}
    void setLiveTrace(bool) override {}
    QWidget* plotWidget() override { return nullptr; }
};

class FakeAnalog final : public Registered<AnalogMeter, &Forms::analog> {
public:
    void setValueText(const QString&) override {}
    QString valueText() const override { return {}; }
    void setLimHighText(const QString&) override {}
    void setLimLowText(const QString&) override {}
    void setRelText(const QString&) override {}
    void ChooseMeterScale(double) override {}
    void ResetMeter() override { callLog() << QStringLiteral("ResetMeter"); }
    void unitChanged(const QString&) override {}
};

// Rows of (time text, primary reading text); notes the rows the graph selects.
class FakeDataTable final : public Registered<DataTable, &Forms::dataTable> {
public:
    std::vector<std::pair<QString, QString>> rows;
    std::vector<int> selected;
    void setValuePrimary(double) override {}
    void setValueSecond(double) override {}
    void AppendData() override {}
    QString GetDate(int row) const override { return valid(row) ? rows[size_t(row)].first : QString(); }
    QString GetValuePrimary(int row) const override {
        return valid(row) ? rows[size_t(row)].second : QString();
    }
    QString GetValueSecond(int) const override { return {}; }
    void RowSelected(int row) override { selected.push_back(row); }
    void ClearData() override { rows.clear(); }
    void refreshRows() override {}
    int rowCount() const override { return int(rows.size()); }
    QString field(RecordField) const override { return {}; }
    void setField(RecordField, const QString&) override {}
    bool valid(int row) const { return row >= 0 && row < rowCount(); }
};

class FakePanel final : public Registered<MeterPanel, &Forms::panel> {
public:
    int styleIndex = 0; // -1: neither option
    QStringList cursorTexts;
    bool continuousStyleSelected() const override { return styleIndex == 0; }
    void setSampleStyle(int index) override { styleIndex = index; }
    void setCursorText(const QString& text) override { cursorTexts << text; }
};

// A fresh database in a temporary program folder, a clock that stands still at
// 2026/01/05 10:00:00 and scripted message boxes.
struct StoreFixture {
    QTemporaryDir dir;
    std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
    std::shared_ptr<ScriptedMessageService> messages = std::make_shared<ScriptedMessageService>();

    StoreFixture() {
        resetSession();
        session().programFolder = dir.path();
        setClock(clock);
        setMessages(messages);
        callLog().clear();
        recordStore().open(databasePath());
    }
    ~StoreFixture() { recordStore().close(); }
    QString path(const QString& name) const { return dir.filePath(name); }
    QString databasePath() const { return path(QString::fromLatin1(kDatabaseFile)); }
};

// The first column of every row a statement returns, read on a connection of its
// own ("<null>" for a null).
inline QStringList column(const QString& databasePath, const QString& sql) {
    QStringList out;
    const QString name = QStringLiteral("test-reader");
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
        db.setDatabaseName(databasePath);
        const bool opened = db.open();
        QSqlQuery q(db);
        if (!opened || !q.exec(sql))
            qWarning("query failed: %s", qPrintable(q.lastError().text()));
        while (q.next())
            out << (q.isNull(0) ? QStringLiteral("<null>") : q.value(0).toString());
    }
    QSqlDatabase::removeDatabase(name);
    return out;
}

// Another program holding the database's write lock until this goes away.
class OtherProgramLock {
public:
    explicit OtherProgramLock(const QString& databasePath) {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), kName);
        db.setDatabaseName(databasePath);
        locked = db.open() && QSqlQuery(db).exec(QStringLiteral("begin immediate"));
    }
    ~OtherProgramLock() {
        QSqlDatabase::database(kName).close();
        QSqlDatabase::removeDatabase(kName);
    }
    bool locked = false;

private:
    static constexpr const char* kName = "other-program";
};

} // namespace kvx::test
