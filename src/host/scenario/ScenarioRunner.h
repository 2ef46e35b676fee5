// Plays a scenario's steps in order on the running event loop: actions on the
// virtual card, the plug-ins and the widgets, and expectations that wait for
// transcript records (or widget states). The first failure ends the run.
#pragma once

#include "ScenarioFile.h"

#include <QElapsedTimer>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QTimer>

#include <functional>

class IDeviceMgr;
class NotifyServicePlugin;
class QWidget;

// What the runner needs from the host.
struct RunnerHooks
{
    std::function<IDeviceMgr*()> deviceManager;
    std::function<NotifyServicePlugin*()> notifyService;
    std::function<bool(const QString& lang)> changeLanguage;
    // Saves the active window, or with `screen` the main window with every
    // window over it; `file` is as the step names it.
    std::function<bool(const QString& file, bool screen, QString* error)> screenshot;
};

class ScenarioRunner : public QObject
{
    Q_OBJECT
public:
    static constexpr int DefaultExpectTimeoutMs = 5000;
    static constexpr int DefaultExpectNotMs = 300;
    // How long a widget action waits for its widget to appear.
    static constexpr int DefaultWidgetWaitMs = 1000;

    ScenarioRunner(const QList<ScenarioStep>& steps, RunnerHooks hooks, QObject* parent = nullptr);
    ~ScenarioRunner() override;

    // Answers every message box from now on: the queued replies first, then
    // the first button.
    void installResponder();
    // No expectation waits longer than `ms` (< 0: each waits as written), so
    // that runs made to fail end quickly.
    void setExpectTimeoutCap(int ms) { m_expectTimeoutCapMs = ms; }
    void start();
    // Ends an unfinished run as failed at the current step, for `why`.
    void abort(const QString& why);

    bool isFinished() const { return m_finished; }
    int exitCode() const { return m_exitCode; }
    // Names the failed step and what was seen; empty after a success.
    QString failure() const { return m_failure; }
    // The transcript index the next expectation searches from.
    int cursor() const { return m_cursor; }

    // What the vocabulary's actions reach of the runner.
    const RunnerHooks& hooks() const { return m_hooks; }
    // The reply the next message box gets.
    void queueAnswer(int code) { m_answers.append(code); }
    // Triggers the menu entry of that object name; an error text when none.
    QString triggerMenuEntry(const QString& name);

signals:
    void finished(int exitCode);

private:
    struct Wait
    {
        const ScenarioStep* step = nullptr;
        int limitMs = 0;
        QElapsedTimer clock;
        int scanFrom = 0;
    };

    void scheduleNext(int delayMs = 0);
    void runStep();
    void perform(const ScenarioStep& step);

    void beginWait(const ScenarioStep& step);
    void poll();
    void checkRecords();
    void checkWidget();
    bool widgetHolds(QWidget* widget, const QJsonObject& expected, QString* seen) const;
    void endWait(bool ok, const QString& detail);

    void fail(const ScenarioStep& step, const QString& why);
    void finish(int exitCode);
    QString lastRecordsOf(const QString& kind) const;

    QList<ScenarioStep> m_steps;
    RunnerHooks m_hooks;
    int m_index = 0;
    int m_cursor = 0;
    bool m_started = false;
    bool m_finished = false;
    int m_exitCode = 0;
    QString m_failure;

    // An action that runs a modal loop of its own lets the next steps run
    // inside it; one that merely processes events does not.
    int m_actionDepth = 0;
    int m_actionLoopLevel = 0;
    // The step whose widget is being waited for, and since when.
    int m_attemptIndex = -1;
    QElapsedTimer m_attemptClock;

    bool m_waiting = false;
    Wait m_wait;
    QTimer m_pollTimer;
    QList<int> m_answers;
    bool m_responderInstalled = false;
    int m_expectTimeoutCapMs = -1;
};
