// The PIN workflow end to end against the virtual card: the start-up prompt,
// wrong and right PINs, the PUK, enabling, disabling and changing the PIN,
// the voice-call guard, and what the other plug-ins are told on the way.
#include "DeviceMgrService.h"
#include "HostFixture.h"
#include "LineEdit.h"
#include "PluginContainer.h"
#include "SimDlg.h"
#include "TraceCapture.h"

#include "sim/VirtualCard.h"

#include <Change.h>
#include <ExtendDialog.h>
#include <SiblingInterfaces.h>

#include <QHash>
#include <QJsonArray>
#include <QJsonObject>
#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QTest>

#include <memory>

namespace {

QString uiText(const char* key)
{
    return CDeviceMgrService::tr(QString::fromLatin1(key));
}

QString miniFrameRecord(int code)
{
    return QStringLiteral("to %1 %2 0 0").arg(QLatin1String(LinkPlugins::MiniFrameClsid)).arg(code);
}

QString broadcastRecord(int code)
{
    return QStringLiteral("broadcast %1 0 0").arg(code);
}

int countCalls(const sim::VirtualCard& card, const char* function)
{
    int count = 0;
    for (const sim::CallRecord& call : card.callLog()) {
        if (call.function == function)
            ++count;
    }
    return count;
}

void type(QWidget* dialog, const char* name, const QString& text)
{
    auto* edit = dialog->findChild<LineEdit*>(QString::fromLatin1(name));
    QVERIFY2(edit, name);
    QTest::keyClicks(edit, text);
}

QString fieldText(QWidget* dialog, const char* name)
{
    auto* edit = dialog->findChild<LineEdit*>(QString::fromLatin1(name));
    return edit ? edit->text() : QStringLiteral("<missing>");
}

QString labelText(QWidget* dialog, const char* name)
{
    auto* label = dialog->findChild<QLabel*>(QString::fromLatin1(name));
    return label ? label->text() : QStringLiteral("<missing>");
}

void click(QWidget* dialog, const char* name)
{
    auto* button = dialog->findChild<QPushButton*>(QString::fromLatin1(name));
    QVERIFY2(button, name);
    QVERIFY2(button->isEnabled(), name);
    QTest::mouseClick(button, Qt::LeftButton);
}

// OK of the enable/disable dialog, which shares its name with Cancel.
void clickPinDialogOk(QWidget* dialog)
{
    for (QPushButton* button :
         dialog->findChildren<QPushButton*>(QStringLiteral("DeviceMgrUI_dialogInfoDlg"))) {
        if (button->text() == uiText("IDS_MAINFRM_OK_PROMPT")) {
            QVERIFY(button->isEnabled());
            QTest::mouseClick(button, Qt::LeftButton);
            return;
        }
    }
    QFAIL("no OK button in the PIN dialog");
}

// Opens one of the PIN dialogs through IDeviceMgr, as another plug-in would.
QDialog* openDialog(CDeviceMgrService* service, const QString& which)
{
    struct Opener
    {
        int (CDeviceMgrService::*operation)();
        QDialog* (*dialog)(const CDeviceMgrService*);
    };
    static const QHash<QString, Opener> openers = {
        {"verify",
         {&CDeviceMgrService::VerifyPIN,
          [](const CDeviceMgrService* s) -> QDialog* { return s->verifyPinDialog(); }}},
        {"enable",
         {&CDeviceMgrService::EnablePIN,
          [](const CDeviceMgrService* s) -> QDialog* { return s->pinDialog(); }}},
        {"disable",
         {&CDeviceMgrService::DisablePIN,
          [](const CDeviceMgrService* s) -> QDialog* { return s->pinDialog(); }}},
        {"puk",
         {&CDeviceMgrService::UnlockPIN,
          [](const CDeviceMgrService* s) -> QDialog* { return s->pukDialog(); }}},
    };
    const Opener opener = openers.value(
        which, {&CDeviceMgrService::ModifyPIN,
                [](const CDeviceMgrService* s) -> QDialog* { return s->modifyDialog(); }});
    (service->*opener.operation)();
    return opener.dialog(service);
}

// The button of `dialog` with `name` and the translation of `key` as text
// (the enable/disable dialog names OK and Cancel alike).
QPushButton* buttonOf(QWidget* dialog, const char* name, const char* key)
{
    for (QPushButton* button : dialog->findChildren<QPushButton*>(QString::fromLatin1(name))) {
        if (button->text() == uiText(key))
            return button;
    }
    return nullptr;
}

sim::CardConfig card(bool pinEnabled, int pinRetries = 3, int pukRetries = 10)
{
    sim::CardConfig config;
    config.sim.pinEnabled = pinEnabled;
    config.sim.pinRetries = pinRetries;
    config.sim.pukRetries = pukRetries;
    return config;
}

} // namespace

class tst_PinWorkflow : public QObject
{
    Q_OBJECT

private slots:
    void cleanup();

    void startUpPromptAsksForThePin();
    void wrongPinWithTriesLeftResetsThePrompt();
    void rightPinClosesThePromptWithoutAsking();
    void lastWrongPinOpensThePukDialog();
    void pukOutcomes_data();
    void pukOutcomes();
    void pukMismatchKeepsTheEntries();
    void changeMismatchEmptiesTheEntries();
    void changeOutcomes_data();
    void changeOutcomes();
    void enableDisableOutcomes_data();
    void enableDisableOutcomes();
    void refusalAdoptsTheStateTheCardReports();
    void okDuringACallNeverReachesTheCard_data();
    void okDuringACallNeverReachesTheCard();
    void cancelFollowsThePinState_data();
    void cancelFollowsThePinState();
    void unknownCountByDialog_data();
    void unknownCountByDialog();
    void okIsDisabledWhileTheCardDecides_data();
    void okIsDisabledWhileTheCardDecides();
    void checkPinLeavesAnActivePinOrPukWindowAlone_data();
    void checkPinLeavesAnActivePinOrPukWindowAlone();
    void checkPinBeforeTheFrameOnlyRecordsTheState();
    void launchBeforeTheFramePublishesValidityOnly_data();
    void launchBeforeTheFramePublishesValidityOnly();
    void launchWithTheFrameFollowsTheTable_data();
    void launchWithTheFrameFollowsTheTable();
    void readySimReloadsThePluginsOfItsNetwork_data();
    void readySimReloadsThePluginsOfItsNetwork();

private:
    // The host starts with `config` plugged; the frame is shown when asked.
    void start(const sim::CardConfig& config, bool showFrame = true);
    // Started with the PIN enabled and entered at the prompt.
    void startVerified(int pinRetries = 3);

