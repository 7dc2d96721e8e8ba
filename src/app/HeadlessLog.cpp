#include "HeadlessLog.h"

#include "ControlSocket.h"
#include "FolderLock.h"
#include "FunctionCalls.h"
#include "Link.h"
#include "LinkControls.h"
#include "MonitorServer.h"
#include "QuitSignals.h"
#include "RecordStore.h"
#include "SampleExport.h"
#include "SampleTimeline.h"
#include "Services.h"
#include "Session.h"
#include "StatusReports.h"
#include "ValueRules.h"
#include "WorkingTrace.h"
#include "clsKVX5310.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QTimer>

#include <cmath>
#include <cstdio>
#include <memory>
#include <unistd.h>
#include <vector>

namespace kvx {

namespace {

void printError(const QString& text) {
    std::fprintf(stderr, "kvx5130: %s\n", qPrintable(text));
}

struct LoggedMeter {
    QString link;
    QString function; // as the meter named it at the start
    std::unique_ptr<clsKVX5310> meter = std::make_unique<clsKVX5310>();
};

// One meter's readings of a tick: a reading without a reply is the 0 a failed
// read leaves, marked so.
using TickReadings = std::vector<TakenReading>;

// --function and --range, sent as the function's key sends them: the two
// "+ frequency" functions add the frequency to their AC function.
void selectFunction(clsKVX5310& meter, const LogOptions& options) {
    if (!options.function)
        return;
    const DriverCall call = options.function->call;
    if (call == DriverCall::VoltageFrequency)
        callFunction(meter, DriverCall::VoltageAC, options.range);
    else if (call == DriverCall::CurrentFrequency)
        callFunction(meter, DriverCall::CurrentAC, options.range);
    callFunction(meter, call, options.range);
}

// Connects the meter through its text; the reason when it cannot be reached.
QString connect(LoggedMeter& logged, const LogOptions& options) {
    ConnectionTarget target;
    QString error;
    if (!parseConnectionText(logged.link, &target, &error))
        return error;
    clsKVX5310& meter = *logged.meter;
    // The rows are the logger's record of the exchanges; days of command log lines
    // that nobody reads would only cost time and disk.
    meter.keepNoCommandLog();
    applyConnectionTarget(target, meter.CWSerial1(), meter.CWGPIB1());
    meter.setConnectMethod(target.method);
    if (!meter.Ready() || !meter.lastQueryAnswered()) {
        const QString problem = meter.linkProblem();
        return problem.isEmpty() ? QStringLiteral("the meter does not answer") : problem;
    }
    selectFunction(meter, options);
    logged.function = meter.Func(); // and the units of the function
    return {};
}

class RowWriter {
public:
    RowWriter(ExportFormat format, const std::vector<LoggedMeter>& meters)
        : m_format(format), m_meters(meters) {}

    void appendHeading(QByteArray* out) const {
        if (m_format != ExportFormat::Csv)
            return;
        out->append("Time,Tick");
        for (size_t n = 1; n <= m_meters.size(); ++n) {
            for (const char* field : {"Primary", "PrimaryUnit", "Secondary", "SecondaryUnit", "NoReply"})
                out->append(",M").append(QByteArray::number(qulonglong(n))).append(field);
        }
        out->append("\r\n");
    }

    // Reads every meter, primary then secondary, as the front panel does.
    TickReadings read() const {
        TickReadings readings;
        readings.reserve(m_meters.size());
        const QDateTime now = clock().now();
        for (const LoggedMeter& logged : m_meters) {
            clsKVX5310& meter = *logged.meter;
            const QString primary = meter.ValuePrimary();
            const bool answered = meter.lastQueryAnswered();
            const QString secondary = meter.ValueSecond();
            // As the front panel stores it: the leading number, 0 and marked when not answered.
            readings.push_back({now, parseLeadingNumber(primary), parseLeadingNumber(secondary),
                                readingMissing(answered, primary)});
        }
        return readings;
    }

