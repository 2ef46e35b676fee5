// The PIN dialogs by their object names: what the fields accept, when OK is
// usable, and when closing or cancelling asks first.
#include "DeviceMgrService.h"
#include "HostFixture.h"
#include "LineEdit.h"
#include "SimDlg.h"
#include "sim/VirtualCard.h"

#include <Change.h>

#include <QApplication>
#include <QHash>
#include <QKeyEvent>
#include <QPushButton>
#include <QTest>
#include <QTimer>

#include <memory>

namespace {

// Per dialog: its object name, its OK button's, then its fields in the order
// a person fills them.
const QHash<QString, QStringList> kNames = {
    {"verify",
     {"DeviceMgrUI_VerifyPINDlg", "DeviceMgrUI_VerifyPINO", "DeviceMgrUI_VerifyeditPINText"}},
    {"enable",
     {"DeviceMgrUI_m_pdialogPINDlg", "DeviceMgrUI_dialogInfoDlg", "DeviceMgrUI_dialogInfoDlg"}},
    {"disable",
     {"DeviceMgrUI_m_pdialogPINDlg", "DeviceMgrUI_dialogInfoDlg", "DeviceMgrUI_dialogInfoDlg"}},
    {"puk",
     {"DeviceMgrUI_dialogPUKDlg", "DeviceMgrUI_buttonPUKOK", "DeviceMgrUI_editPUKText",
      "DeviceMgrUI_editPUKPINText", "DeviceMgrUI_editConfirmPUKPINText"}},
    {"modify",
     {"DeviceMgrUI_dialogModifyDlg", "DeviceMgrUI_buttonModOK", "DeviceMgrUI_editCurrPINText",
      "DeviceMgrUI_editNewPINText", "DeviceMgrUI_editConfirmNewPINText"}},
};

// Opens one of the dialogs the way another plug-in would and finds it on
// screen by its object name.
QDialog* openDialog(CDeviceMgrService* service, const QString& which)
{
    const QHash<QString, int (CDeviceMgrService::*)()> operations = {
        {"verify", &CDeviceMgrService::VerifyPIN},
        {"enable", &CDeviceMgrService::EnablePIN},
        {"disable", &CDeviceMgrService::DisablePIN},
        {"puk", &CDeviceMgrService::UnlockPIN},
        {"modify", &CDeviceMgrService::ModifyPIN}};
    (service->*operations.value(which))();
    for (QWidget* window : QApplication::topLevelWidgets()) {
        if (window->isVisible() && window->objectName() == kNames.value(which).first())
            return qobject_cast<QDialog*>(window);
    }
    return nullptr;
}

LineEdit* field(QDialog* dialog, const QString& which, int index = 0)
{
    return dialog->findChild<LineEdit*>(kNames.value(which).value(2 + index));
}

// By name and text: the enable/disable dialog names OK and Cancel alike.
QPushButton* button(QDialog* dialog, const QString& name, const char* key)
{
    for (QPushButton* candidate : dialog->findChildren<QPushButton*>(name)) {
        if (candidate->text() == CDeviceMgrService::tr(QString(key)))
            return candidate;
    }
    return nullptr;
}

// How a dialog is dismissed.
constexpr int ByUser = 0, ByEscape = 1, ByCancel = 2;

} // namespace

class tst_PinDialogs : public QObject
{
    Q_OBJECT

private slots:
    void cleanup();
    void fieldsTakeEightDigitsAndNothingElse_data();
    void fieldsTakeEightDigitsAndNothingElse();
    void closeAndCancelAskOnlyWhereTheSimNeedsTheDialog_data();
    void closeAndCancelAskOnlyWhereTheSimNeedsTheDialog();

private:
    // A card whose SIM waits for its PIN with `pinRetries` left (0: the PUK).
    QDialog* open(const QString& which, int pinRetries = 3);

    std::unique_ptr<HostFixture> m_host;
    CDeviceMgrService* m_service = nullptr;
};

QDialog* tst_PinDialogs::open(const QString& which, int pinRetries)
{
    m_host = std::make_unique<HostFixture>();
    sim::CardConfig card;
    card.sim.pinEnabled = true;
    card.sim.pinRetries = pinRetries;
    m_host->card().addCard(card);
    m_service = m_host->startService();
    if (!m_host->waitForEvents())
        return nullptr;
    m_host->clearMessages();
    return openDialog(m_service, which);
}

void tst_PinDialogs::cleanup()
{
    m_service = nullptr;
    m_host.reset();
}

void tst_PinDialogs::fieldsTakeEightDigitsAndNothingElse_data()
{
    QTest::addColumn<QString>("which");
    QTest::addColumn<int>("index");
    QTest::newRow("enter PIN") << "verify" << 0;
    QTest::newRow("enable PIN") << "enable" << 0;
    QTest::newRow("disable PIN") << "disable" << 0;
    QTest::newRow("PUK") << "puk" << 0;
    QTest::newRow("PUK new PIN") << "puk" << 1;
    QTest::newRow("PUK confirmation") << "puk" << 2;
    QTest::newRow("current PIN") << "modify" << 0;
    QTest::newRow("new PIN") << "modify" << 1;
    QTest::newRow("confirmation") << "modify" << 2;
}

