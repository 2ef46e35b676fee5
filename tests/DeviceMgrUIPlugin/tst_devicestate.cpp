// Device state handling: which SDK events and host notifications change the
// service's flags, what it tells the other plug-ins, and that nothing reaches
// the screen before the host's main frame is shown.
#include "DeviceMgrChooseDevice.h"
#include "DeviceMgrService.h"
#include "HostFixture.h"
#include "HostSiblings.h"
#include "TraceCapture.h"
#include "Transcript.h"
#include "sim/VirtualCard.h"

#include <CommonUtils.h>
#include <ExtendDialog.h>
#include <SiblingInterfaces.h>

#include <QApplication>
#include <QLabel>
#include <QTest>
#include <QTimer>

#include <memory>
#include <optional>
#include <vector>

namespace {

// One SDK event as the card raises it: a code and, for the one-word events,
// the word (-1 = no payload; a device-list event carries the current list).
struct CardEvent
{
    int code = 0;
    int word = -1;
};

bool carriesDeviceList(int code)
{
    return code == 6601 || code == 6606 || code == 6010;
}

void raise(sim::VirtualCard& card, const CardEvent& event)
{
    if (carriesDeviceList(event.code)) {
        card.raiseDeviceListEvent(event.code);
        return;
    }
    if (event.word < 0) {
        card.raiseEvent(event.code, std::nullopt);
        return;
    }
    card.raiseEvent(event.code, std::vector<uint32_t>{static_cast<uint32_t>(event.word)});
}

QString broadcast(unsigned int code)
{
    return QStringLiteral("broadcast %1 0 0").arg(code);
}

QString toMiniFrame(unsigned int code)
{
    return QStringLiteral("to %1 %2 0 0").arg(QLatin1String(LinkPlugins::MiniFrameClsid)).arg(code);
}

QString infoText(CDeviceMgrService* service)
{
    ExtendDialog* dialog = service->infoDialog();
    if (!dialog)
        return QString();
    auto* label = dialog->findChild<QLabel*>(QStringLiteral("DeviceMgrUI_labelInfoLabel"));
    return label ? label->text() : QString();
}

// Windows on screen apart from the host's own main window.
QStringList visibleWindows(QWidget* mainWindow)
{
    QStringList names;
    for (QWidget* window : QApplication::topLevelWidgets()) {
        if (window != mainWindow && window->isVisible())
            names.append(window->objectName());
    }
    return names;
}

sim::CardConfig cardConfig(const char* name, int productType, int simStatus = 1)
{
    sim::CardConfig config;
    config.name = name;
    config.productType = productType;
    config.sim.status = simStatus;
    return config;
}

} // namespace

Q_DECLARE_METATYPE(CardEvent)

class tst_DeviceState : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void flagTable_data();
    void flagTable();
    void isDeviceAvailableAsksTheCard_data();
    void isDeviceAvailableAsksTheCard();
    void isValidSim_data();
    void isValidSim();
    void simStateWord_data();
    void simStateWord();
    void simStateWithoutPayloadKeepsLastWord();
    void rejectOrSwitch_data();
    void rejectOrSwitch();
    void shutDownDropsEvents_data();
    void shutDownDropsEvents();
    void initSuccessTellsPlugins_data();
    void initSuccessTellsPlugins();
    void initResetClearsDeviceAndTellsMiniFrame_data();
    void initResetClearsDeviceAndTellsMiniFrame();
    void nothingShownBeforeFrameShown();
    void frameShownReplaysReadyCard();
    void frameShownReplaysInvalidSim();
    void frameShownTakesMainFrameWindowAsParent();
    void detectedWithTwoDevicesShowsChooserOnceItExists();
    void deviceActiveStoresProductType();
    void invalidSimMessageNamesTheCard_data();
    void invalidSimMessageNamesTheCard();
    void deviceChangeReloadsPlugins_data();
    void deviceChangeReloadsPlugins();
    void startDetectDeviceLines_data();
    void startDetectDeviceLines();
    void showChooseDeviceCreatesChooserOnce();
    void unknownDeviceEventIsLogged();
    void initFinishedByWwanThreadRefreshesMenuOnceFrameShown();

private:
    // Settings written since the last clear, as "group/key = value".
    QStringList settingWrites() const { return m_settingWrites; }

    std::unique_ptr<HostFixture> m_host;
    QStringList m_settingWrites;
};

