// The host's plug-in container: built-in plug-ins registered by the host,
// plug-in libraries loaded from disk, and the exchange of device-specific
// plug-ins when another card is selected.
#pragma once

#include "IPluginContainer.h"
#include "LinkFrameworkExport.h"

#include <QJsonObject>
#include <QList>
#include <QObject>

#include <memory>

class LINKFRAMEWORK_EXPORT PluginContainer : public QObject, public IPluginContainer
{
    Q_OBJECT
public:
    explicit PluginContainer(QObject* parent = nullptr);
    // Plug-in objects still alive are deleted; their libraries stay mapped
    // until the process ends.
    ~PluginContainer() override;

    // Makes `plugin` answer GetPlugin(clsid, interfaceNumber). Not owned.
    void registerPlugin(const QString& clsid, int interfaceNumber, QObject* plugin);

    // Loads one plug-in library and returns its plug-in object, or null with
    // the file and the reason in `error`.
    QObject* loadPluginLibrary(const QString& path, QString* error = nullptr);
    // Loads every "*.so" of `dir` in name order; failures go to `errors`.
    QList<QObject*> loadPluginFolder(const QString& dir, QStringList* errors = nullptr);
    // The loaded plug-in objects still alive, in load order.
    QList<QObject*> loadedPlugins() const;

    // Device key -> array of plug-in identifiers (see PluginReloadMap).
    void setReloadMap(const QJsonObject& map);
    bool loadReloadMap(const QString& path, QString* error = nullptr);
    // The device-specific plug-ins in use (empty until the first reload).
    QStringList currentReloadPlugins() const;
    // Every reload operation so far, as "<op> <id>".
    QStringList operations() const;

    QObject* GetPlugin(const QString& clsid, int interfaceNumber) override;
    int IsNeedReload(const QString& deviceName) override;
    void LoadPlugin(const QString& pluginId) override;
    void GetReloadPlugins(const QString& deviceName, QStringList& changedPlugins,
                          QStringList& unloadPlugins) override;
    void UnloadPlugin(const QString& pluginId) override;
    void unRegisterFormPluginContainer(const QString& pluginId) override;

signals:
    // op is "unload", "load" or "unregister".
    void pluginOperation(const QString& op, const QString& id);

private:
    void record(const QString& op, const QString& id);

    struct Private;
    std::unique_ptr<Private> d;
};