    // Appends the tick's row.
    void appendTick(qint64 tick, const TickReadings& readings, QByteArray* out) const {
        const bool json = m_format == ExportFormat::Ndjson;
        const QByteArray now = dateTimeText(readings.front().at).toLatin1();
        out->append(json ? "{\"time\":\"" : "");
        appendIsoDateTime(now, out);
        out->append(json ? "\",\"tick\":" : ",");
        out->append(QByteArray::number(tick));
        if (json)
            out->append(",\"meters\":[");
        for (size_t n = 0; n < m_meters.size(); ++n) {
            clsKVX5310& meter = *m_meters[n].meter;
            const TakenReading& reading = readings[n];
            const bool noReply = reading.noReply;
            if (json) {
                out->append(n == 0 ? "{\"link\":" : ",{\"link\":");
                appendTextField(m_format, m_meters[n].link.toUtf8(), out);
            }
            appendValue(json ? ",\"primary\":" : ",", reading.primary, json ? ",\"primaryUnit\":" : ",",
                        meter.sUnitPrimary(), out);
            appendValue(json ? ",\"secondary\":" : ",", reading.secondary, json ? ",\"secondaryUnit\":" : ",",
                        meter.sUnitSecond(), out);
            if (json)
                out->append(noReply ? ",\"noReply\":true}" : ",\"noReply\":false}");
            else
                out->append(noReply ? ",1" : ",0");
        }
        out->append(json ? "]}\n" : "\r\n");
    }

private:
    void appendValue(const char* valueKey, double reading, const char* unitKey, const QString& unit,
                     QByteArray* out) const {
        out->append(valueKey);
        appendNumberField(numberToText(reading).toLatin1(), out);
        out->append(unitKey);
        appendTextField(m_format, unit.toUtf8(), out);
    }

    ExportFormat m_format;
    const std::vector<LoggedMeter>& m_meters;
};

// Each row goes out as it is taken, except at intervals shorter than this, where the
// rows are written together at most this late: a write a row would cost more than
// the exchanges themselves.
constexpr qint64 kRowsHeldAtMostMs = 200;

// --- The working trace: what a status and a monitor page read ---
// They show the first --link's meter, the one a --record holds.

void beginWorkingTrace(const std::vector<LoggedMeter>& meters) {
    WorkingTrace& trace = workingTrace();
    const LoggedMeter& first = meters.front();
    trace.setLink(first.link);
    trace.setFunction(first.function, first.meter->sUnitPrimary(), first.meter->sUnitSecond());
    trace.setLive(true);
    trace.begin(clock().now());
}

void noteTickInWorkingTrace(const TickReadings& readings) {
    WorkingTrace& trace = workingTrace();
    trace.setLive(!readings.front().noReply);
    trace.noteReading(readings.front());
}

// --- --record: the first meter's readings as a trace of the window program ---
// Every reading is a sample stored with reason code 0 (time), as a window trace
// with one reading per timed sample and no limits stores it, with the same time
// columns; at the end the working trace is saved as a new record, as Save Rec
// saves it, and emptied once it is.
class LogRecorder {
public:
    // Opens the folder's record database; false with the reason.
    bool open(QString* error) {
        const QString path = session().pathInFolder(QLatin1String(kDatabaseFile));
        if (!recordStore().open(path)) {
            *error = recordStore().openMessage();
            return false;
        }
        const std::optional<qint64> held = recordStore().countSamples();
        if (!held) {
            *error = recordStore().lastError().description;
            return false;
        }
        // Nobody is there to answer "Abandon record?": the answer that keeps the data is No.
        if (*held > 0) {
            *error = QStringLiteral("the working trace of %1 holds %2 samples that --record would replace; "
                                    "save or clear it in the window program first")
                         .arg(QDir::toNativeSeparators(session().programFolder))
                         .arg(*held);
            return false;
        }
        workingTrace().restart(0);
        return true;
    }

    void begin(const LoggedMeter& meter) {
        m_startTime = dateTimeText(clock().now());
        m_primaryUnit = meter.meter->sUnitPrimary();
        m_secondaryUnit = meter.meter->sUnitSecond();
    }

    void take(const TakenReading& reading) {
        const SampleTimeline::Times t =
            m_timeline.next(reading.at.time().msecsSinceStartOfDay() / 1000.0, reading.at);
        const NewSample sample{m_seqNo,
                               t.recTime,
                               storedReadingText(reading.primary, m_primaryUnit),
                               storedReadingText(reading.secondary, m_secondaryUnit),
                               reasonCode(ReasonText::Time),
                               t.timeTick,
                               t.diffLastTime,
                               reading.noReply};
        if (!workingTrace().store(sample)) {
            if (!std::exchange(m_failureReported, true))
                statusReports().report(QStringLiteral("A sample could not be stored in the record database: "
                                                      "the writer's queue is full. The log goes on."));
            return;
        }
        m_failureReported = false;
        m_timeline.take(t);
        ++m_seqNo;
    }

