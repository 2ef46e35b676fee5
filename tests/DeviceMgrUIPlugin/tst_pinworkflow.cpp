// The PIN workflow against the virtual card: what OK in each PIN dialog leads
// to, and when PIN checks open nothing. The plain right and wrong entries are
// played by the scenarios pin_startup, puk_unblock and change_pin.
#include "DeviceMgrService.h"
#include "HostFixture.h"
#include "LineEdit.h"
#include "SimDlg.h"
#include "sim/VirtualCard.h"

#include <Change.h>
#include <SiblingInterfaces.h>

#include <QHash>
#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QTest>

#include <memory>

namespace {

// Keys stand for their English text; anything else is taken as it is.
QString textOf(const QString& keyOrText)
{
    return keyOrText.startsWith("IDS_") ? CDeviceMgrService::tr(keyOrText) : keyOrText;
}

// The notifications since record `from`: "578" for a broadcast, "1027>mini"
// for one to the mini frame; a repeat of the one before says nothing new.
QString notesSince(const HostFixture& host, int from)
{
    QStringList codes;
    for (const QString& note : host.records("notify").mid(from)) {
        QString code = note.section(' ', -3, -3);
        if (note.contains(QLatin1String(LinkPlugins::MiniFrameClsid)))
            code += ">mini";
        else if (!note.startsWith("broadcast"))
            code = note;
        if (codes.isEmpty() || codes.last() != code)
            codes.append(code);
    }
    return codes.join(' ');
}

// PIN, PUK and change requests that reached the card (Verify-, Enable-,
// Disable-, Unblock-, ChangePin).
int requestCalls()
{
    int count = 0;
    for (const sim::CallRecord& call : sim::VirtualCard::instance().callLog())
        count += QString::fromStdString(call.function).endsWith("Pin") ? 1 : 0;
    return count;
}

// Per dialog: its entry fields in the order a person fills them, then its
// tries label.
const QHash<QString, QStringList> kNames = {
    {"verify", {"DeviceMgrUI_VerifyeditPINText", "DeviceMgrUI_VerifyPINTimes"}},
    {"enable", {"DeviceMgrUI_dialogInfoDlg", "DeviceMgrUI_m_plabelPINTimes"}},
    {"disable", {"DeviceMgrUI_dialogInfoDlg", "DeviceMgrUI_m_plabelPINTimes"}},
    {"puk",
     {"DeviceMgrUI_editPUKText", "DeviceMgrUI_editPUKPINText", "DeviceMgrUI_editConfirmPUKPINText",
      "DeviceMgrUI_labelPUKTimes"}},
    {"modify",
     {"DeviceMgrUI_editCurrPINText", "DeviceMgrUI_editNewPINText",
      "DeviceMgrUI_editConfirmNewPINText", "DeviceMgrUI_labelModTimes"}},
};

// Types `entries` into the fields of `dialog`; returns what the fields then hold.
QString fill(QWidget* dialog, const QString& which, const QStringList& entries = {})
{
    QString held;
    const QStringList names = kNames.value(which);
    for (int i = 0; i + 1 < names.size(); ++i) {
        auto* edit = dialog->findChild<LineEdit*>(names[i]);
        if (!edit)
            return "<no " + names[i] + ">";
        QTest::keyClicks(edit, entries.value(i));
        held += edit->text();
    }
    return held;
}

// OK and Cancel by their texts: the enable/disable dialog names both alike.
QPushButton* buttonOf(QWidget* dialog, const QString& key)
{
    for (QPushButton* button : dialog->findChildren<QPushButton*>()) {
        if (button->text() == textOf(key))
            return button;
    }
    return nullptr;
}

sim::CardConfig card(bool pinEnabled, int pinRetries = 3, int pukRetries = 10)
{
    sim::CardConfig config;
    config.sim = {1, "262019876543210", "1234", "12345678", pinEnabled, pinRetries, pukRetries};
    return config;
}

// A row of okOutcomes; the name starts with the dialog. `tries` counts PUK
// tries for the PUK dialog, PIN tries for the others; `after` is what becomes
// of the dialog: "stays", "closed", or "PUK" (closed for the PUK dialog).
void addOutcome(const char* name, int tries, const char* twist, const char* entries,
                const char* message, bool parented, const char* after, const char* triesAfter,
                bool validAfter, const char* cardAfter, const char* notes)
{
    const QString which = QString(name).section(' ', 0, 0).remove(',');
    QTest::newRow(name) << which << tries << QString(twist) << QString(entries).split(' ')
                        << textOf(message) << parented << QString(after) << textOf(triesAfter)
                        << validAfter << QString(cardAfter) << QString(notes);
}

} // namespace

