// The built module as the host sees it, loaded through the real container.
#include "CardCalls.h"
#include "DeviceMgrService.h"
#include "DeviceMgrUIPlugin.h"
#include "HostFixture.h"
#include "TraceCapture.h"
#include <sim/VirtualCard.h>

#include <Change.h>

#include <QtTest>

static QString modulePath()
{
    return QDir(qEnvironmentVariable("LINK_PLUGIN_DIR")).filePath("libDeviceMgrUI.so");
}

class TestDeviceMgrUIPlugin : public QObject
{
    Q_OBJECT

    static QStringList unregistrations() { return calledFunctions().filter("DevSrv_UnRegister"); }

private slots:
    void initTestCase()
    {
        // The loaded module registers this type by name too and is unmapped after
        // each test: registered here first, the name keeps pointing at this binary.
        qRegisterMetaType<E_DEVMGR_PIN_STATE>("E_DEVMGR_PIN_STATE");
        QVERIFY2(QFile::exists(modulePath()), "no module in LINK_PLUGIN_DIR (run through ctest)");
    }
    void exportsOnlyTheEntryPoints()
    {
        const QString nm = QStandardPaths::findExecutable("nm");
        QVERIFY2(!nm.isEmpty(), "nm (binutils) is needed to list the module's symbols");
        QProcess process;
        process.start(nm, {"-D", "--defined-only", "--format=just-symbols", modulePath()});
        QVERIFY(process.waitForFinished(30000));
        QCOMPARE(process.exitCode(), 0);
        QStringList symbols =
            QString::fromLocal8Bit(process.readAllStandardOutput()).split('\n', Qt::SkipEmptyParts);
        symbols.sort();
        QCOMPARE(symbols, (QStringList{"qt_plugin_instance", "qt_plugin_query_verification_data"}));
    }
    void hostContractAndShutdown()
    {
        HostFixture host;
        QString error;
        QPointer<QObject> object = host.container().loadPluginLibrary(modulePath(), &error);
        auto* plugin = qobject_cast<IUIPlugin*>(object);
        QVERIFY2(plugin, qPrintable(error));
        // Shut down as the host does, also when a check fails on the way.
        const auto shutDown = qScopeGuard([&] {
            plugin->UnSDKRegisterEvent();
            plugin->OnDestroy();
        });
        QVERIFY(plugin->GetCLSID().isNull());
        QVERIFY(!plugin->ChangeLang(QString()));
        QVERIFY(!plugin->ChangeLang(""));
        QVERIFY(plugin->ChangeLang("de"));
        QCOMPARE(Change::Language(), QString("en")); // switching catalogues is the host's job

        QCOMPARE(plugin->Init(), 1);
        QObject sentinel;
        QObject *output = &sentinel, *first = nullptr, *second = nullptr;
        QVERIFY(!plugin->QueryInterface(4096, &output));
        QCOMPARE(output, &sentinel);
        QVERIFY(plugin->QueryInterface(DEVICE_MGR_INTERFACE, &first));
        QVERIFY(plugin->QueryInterface(DEVICE_MGR_INTERFACE, &second));
        QCOMPARE(second, first);
        QPointer<QObject> service = first;

        // Casts as the host makes them, by identifier; by interface name they
        // would only restate moc. The module's classes have the layout of the
        // ones built into this test.
        auto* ui = static_cast<CDeviceMgrUI*>(object.data());
        auto* devmgr = static_cast<CDeviceMgrService*>(first);
        const QByteArray id = "com.corvane.linkmarrow.plugin.";
        const QList<std::tuple<QObject*, QByteArray, void*>> casts = {
            {ui, "CDeviceMgrUI", ui},
            {ui, id + "IBasePlugin", static_cast<IUIPlugin*>(ui)},
            {ui, id + "IUIPlugin", static_cast<IUIPlugin*>(ui)},
            {ui, id + "INotify", static_cast<INotify*>(ui)},
            {ui, id + "IDeviceMgr", nullptr},
            {devmgr, "CDeviceMgrService", devmgr},
            {devmgr, id + "IDeviceMgr", static_cast<IDeviceMgr*>(devmgr)}};
        for (const auto& [from, name, wanted] : casts)
            QVERIFY2(from->qt_metacast(name) == wanted, name.constData());

        // An event's trip: the callback on the SDK's thread, then the GUI slot.
        QVERIFY(!plugin->IsAllowRelease());
        QVERIFY(unregistrations().isEmpty());
        TraceCapture trace;
        host.card().addCard({});
        QVERIFY(host.waitForEvents());
        QVERIFY(host.card().unplug(0));
        QVERIFY(host.waitForEvents());
        const QStringList lines = trace.lines();
        qsizetype at = -1;
        const QString called = "OnDevMgrEventsCB : called event = %1 ";
        for (const QString& text :
             {called.arg(UTPS_EVENT_DEV_DETECTED),
              QString("OnDevMgrEventsCB :Update Device Info on events"),
              QString("deviceMgrEventHandler :UTPS_EVENT_DEV_DETECTED"),
              called.arg(UTPS_EVENT_DEV_REJECT),
              QString("deviceMgrEventHandler : %1 Device event (UTPS_EVENT_DEV_REJECT)")
                  .arg(UTPS_EVENT_DEV_REJECT)}) {
            const QRegularExpression line(".*" + QRegularExpression::escape(text) + ".*");
            QVERIFY2((at = lines.indexOf(line, at + 1)) >= 0,
                     qPrintable(text)); // each after the one before
        }

        plugin->UnSDKRegisterEvent();
        plugin->OnDestroy();
        QCOMPARE(unregistrations(),
                 (QStringList{"UTPS_DevSrv_UnRegisterDevInitEventCallback",
                              "UTPS_DevSrv_UnRegisterDevMgrCallback",
                              "UTPS_DevSrv_UnRegisterMultiDeviceEventCallback"}));
        QVERIFY(service.isNull());
        // Checked without reading through it: a stale pointer would dangle.
        QCOMPARE(ui->cachedService(), nullptr);
        QVERIFY(!plugin->IsAllowRelease());
        // Unregistered: a card plugged now reaches nobody.
        trace.clear();
        QVERIFY(host.card().plug(0));
        QVERIFY(host.waitForEvents());
        QVERIFY(trace.matching("called event = ").isEmpty());
    }
};

QTEST_MAIN(TestDeviceMgrUIPlugin)
#include "tst_devicemgruiplugin.moc"
