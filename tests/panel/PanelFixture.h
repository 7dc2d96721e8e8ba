#pragma once
// One front panel with the shared stand-in views, a settable clock, scripted message boxes, a
// fresh driver and a private program folder, and an in-memory meter that can take
// the place of the driver's serial link. Tests build one fixture per case.

#include "ScriptedLink.h"
#include "TestServices.h"
#include "Session.h"
#include "WindowTestSupport.h"
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

struct PanelFixture {
    QTemporaryDir folder;
    std::shared_ptr<kvx::ManualClock> clock = std::make_shared<kvx::ManualClock>();
    std::shared_ptr<kvx::ScriptedMessageService> messages = std::make_shared<kvx::ScriptedMessageService>();
    std::shared_ptr<MeterScript> meter = std::make_shared<MeterScript>();
    // The five windows the panel feeds.
    kvx::test::FakeStatePanel state;
    kvx::test::FakeDigital digital;
    kvx::test::FakeAnalog analog;
    kvx::test::FakeGraph graph;
    kvx::test::FakeDataTable table;
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

    // Puts the in-memory meter on the serial control, as a scripted link that answers
    // each query from the script, and opens the link to it.
    void connectFakeMeter() {
        auto link = std::make_unique<kvx::test::ScriptedLink>();
        link->onWrite = [meter = meter, clock = clock, link = link.get()](const QByteArray& data) {
            const QString command = QString::fromLatin1(data).remove(QLatin1Char('\r'));
            meter->commands << command;
            if (command == QLatin1String(":READ?"))
                clock->advance(meter->readSeconds);
            link->replies.clear(); // a query the meter does not answer times out
            if (command.contains(QLatin1Char('?')) && meter->answering)
                link->replies[data] = meter->replyTo(command);
        };
        kvx::driver().CWSerial1().useLink(std::move(link));
        kvx::session().operation.serialFlag = QStringLiteral("1");
        panel->RestoreSetting();
        meter->commands.clear();
        kvx::test::callLog().clear();
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