    std::unique_ptr<HostFixture> m_host;
    CDeviceMgrService* m_service = nullptr;
};

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

void tst_PinWorkflow::startVerified(int pinRetries)
{
    start(card(true, pinRetries));
    SimDlg* prompt = m_service->verifyPinDialog();
    QVERIFY(prompt && prompt->isVisible());
    type(prompt, "DeviceMgrUI_VerifyeditPINText", QStringLiteral("1234"));
    click(prompt, "DeviceMgrUI_VerifyPINO");
    QVERIFY(m_host->waitForEvents());
    QVERIFY(m_service->validPinState());
    m_host->clearMessages();
    m_host->card().clearCallLog();
}

void tst_PinWorkflow::cleanup()
{
    Change::SetLanguage(QStringLiteral("en"));
    m_service = nullptr;
    m_host.reset();
}

void tst_PinWorkflow::startUpPromptAsksForThePin()
{
    start(card(true));
    SimDlg* prompt = m_service->verifyPinDialog();
    QVERIFY(prompt);
    QVERIFY(prompt->isVisible());
    QCOMPARE(m_service->pinState(), DEVMGR_PIN_VERIFY);
    QVERIFY(!m_service->validPinState());
    QVERIFY(m_host->records("notify").contains(broadcastRecord(NTF_SIM_NOT_READY)));
    QVERIFY(!m_host->records("notify").contains(broadcastRecord(NTF_SIM_READY)));
    QCOMPARE(labelText(prompt, "DeviceMgrUI_VerifyPINTimes"),
             QStringLiteral("PIN attempts remaining: 3"));
}

void tst_PinWorkflow::wrongPinWithTriesLeftResetsThePrompt()
{
    start(card(true));
    SimDlg* prompt = m_service->verifyPinDialog();
    QVERIFY(prompt);
    type(prompt, "DeviceMgrUI_VerifyeditPINText", QStringLiteral("9999"));
    click(prompt, "DeviceMgrUI_VerifyPINO");
    QVERIFY(m_host->waitForEvents());

    QCOMPARE(m_host->messages().size(), 1);
    const MessageRequest box = m_host->messages().first();
    QCOMPARE(box.icon, QMessageBox::Information);
    QCOMPARE(box.parent, nullptr);
    QCOMPARE(box.title, uiText("IDS_MAINFRM_PROMPT"));
    QCOMPARE(box.text, uiText("IDS_PIN_CHECK_FAILED"));
    QVERIFY(!box.text.isEmpty());
    QCOMPARE(box.buttons[0], Change::tr(QStringLiteral("IDS_OK"), QStringLiteral("XFramePlugin")));
    QVERIFY(box.buttons[1].isEmpty());

    QVERIFY(prompt->isVisible());
    QCOMPARE(m_service->verifyPinDialog(), prompt);
    QCOMPARE(fieldText(prompt, "DeviceMgrUI_VerifyeditPINText"), QString());
    QVERIFY(
        !prompt->findChild<QPushButton*>(QStringLiteral("DeviceMgrUI_VerifyPINO"))->isEnabled());
    QCOMPARE(labelText(prompt, "DeviceMgrUI_VerifyPINTimes"),
             QStringLiteral("PIN attempts remaining: 2"));
    QVERIFY(m_host->records("notify").contains(miniFrameRecord(NTF_UPDATE_PINSTATUS)));
    QVERIFY(!m_host->records("notify").contains(broadcastRecord(NTF_SIM_READY)));
    QVERIFY(!m_service->validPinState());
}

void tst_PinWorkflow::rightPinClosesThePromptWithoutAsking()
{
    start(card(true));
    SimDlg* prompt = m_service->verifyPinDialog();
    QVERIFY(prompt);
    type(prompt, "DeviceMgrUI_VerifyeditPINText", QStringLiteral("1234"));
    click(prompt, "DeviceMgrUI_VerifyPINO");

    // Closed by the service in state 1: no question, and it is really gone.
    QVERIFY(!prompt->isVisible());
    QVERIFY(m_host->messages().isEmpty());
    QVERIFY(m_service->validPinState());
    const QStringList notes = m_host->records("notify");
    const int update = notes.indexOf(miniFrameRecord(NTF_UPDATE_PINSTATUS));
    QVERIFY(update >= 0);
    QVERIFY(notes.indexOf(broadcastRecord(NTF_SIM_READY), update) > update);
    QVERIFY(m_host->records("menu").contains(QStringLiteral("RefreshMenu")));
    QCOMPARE(m_host->card().card(0)->pinStatus, UTPS_PIN_STATUS_VERIFIED);
    QVERIFY(m_host->waitForEvents());
    QVERIFY(!prompt->isVisible());
}

void tst_PinWorkflow::lastWrongPinOpensThePukDialog()
{
    start(card(true, 1));
    SimDlg* prompt = m_service->verifyPinDialog();
    QVERIFY(prompt);
    type(prompt, "DeviceMgrUI_VerifyeditPINText", QStringLiteral("9999"));
    click(prompt, "DeviceMgrUI_VerifyPINO");

    QCOMPARE(m_host->messages().size(), 1);
    QCOMPARE(m_host->messages().first().text, uiText("IDS_PIN_CHECK_FAILED"));
    QVERIFY(!prompt->isVisible());
    SimDlg* puk = m_service->pukDialog();
    QVERIFY(puk);
    QVERIFY(puk->isVisible());
    QCOMPARE(m_service->pinState(), DEVMGR_UNLOCK_PIN);
    QCOMPARE(labelText(puk, "DeviceMgrUI_labelPUKTimes"),
             QStringLiteral("PUK attempts remaining: 10"));
}

