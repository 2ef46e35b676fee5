// The PIN workflow against the virtual card: what OK in each PIN dialog leads
// to, and when PIN checks open nothing. The plain right and wrong entries are
// played by the scenarios pin_startup, puk_unblock and change_pin, which also
// find the fields by name; here they go in the order a person fills them.
#include "DeviceMgrService.h"
#include "HostFixture.h"
#include "LineEdit.h"
#include "SimDlg.h"
#include <sim/VirtualCard.h>

#include <Change.h>
#include <SiblingInterfaces.h>

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

// A notification code as notesSince() writes it.
QString noteOf(unsigned int code)
{
    switch (code) {
    case NTF_SIM_READY:
        return "ready";
    case NTF_SIM_NOT_READY:
        return "not-ready";
    case NTF_UPDATE_PINSTATUS:
        return "pin-status";
    default:
        return QString::number(code);
    }
}

// The notifications since record `from`: "ready" for a broadcast,
// "pin-status>mini" for one to the mini frame; a repeat of the one before
// says nothing new.
QString notesSince(const HostFixture& host, int from)
{
    QStringList codes;
    for (const QString& note : host.records("notify").mid(from)) {
        QString code = noteOf(note.section(' ', -3, -3).toUInt());
        if (note.contains(QLatin1String(LinkPlugins::MiniFrameClsid)))
            code += ">mini";
        else if (!note.startsWith("broadcast"))
            code = note;
        if (codes.value(codes.size() - 1) != code)
            codes.append(code);
    }
    return codes.join(' ');
}

// Types `entries` into the dialog's fields; returns what the fields then hold.
QString fill(QWidget* dialog, const QStringList& entries = {})
{
    QString held;
    const QList<LineEdit*> fields = dialog->findChildren<LineEdit*>();
    for (int i = 0; i < fields.size(); ++i) {
        QTest::keyClicks(fields[i], entries.value(i));
        held += fields[i]->text();
    }
    return held;
}

// By its text: the enable/disable dialog names OK and Cancel alike.
QPushButton* okOf(QWidget* dialog)
{
    for (QPushButton* button : dialog->findChildren<QPushButton*>()) {
        if (button->text() == textOf("IDS_MAINFRM_OK_PROMPT"))
            return button;
    }
    return nullptr;
}

// A row of okOutcomes, whose name starts with the dialog: the dialog as a
// person meets it with `tries` left (PUK tries for the PUK dialog, PIN tries
// for the others), the entries and what else happens.
struct Given
{
    int tries = 3;
    QString twist = {}; // call, unknown (no count back), none (no language), privilege
    QString entries = {};
};

// What else OK leads to, beyond the one message box (a key or the text as
// shown; empty: none).
struct Then
{
    bool onDialog = true;   // the box's parent is the dialog
    QString staysWith = {}; // the dialog stays with this in its tries label; empty: closed
    bool toPuk = false;     // the PUK dialog opens (or stays)
    bool valid = false;
    bool pinOn = true;  // PIN protection; the PIN itself is always 1234 after
    QString notes = {}; // as notesSince() writes them
};

void row(const char* name, const Given& given, const QString& message, const Then& then)
{
    QTest::newRow(name) << given << message << then;
}

} // namespace

Q_DECLARE_METATYPE(Given)
Q_DECLARE_METATYPE(Then)

class tst_PinWorkflow : public QObject
{
    Q_OBJECT

    std::unique_ptr<HostFixture> m_host;
    CDeviceMgrService* m_service = nullptr;

    void start(const sim::CardConfig& config, bool showFrame = true)
    {
        m_host = std::make_unique<HostFixture>();
        m_service = m_host->startWith({config});
        QVERIFY(m_service);
        if (showFrame) {
            m_host->frameShown();
            QVERIFY(m_host->waitForEvents());
        }
        m_host->clearMessages();
    }

