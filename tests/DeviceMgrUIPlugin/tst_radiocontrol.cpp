// Radio and attach controls: the access layer's requests to the card and the
// service's radio, offline, detach and power handling around them.
#include "DeviceMgrService.h"
#include "DeviceMgrUILogic.h"
#include "HostFixture.h"
#include "HostSiblings.h"
#include "PluginContainer.h"
#include "TraceCapture.h"
#include "Transcript.h"
#include "sim/VirtualCard.h"

#include <CommonUtils.h>
#include <SiblingInterfaces.h>
#include <Startup.h>

#include <QRegularExpression>
#include <QtTest>

#include <memory>

namespace {

QList<sim::CallRecord> callsOf(const std::string& function)
{
    QList<sim::CallRecord> calls;
    for (const sim::CallRecord& call : sim::VirtualCard::instance().callLog()) {
        if (call.function == function)
            calls.append(call);
    }
    return calls;
}

// Cards only start once someone listens for device events.
int ignoreEvent(int, void*)
{
    return 0;
}

sim::CardConfig radioCard(bool supported, int sw)
{
    sim::CardConfig config;
    config.rf.supported = supported;
    config.rf.sw = sw;
    config.rf.hw = 1;
    return config;
}

// "hw/sw hw/sw ..." -> the pairs in order.
QList<QPair<uint, uint>> parseEvents(const QString& text)
{
    QList<QPair<uint, uint>> events;
    const QStringList pairs = text.split(' ', Qt::SkipEmptyParts);
    for (const QString& pair : pairs) {
        const QStringList parts = pair.split('/');
        events.append({parts.at(0).toUInt(), parts.at(1).toUInt()});
    }
    return events;
}

} // namespace

class TestRadioControl : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    // Access layer
    void switchRfMode_data();
    void switchRfMode();
    void offlineAndDetach_data();
    void offlineAndDetach();
    void detachSettings_data();
    void detachSettings();

    // Service
    void requestsWithoutAccessLayer();
    void radioRequests_data();
    void radioRequests();
    void rfSwitchEvents_data();
    void rfSwitchEvents();
    void rfSwitchRefreshesMenuOnlyOnceLookedUp();
    void offlineAndDetachRequests_data();
    void offlineAndDetachRequests();
    void powerEvents();

private:
    // The access layer on its own, initialised, with a device callback
    // registered so that cards start.
    DeviceMgrUILogic* standaloneLogic();
    // The service with its access layer and the card settled, the transcript
    // and the call log emptied.
    CDeviceMgrService* startedService(const sim::CardConfig& config);
    QStringList notifications() const { return m_host->records("notify"); }

    std::unique_ptr<HostFixture> m_host;
    DeviceMgrUILogic* m_logic = nullptr;
};

void TestRadioControl::init()
{
    m_host = std::make_unique<HostFixture>();
}

void TestRadioControl::cleanup()
{
    // A started service owns the access layer and deletes it itself.
    if (m_logic && !CDeviceMgrService::existingInstance())
        delete m_logic;
    m_logic = nullptr;
    m_host.reset();
}

DeviceMgrUILogic* TestRadioControl::standaloneLogic()
{
    if (UTPS_DevSrv_RegisterDevMgrCallback(ignoreEvent) != 0)
        return nullptr;
    m_logic = DeviceMgrUILogic::GetInstance();
    m_logic->init();
    return m_logic;
}

CDeviceMgrService* TestRadioControl::startedService(const sim::CardConfig& config)
{
    m_host->card().addCard(config);
    CDeviceMgrService* service = m_host->startService();
    if (!m_host->waitForEvents())
        return nullptr;
    Transcript::instance().clear();
    m_host->card().clearCallLog();
    return service;
}

