#include "HostSiblings.h"
#include "HostTranslator.h"
#include "MainWindow.h"
#include "Transcript.h"
#include "VirtualCardPanel.h"

#include <DeviceMgrContract.h>

#include <QAction>
#include <QApplication>
#include <QFile>
#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <QTest>

// An IDeviceMgr that remembers which operations were called, each operation
// answering a number of its own, and how often it was asked for its state.
class FakeManager : public QObject, public IDeviceMgr
{
    Q_OBJECT
    Q_INTERFACES(IDeviceMgr)
public:
    int VerifyPIN() override { return called("VerifyPIN", 1); }
    int EnablePIN() override { return called("EnablePIN", 2); }
    int DisablePIN() override { return called("DisablePIN", 3); }
    int UnlockPIN() override { return called("UnlockPIN", 4); }
    int ModifyPIN() override { return called("ModifyPIN", 5); }
    int EnableRF() override { return called("EnableRF", 6); }
    int DisableRF() override { return called("DisableRF", 7); }
    int SetOffline() override { return called("SetOffline", 8); }
    int DetatchGPRS() override { return called("DetatchGPRS", 9); }
    void ShowChooseDevice() override { called("ShowChooseDevice", 0); }
    void StartDetectDevice() override { called("StartDetectDevice", 0); }
    bool IsDeviceAvialable() override { return ++stateQueries > 0; }
    bool IsValidSim() override { return ++stateQueries > 0; }
    QString GetLastUsedDeviceName() override { return QString(); }
    int called(const char* op, int result)
    {
        calls << op;
        return result;
    }

    int stateQueries = 0;
    QStringList calls;
};

class TestMainWindow : public QObject
{
    Q_OBJECT
    std::unique_ptr<HostSiblings> m_siblings;
    std::unique_ptr<MainWindow> m_window;
    void broadcast(const QList<unsigned int>& codes)
    {
        for (unsigned int code : codes)
            m_siblings->notifyService()->BroadcastNotify(code, 0, 0);
    }

private slots:
    void init()
    {
        Transcript::instance().clear();
        m_window.reset();
        m_siblings = std::make_unique<HostSiblings>(nullptr);
        m_window = std::make_unique<MainWindow>(m_siblings.get());
        m_window->setDeviceNameSource([] { return "Card A"; });
    }
    void stateFromNotifications_data()
    {
        QTest::addColumn<QList<unsigned int>>("codes");
        QTest::addColumn<QString>("state"); // device | SIM | radio
        using Codes = QList<unsigned int>;
        // clang-format off
        QTest::newRow("nothing yet") << Codes{NTF_FRAME_SHOWN, NTF_LANGUAGE_CHANGED, NTF_UPDATE_PINSTATUS} << "Device: none|SIM: unknown|Radio: unknown";
        QTest::newRow("initialised and ready") << Codes{NTF_DEVICE_INIT_SUCCESS, NTF_SIM_READY, NTF_RF_ON} << "Device: Card A|SIM: ready|Radio: on";
        QTest::newRow("SIM lost") << Codes{NTF_DEVICE_INIT_SUCCESS, NTF_SIM_READY, NTF_SIM_NOT_READY} << "Device: Card A|SIM: not ready|Radio: unknown";
        QTest::newRow("radio off") << Codes{NTF_RF_ON, NTF_RF_OFF} << "Device: none|SIM: unknown|Radio: off";
        QTest::newRow("change under way") << Codes{NTF_DEVICE_INIT_SUCCESS, NTF_DEVICE_CHANGE_BEGIN} << "Device: changing|SIM: unknown|Radio: unknown";
        QTest::newRow("change done") << Codes{NTF_DEVICE_INIT_SUCCESS, NTF_DEVICE_CHANGE_BEGIN, NTF_DEVICE_CHANGE_END} << "Device: Card A|SIM: unknown|Radio: unknown";
        QTest::newRow("cleared device takes its radio state along") << Codes{NTF_DEVICE_INIT_SUCCESS, NTF_SIM_READY, NTF_RF_ON, NTF_MINIFRAME_DEVICE_STATE} << "Device: none|SIM: ready|Radio: unknown";
        // clang-format on
    }
    void stateFromNotifications()
    {
        QFETCH(QList<unsigned int>, codes);
        QFETCH(QString, state);
        broadcast(codes);
        QStringList shown;
        for (auto* label : {"LinkHost_DeviceLabel", "LinkHost_SimLabel", "LinkHost_RadioLabel"})
            shown << m_window->findChild<QLabel*>(label)->text();
        QCOMPARE(shown.join('|'), state);
    }
    // Without a device manager every entry is grey. With one, the plug-in is
    // asked for its state only while its menu opens, never while it asks the
    // host to refresh that menu; then every entry calls its operation.
    void deviceMenu()
    {
        QMenu* menu = m_window->deviceMenu();
        emit menu->aboutToShow();
        QVERIFY(!menu->actions().isEmpty());
        for (QAction* action : menu->actions())
            QVERIFY2(action->isSeparator() || !action->isEnabled(),
                     qPrintable(action->objectName()));
        FakeManager manager;
        m_window->setDeviceManager(&manager);
        m_siblings->mainMenu()->RefreshMenu();
        m_siblings->mainMenu()->RefreshDeviceMenu();
        m_siblings->mainMenu()->DisableDeviceMenu();
        broadcast({NTF_DEVICE_INIT_SUCCESS, NTF_SIM_READY, NTF_RF_ON, NTF_MINIFRAME_DEVICE_STATE});
        QCOMPARE(manager.stateQueries, 0);
        emit menu->aboutToShow();
        QVERIFY(manager.stateQueries > 0);
        const QList<QPair<QString, QString>> entries = {
            {"ChooseDevice", "ShowChooseDevice"}, {"VerifyPIN", "VerifyPIN = 1"},
            {"EnablePIN", "EnablePIN = 2"},       {"DisablePIN", "DisablePIN = 3"},
            {"UnblockPIN", "UnlockPIN = 4"},      {"ChangePIN", "ModifyPIN = 5"},
            {"RadioOn", "EnableRF = 6"},          {"RadioOff", "DisableRF = 7"},
            {"Offline", "SetOffline = 8"},        {"Detach", "DetatchGPRS = 9"},
            {"Detect", "StartDetectDevice"}};
        Transcript::instance().clear();
        QStringList ops, records; // each entry once, in this order
        for (const auto& [entry, record] : entries) {
            auto* action = m_window->findChild<QAction*>("LinkHost_Action" + entry);
            QVERIFY2(action && menu->actions().contains(action), qPrintable(entry));
            action->trigger();
            ops << record.section(' ', 0, 0);
            records << "call " + record; // with what the operation answered
        }
        QCOMPARE(manager.calls, ops);
        QStringList recorded;
        for (const Transcript::Record& record : Transcript::instance().records())
            recorded << record.kind + ' ' + record.text;
        QCOMPARE(recorded, records);
    }

