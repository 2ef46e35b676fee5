#include "HostSiblings.h"
#include "HostTranslator.h"
#include "MainWindow.h"
#include "Transcript.h"
#include "VirtualCardPanel.h"
#include "WidgetFinder.h"
#include "sim/VirtualCard.h"

#include <QAbstractButton>
#include <QAction>
#include <QCheckBox>
#include <QGroupBox>
#include <QLabel>
#include <QListWidget>
#include <QMenu>
#include <QSignalSpy>
#include <QTest>

// An IDeviceMgr that remembers which operations were called.
class FakeManager : public QObject, public IDeviceMgr
{
    Q_OBJECT
    Q_INTERFACES(IDeviceMgr)
public:
    int VerifyPIN() override { return called("VerifyPIN", 1); }
    int EnablePIN() override { return called("EnablePIN", 1); }
    int DisablePIN() override { return called("DisablePIN", 1); }
    int UnlockPIN() override { return called("UnlockPIN", 1); }
    int ModifyPIN() override { return called("ModifyPIN", 1); }
    int EnableRF() override { return called("EnableRF", 0); }
    int DisableRF() override { return called("DisableRF", 0); }
    int SetOffline() override { return called("SetOffline", 0); }
    int DetatchGPRS() override { return called("DetatchGPRS", 0); }
    void ShowChooseDevice() override { called("ShowChooseDevice", 0); }
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
    void StartDetectDevice() override { called("StartDetectDevice", 0); }
    QString GetLastUsedDeviceName() override { return QString(); }

