// The device access core: device list, selection (dropping the data
// connection before a switch), device and SIM status.
#include "CardCalls.h"
#include "DeviceMgrUILogic.h"
#include "HostFixture.h"
#include <sim/VirtualCard.h>

#include <QtTest>

using DeviceList = _UTPS_ST_MULTI_DEVICE_INFO;
// card (0 the one in use, 1 the other), port offset, connected, switch fails,
// asked of the dial-up plug-in in order, the stored selection is the target
using Selection = std::tuple<int, int, bool, bool, QStringList, bool>;
// SIM status, product type, failing request, SIM valid, type text
using SimCase = std::tuple<int, int, QString, bool, QString>;

// Records "<prefix><i>" on ports firstPort + i, as many as fit.
static std::unique_ptr<DeviceList> makeList(int count, const char* prefix, int firstPort)
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

class TestDeviceMgrUILogic : public QObject
{
    Q_OBJECT

    std::unique_ptr<HostFixture> m_host;
    DeviceMgrUILogic* m_logic = nullptr;

    // The stored selection as "<name>@<port>".
    QString selection() const
    {
        return m_logic->StoredCurrentDeviceName() + '@' + QString::number(m_logic->CurrentPort());
    }
    void failOnce(const QString& request)
    {
        if (!request.isEmpty())
            m_host->card().setFault("UTPS_DevSrv_" + request.toStdString(), 1, 1);
    }

private slots:
    void init()
    {
        m_host = std::make_unique<HostFixture>();
        m_logic = m_host->startLogic();
    }
    void cleanup() { m_host.reset(); }
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
        QCOMPARE(selection(), QString(selectsNew ? "New0@40" : "Base0@7"));
    }
    void selectDevice_data()
    {
        QTest::addColumn<Selection>("row");
        const QStringList drop{"IsConnected", "GlobalDisconnect"};
        QTest::newRow("current device") << Selection{0, 0, true, false, {}, false};
        // Same name on another port is another device.
        QTest::newRow("current name, other port") << Selection{0, 50, true, false, drop, false};
        QTest::newRow("other device") << Selection{1, 0, true, false, drop, true};
        QTest::newRow("other device, not connected")
            << Selection{1, 0, false, false, {"IsConnected"}, true};
        QTest::newRow("switch fails") << Selection{1, 0, true, true, drop, false};
    }
    void selectDevice()
    {
        QFETCH(Selection, row);
        const auto& [card, portOffset, connected, switchFails, dialup, selected] = row;
        const char* names[] = {"First Card", "Second Card"};
        m_host->card().addCard(namedCard(names[0], 3));
        m_host->card().addCard(namedCard(names[1], 4));
        m_logic->GetSystemDevStatus(); // the card in use becomes the selection
        m_host->siblings().setDialupConnected(connected);
        failOnce(switchFails ? "ManualChangeDevice" : "");
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
        QCOMPARE(selection(),
                 selected ? QString("%1@%2").arg(names[card]).arg(info.nPort) : "First Card@3");
    }
    void systemDevStatus_data()
    {
        QTest::addColumn<int>("reported"); // status the card reports, -1 = its own
        QTest::addColumn<QString>("faultOn");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("selected");
        // The SDK's short name field: 23 characters and the terminator.
        QTest::newRow("available") << -1 << "" << 3 << "An Unusually Long Data @6";
        QTest::newRow("rejected") << 4 << "" << 4 << "Previous0@2";
        QTest::newRow("status fails") << -1 << "GetDevStatus" << 0 << "Previous0@2";
    }
    void systemDevStatus()
    {
        QFETCH(int, reported);
        QFETCH(QString, faultOn);
        QFETCH(int, status);
        QFETCH(QString, selected);
        m_host->card().addCard(namedCard("An Unusually Long Data Card Name", 6));
        if (reported >= 0)
            QVERIFY(m_host->card().overrideDevStatus(reported));
        m_logic->SetDeviceInfo(makeList(1, "Previous", 2).get());
        failOnce(faultOn);
        QCOMPARE(m_logic->GetSystemDevStatus(), status);
        QCOMPARE(selection(), selected);
    }
    void simQueries_data()
    {
        QTest::addColumn<SimCase>("row");
        QTest::newRow("no SIM (0), UIM") << SimCase{0, 1, "", false, "R-UIM"};
        QTest::newRow("lowest usable (1), SIM") << SimCase{1, 2, "", true, "SIM/USIM"};
        QTest::newRow("highest usable (254), other") << SimCase{254, 5, "", true, "SIM/USIM"};
        QTest::newRow("not usable (255)") << SimCase{255, 2, "", false, "SIM/USIM"};
        QTest::newRow("SIM status fails: valid") << SimCase{0, 1, "GetSimStatus", true, "R-UIM"};
        QTest::newRow("product type fails: no text") << SimCase{1, 1, "GetProductType", true, ""};
    }
    void simQueries()
    {
        QFETCH(SimCase, row);
        const auto& [simStatus, productType, faultOn, valid, typeText] = row;
        CommonUtils::SetSettings("customize", "uimtype", "R-UIM");
        CommonUtils::SetSettings("customize", "simtype", "SIM/USIM");
        sim::CardConfig config;
        config.sim.status = simStatus;
        config.productType = productType;
        m_host->card().addCard(config);
        failOnce(faultOn);
        QCOMPARE(m_logic->isSimValid(), valid);
        QCOMPARE(m_logic->GetSimTypeText(), typeText);
    }
};

QTEST_MAIN(TestDeviceMgrUILogic)
#include "tst_devicemgruilogic.moc"