void tst_DeviceState::init()
{
    m_host = std::make_unique<HostFixture>();
    m_settingWrites.clear();
    CommonUtils::SetSettingsObserver(
        [this](const QString& group, const QString& key, const QString& value) {
            m_settingWrites.append(QStringLiteral("%1/%2 = %3").arg(group, key, value));
        });
}

void tst_DeviceState::cleanup()
{
    CommonUtils::SetSettingsObserver({});
    m_host.reset();
    CommonUtils::SetFrameStyle(0);
}

// ---------------------------------------------------------------------------

void tst_DeviceState::flagTable_data()
{
    QTest::addColumn<bool>("withCard");
    QTest::addColumn<bool>("frameShown");
    QTest::addColumn<QList<CardEvent>>("events");
    QTest::addColumn<bool>("deviceAvailable");
    QTest::addColumn<bool>("validSim");
    QTest::addColumn<bool>("validPinState");
    QTest::addColumn<bool>("fpLockPending");

    using Events = QList<CardEvent>;
    // clang-format off
    QTest::newRow("initial state")          << false << false << Events{}                 << false << true  << false << false;
    QTest::newRow("6008 init success")      << false << false << Events{{6008}}           << true  << true  << false << false;
    QTest::newRow("6014 without device")    << false << false << Events{{6014}}           << false << true  << false << false;
    QTest::newRow("6014 with device")       << true  << false << Events{{6601}, {6014}}   << true  << true  << true  << false;
    QTest::newRow("6002 SIM invalid")       << false << false << Events{{6002}}           << false << false << false << false;
    QTest::newRow("6018 fingerprint lock")  << false << false << Events{{6018}}           << false << true  << false << true;
    QTest::newRow("6600 device active")     << false << false << Events{{6600}}           << true  << true  << false << false;
    QTest::newRow("6501 change end")        << false << false << Events{{6501}}           << true  << true  << false << false;
    QTest::newRow("6500 change begin")      << false << false << Events{{6500}}           << false << true  << false << false;
    QTest::newRow("6619 usable word")       << false << false << Events{{6619, 1}}        << false << true  << true  << false;
    QTest::newRow("6619 unusable word")     << false << false << Events{{6619, 1}, {6619, 0}} << false << true << false << false;
    QTest::newRow("6601 reject resets")     << false << false << Events{{6008}, {6002}, {6619, 1}, {6601}} << false << true << false << false;
    QTest::newRow("6604 switch resets")     << false << false << Events{{6008}, {6002}, {6619, 1}, {6604}} << false << true << false << false;
    QTest::newRow("reject of ready card")   << true  << false << Events{{6601}}           << false << true  << false << false;
    QTest::newRow("reject keeps FP lock before frame") << false << false << Events{{6018}, {6601}} << false << true << false << true;
    QTest::newRow("reject clears FP lock after frame") << false << true  << Events{{6018}, {6601}} << false << true << false << false;
    QTest::newRow("switch clears FP lock after frame") << false << true  << Events{{6018}, {6604}} << false << true << false << false;
    QTest::newRow("init events outside range ignored") << false << false << Events{{5999}, {6019}} << false << true << false << false;
    // clang-format on
}

void tst_DeviceState::flagTable()
{
    QFETCH(bool, withCard);
    QFETCH(bool, frameShown);
    QFETCH(QList<CardEvent>, events);
    QFETCH(bool, deviceAvailable);
    QFETCH(bool, validSim);
    QFETCH(bool, validPinState);
    QFETCH(bool, fpLockPending);

    if (withCard)
        m_host->card().addCard(cardConfig("Card A", 2));
    CDeviceMgrService* service = m_host->startService();
    QVERIFY(m_host->waitForEvents());
    if (frameShown) {
        m_host->frameShown();
        QVERIFY(m_host->waitForEvents());
    }
    for (const CardEvent& event : events) {
        raise(m_host->card(), event);
        QVERIFY(m_host->waitForEvents());
        // The lock event reaches the service through the fingerprint
        // thread, which hands it on in its own time.
        if (event.code == 6018)
            QTRY_VERIFY(service->fpLockPending());
    }

    QCOMPARE(service->deviceAvailable(), deviceAvailable);
    QCOMPARE(service->validSim(), validSim);
    QCOMPARE(service->validPinState(), validPinState);
    QCOMPARE(service->fpLockPending(), fpLockPending);
}

