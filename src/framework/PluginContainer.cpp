#include "PluginContainer.h"

#include "PluginInterfaces.h"
#include "PluginReloadMap.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonParseError>
#include <QLibrary>
#include <QPair>
#include <QPointer>

#include <vector>

IPluginContainer::~IPluginContainer() = default;

namespace {

const char VerificationPattern[] = "pattern=QT_PLUGIN_VERIFICATION_DATA";

using VerificationFunction = const char* (*)();
using InstanceFunction = QObject* (*)();

struct LoadedPlugin
{
    QString path;
    QPointer<QObject> object;
};

void setError(QString* error, const QString& path, const QString& reason)
{
    if (error)
        *error = QStringLiteral("plug-in %1 refused: %2").arg(path, reason);
}

} // namespace

struct PluginContainer::Private
{
    QHash<QPair<QString, int>, QPointer<QObject>> registry;
    // Loaded plug-ins by their class identifier; asked through QueryInterface.
    QHash<QString, QPointer<QObject>> loadedByClsid;
    std::vector<LoadedPlugin> loaded;
    // Objects of refused modules; deleted with the loaded ones.
    std::vector<QPointer<QObject>> refused;
    // Kept loaded until the container goes: plug-in objects run their code.
    std::vector<std::unique_ptr<QLibrary>> libraries;
    PluginReloadMap reloadMap;
    QStringList current;
    QStringList operations;

    // `created` tells whether the module made an object, refused or not.
    QObject* instantiate(QLibrary& library, const QString& path, QString* error, bool* created);
};

QObject* PluginContainer::Private::instantiate(QLibrary& library, const QString& path,
                                               QString* error, bool* created)
{
    auto verification = reinterpret_cast<VerificationFunction>(
        library.resolve("qt_plugin_query_verification_data"));
    auto instance = reinterpret_cast<InstanceFunction>(library.resolve("qt_plugin_instance"));
    if (!verification || !instance) {
        QStringList missing;
        if (!verification)
            missing << QStringLiteral("qt_plugin_query_verification_data");
        if (!instance)
            missing << QStringLiteral("qt_plugin_instance");
        setError(
            error, path,
            QStringLiteral("it does not export %1").arg(missing.join(QStringLiteral(" and "))));
        return nullptr;
    }
    const char* text = verification();
    if (!text || !QByteArray(text).startsWith(VerificationPattern)) {
        setError(error, path,
                 QStringLiteral("its verification data does not start with \"%1\"")
                     .arg(QLatin1String(VerificationPattern)));
        return nullptr;
    }
    QObject* object = instance();
    *created = object != nullptr;
    if (!object) {
        setError(error, path, QStringLiteral("qt_plugin_instance returned null"));
        return nullptr;
    }
    if (!qobject_cast<IBasePlugin*>(object)) {
        refused.emplace_back(object);
        setError(error, path,
                 QStringLiteral("its instance (%1) is not an IBasePlugin")
                     .arg(QLatin1String(object->metaObject()->className())));
        return nullptr;
    }
    return object;
}

PluginContainer::PluginContainer(QObject* parent) : QObject(parent), d(std::make_unique<Private>())
{}

PluginContainer::~PluginContainer()
{
    d->registry.clear();
    d->loadedByClsid.clear();
    for (auto it = d->loaded.rbegin(); it != d->loaded.rend(); ++it)
        delete it->object.data();
    d->loaded.clear();
    for (const QPointer<QObject>& object : d->refused)
        delete object.data();
    // The libraries stay mapped for the life of the process: a plug-in leaves
    // pointers into its code behind (registered meta-types, queued events),
    // and unmapping it buys nothing at exit.
}

void PluginContainer::registerPlugin(const QString& clsid, int interfaceNumber, QObject* plugin)
{
    d->registry.insert(qMakePair(clsid, interfaceNumber), plugin);
}

QObject* PluginContainer::loadPluginLibrary(const QString& path, QString* error)
{
    auto library = std::make_unique<QLibrary>(path);
    if (!library->load()) {
        setError(error, path, library->errorString());
        return nullptr;
    }
    bool created = false;
    QObject* object = d->instantiate(*library, path, error, &created);
    if (!object) {
        // A refused module that made an object anyway stays mapped: the
        // object's code must outlive it.
        if (created)
            d->libraries.push_back(std::move(library));
        else
            library->unload();
        return nullptr;
    }
    d->libraries.push_back(std::move(library));
    for (const LoadedPlugin& known : d->loaded) {
        if (known.object == object)
            return object; // the same module twice: one plug-in
    }
    d->loaded.push_back({path, object});
    const QString clsid = qobject_cast<IBasePlugin*>(object)->GetCLSID();
    if (!clsid.isEmpty())
        d->loadedByClsid.insert(clsid, object);
    return object;
}

