// Which device-specific plug-ins belong to which device. Keys are device
// names or name prefixes (an IMSI prefix such as "IMSI26201" stands for one
// operator's cards); the empty key is the set for every other device.
#pragma once

#include <QHash>
#include <QJsonObject>
#include <QString>
#include <QStringList>

class PluginReloadMap
{
public:
    // Replaces the map. Entries whose value is not an array of strings are
    // skipped and named in `problems`.
    void setMap(const QJsonObject& map, QStringList* problems = nullptr);

    // The plug-in set of `deviceName`: the exact key, else the longest key
    // that prefixes the name, else the empty key, else nothing.
    QStringList pluginsFor(const QString& deviceName) const;

private:
    QHash<QString, QStringList> m_sets;
};