    bool device = false;
    bool sim = false;
    int stateQueries = 0;
    QStringList calls;

private:
    int called(const char* op, int result)
    {
        calls.append(QLatin1String(op));
        return result;
    }
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
        QCoreApplication::removeTranslator(&m_translator);
        m_window.reset();
        m_siblings.reset();
        sim::VirtualCard::instance().reset();
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
        QTest::newRow("cleared device takes its radio state along")
            << QList<unsigned int>{581, 578, 577, 582} << "Device: none"
            << "SIM: ready"
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
        m_siblings->notifyService()->BroadcastNotify(576, 0, 0);
        QCOMPARE(label("LinkHost_DeviceLabel"), QStringLiteral("Device: Card A"));
        QCOMPARE(label("LinkHost_RadioLabel"), QStringLiteral("Radio: off"));
        if (viaMenu)
            m_siblings->mainMenu()->DisableDeviceMenu();
        else
            m_siblings->notifyService()->SendNotifyTo(LinkPlugins::MiniFrameClsid, 582, 0, 0);
        QCOMPARE(label("LinkHost_DeviceLabel"), QStringLiteral("Device: none"));
        QCOMPARE(label("LinkHost_RadioLabel"), QStringLiteral("Radio: unknown"));
        // A new card is named afresh.
        m_siblings->notifyService()->BroadcastNotify(581, 0, 0);
        QCOMPARE(label("LinkHost_DeviceLabel"), QStringLiteral("Device: Card A"));
    }

    void notificationListNamesCodesAndReceivers_data()
    {
        QTest::addColumn<QString>("to");
        QTest::addColumn<unsigned int>("code");
        QTest::addColumn<QString>("item");
        QTest::addColumn<QString>("toolTip");
        QTest::newRow("broadcast") << QString() << 578u << "578 NTF_SIM_READY -> all"
                                   << "";
        QTest::newRow("mini frame by name, identifier in the tool tip")
            << QString::fromLatin1(LinkPlugins::MiniFrameClsid) << 1027u
            << "1027 NTF_UPDATE_PINSTATUS -> mini frame" << LinkPlugins::MiniFrameClsid;
        QTest::newRow("identifier in other letter case reaches no sibling")
            << QString::fromLatin1(LinkPlugins::MiniFrameClsid).toLower() << 582u
            << QStringLiteral("582 NTF_MINIFRAME_DEVICE_STATE -> %1")
                   .arg(QString::fromLatin1(LinkPlugins::MiniFrameClsid).toLower())
            << "";
        QTest::newRow("main menu") << QString::fromLatin1(LinkPlugins::MainMenuClsid) << 576u
                                   << "576 NTF_RF_OFF -> main menu" << LinkPlugins::MainMenuClsid;
        QTest::newRow("unknown receiver as given")
            << "0000-1111" << 4242u << "4242 unnamed -> 0000-1111"
            << "";
    }
    void notificationListNamesCodesAndReceivers()
    {
        QFETCH(QString, to);
        QFETCH(unsigned int, code);
        QFETCH(QString, item);
        QFETCH(QString, toolTip);
        if (to.isEmpty())
            m_siblings->notifyService()->BroadcastNotify(code, 0, 0);
        else
            m_siblings->notifyService()->SendNotifyTo(to, code, 0, 0);
        QCOMPARE(list()->count(), 1);
        QCOMPARE(list()->item(0)->text(), item);
        QCOMPARE(list()->item(0)->toolTip(), toolTip);
    }

    void notificationToSubscribersIsListed()
    {
        m_siblings->notifyService()->Subscribe(LinkPlugins::CallServiceClsid, 786);
        m_siblings->notifyService()->notifyFrom(LinkPlugins::CallServiceClsid, 786, 0, 0);
        QCOMPARE(list()->count(), 1);
        QCOMPARE(list()->item(0)->text(), QStringLiteral("786 NTF_CALL_ACTIVE -> subscribers"));
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

    void everyDeviceEntryCallsItsOperation_data()
    {
        QTest::addColumn<QString>("entry");
        QTest::addColumn<QString>("op");
        QTest::addColumn<QString>("record");
        QTest::newRow("choose device") << "LinkHost_ActionChooseDevice"
                                       << "ShowChooseDevice"
                                       << "ShowChooseDevice";
        QTest::newRow("verify PIN") << "LinkHost_ActionVerifyPIN"
                                    << "VerifyPIN"
                                    << "VerifyPIN = 1";
        QTest::newRow("enable PIN") << "LinkHost_ActionEnablePIN"
                                    << "EnablePIN"
                                    << "EnablePIN = 1";
        QTest::newRow("disable PIN") << "LinkHost_ActionDisablePIN"
                                     << "DisablePIN"
                                     << "DisablePIN = 1";
        QTest::newRow("change PIN") << "LinkHost_ActionChangePIN"
                                    << "ModifyPIN"
                                    << "ModifyPIN = 1";
        QTest::newRow("unblock PIN") << "LinkHost_ActionUnblockPIN"
                                     << "UnlockPIN"
                                     << "UnlockPIN = 1";
        QTest::newRow("radio on") << "LinkHost_ActionRadioOn"
                                  << "EnableRF"
                                  << "EnableRF = 0";
        QTest::newRow("radio off") << "LinkHost_ActionRadioOff"
                                   << "DisableRF"
                                   << "DisableRF = 0";
        QTest::newRow("offline") << "LinkHost_ActionOffline"
                                 << "SetOffline"
                                 << "SetOffline = 0";
        QTest::newRow("detach") << "LinkHost_ActionDetach"
                                << "DetatchGPRS"
                                << "DetatchGPRS = 0";
        QTest::newRow("detect") << "LinkHost_ActionDetect"
                                << "StartDetectDevice"
                                << "StartDetectDevice";
    }
    void everyDeviceEntryCallsItsOperation()
    {
        QFETCH(QString, entry);
        QFETCH(QString, op);
        QFETCH(QString, record);
        FakeManager manager;
        manager.device = true;
        manager.sim = true;
        m_window->setDeviceManager(&manager);
        QAction* action = m_window->findChild<QAction*>(entry);
        QVERIFY(action);
        QVERIFY(m_window->deviceMenu()->actions().contains(action));
        emit m_window->deviceMenu()->aboutToShow();
        QVERIFY(action->isEnabled());
        action->trigger();
        QCOMPARE(manager.calls, QStringList{op});
        const QList<Transcript::Record> records = Transcript::instance().records();
        QCOMPARE(records.size(), 1);
        QCOMPARE(records.first().kind, QStringLiteral("call"));
        QCOMPARE(records.first().text, record);
    }

    void greyEntryDoesNothing()
    {
        FakeManager manager;
        m_window->setDeviceManager(&manager);
        emit m_window->deviceMenu()->aboutToShow();
        QAction* radioOn = m_window->findChild<QAction*>(QStringLiteral("LinkHost_ActionRadioOn"));
        QVERIFY(radioOn);
        QVERIFY(!radioOn->isEnabled());
        radioOn->trigger();
        QVERIFY(manager.calls.isEmpty());
        QCOMPARE(Transcript::instance().count(), 0);
    }

    void languageMenuAsksForTheLanguage_data()
    {
        QTest::addColumn<QString>("lang");
        QTest::newRow("English") << "en";
        QTest::newRow("German") << "de";
        QTest::newRow("resource keys") << "keys";
    }
    void languageMenuAsksForTheLanguage()
    {
        QFETCH(QString, lang);
        QSignalSpy spy(m_window.get(), &MainWindow::languageRequested);
        QAction* action =
            m_window->findChild<QAction*>(QStringLiteral("LinkHost_ActionLanguage_") + lang);
        QVERIFY(action);
        action->trigger();
        QCOMPARE(spy.count(), 1);
        QCOMPARE(spy.first().first().toString(), lang);
        m_window->setLanguage(lang);
        for (QAction* entry : languageEntries())
            QCOMPARE(entry->isChecked(), entry == action);
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

    void germanTextsAndBack()
    {
        VirtualCardPanel* panel = addPanelWithCards();
        m_translator.setLanguage(QStringLiteral("de"));
        QCoreApplication::installTranslator(&m_translator);
        QTRY_COMPARE(label("LinkHost_DeviceLabel"), QStringLiteral("Gerät: keines"));
        QCOMPARE(m_window->deviceMenu()->title(), QStringLiteral("&Gerät"));
        QCOMPARE(entryText("LinkHost_ActionVerifyPIN"), QStringLiteral("PIN eingeben..."));
        QCOMPARE(panel->windowTitle(), QStringLiteral("Virtuelle Karte"));
        for (unsigned int code : {581u, 578u, 577u})
            m_siblings->notifyService()->BroadcastNotify(code, 0, 0);
        QCOMPARE(label("LinkHost_DeviceLabel"), QStringLiteral("Gerät: Card A"));
        QCOMPARE(label("LinkHost_SimLabel"), QStringLiteral("SIM: bereit"));
        QCOMPARE(label("LinkHost_RadioLabel"), QStringLiteral("Funk: ein"));
        QCOMPARE(list()->item(0)->text(), QStringLiteral("581 NTF_DEVICE_INIT_SUCCESS -> alle"));
        // Every state and route once, so that a text without its German
        // shows up in missing().
        for (unsigned int code : {583u, 579u, 576u, 580u})
            m_siblings->notifyService()->BroadcastNotify(code, 0, 0);
        m_siblings->notifyService()->SendNotifyTo(LinkPlugins::MiniFrameClsid, 582, 0, 0);
        m_siblings->miniFrame()->Refresh();
        sim::VirtualCard::instance().plug(1);
        panel->refresh();
        QVERIFY2(m_translator.missing().isEmpty(),
                 qPrintable(m_translator.missing().join(QStringLiteral(" | "))));
        QVERIFY(label("LinkHost_CardDetails").contains(QStringLiteral(" an Port ")));

        m_translator.setLanguage(QStringLiteral("en"));
        QCoreApplication::removeTranslator(&m_translator);
        QTRY_COMPARE(m_window->deviceMenu()->title(), QStringLiteral("&Device"));
        QCOMPARE(label("LinkHost_DeviceLabel"), QStringLiteral("Device: none"));
        QCOMPARE(panel->windowTitle(), QStringLiteral("Virtual card"));
    }

    // Every caption of the window and its panel fits its widget, in each
    // language, at the window's own size.
    void nothingIsClipped_data()
    {
        QTest::addColumn<QString>("lang");
        QTest::newRow("English") << "en";
        QTest::newRow("German") << "de";
    }
    void nothingIsClipped()
    {
        QFETCH(QString, lang);
        VirtualCardPanel* panel = addPanelWithCards();
        m_translator.setLanguage(lang);
        QCoreApplication::installTranslator(&m_translator);
        for (unsigned int code : {581u, 578u, 577u})
            m_siblings->notifyService()->BroadcastNotify(code, 0, 0);
        m_window->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_window.get()));
        QCoreApplication::processEvents();
        // A caption too long for its place widens the panel or the window
        // rather than being cut.
        QCOMPARE(m_window->size(), MainWindow::DefaultSize);
        QCOMPARE(panel->width(), MainWindow::PanelWidth);
        for (QWidget* widget : m_window->findChildren<QWidget*>()) {
            if (!widget->isVisible() || !hasCaption(widget) || WidgetFinder::text(widget).isEmpty())
                continue;
            QVERIFY2(widget->width() >= widget->minimumSizeHint().width(),
                     qPrintable(QStringLiteral("%1 \"%2\": %3 < %4")
                                    .arg(widget->objectName(), WidgetFinder::text(widget))
                                    .arg(widget->width())
                                    .arg(widget->minimumSizeHint().width())));
        }
    }

