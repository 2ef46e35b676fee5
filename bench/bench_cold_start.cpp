// Cold start: loading the plug-in module, Init, ShowWindow and the host's
// NTF_FRAME_SHOWN handled, against the host starting alone (container, the
// built-in siblings, the main window shown and 258 broadcast to nobody).
// Each run loads its own copy of the module, so every load is a first load
// (the container keeps libraries mapped).
//
//     build/bin/bench_cold_start [runs]
#include "BenchSupport.h"

#include "HostSiblings.h"
#include "PluginContainer.h"

#include <CommonUtils.h>
#include <PluginInterfaces.h>
#include <Startup.h>
#include <sim/VirtualCard.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QMainWindow>
#include <QTemporaryDir>

#include <cstdio>

namespace {

constexpr unsigned int kFrameShown = 258;

// One host start; with `withPlugin` the module is loaded and started too.
// Returns the milliseconds until the frame-shown notification was handled.
double startHost(bool withPlugin)
{
    static int copies = 0;
    static QTemporaryDir folder;
    const QString module = folder.filePath(QStringLiteral("libDeviceMgrUI-%1.so").arg(++copies));
    if (withPlugin && !QFile::copy(QStringLiteral(LINK_BENCH_PLUGIN), module)) {
        std::fprintf(stderr, "bench_cold_start: cannot copy the module\n");
        std::exit(1);
    }
    QElapsedTimer timer;
    timer.start();
    PluginContainer container;
    HostSiblings siblings(&container);
    Startup::SetPluginContainer(&container);
    QMainWindow window;
    siblings.setMainWindow(&window);
    IUIPlugin* plugin = nullptr;
    if (withPlugin) {
        QString error;
        QObject* object = container.loadPluginLibrary(module, &error);
        plugin = qobject_cast<IUIPlugin*>(object);
        if (!plugin) {
            std::fprintf(stderr, "bench_cold_start: %s\n", qPrintable(error));
            std::exit(1);
        }
        siblings.addNotifyTarget(object);
        plugin->Init();
        QRect rect;
        plugin->ShowWindow(&window, rect);
    }
    window.show();
    QCoreApplication::processEvents();
    siblings.notifyService()->BroadcastNotify(kFrameShown, 0, 0);
    QCoreApplication::processEvents();
    const double ms = static_cast<double>(timer.nsecsElapsed()) / 1e6;
    if (plugin) {
        plugin->UnSDKRegisterEvent();
        plugin->OnDestroy();
    }
    Startup::SetPluginContainer(nullptr);
    return ms;
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
