// The four PIN dialogs as the user meets them: their named widgets, what the
// fields accept, when OK becomes usable, the question before the two dialogs
// the SIM forces can be dismissed, the fields' context menus, and relabelling
// on a language change.
#include "DeviceMgrService.h"
#include "HostFixture.h"
#include "LineEdit.h"
#include "SimDlg.h"

#include "sim/VirtualCard.h"

#include <Change.h>
#include <ExtendDialog.h>

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QCloseEvent>
#include <QKeyEvent>
#include <QLabel>
#include <QLayout>
#include <QMenu>
#include <QPushButton>
#include <QRegularExpressionValidator>
#include <QTest>
#include <QTimer>

#include <memory>

namespace {

QString uiText(const char* key)
{
    return CDeviceMgrService::tr(QString::fromLatin1(key));
}

QString shared(const char* key)
{
    return Change::tr(QString::fromLatin1(key), QStringLiteral("XFramePlugin"));
}

// Opens one of the dialogs the way another plug-in would.
QDialog* openDialog(CDeviceMgrService* service, const QString& which)
{
    if (which == QLatin1String("verify")) {
        service->VerifyPIN();
        return service->verifyPinDialog();
    }
    if (which == QLatin1String("enable")) {
        service->EnablePIN();
        return service->pinDialog();
    }
    if (which == QLatin1String("disable")) {
        service->DisablePIN();
        return service->pinDialog();
    }
    if (which == QLatin1String("puk")) {
        service->UnlockPIN();
        return service->pukDialog();
    }
    if (which == QLatin1String("modify")) {
        service->ModifyPIN();
        return service->modifyDialog();
    }
    return nullptr;
}

LineEdit* field(QDialog* dialog, const QString& name)
{
    return dialog ? dialog->findChild<LineEdit*>(name) : nullptr;
}

// OK and Cancel of a dialog; the enable/disable dialog names both alike, so
// they are told apart by their text.
QPushButton* button(QDialog* dialog, const QString& name, const QString& text)
{
    if (!dialog)
        return nullptr;
    for (QPushButton* candidate : dialog->findChildren<QPushButton*>(name)) {
        if (candidate->text() == text)
            return candidate;
    }
    return nullptr;
}

QPushButton* okButton(QDialog* dialog)
{
    for (const char* name : {"DeviceMgrUI_VerifyPINO", "DeviceMgrUI_dialogInfoDlg",
                             "DeviceMgrUI_buttonPUKOK", "DeviceMgrUI_buttonModOK"}) {
        if (QPushButton* found =
                button(dialog, QString::fromLatin1(name), uiText("IDS_MAINFRM_OK_PROMPT")))
            return found;
    }
    return nullptr;
}

bool sendCutKeystroke(QWidget* target)
{
    QKeyEvent press(QEvent::KeyPress, Qt::Key_X, Qt::ControlModifier, QString(QChar(24)));
    QApplication::sendEvent(target, &press);
    return press.isAccepted();
}

sim::CardConfig cardWithPinRetries(int pinRetries)
{
    sim::CardConfig card;
    card.sim.pinEnabled = true;
    card.sim.pinRetries = pinRetries;
    return card;
}

} // namespace

class tst_PinDialogs : public QObject
{
    Q_OBJECT

private slots:
    void cleanup();

    void dialogsAreBuiltAsNamed_data();
    void dialogsAreBuiltAsNamed();
    void singleFieldDialogsUseTheirMarginsAndSpacing_data();
    void singleFieldDialogsUseTheirMarginsAndSpacing();
    void fieldsTakeEightDigitsAndNothingElse_data();
    void fieldsTakeEightDigitsAndNothingElse();
    void singlePinOkFollowsTheLength_data();
    void singlePinOkFollowsTheLength();
    void pukOkNeedsAllEightPukDigits();
    void changeOkNeedsThreePins();
    void userCloseAsksFirst_data();
    void userCloseAsksFirst();
    void escapeAsksTheSameQuestion_data();
    void escapeAsksTheSameQuestion();
    void serviceCloseNeverAsks_data();
    void serviceCloseNeverAsks();
    void closeVerdictFollowsThePinState_data();
    void closeVerdictFollowsThePinState();
    void cutKeystrokeLeavesTheField();
    void emptyFieldAndClipboardDisableTheWholeMenu();
    void everyFieldOpensItsOwnMenu_data();
    void everyFieldOpensItsOwnMenu();
    void triesLabelShowsUnknownWhenTheCardIsSilent();
    void languageChangeRelabelsOpenDialogs_data();
    void languageChangeRelabelsOpenDialogs();

private:
    void start(const sim::CardConfig& card);

