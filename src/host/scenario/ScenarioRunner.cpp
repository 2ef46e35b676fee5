#include "ScenarioRunner.h"

#include "CommonUtils.h"
#include "RecordMatcher.h"
#include "ScenarioFields.h"
#include "ScenarioVocabulary.h"
#include "Transcript.h"
#include "WidgetFinder.h"
#include <sim/VirtualCard.h>

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QGroupBox>
#include <QMenu>
#include <QThread>

namespace {

constexpr int PollMs = 10;
constexpr int RetryMs = 20;
constexpr int LastRecordsShown = 5;

using ScenarioFields::intOf;
using ScenarioFields::stringOf;

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
    // The file was checked against the vocabulary: every action is in it.
    const ScenarioVocabulary::Action* action = ScenarioVocabulary::action(step.name);
    if (!action) {
        fail(step, QStringLiteral("action \"%1\" is not implemented").arg(step.name));
        return;
    }
    if (action->steer == ScenarioVocabulary::Steer::Quit) {
        ++m_index;
        finish(0);
        return;
    }
    if (action->steer == ScenarioVocabulary::Steer::Pause) {
        ++m_index;
        scheduleNext(qMax(0, intOf(step.json, "ms")));
        return;
    }
    QWidget* target = nullptr;
    if (action->onWidget) {
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
    const QString error = action->run(*this, step.json, target);
    --m_actionDepth;
    m_actionLoopLevel = outerLevel;
    if (!error.isEmpty())
        fail(step, error);
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
    const ScenarioVocabulary::Expectation* expectation =
        ScenarioVocabulary::expectation(m_wait.step->name);
    if (expectation && expectation->onWidget)
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
