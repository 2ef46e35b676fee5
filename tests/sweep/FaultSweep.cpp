#include "FaultSweep.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTimer>

#include <algorithm>
#include <cstdio>

namespace {
// What a sanitizer writes when it finds something; UBSan and ASan may still
// leave with an exit code that a failed expectation also gives.
const char* const SanitizerReports[] = {"ERROR: AddressSanitizer", "ERROR: LeakSanitizer",
                                        "runtime error:", "WARNING: ThreadSanitizer"};
const char* const SanitizerVariables[] = {"ASAN_OPTIONS", "UBSAN_OPTIONS", "TSAN_OPTIONS",
                                          "LSAN_OPTIONS"};
constexpr int ReportLines = 60;
constexpr int TailLines = 20;

int sanitizerReportAt(const QStringList& lines)
{
    for (int i = 0; i < lines.size(); ++i) {
        for (const char* report : SanitizerReports) {
            if (lines.at(i).contains(QLatin1String(report)))
                return i;
        }
    }
    return -1;
}

// A sanitizer report from its first line on (its stack comes first, the
// shadow map after); otherwise the last lines.
QString excerptOf(const QString& err)
{
    const QStringList lines = err.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    const int report = sanitizerReportAt(lines);
    const int from = report >= 0 ? report : qMax(0, int(lines.size()) - TailLines);
    const int count = report >= 0 ? ReportLines : TailLines;
    return lines.mid(from, count).join(QLatin1Char('\n'));
}

QString shellQuoted(const QString& word)
{
    static const QRegularExpression plain(QStringLiteral("^[A-Za-z0-9_./=:,+-]+$"));
    if (plain.match(word).hasMatch())
        return word;
    QString quoted = word;
    quoted.replace(QLatin1Char('\''), QLatin1String("'\\''"));
    return QLatin1Char('\'') + quoted + QLatin1Char('\'');
}
} // namespace

FaultSweep::FaultSweep(SweepOptions options, QObject* parent)
    : QObject(parent), m_options(std::move(options))
{}

void FaultSweep::start()
{
    m_clock.start();
    if (!m_folder.isValid()) {
        m_failures.append(
            {QStringLiteral("no temporary folder"), QString(), QString(), m_folder.errorString()});
        QTimer::singleShot(0, this, &FaultSweep::finished);
        return;
    }
    for (const QString& scenario : std::as_const(m_options.scenarios))
        queue(scenario, QString(), 0);
    QTimer::singleShot(0, this, &FaultSweep::startNext);
}

void FaultSweep::queue(const QString& scenario, const QString& function, int result)
{
    m_queue.append({scenario, function, result, ++m_queued});
}

QString FaultSweep::folderOf(const Run& run) const
{
    return m_folder.filePath(QStringLiteral("run-%1").arg(run.number));
}

QString FaultSweep::transcriptOf(const Run& run) const
{
    return folderOf(run) + QStringLiteral("/transcript.txt");
}

QStringList FaultSweep::reachedFunctions(const QString& transcriptPath)
{
    static const QRegularExpression call(QStringLiteral(R"(^\[\d+\] sdk (UTPS_\w+)\()"));
    QFile file(transcriptPath);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QStringList functions;
    for (const QByteArray& line : file.readAll().split('\n')) {
        const QRegularExpressionMatch match = call.match(QString::fromUtf8(line));
        if (match.hasMatch() && !functions.contains(match.captured(1)))
            functions.append(match.captured(1));
    }
    std::sort(functions.begin(), functions.end());
    return functions;
}

bool FaultSweep::calledWith(const QString& transcriptPath, const QString& function, int result)
{
    const QRegularExpression call(QStringLiteral(R"(^\[\d+\] sdk %1\(.*\) = %2$)")
                                      .arg(QRegularExpression::escape(function))
                                      .arg(result));
    QFile file(transcriptPath);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    for (const QByteArray& line : file.readAll().split('\n')) {
        if (call.match(QString::fromUtf8(line)).hasMatch())
            return true;
    }
    return false;
}

QString FaultSweep::verdict(QProcess::ExitStatus status, int exitCode, bool timedOut,
                            const QString& err)
{
    if (timedOut)
        return QStringLiteral("hang: no end within the time limit");
    const int report = sanitizerReportAt(err.split(QLatin1Char('\n')));
    if (report >= 0)
        return QStringLiteral("sanitizer report");
    if (status == QProcess::CrashExit)
        return QStringLiteral("crash: killed by a signal");
    // 1 is a failed expectation, which a fault may well cause.
    if (exitCode != 0 && exitCode != 1)
        return QStringLiteral("exit code %1").arg(exitCode);
    return QString();
}

