// The built module as the host sees it: loaded through the real container,
// cast by interface identifier, queried for the service, shut down; and the
// whole host playing the lifecycle scenario.
#include "DeviceMgrService.h"
#include "DeviceMgrUIPlugin.h"
#include "HostFixture.h"
#include "PluginContainer.h"
#include "TraceCapture.h"
#include "sim/VirtualCard.h"

#include <Change.h>
#include <PluginInterfaces.h>

#include <QDir>
#include <QFile>
#include <QLibrary>
#include <QPointer>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QWidget>

namespace {

const char kModuleFile[] = "libDeviceMgrUI.so";

QString pluginDir()
{
    return QString::fromLocal8Bit(qgetenv("LINK_PLUGIN_DIR"));
}

QString modulePath()
{
    return QDir(pluginDir()).filePath(kModuleFile);
}

// The module loaded through the container, shut down as the host does when
// the test is over.
class LoadedModule
{
public:
    explicit LoadedModule(HostFixture& host)
    {
        QString error;
        m_object = host.container().loadPluginLibrary(modulePath(), &error);
        if (!m_object)
            qWarning("loading %s failed: %s", qPrintable(modulePath()), qPrintable(error));
    }
    ~LoadedModule()
    {
        if (IUIPlugin* ui = plugin()) {
            ui->UnSDKRegisterEvent();
            ui->OnDestroy();
        }
    }
    QObject* object() const { return m_object; }
    IUIPlugin* plugin() const { return qobject_cast<IUIPlugin*>(m_object); }

private:
    QPointer<QObject> m_object;
};

QStringList unregistrations(const sim::VirtualCard& card)
{
    QStringList calls;
    for (const sim::CallRecord& record : card.callLog()) {
        const QString function = QString::fromStdString(record.function);
        if (function.startsWith("UTPS_DevSrv_UnRegister"))
            calls.append(function);
    }
    return calls;
}

const QStringList kUnregisterOrder = {"UTPS_DevSrv_UnRegisterDevInitEventCallback",
                                      "UTPS_DevSrv_UnRegisterDevMgrCallback",
                                      "UTPS_DevSrv_UnRegisterMultiDeviceEventCallback"};

// Index of the first line at or after `from` that contains `text`, or -1.
int indexOf(const QStringList& lines, const QString& text, int from = 0)
{
    for (int i = qMax(0, from); i < lines.size(); ++i) {
        if (lines[i].contains(text))
            return i;
    }
    return -1;
}

} // namespace

class TestDeviceMgrUIPlugin : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void exportsOnlyTheEntryPoints();
    void verificationData();
    void instanceIsGuarded();
    void casts_data();
    void casts();
    void queryInterfaceRefusesOtherNumbers_data();
    void queryInterfaceRefusesOtherNumbers();
    void queryInterfaceGivesTheService();
    void identity();
    void changeLang_data();
    void changeLang();
    void isAllowReleaseAfterOnDestroy();
    void initGivesTheServiceResult_data();
    void initGivesTheServiceResult();
    void onDestroyForgetsTheService();
    void unregisterBeforeInitMakesAService();
    void shutdownUnregistersInOrder();
    void loadedModuleRunsWithTheHost();
    void scenarioLifecycle();
};

void TestDeviceMgrUIPlugin::initTestCase()
{
    // The loaded module registers this type by name too, and the container
    // unmaps the module after each test: registered here first, the name
    // keeps pointing at this binary's copy, which the tests that start a
    // service of their own use.
    qRegisterMetaType<E_DEVMGR_PIN_STATE>("E_DEVMGR_PIN_STATE");
    QVERIFY2(!pluginDir().isEmpty(), "LINK_PLUGIN_DIR is not set (run through ctest)");
    QVERIFY2(QFile::exists(modulePath()), qPrintable(modulePath()));
}

