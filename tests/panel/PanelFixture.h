#pragma once
// One front panel with fake views, a settable clock, scripted message boxes, a
// fresh driver and a private program folder. Tests build one per case.

#include "FakeMeterLink.h"
#include "FakeViews.h"

#include "Services.h"
#include "Session.h"
#include "clsKVX5310.h"
#include "frmKVX5130.h"

#include <QPushButton>
#include <QRadioButton>
#include <QTemporaryDir>
#include <memory>

namespace paneltest {

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
        meter->clock = clock;
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
        kvx::driver().CWSerial1().useLink(std::make_unique<FakeMeterLink>(meter));
        kvx::session().operation.serialFlag = QStringLiteral("1");
        panel->RestoreSetting();
        meter->commands.clear();
        views.log.calls.clear();
    }

    QPushButton* key(const char* name) const { return panel->findChild<QPushButton*>(QLatin1String(name)); }
    QRadioButton* option(const QString& name) const { return panel->findChild<QRadioButton*>(name); }
};

} // namespace paneltest
