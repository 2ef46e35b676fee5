// Notifications the service sends to the host's plug-ins, its subscription to
// the call service, and the call notifications it receives.
#include "DeviceMgrService.h"
#include "HostFixture.h"
#include "HostSiblings.h"
#include "TraceCapture.h"
#include "sim/VirtualCard.h"

#include "PluginContainer.h"
#include "Transcript.h"
#include <SiblingInterfaces.h>
#include <Startup.h>

#include <QTest>

#include <memory>

namespace {

QString toMiniFrame(unsigned int code)
{
    return QStringLiteral("to %1 %2 0 0").arg(QLatin1String(LinkPlugins::MiniFrameClsid)).arg(code);
}

QString broadcast(unsigned int code)
{
    return QStringLiteral("broadcast %1 0 0").arg(code);
}

QString subscription(unsigned int code)
{
    return QStringLiteral("%1 %2").arg(QLatin1String(LinkPlugins::CallServiceClsid)).arg(code);
}

} // namespace

class tst_Notifications : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void routes_data();
    void routes();
    void missingNotificationServiceWritesOneLine_data();
    void missingNotificationServiceWritesOneLine();
    void containerIsKeptAfterFirstFetch();
    void subscribesToCallNotificationsInOrder();
    void subscribedCallNotificationsReachTheService();
    void callNotificationsTrackTheCall_data();
    void callNotificationsTrackTheCall();
    void otherHostNotificationsAreIgnored();

private:
    std::unique_ptr<HostFixture> m_host;
    CDeviceMgrService* m_service = nullptr;
};

void tst_Notifications::init()
{
    m_host = std::make_unique<HostFixture>();
    m_service = m_host->startService();
    QVERIFY(m_service);
    Transcript::instance().clear();
}

void tst_Notifications::cleanup()
{
    m_service = nullptr;
    m_host.reset();
}

void tst_Notifications::routes_data()
{
    QTest::addColumn<uint>("code");
    QTest::addColumn<QString>("record");

    QTest::newRow("582 mini frame device state") << 582u << toMiniFrame(582);
    QTest::newRow("1027 PIN status") << 1027u << toMiniFrame(1027);
    QTest::newRow("579 SIM not ready") << 579u << broadcast(579);
    QTest::newRow("578 SIM ready") << 578u << broadcast(578);
    QTest::newRow("581 init success") << 581u << broadcast(581);
    QTest::newRow("583 change begins") << 583u << broadcast(583);
}

void tst_Notifications::routes()
{
    QFETCH(uint, code);
    QFETCH(QString, record);

    m_service->sendNotification(code);
    QCOMPARE(m_host->records(QStringLiteral("notify")), QStringList{record});
}

void tst_Notifications::missingNotificationServiceWritesOneLine_data()
{
    QTest::addColumn<QString>("missing");
    QTest::addColumn<QString>("line");
    QTest::newRow("no container")
        << "container"
        << "sendNotification: Startup::GetPluginContainer() returned null ";
    QTest::newRow("no notification plug-in")
        << "plug-in"
        << "sendNotification: GetPlugin (NOTIFY_PLUGIN) returned NULL";
    QTest::newRow("plug-in without the interface") << "interface"
                                                   << "sendNotification: Notify object is null";
}

void tst_Notifications::missingNotificationServiceWritesOneLine()
{
    QFETCH(QString, missing);
    QFETCH(QString, line);

    PluginContainer bare;
    QObject notANotifier;
    if (missing == QLatin1String("interface"))
        bare.registerPlugin(QString::fromLatin1(LinkPlugins::NotifyClsid),
                            LinkPlugins::NotifyInterface, &notANotifier);
    Startup::SetPluginContainer(missing == QLatin1String("container") ? nullptr : &bare);
    TraceCapture trace;
    m_service->sendNotification(579);
    m_service->sendNotification(1027);
    m_service->subscribeCallNotification();
    Startup::SetPluginContainer(&m_host->container());

    // One line per notification, and the subscription gives up quietly.
    QCOMPARE(trace.matching(line).size(), 2);
    QCOMPARE(trace.lines().size(), 2 * 2 + 1);
    QVERIFY(m_host->records(QStringLiteral("notify")).isEmpty());
    QVERIFY(m_host->records(QStringLiteral("subscribe")).isEmpty());
}

void tst_Notifications::containerIsKeptAfterFirstFetch()
{
    m_service->sendNotification(578);
    // Later sends use the container found first, even once the host's
    // accessor no longer returns it.
    Startup::SetPluginContainer(nullptr);
    m_service->sendNotification(579);
    Startup::SetPluginContainer(&m_host->container());

    QCOMPARE(m_host->records(QStringLiteral("notify")),
             (QStringList{broadcast(578), broadcast(579)}));
}

void tst_Notifications::subscribesToCallNotificationsInOrder()
{
    m_service->subscribeCallNotification();
    QCOMPARE(
        m_host->records(QStringLiteral("subscribe")),
        (QStringList{subscription(786), subscription(784), subscription(785), subscription(787)}));
}

void tst_Notifications::subscribedCallNotificationsReachTheService()
{
    NotifyServicePlugin* notify = m_host->siblings().notifyService();
    const QString callService = QLatin1String(LinkPlugins::CallServiceClsid);

    // Before the subscription the call service's news goes to nobody.
    notify->notifyFrom(callService, 786, 0, 0);
    QVERIFY(m_host->waitForEvents());
    QVERIFY(!m_service->callActive());

    m_service->subscribeCallNotification();
    notify->notifyFrom(callService, 786, 0, 0);
    QTRY_VERIFY(m_service->callActive());
    notify->notifyFrom(callService, 787, 0, 0);
    QTRY_VERIFY(!m_service->callActive());
}

void tst_Notifications::callNotificationsTrackTheCall_data()
{
    QTest::addColumn<QList<uint>>("codes");
    QTest::addColumn<bool>("active");

    QTest::newRow("connected") << QList<uint>{786} << true;
    QTest::newRow("incoming") << QList<uint>{784} << true;
    QTest::newRow("outgoing") << QList<uint>{785} << true;
    QTest::newRow("ended") << QList<uint>{786, 787} << false;
    QTest::newRow("ended then incoming") << QList<uint>{785, 787, 784} << true;
    QTest::newRow("end without call") << QList<uint>{787} << false;
}

void tst_Notifications::callNotificationsTrackTheCall()
{
    QFETCH(QList<uint>, codes);
    QFETCH(bool, active);

    for (uint code : codes)
        QCOMPARE(m_service->Notify(code, 0, 0), 0);
    QCOMPARE(m_service->callActive(), active);
}

void tst_Notifications::otherHostNotificationsAreIgnored()
{
    m_service->Notify(786, 0, 0);
    for (uint code : {0u, 257u, 259u, 783u, 788u, 579u})
        QCOMPARE(m_service->Notify(code, 0, 0), 0);
    QVERIFY(m_service->callActive());
    QVERIFY(!m_service->frameShown());
    QVERIFY(m_host->records(QStringLiteral("notify")).isEmpty());
}

QTEST_MAIN(tst_Notifications)
#include "tst_notifications.moc"
