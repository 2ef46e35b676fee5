// The host's plug-in container: registrations, loading plug-in libraries, and
// the reload map that picks plug-ins by device.
#include "PluginContainer.h"
#include "SiblingInterfaces.h"
#include "Startup.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace {

const char GoodClsid[] = "0F1E2D3C-TEST-GOOD-MODULE";

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
    return QJsonObject{{"", QJsonArray{"DefaultDialer"}},
                       {"IMSI262", QJsonArray{"Operator262"}},
                       {"IMSI26201", QJsonArray{"Op26201Sms", "Op26201Ussd"}},
                       {"E1750", QJsonArray{"Modem1750"}}};
}

} // namespace

class TestPluginContainer : public QObject
{
    Q_OBJECT
private slots:
    void lookupAndCasts_data();
    void lookupAndCasts();
    void loadsGoodModule();
    void refusesModule_data();
    void refusesModule();
    void loadsFolder();
    void reloadSet_data();
    void reloadSet();
    void reloadSequenceAndOperations();
};

void TestPluginContainer::lookupAndCasts_data()
{
    QTest::addColumn<QString>("clsid");
    QTest::addColumn<int>("number");
    QTest::addColumn<int>("expected"); // index of the registered object, -1 none

    using namespace LinkPlugins;
    QTest::newRow("notify") << NotifyClsid << NotifyInterface << 0;
    QTest::newRow("mini frame") << MiniFrameClsid << MiniFrameInterface << 1;
    QTest::newRow("right clsid, wrong number") << NotifyClsid << MiniFrameInterface << -1;
    QTest::newRow("wrong clsid, right number") << DialupClsid << NotifyInterface << -1;
    QTest::newRow("deleted elsewhere") << DialupClsid << DialupInterface << -1;
}

void TestPluginContainer::lookupAndCasts()
{
    QFETCH(QString, clsid);
    QFETCH(int, number);
    QFETCH(int, expected);
    using namespace LinkPlugins;
    FakeNotifyService notify;
    QObject miniFrame;
    QObject* objects[] = {&notify, &miniFrame};
    PluginContainer container;
    Startup::SetPluginContainer(&container);
    QCOMPARE(Startup::GetPluginContainer(), &container);
    container.registerPlugin(NotifyClsid, NotifyInterface, &notify);
    container.registerPlugin(MiniFrameClsid, MiniFrameInterface, &miniFrame);
    {
        QObject shortLived;
        container.registerPlugin(DialupClsid, DialupInterface, &shortLived);
    }

    QObject* found = Startup::GetPluginContainer()->GetPlugin(clsid, number);
    QCOMPARE(found, expected < 0 ? nullptr : objects[expected]);
    QCOMPARE(qobject_cast<INotifyService*>(found),
             expected == 0 ? static_cast<INotifyService*>(&notify) : nullptr);
    Startup::SetPluginContainer(nullptr);
}

void TestPluginContainer::loadsGoodModule()
{
    PluginContainer container;
    QString error;
    QObject* object = container.loadPluginLibrary(FW_GOOD, &error);
    QVERIFY2(object, qPrintable(error));
    QCOMPARE(qobject_cast<IBasePlugin*>(object)->GetPluginName(), "GoodTestPlugin");
    QCOMPARE(container.loadPluginLibrary(FW_GOOD), object); // loaded once only
    QCOMPARE(container.loadedPlugins(), QList<QObject*>{object});
    // Registered under its class identifier, answering through QueryInterface.
    QObject* service = container.GetPlugin(GoodClsid, 7);
    QVERIFY(service && service->parent() == object);
    QVERIFY(!container.GetPlugin(GoodClsid, 8));
}

void TestPluginContainer::refusesModule_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("reason"); // empty: the loader's own explanation

    // clang-format off
    QTest::newRow("wrong verification text") << FW_WRONG_VERIFICATION << "verification data does not start with \"pattern=QT_PLUGIN_VERIFICATION_DATA\"";
    QTest::newRow("no entry points") << FW_NO_ENTRY << "does not export qt_plugin_query_verification_data and qt_plugin_instance";
    QTest::newRow("not a plug-in object") << FW_FOREIGN << "is not an IBasePlugin";
    QTest::newRow("null instance") << FW_NULL_INSTANCE << "qt_plugin_instance returned null";
    QTest::newRow("missing file") << "/nonexistent/linkmarrow/missing.so" << QString();
    QTest::newRow("not a library") << "notes.so" << QString();
    // clang-format on
}

