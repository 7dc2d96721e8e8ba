#pragma once
// An in-memory meter on the driver's serial control: it answers the queries the
// panel sends from a small table, records every command, can be "switched off"
// (reads then time out at once) and can make a query take time on the settable
// clock, so that polling tests run without a device and without waiting.

#include "Link.h"
#include "Services.h"

#include <QStringList>
#include <functional>
#include <memory>

namespace paneltest {

struct MeterScript {
    bool answering = true;
    QString function = QStringLiteral("DCV"); // reply to ":CONF:FUNC?"
    QString reading = QStringLiteral("1.5");  // reply to ":READ?" (a comma makes it dual)
    QString value = QStringLiteral("1.5");    // reply to ":VALUE?"
    QStringList commands;                     // as received, terminator removed
    // Seconds the settable clock moves while the meter works on a command.
    std::function<double(const QString& command)> delay;
    std::shared_ptr<kvx::ManualClock> clock;

    QString replyTo(const QString& command) const {
        if (command == QLatin1String(":CONF:FUNC?"))
            return function;
        if (command == QLatin1String(":READ?"))
            return reading;
        if (command == QLatin1String(":VALUE?"))
            return value;
        if (command == QLatin1String(":CALC:SDBM:REF?"))
            return QStringLiteral("600");
        return QStringLiteral("0");
    }
};

class FakeMeterLink final : public kvx::Link {
public:
    explicit FakeMeterLink(std::shared_ptr<MeterScript> script) : m_script(std::move(script)) {}

    bool open(QString*) override {
        m_open = true;
        return true;
    }
    void close() override { m_open = false; }
    bool isOpen() const override { return m_open; }
    bool write(const QByteArray& data, QString*) override {
        QString command = QString::fromLatin1(data);
        if (command.endsWith(QLatin1Char('\r')))
            command.chop(1);
        m_script->commands << command;
        if (m_script->delay && m_script->clock)
            m_script->clock->advance(m_script->delay(command));
        m_pending = command.contains(QLatin1Char('?')) && m_script->answering
                        ? m_script->replyTo(command).toLatin1() + '\n'
                        : QByteArray();
        return true;
    }
    bool read(QByteArray* reply, QString* error) override {
        if (m_pending.isEmpty())
            return fail(kvx::kLinkTimeoutError, QStringLiteral("Timeout"), error);
        *reply = m_pending;
        m_pending.clear();
        return succeed();
    }
    QString description() const override { return QStringLiteral("fake meter"); }

private:
    std::shared_ptr<MeterScript> m_script;
    QByteArray m_pending;
    bool m_open = false;
};

} // namespace paneltest