void tst_PinWorkflow::pukOutcomes_data()
{
    QTest::addColumn<int>("pukRetries");
    QTest::addColumn<bool>("wwanPrivilege");
    QTest::addColumn<QString>("language");
    QTest::addColumn<QString>("puk");
    QTest::addColumn<QString>("message"); // empty: no message box
    QTest::addColumn<bool>("boxOnDialog");
    QTest::addColumn<bool>("dialogStays");
    QTest::addColumn<QString>("triesAfter");

    const QString blocked =
        QStringLiteral("The Data card is permanently blocked. Please contact your Operator");
    const QString refused =
        QStringLiteral("This method is not allowed for calling process privileges. Please use "
                       "system's WWAN UI to unblock the PIN");

    QTest::newRow("right PUK") << 10 << false << "en"
                               << "12345678" << QString() << false << false << QString();
    QTest::newRow("wrong PUK, tries left") << 10 << false << "en"
                                           << "87654321" << uiText("IDS_PIN_PUK_FAILED") << true
                                           << true << "PUK attempts remaining: 9";
    QTest::newRow("PUK exhausted")
        << 1 << false << "en"
        << "87654321" << uiText("IDS_MSG_CARD_BLOCKED") << false << false << QString();
    QTest::newRow("PUK exhausted, no catalogue")
        << 1 << false << "none"
        << "87654321" << blocked << false << false << QString();
    QTest::newRow("refused by the WWAN service")
        << 10 << true << "en"
        << "12345678" << uiText("IDS_MSG_WWAN_PRIVILIGE") << false << false << QString();
    QTest::newRow("refused, no catalogue") << 10 << true << "none"
                                           << "12345678" << refused << false << false << QString();
}

void tst_PinWorkflow::pukOutcomes()
{
    QFETCH(int, pukRetries);
    QFETCH(bool, wwanPrivilege);
    QFETCH(QString, language);
    QFETCH(QString, puk);
    QFETCH(QString, message);
    QFETCH(bool, boxOnDialog);
    QFETCH(bool, dialogStays);
    QFETCH(QString, triesAfter);

    sim::CardConfig config = card(true, 0, pukRetries);
    config.wwanPrivilege = wwanPrivilege;
    start(config);
    SimDlg* dialog = m_service->pukDialog();
    QVERIFY(dialog && dialog->isVisible());
    QVERIFY(Change::SetLanguage(language));
    type(dialog, "DeviceMgrUI_editPUKText", puk);
    type(dialog, "DeviceMgrUI_editPUKPINText", QStringLiteral("4321"));
    type(dialog, "DeviceMgrUI_editConfirmPUKPINText", QStringLiteral("4321"));
    const int notesBefore = m_host->records("notify").size();
    click(dialog, "DeviceMgrUI_buttonPUKOK");

    QCOMPARE(countCalls(m_host->card(), "UTPS_DevSrv_UnblockPin"), 1);
    if (message.isEmpty()) {
        QVERIFY(m_host->messages().isEmpty());
    } else {
        QVERIFY(!message.isEmpty());
        QCOMPARE(m_host->messages().size(), 1);
        QCOMPARE(m_host->messages().first().text, message);
        QCOMPARE(m_host->messages().first().icon, QMessageBox::Information);
        QCOMPARE(m_host->messages().first().parent, boxOnDialog ? dialog : nullptr);
    }
    QCOMPARE(dialog->isVisible(), dialogStays);
    if (dialogStays) {
        QCOMPARE(labelText(dialog, "DeviceMgrUI_labelPUKTimes"), triesAfter);
        QCOMPARE(fieldText(dialog, "DeviceMgrUI_editPUKText"), QString());
        QCOMPARE(fieldText(dialog, "DeviceMgrUI_editPUKPINText"), QString());
    }

    const QStringList notes = m_host->records("notify").mid(notesBefore);
    const bool unblocked = message.isEmpty();
    QCOMPARE(m_service->validPinState(), unblocked);
    if (unblocked) {
        const int update = notes.indexOf(miniFrameRecord(NTF_UPDATE_PINSTATUS));
        QVERIFY(update >= 0);
        QVERIFY(notes.indexOf(broadcastRecord(NTF_SIM_READY), update) > update);
        QCOMPARE(m_host->card().card(0)->config.sim.pin, std::string("4321"));
    } else {
        QVERIFY(!notes.contains(broadcastRecord(NTF_SIM_READY)));
    }
}

void tst_PinWorkflow::pukMismatchKeepsTheEntries()
{
    start(card(true, 0));
    SimDlg* dialog = m_service->pukDialog();
    QVERIFY(dialog);
    type(dialog, "DeviceMgrUI_editPUKText", QStringLiteral("12345678"));
    type(dialog, "DeviceMgrUI_editPUKPINText", QStringLiteral("1111"));
    type(dialog, "DeviceMgrUI_editConfirmPUKPINText", QStringLiteral("2222"));
    click(dialog, "DeviceMgrUI_buttonPUKOK");

    QCOMPARE(m_host->messages().size(), 1);
    QCOMPARE(m_host->messages().first().text, uiText("IDS_PIN_MSG_PIN_DIFFER"));
    QCOMPARE(m_host->messages().first().parent, dialog);
    QCOMPARE(countCalls(m_host->card(), "UTPS_DevSrv_UnblockPin"), 0);
    QVERIFY(dialog->isVisible());
    QCOMPARE(fieldText(dialog, "DeviceMgrUI_editPUKText"), QStringLiteral("12345678"));
    QCOMPARE(fieldText(dialog, "DeviceMgrUI_editPUKPINText"), QStringLiteral("1111"));
    QCOMPARE(fieldText(dialog, "DeviceMgrUI_editConfirmPUKPINText"), QStringLiteral("2222"));
}

void tst_PinWorkflow::changeMismatchEmptiesTheEntries()
{
    startVerified();
    QCOMPARE(m_service->ModifyPIN(), 1);
    ExtendDialog* dialog = m_service->modifyDialog();
    QVERIFY(dialog && dialog->isVisible());
    type(dialog, "DeviceMgrUI_editCurrPINText", QStringLiteral("1234"));
    type(dialog, "DeviceMgrUI_editNewPINText", QStringLiteral("1111"));
    type(dialog, "DeviceMgrUI_editConfirmNewPINText", QStringLiteral("2222"));
    click(dialog, "DeviceMgrUI_buttonModOK");

    QCOMPARE(m_host->messages().size(), 1);
    QCOMPARE(m_host->messages().first().text, uiText("IDS_PIN_MSG_PIN_DIFFER"));
    QCOMPARE(m_host->messages().first().parent, dialog);
    QCOMPARE(countCalls(m_host->card(), "UTPS_DevSrv_ChangePin"), 0);
    QVERIFY(dialog->isVisible());
    for (const char* name : {"DeviceMgrUI_editCurrPINText", "DeviceMgrUI_editNewPINText",
                             "DeviceMgrUI_editConfirmNewPINText"})
        QCOMPARE(fieldText(dialog, name), QString());
    QVERIFY(
        !dialog->findChild<QPushButton*>(QStringLiteral("DeviceMgrUI_buttonModOK"))->isEnabled());
}