    // The start-up prompt for the PIN and the PUK; the others opened through
    // IDeviceMgr, after the PIN was entered where protection is on.
    QDialog* open(const QString& which, int tries, const QString& twist = QString())
    {
        const bool puk = which == "puk", later = which == "disable" || which == "modify";
        // A SIM the card no longer reports as usable loses its PUK count.
        sim::CardConfig config;
        config.sim = {.status = puk && twist == "unknown" ? 0 : 1,
                      .pinEnabled = which != "enable",
                      .pinRetries = puk ? 0 : (later ? 3 : tries),
                      .pukRetries = puk ? tries : 10};
        config.wwanPrivilege = twist == "privilege";
        start(config);
        if (puk && !m_service->pukDialog())
            m_service->UnlockPIN();
        if (which == "enable")
            m_service->EnablePIN();
        if (later) {
            SimDlg* prompt = m_service->verifyPinDialog();
            if (!prompt)
                return nullptr;
            fill(prompt, {"1234"});
            QTest::mouseClick(okOf(prompt), Qt::LeftButton);
            for (int left = 3; left > tries; --left)
                UTPS_DevSrv_ChangePin(0, "9999", "1111");
            if (!m_host->waitForEvents() || !m_service->validPinState())
                return nullptr;
            m_host->clearMessages();
            which == "disable" ? m_service->DisablePIN() : m_service->ModifyPIN();
        }
        return which == "verify"   ? m_service->verifyPinDialog()
               : puk               ? m_service->pukDialog()
               : which == "modify" ? m_service->modifyDialog()
                                   : m_service->pinDialog();
    }

private slots:
    void cleanup()
    {
        m_service = nullptr;
        m_host.reset();
    }

    void okOutcomes_data()
    {
        QTest::addColumn<Given>("given");
        QTest::addColumn<QString>("message");
        QTest::addColumn<Then>("then");
        const QString right = "12345678 4321 4321", wrong = "87654321 4321 4321";
        const QString twoLeft = "PIN attempts remaining: 2";
        const QString calling = "IDS_PROMPT_CALLING_DISABLE";
        row("verify, count unknown", {.twist = "unknown", .entries = "9999"}, "",
            {.notes = "pin-status>mini"});
        row("verify during a call", {.twist = "call", .entries = "1234"}, calling, {});
        row("puk exhausted", {.tries = 1, .entries = wrong}, "IDS_MSG_CARD_BLOCKED",
            {.onDialog = false});
        row("puk exhausted, key missing", {.tries = 1, .twist = "none", .entries = wrong},
            "The Data card is permanently blocked. Please contact your Operator",
            {.onDialog = false});
        row("puk refused by privilege", {.tries = 10, .twist = "privilege", .entries = right},
            "IDS_MSG_WWAN_PRIVILIGE", {.onDialog = false});
        row("puk, count unknown", {.tries = 10, .twist = "unknown", .entries = wrong}, "",
            {.staysWith = "IDS_MAINFRM_UNKNOWN"});
        row("puk during a call", {.tries = 10, .twist = "call", .entries = right}, calling, {});
        row("enable right", {.entries = "1234"}, "IDS_MAINFRM_ENABLEPIN_SUCCESS",
            {.valid = true, .notes = "pin-status>mini"});
        row("enable wrong, tries left", {.entries = "9999"}, "IDS_PIN_ENABLE_FAILED",
            {.staysWith = twoLeft, .valid = true, .pinOn = false, .notes = "pin-status>mini"});
        row("enable wrong, PIN locked", {.tries = 1, .entries = "9999"}, "IDS_PIN_PIN_LOCKED",
            {.toPuk = true, .pinOn = false, .notes = "pin-status>mini not-ready"});
        row("enable during a call", {.twist = "call", .entries = "1234"}, calling,
            {.valid = true, .pinOn = false});
        row("disable wrong, tries left", {.entries = "9999"}, "IDS_PIN_DISABLE_FAILED",
            {.staysWith = twoLeft, .valid = true, .notes = "pin-status>mini"});
        row("disable wrong, PIN locked", {.tries = 1, .entries = "9999"}, "IDS_PIN_PIN_LOCKED",
            {.toPuk = true, .notes = "pin-status>mini not-ready"});
        row("modify wrong, tries left", {.entries = "9999 5678 5678"}, "IDS_PIN_CHANGE_FAILED",
            {.staysWith = twoLeft, .valid = true});
        row("modify wrong, last try", {.tries = 1, .entries = "9999 5678 5678"},
            "IDS_PIN_CHANGE_FAILED", {.toPuk = true, .valid = true});
        row("modify during a call", {.twist = "call", .entries = "1234 5678 5678"}, calling,
            {.valid = true});
    }

