// The built module as the host sees it, loaded through the real container; and
// linkhost playing the lifecycle scenario.
#include "CardCalls.h"
#include "DeviceMgrService.h"
#include "DeviceMgrUIPlugin.h"
#include "HostFixture.h"
#include "TraceCapture.h"
#include "sim/VirtualCard.h"

#include <Change.h>
#include <PluginInterfaces.h>

#include <QDir>
#include <QFile>
#include <QPointer>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

namespace {

QString pluginDir()
{
    return QString::fromLocal8Bit(qgetenv("LINK_PLUGIN_DIR"));
}

QString modulePath()
{
    return QDir(pluginDir()).filePath("libDeviceMgrUI.so");
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

QStringList unregistrations()
{
    return calledFunctions().filter(QRegularExpression("^UTPS_DevSrv_UnRegister"));
}

// True when each text is found in `lines`, each on a later line than the one before.
bool inOrder(const QStringList& lines, const QStringList& texts)
{
    int at = -1;
    for (const QString& text : texts) {
        do {
            ++at;
        } while (at < lines.size() && !lines[at].contains(text));
        if (at == lines.size())
            return false;
    }
    return true;
}

} // namespace

class TestDeviceMgrUIPlugin : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        // The loaded module registers this type by name too and is unmapped after
        // each test: registered here first, the name keeps pointing at this binary.
        qRegisterMetaType<E_DEVMGR_PIN_STATE>("E_DEVMGR_PIN_STATE");
        QVERIFY2(!pluginDir().isEmpty(), "LINK_PLUGIN_DIR is not set (run through ctest)");
        QVERIFY2(QFile::exists(modulePath()), qPrintable(modulePath()));
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

    void casts_data()
    {
        QTest::addColumn<bool>("onService");
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<QString>("expected");

        const QByteArray id = "com.corvane.linkmarrow.plugin.";
        // clang-format off
        QTest::newRow("CDeviceMgrUI")           << false << QByteArray("CDeviceMgrUI") << "self";
        QTest::newRow("IUIPlugin")              << false << QByteArray("IUIPlugin")    << "ui";
        QTest::newRow("IBasePlugin identifier") << false << id + "IBasePlugin"         << "ui";
        QTest::newRow("IUIPlugin identifier")   << false << id + "IUIPlugin"           << "ui";
        QTest::newRow("INotify")                << false << QByteArray("INotify")      << "notify";
        QTest::newRow("INotify identifier")     << false << id + "INotify"             << "notify";
        QTest::newRow("IDeviceMgr identifier on the plug-in") << false << id + "IDeviceMgr" << "none";
        QTest::newRow("null")                   << false << QByteArray()               << "none";
        QTest::newRow("CDeviceMgrService")      << true  << QByteArray("CDeviceMgrService") << "self";
        QTest::newRow("IDeviceMgr")             << true  << QByteArray("IDeviceMgr")   << "devmgr";
        QTest::newRow("IDeviceMgr identifier")  << true  << id + "IDeviceMgr"          << "devmgr";
        // clang-format on
    }
    void casts()
    {
        QFETCH(bool, onService);
        QFETCH(QByteArray, name);
        QFETCH(QString, expected);

        HostFixture host;
        LoadedModule module(host);
        QVERIFY(module.plugin());
        QObject* object = module.object();
        if (onService)
            QVERIFY(module.plugin()->QueryInterface(CDeviceMgrUI::DeviceMgrInterface, &object));
        // The module's classes have the layout of the ones built into this test.
        auto* plugin = static_cast<CDeviceMgrUI*>(module.object());
        const QHash<QString, void*> sameObject = {{"self", object},
                                                  {"ui", static_cast<IUIPlugin*>(plugin)},
                                                  {"notify", static_cast<INotify*>(plugin)}};
        void* wanted = expected == "devmgr"
                           ? static_cast<IDeviceMgr*>(static_cast<CDeviceMgrService*>(object))
                           : sameObject.value(expected);
        QCOMPARE(object->qt_metacast(name.isNull() ? nullptr : name.constData()), wanted);
    }
    void hostContractAndShutdown()
    {
        HostFixture host;
        LoadedModule module(host);
        IUIPlugin* plugin = module.plugin();
        QVERIFY(plugin);
        QVERIFY(plugin->GetCLSID().isNull());
        QVERIFY(!plugin->ChangeLang(QString()));
        QVERIFY(!plugin->ChangeLang(""));
        QVERIFY(plugin->ChangeLang("de"));
        QCOMPARE(Change::Language(), QString("en")); // switching catalogues is the host's job

        QCOMPARE(plugin->Init(), 1);
        QObject sentinel;
        QObject* output = &sentinel;
        QVERIFY(!plugin->QueryInterface(4096, &output));
        QCOMPARE(output, &sentinel);
        QObject* first = nullptr;
        QObject* second = nullptr;
        QVERIFY(plugin->QueryInterface(4097, &first));
        QVERIFY(plugin->QueryInterface(4097, &second));
        QVERIFY(qobject_cast<IDeviceMgr*>(first));
        QCOMPARE(second, first);
        QPointer<QObject> service = first;
        QVERIFY(!plugin->IsAllowRelease());
        QVERIFY(unregistrations().isEmpty());

        plugin->UnSDKRegisterEvent();
        plugin->OnDestroy();
        QCOMPARE(unregistrations(),
                 (QStringList{"UTPS_DevSrv_UnRegisterDevInitEventCallback",
                              "UTPS_DevSrv_UnRegisterDevMgrCallback",
                              "UTPS_DevSrv_UnRegisterMultiDeviceEventCallback"}));
        QVERIFY(service.isNull());
        // Checked without reading through it: a stale pointer would dangle.
        QCOMPARE(static_cast<CDeviceMgrUI*>(module.object())->cachedService(), nullptr);
        QVERIFY(!plugin->IsAllowRelease());

        // Unregistered: a card plugged now reaches nobody.
        TraceCapture trace;
        host.card().addCard({});
        QVERIFY(host.waitForEvents());
        QVERIFY(trace.matching("called event = ").isEmpty());
    }
    void scenarioLifecycle()
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
        QVERIFY(inOrder(transcript,
                        {"sdk UTPS_DevSrv_RegisterDevInitEventCallback(",
                         "sdk UTPS_DevSrv_RegisterDevMgrCallback(",
                         "sdk UTPS_DevSrv_RegisterMultiDeviceEventCallback(",
                         "notify broadcast 581 ", "sdk UTPS_DevSrv_UnRegisterDevInitEventCallback(",
                         "sdk UTPS_DevSrv_UnRegisterDevMgrCallback(",
                         "sdk UTPS_DevSrv_UnRegisterMultiDeviceEventCallback("}));
        // An event's trip: the callback on the SDK's thread, then the GUI slot.
        QVERIFY(
            inOrder(trace, {"OnDevMgrEventsCB : called event = 6606 ",
                            "OnDevMgrEventsCB :Update Device Info on events",
                            "deviceMgrEventHandler :UTPS_EVENT_DEV_DETECTED",
                            "OnDevMgrEventsCB : called event = 6601 ",
                            "deviceMgrEventHandler : 6601 Device event (UTPS_EVENT_DEV_REJECT)"}));
    }
};

QTEST_MAIN(TestDeviceMgrUIPlugin)
#include "tst_devicemgruiplugin.moc"
