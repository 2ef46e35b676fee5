// PIN prompt latency: from a card that needs its PIN appearing to the
// enter-PIN dialog on screen (offscreen platform), with the plug-in module
// loaded and started as linkhost does.
//
// - modemmanager: the real ModemManager daemon on a private bus with an
//   emulated modem whose SIM asks for its PIN; from the modem being locked
//   and on the bus (the daemon's log stamps both its state change and its
//   export; the later of the two) to the dialog. Also the resident memory
//   the backend adds.
// - the baseline, the virtual card (in a child process: the SDK chooses its
//   backend once per process): from the plug of a PIN-locked card to the
//   dialog, which is the plug-in's own share of the path.
//
//     build/bin/bench_pin_prompt [runs]
#include "BenchHost.h"
#include "BenchSupport.h"
#include "MmTestBed.h"

#include <CommonUtils.h>
#include <SdkHost.h>
#include <sim/VirtualCard.h>
#include <utps.h>

#include <QApplication>
#include <QDeadlineTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;
const QString kPinDialog = QStringLiteral("DeviceMgrUI_VerifyPINDlg");

std::atomic<Clock::rep> g_shownAt{0};
std::atomic<bool> g_shown{false};

Clock::rep now()
{
    return Clock::now().time_since_epoch().count();
}

double msBetween(Clock::rep from, Clock::rep to)
{
    return std::chrono::duration<double, std::milli>(Clock::duration(to - from)).count();
}

double residentMiB()
{
    return double(bench::residentKiB()) / 1024.0;
}

// The enter-PIN dialog coming on screen, and going.
class DialogWatch : public QObject
{
protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (watched->objectName() != kPinDialog || !watched->isWidgetType())
            return false;
        if (event->type() == QEvent::Show && !g_shown) {
            g_shownAt = now();
            g_shown = true;
        } else if (event->type() == QEvent::Hide) {
            g_shown = false;
        }
        return false;
    }
};

// When a modem was locked and on the bus, by the daemon's log: the later of
// its state becoming LOCKED and its export, in the lines after `offset`,
// which moves past what was read. 0 until both are there.
Clock::rep lockedOnBusByDaemonLog(const QString& log, qint64* offset, double* locked,
                                  double* exported)
{
    QFile file(log);
    if (!file.open(QIODevice::ReadOnly) || !file.seek(*offset))
        return 0;
    const QRegularExpression stamp(QStringLiteral(R"(^<\w+>\s+\[(\d+\.\d+)\] )"));
    while (!file.atEnd()) {
        const QByteArray line = file.readLine();
        if (!line.endsWith('\n'))
            break; // the rest is still being written
        *offset += line.size();
        const QRegularExpressionMatch match = stamp.match(QString::fromUtf8(line));
        if (!match.hasMatch())
            continue;
        if (line.contains("state changed (") && line.contains(" -> locked)"))
            *locked = match.captured(1).toDouble();
        else if (line.contains("exported modem at path"))
            *exported = match.captured(1).toDouble();
    }
    const double seconds = *locked && *exported ? std::max(*locked, *exported) : 0;
    if (seconds == 0)
        return 0;
    // The daemon stamps its lines with the wall clock; the dialog's time is
    // taken on the steady clock.
    const double ago =
        std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count() -
        seconds;
    return now() -
           std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(ago)).count();
}

// One prompt: `appear` makes the card appear, `start` tells when the clock
// started, `vanish` takes the card away again. The latency in ms, or < 0.
template <typename Appear, typename Start, typename Vanish>
double prompt(Appear appear, Start start, Vanish vanish)
{
    g_shownAt = 0;
    appear();
    const bool shown = bench::waitFor([] { return g_shownAt != 0; });
    const Clock::rep startedAt = shown ? start() : 0;
    const double ms = startedAt ? msBetween(startedAt, g_shownAt) : -1;
    vanish();
    bench::waitFor([] { return !g_shown; });
    return ms;
}

std::vector<double> measured(int runs, const std::function<double()>& one)
{
    std::vector<double> latencies;
    for (int i = 0; i < runs; ++i) {
        const double ms = one();
        if (ms < 0) {
            std::fprintf(stderr, "bench_pin_prompt: run %d: no enter-PIN dialog\n", i + 1);
            std::exit(1);
        }
        latencies.push_back(ms);
    }
    return latencies;
}