void TestDeviceMgrUIPlugin::exportsOnlyTheEntryPoints()
{
    const QString nm = QStandardPaths::findExecutable("nm");
    if (nm.isEmpty())
        QSKIP("nm is not installed");
    QProcess process;
    process.start(nm, {"-D", "--defined-only", modulePath()});
    QVERIFY(process.waitForFinished(30000));
    QCOMPARE(process.exitCode(), 0);

    QStringList symbols;
    const QStringList lines =
        QString::fromLocal8Bit(process.readAllStandardOutput()).split('\n', Qt::SkipEmptyParts);
    for (const QString& line : lines)
        symbols.append(line.split(' ', Qt::SkipEmptyParts).last());
    symbols.sort();
    QCOMPARE(symbols, (QStringList{"qt_plugin_instance", "qt_plugin_query_verification_data"}));
}

void TestDeviceMgrUIPlugin::verificationData()
{
    QLibrary library(modulePath());
    QVERIFY2(library.load(), qPrintable(library.errorString()));
    using Query = const char* (*)();
    auto query = reinterpret_cast<Query>(library.resolve("qt_plugin_query_verification_data"));
    QVERIFY(query);
    QCOMPARE(QByteArray(query()), QByteArray("pattern=QT_PLUGIN_VERIFICATION_DATA\n"
                                             "version=4.6.2\n"
                                             "debug=false\n"
                                             "buildkey=macosx macx g++-4 full-config"));
}

void TestDeviceMgrUIPlugin::instanceIsGuarded()
{
    QLibrary library(modulePath());
    QVERIFY2(library.load(), qPrintable(library.errorString()));
    using Instance = QObject* (*)();
    auto instance = reinterpret_cast<Instance>(library.resolve("qt_plugin_instance"));
    QVERIFY(instance);

    QObject* first = instance();
    QVERIFY(first);
    QCOMPARE(instance(), first);
    QVERIFY(first->qt_metacast("CDeviceMgrUI"));

    // Asked while the old object is still being destroyed (its memory still
    // taken), a guarded pointer already reads null and a new object appears.
    QObject* madeDuringDeletion = nullptr;
    connect(first, &QObject::destroyed,
            [&madeDuringDeletion, instance] { madeDuringDeletion = instance(); });
    delete first;
    QVERIFY(madeDuringDeletion);
    QVERIFY2(madeDuringDeletion != first, "qt_plugin_instance handed out a deleted object");
    QCOMPARE(instance(), madeDuringDeletion);
    delete madeDuringDeletion;
}

void TestDeviceMgrUIPlugin::casts_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QString>("expected");

    QTest::newRow("class name") << QByteArray("CDeviceMgrUI") << "object";
    QTest::newRow("QObject") << QByteArray("QObject") << "object";
    QTest::newRow("IUIPlugin") << QByteArray("IUIPlugin") << "ui";
    QTest::newRow("IBasePlugin identifier")
        << QByteArray("com.corvane.linkmarrow.plugin.IBasePlugin") << "ui";
    QTest::newRow("IUIPlugin identifier")
        << QByteArray("com.corvane.linkmarrow.plugin.IUIPlugin") << "ui";
    QTest::newRow("INotify") << QByteArray("INotify") << "notify";
    QTest::newRow("INotify identifier")
        << QByteArray("com.corvane.linkmarrow.plugin.INotify") << "notify";
    QTest::newRow("IBasePlugin by name") << QByteArray("IBasePlugin") << "none";
    QTest::newRow("IDeviceMgr identifier")
        << QByteArray("com.corvane.linkmarrow.plugin.IDeviceMgr") << "none";
    QTest::newRow("unknown") << QByteArray("CDeviceMgrService") << "none";
    QTest::newRow("null") << QByteArray() << "none";
}

void TestDeviceMgrUIPlugin::casts()
{
    QFETCH(QByteArray, name);
    QFETCH(QString, expected);

    HostFixture host;
    LoadedModule module(host);
    QObject* object = module.object();
    QVERIFY(object);
    // The module's class has the layout of the one built into this test.
    auto* plugin = static_cast<CDeviceMgrUI*>(object);
    void* expectedPointer = nullptr;
    if (expected == "object")
        expectedPointer = object;
    else if (expected == "ui")
        expectedPointer = static_cast<IUIPlugin*>(plugin);
    else if (expected == "notify")
        expectedPointer = static_cast<INotify*>(plugin);

    QCOMPARE(object->qt_metacast(name.isNull() ? nullptr : name.constData()), expectedPointer);
}