// Digits only, eight at most, no cut by keyboard, a context menu of the
// field's own; in the one-field dialogs OK follows the length both ways.
void tst_PinDialogs::fieldsTakeEightDigitsAndNothingElse()
{
    QFETCH(QString, which);
    QFETCH(int, index);
    QDialog* dialog = open(which);
    QVERIFY(dialog && dialog->isVisible());
    LineEdit* edit = field(dialog, which, index);
    QPushButton* ok = button(dialog, kNames.value(which).at(1), "IDS_MAINFRM_OK_PROMPT");
    QVERIFY(edit && ok);
    if (index == 0)
        QTRY_COMPARE(QApplication::focusWidget(), static_cast<QWidget*>(edit));
    QCOMPARE(edit->echoMode(), QLineEdit::Password);
    const bool single = kNames.value(which).size() == 3;
    QTest::keyClicks(edit, "12a3");
    QVERIFY(!ok->isEnabled());
    QTest::keyClicks(edit, "-4");
    QCOMPARE(ok->isEnabled(), single);
    QVERIFY(!single || ok->isDefault());
    QTest::keyClicks(edit, " x56789");
    QCOMPARE(edit->text(), "12345678");

    // Ctrl+X as a keyboard sends it (control character 24) cuts nothing.
    edit->selectAll();
    QKeyEvent cut(QEvent::KeyPress, Qt::Key_X, Qt::ControlModifier, QString(QChar(24)));
    QApplication::sendEvent(edit, &cut);
    QCOMPARE(edit->text(), "12345678");
    edit->end(false);
    for (int i = 0; i < 5; ++i)
        QTest::keyClick(edit, Qt::Key_Backspace);
    QVERIFY(!ok->isEnabled());

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

void tst_PinDialogs::closeAndCancelAskOnlyWhereTheSimNeedsTheDialog_data()
{
    QTest::addColumn<QString>("which");
    QTest::addColumn<int>("how");
    QTest::addColumn<QStringList>("buttons"); // of the question; none: no question

    const QStringList yesNo = {"IDS_YES", "IDS_NO"};
    const QStringList okCancel = {"IDS_OK", "IDS_CANCEL"};
    QTest::newRow("enter PIN, closed") << "verify" << ByUser << yesNo;
    QTest::newRow("enter PIN, Escape") << "verify" << ByEscape << yesNo;
    QTest::newRow("PUK, closed") << "puk" << ByUser << okCancel;
    QTest::newRow("PUK, Escape") << "puk" << ByEscape << okCancel;
    QTest::newRow("enable PIN, closed") << "enable" << ByUser << QStringList();
    QTest::newRow("change PIN, Escape") << "modify" << ByEscape << QStringList();
    QTest::newRow("1 enter PIN, Cancel") << "verify" << ByCancel << yesNo;
    QTest::newRow("2 enable PIN, Cancel") << "enable" << ByCancel << QStringList();
    QTest::newRow("3 disable PIN, Cancel") << "disable" << ByCancel << QStringList();
    QTest::newRow("4 PUK, Cancel") << "puk" << ByCancel << okCancel;
    QTest::newRow("6 change PIN, Cancel") << "modify" << ByCancel << QStringList();
    // The change dialog is still open when a PIN check finds the SIM ready.
    QTest::newRow("0 Cancel outside 1 to 6") << "ready" << ByCancel << QStringList();
}

void tst_PinDialogs::closeAndCancelAskOnlyWhereTheSimNeedsTheDialog()
{
    QFETCH(QString, which);
    QFETCH(int, how);
    QFETCH(QStringList, buttons);

    const bool ready = which == "ready";
    QDialog* dialog = open(ready ? "modify" : which, which == "puk" ? 0 : 3);
    QVERIFY(dialog);
    if (ready) {
        QVERIFY(m_host->card().overridePinStatus(1));
        m_service->checkPIN();
        QCOMPARE(m_service->pinState(), DEVMGR_PIN_READY);
    }
    auto* forced = qobject_cast<SimDlg*>(dialog);
    const auto dismiss = [&] {
        if (how == ByEscape)
            QTest::keyClick(field(dialog, which), Qt::Key_Escape);
        else if (how == ByCancel)
            QTest::mouseClick(button(dialog, QString(), "IDS_MAINFRM_CANCEL_PROMPT"),
                              Qt::LeftButton);
        else
            dialog->close();
    };
    if (!buttons.isEmpty()) {
        // "No": the dialog stays.
        m_host->queueReply(CommonUtils::SecondButton);
        dismiss();
        QVERIFY(dialog->isVisible());
        QCOMPARE(m_host->messages().size(), 1);
        const MessageRequest question = m_host->messages().first();
        QCOMPARE(question.icon, QMessageBox::Question);
        QCOMPARE(question.parent, dialog);
        QCOMPARE(question.text, CDeviceMgrService::tr(QString("IDS_MAINFRM_PIN_CANCELPROMPT")));
        for (int i = 0; i < 2; ++i)
            QCOMPARE(question.buttons[i], Change::tr(buttons[i], "XFramePlugin"));
    }
    m_host->queueReply(CommonUtils::FirstButton);
    dismiss();
    QCOMPARE(dialog->isVisible(), ready);
    // One question per attempt: the close after "Yes" is silent.
    QCOMPARE(m_host->messages().size(), buttons.isEmpty() ? 0 : 2);
    if (forced)
        QVERIFY(forced->m_bAskOnClose);
}

QTEST_MAIN(tst_PinDialogs)
#include "tst_pindialogs.moc"
