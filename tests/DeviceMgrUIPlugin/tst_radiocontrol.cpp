// Radio switching, offline and detach settings, RF switch and power events.
#include "DeviceMgrService.h"
#include "DeviceMgrUILogic.h"
#include "HostFixture.h"
#include "PluginContainer.h"
#include "Transcript.h"
#include "sim/VirtualCard.h"

#include <CommonUtils.h>
#include <SiblingInterfaces.h>

#include <QtTest>

namespace {

QStringList argsOf(const char* function)
{
    QStringList args;
    for (const sim::CallRecord& call : sim::VirtualCard::instance().callLog()) {
        if (call.function == function)
            args.append(QString::fromStdString(call.args));
    }
    return args;
}

sim::CardConfig radioCard(bool supported, int sw)
{
    sim::CardConfig config;
    config.rf.supported = supported;
    config.rf.sw = sw;
    config.rf.hw = 1;
    return config;
}

} // namespace

class TestRadioControl : public QObject
{
    Q_OBJECT

    std::unique_ptr<HostFixture> m_host;

    // The service started on one card and settled, transcript and call log emptied.
    CDeviceMgrService* startedService(const sim::CardConfig& config)
    {
        m_host->card().addCard(config);
        CDeviceMgrService* service = m_host->startService();
        if (!m_host->waitForEvents())
            return nullptr;
        Transcript::instance().clear();
        m_host->card().clearCallLog();
        return service;
    }

    QStringList notifications() const { return m_host->records("notify"); }

private slots:
    void init() { m_host = std::make_unique<HostFixture>(); }
    void cleanup() { m_host.reset(); }

    void switchRfMode_data()
    {
        QTest::addColumn<bool>("supported");
        QTest::addColumn<int>("state"); // as the card reports it
        QTest::addColumn<bool>("on");
        QTest::addColumn<QString>("faultOn");
        QTest::addColumn<int>("result");
        QTest::addColumn<QString>("setTo"); // the set call's argument, if any
        QTest::addColumn<int>("after");     // the card's software switch afterwards
        QTest::newRow("on, already on") << true << 1 << true << "" << 0 << "" << 1;
        QTest::newRow("off, already off") << true << 0 << false << "" << 0 << "" << 0;
        QTest::newRow("off from on") << true << 1 << false << "" << 0 << "0" << 0;
        // Only exactly 0 and 1 count as being there already.
        QTest::newRow("on from state 2") << true << 2 << true << "" << 0 << "1" << 1;
        QTest::newRow("not switchable") << false << 0 << true << "" << 15 << "" << 0;
        QTest::newRow("read fails") << true << 0 << true << "GetRFSwitch" << 1 << "" << 0;
        QTest::newRow("set fails") << true << 0 << true << "SetRFSwitch" << 1 << "1" << 0;
    }

    void switchRfMode()
    {
        QFETCH(bool, supported);
        QFETCH(int, state);
        QFETCH(bool, on);
        QFETCH(QString, faultOn);
        QFETCH(int, result);
        QFETCH(QString, setTo);
        QFETCH(int, after);
        QVERIFY(startedService(radioCard(supported, state)));
        // The card itself only answers 0 or 1.
        if (state > 1)
            QVERIFY(m_host->card().overrideRfState(state));
        if (!faultOn.isEmpty())
            m_host->card().setFault("UTPS_DevSrv_" + faultOn.toStdString(), 1, 1);

        QCOMPARE(DeviceMgrUILogic::GetInstance()->SwitchRFMode(on), result);
        QCOMPARE(argsOf("UTPS_DevSrv_SetRFSwitch").join(','), setTo);
        QCOMPARE(m_host->card().card(0)->config.rf.sw, after);
    }

    void detachSettings_data()
    {
        QTest::addColumn<QString>("value");
        QTest::addColumn<bool>("on");
        QTest::newRow("Yes") << "Yes" << true;
        QTest::newRow("y") << "y" << true;
        QTest::newRow("ANY") << "ANY" << true;
        QTest::newRow("no") << "no" << false;
        QTest::newRow("1") << "1" << false;
        QTest::newRow("empty") << "" << false;
    }

    void detachSettings()
    {
        QFETCH(QString, value);
        QFETCH(bool, on);
        CDeviceMgrService* service = startedService({});
        QVERIFY(service);
        // The other key set the other way: each request reads its own key.
        CommonUtils::SetSettings("customize", "imsi_detach", value);
        CommonUtils::SetSettings("customize", "gprs_detach", on ? "no" : "Yes");

        QCOMPARE(service->SetOffline(), 0);
        QCOMPARE(service->DetatchGPRS(), 0);
        QCOMPARE(argsOf("UTPS_DevSrv_SetOffline").size(), on ? 1 : 0);
        QCOMPARE(argsOf("UTPS_NetSrv_SetPSState"), on ? QStringList() : QStringList{"0"});
        QCOMPARE(m_host->card().card(0)->offline, on);
    }

    void requestsWithoutAccessLayer()
    {
        m_host->card().addCard(radioCard(true, 0));
        // Created but never started: no access layer yet.
        CDeviceMgrService* service = CDeviceMgrService::instance();
        QCOMPARE(service->EnableRF(), 13);
        QVERIFY(notifications().isEmpty());
        QVERIFY(m_host->records("menu").isEmpty());
        QCOMPARE(m_host->card().callLog().size(), size_t(0));
    }

    void rfSwitchEvents_data()
    {
        QTest::addColumn<QList<uint>>("events"); // hw, sw, hw, sw ...
        QTest::addColumn<QList<int>>("codes");
        QTest::addColumn<int>("lastSw");
        QTest::newRow("both on") << QList<uint>{1, 1} << QList<int>{577} << 1;
        QTest::newRow("hw on, sw off") << QList<uint>{1, 0} << QList<int>{576, 580, 580} << 0;
        QTest::newRow("hw off, sw on") << QList<uint>{0, 1} << QList<int>{576, 580} << 1;
        QTest::newRow("sw was on") << QList<uint>{1, 1, 1, 0} << QList<int>{577, 576, 580} << 0;
        QTest::newRow("sw off after hw off")
            << QList<uint>{0, 0, 1, 0} << QList<int>{576, 580, 576, 580, 580} << 0;
        QTest::newRow("hw not exactly 1") << QList<uint>{2, 0} << QList<int>{576, 580} << 0;
    }

    void rfSwitchEvents()
    {
        QFETCH(QList<uint>, events);
        QFETCH(QList<int>, codes);
        QFETCH(int, lastSw);
        // The slot needs no access layer: a service that was never started.
        CDeviceMgrService* service = CDeviceMgrService::instance();
        QCOMPARE(service->lastSwRFState(), -1);
        for (int i = 0; i + 1 < events.size(); i += 2)
            service->onSignalRFSwitch(events[i], events[i + 1]);

        QStringList expected;
        for (int code : codes)
            expected << QString("broadcast %1 0 0").arg(code);
        QCOMPARE(notifications(), expected);
        QCOMPARE(service->lastSwRFState(), lastSw);
    }

    void powerEventsNeedTheNotifier()
    {
        CDeviceMgrService* service = CDeviceMgrService::instance();
        service->OnPowerMgr(7);
        QCOMPARE(notifications(), QStringList{"broadcast 854 7 0"});

        m_host->container().registerPlugin(LinkPlugins::NotifyClsid, LinkPlugins::NotifyInterface,
                                           nullptr);
        service->OnPowerMgr(8);
        QCOMPARE(notifications(), QStringList{"broadcast 854 7 0"});
    }
};

QTEST_MAIN(TestRadioControl)
#include "tst_radiocontrol.moc"
