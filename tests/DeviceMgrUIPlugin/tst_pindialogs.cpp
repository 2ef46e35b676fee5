// The PIN dialogs: what the fields accept, when OK is usable, and when closing
// or cancelling asks first. The scenarios pin_startup, puk_unblock and
// change_pin find the same dialogs, fields and buttons by their object names.
#include "DeviceMgrService.h"
#include "HostFixture.h"
#include "LineEdit.h"
#include "SimDlg.h"
#include <sim/VirtualCard.h>

#include <Change.h>

#include <QApplication>
#include <QKeyEvent>
#include <QPushButton>
#include <QTest>
#include <QTimer>

#include <memory>

namespace {

// By text: the enable/disable dialog names OK and Cancel alike.
QPushButton* buttonOf(QDialog* dialog, const char* key)
{
    for (QPushButton* button : dialog->findChildren<QPushButton*>()) {
        if (button->text() == CDeviceMgrService::tr(QString(key)))
            return button;
    }
    return nullptr;
}

// How a dialog is dismissed. A plain close needs no row of its own: Cancel
// closes the dialog the same way, after choosing it by the PIN state.
constexpr int ByEscape = 0, ByCancel = 1;

} // namespace

class tst_PinDialogs : public QObject
{
    Q_OBJECT

    std::unique_ptr<HostFixture> m_host;
    CDeviceMgrService* m_service = nullptr;

    // A card whose SIM waits for its PIN with `pinRetries` left (0: the PUK),
    // and the dialog opened the way another plug-in would.
    QDialog* open(const QString& which, int pinRetries = 3)
    {
        m_host = std::make_unique<HostFixture>();
        sim::CardConfig card;
        card.sim = {.pinEnabled = true, .pinRetries = pinRetries};
        m_service = m_host->startWith({card});
        if (!m_service)
            return nullptr;
        m_host->clearMessages();
        request(which);
        return current(which);
    }

    // Asks for the dialog as another plug-in would.
    void request(const QString& which)
    {
        if (which == "verify")
            m_service->VerifyPIN();
        else if (which == "puk")
            m_service->UnlockPIN();
        else if (which == "modify")
            m_service->ModifyPIN();
        else
            which == "enable" ? m_service->EnablePIN() : m_service->DisablePIN();
    }

    QDialog* current(const QString& which) const
    {
        if (which == "verify")
            return m_service->verifyPinDialog();
        if (which == "puk")
            return m_service->pukDialog();
        if (which == "modify")
            return m_service->modifyDialog();
        return m_service->pinDialog();
    }

private slots:
    void cleanup()
    {
        m_service = nullptr;
        m_host.reset();
    }

    // A dialog deleted by someone else (its parent window going away): the
    // service forgets it, and the same request opens a working new one.
    void aDialogDeletedElsewhereIsForgotten_data()
    {
        QTest::addColumn<QString>("which");
        for (const char* which : {"verify", "puk", "modify", "enable"})
            QTest::newRow(which) << which;
    }
    void aDialogDeletedElsewhereIsForgotten()
    {
        QFETCH(QString, which);
        QDialog* dialog = open(which, which == "puk" ? 0 : 3);
        QVERIFY(dialog && dialog->isVisible());
        delete dialog;
        QVERIFY(!current(which));
        request(which);
        QDialog* again = current(which);
        QVERIFY(again && again != dialog && again->isVisible());
        auto* field = again->findChild<LineEdit*>();
        QVERIFY(field);
        QTest::keyClicks(field, "1234");
        QCOMPARE(field->text(), QString("1234"));
    }

    void fieldsTakeEightDigitsAndNothingElse_data()
    {
        QTest::addColumn<QString>("which");
        QTest::addColumn<int>("index"); // of the field, in the order a person fills them
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
    void fieldsTakeEightDigitsAndNothingElse()
    {
        QFETCH(QString, which);
        QFETCH(int, index);
        QDialog* dialog = open(which);
        QVERIFY(dialog && dialog->isVisible());
        const QList<LineEdit*> fields = dialog->findChildren<LineEdit*>();
        LineEdit* edit = fields.value(index);
        QPushButton* ok = buttonOf(dialog, "IDS_MAINFRM_OK_PROMPT");
        QVERIFY(edit && ok);
        if (index == 0)
            QTRY_COMPARE(QApplication::focusWidget(), static_cast<QWidget*>(edit));
        QCOMPARE(edit->echoMode(), QLineEdit::Password);
        const bool single = fields.size() == 1;
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

    void closeAndCancelAskOnlyWhereTheSimNeedsTheDialog_data()
    {
        QTest::addColumn<QString>("which");
        QTest::addColumn<int>("how");
        QTest::addColumn<QStringList>("buttons"); // of the question; none: no question
        const QStringList yesNo = {"IDS_YES", "IDS_NO"}, okCancel = {"IDS_OK", "IDS_CANCEL"};
        QTest::newRow("enter PIN, Escape") << "verify" << ByEscape << yesNo;
        QTest::newRow("PUK, Escape") << "puk" << ByEscape << okCancel;
        QTest::newRow("change PIN, Escape") << "modify" << ByEscape << QStringList();
        QTest::newRow("1 enter PIN, Cancel") << "verify" << ByCancel << yesNo;
        QTest::newRow("2 enable PIN, Cancel") << "enable" << ByCancel << QStringList();
        QTest::newRow("3 disable PIN, Cancel") << "disable" << ByCancel << QStringList();
        QTest::newRow("4 PUK, Cancel") << "puk" << ByCancel << okCancel;
        QTest::newRow("6 change PIN, Cancel") << "modify" << ByCancel << QStringList();
        // The change dialog is still open when a PIN check finds the SIM ready.
        QTest::newRow("0 Cancel outside 1 to 6") << "ready" << ByCancel << QStringList();
    }

    void closeAndCancelAskOnlyWhereTheSimNeedsTheDialog()
    {
        QFETCH(QString, which);
        QFETCH(int, how);
        QFETCH(QStringList, buttons);
        const bool ready = which == "ready";
        QDialog* dialog = open(ready ? "modify" : which, which == "puk" ? 0 : 3);
        QVERIFY(dialog && dialog->isVisible());
        if (ready) {
            QVERIFY(m_host->card().overridePinStatus(1));
            m_service->checkPIN();
            QCOMPARE(m_service->pinState(), DEVMGR_PIN_READY);
        }
        const auto dismiss = [&] {
            if (how == ByEscape)
                QTest::keyClick(dialog->findChild<LineEdit*>(), Qt::Key_Escape);
            else
                QTest::mouseClick(buttonOf(dialog, "IDS_MAINFRM_CANCEL_PROMPT"), Qt::LeftButton);
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
        if (auto* forced = qobject_cast<SimDlg*>(dialog))
            QVERIFY(forced->m_bAskOnClose);
    }
};

QTEST_MAIN(tst_PinDialogs)
#include "tst_pindialogs.moc"
