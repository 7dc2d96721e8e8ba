#include "SampleWriter.h"

#include "StatusReports.h"

#include <QCoreApplication>
#include <QSqlDatabase>

#include <chrono>
#include <utility>

namespace kvx {

SampleWriter::SampleWriter(const StoreTarget& target, const QString& bench, const QString& connectionName)
    : m_target(target), m_bench(bench), m_connectionName(connectionName + QStringLiteral("-writer")),
      m_thread([this] { run(); }) {}

SampleWriter::~SampleWriter() {
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait_for(lock, std::chrono::milliseconds(kStopWaitMs),
                           [this] { return m_queue.empty() && m_inFlight == 0; });
        if (!m_queue.empty())
            statusReports().report(QStringLiteral("%1 samples could not be stored before the program ended: "
                                                  "the record database stayed locked")
                                       .arg(m_queue.size()));
        m_stopping = true;
    }
    m_changed.notify_all();
    m_thread.join();
}

bool SampleWriter::enqueue(const NewSample& sample) {
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_queue.size() >= kQueueBound)
            return false;
        m_queue.push_back(sample);
    }
    m_changed.notify_all();
    return true;
}

bool SampleWriter::flush(int timeoutMs) {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                              [this] { return m_queue.empty() && m_inFlight == 0; });
}

size_t SampleWriter::waiting() const {
    // A batch being written stays in the queue until it is on the disk.
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_queue.size();
}

// The report reaches its windows on the event loop's thread.
void SampleWriter::tell(const QString& text) {
    QMetaObject::invokeMethod(
        &statusReports(), [text] { statusReports().report(text); }, Qt::QueuedConnection);
}

bool SampleWriter::writeBatch(const std::vector<NewSample>& batch, QString* problem) {
    // A server that went away broke the connection: it is made again at each try.
    if (!QSqlDatabase::contains(m_connectionName) ||
        !QSqlDatabase::database(m_connectionName, false).isOpen()) {
        *problem = openStoreConnection(m_connectionName, m_target, m_bench, StoreRole::Writer);
        if (!problem->isEmpty())
            return false;
    }
    *problem = storeSamples(m_connectionName, m_target, batch);
    // A server session that failed is made again at the next try.
    if (!problem->isEmpty() && m_target.server)
        QSqlDatabase::database(m_connectionName, false).close();
    return problem->isEmpty();
}

void SampleWriter::run() {
    // The connection is made for the first sample: a store that is only read (a
    // listing or an export from the command line) never opens a second one, which
    // could outlive the application it needs.
    for (;;) {
        std::vector<NewSample> batch;
        {
            std::unique_lock<std::mutex> lock(m_mutex);
            m_changed.wait(lock, [this] { return m_stopping || !m_queue.empty(); });
            if (m_queue.empty() || (m_stopping && m_failing))
                break;
            const size_t count = std::min(m_queue.size(), kBatchSize);
            batch.assign(m_queue.begin(), m_queue.begin() + std::ptrdiff_t(count));
            m_inFlight = count;
        }
        QString problem;
        const bool written = writeBatch(batch, &problem);
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            if (written)
                m_queue.erase(m_queue.begin(), m_queue.begin() + std::ptrdiff_t(batch.size()));
            m_inFlight = 0;
            if (written && m_failing)
                tell(QStringLiteral("Samples are stored again; none was lost"));
            else if (!written && !m_failing)
                tell(QStringLiteral("Samples cannot be stored in the record database for now (%1); "
                                    "the trace goes on and they wait, in order, to be written")
                         .arg(problem));
            m_failing = !written;
        }
        m_changed.notify_all();
        if (!written) {
            std::unique_lock<std::mutex> lock(m_mutex);
            m_changed.wait_for(lock, std::chrono::milliseconds(kRetryMs), [this] { return m_stopping; });
        }
    }
    if (QSqlDatabase::contains(m_connectionName)) {
        QSqlDatabase::database(m_connectionName, false).close();
        QSqlDatabase::removeDatabase(m_connectionName);
    }
}

} // namespace kvx
