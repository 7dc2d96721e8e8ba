#pragma once
// A link that answers from a table, for tests of the driver's decoding and
// logging and for the panel's in-memory meter: it records every write and replies
// to the last command written.

#include "Link.h"
#include "clsKVX5310.h"

#include <QList>
#include <QMap>
#include <functional>
#include <memory>

namespace kvx::test {

class ScriptedLink final : public Link {
public:
    bool open(QString* error) override {
        ++opens;
        if (failOpen)
            return fail(kLinkOpenError, QStringLiteral("no such device"), error);
        m_open = true;
        return succeed();
    }
    void close() override { m_open = false; }
    bool isOpen() const override { return m_open; }
    bool write(const QByteArray& data, QString* error) override {
        if (failWrites)
            return fail(kLinkWriteError, QStringLiteral("write refused"), error);
        written << data;
        if (onWrite)
            onWrite(data);
        return succeed();
    }
    bool read(QByteArray* reply, QString* error) override {
        ++reads;
        const QByteArray command = written.isEmpty() ? QByteArray() : written.last();
        if (!replies.contains(command) && defaultReply.isEmpty())
            return fail(kLinkTimeoutError, QStringLiteral("Read timeout"), error);
        *reply = replies.value(command, defaultReply);
        return succeed();
    }
    QString description() const override { return QStringLiteral("scripted link"); }

    QMap<QByteArray, QByteArray> replies; // command as written -> reply with terminator
    QByteArray defaultReply;              // for any other command; empty: reads time out
    std::function<void(const QByteArray&)> onWrite;
    QList<QByteArray> written;
    int reads = 0;
    int opens = 0;
    bool failOpen = false;
    bool failWrites = false;

private:
    bool m_open = false;
};

// Puts a fresh scripted link on the control that `method` ("RS232" or "GPIB") uses.
inline ScriptedLink* installScripted(clsKVX5310& meter, const QString& method) {
    auto link = std::make_unique<ScriptedLink>();
    ScriptedLink* raw = link.get();
    if (method == QLatin1String("RS232"))
        meter.CWSerial1().useLink(std::move(link));
    else
        meter.CWGPIB1().useLink(std::move(link));
    return raw;
}

// A driver connected through a scripted link; the link forgets the connect's
// "*SRE?" exchange, so a test sees only what it caused.
struct ScriptedMeter {
    explicit ScriptedMeter(const QString& method = QStringLiteral("GPIB"))
        : link(installScripted(meter, method)) {
        link->defaultReply = "0\n";
        meter.setConnectMethod(method);
        link->defaultReply.clear();
        link->written.clear();
        link->reads = 0;
    }
    clsKVX5310 meter;
    ScriptedLink* link;
};

} // namespace kvx::test
