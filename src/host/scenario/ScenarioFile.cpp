#include "ScenarioFile.h"

#include "ContractNames.h"
#include "RecordMatcher.h"
#include "ScenarioFields.h"
#include "ScenarioVocabulary.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonParseError>

#include <cmath>
#include <initializer_list>
#include <limits>

namespace {

using ScenarioFields::checkFields;
using ScenarioFields::Field;
using ScenarioFields::hasType;
using ScenarioFields::isInt;
using ScenarioFields::Type;

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

// "step <n> <the step as written>", where a step's messages start.
QString placeOf(const ScenarioStep& step)
{
    return QStringLiteral("step %1 %2").arg(step.number).arg(step.text());
}

bool checkAction(const ScenarioStep& step, int deviceCount, QString* error)
{
    const QString where = placeOf(step);
    const ScenarioVocabulary::Action* action = ScenarioVocabulary::action(step.name);
    if (!action) {
        *error = where + QStringLiteral(": unknown action \"%1\"").arg(step.name);
        return false;
    }
    std::vector<Field> fields = {{"do", Type::String, true}, CommentField};
    if (action->onWidget) {
        fields.push_back(InField);
        fields.push_back(TimeoutField);
    }
    fields.insert(fields.end(), action->fields.begin(), action->fields.end());
    return checkFields(step.json, fields, where, error) &&
           (!action->check || action->check(step.json, where, deviceCount, error));
}

bool checkExpectation(const ScenarioStep& step, QString* error)
{
    const QString where = placeOf(step);
    const ScenarioVocabulary::Expectation* expectation = ScenarioVocabulary::expectation(step.name);
    if (!expectation) {
        *error = where + QStringLiteral(": unknown expectation kind \"%1\"").arg(step.name);
        return false;
    }
    if (step.negated && !expectation->negatable) {
        *error = where + QStringLiteral(": \"%1\" is checked with \"expect\" only").arg(step.name);
        return false;
    }
    std::vector<Field> fields = {{step.negated ? "expect-not" : "expect", Type::String, true},
                                 step.negated ? Field{"for", Type::Int} : TimeoutField,
                                 CommentField};
    fields.insert(fields.end(), expectation->fields.begin(), expectation->fields.end());
    return checkFields(step.json, fields, where, error);
}

// A "code" may be written as its name ("NTF_SIM_READY"): the step then
// carries the number, which is what the wire and the transcript carry.
bool resolveCodeName(ScenarioStep* step, QString* error)
{
    const QJsonValue code = step->json.value(QLatin1String("code"));
    if (!code.isString() || !ContractNames::looksLikeName(code.toString()))
        return true;
    const std::optional<int> number = ContractNames::codeNamed(code.toString());
    if (!number) {
        *error = placeOf(*step) + QStringLiteral(": unknown code name \"%1\"").arg(code.toString());
        return false;
    }
    step->json.insert(QLatin1String("code"), *number);
    return true;
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
    step->written = QString::fromUtf8(QJsonDocument(step->json).toJson(QJsonDocument::Compact));
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
    if (!resolveCodeName(step, error))
        return false;
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
