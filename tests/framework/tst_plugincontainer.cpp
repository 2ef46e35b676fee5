#include "PluginContainer.h"
#include "PluginInterfaces.h"
#include "SiblingInterfaces.h"
#include "Startup.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <QPointer>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace {

const char GoodClsid[] = "0F1E2D3C-TEST-GOOD-MODULE";
const int GoodServiceInterface = 7;

// A built-in sibling as the host registers it.
class FakeNotifyService : public QObject, public INotifyService
{
    Q_OBJECT
    Q_INTERFACES(INotifyService)
public:
    void Subscribe(const QString&, unsigned int) override {}
    void SendNotifyTo(const QString&, unsigned int, NotifyParam, NotifyParam) override {}
    void BroadcastNotify(unsigned int, NotifyParam, NotifyParam) override {}
};

QJsonObject reloadMap()
{
    QJsonObject map;
    map.insert(QString(), QJsonArray{QStringLiteral("DefaultDialer")});
    map.insert(QStringLiteral("IMSI262"), QJsonArray{QStringLiteral("Operator262")});
    map.insert(QStringLiteral("IMSI26201"),
               QJsonArray{QStringLiteral("Operator26201Sms"), QStringLiteral("Operator26201Ussd")});
    map.insert(QStringLiteral("E1750"), QJsonArray{QStringLiteral("Modem1750")});
    return map;
}

} // namespace

class TestPluginContainer : public QObject
{
    Q_OBJECT
private slots:
    void startupHoldsTheContainer();
    void builtInLookup_data();
    void builtInLookup();
    void builtInCastsByIdentifier();
    void unregisterRemovesRegistration();
    void loadsGoodModule();
    void loadingTwiceGivesOnePlugin();
    void deletedPluginLeavesTheList();
    void refusesModule_data();
    void refusesModule();
    void loadsFolder();
    void missingFolderIsAnError();
    void reloadSetForDevice_data();
    void reloadSetForDevice();
    void reloadSequence();
    void reloadOperationsAreSignalled();
    void reloadMapFile_data();
    void reloadMapFile();
};

void TestPluginContainer::startupHoldsTheContainer()
{
    PluginContainer container;
    Startup::SetPluginContainer(&container);
    QCOMPARE(Startup::GetPluginContainer(), static_cast<IPluginContainer*>(&container));
    Startup::SetPluginContainer(nullptr);
    QVERIFY(!Startup::GetPluginContainer());
}

void TestPluginContainer::builtInLookup_data()
{
    QTest::addColumn<QString>("clsid");
    QTest::addColumn<int>("number");
    QTest::addColumn<int>("expected"); // index into the registered objects, -1 none

    QTest::newRow("notify") << QString(LinkPlugins::NotifyClsid) << LinkPlugins::NotifyInterface
                            << 0;
    QTest::newRow("main frame") << QString(LinkPlugins::MainFrameClsid)
                                << LinkPlugins::MainFrameInterface << 1;
    // The mini frame shares the plug-in's own number 4097 with another clsid.
    QTest::newRow("mini frame") << QString(LinkPlugins::MiniFrameClsid)
                                << LinkPlugins::MiniFrameInterface << 2;
    QTest::newRow("right clsid, wrong number")
        << QString(LinkPlugins::NotifyClsid) << LinkPlugins::MainFrameInterface << -1;
    QTest::newRow("wrong clsid, right number")
        << QString(LinkPlugins::DialupClsid) << LinkPlugins::NotifyInterface << -1;
    QTest::newRow("empty clsid") << QString() << LinkPlugins::NotifyInterface << -1;
}

void TestPluginContainer::builtInLookup()
{
    QFETCH(QString, clsid);
    QFETCH(int, number);
    QFETCH(int, expected);

    QObject notify, mainFrame, miniFrame;
    QObject* objects[] = {&notify, &mainFrame, &miniFrame};
    PluginContainer container;
    container.registerPlugin(LinkPlugins::NotifyClsid, LinkPlugins::NotifyInterface, &notify);
    container.registerPlugin(LinkPlugins::MainFrameClsid, LinkPlugins::MainFrameInterface,
                             &mainFrame);
    container.registerPlugin(LinkPlugins::MiniFrameClsid, LinkPlugins::MiniFrameInterface,
                             &miniFrame);

    QObject* found = container.GetPlugin(clsid, number);
    QCOMPARE(found, expected < 0 ? nullptr : objects[expected]);
}

