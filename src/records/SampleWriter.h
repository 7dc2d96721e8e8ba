#pragma once
// Stores the samples of a running trace on a thread of its own, on a connection
// of its own, in the order they were taken. The polling tick only hands a sample
// over; the insert and the sync to disk (synchronous=FULL: a committed sample is
// on the disk) happen here, off the event loop.
//
// When the database cannot be written (another program holds its lock, the disk
// is full, the file became read-only, the lab server went away) the samples wait in memory, in order, and
// the writer tries again every half second, writing what waits in batches as
// soon as the database accepts them. The operator is told once when writing
// stops and once when it goes on again, through the status reports (stderr and
// the state panel), never a box. The queue holds a day of samples at one a
// second; beyond that a sample is refused and the caller says so.

#include "RecordStore.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

namespace kvx {

class SampleWriter {
public:
    // A day of one-second samples, about 20 MB of queued rows.
    static constexpr size_t kQueueBound = 86400;
    static constexpr int kRetryMs = 500;
    static constexpr size_t kBatchSize = 500;

    SampleWriter(const StoreTarget& target, const QString& bench, const QString& connectionName);
    // Writes what still waits (giving up after `kStopWaitMs` of a locked database).
    ~SampleWriter();
    SampleWriter(const SampleWriter&) = delete;
    SampleWriter& operator=(const SampleWriter&) = delete;

    // False when the queue is full: the sample is not taken.
    bool enqueue(const NewSample& sample);
    // Waits until every queued sample is written; false when that took longer than
    // `timeoutMs` (the database stays locked), and then nothing may go on the
    // working trace out of order.
    bool flush(int timeoutMs);
    size_t waiting() const;

    static constexpr int kStopWaitMs = 1500; // a quit must not hang on a locked database

private:
    void run();
    bool writeBatch(const std::vector<NewSample>& batch, QString* problem);
    void tell(const QString& text);

    StoreTarget m_target;
    QString m_bench;
    QString m_connectionName;
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<NewSample> m_queue;
    size_t m_inFlight = 0;
    bool m_stopping = false;
    bool m_failing = false;
    std::thread m_thread;
};

} // namespace kvx