    std::unique_ptr<HostFixture> m_host;
    CDeviceMgrService* m_service = nullptr;
};

void tst_PinDialogs::start(const sim::CardConfig& card)
{
    m_host = std::make_unique<HostFixture>();
    m_host->card().addCard(card);
    m_service = m_host->startService();
    QVERIFY(m_host->waitForEvents());
    m_host->clearMessages();
}

void tst_PinDialogs::cleanup()
{
    QApplication::clipboard()->clear();
    Change::SetLanguage(QStringLiteral("en"));
    m_service = nullptr;
    m_host.reset();
}

void tst_PinDialogs::dialogsAreBuiltAsNamed_data()
{
    QTest::addColumn<QString>("which");
    QTest::addColumn<int>("pinRetries");
    QTest::addColumn<QString>("dialogName");
    QTest::addColumn<QString>("contentName");
    QTest::addColumn<QSize>("size");
    QTest::addColumn<QString>("title");
    QTest::addColumn<bool>("parentedToMainWindow");
    QTest::addColumn<QStringList>("fields");
    QTest::addColumn<QSize>("fieldSize");
    QTest::addColumn<QString>("triesName");
    QTest::addColumn<QString>("triesText");
    QTest::addColumn<QStringList>("labels"); // name=key
    QTest::addColumn<QString>("okName");
    QTest::addColumn<QString>("cancelName");

    QTest::newRow("enter PIN") << "verify" << 2 << "DeviceMgrUI_VerifyPINDlg"
                               << "DeviceMgrUI_widgetVerifyPINDlg" << QSize(320, 170)
                               << uiText("IDS_MAINFRM_PIN_VERIFY_WINDOWSTXT") << false
                               << QStringList{"DeviceMgrUI_VerifyeditPINText"} << QSize(230, 20)
                               << "DeviceMgrUI_VerifyPINTimes"
                               << "PIN attempts remaining: 2"
                               << QStringList{"DeviceMgrUI_VerifyPIN=IDS_MAINFRM_INPUT_PIN_PROMPT"}
                               << "DeviceMgrUI_VerifyPINO"
                               << "DeviceMgrUI_VerifyPINCancel";
    QTest::newRow("enable PIN")
        << "enable" << 3 << "DeviceMgrUI_m_pdialogPINDlg"
        << "DeviceMgrUI_widgetPINDlg" << QSize(320, 170) << uiText("IDS_MAINFRM_ENABLE_WINDOWSTXT")
        << true << QStringList{"DeviceMgrUI_dialogInfoDlg"} << QSize(230, 20)
        << "DeviceMgrUI_m_plabelPINTimes"
        << "PIN attempts remaining: 3"
        << QStringList{"DeviceMgrUI_dialogInfoDlg=IDS_MAINFRM_INPUT_PIN_PROMPT"}
        << "DeviceMgrUI_dialogInfoDlg"
        << "DeviceMgrUI_dialogInfoDlg";
    QTest::newRow("disable PIN")
        << "disable" << 3 << "DeviceMgrUI_m_pdialogPINDlg"
        << "DeviceMgrUI_widgetPINDlg" << QSize(320, 170) << uiText("IDS_MAINFRM_DISABLE_WINDOWSTXT")
        << true << QStringList{"DeviceMgrUI_dialogInfoDlg"} << QSize(230, 20)
        << "DeviceMgrUI_m_plabelPINTimes"
        << "PIN attempts remaining: 3"
        << QStringList{"DeviceMgrUI_dialogInfoDlg=IDS_MAINFRM_INPUT_PIN_PROMPT"}
        << "DeviceMgrUI_dialogInfoDlg"
        << "DeviceMgrUI_dialogInfoDlg";
    QTest::newRow("unblock with PUK")
        << "puk" << 0 << "DeviceMgrUI_dialogPUKDlg"
        << "DeviceMgrUI_widgetPUKDlg" << QSize(300, 200)
        << uiText("IDS_MAINFRM_PIN_UNLOCK_WINDOWSTXT") << false
        << QStringList{"DeviceMgrUI_editPUKText", "DeviceMgrUI_editPUKPINText",
                       "DeviceMgrUI_editConfirmPUKPINText"}
        << QSize(105, 20) << "DeviceMgrUI_labelPUKTimes"
        << "PUK attempts remaining: 10"
        << QStringList{"DeviceMgrUI_labelPUK=IDS_MAINFRM_INPUT_PUK_PROMPT",
                       "DeviceMgrUI_labelNewPIN=IDS_MAINFRM_INPUT_NEW_PIN_PROMPT",
                       "DeviceMgrUI_labelConfirmPIN=IDS_MAINFRM_INPUT_NEW_PIN_PROMPT2"}
        << "DeviceMgrUI_buttonPUKOK"
        << "DeviceMgrUI_buttonPUKCancel";
    QTest::newRow("change PIN")
        << "modify" << 1 << "DeviceMgrUI_dialogModifyDlg"
        << "DeviceMgrUI_widgetModifyDlg" << QSize(300, 200)
        << uiText("IDS_MAINFRM_PIN_CHANGE_WINDOWSTXT") << true
        << QStringList{"DeviceMgrUI_editCurrPINText", "DeviceMgrUI_editNewPINText",
                       "DeviceMgrUI_editConfirmNewPINText"}
        << QSize(105, 20) << "DeviceMgrUI_labelModTimes"
        << "PIN attempts remaining: 1"
        << QStringList{"DeviceMgrUI_labelCurrPIN=IDS_MAINFRM_INPUT_OLD_PIN_PROMPT",
                       "DeviceMgrUI_labelNewPIN=IDS_MAINFRM_INPUT_NEW_PIN_PROMPT",
                       "DeviceMgrUI_labelConfirmPIN=IDS_MAINFRM_INPUT_NEW_PIN_PROMPT2"}
        << "DeviceMgrUI_buttonModOK"
        << "DeviceMgrUI_buttonModCancel";
}

