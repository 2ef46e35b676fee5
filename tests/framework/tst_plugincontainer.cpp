// The host's plug-in container: registrations, loading plug-in libraries, and
// the reload map that picks plug-ins by device.
#include "SiblingInterfaces.h"
#include "Startup.h"
#include <PluginContainer.h>

#include <QFile>
#include <QJsonArray>
#include <QTemporaryDir>
#include <QTest>

namespace {
const QStringList Op26201{"Op26201Sms", "Op26201Ussd"};
const QJsonObject ReloadMap{{"", QJsonArray{"DefaultDialer"}},
                            {"IMSI262", QJsonArray{"Operator262"}},
                            {"IMSI26201", QJsonArray::fromStringList(Op26201)},
                            {"E1750", QJsonArray{"Modem1750"}}};
} // namespace

class TestPluginContainer : public QObject
{
    Q_OBJECT
private slots:
    void lookup()
    {
        using namespace LinkPlugins;
        QObject notify, miniFrame;
        PluginContainer container;
        container.registerPlugin(NotifyClsid, NotifyInterface, &notify);
        container.registerPlugin(MiniFrameClsid, MiniFrameInterface, &miniFrame);
        {
            QObject shortLived;
            container.registerPlugin(DialupClsid, DialupInterface, &shortLived);
        }
        // Plug-ins reach the container through Startup.
        Startup::SetPluginContainer(&container);
        IPluginContainer* shared = Startup::GetPluginContainer();
        QCOMPARE(shared->GetPlugin(NotifyClsid, NotifyInterface), &notify);
        QCOMPARE(shared->GetPlugin(MiniFrameClsid, MiniFrameInterface), &miniFrame);
        QVERIFY(!shared->GetPlugin(NotifyClsid, MiniFrameInterface)); // both must match
        QVERIFY(!shared->GetPlugin(DialupClsid, NotifyInterface));
        QVERIFY(!shared->GetPlugin(DialupClsid, DialupInterface)); // deleted elsewhere
        Startup::SetPluginContainer(nullptr);
    }
    void loadsLibraries()
    {
        PluginContainer container;
        QStringList errors;
        const QList<QObject*> loaded = container.loadPluginFolder(FW_MODULES_DIR, &errors);
        QCOMPARE(loaded.size(), 1);
        QCOMPARE(qobject_cast<IBasePlugin*>(loaded[0])->GetPluginName(), "GoodTestPlugin");
        QCOMPARE(container.loadPluginLibrary(FW_GOOD), loaded[0]); // loaded once only
        // Registered under its class identifier, answering through QueryInterface.
        QObject* service = container.GetPlugin("0F1E2D3C-TEST-GOOD-MODULE", 7);
        QVERIFY(service && service->parent() == loaded[0]);
        QVERIFY(!container.GetPlugin("0F1E2D3C-TEST-GOOD-MODULE", 8));
        // clang-format off
        const QList<QPair<const char*, const char*>> wrong = {
            {FW_WRONG_VERIFICATION, "verification data does not start with \"pattern=QT_PLUGIN_VERIFICATION_DATA\""},
            {FW_NO_ENTRY, "does not export qt_plugin_query_verification_data and qt_plugin_instance"},
            {FW_FOREIGN, "is not an IBasePlugin"},
            {FW_NULL_INSTANCE, "qt_plugin_instance returned null"}};
        // clang-format on
        QCOMPARE(errors.size(), wrong.size()); // one for each wrong module, naming it and why
        for (const auto& [module, reason] : wrong) {
            const QString error = errors.filter(module).value(0);
            QVERIFY2(error.contains("refused") && error.contains(reason), module);
        }
        // What is no library at all: the loader's own explanation.
        QTemporaryDir dir;
        QFile notes(dir.filePath("notes.so"));
        QVERIFY(notes.open(QIODevice::WriteOnly) && notes.write("notes, not machine code\n") > 0);
        notes.close();
        for (const QString& path : {QString("/nonexistent/missing.so"), notes.fileName()}) {
            QString error;
            QVERIFY(!container.loadPluginLibrary(path, &error));
            QVERIFY2(error.contains(path) && error.contains("refused") &&
                         error.size() > path.size() + 20,
                     qPrintable(error));
        }
        QCOMPARE(container.loadedPlugins(), loaded);
        errors.clear();
        QVERIFY(container.loadPluginFolder("/nonexistent/plugins", &errors).isEmpty());
        QCOMPARE(errors, QStringList{"plug-in folder /nonexistent/plugins does not exist"});
    }
    void reloadSet_data()
    {
        QTest::addColumn<bool>("withDefault");
        QTest::addColumn<QString>("device");
        QTest::addColumn<QStringList>("expected");
        const QStringList fallback{"DefaultDialer"}, op262{"Operator262"};
        QTest::newRow("exact key") << true << "E1750" << QStringList{"Modem1750"};
        QTest::newRow("exact beats longer prefix") << true << "IMSI26201" << Op26201;
        QTest::newRow("longest prefix") << true << "IMSI262019876543210" << Op26201;
        QTest::newRow("shorter prefix") << true << "IMSI262030000000000" << op262;
        QTest::newRow("key longer than name") << true << "IMSI26" << fallback;
        QTest::newRow("default") << true << "K3565" << fallback;
        QTest::newRow("no default") << false << "K3565" << QStringList();
    }
    void reloadSet()
    {
        QFETCH(bool, withDefault);
        QFETCH(QString, device);
        QFETCH(QStringList, expected);
        QJsonObject map = ReloadMap;
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
    void reloadSequenceAndOperations()
    {
        PluginContainer container;
        container.setReloadMap(ReloadMap);
        QStringList changed, unload;
        container.GetReloadPlugins("IMSI262019876543210", changed, unload);
        QCOMPARE(container.IsNeedReload("IMSI262011111111111"), 0); // same operator, same set
        QVERIFY(container.IsNeedReload("K3565"));
        container.GetReloadPlugins("K3565", changed, unload);
        QCOMPARE(unload, Op26201);
        QCOMPARE(changed, QStringList{"DefaultDialer"});
        QCOMPARE(container.IsNeedReload("K3565"), 0);
        QObject plugin;
        container.registerPlugin("Op", 1, &plugin);
        container.unRegisterFormPluginContainer("Op");
        container.UnloadPlugin("Op");
        container.LoadPlugin("Op");
        QVERIFY(!container.GetPlugin("Op", 1));
        QCOMPARE(container.operations(), (QStringList{"unregister Op", "unload Op", "load Op"}));
    }
};

QTEST_GUILESS_MAIN(TestPluginContainer)
#include "tst_plugincontainer.moc"
