#pragma once

#include "hostendpoint.h"

#include <QSocketNotifier>
#include <QTimer>

namespace kvxsim {

class PtyEndpoint : public HostEndpoint {
    Q_OBJECT
public:
    explicit PtyEndpoint(QString linkPath, QObject* parent = nullptr);
    ~PtyEndpoint() override;

    PtyEndpoint(const PtyEndpoint&) = delete;
    PtyEndpoint& operator=(const PtyEndpoint&) = delete;

    bool open(QString* error) override;
    void close() override;
    QString address() const override;
    void write(const QByteArray& bytes) override;

private:
    bool createPty(QString* error);
    bool pointLink(QString* error);
    void removeLink();
    void readMaster();

    const QString m_linkPath;
    QString m_slavePath;
    int m_master = -1;
    int m_heldSlave = -1;
    QSocketNotifier* m_notifier = nullptr;
    QTimer m_rearm;
};

} // namespace kvxsim
