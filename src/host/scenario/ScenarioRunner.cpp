#include "ScenarioRunner.h"

#include "CommonUtils.h"
#include "DeviceCalls.h"
#include "NotifyServicePlugin.h"
#include "RecordMatcher.h"
#include "Transcript.h"
#include "UserInput.h"
#include "WidgetFinder.h"
#include <sim/VirtualCard.h>

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QJsonArray>
#include <QKeySequence>
#include <QLineEdit>
#include <QMenu>
#include <QRadioButton>
#include <QStyle>
#include <QStyleOptionButton>
#include <QThread>

namespace {

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

constexpr int PollMs = 10;
constexpr int RetryMs = 20;
constexpr int LastRecordsShown = 5;

QString stringOf(const QJsonObject& json, const char* key)
{
    return json.value(QLatin1String(key)).toString();
}

int intOf(const QJsonObject& json, const char* key, int fallback = 0)
{
    return json.value(QLatin1String(key)).toInt(fallback);
}

bool isWidgetAction(const QString& action)
{
    return action == QLatin1String("type") || action == QLatin1String("click") ||
           action == QLatin1String("key") || action == QLatin1String("close");
}

WidgetQuery queryOf(const ScenarioStep& step)
{
    WidgetQuery query;
    query.name = stringOf(step.json, "widget");
    query.in = stringOf(step.json, "in");
    // For "type" the text is what to type, not a selector.
    if (step.name != QLatin1String("type") && step.json.contains(QLatin1String("text"))) {
        query.hasText = true;
        query.text = stringOf(step.json, "text");
    }
    if (step.name == QLatin1String("type"))
        query.kind = WidgetQuery::LineEdit;
    else if (step.name == QLatin1String("click"))
        query.kind = WidgetQuery::Button;
    return query;
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

int rowsOf(const QWidget* widget)
{
    if (const auto* view = qobject_cast<const QAbstractItemView*>(widget))
        return view->model() ? view->model()->rowCount(view->rootIndex()) : 0;
    if (const auto* combo = qobject_cast<const QComboBox*>(widget))
        return combo->count();
    return -1;
}

QString titleOf(const QWidget* widget)
{
    if (const auto* group = qobject_cast<const QGroupBox*>(widget))
        return group->title();
    return widget->windowTitle();
}
} // namespace

ScenarioRunner::ScenarioRunner(const QList<ScenarioStep>& steps, RunnerHooks hooks, QObject* parent)
    : QObject(parent), m_steps(steps), m_hooks(std::move(hooks))
{
    m_pollTimer.setInterval(PollMs);
    connect(&m_pollTimer, &QTimer::timeout, this, &ScenarioRunner::poll);
}

ScenarioRunner::~ScenarioRunner()
{
    if (m_responderInstalled)
        CommonUtils::SetMessageResponder({});
}

void ScenarioRunner::installResponder()
{
    m_responderInstalled = true;
    CommonUtils::SetMessageResponder([this](const MessageRequest&) {
        return m_answers.isEmpty() ? CommonUtils::FirstButton : m_answers.takeFirst();
    });
}

void ScenarioRunner::start()
{
    if (m_started)
        return;
    m_started = true;
    scheduleNext();
}

void ScenarioRunner::abort(const QString& why)
{
    if (m_finished)
        return;
    if (m_steps.isEmpty()) {
        m_failure = why;
        finish(1);
        return;
    }
    fail(m_steps.at(qMin(m_index, int(m_steps.size()) - 1)), why);
}

void ScenarioRunner::scheduleNext(int delayMs)
{
    QTimer::singleShot(delayMs, this, &ScenarioRunner::runStep);
}

void ScenarioRunner::runStep()
{
    if (m_finished || m_waiting)
        return;
    // Inside an action that only processes events: wait until it returns.
    if (m_actionDepth > 0 && QThread::currentThread()->loopLevel() <= m_actionLoopLevel) {
        scheduleNext(PollMs);
        return;
    }
    if (m_index >= m_steps.size()) {
        finish(0);
        return;
    }
    const ScenarioStep& step = m_steps.at(m_index);
    if (step.expectation)
        beginWait(step);
    else
        perform(step);
}

void ScenarioRunner::perform(const ScenarioStep& step)
{
    if (step.name == QLatin1String("quit")) {
        ++m_index;
        finish(0);
        return;
    }
    if (step.name == QLatin1String("wait")) {
        ++m_index;
        scheduleNext(qMax(0, intOf(step.json, "ms")));
        return;
    }
    QWidget* target = nullptr;
    if (isWidgetAction(step.name)) {
        if (m_attemptIndex != m_index) {
            m_attemptIndex = m_index;
            m_attemptClock.start();
        }
        const WidgetLookup lookup = WidgetFinder::find(queryOf(step));
        if (!lookup.widget) {
            const int waitMs = intOf(step.json, "timeout", DefaultWidgetWaitMs);
            if (!lookup.ambiguous && m_attemptClock.elapsed() < waitMs) {
                scheduleNext(RetryMs);
                return;
            }
            fail(step, lookup.error);
            return;
        }
        target = lookup.widget;
    }
    // The next step is queued before the action runs: an action that opens
    // a modal loop must not stop the scenario that is to drive it.
    ++m_index;
    scheduleNext();
    const int outerLevel = m_actionLoopLevel;
    m_actionLoopLevel = QThread::currentThread()->loopLevel();
    ++m_actionDepth;
    const QString error = execute(step, target);
    --m_actionDepth;
    m_actionLoopLevel = outerLevel;
    if (!error.isEmpty())
        fail(step, error);
}

QString ScenarioRunner::execute(const ScenarioStep& step, QWidget* target)
{
    const QString& action = step.name;
    const QJsonObject& json = step.json;
    if (target)
        return executeWidgetAction(step, target);
    if (action == QLatin1String("answer")) {
        m_answers.append(replyCode(json.value(QLatin1String("reply"))));
        return QString();
    }
    if (action == QLatin1String("notify")) {
        NotifyServicePlugin* service = m_hooks.notifyService ? m_hooks.notifyService() : nullptr;
        if (!service)
            return QStringLiteral("the host has no notification service");
        const auto code = unsigned(intOf(json, "code"));
        const auto w = NotifyParam(intOf(json, "w"));
        const auto l = NotifyParam(intOf(json, "l"));
        if (json.contains(QLatin1String("from")))
            service->notifyFrom(stringOf(json, "from"), code, w, l);
        else
            service->BroadcastNotify(code, w, l);
        return QString();
    }
    if (action == QLatin1String("call")) {
        IDeviceMgr* manager = m_hooks.deviceManager ? m_hooks.deviceManager() : nullptr;
        if (!manager)
            return QStringLiteral("no device manager is loaded");
        DeviceCalls::invoke(manager, stringOf(json, "op"));
        return QString();
    }
    if (action == QLatin1String("trigger"))
        return triggerMenuEntry(stringOf(json, "action"));
    if (action == QLatin1String("language")) {
        const QString lang = stringOf(json, "lang");
        if (!m_hooks.changeLanguage || !m_hooks.changeLanguage(lang))
            return QStringLiteral("no catalogue for language \"%1\"").arg(lang);
        return QString();
    }
    if (action == QLatin1String("screenshot")) {
        QString error;
        const bool screen = json.value(QLatin1String("screen")).toBool();
        if (!m_hooks.screenshot || !m_hooks.screenshot(stringOf(json, "file"), screen, &error))
            return QStringLiteral("screenshot failed: %1").arg(error);
        return QString();
    }
    return executeCardAction(step);
}

QString ScenarioRunner::executeCardAction(const ScenarioStep& step)
{
    sim::VirtualCard& card = sim::VirtualCard::instance();
    const QString& action = step.name;
    const QJsonObject& json = step.json;
    if (action == QLatin1String("plug") || action == QLatin1String("unplug")) {
        const int device = intOf(json, "device");
        const bool plug = action == QLatin1String("plug");
        if (!(plug ? card.plug(device) : card.unplug(device)))
            return QStringLiteral("the virtual card could not %1 device %2")
                .arg(action)
                .arg(device);
        return QString();
    }
    if (action == QLatin1String("event")) {
        const int code = intOf(json, "code");
        const QJsonValue payload = json.value(QLatin1String("payload"));
        if (payload.toString() == QLatin1String("devices")) {
            card.raiseDeviceListEvent(code);
            return QString();
        }
        if (!payload.isArray()) {
            card.raiseEvent(code, std::nullopt);
            return QString();
        }
        std::vector<uint32_t> words;
        for (const QJsonValue& word : payload.toArray())
            words.push_back(uint32_t(word.toDouble()));
        card.raiseEvent(code, words);
        return QString();
    }
    if (action == QLatin1String("rf"))
        card.setRadio(intOf(json, "hw"), intOf(json, "sw"));
    else if (action == QLatin1String("sim-state"))
        card.setSimState(intOf(json, "word"));
    else if (action == QLatin1String("fingerprint"))
        card.touchFingerprint(uint32_t(intOf(json, "state")));
    else if (action == QLatin1String("power"))
        card.powerEvent(uint32_t(intOf(json, "code")));
    else
        return QStringLiteral("action \"%1\" is not implemented").arg(action);
    return QString();
}

QString ScenarioRunner::executeWidgetAction(const ScenarioStep& step, QWidget* target)
{
    const QString& action = step.name;
    if (action == QLatin1String("type")) {
        auto* edit = qobject_cast<QLineEdit*>(target);
        giveFocus(edit);
        edit->end(false);
        UserInput::type(edit, stringOf(step.json, "text"));
        return QString();
    }
    if (action == QLatin1String("click")) {
        UserInput::click(target, clickPoint(target));
        return QString();
    }
    if (action == QLatin1String("key")) {
        const QKeySequence sequence =
            QKeySequence::fromString(stringOf(step.json, "key"), QKeySequence::PortableText);
        giveFocus(target);
        const Qt::Key key = sequence[0].key();
        const Qt::KeyboardModifiers modifiers = sequence[0].keyboardModifiers();
        UserInput::key(target, key, modifiers, keyText(key, modifiers));
        return QString();
    }
    // "close": as the window's own close button would.
    target->window()->close();
    return QString();
}

QString ScenarioRunner::triggerMenuEntry(const QString& name)
{
    QList<QAction*> found;
    for (QWidget* window : QApplication::topLevelWidgets()) {
        for (QAction* action : window->findChildren<QAction*>(name)) {
            if (!found.contains(action))
                found.append(action);
        }
    }
    if (found.size() != 1)
        return found.isEmpty() ? QStringLiteral("no menu entry \"%1\"").arg(name)
                               : QStringLiteral("menu entry \"%1\" is ambiguous, %2 candidates")
                                     .arg(name)
                                     .arg(found.size());
    QAction* action = found.first();
    // As a person opens the menu first: it sets its entries by the state.
    for (QObject* owner : action->associatedObjects()) {
        if (auto* menu = qobject_cast<QMenu*>(owner))
            emit menu->aboutToShow();
    }
    if (!action->isEnabled())
        return QStringLiteral("menu entry \"%1\" (\"%2\") is disabled").arg(name, action->text());
    action->trigger();
    return QString();
}

void ScenarioRunner::beginWait(const ScenarioStep& step)
{
    m_waiting = true;
    m_wait = Wait();
    m_wait.step = &step;
    if (step.negated)
        m_wait.limitMs = intOf(step.json, "for", DefaultExpectNotMs);
    else
        m_wait.limitMs = intOf(step.json, "timeout", DefaultExpectTimeoutMs);
    if (m_expectTimeoutCapMs >= 0)
        m_wait.limitMs = qMin(m_wait.limitMs, m_expectTimeoutCapMs);
    m_wait.scanFrom = m_cursor;
    m_wait.clock.start();
    poll();
    if (m_waiting)
        m_pollTimer.start();
}

void ScenarioRunner::poll()
{
    if (!m_waiting || m_finished)
        return;
    if (m_wait.step->name == QLatin1String("widget"))
        checkWidget();
    else
        checkRecords();
}

void ScenarioRunner::checkRecords()
{
    const ScenarioStep& step = *m_wait.step;
    const QList<Transcript::Record> records = Transcript::instance().records();
    for (int i = m_wait.scanFrom; i < records.size(); ++i) {
        if (!RecordMatcher::matches(records.at(i), step.name, step.json))
            continue;
        const QString line = records.at(i).kind + QLatin1Char(' ') + records.at(i).text;
        if (step.negated) {
            endWait(false, QStringLiteral("seen: ") + line);
            return;
        }
        m_cursor = i + 1;
        endWait(true, line);
        return;
    }
    m_wait.scanFrom = records.size();
    if (m_wait.clock.elapsed() < m_wait.limitMs)
        return;
    if (step.negated)
        endWait(
            true,
            QStringLiteral("no %1 %2 for %3 ms").arg(step.name, step.text()).arg(m_wait.limitMs));
    else
        endWait(false,
                QStringLiteral("no %1 record within %2 ms").arg(step.name).arg(m_wait.limitMs));
}

void ScenarioRunner::checkWidget()
{
    const QJsonObject& json = m_wait.step->json;
    WidgetQuery query;
    query.name = stringOf(json, "widget");
    query.in = stringOf(json, "in");
    const QJsonValue visible = json.value(QLatin1String("visible"));
    // Asking for a hidden widget includes hidden ones (and one that is gone
    // entirely counts as hidden).
    query.visibleOnly = !(visible.isBool() && !visible.toBool());
    const WidgetLookup lookup = WidgetFinder::find(query);
    QString seen;
    bool holds = false;
    if (lookup.widget) {
        holds = widgetHolds(lookup.widget, json, &seen);
    } else {
        seen = lookup.error;
        holds = !lookup.ambiguous && !query.visibleOnly && !json.contains(QLatin1String("text")) &&
                !json.contains(QLatin1String("enabled")) && !json.contains(QLatin1String("rows")) &&
                !json.contains(QLatin1String("title"));
    }
    const QString detail = QStringLiteral("widget %1: %2").arg(query.name, seen);
    if (holds) {
        endWait(true, detail);
        return;
    }
    if (m_wait.clock.elapsed() >= m_wait.limitMs)
        endWait(false, detail);
}

bool ScenarioRunner::widgetHolds(QWidget* widget, const QJsonObject& expected, QString* seen) const
{
    QStringList state;
    bool holds = true;
    if (expected.contains(QLatin1String("text"))) {
        const QString text = WidgetFinder::text(widget);
        state.append(QStringLiteral("text \"%1\"").arg(text));
        holds = holds && WidgetFinder::textMatches(text, stringOf(expected, "text"));
    }
    if (expected.contains(QLatin1String("enabled"))) {
        state.append(QStringLiteral("enabled %1")
                         .arg(RecordMatcher::scalarText(QJsonValue(widget->isEnabled()))));
        holds = holds && widget->isEnabled() == expected.value(QLatin1String("enabled")).toBool();
    }
    if (expected.contains(QLatin1String("visible"))) {
        state.append(QStringLiteral("visible %1")
                         .arg(RecordMatcher::scalarText(QJsonValue(widget->isVisible()))));
        holds = holds && widget->isVisible() == expected.value(QLatin1String("visible")).toBool();
    }
    if (expected.contains(QLatin1String("rows"))) {
        const int rows = rowsOf(widget);
        state.append(rows < 0 ? QStringLiteral("no rows") : QStringLiteral("rows %1").arg(rows));
        holds = holds && rows == intOf(expected, "rows", -2);
    }
    if (expected.contains(QLatin1String("title"))) {
        const QString title = titleOf(widget);
        state.append(QStringLiteral("title \"%1\"").arg(title));
        holds = holds && title == stringOf(expected, "title");
    }
    if (state.isEmpty())
        state.append(QStringLiteral("present"));
    *seen = state.join(QStringLiteral(", "));
    return holds;
}

void ScenarioRunner::endWait(bool ok, const QString& detail)
{
    const ScenarioStep& step = *m_wait.step;
    m_pollTimer.stop();
    m_waiting = false;
    if (!ok) {
        QString why = detail;
        if (step.name != QLatin1String("widget"))
            why +=
                QStringLiteral("\nlast %1 records:\n%2").arg(step.name, lastRecordsOf(step.name));
        fail(step, why);
        return;
    }
    Transcript::instance().record(QStringLiteral("expect"),
                                  QStringLiteral("ok %1 %2").arg(step.number).arg(detail));
    ++m_index;
    scheduleNext();
}

void ScenarioRunner::fail(const ScenarioStep& step, const QString& why)
{
    if (m_finished)
        return;
    QString oneLine = why;
    oneLine.replace(QLatin1Char('\n'), QStringLiteral(" | "));
    Transcript::instance().record(
        QStringLiteral("expect"),
        QStringLiteral("FAIL %1 %2: %3").arg(step.number).arg(step.text(), oneLine));
    m_failure = QStringLiteral("step %1 failed: %2\n%3").arg(step.number).arg(step.text(), why);
    finish(1);
}

void ScenarioRunner::finish(int exitCode)
{
    if (m_finished)
        return;
    m_finished = true;
    m_exitCode = exitCode;
    m_pollTimer.stop();
    m_waiting = false;
    emit finished(exitCode);
}

QString ScenarioRunner::lastRecordsOf(const QString& kind) const
{
    QStringList lines;
    const QList<Transcript::Record> records = Transcript::instance().records();
    for (int i = records.size() - 1; i >= 0 && lines.size() < LastRecordsShown; --i) {
        if (records.at(i).kind == kind)
            lines.prepend(QStringLiteral("  ") + Transcript::format(records.at(i)) +
                          (i < m_cursor ? QStringLiteral("  (before the cursor)") : QString()));
    }
    return lines.isEmpty() ? QStringLiteral("  (none)") : lines.join(QLatin1Char('\n'));
}