void tst_DeviceState::isDeviceAvailableAsksTheCard_data()
{
    QTest::addColumn<bool>("withCard");
    QTest::addColumn<bool>("unplugged");
    QTest::addColumn<bool>("statusFails");
    QTest::addColumn<bool>("available");

    QTest::newRow("no card") << false << false << false << false;
    QTest::newRow("card in use") << true << false << false << true;
    QTest::newRow("card removed") << true << true << false << false;
    QTest::newRow("status call fails") << true << false << true << false;
}

void tst_DeviceState::isDeviceAvailableAsksTheCard()
{
    QFETCH(bool, withCard);
    QFETCH(bool, unplugged);
    QFETCH(bool, statusFails);
    QFETCH(bool, available);

    if (withCard)
        m_host->card().addCard(cardConfig("Card A", 2));
    CDeviceMgrService* service = m_host->startService();
    QVERIFY(m_host->waitForEvents());
    if (unplugged) {
        m_host->card().unplug(0);
        QVERIFY(m_host->waitForEvents());
    }
    // The flag from the events is overwritten by what the card says now.
    m_host->card().raiseEvent(6008, std::nullopt);
    QVERIFY(m_host->waitForEvents());
    QVERIFY(service->deviceAvailable());
    if (statusFails)
        m_host->card().setFault("UTPS_DevSrv_GetDevStatus", 1, 1);

    QCOMPARE(service->IsDeviceAvialable(), available);
    QCOMPARE(service->deviceAvailable(), available);
}

void tst_DeviceState::isValidSim_data()
{
    QTest::addColumn<bool>("withCard");
    QTest::addColumn<int>("simStatus");
    QTest::addColumn<bool>("valid");

    QTest::newRow("no card") << false << 1 << false;
    QTest::newRow("ready card, word 1") << true << 1 << true;
    QTest::newRow("ready card, word 254") << true << 254 << true;
    QTest::newRow("SIM not usable") << true << 0 << false;
    QTest::newRow("SIM word 255") << true << 255 << false;
}

void tst_DeviceState::isValidSim()
{
    QFETCH(bool, withCard);
    QFETCH(int, simStatus);
    QFETCH(bool, valid);

    // A fresh service: no device and no PIN state yet, although the SIM is
    // assumed usable.
    if (!withCard) {
        CDeviceMgrService* service = m_host->startService();
        QVERIFY(m_host->waitForEvents());
        QVERIFY(service->validSim());
        QCOMPARE(service->IsValidSim(), false);
        return;
    }
    m_host->card().addCard(cardConfig("Card A", 2, simStatus));
    CDeviceMgrService* service = m_host->startService();
    QVERIFY(m_host->waitForEvents());
    QCOMPARE(service->IsValidSim(), valid);
}

void tst_DeviceState::simStateWord_data()
{
    QTest::addColumn<int>("word");
    QTest::addColumn<uint>("notification");
    QTest::addColumn<bool>("validPinState");

    QTest::newRow("0 no SIM") << 0 << 579u << false;
    QTest::newRow("1 lowest usable") << 1 << 578u << true;
    QTest::newRow("254 highest usable") << 254 << 578u << true;
    QTest::newRow("255 not usable") << 255 << 579u << false;
    QTest::newRow("256 above range") << 256 << 579u << false;
}

void tst_DeviceState::simStateWord()
{
    QFETCH(int, word);
    QFETCH(uint, notification);
    QFETCH(bool, validPinState);

    CDeviceMgrService* service = m_host->startService();
    QVERIFY(m_host->waitForEvents());
    Transcript::instance().clear();
    TraceCapture trace;
    raise(m_host->card(), {6619, word});
    QVERIFY(m_host->waitForEvents());

    QCOMPARE(service->simStateWord(), static_cast<unsigned int>(word));
    QCOMPARE(m_host->records(QStringLiteral("notify")), QStringList{broadcast(notification)});
    QCOMPARE(service->validPinState(), validPinState);
    QVERIFY(m_host->records(QStringLiteral("menu")).contains(QStringLiteral("RefreshMenu")));
    QCOMPARE(trace.contains(QStringLiteral("send notification (UTPS_EVENT_DEV_SIM_STATE_CHANGE)")),
             notification == 579u);
}