    // The host's catalogues: German switches the windows' texts and back,
    // and every text the host's windows ask for has its German translation
    // (an untranslated one would show in English in a German window).
    void language_data()
    {
        QTest::addColumn<QString>("lang");
        QTest::addColumn<QString>("deviceMenu");
        QTest::addColumn<QString>("plugButton");
        QTest::newRow("de") << "de"
                            << "&Gerät"
                            << "Stecken";
        QTest::newRow("en") << "en"
                            << "&Device"
                            << "Plug";
        QTest::newRow("no catalogue") << "xx"
                                      << "&Device"
                                      << "Plug";
    }
    void language()
    {
        QFETCH(QString, lang);
        QFETCH(QString, deviceMenu);
        QFETCH(QString, plugButton);
        HostTranslator translator;
        translator.setLanguage(lang);
        QCoreApplication::installTranslator(&translator);
        m_window->setLanguage(lang);
        auto* panel = new VirtualCardPanel(m_window.get());
        m_window->addPanel(panel);
        QTRY_COMPARE(m_window->deviceMenu()->title(), deviceMenu); // retranslated on a posted event
        auto* plug = m_window->findChild<QPushButton*>("LinkHost_PlugButton");
        QVERIFY(plug);
        QCOMPARE(plug->text(), plugButton);
        QCoreApplication::removeTranslator(&translator);
    }
    void everyHostTextIsTranslated()
    {
        QFile catalogue(QStringLiteral(LINK_SOURCE_DIR "/translations/linkhost_de.ts"));
        QVERIFY(catalogue.open(QIODevice::ReadOnly));
        const QByteArray ts = catalogue.readAll();
        QVERIFY(ts.count("<message>") > 50);
        QCOMPARE(ts.count("<message>"), ts.count("<translation>"));
        QVERIFY(!ts.contains("type=\"unfinished\""));
    }
};

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
