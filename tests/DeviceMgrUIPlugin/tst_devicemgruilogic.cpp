// The device access core: device list, selection, device and SIM status,
// customisation lookups and dropping the data connection before a switch.
#include "DeviceMgrUILogic.h"
#include "HostFixture.h"
#include "HostSiblings.h"
#include "PluginContainer.h"
#include "TraceCapture.h"
#include "sim/VirtualCard.h"

#include <CommonUtils.h>
#include <SiblingInterfaces.h>
#include <Startup.h>

#include <QtTest>

#include <cstring>
#include <functional>
#include <memory>

namespace {

using DeviceList = _UTPS_ST_MULTI_DEVICE_INFO;

std::unique_ptr<DeviceList> makeList(int count, const QString& prefix, int firstPort)
{
    auto list = std::make_unique<DeviceList>();
    std::memset(list.get(), 0, sizeof(DeviceList));
    list->nDevNum = count;
    for (int i = 0; i < qBound(0, count, MAX_DEVICE_COUNT); ++i) {
        const QByteArray name = (prefix + QString::number(i)).toLatin1();
        qstrncpy(list->stDevInfo[i].szDeviceName, name.constData(), UTPS_DEVICE_NAME_LEN);
        list->stDevInfo[i].nPort = firstPort + i;
        list->stDevInfo[i].nProtocol = 100 + i;
    }
    return list;
}

QString storedName(const DeviceList& list, int index)
{
    return QString::fromLatin1(list.stDevInfo[index].szDeviceName);
}

_UTPS_ST_DEVICE_INFO deviceInfo(const QString& name, int port)
{
    _UTPS_ST_DEVICE_INFO info{};
    qstrncpy(info.szDeviceName, name.toLatin1().constData(), UTPS_DEVICE_NAME_LEN);
    info.nPort = port;
    return info;
}

// Cards only start once someone listens for device events.
int ignoreEvent(int, void*)
{
    return 0;
}

int callCount(const std::string& function)
{
    int count = 0;
    for (const sim::CallRecord& call : sim::VirtualCard::instance().callLog()) {
        if (call.function == function)
            ++count;
    }
    return count;
}

} // namespace

class TestDeviceMgrUILogic : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void destroyedInstanceIsReplaced();
    void initAndClearDefaults();
    void setDeviceInfo_data();
    void setDeviceInfo();
    void setDeviceInfoNullKeepsEverything();
    void setDeviceInfoTerminatesLongNames();
    void selectDevice_data();
    void selectDevice();
    void systemDevStatus_data();
    void systemDevStatus();
    void sdkFailureResults_data();
    void sdkFailureResults();
    void simValid_data();
    void simValid();
    void simTypeText_data();
    void simTypeText();
    void interruptServers_data();
    void interruptServers();
    void interruptServersWithoutContainer();

private:
    std::unique_ptr<HostFixture> m_host;
    DeviceMgrUILogic* m_logic = nullptr;
};

void TestDeviceMgrUILogic::init()
{
    m_host = std::make_unique<HostFixture>();
    QCOMPARE(UTPS_DevSrv_RegisterDevMgrCallback(ignoreEvent), 0);
    m_host->card().clearCallLog();
    m_logic = DeviceMgrUILogic::GetInstance();
    m_logic->init();
}

void TestDeviceMgrUILogic::cleanup()
{
    delete m_logic;
    m_logic = nullptr;
    m_host.reset();
}

void TestDeviceMgrUILogic::destroyedInstanceIsReplaced()
{
    QCOMPARE(DeviceMgrUILogic::GetInstance(), m_logic);
    QCOMPARE(m_logic->StoredDeviceInfo().nDevNum, -1);
    delete m_logic;
    // A fresh object: init has not run on it, so its list is the zeroed one.
    m_logic = DeviceMgrUILogic::GetInstance();
    QVERIFY(m_logic);
    QCOMPARE(m_logic->StoredDeviceInfo().nDevNum, 0);
    QCOMPARE(DeviceMgrUILogic::GetInstance(), m_logic);
}