void tst_PinWorkflow::changeOutcomes_data()
{
    QTest::addColumn<int>("pinRetries");
    QTest::addColumn<QString>("oldPin");
    QTest::addColumn<QString>("message");
    QTest::addColumn<bool>("dialogStays");
    QTest::addColumn<QString>("triesAfter");
    QTest::addColumn<bool>("pukOpens");
    QTest::addColumn<QString>("pinAfter");

    QTest::newRow("changed") << 3 << "1234" << uiText("IDS_MAINFRM_CHANGEPIN_SUCCESS") << false
                             << QString() << false << "5678";
    QTest::newRow("wrong old PIN, tries left")
        << 3 << "9999" << uiText("IDS_PIN_CHANGE_FAILED") << true << "PIN attempts remaining: 2"
        << false << "1234";
    QTest::newRow("wrong old PIN, last try")
        << 1 << "9999" << uiText("IDS_PIN_CHANGE_FAILED") << false << QString() << true << "1234";
}

void tst_PinWorkflow::changeOutcomes()
{
    QFETCH(int, pinRetries);
    QFETCH(QString, oldPin);
    QFETCH(QString, message);
    QFETCH(bool, dialogStays);
    QFETCH(QString, triesAfter);
    QFETCH(bool, pukOpens);
    QFETCH(QString, pinAfter);

    startVerified(pinRetries);
    // A right PIN at the prompt restored the counter; spend tries down to
    // the row's count.
    for (int i = 3; i > pinRetries; --i)
        QCOMPARE(UTPS_DevSrv_ChangePin(0, "9999", "1111"), -1);
    QCOMPARE(m_service->ModifyPIN(), 1);
    ExtendDialog* dialog = m_service->modifyDialog();
    QVERIFY(dialog);
    type(dialog, "DeviceMgrUI_editCurrPINText", oldPin);
    type(dialog, "DeviceMgrUI_editNewPINText", QStringLiteral("5678"));
    type(dialog, "DeviceMgrUI_editConfirmNewPINText", QStringLiteral("5678"));
    click(dialog, "DeviceMgrUI_buttonModOK");

    QVERIFY(!message.isEmpty());
    QCOMPARE(m_host->messages().size(), 1);
    QCOMPARE(m_host->messages().first().text, message);
    QCOMPARE(m_host->messages().first().parent, dialog);
    QCOMPARE(dialog->isVisible(), dialogStays);
    if (dialogStays) {
        QCOMPARE(labelText(dialog, "DeviceMgrUI_labelModTimes"), triesAfter);
        QCOMPARE(fieldText(dialog, "DeviceMgrUI_editCurrPINText"), QString());
    }
    QCOMPARE(m_service->pukDialog() && m_service->pukDialog()->isVisible(), pukOpens);
    if (pukOpens)
        QCOMPARE(m_service->pinState(), DEVMGR_UNLOCK_PIN);
    QCOMPARE(QString::fromStdString(m_host->card().card(0)->config.sim.pin), pinAfter);
    QVERIFY(m_host->records("menu").contains(QStringLiteral("RefreshMenu")));
}

void tst_PinWorkflow::enableDisableOutcomes_data()
{
    QTest::addColumn<bool>("pinEnabled");
    QTest::addColumn<int>("pinRetries");
    QTest::addColumn<QString>("pin");
    QTest::addColumn<QString>("message");
    QTest::addColumn<bool>("dialogStays");
    QTest::addColumn<QString>("triesAfter");
    QTest::addColumn<bool>("pukOpens");
    QTest::addColumn<bool>("enabledAfter");

    QTest::newRow("enabled") << false << 3 << "1234" << uiText("IDS_MAINFRM_ENABLEPIN_SUCCESS")
                             << false << QString() << false << true;
    QTest::newRow("enable, wrong PIN") << false << 3 << "9999" << uiText("IDS_PIN_ENABLE_FAILED")
                                       << true << "PIN attempts remaining: 2" << false << false;
    QTest::newRow("enable, wrong PIN locks it")
        << false << 1 << "9999" << uiText("IDS_PIN_PIN_LOCKED") << false << QString() << true
        << false;
    QTest::newRow("disabled") << true << 3 << "1234" << uiText("IDS_MAINFRM_DISABLEPIN_SUCCESS")
                              << false << QString() << false << false;
    QTest::newRow("disable, wrong PIN") << true << 3 << "9999" << uiText("IDS_PIN_DISABLE_FAILED")
                                        << true << "PIN attempts remaining: 2" << false << true;
    QTest::newRow("disable, wrong PIN locks it")
        << true << 1 << "9999" << uiText("IDS_PIN_PIN_LOCKED") << false << QString() << true
        << true;
}

void tst_PinWorkflow::enableDisableOutcomes()
{
    QFETCH(bool, pinEnabled);
    QFETCH(int, pinRetries);
    QFETCH(QString, pin);
    QFETCH(QString, message);
    QFETCH(bool, dialogStays);
    QFETCH(QString, triesAfter);
    QFETCH(bool, pukOpens);
    QFETCH(bool, enabledAfter);

    if (pinEnabled) {
        startVerified(3);
        for (int i = 3; i > pinRetries; --i)
            QCOMPARE(UTPS_DevSrv_DisablePin(0, "9999"), -1);
        QCOMPARE(m_service->DisablePIN(), 1);
    } else {
        start(card(false, pinRetries));
        QCOMPARE(m_service->EnablePIN(), 1);
    }
    ExtendDialog* dialog = m_service->pinDialog();
    QVERIFY(dialog && dialog->isVisible());
    QCOMPARE(dialog->windowTitle(), pinEnabled ? uiText("IDS_MAINFRM_DISABLE_WINDOWSTXT")
                                               : uiText("IDS_MAINFRM_ENABLE_WINDOWSTXT"));
    type(dialog, "DeviceMgrUI_dialogInfoDlg", pin);
    const int notesBefore = m_host->records("notify").size();
    clickPinDialogOk(dialog);

    QVERIFY(!message.isEmpty());
    QCOMPARE(m_host->messages().size(), 1);
    QCOMPARE(m_host->messages().first().text, message);
    QCOMPARE(m_host->messages().first().icon, QMessageBox::Information);
    QCOMPARE(m_host->messages().first().parent, dialog);
    QCOMPARE(dialog->isVisible(), dialogStays);
    if (dialogStays) {
        QCOMPARE(labelText(dialog, "DeviceMgrUI_m_plabelPINTimes"), triesAfter);
        QCOMPARE(fieldText(dialog, "DeviceMgrUI_dialogInfoDlg"), QString());
    }
    const QStringList notes = m_host->records("notify").mid(notesBefore);
    QVERIFY(notes.contains(miniFrameRecord(NTF_UPDATE_PINSTATUS)));
    QCOMPARE(m_service->pukDialog() && m_service->pukDialog()->isVisible(), pukOpens);
    if (pukOpens) {
        QCOMPARE(m_service->pinState(), DEVMGR_UNLOCK_PIN);
        QVERIFY(!m_service->validPinState());
        QVERIFY(notes.contains(broadcastRecord(NTF_SIM_NOT_READY)));
    }
    QCOMPARE(m_host->card().card(0)->config.sim.pinEnabled, enabledAfter);
}