    // Saves the working trace as a new record; its number, or nothing with the reason.
    std::optional<QString> save(const QString& description, QString* error) {
        if (m_seqNo == 0) {
            *error = QStringLiteral("no sample was taken");
            return std::nullopt;
        }
        RecordStore& store = recordStore();
        const std::optional<QString> recNo = store.nextRecordNumber();
        const RecordHeader header{recNo.value_or(QString()),
                                  m_startTime,
                                  dateTimeText(clock().now()),
                                  description,
                                  m_primaryUnit,
                                  m_secondaryUnit,
                                  QStringLiteral("0")};
        if (!recNo || !store.insertHeader(header) || !store.copyTraceToRecord(*recNo)) {
            *error = QStringLiteral("System Error caused by %1:%2")
                         .arg(store.lastError().number, store.lastError().description);
            return std::nullopt;
        }
        // Saved: the folder's working trace is left empty for the next log.
        if (store.clearTrace())
            workingTrace().restart(0);
        return recNo;
    }

private:
    SampleTimeline m_timeline;
    qint64 m_seqNo = 0;
    QString m_startTime;
    QString m_primaryUnit;
    QString m_secondaryUnit;
    bool m_failureReported = false;
};

// --- --folder: the logger holds the folder and answers on its socket ---
void serveLogCommands(ControlServer& server) {
    server.setHandler([](const QString& command, const QString&, const ControlServer::Reply& reply) {
        if (command == QLatin1String("status")) {
            reply(true, statusAnswer());
        } else if (command == QLatin1String("stop")) {
            reply(true, QStringLiteral("stopped"));
            QCoreApplication::quit();
        } else {
            reply(false, QStringLiteral("a logger takes status and stop"));
        }
    });
}

// One line on a terminal's stderr that tells how far a log is: rows so far, time
// elapsed and, with --count, how many are to come. Rewritten in place at most five
// times a second; nothing when stderr is not a terminal, or when the rows go to the
// same terminal, where the two would mix.
class ProgressLine {
public:
    explicit ProgressLine(const LogOptions& options)
        : m_count(options.count),
          m_shown(isatty(fileno(stderr)) &&
                  !(ExportOutput::isStream(options.output) && isatty(fileno(stdout)))) {
        m_sinceShown.start();
    }
    ~ProgressLine() {
        if (m_drawn)
            std::fputc('\n', stderr);
    }
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    // `last`: the log ends here, and its final count is shown whatever the time.
    void rowsWritten(qint64 rows, qint64 elapsedMs, bool last) {
        if (!m_shown || (m_drawn && !last && m_sinceShown.elapsed() < 200))
            return;
        m_sinceShown.restart();
        m_drawn = true;
        const QString of = m_count > 0 ? QStringLiteral(" of %1").arg(m_count) : QString();
        std::fprintf(stderr, "\rkvx5130 log: %lld rows%s, %s elapsed ", static_cast<long long>(rows),
                     qPrintable(of), qPrintable(elapsedText(elapsedMs / 1000)));
        std::fflush(stderr);
    }

private:
    static QString elapsedText(qint64 seconds) {
        return QStringLiteral("%1:%2:%3")
            .arg(seconds / 3600)
            .arg(seconds / 60 % 60, 2, 10, QLatin1Char('0'))
            .arg(seconds % 60, 2, 10, QLatin1Char('0'));
    }