QStringList FaultSweep::argumentsOf(const Run& run) const
{
    QStringList arguments = {QStringLiteral("--headless"),
                             QStringLiteral("--backend"),
                             QStringLiteral("sim"),
                             QStringLiteral("--scenario"),
                             run.scenario,
                             QStringLiteral("--transcript"),
                             transcriptOf(run)};
    // The clean run waits as written: cut short, it would reach less.
    if (run.function.isEmpty())
        return arguments;
    return arguments << QStringLiteral("--expect-timeout")
                     << QString::number(m_options.expectTimeoutMs) << QStringLiteral("--fault")
                     << QStringLiteral("%1=%2").arg(run.function).arg(run.result);
}

QString FaultSweep::commandOf(const Run& run) const
{
    QStringList words;
    for (const char* variable : SanitizerVariables) {
        if (qEnvironmentVariableIsSet(variable))
            words.append(shellQuoted(QLatin1String(variable) + QLatin1Char('=') +
                                     qEnvironmentVariable(variable)));
    }
    words.append(shellQuoted(m_options.linkhost));
    for (const QString& argument : argumentsOf(run))
        words.append(shellQuoted(argument));
    return words.join(QLatin1Char(' '));
}

QString FaultSweep::describe(const Run& run) const
{
    const QString name = QFileInfo(run.scenario).fileName();
    if (run.function.isEmpty())
        return name + QStringLiteral(", no fault");
    return QStringLiteral("%1, %2 returning %3").arg(name, run.function).arg(run.result);
}

void FaultSweep::startNext()
{
    while (m_running < m_options.jobs && !m_queue.isEmpty())
        launch(m_queue.takeFirst());
    if (m_running == 0 && m_queue.isEmpty())
        emit finished();
}

void FaultSweep::launch(const Run& run)
{
    ++m_runs;
    ++m_running;
    auto* process = new QProcess(this);
    process->setProgram(m_options.linkhost);
    process->setArguments(argumentsOf(run));
    process->setStandardOutputFile(QProcess::nullDevice());
    // A screenshot step without a folder writes into the working folder.
    QDir().mkpath(folderOf(run));
    process->setWorkingDirectory(folderOf(run));

    auto* limit = new QTimer(process);
    limit->setSingleShot(true);
    connect(limit, &QTimer::timeout, process, [process] {
        process->setProperty("timedOut", true);
        process->kill();
    });
    connect(process, &QProcess::finished, this, [this, process, run] {
        onFinished(process, run, process->property("timedOut").toBool());
    });
    connect(process, &QProcess::errorOccurred, this,
            [this, process, run](QProcess::ProcessError e) {
                if (e != QProcess::FailedToStart)
                    return;
                m_failures.append(
                    {QStringLiteral("linkhost did not start: %1").arg(process->errorString()),
                     describe(run), commandOf(run), QString()});
                process->deleteLater();
                --m_running;
                startNext();
            });
    process->start();
    limit->start(m_options.runTimeoutMs);
}

void FaultSweep::onFinished(QProcess* process, const Run& run, bool timedOut)
{
    const QString err = QString::fromLocal8Bit(process->readAllStandardError());
    const QString what = verdict(process->exitStatus(), process->exitCode(), timedOut, err);
    if (!what.isEmpty()) {
        m_failures.append({what, describe(run), commandOf(run), excerptOf(err)});
        // Its command writes there, and its transcript tells what led to it.
        m_folder.setAutoRemove(false);
    }
    if (run.function.isEmpty()) {
        if (process->exitCode() != 0)
            m_failingScenarios.append(QFileInfo(run.scenario).fileName());
        // Even a clean run that failed shows what it reached until then.
        queueFaults(run);
    } else {
        countBite(run);
    }
    process->deleteLater();
    --m_running;
    startNext();
}

void FaultSweep::queueFaults(const Run& clean)
{
    const QStringList functions = reachedFunctions(transcriptOf(clean));
    std::printf("fault_sweep: %s reaches %lld SDK functions\n",
                qPrintable(QFileInfo(clean.scenario).fileName()), qlonglong(functions.size()));
    std::fflush(stdout);
    for (const QString& function : functions) {
        for (const int result : std::as_const(m_options.results))
            queue(clean.scenario, function, result);
    }
}

void FaultSweep::countBite(const Run& run)
{
    ++m_faultRuns;
    if (calledWith(transcriptOf(run), run.function, run.result))
        ++m_bitten;
    else
        m_missed[QFileInfo(run.scenario).fileName()].append(
            QStringLiteral("%1=%2").arg(run.function).arg(run.result));
}
