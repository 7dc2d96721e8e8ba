// Trace start/stop, the triggered style, the operation file that carries the
// settings between runs, the link set-up it names, and quitting.

#include "BackgroundTask.h"
#include "LinkSchemes.h"
#include "MeterThread.h"
#include "clsKVX5310.h"
#include "frmKVX5130.h"

#include "OperationRecord.h"
#include "RecordStore.h"
#include "Services.h"
#include "Session.h"
#include "StatusReports.h"
#include "ValueRules.h"
#include "WorkingTrace.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QFileDialog>
#include <QLabel>
#include <QPushButton>
#include <QTimer>

namespace kvx {

namespace {

const QString kLive = QStringLiteral("LIVE");
const QString kDead = QStringLiteral("DEAD");

QString operationFilePath() {
    return session().pathInFolder(QLatin1String(kOperationFile));
}

// The sampling interval as the state panel shows it: "1" stands for an unset (0) interval.
QString sampleIntervalForDisplay() {
    const QString interval = trimBlanks(session().operation.samplingInterval);
    return parseLeadingNumber(interval) != 0.0 ? interval : QStringLiteral("1");
}

} // namespace

// --- Load steps and first activation ---

void frmKVX5130::load() {
    m_firstActivation = true;
    // From here on the command log is kept on disk, not in memory.
    if (!session().programFolder.isEmpty()) {
        const QString spool =
            session().pathInFolder(QLatin1String(kCommandLogFile) + QStringLiteral(".part"));
        meterThread().post([spool](clsKVX5310& meter) { meter.spoolCommandLog(spool); });
    }
    // The driver owns its two link objects; there is nothing to hand over.
    LoadOperation();
    RestoreSetting();
}

void frmKVX5130::firstActivation() {
    if (!m_firstActivation)
        return;
    // The frame may activate the panel before it has loaded the state panel; the
    // restore must wait until the windows it reports to are all there.
    if (!forms().state && !m_activationDeferred) {
        m_activationDeferred = true;
        QTimer::singleShot(0, this, &frmKVX5130::firstActivation);
        return;
    }
    m_firstActivation = false;
    showRestoredSettings();
    // Without a set-up link the saved function cannot be trusted to match the meter.
    meterThread().call<bool>(
        this, [](clsKVX5310& meter) { return meter.Ready(); },
        [this](bool ready) {
            const QString saved = trimBlanks(session().operation.sFunction);
            const QString keyName =
                (!saved.isEmpty() && ready) ? panel::restoreKeyFor(saved) : QStringLiteral("cmdDCV");
            key(keyName)->click();
        });
}

// --- Link settings ---

void frmKVX5130::RestoreSetting() {
    const OperationRecord& op = session().operation;
    const std::optional<ConnectionTarget> linkTarget = linkOverride();
    const QString interval = trimBlanks(op.samplingInterval);
    if (parseLeadingNumber(interval) != 0.0) {
        if (DataTable* table = forms().dataTable)
            table->setField(RecordField::TimerSample, interval);
    }
    struct LinkStatus {
        bool answered = false;
        QString problem;
        QString link; // the connection text of the link in use
    };
    meterThread().call<LinkStatus>(
        this,
        [op, linkTarget](clsKVX5310& meter) {
            // The framing goes in before the link opens, whichever link the next lines choose.
            meter.CWSerial1().setFraming(SerialFraming::fromSettings(op.serialSettings));
            if (linkTarget) {
                applyConnectionTarget(*linkTarget, meter.CWSerial1(), meter.CWGPIB1());
                meter.setConnectMethod(linkTarget->method);
            } else {
                applyLinkSettings(meter, op);
            }
            meter.StandardEventStatusReg();
            return LinkStatus{meter.SESR_PON() && meter.lastQueryAnswered(), meter.linkProblem(),
                              linkTarget ? connectionText(*linkTarget) : linkTextOf(meter)};
        },
        [this](LinkStatus status) {
            workingTrace().setLink(status.link);
            showLinkState(status.answered, status.problem);
            showRestoredSettings();
        });
}

void frmKVX5130::showRestoredSettings() {
    const QString interval = trimBlanks(session().operation.samplingInterval);
    if (parseLeadingNumber(interval) != 0.0) {
        if (StatePanel* state = forms().state)
            state->setSampleIntervalText(interval);
    }
    // Before the first status exchange is back there is nothing to show yet.
    if (m_linkAnswered)
        showLinkState(*m_linkAnswered, m_linkReason);
}

void frmKVX5130::applyLinkSettings(clsKVX5310& meter, const OperationRecord& op) {
    SerialControl& serial = meter.CWSerial1();
    GpibControl& gpib = meter.CWGPIB1();
    // A record that never held a port or a rate (a first run) keeps the link's own defaults.
    if (op.comPort > 0)
        serial.setPortNumber(op.comPort);
    if (op.baudRate > 0)
        serial.setBaudRate(op.baudRate);
    gpib.setPrimaryAddress(op.gpibAddress);
    serial.setDevicePath(trimBlanks(op.serialDevice));

    // The LAN socket is one of the message link's paths; the flags still choose the link.
    const bool overLan = trimBlanks(op.lanFlag) == QLatin1String("1");
    gpib.setBackend(overLan ? QStringLiteral("tcp:") + trimBlanks(op.lanAddress)
                            : trimBlanks(op.gpibBackend));

    QString method;
    const QString serialFlag = trimBlanks(op.serialFlag);
    if (!serialFlag.isEmpty())
        method = serialFlag == QLatin1String("1") ? QStringLiteral("RS232") : QStringLiteral("GPIB");
    const QString gpibFlag = trimBlanks(op.gpibFlag);
    if (!gpibFlag.isEmpty())
        method = gpibFlag == QLatin1String("1") ? QStringLiteral("GPIB") : QStringLiteral("RS232");
    meter.setConnectMethod(method);
}

QString frmKVX5130::linkTextOf(clsKVX5310& meter) {
    if (meter.ConnectMethod() == QLatin1String("RS232")) {
        SerialControl& serial = meter.CWSerial1();
        return QStringLiteral("serial:%1@%2").arg(serial.devicePath()).arg(serial.baudRate());
    }
    // The GPIB control's back-end text and address read as a connection text does,
    // so that a LAN socket shows as "tcp:host:port", not with the address appended.
    GpibControl& gpib = meter.CWGPIB1();
    ConnectionTarget target;
    QString unread;
    if (readGpibSettings(gpib.backend(), gpib.primaryAddress(), &target, &unread))
        return connectionText(target);
    return QStringLiteral("%1:%2").arg(gpib.backend()).arg(gpib.primaryAddress());
}

std::optional<ConnectionTarget> frmKVX5130::linkOverride() {
    const QString text = session().linkOverride.trimmed();
    if (text.isEmpty())
        return std::nullopt;
    ConnectionTarget target;
    QString error;
    if (!parseConnectionText(text, &target, &error)) {
        // The file's link stands in for the rest of the run, so the operator hears of
        // the bad text once, not at every restore of the settings.
        session().linkOverride.clear();
        messages().notice(QStringLiteral("The connection \"%1\" cannot be used: %2\n"
                                         "The link of the operation file is used instead.")
                              .arg(text, error),
                          QStringLiteral("Warning"));
        return std::nullopt;
    }
    return target;
}

void frmKVX5130::showLinkState(bool answered, const QString& reason) {
    // Told once per change, so a meter silent for a day does not fill the log.
    const bool wasAnswering = m_linkAnswered.value_or(true);
    const bool firstCheck = !m_linkAnswered.has_value();
    m_linkAnswered = answered;
    m_linkReason = reason;
    workingTrace().setLive(answered);
    // The driver's reason, or a plain one when the link opened but the meter stayed silent.
    const QString problem =
        answered ? QString()
                 : QStringLiteral("The meter does not answer: %1")
                       .arg(reason.isEmpty() ? QStringLiteral("no reply within the timeout") : reason);
    if (!answered && wasAnswering)
        statusReports().report(problem);
    else if (answered && !wasAnswering && !firstCheck)
        statusReports().report(QStringLiteral("The meter answers again"));
    StatePanel* state = forms().state;
    if (!state)
        return;
    const QString& mark = answered ? kLive : kDead;
    if (state->connText() != mark)
        state->setConnText(mark);
    state->setConnProblem(problem);
}

void frmKVX5130::checkLink(std::function<void(bool answered)> then) {
    // SESR_PON answers True without asking; whether the query got a reply is what
    // tells a switched-off meter apart.
    struct LinkStatus {
        bool answered = false;
        QString problem;
    };
    meterThread().call<LinkStatus>(
        this,
        [](clsKVX5310& meter) {
            meter.StandardEventStatusReg();
            return LinkStatus{meter.SESR_PON() && meter.lastQueryAnswered(), meter.linkProblem()};
        },
        [this, then = std::move(then)](LinkStatus status) {
            showLinkState(status.answered, status.problem);
            then(status.answered);
        });
}

// --- Trace keys ---

void frmKVX5130::onStart() {
    // A press while the meter's status is still awaited would race the first one.
    if (m_startPending)
        return;
    Session& s = session();
    s.tracing = !s.tracing;
    const bool continuous = continuousStyleSelected();
    // Stopping never depends on the meter: a trace whose meter went away must
    // still end, by the key or by its total time.
    if (continuous && !s.tracing) {
        stopTrace();
        return;
    }
    m_startPending = true;
    checkLink([this, continuous](bool answered) {
        m_startPending = false;
        if (!answered) {
            session().tracing = false;
            messages().notice(QStringLiteral("Communication Error!"), QStringLiteral("Warning"));
            return;
        }
        if (continuous)
            beginTrace();
        else
            takeOneReading();
    });
}

void frmKVX5130::takeOneReading() {
    updateClockDisplay();
    takeReading([this] {
        const double now = clock().secondsSinceMidnight();
        m_lblInterval->setText(
            panel::triggerIntervalCaption(secondsOfDayBetween(m_previousTriggerTime, now)));
        m_previousTriggerTime = now;
    });
}

void frmKVX5130::beginTrace() {
    m_traceStartTime = clock().secondsSinceMidnight();
    resetLargestMagnitude();
    SetPrimaryFormat();
    m_timer2->setInterval(1000);
    m_timer2->start();
    if (StatePanel* state = forms().state)
        state->setSampleIntervalText(sampleIntervalForDisplay());
    setStartKeyLook(QStringLiteral("Stop"), QColor(0, 255, 0), QStringLiteral("Stop To Show Trace"));
    if (DataTable* table = forms().dataTable) {
        // A restart after a stop keeps the first start of the trace.
        if (table->field(RecordField::StartTime).isEmpty())
            table->setField(RecordField::StartTime, dateTimeText(clock().now()));
    }
    if (GraphRecord* graph = forms().graph)
        graph->setLiveTrace(true);
    workingTrace().begin(clock().now());
    // Records saved from this trace name the meter that took it.
    meterThread().call<QString>(
        this, [](clsKVX5310& meter) { return meter.IDN(); },
        [](QString identity) { recordStore().setMeterIdentity(identity.trimmed()); });
}

void frmKVX5130::stopTrace() {
    m_timer2->stop();
    ++m_traceNumber;
    workingTrace().end();
    setStartKeyLook(QStringLiteral("Start"), QColor(255, 0, 0), QStringLiteral("Start To Show Trace"));
    if (DataTable* table = forms().dataTable)
        table->setField(RecordField::EndTime, dateTimeText(clock().now()));
    if (GraphRecord* graph = forms().graph) {
        graph->setLiveTrace(false);
        graph->ReDraw();
    }
}

void frmKVX5130::startTraceNow() {
    if (m_timer2->isActive() || m_startPending)
        return;
    // A triggered press before may have left the flag set; this press must start.
    session().tracing = false;
    setSampleStyle(0);
    m_cmdStart->click();
}

void frmKVX5130::setStartKeyLook(const QString& caption, const QColor& colour, const QString& toolTip) {
    m_cmdStart->setText(caption);
    m_cmdStart->setToolTip(toolTip);
    QPalette palette = m_cmdStart->palette();
    palette.setColor(QPalette::Button, colour);
    palette.setColor(QPalette::ButtonText, Qt::black);
    m_cmdStart->setPalette(palette);
    m_cmdStart->setStyleSheet(
        QStringLiteral("QPushButton#cmdStart { background-color: %1; color: black; "
                       "border: 1px solid #404040; border-radius: 2px; font-size: 11px; }")
            .arg(colour.name()));
}

void frmKVX5130::onSampleStyle() {
    m_lblInterval->setText(panel::initialIntervalCaption());
    m_previousTriggerTime = clock().secondsSinceMidnight();
}

// --- Operation file ---

void frmKVX5130::SaveOperation() {
    meterThread().call<QString>(
        this, [](clsKVX5310& meter) { return meter.Func(); },
        [this](QString function) {
            session().operation.sFunction = fixedText(function, 10);
            saveOperationTo(operationFilePath());
        });
}

void frmKVX5130::LoadOperation() {
    const QString path = operationFilePath();
    QString error;
    switch (OperationFile::load(path, session().operation, &error)) {
    case LoadResult::Loaded:
        RestoreSetting();
        return;
    case LoadResult::Missing:
        break;
    case LoadResult::Damaged:
        keepDamagedOperationFile(path, error);
        break;
    }
    // No usable file (a first run): a blank total time would end every trace at its
    // first reading, so the trace runs until it is stopped instead.
    OperationRecord& op = session().operation;
    if (trimBlanks(op.totalTime).isEmpty())
        op.totalTime = QStringLiteral("Continuous");
}

void frmKVX5130::keepDamagedOperationFile(const QString& path, const QString& problem) {
    // The settings are written at quit; a damaged file moved aside first keeps its bytes.
    QString why;
    const QString kept = OperationFile::keepAside(path, clock().now(), &why);
    const QString outcome =
        kept.isEmpty() ? QStringLiteral(" It stays where it is, as %1, and is overwritten at quit.").arg(why)
                       : QStringLiteral(" It is kept as %1.").arg(kept);
    messages().notice(problem + outcome + QStringLiteral(" The program starts with the default settings."),
                      QStringLiteral("Warning"));
}

bool frmKVX5130::saveOperationTo(const QString& path) {
    QString error;
    if (OperationFile::save(path, session().operation, &error))
        return true;
    messages().notice(error, QStringLiteral("Warning"));
    return false;
}

bool frmKVX5130::loadOperationFromPath(const QString& path) {
    QString error;
    if (OperationFile::load(path, session().operation, &error) == LoadResult::Loaded) {
        RestoreSetting();
        return true;
    }
    if (!error.isEmpty())
        messages().notice(error + QStringLiteral(" The settings in use stay as they are."),
                          QStringLiteral("Warning"));
    return false;
}

namespace {
const QString kOperationFilter = QStringLiteral("KVX-5130 (*.Log)");
}

void frmKVX5130::saveOperationAs() {
    const QString start = session().pathInFolder(QLatin1String(kOperationFile));
    const QString path = QFileDialog::getSaveFileName(this, QStringLiteral("Save"), start, kOperationFilter);
    if (!path.isEmpty())
        saveOperationTo(path);
}

void frmKVX5130::loadOperationFrom() {
    const QString path =
        QFileDialog::getOpenFileName(this, QStringLiteral("Load"), session().programFolder, kOperationFilter);
    if (!path.isEmpty())
        loadOperationFromPath(path);
}

// --- Quit ---

void frmKVX5130::quit() {
    onQuit();
}

void frmKVX5130::onQuit() {
    m_timer2->stop();
    // An export under way is finished first: its file is whole or not there.
    waitForBackgroundTasks();
    SaveOperation();
    if (session().logCommands) {
        // Written on the meter thread, after every exchange queued before it.
        const QString path = session().pathInFolder(QLatin1String(kCommandLogFile));
        meterThread().call<QString>(
            this,
            [path](clsKVX5310& meter) {
                QString error;
                meter.writeCommandLog(path, &error);
                return error;
            },
            [](QString error) {
                if (!error.isEmpty())
                    messages().notice(error, QStringLiteral("Warning"));
            });
    }
    // Nothing queued is dropped: the last readings, the function query and the log all finish first.
    meterThread().settle();
    if (meterThread().running())
        meterThread().stop();
    else
        releaseDriver();
    m_exitAction();
}

} // namespace kvx
