// Device state handling: which SDK events and host notifications change the
// service's flags, what it tells the other plug-ins, and that nothing reaches
// the screen before the host's main frame is shown.
#include "CardCalls.h"
#include "DeviceMgrChooseDevice.h"
#include "DeviceMgrService.h"
#include "HostFixture.h"
#include "TraceCapture.h"
#include "Transcript.h"
#include "sim/VirtualCard.h"

#include <Change.h>
#include <CommonUtils.h>
#include <ExtendDialog.h>

#include <QLabel>
#include <QTest>
#include <QTimer>

#include <memory>
#include <optional>
#include <vector>

namespace {

// An SDK event as the card raises it (word -1: no payload; a device-list event
// carries the current list), a host notification (below 1000) or an action.
struct Step
{
    int code = 0;
    int word = -1;
};
using Steps = QList<Step>;
constexpr int kAskAvailable = 1; // a sibling plug-in calls IsDeviceAvialable()
constexpr int kStatusFails = 2;  // the card's next device-status read fails

QString broadcast(unsigned int code)
{
    return QStringLiteral("broadcast %1 0 0").arg(code);
}

// The flags that are set, then what IsValidSim() answers.
QString stateOf(CDeviceMgrService* service)
{
    const bool on[] = {service->deviceAvailable(), service->validSim(), service->validPinState(),
                       service->fpLockPending(), service->callActive()};
    const char* const names[] = {"device", "sim", "pin", "fplock", "call"};
    QStringList set;
    for (int i = 0; i < 5; ++i) {
        if (on[i])
            set << names[i];
    }
    return set.join(' ') + (service->IsValidSim() ? " => valid" : " => invalid");
}

// The information pop-up's text while it is on screen, else null.
QString shownInfo(CDeviceMgrService* service)
{
    ExtendDialog* dialog = service->infoDialog();
    if (!dialog || !dialog->isVisible())
        return QString();
    return dialog->findChild<QLabel*>(QStringLiteral("DeviceMgrUI_labelInfoLabel"))->text();
}

bool chooserVisible(CDeviceMgrService* service)
{
    return service->chooser() && service->chooser()->dialog() &&
           service->chooser()->dialog()->isVisible();
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

Q_DECLARE_METATYPE(Step)

class tst_DeviceState : public QObject
{
    Q_OBJECT

    std::unique_ptr<HostFixture> m_host;

    // Adds the cards, starts the service, lets the start-up events through and,
    // when asked, shows the frame; null when the events did not settle.
    CDeviceMgrService* startWith(const QList<sim::CardConfig>& cards, bool showFrame = false)
    {
        for (const sim::CardConfig& card : cards)
            m_host->card().addCard(card);
        CDeviceMgrService* service = m_host->startService();
        if (!m_host->waitForEvents())
            return nullptr;
        return !showFrame || deliver({{NTF_FRAME_SHOWN}}) ? service : nullptr;
    }

    // Runs the steps one by one, each handled before the next.
    bool deliver(const Steps& steps)
    {
        CDeviceMgrService* service = CDeviceMgrService::existingInstance();
        sim::VirtualCard& card = m_host->card();
        for (const Step& step : steps) {
            if (step.code == kAskAvailable)
                service->IsDeviceAvialable();
            else if (step.code == kStatusFails)
                card.setFault("UTPS_DevSrv_GetDevStatus", 1, 1);
            else if (step.code == NTF_FRAME_SHOWN)
                m_host->frameShown();
            else if (step.code < 1000)
                service->Notify(step.code, 0, 0);
            else if (step.code == 6018) // spares the fingerprint thread's one-second pacing
                service->deviceMgrInitEventHandler(step.code);
            else if (step.code == 6601 || step.code == 6606)
                card.raiseDeviceListEvent(step.code);
            else if (step.word < 0)
                card.raiseEvent(step.code, std::nullopt);
            else
                card.raiseEvent(step.code, std::vector<uint32_t>{uint32_t(step.word)});
            if (!m_host->waitForEvents())
                return false;
        }
        return true;
    }

    QStringList records(const char* kind) const { return m_host->records(QLatin1String(kind)); }

private slots:
    void init() { m_host = std::make_unique<HostFixture>(); }
    void cleanup() { m_host.reset(); }

    void flagTable_data()
    {
        QTest::addColumn<int>("card"); // its SIM status word; -1: no card
        QTest::addColumn<Steps>("steps");
        QTest::addColumn<QString>("state");

        const int none = -1;
        const Steps moved = {{6008}, {6002}, {6619, 1}}; // every flag off its reset value
        // clang-format off
        QTest::newRow("initial state")         << none << Steps{}               << "sim => invalid";
        QTest::newRow("ready card")            << 1    << Steps{}               << "device sim pin => valid";
        QTest::newRow("unusable SIM card")     << 0    << Steps{}               << "device => invalid";
        QTest::newRow("6008 init success")     << none << Steps{{6008}}         << "device sim => invalid";
        QTest::newRow("6014 without device")   << none << Steps{{6014}}         << "sim => invalid";
        QTest::newRow("6014 with device")      << 1    << Steps{{6601}, {6014}} << "device sim pin => valid";
        QTest::newRow("6002 SIM invalid")      << none << Steps{{6002}}         << " => invalid";
        QTest::newRow("6018 fingerprint lock") << none << Steps{{6018}}         << "sim fplock => invalid";
        QTest::newRow("6600 device active")    << none << Steps{{6600}}         << "device sim => invalid";
        QTest::newRow("6501 change end")       << none << Steps{{6501}}         << "device sim => invalid";
        QTest::newRow("6619 word 1")           << none << Steps{{6619, 1}}      << "sim pin => invalid";
        QTest::newRow("6619 word 0")           << 1    << Steps{{6619, 0}}      << "device sim => invalid";
        QTest::newRow("6601 reject resets")    << none << moved + Steps{{6601}} << "sim => invalid";
        QTest::newRow("6604 switch resets")    << none << moved + Steps{{6604}} << "sim => invalid";
        QTest::newRow("reject of ready card")  << 1    << Steps{{6601}}         << "sim => invalid";
        QTest::newRow("flags ready, no card")  << none << Steps{{6008}, {6619, 1}} << "device sim pin => invalid";
        QTest::newRow("reject before frame keeps FP lock") << none << Steps{{6018}, {6601}}        << "sim fplock => invalid";
        QTest::newRow("reject after frame clears FP lock") << none << Steps{{258}, {6018}, {6601}} << "sim => invalid";
        QTest::newRow("switch after frame clears FP lock") << none << Steps{{258}, {6018}, {6604}} << "sim => invalid";
        QTest::newRow("IsDeviceAvialable asks the card")   << 1    << Steps{{6601}, {kAskAvailable}} << "device sim => invalid";
        QTest::newRow("IsDeviceAvialable, card gone")      << none << Steps{{6008}, {kAskAvailable}} << "sim => invalid";
        QTest::newRow("IsDeviceAvialable, status fails")   << 1    << Steps{{kStatusFails}, {kAskAvailable}} << "sim pin => valid";
        QTest::newRow("784 incoming call")     << none << Steps{{784}}               << "sim call => invalid";
        QTest::newRow("785 outgoing call")     << none << Steps{{785}}               << "sim call => invalid";
        QTest::newRow("786 call connected")    << none << Steps{{786}}               << "sim call => invalid";
        QTest::newRow("787 ends the call")     << none << Steps{{786}, {787}}        << "sim => invalid";
        // clang-format on
    }
    void flagTable()
    {
        QFETCH(int, card);
        QFETCH(Steps, steps);
        QFETCH(QString, state);

        QList<sim::CardConfig> cards;
        if (card >= 0)
            cards.append(cardConfig("Card A", 2, card));
        CDeviceMgrService* service = startWith(cards);
        QVERIFY(service);
        QVERIFY(deliver(steps));
        QCOMPARE(stateOf(service), state);
    }
    void nothingShownUntilFrameShown_data()
    {
        QTest::addColumn<int>("simStatus");
        QTest::addColumn<bool>("validSim");
        QTest::newRow("ready card") << 1 << true;
        QTest::newRow("invalid SIM") << 0 << false;
    }
    void nothingShownUntilFrameShown()
    {
        QFETCH(int, simStatus);
        QFETCH(bool, validSim);

        CDeviceMgrService* service =
            startWith({cardConfig("Card A", 2, simStatus), cardConfig("Card B", 2)});
        QVERIFY(service);
        // Each of these shows something once the frame is up.
        QVERIFY(deliver({{6606}, {6600}, {6501}}));
        QVERIFY(m_host->messages().isEmpty());
        QVERIFY(!service->infoDialog());
        QVERIFY(!service->chooser());
        QCOMPARE(service->currentDeviceName(), QString());
        QCOMPARE(service->validSim(), validSim); // the state is kept all the same
        Transcript::instance().clear();

        QVERIFY(deliver({{NTF_FRAME_SHOWN}}));

        QCOMPARE(service->currentDeviceName(), QStringLiteral("Card A"));
        QCOMPARE(records("subscribe").size(), 4);
        QCOMPARE(shownInfo(service),
                 validSim ? CDeviceMgrService::tr(QStringLiteral("IDS_INIT_DEV_UNDERWAY"))
                          : QString());
        QCOMPARE(m_host->messages().size(), validSim ? 0 : 1);
        QCOMPARE(records("notify").contains(broadcast(579)), !validSim);
        // The card in use is ready: the frame itself shows no chooser.
        QVERIFY(service->chooser());
        QVERIFY(!chooserVisible(service));

        // With the chooser made, a detection with two cards shows it.
        QVERIFY(deliver({{6606}}));
        QVERIFY(chooserVisible(service));
        QCOMPARE(service->chooser()->dialog()->parentWidget(), m_host->mainWindow());
    }
    void frameShownPinStatus_data()
    {
        QTest::addColumn<int>("simStatus");
        QTest::addColumn<bool>("pinEnabled");
        QTest::addColumn<int>("pinStatus");
        QTest::newRow("SIM 240, protection off") << 240 << false << 0;
        QTest::newRow("SIM 1, protection off") << 1 << false << 8;
        QTest::newRow("SIM 240, PIN required") << 240 << true << 2;
    }
    // A PIN status still at "protection off" on a SIM that reports 240 counts as
    // ready when the frame comes up; any other status read from the card stays.
    void frameShownPinStatus()
    {
        QFETCH(int, simStatus);
        QFETCH(bool, pinEnabled);
        QFETCH(int, pinStatus);

        sim::CardConfig card = cardConfig("Card A", 2, simStatus);
        card.sim.pinEnabled = pinEnabled;
        CDeviceMgrService* service = startWith({card});
        QVERIFY(service);
        QVERIFY(deliver({{6012}})); // reads the card's PIN status
        QCOMPARE(service->pinStatus(), pinEnabled ? 2 : 8);
        QVERIFY(deliver({{NTF_FRAME_SHOWN}}));
        QCOMPARE(service->pinStatus(), pinStatus);
    }
    void eventOutcome_data()
    {
        QTest::addColumn<Step>("event");
        QTest::addColumn<QStringList>("notified");
        QTest::addColumn<QStringList>("menu");
        QTest::addColumn<QString>("info");  // key of the pop-up text; empty: none
        QTest::addColumn<QString>("trace"); // with the host's flag set: the drop line

        const QStringList none;
        const QStringList refresh = {"RefreshMenu"};
        const QStringList disable = {"RefreshDeviceMenu", "DisableDeviceMenu"};
        const QString ready = broadcast(578);
        const QString notReady = broadcast(579);
        // clang-format off
        QTest::newRow("6619 word 0")   << Step{6619, 0}   << QStringList{notReady} << refresh << "" << "";
        QTest::newRow("6619 word 1")   << Step{6619, 1}   << QStringList{ready}    << refresh << "" << "";
        QTest::newRow("6619 word 254") << Step{6619, 254} << QStringList{ready}    << refresh << "" << "";
        QTest::newRow("6619 word 255") << Step{6619, 255} << QStringList{notReady} << refresh << "" << "";
        QTest::newRow("6619 word 256") << Step{6619, 256} << QStringList{notReady} << refresh << "" << "";
        QTest::newRow("6601 reject: pop-up") << Step{6601} << QStringList{notReady} << disable << "IDS_DEVICE_INVALID" << "";
        QTest::newRow("6604 switch: none")   << Step{6604} << QStringList{notReady} << disable << "" << "";
        QTest::newRow("6008 during shut-down") << Step{6008} << none << none << "" << "signals ignored: App Shutting down ";
        QTest::newRow("6600 during shut-down") << Step{6600} << none << none << "" << "Events ignored: App Shutting down ";
        // clang-format on
    }
    void eventOutcome()
    {
        QFETCH(Step, event);
        QFETCH(QStringList, notified);
        QFETCH(QStringList, menu);
        QFETCH(QString, info);
        QFETCH(QString, trace);

        CDeviceMgrService* service = startWith({cardConfig("Card A", 1)}, true);
        QVERIFY(service);
        service->hideInfoDlg(); // only what the event itself shows counts
        Transcript::instance().clear();
        m_host->clearMessages();
        TraceCapture lines;
        if (!trace.isEmpty()) // the host's flag only, not the intake's
            CommonUtils::SetShutDownFlag();
        QVERIFY(deliver({event}));
        CommonUtils::ResetShutDownFlag();

        QCOMPARE(records("notify"), notified);
        QCOMPARE(records("menu"), menu);
        QVERIFY(m_host->messages().isEmpty());
        QCOMPARE(shownInfo(service), info.isEmpty() ? QString() : CDeviceMgrService::tr(info));
        QVERIFY(info.isEmpty() || service->infoTimer()->interval() == 3000);
        QVERIFY(trace.isEmpty() || lines.contains(trace));
        if (event.code == 6601 || event.code == 6604)
            QCOMPARE(service->previousDeviceName(), QStringLiteral("Card A"));
    }
    void invalidSimMessageNamesTheCard_data()
    {
        QTest::addColumn<int>("productType");
        QTest::addColumn<QString>("setting"); // "customize" key=value
        QTest::addColumn<bool>("typeQueryFails");
        QTest::addColumn<QString>("word"); // empty: no translated text at all

        QTest::newRow("SIM card") << 2 << "" << false << "SIM/USIM";
        QTest::newRow("UIM card") << 1 << "" << false << "UIM";
        QTest::newRow("SIM card, simtype set") << 2 << "simtype=USIM" << false << "USIM";
        QTest::newRow("UIM card, uimtype set") << 1 << "uimtype=R-UIM" << false << "R-UIM";
        QTest::newRow("UIM card ignores simtype") << 1 << "simtype=USIM" << false << "UIM";
        QTest::newRow("SIM card ignores uimtype") << 2 << "uimtype=R-UIM" << false << "SIM/USIM";
        QTest::newRow("type unknown counts as SIM") << 1 << "" << true << "SIM/USIM";
        // Without a text there is nothing to name: the card is not asked.
        QTest::newRow("no text") << 1 << "" << false << "";
    }
    void invalidSimMessageNamesTheCard()
    {
        QFETCH(int, productType);
        QFETCH(QString, setting);
        QFETCH(bool, typeQueryFails);
        QFETCH(QString, word);

        if (!setting.isEmpty())
            CommonUtils::SetSettings("customize", setting.section('=', 0, 0),
                                     setting.section('=', 1));
        QVERIFY(startWith({cardConfig("Card A", productType)}, true));
        m_host->clearMessages();
        Transcript::instance().clear();
        m_host->card().clearCallLog();
        if (typeQueryFails)
            m_host->card().setFault("UTPS_DevSrv_GetProductType", 1, 1);
        QVERIFY(Change::SetLanguage(word.isEmpty() ? "none" : "en"));

        QVERIFY(deliver({{6002}}));

        QCOMPARE(records("notify").value(0), broadcast(579));
        QCOMPARE(m_host->messages().size(), 1);
        const MessageRequest request = m_host->messages().first();
        QCOMPARE(request.icon, QMessageBox::Information);
        QCOMPARE(request.parent, m_host->mainWindow());
        QCOMPARE(callCount("UTPS_DevSrv_GetProductType"), word.isEmpty() ? 0 : 1);
        QString expected = CDeviceMgrService::tr(QStringLiteral("IDS_SIM_INVALID"));
        QCOMPARE(expected.count("%s"), word.isEmpty() ? 0 : 2);
        QCOMPARE(request.text, expected.replace("%s", word));
    }
    void deviceChangeReloadsPlugins_data()
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
    void deviceChangeReloadsPlugins()
    {
        QFETCH(int, fromType);
        QFETCH(int, toType);
        QFETCH(bool, fullReload);

        CDeviceMgrService* service =
            startWith({cardConfig("Card A", fromType), cardConfig("Card B", toType)}, true);
        QVERIFY(service);
        Transcript::instance().clear();
        const _UTPS_ST_MULTI_DEVICE_INFO devices = service->uiLogic()->GetDeviceInfo();
        QCOMPARE(devices.nDevNum, 2);
        QCOMPARE(service->uiLogic()->SelectDevice(devices.stDevInfo[1]), 0);
        QVERIFY(m_host->waitForEvents());

        QCOMPARE(service->previousProductType(), fromType);
        QCOMPARE(service->currentDeviceName(), QStringLiteral("Card B"));
        QCOMPARE(CommonUtils::GetSettings(QStringLiteral("Device"), QStringLiteral("ProductType")),
                 QString::number(toType));
        // The container sees no change for either card: only a forced reload goes
        // on to tell the plug-ins.
        QCOMPARE(records("notify").filter(QStringLiteral("broadcast 585 ")).size(),
                 fullReload ? 1 : 0);
    }
};

QTEST_MAIN(tst_DeviceState)
#include "tst_devicestate.moc"
