#include "ScenarioFile.h"

#include "DeviceCalls.h"
#include "RecordMatcher.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonParseError>
#include <QKeySequence>

#include <cmath>
#include <initializer_list>
#include <limits>

namespace {

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

// Checks `object` against its allowed fields: no unknown key (a typo would
// otherwise silently match anything), every required key present, every
// value of its type.
bool checkFields(const QJsonObject& object, std::initializer_list<Field> fields,
                 const QString& where, QString* error)
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

int intOf(const QJsonObject& object, const char* key, int fallback)
{
    const QJsonValue value = object.value(QLatin1String(key));
    return value.isDouble() ? value.toInt(fallback) : fallback;
}

bool boolOf(const QJsonObject& object, const char* key, bool fallback)
{
    const QJsonValue value = object.value(QLatin1String(key));
    return value.isBool() ? value.toBool() : fallback;
}

std::string stringOf(const QJsonObject& object, const char* key, const std::string& fallback)
{
    const QJsonValue value = object.value(QLatin1String(key));
    return value.isString() ? value.toString().toStdString() : fallback;
}

bool parseDevice(const QJsonValue& value, const QString& where, sim::CardConfig* card,
                 QString* error)
{
    if (!value.isObject()) {
        *error = where + QStringLiteral(": a device must be an object");
        return false;
    }
    const QJsonObject device = value.toObject();
    if (!checkFields(device,
                     {{"name", Type::String},
                      {"port", Type::Int},
                      {"protocol", Type::Int},
                      {"productType", Type::Int},
                      {"plugged", Type::Bool},
                      {"sim", Type::Object},
                      {"rf", Type::Object},
                      {"fingerprint", Type::Bool},
                      {"wwanPrivilege", Type::Bool},
                      {"comment", Type::Any}},
                     where, error))
        return false;
    const QJsonObject simObject = device.value(QLatin1String("sim")).toObject();
    if (!checkFields(simObject,
                     {{"status", Type::Int},
                      {"imsi", Type::String},
                      {"pin", Type::String},
                      {"puk", Type::String},
                      {"pinEnabled", Type::Bool},
                      {"pinRetries", Type::Int},
                      {"pukRetries", Type::Int}},
                     where + QStringLiteral(".sim"), error))
        return false;
    const QJsonObject rfObject = device.value(QLatin1String("rf")).toObject();
    if (!checkFields(rfObject, {{"supported", Type::Bool}, {"sw", Type::Int}, {"hw", Type::Int}},
                     where + QStringLiteral(".rf"), error))
        return false;

    card->name = stringOf(device, "name", card->name);
    card->port = intOf(device, "port", card->port);
    card->protocol = intOf(device, "protocol", card->protocol);
    card->productType = intOf(device, "productType", card->productType);
    card->plugged = boolOf(device, "plugged", card->plugged);
    card->fingerprint = boolOf(device, "fingerprint", card->fingerprint);
    card->wwanPrivilege = boolOf(device, "wwanPrivilege", card->wwanPrivilege);
    card->sim.status = intOf(simObject, "status", card->sim.status);
    card->sim.imsi = stringOf(simObject, "imsi", card->sim.imsi);
    card->sim.pin = stringOf(simObject, "pin", card->sim.pin);
    card->sim.puk = stringOf(simObject, "puk", card->sim.puk);
    card->sim.pinEnabled = boolOf(simObject, "pinEnabled", card->sim.pinEnabled);
    card->sim.pinRetries = intOf(simObject, "pinRetries", card->sim.pinRetries);
    card->sim.pukRetries = intOf(simObject, "pukRetries", card->sim.pukRetries);
    card->rf.supported = boolOf(rfObject, "supported", card->rf.supported);
    card->rf.sw = intOf(rfObject, "sw", card->rf.sw);
    card->rf.hw = intOf(rfObject, "hw", card->rf.hw);
    return true;
}

bool parseFaults(const QJsonArray& faults, ScenarioHost* host, QString* error)
{
    for (int i = 0; i < faults.size(); ++i) {
        const QString where = QStringLiteral("host.faults[%1]").arg(i);
        if (!faults.at(i).isObject()) {
            *error = where + QStringLiteral(": a fault must be an object");
            return false;
        }
        const QJsonObject fault = faults.at(i).toObject();
        if (!checkFields(fault,
                         {{"function", Type::String, true},
                          {"result", Type::Int},
                          {"times", Type::Int},
                          {"comment", Type::Any}},
                         where, error))
            return false;
        host->faults.append({fault.value(QLatin1String("function")).toString(),
                             intOf(fault, "result", 1), intOf(fault, "times", 1)});
    }
    return true;
}

bool parseSettings(const QJsonObject& settings, ScenarioHost* host, QString* error)
{
    for (auto it = settings.begin(); it != settings.end(); ++it) {
        const int slash = it.key().indexOf(QLatin1Char('/'));
        if (slash <= 0 || slash == it.key().size() - 1) {
            *error = QStringLiteral("host.settings: \"%1\" is not \"group/key\"").arg(it.key());
            return false;
        }
        if (!hasType(it.value(), Type::Scalar)) {
            *error = QStringLiteral("host.settings: \"%1\" must be a string, number or boolean")
                         .arg(it.key());
            return false;
        }
        host->settings.append({it.key(), RecordMatcher::scalarText(it.value())});
    }
    return true;
}

bool parseHost(const QJsonObject& object, ScenarioHost* host, QString* error)
{
    const QString where = QStringLiteral("host");
    if (!checkFields(object,
                     {{"language", Type::String},
                      {"win7", Type::Bool},
                      {"wwanReadyAfter", Type::Int},
                      {"wwanServiceActive", Type::Bool},
                      {"settings", Type::Object},
                      {"userDataDir", Type::String},
                      {"sdkUserDataDir", Type::String},
                      {"frameStyle", Type::Int},
                      {"dialupConnected", Type::Bool},
                      {"faults", Type::Array},
                      {"eventGapMs", Type::Int},
                      {"reloadMap", Type::Object},
                      {"comment", Type::Any}},
                     where, error))
        return false;
    host->language = object.value(QLatin1String("language")).toString(host->language);
    host->sdk.win7 = boolOf(object, "win7", host->sdk.win7);
    host->sdk.wwanReadyAfter = intOf(object, "wwanReadyAfter", host->sdk.wwanReadyAfter);
    host->sdk.wwanServiceActive = boolOf(object, "wwanServiceActive", host->sdk.wwanServiceActive);
    host->sdkUserDataDirSet = object.contains(QLatin1String("sdkUserDataDir"));
    host->sdk.userDataDir = stringOf(object, "sdkUserDataDir", std::string());
    host->userDataDir = object.value(QLatin1String("userDataDir")).toString();
    host->frameStyle = intOf(object, "frameStyle", 0);
    host->dialupConnected = boolOf(object, "dialupConnected", false);
    host->eventGapMs = intOf(object, "eventGapMs", 0);
    if (host->eventGapMs < 0) {
        *error = QStringLiteral("host: \"eventGapMs\" must not be negative");
        return false;
    }
    host->hasReloadMap = object.contains(QLatin1String("reloadMap"));
    host->reloadMap = object.value(QLatin1String("reloadMap")).toObject();
    if (!parseSettings(object.value(QLatin1String("settings")).toObject(), host, error))
        return false;
    return parseFaults(object.value(QLatin1String("faults")).toArray(), host, error);
}

// Fields every step may carry besides its own.
constexpr Field CommentField{"comment", Type::Any};
constexpr Field InField{"in", Type::String};
constexpr Field TimeoutField{"timeout", Type::Int};

bool checkReply(const QJsonObject& step, const QString& where, QString* error)
{
    const QJsonValue reply = step.value(QLatin1String("reply"));
    if (isInt(reply))
        return true;
    const QString text = reply.toString();
    if (text == QLatin1String("first") || text == QLatin1String("second") ||
        text == QLatin1String("third"))
        return true;
    *error = where + QStringLiteral(": \"reply\" must be \"first\", \"second\", \"third\" or a "
                                    "reply code");
    return false;
}

bool checkPayload(const QJsonObject& step, const QString& where, QString* error)
{
    const QJsonValue payload = step.value(QLatin1String("payload"));
    if (payload.isUndefined() || payload.isNull() || payload.toString() == QLatin1String("devices"))
        return true;
    if (payload.isArray()) {
        for (const QJsonValue& word : payload.toArray()) {
            if (!isInt(word) || word.toDouble() < 0 ||
                word.toDouble() > double(std::numeric_limits<quint32>::max())) {
                *error = where + QStringLiteral(": \"payload\" words must be unsigned 32-bit "
                                                "integers");
                return false;
            }
        }
        return true;
    }
    *error = where + QStringLiteral(": \"payload\" must be an array of words, \"devices\" or null");
    return false;
}

bool checkKey(const QJsonObject& step, const QString& where, QString* error)
{
    const QKeySequence sequence = QKeySequence::fromString(
        step.value(QLatin1String("key")).toString(), QKeySequence::PortableText);
    if (sequence.count() == 1 && sequence[0].key() != Qt::Key_unknown)
        return true;
    *error = where + QStringLiteral(": \"key\" is not one key such as \"Escape\" or \"Ctrl+X\"");
    return false;
}

// "step <n> <the step as written>", where a step's messages start.
QString placeOf(const ScenarioStep& step)
{
    return QStringLiteral("step %1 %2").arg(step.number).arg(step.text());
}

bool checkAction(const ScenarioStep& step, int deviceCount, QString* error)
{
    const QString where = placeOf(step);
    const QJsonObject& json = step.json;
    const Field doField{"do", Type::String, true};
    const QString& action = step.name;
    if (action == QLatin1String("plug") || action == QLatin1String("unplug")) {
        if (!checkFields(json, {doField, CommentField, {"device", Type::Int, true}}, where, error))
            return false;
        const int device = json.value(QLatin1String("device")).toInt();
        if (device >= 0 && device < deviceCount)
            return true;
        *error = where + QStringLiteral(": \"device\" %1 is not one of the %2 devices (counted "
                                        "from 0)")
                             .arg(device)
                             .arg(deviceCount);
        return false;
    }
    if (action == QLatin1String("event"))
        return checkFields(
                   json, {doField, CommentField, {"code", Type::Int, true}, {"payload", Type::Any}},
                   where, error) &&
               checkPayload(json, where, error);
    if (action == QLatin1String("rf"))
        return checkFields(
            json, {doField, CommentField, {"hw", Type::Int, true}, {"sw", Type::Int, true}}, where,
            error);
    if (action == QLatin1String("sim-state"))
        return checkFields(json, {doField, CommentField, {"word", Type::Int, true}}, where, error);
    if (action == QLatin1String("fingerprint"))
        return checkFields(json, {doField, CommentField, {"state", Type::Int, true}}, where, error);
    if (action == QLatin1String("power"))
        return checkFields(json, {doField, CommentField, {"code", Type::Int, true}}, where, error);
    if (action == QLatin1String("notify"))
        return checkFields(json,
                           {doField,
                            CommentField,
                            {"code", Type::Int, true},
                            {"w", Type::Int},
                            {"l", Type::Int},
                            {"from", Type::String}},
                           where, error);
    if (action == QLatin1String("call")) {
        if (!checkFields(json, {doField, CommentField, {"op", Type::String, true}}, where, error))
            return false;
        if (DeviceCalls::isOperation(json.value(QLatin1String("op")).toString()))
            return true;
        *error = where + QStringLiteral(": \"op\" is not an IDeviceMgr operation (one of %1)")
                             .arg(DeviceCalls::operations().join(QStringLiteral(", ")));
        return false;
    }
    if (action == QLatin1String("type"))
        return checkFields(json,
                           {doField,
                            CommentField,
                            InField,
                            TimeoutField,
                            {"widget", Type::String, true},
                            {"text", Type::String, true}},
                           where, error);
    if (action == QLatin1String("click") || action == QLatin1String("close"))
        return checkFields(json,
                           {doField,
                            CommentField,
                            InField,
                            TimeoutField,
                            {"widget", Type::String, true},
                            {"text", Type::String}},
                           where, error);
    if (action == QLatin1String("key"))
        return checkFields(json,
                           {doField,
                            CommentField,
                            InField,
                            TimeoutField,
                            {"widget", Type::String, true},
                            {"text", Type::String},
                            {"key", Type::String, true}},
                           where, error) &&
               checkKey(json, where, error);
    if (action == QLatin1String("answer"))
        return checkFields(json, {doField, CommentField, {"reply", Type::Any, true}}, where,
                           error) &&
               checkReply(json, where, error);
    if (action == QLatin1String("language"))
        return checkFields(json, {doField, CommentField, {"lang", Type::String, true}}, where,
                           error);
    if (action == QLatin1String("wait"))
        return checkFields(json, {doField, CommentField, {"ms", Type::Int, true}}, where, error);
    if (action == QLatin1String("screenshot"))
        return checkFields(json,
                           {doField, CommentField, {"file", Type::String}, {"screen", Type::Bool}},
                           where, error);
    if (action == QLatin1String("trigger"))
        return checkFields(json, {doField, CommentField, {"action", Type::String, true}}, where,
                           error);
    if (action == QLatin1String("quit"))
        return checkFields(json, {doField, CommentField}, where, error);
    *error = where + QStringLiteral(": unknown action \"%1\"").arg(action);
    return false;
}

bool checkExpectation(const ScenarioStep& step, QString* error)
{
    const QString where = placeOf(step);
    const QJsonObject& json = step.json;
    const Field kindField{step.negated ? "expect-not" : "expect", Type::String, true};
    const Field waitField = step.negated ? Field{"for", Type::Int} : Field{"timeout", Type::Int};
    const QString& kind = step.name;
    if (kind == QLatin1String("widget") && step.negated) {
        *error = where + QStringLiteral(": \"widget\" is checked with \"expect\" only");
        return false;
    }
    if (kind == QLatin1String("notify"))
        return checkFields(json,
                           {kindField,
                            waitField,
                            CommentField,
                            {"code", Type::Scalar},
                            {"to", Type::String},
                            {"from", Type::String},
                            {"w", Type::Scalar},
                            {"l", Type::Scalar}},
                           where, error);
    if (kind == QLatin1String("msgbox"))
        return checkFields(json,
                           {kindField,
                            waitField,
                            CommentField,
                            {"icon", Type::Scalar},
                            {"title", Type::String},
                            {"text", Type::String},
                            {"buttons", Type::String},
                            {"reply", Type::Scalar}},
                           where, error);
    if (kind == QLatin1String("shown") || kind == QLatin1String("hidden"))
        return checkFields(json, {kindField, waitField, CommentField, {"widget", Type::String}},
                           where, error);
    if (kind == QLatin1String("sdk"))
        return checkFields(json,
                           {kindField,
                            waitField,
                            CommentField,
                            {"call", Type::String},
                            {"args", Type::String},
                            {"result", Type::Scalar}},
                           where, error);
    if (kind == QLatin1String("call"))
        return checkFields(
            json,
            {kindField, waitField, CommentField, {"op", Type::String}, {"result", Type::Scalar}},
            where, error);
    if (kind == QLatin1String("menu") || kind == QLatin1String("dialup") ||
        kind == QLatin1String("miniframe"))
        return checkFields(json, {kindField, waitField, CommentField, {"op", Type::String}}, where,
                           error);
    if (kind == QLatin1String("setting"))
        return checkFields(
            json,
            {kindField, waitField, CommentField, {"key", Type::String}, {"value", Type::Scalar}},
            where, error);
    if (kind == QLatin1String("plugin"))
        return checkFields(
            json, {kindField, waitField, CommentField, {"op", Type::String}, {"id", Type::String}},
            where, error);
    if (kind == QLatin1String("subscribe"))
        return checkFields(
            json,
            {kindField, waitField, CommentField, {"from", Type::String}, {"code", Type::Scalar}},
            where, error);
    if (kind == QLatin1String("widget"))
        return checkFields(json,
                           {kindField,
                            waitField,
                            CommentField,
                            InField,
                            {"widget", Type::String, true},
                            {"text", Type::String},
                            {"enabled", Type::Bool},
                            {"visible", Type::Bool},
                            {"rows", Type::Int},
                            {"title", Type::String}},
                           where, error);
    *error = where + QStringLiteral(": unknown expectation kind \"%1\"").arg(kind);
    return false;
}

bool parseStep(const QJsonValue& value, int number, int deviceCount, ScenarioStep* step,
               QString* error)
{
    step->number = number;
    if (!value.isObject()) {
        *error = QStringLiteral("step %1: a step must be an object").arg(number);
        return false;
    }
    step->json = value.toObject();
    const QJsonObject& json = step->json;
    const int kinds = int(json.contains(QLatin1String("do"))) +
                      int(json.contains(QLatin1String("expect"))) +
                      int(json.contains(QLatin1String("expect-not")));
    if (kinds != 1) {
        *error = placeOf(*step) + QStringLiteral(": needs exactly one of \"do\", \"expect\" and "
                                                 "\"expect-not\"");
        return false;
    }
    step->negated = json.contains(QLatin1String("expect-not"));
    step->expectation = step->negated || json.contains(QLatin1String("expect"));
    const char* key = step->negated ? "expect-not" : step->expectation ? "expect" : "do";
    const QJsonValue name = json.value(QLatin1String(key));
    if (!name.isString()) {
        *error =
            placeOf(*step) + QStringLiteral(": \"%1\" must be a string").arg(QLatin1String(key));
        return false;
    }
    step->name = name.toString();
    return step->expectation ? checkExpectation(*step, error)
                             : checkAction(*step, deviceCount, error);
}

QString position(const QByteArray& json, int offset)
{
    const QByteArray before = json.left(offset);
    const int line = before.count('\n') + 1;
    const int column = offset - (before.lastIndexOf('\n') + 1) + 1;
    return QStringLiteral("line %1, column %2").arg(line).arg(column);
}

} // namespace