void TestRadioControl::switchRfMode_data()
{
    QTest::addColumn<bool>("supported");
    QTest::addColumn<int>("state"); // as the card reports it
    QTest::addColumn<bool>("on");
    QTest::addColumn<QString>("faultOn");
    QTest::addColumn<int>("result");
    QTest::addColumn<int>("setTo"); // argument of the set call, -1 = no set call
    QTest::addColumn<int>("after"); // the card's software switch afterwards
    QTest::addColumn<bool>("warning");
    QTest::addColumn<QString>("line"); // the line that tells the outcome

    const QString same = "device is already in same state";
    const QString done = "UTPS_DevSrv_SetRFSwitch returned success";
    const QString fixed = "device dosent support RF switch";
    QTest::newRow("on, already on") << true << 1 << true << "" << 0 << -1 << 1 << false << same;
    QTest::newRow("off, already off") << true << 0 << false << "" << 0 << -1 << 0 << false << same;
    QTest::newRow("on from off") << true << 0 << true << "" << 0 << 1 << 1 << false << done;
    QTest::newRow("off from on") << true << 1 << false << "" << 0 << 0 << 0 << false << done;
    // Only exactly 1 and 0 count as being there already.
    QTest::newRow("on from state 2") << true << 2 << true << "" << 0 << 1 << 1 << false << done;
    QTest::newRow("off from state 2") << true << 2 << false << "" << 0 << 0 << 0 << false << done;
    QTest::newRow("not switchable, on")
        << false << 0 << true << "" << 15 << -1 << 0 << false << fixed;
    QTest::newRow("not switchable, off")
        << false << 1 << false << "" << 15 << -1 << 1 << false << fixed;
    QTest::newRow("read fails") << true << 0 << true << "UTPS_DevSrv_GetRFSwitch" << 1 << -1 << 0
                                << true << "UTPS_DevSrv_GetRFSwitch returned error";
    QTest::newRow("set fails") << true << 0 << true << "UTPS_DevSrv_SetRFSwitch" << 1 << 1 << 0
                               << true << "UTPS_DevSrv_SetRFSwitch returned error";
}

void TestRadioControl::switchRfMode()
{
    QFETCH(bool, supported);
    QFETCH(int, state);
    QFETCH(bool, on);
    QFETCH(QString, faultOn);
    QFETCH(int, result);
    QFETCH(int, setTo);
    QFETCH(int, after);
    QFETCH(bool, warning);
    QFETCH(QString, line);

    QVERIFY(standaloneLogic());
    const int index = m_host->card().addCard(radioCard(supported, state));
    // The card's own answer is 0 or 1; other states only come from a real card.
    if (state != 0 && state != 1)
        QVERIFY(m_host->card().overrideRfState(state));
    if (!faultOn.isEmpty())
        m_host->card().setFault(faultOn.toStdString(), 1, 1);
    // Fails the test unless the line comes, on that channel.
    QTest::ignoreMessage(warning ? QtWarningMsg : QtDebugMsg,
                         QRegularExpression("SwitchRFMode : " + line + "$"));
    QCOMPARE(m_logic->SwitchRFMode(on), result);

    const QList<sim::CallRecord> sets = callsOf("UTPS_DevSrv_SetRFSwitch");
    QCOMPARE(sets.size(), setTo < 0 ? 0 : 1);
    if (setTo >= 0)
        QCOMPARE(QString::fromStdString(sets.first().args), QString::number(setTo));
    QCOMPARE(m_host->card().card(index)->config.rf.sw, after);
}

void TestRadioControl::offlineAndDetach_data()
{
    QTest::addColumn<bool>("offline"); // SetOffline, else DetachGPRS
    QTest::addColumn<bool>("fault");
    QTest::addColumn<int>("result");

    QTest::newRow("offline") << true << false << 0;
    QTest::newRow("offline fails") << true << true << 15;
    QTest::newRow("detach") << false << false << 0;
    QTest::newRow("detach fails") << false << true << 15;
}

void TestRadioControl::offlineAndDetach()
{
    QFETCH(bool, offline);
    QFETCH(bool, fault);
    QFETCH(int, result);

    QVERIFY(standaloneLogic());
    const int index = m_host->card().addCard({});
    const char* function = offline ? "UTPS_DevSrv_SetOffline" : "UTPS_NetSrv_SetPSState";
    if (fault)
        m_host->card().setFault(function, 1, 1);
    QCOMPARE(offline ? m_logic->SetOffline() : m_logic->DetachGPRS(), result);

    const QList<sim::CallRecord> calls = callsOf(function);
    QCOMPARE(calls.size(), 1);
    if (!offline)
        QCOMPARE(QString::fromStdString(calls.first().args), QString("0"));
    const sim::CardState state = *m_host->card().card(index);
    if (offline)
        QCOMPARE(state.offline, !fault);
    else
        QCOMPARE(state.psState, fault ? 1 : 0);
}

