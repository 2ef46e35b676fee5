// A minimal plug-in for the container test: a name, a class identifier and
// one service object behind interface number TestPlugin::ServiceInterface.
#pragma once

#include "PluginInterfaces.h"

#include <QObject>

class TestPlugin : public QObject, public IBasePlugin
{
    Q_OBJECT
    Q_INTERFACES(IBaseInterface IDestroyEvent IBasePlugin)
public:
    static constexpr int ServiceInterface = 7;

    TestPlugin()
    {
        m_service.setObjectName(QStringLiteral("TestPluginService"));
        m_service.setParent(this);
    }

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
        if (iid != ServiceInterface || !ppObject)
            return false;
        *ppObject = &m_service;
        return true;
    }

private:
    QObject m_service;
};
