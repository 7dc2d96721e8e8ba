#pragma once
// Stand-ins for the windows the front panel feeds. Each keeps what it was told,
// and all of them write one shared call list so that a test can check the order
// in which a tick hands a reading to the views.

#include "Forms.h"

#include <QStringList>
#include <functional>
#include <map>

namespace paneltest {

struct CallLog {
    QStringList calls;
};

class FakeState final : public kvx::StatePanel {
public:
    explicit FakeState(CallLog& log) : m_log(log) { kvx::forms().state = this; }
    ~FakeState() override {
        if (kvx::forms().state == this)
            kvx::forms().state = nullptr;
    }
    void setFunctionText(const QString& t) override { function = t; }
    QString functionText() const override { return function; }
    void setUnitText(const QString& t) override { unit = t; }
    void setRangeText(const QString& t) override { range = t; }
    QString rangeText() const override { return range; }
    QString mathText() const override { return math; }
    void setMathText(const QString& t) override { math = t; }
    QString limitMaxText() const override { return {}; }
    QString limitMinText() const override { return {}; }
    QString relText() const override { return {}; }
    void setRelText(const QString&) override {}
    QString connText() const override { return conn; }
    void setConnText(const QString& t) override {
        conn = t;
        m_log.calls << QStringLiteral("conn:") + t;
    }
    void setSampleIntervalText(const QString& t) override { interval = t; }
    QString sampleIntervalText() const override { return interval; }
    void setDbmActive(bool on) override { dbmActive = on; }
    void setRefOhmText(const QString& t) override { refOhm = t; }

    QString function, unit, range, math, conn, interval, refOhm;
    bool dbmActive = false;

private:
    CallLog& m_log;
};

class FakeDigital final : public kvx::DigitalScreen {
public:
    explicit FakeDigital(CallLog& log) : m_log(log) { kvx::forms().digital = this; }
    ~FakeDigital() override {
        if (kvx::forms().digital == this)
            kvx::forms().digital = nullptr;
    }
    void setPrimaryValue(double v) override {
        primary = v;
        m_log.calls << QStringLiteral("DigVM");
    }
    double primaryValue() const override { return primary; }
    void setPrimaryFormat(const QString& f) override { primaryFmt = f; }
    QString primaryFormat() const override { return primaryFmt; }
    void setSecondaryValue(double v) override {
        secondary = v;
        m_log.calls << QStringLiteral("DigSecondM");
    }
    double secondaryValue() const override { return secondary; }
    void setSecondaryFormat(const QString& f) override { secondaryFmt = f; }
    QString secondaryFormat() const override { return secondaryFmt; }
    void layoutDisplays(int, int, int, int, double) override {}

    double primary = 0, secondary = 0;
    QString primaryFmt, secondaryFmt;

private:
    CallLog& m_log;
};

class FakeAnalog final : public kvx::AnalogMeter {
public:
    explicit FakeAnalog(CallLog& log) : m_log(log) { kvx::forms().analog = this; }
    ~FakeAnalog() override {
        if (kvx::forms().analog == this)
            kvx::forms().analog = nullptr;
    }
    void setValueText(const QString& t) override {
        value = t;
        m_log.calls << QStringLiteral("analog:") + t;
    }
    QString valueText() const override { return value; }
    void setLimHighText(const QString&) override {}
    void setLimLowText(const QString&) override {}
    void setRelText(const QString&) override {}
    void ChooseMeterScale(double) override {}
    void ResetMeter() override { m_log.calls << QStringLiteral("ResetMeter"); }
    void unitChanged(const QString&) override {}

    QString value;

private:
    CallLog& m_log;
};

class FakeGraph final : public kvx::GraphRecord {
public:
    explicit FakeGraph(CallLog& log) : m_log(log) { kvx::forms().graph = this; }
    ~FakeGraph() override {
        if (kvx::forms().graph == this)
            kvx::forms().graph = nullptr;
    }
    void setValueText(const QString& t) override {
        value = t;
        m_log.calls << QStringLiteral("graph:") + t;
    }
    QString valueText() const override { return value; }
    void setLimHighText(const QString&) override {}
    void setLimLowText(const QString&) override {}
    void setRelText(const QString&) override {}
    void ReDraw() override { m_log.calls << QStringLiteral("ReDraw"); }
    void Redraw1() override {}
    void ClearGraph() override { m_log.calls << QStringLiteral("ClearGraph"); }
    void ShowGraph() override { m_log.calls << QStringLiteral("ShowGraph"); }
    double GetRandomValue() override { return 0; }
    void ScaleYAxis(double) override {}
    void setLiveTrace(bool on) override {
        live = on;
        m_log.calls << QStringLiteral("live:%1").arg(on);
    }
    QWidget* plotWidget() override { return nullptr; }

    QString value;
    bool live = false;

private:
    CallLog& m_log;
};

class FakeDataTable final : public kvx::DataTable {
public:
    explicit FakeDataTable(CallLog& log) : m_log(log) { kvx::forms().dataTable = this; }
    ~FakeDataTable() override {
        if (kvx::forms().dataTable == this)
            kvx::forms().dataTable = nullptr;
    }
    void setValuePrimary(double v) override {
        primary = v;
        m_log.calls << QStringLiteral("dValuePrimary");
    }
    void setValueSecond(double v) override {
        second = v;
        m_log.calls << QStringLiteral("dValueSecond");
    }
    void AppendData() override {
        ++appended;
        m_log.calls << QStringLiteral("AppendData");
        if (onAppend)
            onAppend();
    }
    QString GetDate(int) const override { return {}; }
    QString GetValuePrimary(int) const override { return {}; }
    QString GetValueSecond(int) const override { return {}; }
    void RowSelected(int) override {}
    void ClearData() override { m_log.calls << QStringLiteral("ClearData"); }
    void refreshRows() override {}
    int rowCount() const override { return appended; }
    QString field(kvx::RecordField which) const override {
        const auto it = fields.find(which);
        return it == fields.end() ? QString() : it->second;
    }
    void setField(kvx::RecordField which, const QString& text) override { fields[which] = text; }

    double primary = 0, second = 0;
    int appended = 0;
    std::map<kvx::RecordField, QString> fields;
    // Runs inside AppendData: lets a test make a tick take time.
    std::function<void()> onAppend;

private:
    CallLog& m_log;
};

// All five views, registered for the lifetime of the object.
struct FakeViews {
    CallLog log;
    FakeState state{log};
    FakeDigital digital{log};
    FakeAnalog analog{log};
    FakeGraph graph{log};
    FakeDataTable table{log};
};

} // namespace paneltest
