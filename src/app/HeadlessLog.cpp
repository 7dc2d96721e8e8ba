#include "HeadlessLog.h"

#include "Link.h"
#include "LinkControls.h"
#include "MonitorServer.h"
#include "QuitSignals.h"
#include "SampleExport.h"
#include "Services.h"
#include "StatusReports.h"
#include "ValueRules.h"
#include "WorkingTrace.h"
#include "clsKVX5310.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTimer>

#include <cstdio>
#include <memory>
#include <vector>

namespace kvx {

namespace {

void printError(const QString& text) {
    std::fprintf(stderr, "kvx5130: %s\n", qPrintable(text));
}

struct LoggedMeter {
    QString link;
    QString function; // as the meter named it when the link was opened
    std::unique_ptr<clsKVX5310> meter = std::make_unique<clsKVX5310>();
};

// Connects the meter through its text; the reason when it cannot be reached.
QString connect(LoggedMeter& logged, const QString& spoolPath) {
    ConnectionTarget target;
    QString error;
    if (!parseConnectionText(logged.link, &target, &error))
        return error;
    clsKVX5310& meter = *logged.meter;
    meter.spoolCommandLog(spoolPath);
    applyConnectionTarget(target, meter.CWSerial1(), meter.CWGPIB1());
    meter.setConnectMethod(target.method);
    if (!meter.Ready() || !meter.lastQueryAnswered()) {
        const QString problem = meter.linkProblem();
        return problem.isEmpty() ? QStringLiteral("the meter does not answer") : problem;
    }
    logged.function = meter.Func(); // and the units of the present function
    return {};
}

// The first meter's run as the monitor page shows it: the same readings the row
// gets, told to the process's working trace.
void feedWorkingTrace(const LoggedMeter& logged, qint64 tick, const QString& primary, const QString& secondary,
                      bool noReply) {
    WorkingTrace& trace = workingTrace();
    const QDateTime now = clock().now();
    if (tick == 0) {
        trace.setLink(logged.link);
        trace.setFunction(logged.function, logged.meter->sUnitPrimary(), logged.meter->sUnitSecond());
        trace.begin(now);
    }
    trace.setLive(!noReply);
    trace.noteReading({now, parseLeadingNumber(primary), parseLeadingNumber(secondary), noReply});
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

    // Reads every meter and appends the tick's row.
    void appendTick(qint64 tick, QByteArray* out) const {
        const bool json = m_format == ExportFormat::Ndjson;
        const QByteArray now = dateTimeText(clock().now()).toLatin1();
        out->append(json ? "{\"time\":\"" : "");
        appendIsoDateTime(now, out);
        out->append(json ? "\",\"tick\":" : ",");
        out->append(QByteArray::number(tick));
        if (json)
            out->append(",\"meters\":[");
        for (size_t n = 0; n < m_meters.size(); ++n) {
            clsKVX5310& meter = *m_meters[n].meter;
            const QString primary = meter.ValuePrimary();
            const bool answered = meter.lastQueryAnswered();
            const QString secondary = meter.ValueSecond();
            // As the front panel stores it: the leading number, 0 and marked when not answered.
            const bool noReply = readingMissing(answered, primary);
            if (n == 0)
                feedWorkingTrace(m_meters[0], tick, primary, secondary, noReply);
            if (json) {
                out->append(n == 0 ? "{\"link\":" : ",{\"link\":");
                appendTextField(m_format, m_meters[n].link.toUtf8(), out);
            }
            appendValue(json ? ",\"primary\":" : ",", primary, json ? ",\"primaryUnit\":" : ",",
                        meter.sUnitPrimary(), out);
            appendValue(json ? ",\"secondary\":" : ",", secondary, json ? ",\"secondaryUnit\":" : ",",
                        meter.sUnitSecond(), out);
            if (json)
                out->append(noReply ? ",\"noReply\":true}" : ",\"noReply\":false}");
            else
                out->append(noReply ? ",1" : ",0");
        }
        out->append(json ? "]}\n" : "\r\n");
    }

private:
    void appendValue(const char* valueKey, const QString& reading, const char* unitKey, const QString& unit,
                     QByteArray* out) const {
        out->append(valueKey);
        appendNumberField(numberToText(parseLeadingNumber(reading)).toLatin1(), out);
        out->append(unitKey);
        appendTextField(m_format, unit.toUtf8(), out);
    }

    ExportFormat m_format;
    const std::vector<LoggedMeter>& m_meters;
};

} // namespace

int runHeadlessLog(const LogOptions& options) {
    // Nobody is there to answer a box.
    setMessages(std::make_shared<UnattendedMessageService>(false));

    // The command logs go to spool files that go away at the end, so that days of
    // logging take no memory.
    QTemporaryDir spool;
    std::vector<LoggedMeter> meters(size_t(options.links.size()));
    for (qsizetype n = 0; n < options.links.size(); ++n) {
        meters[size_t(n)].link = options.links[n];
        const QString problem =
            connect(meters[size_t(n)], spool.filePath(QStringLiteral("meter%1.log").arg(n + 1)));
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

    bool written = true;
    qint64 tick = 0;
    QElapsedTimer elapsed;
    elapsed.start();
    QTimer timer;
    timer.setTimerType(Qt::PreciseTimer);
    timer.setInterval(options.intervalMs);
    const auto onTick = [&] {
        rows.appendTick(tick++, &buffer);
        written = written && output.write(buffer) && output.flush();
        buffer.resize(0);
        const bool done =
            (options.count > 0 && tick >= options.count) ||
            (options.durationMs > 0 && elapsed.elapsed() + options.intervalMs > options.durationMs);
        if (!written || done)
            QCoreApplication::quit();
    };
    QObject::connect(&timer, &QTimer::timeout, onTick);
    const QuitSignals quitSignals([] { QCoreApplication::quit(); });
    QTimer::singleShot(0, &timer, [&] {
        timer.start();
        onTick();
    });
    QCoreApplication::exec();
    timer.stop();

    if (!written || !output.write(buffer) || !output.commit()) {
        printError(QStringLiteral("\"%1\" cannot be written: %2").arg(options.output, output.errorString()));
        return 1;
    }
    return 0;
}

} // namespace kvx
