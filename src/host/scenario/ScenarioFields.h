// The fields a scenario's objects may carry, and their check: no unknown
// key (a typo would otherwise silently match anything), every required key
// present, every value of its type. Used for devices, host and steps alike.
#pragma once

#include <QJsonObject>
#include <QJsonValue>
#include <QString>

#include <initializer_list>
#include <vector>

namespace ScenarioFields {

enum class Type
{
    Int, // a JSON number without a fraction
    Bool,
    String,
    Object,
    Array,
    Scalar, // string, number or boolean (matched by its text)
    Any,    // checked by the caller
};

struct Field
{
    const char* name;
    Type type;
    bool required = false;
};

bool isInt(const QJsonValue& value);
bool hasType(const QJsonValue& value, Type type);
bool checkFields(const QJsonObject& object, const std::vector<Field>& fields, const QString& where,
                 QString* error);

// A checked step's values.
inline QString stringOf(const QJsonObject& json, const char* key)
{
    return json.value(QLatin1String(key)).toString();
}
inline int intOf(const QJsonObject& json, const char* key, int fallback = 0)
{
    return json.value(QLatin1String(key)).toInt(fallback);
}

} // namespace ScenarioFields