void TestPluginContainer::builtInCastsByIdentifier()
{
    FakeNotifyService service;
    PluginContainer container;
    container.registerPlugin(LinkPlugins::NotifyClsid, LinkPlugins::NotifyInterface, &service);

    QObject* found = container.GetPlugin(LinkPlugins::NotifyClsid, LinkPlugins::NotifyInterface);
    QVERIFY(found);
    QCOMPARE(qobject_cast<INotifyService*>(found), static_cast<INotifyService*>(&service));
    QVERIFY(found->qt_metacast("com.corvane.linkmarrow.plugin.INotifyService"));
    QVERIFY(!qobject_cast<IMainMenuUI*>(found));

    // A registered object that is deleted elsewhere is not handed out.
    {
        QObject shortLived;
        container.registerPlugin(LinkPlugins::DialupClsid, LinkPlugins::DialupInterface,
                                 &shortLived);
    }
    QVERIFY(!container.GetPlugin(LinkPlugins::DialupClsid, LinkPlugins::DialupInterface));
}

void TestPluginContainer::unregisterRemovesRegistration()
{
    QObject plugin, other;
    PluginContainer container;
    container.registerPlugin(QStringLiteral("SMS-PLUGIN"), 1, &plugin);
    container.registerPlugin(QStringLiteral("SMS-PLUGIN"), 2, &plugin);
    container.registerPlugin(QStringLiteral("OTHER"), 1, &other);

    container.unRegisterFormPluginContainer(QStringLiteral("SMS-PLUGIN"));

    QVERIFY(!container.GetPlugin(QStringLiteral("SMS-PLUGIN"), 1));
    QVERIFY(!container.GetPlugin(QStringLiteral("SMS-PLUGIN"), 2));
    QCOMPARE(container.GetPlugin(QStringLiteral("OTHER"), 1), &other);
}

void TestPluginContainer::loadsGoodModule()
{
    PluginContainer container;
    QString error;
    QObject* object = container.loadPluginLibrary(QStringLiteral(FW_GOOD_MODULE), &error);
    QVERIFY2(object, qPrintable(error));
    QVERIFY(error.isEmpty());

    auto* plugin = qobject_cast<IBasePlugin*>(object);
    QVERIFY(plugin);
    QCOMPARE(plugin->GetPluginName(), QStringLiteral("GoodTestPlugin"));
    QCOMPARE(container.loadedPlugins(), QList<QObject*>{object});

    // Registered under its class identifier, answering through QueryInterface.
    QObject* service = container.GetPlugin(GoodClsid, GoodServiceInterface);
    QVERIFY(service);
    QCOMPARE(service->objectName(), QStringLiteral("TestPluginService"));
    QVERIFY(!container.GetPlugin(GoodClsid, GoodServiceInterface + 1));
}

void TestPluginContainer::loadingTwiceGivesOnePlugin()
{
    PluginContainer container;
    QObject* first = container.loadPluginLibrary(QStringLiteral(FW_GOOD_MODULE));
    QObject* second = container.loadPluginLibrary(QStringLiteral(FW_GOOD_MODULE));
    QVERIFY(first);
    QCOMPARE(second, first);
    QCOMPARE(container.loadedPlugins().size(), 1);
}

void TestPluginContainer::deletedPluginLeavesTheList()
{
    auto container = std::make_unique<PluginContainer>();
    QPointer<QObject> object = container->loadPluginLibrary(QStringLiteral(FW_GOOD_MODULE));
    QVERIFY(object);
    delete object.data(); // the host destroys its plug-ins first
    QVERIFY(container->loadedPlugins().isEmpty());
    QVERIFY(!container->GetPlugin(GoodClsid, GoodServiceInterface));
    container.reset(); // must not delete it a second time
}

void TestPluginContainer::refusesModule_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("reason");

    QTest::newRow("wrong verification text")
        << QStringLiteral(FW_WRONG_VERIFICATION_MODULE)
        << QStringLiteral("verification data does not start with "
                          "\"pattern=QT_PLUGIN_VERIFICATION_DATA\"");
    QTest::newRow("no entry points")
        << QStringLiteral(FW_NO_ENTRY_MODULE)
        << QStringLiteral("does not export qt_plugin_query_verification_data and "
                          "qt_plugin_instance");
    QTest::newRow("not a plug-in object")
        << QStringLiteral(FW_FOREIGN_OBJECT_MODULE) << QStringLiteral("is not an IBasePlugin");
    QTest::newRow("null instance") << QStringLiteral(FW_NULL_INSTANCE_MODULE)
                                   << QStringLiteral("qt_plugin_instance returned null");
    QTest::newRow("missing file") << QStringLiteral("/nonexistent/linkmarrow/missing.so")
                                  << QString();
    QTest::newRow("not a library") << QStringLiteral("TEXTFILE") << QString();
}