    void okOutcomes()
    {
        QFETCH(Given, given);
        QFETCH(QString, message);
        QFETCH(Then, then);
        const QString which = QString(QTest::currentDataTag()).section(' ', 0, 0).remove(',');
        const QStringList entries = given.entries.split(' ');
        QPointer<QDialog> dialog = open(which, given.tries, given.twist);
        QVERIFY(dialog && dialog->isVisible());
        message = textOf(message);
        QCOMPARE(fill(dialog, entries), entries.join(QString()));
        QPushButton* ok = okOf(dialog);
        QVERIFY(ok && ok->isEnabled());
        if (given.twist == "call")
            m_service->Notify(NTF_CALL_CONNECTED, 0, 0);
        // The card takes the request but gives no count back.
        if (given.twist == "unknown")
            m_host->card().setFault(
                which == "puk" ? "UTPS_DevSrv_UnblockPin" : "UTPS_DevSrv_VerifyPin", -1, 1);
        QVERIFY(Change::SetLanguage(given.twist == "none" ? "none" : "en"));
        m_host->card().clearCallLog();
        const int notesBefore = m_host->records("notify").size();
        // PIN and PUK: a second click while the card works must find OK dead.
        bool okLive = false;
        m_host->card().setCallObserver([&](const sim::CallRecord&) { okLive |= ok->isEnabled(); });
        QTest::mouseClick(ok, Qt::LeftButton);
        m_host->card().setCallObserver({});
        QVERIFY(!okLive || (which != "verify" && which != "puk"));

        int requests = 0; // Verify-, Enable-, Disable-, Unblock- and ChangePin
        for (const sim::CallRecord& call : m_host->card().callLog())
            requests += QString::fromStdString(call.function).endsWith("Pin") ? 1 : 0;
        QCOMPARE(requests, given.twist == "call" ? 0 : 1);
        const QList<MessageRequest> boxes = m_host->messages();
        QCOMPARE(boxes.size(), message.isEmpty() ? 0 : 1);
        for (const MessageRequest& shown : boxes) {
            QCOMPARE(shown.text, message);
            QCOMPARE(shown.icon,
                     given.twist == "call" ? QMessageBox::Warning : QMessageBox::Information);
            QCOMPARE(shown.parent, then.onDialog ? dialog.data() : nullptr);
        }
        QCOMPARE(dialog && dialog->isVisible(), !then.staysWith.isEmpty());
        if (!then.staysWith.isEmpty()) {
            const char* label = which == "puk"      ? "DeviceMgrUI_labelPUKTimes"
                                : which == "modify" ? "DeviceMgrUI_labelModTimes"
                                                    : "DeviceMgrUI_m_plabelPINTimes";
            QVERIFY(dialog->findChild<QLabel*>(label));
            QCOMPARE(dialog->findChild<QLabel*>(label)->text(), textOf(then.staysWith));
            QCOMPARE(fill(dialog), QString());
            QVERIFY(!ok->isEnabled());
        }
        SimDlg* puk = m_service->pukDialog();
        QCOMPARE(puk && puk != dialog && puk->isVisible(), then.toPuk);
        if (then.toPuk)
            QCOMPARE(m_service->pinState(), DEVMGR_UNLOCK_PIN);
        QCOMPARE(m_service->validPinState(), then.valid);
        QCOMPARE(notesSince(*m_host, notesBefore), then.notes);
        const sim::SimConfig sim = m_host->card().card(0)->config.sim;
        QCOMPARE(QString::fromStdString(sim.pin), "1234");
        QCOMPARE(sim.pinEnabled, then.pinOn);
    }

    void checkPinLeavesAnActivePinOrPukWindowAlone_data()
    {
        QTest::addColumn<QString>("which");
        QTest::newRow("PIN window") << "enable";
        QTest::newRow("PUK window") << "puk";
    }

    void checkPinLeavesAnActivePinOrPukWindowAlone()
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

    void launchBeforeTheFramePublishesValidityOnly_data()
    {
        QTest::addColumn<int>("state");
        QTest::addColumn<bool>("valid");
        QTest::addColumn<int>("notification");
        QTest::newRow("ready") << int(DEVMGR_PIN_READY) << true << int(NTF_SIM_READY);
        QTest::newRow("PIN needed") << int(DEVMGR_PIN_VERIFY) << false << int(NTF_SIM_NOT_READY);
        QTest::newRow("PUK needed") << int(DEVMGR_UNLOCK_PIN) << false << int(NTF_SIM_NOT_READY);
    }

    void launchBeforeTheFramePublishesValidityOnly()
    {
        QFETCH(int, state);
        QFETCH(bool, valid);
        QFETCH(int, notification);
        start({}, false);
        const int notesBefore = m_host->records("notify").size();
        m_service->launchPinDlg(E_DEVMGR_PIN_STATE(state));

        QCOMPARE(m_service->validPinState(), valid);
        QCOMPARE(notesSince(*m_host, notesBefore), noteOf(notification));
        QVERIFY(!m_service->verifyPinDialog());
        QVERIFY(!m_service->pukDialog());
    }
};

QTEST_MAIN(tst_PinWorkflow)
#include "tst_pinworkflow.moc"
