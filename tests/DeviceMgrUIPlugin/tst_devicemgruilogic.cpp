// The device access core: device list, selection (dropping the data
// connection before a switch), device and SIM status.
#include "CardCalls.h"
#include "DeviceMgrUILogic.h"
#include "HostFixture.h"
#include "HostSiblings.h"
#include "sim/VirtualCard.h"

#include <CommonUtils.h>

#include <QtTest>

namespace {

using DeviceList = _UTPS_ST_MULTI_DEVICE_INFO;

// Records "<prefix><i>" on ports firstPort + i, as many as fit.
std::unique_ptr<DeviceList> makeList(int count, const char* prefix, int firstPort)
{
    auto list = std::make_unique<DeviceList>(); // zeroed
    list->nDevNum = count;
    for (int i = 0; i < qMin(count, int(MAX_DEVICE_COUNT)); ++i) {
        qstrncpy(list->stDevInfo[i].szDeviceName, prefix + QByteArray::number(i),
                 UTPS_DEVICE_NAME_LEN);
        list->stDevInfo[i].nPort = firstPort + i;
    }
    return list;
}

sim::CardConfig namedCard(const char* name, int port)
{
    sim::CardConfig config;
    config.name = name;
    config.port = port;
    return config;
}

} // namespace

class TestDeviceMgrUILogic : public QObject
{
    Q_OBJECT

    std::unique_ptr<HostFixture> m_host;
    DeviceMgrUILogic* m_logic = nullptr;

    void expectSelection(const char* name, int port)
    {
        QCOMPARE(m_logic->StoredCurrentDeviceName(), QString::fromLatin1(name));
        QCOMPARE(m_logic->CurrentPort(), port);
    }

private slots:
    void init()
    {
        m_host = std::make_unique<HostFixture>();
        // Cards only start once someone listens for device events.
        QCOMPARE(UTPS_DevSrv_RegisterDevMgrCallback([](int, void*) { return 0; }), 0);
        m_logic = DeviceMgrUILogic::GetInstance();
        m_logic->init();
    }

    void cleanup()
    {
        delete m_logic;
        m_logic = nullptr;
        m_host.reset();
    }

    void setDeviceInfo_data()
    {
        QTest::addColumn<int>("count");
        QTest::addColumn<int>("storedCount");
        QTest::addColumn<int>("copied");      // records taken from the new list
        QTest::addColumn<bool>("selectsNew"); // the first new device becomes current
        QTest::newRow("one selects it") << 1 << 1 << 1 << true;
        QTest::newRow("two keep the selection") << 2 << 2 << 2 << false;
        QTest::newRow("64 all stored") << 64 << 64 << 64 << false;
        QTest::newRow("65 refused") << 65 << 3 << 0 << false;
        QTest::newRow("negative stored, nothing copied") << -3 << -3 << 0 << false;
    }

    void setDeviceInfo()
    {
        QFETCH(int, count);
        QFETCH(int, storedCount);
        QFETCH(int, copied);
        QFETCH(bool, selectsNew);
        // A selected single device, then three old ones.
        m_logic->SetDeviceInfo(makeList(1, "Base", 7).get());
        m_logic->SetDeviceInfo(makeList(3, "Old", 20).get());

        auto fresh = makeList(count, "New", 40);
        if (count < 0) // a record in reach of a copy that ignores the sign
            qstrncpy(fresh->stDevInfo[0].szDeviceName, "Stray", UTPS_DEVICE_NAME_LEN);
        m_logic->SetDeviceInfo(fresh.get());

        const DeviceList& stored = m_logic->StoredDeviceInfo();
        QCOMPARE(stored.nDevNum, storedCount);
        for (int i = 0; i < 3 || i < copied; ++i) {
            const bool isNew = i < copied;
            QCOMPARE(QString::fromLatin1(stored.stDevInfo[i].szDeviceName),
                     QString(isNew ? "New%1" : "Old%1").arg(i));
            QCOMPARE(stored.stDevInfo[i].nPort, (isNew ? 40 : 20) + i);
        }
        if (selectsNew)
            expectSelection("New0", 40);
        else
            expectSelection("Base0", 7);
    }

    void selectDevice_data()
    {
        QTest::addColumn<int>("card"); // 0 the one in use, 1 the other
        QTest::addColumn<int>("portOffset");
        QTest::addColumn<bool>("connected");
        QTest::addColumn<bool>("switchFails");
        QTest::addColumn<QStringList>("dialup"); // asked of the dial-up plug-in, in order
        QTest::addColumn<bool>("selected");      // the stored selection is the target
        const QStringList drop{"IsConnected", "GlobalDisconnect"};
        QTest::newRow("current device") << 0 << 0 << true << false << QStringList() << false;
        // Same name on another port is another device.
        QTest::newRow("current name, other port") << 0 << 50 << true << false << drop << false;
        QTest::newRow("other device") << 1 << 0 << true << false << drop << true;
        QTest::newRow("other device, not connected")
            << 1 << 0 << false << false << QStringList{"IsConnected"} << true;
        QTest::newRow("switch fails") << 1 << 0 << true << true << drop << false;
    }