// A refused disable after which the card asks for its PIN again: the failure
// is reported for the request the user made, then the service follows the
// state the card reported.
void tst_PinWorkflow::refusalAdoptsTheStateTheCardReports()
{
    startVerified();
    QCOMPARE(m_service->DisablePIN(), 1);
    ExtendDialog* dialog = m_service->pinDialog();
    QVERIFY(dialog);
    type(dialog, "DeviceMgrUI_dialogInfoDlg", QStringLiteral("9999"));
    QVERIFY(m_host->card().overridePinStatus(UTPS_PIN_STATUS_PIN_REQUIRED, 0));
    clickPinDialogOk(dialog);

    QCOMPARE(m_host->messages().size(), 1);
    QCOMPARE(m_host->messages().first().text, uiText("IDS_PIN_DISABLE_FAILED"));
    QCOMPARE(m_service->reportedPinState(), DEVMGR_PIN_VERIFY);
    QCOMPARE(m_service->pinState(), DEVMGR_PIN_VERIFY);
    QVERIFY(!m_service->pukDialog());
    QVERIFY(m_host->card().card(0)->config.sim.pinEnabled);
}

void tst_PinWorkflow::okDuringACallNeverReachesTheCard_data()
{
    QTest::addColumn<QString>("which");
    QTest::newRow("enter PIN") << "verify";
    QTest::newRow("enable PIN") << "enable";
    QTest::newRow("PUK") << "puk";
    QTest::newRow("change PIN") << "modify";
}

void tst_PinWorkflow::okDuringACallNeverReachesTheCard()
{
    QFETCH(QString, which);
    start(card(which != QLatin1String("enable"), which == QLatin1String("puk") ? 0 : 3));
    QDialog* dialog = nullptr;
    if (which == QLatin1String("verify")) {
        dialog = m_service->verifyPinDialog();
        type(dialog, "DeviceMgrUI_VerifyeditPINText", QStringLiteral("1234"));
    } else if (which == QLatin1String("enable")) {
        m_service->EnablePIN();
        dialog = m_service->pinDialog();
        type(dialog, "DeviceMgrUI_dialogInfoDlg", QStringLiteral("1234"));
    } else if (which == QLatin1String("puk")) {
        dialog = m_service->pukDialog();
        type(dialog, "DeviceMgrUI_editPUKText", QStringLiteral("12345678"));
        type(dialog, "DeviceMgrUI_editPUKPINText", QStringLiteral("4321"));
        type(dialog, "DeviceMgrUI_editConfirmPUKPINText", QStringLiteral("4321"));
    } else {
        m_service->ModifyPIN();
        dialog = m_service->modifyDialog();
        type(dialog, "DeviceMgrUI_editCurrPINText", QStringLiteral("1234"));
        type(dialog, "DeviceMgrUI_editNewPINText", QStringLiteral("5678"));
        type(dialog, "DeviceMgrUI_editConfirmNewPINText", QStringLiteral("5678"));
    }
    QVERIFY(dialog && dialog->isVisible());

    m_service->Notify(NTF_CALL_CONNECTED, 0, 0);
    QVERIFY(m_service->callActive());
    m_host->card().clearCallLog();
    if (which == QLatin1String("verify"))
        click(dialog, "DeviceMgrUI_VerifyPINO");
    else if (which == QLatin1String("enable"))
        clickPinDialogOk(dialog);
    else if (which == QLatin1String("puk"))
        click(dialog, "DeviceMgrUI_buttonPUKOK");
    else
        click(dialog, "DeviceMgrUI_buttonModOK");

    for (const char* request : {"UTPS_DevSrv_VerifyPin", "UTPS_DevSrv_EnablePin",
                                "UTPS_DevSrv_UnblockPin", "UTPS_DevSrv_ChangePin"})
        QCOMPARE(countCalls(m_host->card(), request), 0);
    // The refusal only, no cancel question after it.
    QCOMPARE(m_host->messages().size(), 1);
    QCOMPARE(m_host->messages().first().icon, QMessageBox::Warning);
    QCOMPARE(m_host->messages().first().text, uiText("IDS_PROMPT_CALLING_DISABLE"));
    QCOMPARE(m_host->messages().first().parent, static_cast<QWidget*>(dialog));
    QVERIFY(!dialog->isVisible());
    QVERIFY(!m_host->records("notify").contains(miniFrameRecord(NTF_UPDATE_PINSTATUS)));
}

