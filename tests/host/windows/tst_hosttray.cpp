// The tray, its notifications and "Start at login". The functions named
// with "Tray" run on a desktop of their own (tests/host/desktop: an X server
// with a tray host and a notification service on a private session bus), so
// that Qt's real tray icon and notifications go where a desktop's would; the
// others run where there is no tray at all.
#include "Autostart.h"
#include "CommonUtils.h"
#include "HostSiblings.h"
#include "HostTray.h"
#include "MainWindow.h"

#include <DeviceMgrContract.h>

#include <QAction>
#include <QApplication>
#include <QFile>
#include <QMenu>
#include <QSignalSpy>
#include <QSystemTrayIcon>
#include <QTemporaryDir>
#include <QTest>

namespace {
using Codes = QList<unsigned int>;
using S = MainWindow::Summary;

// What the desktop was asked since `from` lines, without the tray's own
// registration.
QStringList desktopSince(int from)
{
    QFile file(qEnvironmentVariable("LINK_DESKTOP_LOG"));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QStringList lines = QString::fromUtf8(file.readAll()).split('\n', Qt::SkipEmptyParts);
    return lines.mid(from).filter(QRegularExpression("^notify "));
}

int desktopLines()
{
    QFile file(qEnvironmentVariable("LINK_DESKTOP_LOG"));
    return file.open(QIODevice::ReadOnly) ? int(file.readAll().count('\n')) : 0;
}

// Warnings caught while a test runs.
QStringList g_warnings;
void catchWarnings(QtMsgType type, const QMessageLogContext&, const QString& text)
{
    if (type == QtWarningMsg)
        g_warnings << text;
}
} // namespace

class TestHostTray : public QObject
{
    Q_OBJECT
    QTemporaryDir m_home;
    std::unique_ptr<HostSiblings> m_siblings;
    std::unique_ptr<MainWindow> m_window;
    std::unique_ptr<HostTray> m_tray;