QList<QObject*> PluginContainer::loadPluginFolder(const QString& dir, QStringList* errors)
{
    QList<QObject*> result;
    const QDir folder(dir);
    if (dir.isEmpty() || !folder.exists()) {
        if (errors)
            errors->append(QStringLiteral("plug-in folder %1 does not exist").arg(dir));
        return result;
    }
    const QFileInfoList files =
        folder.entryInfoList({QStringLiteral("*.so")}, QDir::Files, QDir::Name);
    for (const QFileInfo& file : files) {
        QString error;
        QObject* object = loadPluginLibrary(file.absoluteFilePath(), &error);
        if (object)
            result.append(object);
        else if (errors)
            errors->append(error);
    }
    return result;
}

QList<QObject*> PluginContainer::loadedPlugins() const
{
    QList<QObject*> result;
    for (const LoadedPlugin& plugin : d->loaded) {
        if (plugin.object)
            result.append(plugin.object.data());
    }
    return result;
}

void PluginContainer::setReloadMap(const QJsonObject& map)
{
    QStringList problems;
    d->reloadMap.setMap(map, &problems);
    for (const QString& problem : problems)
        qWarning("PluginContainer: %s", qPrintable(problem));
}

bool PluginContainer::loadReloadMap(const QString& path, QString* error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        if (error)
            *error = QStringLiteral("cannot read reload map %1: %2").arg(path, file.errorString());
        return false;
    }
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &parseError);
    if (!document.isObject()) {
        if (error)
            *error = QStringLiteral("reload map %1 is not a JSON object: %2")
                         .arg(path, parseError.error == QJsonParseError::NoError
                                        ? QStringLiteral("top level is not an object")
                                        : parseError.errorString());
        return false;
    }
    QStringList problems;
    d->reloadMap.setMap(document.object(), &problems);
    if (!problems.isEmpty()) {
        if (error)
            *error =
                QStringLiteral("reload map %1: %2").arg(path, problems.join(QStringLiteral("; ")));
        return false;
    }
    return true;
}

QStringList PluginContainer::currentReloadPlugins() const
{
    return d->current;
}

QStringList PluginContainer::operations() const
{
    return d->operations;
}

QObject* PluginContainer::GetPlugin(const QString& clsid, int interfaceNumber)
{
    QObject* registered = d->registry.value(qMakePair(clsid, interfaceNumber)).data();
    if (registered)
        return registered;
    QObject* loaded = d->loadedByClsid.value(clsid).data();
    auto* plugin = qobject_cast<IBasePlugin*>(loaded);
    if (!plugin)
        return nullptr;
    QObject* answer = nullptr;
    if (!plugin->QueryInterface(interfaceNumber, &answer))
        return nullptr;
    return answer;
}

int PluginContainer::IsNeedReload(const QString& deviceName)
{
    return d->reloadMap.pluginsFor(deviceName) != d->current ? 1 : 0;
}

void PluginContainer::LoadPlugin(const QString& pluginId)
{
    record(QStringLiteral("load"), pluginId);
}

void PluginContainer::GetReloadPlugins(const QString& deviceName, QStringList& changedPlugins,
                                       QStringList& unloadPlugins)
{
    unloadPlugins = d->current;
    changedPlugins = d->reloadMap.pluginsFor(deviceName);
    d->current = changedPlugins;
}

void PluginContainer::UnloadPlugin(const QString& pluginId)
{
    record(QStringLiteral("unload"), pluginId);
}

void PluginContainer::unRegisterFormPluginContainer(const QString& pluginId)
{
    for (auto it = d->registry.begin(); it != d->registry.end();) {
        if (it.key().first == pluginId)
            it = d->registry.erase(it);
        else
            ++it;
    }
    d->loadedByClsid.remove(pluginId);
    record(QStringLiteral("unregister"), pluginId);
}

void PluginContainer::record(const QString& op, const QString& id)
{
    d->operations.append(op + QLatin1Char(' ') + id);
    emit pluginOperation(op, id);
}
