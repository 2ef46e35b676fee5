// The information pop-up (one box, replaced in place, hidden by its timer) and
// the closing of every pop-up the service has open.
#include "DeviceMgrChooseDevice.h"
#include "DeviceMgrService.h"
#include "HostFixture.h"
#include "SimDlg.h"
#include <sim/VirtualCard.h>

#include <ExtendDialog.h>

#include <QApplication>
#include <QLabel>
#include <QMessageBox>
#include <QPointer>
#include <QTest>

namespace {

int visibleInfoDialogs()
{
    int count = 0;
    for (QWidget* window : QApplication::topLevelWidgets())
        count += window->isVisible() && window->objectName() == "DeviceMgrUI_dialogInfoDlg";
    return count;
}

// Shows `text` for `ms` and answers the box that shows it, with its text.
QPair<ExtendDialog*, QString> show(CDeviceMgrService* service, QString text, int ms)
{
    service->showInfoDlg(text, ms);
    ExtendDialog* dialog = service->infoDialog();
    auto* label = dialog ? dialog->findChild<QLabel*>("DeviceMgrUI_labelInfoLabel") : nullptr;
    return {dialog, label ? label->text() : QString()};
}

} // namespace

class tst_InfoPopup : public QObject
{
    Q_OBJECT

private slots:
    void replacedInPlaceThenExpiresThenBuiltAnew()
    {
        HostFixture host;
        CDeviceMgrService* service = host.startService();
        const auto [first, text] = show(service, "device detected", 10000);
        QPointer<ExtendDialog> dialog = first;
        QCOMPARE(text, QStringLiteral("device detected"));
        QCOMPARE(dialog->size(), QSize(310, 120));
        QVERIFY(dialog->isModal());
        QCOMPARE(dialog->parentWidget(), host.mainWindow());

        const auto replaced = qMakePair(first, QStringLiteral("initialising"));
        QCOMPARE(show(service, "initialising", 100), replaced);
        QCOMPARE(visibleInfoDialogs(), 1);
        // The new, shorter duration is the one that runs out, deleting the box.
        QTRY_VERIFY_WITH_TIMEOUT(dialog.isNull(), 2000);
        QVERIFY(!service->infoDialog());

        // The expiry dropped the timer's connections: the next show must connect
        // again or this box would stay for ever.
        QCOMPARE(show(service, "more news", 50).second, QStringLiteral("more news"));
        QPointer<ExtendDialog> next = service->infoDialog();
        QVERIFY(next && next->isVisible());
        QTRY_VERIFY_WITH_TIMEOUT(next.isNull(), 2000);
    }
    void hideKeepsHiddenDialogAndDropsVisibleOne()
    {
        HostFixture host;
        CDeviceMgrService* service = host.startService();
        QPointer<ExtendDialog> dialog = show(service, "news", 10000).first;
        QVERIFY(dialog);
        dialog->hide();
        host.card().raiseEvent(UTPS_EVENT_DEV_INIT_BEGIN, std::nullopt);
        QVERIFY(host.waitForEvents());
        QVERIFY(service->initialising());

        service->hideInfoDlg();
        QVERIFY(!service->initialising());
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(dialog);
        QCOMPARE(service->infoDialog(), dialog.data());

        // The kept dialog is the one shown next; hidden while visible, it goes.
        QCOMPARE(show(service, "next", 10000), qMakePair(dialog.data(), QStringLiteral("next")));
        QCOMPARE(visibleInfoDialogs(), 1);
        service->hideInfoDlg();
        QVERIFY(!service->infoDialog());
        QCOMPARE(visibleInfoDialogs(), 0);
        QTRY_VERIFY(dialog.isNull());
    }
    void closeAllPopups_data()
    {
        QTest::addColumn<bool>("closeChooser");
        QTest::addColumn<bool>("messageBox"); // in front: closed; any other dialog stays
        QTest::newRow("chooser too, message box in front") << true << true;
        QTest::newRow("chooser stays, other dialog in front") << false << false;
    }
    void closeAllPopups()
    {
        QFETCH(bool, closeChooser);
        QFETCH(bool, messageBox);

        HostFixture host;
        CDeviceMgrService* service = host.startService();
        QVERIFY(!service->createVerifyPINDlg() && !service->createPINDlg() &&
                !service->createPUKDlg() && !service->createModifyDlg());
        service->ShowChooseDevice();
        QPointer<ChooseDevExtendDialog> chooser = service->chooser()->dialog();
        QVERIFY(chooser);
        const QList<QWidget*> pinDialogs = {service->verifyPinDialog(), service->pinDialog(),
                                            service->pukDialog(), service->modifyDialog()};
        for (QWidget* dialog : pinDialogs)
            dialog->show();
        std::unique_ptr<QDialog> front(messageBox ? new QMessageBox : new QDialog);
        front->show();
        front->activateWindow();
        QTRY_COMPARE(QApplication::activeWindow(), front.get());

        service->closeAllPopups(closeChooser);

        for (QWidget* dialog : pinDialogs)
            QVERIFY2(!dialog->isVisible(), qPrintable(dialog->objectName()));
        QCOMPARE(chooser.isNull() || !chooser->isVisible(), closeChooser);
        QCOMPARE(front->isVisible(), !messageBox);
        // Closed without their question, and they ask again next time.
        QVERIFY(host.messages().isEmpty());
        QVERIFY(service->verifyPinDialog()->m_bAskOnClose);
        QVERIFY(service->pukDialog()->m_bAskOnClose);
    }
};

QTEST_MAIN(tst_InfoPopup)
#include "tst_infopopup.moc"