QString ScenarioStep::text() const
{
    return QString::fromUtf8(QJsonDocument(json).toJson(QJsonDocument::Compact));
}

bool ScenarioFile::load(const QString& path, Mode mode, Scenario* scenario, QString* error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("%1: cannot read: %2").arg(path, file.errorString());
        return false;
    }
    QString problem;
    if (parse(file.readAll(), mode, scenario, &problem))
        return true;
    *error = path + QStringLiteral(": ") + problem;
    return false;
}

bool ScenarioFile::parse(const QByteArray& json, Mode mode, Scenario* scenario, QString* error)
{
    *scenario = Scenario();
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(json, &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        *error = QStringLiteral("%1: malformed JSON: %2")
                     .arg(position(json, parseError.offset), parseError.errorString());
        return false;
    }
    if (!document.isObject()) {
        *error = QStringLiteral("the scenario must be a JSON object");
        return false;
    }
    const QJsonObject root = document.object();
    if (!checkFields(root,
                     {{"devices", Type::Array},
                      {"host", Type::Object},
                      {"steps", Type::Array, mode == Replay},
                      {"description", Type::Any},
                      {"comment", Type::Any}},
                     QStringLiteral("scenario"), error))
        return false;

    const QJsonArray devices = root.value(QLatin1String("devices")).toArray();
    for (int i = 0; i < devices.size(); ++i) {
        sim::CardConfig card;
        if (!parseDevice(devices.at(i), QStringLiteral("devices[%1]").arg(i), &card, error))
            return false;
        scenario->devices.push_back(card);
    }
    if (!parseHost(root.value(QLatin1String("host")).toObject(), &scenario->host, error))
        return false;
    if (mode == Setup)
        return true;

    const QJsonArray steps = root.value(QLatin1String("steps")).toArray();
    for (int i = 0; i < steps.size(); ++i) {
        ScenarioStep step;
        if (!parseStep(steps.at(i), i + 1, int(scenario->devices.size()), &step, error))
            return false;
        scenario->steps.append(step);
    }
    return true;
}
