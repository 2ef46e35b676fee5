// Event intake: how long an SDK event takes from the SDK's thread entering the
// device-manager callback to the GUI thread having handled it, and how many
// events a second the plug-in takes in, each against a bare Qt queued signal
// between the same two threads (what the intake cannot beat). Every trace
// line is written as in linkhost: formatted, and through the real log file.
//
// "Handled" is the queued call returning on the GUI thread: the plug-in's
// own slot, or the bare signal's receiver.
//
// The storms run in child processes, one storm each, so that each one's
// peak memory is its own.
//
//     build/bin/bench_event_intake [events-for-latency] [storm-events]
#include "BenchSupport.h"

#include "DeviceMgrService.h"
#include "HostLog.h"
#include "HostSiblings.h"
#include <PluginContainer.h>

#include <CommonUtils.h>
#include <Startup.h>
#include <sim/VirtualCard.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <memory>
#include <thread>

namespace {

// An event code the plug-in does not know: it is traced and dropped by the
// GUI-thread handler, so the measure is the intake path, not a pop-up.
constexpr int kPlainEvent = 6999;
constexpr int kStormRuns = 3;

using Clock = std::chrono::steady_clock;

class BareEmitter : public QObject
{
    Q_OBJECT
signals:
    void sent(qint32 code);
};

// Counts the queued calls delivered to one receiver, as they return.
class CountingApp : public QApplication
{
public:
    using QApplication::QApplication;

    bool notify(QObject* receiver, QEvent* event) override
    {
        const bool result = QApplication::notify(receiver, event);
        if (receiver == watched && event->type() == QEvent::MetaCall) {
            handledAt = Clock::now();
            handled.fetch_add(1, std::memory_order_release);
        }
        return result;
    }

    QObject* watched = nullptr;
    Clock::time_point handledAt;
    std::atomic<int> handled{0};
};

CountingApp* app()
{
    return static_cast<CountingApp*>(QCoreApplication::instance());
}

// Sends events one at a time from a worker thread through `send`, waiting for
// the GUI thread to have handled each, and returns each event's latency (us).
template <typename Send> std::vector<double> measureLatency(int count, QObject* receiver, Send send)
{
    std::vector<double> latencies;
    latencies.reserve(count);
    app()->watched = receiver;
    app()->handled = 0;
    std::atomic<bool> done{false};
    std::thread sdk([&] {
        for (int i = 0; i < count; ++i) {
            const Clock::time_point sentAt = Clock::now();
            send();
            while (app()->handled.load(std::memory_order_acquire) <= i)
                std::this_thread::yield();
            latencies.push_back(
                std::chrono::duration<double, std::micro>(app()->handledAt - sentAt).count());
        }
        done = true;
    });
    while (!done.load())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 1);
    sdk.join();
    return latencies;
}

// Sends `count` events as fast as the worker can; events per second until
// the GUI thread has handled the last one and the log holds every line.
template <typename Send> double measureStorm(int count, QObject* receiver, Send send)
{
    app()->watched = receiver;
    app()->handled = 0;
    QElapsedTimer timer;
    timer.start();
    std::thread sdk([&] {
        for (int i = 0; i < count; ++i)
            send();
    });
    while (app()->handled.load(std::memory_order_relaxed) < count)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    sdk.join();
    HostLog::flush();
    return count / (static_cast<double>(timer.nsecsElapsed()) / 1e9);
}

// The plug-in started as linkhost starts it, tracing into a real log file.
struct PluginSide
{
    PluginSide()
    {
        CommonUtils::SetSettingsFolder(settings.path());
        QString error;
        if (!HostLog::open(logs.filePath(QStringLiteral("linkhost.log")), false, &error)) {
            std::fprintf(stderr, "bench_event_intake: %s\n", qPrintable(error));
            std::exit(1);
        }
        sim::VirtualCard::instance().reset();
        Startup::SetPluginContainer(&container);
        service = CDeviceMgrService::instance();
        service->Init();
    }
    ~PluginSide()
    {
        service->unSDKRegisterEvent();
        CDeviceMgrService::Destroy();
        Startup::SetPluginContainer(nullptr);
        HostLog::close();
    }
    static void send() { CDeviceMgrService::OnDevMgrEventsCB(kPlainEvent, nullptr); }

    QTemporaryDir settings;
    QTemporaryDir logs;
    PluginContainer container;
    HostSiblings siblings{&container};
    CDeviceMgrService* service = nullptr;
};

struct BareSide
{
    BareSide()
    {
        QObject::connect(&emitter, &BareEmitter::sent, &receiver, [](qint32) {});
    }
    void send() { emit emitter.sent(kPlainEvent); }

