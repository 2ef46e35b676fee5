// Radio switching, offline and detach settings, RF switch and power events.
#include "DeviceMgrService.h"
#include "DeviceMgrUILogic.h"
#include "HostFixture.h"
#include <sim/VirtualCard.h>

#include <SiblingInterfaces.h>

#include <QtTest>

// The arguments of every call of `function`, in order.
static QStringList argsOf(const char* function)
{
    QStringList args;
    for (const sim::CallRecord& call : sim::VirtualCard::instance().callLog()) {
        if (call.function == function)
            args.append(QString::fromStdString(call.args));
    }
    return args;
}

// switchable, state as the card reports it, switched on, failing request;
// result, the set call's argument (if any), the card's software switch after
using RfCase = std::tuple<bool, int, bool, QString, int, QString, int>;

class TestRadioControl : public QObject
{
    Q_OBJECT

    std::unique_ptr<HostFixture> m_host;

private slots:
    void init() { m_host = std::make_unique<HostFixture>(); }
    void cleanup() { m_host.reset(); }
    void switchRfMode_data()
    {
        QTest::addColumn<RfCase>("row");
        QTest::newRow("on, already on") << RfCase{true, 1, true, "", 0, "", 1};
        QTest::newRow("off, already off") << RfCase{true, 0, false, "", 0, "", 0};
        QTest::newRow("off from on") << RfCase{true, 1, false, "", 0, "0", 0};
        // Only exactly 0 and 1 count as being there already.
        QTest::newRow("on from state 2") << RfCase{true, 2, true, "", 0, "1", 1};
        QTest::newRow("not switchable") << RfCase{false, 0, true, "", 15, "", 0};
        QTest::newRow("read fails") << RfCase{true, 0, true, "GetRFSwitch", 1, "", 0};
        QTest::newRow("set fails") << RfCase{true, 0, true, "SetRFSwitch", 1, "1", 0};
    }
    void switchRfMode()
    {
        QFETCH(RfCase, row);
        const auto& [supported, state, on, faultOn, result, setTo, after] = row;
        sim::CardConfig config;
        config.rf = {supported, state, 1};
        QVERIFY(m_host->startWith({config}));
        m_host->card().clearCallLog();
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
        for (const char* value : {"Yes", "y", "ANY"})
            QTest::newRow(value) << value << true;
        for (const char* value : {"no", "1", ""})
            QTest::newRow(*value ? value : "empty") << value << false;
    }
    void detachSettings()
    {
        QFETCH(QString, value);
        QFETCH(bool, on);
        CDeviceMgrService* service = m_host->startWith({sim::CardConfig{}});
        QVERIFY(service);
        m_host->card().clearCallLog();
        // The other key set the other way: each request reads its own key.
        CommonUtils::SetSettings("customize", "imsi_detach", value);
        CommonUtils::SetSettings("customize", "gprs_detach", on ? "no" : "Yes");

        QCOMPARE(service->SetOffline(), 0);
        QCOMPARE(service->DetatchGPRS(), 0);
        QCOMPARE(argsOf("UTPS_DevSrv_SetOffline").size(), on ? 1 : 0);
        QCOMPARE(argsOf("UTPS_NetSrv_SetPSState"), on ? QStringList() : QStringList{"0"});
        QCOMPARE(m_host->card().card(0)->offline, on);
    }
    void unstartedService_data()
    {
        QTest::addColumn<QList<uint>>("rf"); // RF switch events: hw, sw, hw, sw ...
        QTest::addColumn<QList<int>>("codes");
        QTest::addColumn<int>("lastSw");
        QTest::newRow("both on") << QList<uint>{1, 1} << QList<int>{NTF_RF_ON} << 1;
        QTest::newRow("hw on, sw off")
            << QList<uint>{1, 0}
            << QList<int>{NTF_RF_OFF, NTF_RF_SWITCH_CHANGED, NTF_RF_SWITCH_CHANGED} << 0;
        QTest::newRow("hw off, sw on")
            << QList<uint>{0, 1} << QList<int>{NTF_RF_OFF, NTF_RF_SWITCH_CHANGED} << 1;
        QTest::newRow("sw was on") << QList<uint>{1, 1, 1, 0}
                                   << QList<int>{NTF_RF_ON, NTF_RF_OFF, NTF_RF_SWITCH_CHANGED} << 0;
        QTest::newRow("sw off after hw off")
            << QList<uint>{0, 0, 1, 0}
            << QList<int>{NTF_RF_OFF, NTF_RF_SWITCH_CHANGED, NTF_RF_OFF, NTF_RF_SWITCH_CHANGED,
                          NTF_RF_SWITCH_CHANGED}
            << 0;
        QTest::newRow("hw not exactly 1")
            << QList<uint>{2, 0} << QList<int>{NTF_RF_OFF, NTF_RF_SWITCH_CHANGED} << 0;
    }
    // Created but never started, the service has no access layer yet: radio
    // requests do nothing, while RF switch and power events need none.
    void unstartedService()
    {
        QFETCH(QList<uint>, rf);
        QFETCH(QList<int>, codes);
        QFETCH(int, lastSw);
        sim::CardConfig radioOff;
        radioOff.rf.sw = 0;
        m_host->card().addCard(radioOff);
        CDeviceMgrService* service = CDeviceMgrService::instance();
        QCOMPARE(service->EnableRF(), 13);
        QVERIFY(m_host->records("menu").isEmpty());
        QCOMPARE(m_host->card().callLog().size(), size_t(0));
        for (int i = 0; i + 1 < rf.size(); i += 2)
            service->onSignalRFSwitch(rf[i], rf[i + 1]);
        QCOMPARE(service->lastSwRFState(), lastSw);
        service->OnPowerMgr(7);
        // Without the notifier a power event goes nowhere.
        m_host->container().registerPlugin(LinkPlugins::NotifyClsid, LinkPlugins::NotifyInterface,
                                           nullptr);
        service->OnPowerMgr(8);
        QStringList expected;
        for (int code : codes)
            expected << broadcast(code);
        QCOMPARE(m_host->records("notify"), expected << broadcast(NTF_POWER_MGR, 7));
    }
};

QTEST_MAIN(TestRadioControl)
#include "tst_radiocontrol.moc"
