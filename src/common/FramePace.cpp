#include "FramePace.h"

#include <QElapsedTimer>
#include <QPointer>
#include <QTimer>
#include <QWidget>

#include <algorithm>
#include <utility>
#include <vector>

namespace kvx {

namespace {

class FramePacer {
public:
    FramePacer() {
        m_timer.setSingleShot(true);
        QObject::connect(&m_timer, &QTimer::timeout, [this] { flush(); });
    }

    void wait(QObject* context, std::function<void()> work) {
        if (std::none_of(m_waiting.begin(), m_waiting.end(),
                         [context](const Waiting& w) { return w.context == context; }))
            m_waiting.push_back({context, std::move(work)});
        if (m_timer.isActive())
            return;
        const qint64 since = m_lastFrame.isValid() ? m_lastFrame.elapsed() : qint64(kFrameMs);
        m_timer.start(int(qBound(qint64(0), qint64(kFrameMs) - since, qint64(kFrameMs))));
    }

    void flush() {
        m_timer.stop();
        m_lastFrame.start();
        std::vector<Waiting> waiting;
        waiting.swap(m_waiting);
        for (const Waiting& w : waiting) {
            if (w.context)
                w.work();
        }
    }

    void flushAsIfQuiet() {
        flush();
        m_lastFrame.invalidate();
    }

private:
    struct Waiting {
        QPointer<QObject> context;
        std::function<void()> work;
    };

    QTimer m_timer;
    QElapsedTimer m_lastFrame;
    std::vector<Waiting> m_waiting;
};

FramePacer& pacer() {
    static FramePacer* made = new FramePacer; // outlives every window
    return *made;
}

} // namespace

void atFramePace(QObject* context, std::function<void()> work) {
    pacer().wait(context, std::move(work));
}

void updateAtFramePace(QWidget* widget) {
    pacer().wait(widget, [widget] { widget->update(); });
}

void updateWaitingNow() {
    pacer().flushAsIfQuiet();
}

} // namespace kvx
