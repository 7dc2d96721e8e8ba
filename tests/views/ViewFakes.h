#pragma once
// Stand-ins for the windows the views talk to through forms(): they hold the
// texts a test gives them and note the calls they get.

#include "Forms.h"

#include <QStringList>
#include <vector>

namespace kvx::test {

class FakeStatePanel final : public StatePanel {
public:
    FakeStatePanel() { forms().state = this; }
    ~FakeStatePanel() override { forms().state = nullptr; }
    void setFunctionText(const QString& text) override { function = text; }
    QString functionText() const override { return function; }
    void setUnitText(const QString&) override {}
    void setRangeText(const QString& text) override { range = text; }
    QString rangeText() const override { return range; }
    QString mathText() const override { return QString(); }
    void setMathText(const QString&) override {}
    QString limitMaxText() const override { return limitMax; }
    QString limitMinText() const override { return limitMin; }
    QString relText() const override { return rel; }
    void setRelText(const QString& text) override { rel = text; }
    QString connText() const override { return QStringLiteral("LIVE"); }
    void setConnText(const QString&) override {}
    void setSampleIntervalText(const QString&) override {}
    QString sampleIntervalText() const override { return QString(); }
    void setDbmActive(bool) override {}
    void setRefOhmText(const QString&) override {}

    QString function, range, limitMax, limitMin, rel;
};

// The data table's rows as (time text, primary reading text) pairs.
class FakeDataTable final : public DataTable {
public:
    FakeDataTable() { forms().dataTable = this; }
    ~FakeDataTable() override { forms().dataTable = nullptr; }
    void setValuePrimary(double) override {}
    void setValueSecond(double) override {}
    void AppendData() override {}
    QString GetDate(int row) const override { return valid(row) ? rows[size_t(row)].first : QString(); }
    QString GetValuePrimary(int row) const override {
        return valid(row) ? rows[size_t(row)].second : QString();
    }
    QString GetValueSecond(int) const override { return QString(); }
    void RowSelected(int row) override { selected.push_back(row); }
    void ClearData() override { rows.clear(); }
    void refreshRows() override {}
    int rowCount() const override { return int(rows.size()); }
    QString field(RecordField) const override { return QString(); }
    void setField(RecordField, const QString&) override {}

    bool valid(int row) const { return row >= 0 && row < int(rows.size()); }
    std::vector<std::pair<QString, QString>> rows;
    std::vector<int> selected;
};

class FakeMeterPanel final : public MeterPanel {
public:
    FakeMeterPanel() { forms().panel = this; }
    ~FakeMeterPanel() override { forms().panel = nullptr; }
    bool continuousStyleSelected() const override { return continuous; }
    void setSampleStyle(int index) override { continuous = index == 0; }
    void setCursorText(const QString& text) override { cursorTexts << text; }

    bool continuous = true;
    QStringList cursorTexts;
};

} // namespace kvx::test
