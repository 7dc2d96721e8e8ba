#include "ReadingWindows.h"

#include "Forms.h"
#include "ValueRules.h"
#include "WorkingTrace.h"

namespace kvx {

namespace {

void showInWindows(const TakenReading& reading) {
    // Each window is looked up at its turn: one may come or go while another is shown.
    if (DigitalScreen* screen = forms().digital) {
        screen->setPrimaryValue(reading.primary);
        if (reading.withSecondary)
            screen->setSecondaryValue(reading.secondary);
    }
    if (DataTable* table = forms().dataTable) {
        table->setValuePrimary(reading.primary);
        if (reading.withSecondary)
            table->setValueSecond(reading.secondary);
        table->setNoReply(reading.noReply);
        table->AppendData();
    }
    const QString text = numberToText(reading.primary);
    if (AnalogMeter* meter = forms().analog)
        meter->setValueText(text);
    if (GraphRecord* graph = forms().graph) {
        graph->setValueText(text);
        graph->setNoReply(reading.noReply);
        graph->ShowGraph();
    }
}

} // namespace

void showReadingsInWindows() {
    workingTrace().setWindowFeed(showInWindows);
}

TaskLane& traceRebuilds() {
    static TaskLane lane;
    return lane;
}

} // namespace kvx
