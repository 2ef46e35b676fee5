#include "HostSiblings.h"
#include "MainWindow.h"
#include "Transcript.h"

#include <QAction>
#include <QCheckBox>
#include <QLabel>
#include <QListWidget>
#include <QMenu>
#include <QSignalSpy>
#include <QTest>

class FakeManager : public QObject, public IDeviceMgr
{
    Q_OBJECT
    Q_INTERFACES(IDeviceMgr)
public:
    int VerifyPIN() override { return 1; }
    int EnablePIN() override { return 1; }
    int DisablePIN() override { return 1; }
    int UnlockPIN() override { return 1; }
    int ModifyPIN() override { return 1; }
    int EnableRF() override { return 0; }
    int DisableRF() override { return 0; }
    int SetOffline() override { return 0; }
    int DetatchGPRS() override { return 0; }
    void ShowChooseDevice() override {}
    bool IsDeviceAvialable() override
    {
        ++stateQueries;
        return device;
    }
    bool IsValidSim() override
    {
        ++stateQueries;
        return sim;
    }
    void StartDetectDevice() override {}
    QString GetLastUsedDeviceName() override { return QString(); }

    bool device = false;
    bool sim = false;
    int stateQueries = 0;
};

class TestMainWindow : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        Transcript::instance().clear();
        m_siblings = std::make_unique<HostSiblings>(nullptr);
        m_window = std::make_unique<MainWindow>(m_siblings.get());
        m_window->setDeviceNameSource([] { return QStringLiteral("Card A"); });
    }
    void cleanup()
    {
        m_window.reset();
        m_siblings.reset();
    }

    void stateFromNotifications_data()
    {
        QTest::addColumn<QList<unsigned int>>("codes");
        QTest::addColumn<QString>("device");
        QTest::addColumn<QString>("sim");
        QTest::addColumn<QString>("radio");
        QTest::newRow("nothing yet") << QList<unsigned int>{} << "Device: none"
                                     << "SIM: unknown"
                                     << "Radio: unknown";
        QTest::newRow("initialised and ready")
            << QList<unsigned int>{581, 578, 577} << "Device: Card A"
            << "SIM: ready"
            << "Radio: on";
        QTest::newRow("SIM lost") << QList<unsigned int>{581, 578, 579} << "Device: Card A"
                                  << "SIM: not ready"
                                  << "Radio: unknown";
        QTest::newRow("radio off") << QList<unsigned int>{577, 576, 580} << "Device: none"
                                   << "SIM: unknown"
                                   << "Radio: off";
        QTest::newRow("change under way") << QList<unsigned int>{581, 583} << "Device: changing"
                                          << "SIM: unknown"
                                          << "Radio: unknown";
        QTest::newRow("change done") << QList<unsigned int>{581, 583, 584} << "Device: Card A"
                                     << "SIM: unknown"
                                     << "Radio: unknown";
        QTest::newRow("unrelated codes change nothing")
            << QList<unsigned int>{258, 320, 1027, 9999} << "Device: none"
            << "SIM: unknown"
            << "Radio: unknown";
    }
    void stateFromNotifications()
    {
        QFETCH(QList<unsigned int>, codes);
        QFETCH(QString, device);
        QFETCH(QString, sim);
        QFETCH(QString, radio);
        for (unsigned int code : codes)
            m_siblings->notifyService()->BroadcastNotify(code, 0, 0);
        QCOMPARE(label("LinkHost_DeviceLabel"), device);
        QCOMPARE(label("LinkHost_SimLabel"), sim);
        QCOMPARE(label("LinkHost_RadioLabel"), radio);
        QCOMPARE(list()->count(), codes.size());
    }

    void deviceGoesWithClearedInformationOrDisabledMenu_data()
    {
        QTest::addColumn<bool>("viaMenu");
        QTest::newRow("mini frame told the device was cleared") << false;
        QTest::newRow("device menu disabled") << true;
    }
    void deviceGoesWithClearedInformationOrDisabledMenu()
    {
        QFETCH(bool, viaMenu);
        m_siblings->notifyService()->BroadcastNotify(581, 0, 0);
        QCOMPARE(label("LinkHost_DeviceLabel"), QStringLiteral("Device: Card A"));
        if (viaMenu)
            m_siblings->mainMenu()->DisableDeviceMenu();
        else
            m_siblings->notifyService()->SendNotifyTo(LinkPlugins::MiniFrameClsid, 582, 0, 0);
        QCOMPARE(label("LinkHost_DeviceLabel"), QStringLiteral("Device: none"));
    }

    void notificationListNamesCodesAndTargets()
    {
        m_siblings->notifyService()->BroadcastNotify(578, 0, 0);
        m_siblings->notifyService()->SendNotifyTo(LinkPlugins::MiniFrameClsid, 1027, 0, 0);
        QCOMPARE(list()->item(0)->text(), QStringLiteral("578 NTF_SIM_READY -> all"));
        QCOMPARE(
            list()->item(1)->text(),
            QStringLiteral("1027 NTF_UPDATE_PINSTATUS -> %1").arg(LinkPlugins::MiniFrameClsid));
    }

    void deviceMenuWithoutManagerIsDisabled()
    {
        m_window->updateDeviceMenu();
        for (QAction* action : m_window->deviceMenu()->actions()) {
            if (!action->isSeparator())
                QVERIFY2(!action->isEnabled(), qPrintable(action->objectName()));
        }
    }

    void deviceMenuFollowsDeviceState_data()
    {
        QTest::addColumn<bool>("device");
        QTest::addColumn<bool>("sim");
        QTest::addColumn<QStringList>("enabled");
        const QStringList always = {"LinkHost_ActionChooseDevice", "LinkHost_ActionDetect"};
        const QStringList withDevice =
            always + QStringList{"LinkHost_ActionVerifyPIN", "LinkHost_ActionUnblockPIN",
                                 "LinkHost_ActionRadioOn",   "LinkHost_ActionRadioOff",
                                 "LinkHost_ActionOffline",   "LinkHost_ActionDetach"};
        QTest::newRow("no device") << false << false << always;
        QTest::newRow("device, SIM not usable") << true << false << withDevice;
        QTest::newRow("device and SIM")
            << true << true
            << withDevice + QStringList{"LinkHost_ActionEnablePIN", "LinkHost_ActionDisablePIN",
                                        "LinkHost_ActionChangePIN"};
    }
    void deviceMenuFollowsDeviceState()
    {
        QFETCH(bool, device);
        QFETCH(bool, sim);
        QFETCH(QStringList, enabled);
        FakeManager manager;
        manager.device = device;
        manager.sim = sim;
        m_window->setDeviceManager(&manager);
        // Only the menu's opening asks the device manager for its state.
        QCOMPARE(manager.stateQueries, 0);
        emit m_window->deviceMenu()->aboutToShow();
        QVERIFY(manager.stateQueries > 0);
        QStringList actual;
        for (QAction* action : m_window->deviceMenu()->actions()) {
            if (action->isEnabled() && !action->isSeparator())
                actual.append(action->objectName());
        }
        enabled.sort();
        actual.sort();
        QCOMPARE(actual, enabled);
    }

    void menuRequestsDoNotCallBack()
    {
        FakeManager manager;
        m_window->setDeviceManager(&manager);
        m_siblings->mainMenu()->RefreshMenu();
        m_siblings->mainMenu()->RefreshDeviceMenu();
        m_siblings->mainMenu()->DisableDeviceMenu();
        QCOMPARE(manager.stateQueries, 0);
    }

    void deviceActionCallsTheOperation()
    {
        FakeManager manager;
        m_window->setDeviceManager(&manager);
        QAction* radioOn = m_window->findChild<QAction*>(QStringLiteral("LinkHost_ActionRadioOn"));
        QVERIFY(radioOn);
        // Without a device the entry is grey and does nothing.
        radioOn->trigger();
        QCOMPARE(Transcript::instance().count(), 0);
        manager.device = true;
        m_window->updateDeviceMenu();
        radioOn->trigger();
        QCOMPARE(Transcript::instance().count(), 1);
        QCOMPARE(Transcript::instance().records().first().kind, QStringLiteral("call"));
        QCOMPARE(Transcript::instance().records().first().text, QStringLiteral("EnableRF = 0"));
    }

    void languageMenuAsksForTheLanguage()
    {
        QSignalSpy spy(m_window.get(), &MainWindow::languageRequested);
        QAction* german =
            m_window->findChild<QAction*>(QStringLiteral("LinkHost_ActionLanguage_de"));
        QVERIFY(german);
        german->trigger();
        QCOMPARE(spy.count(), 1);
        QCOMPARE(spy.first().first().toString(), QStringLiteral("de"));
    }

    void dialupBoxFollowsTheConnection()
    {
        auto* box = m_window->findChild<QCheckBox*>(QStringLiteral("LinkHost_DialupConnected"));
        QVERIFY(box);
        box->setChecked(true);
        QVERIFY(m_siblings->dialup()->connected());
        m_siblings->dialup()->GlobalDisconnect(0);
        QVERIFY(!box->isChecked());
    }

private:
    QString label(const char* name) const
    {
        auto* widget = m_window->findChild<QLabel*>(QLatin1String(name));
        return widget ? widget->text() : QStringLiteral("<no label>");
    }
    QListWidget* list() const
    {
        return m_window->findChild<QListWidget*>(QStringLiteral("LinkHost_NotificationList"));
    }

    std::unique_ptr<HostSiblings> m_siblings;
    std::unique_ptr<MainWindow> m_window;
};

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