private:
    QString label(const char* name) const
    {
        auto* widget = m_window->findChild<QLabel*>(QLatin1String(name));
        return widget ? widget->text() : QStringLiteral("<no label>");
    }
    QString entryText(const char* name) const
    {
        auto* action = m_window->findChild<QAction*>(QLatin1String(name));
        return action ? action->text() : QStringLiteral("<no entry>");
    }
    QListWidget* list() const
    {
        return m_window->findChild<QListWidget*>(QStringLiteral("LinkHost_NotificationList"));
    }
    QList<QAction*> languageEntries() const
    {
        auto* menu = m_window->findChild<QMenu*>(QStringLiteral("LinkHost_LanguageMenu"));
        return menu ? menu->actions() : QList<QAction*>();
    }
    // The panel with one card in use and one unplugged.
    VirtualCardPanel* addPanelWithCards()
    {
        sim::VirtualCard& cards = sim::VirtualCard::instance();
        cards.reset();
        sim::CardConfig inUse;
        inUse.name = "Card A";
        cards.addCard(inUse);
        sim::CardConfig spare;
        spare.name = "Card B";
        spare.plugged = false;
        cards.addCard(spare);
        auto* panel = new VirtualCardPanel(m_window.get());
        m_window->addPanel(panel);
        return panel;
    }
    static bool hasCaption(const QWidget* widget)
    {
        if (const auto* text = qobject_cast<const QLabel*>(widget))
            return !text->wordWrap() && !text->text().isEmpty();
        return qobject_cast<const QAbstractButton*>(widget) ||
               qobject_cast<const QGroupBox*>(widget);
    }
    HostTranslator m_translator;
    std::unique_ptr<HostSiblings> m_siblings;
    std::unique_ptr<MainWindow> m_window;
};

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
