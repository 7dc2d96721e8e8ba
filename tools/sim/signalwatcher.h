#pragma once

#include <QObject>

class QSocketNotifier;

namespace kvxsim {

// Turns SIGTERM and SIGINT into a Qt signal on the event loop, where it is safe to
// clean up (the --pty-link link) before exiting.
class SignalWatcher : public QObject {
    Q_OBJECT
public:
    explicit SignalWatcher(QObject* parent = nullptr);
    ~SignalWatcher() override;

    SignalWatcher(const SignalWatcher&) = delete;
    SignalWatcher& operator=(const SignalWatcher&) = delete;

signals:
    void terminationRequested();

private:
    static void onSignal(int number);
    void drain();

    QSocketNotifier* m_notifier = nullptr;
};

} // namespace kvxsim
