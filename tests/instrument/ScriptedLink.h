#pragma once
// A link that answers from a table, for tests of the driver's decoding and
// logging: it records every write and replies to the last command written.

#include "Link.h"

#include <QList>
#include <QMap>
#include <functional>

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
        if (replies.contains(command))
            *reply = replies.value(command);
        else if (!defaultReply.isEmpty())
            *reply = defaultReply;
        else
            return fail(kLinkTimeoutError, QStringLiteral("Read timeout"), error);
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

} // namespace kvx::test
