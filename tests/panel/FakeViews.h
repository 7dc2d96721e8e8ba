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

// Takes the window's slot in forms() for its lifetime.
template <class View, View* kvx::Forms::*Slot> class Registered : public View {
public:
    explicit Registered(CallLog& log) : m_log(log) { kvx::forms().*Slot = this; }
    ~Registered() override {
        if (kvx::forms().*Slot == this)
            kvx::forms().*Slot = nullptr;
    }

protected:
    void note(const QString& call) { m_log.calls << call; }

private:
    CallLog& m_log;
};

class FakeState final : public Registered<kvx::StatePanel, &kvx::Forms::state> {
public:
    using Registered::Registered;
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
        note(QStringLiteral("conn:") + t);
    }
    void setSampleIntervalText(const QString& t) override { interval = t; }
    QString sampleIntervalText() const override { return interval; }
    void setDbmActive(bool on) override { dbmActive = on; }
    void setRefOhmText(const QString& t) override { refOhm = t; }

    QString function, unit, range, math, conn, interval, refOhm;
    bool dbmActive = false;
};

class FakeDigital final : public Registered<kvx::DigitalScreen, &kvx::Forms::digital> {
public:
    using Registered::Registered;
    void setPrimaryValue(double v) override {
        primary = v;
        note(QStringLiteral("DigVM"));
    }
    double primaryValue() const override { return primary; }
    void setPrimaryFormat(const QString& f) override { primaryFmt = f; }
    QString primaryFormat() const override { return primaryFmt; }
    void setSecondaryValue(double v) override {
        secondary = v;
        note(QStringLiteral("DigSecondM"));
    }
    double secondaryValue() const override { return secondary; }
    void setSecondaryFormat(const QString& f) override { secondaryFmt = f; }
    QString secondaryFormat() const override { return secondaryFmt; }
    void layoutDisplays(int, int, int, int, double) override {}

    double primary = 0, secondary = 0;
    QString primaryFmt, secondaryFmt;
};

class FakeAnalog final : public Registered<kvx::AnalogMeter, &kvx::Forms::analog> {
public:
    using Registered::Registered;
    void setValueText(const QString& t) override {
        value = t;
        note(QStringLiteral("analog:") + t);
    }
    QString valueText() const override { return value; }
    void setLimHighText(const QString&) override {}
    void setLimLowText(const QString&) override {}
    void setRelText(const QString&) override {}
    void ChooseMeterScale(double) override {}
    void ResetMeter() override { note(QStringLiteral("ResetMeter")); }
    void unitChanged(const QString&) override {}

    QString value;
};

class FakeGraph final : public Registered<kvx::GraphRecord, &kvx::Forms::graph> {
public:
    using Registered::Registered;
    void setValueText(const QString& t) override {
        value = t;
        note(QStringLiteral("graph:") + t);
    }
    QString valueText() const override { return value; }
    void setLimHighText(const QString&) override {}
    void setLimLowText(const QString&) override {}
    void setRelText(const QString&) override {}
    void ReDraw() override { note(QStringLiteral("ReDraw")); }
    void Redraw1() override {}
    void ClearGraph() override { note(QStringLiteral("ClearGraph")); }
    void ShowGraph() override { note(QStringLiteral("ShowGraph")); }
    double GetRandomValue() override { return 0; }
    void ScaleYAxis(double) override {}
    void setLiveTrace(bool on) override {
        live = on;
        note(QStringLiteral("live:%1").arg(on));
    }
    QWidget* plotWidget() override { return nullptr; }

    QString value;
    bool live = false;
};

class FakeDataTable final : public Registered<kvx::DataTable, &kvx::Forms::dataTable> {
public:
    using Registered::Registered;
    void setValuePrimary(double v) override {
        primary = v;
        note(QStringLiteral("dValuePrimary"));
    }
    void setValueSecond(double v) override {
        second = v;
        note(QStringLiteral("dValueSecond"));
    }
    void AppendData() override {
        ++appended;
        note(QStringLiteral("AppendData"));
        if (onAppend)
            onAppend();
    }
    QString GetDate(int) const override { return {}; }
    QString GetValuePrimary(int) const override { return {}; }
    QString GetValueSecond(int) const override { return {}; }
    void RowSelected(int) override {}
    void ClearData() override { note(QStringLiteral("ClearData")); }
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
