// The container test's modules: a good one and four wrong ones (FW_MODULE_<kind>).
#include "PluginInterfaces.h"

#include <QObject>
#include <QPointer>

class TestPlugin : public QObject, public IBasePlugin
{
    Q_OBJECT
    Q_INTERFACES(IBaseInterface IDestroyEvent IBasePlugin)
public:
    void Release() override {}
    int GetLastError() override { return 0; }
    void OnDestroy() override {}
    void UnSDKRegisterEvent() override {}
    int Init() override { return 1; }
    unsigned int GetPluginType() override { return 1; }
    QString GetCLSID() override { return QStringLiteral("0F1E2D3C-TEST-GOOD-MODULE"); }
    unsigned int GetVersion() override { return 1; }
    QString GetPluginName() override { return QStringLiteral("GoodTestPlugin"); }
    bool IsAllowRelease() override { return true; }
    bool QueryInterface(int iid, QObject** ppObject) override
    {
        return iid == 7 && ppObject && (*ppObject = &m_service);
    }

private:
    QObject m_service{this};
};

#ifndef FW_MODULE_NO_ENTRY
extern "C" Q_DECL_EXPORT const char* qt_plugin_query_verification_data()
{
#ifdef FW_MODULE_WRONG_VERIFICATION
    return "pattern=SOME_OTHER_LOADER\nversion=1.0";
#else
    return "pattern=QT_PLUGIN_VERIFICATION_DATA\nversion=6.4.2\ndebug=false";
#endif
}

extern "C" Q_DECL_EXPORT QObject* qt_plugin_instance()
{
    static QPointer<QObject> instance;
#if defined(FW_MODULE_FOREIGN)
    if (!instance)
        instance = new QObject;
#elif !defined(FW_MODULE_NULL_INSTANCE)
    if (!instance)
        instance = new TestPlugin;
#endif
    return instance;
}
#endif

#include "TestModule.moc"
