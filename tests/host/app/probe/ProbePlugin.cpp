// A plug-in for linkhost's tests: it tells what the host does to it through
// the host's settings, recorded as "setting probe/<operation> = <value>".
#include "CommonUtils.h"
#include "DeviceMgrContract.h"
#include "PluginInterfaces.h"

#include <QPointer>
#include <QPushButton>

namespace {
void tell(const QString& operation, const QString& value = QStringLiteral("called"))
{
    CommonUtils::SetSettings(QStringLiteral("probe"), operation, value);
}
} // namespace

class ProbePlugin : public QObject, public IUIPlugin, public INotify, public IDeviceMgr
{
    Q_OBJECT
    Q_INTERFACES(IBasePlugin IUIPlugin INotify IDeviceMgr)
public:
    void Release() override {}
    int GetLastError() override { return 0; }
    void OnDestroy() override { tell(QStringLiteral("OnDestroy")); }
    void UnSDKRegisterEvent() override { tell(QStringLiteral("UnSDKRegisterEvent")); }
    int Init() override
    {
        tell(QStringLiteral("Init"));
        return 1;
    }
    unsigned int GetPluginType() override { return 1; }
    QString GetCLSID() override { return QStringLiteral("PROBE-CLSID"); }
    unsigned int GetVersion() override { return 0; }
    QString GetPluginName() override { return QStringLiteral("Probe"); }
    bool IsAllowRelease() override { return false; }
    bool QueryInterface(int iid, QObject** object) override
    {
        if (iid != DEVICE_MGR_INTERFACE)
            return false;
        *object = this;
        return true;
    }
    // Two buttons of one name, for the steps that must tell them apart.
    int ShowWindow(QWidget* parent, QRect&) override
    {
        tell(QStringLiteral("ShowWindow"), parent ? parent->objectName() : QStringLiteral("null"));
        for (const QString& text : {QStringLiteral("one"), QStringLiteral("two")}) {
            auto* twin = new QPushButton(text, parent);
            twin->setObjectName(QStringLiteral("Probe_Twin"));
            twin->move(0, text == QLatin1String("one") ? 100 : 140);
            connect(twin, &QPushButton::clicked, [text] { tell(QStringLiteral("Twin"), text); });
        }
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
        tell(QStringLiteral("Notify"), QString::number(type));
        return 0;
    }
    int VerifyPIN() override
    {
        tell(QStringLiteral("VerifyPIN"));
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