void tst_DeviceState::simStateWithoutPayloadKeepsLastWord()
{
    CDeviceMgrService* service = m_host->startService();
    QVERIFY(m_host->waitForEvents());
    raise(m_host->card(), {6619, 7});
    QVERIFY(m_host->waitForEvents());
    Transcript::instance().clear();

    raise(m_host->card(), {6619, -1});
    QVERIFY(m_host->waitForEvents());
    QCOMPARE(service->simStateWord(), 7u);
    QCOMPARE(m_host->records(QStringLiteral("notify")), QStringList{broadcast(578)});
    QVERIFY(service->validPinState());
}

void tst_DeviceState::rejectOrSwitch_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<bool>("popup");
    QTest::addColumn<QString>("line");

    QTest::newRow("6601 reject") << 6601 << true
                                 << QStringLiteral("6601 Device event (UTPS_EVENT_DEV_REJECT)");
    QTest::newRow("6604 switch") << 6604 << false
                                 << QStringLiteral("6604 Device event (UTPS_EVENT_DEV_SWITCH)");
}

void tst_DeviceState::rejectOrSwitch()
{
    QFETCH(int, code);
    QFETCH(bool, popup);
    QFETCH(QString, line);

    m_host->card().addCard(cardConfig("Card A", 1));
    CDeviceMgrService* service = m_host->startService();
    QVERIFY(m_host->waitForEvents());
    m_host->frameShown();
    QVERIFY(m_host->waitForEvents());
    // Only what the reject or switch itself shows counts.
    service->hideInfoDlg();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    Transcript::instance().clear();
    m_host->clearMessages();
    TraceCapture trace;

    raise(m_host->card(), {code});
    QVERIFY(m_host->waitForEvents());

    QVERIFY(trace.contains(line));
    QVERIFY(trace.contains(QStringLiteral("UTPS_EVENT_DEV_REJECT. m_bDeviceAvialable = false")));
    QVERIFY(m_host->records(QStringLiteral("notify")).contains(broadcast(579)));
    QCOMPARE(
        m_host->records(QStringLiteral("menu")),
        (QStringList{QStringLiteral("RefreshDeviceMenu"), QStringLiteral("DisableDeviceMenu")}));
    QCOMPARE(service->previousDeviceName(), QStringLiteral("Card A"));
    QCOMPARE(service->previousProductType(), 1);
    QVERIFY(m_host->messages().isEmpty());
    if (!popup) {
        QVERIFY(!service->infoDialog());
        return;
    }
    QVERIFY(service->infoDialog());
    QVERIFY(service->infoDialog()->isVisible());
    QCOMPARE(infoText(service), CDeviceMgrService::tr(QStringLiteral("IDS_DEVICE_INVALID")));
    QVERIFY(!infoText(service).isEmpty());
    QCOMPARE(service->infoTimer()->interval(), 3000);
}

void tst_DeviceState::shutDownDropsEvents_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("line");

    QTest::newRow("init event") << 6008 << QStringLiteral("signals ignored: App Shutting down ");
    QTest::newRow("device event") << 6600 << QStringLiteral("Events ignored: App Shutting down ");
}

void tst_DeviceState::shutDownDropsEvents()
{
    QFETCH(int, code);
    QFETCH(QString, line);

    CDeviceMgrService* service = m_host->startService();
    QVERIFY(m_host->waitForEvents());
    Transcript::instance().clear();
    TraceCapture trace;
    CommonUtils::SetShutDownFlag();
    raise(m_host->card(), {code});
    QVERIFY(m_host->waitForEvents());
    CommonUtils::ResetShutDownFlag();

    QVERIFY(trace.contains(line));
    QVERIFY(!service->deviceAvailable());
    QVERIFY(m_host->records(QStringLiteral("notify")).isEmpty());
    QVERIFY(m_host->records(QStringLiteral("menu")).isEmpty());
}

void tst_DeviceState::initSuccessTellsPlugins_data()
{
    QTest::addColumn<int>("frameStyle");
    QTest::addColumn<bool>("miniRefresh");

    QTest::newRow("main frame") << 0 << false;
    QTest::newRow("mini frame in use") << CommonUtils::FrameStyleMini << true;
    QTest::newRow("other style bits") << 3 << false;
}

