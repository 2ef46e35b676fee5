#include "HostSiblings.h"
#include "PluginContainer.h"
#include "Transcript.h"

#include <QSignalSpy>
#include <QTest>
#include <QWidget>

// A loaded plug-in as the notification service sees it: a class identifier
// and an INotify that remembers what reached it.
class NotifyProbe : public QObject, public IBasePlugin, public INotify
{
    Q_OBJECT
    Q_INTERFACES(IBasePlugin INotify)
public:
    struct Received
    {
        unsigned int code;
        NotifyParam w;
        NotifyParam l;
    };

    explicit NotifyProbe(const QString& clsid = QString(), QObject* parent = nullptr)
        : QObject(parent), m_clsid(clsid)
    {}

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
        // The transcript already holds the notification when it arrives.
        recordsAtDelivery.append(Transcript::instance().count());
        received.append({type, wParam, lParam});
        if (onNotify)
            onNotify(type);
        return 0;
    }

    QList<Received> received;
    QList<int> recordsAtDelivery;
    std::function<void(unsigned int)> onNotify;

private:
    QString m_clsid;
};

// An object without INotify: it must not become a target.
class NotANotifier : public QObject
{
    Q_OBJECT
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

    void registeredUnderIdentifierAndNumber_data()
    {
        QTest::addColumn<QString>("clsid");
        QTest::addColumn<int>("number");
        QTest::addColumn<QByteArray>("iid");
        QTest::newRow("notification service")
            << LinkPlugins::NotifyClsid << LinkPlugins::NotifyInterface
            << QByteArray("com.corvane.linkmarrow.plugin.INotifyService");
        QTest::newRow("main frame")
            << LinkPlugins::MainFrameClsid << LinkPlugins::MainFrameInterface
            << QByteArray("com.corvane.linkmarrow.plugin.IMainFrameUIService");
        QTest::newRow("mini frame")
            << LinkPlugins::MiniFrameClsid << LinkPlugins::MiniFrameInterface
            << QByteArray("com.corvane.linkmarrow.plugin.IMiniFrameUIService");
        QTest::newRow("main menu") << LinkPlugins::MainMenuClsid << LinkPlugins::MainMenuInterface
                                   << QByteArray("com.corvane.linkmarrow.plugin.IMainMenuUI");
        QTest::newRow("dial-up") << LinkPlugins::DialupClsid << LinkPlugins::DialupInterface
                                 << QByteArray("com.corvane.linkmarrow.plugin.IDialupUIService");
    }
    void registeredUnderIdentifierAndNumber()
    {
        QFETCH(QString, clsid);
        QFETCH(int, number);
        QFETCH(QByteArray, iid);
        QObject* plugin = m_container->GetPlugin(clsid, number);
        QVERIFY(plugin);
        // The cast by identifier string is what the device manager does.
        QVERIFY(plugin->qt_metacast(iid.constData()));
        QVERIFY(!m_container->GetPlugin(clsid, number + 1));
    }

    void broadcastReachesEveryTargetSynchronously()
    {
        NotifyProbe first(QStringLiteral("A"));
        NotifyProbe second;
        QVERIFY(m_siblings->addNotifyTarget(&first));
        QVERIFY(m_siblings->addNotifyTarget(&second));
        QSignalSpy spy(m_siblings->notifyService(), &NotifyServicePlugin::notified);

        m_siblings->notifyService()->BroadcastNotify(581, 7, 9);

        QCOMPARE(first.received.size(), 1);
        QCOMPARE(second.received.size(), 1);
        QCOMPARE(first.received.first().code, 581u);
        QCOMPARE(first.received.first().w, NotifyParam(7));
        QCOMPARE(first.received.first().l, NotifyParam(9));
        QCOMPARE(first.recordsAtDelivery.first(), 1);
        QCOMPARE(Transcript::instance().records().first().kind, QStringLiteral("notify"));
        QCOMPARE(Transcript::instance().records().first().text,
                 QStringLiteral("broadcast 581 7 9"));
        QCOMPARE(spy.count(), 1);
        QCOMPARE(spy.first().at(0).toUInt(), 581u);
        QCOMPARE(spy.first().at(1).toString(), QStringLiteral("all"));
    }

    void pointerSizedParametersArePassedWhole()
    {
        NotifyProbe target(QStringLiteral("A"));
        m_siblings->addNotifyTarget(&target);
        QStringList list;
        const auto address = reinterpret_cast<NotifyParam>(&list);
        m_siblings->notifyService()->BroadcastNotify(585, address, 0);
        QCOMPARE(target.received.first().w, address);
        QCOMPARE(Transcript::instance().records().first().text,
                 QStringLiteral("broadcast 585 %1 0").arg(qulonglong(address)));
    }

