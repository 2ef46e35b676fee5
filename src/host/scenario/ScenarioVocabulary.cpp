#include "ScenarioVocabulary.h"

#include "CommonUtils.h"
#include "DeviceCalls.h"
#include "NotifyServicePlugin.h"
#include "ScenarioRunner.h"
#include "UserInput.h"

#include <sim/VirtualCard.h>

#include <QCheckBox>
#include <QJsonArray>
#include <QKeySequence>
#include <QLineEdit>
#include <QRadioButton>
#include <QStyle>
#include <QStyleOptionButton>
#include <QWidget>

#include <limits>

namespace ScenarioVocabulary {

namespace {

using ScenarioFields::Field;
using ScenarioFields::isInt;
using ScenarioFields::Type;

using ScenarioFields::intOf;
using ScenarioFields::stringOf;

// Checks beyond the fields' types.

bool checkDevice(const QJsonObject& step, const QString& where, int deviceCount, QString* error)
{
    const int device = intOf(step, "device");
    if (device >= 0 && device < deviceCount)
        return true;
    *error = where + QStringLiteral(": \"device\" %1 is not one of the %2 devices (counted from 0)")
                         .arg(device)
                         .arg(deviceCount);
    return false;
}

bool checkOperation(const QJsonObject& step, const QString& where, int, QString* error)
{
    if (DeviceCalls::isOperation(stringOf(step, "op")))
        return true;
    *error = where + QStringLiteral(": \"op\" is not an IDeviceMgr operation (one of %1)")
                         .arg(DeviceCalls::operations().join(QStringLiteral(", ")));
    return false;
}

bool checkReply(const QJsonObject& step, const QString& where, int, QString* error)
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

bool checkPayload(const QJsonObject& step, const QString& where, int, QString* error)
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

bool checkKey(const QJsonObject& step, const QString& where, int, QString* error)
{
    const QKeySequence sequence = QKeySequence::fromString(
        step.value(QLatin1String("key")).toString(), QKeySequence::PortableText);
    if (sequence.count() == 1 && sequence[0].key() != Qt::Key_unknown)
        return true;
    *error = where + QStringLiteral(": \"key\" is not one key such as \"Escape\" or \"Ctrl+X\"");
    return false;
}

// What the actions do.

// The text a keyboard sends with a key: Ctrl with a letter gives the control
// character (Ctrl+X is character 24), as fields that filter keystrokes see it.
QString keyText(Qt::Key key, Qt::KeyboardModifiers modifiers)
{
    const bool letter = key >= Qt::Key_A && key <= Qt::Key_Z;
    if (letter && modifiers == Qt::ControlModifier)
        return QString(QChar(key - Qt::Key_A + 1));
    if (modifiers & ~Qt::ShiftModifier)
        return QString();
    if (letter)
        return QString(QChar(modifiers & Qt::ShiftModifier ? key : key - Qt::Key_A + 'a'));
    if (key >= Qt::Key_Space && key <= Qt::Key_AsciiTilde)
        return QString(QChar(key));
    return QString();
}

int replyCode(const QJsonValue& reply)
{
    const QString text = reply.toString();
    if (text == QLatin1String("second"))
        return CommonUtils::SecondButton;
    if (text == QLatin1String("third"))
        return CommonUtils::ThirdButton;
    if (reply.isDouble())
        return reply.toInt();
    return CommonUtils::FirstButton;
}

// Where a person clicks a button: a check box or radio button only reacts
// on its indicator and text, which need not reach the middle of its row.
QPoint clickPoint(QWidget* target)
{
    const bool check = qobject_cast<QCheckBox*>(target);
    if (!check && !qobject_cast<QRadioButton*>(target))
        return target->rect().center();
    QStyleOptionButton option;
    option.initFrom(target);
    const QStyle::SubElement indicator =
        check ? QStyle::SE_CheckBoxIndicator : QStyle::SE_RadioButtonIndicator;
    return target->style()->subElementRect(indicator, &option, target).center();
}

void giveFocus(QWidget* widget)
{
    widget->window()->activateWindow();
    widget->setFocus(Qt::OtherFocusReason);
}

sim::VirtualCard& card()
{
    return sim::VirtualCard::instance();
}

QString plug(ScenarioRunner&, const QJsonObject& step, QWidget*)
{
    const int device = intOf(step, "device");
    if (card().plug(device))
        return QString();
    return QStringLiteral("the virtual card could not plug device %1").arg(device);
}

QString unplug(ScenarioRunner&, const QJsonObject& step, QWidget*)
{
    const int device = intOf(step, "device");
    if (card().unplug(device))
        return QString();
    return QStringLiteral("the virtual card could not unplug device %1").arg(device);
}

QString raiseEvent(ScenarioRunner&, const QJsonObject& step, QWidget*)
{
    const int code = intOf(step, "code");
    const QJsonValue payload = step.value(QLatin1String("payload"));
    if (payload.toString() == QLatin1String("devices")) {
        card().raiseDeviceListEvent(code);
    } else if (!payload.isArray()) {
        card().raiseEvent(code, std::nullopt);
    } else {
        std::vector<uint32_t> words;
        for (const QJsonValue& word : payload.toArray())
            words.push_back(uint32_t(word.toDouble()));
        card().raiseEvent(code, words);
    }
    return QString();
}

QString flipRadio(ScenarioRunner&, const QJsonObject& step, QWidget*)
{
    card().setRadio(intOf(step, "hw"), intOf(step, "sw"));
    return QString();
}

QString changeSimState(ScenarioRunner&, const QJsonObject& step, QWidget*)
{
    card().setSimState(intOf(step, "word"));
    return QString();
}

QString touchFingerprint(ScenarioRunner&, const QJsonObject& step, QWidget*)
{
    card().touchFingerprint(uint32_t(intOf(step, "state")));
    return QString();
}

QString powerEvent(ScenarioRunner&, const QJsonObject& step, QWidget*)
{
    card().powerEvent(uint32_t(intOf(step, "code")));
    return QString();
}

QString notify(ScenarioRunner& runner, const QJsonObject& step, QWidget*)
{
    const RunnerHooks& hooks = runner.hooks();
    NotifyServicePlugin* service = hooks.notifyService ? hooks.notifyService() : nullptr;
    if (!service)
        return QStringLiteral("the host has no notification service");
    const auto code = unsigned(intOf(step, "code"));
    const auto w = NotifyParam(intOf(step, "w"));
    const auto l = NotifyParam(intOf(step, "l"));
    if (step.contains(QLatin1String("from")))
        service->notifyFrom(stringOf(step, "from"), code, w, l);
    else
        service->BroadcastNotify(code, w, l);
    return QString();
}

QString call(ScenarioRunner& runner, const QJsonObject& step, QWidget*)
{
    const RunnerHooks& hooks = runner.hooks();
    IDeviceMgr* manager = hooks.deviceManager ? hooks.deviceManager() : nullptr;
    if (!manager)
        return QStringLiteral("no device manager is loaded");
    DeviceCalls::invoke(manager, stringOf(step, "op"));
    return QString();
}

QString answer(ScenarioRunner& runner, const QJsonObject& step, QWidget*)
{
    runner.queueAnswer(replyCode(step.value(QLatin1String("reply"))));
    return QString();
}

QString trigger(ScenarioRunner& runner, const QJsonObject& step, QWidget*)
{
    return runner.triggerMenuEntry(stringOf(step, "action"));
}

QString language(ScenarioRunner& runner, const QJsonObject& step, QWidget*)
{
    const QString lang = stringOf(step, "lang");
    const RunnerHooks& hooks = runner.hooks();
    if (!hooks.changeLanguage || !hooks.changeLanguage(lang))
        return QStringLiteral("no catalogue for language \"%1\"").arg(lang);
    return QString();
}

QString screenshot(ScenarioRunner& runner, const QJsonObject& step, QWidget*)
{
    QString error;
    const bool screen = step.value(QLatin1String("screen")).toBool();
    const RunnerHooks& hooks = runner.hooks();
    if (!hooks.screenshot || !hooks.screenshot(stringOf(step, "file"), screen, &error))
        return QStringLiteral("screenshot failed: %1").arg(error);
    return QString();
}

QString type(ScenarioRunner&, const QJsonObject& step, QWidget* target)
{
    auto* edit = qobject_cast<QLineEdit*>(target);
    giveFocus(edit);
    edit->end(false);
    UserInput::type(edit, stringOf(step, "text"));
    return QString();
}

QString click(ScenarioRunner&, const QJsonObject&, QWidget* target)
{
    UserInput::click(target, clickPoint(target));
    return QString();
}

QString pressKey(ScenarioRunner&, const QJsonObject& step, QWidget* target)
{
    const QKeySequence sequence =
        QKeySequence::fromString(stringOf(step, "key"), QKeySequence::PortableText);
    giveFocus(target);
    const Qt::Key key = sequence[0].key();
    const Qt::KeyboardModifiers modifiers = sequence[0].keyboardModifiers();
    UserInput::key(target, key, modifiers, keyText(key, modifiers));
    return QString();
}

// As the window's own close button would.
QString closeWindow(ScenarioRunner&, const QJsonObject&, QWidget* target)
{
    target->window()->close();
    return QString();
}

QString nothing(ScenarioRunner&, const QJsonObject&, QWidget*)
{
    return QString();
}

const std::vector<Action>& actions()
{
    static const std::vector<Action> table = {
        // The virtual card.
        {"plug", {{"device", Type::Int, true}}, false, checkDevice, plug},
        {"unplug", {{"device", Type::Int, true}}, false, checkDevice, unplug},
        {"event",
         {{"code", Type::Int, true}, {"payload", Type::Any}},
         false,
         checkPayload,
         raiseEvent},
        {"rf", {{"hw", Type::Int, true}, {"sw", Type::Int, true}}, false, nullptr, flipRadio},
        {"sim-state", {{"word", Type::Int, true}}, false, nullptr, changeSimState},
        {"fingerprint", {{"state", Type::Int, true}}, false, nullptr, touchFingerprint},
        {"power", {{"code", Type::Int, true}}, false, nullptr, powerEvent},
        // The host and the other plug-ins.
        {"notify",
         {{"code", Type::Int, true}, {"w", Type::Int}, {"l", Type::Int}, {"from", Type::String}},
         false,
         nullptr,
         notify},
        {"call", {{"op", Type::String, true}}, false, checkOperation, call},
        {"trigger", {{"action", Type::String, true}}, false, nullptr, trigger},
        {"language", {{"lang", Type::String, true}}, false, nullptr, language},
        {"screenshot",
         {{"file", Type::String}, {"screen", Type::Bool}},
         false,
         nullptr,
         screenshot},
        // The user: message boxes answered ahead, keyboard and mouse.
        {"answer", {{"reply", Type::Any, true}}, false, checkReply, answer},
        {"type",
         {{"widget", Type::String, true}, {"text", Type::String, true}},
         true,
         nullptr,
         type},
        {"click", {{"widget", Type::String, true}, {"text", Type::String}}, true, nullptr, click},
        {"close",
         {{"widget", Type::String, true}, {"text", Type::String}},
         true,
         nullptr,
         closeWindow},
        {"key",
         {{"widget", Type::String, true}, {"text", Type::String}, {"key", Type::String, true}},
         true,
         checkKey,
         pressKey},
        // The scenario itself.
        {"wait", {{"ms", Type::Int, true}}, false, nullptr, nothing, Steer::Pause},
        {"quit", {}, false, nullptr, nothing, Steer::Quit},
    };
    return table;
}

const std::vector<Expectation>& expectations()
{
    static const std::vector<Expectation> table = {
        {"notify",
         {{"code", Type::Scalar},
          {"to", Type::String},
          {"from", Type::String},
          {"w", Type::Scalar},
          {"l", Type::Scalar}}},
        {"msgbox",
         {{"icon", Type::Scalar},
          {"title", Type::String},
          {"text", Type::String},
          {"buttons", Type::String},
          {"reply", Type::Scalar}}},
        {"shown", {{"widget", Type::String}}},
        {"hidden", {{"widget", Type::String}}},
        {"sdk", {{"call", Type::String}, {"args", Type::String}, {"result", Type::Scalar}}},
        {"call", {{"op", Type::String}, {"result", Type::Scalar}}},
        {"menu", {{"op", Type::String}}},
        {"dialup", {{"op", Type::String}}},
        {"miniframe", {{"op", Type::String}}},
        {"setting", {{"key", Type::String}, {"value", Type::Scalar}}},
        {"plugin", {{"op", Type::String}, {"id", Type::String}}},
        {"subscribe", {{"from", Type::String}, {"code", Type::Scalar}}},
        {"widget",
         {{"in", Type::String},
          {"widget", Type::String, true},
          {"text", Type::String},
          {"enabled", Type::Bool},
          {"visible", Type::Bool},
          {"rows", Type::Int},
          {"title", Type::String}},
         true,
         false},
    };
    return table;
}

template <typename Entry> const Entry* find(const std::vector<Entry>& table, const QString& name)
{
    for (const Entry& entry : table) {
        if (name == QLatin1String(entry.name))
            return &entry;
    }
    return nullptr;
}

} // namespace

const Action* action(const QString& name)
{
    return find(actions(), name);
}

const Expectation* expectation(const QString& name)
{
    return find(expectations(), name);
}

} // namespace ScenarioVocabulary