void TestPluginContainer::refusesModule()
{
    QFETCH(QString, path);
    QFETCH(QString, reason);

    QTemporaryDir dir;
    if (path == QLatin1String("TEXTFILE")) {
        path = dir.filePath(QStringLiteral("notes.so"));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("these are notes, not machine code\n");
    }

    PluginContainer container;
    QString error;
    QVERIFY(!container.loadPluginLibrary(path, &error));
    QVERIFY2(error.contains(path), qPrintable(error));
    QVERIFY2(error.contains(QStringLiteral("refused")), qPrintable(error));
    if (!reason.isEmpty())
        QVERIFY2(error.contains(reason), qPrintable(error));
    else // the loader's own explanation follows the path
        QVERIFY2(error.size() > path.size() + 20, qPrintable(error));
    QVERIFY(container.loadedPlugins().isEmpty());
}

void TestPluginContainer::loadsFolder()
{
    PluginContainer container;
    QStringList errors;
    const QList<QObject*> loaded =
        container.loadPluginFolder(QStringLiteral(FW_MODULES_FOLDER), &errors);

    QCOMPARE(loaded.size(), 1);
    QVERIFY(qobject_cast<IBasePlugin*>(loaded.first()));
    QCOMPARE(container.loadedPlugins(), loaded);
    QCOMPARE(errors.size(), 1);
    QVERIFY2(errors.first().contains(QStringLiteral(FW_WRONG_VERIFICATION_MODULE)),
             qPrintable(errors.first()));
}

void TestPluginContainer::missingFolderIsAnError()
{
    PluginContainer container;
    QStringList errors;
    const QString folder = QStringLiteral("/nonexistent/linkmarrow/plugins");
    QVERIFY(container.loadPluginFolder(folder, &errors).isEmpty());
    QCOMPARE(errors.size(), 1);
    QVERIFY(errors.first().contains(folder));
    QVERIFY(errors.first().contains(QStringLiteral("does not exist")));
    // Without an error list it still just returns.
    QVERIFY(container.loadPluginFolder(folder).isEmpty());
}

void TestPluginContainer::reloadSetForDevice_data()
{
    QTest::addColumn<bool>("withDefault");
    QTest::addColumn<QString>("device");
    QTest::addColumn<QStringList>("expected");

    const QStringList op26201{QStringLiteral("Operator26201Sms"),
                              QStringLiteral("Operator26201Ussd")};
    QTest::newRow("exact key") << true << QStringLiteral("E1750")
                               << QStringList{QStringLiteral("Modem1750")};
    QTest::newRow("exact key beats longer prefix")
        << true << QStringLiteral("IMSI26201") << op26201;
    QTest::newRow("longest prefix") << true << QStringLiteral("IMSI262019876543210") << op26201;
    QTest::newRow("shorter prefix") << true << QStringLiteral("IMSI262030000000000")
                                    << QStringList{QStringLiteral("Operator262")};
    QTest::newRow("name prefix") << true << QStringLiteral("E1750 HSDPA")
                                 << QStringList{QStringLiteral("Modem1750")};
    QTest::newRow("key longer than name is no prefix")
        << true << QStringLiteral("IMSI26") << QStringList{QStringLiteral("DefaultDialer")};
    QTest::newRow("default") << true << QStringLiteral("K3565")
                             << QStringList{QStringLiteral("DefaultDialer")};
    QTest::newRow("no default") << false << QStringLiteral("K3565") << QStringList();
    QTest::newRow("empty name") << true << QString()
                                << QStringList{QStringLiteral("DefaultDialer")};
}