void tst_DeviceState::initSuccessTellsPlugins()
{
    QFETCH(int, frameStyle);
    QFETCH(bool, miniRefresh);

    m_host->startService();
    QVERIFY(m_host->waitForEvents());
    CommonUtils::SetFrameStyle(frameStyle);
    Transcript::instance().clear();
    raise(m_host->card(), {6008});
    QVERIFY(m_host->waitForEvents());

    QCOMPARE(m_host->records(QStringLiteral("notify")), QStringList{broadcast(581)});
    QCOMPARE(m_host->records(QStringLiteral("menu")),
             QStringList{QStringLiteral("RefreshDeviceMenu")});
    QCOMPARE(m_host->records(QStringLiteral("miniframe")).contains(QStringLiteral("Refresh")),
             miniRefresh);
}

void tst_DeviceState::initResetClearsDeviceAndTellsMiniFrame_data()
{
    QTest::addColumn<bool>("frameShown");
    QTest::addColumn<QStringList>("menu");

    QTest::newRow("before frame") << false << QStringList{};
    QTest::newRow("after frame") << true
                                 << QStringList{QStringLiteral("RefreshDeviceMenu"),
                                                QStringLiteral("DisableDeviceMenu")};
}

void tst_DeviceState::initResetClearsDeviceAndTellsMiniFrame()
{
    QFETCH(bool, frameShown);
    QFETCH(QStringList, menu);

    m_host->card().addCard(cardConfig("Card A", 2));
    CDeviceMgrService* service = m_host->startService();
    QVERIFY(m_host->waitForEvents());
    if (frameShown) {
        m_host->frameShown();
        QVERIFY(m_host->waitForEvents());
    }
    QVERIFY(service->uiLogic()->StoredDeviceInfo().nDevNum > 0);
    Transcript::instance().clear();

    raise(m_host->card(), {6016});
    QVERIFY(m_host->waitForEvents());

    QCOMPARE(m_host->records(QStringLiteral("notify")), QStringList{toMiniFrame(582)});
    QCOMPARE(m_host->records(QStringLiteral("menu")), menu);
    QCOMPARE(service->uiLogic()->StoredDeviceInfo().nDevNum, 0);
    QCOMPARE(service->uiLogic()->CurrentPort(), -1);
}

void tst_DeviceState::nothingShownBeforeFrameShown()
{
    m_host->card().addCard(cardConfig("Card A", 2, 0));
    m_host->card().addCard(cardConfig("Card B", 2));
    CDeviceMgrService* service = m_host->startService();
    QVERIFY(m_host->waitForEvents());
    raise(m_host->card(), {6606});
    raise(m_host->card(), {6601});
    raise(m_host->card(), {6002});
    QVERIFY(m_host->waitForEvents());

    QVERIFY(m_host->messages().isEmpty());
    QVERIFY(!service->infoDialog());
    QVERIFY(!service->chooser());
    QCOMPARE(visibleWindows(m_host->mainWindow()), QStringList{});
    // The state is kept all the same.
    QVERIFY(!service->validSim());
    QVERIFY(!service->frameShown());
}

void tst_DeviceState::frameShownReplaysReadyCard()
{
    m_host->card().addCard(cardConfig("Card A", 2));
    CDeviceMgrService* service = m_host->startService();
    QVERIFY(m_host->waitForEvents());
    QVERIFY(!service->infoDialog());
    QVERIFY(m_host->records(QStringLiteral("subscribe")).isEmpty());
    Transcript::instance().clear();
    m_settingWrites.clear();

    m_host->frameShown();
    QVERIFY(m_host->waitForEvents());

    QVERIFY(service->frameShown());
    QVERIFY(service->deviceAvailable());
    QVERIFY(service->chooser());
    QVERIFY(service->infoDialog());
    QVERIFY(service->infoDialog()->isVisible());
    QCOMPARE(infoText(service), CDeviceMgrService::tr(QStringLiteral("IDS_INIT_DEV_UNDERWAY")));
    QCOMPARE(service->infoTimer()->interval(), 3000);
    QCOMPARE(service->currentDeviceName(), QStringLiteral("Card A"));
    QCOMPARE(service->currentProductType(), 2);
    QCOMPARE(settingWrites(), QStringList{QStringLiteral("Device/ProductType = 2")});
    QCOMPARE(m_host->records(QStringLiteral("subscribe")).size(), 4);
    QVERIFY(m_host->messages().isEmpty());
    QVERIFY(!m_host->records(QStringLiteral("notify")).contains(broadcast(579)));
}