class tst_PinWorkflow : public QObject
{
    Q_OBJECT

private slots:
    void cleanup();
    void okOutcomes_data();
    void okOutcomes();
    void checkPinLeavesAnActivePinOrPukWindowAlone_data();
    void checkPinLeavesAnActivePinOrPukWindowAlone();
    void launchBeforeTheFramePublishesValidityOnly_data();
    void launchBeforeTheFramePublishesValidityOnly();

private:
    void start(const sim::CardConfig& config, bool showFrame = true);
    // The dialog as a person meets it: the start-up prompt for the PIN and the
    // PUK; the others opened through IDeviceMgr, after the PIN was entered
    // where protection is on and with `tries` left.
    QDialog* open(const QString& which, int tries, const QString& twist = QString());

    std::unique_ptr<HostFixture> m_host;
    CDeviceMgrService* m_service = nullptr;
};

void tst_PinWorkflow::cleanup()
{
    m_service = nullptr;
    m_host.reset();
}

void tst_PinWorkflow::start(const sim::CardConfig& config, bool showFrame)
{
    m_host = std::make_unique<HostFixture>();
    m_host->card().addCard(config);
    m_service = m_host->startService();
    QVERIFY(m_host->waitForEvents());
    if (showFrame) {
        m_host->frameShown();
        QVERIFY(m_host->waitForEvents());
    }
    m_host->clearMessages();
}

QDialog* tst_PinWorkflow::open(const QString& which, int tries, const QString& twist)
{
    if (which == "verify") {
        start(card(true, tries));
        return m_service->verifyPinDialog();
    }
    if (which == "puk") {
        sim::CardConfig config = card(true, 0, tries);
        config.wwanPrivilege = twist.contains("privilege");
        // A SIM the card no longer reports as usable: its PUK count is lost.
        config.sim.status = twist == "unknown" ? 0 : 1;
        start(config);
        if (!m_service->pukDialog())
            m_service->UnlockPIN();
        return m_service->pukDialog();
    }
    if (which == "enable") {
        start(card(false, tries));
        m_service->EnablePIN();
        return m_service->pinDialog();
    }
    start(card(true));
    SimDlg* prompt = m_service->verifyPinDialog();
    if (!prompt)
        return nullptr;
    fill(prompt, "verify", {"1234"});
    QTest::mouseClick(buttonOf(prompt, "IDS_MAINFRM_OK_PROMPT"), Qt::LeftButton);
    for (int left = 3; left > tries; --left)
        UTPS_DevSrv_ChangePin(0, "9999", "1111");
    if (!m_host->waitForEvents() || !m_service->validPinState())
        return nullptr;
    m_host->clearMessages();
    if (which == "disable")
        m_service->DisablePIN();
    else
        m_service->ModifyPIN();
    return which == "disable" ? m_service->pinDialog() : m_service->modifyDialog();
}