void TestRadioControl::detachSettings_data()
{
    QTest::addColumn<QString>("value");
    QTest::addColumn<bool>("on");

    QTest::newRow("Yes") << "Yes" << true;
    QTest::newRow("y") << "y" << true;
    QTest::newRow("Y") << "Y" << true;
    QTest::newRow("ANY") << "ANY" << true;
    QTest::newRow("no") << "no" << false;
    QTest::newRow("1") << "1" << false;
    QTest::newRow("true") << "true" << false;
    QTest::newRow("empty") << "" << false;
}

void TestRadioControl::detachSettings()
{
    QFETCH(QString, value);
    QFETCH(bool, on);

    QVERIFY(standaloneLogic());
    // Absent keys are off.
    QVERIFY(!m_logic->IsIMSIDetachEnabled());
    QVERIFY(!m_logic->IsGPRSDetachEnabled());

    CommonUtils::SetSettings("customize", "imsi_detach", value);
    QCOMPARE(m_logic->IsIMSIDetachEnabled(), on);
    QVERIFY(!m_logic->IsGPRSDetachEnabled());
    CommonUtils::SetSettings("customize", "gprs_detach", value);
    QCOMPARE(m_logic->IsGPRSDetachEnabled(), on);
}

void TestRadioControl::requestsWithoutAccessLayer()
{
    m_host->card().addCard(radioCard(true, 0));
    // Created but never started: no access layer yet.
    CDeviceMgrService* service = CDeviceMgrService::instance();
    CommonUtils::SetSettings("customize", "imsi_detach", "yes");
    CommonUtils::SetSettings("customize", "gprs_detach", "yes");
    TraceCapture trace;
    QCOMPARE(service->EnableRF(), 13);
    QCOMPARE(service->DisableRF(), 0);
    QCOMPARE(service->SetOffline(), 0);
    QCOMPARE(service->DetatchGPRS(), 0);
    QCOMPARE(trace.matching("pre-conditions failed").size(), 2);
    QCOMPARE(trace.matching("m_pUILogic is NULL").size(), 2);
    QVERIFY(notifications().isEmpty());
    QVERIFY(m_host->records("menu").isEmpty());
    QCOMPARE(m_host->card().callLog().size(), size_t(0));
}

void TestRadioControl::radioRequests_data()
{
    QTest::addColumn<bool>("enable");
    QTest::addColumn<bool>("supported");
    QTest::addColumn<int>("state");
    QTest::addColumn<QString>("faultOn");
    QTest::addColumn<bool>("menu"); // the main-menu plug-in is there
    QTest::addColumn<int>("result");
    QTest::addColumn<QStringList>("sent");
    QTest::addColumn<QString>("line");

    const QStringList none;
    const QString enabled = "EnableRF : , SwitchRFMode returned Success";
    const QString enableFailed = "EnableRF : , SwitchRFMode returned Error";
    const QString disabled = "DisableRF : ,  returned SwitchRFMode Success";
    const QString disableFailed = "DisableRF : ,  returned SwitchRFMode Error";
    QTest::newRow("enable from off")
        << true << true << 0 << "" << true << 0 << QStringList{"broadcast 577 0 0"} << enabled;
    QTest::newRow("enable, already on")
        << true << true << 1 << "" << true << 0 << QStringList{"broadcast 577 0 0"} << enabled;
    QTest::newRow("enable, not switchable")
        << true << false << 0 << "" << true << 15 << none << enableFailed;
    QTest::newRow("enable, read fails")
        << true << true << 0 << "UTPS_DevSrv_GetRFSwitch" << true << 1 << none << enableFailed;
    QTest::newRow("enable, no main menu") << true << true << 0 << "" << false << 0 << none
                                          << "EnableRF : , Main menu initialization failed";
    QTest::newRow("disable from on")
        << false << true << 1 << "" << true << 0 << QStringList{"broadcast 576 0 0"} << disabled;
    QTest::newRow("disable, already off")
        << false << true << 0 << "" << true << 0 << QStringList{"broadcast 576 0 0"} << disabled;
    QTest::newRow("disable, not switchable")
        << false << false << 1 << "" << true << 0 << none << disableFailed;
    QTest::newRow("disable, set fails")
        << false << true << 1 << "UTPS_DevSrv_SetRFSwitch" << true << 0 << none << disableFailed;
    QTest::newRow("disable, no main menu") << false << true << 1 << "" << false << 0 << none
                                           << "DisableRF : , initialization Main menu  failed";
}

