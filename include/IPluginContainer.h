// The host's plug-in container as plug-ins see it.
#pragma once

#include "LinkFrameworkExport.h"

#include <QString>
#include <QStringList>

class QObject;

class LINKFRAMEWORK_EXPORT IPluginContainer
{
public:
    virtual ~IPluginContainer();
    // The plug-in registered under `clsid` for `interfaceNumber`, or null.
    // Callers cast the result by interface identifier (qobject_cast).
    virtual QObject* GetPlugin(const QString& clsid, int interfaceNumber) = 0;
    // Non-zero when the device-specific plug-ins differ for `deviceName`.
    virtual int IsNeedReload(const QString& deviceName) = 0;
    virtual void LoadPlugin(const QString& pluginId) = 0;
    // Fills the plug-ins that change for `deviceName` and those to unload.
    virtual void GetReloadPlugins(const QString& deviceName, QStringList& changedPlugins,
                                  QStringList& unloadPlugins) = 0;
    virtual void UnloadPlugin(const QString& pluginId) = 0;
    // Removes a plug-in from the registry without unloading its code.
    virtual void unRegisterFormPluginContainer(const QString& pluginId) = 0;
};
