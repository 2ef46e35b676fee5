#include "MmTestBed.h"

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusReply>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QThread>

#include <csignal>
#include <sys/prctl.h>

namespace {

const QString kService = QStringLiteral("org.freedesktop.ModemManager1");
const QString kRoot = QStringLiteral("/org/freedesktop/ModemManager1");
const QString kModemInterface = QStringLiteral("org.freedesktop.ModemManager1.Modem");
constexpr int kStartTimeoutMs = 20000;
constexpr int kPollMs = 20;

// Children die with the test, however it ends.
void dieWithParent(QProcess& process)
{
    process.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
}

template <typename Predicate> bool waitUntil(int timeoutMs, Predicate done)
{
    QDeadlineTimer deadline(timeoutMs);
    while (!done()) {
        if (deadline.hasExpired())
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, kPollMs);
        QThread::msleep(kPollMs);
    }
    return true;
}

// GetManagedObjects: object path -> interface -> properties.
using ManagedObjects = QMap<QString, QMap<QString, QVariantMap>>;

ManagedObjects managedObjects(const QDBusConnection& bus)
{
    ManagedObjects objects;
    const QDBusMessage reply = bus.call(QDBusMessage::createMethodCall(
        kService, kRoot, QStringLiteral("org.freedesktop.DBus.ObjectManager"),
        QStringLiteral("GetManagedObjects")));
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return objects;
    const auto arg = reply.arguments().at(0).value<QDBusArgument>();
    arg.beginMap();
    while (!arg.atEnd()) {
        QDBusObjectPath path;
        arg.beginMapEntry();
        arg >> path;
        arg.beginMap();
        while (!arg.atEnd()) {
            QString interface;
            QVariantMap properties;
            arg.beginMapEntry();
            arg >> interface >> properties;
            arg.endMapEntry();
            objects[path.path()][interface] = properties;
        }
        arg.endMap();
        arg.endMapEntry();
    }
    arg.endMap();
    return objects;
}

} // namespace

MmTestBed::MmTestBed(const QString& logFolder) : m_logFolder(logFolder)
{
    QDir().mkpath(m_logFolder);
}

MmTestBed::~MmTestBed()
{
    m_connection.reset();
    killDaemon();
    m_modems.clear();
    m_bus.kill();
    m_bus.waitForFinished();
}

QString MmTestBed::missingTools()
{
    QStringList missing;
    for (const char* tool : {"dbus-daemon", "ModemManager"}) {
        if (QStandardPaths::findExecutable(QLatin1String(tool)).isEmpty() &&
            QStandardPaths::findExecutable(QLatin1String(tool), {QStringLiteral("/usr/sbin")})
                .isEmpty())
            missing << QLatin1String(tool);
    }
    return missing.join(QStringLiteral(", "));
}

bool MmTestBed::start(QString* error)
{
    dieWithParent(m_bus);
    m_bus.setStandardErrorFile(m_logFolder + QStringLiteral("/dbus.log"));
    m_bus.start(QStringLiteral("dbus-daemon"),
                {QStringLiteral("--session"), QStringLiteral("--nofork"),
                 QStringLiteral("--nopidfile"), QStringLiteral("--print-address")});
    if (!m_bus.waitForStarted() || !m_bus.waitForReadyRead(kStartTimeoutMs)) {
        *error = QStringLiteral("dbus-daemon did not start: %1").arg(m_bus.errorString());
        return false;
    }
    m_address = QString::fromUtf8(m_bus.readLine()).trimmed();
    m_connection = std::make_unique<QDBusConnection>(
        QDBusConnection::connectToBus(m_address, QStringLiteral("mm-testbed")));
    if (!m_connection->isConnected()) {
        *error = QStringLiteral("cannot connect to the private bus %1").arg(m_address);
        return false;
    }
    return startDaemon(error);
}

bool MmTestBed::startDaemon(QString* error)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), m_address);
    // Lookups of polkit and logind on the system bus fail at once.
    environment.insert(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"),
                       QStringLiteral("unix:path=/nonexistent/system_bus_socket"));
    m_daemon.setProcessEnvironment(environment);
    dieWithParent(m_daemon);
    m_daemon.setProcessChannelMode(QProcess::MergedChannels);
    m_daemon.setStandardOutputFile(m_logFolder + QStringLiteral("/mm-output.log"),
                                   QIODevice::Append);
    QString program = QStandardPaths::findExecutable(QStringLiteral("ModemManager"));
    if (program.isEmpty())
        program = QStandardPaths::findExecutable(QStringLiteral("ModemManager"),
                                                 {QStringLiteral("/usr/sbin")});
    m_daemon.start(program,
                   {QStringLiteral("--test-session"), QStringLiteral("--test-enable"),
                    QStringLiteral("--test-no-udev"), QStringLiteral("--no-auto-scan"),
                    QStringLiteral("--test-no-suspend-resume"), QStringLiteral("--test-no-qrtr"),
                    QStringLiteral("--debug"), QStringLiteral("--log-level=DEBUG"),
                    QStringLiteral("--log-timestamps"),
                    // Written line by line, unlike its standard output.
                    QStringLiteral("--log-file=") + m_logFolder + QStringLiteral("/mm.log")});
    const auto registered = [this] {
        return m_connection->interface()->isServiceRegistered(kService).value();
    };
    if (!m_daemon.waitForStarted() || !waitUntil(kStartTimeoutMs, registered)) {
        *error = QStringLiteral("ModemManager did not come up on the private bus (see %1/mm.log)")
                     .arg(m_logFolder);
        return false;
    }
    return true;
}

