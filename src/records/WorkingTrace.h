#pragma once
// The working trace as the program's core sees it, apart from any window: the
// link and function in use, whether a trace runs, each reading as it is taken,
// and each sample handed to the store writer. Whatever watches a bench without
// being a window (the scripting socket, the monitor page, the headless logger)
// reads its status here and subscribes to its signals; the front panel and the
// data table tell it what happens, and the windows that show readings are handed
// each one through the feed the window program sets. One per process, like the
// record store.

#include "RecordStore.h"
#include "TraceStatistics.h"

#include <QDateTime>
#include <QJsonObject>
#include <QObject>
#include <QString>
#include <functional>
#include <optional>

namespace kvx {

// One reading as the polling tick took it. A reading without a reply carries
// the 0 a failed read leaves, marked so.
struct TakenReading {
    QDateTime at;
    double primary = 0.0;
    double secondary = 0.0;
    bool noReply = false;
    // A simulated reading has no secondary value: the windows keep the one they show.
    bool withSecondary = true;
};

// What a watcher needs to know of one stored sample: the sample itself and
// the units its values are in.
struct TraceSample {
    NewSample sample;
    QString primaryUnit;
    QString secondaryUnit;
};

class WorkingTrace final : public QObject {
    Q_OBJECT
public:
    // --- Told by the program ---
    void setLink(const QString& connectionText);
    void setLive(bool answering);
    void setFunction(const QString& function, const QString& primaryUnit, const QString& secondaryUnit);
    // The compare limits as typed (empty: none); they decide the match count.
    void setLimits(const QString& lowText, const QString& highText);
    // A continuous trace starts or ends. A start counts MAX, MIN and matches anew.
    void begin(const QDateTime& at);
    void end();
    // Every reading a tick takes, whether or not it becomes a sample: handed to the
    // windows that show readings, then told to every watcher (readingTaken).
    void noteReading(const TakenReading& reading);
    // How the windows are handed each reading (showReadingsInWindows); none without windows.
    using WindowFeed = std::function<void(const TakenReading&)>;
    void setWindowFeed(WindowFeed feed) { m_windowFeed = std::move(feed); }

    // Hands the sample to the store writer; false only when its queue is full.
    bool store(const NewSample& sample);
    // The working trace was emptied or replaced and now holds `samples` rows; when
    // not given, as many as the store counts the first time samples() is asked.
    void restart(std::optional<qint64> samples = std::nullopt);

    // --- Read by watchers ---
    QString link() const { return m_link; }
    bool live() const { return m_live; }
    QString function() const { return m_function; }
    QString primaryUnit() const { return m_primaryUnit; }
    QString secondaryUnit() const { return m_secondaryUnit; }
    bool tracing() const { return m_tracing; }
    // The samples in the working trace. The trace found at start-up, or loaded, is
    // counted in the store only when first asked, not on the way to the first window.
    qint64 samples() const;
    std::optional<TakenReading> lastReading() const { return m_last; }
    const TraceStatistics& statistics() const { return m_statistics; }
    // The status object of `--send status` and the monitor page:
    // {"link", "state": "LIVE"|"DEAD", "function", "tracing", "samples",
    //  "started" and "elapsed_s" while tracing, "last": {"time", "primary",
    //  "primary_unit", "secondary", "secondary_unit", "no_reply"}, "max", "min",
    //  "matches", "limit_low", "limit_high"}; readings and limits as numbers,
    // times in ISO 8601 with the UTC offset, absent values as null.
    QJsonObject statusJson(const QDateTime& now) const;

signals:
    void readingTaken(const kvx::TakenReading& reading);
    void sampleStored(const kvx::TraceSample& sample);
    // The link, its state, the function, the limits, or the trace's run changed.
    void statusChanged();
    // The working trace was emptied or replaced (samples() tells how many it holds).
    void restarted();

private:
    WindowFeed m_windowFeed;
    QString m_link;
    bool m_live = false;
    QString m_function, m_primaryUnit, m_secondaryUnit;
    std::optional<double> m_limitLow, m_limitHigh;
    bool m_tracing = false;
    QDateTime m_startedAt;
    mutable std::optional<qint64> m_samples; // unknown until counted
    std::optional<TakenReading> m_last;
    TraceStatistics m_statistics;
};

WorkingTrace& workingTrace();

} // namespace kvx