void tst_PinWorkflow::okOutcomes_data()
{
    QTest::addColumn<QString>("which");
    QTest::addColumn<int>("tries");
    QTest::addColumn<QString>("twist");
    QTest::addColumn<QStringList>("entries");
    QTest::addColumn<QString>("message"); // empty: no message box
    QTest::addColumn<bool>("parented");   // the box sits on the dialog
    QTest::addColumn<QString>("after");
    QTest::addColumn<QString>("triesAfter");
    QTest::addColumn<bool>("validAfter");
    QTest::addColumn<QString>("cardAfter"); // the SIM's PIN, protection on/off
    QTest::addColumn<QString>("notes");

    const char* right = "12345678 4321 4321";
    const char* wrong = "87654321 4321 4321";
    const char* calling = "IDS_PROMPT_CALLING_DISABLE";
    addOutcome("verify, count unknown", 3, "unknown", "9999", "", false, "closed", "", false,
               "1234 on", "1027>mini");
    addOutcome("verify during a call", 3, "call", "1234", calling, true, "closed", "", false,
               "1234 on", "");
    addOutcome("puk exhausted", 1, "", wrong, "IDS_MSG_CARD_BLOCKED", false, "closed", "", false,
               "1234 on", "");
    addOutcome("puk exhausted, key missing", 1, "none", wrong,
               "The Data card is permanently blocked. Please contact your Operator", false,
               "closed", "", false, "1234 on", "");
    addOutcome("puk refused (6000)", 10, "privilege", right, "IDS_MSG_WWAN_PRIVILIGE", false,
               "closed", "", false, "1234 on", "");
    addOutcome("puk, count unknown", 10, "unknown", wrong, "", false, "stays",
               "IDS_MAINFRM_UNKNOWN", false, "1234 on", "");
    addOutcome("puk during a call", 10, "call", right, calling, true, "closed", "", false,
               "1234 on", "");
    addOutcome("enable right", 3, "", "1234", "IDS_MAINFRM_ENABLEPIN_SUCCESS", true, "closed", "",
               true, "1234 on", "1027>mini");
    addOutcome("enable wrong, tries left", 3, "", "9999", "IDS_PIN_ENABLE_FAILED", true, "stays",
               "PIN attempts remaining: 2", true, "1234 off", "1027>mini");
    addOutcome("enable wrong, PIN locked", 1, "", "9999", "IDS_PIN_PIN_LOCKED", true, "PUK", "",
               false, "1234 off", "1027>mini 579");
    addOutcome("enable during a call", 3, "call", "1234", calling, true, "closed", "", true,
               "1234 off", "");
    addOutcome("disable wrong, tries left", 3, "", "9999", "IDS_PIN_DISABLE_FAILED", true, "stays",
               "PIN attempts remaining: 2", true, "1234 on", "1027>mini");
    addOutcome("disable wrong, PIN locked", 1, "", "9999", "IDS_PIN_PIN_LOCKED", true, "PUK", "",
               false, "1234 on", "1027>mini 579");
    addOutcome("modify wrong, tries left", 3, "", "9999 5678 5678", "IDS_PIN_CHANGE_FAILED", true,
               "stays", "PIN attempts remaining: 2", true, "1234 on", "");
    addOutcome("modify wrong, last try", 1, "", "9999 5678 5678", "IDS_PIN_CHANGE_FAILED", true,
               "PUK", "", true, "1234 on", "");
    addOutcome("modify during a call", 3, "call", "1234 5678 5678", calling, true, "closed", "",
               true, "1234 on", "");
}

