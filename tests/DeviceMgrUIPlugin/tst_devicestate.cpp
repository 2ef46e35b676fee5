// Device state handling: which SDK events and host notifications change the
// service's flags, what it tells the other plug-ins, and that nothing reaches
// the screen before the host's main frame is shown.
#include "CardCalls.h"
#include "DeviceMgrChooseDevice.h"
#include "DeviceMgrService.h"
#include "HostFixture.h"
#include "Transcript.h"
#include <sim/VirtualCard.h>

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

// One thing that happens to the service; each is handled before the next.
struct Step
{
    enum Kind
    {
        SdkEvent,
        HostNotification,
        AskAvailable,
        Fault,
        ChooseCard,
        Setting,
        Language,
        StartWatching
    };
    Kind kind;
    int code = 0;               // of the event or the notification; for ChooseCard the card's index
    int word = -1;              // an SDK event's payload word; -1: none
    const char* text = nullptr; // the failing SDK function, "customize" key=value, the language
};
using Steps = QList<Step>;
using Cards = QList<sim::CardConfig>;

const auto sdk = [](int code, int word = -1) { return Step{Step::SdkEvent, code, word}; };
const auto host = [](int code) { return Step{Step::HostNotification, code}; };
const auto fault = [](const char* function) { return Step{Step::Fault, 0, -1, function}; };
const auto setting = [](const char* keyValue) { return Step{Step::Setting, 0, -1, keyValue}; };
const auto language = [](const char* name) { return Step{Step::Language, 0, -1, name}; };
const Step frame = host(NTF_FRAME_SHOWN);
const Step askAvailable{Step::AskAvailable};  // a sibling plug-in calls IsDeviceAvialable()
const Step chooseSecond{Step::ChooseCard, 1}; // the user picks the second card
const Step fromHere{Step::StartWatching}; // only what the steps after it send, show or ask counts

sim::CardConfig card(const char* name, int simStatus = 1, int productType = 2, bool pin = false)
{
    sim::CardConfig config = namedCard(name);
    config.sim.status = simStatus;
    config.productType = productType;
    config.sim.pinEnabled = pin;
    return config;
}

QString listOrNone(const QStringList& list, const char* separator)
{
    return list.isEmpty() ? QStringLiteral("none") : list.join(separator);
}

// The flags that are set, then what IsValidSim() answers (which asks the card).
QString stateOf(CDeviceMgrService* s)
{
    QStringList set = {s->deviceAvailable() ? "device" : "", s->validSim() ? "sim" : "",
                       s->validPinState() ? "pin" : "", s->fpLockPending() ? "fplock" : "",
                       s->callActive() ? "call" : ""};
    set.removeAll(QString());
    return set.join(' ') + (s->IsValidSim() ? " => valid" : " => invalid");
}

// The information pop-up: its text's key and duration while it is on screen.
QString infoOf(CDeviceMgrService* service)
{
    ExtendDialog* dialog = service->infoDialog();
    if (!dialog || !dialog->isVisible())
        return dialog ? "hidden" : "none";
    QString text = dialog->findChild<QLabel*>(QStringLiteral("DeviceMgrUI_labelInfoLabel"))->text();
    for (const char* key : {"IDS_DEVICE_INVALID", "IDS_INIT_DEV_UNDERWAY", "IDS_DETECTE_DEVICE"}) {
        if (text == CDeviceMgrService::tr(QString(key)))
            text = key;
    }
    return QStringLiteral("%1 for %2 ms").arg(text).arg(service->infoTimer()->interval());
}

} // namespace

Q_DECLARE_METATYPE(Step)
Q_DECLARE_METATYPE(Cards)

class tst_DeviceState : public QObject
{
    Q_OBJECT

    std::unique_ptr<HostFixture> m_host;