    BareEmitter emitter;
    QObject receiver;
};

// One storm in this process: prints "<events/s> <resident growth KiB>
// <times a line waited for room in the log>".
int storm(bool plugin, int events)
{
    std::unique_ptr<PluginSide> pluginSide;
    std::unique_ptr<BareSide> bareSide;
    if (plugin)
        pluginSide = std::make_unique<PluginSide>();
    else
        bareSide = std::make_unique<BareSide>();
    const long before = bench::residentKiB();
    const double rate = plugin
                            ? measureStorm(events, pluginSide->service, &PluginSide::send)
                            : measureStorm(events, &bareSide->receiver, [&] { bareSide->send(); });
    std::printf("%.0f %ld %llu\n", rate, bench::peakRssKiB() - before,
                static_cast<unsigned long long>(plugin ? HostLog::fullWaits() : 0));
    return 0;
}

struct StormResult
{
    double rate = 0;
    double growthKiB = 0;
    double logWaits = 0;
};

StormResult stormInChild(const QString& program, const char* side, int events)
{
    QProcess child;
    child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    child.start(program, {QStringLiteral("--storm"), QLatin1String(side), QString::number(events)});
    child.waitForFinished(-1);
    const QList<QByteArray> fields = child.readAllStandardOutput().trimmed().split(' ');
    if (child.exitCode() != 0 || fields.size() != 3) {
        std::fprintf(stderr, "bench_event_intake: the %s storm failed\n", side);
        std::exit(1);
    }
    return {fields[0].toDouble(), fields[1].toDouble(), fields[2].toDouble()};
}

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    CountingApp application(argc, argv);
    const QStringList arguments = application.arguments();
    if (arguments.value(1) == QLatin1String("--storm"))
        return storm(arguments.value(2) == QLatin1String("plugin"), arguments.value(3).toInt());
    const int latencyEvents = argc > 1 ? atoi(argv[1]) : 20000;
    const int stormEvents = argc > 2 ? atoi(argv[2]) : 1000000;
    constexpr int kRuns = 5;

    std::vector<double> medians[2], p99s[2];
    {
        PluginSide plugin;
        BareSide bare;
        // Unmeasured: the first run grows buffers (the log's among them).
        measureLatency(latencyEvents, plugin.service, &PluginSide::send);
        measureLatency(latencyEvents, &bare.receiver, [&] { bare.send(); });
        for (int run = 0; run < kRuns; ++run) {
            const auto p = measureLatency(latencyEvents, plugin.service, &PluginSide::send);
            const auto b = measureLatency(latencyEvents, &bare.receiver, [&] { bare.send(); });
            medians[0].push_back(bench::median(p));
            p99s[0].push_back(bench::percentile(p, 0.99));
            medians[1].push_back(bench::median(b));
            p99s[1].push_back(bench::percentile(b, 0.99));
        }
    }
    const double pMedian = bench::median(medians[0]), bMedian = bench::median(medians[1]);
    const double pP99 = bench::median(p99s[0]), bP99 = bench::median(p99s[1]);
    std::printf("event intake latency (%d events x %d runs, median of runs): median %.1f us "
                "vs bare queued signal %.1f us (x%.2f, goal x3); p99 %.1f us vs %.1f us "
                "(x%.2f, goal x5)\n",
                latencyEvents, kRuns, pMedian, bMedian, pMedian / bMedian, pP99, bP99, pP99 / bP99);
    std::fflush(stdout);
    if (stormEvents <= 0)
        return 0;

    std::vector<double> rates[2], growths[2], waits;
    for (int run = 0; run < kStormRuns; ++run) {
        for (int side = 0; side < 2; ++side) {
            const StormResult result =
                stormInChild(arguments.value(0), side == 0 ? "plugin" : "bare", stormEvents);
            rates[side].push_back(result.rate);
            growths[side].push_back(result.growthKiB);
            if (side == 0)
                waits.push_back(result.logWaits);
        }
    }
    const double pRate = bench::median(rates[0]), bRate = bench::median(rates[1]);
    const double pGrowth = bench::median(growths[0]), bGrowth = bench::median(growths[1]);
    std::printf("event storm (%d events, all handled and logged, median of %d): %.0f events/s vs "
                "bare queued signal %.0f events/s (x%.2f, goal x0.5); peak resident growth "
                "%.1f MiB vs %.1f MiB (x%.2f, goal x1.5); a line waited for room in the log "
                "%.0f times\n",
                stormEvents, kStormRuns, pRate, bRate, pRate / bRate, pGrowth / 1024,
                bGrowth / 1024, pGrowth / std::max(bGrowth, 1.0), bench::median(waits));
    return 0;
}

#include "bench_event_intake.moc"
