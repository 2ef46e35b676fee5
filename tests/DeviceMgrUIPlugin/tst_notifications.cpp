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
    void routesAndSubscriptions_data()
    {
        QTest::addColumn<QString>("missing"); // what the host lacks
        QTest::addColumn<QString>("line");    // written for every notification that cannot go
        // clang-format off
        QTest::newRow("all there")                     << ""          << "";
        QTest::newRow("no container")                  << "container" << "sendNotification: Startup::GetPluginContainer() returned null ";
        QTest::newRow("no notification plug-in")       << "plug-in"   << "sendNotification: GetPlugin (NOTIFY_PLUGIN) returned NULL";
        QTest::newRow("plug-in without the interface") << "interface" << "sendNotification: Notify object is null";
        // clang-format on
    }
    void routesAndSubscriptions()
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
        if (!missing.isEmpty())
            Startup::SetPluginContainer(missing == "container" ? nullptr : &bare);
        TraceCapture trace;
        for (unsigned int code :
             {NTF_MINIFRAME_DEVICE_STATE, NTF_UPDATE_PINSTATUS, NTF_SIM_NOT_READY, NTF_SIM_READY}) {
            trace.clear();
            service->sendNotification(code);
            QVERIFY(line.isEmpty() || trace.contains(line));
        }
        trace.clear();
        service->subscribeCallNotification(); // gives up quietly
        QVERIFY(line.isEmpty() || !trace.contains(line));
        Startup::SetPluginContainer(&host.container());

        const QString miniFrame = QStringLiteral("to %1 %2 0 0").arg(LinkPlugins::MiniFrameClsid);
        const QStringList sent = {miniFrame.arg(NTF_MINIFRAME_DEVICE_STATE),
                                  miniFrame.arg(NTF_UPDATE_PINSTATUS), broadcast(NTF_SIM_NOT_READY),
                                  broadcast(NTF_SIM_READY)};
        QCOMPARE(host.records("notify"), missing.isEmpty() ? sent : QStringList());
        QStringList subscribed;
        for (int code : {NTF_CALL_CONNECTED, NTF_CALL_INCOMING, NTF_CALL_OUTGOING, NTF_CALL_ENDED})
            subscribed << QString("%1 %2").arg(LinkPlugins::CallServiceClsid).arg(code);
        QCOMPARE(host.records("subscribe"), missing.isEmpty() ? subscribed : QStringList());

        // Only a subscription brings the call service's notifications to the service.
        NotifyServicePlugin* notify = host.siblings().notifyService();
        notify->notifyFrom(LinkPlugins::CallServiceClsid, NTF_CALL_CONNECTED, 0, 0);
        QVERIFY(host.waitForEvents());
        QCOMPARE(service->callActive(), missing.isEmpty());
        notify->notifyFrom(LinkPlugins::CallServiceClsid, NTF_CALL_ENDED, 0, 0);
        QVERIFY(host.waitForEvents());
        QVERIFY(!service->callActive());
    }
};

QTEST_MAIN(tst_Notifications)
#include "tst_notifications.moc"