    // Runs the steps, each handled before the next.
    bool deliver(const Steps& steps)
    {
        CDeviceMgrService* service = CDeviceMgrService::existingInstance();
        sim::VirtualCard& card = m_host->card();
        for (const Step& step : steps) {
            if (step.kind == Step::StartWatching) {
                service->hideInfoDlg();
                Transcript::instance().clear();
                m_host->clearMessages();
                card.clearCallLog();
            } else if (step.kind == Step::AskAvailable) {
                service->IsDeviceAvialable();
            } else if (step.kind == Step::Fault) {
                card.setFault(step.text, 1, 1);
            } else if (step.kind == Step::Setting) {
                const QString keyValue = step.text;
                CommonUtils::SetSettings("customize", keyValue.section('=', 0, 0),
                                         keyValue.section('=', 1));
            } else if (step.kind == Step::Language) {
                if (!Change::SetLanguage(step.text))
                    return false;
            } else if (step.kind == Step::ChooseCard) {
                const _UTPS_ST_MULTI_DEVICE_INFO devices = service->uiLogic()->GetDeviceInfo();
                if (devices.nDevNum <= step.code ||
                    service->uiLogic()->SelectDevice(devices.stDevInfo[step.code]) != 0)
                    return false;
            } else if (step.kind == Step::HostNotification && step.code == NTF_FRAME_SHOWN) {
                m_host->frameShown();
            } else if (step.kind == Step::HostNotification) {
                service->Notify(step.code, 0, 0);
            } else if (step.code == UTPS_EVENT_DEV_FPLOCK) {
                service->deviceMgrInitEventHandler(step.code); // spares the FP thread's pacing
            } else if (step.code == UTPS_EVENT_DEV_REJECT || step.code == UTPS_EVENT_DEV_DETECTED) {
                card.raiseDeviceListEvent(step.code);
            } else {
                card.raiseEvent(step.code,
                                step.word < 0
                                    ? std::nullopt
                                    : std::optional(std::vector<uint32_t>{uint32_t(step.word)}));
            }
            if (!m_host->waitForEvents())
                return false;
        }
        return true;
    }

    QStringList records(const char* kind) const { return m_host->records(QLatin1String(kind)); }

    // What the service has done and shows, under the names the rows use.
    QMap<QString, QString> observe(CDeviceMgrService* s) const
    {
        QMap<QString, QString> seen;
        seen["notify"] = listOrNone(records("notify"), ", ");
        seen["menu"] = listOrNone(records("menu"), " ");
        QStringList messages;
        for (const MessageRequest& message : m_host->messages()) {
            messages << QStringLiteral("icon %1 over %2: '%3'")
                            .arg(message.icon)
                            .arg(message.parent == m_host->mainWindow() ? "the main window"
                                                                        : "another")
                            .arg(message.text);
        }
        seen["messages"] = listOrNone(messages, ", ");
        seen["type asked"] = QString::number(callCount("UTPS_DevSrv_GetProductType"));
        seen["subscriptions"] = QString::number(records("subscribe").size());
        seen["SIM not ready told"] =
            records("notify").contains(broadcast(NTF_SIM_NOT_READY)) ? "yes" : "no";
        const QString reload = QString("broadcast %1 ").arg(NTF_PLUGINS_RELOADING);
        seen["reloads told"] = QString::number(records("notify").filter(reload).size());
        seen["pin status"] = QString::number(s->pinStatus());
        seen["current"] = s->currentDeviceName().isEmpty() ? "none" : s->currentDeviceName();
        seen["previous"] =
            s->previousDeviceName() + " of type " + QString::number(s->previousProductType());
        seen["type setting"] = CommonUtils::GetSettings("Device", "ProductType");
        seen["info"] = infoOf(s);
        ChooseDevExtendDialog* chooser = s->chooser() ? s->chooser()->dialog() : nullptr;
        seen["chooser"] = !s->chooser()                                     ? "none"
                          : !chooser || !chooser->isVisible()               ? "hidden"
                          : chooser->parentWidget() == m_host->mainWindow() ? "over the main window"
                                                                            : "elsewhere";
        seen["state"] = stateOf(s);
        return seen;
    }

private slots:
    void init() { m_host = std::make_unique<HostFixture>(); }
    void cleanup() { m_host.reset(); }

