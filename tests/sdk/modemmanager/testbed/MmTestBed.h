// The real ModemManager daemon on a private D-Bus bus, fed with emulated AT
// modems: what the modemmanager backend's tests, the end-to-end scenario and
// the benchmark run against. Nothing touches the system bus or a real device.
//
// Logs (the daemon's, and each modem's AT commands) are kept in the folder
// given at construction.
#pragma once

#include "AtModem.h"

#include <QDBusConnection>
#include <QProcess>
#include <QString>
#include <QVariantMap>

#include <map>
#include <memory>

class MmTestBed
{
public:
    explicit MmTestBed(const QString& logFolder);
    ~MmTestBed();
    MmTestBed(const MmTestBed&) = delete;
    MmTestBed& operator=(const MmTestBed&) = delete;

    // What is missing on this machine to run the daemon, or "" when nothing.
    static QString missingTools();

    bool start(QString* error);
    QString busAddress() const { return m_address; }

    bool startDaemon(QString* error);
    // Kills the daemon as a crash would; its modems are gone with it.
    void killDaemon();

    // Starts an emulated modem and has the daemon take it as "/virtual/<id>"
    // through `plugin` ("generic", "zte" ...). Null on failure.
    AtModem* addModem(const QString& id, const AtModemConfig& config,
                      const QString& plugin = QStringLiteral("generic"), QString* error = nullptr);
    // Has the daemon take an existing emulated modem again (after a restart).
    bool registerModem(const QString& id, const QString& plugin, QString* error);
    // Unplugs: the daemon drops the modem; its emulator stops.
    bool removeModem(const QString& id, QString* error);
    AtModem* modem(const QString& id) const;

    // The daemon's view of "/virtual/<id>": its object path and the
    // properties of its Modem interface; empty when it has none.
    QString modemPath(const QString& id) const;
    QVariantMap modemProperties(const QString& id) const;
    // Waits until the modem's State is `state` (MMModemState); false on timeout.
    bool waitForState(const QString& id, int state, int timeoutMs) const;

private:
    bool setProfile(const QString& id, const QString& plugin, const QStringList& ports,
                    QString* error);
    QString socketName(const QString& id) const;

    QString m_logFolder;
    QString m_address;
    QProcess m_bus;
    QProcess m_daemon;
    std::unique_ptr<QDBusConnection> m_connection;
    std::map<QString, std::unique_ptr<AtModem>> m_modems;
};