void tst_PinDialogs::dialogsAreBuiltAsNamed()
{
    QFETCH(QString, which);
    QFETCH(int, pinRetries);
    QFETCH(QString, dialogName);
    QFETCH(QString, contentName);
    QFETCH(QSize, size);
    QFETCH(QString, title);
    QFETCH(bool, parentedToMainWindow);
    QFETCH(QStringList, fields);
    QFETCH(QSize, fieldSize);
    QFETCH(QString, triesName);
    QFETCH(QString, triesText);
    QFETCH(QStringList, labels);
    QFETCH(QString, okName);
    QFETCH(QString, cancelName);

    start(cardWithPinRetries(pinRetries));
    QDialog* dialog = openDialog(m_service, which);
    QVERIFY(dialog);
    QVERIFY(dialog->isVisible());
    QCOMPARE(dialog->objectName(), dialogName);
    QCOMPARE(dialog->minimumSize(), size);
    QCOMPARE(dialog->maximumSize(), size);
    QCOMPARE(dialog->windowTitle(), title);
    QVERIFY(!title.isEmpty());
    QCOMPARE(dialog->parentWidget(), parentedToMainWindow ? m_host->mainWindow() : nullptr);
    auto* extend = qobject_cast<ExtendDialog*>(dialog);
    QVERIFY(extend);
    QVERIFY(extend->MainWidget());
    QCOMPARE(extend->MainWidget()->objectName(), contentName);

    for (const QString& name : fields) {
        LineEdit* edit = field(dialog, name);
        QVERIFY2(edit, qPrintable(name));
        QCOMPARE(edit->maxLength(), 8);
        QCOMPARE(edit->echoMode(), QLineEdit::Password);
        QCOMPARE(edit->contextMenuPolicy(), Qt::CustomContextMenu);
        QCOMPARE(edit->size(), fieldSize);
        auto* validator = qobject_cast<const QRegularExpressionValidator*>(edit->validator());
        QVERIFY(validator);
        QCOMPARE(validator->regularExpression().pattern(), QStringLiteral("[0-9]{1,8}"));
        QVERIFY(edit->text().isEmpty());
    }
    // The first field has the focus, ready for typing.
    QTRY_COMPARE(QApplication::focusWidget(), static_cast<QWidget*>(field(dialog, fields[0])));

    auto* tries = dialog->findChild<QLabel*>(triesName);
    QVERIFY(tries);
    QCOMPARE(tries->text(), triesText);
    for (const QString& entry : labels) {
        const QStringList parts = entry.split('=');
        auto* label = dialog->findChild<QLabel*>(parts[0]);
        QVERIFY2(label, qPrintable(parts[0]));
        QCOMPARE(label->text(), uiText(parts[1].toLatin1().constData()));
    }
    QPushButton* ok = button(dialog, okName, uiText("IDS_MAINFRM_OK_PROMPT"));
    QPushButton* cancel = button(dialog, cancelName, uiText("IDS_MAINFRM_CANCEL_PROMPT"));
    QVERIFY(ok);
    QVERIFY(cancel);
    QVERIFY(!ok->isEnabled());
    QVERIFY(cancel->isEnabled());
}

