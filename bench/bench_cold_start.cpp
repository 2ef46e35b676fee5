// Cold start: loading the plug-in module, Init, ShowWindow and the host's
// NTF_FRAME_SHOWN handled, against the host starting alone (container, the
// built-in siblings, the main window shown and NTF_FRAME_SHOWN broadcast to nobody).
// Each run loads its own copy of the module, so every load is a first load
// (the container keeps libraries mapped). The resident memory the plug-in
// adds is measured in child processes, one start each (host alone, host with
// the plug-in), so that neither inherits the other's pages.
//
//     build/bin/bench_cold_start [runs]
#include "BenchHost.h"
#include "BenchSupport.h"

#include <CommonUtils.h>
#include <sim/VirtualCard.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <cstdio>

namespace {

// One host start; with `withPlugin` the module is loaded and started too.
// Returns the milliseconds until the frame-shown notification was handled.
double startHost(bool withPlugin)
{
    static int copies = 0;
    static QTemporaryDir folder;
    QString module;
    if (withPlugin) {
        module = folder.filePath(QStringLiteral("libDeviceMgrUI-%1.so").arg(++copies));
        if (!QFile::copy(QStringLiteral(LINK_BENCH_PLUGIN), module)) {
            std::fprintf(stderr, "bench_cold_start: cannot copy the module\n");
            std::exit(1);
        }
    }
    QElapsedTimer timer;
    timer.start();
    bench::Host host(module);
    return static_cast<double>(timer.nsecsElapsed()) / 1e6;
}

// One start in this process; prints the resident KiB after it.
int residentAfterStart(bool withPlugin)
{
    startHost(false); // the toolkit's caches, as in the timed runs
    if (!withPlugin) {
        bench::Host host{QString()};
        std::printf("%ld\n", bench::residentKiB());
        return 0;
    }
    bench::Host host{QStringLiteral(LINK_BENCH_PLUGIN)};
    std::printf("%ld\n", bench::residentKiB());
    return 0;
}

double residentInChild(const QString& program, bool withPlugin)
{
    QProcess child;
    child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    child.start(program, {QStringLiteral("--resident"),
                          withPlugin ? QStringLiteral("plugin") : QStringLiteral("host")});
    child.waitForFinished(-1);
    bool ok = false;
    const double kib = child.readAllStandardOutput().trimmed().toDouble(&ok);
    if (child.exitCode() != 0 || !ok) {
        std::fprintf(stderr, "bench_cold_start: the resident-memory child failed\n");
        std::exit(1);
    }
    return kib;
}

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    bench::silenceTrace();
    QTemporaryDir settings;
    CommonUtils::SetSettingsFolder(settings.path());
    sim::VirtualCard::instance().reset();
    const QStringList arguments = app.arguments();
    if (arguments.value(1) == QLatin1String("--resident"))
        return residentAfterStart(arguments.value(2) == QLatin1String("plugin"));
    const int runs = argc > 1 ? atoi(argv[1]) : 15;

    startHost(false); // warm the toolkit's own caches once for both sides
    const double host = bench::medianOf(runs, [] { return startHost(false); });
    const double withPlugin = bench::medianOf(runs, [] { return startHost(true); });
    std::printf("cold start (median of %d): host with the plug-in %.2f ms vs host alone %.2f ms "
                "(x%.2f, +%.2f ms)\n",
                runs, withPlugin, host, withPlugin / host, withPlugin - host);
    std::fflush(stdout);
    std::vector<double> added;
    for (int run = 0; run < 5; ++run)
        added.push_back(residentInChild(arguments.value(0), true) -
                        residentInChild(arguments.value(0), false));
    std::printf("resident memory after start-up (median of 5 pairs of processes): the plug-in "
                "adds %.2f MiB (goal < 3 MiB)\n",
                bench::median(added) / 1024);
    return 0;
}
