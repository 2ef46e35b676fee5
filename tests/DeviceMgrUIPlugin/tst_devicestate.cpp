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

#include <Change.h>
#include <CommonUtils.h>
#include <ExtendDialog.h>
#include <SiblingInterfaces.h>

#include <QApplication>
#include <QLabel>
#include <QRegularExpression>
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

using Events = QList<CardEvent>;

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

// Notification codes in the order they went out, whatever their route.
QStringList notifiedCodes(const QStringList& records)
{
    QStringList codes;
    for (const QString& record : records) {
        const QStringList fields = record.split(QLatin1Char(' '));
        codes.append(fields.value(fields.first() == QLatin1String("to") ? 2 : 1));
    }
    return codes;
}

QString infoText(CDeviceMgrService* service)
{
    ExtendDialog* dialog = service->infoDialog();
    if (!dialog)
        return QString();
    auto* label = dialog->findChild<QLabel*>(QStringLiteral("DeviceMgrUI_labelInfoLabel"));
    return label ? label->text() : QString();
}

bool infoVisible(CDeviceMgrService* service)
{
    return service->infoDialog() && service->infoDialog()->isVisible();
}

bool chooserVisible(CDeviceMgrService* service)
{
    return service->chooser() && service->chooser()->dialog() &&
           service->chooser()->dialog()->isVisible();
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

int sdkCalls(sim::VirtualCard& card, const char* function)
{
    int count = 0;
    for (const sim::CallRecord& call : card.callLog())
        count += call.function == function ? 1 : 0;
    return count;
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
    void initBeginMarksInitialising_data();
    void initBeginMarksInitialising();
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
    void initHandlerTakesOnlyInitRange_data();
    void initHandlerTakesOnlyInitRange();
    void initSuccessTellsPlugins_data();
    void initSuccessTellsPlugins();
    void initResetClearsDeviceAndTellsMiniFrame_data();
    void initResetClearsDeviceAndTellsMiniFrame();
    void nothingShownBeforeFrameShown();
    void frameShownReplaysReadyCard();
    void frameShownBranches_data();
    void frameShownBranches();
    void frameShownPinStatus_data();
    void frameShownPinStatus();
    void frameShownReplaysInvalidSim();
    void simInvalidMessageWaitsForFingerprint_data();
    void simInvalidMessageWaitsForFingerprint();
    void frameShownTakesMainFrameWindowAsParent();
    void detectedWithTwoDevicesShowsChooserOnceItExists();
    void deviceActiveStoresProductType();
    void invalidSimMessageNamesTheCard_data();
    void invalidSimMessageNamesTheCard();
    void deviceChangeReloadsPlugins_data();
    void deviceChangeReloadsPlugins();
    void deviceChangeToSameCardReloadsNothing();
    void startDetectDeviceLines_data();
    void startDetectDeviceLines();
    void showChooseDeviceCreatesChooserOnce();
    void unknownDeviceEventIsLogged();
    void initFinishedByWwanThreadRefreshesMenuOnceFrameShown();

private:
    // Adds the cards, starts the service, lets the cards' start-up events
    // through and, when asked, shows the frame; null when the events did not
    // settle.
    CDeviceMgrService* startWith(const QList<sim::CardConfig>& cards, bool showFrame = false);
    // Raises the events one by one, each handled before the next; false
    // when one did not settle.
    bool deliver(const Events& events);

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

CDeviceMgrService* tst_DeviceState::startWith(const QList<sim::CardConfig>& cards, bool showFrame)
{
    for (const sim::CardConfig& card : cards)
        m_host->card().addCard(card);
    CDeviceMgrService* service = m_host->startService();
    if (!m_host->waitForEvents())
        return nullptr;
    if (!showFrame)
        return service;
    m_host->frameShown();
    return m_host->waitForEvents() ? service : nullptr;
}

bool tst_DeviceState::deliver(const Events& events)
{
    for (const CardEvent& event : events) {
        raise(m_host->card(), event);
        if (!m_host->waitForEvents())
            return false;
        // The lock event reaches the service through the fingerprint
        // thread, which hands it on in its own time.
        if (event.code == 6018 &&
            !QTest::qWaitFor([] { return CDeviceMgrService::existingInstance()->fpLockPending(); }))
            return false;
    }
    return true;
}

// ---------------------------------------------------------------------------

void tst_DeviceState::flagTable_data()
{
    QTest::addColumn<bool>("withCard");
    QTest::addColumn<bool>("frameShown");
    QTest::addColumn<Events>("events");
    QTest::addColumn<bool>("deviceAvailable");
    QTest::addColumn<bool>("validSim");
    QTest::addColumn<bool>("validPinState");
    QTest::addColumn<bool>("fpLockPending");

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
    // clang-format on
}

void tst_DeviceState::flagTable()
{
    QFETCH(bool, withCard);
    QFETCH(bool, frameShown);
    QFETCH(Events, events);
    QFETCH(bool, deviceAvailable);
    QFETCH(bool, validSim);
    QFETCH(bool, validPinState);
    QFETCH(bool, fpLockPending);

    QList<sim::CardConfig> cards;
    if (withCard)
        cards.append(cardConfig("Card A", 2));
    CDeviceMgrService* service = startWith(cards, frameShown);
    QVERIFY(service);
    QVERIFY(deliver(events));

    QCOMPARE(service->deviceAvailable(), deviceAvailable);
    QCOMPARE(service->validSim(), validSim);
    QCOMPARE(service->validPinState(), validPinState);
    QCOMPARE(service->fpLockPending(), fpLockPending);
}

void tst_DeviceState::initBeginMarksInitialising_data()
{
    QTest::addColumn<int>("beginEvents");
    QTest::addColumn<bool>("hideAfter");
    QTest::addColumn<bool>("initialising");

    QTest::newRow("no begin event") << 0 << false << false;
    QTest::newRow("first begin") << 1 << false << true;
    QTest::newRow("second begin changes nothing") << 2 << false << true;
    QTest::newRow("hidden pop-up clears it") << 1 << true << false;
}

void tst_DeviceState::initBeginMarksInitialising()
{
    QFETCH(int, beginEvents);
    QFETCH(bool, hideAfter);
    QFETCH(bool, initialising);

    CDeviceMgrService* service = startWith({});
    QVERIFY(service);
    Transcript::instance().clear();
    QVERIFY(deliver(Events(beginEvents, CardEvent{6000})));
    if (hideAfter)
        service->hideInfoDlg();

    QCOMPARE(service->initialising(), initialising);
    // The begin event only marks the start-up: nothing goes out for it.
    QCOMPARE(m_host->records(QStringLiteral("notify")), QStringList{});
    QCOMPARE(m_host->records(QStringLiteral("menu")), QStringList{});
    QVERIFY(!service->infoDialog());
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

    QList<sim::CardConfig> cards;
    if (withCard)
        cards.append(cardConfig("Card A", 2));
    CDeviceMgrService* service = startWith(cards);
    QVERIFY(service);
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
    QTest::addColumn<Events>("events");
    QTest::addColumn<bool>("valid");

    // A fresh service: no device and no PIN state yet, although the SIM is
    // assumed usable.
    QTest::newRow("fresh service") << false << 1 << Events{} << false;
    QTest::newRow("ready card, word 1") << true << 1 << Events{} << true;
    QTest::newRow("ready card, word 254") << true << 254 << Events{} << true;
    QTest::newRow("SIM not usable") << true << 0 << Events{} << false;
    QTest::newRow("SIM word 255") << true << 255 << Events{} << false;
    QTest::newRow("ready card, PIN state lost") << true << 1 << Events{{6619, 0}} << false;
    QTest::newRow("ready card, SIM invalid event") << true << 1 << Events{{6002}} << false;
    // Every flag says ready, but the card itself is not there.
    QTest::newRow("flags ready, no card") << false << 1 << Events{{6008}, {6619, 1}} << false;
}

void tst_DeviceState::isValidSim()
{
    QFETCH(bool, withCard);
    QFETCH(int, simStatus);
    QFETCH(Events, events);
    QFETCH(bool, valid);

    QList<sim::CardConfig> cards;
    if (withCard)
        cards.append(cardConfig("Card A", 2, simStatus));
    CDeviceMgrService* service = startWith(cards);
    QVERIFY(service);
    QVERIFY(deliver(events));
    const bool validSimBefore = service->validSim();
    m_host->card().clearCallLog();

    QCOMPARE(service->IsValidSim(), valid);
    // The card is asked every time, and its answer is kept.
    QCOMPARE(sdkCalls(m_host->card(), "UTPS_DevSrv_GetDevStatus"), 1);
    QCOMPARE(service->deviceAvailable(), withCard);
    QCOMPARE(service->validSim(), validSimBefore);
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

    CDeviceMgrService* service = startWith({});
    QVERIFY(service);
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
    CDeviceMgrService* service = startWith({});
    QVERIFY(service);
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

    CDeviceMgrService* service = startWith({cardConfig("Card A", 1)}, true);
    QVERIFY(service);
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
    QVERIFY(infoVisible(service));
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

    CDeviceMgrService* service = startWith({});
    QVERIFY(service);
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

void tst_DeviceState::initHandlerTakesOnlyInitRange_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<bool>("handled");

    QTest::newRow("5999 below") << 5999 << false;
    QTest::newRow("6000 first") << 6000 << true;
    QTest::newRow("6018 last") << 6018 << true;
    QTest::newRow("6019 above") << 6019 << false;
    QTest::newRow("6600 device event") << 6600 << false;
}

// While the host shuts down, an init event is dropped with a line; a code
// outside the init range is not the handler's business at all.
void tst_DeviceState::initHandlerTakesOnlyInitRange()
{
    QFETCH(int, code);
    QFETCH(bool, handled);

    CDeviceMgrService* service = startWith({});
    QVERIFY(service);
    CommonUtils::SetShutDownFlag();
    TraceCapture trace;
    service->deviceMgrInitEventHandler(code);
    const QStringList lines = trace.matching(QStringLiteral("signals ignored: App Shutting down "));
    CommonUtils::ResetShutDownFlag();

    QCOMPARE(lines.size(), handled ? 1 : 0);
    QVERIFY(!service->fpLockPending());
    QVERIFY(!service->initialising());
}

void tst_DeviceState::initSuccessTellsPlugins_data()
{
    QTest::addColumn<int>("frameStyle");
    QTest::addColumn<bool>("validSim");
    QTest::addColumn<bool>("miniRefresh");

    QTest::newRow("main frame") << 0 << true << false;
    QTest::newRow("mini frame in use") << CommonUtils::FrameStyleMini << true << true;
    QTest::newRow("other style bits") << 3 << true << false;
    QTest::newRow("invalid SIM keeps pop-ups") << 0 << false << false;
}

void tst_DeviceState::initSuccessTellsPlugins()
{
    QFETCH(int, frameStyle);
    QFETCH(bool, validSim);
    QFETCH(bool, miniRefresh);

    CDeviceMgrService* service = startWith({});
    QVERIFY(service);
    if (!validSim) {
        raise(m_host->card(), {6002});
        QVERIFY(m_host->waitForEvents());
    }
    CommonUtils::SetFrameStyle(frameStyle);
    Transcript::instance().clear();
    TraceCapture trace;
    raise(m_host->card(), {6008});
    QVERIFY(m_host->waitForEvents());

    QVERIFY(service->deviceAvailable());
    QCOMPARE(m_host->records(QStringLiteral("notify")), QStringList{broadcast(581)});
    QCOMPARE(m_host->records(QStringLiteral("menu")),
             QStringList{QStringLiteral("RefreshDeviceMenu")});
    QCOMPARE(m_host->records(QStringLiteral("miniframe")).contains(QStringLiteral("Refresh")),
             miniRefresh);
    QCOMPARE(trace.contains(QStringLiteral("close all popup(UTPS_EVENT_DEV_INIT_SUCCESS)")),
             validSim);
    QCOMPARE(trace.contains(QStringLiteral(": closeAllPopups : called")), validSim);
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

    CDeviceMgrService* service = startWith({cardConfig("Card A", 2)}, frameShown);
    QVERIFY(service);
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
    CDeviceMgrService* service = startWith({cardConfig("Card A", 2, 0), cardConfig("Card B", 2)});
    QVERIFY(service);
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
    CDeviceMgrService* service = startWith({cardConfig("Card A", 2)});
    QVERIFY(service);
    QVERIFY(!service->infoDialog());
    QVERIFY(m_host->records(QStringLiteral("subscribe")).isEmpty());
    Transcript::instance().clear();
    m_settingWrites.clear();

    m_host->frameShown();
    QVERIFY(m_host->waitForEvents());

    QVERIFY(service->frameShown());
    QVERIFY(service->deviceAvailable());
    QVERIFY(service->chooser());
    QVERIFY(!chooserVisible(service));
    QVERIFY(infoVisible(service));
    QCOMPARE(infoText(service), CDeviceMgrService::tr(QStringLiteral("IDS_INIT_DEV_UNDERWAY")));
    QCOMPARE(service->infoTimer()->interval(), 3000);
    QCOMPARE(service->currentDeviceName(), QStringLiteral("Card A"));
    QCOMPARE(service->currentProductType(), 2);
    QCOMPARE(settingWrites(), QStringList{QStringLiteral("Device/ProductType = 2")});
    QCOMPARE(m_host->records(QStringLiteral("subscribe")).size(), 4);
    QVERIFY(m_host->messages().isEmpty());
    QVERIFY(!m_host->records(QStringLiteral("notify")).contains(broadcast(579)));
}

void tst_DeviceState::frameShownBranches_data()
{
    QTest::addColumn<int>("cards");
    QTest::addColumn<bool>("statusFails");
    QTest::addColumn<Events>("before");
    QTest::addColumn<bool>("deviceAvailable");
    QTest::addColumn<bool>("info");
    QTest::addColumn<bool>("chooser");
    QTest::addColumn<bool>("frameInit");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QStringList>("settings");

    const QStringList sim{QStringLiteral("Device/ProductType = 2")};
    // clang-format off
    // The switch cleared the flag; the card's own status sets it again.
    QTest::newRow("flag replayed from the card") << 1 << false << Events{{6604}}
        << true << true << false << true << QStringLiteral("Card A") << sim;
    QTest::newRow("two cards, status unreadable") << 2 << true << Events{}
        << true << false << true << false << QString() << QStringList{};
    QTest::newRow("one card, status unreadable") << 1 << true << Events{}
        << true << false << false << false << QStringLiteral("Card A") << sim;
    QTest::newRow("no card") << 0 << false << Events{}
        << false << false << false << false << QString()
        << QStringList{QStringLiteral("Device/ProductType = 3")};
    // clang-format on
}

void tst_DeviceState::frameShownBranches()
{
    QFETCH(int, cards);
    QFETCH(bool, statusFails);
    QFETCH(Events, before);
    QFETCH(bool, deviceAvailable);
    QFETCH(bool, info);
    QFETCH(bool, chooser);
    QFETCH(bool, frameInit);
    QFETCH(QString, name);
    QFETCH(QStringList, settings);

    const QList<sim::CardConfig> all{cardConfig("Card A", 2), cardConfig("Card B", 2)};
    CDeviceMgrService* service = startWith(all.mid(0, cards));
    QVERIFY(service);
    QVERIFY(deliver(before));
    QCOMPARE(service->currentDeviceName(), QString());
    Transcript::instance().clear();
    m_settingWrites.clear();
    if (statusFails)
        m_host->card().setFault("UTPS_DevSrv_GetDevStatus", 1, -1);

    m_host->frameShown();
    QVERIFY(m_host->waitForEvents());
    m_host->card().clearFaults();

    QVERIFY(service->frameShown());
    QVERIFY(service->chooser());
    QCOMPARE(service->deviceAvailable(), deviceAvailable);
    QCOMPARE(infoVisible(service), info);
    QCOMPARE(chooserVisible(service), chooser);
    QCOMPARE(m_host->records(QStringLiteral("subscribe")).size(), frameInit ? 4 : 0);
    QCOMPARE(service->currentDeviceName(), name);
    QCOMPARE(settingWrites(), settings);
}

void tst_DeviceState::frameShownPinStatus_data()
{
    QTest::addColumn<int>("simStatus");
    QTest::addColumn<bool>("pinEnabled");
    QTest::addColumn<int>("pinStatus");

    QTest::newRow("SIM 240, protection off") << 240 << false << 0;
    QTest::newRow("SIM 1, protection off") << 1 << false << 8;
    QTest::newRow("SIM 239, protection off") << 239 << false << 8;
    QTest::newRow("SIM 240, PIN required") << 240 << true << 2;
}

// A PIN status still at "protection off" on a SIM that reports 240 counts as
// ready when the frame comes up; any other status read from the card stays.
void tst_DeviceState::frameShownPinStatus()
{
    QFETCH(int, simStatus);
    QFETCH(bool, pinEnabled);
    QFETCH(int, pinStatus);

    sim::CardConfig card = cardConfig("Card A", 2, simStatus);
    card.sim.pinEnabled = pinEnabled;
    CDeviceMgrService* service = startWith({card});
    QVERIFY(service);
    // The no-PIN event reads the card's PIN status.
    raise(m_host->card(), {6012});
    QVERIFY(m_host->waitForEvents());
    QCOMPARE(service->pinStatus(), pinEnabled ? 2 : 8);

    m_host->frameShown();
    QVERIFY(m_host->waitForEvents());
    QCOMPARE(service->pinStatus(), pinStatus);
}

void tst_DeviceState::frameShownReplaysInvalidSim()
{
    CDeviceMgrService* service = startWith({cardConfig("Card A", 2, 0)});
    QVERIFY(service);
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
    QVERIFY(!infoVisible(service));
}

void tst_DeviceState::simInvalidMessageWaitsForFingerprint_data()
{
    QTest::addColumn<bool>("fpLock");
    QTest::newRow("unlocked card") << false;
    QTest::newRow("fingerprint lock pending") << true;
}

void tst_DeviceState::simInvalidMessageWaitsForFingerprint()
{
    QFETCH(bool, fpLock);

    CDeviceMgrService* service = startWith({}, true);
    QVERIFY(service);
    if (fpLock)
        service->deviceMgrInitEventHandler(6018);
    QCOMPARE(service->fpLockPending(), fpLock);
    Transcript::instance().clear();
    m_host->clearMessages();

    service->deviceMgrInitEventHandler(6002);
    QVERIFY(m_host->waitForEvents());

    QVERIFY(!service->validSim());
    QCOMPARE(m_host->messages().size(), fpLock ? 0 : 1);
    QCOMPARE(m_host->records(QStringLiteral("notify")).contains(broadcast(579)), !fpLock);
}

void tst_DeviceState::frameShownTakesMainFrameWindowAsParent()
{
    CDeviceMgrService* service = startWith({});
    QVERIFY(service);
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
    CDeviceMgrService* service = startWith({cardConfig("Card A", 2), cardConfig("Card B", 2)});
    QVERIFY(service);
    TraceCapture trace;

    raise(m_host->card(), {6606});
    QVERIFY(m_host->waitForEvents());
    QVERIFY(!service->chooser());
    QVERIFY(!trace.contains(QStringLiteral("call show choose device")));

    m_host->frameShown();
    QVERIFY(m_host->waitForEvents());
    QVERIFY(service->chooser());
    // The card in use is ready, so the frame itself shows no chooser.
    QVERIFY(!chooserVisible(service));
    trace.clear();

    raise(m_host->card(), {6606});
    QVERIFY(m_host->waitForEvents());
    QVERIFY(trace.contains(QStringLiteral("Choose device instance NOT null")));
    QVERIFY(trace.contains(QStringLiteral("call show choose device")));
    QVERIFY(chooserVisible(service));
    QCOMPARE(service->chooser()->dialog()->parentWidget(), m_host->mainWindow());
}

void tst_DeviceState::deviceActiveStoresProductType()
{
    CDeviceMgrService* service = startWith({cardConfig("Card A", 1)});
    QVERIFY(service);

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
    QTest::addColumn<QString>("language");
    QTest::addColumn<int>("productType");
    QTest::addColumn<QString>("uimType");
    QTest::addColumn<QString>("simType");
    QTest::addColumn<bool>("typeQueryFails");
    QTest::addColumn<QString>("word");

    const QString en = QStringLiteral("en");
    QTest::newRow("SIM card") << en << 2 << QString() << QString() << false
                              << QStringLiteral("SIM/USIM");
    QTest::newRow("UIM card") << en << 1 << QString() << QString() << false
                              << QStringLiteral("UIM");
    QTest::newRow("SIM card, simtype set")
        << en << 2 << QString() << QStringLiteral("USIM") << false << QStringLiteral("USIM");
    QTest::newRow("UIM card, uimtype set")
        << en << 1 << QStringLiteral("R-UIM") << QString() << false << QStringLiteral("R-UIM");
    QTest::newRow("UIM card ignores simtype")
        << en << 1 << QString() << QStringLiteral("USIM") << false << QStringLiteral("UIM");
    QTest::newRow("SIM card ignores uimtype")
        << en << 2 << QStringLiteral("R-UIM") << QString() << false << QStringLiteral("SIM/USIM");
    QTest::newRow("type unknown counts as SIM")
        << en << 1 << QString() << QString() << true << QStringLiteral("SIM/USIM");
    // Without a text there is nothing to name: the card is not asked.
    QTest::newRow("no text") << QStringLiteral("none") << 1 << QString() << QString() << false
                             << QString();
}

void tst_DeviceState::invalidSimMessageNamesTheCard()
{
    QFETCH(QString, language);
    QFETCH(int, productType);
    QFETCH(QString, uimType);
    QFETCH(QString, simType);
    QFETCH(bool, typeQueryFails);
    QFETCH(QString, word);

    if (!uimType.isEmpty())
        CommonUtils::SetSettings(QStringLiteral("customize"), QStringLiteral("uimtype"), uimType);
    if (!simType.isEmpty())
        CommonUtils::SetSettings(QStringLiteral("customize"), QStringLiteral("simtype"), simType);
    QVERIFY(startWith({cardConfig("Card A", productType)}, true));
    m_host->clearMessages();
    Transcript::instance().clear();
    m_host->card().clearCallLog();
    if (typeQueryFails)
        m_host->card().setFault("UTPS_DevSrv_GetProductType", 1, 1);
    QVERIFY(Change::SetLanguage(language));

    raise(m_host->card(), {6002});
    QVERIFY(m_host->waitForEvents());

    QCOMPARE(m_host->records(QStringLiteral("notify")).first(), broadcast(579));
    const QList<MessageRequest> messages = m_host->messages();
    QCOMPARE(messages.size(), 1);
    const MessageRequest& request = messages.first();
    QCOMPARE(request.icon, QMessageBox::Information);
    QCOMPARE(request.parent, m_host->mainWindow());
    QCOMPARE(sdkCalls(m_host->card(), "UTPS_DevSrv_GetProductType"), word.isEmpty() ? 0 : 1);
    if (word.isEmpty()) {
        QCOMPARE(request.text, QString());
        QCOMPARE(request.title, QString());
        return;
    }
    QString expected = CDeviceMgrService::tr(QStringLiteral("IDS_SIM_INVALID"));
    QVERIFY2(expected.count(QStringLiteral("%s")) == 2, qPrintable(expected));
    expected.replace(QStringLiteral("%s"), word);
    QCOMPARE(request.text, expected);
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

    CDeviceMgrService* service =
        startWith({cardConfig("Card A", fromType), cardConfig("Card B", toType)}, true);
    QVERIFY(service);
    service->chooser()->CloseDlg();
    // Only what the switch itself shows counts.
    service->hideInfoDlg();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!service->infoDialog());
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
    const QStringList codes = notifiedCodes(m_host->records(QStringLiteral("notify")));
    QVERIFY(codes.indexOf(QStringLiteral("583")) >= 0);
    QVERIFY(codes.indexOf(QStringLiteral("583")) < codes.indexOf(QStringLiteral("584")));
    QVERIFY(infoVisible(service));
    QCOMPARE(infoText(service), CDeviceMgrService::tr(QStringLiteral("IDS_INIT_DEV_UNDERWAY")));
    QCOMPARE(service->infoTimer()->interval(), 3000);

    // The switch reloads for the new card once.
    QCOMPARE(
        trace.matching(QStringLiteral("DeviceMgrChooseDevice.cpp: ReloadPlugins: entered")).size(),
        1);
    // The container sees no change for either card: only a forced reload
    // goes on to tell the plug-ins.
    QCOMPARE(codes.contains(QStringLiteral("585")), fullReload);
}

void tst_DeviceState::deviceChangeToSameCardReloadsNothing()
{
    CDeviceMgrService* service = startWith({cardConfig("Card A", 1)}, true);
    QVERIFY(service);
    QCOMPARE(service->currentDeviceName(), QStringLiteral("Card A"));
    TraceCapture trace;

    raise(m_host->card(), {6500});
    raise(m_host->card(), {6501});
    QVERIFY(m_host->waitForEvents());

    QCOMPARE(service->previousDeviceName(), QStringLiteral("Card A"));
    QCOMPARE(service->currentDeviceName(), QStringLiteral("Card A"));
    QVERIFY(trace.contains(QStringLiteral("second time ProductType : 1")));
    QVERIFY(!trace.contains(QStringLiteral("ReloadPlugins")));
}

void tst_DeviceState::startDetectDeviceLines_data()
{
    QTest::addColumn<bool>("fails");
    QTest::newRow("success") << false;
    QTest::newRow("failure") << true;
}

// Both outcomes end with the success line (the result comes as events); a
// failure adds a warning before it.
void tst_DeviceState::startDetectDeviceLines()
{
    QFETCH(bool, fails);

    CDeviceMgrService* service = startWith({});
    QVERIFY(service);
    if (fails)
        m_host->card().setFault("UTPS_DevSrv_DetectDevice", 1, 1);
    m_host->card().clearCallLog();
    const QString prefix =
        QRegularExpression::escape(QStringLiteral("../../src/DeviceMgrUIPlugin/"
                                                  "DeviceMgrService.cpp: StartDetectDevice: "));
    auto line = [&prefix](const char* text) {
        return QRegularExpression(QStringLiteral("^%1%2$").arg(prefix, QLatin1String(text)));
    };
    QTest::ignoreMessage(QtDebugMsg, line("UTPS_DevSrv_DetectDevice called"));
    if (fails)
        QTest::ignoreMessage(QtWarningMsg, line("UTPS_DevSrv_DetectDevice failed"));
    else
        QTest::failOnWarning(QRegularExpression(QStringLiteral("DetectDevice failed")));
    QTest::ignoreMessage(QtDebugMsg, line("UTPS_DevSrv_DetectDevice success"));

    service->StartDetectDevice();

    QCOMPARE(sdkCalls(m_host->card(), "UTPS_DevSrv_DetectDevice"), 1);
}

void tst_DeviceState::showChooseDeviceCreatesChooserOnce()
{
    CDeviceMgrService* service = startWith({});
    QVERIFY(service);
    QVERIFY(!service->chooser());
    TraceCapture trace;

    service->ShowChooseDevice();
    ChooseDevice* chooser = service->chooser();
    QVERIFY(chooser);
    QVERIFY(chooserVisible(service));
    service->ShowChooseDevice();
    QCOMPARE(service->chooser(), chooser);
    QCOMPARE(trace.matching(QStringLiteral("m_pDlgChooseDev is NULL")).size(), 1);
    chooser->CloseDlg();
}

void tst_DeviceState::unknownDeviceEventIsLogged()
{
    CDeviceMgrService* service = startWith({});
    QVERIFY(service);
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
    CDeviceMgrService* service = startWith({});
    QVERIFY(service);
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