void MmTestBed::killDaemon()
{
    if (m_daemon.state() == QProcess::NotRunning)
        return;
    m_daemon.kill();
    m_daemon.waitForFinished();
    if (m_connection)
        waitUntil(kStartTimeoutMs, [this] {
            return !m_connection->interface()->isServiceRegistered(kService).value();
        });
}

QString MmTestBed::socketName(const QString& id) const
{
    // Abstract socket names are shared by every process of the machine.
    return QStringLiteral("linkmarrow-%1-%2").arg(QCoreApplication::applicationPid()).arg(id);
}

AtModem* MmTestBed::addModem(const QString& id, const AtModemConfig& config, const QString& plugin,
                             QString* error)
{
    QString ignored;
    error = error ? error : &ignored;
    auto modem = std::make_unique<AtModem>(
        socketName(id).toStdString(), config,
        (m_logFolder + QStringLiteral("/at-%1.log").arg(id)).toStdString());
    std::string startError;
    if (!modem->start(&startError)) {
        *error = QString::fromStdString(startError);
        return nullptr;
    }
    AtModem* raw = modem.get();
    m_modems[id] = std::move(modem);
    if (!registerModem(id, plugin, error))
        return nullptr;
    return raw;
}

bool MmTestBed::registerModem(const QString& id, const QString& plugin, QString* error)
{
    const auto it = m_modems.find(id);
    if (it == m_modems.end()) {
        *error = QStringLiteral("no emulated modem %1").arg(id);
        return false;
    }
    return setProfile(id, plugin, {QString::fromStdString(it->second->portName())}, error);
}

bool MmTestBed::removeModem(const QString& id, QString* error)
{
    const auto it = m_modems.find(id);
    if (it == m_modems.end()) {
        *error = QStringLiteral("no emulated modem %1").arg(id);
        return false;
    }
    // A profile with a plugin nobody has makes the daemon drop the modem; the
    // call itself answers NotFound.
    setProfile(id, QStringLiteral("linkmarrow-unplugged"),
               {QString::fromStdString(it->second->portName())}, error);
    if (!waitUntil(kStartTimeoutMs, [&] { return modemPath(id).isEmpty(); })) {
        *error = QStringLiteral("the daemon kept modem %1").arg(id);
        return false;
    }
    m_modems.erase(it);
    return true;
}

AtModem* MmTestBed::modem(const QString& id) const
{
    const auto it = m_modems.find(id);
    return it == m_modems.end() ? nullptr : it->second.get();
}

bool MmTestBed::setProfile(const QString& id, const QString& plugin, const QStringList& ports,
                           QString* error)
{
    QDBusMessage call = QDBusMessage::createMethodCall(
        kService, kRoot, QStringLiteral("org.freedesktop.ModemManager1.Test"),
        QStringLiteral("SetProfile"));
    call << id << plugin << ports;
    const QDBusMessage reply = m_connection->call(call);
    if (reply.type() == QDBusMessage::ErrorMessage) {
        *error = QStringLiteral("SetProfile %1: %2").arg(id, reply.errorMessage());
        return false;
    }
    return true;
}

QString MmTestBed::modemPath(const QString& id) const
{
    const QString device = QStringLiteral("/virtual/") + id;
    const ManagedObjects objects = managedObjects(*m_connection);
    for (auto it = objects.cbegin(); it != objects.cend(); ++it) {
        const auto modem = it.value().find(kModemInterface);
        if (modem != it.value().cend() &&
            modem->value(QStringLiteral("Device")).toString() == device)
            return it.key();
    }
    return {};
}

QVariantMap MmTestBed::modemProperties(const QString& id) const
{
    const QString path = modemPath(id);
    if (path.isEmpty())
        return {};
    return managedObjects(*m_connection).value(path).value(kModemInterface);
}

bool MmTestBed::waitForState(const QString& id, int state, int timeoutMs) const
{
    return waitUntil(timeoutMs, [&] {
        const QVariantMap properties = modemProperties(id);
        return !properties.isEmpty() && properties.value(QStringLiteral("State")).toInt() == state;
    });
}