    void sendNotifyToRoutesByClassIdentifier_data()
    {
        QTest::addColumn<QString>("to");
        QTest::addColumn<int>("reachedA");
        QTest::addColumn<int>("reachedB");
        QTest::newRow("first") << "A-CLSID" << 1 << 0;
        QTest::newRow("second") << "B-CLSID" << 0 << 1;
        QTest::newRow("nobody") << LinkPlugins::MiniFrameClsid << 0 << 0;
        QTest::newRow("empty selects no one") << QString() << 0 << 0;
    }
    void sendNotifyToRoutesByClassIdentifier()
    {
        QFETCH(QString, to);
        QFETCH(int, reachedA);
        QFETCH(int, reachedB);
        NotifyProbe a(QStringLiteral("A-CLSID"));
        NotifyProbe b(QStringLiteral("B-CLSID"));
        NotifyProbe anonymous;
        m_siblings->addNotifyTarget(&a);
        m_siblings->addNotifyTarget(&b);
        m_siblings->addNotifyTarget(&anonymous);
        QSignalSpy spy(m_siblings->notifyService(), &NotifyServicePlugin::notified);

        m_siblings->notifyService()->SendNotifyTo(to, 1027, 0, 0);

        QCOMPARE(a.received.size(), reachedA);
        QCOMPARE(b.received.size(), reachedB);
        QCOMPARE(anonymous.received.size(), 0);
        QCOMPARE(Transcript::instance().lines().size(), 1);
        QCOMPARE(Transcript::instance().records().first().text,
                 QStringLiteral("to %1 1027 0 0").arg(to));
        QCOMPARE(spy.count(), 1);
        QCOMPARE(spy.first().at(1).toString(), to);
    }

    void subscriptionGatesNotificationsFromASource()
    {
        NotifyProbe target;
        m_siblings->addNotifyTarget(&target);
        NotifyServicePlugin* service = m_siblings->notifyService();
        const QString call = QString::fromLatin1(LinkPlugins::CallServiceClsid);

        QCOMPARE(service->notifyFrom(call, 786, 0, 0), 0);
        QVERIFY(target.received.isEmpty());

        service->Subscribe(call, 786);
        QCOMPARE(Transcript::instance().records().last().kind, QStringLiteral("subscribe"));
        QCOMPARE(Transcript::instance().records().last().text, call + QStringLiteral(" 786"));

        QCOMPARE(service->notifyFrom(call, 786, 0, 0), 1);
        QCOMPARE(target.received.size(), 1);
        QCOMPARE(target.received.first().code, 786u);
        // Another code, or the same code from another source, stays out.
        QCOMPARE(service->notifyFrom(call, 787, 0, 0), 0);
        QCOMPARE(service->notifyFrom(QStringLiteral("other"), 786, 0, 0), 0);
        QCOMPARE(target.received.size(), 1);
    }

    void targetsMustAnswerToINotify()
    {
        NotANotifier plain;
        QVERIFY(!m_siblings->addNotifyTarget(&plain));
        QVERIFY(!m_siblings->addNotifyTarget(nullptr));
        NotifyProbe probe;
        QVERIFY(m_siblings->addNotifyTarget(&probe));
        QVERIFY(m_siblings->addNotifyTarget(&probe));
        QCOMPARE(m_siblings->notifyService()->targets().size(), 1);
    }

    void deletedTargetIsSkipped()
    {
        auto doomed = std::make_unique<NotifyProbe>();
        NotifyProbe survivor;
        m_siblings->addNotifyTarget(doomed.get());
        m_siblings->addNotifyTarget(&survivor);
        doomed.reset();
        m_siblings->notifyService()->BroadcastNotify(578, 0, 0);
        QCOMPARE(survivor.received.size(), 1);
        QCOMPARE(m_siblings->notifyService()->targets().size(), 1);
    }

    void targetRemovedDuringDeliveryIsNotCalled()
    {
        NotifyProbe first;
        auto second = std::make_unique<NotifyProbe>();
        m_siblings->addNotifyTarget(&first);
        m_siblings->addNotifyTarget(second.get());
        // A reload in the middle of a broadcast takes the next plug-in away.
        first.onNotify = [&](unsigned int) { second.reset(); };
        m_siblings->notifyService()->BroadcastNotify(585, 0, 0);
        QCOMPARE(first.received.size(), 1);
        QVERIFY(!second);
    }

