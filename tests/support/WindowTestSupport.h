#pragma once
// Stand-ins for the windows that reach each other through forms(), a fresh record
// database per test, and a second connection to see (or block) what reached the file.

#include "Forms.h"
#include "RecordStore.h"
#include "TestServices.h"
#include "Session.h"
#include "ValueRules.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtSql>
#include <cmath>
#include <map>
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

// Calls the stand-ins note, in order across all of them, as "who.what(argument)"
// where the argument matters.
inline QStringList& callLog() {
    static QStringList log;
    return log;
}

// Keeps what a stand-in was told, and notes the call.
template <class T> void keep(T& field, const T& given, const QString& call) {
    field = given;
    callLog() << call;
}

// They keep what they are told; the calls that carry a reading, and those whose
// order matters, also go to callLog().
class FakeStatePanel final : public Registered<StatePanel, &Forms::state> {
public:
    QString function, range, math, limitMax, limitMin, rel, conn, connProblem, interval, refOhm;
    bool dbmActive = false;
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
    QString connText() const override { return conn; }
    void setConnText(const QString& text) override { conn = text; }
    void setConnProblem(const QString& reason) override { connProblem = reason; }
    void setSampleIntervalText(const QString& text) override { interval = text; }
    QString sampleIntervalText() const override { return interval; }
    void setDbmActive(bool on) override { dbmActive = on; }
    void setRefOhmText(const QString& text) override { refOhm = text; }
};

class FakeDigital final : public Registered<DigitalScreen, &Forms::digital> {
public:
    double primary = 0, secondary = 0;
    QString primaryFormatText, secondaryFormatText;
    void setPrimaryValue(double v) override { keep(primary, v, "DigVM"); }
    double primaryValue() const override { return primary; }
    void setPrimaryFormat(const QString& f) override { primaryFormatText = f; }
    QString primaryFormat() const override { return primaryFormatText; }
    void setSecondaryValue(double v) override { keep(secondary, v, "DigSecondM"); }
    double secondaryValue() const override { return secondary; }
    void setSecondaryFormat(const QString& f) override { secondaryFormatText = f; }
    QString secondaryFormat() const override { return secondaryFormatText; }
    void layoutDisplays(int, int, int, int, double) override {}
};

class FakeGraph final : public Registered<GraphRecord, &Forms::graph> {
public:
    QString value;
    bool live = false, noReply = false;
    void setValueText(const QString& t) override { keep(value, t, "Value:" + t); }
    QString valueText() const override { return value; }
    void setLimHighText(const QString& t) override { callLog() << "graph.LimHigh(" + t + ")"; }
    void setLimLowText(const QString& t) override { callLog() << "graph.LimLow(" + t + ")"; }
    void setRelText(const QString& t) override { callLog() << "graph.Rel(" + t + ")"; }
    void ReDraw() override { callLog() << QStringLiteral("ReDraw"); }
    void Redraw1() override {}
    // Notes the rows the data table still held, to show the order of the calls.
    void ClearGraph() override {
        callLog() << QStringLiteral("ClearGraph rows=%1")
                         .arg(forms().dataTable ? forms().dataTable->rowCount() : -1);
    }
    void ShowGraph() override { callLog() << QStringLiteral("ShowGraph"); }
    void setNoReply(bool on) override { keep(noReply, on, (on ? "noReply" : "replied")); }
    double GetRandomValue() override { return 0.0; }
    void ScaleYAxis(double peak) override { callLog() << "graph.Scale(" + QString::number(peak) + ")"; }
    void setLiveTrace(bool on) override { keep(live, on, QStringLiteral("live:%1").arg(on)); }
    QWidget* plotWidget() override { return nullptr; }
};

class FakeAnalog final : public Registered<AnalogMeter, &Forms::analog> {
public:
    QString value;
    void setValueText(const QString& t) override { keep(value, t, "Value:" + t); }
    QString valueText() const override { return value; }
    void setLimHighText(const QString& t) override { callLog() << "analog.LimHigh(" + t + ")"; }
    void setLimLowText(const QString& t) override { callLog() << "analog.LimLow(" + t + ")"; }
    void setRelText(const QString& t) override { callLog() << "analog.Rel(" + t + ")"; }
    void ChooseMeterScale(double peak) override {
        callLog() << "analog.Scale(" + QString::number(peak) + ")";
    }
    void ResetMeter() override { callLog() << QStringLiteral("ResetMeter"); }
    void unitChanged(const QString& unit) override { callLog() << "analog.Unit(" + unit + ")"; }
};

// Rows of (time text, primary reading text) given by the test, and readings
// appended; notes the rows the graph selects.
class FakeDataTable final : public Registered<DataTable, &Forms::dataTable> {
public:
    std::vector<std::pair<QString, QString>> rows;
    std::vector<int> selected;
    double primary = 0, second = 0;
    int appended = 0;
    std::map<RecordField, QString> fields;
    void setValuePrimary(double v) override { keep(primary, v, "dValuePrimary"); }
    void setValueSecond(double v) override { keep(second, v, "dValueSecond"); }
    void setNoReply(bool on) override { callLog() << (on ? "noReply" : "replied"); }
    void AppendData() override {
        ++appended;
        callLog() << "AppendData";
    }
    QString GetDate(int row) const override { return valid(row) ? rows[size_t(row)].first : QString(); }
    QString GetValuePrimary(int row) const override {
        return valid(row) ? rows[size_t(row)].second : QString();
    }
    QString GetValueSecond(int) const override { return {}; }
    void RowSelected(int row) override { selected.push_back(row); }
    void ClearData() override { rows.clear(); }
    void refreshRows() override {}
    int rowCount() const override { return int(rows.size()) + appended; }
    QString field(RecordField which) const override { return fields.count(which) ? fields.at(which) : ""; }
    void setField(RecordField which, const QString& text) override { fields[which] = text; }
    bool valid(int row) const { return row >= 0 && row < int(rows.size()); }
};

class FakePanel final : public Registered<MeterPanel, &Forms::panel> {
public:
    int styleIndex = 0; // -1: neither option
    QStringList cursorTexts;
    bool continuousStyleSelected() const override { return styleIndex == 0; }
    void setSampleStyle(int index) override { styleIndex = index; }
    void setCursorText(const QString& text) override { cursorTexts << text; }
};

// `count` samples one second apart from 2026/01/05 10:00:00: a sine-like swing in
// volts, a steady secondary in kHz, every reason code, a comment now and then, and
// now and then a reading the meter did not answer (samples 3, 53, 103, ...).
inline std::vector<TempSample> makeSamples(int count) {
    std::vector<TempSample> rows;
    const QDateTime base(QDate(2026, 1, 5), QTime(10, 0, 0));
    for (int i = 0; i < count; ++i) {
        const double volts = std::round(100.0 * (3.0 + 2.0 * std::sin(i / 15.0))) / 100.0;
        const QString comment = i % 40 == 7 ? QStringLiteral("check %1").arg(i) : QString(); // else null
        rows.push_back({i, dateTimeText(base.addSecs(i)), numberToText(volts) + " V", "0.5 kHz",
                        QString::number(i % 5), comment, qint64(i), qint64(i == 0 ? 0 : 1), i % 50 == 3});
    }
    return rows;
}

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

inline QByteArray fileBytes(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

inline bool writeFile(const QString& path, const QByteArray& bytes = {}) {
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
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