void tst_PinDialogs::singleFieldDialogsUseTheirMarginsAndSpacing_data()
{
    QTest::addColumn<QString>("which");
    QTest::addColumn<QString>("triesName");
    QTest::addColumn<QString>("okName");
    QTest::addColumn<QString>("cancelName");
    QTest::newRow("enter PIN") << "verify"
                               << "DeviceMgrUI_VerifyPINTimes"
                               << "DeviceMgrUI_VerifyPINO"
                               << "DeviceMgrUI_VerifyPINCancel";
    QTest::newRow("enable PIN") << "enable"
                                << "DeviceMgrUI_m_plabelPINTimes"
                                << "DeviceMgrUI_dialogInfoDlg"
                                << "DeviceMgrUI_dialogInfoDlg";
}

void tst_PinDialogs::singleFieldDialogsUseTheirMarginsAndSpacing()
{
    QFETCH(QString, which);
    QFETCH(QString, triesName);
    QFETCH(QString, okName);
    QFETCH(QString, cancelName);
    start(cardWithPinRetries(3));
    auto* dialog = qobject_cast<ExtendDialog*>(openDialog(m_service, which));
    QVERIFY(dialog);
    QLayout* layout = dialog->MainWidget()->layout();
    QVERIFY(layout);
    QCOMPARE(layout->contentsMargins(), QMargins(30, 0, 30, 0));
    QCOMPARE(layout->spacing(), 15);
    // Tries, prompt and field stacked, then OK and Cancel side by side.
    QCOMPARE(layout->count(), 4);
    QWidget* tries = layout->itemAt(0)->widget();
    QVERIFY(qobject_cast<QLabel*>(tries));
    QCOMPARE(tries->objectName(), triesName);
    auto* prompt = qobject_cast<QLabel*>(layout->itemAt(1)->widget());
    QVERIFY(prompt);
    QCOMPARE(prompt->text(), uiText("IDS_MAINFRM_INPUT_PIN_PROMPT"));
    QVERIFY(qobject_cast<LineEdit*>(layout->itemAt(2)->widget()));
    QLayout* buttons = layout->itemAt(3)->layout();
    QVERIFY(buttons);
    QCOMPARE(buttons->count(), 2);
    QCOMPARE(buttons->itemAt(0)->widget(), button(dialog, okName, uiText("IDS_MAINFRM_OK_PROMPT")));
    QCOMPARE(buttons->itemAt(1)->widget(),
             button(dialog, cancelName, uiText("IDS_MAINFRM_CANCEL_PROMPT")));
}

void tst_PinDialogs::fieldsTakeEightDigitsAndNothingElse_data()
{
    QTest::addColumn<QString>("which");
    QTest::addColumn<QString>("fieldName");

    QTest::newRow("enter PIN") << "verify"
                               << "DeviceMgrUI_VerifyeditPINText";
    QTest::newRow("enable PIN") << "enable"
                                << "DeviceMgrUI_dialogInfoDlg";
    QTest::newRow("PUK") << "puk"
                         << "DeviceMgrUI_editPUKText";
    QTest::newRow("PUK new PIN") << "puk"
                                 << "DeviceMgrUI_editPUKPINText";
    QTest::newRow("PUK confirmation") << "puk"
                                      << "DeviceMgrUI_editConfirmPUKPINText";
    QTest::newRow("current PIN") << "modify"
                                 << "DeviceMgrUI_editCurrPINText";
    QTest::newRow("new PIN") << "modify"
                             << "DeviceMgrUI_editNewPINText";
    QTest::newRow("confirmation") << "modify"
                                  << "DeviceMgrUI_editConfirmNewPINText";
}