void TestDeviceMgrUIPlugin::queryInterfaceRefusesOtherNumbers_data()
{
    QTest::addColumn<int>("iid");
    QTest::newRow("4096") << 4096;
    QTest::newRow("4098") << 4098;
    QTest::newRow("0") << 0;
    QTest::newRow("-1") << -1;
    QTest::newRow("notification service's 8209") << 8209;
}

void TestDeviceMgrUIPlugin::queryInterfaceRefusesOtherNumbers()
{
    QFETCH(int, iid);
    HostFixture host;
    LoadedModule module(host);
    IUIPlugin* plugin = module.plugin();
    QVERIFY(plugin);

    QObject sentinel;
    QObject* output = &sentinel;
    QVERIFY(!plugin->QueryInterface(iid, &output));
    QCOMPARE(output, &sentinel);
}

void TestDeviceMgrUIPlugin::queryInterfaceGivesTheService()
{
    HostFixture host;
    LoadedModule module(host);
    IUIPlugin* plugin = module.plugin();
    QVERIFY(plugin);
    TraceCapture trace;

    QObject* first = nullptr;
    QVERIFY(plugin->QueryInterface(CDeviceMgrUI::DeviceMgrInterface, &first));
    QVERIFY(first);
    QObject* second = nullptr;
    QVERIFY(plugin->QueryInterface(CDeviceMgrUI::DeviceMgrInterface, &second));
    QCOMPARE(second, first);
    QCOMPARE(trace.matching("DeviceMgrUIPlugin.cpp: QueryInterface called").size(), 2);

    // What sibling plug-ins do with it.
    IDeviceMgr* service = qobject_cast<IDeviceMgr*>(first);
    QVERIFY(service);
    QCOMPARE(first->qt_metacast("IDeviceMgr"), static_cast<void*>(service));
    QCOMPARE(first->qt_metacast("CDeviceMgrService"), static_cast<void*>(first));
    QVERIFY(!service->IsValidSim()); // a fresh service: no device yet
    QVERIFY(!plugin->QueryInterface(CDeviceMgrUI::DeviceMgrInterface, nullptr));
}

void TestDeviceMgrUIPlugin::identity()
{
    HostFixture host;
    LoadedModule module(host);
    IUIPlugin* plugin = module.plugin();
    QVERIFY(plugin);
    QVERIFY(plugin->GetCLSID().isNull());
    QCOMPARE(plugin->GetPluginName(), QString("DeviceMgrUI"));
    QCOMPARE(plugin->GetPluginType(), 1u);
    QCOMPARE(plugin->GetVersion(), 0u);
    QCOMPARE(plugin->GetLastError(), 0);
    QCOMPARE(plugin->DoModal(), 0);
    QVERIFY(plugin->IsReady());
}

void TestDeviceMgrUIPlugin::changeLang_data()
{
    QTest::addColumn<QString>("lang");
    QTest::addColumn<bool>("accepted");
    QTest::newRow("empty") << QString("") << false;
    QTest::newRow("null") << QString() << false;
    QTest::newRow("de") << QString("de") << true;
    QTest::newRow("unknown language") << QString("xx") << true;
}

void TestDeviceMgrUIPlugin::changeLang()
{
    QFETCH(QString, lang);
    QFETCH(bool, accepted);
    HostFixture host;
    LoadedModule module(host);
    IUIPlugin* plugin = module.plugin();
    QVERIFY(plugin);
    QCOMPARE(plugin->ChangeLang(lang), accepted);
    // Switching catalogues is the host's business.
    QCOMPARE(Change::Language(), QString("en"));
}

void TestDeviceMgrUIPlugin::isAllowReleaseAfterOnDestroy()
{
    HostFixture host;
    LoadedModule module(host);
    IUIPlugin* plugin = module.plugin();
    QVERIFY(plugin);
    QCOMPARE(plugin->Init(), 1);
    QVERIFY(!plugin->IsAllowRelease());
    plugin->UnSDKRegisterEvent();
    plugin->OnDestroy();
    QVERIFY(!plugin->IsAllowRelease());
}

