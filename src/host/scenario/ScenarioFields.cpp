#include "ScenarioFields.h"

#include <cmath>

namespace ScenarioFields {

namespace {

const char* typeName(Type type)
{
    switch (type) {
    case Type::Int:
        return "an integer";
    case Type::Bool:
        return "true or false";
    case Type::String:
        return "a string";
    case Type::Object:
        return "an object";
    case Type::Array:
        return "an array";
    case Type::Scalar:
        return "a string, number or boolean";
    case Type::Any:
        break;
    }
    return "a value";
}

} // namespace

bool isInt(const QJsonValue& value)
{
    if (!value.isDouble())
        return false;
    const double number = value.toDouble();
    return std::floor(number) == number && std::fabs(number) <= double(1LL << 53);
}

bool hasType(const QJsonValue& value, Type type)
{
    switch (type) {
    case Type::Int:
        return isInt(value);
    case Type::Bool:
        return value.isBool();
    case Type::String:
        return value.isString();
    case Type::Object:
        return value.isObject();
    case Type::Array:
        return value.isArray();
    case Type::Scalar:
        return value.isString() || value.isBool() || value.isDouble();
    case Type::Any:
        return true;
    }
    return false;
}

bool checkFields(const QJsonObject& object, const std::vector<Field>& fields, const QString& where,
                 QString* error)
{
    for (auto it = object.begin(); it != object.end(); ++it) {
        const Field* allowed = nullptr;
        for (const Field& field : fields) {
            if (it.key() == QLatin1String(field.name))
                allowed = &field;
        }
        if (!allowed) {
            *error = QStringLiteral("%1: unknown field \"%2\"").arg(where, it.key());
            return false;
        }
        if (!hasType(it.value(), allowed->type)) {
            *error = QStringLiteral("%1: \"%2\" must be %3")
                         .arg(where, it.key(), QLatin1String(typeName(allowed->type)));
            return false;
        }
    }
    for (const Field& field : fields) {
        if (field.required && !object.contains(QLatin1String(field.name))) {
            *error = QStringLiteral("%1: missing required field \"%2\"")
                         .arg(where, QLatin1String(field.name));
            return false;
        }
    }
    return true;
}

} // namespace ScenarioFields
