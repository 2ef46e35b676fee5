// The service's information pop-up: one modal box for one line of device
// news, replaced in place by newer news and hidden by its own timer; and the
// closing of every pop-up the service has open.
#include "DeviceMgrChooseDevice.h"
#include "DeviceMgrService.h"
#include "HostFixture.h"
#include "SimDlg.h"
#include "TraceCapture.h"
#include "sim/VirtualCard.h"

#include <ExtendDialog.h>

#include <QApplication>
#include <QLabel>
#include <QMessageBox>
#include <QPointer>
#include <QTest>
#include <QTimer>
#include <QVBoxLayout>

#include <memory>

namespace {

QList<QWidget*> visibleInfoDialogs()
{
    QList<QWidget*> found;
    for (QWidget* window : QApplication::topLevelWidgets()) {
        if (window->isVisible() &&
            window->objectName() == QLatin1String("DeviceMgrUI_dialogInfoDlg"))
            found.append(window);
    }
    return found;
}

QString labelText(ExtendDialog* dialog)
{
    auto* label = dialog->findChild<QLabel*>(QStringLiteral("DeviceMgrUI_labelInfoLabel"));
    return label ? label->text() : QStringLiteral("<no label>");
}

// Shows `window` and makes it the application's active window.
bool bringToFront(QWidget* window)
{
    window->show();
    window->activateWindow();
    return QTest::qWaitFor([window] { return QApplication::activeWindow() == window; });
}

} // namespace

class tst_InfoPopup : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void buildsTheNamedFixedSizeModalBox();
    void secondTextReplacesFirstAndRestartsTimer();
    void expiryDeletesDialogAndNextShowBuildsNew();
    void hideOfHiddenDialogKeepsItAndClearsInitialising();
    void hideOfVisibleDialogForgetsIt();
    void timerIsChildOfServiceAndReused();
    void closeAllPopupsClosesPinDialogsSilently_data();
    void closeAllPopupsClosesPinDialogsSilently();
    void closeAllPopupsLooksAtActiveWindow_data();
    void closeAllPopupsLooksAtActiveWindow();
    void closePinDlgClosesItsQuestionFirst_data();
    void closePinDlgClosesItsQuestionFirst();

private:
    std::unique_ptr<HostFixture> m_host;
    CDeviceMgrService* m_service = nullptr;
};

void tst_InfoPopup::init()
{
    m_host = std::make_unique<HostFixture>();
    m_service = m_host->startService();
    QVERIFY(m_service);
}

void tst_InfoPopup::cleanup()
{
    m_service = nullptr;
    m_host.reset();
}

void tst_InfoPopup::buildsTheNamedFixedSizeModalBox()
{
    QVERIFY(!m_service->infoDialog());
    QString text = QStringLiteral("first news");
    m_service->showInfoDlg(text, 5000);

    ExtendDialog* dialog = m_service->infoDialog();
    QVERIFY(dialog);
    QVERIFY(dialog->isVisible());
    QCOMPARE(dialog->objectName(), QStringLiteral("DeviceMgrUI_dialogInfoDlg"));
    QVERIFY(dialog->findChild<QVBoxLayout*>(QStringLiteral("DeviceMgrUI_layoutVBox")));
    QCOMPARE(labelText(dialog), text);
    QCOMPARE(dialog->minimumSize(), QSize(310, 120));
    QCOMPARE(dialog->maximumSize(), QSize(310, 120));
    QVERIFY(dialog->isModal());
    QCOMPARE(dialog->windowTitle(), QStringLiteral(" "));
    QCOMPARE(dialog->parentWidget(), m_host->mainWindow());
    QCOMPARE(dialog->WidgetType(), WIDGET_TYPE_POPUP);
    // Window, title hint, customised frame: no system buttons.
    QCOMPARE(dialog->windowFlags(), Qt::WindowFlags(0x2001001));

    // The label, word-wrapped, is the only thing in the content widget.
    auto* layout = dialog->findChild<QVBoxLayout*>(QStringLiteral("DeviceMgrUI_layoutVBox"));
    QCOMPARE(layout->count(), 1);
    auto* label = qobject_cast<QLabel*>(layout->itemAt(0)->widget());
    QVERIFY(label);
    QCOMPARE(label->objectName(), QStringLiteral("DeviceMgrUI_labelInfoLabel"));
    QVERIFY(label->wordWrap());
    QCOMPARE(layout->parentWidget(), dialog->MainWidget());
}