    void handling_data()
    {
        QTest::addColumn<Cards>("cards");
        QTest::addColumn<Steps>("steps");
        QTest::addColumn<QString>("facts"); // "what: as observed", joined by " | "

        const Cards noCard;
        const Cards simCard = {card("Card A")};
        const Cards uimCard = {card("Card A", 1, 1)};
        const Cards twoReady = {card("Card A"), card("Card B")};
        const Cards twoInvalid = {card("Card A", 0), card("Card B")};
        const Steps moved = {
            sdk(UTPS_EVENT_DEV_INIT_SUCCESS), sdk(UTPS_EVENT_DEV_SIM_INVALID),
            sdk(UTPS_EVENT_DEV_SIM_STATE_CHANGE, 1)}; // every flag off its reset value
        const Steps beforeFrame = {sdk(UTPS_EVENT_DEV_DETECTED), sdk(UTPS_EVENT_DEV_ACTIVE),
                                   sdk(UTPS_EVENT_DEV_CHANGE_END)}; // each shows something later
        const QString notReady = "notify: " + broadcast(NTF_SIM_NOT_READY);
        const QString toldReady = "notify: " + broadcast(NTF_SIM_READY) +
                                  " | menu: RefreshMenu | info: none | messages: none";
        const QString toldNotReady =
            notReady + " | menu: RefreshMenu | info: none | messages: none";
        const QString simInvalid = "No valid %1 card was found. Please insert a valid %1 card and "
                                   "plug in the device again.";
        const auto choice = [](int from, int to) {
            return Cards{card("Card A", 1, from), card("Card B", 1, to)};
        };
        // clang-format off
        QTest::newRow("initial state") << noCard << Steps{} << "state: sim => invalid";
        QTest::newRow("ready card") << simCard << Steps{} << "state: device sim pin => valid";
        QTest::newRow("unusable SIM card") << Cards{card("Card A", 0)} << Steps{} << "state: device => invalid";
        QTest::newRow("init success") << noCard << Steps{sdk(UTPS_EVENT_DEV_INIT_SUCCESS)} << "state: device sim => invalid";
        QTest::newRow("init finish without device") << noCard << Steps{sdk(UTPS_EVENT_DEV_DEVICE_INIT_FINISH)} << "state: sim => invalid";
        QTest::newRow("init finish with device") << simCard << Steps{sdk(UTPS_EVENT_DEV_REJECT), sdk(UTPS_EVENT_DEV_DEVICE_INIT_FINISH)} << "state: device sim pin => valid";
        QTest::newRow("SIM invalid") << noCard << Steps{sdk(UTPS_EVENT_DEV_SIM_INVALID)} << "state:  => invalid";
        QTest::newRow("fingerprint lock") << noCard << Steps{sdk(UTPS_EVENT_DEV_FPLOCK)} << "state: sim fplock => invalid";
        QTest::newRow("device active") << noCard << Steps{sdk(UTPS_EVENT_DEV_ACTIVE)} << "state: device sim => invalid";
        QTest::newRow("change end") << noCard << Steps{sdk(UTPS_EVENT_DEV_CHANGE_END)} << "state: device sim => invalid";
        QTest::newRow("SIM word 1") << noCard << Steps{sdk(UTPS_EVENT_DEV_SIM_STATE_CHANGE, 1)} << "state: sim pin => invalid";
        QTest::newRow("SIM word 0") << simCard << Steps{sdk(UTPS_EVENT_DEV_SIM_STATE_CHANGE, 0)} << "state: device sim => invalid";
        QTest::newRow("reject resets") << noCard << moved + Steps{sdk(UTPS_EVENT_DEV_REJECT)} << "state: sim => invalid";
        QTest::newRow("switch resets") << noCard << moved + Steps{sdk(UTPS_EVENT_DEV_SWITCH)} << "state: sim => invalid";
        QTest::newRow("reject of ready card") << simCard << Steps{sdk(UTPS_EVENT_DEV_REJECT)} << "state: sim => invalid";
        QTest::newRow("flags ready, no card") << noCard << Steps{sdk(UTPS_EVENT_DEV_INIT_SUCCESS), sdk(UTPS_EVENT_DEV_SIM_STATE_CHANGE, 1)} << "state: device sim pin => invalid";
        QTest::newRow("reject before frame keeps FP lock") << noCard << Steps{sdk(UTPS_EVENT_DEV_FPLOCK), sdk(UTPS_EVENT_DEV_REJECT)} << "state: sim fplock => invalid";
        QTest::newRow("reject after frame clears FP lock") << noCard << Steps{frame, sdk(UTPS_EVENT_DEV_FPLOCK), sdk(UTPS_EVENT_DEV_REJECT)} << "state: sim => invalid";
        QTest::newRow("switch after frame clears FP lock") << noCard << Steps{frame, sdk(UTPS_EVENT_DEV_FPLOCK), sdk(UTPS_EVENT_DEV_SWITCH)} << "state: sim => invalid";
        QTest::newRow("IsDeviceAvialable asks the card") << simCard << Steps{sdk(UTPS_EVENT_DEV_REJECT), askAvailable} << "state: device sim => invalid";
        QTest::newRow("IsDeviceAvialable, card gone") << noCard << Steps{sdk(UTPS_EVENT_DEV_INIT_SUCCESS), askAvailable} << "state: sim => invalid";
        QTest::newRow("IsDeviceAvialable, status fails") << simCard << Steps{fault("UTPS_DevSrv_GetDevStatus"), askAvailable} << "state: sim pin => valid";
        QTest::newRow("incoming call") << noCard << Steps{host(NTF_CALL_INCOMING)} << "state: sim call => invalid";
        QTest::newRow("outgoing call") << noCard << Steps{host(NTF_CALL_OUTGOING)} << "state: sim call => invalid";
        QTest::newRow("call connected") << noCard << Steps{host(NTF_CALL_CONNECTED)} << "state: sim call => invalid";
        QTest::newRow("call ended") << noCard << Steps{host(NTF_CALL_CONNECTED), host(NTF_CALL_ENDED)} << "state: sim => invalid";

        // After the frame is up, what an event tells and shows.
        QTest::newRow("SIM word 0 after frame") << uimCard << Steps{frame, fromHere, sdk(UTPS_EVENT_DEV_SIM_STATE_CHANGE, 0)} << toldNotReady;
        QTest::newRow("SIM word 1 after frame") << uimCard << Steps{frame, fromHere, sdk(UTPS_EVENT_DEV_SIM_STATE_CHANGE, 1)} << toldReady;
        QTest::newRow("SIM word 254 after frame") << uimCard << Steps{frame, fromHere, sdk(UTPS_EVENT_DEV_SIM_STATE_CHANGE, 254)} << toldReady;
        QTest::newRow("SIM word 255 after frame") << uimCard << Steps{frame, fromHere, sdk(UTPS_EVENT_DEV_SIM_STATE_CHANGE, 255)} << toldNotReady;
        QTest::newRow("SIM word 256 after frame") << uimCard << Steps{frame, fromHere, sdk(UTPS_EVENT_DEV_SIM_STATE_CHANGE, 256)} << toldNotReady;
        QTest::newRow("reject after frame: pop-up") << uimCard << Steps{frame, fromHere, sdk(UTPS_EVENT_DEV_REJECT)} << notReady + " | menu: RefreshDeviceMenu DisableDeviceMenu | info: IDS_DEVICE_INVALID for 3000 ms | messages: none | previous: Card A of type 1";
        QTest::newRow("switch after frame: none") << uimCard << Steps{frame, fromHere, sdk(UTPS_EVENT_DEV_SWITCH)} << notReady + " | menu: RefreshDeviceMenu DisableDeviceMenu | info: none | messages: none | previous: Card A of type 1";

        // Nothing reaches the screen before the frame, but the state is kept and
        // the frame replays it; a chooser made by the frame shows on a detection.
        QTest::newRow("ready card before frame") << twoReady << beforeFrame << "messages: none | info: none | chooser: none | current: none | state: device sim pin => valid";
        QTest::newRow("invalid SIM before frame") << twoInvalid << beforeFrame << "messages: none | info: none | chooser: none | current: none | state: device => invalid";
        QTest::newRow("ready card, frame") << twoReady << beforeFrame + Steps{fromHere, frame} << "current: Card A | subscriptions: 4 | info: IDS_INIT_DEV_UNDERWAY for 3000 ms | messages: none | SIM not ready told: no | chooser: hidden";
        QTest::newRow("invalid SIM, frame") << twoInvalid << beforeFrame + Steps{fromHere, frame} << "current: Card A | subscriptions: 4 | info: none | SIM not ready told: yes | chooser: hidden | messages: icon 1 over the main window: '" + simInvalid.arg("SIM/USIM") + "'";
        QTest::newRow("ready card, frame, detected") << twoReady << beforeFrame + Steps{frame, fromHere, sdk(UTPS_EVENT_DEV_DETECTED)} << "chooser: over the main window";
        QTest::newRow("invalid SIM, frame, detected") << twoInvalid << beforeFrame + Steps{frame, fromHere, sdk(UTPS_EVENT_DEV_DETECTED)} << "chooser: over the main window";

        // A PIN status still at "protection off" on a SIM that reports 240 counts
        // as ready when the frame comes up; any other status read from the card stays.
        QTest::newRow("no-PIN event reads protection off") << Cards{card("Card A", 240)} << Steps{sdk(UTPS_EVENT_DEV_DEVICE_NO_PIN)} << "pin status: 8";
        QTest::newRow("no-PIN event reads PIN required") << Cards{card("Card A", 240, 2, true)} << Steps{sdk(UTPS_EVENT_DEV_DEVICE_NO_PIN)} << "pin status: 2";
        QTest::newRow("SIM 240, protection off, frame") << Cards{card("Card A", 240)} << Steps{sdk(UTPS_EVENT_DEV_DEVICE_NO_PIN), frame} << "pin status: 0";
        QTest::newRow("SIM 1, protection off, frame") << Cards{card("Card A", 1)} << Steps{sdk(UTPS_EVENT_DEV_DEVICE_NO_PIN), frame} << "pin status: 8";
        QTest::newRow("SIM 240, PIN required, frame") << Cards{card("Card A", 240, 2, true)} << Steps{sdk(UTPS_EVENT_DEV_DEVICE_NO_PIN), frame} << "pin status: 2";

        // Choosing another card reloads the plug-ins tied to it; the container sees
        // no change for either card, so only a forced reload tells the plug-ins.
        QTest::newRow("choice UIM to SIM") << choice(1, 2) << Steps{frame, fromHere, chooseSecond} << "previous: Card A of type 1 | current: Card B | type setting: 2 | reloads told: 1";
        QTest::newRow("choice SIM to UIM") << choice(2, 1) << Steps{frame, fromHere, chooseSecond} << "previous: Card A of type 2 | current: Card B | type setting: 1 | reloads told: 1";
        QTest::newRow("choice SIM to SIM") << choice(2, 2) << Steps{frame, fromHere, chooseSecond} << "previous: Card A of type 2 | current: Card B | type setting: 2 | reloads told: 0";
        QTest::newRow("choice unknown to SIM") << choice(3, 2) << Steps{frame, fromHere, chooseSecond} << "previous: Card A of type 3 | current: Card B | type setting: 2 | reloads told: 0";
        QTest::newRow("choice UIM to unknown") << choice(1, 3) << Steps{frame, fromHere, chooseSecond} << "previous: Card A of type 1 | current: Card B | type setting: 3 | reloads told: 0";

        // The invalid-SIM message names the kind of card, as the settings may put it.
        const QString invalid = notReady + " | type asked: 1 | messages: icon 1 over the main window: '" + simInvalid + "'";
        const Steps invalidAfterFrame = {frame, fromHere, sdk(UTPS_EVENT_DEV_SIM_INVALID)};
        QTest::newRow("SIM invalid after frame, SIM card") << simCard << invalidAfterFrame << invalid.arg("SIM/USIM");
        QTest::newRow("SIM invalid after frame, UIM card") << uimCard << invalidAfterFrame << invalid.arg("UIM");
        QTest::newRow("SIM card, simtype set") << simCard << Steps{setting("simtype=USIM")} + invalidAfterFrame << invalid.arg("USIM");
        QTest::newRow("UIM card, uimtype set") << uimCard << Steps{setting("uimtype=R-UIM")} + invalidAfterFrame << invalid.arg("R-UIM");
        QTest::newRow("UIM card ignores simtype") << uimCard << Steps{setting("simtype=USIM")} + invalidAfterFrame << invalid.arg("UIM");
        QTest::newRow("SIM card ignores uimtype") << simCard << Steps{setting("uimtype=R-UIM")} + invalidAfterFrame << invalid.arg("SIM/USIM");
        QTest::newRow("type unknown counts as SIM") << uimCard << Steps{frame, fault("UTPS_DevSrv_GetProductType"), fromHere, sdk(UTPS_EVENT_DEV_SIM_INVALID)} << invalid.arg("SIM/USIM");
        // Without a text there is nothing to name: the card is not asked.
        QTest::newRow("no text") << uimCard << Steps{frame, language("none"), fromHere, sdk(UTPS_EVENT_DEV_SIM_INVALID)} << notReady + " | type asked: 0 | messages: icon 1 over the main window: ''";
        // clang-format on
    }
    void handling()
    {
        QFETCH(Cards, cards);
        QFETCH(Steps, steps);
        QFETCH(QString, facts);

        CDeviceMgrService* service = m_host->startWith(cards);
        QVERIFY(service);
        QVERIFY(deliver(steps));
        const QMap<QString, QString> seen = observe(service);
        for (const QString& fact : facts.split(" | ")) {
            const QString what = fact.section(": ", 0, 0);
            QVERIFY2(seen.contains(what), qPrintable(what));
            QCOMPARE(what + ": " + seen.value(what), fact);
        }
    }
};

QTEST_MAIN(tst_DeviceState)
#include "tst_devicestate.moc"