void tst_PinWorkflow::cancelFollowsThePinState_data()
{
    QTest::addColumn<QString>("which");
    QTest::addColumn<bool>("pinEnabled");
    QTest::addColumn<int>("pinRetries");
    QTest::addColumn<QString>("cancelName");
    QTest::addColumn<int>("reply"); // to the cancel question, if one comes
    QTest::addColumn<bool>("asks");
    QTest::addColumn<bool>("closes");

    QTest::newRow("1 enter PIN, confirmed")
        << "verify" << true << 3 << "DeviceMgrUI_VerifyPINCancel" << CommonUtils::FirstButton
        << true << true;
    QTest::newRow("1 enter PIN, declined") << "verify" << true << 3 << "DeviceMgrUI_VerifyPINCancel"
                                           << CommonUtils::SecondButton << true << false;
    QTest::newRow("2 enable") << "enable" << false << 3 << "DeviceMgrUI_dialogInfoDlg"
                              << CommonUtils::SecondButton << false << true;
    QTest::newRow("3 disable") << "disable" << false << 3 << "DeviceMgrUI_dialogInfoDlg"
                               << CommonUtils::SecondButton << false << true;
    QTest::newRow("4 PUK, confirmed") << "puk" << true << 0 << "DeviceMgrUI_buttonPUKCancel"
                                      << CommonUtils::FirstButton << true << true;
    QTest::newRow("4 PUK, declined") << "puk" << true << 0 << "DeviceMgrUI_buttonPUKCancel"
                                     << CommonUtils::SecondButton << true << false;
    QTest::newRow("6 change") << "modify" << false << 3 << "DeviceMgrUI_buttonModCancel"
                              << CommonUtils::SecondButton << false << true;
    // The change dialog is still open when a PIN check finds the SIM ready.
    QTest::newRow("0 outside 1 to 6") << "ready" << false << 3 << "DeviceMgrUI_buttonModCancel"
                                      << CommonUtils::FirstButton << false << false;
}

void tst_PinWorkflow::cancelFollowsThePinState()
{
    QFETCH(QString, which);
    QFETCH(bool, pinEnabled);
    QFETCH(int, pinRetries);
    QFETCH(QString, cancelName);
    QFETCH(int, reply);
    QFETCH(bool, asks);
    QFETCH(bool, closes);

    start(card(pinEnabled, pinRetries));
    const bool ready = which == QLatin1String("ready");
    QDialog* dialog = openDialog(m_service, ready ? QStringLiteral("modify") : which);
    QVERIFY(dialog && dialog->isVisible());
    if (ready) {
        m_service->checkPIN();
        QCOMPARE(m_service->pinState(), DEVMGR_PIN_READY);
    }
    m_host->clearMessages();
    QPushButton* cancel =
        buttonOf(dialog, cancelName.toLatin1().constData(), "IDS_MAINFRM_CANCEL_PROMPT");
    QVERIFY(cancel);

    m_host->queueReply(reply);
    QTest::mouseClick(cancel, Qt::LeftButton);

    QCOMPARE(m_host->messages().size(), asks ? 1 : 0);
    if (asks)
        QCOMPARE(m_host->messages().first().text, uiText("IDS_MAINFRM_PIN_CANCELPROMPT"));
    QCOMPARE(dialog->isVisible(), !closes);
}

void tst_PinWorkflow::unknownCountByDialog_data()
{
    QTest::addColumn<QString>("which");
    QTest::addColumn<bool>("dialogStays");
    QTest::addColumn<QString>("triesName"); // empty: the label is left alone
    QTest::addColumn<QStringList>("emptied");

    QTest::newRow("enter PIN") << "verify" << false << "DeviceMgrUI_VerifyPINTimes"
                               << QStringList{"DeviceMgrUI_VerifyeditPINText"};
    QTest::newRow("enable PIN") << "enable" << false << "DeviceMgrUI_m_plabelPINTimes"
                                << QStringList{"DeviceMgrUI_dialogInfoDlg"};
    QTest::newRow("PUK") << "puk" << true << "DeviceMgrUI_labelPUKTimes"
                         << QStringList{"DeviceMgrUI_editPUKText", "DeviceMgrUI_editPUKPINText",
                                        "DeviceMgrUI_editConfirmPUKPINText"};
    QTest::newRow("change PIN") << "modify" << false << QString() << QStringList();
}

// The card takes the request but gives no count back: the enter-PIN, enable
// and change dialogs close, the PUK dialog stays for another try, and no
// message box is raised on the way.
void tst_PinWorkflow::unknownCountByDialog()
{
    QFETCH(QString, which);
    QFETCH(bool, dialogStays);
    QFETCH(QString, triesName);
    QFETCH(QStringList, emptied);

    sim::CardConfig config = card(which == QLatin1String("verify"), 3);
    if (which == QLatin1String("puk")) {
        // A SIM the card no longer reports as usable: the PUK count is lost.
        config.sim.status = 0;
        config.sim.pinEnabled = true;
        config.sim.pinRetries = 0;
    }
    start(config);
    QDialog* dialog = which == QLatin1String("verify") ? m_service->verifyPinDialog()
                                                       : openDialog(m_service, which);
    QVERIFY(dialog && dialog->isVisible());
    m_host->clearMessages();
    const int menuBefore = m_host->records("menu").size();
    const bool validBefore = m_service->validPinState();

    sim::VirtualCard& sdk = m_host->card();
    if (which == QLatin1String("verify")) {
        type(dialog, "DeviceMgrUI_VerifyeditPINText", QStringLiteral("9999"));
        sdk.setFault("UTPS_DevSrv_VerifyPin", -1, 1);
        click(dialog, "DeviceMgrUI_VerifyPINO");
    } else if (which == QLatin1String("enable")) {
        type(dialog, "DeviceMgrUI_dialogInfoDlg", QStringLiteral("9999"));
        sdk.setFault("UTPS_DevSrv_EnablePin", -1, 1);
        sdk.setFault("UTPS_DevSrv_GetPinStatus", 1, 1);
        QPushButton* ok = buttonOf(dialog, "DeviceMgrUI_dialogInfoDlg", "IDS_MAINFRM_OK_PROMPT");
        QVERIFY(ok && ok->isEnabled());
        QTest::mouseClick(ok, Qt::LeftButton);
    } else if (which == QLatin1String("puk")) {
        type(dialog, "DeviceMgrUI_editPUKText", QStringLiteral("87654321"));
        type(dialog, "DeviceMgrUI_editPUKPINText", QStringLiteral("4321"));
        type(dialog, "DeviceMgrUI_editConfirmPUKPINText", QStringLiteral("4321"));
        sdk.setFault("UTPS_DevSrv_UnblockPin", -1, 1);
        click(dialog, "DeviceMgrUI_buttonPUKOK");
    } else {
        type(dialog, "DeviceMgrUI_editCurrPINText", QStringLiteral("9999"));
        type(dialog, "DeviceMgrUI_editNewPINText", QStringLiteral("5678"));
        type(dialog, "DeviceMgrUI_editConfirmNewPINText", QStringLiteral("5678"));
        sdk.setFault("UTPS_DevSrv_ChangePin", -1, 1);
        sdk.setFault("UTPS_DevSrv_GetPinStatus", 1, 1);
        click(dialog, "DeviceMgrUI_buttonModOK");
    }

    QVERIFY(m_host->messages().isEmpty());
    QCOMPARE(dialog->isVisible(), dialogStays);
    if (!triesName.isEmpty())
        QCOMPARE(labelText(dialog, triesName.toLatin1().constData()),
                 uiText("IDS_MAINFRM_UNKNOWN"));
    for (const QString& name : emptied)
        QCOMPARE(fieldText(dialog, name.toLatin1().constData()), QString());
    QVERIFY(m_host->records("menu").mid(menuBefore).contains(QStringLiteral("RefreshMenu")));
    // Unknown is not "none left": no PUK dialog takes over.
    if (which != QLatin1String("puk"))
        QVERIFY(!m_service->pukDialog());
    QCOMPARE(m_service->validPinState(), validBefore);
}

