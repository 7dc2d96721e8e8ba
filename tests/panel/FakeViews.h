#pragma once
// Stand-ins for the five windows the front panel feeds, in one object that holds
// their forms() slots for its lifetime. It keeps what it was told, and the calls
// that carry a reading also go to one list, so that a test can check the order in
// which a tick hands a reading on. The dial and the graph share one entry point
// for their value; each call notes "Value:" with the text.

#include "Forms.h"

#include <QStringList>
#include <map>

namespace paneltest {

class FakeViews final : public kvx::StatePanel,
                        public kvx::DigitalScreen,
                        public kvx::AnalogMeter,
                        public kvx::GraphRecord,
                        public kvx::DataTable {
public:
    FakeViews() { kvx::forms() = kvx::Forms{this, this, this, this, this, kvx::forms().panel}; }
    ~FakeViews() override {
        kvx::forms() = kvx::Forms{nullptr, nullptr, nullptr, nullptr, nullptr, kvx::forms().panel};
    }

    // frmState
    void setFunctionText(const QString&) override {}
    QString functionText() const override { return {}; }
    void setUnitText(const QString&) override {}
    void setRangeText(const QString& t) override { range = t; }
    QString rangeText() const override { return range; }
    QString mathText() const override { return math; }
    void setMathText(const QString& t) override { math = t; }
    QString limitMaxText() const override { return {}; }
    QString limitMinText() const override { return {}; }
    QString relText() const override { return {}; }
    void setRelText(const QString&) override {}
    QString connText() const override { return conn; }
    void setConnText(const QString& t) override { conn = t; }
    void setConnProblem(const QString& reason) override { connProblem = reason; }
    void setSampleIntervalText(const QString& t) override { interval = t; }
    QString sampleIntervalText() const override { return interval; }
    void setDbmActive(bool on) override { dbmActive = on; }
    void setRefOhmText(const QString& t) override { refOhm = t; }
    // frmDIGITALMETERMaster
    void setPrimaryValue(double v) override { keep(primary, v, "DigVM"); }
    double primaryValue() const override { return primary; }
    void setPrimaryFormat(const QString& f) override { primaryFormatText = f; }
    QString primaryFormat() const override { return primaryFormatText; }
    void setSecondaryValue(double v) override { keep(secondary, v, "DigSecondM"); }
    double secondaryValue() const override { return secondary; }
    void setSecondaryFormat(const QString& f) override { secondaryFormatText = f; }
    QString secondaryFormat() const override { return secondaryFormatText; }
    void layoutDisplays(int, int, int, int, double) override {}
    // frmANALOGMETER and frmGraphicRecord
    void setValueText(const QString& t) override { keep(value, t, "Value:" + t); }
    QString valueText() const override { return value; }
    void setLimHighText(const QString&) override {}
    void setLimLowText(const QString&) override {}
    void ChooseMeterScale(double) override {}
    void ResetMeter() override {}
    void unitChanged(const QString&) override {}
    void ReDraw() override { calls << "ReDraw"; }
    void Redraw1() override {}
    void ClearGraph() override {}
    void ShowGraph() override { calls << "ShowGraph"; }
    double GetRandomValue() override { return 0; }
    void ScaleYAxis(double) override {}
    void setLiveTrace(bool on) override { keep(live, on, QStringLiteral("live:%1").arg(on)); }
    QWidget* plotWidget() override { return nullptr; }
    // Both the graph's and the data table's: a reading the meter did not answer.
    void setNoReply(bool on) override { keep(noReply, on, on ? "noReply" : "replied"); }
    // frmDataTable
    void setValuePrimary(double v) override { keep(tablePrimary, v, "dValuePrimary"); }
    void setValueSecond(double v) override { keep(tableSecond, v, "dValueSecond"); }
    void AppendData() override { keep(appended, appended + 1, "AppendData"); }
    QString GetDate(int) const override { return {}; }
    QString GetValuePrimary(int) const override { return {}; }
    QString GetValueSecond(int) const override { return {}; }
    void RowSelected(int) override {}
    void ClearData() override {}
    void refreshRows() override {}
    int rowCount() const override { return appended; }
    QString field(kvx::RecordField which) const override {
        return fields.count(which) ? fields.at(which) : "";
    }
    void setField(kvx::RecordField which, const QString& text) override { fields[which] = text; }

    QString range, math, conn, connProblem, interval, refOhm, primaryFormatText, secondaryFormatText, value;
    double primary = 0, secondary = 0, tablePrimary = 0, tableSecond = 0;
    bool dbmActive = false, live = false, noReply = false;
    int appended = 0;
    std::map<kvx::RecordField, QString> fields;
    QStringList calls;

private:
    template <class T> void keep(T& field, const T& given, const QString& call) {
        field = given;
        calls << call;
    }
};

} // namespace paneltest
