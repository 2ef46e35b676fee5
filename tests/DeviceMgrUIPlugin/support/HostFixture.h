// A host around the plug-in for one test: the real framework, the real
// container with the host's built-in sibling plug-ins, the virtual card and a
// message responder, all reset on construction and removed on destruction.
//
//     HostFixture host;
//     CDeviceMgrService* service = host.startWith({namedCard("Card A")});
//     QVERIFY(service);
#pragma once

#include "HostSiblings.h"
#include <PluginContainer.h>
#include <sim/VirtualCard.h>

#include <CommonUtils.h>

#include <QList>
#include <QQueue>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>

class CDeviceMgrService;
class CDeviceMgrUI;
class DeviceMgrUILogic;
class QWidget;

// A broadcast notification as the transcript records it.
inline QString broadcast(unsigned int code, long long w = 0, long long l = 0)
{
    return QStringLiteral("broadcast %1 %2 %3").arg(code).arg(w).arg(l);
}

// A card of that name on that port (0: the next free one).
inline sim::CardConfig namedCard(const std::string& name, int port = 0)
{
    sim::CardConfig config;
    config.name = name;
    config.port = port;
    return config;
}

class HostFixture
{
public:
    HostFixture();
    // Destroys the service singleton if any, then uninstalls everything.
    ~HostFixture();
    HostFixture(const HostFixture&) = delete;
    HostFixture& operator=(const HostFixture&) = delete;

    PluginContainer& container() { return *m_container; }
    HostSiblings& siblings() { return *m_siblings; }
    QWidget* mainWindow() { return m_mainWindow.get(); }
    sim::VirtualCard& card() { return sim::VirtualCard::instance(); }

    // Message boxes asked for since construction (or clearMessages), in order.
    QList<MessageRequest> messages() const { return m_messages; }
    void clearMessages() { m_messages.clear(); }
    // The reply to the next message box; with none queued the first button.
    void queueReply(int reply) { m_replies.enqueue(reply); }

    // Transcript texts of one kind ("notify", "sdk", "menu" ...), in order.
    QStringList records(const QString& kind) const;

    // instance() + Init() + ShowWindow(mainWindow) + the plug-in object as a
    // notification target, as the host starts the plug-in.
    CDeviceMgrService* startService();
    // Plugs the cards, starts the service and lets the start-up events
    // through; null when they did not settle.
    CDeviceMgrService* startWith(const QList<sim::CardConfig>& cards);
    // The device access layer on its own, made and initialised as the service
    // does, with the cards started (a device callback listens) and the call
    // log cleared. Deleted with the fixture.
    DeviceMgrUILogic* startLogic();
    // The host's NTF_FRAME_SHOWN, delivered through Notify.
    void frameShown();
    // Waits until the virtual card has delivered every queued event and the
    // GUI thread has handled every queued signal (bounded by `timeoutMs`).
    bool waitForEvents(int timeoutMs = 5000);

private:
    QTemporaryDir m_settingsDir;
    std::unique_ptr<PluginContainer> m_container;
    std::unique_ptr<HostSiblings> m_siblings;
    std::unique_ptr<QWidget> m_mainWindow;
    std::unique_ptr<CDeviceMgrUI> m_plugin;
    std::unique_ptr<DeviceMgrUILogic> m_logic;
    QList<MessageRequest> m_messages;
    QQueue<int> m_replies;
};
