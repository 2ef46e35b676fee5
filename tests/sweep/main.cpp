// fault_sweep: every scenario with each SDK function it reaches failing for
// ever; see FaultSweep.h. Exit code 0 when every run ended normally.
#include "FaultSweep.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QThread>

#include <cstdio>

namespace {
// A failure code, and a value no SDK function ever returns.
const QList<int> FaultResults = {1, -559038737};

QStringList scenariosIn(const QString& folder)
{
    QStringList files;
    const QDir dir(folder);
    for (const QString& name : dir.entryList({QStringLiteral("*.json")}, QDir::Files, QDir::Name))
        files.append(dir.filePath(name));
    return files;
}

int intOption(const QCommandLineParser& parser, const QString& name, bool* ok)
{
    bool valid = false;
    const int value = parser.value(name).toInt(&valid);
    if (!valid || value < 0) {
        std::fprintf(stderr, "fault_sweep: --%s needs a number, not \"%s\"\n", qPrintable(name),
                     qPrintable(parser.value(name)));
        *ok = false;
    }
    return value;
}

void printFailures(const QList<FaultSweep::Failure>& failures)
{
    for (const FaultSweep::Failure& failure : failures) {
        std::printf("FAIL %s: %s\n  reproduce: %s\n", qPrintable(failure.run),
                    qPrintable(failure.what), qPrintable(failure.command));
        for (const QString& line : failure.excerpt.split(QLatin1Char('\n'), Qt::SkipEmptyParts))
            std::printf("  | %s\n", qPrintable(line));
    }
}
} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Replays every scenario with each SDK function it reaches failing for "
                       "ever, and checks that linkhost always ends normally."));
    parser.addHelpOption();
    const QString source = qEnvironmentVariable("LINK_SOURCE_DIR", QStringLiteral(LINK_SOURCE_DIR));
    parser.addOptions({
        {QStringLiteral("linkhost"), QStringLiteral("The linkhost to run."), QStringLiteral("PATH"),
         QStringLiteral(LINKHOST_PATH)},
        {QStringLiteral("jobs"), QStringLiteral("Runs at a time."), QStringLiteral("N"),
         QString::number(QThread::idealThreadCount())},
        {QStringLiteral("expect-timeout"), QStringLiteral("linkhost's --expect-timeout."),
         QStringLiteral("MS"), QStringLiteral("300")},
        {QStringLiteral("run-timeout"), QStringLiteral("A run still going after MS is a hang."),
         QStringLiteral("MS"), QStringLiteral("30000")},
    });
    parser.addPositionalArgument(
        QStringLiteral("scenario"),
        QStringLiteral("Scenario files (default: tests/scenarios/*.json and scenarios/*.json)."),
        QStringLiteral("[scenario...]"));
    parser.process(app);

    SweepOptions options;
    bool ok = true;
    options.linkhost = parser.value(QStringLiteral("linkhost"));
    options.jobs = qMax(1, intOption(parser, QStringLiteral("jobs"), &ok));
    options.expectTimeoutMs = intOption(parser, QStringLiteral("expect-timeout"), &ok);
    options.runTimeoutMs = intOption(parser, QStringLiteral("run-timeout"), &ok);
    options.results = FaultResults;
    options.scenarios = parser.positionalArguments();
    if (options.scenarios.isEmpty()) {
        // Not tests/scenarios/modemmanager/: those need the real daemon.
        options.scenarios = scenariosIn(source + QStringLiteral("/tests/scenarios"));
        options.scenarios += scenariosIn(source + QStringLiteral("/scenarios"));
    }
    if (options.scenarios.isEmpty()) {
        std::fprintf(stderr, "fault_sweep: no scenarios in %s\n", qPrintable(source));
        ok = false;
    }
    if (!ok)
        return 2;

    FaultSweep sweep(options);
    QObject::connect(&sweep, &FaultSweep::finished, &app, &QCoreApplication::quit);
    sweep.start();
    QCoreApplication::exec();

    printFailures(sweep.failures());
    for (const QString& scenario : sweep.failingScenarios())
        std::printf("note: %s fails as written: its faults cover the steps before that only\n",
                    qPrintable(scenario));
    for (auto it = sweep.missed().cbegin(); it != sweep.missed().cend(); ++it)
        std::printf("note: %s ends before it calls the failing function with %s\n",
                    qPrintable(it.key()), qPrintable(it.value().join(QStringLiteral(", "))));
    if (!sweep.failures().isEmpty())
        std::printf("transcripts kept in %s\n", qPrintable(sweep.folder()));
    std::printf("fault_sweep: %lld scenarios, %d runs (%d of %d faults reached their function), "
                "%lld failures, %.1f s (%d at a time, expect timeout %d ms)\n",
                qlonglong(options.scenarios.size()), sweep.runs(), sweep.bitten(),
                sweep.faultRuns(), qlonglong(sweep.failures().size()), sweep.elapsedMs() / 1000.0,
                options.jobs, options.expectTimeoutMs);
    return sweep.failures().isEmpty() ? 0 : 1;
}