void TestRadioControl::radioRequests()
{
    QFETCH(bool, enable);
    QFETCH(bool, supported);
    QFETCH(int, state);
    QFETCH(QString, faultOn);
    QFETCH(bool, menu);
    QFETCH(int, result);
    QFETCH(QStringList, sent);
    QFETCH(QString, line);

    if (!menu)
        m_host->container().registerPlugin(LinkPlugins::MainMenuClsid,
                                           LinkPlugins::MainMenuInterface, nullptr);
    CDeviceMgrService* service = startedService(radioCard(supported, state));
    QVERIFY(service);
    if (!faultOn.isEmpty())
        m_host->card().setFault(faultOn.toStdString(), 1, 1);
    TraceCapture trace;
    QCOMPARE(enable ? service->EnableRF() : service->DisableRF(), result);
    QVERIFY2(trace.contains(line), qPrintable(trace.lines().join('\n')));
    QCOMPARE(notifications(), sent);
    // The menu is refreshed exactly when a notification went out.
    QCOMPARE(m_host->records("menu"), sent.isEmpty() ? QStringList() : QStringList{"RefreshMenu"});
    // The radio requests leave the last RF switch event's state alone.
    QCOMPARE(service->lastSwRFState(), -1);
}

void TestRadioControl::rfSwitchEvents_data()
{
    QTest::addColumn<QString>("events"); // "hw/sw ..."
    QTest::addColumn<QList<int>>("codes");
    QTest::addColumn<int>("lastSw");

    QTest::newRow("both on") << "1/1" << QList<int>{577} << 1;
    QTest::newRow("hw on, sw off, first") << "1/0" << QList<int>{576, 580, 580} << 0;
    QTest::newRow("hw on, sw off, twice")
        << "1/0 1/0" << QList<int>{576, 580, 580, 576, 580, 580} << 0;
    QTest::newRow("both off") << "0/0" << QList<int>{576, 580} << 0;
    QTest::newRow("hw off, sw on") << "0/1" << QList<int>{576, 580} << 1;
    QTest::newRow("sw was on") << "1/1 1/0" << QList<int>{577, 576, 580} << 0;
    QTest::newRow("sw back off after hw off")
        << "0/0 1/0" << QList<int>{576, 580, 576, 580, 580} << 0;
    QTest::newRow("hw not exactly 1") << "2/0" << QList<int>{576, 580} << 0;
}

void TestRadioControl::rfSwitchEvents()
{
    QFETCH(QString, events);
    QFETCH(QList<int>, codes);
    QFETCH(int, lastSw);

    // The slot needs no access layer: a service that was never started.
    CDeviceMgrService* service = CDeviceMgrService::instance();
    QCOMPARE(service->lastSwRFState(), -1);
    for (const auto& event : parseEvents(events))
        service->onSignalRFSwitch(event.first, event.second);

    QStringList expected;
    for (int code : codes)
        expected << QString("broadcast %1 0 0").arg(code);
    QCOMPARE(notifications(), expected);
    QCOMPARE(service->lastSwRFState(), lastSw);
}