    void broadcast(const Codes& codes)
    {
        for (unsigned int code : codes)
            m_siblings->notifyService()->BroadcastNotify(code, 0, 0);
    }

private slots:
    void initTestCase()
    {
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(m_home.filePath("config")));
        CommonUtils::SetSettingsFolder(m_home.filePath("settings"));
    }
    void init()
    {
        m_tray.reset();
        m_window.reset();
        CommonUtils::SetSettings("Host", "DesktopNotifications", "");
        m_siblings = std::make_unique<HostSiblings>(nullptr);
        m_window = std::make_unique<MainWindow>(m_siblings.get());
        m_window->setDeviceNameSource([] { return "Card A"; });
        m_window->setCloseHides(&HostTray::available);
        m_tray = std::make_unique<HostTray>(m_window.get());
    }
    void cleanup() { g_warnings.clear(); }

    void trayFollowsTheState_data()
    {
        QTest::addColumn<Codes>("codes");
        QTest::addColumn<int>("summary");
        QTest::addColumn<QString>("toolTip");
        // clang-format off
        QTest::newRow("no card") << Codes{NTF_SIM_READY} << int(S::NoCard) << "linkhost: no card";
        QTest::newRow("PIN needed") << Codes{NTF_DEVICE_INIT_SUCCESS, NTF_SIM_NOT_READY} << int(S::PinNeeded) << "linkhost: Card A, PIN needed";
        QTest::newRow("ready") << Codes{NTF_DEVICE_INIT_SUCCESS, NTF_SIM_NOT_READY, NTF_SIM_READY} << int(S::Ready) << "linkhost: Card A, ready";
        QTest::newRow("radio off") << Codes{NTF_DEVICE_INIT_SUCCESS, NTF_SIM_READY, NTF_RF_OFF} << int(S::RadioOff) << "linkhost: Card A, radio off";
        QTest::newRow("card gone") << Codes{NTF_DEVICE_INIT_SUCCESS, NTF_SIM_READY, NTF_MINIFRAME_DEVICE_STATE} << int(S::NoCard) << "linkhost: no card";
        // clang-format on
    }
    void trayFollowsTheState()
    {
        QFETCH(Codes, codes);
        QFETCH(int, summary);
        QFETCH(QString, toolTip);
        QVERIFY2(HostTray::available(), "no tray on the test desktop");
        QVERIFY(m_tray->icon()->isVisible());
        QTRY_VERIFY(desktopLines() > 0); // the icon registered with the desktop's tray
        broadcast(codes);
        QCOMPARE(int(m_window->summary()), summary);
        QCOMPARE(m_tray->icon()->toolTip(), toolTip);
        const QImage shown = m_tray->icon()->icon().pixmap(32).toImage();
        for (S other : {S::NoCard, S::PinNeeded, S::Ready, S::RadioOff}) {
            const QImage picture = HostTray::iconFor(other).pixmap(32).toImage();
            QCOMPARE(picture == shown, int(other) == summary); // each state its own picture
        }
    }

    // The tray menu holds the Device menu's own entries, enabled alike when
    // it opens, then Show and Quit.
    void trayMenuCarriesTheDeviceMenu()
    {
        QMenu* menu = m_tray->menu();
        QCOMPARE(m_tray->icon()->contextMenu(), menu);
        for (QAction* action : m_window->deviceMenu()->actions())
            QVERIFY(menu->actions().contains(action));
        m_window->setDeviceManager(nullptr);
        emit menu->aboutToShow();
        auto* verify = m_window->findChild<QAction*>("LinkHost_ActionVerifyPIN");
        QVERIFY(!verify->isEnabled());

        m_window->hide();
        QAction* show = nullptr;
        QAction* quit = nullptr;
        for (QAction* action : menu->actions()) {
            if (action->objectName() == "LinkHost_TrayShow")
                show = action;
            if (action->objectName() == "LinkHost_TrayQuit")
                quit = action;
        }
        QVERIFY(show && quit);
        show->trigger();
        QVERIFY(m_window->isVisible());
        QSignalSpy quits(m_tray.get(), &HostTray::quitRequested);
        quit->trigger();
        QCOMPARE(quits.size(), 1);
    }

    void closingHidesToTheTray()
    {
        QVERIFY(HostTray::available());
        QSignalSpy lastClosed(qApp, &QGuiApplication::lastWindowClosed);
        m_window->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_window.get()));
        QVERIFY(!m_window->close());
        QVERIFY(!m_window->isVisible());
        QCOMPARE(lastClosed.size(), 0);
    }

    // What a person must know reaches the desktop's notification service
    // while the window is hidden, unless switched off.
    void noticesWhileHiddenInTheTray_data()
    {
        QTest::addColumn<bool>("hidden");
        QTest::addColumn<bool>("on");
        QTest::addColumn<Codes>("codes");
        QTest::addColumn<QStringList>("told");
        const Codes plugged = {NTF_DEVICE_INIT_SUCCESS, NTF_SIM_NOT_READY, NTF_SIM_READY};
        const QStringList pluggedTold = {"notify Card detected: Card A was plugged in.",
                                         "notify SIM ready: Card A is ready to connect."};
        QTest::newRow("plugged, PIN entered") << true << true << plugged << pluggedTold;
        QTest::newRow("removed") << true << true
                                 << Codes{NTF_DEVICE_INIT_SUCCESS, NTF_MINIFRAME_DEVICE_STATE}
                                 << QStringList{"notify Card detected: Card A was plugged in.",
                                                "notify Card removed: Card A was removed."};
        QTest::newRow("hardware switch")
            << true << true << Codes{NTF_RF_SWITCH_CHANGED}
            << QStringList{"notify Radio switched: The radio was switched by the hardware switch."};
        QTest::newRow("window on screen") << false << true << plugged << QStringList();
        QTest::newRow("switched off") << true << false << plugged << QStringList();
    }
    void noticesWhileHiddenInTheTray()
    {
        QFETCH(bool, hidden);
        QFETCH(bool, on);
        QFETCH(Codes, codes);
        QFETCH(QStringList, told);
        m_window->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_window.get()));
        if (hidden)
            m_window->close();
        auto* setting = m_window->findChild<QAction*>("LinkHost_ActionDesktopNotifications");
        QVERIFY(setting->isChecked()); // on unless switched off
        if (!on)
            setting->trigger();
        QCOMPARE(CommonUtils::GetSettings("Host", "DesktopNotifications"), on ? "" : "no");
        const int from = desktopLines();
        broadcast(codes);
        // Delivered on the bus asynchronously: a sentinel marks the end.
        m_tray->icon()->showMessage("end", "of row");
        QTRY_VERIFY(desktopSince(from).contains("notify end: of row"));
        QCOMPARE(desktopSince(from).mid(0, told.size() + 1),
                 told + QStringList{"notify end: of row"});
        QCOMPARE(m_tray->posted().size(), told.size());
        QVERIFY(g_warnings.isEmpty());
    }

    // No tray (no desktop with one): closing ends the host, and notifications
    // are said once not to reach anyone.
    void withoutATray()
    {
        QVERIFY2(!HostTray::available(), "this one runs where there is no tray");
        qInstallMessageHandler(catchWarnings);
        m_window->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_window.get()));
        m_window->hide(); // hidden another way: the tray cannot be why
        broadcast({NTF_DEVICE_INIT_SUCCESS, NTF_DEVICE_INIT_SUCCESS, NTF_MINIFRAME_DEVICE_STATE});
        qInstallMessageHandler(nullptr);
        QCOMPARE(g_warnings.filter("desktop notifications cannot be shown").size(), 1);
        QVERIFY(m_tray->posted().isEmpty());
        m_window->show();
        QVERIFY(m_window->close());
    }

    void startAtLogin_data()
    {
        QTest::addColumn<QString>("program");
        QTest::addColumn<QString>("exec");
        QTest::newRow("plain path") << "/usr/bin/linkhost"
                                    << "Exec=/usr/bin/linkhost --hidden";
        QTest::newRow("blank and quote") << "/opt/my \"apps\"/linkhost"
                                         << "Exec=\"/opt/my \\\\\"apps\\\\\"/linkhost\" --hidden";
    }
    void startAtLogin()
    {
        QFETCH(QString, program);
        QFETCH(QString, exec);
        const QString path = Autostart::entryPath();
        QVERIFY(path.startsWith(m_home.path()));
        QString error;
        QVERIFY2(Autostart::setEnabled(true, program, &error), qPrintable(error));
        QFile entry(path);
        QVERIFY(entry.open(QIODevice::ReadOnly));
        const QStringList lines = QString::fromUtf8(entry.readAll()).split('\n');
        QVERIFY(lines.contains("[Desktop Entry]") && lines.contains("Type=Application"));
        QCOMPARE(lines.filter(QRegularExpression("^Exec=")), QStringList{exec});
        QVERIFY(Autostart::isEnabled());
        QVERIFY(Autostart::setEnabled(false, program, &error));
        QVERIFY(!QFile::exists(path) && !Autostart::isEnabled());
    }

    // The Settings entry writes and removes the entry; where it cannot be
    // written the person is told why and the tick stays off.
    void startAtLoginFromTheMenu()
    {
        auto* entry = m_window->findChild<QAction*>("LinkHost_ActionStartAtLogin");
        QVERIFY(entry && entry->isCheckable() && !entry->isChecked());
        QStringList told;
        CommonUtils::SetMessageResponder([&told](const MessageRequest& request) {
            told << request.text;
            return int(CommonUtils::FirstButton);
        });
        entry->trigger();
        QVERIFY(entry->isChecked() && Autostart::isEnabled());
        entry->trigger();
        QVERIFY(!entry->isChecked() && !Autostart::isEnabled());
        QVERIFY(told.isEmpty());

        // A file where the folder belongs: not even root can write there.
        const QString folder = QFileInfo(Autostart::entryPath()).absolutePath();
        QVERIFY(QDir(folder).removeRecursively());
        QFile blocker(folder);
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        blocker.close();
        entry->trigger();
        CommonUtils::SetMessageResponder({});
        QVERIFY(blocker.remove());
        QVERIFY(!entry->isChecked());
        QCOMPARE(told, QStringList{"Cannot create the folder " + folder});
    }
};

QTEST_MAIN(TestHostTray)
#include "tst_hosttray.moc"