void tst_DeviceState::frameShownReplaysInvalidSim()
{
    m_host->card().addCard(cardConfig("Card A", 2, 0));
    CDeviceMgrService* service = m_host->startService();
    QVERIFY(m_host->waitForEvents());
    QVERIFY(!service->validSim());
    QVERIFY(m_host->messages().isEmpty());
    Transcript::instance().clear();

    m_host->frameShown();
    QVERIFY(m_host->waitForEvents());

    QVERIFY(m_host->records(QStringLiteral("notify")).contains(broadcast(579)));
    const QList<MessageRequest> messages = m_host->messages();
    QVERIFY(!messages.isEmpty());
    const MessageRequest& request = messages.first();
    QCOMPARE(request.icon, QMessageBox::Information);
    QCOMPARE(request.title, CDeviceMgrService::tr(QStringLiteral("IDS_MAINFRM_PROMPT")));
    QVERIFY(request.text.contains(QStringLiteral("SIM/USIM")));
    QCOMPARE(request.parent, m_host->mainWindow());
    // The message replaced the "initialising" pop-up.
    QVERIFY(!service->infoDialog() || !service->infoDialog()->isVisible());
}

void tst_DeviceState::frameShownTakesMainFrameWindowAsParent()
{
    CDeviceMgrService* service = m_host->startService();
    QVERIFY(m_host->waitForEvents());
    QWidget other;
    other.setObjectName(QStringLiteral("OtherMainWindow"));
    m_host->siblings().setMainWindow(&other);

    m_host->frameShown();
    QVERIFY(m_host->waitForEvents());
    QCOMPARE(service->parentWidget(), &other);
    m_host->siblings().setMainWindow(m_host->mainWindow());
    // Leave nothing parented to the local window behind.
    service->hideInfoDlg();
}

void tst_DeviceState::detectedWithTwoDevicesShowsChooserOnceItExists()
{
    m_host->card().addCard(cardConfig("Card A", 2));
    m_host->card().addCard(cardConfig("Card B", 2));
    CDeviceMgrService* service = m_host->startService();
    QVERIFY(m_host->waitForEvents());
    TraceCapture trace;

    raise(m_host->card(), {6606});
    QVERIFY(m_host->waitForEvents());
    QVERIFY(!service->chooser());
    QVERIFY(!trace.contains(QStringLiteral("call show choose device")));

    m_host->frameShown();
    QVERIFY(m_host->waitForEvents());
    QVERIFY(service->chooser());
    trace.clear();

    raise(m_host->card(), {6606});
    QVERIFY(m_host->waitForEvents());
    QVERIFY(trace.contains(QStringLiteral("Choose device instance NOT null")));
    QVERIFY(trace.contains(QStringLiteral("call show choose device")));
    ChooseDevExtendDialog* dialog = service->chooser()->dialog();
    if (!dialog)
        QSKIP("the chooser does not build its dialog yet; the service asked it to show");
    QVERIFY(dialog->isVisible());
    QCOMPARE(dialog->parentWidget(), m_host->mainWindow());
}

void tst_DeviceState::deviceActiveStoresProductType()
{
    m_host->card().addCard(cardConfig("Card A", 1));
    CDeviceMgrService* service = m_host->startService();
    QVERIFY(m_host->waitForEvents());

    QCOMPARE(service->currentProductType(), 1);
    QVERIFY(service->deviceAvailable());
    QVERIFY(settingWrites().contains(QStringLiteral("Device/ProductType = 1")));
    QCOMPARE(CommonUtils::GetSettings(QStringLiteral("Device"), QStringLiteral("ProductType")),
             QStringLiteral("1"));
    // Before the frame is shown the detection shows nothing.
    QVERIFY(!service->infoDialog());

    m_host->frameShown();
    QVERIFY(m_host->waitForEvents());
    m_host->clearMessages();
    raise(m_host->card(), {6600});
    QVERIFY(m_host->waitForEvents());
    QCOMPARE(infoText(service), CDeviceMgrService::tr(QStringLiteral("IDS_DETECTE_DEVICE")));
    QCOMPARE(service->infoTimer()->interval(), 10000);
}

