#include "HostSiblings.h"
#include "MainWindow.h"
#include "Transcript.h"

#include <QAction>
#include <QLabel>
#include <QMenu>
#include <QTest>

// An IDeviceMgr that remembers which operations were called and how often
// it was asked for its state.
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
        m_window.reset();
        m_siblings.reset();
    }

    void stateFromNotifications_data()
    {
        QTest::addColumn<QList<unsigned int>>("codes");
        QTest::addColumn<QString>("state"); // device | SIM | radio
        QTest::newRow("nothing yet")
            << QList<unsigned int>{258, 320, 1027} << "Device: none|SIM: unknown|Radio: unknown";
        QTest::newRow("initialised and ready")
            << QList<unsigned int>{581, 578, 577} << "Device: Card A|SIM: ready|Radio: on";
        QTest::newRow("SIM lost") << QList<unsigned int>{581, 578, 579}
                                  << "Device: Card A|SIM: not ready|Radio: unknown";
        QTest::newRow("radio off")
            << QList<unsigned int>{577, 576} << "Device: none|SIM: unknown|Radio: off";
        QTest::newRow("change under way")
            << QList<unsigned int>{581, 583} << "Device: changing|SIM: unknown|Radio: unknown";
        QTest::newRow("change done")
            << QList<unsigned int>{581, 583, 584} << "Device: Card A|SIM: unknown|Radio: unknown";
        QTest::newRow("cleared device takes its radio state along")
            << QList<unsigned int>{581, 578, 577, 582} << "Device: none|SIM: ready|Radio: unknown";
    }
    void stateFromNotifications()
    {
        QFETCH(QList<unsigned int>, codes);
        QFETCH(QString, state);
        for (unsigned int code : codes)
            m_siblings->notifyService()->BroadcastNotify(code, 0, 0);
        QStringList shown;
        for (const char* name :
             {"LinkHost_DeviceLabel", "LinkHost_SimLabel", "LinkHost_RadioLabel"})
            shown.append(m_window->findChild<QLabel*>(QLatin1String(name))->text());
        QCOMPARE(shown.join(QLatin1Char('|')), state);
    }

    void entriesDisabledWithoutDeviceManager()
    {
        emit m_window->deviceMenu()->aboutToShow();
        QVERIFY(!m_window->deviceMenu()->actions().isEmpty());
        for (QAction* action : m_window->deviceMenu()->actions())
            QVERIFY2(action->isSeparator() || !action->isEnabled(),
                     qPrintable(action->objectName()));
    }

    // The plug-in is asked for its state only while its menu opens, never
    // while it asks the host to refresh that menu.
    void menuAsksOnlyWhenOpened()
    {
        FakeManager manager;
        m_window->setDeviceManager(&manager);
        m_siblings->mainMenu()->RefreshMenu();
        m_siblings->mainMenu()->RefreshDeviceMenu();
        m_siblings->mainMenu()->DisableDeviceMenu();
        for (unsigned int code : {581u, 578u, 577u, 582u})
            m_siblings->notifyService()->BroadcastNotify(code, 0, 0);
        QCOMPARE(manager.stateQueries, 0);
        emit m_window->deviceMenu()->aboutToShow();
        QVERIFY(manager.stateQueries > 0);
    }

    void everyDeviceEntryCallsItsOperation_data()
    {
        QTest::addColumn<QString>("entry");
        QTest::addColumn<QString>("op");
        QTest::addColumn<QString>("record");
        const QList<QStringList> rows = {
            {"ChooseDevice", "ShowChooseDevice", "ShowChooseDevice"},
            {"VerifyPIN", "VerifyPIN", "VerifyPIN = 1"},
            {"EnablePIN", "EnablePIN", "EnablePIN = 2"},
            {"DisablePIN", "DisablePIN", "DisablePIN = 3"},
            {"UnblockPIN", "UnlockPIN", "UnlockPIN = 4"},
            {"ChangePIN", "ModifyPIN", "ModifyPIN = 5"},
            {"RadioOn", "EnableRF", "EnableRF = 6"},
            {"RadioOff", "DisableRF", "DisableRF = 7"},
            {"Offline", "SetOffline", "SetOffline = 8"},
            {"Detach", "DetatchGPRS", "DetatchGPRS = 9"},
            {"Detect", "StartDetectDevice", "StartDetectDevice"},
        };
        for (const QStringList& row : rows)
            QTest::newRow(qPrintable(row.at(0)))
                << QStringLiteral("LinkHost_Action") + row.at(0) << row.at(1) << row.at(2);
    }
    void everyDeviceEntryCallsItsOperation()
    {
        QFETCH(QString, entry);
        QFETCH(QString, op);
        QFETCH(QString, record);
        FakeManager manager;
        m_window->setDeviceManager(&manager);
        QAction* action = m_window->findChild<QAction*>(entry);
        QVERIFY(action && m_window->deviceMenu()->actions().contains(action));
        emit m_window->deviceMenu()->aboutToShow();
        action->trigger();
        QCOMPARE(manager.calls, QStringList{op});
        QCOMPARE(Transcript::instance().lines().size(), 1);
        QVERIFY2(
            Transcript::instance().lines().first().endsWith(QStringLiteral("] call ") + record),
            qPrintable(Transcript::instance().lines().first()));
    }

private:
    std::unique_ptr<HostSiblings> m_siblings;
    std::unique_ptr<MainWindow> m_window;
};

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
