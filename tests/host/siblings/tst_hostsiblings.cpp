#include "HostSiblings.h"
#include "Transcript.h"
#include <DeviceMgrContract.h>
#include <PluginContainer.h>

#include <QTest>

// A loaded plug-in as the notification service sees it.
class NotifyProbe : public QObject, public IBasePlugin, public INotify
{
    Q_OBJECT
    Q_INTERFACES(IBasePlugin INotify)
public:
    explicit NotifyProbe(const QString& clsid = {}) : clsid(clsid) {}
    void Release() override {}
    int GetLastError() override { return 0; }
    void OnDestroy() override {}
    void UnSDKRegisterEvent() override {}
    int Init() override { return 1; }
    unsigned int GetPluginType() override { return 1; }
    QString GetCLSID() override { return clsid; }
    unsigned int GetVersion() override { return 0; }
    QString GetPluginName() override { return "probe"; }
    bool IsAllowRelease() override { return false; }
    bool QueryInterface(int, QObject**) override { return false; }
    int Notify(unsigned int type, NotifyParam wParam, NotifyParam lParam) override
    {
        // With the number of records the transcript held when it arrived.
        const int before = Transcript::instance().count();
        received << QString("%1 %2 %3 after %4").arg(type).arg(wParam).arg(lParam).arg(before);
        if (onNotify)
            onNotify();
        return 0;
    }

    const QString clsid;
    QStringList received;
    std::function<void()> onNotify;
};

class TestHostSiblings : public QObject
{
    Q_OBJECT
    static QStringList records() // "<kind> <text>"
    {
        QStringList lines;
        for (const Transcript::Record& record : Transcript::instance().records())
            lines << record.kind + ' ' + record.text;
        return lines;
    }

private slots:
    void init() { Transcript::instance().clear(); }
    void notificationsReachTheirTargets()
    {
        HostSiblings siblings(nullptr);
        NotifyServicePlugin* notify = siblings.notifyService();
        NotifyProbe a("A-CLSID"), b("B-CLSID"), anonymous;
        auto unloaded = std::make_unique<NotifyProbe>();
        QObject plain;
        QVERIFY(!siblings.addNotifyTarget(&plain));
        for (QObject* target : {&a, unloaded.get(), &b, &anonymous})
            QVERIFY(siblings.addNotifyTarget(target));
        // An empty identifier selects no one, not the plug-ins without one.
        for (const char* to : {"B-CLSID", "C-CLSID", ""})
            notify->SendNotifyTo(to, NTF_UPDATE_PINSTATUS, 0, 0);
        QVERIFY(a.received.isEmpty() && anonymous.received.isEmpty());
        const QString pinStatus = QString("%1 0 0").arg(NTF_UPDATE_PINSTATUS);
        QCOMPARE(b.received, QStringList{pinStatus + " after 1"});
        QCOMPARE(records().value(1), "notify to C-CLSID " + pinStatus);
        // Recorded, then delivered at once; a plug-in unloaded meanwhile is not called any more.
        a.onNotify = [&unloaded] { unloaded.reset(); };
        const auto address = reinterpret_cast<NotifyParam>(&a);
        notify->BroadcastNotify(NTF_PLUGINS_RELOADING, address, 9);
        const QString broadcast = QString("%1 %2 9").arg(NTF_PLUGINS_RELOADING).arg(address);
        QCOMPARE(a.received, QStringList{broadcast + " after 4"});
        QCOMPARE(anonymous.received, a.received);
        QCOMPARE(records().mid(3), QStringList{"notify broadcast " + broadcast});
        // From a source: only once subscribed to that source and code.
        const QString call = LinkPlugins::CallServiceClsid;
        QCOMPARE(notify->notifyFrom(call, NTF_CALL_CONNECTED, 0, 0), 0);
        notify->Subscribe(call, NTF_CALL_CONNECTED);
        QCOMPARE(records().last(), QString("subscribe %1 %2").arg(call).arg(NTF_CALL_CONNECTED));
        QCOMPARE(notify->notifyFrom(call, NTF_CALL_CONNECTED, 0, 0), 3);
        QCOMPARE(notify->notifyFrom(call, NTF_CALL_ENDED, 0, 0), 0);
        QCOMPARE(notify->notifyFrom("other", NTF_CALL_CONNECTED, 0, 0), 0);
        QCOMPARE(anonymous.received.size(), 2);
    }
    // Reached through the container, as a plug-in reaches them.
    void siblingCallsAreRecorded()
    {
        using namespace LinkPlugins;
        PluginContainer container;
        HostSiblings siblings(&container);
        auto* mini = qobject_cast<IMiniFrameUIService*>(
            container.GetPlugin(MiniFrameClsid, MiniFrameInterface));
        auto* dialup =
            qobject_cast<IDialupUIService*>(container.GetPlugin(DialupClsid, DialupInterface));
        QVERIFY(mini && dialup);
        mini->Refresh();
        siblings.setDialupConnected(true);
        QVERIFY(dialup->IsConnected());
        dialup->GlobalDisconnect(0);
        QVERIFY(!dialup->IsConnected());
        QCOMPARE(records(), (QStringList{"miniframe Refresh", "dialup IsConnected",
                                         "dialup GlobalDisconnect", "dialup IsConnected"}));
    }
};

QTEST_MAIN(TestHostSiblings)
#include "tst_hostsiblings.moc"