void tst_PinWorkflow::okOutcomes()
{
    QFETCH(QString, which);
    QFETCH(int, tries);
    QFETCH(QString, twist);
    QFETCH(QStringList, entries);
    QFETCH(QString, message);
    QFETCH(bool, parented);
    QFETCH(QString, after);
    QFETCH(QString, triesAfter);
    QFETCH(bool, validAfter);
    QFETCH(QString, cardAfter);
    QFETCH(QString, notes);

    QPointer<QDialog> dialog = open(which, tries, twist);
    QVERIFY(dialog && dialog->isVisible());
    QCOMPARE(fill(dialog, which, entries), entries.join(QString()));
    QPushButton* ok = buttonOf(dialog, "IDS_MAINFRM_OK_PROMPT");
    QVERIFY(ok && ok->isEnabled());
    if (twist == "call")
        m_service->Notify(NTF_CALL_CONNECTED, 0, 0);
    // The card takes the request but gives no count back.
    if (twist == "unknown")
        m_host->card().setFault(which == "puk" ? "UTPS_DevSrv_UnblockPin" : "UTPS_DevSrv_VerifyPin",
                                -1, 1);
    QVERIFY(Change::SetLanguage(twist == "none" ? "none" : "en"));
    m_host->card().clearCallLog();
    const int notesBefore = m_host->records("notify").size();
    // PIN and PUK: a second click while the card works must find OK dead.
    bool okLive = false;
    m_host->card().setCallObserver([&](const sim::CallRecord&) { okLive |= ok->isEnabled(); });
    QTest::mouseClick(ok, Qt::LeftButton);
    m_host->card().setCallObserver({});
    QVERIFY(!okLive || (which != "verify" && which != "puk"));

    QCOMPARE(requestCalls(), twist == "call" ? 0 : 1);
    const QList<MessageRequest> boxes = m_host->messages();
    QCOMPARE(boxes.size(), message.isEmpty() ? 0 : 1);
    if (!message.isEmpty()) {
        QCOMPARE(boxes.first().text, message);
        QCOMPARE(boxes.first().icon,
                 twist == "call" ? QMessageBox::Warning : QMessageBox::Information);
        QCOMPARE(boxes.first().parent, parented ? dialog.data() : nullptr);
    }
    QCOMPARE(dialog && dialog->isVisible(), after == "stays");
    if (after == "stays") {
        auto* label = dialog->findChild<QLabel*>(kNames.value(which).last());
        QVERIFY(label);
        QCOMPARE(label->text(), triesAfter);
        QCOMPARE(fill(dialog, which), QString());
        QVERIFY(!ok->isEnabled());
    }
    SimDlg* puk = m_service->pukDialog();
    QCOMPARE(puk && puk != dialog && puk->isVisible(), after == "PUK");
    if (after == "PUK")
        QCOMPARE(m_service->pinState(), DEVMGR_UNLOCK_PIN);
    QCOMPARE(m_service->validPinState(), validAfter);
    QCOMPARE(notesSince(*m_host, notesBefore), notes);
    const sim::CardConfig now = m_host->card().card(0)->config;
    QCOMPARE(QString::fromStdString(now.sim.pin) + (now.sim.pinEnabled ? " on" : " off"),
             cardAfter);
}

void tst_PinWorkflow::checkPinLeavesAnActivePinOrPukWindowAlone_data()
{
    QTest::addColumn<QString>("which");
    QTest::newRow("PIN window") << "enable";
    QTest::newRow("PUK window") << "puk";
}

void tst_PinWorkflow::checkPinLeavesAnActivePinOrPukWindowAlone()
{
    QFETCH(QString, which);
    QDialog* dialog = open(which, which == "puk" ? 10 : 3);
    QVERIFY(dialog);
    dialog->activateWindow();
    QTRY_VERIFY(dialog->isActiveWindow());
    const E_DEVMGR_PIN_STATE before = m_service->pinState();
    m_host->card().clearCallLog();

    m_service->checkPIN();

    QVERIFY(m_host->card().callLog().empty());
    QCOMPARE(m_service->pinState(), before);
    QVERIFY(dialog->isVisible());
}

void tst_PinWorkflow::launchBeforeTheFramePublishesValidityOnly_data()
{
    QTest::addColumn<int>("state");
    QTest::addColumn<bool>("valid");
    QTest::addColumn<int>("notification");
    QTest::newRow("ready") << int(DEVMGR_PIN_READY) << true << int(NTF_SIM_READY);
    QTest::newRow("PIN needed") << int(DEVMGR_PIN_VERIFY) << false << int(NTF_SIM_NOT_READY);
    QTest::newRow("PUK needed") << int(DEVMGR_UNLOCK_PIN) << false << int(NTF_SIM_NOT_READY);
}

void tst_PinWorkflow::launchBeforeTheFramePublishesValidityOnly()
{
    QFETCH(int, state);
    QFETCH(bool, valid);
    QFETCH(int, notification);
    start(card(false), false);
    const int notesBefore = m_host->records("notify").size();
    m_service->launchPinDlg(E_DEVMGR_PIN_STATE(state));

    QCOMPARE(m_service->validPinState(), valid);
    QCOMPARE(notesSince(*m_host, notesBefore), QString::number(notification));
    QVERIFY(!m_service->verifyPinDialog());
    QVERIFY(!m_service->pukDialog());
}

QTEST_MAIN(tst_PinWorkflow)
#include "tst_pinworkflow.moc"
