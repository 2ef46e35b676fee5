#include "HostFixture.h"

#include "DeviceMgrService.h"
#include "DeviceMgrUILogic.h"
#include "DeviceMgrUIPlugin.h"
#include "HostSiblings.h"
#include "Transcript.h"
#include <PluginContainer.h>
#include <sim/VirtualCard.h>

#include <Change.h>
#include <Startup.h>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QThread>
#include <QWidget>

namespace {

// Handles everything posted to the GUI thread before the call, deferred
// deletions included; false when the deadline passed first.
bool runPostedRound(const QDeadlineTimer& deadline)
{
    bool reached = false;
    QMetaObject::invokeMethod(
        QCoreApplication::instance(), [&reached] { reached = true; }, Qt::QueuedConnection);
    while (!reached && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    return reached;
}

// What changes while anything is still going on: SDK calls, transcript
// records, events the card has yet to deliver.
struct Activity
{
    size_t sdkCalls = 0;
    int records = 0;
    int pendingEvents = 0;
    bool operator==(const Activity& other) const
    {
        return sdkCalls == other.sdkCalls && records == other.records &&
               pendingEvents == other.pendingEvents;
    }
};

Activity currentActivity()
{
    sim::VirtualCard& card = sim::VirtualCard::instance();
    return {card.callLog().size(), Transcript::instance().count(), card.pendingEvents()};
}

} // namespace

HostFixture::HostFixture()
{
    CommonUtils::SetSettingsFolder(m_settingsDir.path());
    sim::VirtualCard::instance().reset();
    Transcript::instance().clear();
    CommonUtils::ResetShutDownFlag();
    Change::SetLanguage("en");

    m_container = std::make_unique<PluginContainer>();
    Startup::SetPluginContainer(m_container.get());
    m_siblings = std::make_unique<HostSiblings>(m_container.get());
    m_mainWindow = std::make_unique<QWidget>();
    m_mainWindow->setObjectName("MainWindow");
    m_siblings->setMainWindow(m_mainWindow.get());

    CommonUtils::SetMessageResponder([this](const MessageRequest& request) {
        m_messages.append(request);
        return m_replies.isEmpty() ? CommonUtils::FirstButton : m_replies.dequeue();
    });
}

HostFixture::~HostFixture()
{
    m_logic.reset();
    if (CDeviceMgrService::existingInstance()) {
        CDeviceMgrService::existingInstance()->unSDKRegisterEvent();
        CDeviceMgrService::Destroy();
    }
    // Events still queued for objects that are gone now are dropped with them.
    sim::VirtualCard::instance().reset();
    runPostedRound(QDeadlineTimer(1000));

    CommonUtils::SetMessageResponder({});
    if (m_plugin)
        m_siblings->removeNotifyTarget(m_plugin.get());
    m_plugin.reset();
    m_siblings.reset();
    Startup::SetPluginContainer(nullptr);
    m_container.reset();
    m_mainWindow.reset();
    CommonUtils::ResetShutDownFlag();
}

QStringList HostFixture::records(const QString& kind) const
{
    QStringList texts;
    const QList<Transcript::Record> all = Transcript::instance().records();
    for (const Transcript::Record& record : all) {
        if (record.kind == kind)
            texts.append(record.text);
    }
    return texts;
}

CDeviceMgrService* HostFixture::startService()
{
    CDeviceMgrService* service = CDeviceMgrService::instance();
    service->Init();
    service->ShowWindow(m_mainWindow.get());
    if (!m_plugin) {
        m_plugin = std::make_unique<CDeviceMgrUI>();
        m_siblings->addNotifyTarget(m_plugin.get());
    }
    return service;
}

CDeviceMgrService* HostFixture::startWith(const QList<sim::CardConfig>& cards)
{
    for (const sim::CardConfig& config : cards)
        card().addCard(config);
    CDeviceMgrService* service = startService();
    return waitForEvents() ? service : nullptr;
}

DeviceMgrUILogic* HostFixture::startLogic()
{
    // Cards only start once someone listens for device events.
    UTPS_DevSrv_RegisterDevMgrCallback([](int, void*) { return 0; });
    card().clearCallLog();
    m_logic.reset(DeviceMgrUILogic::GetInstance());
    m_logic->init();
    return m_logic.get();
}

void HostFixture::frameShown()
{
    if (!m_plugin)
        m_plugin = std::make_unique<CDeviceMgrUI>();
    m_plugin->Notify(NTF_FRAME_SHOWN, 0, 0);
}

bool HostFixture::waitForEvents(int timeoutMs)
{
    QDeadlineTimer deadline(timeoutMs);
    sim::VirtualCard& card = sim::VirtualCard::instance();
    // Handling a signal may make the card raise more events (a PIN accepted
    // raises UTPS_EVENT_DEV_SIM_STATE_CHANGE), and a slot may post more work: settled only after
    // two rounds in a row in which nothing happened on either side.
    int quietRounds = 0;
    while (quietRounds < 2) {
        const int remaining = static_cast<int>(qMax<qint64>(1, deadline.remainingTime()));
        if (deadline.hasExpired() || !card.waitIdle(remaining))
            return false;
        const Activity before = currentActivity();
        if (!runPostedRound(deadline))
            return false;
        const Activity after = currentActivity();
        quietRounds = (after == before && after.pendingEvents == 0) ? quietRounds + 1 : 0;
    }
    return true;
}