void TestRadioControl::rfSwitchRefreshesMenuOnlyOnceLookedUp()
{
    CDeviceMgrService* service = CDeviceMgrService::instance();
    service->onSignalRFSwitch(1, 1);
    QVERIFY(m_host->records("menu").isEmpty());

    // Without a container the menu is not found and stays unknown.
    Startup::SetPluginContainer(nullptr);
    TraceCapture trace;
    service->initMainMenuObj();
    Startup::SetPluginContainer(&m_host->container());
    QVERIFY(trace.contains("Startup::GetPluginContainer failed"));
    service->onSignalRFSwitch(1, 1);
    QVERIFY(m_host->records("menu").isEmpty());

    trace.clear();
    service->initMainMenuObj();
    service->onSignalRFSwitch(0, 0);
    QCOMPARE(m_host->records("menu"), QStringList{"RefreshMenu"});
    QVERIFY(
        trace.contains("onSignalRFSwitch : update radio menu on  UTPS_EVENT_DEV_RF_SWITCH event "));

    // Found once, kept: a later lookup failure does not lose it.
    m_host->container().registerPlugin(LinkPlugins::MainMenuClsid, LinkPlugins::MainMenuInterface,
                                       nullptr);
    service->initMainMenuObj();
    service->onSignalRFSwitch(1, 1);
    QCOMPARE(m_host->records("menu"), (QStringList{"RefreshMenu", "RefreshMenu"}));
}

void TestRadioControl::offlineAndDetachRequests_data()
{
    QTest::addColumn<bool>("offline");
    QTest::addColumn<QString>("setting");
    QTest::addColumn<bool>("fault");
    QTest::addColumn<bool>("called");
    QTest::addColumn<QString>("traceText");

    QTest::newRow("offline, off") << true << "no" << false << false
                                  << "m_pUILogic->IsIMSIDetachEnabled() returned false";
    QTest::newRow("offline, on") << true << "yes" << false << true
                                 << "m_pUILogic->SetOffline() Success";
    QTest::newRow("offline fails")
        << true << "yes" << true << true << "m_pUILogic->SetOffline() returned error";
    QTest::newRow("detach, off") << false << "" << false << false
                                 << "m_pUILogic->IsGPRSDetachEnabled() returned false";
    QTest::newRow("detach, on") << false << "Y" << false << true
                                << "m_pUILogic->DetachGPRS() Success";
    QTest::newRow("detach fails") << false << "Y" << true << true
                                  << "m_pUILogic->DetachGPRS() returned error";
}

void TestRadioControl::offlineAndDetachRequests()
{
    QFETCH(bool, offline);
    QFETCH(QString, setting);
    QFETCH(bool, fault);
    QFETCH(bool, called);
    QFETCH(QString, traceText);

    CDeviceMgrService* service = startedService({});
    QVERIFY(service);
    CommonUtils::SetSettings("customize", offline ? "imsi_detach" : "gprs_detach", setting);
    const char* function = offline ? "UTPS_DevSrv_SetOffline" : "UTPS_NetSrv_SetPSState";
    if (fault)
        m_host->card().setFault(function, 1, 1);
    TraceCapture trace;
    QCOMPARE(offline ? service->SetOffline() : service->DetatchGPRS(), 0);
    QCOMPARE(callsOf(function).size(), called ? 1 : 0);
    QVERIFY2(trace.contains(traceText), qPrintable(trace.lines().join('\n')));
    QVERIFY(notifications().isEmpty());
}

void TestRadioControl::powerEvents()
{
    CDeviceMgrService* service = CDeviceMgrService::instance();
    TraceCapture trace;
    service->OnPowerMgr(7);
    QCOMPARE(notifications(), QStringList{"broadcast 854 7 0"});
    QVERIFY(trace.contains("OnPowerMgr :POWER MGR 7"));

    // Without the notification plug-in, and without a container: nothing at all.
    m_host->container().registerPlugin(LinkPlugins::NotifyClsid, LinkPlugins::NotifyInterface,
                                       nullptr);
    trace.clear();
    service->OnPowerMgr(8);
    Startup::SetPluginContainer(nullptr);
    service->OnPowerMgr(9);
    Startup::SetPluginContainer(&m_host->container());
    QCOMPARE(notifications(), QStringList{"broadcast 854 7 0"});
    QVERIFY(trace.lines().isEmpty());
}

QTEST_MAIN(TestRadioControl)
#include "tst_radiocontrol.moc"
