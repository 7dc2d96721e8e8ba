// The driver's cost per reading, and the reading rate a slow serial line allows.
//
// BM_ReadExchange: one polling round's ":READ?" exchange with its decoding
// (ValuePrimary, ValueSecond and the number parse) over a link that answers at
// once, so only the driver's own work is timed. Goal: under 50 us.
//
// BM_SimulatorReadingRate: readings against kvx5130-sim emulating 9600 baud on
// a pseudo-terminal, which paces the bytes both ways as the line would. `ratio`
// compares the rate with the limit that the bytes of one reading both ways allow
// (commands and replies, 10 bits a byte at 8N1, over 9600 bit/s); it cannot pass
// 1, and the goal is 0.9 or better.

#include "SerialLink.h"
#include "ValueRules.h"
#include "clsKVX5310.h"

#include <QProcess>
#include <benchmark/benchmark.h>
#include <chrono>

namespace {

class InstantLink final : public kvx::Link {
public:
    bool open(QString*) override { return m_open = true; }
    void close() override { m_open = false; }
    bool isOpen() const override { return m_open; }
    bool write(const QByteArray& data, QString*) override {
        m_lastQuery = data.endsWith('?');
        return true;
    }
    bool read(QByteArray* reply, QString*) override {
        *reply = m_lastQuery ? QByteArrayLiteral(" 60.012, 12.3456\n") : QByteArray();
        return true;
    }
    QString description() const override { return QStringLiteral("instant link"); }

private:
    bool m_open = false;
    bool m_lastQuery = false;
};

std::unique_ptr<kvx::clsKVX5310> instantMeter() {
    auto meter = std::make_unique<kvx::clsKVX5310>();
    meter->CWGPIB1().useLink(std::make_unique<InstantLink>());
    meter->setConnectMethod(QStringLiteral("GPIB"));
    return meter;
}

void BM_ReadExchange(benchmark::State& state) {
    auto meter = instantMeter();
    // The command log grows by two lines per exchange for the whole run, as in
    // the program; a fresh driver now and then keeps memory bounded here.
    constexpr int kExchangesPerDriver = 100000;
    int exchanges = 0;
    double sum = 0;
    for (auto _ : state) {
        const double primary = kvx::parseLeadingNumber(meter->ValuePrimary());
        const double second = kvx::parseLeadingNumber(meter->ValueSecond());
        sum += primary + second;
        if (++exchanges == kExchangesPerDriver) {
            state.PauseTiming();
            meter = instantMeter();
            exchanges = 0;
            state.ResumeTiming();
        }
    }
    benchmark::DoNotOptimize(sum);
}
BENCHMARK(BM_ReadExchange)->Unit(benchmark::kMicrosecond);

constexpr int kBaud = 9600;
constexpr double kBitsPerByte = 10.0;

// Counts the bytes that pass through a real link.
class CountingLink final : public kvx::Link {
public:
    explicit CountingLink(std::unique_ptr<kvx::Link> inner) : m_inner(std::move(inner)) {}
    bool open(QString* error) override { return m_inner->open(error); }
    void close() override { m_inner->close(); }
    bool isOpen() const override { return m_inner->isOpen(); }
    bool write(const QByteArray& data, QString* error) override {
        written += data.size();
        return m_inner->write(data, error);
    }
    bool read(QByteArray* reply, QString* error) override {
        const bool ok = m_inner->read(reply, error);
        received += ok ? reply->size() : 0;
        return ok;
    }
    QString description() const override { return m_inner->description(); }
    void setTimeoutMs(int ms) override { m_inner->setTimeoutMs(ms); }

    qint64 written = 0;
    qint64 received = 0;

private:
    std::unique_ptr<kvx::Link> m_inner;
};

void BM_SimulatorReadingRate(benchmark::State& state) {
    QProcess sim;
    sim.start(QStringLiteral(KVX_SIM_BINARY), {"--pty", "--baud", QString::number(kBaud), "--seed", "1"});
    if (!sim.waitForStarted(5000) || !sim.waitForReadyRead(5000)) {
        state.SkipWithError("kvx5130-sim did not start");
        return;
    }
    const QString device = QString::fromLocal8Bit(sim.readLine()).trimmed();
    kvx::clsKVX5310 meter;
    auto counting = std::make_unique<CountingLink>(std::make_unique<kvx::SerialLink>(device, kBaud));
    CountingLink* counter = counting.get();
    meter.CWSerial1().useLink(std::move(counting));
    meter.setConnectMethod(QStringLiteral("RS232"));
    meter.VoltageDC(); // a single-display function: ":READ?" then ":VALUE?" per reading

    const qint64 writtenBefore = counter->written;
    const qint64 receivedBefore = counter->received;
    qint64 readings = 0;
    const auto started = std::chrono::steady_clock::now();
    for (auto _ : state) {
        const QString primary = meter.ValuePrimary();
        benchmark::DoNotOptimize(meter.ValueSecond());
        if (primary.isEmpty()) {
            state.SkipWithError("the simulator stopped answering");
            break;
        }
        ++readings;
    }
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    sim.terminate();
    sim.waitForFinished(3000);
    if (readings == 0 || seconds <= 0)
        return;
    const double sentPerReading = double(counter->written - writtenBefore) / readings;
    const double repliedPerReading = double(counter->received - receivedBefore) / readings;
    const double secondsPerReading = seconds / readings;
    const double wireLimit = (sentPerReading + repliedPerReading) * kBitsPerByte / kBaud;
    state.counters["bytes_per_reading"] = sentPerReading + repliedPerReading;
    state.counters["readings_per_s"] = 1.0 / secondsPerReading;
    state.counters["ratio"] = wireLimit / secondsPerReading;
    if (wireLimit / secondsPerReading > 1.0)
        state.SkipWithError("faster than the line allows: the simulator does not pace both ways");
}
BENCHMARK(BM_SimulatorReadingRate)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(200);

} // namespace
