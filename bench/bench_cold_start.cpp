// Cold start: loading the plug-in module, Init, ShowWindow and the host's
// NTF_FRAME_SHOWN handled, against the host starting alone (container, the
// built-in siblings, the main window shown and 258 broadcast to nobody).
// Each run loads its own copy of the module, so every load is a first load
// (the container keeps libraries mapped).
//
//     build/bin/bench_cold_start [runs]
#include "BenchHost.h"
#include "BenchSupport.h"

#include <CommonUtils.h>
#include <sim/VirtualCard.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
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

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const int runs = argc > 1 ? atoi(argv[1]) : 15;
    bench::silenceTrace();
    QTemporaryDir settings;
    CommonUtils::SetSettingsFolder(settings.path());
    sim::VirtualCard::instance().reset();

    startHost(false); // warm the toolkit's own caches once for both sides
    const double host = bench::medianOf(runs, [] { return startHost(false); });
    const double withPlugin = bench::medianOf(runs, [] { return startHost(true); });
    std::printf("cold start (median of %d): host with the plug-in %.2f ms vs host alone %.2f ms "
                "(x%.2f, +%.2f ms)\n",
                runs, withPlugin, host, withPlugin / host, withPlugin - host);
    return 0;
}
