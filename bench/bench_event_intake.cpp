// Event intake: how long an SDK event takes from the SDK's thread entering the
// device-manager callback to the GUI thread having handled it, and how many
// events a second the plug-in takes in, each against a bare Qt queued signal
// between the same two threads (what the intake cannot beat).
//
//     build/bin/bench_event_intake [events-for-latency] [storm-events]
#include "BenchSupport.h"

#include "DeviceMgrService.h"
#include "HostSiblings.h"
#include "PluginContainer.h"

#include <CommonUtils.h>
#include <Startup.h>
#include <sim/VirtualCard.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <thread>

namespace {

// An event code the plug-in does not know: it is logged and dropped by the
// GUI-thread handler, so the measure is the intake path, not a pop-up.
constexpr int kPlainEvent = 6999;

using Clock = std::chrono::steady_clock;

double microsSince(Clock::time_point start)
{
    return std::chrono::duration<double, std::micro>(Clock::now() - start).count();
}

class BareEmitter : public QObject
{
    Q_OBJECT
signals:
    void sent(qint32 code);
};

// Sends events one at a time from a worker thread through `send`, waiting for
// the GUI thread to have handled each, and returns each event's latency (us).
template <typename Send, typename Connect>
std::vector<double> measureLatency(int count, Send send, Connect connectReceiver)
{
    std::vector<double> latencies;
    latencies.reserve(count);
    std::atomic<int> handled{0};
    Clock::time_point sentAt;
    QObject receiver;
    connectReceiver(&receiver, [&] {
        latencies.push_back(microsSince(sentAt));
        handled.fetch_add(1, std::memory_order_release);
    });
    std::atomic<bool> done{false};
    std::thread sdk([&] {
        for (int i = 0; i < count; ++i) {
            sentAt = Clock::now();
            send();
            while (handled.load(std::memory_order_acquire) <= i)
                std::this_thread::yield();
        }
        done = true;
    });
    while (!done.load())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 1);
    sdk.join();
    return latencies;
}

// Sends `count` events as fast as the worker can and returns events per
// second until the GUI thread has handled the last one.
template <typename Send, typename Connect>
double measureStorm(int count, Send send, Connect connectReceiver)
{
    std::atomic<int> handled{0};
    QObject receiver;
    connectReceiver(&receiver, [&] { handled.fetch_add(1, std::memory_order_relaxed); });
    QElapsedTimer timer;
    timer.start();
    std::thread sdk([&] {
        for (int i = 0; i < count; ++i)
            send();
    });
    while (handled.load(std::memory_order_relaxed) < count)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    sdk.join();
    return count / (static_cast<double>(timer.nsecsElapsed()) / 1e9);
}

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const int latencyEvents = argc > 1 ? atoi(argv[1]) : 20000;
    const int stormEvents = argc > 2 ? atoi(argv[2]) : 1000000;
    constexpr int kRuns = 5;
    bench::silenceTrace();

    QTemporaryDir settings;
    CommonUtils::SetSettingsFolder(settings.path());
    sim::VirtualCard::instance().reset();
    PluginContainer container;
    HostSiblings siblings(&container);
    Startup::SetPluginContainer(&container);

    CDeviceMgrService* service = CDeviceMgrService::instance();
    service->Init();

    auto plugin = [&] { CDeviceMgrService::OnDevMgrEventsCB(kPlainEvent, nullptr); };
    auto pluginReceiver = [&](QObject* receiver, auto slot) {
        QObject::connect(service, &CDeviceMgrService::signalDeviceMgrEventHandler, receiver, slot);
    };
    BareEmitter bare;
    auto baseline = [&] { emit bare.sent(kPlainEvent); };
    auto bareReceiver = [&](QObject* receiver, auto slot) {
        QObject::connect(&bare, &BareEmitter::sent, receiver, slot);
    };

    std::vector<double> medians[2], p99s[2];
    for (int run = 0; run < kRuns; ++run) {
        const auto p = measureLatency(latencyEvents, plugin, pluginReceiver);
        const auto b = measureLatency(latencyEvents, baseline, bareReceiver);
        medians[0].push_back(bench::median(p));
        p99s[0].push_back(bench::percentile(p, 0.99));
        medians[1].push_back(bench::median(b));
        p99s[1].push_back(bench::percentile(b, 0.99));
    }
    const double pMedian = bench::median(medians[0]), bMedian = bench::median(medians[1]);
    const double pP99 = bench::median(p99s[0]), bP99 = bench::median(p99s[1]);
    std::printf("event intake latency (%d events x %d runs, median of runs): median %.1f us "
                "vs bare queued signal %.1f us (x%.2f); p99 %.1f us vs %.1f us (x%.2f)\n",
                latencyEvents, kRuns, pMedian, bMedian, pMedian / bMedian, pP99, bP99, pP99 / bP99);

    const long rssBefore = bench::peakRssKiB();
    const double pRate =
        bench::medianOf(3, [&] { return measureStorm(stormEvents, plugin, pluginReceiver); });
    const double bRate =
        bench::medianOf(3, [&] { return measureStorm(stormEvents, baseline, bareReceiver); });
    std::printf("event storm (%d events, all handled, median of 3): %.0f events/s vs bare queued "
                "signal %.0f events/s (x%.2f); peak RSS %ld KiB (%ld KiB before the storm)\n",
                stormEvents, pRate, bRate, pRate / bRate, bench::peakRssKiB(), rssBefore);

    service->unSDKRegisterEvent();
    CDeviceMgrService::Destroy();
    Startup::SetPluginContainer(nullptr);
    return 0;
}

#include "bench_event_intake.moc"