    void selectDevice()
    {
        QFETCH(int, card);
        QFETCH(int, portOffset);
        QFETCH(bool, connected);
        QFETCH(bool, switchFails);
        QFETCH(QStringList, dialup);
        QFETCH(bool, selected);
        const char* names[] = {"First Card", "Second Card"};
        m_host->card().addCard(namedCard(names[0], 3));
        m_host->card().addCard(namedCard(names[1], 4));
        m_logic->GetSystemDevStatus(); // the card in use becomes the selection
        expectSelection(names[0], 3);
        m_host->siblings().setDialupConnected(connected);
        if (switchFails)
            m_host->card().setFault("UTPS_DevSrv_ManualChangeDevice", 1, 1);
        m_host->card().clearCallLog();
        const int before = m_host->records("dialup").size();

        _UTPS_ST_DEVICE_INFO info{};
        qstrncpy(info.szDeviceName, names[card], UTPS_DEVICE_NAME_LEN);
        info.nPort = 3 + card + portOffset;
        const bool switched = !dialup.isEmpty();
        QCOMPARE(m_logic->SelectDevice(info), switched && !selected ? 1 : 0);
        QCOMPARE(callCount("UTPS_DevSrv_ManualChangeDevice"), switched ? 1 : 0);
        // The connection is dropped before any switch, failed ones included.
        QCOMPARE(m_host->records("dialup").mid(before), dialup);
        QCOMPARE(m_host->siblings().dialup()->connected(), connected && !switched);
        if (selected)
            expectSelection(names[card], info.nPort);
        else
            expectSelection(names[0], 3);
    }

    void systemDevStatus_data()
    {
        QTest::addColumn<int>("reported"); // status the card reports, -1 = its own
        QTest::addColumn<QString>("faultOn");
        QTest::addColumn<int>("status");
        QTest::newRow("available") << -1 << "" << 3;
        QTest::newRow("rejected") << 4 << "" << 4;
        QTest::newRow("status fails") << -1 << "GetDevStatus" << 0;
    }

    void systemDevStatus()
    {
        QFETCH(int, reported);
        QFETCH(QString, faultOn);
        QFETCH(int, status);
        m_host->card().addCard(namedCard("An Unusually Long Data Card Name", 6));
        if (reported >= 0)
            QVERIFY(m_host->card().overrideDevStatus(reported));
        m_logic->SetDeviceInfo(makeList(1, "Previous", 2).get());
        if (!faultOn.isEmpty())
            m_host->card().setFault("UTPS_DevSrv_" + faultOn.toStdString(), 1, 1);

        QCOMPARE(m_logic->GetSystemDevStatus(), status);
        // The SDK's short name field: 23 characters and the terminator.
        if (status == 3)
            expectSelection("An Unusually Long Data ", 6);
        else
            expectSelection("Previous0", 2);
    }

    void simQueries_data()
    {
        QTest::addColumn<int>("simStatus");
        QTest::addColumn<int>("productType");
        QTest::addColumn<QString>("faultOn");
        QTest::addColumn<bool>("valid");
        QTest::addColumn<QString>("typeText");
        QTest::newRow("no SIM (0), UIM") << 0 << 1 << "" << false << "R-UIM";
        QTest::newRow("lowest usable (1), SIM") << 1 << 2 << "" << true << "SIM/USIM";
        QTest::newRow("highest usable (254), other") << 254 << 5 << "" << true << "SIM/USIM";
        QTest::newRow("not usable (255)") << 255 << 2 << "" << false << "SIM/USIM";
        QTest::newRow("SIM status fails: valid") << 0 << 1 << "GetSimStatus" << true << "R-UIM";
        QTest::newRow("product type fails: no text") << 1 << 1 << "GetProductType" << true << "";
    }

    void simQueries()
    {
        QFETCH(int, simStatus);
        QFETCH(int, productType);
        QFETCH(QString, faultOn);
        QFETCH(bool, valid);
        QFETCH(QString, typeText);
        CommonUtils::SetSettings("customize", "uimtype", "R-UIM");
        CommonUtils::SetSettings("customize", "simtype", "SIM/USIM");
        sim::CardConfig config;
        config.sim.status = simStatus;
        config.productType = productType;
        m_host->card().addCard(config);
        if (!faultOn.isEmpty())
            m_host->card().setFault("UTPS_DevSrv_" + faultOn.toStdString(), 1, 1);
        QCOMPARE(m_logic->isSimValid(), valid);
        QCOMPARE(m_logic->GetSimTypeText(), typeText);
    }
};

QTEST_MAIN(TestDeviceMgrUILogic)
#include "tst_devicemgruilogic.moc"