void tst_PinWorkflow::okIsDisabledWhileTheCardDecides_data()
{
    QTest::addColumn<bool>("puk");
    QTest::newRow("enter PIN") << false;
    QTest::newRow("PUK") << true;
}

void tst_PinWorkflow::okIsDisabledWhileTheCardDecides()
{
    QFETCH(bool, puk);
    start(card(true, puk ? 0 : 3));
    QDialog* dialog = puk ? static_cast<QDialog*>(m_service->pukDialog())
                          : static_cast<QDialog*>(m_service->verifyPinDialog());
    QVERIFY(dialog);
    const char* okName = puk ? "DeviceMgrUI_buttonPUKOK" : "DeviceMgrUI_VerifyPINO";
    auto* ok = dialog->findChild<QPushButton*>(QString::fromLatin1(okName));
    QVERIFY(ok);
    if (puk) {
        type(dialog, "DeviceMgrUI_editPUKText", QStringLiteral("87654321"));
        type(dialog, "DeviceMgrUI_editPUKPINText", QStringLiteral("4321"));
        type(dialog, "DeviceMgrUI_editConfirmPUKPINText", QStringLiteral("4321"));
    } else {
        type(dialog, "DeviceMgrUI_VerifyeditPINText", QStringLiteral("9999"));
    }
    QVERIFY(ok->isEnabled());

    // A second click while the card works on the first must find OK dead.
    const std::string request = puk ? "UTPS_DevSrv_UnblockPin" : "UTPS_DevSrv_VerifyPin";
    int seen = 0;
    bool enabledDuringRequest = true;
    m_host->card().setCallObserver([&](const sim::CallRecord& call) {
        if (call.function != request)
            return;
        ++seen;
        enabledDuringRequest = ok->isEnabled();
    });
    QTest::mouseClick(ok, Qt::LeftButton);
    m_host->card().setCallObserver({});

    QCOMPARE(seen, 1);
    QVERIFY(!enabledDuringRequest);
}

void tst_PinWorkflow::checkPinLeavesAnActivePinOrPukWindowAlone_data()
{
    QTest::addColumn<bool>("puk");
    QTest::newRow("PIN window") << false;
    QTest::newRow("PUK window") << true;
}

void tst_PinWorkflow::checkPinLeavesAnActivePinOrPukWindowAlone()
{
    QFETCH(bool, puk);
    start(card(puk, puk ? 0 : 3));
    QDialog* dialog = nullptr;
    if (puk) {
        dialog = m_service->pukDialog();
    } else {
        m_service->EnablePIN();
        dialog = m_service->pinDialog();
    }
    QVERIFY(dialog);
    dialog->activateWindow();
    QTRY_VERIFY(dialog->isActiveWindow());
    const E_DEVMGR_PIN_STATE before = m_service->pinState();
    m_host->card().clearCallLog();
    TraceCapture trace;

    m_service->checkPIN();

    QVERIFY(trace.contains(QStringLiteral("Either PIN window or PUK window is active")));
    QCOMPARE(countCalls(m_host->card(), "UTPS_DevSrv_GetPinStatus"), 0);
    QCOMPARE(m_service->pinState(), before);
    QVERIFY(dialog->isVisible());
}

void tst_PinWorkflow::checkPinBeforeTheFrameOnlyRecordsTheState()
{
    // The check at start-up fails, so the state is still the initial one.
    m_host = std::make_unique<HostFixture>();
    m_host->card().setFault("UTPS_DevSrv_GetPinStatus", 1, -1);
    m_host->card().addCard(card(true));
    m_service = m_host->startService();
    QVERIFY(m_host->waitForEvents());
    QVERIFY(!m_service->frameShown());
    QCOMPARE(m_service->pinState(), DEVMGR_PIN_READY);
    m_host->card().clearFaults();
    const int notesBefore = m_host->records("notify").size();
    const int menuBefore = m_host->records("menu").size();

    m_service->checkPIN();

    QCOMPARE(m_service->pinState(), DEVMGR_PIN_VERIFY);
    QVERIFY(!m_service->verifyPinDialog());
    QCOMPARE(m_host->records("notify").size(), notesBefore);
    QCOMPARE(m_host->records("menu").mid(menuBefore),
             QStringList({QStringLiteral("RefreshMenu"), QStringLiteral("RefreshDeviceMenu")}));
}

void tst_PinWorkflow::launchBeforeTheFramePublishesValidityOnly_data()
{
    QTest::addColumn<int>("state");
    QTest::addColumn<bool>("valid");
    QTest::addColumn<int>("notification");
    QTest::addColumn<QString>("trace");
    QTest::newRow("ready") << int(DEVMGR_PIN_READY) << true << int(NTF_SIM_READY)
                           << "launchPinDlg : DEVMGR_PIN_READY. m_bValidPinState = true";
    QTest::newRow("PIN needed") << int(DEVMGR_PIN_VERIFY) << false << int(NTF_SIM_NOT_READY)
                                << "launchPinDlg :Pin not ready. m_bValidPinState = false";
    QTest::newRow("PUK needed") << int(DEVMGR_UNLOCK_PIN) << false << int(NTF_SIM_NOT_READY)
                                << "launchPinDlg :Pin not ready. m_bValidPinState = false";
}