void tst_DeviceState::invalidSimMessageNamesTheCard_data()
{
    QTest::addColumn<int>("productType");
    QTest::addColumn<QString>("uimType");
    QTest::addColumn<QString>("simType");
    QTest::addColumn<bool>("typeQueryFails");
    QTest::addColumn<QString>("word");

    QTest::newRow("SIM card") << 2 << QString() << QString() << false << QStringLiteral("SIM/USIM");
    QTest::newRow("UIM card") << 1 << QString() << QString() << false << QStringLiteral("UIM");
    QTest::newRow("SIM card, simtype set")
        << 2 << QString() << QStringLiteral("USIM") << false << QStringLiteral("USIM");
    QTest::newRow("UIM card, uimtype set")
        << 1 << QStringLiteral("R-UIM") << QString() << false << QStringLiteral("R-UIM");
    QTest::newRow("UIM card ignores simtype")
        << 1 << QString() << QStringLiteral("USIM") << false << QStringLiteral("UIM");
    QTest::newRow("SIM card ignores uimtype")
        << 2 << QStringLiteral("R-UIM") << QString() << false << QStringLiteral("SIM/USIM");
    QTest::newRow("type unknown counts as SIM")
        << 1 << QString() << QString() << true << QStringLiteral("SIM/USIM");
}

void tst_DeviceState::invalidSimMessageNamesTheCard()
{
    QFETCH(int, productType);
    QFETCH(QString, uimType);
    QFETCH(QString, simType);
    QFETCH(bool, typeQueryFails);
    QFETCH(QString, word);

    if (!uimType.isEmpty())
        CommonUtils::SetSettings(QStringLiteral("customize"), QStringLiteral("uimtype"), uimType);
    if (!simType.isEmpty())
        CommonUtils::SetSettings(QStringLiteral("customize"), QStringLiteral("simtype"), simType);
    m_host->card().addCard(cardConfig("Card A", productType));
    m_host->startService();
    QVERIFY(m_host->waitForEvents());
    m_host->frameShown();
    QVERIFY(m_host->waitForEvents());
    m_host->clearMessages();
    Transcript::instance().clear();
    if (typeQueryFails)
        m_host->card().setFault("UTPS_DevSrv_GetProductType", 1, 1);

    raise(m_host->card(), {6002});
    QVERIFY(m_host->waitForEvents());

    QCOMPARE(m_host->records(QStringLiteral("notify")).first(), broadcast(579));
    const QList<MessageRequest> messages = m_host->messages();
    QVERIFY(!messages.isEmpty());
    const MessageRequest& request = messages.first();
    QString expected = CDeviceMgrService::tr(QStringLiteral("IDS_SIM_INVALID"));
    QVERIFY2(expected.count(QStringLiteral("%s")) == 2, qPrintable(expected));
    expected.replace(QStringLiteral("%s"), word);
    QCOMPARE(request.text, expected);
    QCOMPARE(request.icon, QMessageBox::Information);
    QCOMPARE(request.title, QStringLiteral("Notice"));
}

void tst_DeviceState::deviceChangeReloadsPlugins_data()
{
    QTest::addColumn<int>("fromType");
    QTest::addColumn<int>("toType");
    QTest::addColumn<bool>("fullReload");

    QTest::newRow("UIM to SIM") << 1 << 2 << true;
    QTest::newRow("SIM to UIM") << 2 << 1 << true;
    QTest::newRow("SIM to SIM") << 2 << 2 << false;
    QTest::newRow("unknown to SIM") << 3 << 2 << false;
    QTest::newRow("UIM to unknown") << 1 << 3 << false;
}

