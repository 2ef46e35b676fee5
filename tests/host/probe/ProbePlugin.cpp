// A plug-in module for linkhost's own tests. It tells what the host does to
// it through the host's settings, which the host records in its transcript
// as "setting probe/<operation> = <value>".
#include "CommonUtils.h"
#include "IPluginContainer.h"
#include "PluginInterfaces.h"
#include "SiblingInterfaces.h"
#include "Startup.h"

#include <QPointer>
#include <QWidget>

namespace {
void tell(const QString& operation, const QString& value)
{
    CommonUtils::SetSettings(QStringLiteral("probe"), operation, value);
}

bool mainWindowVisible()
{
    IPluginContainer* container = Startup::GetPluginContainer();
    QObject* frame = container
                         ? container->GetPlugin(QString::fromLatin1(LinkPlugins::MainFrameClsid),
                                                LinkPlugins::MainFrameInterface)
                         : nullptr;
    auto* service = qobject_cast<IMainFrameUIService*>(frame);
    return service && service->GetMainWindow() && service->GetMainWindow()->isVisible();
}
} // namespace

class ProbeManager : public QObject, public IDeviceMgr
{
    Q_OBJECT
    Q_INTERFACES(IDeviceMgr)
public:
    using QObject::QObject;
    int VerifyPIN() override
    {
        tell(QStringLiteral("VerifyPIN"), QStringLiteral("called"));
        return 7;
    }
    int EnablePIN() override { return 0; }
    int DisablePIN() override { return 0; }
    int UnlockPIN() override { return 0; }
    int ModifyPIN() override { return 0; }
    int EnableRF() override { return 0; }
    int DisableRF() override { return 0; }
    int SetOffline() override { return 0; }
    int DetatchGPRS() override { return 0; }
    void ShowChooseDevice() override {}
    bool IsDeviceAvialable() override { return true; }
    bool IsValidSim() override { return false; }
    void StartDetectDevice() override {}
    QString GetLastUsedDeviceName() override { return QStringLiteral("Probe Card"); }
};

class ProbePlugin : public QObject, public IUIPlugin, public INotify
{
    Q_OBJECT
    Q_INTERFACES(IBasePlugin IUIPlugin INotify)
public:
    void Release() override {}
    int GetLastError() override { return 0; }
    void OnDestroy() override
    {
        tell(QStringLiteral("OnDestroy"), QStringLiteral("called"));
        delete m_manager;
    }
    void UnSDKRegisterEvent() override
    {
        tell(QStringLiteral("UnSDKRegisterEvent"), QStringLiteral("called"));
    }
    int Init() override
    {
        m_manager = new ProbeManager(this);
        tell(QStringLiteral("Init"), QStringLiteral("called"));
        return 1;
    }
    unsigned int GetPluginType() override { return 1; }
    QString GetCLSID() override { return QStringLiteral("PROBE-CLSID"); }
    unsigned int GetVersion() override { return 0; }
    QString GetPluginName() override { return QStringLiteral("Probe"); }
    bool IsAllowRelease() override { return false; }
    bool QueryInterface(int iid, QObject** object) override
    {
        if (iid != 4097 || !m_manager)
            return false;
        *object = m_manager;
        return true;
    }
    int ShowWindow(QWidget* parent, QRect&) override
    {
        tell(QStringLiteral("ShowWindow"), parent ? parent->objectName() : QStringLiteral("null"));
        return 1;
    }
    int DoModal() override { return 0; }
    void Hide() override {}
    void FitSize(QRect&) override {}
    bool IsReady() override { return true; }
    bool ChangeLang(const QString& lang) override
    {
        tell(QStringLiteral("ChangeLang"), lang);
        return !lang.isEmpty();
    }
    int Notify(unsigned int type, NotifyParam, NotifyParam) override
    {
        if (type == 258)
            tell(QStringLiteral("FrameVisible"),
                 mainWindowVisible() ? QStringLiteral("true") : QStringLiteral("false"));
        tell(QStringLiteral("Notify"), QString::number(type));
        return 0;
    }

private:
    QPointer<ProbeManager> m_manager;
};

extern "C" Q_DECL_EXPORT const char* qt_plugin_query_verification_data()
{
    return "pattern=QT_PLUGIN_VERIFICATION_DATA\nversion=6.4.2\ndebug=false\nbuildkey=probe";
}

extern "C" Q_DECL_EXPORT QObject* qt_plugin_instance()
{
    static QPointer<ProbePlugin> instance;
    if (!instance)
        instance = new ProbePlugin;
    return instance;
}

#include "ProbePlugin.moc"