void TestDeviceMgrUILogic::initAndClearDefaults()
{
    auto one = makeList(1, "Card", 5);
    m_logic->SetDeviceInfo(one.get());
    QCOMPARE(m_logic->CurrentPort(), 5);

    m_logic->ClearDeviceInfo();
    QCOMPARE(m_logic->StoredDeviceInfo().nDevNum, 0);
    QCOMPARE(storedName(m_logic->StoredDeviceInfo(), 0), QString());
    QCOMPARE(m_logic->StoredDeviceInfo().stDevInfo[0].nPort, 0);
    QCOMPARE(m_logic->CurrentPort(), -1);
    QCOMPARE(m_logic->GetCurrentDeviceProtocol(), 0);
    QCOMPARE(m_logic->StoredCurrentDeviceName(), QString());

    m_logic->SetDeviceInfo(one.get());
    m_logic->init();
    QCOMPARE(m_logic->StoredDeviceInfo().nDevNum, -1);
    QCOMPARE(m_logic->CurrentPort(), -1);
    QCOMPARE(m_logic->StoredCurrentDeviceName(), QString());
    QCOMPARE(m_logic->RetryTimes(), 0);
    QCOMPARE(m_logic->PinStatus(), 0);
}

void TestDeviceMgrUILogic::setDeviceInfo_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("storedCount");
    QTest::addColumn<int>("copied");      // records taken from the new list
    QTest::addColumn<bool>("selectsNew"); // the first new device becomes current

    QTest::newRow("none") << 0 << 0 << 0 << false;
    QTest::newRow("one selects it") << 1 << 1 << 1 << true;
    QTest::newRow("two keep the selection") << 2 << 2 << 2 << false;
    QTest::newRow("64 all stored") << 64 << 64 << 64 << false;
    QTest::newRow("65 refused") << 65 << 3 << 0 << false;
    QTest::newRow("negative stored, nothing copied") << -3 << -3 << 0 << false;
}

void TestDeviceMgrUILogic::setDeviceInfo()
{
    QFETCH(int, count);
    QFETCH(int, storedCount);
    QFETCH(int, copied);
    QFETCH(bool, selectsNew);

    // A selected single device, then a list of three old devices.
    auto base = makeList(1, "Base", 7);
    base->stDevInfo[0].nProtocol = 42;
    m_logic->SetDeviceInfo(base.get());
    auto old = makeList(3, "Old", 20);
    m_logic->SetDeviceInfo(old.get());
    QCOMPARE(m_logic->StoredCurrentDeviceName(), QString("Base0"));

    auto fresh = makeList(count, "New", 40);
    m_logic->SetDeviceInfo(fresh.get());

    const DeviceList& stored = m_logic->StoredDeviceInfo();
    QCOMPARE(stored.nDevNum, storedCount);
    for (int i = 0; i < copied; ++i) {
        QCOMPARE(storedName(stored, i), QString("New%1").arg(i));
        QCOMPARE(stored.stDevInfo[i].nPort, 40 + i);
        QCOMPARE(stored.stDevInfo[i].nProtocol, 100 + i);
    }
    // Slots the new list does not cover keep what they held.
    for (int i = copied; i < 3; ++i) {
        QCOMPARE(storedName(stored, i), QString("Old%1").arg(i));
        QCOMPARE(stored.stDevInfo[i].nPort, 20 + i);
    }
    if (selectsNew) {
        QCOMPARE(m_logic->StoredCurrentDeviceName(), QString("New0"));
        QCOMPARE(m_logic->CurrentPort(), 40);
        QCOMPARE(m_logic->GetCurrentDeviceProtocol(), 100);
    } else {
        QCOMPARE(m_logic->StoredCurrentDeviceName(), QString("Base0"));
        QCOMPARE(m_logic->CurrentPort(), 7);
        QCOMPARE(m_logic->GetCurrentDeviceProtocol(), 42);
    }
}

void TestDeviceMgrUILogic::setDeviceInfoNullKeepsEverything()
{
    auto one = makeList(1, "Card", 9);
    m_logic->SetDeviceInfo(one.get());
    TraceCapture trace;
    m_logic->SetDeviceInfo(nullptr);
    QVERIFY(trace.contains("SetDeviceInfo : Input params NULL"));
    QCOMPARE(m_logic->StoredDeviceInfo().nDevNum, 1);
    QCOMPARE(m_logic->CurrentPort(), 9);
}

void TestDeviceMgrUILogic::setDeviceInfoTerminatesLongNames()
{
    // A name that fills the SDK's whole field, without a terminator.
    auto list = makeList(1, "x", 3);
    std::memset(list->stDevInfo[0].szDeviceName, 'N', UTPS_DEVICE_NAME_LEN);
    m_logic->SetDeviceInfo(list.get());
    const QString expected(UTPS_DEVICE_NAME_LEN - 1, QLatin1Char('N'));
    QCOMPARE(storedName(m_logic->StoredDeviceInfo(), 0), expected);
    QCOMPARE(m_logic->StoredCurrentDeviceName(), expected);
}

