#pragma once
// Stand-ins for the windows the record store talks to, and a fixture that gives
// each test a fresh record database in a temporary folder.

#include "Forms.h"
#include "RecordStore.h"
#include "Services.h"
#include "Session.h"

#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QStringList>
#include <QTemporaryDir>
#include <QVariantList>

#include <memory>

namespace kvx::test {

// Every call the record operations make into other windows, in order.
inline QStringList& callLog() {
    static QStringList log;
    return log;
}

class FakeStatePanel final : public StatePanel {
public:
    FakeStatePanel() { forms().state = this; }
    ~FakeStatePanel() override {
        if (forms().state == this)
            forms().state = nullptr;
    }
    QString maxText, minText, holdWord;

    void setFunctionText(const QString&) override {}
    QString functionText() const override { return {}; }
    void setUnitText(const QString&) override {}
    void setRangeText(const QString&) override {}
    QString rangeText() const override { return {}; }
    QString mathText() const override { return holdWord; }
    void setMathText(const QString& text) override { holdWord = text; }
    QString limitMaxText() const override { return maxText; }
    QString limitMinText() const override { return minText; }
    QString relText() const override { return {}; }
    void setRelText(const QString&) override {}
    QString connText() const override { return {}; }
    void setConnText(const QString&) override {}
    void setSampleIntervalText(const QString&) override {}
    QString sampleIntervalText() const override { return {}; }
    void setDbmActive(bool) override {}
    void setRefOhmText(const QString&) override {}
};

class FakeGraph final : public GraphRecord {
public:
    FakeGraph() { forms().graph = this; }
    ~FakeGraph() override {
        if (forms().graph == this)
            forms().graph = nullptr;
    }
    void setValueText(const QString&) override {}
    QString valueText() const override { return {}; }
    void setLimHighText(const QString&) override {}
    void setLimLowText(const QString&) override {}
    void setRelText(const QString&) override {}
    void ReDraw() override { callLog() << QStringLiteral("ReDraw"); }
    void Redraw1() override {}
    // Notes how many rows the data table still held, to show the order of the calls.
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

class FakeAnalog final : public AnalogMeter {
public:
    FakeAnalog() { forms().analog = this; }
    ~FakeAnalog() override {
        if (forms().analog == this)
            forms().analog = nullptr;
    }
    void setValueText(const QString&) override {}
    QString valueText() const override { return {}; }
    void setLimHighText(const QString&) override {}
    void setLimLowText(const QString&) override {}
    void setRelText(const QString&) override {}
    void ChooseMeterScale(double) override {}
    void ResetMeter() override { callLog() << QStringLiteral("ResetMeter"); }
    void unitChanged(const QString&) override {}
};

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

// A fresh database, a clock that stands still and scripted message boxes.
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
    QString databasePath() const { return dir.filePath(QString::fromLatin1(kDatabaseFile)); }
};

// Reads the database on a connection of its own, to see what really reached the file.
inline QList<QVariantList> query(const QString& path, const QString& sql) {
    QList<QVariantList> rows;
    const QString name = QStringLiteral("test-reader");
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
        db.setDatabaseName(path);
        db.open();
        QSqlQuery q(db);
        if (q.exec(sql)) {
            while (q.next()) {
                QVariantList row;
                for (int i = 0; i < q.record().count(); ++i)
                    row << q.value(i);
                rows << row;
            }
        } else {
            qWarning("query failed: %s", qPrintable(q.lastError().text()));
        }
    }
    QSqlDatabase::removeDatabase(name);
    return rows;
}

// The first column of every row, as texts ("<null>" for a null).
inline QStringList column(const QString& path, const QString& sql) {
    QStringList out;
    for (const QVariantList& row : query(path, sql))
        out << (row.value(0).isNull() ? QStringLiteral("<null>") : row.value(0).toString());
    return out;
}

} // namespace kvx::test