void tst_PinDialogs::fieldsTakeEightDigitsAndNothingElse()
{
    QFETCH(QString, which);
    QFETCH(QString, fieldName);
    start(cardWithPinRetries(3));
    LineEdit* edit = field(openDialog(m_service, which), fieldName);
    QVERIFY(edit);

    QTest::keyClicks(edit, QStringLiteral("12a3-4 x5678"));
    QCOMPARE(edit->text(), QStringLiteral("12345678"));
    QTest::keyClicks(edit, QStringLiteral("9"));
    QCOMPARE(edit->text(), QStringLiteral("12345678"));
}

void tst_PinDialogs::singlePinOkFollowsTheLength_data()
{
    QTest::addColumn<QString>("which");
    QTest::addColumn<QString>("fieldName");
    QTest::newRow("enter PIN") << "verify"
                               << "DeviceMgrUI_VerifyeditPINText";
    QTest::newRow("enable PIN") << "enable"
                                << "DeviceMgrUI_dialogInfoDlg";
    QTest::newRow("disable PIN") << "disable"
                                 << "DeviceMgrUI_dialogInfoDlg";
}

void tst_PinDialogs::singlePinOkFollowsTheLength()
{
    QFETCH(QString, which);
    QFETCH(QString, fieldName);
    start(cardWithPinRetries(3));
    QDialog* dialog = openDialog(m_service, which);
    LineEdit* edit = field(dialog, fieldName);
    QPushButton* ok = okButton(dialog);
    QVERIFY(edit);
    QVERIFY(ok);

    QTest::keyClicks(edit, QStringLiteral("123"));
    QVERIFY(!ok->isEnabled());
    QTest::keyClicks(edit, QStringLiteral("4"));
    QVERIFY(ok->isEnabled());
    QVERIFY(ok->isDefault());
    QTest::keyClick(edit, Qt::Key_Backspace);
    QVERIFY(!ok->isEnabled());
    QTest::keyClicks(edit, QStringLiteral("45678"));
    QVERIFY(ok->isEnabled());
}

void tst_PinDialogs::pukOkNeedsAllEightPukDigits()
{
    start(cardWithPinRetries(0));
    QDialog* dialog = openDialog(m_service, QStringLiteral("puk"));
    LineEdit* puk = field(dialog, QStringLiteral("DeviceMgrUI_editPUKText"));
    LineEdit* newPin = field(dialog, QStringLiteral("DeviceMgrUI_editPUKPINText"));
    LineEdit* confirm = field(dialog, QStringLiteral("DeviceMgrUI_editConfirmPUKPINText"));
    QPushButton* ok = okButton(dialog);
    QVERIFY(puk && newPin && confirm && ok);

    QTest::keyClicks(newPin, QStringLiteral("1111"));
    QTest::keyClicks(confirm, QStringLiteral("1111"));
    QTest::keyClicks(puk, QStringLiteral("1234567"));
    QVERIFY(!ok->isEnabled());
    QTest::keyClicks(puk, QStringLiteral("8"));
    QVERIFY(ok->isEnabled());

    QTest::keyClick(confirm, Qt::Key_Backspace);
    QVERIFY(!ok->isEnabled());
    QTest::keyClicks(confirm, QStringLiteral("1"));
    QVERIFY(ok->isEnabled());
    QTest::keyClick(newPin, Qt::Key_Backspace);
    QVERIFY(!ok->isEnabled());
}

void tst_PinDialogs::changeOkNeedsThreePins()
{
    start(cardWithPinRetries(3));
    QDialog* dialog = openDialog(m_service, QStringLiteral("modify"));
    LineEdit* curr = field(dialog, QStringLiteral("DeviceMgrUI_editCurrPINText"));
    LineEdit* newPin = field(dialog, QStringLiteral("DeviceMgrUI_editNewPINText"));
    LineEdit* confirm = field(dialog, QStringLiteral("DeviceMgrUI_editConfirmNewPINText"));
    QPushButton* ok = okButton(dialog);
    QVERIFY(curr && newPin && confirm && ok);

    QTest::keyClicks(curr, QStringLiteral("1234"));
    QTest::keyClicks(newPin, QStringLiteral("5678"));
    QTest::keyClicks(confirm, QStringLiteral("567"));
    QVERIFY(!ok->isEnabled());
    QTest::keyClicks(confirm, QStringLiteral("8"));
    QVERIFY(ok->isEnabled());
    QTest::keyClick(curr, Qt::Key_Backspace);
    QVERIFY(!ok->isEnabled());
}