void tst_PinWorkflow::launchBeforeTheFramePublishesValidityOnly()
{
    QFETCH(int, state);
    QFETCH(bool, valid);
    QFETCH(int, notification);
    QFETCH(QString, trace);
    start(card(false), false);
    const int notesBefore = m_host->records("notify").size();
    TraceCapture lines;

    m_service->launchPinDlg(E_DEVMGR_PIN_STATE(state));

    QVERIFY2(lines.contains(trace), qPrintable(trace));
    QVERIFY(!lines.contains(QStringLiteral("launchSpecificPinDlg")));
    QCOMPARE(m_service->validPinState(), valid);
    QCOMPARE(m_host->records("notify").mid(notesBefore),
             QStringList(broadcastRecord(notification)));
    QVERIFY(!m_service->verifyPinDialog());
    QVERIFY(!m_service->pukDialog());
}

void tst_PinWorkflow::launchWithTheFrameFollowsTheTable_data()
{
    QTest::addColumn<int>("state");
    QTest::addColumn<bool>("validAfter");
    QTest::addColumn<int>("notification"); // 0: none
    QTest::addColumn<QString>("opens");    // the dialog that comes up, if any
    QTest::addColumn<bool>("hidesPopup");
    QTest::addColumn<QString>("trace"); // empty: none of the table's lines

    QTest::newRow("1 PIN needed") << int(DEVMGR_PIN_VERIFY) << false << int(NTF_SIM_NOT_READY)
                                  << "verify" << true
                                  << "launchSpecificPinDlg : DEVMGR_PIN_VERIFY. m_bValidPinState = "
                                     "false";
    QTest::newRow("4 PUK needed") << int(DEVMGR_UNLOCK_PIN) << false << int(NTF_SIM_NOT_READY)
                                  << "puk" << true
                                  << "launchSpecificPinDlg : DEVMGR_UNLOCK_PIN. m_bValidPinState = "
                                     "false";
    QTest::newRow("0 ready") << int(DEVMGR_PIN_READY) << true << int(NTF_SIM_READY) << QString()
                             << false
                             << "launchSpecificPinDlg :DEV_MGR_PIN_READY. m_bValidPinState = true";
    QTest::newRow("5 PUK blocked")
        << int(DEVMGR_PIN_BLOCKED) << false << 0 << QString() << false << QString();
    QTest::newRow("2 enable") << int(DEVMGR_PIN_ENABLE) << false << 0 << QString() << false
                              << QString();
}

// With the frame on screen: the state picks validity, notification and
// dialog; the information pop-up makes way for a PIN or PUK dialog only.
void tst_PinWorkflow::launchWithTheFrameFollowsTheTable()
{
    QFETCH(int, state);
    QFETCH(bool, validAfter);
    QFETCH(int, notification);
    QFETCH(QString, opens);
    QFETCH(bool, hidesPopup);
    QFETCH(QString, trace);

    // The start-up prompt is up: the SIM is not valid yet.
    start(card(true));
    QVERIFY(!m_service->validPinState());
    QPointer<SimDlg> prompt = m_service->verifyPinDialog();
    QVERIFY(prompt);
    QString info = QStringLiteral("Initialising");
    m_service->showInfoDlg(info, 10000);
    QPointer<ExtendDialog> popup = m_service->infoDialog();
    QVERIFY(popup && popup->isVisible());
    const int notesBefore = m_host->records("notify").size();
    TraceCapture lines;

    m_service->launchSpecificPinDlg(E_DEVMGR_PIN_STATE(state));

    QCOMPARE(m_service->validPinState(), validAfter);
    const QStringList notes = m_host->records("notify").mid(notesBefore);
    QCOMPARE(notes, notification ? QStringList(broadcastRecord(notification)) : QStringList());
    QCOMPARE(!popup || !popup->isVisible(), hidesPopup);
    if (opens == QLatin1String("verify")) {
        QVERIFY(m_service->verifyPinDialog() && m_service->verifyPinDialog()->isVisible());
        QVERIFY(m_service->verifyPinDialog() != prompt);
    } else {
        QCOMPARE(m_service->verifyPinDialog(), prompt.data());
    }
    QCOMPARE(m_service->pukDialog() && m_service->pukDialog()->isVisible(),
             opens == QLatin1String("puk"));
    if (trace.isEmpty())
        QVERIFY(!lines.contains(QStringLiteral("m_bValidPinState")));
    else
        QVERIFY2(lines.contains(trace), qPrintable(trace));
    QVERIFY(!lines.contains(QStringLiteral("launchPinDlg")));
}

void tst_PinWorkflow::readySimReloadsThePluginsOfItsNetwork_data()
{
    QTest::addColumn<QString>("imsi");
    QTest::addColumn<bool>("showFrame");
    QTest::addColumn<bool>("imsiReadable");
    QTest::addColumn<bool>("reloaded");
    QTest::newRow("operator's IMSI") << "262019876543210" << true << true << true;
    QTest::newRow("too short to name a network") << "2620" << true << true << false;
    QTest::newRow("IMSI unreadable") << "262019876543210" << true << false << false;
    QTest::newRow("frame not shown yet") << "262019876543210" << false << true << false;
}

void tst_PinWorkflow::readySimReloadsThePluginsOfItsNetwork()
{
    QFETCH(QString, imsi);
    QFETCH(bool, showFrame);
    QFETCH(bool, imsiReadable);
    QFETCH(bool, reloaded);
    m_host = std::make_unique<HostFixture>();
    if (!imsiReadable)
        m_host->card().setFault("UTPS_DevSrv_GetImsiInfo", 1, -1);
    m_host->container().setReloadMap(
        QJsonObject{{QStringLiteral("IMSI2620"), QJsonArray{QStringLiteral("OperatorPlugin")}}});
    sim::CardConfig config = card(false);
    config.sim.imsi = imsi.toStdString();
    m_host->card().addCard(config);
    m_service = m_host->startService();
    QVERIFY(m_host->waitForEvents());
    if (showFrame) {
        m_host->frameShown();
        QVERIFY(m_host->waitForEvents());
    }

    // A SIM without PIN protection is not checked at start-up: check it now.
    m_host->card().clearCallLog();
    m_service->checkPIN();

    QCOMPARE(m_service->pinState(), DEVMGR_PIN_READY);
    QCOMPARE(countCalls(m_host->card(), "UTPS_DevSrv_GetImsiInfo"), showFrame ? 1 : 0);
    QCOMPARE(m_host->container().currentReloadPlugins().contains(QStringLiteral("OperatorPlugin")),
             reloaded);
}

QTEST_MAIN(tst_PinWorkflow)
#include "tst_pinworkflow.moc"