    void nestedNotificationKeepsTranscriptOrder()
    {
        NotifyProbe target;
        m_siblings->addNotifyTarget(&target);
        target.onNotify = [&](unsigned int code) {
            if (code == 258)
                m_siblings->notifyService()->BroadcastNotify(579, 0, 0);
        };
        QSignalSpy spy(m_siblings->notifyService(), &NotifyServicePlugin::notified);
        m_siblings->notifyService()->BroadcastNotify(258, 0, 0);
        QCOMPARE(target.received.size(), 2);
        QCOMPARE(target.received.at(1).code, 579u);
        const QList<Transcript::Record> records = Transcript::instance().records();
        QCOMPARE(records.size(), 2);
        QCOMPARE(records.at(0).text, QStringLiteral("broadcast 258 0 0"));
        QCOMPARE(records.at(1).text, QStringLiteral("broadcast 579 0 0"));
        QCOMPARE(spy.at(0).at(0).toUInt(), 258u);
        QCOMPARE(spy.at(1).at(0).toUInt(), 579u);
    }

    void menuOperationsRecordAndSignal_data()
    {
        QTest::addColumn<QString>("op");
        QTest::newRow("refresh") << "RefreshMenu";
        QTest::newRow("device") << "RefreshDeviceMenu";
        QTest::newRow("disable") << "DisableDeviceMenu";
    }
    void menuOperationsRecordAndSignal()
    {
        QFETCH(QString, op);
        QObject* object = m_container->GetPlugin(QString::fromLatin1(LinkPlugins::MainMenuClsid),
                                                 LinkPlugins::MainMenuInterface);
        auto* menu = qobject_cast<IMainMenuUI*>(object);
        QVERIFY(menu);
        QSignalSpy spy(m_siblings->mainMenu(), &MainMenuPlugin::menuRequest);
        if (op == QLatin1String("RefreshMenu"))
            menu->RefreshMenu();
        else if (op == QLatin1String("RefreshDeviceMenu"))
            menu->RefreshDeviceMenu();
        else
            menu->DisableDeviceMenu();
        QCOMPARE(Transcript::instance().lines().size(), 1);
        QVERIFY(Transcript::instance().lines().first().endsWith(QStringLiteral("] menu ") + op));
        QCOMPARE(spy.count(), 1);
        QCOMPARE(spy.first().at(0).toString(), op);
    }

    void dialupAnswersAndDisconnects()
    {
        QObject* object = m_container->GetPlugin(QString::fromLatin1(LinkPlugins::DialupClsid),
                                                 LinkPlugins::DialupInterface);
        auto* dialup = qobject_cast<IDialupUIService*>(object);
        QVERIFY(dialup);
        QVERIFY(!dialup->IsConnected());
        m_siblings->setDialupConnected(true);
        QSignalSpy spy(m_siblings->dialup(), &DialupPlugin::connectionChanged);
        QVERIFY(dialup->IsConnected());
        QCOMPARE(dialup->GlobalDisconnect(0), 0);
        QVERIFY(!dialup->IsConnected());
        QCOMPARE(spy.count(), 1);
        QCOMPARE(spy.first().at(0).toBool(), false);
        QStringList ops;
        for (const Transcript::Record& record : Transcript::instance().records()) {
            QCOMPARE(record.kind, QStringLiteral("dialup"));
            ops.append(record.text);
        }
        QCOMPARE(ops,
                 (QStringList{"IsConnected", "IsConnected", "GlobalDisconnect", "IsConnected"}));
    }

    void miniFrameRefreshIsRecorded()
    {
        auto* mini = qobject_cast<IMiniFrameUIService*>(m_container->GetPlugin(
            QString::fromLatin1(LinkPlugins::MiniFrameClsid), LinkPlugins::MiniFrameInterface));
        QVERIFY(mini);
        QSignalSpy spy(m_siblings->miniFrame(), &MiniFramePlugin::refreshed);
        mini->Refresh();
        QCOMPARE(spy.count(), 1);
        QCOMPARE(Transcript::instance().records().first().kind, QStringLiteral("miniframe"));
        QCOMPARE(Transcript::instance().records().first().text, QStringLiteral("Refresh"));
    }

    void mainFrameGivesTheWindowWhileItLives()
    {
        auto* frame = qobject_cast<IMainFrameUIService*>(m_container->GetPlugin(
            QString::fromLatin1(LinkPlugins::MainFrameClsid), LinkPlugins::MainFrameInterface));
        QVERIFY(frame);
        QVERIFY(!frame->GetMainWindow());
        auto window = std::make_unique<QWidget>();
        m_siblings->setMainWindow(window.get());
        QCOMPARE(frame->GetMainWindow(), window.get());
        window.reset();
        QVERIFY(!frame->GetMainWindow());
    }

    void worksWithoutAContainer()
    {
        HostSiblings alone(nullptr);
        NotifyProbe target;
        alone.addNotifyTarget(&target);
        alone.notifyService()->BroadcastNotify(320, 0, 0);
        QCOMPARE(target.received.size(), 1);
    }

private:
    std::unique_ptr<PluginContainer> m_container;
    std::unique_ptr<HostSiblings> m_siblings;
};

QTEST_MAIN(TestHostSiblings)
#include "tst_hostsiblings.moc"
