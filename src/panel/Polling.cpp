// The polling cycle: each Timer2 tick takes one reading (from the meter, or a
// simulated one), widens the primary display's format when needed, hands the
// reading to the working trace, which feeds the windows subscribed to it, and
// re-arms the timer so that readings stay on a whole-second grid.

#include "MeterThread.h"
#include "clsKVX5310.h"
#include "frmKVX5130.h"

#include "Services.h"
#include "Session.h"
#include "ValueRules.h"
#include "WorkingTrace.h"

#include <QCheckBox>
#include <QLabel>
#include <QPushButton>
#include <QTimer>

namespace kvx {

void frmKVX5130::onTimer2Tick() {
    // A tick whose reading is still on its way (a slow or silent meter), or one
    // arriving inside a message box's own event loop, must not start a second
    // reading in the middle of the first.
    if (m_tickRunning)
        return;
    m_tickRunning = true;
    const double tickStart = clock().secondsSinceMidnight();
    const int trace = m_traceNumber;

    updateClockDisplay();
    takeReading([this, tickStart, trace] { finishTick(tickStart, trace); });
}

void frmKVX5130::finishTick(double tickStart, int trace) {
    // A trace stopped while the reading was on its way stays stopped.
    if (trace == m_traceNumber) {
        const double now = clock().secondsSinceMidnight();
        const double elapsedMinutes = secondsOfDayBetween(m_traceStartTime, now) / 60.0;
        QString& totalTime = session().operation.totalTime;
        totalTime = trimBlanks(totalTime);
        if (panel::totalTimeElapsed(totalTime, elapsedMinutes))
            m_cmdStart->click();
    }
    const double took = secondsOfDayBetween(tickStart, clock().secondsSinceMidnight());
    m_timer2->setInterval(panel::rearmInterval(took, m_timer2->interval()));
    m_tickRunning = false;
}

void frmKVX5130::takeReading(std::function<void()> then) {
    if (m_check1->isChecked()) {
        SimulateMeterValue();
        then();
    } else {
        ReadMeterValue(std::move(then));
    }
}

void frmKVX5130::updateClockDisplay() {
    m_timeDisplay->setText(panel::clockDisplayText(clock().now()));
}

namespace {

// What one reading brings back from the meter thread.
struct MeterReading {
    QString primary;
    bool answered = false;
    QString problem; // why it was not answered
    QString secondary;
};

MeterReading readBothValues(clsKVX5310& meter) {
    MeterReading reading;
    reading.primary = meter.ValuePrimary();
    reading.answered = meter.lastQueryAnswered();
    reading.problem = meter.linkProblem();
    reading.secondary = meter.ValueSecond();
    return reading;
}

} // namespace

void frmKVX5130::ReadMeterValue(std::function<void()> then) {
    updateClockDisplay();
    Session& s = session();
    const double now = clock().secondsSinceMidnight();
    if (s.lastReadingTime == 0.0) {
        s.startTime = now;
        s.lastReadingTime = now;
    }
    s.timeSinceLastReading = secondsOfDayBetween(s.lastReadingTime, now);
    s.lastReadingTime = now;

    meterThread().call<MeterReading>(this, readBothValues, [this, then = std::move(then)](MeterReading reading) {
        showReading(reading.primary, reading.answered, reading.problem, reading.secondary);
        if (then)
            then();
    });
}

void frmKVX5130::showReading(const QString& reading, bool answered, const QString& problem,
                             const QString& secondText) {
    // A failed exchange gives empty (or stale) text, which reads as 0: the trace
    // goes on with zeros while the link is down. Such a reading, and a reply that
    // holds no number, is marked as having no reply, so it is never taken for a
    // measured 0.
    const bool noReply = readingMissing(answered, reading);
    const double primary = parseLeadingNumber(reading);
    showLinkState(answered, problem);
    noteReading(primary);
    feedViews(primary, parseLeadingNumber(secondText), noReply);
}

void frmKVX5130::SimulateMeterValue() {
    Session& s = session();
    const double now = clock().secondsSinceMidnight();
    if (s.lastReadingTime == 0.0)
        s.startTime = now;
    const double previous = s.lastReadingTime == 0.0 ? s.startTime : s.lastReadingTime;

    RandomSource& random = randomSource();
    const int sign = static_cast<int>(roundHalfEven(random.next() * 10)) % 10;
    const int magnitude = static_cast<int>(roundHalfEven(random.next() * 300)) % 300;
    const double value = sign > 5 ? -magnitude : magnitude;

    noteReading(value);
    s.lastReadingTime = now;
    s.timeSinceLastReading = secondsOfDayBetween(previous, now);
    // A simulated reading has no secondary value: that display keeps what it shows.
    TakenReading reading{clock().now(), value, 0.0, false};
    reading.withSecondary = false;
    workingTrace().noteReading(reading);
}

void frmKVX5130::noteReading(double primary) {
    // The format only widens during a run, so a smaller reading never narrows it.
    const double magnitude = std::abs(primary);
    if (magnitude > m_largestMagnitude) {
        m_largestMagnitude = magnitude;
        SetPrimaryFormat();
    }
}

void frmKVX5130::feedViews(double primary, double secondary, bool noReply) {
    WorkingTrace& trace = workingTrace();
    if (StatePanel* state = forms().state)
        trace.setLimits(state->limitMinText(), state->limitMaxText());
    // The windows take the reading from there, each in its turn.
    trace.noteReading({clock().now(), primary, secondary, noReply});
}

void frmKVX5130::SetPrimaryFormat() {
    if (DigitalScreen* screen = forms().digital)
        screen->setPrimaryFormat(panel::primaryFormatText(driver().sUnitPrimary(), m_largestMagnitude));
}

void frmKVX5130::resetLargestMagnitude() {
    m_largestMagnitude = 0.0;
}

} // namespace kvx
