#include "PluginReloadMap.h"

#include <QJsonArray>

namespace {

bool toStringList(const QJsonValue& value, QStringList* out)
{
    if (!value.isArray())
        return false;
    QStringList list;
    for (const QJsonValue& item : value.toArray()) {
        if (!item.isString())
            return false;
        list.append(item.toString());
    }
    *out = list;
    return true;
}

} // namespace

void PluginReloadMap::setMap(const QJsonObject& map, QStringList* problems)
{
    m_sets.clear();
    for (auto it = map.begin(); it != map.end(); ++it) {
        QStringList plugins;
        if (!toStringList(it.value(), &plugins)) {
            if (problems)
                problems->append(QStringLiteral("reload map entry \"%1\" is not an array of "
                                                "plug-in identifiers")
                                     .arg(it.key()));
            continue;
        }
        m_sets.insert(it.key(), plugins);
    }
}

QStringList PluginReloadMap::pluginsFor(const QString& deviceName) const
{
    const auto exact = m_sets.constFind(deviceName);
    if (exact != m_sets.constEnd())
        return exact.value();

    const QString* best = nullptr;
    for (auto it = m_sets.constBegin(); it != m_sets.constEnd(); ++it) {
        const QString& key = it.key();
        if (key.isEmpty() || !deviceName.startsWith(key))
            continue;
        if (!best || key.size() > best->size())
            best = &key;
    }
    if (best)
        return m_sets.value(*best);
    return m_sets.value(QString());
}