void tst_InfoPopup::secondTextReplacesFirstAndRestartsTimer()
{
    QString first = QStringLiteral("device detected");
    m_service->showInfoDlg(first, 10000);
    QPointer<ExtendDialog> dialog = m_service->infoDialog();
    QVERIFY(dialog);
    QCOMPARE(m_service->infoTimer()->interval(), 10000);

    QString second = QStringLiteral("initialising");
    TraceCapture trace;
    m_service->showInfoDlg(second, 150);
    QCOMPARE(trace.matching(QStringLiteral("showInfoDlg : , return set dlg text")).size(), 1);

    QCOMPARE(m_service->infoDialog(), dialog.data());
    QCOMPARE(visibleInfoDialogs().size(), 1);
    QCOMPARE(labelText(dialog), second);
    QVERIFY(m_service->infoTimer()->isActive());
    QCOMPARE(m_service->infoTimer()->interval(), 150);
    // The new, shorter duration is the one that runs out.
    QTRY_VERIFY_WITH_TIMEOUT(dialog.isNull(), 2000);
    QVERIFY(!m_service->infoDialog());
}

void tst_InfoPopup::expiryDeletesDialogAndNextShowBuildsNew()
{
    TraceCapture trace;
    QString text = QStringLiteral("short news");
    m_service->showInfoDlg(text, 50);
    QPointer<ExtendDialog> first = m_service->infoDialog();
    QVERIFY(first);

    QTRY_VERIFY_WITH_TIMEOUT(first.isNull(), 2000);
    QVERIFY(!m_service->infoDialog());
    QVERIFY(trace.contains(QStringLiteral("DeviceInfoDlg =====> Time Out hideInfo")));

    // The expiry dropped the timer's connections: the next show must
    // connect again or this box would stay for ever.
    QString again = QStringLiteral("more news");
    m_service->showInfoDlg(again, 50);
    QPointer<ExtendDialog> second = m_service->infoDialog();
    QVERIFY(second);
    QVERIFY(second->isVisible());
    QCOMPARE(labelText(second), again);
    QTRY_VERIFY_WITH_TIMEOUT(second.isNull(), 2000);
}

void tst_InfoPopup::hideOfHiddenDialogKeepsItAndClearsInitialising()
{
    QString text = QStringLiteral("news");
    m_service->showInfoDlg(text, 10000);
    QPointer<ExtendDialog> dialog = m_service->infoDialog();
    QVERIFY(dialog);
    dialog->hide();

    m_host->card().raiseEvent(6000, std::nullopt);
    QVERIFY(m_host->waitForEvents());
    QVERIFY(m_service->initialising());

    m_service->hideInfoDlg();
    QVERIFY(!m_service->initialising());
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(dialog);
    QCOMPARE(m_service->infoDialog(), dialog.data());

    // The kept dialog is the one shown next.
    QString next = QStringLiteral("next");
    m_service->showInfoDlg(next, 10000);
    QCOMPARE(m_service->infoDialog(), dialog.data());
    QVERIFY(dialog->isVisible());
    QCOMPARE(labelText(dialog), next);
}

void tst_InfoPopup::hideOfVisibleDialogForgetsIt()
{
    m_host->card().raiseEvent(6000, std::nullopt);
    QVERIFY(m_host->waitForEvents());
    QVERIFY(m_service->initialising());

    QString text = QStringLiteral("news");
    m_service->showInfoDlg(text, 10000);
    QPointer<ExtendDialog> dialog = m_service->infoDialog();
    QVERIFY(dialog);

    m_service->hideInfoDlg();
    QVERIFY(!m_service->infoDialog());
    QVERIFY(!m_service->initialising());
    QVERIFY(visibleInfoDialogs().isEmpty());
    QTRY_VERIFY(dialog.isNull());

    // The guard was released: another show right away works.
    m_service->showInfoDlg(text, 10000);
    QVERIFY(m_service->infoDialog());
    QVERIFY(m_service->infoDialog()->isVisible());
}