void tst_PinDialogs::userCloseAsksFirst_data()
{
    QTest::addColumn<QString>("which");
    QTest::addColumn<int>("pinRetries");
    QTest::addColumn<QString>("yes");
    QTest::addColumn<QString>("no");

    QTest::newRow("enter PIN asks Yes/No")
        << "verify" << 3 << shared("IDS_YES") << shared("IDS_NO");
    QTest::newRow("PUK asks OK/Cancel") << "puk" << 0 << shared("IDS_OK") << shared("IDS_CANCEL");
}

void tst_PinDialogs::userCloseAsksFirst()
{
    QFETCH(QString, which);
    QFETCH(int, pinRetries);
    QFETCH(QString, yes);
    QFETCH(QString, no);
    QVERIFY(!yes.isEmpty() && !no.isEmpty() && yes != no);

    start(cardWithPinRetries(pinRetries));
    QDialog* dialog = openDialog(m_service, which);
    QVERIFY(dialog);

    // "No": the dialog stays, although nothing else objects any more.
    m_host->queueReply(CommonUtils::SecondButton);
    QVERIFY(!dialog->close());
    QVERIFY(dialog->isVisible());
    QCOMPARE(m_host->messages().size(), 1);
    const MessageRequest question = m_host->messages().first();
    QCOMPARE(question.icon, QMessageBox::Question);
    QCOMPARE(question.parent, static_cast<QWidget*>(dialog));
    QCOMPARE(question.title, uiText("IDS_MAINFRM_PROMPT"));
    QCOMPARE(question.text, uiText("IDS_MAINFRM_PIN_CANCELPROMPT"));
    QCOMPARE(question.buttons[0], yes);
    QCOMPARE(question.buttons[1], no);
    QVERIFY(question.buttons[2].isEmpty());

    // Confirmed: closed, even while the SIM still needs the dialog.
    m_host->queueReply(CommonUtils::FirstButton);
    QVERIFY(dialog->close());
    QVERIFY(!dialog->isVisible());
    QCOMPARE(m_host->messages().size(), 2);
    QCOMPARE(static_cast<SimDlg*>(dialog)->m_bAsking, false);
}

void tst_PinDialogs::escapeAsksTheSameQuestion_data()
{
    QTest::addColumn<QString>("which");
    QTest::addColumn<int>("pinRetries");
    QTest::newRow("enter PIN") << "verify" << 3;
    QTest::newRow("PUK") << "puk" << 0;
}

void tst_PinDialogs::escapeAsksTheSameQuestion()
{
    QFETCH(QString, which);
    QFETCH(int, pinRetries);
    start(cardWithPinRetries(pinRetries));
    auto* dialog = qobject_cast<SimDlg*>(openDialog(m_service, which));
    QVERIFY(dialog);
    QWidget* first = dialog->findChildren<LineEdit*>().value(0);
    QVERIFY(first);

    m_host->queueReply(CommonUtils::SecondButton);
    QTest::keyClick(first, Qt::Key_Escape);
    QCOMPARE(m_host->messages().size(), 1);
    QCOMPARE(m_host->messages().first().text, uiText("IDS_MAINFRM_PIN_CANCELPROMPT"));
    QVERIFY(dialog->isVisible());
    QVERIFY(dialog->m_bAskOnClose);

    m_host->queueReply(CommonUtils::FirstButton);
    QTest::keyClick(first, Qt::Key_Escape);
    QVERIFY(!dialog->isVisible());
    // Exactly one question: the close that follows the answer is silent.
    QCOMPARE(m_host->messages().size(), 2);
    QVERIFY(dialog->m_bAskOnClose);
}

void tst_PinDialogs::serviceCloseNeverAsks_data()
{
    QTest::addColumn<QString>("which");
    QTest::addColumn<int>("pinRetries");
    QTest::newRow("enter PIN in state 1") << "verify" << 3;
    QTest::newRow("PUK in state 4") << "puk" << 0;
}