void TestDeviceMgrUILogic::selectDevice_data()
{
    QTest::addColumn<int>("target");      // card index to select
    QTest::addColumn<int>("portOffset");  // added to the card's port
    QTest::addColumn<bool>("connected");  // dial-up connection up
    QTest::addColumn<int>("switchFault"); // UTPS_DevSrv_ManualChangeDevice result, 0 = none
    QTest::addColumn<int>("result");
    QTest::addColumn<bool>("switched"); // the SDK was asked to switch
    QTest::addColumn<bool>("selected"); // the stored selection is the target

    QTest::newRow("current device") << 0 << 0 << true << 0 << 0 << false << false;
    // No plugged card has that port: the switch is tried and fails.
    QTest::newRow("current name, other port") << 0 << 50 << false << 0 << 1 << true << false;
    QTest::newRow("other device") << 1 << 0 << false << 0 << 0 << true << true;
    QTest::newRow("other device, connected") << 1 << 0 << true << 0 << 0 << true << true;
    QTest::newRow("switch fails") << 1 << 0 << true << 1 << 1 << true << false;
}

void TestDeviceMgrUILogic::selectDevice()
{
    QFETCH(int, target);
    QFETCH(int, portOffset);
    QFETCH(bool, connected);
    QFETCH(int, switchFault);
    QFETCH(int, result);
    QFETCH(bool, switched);
    QFETCH(bool, selected);

    sim::CardConfig first;
    first.name = "First Card";
    first.port = 3;
    sim::CardConfig second;
    second.name = "Second Card";
    second.port = 4;
    m_host->card().addCard(first);
    m_host->card().addCard(second);
    QCOMPARE(m_host->card().currentCard(), 0);
    auto single = makeList(1, "Single", 9); // leaves protocol 100 selected
    m_logic->SetDeviceInfo(single.get());
    auto list = makeList(2, "unused", 0);
    m_logic->SetDeviceInfo(list.get());
    m_logic->GetSystemDevStatus(); // the card's current device becomes the selection
    QCOMPARE(m_logic->StoredCurrentDeviceName(), QString("First Card"));

    m_host->siblings().setDialupConnected(connected);
    if (switchFault)
        m_host->card().setFault("UTPS_DevSrv_ManualChangeDevice", switchFault, 1);
    m_host->card().clearCallLog();
    const int beforeSwitch = m_host->records("dialup").size();

    const auto& card = target == 0 ? first : second;
    const QString name = QString::fromStdString(card.name);
    const int port = card.port + portOffset;
    TraceCapture trace;
    QCOMPARE(m_logic->SelectDevice(deviceInfo(name, port)), result);

    QCOMPARE(callCount("UTPS_DevSrv_ManualChangeDevice"), switched ? 1 : 0);
    const QStringList dialup = m_host->records("dialup").mid(beforeSwitch);
    QStringList expectedDialup;
    if (switched)
        expectedDialup << "IsConnected";
    if (switched && connected)
        expectedDialup << "GlobalDisconnect";
    QCOMPARE(dialup, expectedDialup);
    QCOMPARE(trace.contains("Same Device selected, No change required"), !switched);
    QCOMPARE(trace.contains("UTPS_DevSrv_ManualChangeDevice returned error"), result != 0);

    if (selected) {
        QCOMPARE(m_logic->StoredCurrentDeviceName(), name);
        QCOMPARE(m_logic->CurrentPort(), port);
    } else {
        QCOMPARE(m_logic->StoredCurrentDeviceName(), QString("First Card"));
        QCOMPARE(m_logic->CurrentPort(), 3);
    }
    // A switch does not report the new protocol: the old one stays.
    QCOMPARE(m_logic->GetCurrentDeviceProtocol(), 100);
}

