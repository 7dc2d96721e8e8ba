#pragma once
// One front panel with fake views, a settable clock, scripted message boxes, a
// fresh driver and a private program folder, and an in-memory meter that can take
// the place of the driver's serial link. Tests build one fixture per case.

#include "FakeViews.h"

#include "Link.h"
#include "Services.h"
#include "Session.h"
#include "clsKVX5310.h"
#include "frmKVX5130.h"

#include <QPushButton>
#include <QRadioButton>
#include <QTemporaryDir>
#include <memory>
#include <utility>

namespace paneltest {

// What the in-memory meter answers, and every command it received (terminator removed).
struct MeterScript {
    bool answering = true;                    // false: switched off, reads time out at once
    QString function = QStringLiteral("DCV"); // reply to ":CONF:FUNC?"
    QString reading = QStringLiteral("1.5");  // reply to ":READ?" (a comma makes it dual)
    QString value = QStringLiteral("1.5");    // reply to ":VALUE?"
    QStringList commands;
    double readSeconds = 0; // how long the settable clock moves while the meter takes a reading

    QByteArray replyTo(const QString& command) const {
        const std::map<QString, QString> replies{
            {":CONF:FUNC?", function}, {":READ?", reading}, {":VALUE?", value}};
        const auto it = replies.find(command);
        return (it == replies.end() ? QStringLiteral("0") : it->second).toLatin1() + '\n';
    }
};

class FakeMeterLink final : public kvx::Link {
public:
    FakeMeterLink(std::shared_ptr<MeterScript> script, std::shared_ptr<kvx::ManualClock> clock)
        : m_script(std::move(script)), m_clock(std::move(clock)) {}

    bool open(QString*) override { return m_open = true; }
    void close() override { m_open = false; }
    bool isOpen() const override { return m_open; }
    bool write(const QByteArray& data, QString*) override {
        QString command = QString::fromLatin1(data);
        command.chop(command.endsWith(QLatin1Char('\r')) ? 1 : 0);
        m_script->commands << command;
        if (command == QLatin1String(":READ?"))
            m_clock->advance(m_script->readSeconds);
        const bool answers = command.contains(QLatin1Char('?')) && m_script->answering;
        m_pending = answers ? m_script->replyTo(command) : QByteArray();
        return true;
    }
    bool read(QByteArray* reply, QString* error) override {
        if (m_pending.isEmpty())
            return fail(kvx::kLinkTimeoutError, QStringLiteral("Timeout"), error);
        *reply = std::exchange(m_pending, {});
        return succeed();
    }
    QString description() const override { return QStringLiteral("fake meter"); }

private:
    std::shared_ptr<MeterScript> m_script;
    std::shared_ptr<kvx::ManualClock> m_clock;
    QByteArray m_pending;
    bool m_open = false;
};

struct PanelFixture {
    QTemporaryDir folder;
    std::shared_ptr<kvx::ManualClock> clock = std::make_shared<kvx::ManualClock>();
    std::shared_ptr<kvx::ScriptedMessageService> messages = std::make_shared<kvx::ScriptedMessageService>();
    std::shared_ptr<MeterScript> meter = std::make_shared<MeterScript>();
    FakeViews views;
    std::unique_ptr<kvx::frmKVX5130> panel;
    bool exited = false;

    PanelFixture() {
        kvx::releaseDriver();
        kvx::resetSession();
        kvx::session().programFolder = folder.path();
        kvx::session().operation.totalTime = QStringLiteral("Continuous");
        kvx::setClock(clock);
        kvx::setMessages(messages);
        panel = std::make_unique<kvx::frmKVX5130>();
        panel->setExitAction([this] { exited = true; });
    }
    ~PanelFixture() {
        panel.reset();
        kvx::releaseDriver();
        kvx::setClock(std::make_shared<kvx::SystemClock>());
    }

    // Puts the in-memory meter on the serial control and opens the link to it.
    void connectFakeMeter() {
        kvx::driver().CWSerial1().useLink(std::make_unique<FakeMeterLink>(meter, clock));
        kvx::session().operation.serialFlag = QStringLiteral("1");
        panel->RestoreSetting();
        meter->commands.clear();
        views.calls.clear();
    }

    // One Timer2 tick, `seconds` after the last.
    void tick(double seconds = 1) {
        clock->advance(seconds);
        panel->onTimer2Tick();
    }
    QPushButton* key(const QString& name) const { return panel->findChild<QPushButton*>(name); }
    QRadioButton* option(const QString& name) const { return panel->findChild<QRadioButton*>(name); }
};

} // namespace paneltest