void tst_PinDialogs::serviceCloseNeverAsks()
{
    QFETCH(QString, which);
    QFETCH(int, pinRetries);
    start(cardWithPinRetries(pinRetries));
    auto* dialog = qobject_cast<SimDlg*>(openDialog(m_service, which));
    QVERIFY(dialog);
    QVERIFY(m_service->pinState() == DEVMGR_PIN_VERIFY ||
            m_service->pinState() == DEVMGR_UNLOCK_PIN);

    dialog->m_bAskOnClose = false;
    QVERIFY(dialog->close());
    QVERIFY(!dialog->isVisible());
    QVERIFY(m_host->messages().isEmpty());
    // Ready to ask again the next time the user closes it.
    QVERIFY(dialog->m_bAskOnClose);
}

void tst_PinDialogs::closeVerdictFollowsThePinState_data()
{
    QTest::addColumn<QString>("which");
    QTest::addColumn<bool>("accepted");
    QTest::newRow("1 enter PIN") << "verify" << false;
    QTest::newRow("2 enable") << "enable" << true;
    QTest::newRow("3 disable") << "disable" << true;
    QTest::newRow("4 PUK") << "puk" << false;
    QTest::newRow("6 change") << "modify" << true;
}

void tst_PinDialogs::closeVerdictFollowsThePinState()
{
    QFETCH(QString, which);
    QFETCH(bool, accepted);
    start(cardWithPinRetries(3));
    QVERIFY(openDialog(m_service, which));

    QCloseEvent event;
    event.setAccepted(!accepted);
    m_service->onCloseDialog(&event);
    QCOMPARE(event.isAccepted(), accepted);
    m_service->onCloseDialog(nullptr);
}

void tst_PinDialogs::cutKeystrokeLeavesTheField()
{
    start(cardWithPinRetries(3));
    QDialog* dialog = openDialog(m_service, QStringLiteral("verify"));
    LineEdit* edit = field(dialog, QStringLiteral("DeviceMgrUI_VerifyeditPINText"));
    QVERIFY(edit);
    QTest::keyClicks(edit, QStringLiteral("1234"));
    edit->selectAll();

    QVERIFY(!sendCutKeystroke(edit));
    QCOMPARE(edit->text(), QStringLiteral("1234"));
    QVERIFY(okButton(dialog)->isEnabled());
}

void tst_PinDialogs::emptyFieldAndClipboardDisableTheWholeMenu()
{
    start(cardWithPinRetries(3));
    QApplication::clipboard()->clear();
    LineEdit* edit = field(openDialog(m_service, QStringLiteral("modify")),
                           QStringLiteral("DeviceMgrUI_editNewPINText"));
    QVERIFY(edit);
    std::unique_ptr<QMenu> menu(edit->createContextMenu());
    QVERIFY(menu);
    int items = 0;
    for (QAction* action : menu->actions()) {
        if (action->isSeparator())
            continue;
        ++items;
        QVERIFY2(!action->isEnabled(), qPrintable(action->text()));
    }
    QCOMPARE(items, 6);
}

void tst_PinDialogs::everyFieldOpensItsOwnMenu_data()
{
    fieldsTakeEightDigitsAndNothingElse_data();
}

void tst_PinDialogs::everyFieldOpensItsOwnMenu()
{
    QFETCH(QString, which);
    QFETCH(QString, fieldName);
    start(cardWithPinRetries(3));
    LineEdit* edit = field(openDialog(m_service, which), fieldName);
    QVERIFY(edit);
    QTest::keyClicks(edit, QStringLiteral("12"));

    // The request goes through the service's slot to this field's own menu.
    QWidget* menuParent = nullptr;
    QTimer::singleShot(0, this, [&menuParent] {
        if (QWidget* popup = QApplication::activePopupWidget()) {
            menuParent = popup->parentWidget();
            popup->close();
        }
    });
    emit edit->customContextMenuRequested(QPoint(2, 2));
    QCOMPARE(menuParent, static_cast<QWidget*>(edit));
}