void TestPluginContainer::reloadSetForDevice()
{
    QFETCH(bool, withDefault);
    QFETCH(QString, device);
    QFETCH(QStringList, expected);

    QJsonObject map = reloadMap();
    if (!withDefault)
        map.remove(QString());
    PluginContainer container;
    container.setReloadMap(map);

    QCOMPARE(container.IsNeedReload(device) != 0, !expected.isEmpty());
    QStringList changed{QStringLiteral("stale")}, unload{QStringLiteral("stale")};
    container.GetReloadPlugins(device, changed, unload);
    QCOMPARE(changed, expected);
    QCOMPARE(unload, QStringList());
}

void TestPluginContainer::reloadSequence()
{
    PluginContainer container;
    container.setReloadMap(reloadMap());
    const QString telekomCard = QStringLiteral("IMSI262019876543210");
    const QString otherCard = QStringLiteral("IMSI262011111111111");

    QVERIFY(container.IsNeedReload(telekomCard));
    QStringList changed, unload;
    container.GetReloadPlugins(telekomCard, changed, unload);
    QCOMPARE(unload, QStringList());
    QCOMPARE(container.currentReloadPlugins(), changed);

    // Same operator, same set: nothing to exchange.
    QCOMPARE(container.IsNeedReload(telekomCard), 0);
    QCOMPARE(container.IsNeedReload(otherCard), 0);

    QVERIFY(container.IsNeedReload(QStringLiteral("K3565")));
    const QStringList previous = changed;
    container.GetReloadPlugins(QStringLiteral("K3565"), changed, unload);
    QCOMPARE(unload, previous);
    QCOMPARE(changed, QStringList{QStringLiteral("DefaultDialer")});
    QCOMPARE(container.IsNeedReload(QStringLiteral("K3565")), 0);
    // Asking does not change what is current.
    QVERIFY(container.IsNeedReload(telekomCard));
    QCOMPARE(container.currentReloadPlugins(), QStringList{QStringLiteral("DefaultDialer")});
}

void TestPluginContainer::reloadOperationsAreSignalled()
{
    PluginContainer container;
    QSignalSpy spy(&container, &PluginContainer::pluginOperation);

    container.unRegisterFormPluginContainer(QStringLiteral("Operator262"));
    container.UnloadPlugin(QStringLiteral("Operator262"));
    container.LoadPlugin(QStringLiteral("Operator262"));

    QCOMPARE(spy.size(), 3);
    const QStringList ops{QStringLiteral("unregister"), QStringLiteral("unload"),
                          QStringLiteral("load")};
    for (int i = 0; i < ops.size(); ++i) {
        QCOMPARE(spy.at(i).at(0).toString(), ops.at(i));
        QCOMPARE(spy.at(i).at(1).toString(), QStringLiteral("Operator262"));
    }
    QCOMPARE(container.operations(), (QStringList{QStringLiteral("unregister Operator262"),
                                                  QStringLiteral("unload Operator262"),
                                                  QStringLiteral("load Operator262")}));
}

void TestPluginContainer::reloadMapFile_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<bool>("ok");
    QTest::addColumn<QString>("reason");

    QTest::newRow("valid") << QByteArray(R"({"": ["A"], "IMSI262": ["B", "C"]})") << true
                           << QString();
    QTest::newRow("malformed") << QByteArray(R"({"": ["A")") << false << QString();
    QTest::newRow("array at top") << QByteArray(R"(["A"])") << false
                                  << QStringLiteral("not an object");
    QTest::newRow("value not an array")
        << QByteArray(R"({"IMSI262": "B"})") << false << QStringLiteral("\"IMSI262\"");
    QTest::newRow("identifier not a string")
        << QByteArray(R"({"IMSI262": ["B", 3]})") << false << QStringLiteral("\"IMSI262\"");
}

void TestPluginContainer::reloadMapFile()
{
    QFETCH(QByteArray, content);
    QFETCH(bool, ok);
    QFETCH(QString, reason);

    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("reload.json"));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(content);
    file.close();

    PluginContainer container;
    QString error;
    QCOMPARE(container.loadReloadMap(path, &error), ok);
    if (ok) {
        QVERIFY(error.isEmpty());
        QStringList changed, unload;
        container.GetReloadPlugins(QStringLiteral("IMSI2620"), changed, unload);
        QCOMPARE(changed, (QStringList{QStringLiteral("B"), QStringLiteral("C")}));
        return;
    }
    QVERIFY2(error.contains(path), qPrintable(error));
    if (!reason.isEmpty())
        QVERIFY2(error.contains(reason), qPrintable(error));
}

QTEST_GUILESS_MAIN(TestPluginContainer)
#include "tst_plugincontainer.moc"