void TestPluginContainer::refusesModule()
{
    QFETCH(QString, path);
    QFETCH(QString, reason);
    QTemporaryDir dir;
    if (path == "notes.so") {
        path = dir.filePath(path);
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("these are notes, not machine code\n");
    }
    PluginContainer container;
    QString error;
    QVERIFY(!container.loadPluginLibrary(path, &error));
    QVERIFY2(error.contains(path) && error.contains("refused"), qPrintable(error));
    QVERIFY2(reason.isEmpty() ? error.size() > path.size() + 20 : error.contains(reason),
             qPrintable(error));
    QVERIFY(container.loadedPlugins().isEmpty());
}

void TestPluginContainer::loadsFolder()
{
    PluginContainer container;
    QStringList errors;
    QCOMPARE(container.loadPluginFolder(FW_MODULES_DIR, &errors).size(), 1);
    QCOMPARE(container.loadedPlugins().size(), 1);
    QCOMPARE(errors.size(), 4); // one for each wrong module, naming it
    for (const char* module : {FW_WRONG_VERIFICATION, FW_NO_ENTRY, FW_FOREIGN, FW_NULL_INSTANCE})
        QVERIFY2(!errors.filter(module).isEmpty(), module);

    errors.clear();
    QVERIFY(container.loadPluginFolder("/nonexistent/plugins", &errors).isEmpty());
    QCOMPARE(errors, QStringList{"plug-in folder /nonexistent/plugins does not exist"});
}

void TestPluginContainer::reloadSet_data()
{
    QTest::addColumn<bool>("withDefault");
    QTest::addColumn<QString>("device");
    QTest::addColumn<QStringList>("expected");

    const QStringList op26201{"Op26201Sms", "Op26201Ussd"};
    QTest::newRow("exact key") << true << "E1750" << QStringList{"Modem1750"};
    QTest::newRow("exact beats longer prefix") << true << "IMSI26201" << op26201;
    QTest::newRow("longest prefix") << true << "IMSI262019876543210" << op26201;
    QTest::newRow("shorter prefix") << true << "IMSI262030000000000" << QStringList{"Operator262"};
    QTest::newRow("key longer than name") << true << "IMSI26" << QStringList{"DefaultDialer"};
    QTest::newRow("default") << true << "K3565" << QStringList{"DefaultDialer"};
    QTest::newRow("no default") << false << "K3565" << QStringList();
}

void TestPluginContainer::reloadSet()
{
    QFETCH(bool, withDefault);
    QFETCH(QString, device);
    QFETCH(QStringList, expected);
    QJsonObject map = reloadMap();
    if (!withDefault)
        map.remove("");
    PluginContainer container;
    container.setReloadMap(map);
    QCOMPARE(container.IsNeedReload(device) != 0, !expected.isEmpty());
    QStringList changed{"stale"}, unload{"stale"};
    container.GetReloadPlugins(device, changed, unload);
    QCOMPARE(changed, expected);
    QCOMPARE(unload, QStringList());
}

void TestPluginContainer::reloadSequenceAndOperations()
{
    PluginContainer container;
    container.setReloadMap(reloadMap());
    QSignalSpy spy(&container, &PluginContainer::pluginOperation);
    QStringList changed, unload;
    container.GetReloadPlugins("IMSI262019876543210", changed, unload);
    QCOMPARE(container.IsNeedReload("IMSI262011111111111"), 0); // same operator, same set
    QVERIFY(container.IsNeedReload("K3565"));
    container.GetReloadPlugins("K3565", changed, unload);
    QCOMPARE(unload, (QStringList{"Op26201Sms", "Op26201Ussd"}));
    QCOMPARE(changed, QStringList{"DefaultDialer"});
    QCOMPARE(container.currentReloadPlugins(), changed);
    QCOMPARE(container.IsNeedReload("K3565"), 0);

    QObject plugin;
    container.registerPlugin("Op", 1, &plugin);
    container.unRegisterFormPluginContainer("Op");
    container.UnloadPlugin("Op");
    container.LoadPlugin("Op");
    QVERIFY(!container.GetPlugin("Op", 1));
    QCOMPARE(container.operations(), (QStringList{"unregister Op", "unload Op", "load Op"}));
    QCOMPARE(spy.at(1), (QVariantList{"unload", "Op"})); // each one signalled
}

QTEST_GUILESS_MAIN(TestPluginContainer)
#include "tst_plugincontainer.moc"
