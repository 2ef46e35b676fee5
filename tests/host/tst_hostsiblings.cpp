#include "HostSiblings.h"
#include "PluginContainer.h"
#include "Transcript.h"

#include <QTest>

// A loaded plug-in as the notification service sees it.
class NotifyProbe : public QObject, public IBasePlugin, public INotify
{
    Q_OBJECT
    Q_INTERFACES(IBasePlugin INotify)
public:
    explicit NotifyProbe(const QString& clsid = QString()) : m_clsid(clsid) {}
    void Release() override {}
    int GetLastError() override { return 0; }
    void OnDestroy() override {}
    void UnSDKRegisterEvent() override {}
    int Init() override { return 1; }
    unsigned int GetPluginType() override { return 1; }
    QString GetCLSID() override { return m_clsid; }
    unsigned int GetVersion() override { return 0; }
    QString GetPluginName() override { return QStringLiteral("probe"); }
    bool IsAllowRelease() override { return false; }
    bool QueryInterface(int, QObject**) override { return false; }
    int Notify(unsigned int type, NotifyParam wParam, NotifyParam lParam) override
    {
        // What the transcript held when the notification arrived.
        received.append(QStringLiteral("%1 %2 %3 after %4")
                            .arg(type)
                            .arg(qulonglong(wParam))
                            .arg(qulonglong(lParam))
                            .arg(Transcript::instance().count()));
        if (onNotify)
            onNotify();
        return 0;
    }
    QStringList received;
    std::function<void()> onNotify;

private:
    QString m_clsid;
};

class TestHostSiblings : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        Transcript::instance().clear();
        m_container = std::make_unique<PluginContainer>();
        m_siblings = std::make_unique<HostSiblings>(m_container.get());
    }
    void cleanup()
    {
        m_siblings.reset();
        m_container.reset();
    }

    void broadcastIsRecordedThenDeliveredSynchronously()
    {
        NotifyProbe first(QStringLiteral("A"));
        auto second = std::make_unique<NotifyProbe>();
        NotifyProbe third;
        QObject plain;
        QVERIFY(!m_siblings->addNotifyTarget(&plain));
        for (QObject* target : {&first, second.get(), &third})
            QVERIFY(m_siblings->addNotifyTarget(target));
        // A plug-in unloaded during a broadcast is not called any more.
        first.onNotify = [&second] { second.reset(); };
        const auto address = reinterpret_cast<NotifyParam>(&first);
        notify()->BroadcastNotify(585, address, 9);
        const QString expected = QStringLiteral("585 %1 9").arg(qulonglong(address));
        QCOMPARE(first.received, QStringList{expected + QStringLiteral(" after 1")});
        QCOMPARE(third.received, first.received);
        QCOMPARE(Transcript::instance().lines().size(), 1);
        QVERIFY(Transcript::instance().lines().first().endsWith(
            QStringLiteral("] notify broadcast ") + expected));
    }

    void sendNotifyToRoutesByClassIdentifier()
    {
        NotifyProbe a(QStringLiteral("A-CLSID"));
        NotifyProbe b(QStringLiteral("B-CLSID"));
        NotifyProbe anonymous;
        for (QObject* target : {&a, &b, &anonymous})
            m_siblings->addNotifyTarget(target);
        // An empty identifier selects no one, not the plug-ins without one.
        for (const char* to : {"B-CLSID", "C-CLSID", ""})
            notify()->SendNotifyTo(QString::fromLatin1(to), 1027, 0, 0);
        QVERIFY(a.received.isEmpty() && anonymous.received.isEmpty());
        QCOMPARE(b.received, QStringList{"1027 0 0 after 1"});
        QCOMPARE(Transcript::instance().records().value(1).text,
                 QStringLiteral("to C-CLSID 1027 0 0"));
    }

    void subscriptionIsRecordedAndHonoured()
    {
        NotifyProbe target;
        m_siblings->addNotifyTarget(&target);
        const QString call = QString::fromLatin1(LinkPlugins::CallServiceClsid);
        QCOMPARE(notify()->notifyFrom(call, 786, 0, 0), 0);
        notify()->Subscribe(call, 786);
        QCOMPARE(Transcript::instance().lines().last().section(QLatin1Char(' '), 1),
                 QStringLiteral("subscribe ") + call + QStringLiteral(" 786"));
        QCOMPARE(notify()->notifyFrom(call, 786, 0, 0), 1);
        // Another code, or the same code from another source, stays out.
        QCOMPARE(notify()->notifyFrom(call, 787, 0, 0), 0);
        QCOMPARE(notify()->notifyFrom(QStringLiteral("other"), 786, 0, 0), 0);
        QCOMPARE(target.received.size(), 1);
    }

    // Reached through the container, as a plug-in reaches them.
    void siblingCallsAreRecorded()
    {
        auto* menu =
            sibling<IMainMenuUI>(LinkPlugins::MainMenuClsid, LinkPlugins::MainMenuInterface);
        auto* mini = sibling<IMiniFrameUIService>(LinkPlugins::MiniFrameClsid,
                                                  LinkPlugins::MiniFrameInterface);
        auto* dialup =
            sibling<IDialupUIService>(LinkPlugins::DialupClsid, LinkPlugins::DialupInterface);
        QVERIFY(menu && mini && dialup);
        menu->RefreshMenu();
        menu->RefreshDeviceMenu();
        menu->DisableDeviceMenu();
        mini->Refresh();
        m_siblings->setDialupConnected(true);
        QVERIFY(dialup->IsConnected());
        dialup->GlobalDisconnect(0);
        QVERIFY(!dialup->IsConnected());
        QStringList records;
        for (const Transcript::Record& record : Transcript::instance().records())
            records.append(record.kind + QLatin1Char(' ') + record.text);
        const QStringList expected = {"menu RefreshMenu",       "menu RefreshDeviceMenu",
                                      "menu DisableDeviceMenu", "miniframe Refresh",
                                      "dialup IsConnected",     "dialup GlobalDisconnect",
                                      "dialup IsConnected"};
        QCOMPARE(records, expected);
    }

private:
    NotifyServicePlugin* notify() const { return m_siblings->notifyService(); }
    template <typename I> I* sibling(const char* clsid, int number) const
    {
        return qobject_cast<I*>(m_container->GetPlugin(QString::fromLatin1(clsid), number));
    }

    std::unique_ptr<PluginContainer> m_container;
    std::unique_ptr<HostSiblings> m_siblings;
};

QTEST_MAIN(TestHostSiblings)
#include "tst_hostsiblings.moc"