void tst_InfoPopup::timerIsChildOfServiceAndReused()
{
    QVERIFY(!m_service->infoTimer());
    QString text = QStringLiteral("news");
    m_service->showInfoDlg(text, 10000);
    QPointer<QTimer> timer = m_service->infoTimer();
    QVERIFY(timer);
    QCOMPARE(timer->parent(), m_service);

    m_service->hideInfoDlg();
    m_service->showInfoDlg(text, 3000);
    QCOMPARE(m_service->infoTimer(), timer.data());
    QCOMPARE(timer->interval(), 3000);
    QVERIFY(timer->isActive());
}

void tst_InfoPopup::closeAllPopupsClosesPinDialogsSilently_data()
{
    QTest::addColumn<bool>("closeChooser");
    QTest::newRow("chooser too") << true;
    QTest::newRow("chooser stays") << false;
}

void tst_InfoPopup::closeAllPopupsClosesPinDialogsSilently()
{
    QFETCH(bool, closeChooser);

    QCOMPARE(m_service->createVerifyPINDlg(), 0);
    QCOMPARE(m_service->createPINDlg(), 0);
    QCOMPARE(m_service->createPUKDlg(), 0);
    QCOMPARE(m_service->createModifyDlg(), 0);
    m_service->ShowChooseDevice();
    QPointer<ChooseDevExtendDialog> chooserDialog = m_service->chooser()->dialog();
    QVERIFY(chooserDialog);
    const QList<QWidget*> pinDialogs = {m_service->verifyPinDialog(), m_service->pinDialog(),
                                        m_service->pukDialog(), m_service->modifyDialog()};
    for (QWidget* dialog : pinDialogs)
        dialog->show();

    m_service->closeAllPopups(closeChooser);

    for (QWidget* dialog : pinDialogs)
        QVERIFY2(!dialog->isVisible(), qPrintable(dialog->objectName()));
    // The dialogs that ask before closing went without a question, and ask
    // again when the user closes them next time.
    QVERIFY(m_host->messages().isEmpty());
    QVERIFY(m_service->verifyPinDialog()->m_bAskOnClose);
    QVERIFY(m_service->pukDialog()->m_bAskOnClose);
    QCOMPARE(chooserDialog.isNull() || !chooserDialog->isVisible(), closeChooser);
}

void tst_InfoPopup::closeAllPopupsLooksAtActiveWindow_data()
{
    QTest::addColumn<bool>("messageBox");
    QTest::addColumn<bool>("closed");
    QTest::newRow("message box in front") << true << true;
    // The service has no message box of its own up.
    QTest::newRow("other dialog in front") << false << false;
}

void tst_InfoPopup::closeAllPopupsLooksAtActiveWindow()
{
    QFETCH(bool, messageBox);
    QFETCH(bool, closed);

    std::unique_ptr<QDialog> front(messageBox ? new QMessageBox : new QDialog);
    QVERIFY(bringToFront(front.get()));
    m_service->closeAllPopups(false);
    QCOMPARE(!front->isVisible(), closed);
}

void tst_InfoPopup::closePinDlgClosesItsQuestionFirst_data()
{
    QTest::addColumn<bool>("asking");
    QTest::newRow("its question is up") << true;
    QTest::newRow("no question") << false;
}

void tst_InfoPopup::closePinDlgClosesItsQuestionFirst()
{
    QFETCH(bool, asking);

    QCOMPARE(m_service->createVerifyPINDlg(), 0);
    SimDlg* verify = m_service->verifyPinDialog();
    verify->show();
    // A dialog standing for the question in front of it.
    QDialog question;
    QVERIFY(bringToFront(&question));
    verify->m_bAsking = asking;

    m_service->closePinDlg();
    QVERIFY(!verify->isVisible());
    QCOMPARE(question.isVisible(), !asking);
    QVERIFY(m_host->messages().isEmpty());
}

QTEST_MAIN(tst_InfoPopup)
#include "tst_infopopup.moc"