void tst_PinDialogs::triesLabelShowsUnknownWhenTheCardIsSilent()
{
    start(cardWithPinRetries(3));
    // Every read of the counter fails.
    m_host->card().setFault("UTPS_DevSrv_GetPinStatus", 1, -1);
    QDialog* dialog = openDialog(m_service, QStringLiteral("verify"));
    auto* tries = dialog->findChild<QLabel*>(QStringLiteral("DeviceMgrUI_VerifyPINTimes"));
    QVERIFY(tries);
    QCOMPARE(tries->text(), uiText("IDS_MAINFRM_UNKNOWN"));

    m_host->card().clearFaults();
    QTest::keyClicks(field(dialog, QStringLiteral("DeviceMgrUI_VerifyeditPINText")), "12345");
    m_service->setDlgToInitialState();
    QCOMPARE(tries->text(), QStringLiteral("PIN attempts remaining: 3"));
    QVERIFY(field(dialog, QStringLiteral("DeviceMgrUI_VerifyeditPINText"))->text().isEmpty());
    QVERIFY(!okButton(dialog)->isEnabled());
}

void tst_PinDialogs::languageChangeRelabelsOpenDialogs_data()
{
    QTest::addColumn<QString>("which");
    QTest::addColumn<int>("pinRetries");
    QTest::addColumn<QString>("titleKey");
    QTest::addColumn<QString>("promptName");
    QTest::addColumn<QString>("promptKey"); // empty: the prompt keeps its text

    QTest::newRow("enter PIN") << "verify" << 3 << "IDS_MAINFRM_PIN_VERIFY_WINDOWSTXT"
                               << "DeviceMgrUI_VerifyPIN"
                               << "IDS_MAINFRM_INPUT_PIN_PROMPT";
    QTest::newRow("enable PIN") << "enable" << 3 << "IDS_MAINFRM_ENABLE_WINDOWSTXT"
                                << "DeviceMgrUI_dialogInfoDlg" << QString();
    QTest::newRow("PUK") << "puk" << 0 << "IDS_MAINFRM_PIN_UNLOCK_WINDOWSTXT"
                         << "DeviceMgrUI_labelNewPIN"
                         << "IDS_MAINFRM_INPUT_NEW_PIN_PROMPT";
    QTest::newRow("change PIN") << "modify" << 3 << "IDS_MAINFRM_PIN_CHANGE_WINDOWSTXT"
                                << "DeviceMgrUI_labelCurrPIN"
                                << "IDS_MAINFRM_INPUT_OLD_PIN_PROMPT";
}

void tst_PinDialogs::languageChangeRelabelsOpenDialogs()
{
    QFETCH(QString, which);
    QFETCH(int, pinRetries);
    QFETCH(QString, titleKey);
    QFETCH(QString, promptName);
    QFETCH(QString, promptKey);

    start(cardWithPinRetries(pinRetries));
    QDialog* dialog = openDialog(m_service, which);
    QVERIFY(dialog);
    auto* prompt = dialog->findChild<QLabel*>(promptName);
    QVERIFY(prompt);
    const QString englishPrompt = prompt->text();
    QLabel* tries = nullptr;
    for (QLabel* label : dialog->findChildren<QLabel*>()) {
        if (label->objectName().endsWith(QLatin1String("Times")))
            tries = label;
    }
    QVERIFY(tries);
    const QString englishTries = tries->text();
    const QString englishTitle = dialog->windowTitle();
    const QString englishCancel = uiText("IDS_MAINFRM_CANCEL_PROMPT");
    QPushButton* cancel = nullptr;
    for (QPushButton* candidate : dialog->findChildren<QPushButton*>()) {
        if (candidate->text() == englishCancel)
            cancel = candidate;
    }
    QVERIFY(cancel);

    QVERIFY(Change::SetLanguage(QStringLiteral("de")));
    m_service->Notify(NTF_LANGUAGE_CHANGED, 0, 0);

    const QString germanTitle = uiText(titleKey.toLatin1().constData());
    const QString germanCancel = uiText("IDS_MAINFRM_CANCEL_PROMPT");
    QVERIFY(!germanTitle.isEmpty() && germanTitle != englishTitle);
    QVERIFY(!germanCancel.isEmpty() && germanCancel != englishCancel);
    QCOMPARE(dialog->windowTitle(), germanTitle);
    QCOMPARE(cancel->text(), germanCancel);
    if (promptKey.isEmpty()) {
        QCOMPARE(prompt->text(), englishPrompt);
    } else {
        QVERIFY(uiText(promptKey.toLatin1().constData()) != englishPrompt);
        QCOMPARE(prompt->text(), uiText(promptKey.toLatin1().constData()));
    }
    // The count is read again only at the next reset.
    QCOMPARE(tries->text(), englishTries);
}

QTEST_MAIN(tst_PinDialogs)
#include "tst_pindialogs.moc"
