#pragma once
// SIGTERM, SIGINT and SIGHUP quit the program the way File → Quit does: the
// handler only writes a byte to a socket pair (all it may safely do), and the
// event loop reads it and runs the quit routine. The handler is reset when it
// runs, so a second signal of the same kind ends a quit that hangs, the hard way.

#include <QObject>
#include <functional>

class QSocketNotifier;

namespace kvx {

class QuitSignals final : public QObject {
public:
    explicit QuitSignals(std::function<void()> quit, QObject* parent = nullptr);
    ~QuitSignals() override;
    QuitSignals(const QuitSignals&) = delete;
    QuitSignals& operator=(const QuitSignals&) = delete;

private:
    static void onSignal(int number);
    void onWake();

    std::function<void()> m_quit;
    QSocketNotifier* m_notifier = nullptr;
    bool m_quitting = false;
};

} // namespace kvx
