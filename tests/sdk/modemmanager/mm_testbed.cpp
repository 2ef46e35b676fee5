// mm_testbed: the real ModemManager daemon on a private bus with emulated
// modems, and a command run against it.
//
//   mm_testbed [--logs DIR] [--modem ID[,OPTION...]]... [-- COMMAND [ARG...]]
//
// OPTION: locked (the SIM asks for its PIN 1234, PUK 12345678; the default),
// unlocked, nosim, plugin=NAME (generic, zte ...), model=TEXT.
// The command gets UTPS_BACKEND=modemmanager and UTPS_MM_BUS set and its exit
// code is mm_testbed's. Without a command the bus address is printed and the
// bed runs until interrupted, for a linkhost started by hand.
#include "MmTestBed.h"

#include <QCoreApplication>
#include <QDir>
#include <QProcess>
#include <QTextStream>

#include <csignal>
#include <cstdio>
#include <pthread.h>

namespace {

constexpr int kSettleTimeoutMs = 20000;
constexpr int kExitBadUsage = 2;

struct WantedModem
{
    QString id;
    QString plugin = QStringLiteral("generic");
    AtModemConfig config;
};

bool parseModem(const QString& text, WantedModem* wanted)
{
    const QStringList parts = text.split(QLatin1Char(','));
    wanted->id = parts.value(0);
    for (const QString& option : parts.mid(1)) {
        const std::string value = option.section(QLatin1Char('='), 1).toStdString();
        if (option == QLatin1String("locked") || option == QLatin1String("unlocked"))
            wanted->config.pinEnabled = option == QLatin1String("locked");
        else if (option == QLatin1String("nosim"))
            wanted->config.simPresent = false;
        else if (option.startsWith(QLatin1String("plugin=")))
            wanted->plugin = QString::fromStdString(value);
        else if (option.startsWith(QLatin1String("model=")))
            wanted->config.model = value;
        else
            return false;
    }
    return !wanted->id.isEmpty();
}

void print(const QString& text)
{
    std::fprintf(stderr, "mm_testbed: %s\n", qPrintable(text));
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QStringList arguments = app.arguments().mid(1);
    QString logs = QDir::temp().filePath(QStringLiteral("mm_testbed-logs"));
    QList<WantedModem> modems;
    QStringList command;
    while (!arguments.isEmpty()) {
        const QString argument = arguments.takeFirst();
        WantedModem wanted;
        if (argument == QLatin1String("--")) {
            command = arguments;
            break;
        }
        if (argument == QLatin1String("--logs") && !arguments.isEmpty())
            logs = arguments.takeFirst();
        else if (argument == QLatin1String("--modem") && !arguments.isEmpty() &&
                 parseModem(arguments.takeFirst(), &wanted))
            modems << wanted;
        else {
            print(QStringLiteral("usage: mm_testbed [--logs DIR] [--modem ID[,OPTION...]]... "
                                 "[-- COMMAND...]"));
            return kExitBadUsage;
        }
    }
    const QString missing = MmTestBed::missingTools();
    if (!missing.isEmpty()) {
        print(
            QStringLiteral("not installed: %1 (tools/install-deps.sh installs them)").arg(missing));
        return kExitBadUsage;
    }

    // Without a command the bed runs until interrupted: the signals are
    // waited for, blocked in every thread from the start.
    sigset_t stop;
    sigemptyset(&stop);
    sigaddset(&stop, SIGINT);
    sigaddset(&stop, SIGTERM);
    if (command.isEmpty())
        pthread_sigmask(SIG_BLOCK, &stop, nullptr);

    MmTestBed bed(logs);
    QString error;
    if (!bed.start(&error)) {
        print(error);
        return 1;
    }
    for (const WantedModem& wanted : std::as_const(modems)) {
        if (!bed.addModem(wanted.id, wanted.config, wanted.plugin, &error)) {
            print(error);
            return 1;
        }
    }
    // Each modem as the daemon settles it: locked, disabled, or failed without a SIM.
    for (const WantedModem& wanted : std::as_const(modems)) {
        const int state = !wanted.config.simPresent ? -1 : wanted.config.pinEnabled ? 2 : 3;
        if (!bed.waitForState(wanted.id, state, kSettleTimeoutMs)) {
            print(QStringLiteral("modem %1 did not settle (logs in %2)").arg(wanted.id, logs));
            return 1;
        }
    }
    if (command.isEmpty()) {
        QTextStream(stdout) << "UTPS_BACKEND=modemmanager UTPS_MM_BUS=" << bed.busAddress() << "\n";
        QTextStream(stdout).flush();
        // Until interrupted; the emulated modems answer on threads of their own.
        int signal = 0;
        sigwait(&stop, &signal);
        return 0;
    }
    QProcess child;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("UTPS_BACKEND"), QStringLiteral("modemmanager"));
    environment.insert(QStringLiteral("UTPS_MM_BUS"), bed.busAddress());
    child.setProcessEnvironment(environment);
    child.setProcessChannelMode(QProcess::ForwardedChannels);
    child.start(command.first(), command.mid(1));
    if (!child.waitForStarted()) {
        print(QStringLiteral("cannot start %1: %2").arg(command.first(), child.errorString()));
        return 1;
    }
    child.waitForFinished(-1);
    return child.exitStatus() == QProcess::NormalExit ? child.exitCode() : 1;
}