void TestDeviceMgrUIPlugin::initGivesTheServiceResult_data()
{
    QTest::addColumn<QString>("failing");
    QTest::addColumn<int>("result");
    QTest::newRow("all registered") << QString() << 1;
    QTest::newRow("init callback refused") << "UTPS_DevSrv_RegisterDevInitEventCallback" << 0;
    QTest::newRow("multi-device callback refused")
        << "UTPS_DevSrv_RegisterMultiDeviceEventCallback" << 0;
}

void TestDeviceMgrUIPlugin::initGivesTheServiceResult()
{
    QFETCH(QString, failing);
    QFETCH(int, result);
    HostFixture host;
    if (!failing.isEmpty())
        host.card().setFault(failing.toStdString(), 1, 1);
    CDeviceMgrUI plugin;
    QVERIFY(!CDeviceMgrService::existingInstance());
    QCOMPARE(plugin.Init(), result);
    QVERIFY(CDeviceMgrService::existingInstance());
}

void TestDeviceMgrUIPlugin::onDestroyForgetsTheService()
{
    HostFixture host;
    CDeviceMgrUI plugin;
    QCOMPARE(plugin.Init(), 1);
    QObject* output = nullptr;
    QVERIFY(plugin.QueryInterface(CDeviceMgrUI::DeviceMgrInterface, &output));
    QCOMPARE(plugin.cachedService(), CDeviceMgrService::existingInstance());
    QCOMPARE(static_cast<QObject*>(plugin.cachedService()), output);
    QPointer<QObject> old = output;

    plugin.UnSDKRegisterEvent();
    plugin.OnDestroy();
    QVERIFY(old.isNull());
    // Checked without reading through it: a stale pointer would be dangling.
    QVERIFY(!plugin.cachedService());
    QCOMPARE(CDeviceMgrService::existingInstance(), nullptr);

    // Asked again, the plug-in hands out a new service.
    QObject* again = nullptr;
    QVERIFY(plugin.QueryInterface(CDeviceMgrUI::DeviceMgrInterface, &again));
    QVERIFY(again);
    QCOMPARE(static_cast<QObject*>(CDeviceMgrService::existingInstance()), again);
    QCOMPARE(static_cast<QObject*>(plugin.cachedService()), again);
}

void TestDeviceMgrUIPlugin::unregisterBeforeInitMakesAService()
{
    HostFixture host;
    CDeviceMgrUI plugin;
    QVERIFY(!CDeviceMgrService::existingInstance());
    plugin.UnSDKRegisterEvent();
    QVERIFY(CDeviceMgrService::existingInstance());
    QCOMPARE(unregistrations(host.card()), kUnregisterOrder);
}

void TestDeviceMgrUIPlugin::shutdownUnregistersInOrder()
{
    HostFixture host;
    LoadedModule module(host);
    IUIPlugin* plugin = module.plugin();
    QVERIFY(plugin);
    QCOMPARE(plugin->Init(), 1);
    QVERIFY(unregistrations(host.card()).isEmpty());

    TraceCapture trace;
    plugin->UnSDKRegisterEvent();
    plugin->OnDestroy();
    QCOMPARE(unregistrations(host.card()), kUnregisterOrder);

    const QStringList lines = trace.lines();
    const int called = indexOf(lines, "DeviceMgrUIPlugin.cpp: UnSDKRegisterEvent called");
    const int service = indexOf(lines, "DeviceMgrService.cpp: unSDKRegisterEvent called", called);
    const int serviceExit =
        indexOf(lines, "DeviceMgrService.cpp: unSDKRegisterEvent exit", service);
    const int exit = indexOf(lines, "DeviceMgrUIPlugin.cpp: UnSDKRegisterEvent exit", serviceExit);
    QVERIFY(called >= 0 && service > called && serviceExit > service && exit > serviceExit);
    QVERIFY(indexOf(lines, "releaseData : destructor called", exit) > exit);

    // Unregistered: a card plugged now reaches nobody.
    host.card().clearCallLog();
    host.card().addCard({});
    QVERIFY(host.waitForEvents());
    QVERIFY(trace.matching("called event = ").isEmpty());
}