void TestDeviceMgrUILogic::systemDevStatus_data()
{
    QTest::addColumn<QString>("faultOn");
    QTest::addColumn<bool>("plugged");
    QTest::addColumn<int>("reported"); // device status the card reports, -1 = its own
    QTest::addColumn<int>("status");
    QTest::addColumn<bool>("selects");
    QTest::addColumn<QString>("traceText");

    QTest::newRow("available") << "" << true << -1 << 3 << true << "";
    QTest::newRow("initialising") << "" << true << 2 << 2 << false << "";
    QTest::newRow("connected") << "" << true << 1 << 1 << false << "";
    QTest::newRow("rejected") << "" << true << 4 << 4 << false << "";
    // Status 0, then the name cannot be read: 0 either way.
    QTest::newRow("no device") << "" << false << -1 << 0 << false
                               << "UTPS_DevSrv_GetDeviceName returned error";
    QTest::newRow("status fails") << "UTPS_DevSrv_GetDevStatus" << true << -1 << 0 << false
                                  << "UTPS_DevSrv_GetDevStatus returned error";
    QTest::newRow("name fails") << "UTPS_DevSrv_GetDeviceName" << true << -1 << 0 << false
                                << "UTPS_DevSrv_GetDeviceName returned error";
    QTest::newRow("port fails") << "UTPS_DevSrv_GetDevicePort" << true << -1 << 0 << false
                                << "UTPS_DevSrv_GetDevicePort returned error";
}

void TestDeviceMgrUILogic::systemDevStatus()
{
    QFETCH(QString, faultOn);
    QFETCH(bool, plugged);
    QFETCH(int, reported);
    QFETCH(int, status);
    QFETCH(bool, selects);
    QFETCH(QString, traceText);

    sim::CardConfig config;
    config.name = "An Unusually Long Data Card Name";
    config.port = 6;
    config.plugged = plugged;
    m_host->card().addCard(config);
    if (reported >= 0)
        QVERIFY(m_host->card().overrideDevStatus(reported));
    auto previous = makeList(1, "Previous", 2);
    m_logic->SetDeviceInfo(previous.get());
    if (!faultOn.isEmpty())
        m_host->card().setFault(faultOn.toStdString(), 1, 1);

    TraceCapture trace;
    QCOMPARE(m_logic->GetSystemDevStatus(), status);
    if (!traceText.isEmpty())
        QVERIFY2(trace.contains("GetSystemDevStatus : " + traceText),
                 qPrintable(trace.lines().join('\n')));

    if (selects) {
        // The SDK's short name field holds 23 characters and the terminator.
        const QString full = QString::fromStdString(config.name);
        const QString stored = m_logic->StoredCurrentDeviceName();
        QCOMPARE(stored, full.left(UTPS_SHORT_NAME_LEN - 1));
        QCOMPARE(m_logic->CurrentPort(), 6);
    } else {
        QCOMPARE(m_logic->StoredCurrentDeviceName(), QString("Previous0"));
        QCOMPARE(m_logic->CurrentPort(), 2);
    }
}

void TestDeviceMgrUILogic::sdkFailureResults_data()
{
    QTest::addColumn<QString>("function");
    QTest::addColumn<QString>("operation");
    QTest::addColumn<int>("healthy");
    QTest::addColumn<int>("failed");

    QTest::newRow("device list") << "UTPS_DevSrv_GetAvailableDeviceList"
                                 << "GetDeviceInfo" << 1 << 0;
    QTest::newRow("port") << "UTPS_DevSrv_GetDevicePort"
                          << "GetCurrentDevicePortNo" << 8 << 0;
    QTest::newRow("device status") << "UTPS_DevSrv_GetDevStatus"
                                   << "GetDeviceStatus" << 0 << 15;
    QTest::newRow("sim status") << "UTPS_DevSrv_GetSimStatus"
                                << "GetSimStatus" << 7 << 0;
    QTest::newRow("device name") << "UTPS_DevSrv_GetDeviceName"
                                 << "GetDeviceName" << 1 << 0;
}

void TestDeviceMgrUILogic::sdkFailureResults()
{
    QFETCH(QString, function);
    QFETCH(QString, operation);
    QFETCH(int, healthy);
    QFETCH(int, failed);

    sim::CardConfig config;
    config.name = "Card";
    config.port = 8;
    config.sim.status = 7;
    m_host->card().addCard(config);

    const QHash<QString, std::function<int()>> operations{
        {"GetDeviceInfo", [this] { return m_logic->GetDeviceInfo().nDevNum; }},
        {"GetCurrentDevicePortNo", [this] { return m_logic->GetCurrentDevicePortNo(); }},
        {"GetDeviceStatus",
         [this] {
             _UTPS_EN_DEVICE_STATUS status = DEVICE_STATUS_NO_DEVICE;
             return m_logic->GetDeviceStatus(status);
         }},
        {"GetSimStatus", [this] { return m_logic->GetSimStatus(); }},
        // 1 for the card's name, 0 for a null string
        {"GetDeviceName", [this] { return m_logic->GetDeviceName() == "Card" ? 1 : 0; }},
    };
    const auto run = operations.value(operation);
    QVERIFY(run);
    QCOMPARE(run(), healthy);
    m_host->card().setFault(function.toStdString(), 1, 1);
    QCOMPARE(run(), failed);
    QCOMPARE(run(), healthy);
}