    qint64 m_count;
    bool m_shown;
    bool m_drawn = false;
    QElapsedTimer m_sinceShown;
};

} // namespace

int runHeadlessLog(const LogOptions& options) {
    // Nobody is there to answer a box.
    setMessages(std::make_shared<UnattendedMessageService>());
    // With TZ unset the C library looks at /etc/localtime again at every local time
    // it works out, a dozen file lookups a tick here (the rows' and the command
    // log's times); named, the zone is read once. A logger started before a change
    // of the system's zone keeps the old one, as its rows must anyway.
    if (!qEnvironmentVariableIsSet("TZ"))
        qputenv("TZ", ":/etc/localtime");

    // With a folder the logger holds it, as the window program does, and answers --send.
    static FolderLock folderLock;
    const bool holdsFolder = !options.folder.isEmpty() || options.record;
    if (holdsFolder) {
        session().programFolder = resolveProgramFolder(options.folder);
        QString refusal;
        if (!folderLock.acquire(session().programFolder, &refusal)) {
            printError(refusal);
            return 1;
        }
        if (!folderLock.controlProblem().isEmpty())
            statusReports().report(folderLock.controlProblem());
        serveLogCommands(folderLock.control());
    }
    LogRecorder recorder;
    QString problem;
    if (options.record && !recorder.open(&problem)) {
        printError(QStringLiteral("--record: ") + problem);
        return 1;
    }

    std::vector<LoggedMeter> meters(size_t(options.links.size()));
    for (qsizetype n = 0; n < options.links.size(); ++n) {
        meters[size_t(n)].link = options.links[n];
        problem = connect(meters[size_t(n)], options);
        if (!problem.isEmpty()) {
            printError(QStringLiteral("--link %1 cannot be opened: %2").arg(options.links[n], problem));
            return 1;
        }
    }

    ExportOutput output(options.output, true);
    if (!output.open()) {
        printError(QStringLiteral("\"%1\" cannot be written: %2").arg(options.output, output.errorString()));
        return 1;
    }
    QString monitorError;
    const std::unique_ptr<MonitorServer> monitor = startMonitor(options.http, QString(), {}, &monitorError);
    if (!monitorError.isEmpty()) {
        printError(monitorError);
        return 1;
    }
    const RowWriter rows(options.format, meters);
    QByteArray buffer;
    rows.appendHeading(&buffer);
    beginWorkingTrace(meters);
    if (options.record)
        recorder.begin(meters.front());

    bool written = true;
    qint64 tick = 0;
    // Time is the program's clock, which a soak test may run faster than the wall
    // clock. Tick n is due at n intervals from the start, so that waits rounded to
    // the millisecond do not add up.
    const QDateTime started = clock().now();
    QTimer timer;
    timer.setTimerType(Qt::PreciseTimer);
    timer.setSingleShot(true);
    ProgressLine progress(options);
    QElapsedTimer sinceWritten;
    sinceWritten.start();
    const auto onTick = [&] {
        const TickReadings readings = rows.read();
        rows.appendTick(tick++, readings, &buffer);
        noteTickInWorkingTrace(readings);
        if (options.record)
            recorder.take(readings.front());
        const qint64 elapsedMs = started.msecsTo(clock().now());
        const qint64 dueMs = tick * options.intervalMs;
        const bool done = (options.count > 0 && tick >= options.count) ||
                          (options.durationMs > 0 && qMax(dueMs, elapsedMs) >= options.durationMs);
        if (done || options.intervalMs >= kRowsHeldAtMostMs || sinceWritten.hasExpired(kRowsHeldAtMostMs)) {
            written = written && output.write(buffer) && output.flush();
            buffer.resize(0);
            sinceWritten.restart();
        }
        progress.rowsWritten(tick, elapsedMs, done || !written);
        if (!written || done) {
            QCoreApplication::quit();
            return;
        }
        timer.start(int(qMax(0.0, std::ceil(double(dueMs - elapsedMs) / clock().rate()))));
    };
    QObject::connect(&timer, &QTimer::timeout, onTick);
    const QuitSignals quitSignals([] { QCoreApplication::quit(); });
    QTimer::singleShot(0, &timer, onTick);
    QCoreApplication::exec();
    timer.stop();
    workingTrace().end();

    if (!written || !output.write(buffer) || !output.commit()) {
        printError(QStringLiteral("\"%1\" cannot be written: %2").arg(options.output, output.errorString()));
        return 1;
    }
    if (options.record) {
        const std::optional<QString> recNo = recorder.save(options.recordDescription, &problem);
        if (!recNo) {
            printError(QStringLiteral("--record: the trace was not saved as a record: ") + problem);
            return 1;
        }
        std::fprintf(stderr, "kvx5130: saved as record %s\n", qPrintable(*recNo));
    }
    return 0;
}

} // namespace kvx