void TestDeviceMgrUIPlugin::loadedModuleRunsWithTheHost()
{
    HostFixture host;
    LoadedModule module(host);
    IUIPlugin* plugin = module.plugin();
    QVERIFY(plugin);
    host.siblings().addNotifyTarget(module.object());
    QCOMPARE(plugin->Init(), 1);
    QRect rect;
    QCOMPARE(plugin->ShowWindow(nullptr, rect), 0);
    QCOMPARE(plugin->ShowWindow(host.mainWindow(), rect), 1);
    INotify* notify = qobject_cast<INotify*>(module.object());
    QVERIFY(notify);
    QCOMPARE(notify->Notify(258, 0, 0), 0);

    host.card().addCard({});
    QVERIFY(host.waitForEvents());
    // The module's own service sent the device-initialised notification
    // through the host's notification service.
    QVERIFY2(host.records("notify").contains("broadcast 581 0 0"),
             qPrintable(host.records("notify").join('\n')));
    host.siblings().removeNotifyTarget(module.object());
}

void TestDeviceMgrUIPlugin::scenarioLifecycle()
{
    const QString linkhost = QDir(pluginDir()).filePath("../../../bin/linkhost");
    QVERIFY2(QFile::exists(linkhost), "linkhost is not built");
    const QString scenario = QDir(QString::fromLocal8Bit(qgetenv("LINK_SOURCE_DIR")))
                                 .filePath("tests/scenarios/lifecycle.json");
    QVERIFY2(QFile::exists(scenario), qPrintable(scenario));
    QTemporaryDir work;
    QVERIFY(work.isValid());
    const QString transcriptFile = work.filePath("lifecycle.transcript");

    QProcess process;
    process.start(linkhost, {"--headless", "--trace", "--scenario", scenario, "--transcript",
                             transcriptFile});
    QVERIFY(process.waitForFinished(120000));
    const QStringList trace =
        QString::fromLocal8Bit(process.readAllStandardError()).split('\n', Qt::SkipEmptyParts);
    QFile file(transcriptFile);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QStringList transcript = QString::fromUtf8(file.readAll()).split('\n');
    QVERIFY2(process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0,
             qPrintable(transcript.filter(" expect ").join('\n')));

    // Registered at start, unregistered at exit, each in its order.
    const QStringList order = {"sdk UTPS_DevSrv_RegisterDevInitEventCallback(",
                               "sdk UTPS_DevSrv_RegisterDevMgrCallback(",
                               "sdk UTPS_DevSrv_RegisterMultiDeviceEventCallback(",
                               "notify broadcast 581 ",
                               "sdk UTPS_DevSrv_UnRegisterDevInitEventCallback(",
                               "sdk UTPS_DevSrv_UnRegisterDevMgrCallback(",
                               "sdk UTPS_DevSrv_UnRegisterMultiDeviceEventCallback("};
    int at = -1;
    for (const QString& step : order) {
        const int next = indexOf(transcript, step, at + 1);
        QVERIFY2(next > at, qPrintable("missing or out of order: " + step));
        at = next;
    }

    // An event's trip: the callback on the SDK's thread, then the GUI slot.
    const int callback = indexOf(trace, "OnDevMgrEventsCB : called event = 6606 ");
    QVERIFY2(callback >= 0, "no device-manager callback line for 6606");
    QVERIFY(indexOf(trace, "OnDevMgrEventsCB :Update Device Info on events", callback) > callback);
    QVERIFY(indexOf(trace, "deviceMgrEventHandler :UTPS_EVENT_DEV_DETECTED", callback) > callback);
    const int reject = indexOf(trace, "OnDevMgrEventsCB : called event = 6601 ", callback);
    QVERIFY2(reject > callback, "no device-manager callback line for 6601");
    QVERIFY(indexOf(trace, "deviceMgrEventHandler : 6601 Device event (UTPS_EVENT_DEV_REJECT)",
                    reject) > reject);
}

QTEST_MAIN(TestDeviceMgrUIPlugin)
#include "tst_devicemgruiplugin.moc"