int virtualCard(int runs)
{
    sim::VirtualCard& cards = sim::VirtualCard::instance();
    const int card = bench::addLockedCard();
    bench::Host host(QStringLiteral(LINK_BENCH_PLUGIN));
    std::atomic<Clock::rep> pluggedAt{0};
    const auto latencies = measured(runs, [&] {
        return prompt(
            [&] {
                pluggedAt = now();
                cards.plug(card);
            },
            [&] { return pluggedAt.load(); }, [&] { cards.unplug(card); });
    });
    std::printf("%.3f %.3f\n", bench::median(latencies), bench::percentile(latencies, 0.9));
    return 0;
}

int modemManager(int runs, const QString& program)
{
    const QString missing = MmTestBed::missingTools();
    if (!missing.isEmpty()) {
        std::fprintf(stderr, "bench_pin_prompt: not installed: %s\n", qPrintable(missing));
        return 1;
    }
    QTemporaryDir logs;
    MmTestBed bed(logs.path());
    QString error;
    if (!bed.start(&error)) {
        std::fprintf(stderr, "bench_pin_prompt: %s\n", qPrintable(error));
        return 1;
    }
    qputenv("UTPS_BACKEND", "modemmanager");
    qputenv("UTPS_MM_BUS", bed.busAddress().toUtf8());
    // The backend alone: started and following the daemon, before the plug-in.
    const double before = residentMiB();
    if (!bench::waitFor([] { return utps::backendStatus().ready; })) {
        std::fprintf(stderr, "bench_pin_prompt: the backend did not reach the daemon\n");
        return 1;
    }
    const double backend = residentMiB();
    {
        bench::Host host(QStringLiteral(LINK_BENCH_PLUGIN));
        int id = 0;
        AtModemConfig config;
        config.pinEnabled = true;
        const QString log = logs.filePath(QStringLiteral("mm.log"));
        qint64 offset = QFileInfo(log).size();
        const auto latencies = measured(runs, [&] {
            const QString modem = QStringLiteral("bench%1").arg(++id);
            const auto locked = [&] {
                Clock::rep at = 0;
                double lockedAt = 0, exportedAt = 0;
                bench::waitFor([&] {
                    return (at = lockedOnBusByDaemonLog(log, &offset, &lockedAt, &exportedAt)) != 0;
                });
                return at;
            };
            return prompt([&] { bed.addModem(modem, config, QStringLiteral("generic"), &error); },
                          locked, [&] { bed.removeModem(modem, &error); });
        });
        const double median = bench::median(latencies);
        std::printf("pin prompt, modemmanager (%d runs): modem locked on the bus -> enter-PIN "
                    "dialog on screen: median %.1f ms, p90 %.1f ms (goal < 100 ms: x%.2f of it)\n",
                    runs, median, bench::percentile(latencies, 0.9), median / 100.0);
        std::fflush(stdout);

        QProcess child;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("UTPS_BACKEND"), QStringLiteral("sim"));
        child.setProcessEnvironment(environment);
        child.start(program, {QStringLiteral("--virtual-card"), QString::number(runs)});
        child.waitForFinished(-1);
        const QList<QByteArray> baseline = child.readAllStandardOutput().trimmed().split(' ');
        if (child.exitCode() != 0 || baseline.size() != 2) {
            std::fprintf(stderr, "bench_pin_prompt: the virtual card baseline failed\n");
            return 1;
        }
        const double simMedian = baseline[0].toDouble();
        std::printf("pin prompt, virtual card (%d runs, the baseline): card plugged -> enter-PIN "
                    "dialog on screen: median %.1f ms, p90 %.1f ms; modemmanager x%.2f of it\n",
                    runs, simMedian, baseline[1].toDouble(), median / simMedian);
    }
    std::printf("modemmanager backend memory: +%.1f MiB resident once it follows the daemon "
                "(%.1f -> %.1f MiB)\n",
                backend - before, before, backend);
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    bench::silenceTrace();
    QTemporaryDir settings;
    CommonUtils::SetSettingsFolder(settings.path());
    utps::setLogSink([](utps::LogLevel, const std::string&) {});
    DialogWatch dialogs;
    app.installEventFilter(&dialogs);
    const QStringList arguments = app.arguments();
    if (arguments.value(1) == QLatin1String("--virtual-card"))
        return virtualCard(arguments.value(2).toInt());
    const int runs = arguments.size() > 1 ? arguments.value(1).toInt() : 15;
    return modemManager(runs, arguments.value(0));
}
