// Notifications the service sends to the host's plug-ins and its subscription
// to the call service's notifications.
#include "DeviceMgrService.h"
#include "HostFixture.h"
#include "TraceCapture.h"
#include "Transcript.h"

#include <SiblingInterfaces.h>
#include <Startup.h>

#include <QTest>

class tst_Notifications : public QObject
{
    Q_OBJECT

private slots:
    void routes()
    {
        HostFixture host;
        CDeviceMgrService* service = host.startService();
        Transcript::instance().clear();
        for (unsigned int code : {582u, 1027u, 579u, 578u})
            service->sendNotification(code);

        const QString miniFrame = QStringLiteral("to %1 ").arg(LinkPlugins::MiniFrameClsid);
        QCOMPARE(host.records("notify"), (QStringList{miniFrame + "582 0 0", miniFrame + "1027 0 0",
                                                      "broadcast 579 0 0", "broadcast 578 0 0"}));
    }
    void missingNotificationServiceWritesOneLine_data()
    {
        QTest::addColumn<QString>("missing");
        QTest::addColumn<QString>("line");
        // clang-format off
        QTest::newRow("no container")       << "container" << "sendNotification: Startup::GetPluginContainer() returned null ";
        QTest::newRow("no notification plug-in") << "plug-in" << "sendNotification: GetPlugin (NOTIFY_PLUGIN) returned NULL";
        QTest::newRow("plug-in without the interface") << "interface" << "sendNotification: Notify object is null";
        // clang-format on
    }
    void missingNotificationServiceWritesOneLine()
    {
        QFETCH(QString, missing);
        QFETCH(QString, line);

        HostFixture host;
        CDeviceMgrService* service = host.startService();
        Transcript::instance().clear();
        PluginContainer bare;
        QObject notANotifier;
        if (missing == "interface")
            bare.registerPlugin(LinkPlugins::NotifyClsid, LinkPlugins::NotifyInterface,
                                &notANotifier);
        Startup::SetPluginContainer(missing == "container" ? nullptr : &bare);
        TraceCapture trace;
        service->sendNotification(579);
        service->sendNotification(1027);
        service->subscribeCallNotification();
        Startup::SetPluginContainer(&host.container());

        // One line per notification; the subscription gives up quietly.
        QCOMPARE(trace.matching(line).size(), 2);
        QCOMPARE(trace.lines().size(), 2 * 2 + 1);
        QVERIFY(host.records("notify").isEmpty());
        QVERIFY(host.records("subscribe").isEmpty());
    }
    void callNotificationsSubscribedInOrderReachTheService()
    {
        HostFixture host;
        CDeviceMgrService* service = host.startService();
        Transcript::instance().clear();
        NotifyServicePlugin* notify = host.siblings().notifyService();
        const QString callService = LinkPlugins::CallServiceClsid;
        // Before the subscription the call service's news goes to nobody.
        notify->notifyFrom(callService, 786, 0, 0);
        QVERIFY(host.waitForEvents());
        QVERIFY(!service->callActive());

        service->subscribeCallNotification();
        QStringList expected;
        for (int code : {786, 784, 785, 787})
            expected << callService + ' ' + QString::number(code);
        QCOMPARE(host.records("subscribe"), expected);
        notify->notifyFrom(callService, 786, 0, 0);
        QTRY_VERIFY(service->callActive());
        notify->notifyFrom(callService, 787, 0, 0);
        QTRY_VERIFY(!service->callActive());
    }
};

QTEST_MAIN(tst_Notifications)
#include "tst_notifications.moc"