void tst_DeviceState::deviceChangeReloadsPlugins()
{
    QFETCH(int, fromType);
    QFETCH(int, toType);
    QFETCH(bool, fullReload);

    m_host->card().addCard(cardConfig("Card A", fromType));
    m_host->card().addCard(cardConfig("Card B", toType));
    CDeviceMgrService* service = m_host->startService();
    QVERIFY(m_host->waitForEvents());
    m_host->frameShown();
    QVERIFY(m_host->waitForEvents());
    service->chooser()->CloseDlg();
    Transcript::instance().clear();
    TraceCapture trace;

    const _UTPS_ST_MULTI_DEVICE_INFO devices = service->uiLogic()->GetDeviceInfo();
    QCOMPARE(devices.nDevNum, 2);
    QCOMPARE(service->uiLogic()->SelectDevice(devices.stDevInfo[1]), 0);
    QVERIFY(m_host->waitForEvents());

    QCOMPARE(service->previousDeviceName(), QStringLiteral("Card A"));
    QCOMPARE(service->previousProductType(), fromType);
    QCOMPARE(service->currentDeviceName(), QStringLiteral("Card B"));
    QCOMPARE(service->currentProductType(), toType);
    QCOMPARE(CommonUtils::GetSettings(QStringLiteral("Device"), QStringLiteral("ProductType")),
             QString::number(toType));
    if (!trace.contains(QStringLiteral("ReloadPlugins")))
        QSKIP("the chooser's plug-in reload is not written yet");
    // The container sees no change for either card: only a forced reload
    // goes on to tell the plug-ins.
    bool reloadAnnounced = false;
    for (const QString& record : m_host->records(QStringLiteral("notify")))
        reloadAnnounced = reloadAnnounced || record.startsWith(QStringLiteral("broadcast 585 "));
    QCOMPARE(reloadAnnounced, fullReload);
}

void tst_DeviceState::startDetectDeviceLines_data()
{
    QTest::addColumn<bool>("fails");
    QTest::newRow("success") << false;
    QTest::newRow("failure") << true;
}

void tst_DeviceState::startDetectDeviceLines()
{
    QFETCH(bool, fails);

    CDeviceMgrService* service = m_host->startService();
    QVERIFY(m_host->waitForEvents());
    if (fails)
        m_host->card().setFault("UTPS_DevSrv_DetectDevice", 1, 1);
    TraceCapture trace;
    service->StartDetectDevice();

    QCOMPARE(trace.matching(QStringLiteral("UTPS_DevSrv_DetectDevice called")).size(), 1);
    QCOMPARE(trace.contains(QStringLiteral("UTPS_DevSrv_DetectDevice failed")), fails);
    // Written in both cases: the detection's outcome comes as events.
    QCOMPARE(trace.matching(QStringLiteral("UTPS_DevSrv_DetectDevice success")).size(), 1);
    bool called = false;
    for (const sim::CallRecord& call : m_host->card().callLog())
        called = called || call.function == "UTPS_DevSrv_DetectDevice";
    QVERIFY(called);
}

void tst_DeviceState::showChooseDeviceCreatesChooserOnce()
{
    CDeviceMgrService* service = m_host->startService();
    QVERIFY(m_host->waitForEvents());
    QVERIFY(!service->chooser());
    TraceCapture trace;

    service->ShowChooseDevice();
    ChooseDevice* chooser = service->chooser();
    QVERIFY(chooser);
    service->ShowChooseDevice();
    QCOMPARE(service->chooser(), chooser);
    QCOMPARE(trace.matching(QStringLiteral("m_pDlgChooseDev is NULL")).size(), 1);
    chooser->CloseDlg();
}

void tst_DeviceState::unknownDeviceEventIsLogged()
{
    CDeviceMgrService* service = m_host->startService();
    QVERIFY(m_host->waitForEvents());
    Transcript::instance().clear();
    TraceCapture trace;
    raise(m_host->card(), {6700});
    QVERIFY(m_host->waitForEvents());

    QCOMPARE(trace.matching(QStringLiteral(",Unknown event occured ")).size(), 1);
    QVERIFY(m_host->records(QStringLiteral("notify")).isEmpty());
    QVERIFY(!service->deviceAvailable());
}

void tst_DeviceState::initFinishedByWwanThreadRefreshesMenuOnceFrameShown()
{
    CDeviceMgrService* service = m_host->startService();
    QVERIFY(m_host->waitForEvents());
    Transcript::instance().clear();
    service->onDeviceInitFinishHandler();
    QVERIFY(m_host->records(QStringLiteral("menu")).isEmpty());

    m_host->frameShown();
    QVERIFY(m_host->waitForEvents());
    Transcript::instance().clear();
    service->onDeviceInitFinishHandler();
    QCOMPARE(m_host->records(QStringLiteral("menu")), QStringList{QStringLiteral("RefreshMenu")});
}

QTEST_MAIN(tst_DeviceState)
#include "tst_devicestate.moc"