void TestDeviceMgrUILogic::simValid_data()
{
    QTest::addColumn<int>("simStatus");
    QTest::addColumn<bool>("fault");
    QTest::addColumn<bool>("valid");

    QTest::newRow("no SIM (0)") << 0 << false << false;
    QTest::newRow("lowest usable (1)") << 1 << false << true;
    QTest::newRow("highest usable (254)") << 254 << false << true;
    QTest::newRow("not usable (255)") << 255 << false << false;
    QTest::newRow("above the range (300)") << 300 << false << false;
    QTest::newRow("SDK failure, no SIM") << 0 << true << true;
}

void TestDeviceMgrUILogic::simValid()
{
    QFETCH(int, simStatus);
    QFETCH(bool, fault);
    QFETCH(bool, valid);

    sim::CardConfig config;
    config.sim.status = simStatus;
    m_host->card().addCard(config);
    if (fault)
        m_host->card().setFault("UTPS_DevSrv_GetSimStatus", 1, 1);
    TraceCapture trace;
    QCOMPARE(m_logic->isSimValid(), valid);
    if (fault)
        QVERIFY(trace.contains("UTPS_DevSrv_GetSimStatus Failure"));
    else
        QVERIFY(trace.contains(
            QString("SimStatus - %1 UTPS_DevSrv_GetSimStatus SUCCESS").arg(simStatus)));
}

void TestDeviceMgrUILogic::simTypeText_data()
{
    QTest::addColumn<int>("productType");
    QTest::addColumn<bool>("fault");
    QTest::addColumn<QString>("text");

    QTest::newRow("UIM card") << 1 << false << "R-UIM";
    QTest::newRow("SIM card") << 2 << false << "SIM/USIM";
    QTest::newRow("other type") << 5 << false << "SIM/USIM";
    QTest::newRow("SDK failure") << 1 << true << "";
}

void TestDeviceMgrUILogic::simTypeText()
{
    QFETCH(int, productType);
    QFETCH(bool, fault);
    QFETCH(QString, text);

    CommonUtils::SetSettings("customize", "uimtype", "R-UIM");
    CommonUtils::SetSettings("customize", "simtype", "SIM/USIM");
    sim::CardConfig config;
    config.productType = productType;
    m_host->card().addCard(config);
    if (fault)
        m_host->card().setFault("UTPS_DevSrv_GetProductType", 1, 1);
    QCOMPARE(m_logic->GetSimTypeText(), text);
}

void TestDeviceMgrUILogic::interruptServers_data()
{
    QTest::addColumn<bool>("connected");
    QTest::addColumn<QStringList>("dialup");

    QTest::newRow("connected") << true << QStringList{"IsConnected", "GlobalDisconnect"};
    QTest::newRow("not connected") << false << QStringList{"IsConnected"};
}

void TestDeviceMgrUILogic::interruptServers()
{
    QFETCH(bool, connected);
    QFETCH(QStringList, dialup);

    m_host->siblings().setDialupConnected(connected);
    const int before = m_host->records("dialup").size();
    m_logic->InterruptServers();
    QCOMPARE(m_host->records("dialup").mid(before), dialup);
    QVERIFY(!m_host->siblings().dialup()->connected());
}

void TestDeviceMgrUILogic::interruptServersWithoutContainer()
{
    m_host->siblings().setDialupConnected(true);
    const int before = m_host->records("dialup").size();
    Startup::SetPluginContainer(nullptr);
    TraceCapture trace;
    m_logic->InterruptServers();
    Startup::SetPluginContainer(&m_host->container());
    QVERIFY(trace.contains("InterruptServers : GetPluginContainer returned NULL"));
    QCOMPARE(m_host->records("dialup").size(), before);
    QVERIFY(m_host->siblings().dialup()->connected());

    // A container without the dial-up plug-in: nothing to ask, nothing traced.
    m_host->container().registerPlugin(LinkPlugins::DialupClsid, LinkPlugins::DialupInterface,
                                       nullptr);
    trace.clear();
    m_logic->InterruptServers();
    QCOMPARE(m_host->records("dialup").size(), before);
    QVERIFY(!trace.contains("GlobalDisconnect"));
}

QTEST_MAIN(TestDeviceMgrUILogic)
#include "tst_devicemgruilogic.moc"
