// Replays scenarios with linkhost, first as written to learn which SDK
// functions each reaches, then once for each such function and each fault
// result with that function failing on every call; several runs at a time.
// A run passes when linkhost ends normally, whether or not the scenario's
// expectations held under the fault.
#pragma once

#include <QElapsedTimer>
#include <QList>
#include <QMap>
#include <QObject>
#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>

struct SweepOptions
{
    QString linkhost;
    QStringList scenarios;
    QList<int> results;
    int jobs = 1;
    int expectTimeoutMs = 300;
    int runTimeoutMs = 30000;
};

class FaultSweep : public QObject
{
    Q_OBJECT
public:
    struct Failure
    {
        QString what;    // crash, hang, sanitizer report or exit code
        QString run;     // scenario and fault
        QString command; // to paste into a shell
        QString excerpt; // of stderr
    };

    explicit FaultSweep(SweepOptions options, QObject* parent = nullptr);

    // Plays everything on the running event loop, then emits finished().
    void start();

    int runs() const { return m_runs; }
    // Fault runs that called their failing function, and all fault runs:
    // a fault set on a function that a run no longer reaches tests nothing.
    int bitten() const { return m_bitten; }
    int faultRuns() const { return m_faultRuns; }
    // The faults that did not bite, as FUNCTION=RESULT, by scenario.
    const QMap<QString, QStringList>& missed() const { return m_missed; }
    // Scenarios that fail as written: their faults only cover the steps
    // before the failure.
    const QStringList& failingScenarios() const { return m_failingScenarios; }
    // Where the transcripts are; kept when a run failed.
    QString folder() const { return m_folder.path(); }
    const QList<Failure>& failures() const { return m_failures; }
    qint64 elapsedMs() const { return m_clock.elapsed(); }

    // The SDK functions a transcript shows called, sorted.
    static QStringList reachedFunctions(const QString& transcriptPath);
    // Whether a transcript shows `function` called and returning `result`.
    static bool calledWith(const QString& transcriptPath, const QString& function, int result);
    // Why a finished run counts as failed, or empty when it passed.
    static QString verdict(QProcess::ExitStatus status, int exitCode, bool timedOut,
                           const QString& err);

signals:
    void finished();

private:
    struct Run
    {
        QString scenario;
        QString function; // empty: the clean run
        int result = 0;
        int number = 0; // names its folder
    };

    void queue(const QString& scenario, const QString& function, int result);
    QString folderOf(const Run& run) const;
    QString transcriptOf(const Run& run) const;
    QStringList argumentsOf(const Run& run) const;
    QString commandOf(const Run& run) const;
    QString describe(const Run& run) const;
    void startNext();
    void launch(const Run& run);
    void onFinished(QProcess* process, const Run& run, bool timedOut);
    void queueFaults(const Run& clean);
    void countBite(const Run& run);

    SweepOptions m_options;
    QTemporaryDir m_folder;
    QList<Run> m_queue;
    int m_queued = 0;
    int m_running = 0;
    int m_runs = 0;
    int m_faultRuns = 0;
    int m_bitten = 0;
    QMap<QString, QStringList> m_missed;
    QStringList m_failingScenarios;
    QList<Failure> m_failures;
    QElapsedTimer m_clock;
};
