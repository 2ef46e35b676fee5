// Prompt latency with the virtual card, the plug-in module loaded and started
// as linkhost does it, tracing into a real log file (offscreen platform):
//
// - check-PIN: from the card's check-PIN event (UTPS_EVENT_DEV_CHECK_PIN) leaving the SDK to the
//   enter-PIN dialog on screen;
// - plug: from a PIN-locked card being plugged to the information pop-up on
//   screen.
//
// The baseline is what the toolkit itself needs to put a dialog on screen: a
// dialog of the same make (a label, a line edit, two buttons) made and shown
// by the GUI thread on a queued signal from another thread.
//
//     build/bin/bench_prompt_latency [runs]
#include "BenchHost.h"
#include "BenchSupport.h"
#include "HostLog.h"

#include <CommonUtils.h>
#include <sim/VirtualCard.h>
#include <utps.h>

#include <QApplication>
#include <QDeadlineTimer>
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTemporaryDir>
#include <QVBoxLayout>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;
const QString kPinDialog = QStringLiteral("DeviceMgrUI_VerifyPINDlg");
const QString kInfoDialog = QStringLiteral("DeviceMgrUI_dialogInfoDlg");
const QString kBareDialog = QStringLiteral("bench_bareDialog");

Clock::rep now()
{
    return Clock::now().time_since_epoch().count();
}

double msBetween(Clock::rep from, Clock::rep to)
{
    return std::chrono::duration<double, std::milli>(Clock::duration(to - from)).count();
}

// When each watched window last came on screen (0: not since reset).
class DialogWatch : public QObject
{
public:
    void reset() { pin = info = bare = 0; }
    Clock::rep pin = 0, info = 0, bare = 0;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() != QEvent::Show || !watched->isWidgetType())
            return false;
        const QString name = watched->objectName();
        Clock::rep* shown = name == kPinDialog    ? &pin
                            : name == kInfoDialog ? &info
                            : name == kBareDialog ? &bare
                                                  : nullptr;
        if (shown && !*shown)
            *shown = now();
        return false;
    }
};

QWidget* visibleWindow(const QString& name)
{
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (widget->objectName() == name && widget->isVisible())
            return widget;
    }
    return nullptr;
}

class BareEmitter : public QObject
{
    Q_OBJECT
signals:
    void ask();
};

void showBareDialog()
{
    auto* dialog = new QDialog;
    dialog->setObjectName(kBareDialog);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    auto* layout = new QVBoxLayout(dialog);
    layout->addWidget(new QLabel(QStringLiteral("Enter the PIN"), dialog));
    auto* field = new QLineEdit(dialog);
    field->setEchoMode(QLineEdit::Password);
    layout->addWidget(field);
    layout->addWidget(new QPushButton(QStringLiteral("OK"), dialog));
    layout->addWidget(new QPushButton(QStringLiteral("Cancel"), dialog));
    dialog->setFixedSize(310, 160);
    dialog->show();
}

void fail(const char* what)
{
    std::fprintf(stderr, "bench_prompt_latency: %s\n", what);
    std::exit(1);
}

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const int runs = argc > 1 ? std::max(1, atoi(argv[1])) : 50;
    QTemporaryDir folder;
    CommonUtils::SetSettingsFolder(folder.path());
    QString error;
    if (!HostLog::open(folder.filePath(QStringLiteral("linkhost.log")), false, &error))
        fail(qPrintable(error));
    DialogWatch watch;
    app.installEventFilter(&watch);

    sim::VirtualCard& cards = sim::VirtualCard::instance();
    const int card = bench::addLockedCard();
    std::atomic<Clock::rep> checkPinAt{0};
    cards.setEventObserver([&](int code) {
        if (code == UTPS_EVENT_DEV_CHECK_PIN && checkPinAt == 0)
            checkPinAt = now();
    });

    std::vector<double> checkPin, plug, bare;
    {
        bench::Host host(QStringLiteral(LINK_BENCH_PLUGIN));
        for (int run = 0; run <= runs; ++run) { // run 0 warms up, unmeasured
            watch.reset();
            checkPinAt = 0;
            const Clock::rep pluggedAt = now();
            cards.plug(card);
            if (!bench::waitFor([&] { return watch.pin && watch.info; }))
                fail("no enter-PIN dialog or no pop-up after a plug");
            if (run > 0) {
                checkPin.push_back(msBetween(checkPinAt, watch.pin));
                plug.push_back(msBetween(pluggedAt, watch.info));
            }
            cards.unplug(card);
            if (!bench::waitFor([] { return !visibleWindow(kPinDialog); }))
                fail("the enter-PIN dialog stayed after the unplug");
            cards.waitIdle();
            bench::waitFor([] { return false; }, 20); // the pop-up of the unplug
            if (QWidget* info = visibleWindow(kInfoDialog))
                info->close();
        }
    }

    BareEmitter emitter;
    QObject::connect(&emitter, &BareEmitter::ask, &app, showBareDialog, Qt::QueuedConnection);
    for (int run = 0; run <= runs; ++run) {
        watch.reset();
        Clock::rep askedAt = 0;
        std::thread([&] {
            askedAt = now();
            emit emitter.ask();
        }).join();
        if (!bench::waitFor([&] { return watch.bare != 0; }))
            fail("the bare dialog did not show");
        if (run > 0)
            bare.push_back(msBetween(askedAt, watch.bare));
        if (QWidget* dialog = visibleWindow(kBareDialog))
            dialog->close();
        bench::waitFor([] { return false; }, 5);
    }
    HostLog::close();

    const double bareMedian = bench::median(bare);
    std::printf("prompt latency, virtual card (%d runs): check-PIN event -> enter-PIN dialog on "
                "screen: median %.2f ms, p99 %.2f ms (goal < 20 ms; x%.2f of a bare dialog "
                "shown from a queued signal, median %.2f ms, p99 %.2f ms)\n",
                runs, bench::median(checkPin), bench::percentile(checkPin, 0.99),
                bench::median(checkPin) / bareMedian, bareMedian, bench::percentile(bare, 0.99));
    std::printf("prompt latency, virtual card (%d runs): card plugged -> information pop-up on "
                "screen: median %.2f ms, p99 %.2f ms (x%.2f of the bare dialog)\n",
                runs, bench::median(plug), bench::percentile(plug, 0.99),
                bench::median(plug) / bareMedian);
    return 0;
}

#include "bench_prompt_latency.moc"
