// The backend's side of ModemManager: a thread of its own running a GLib main
// context, on which libmm-glib follows the daemon's modems (appearing,
// changing, vanishing, the daemon itself going and coming back), the kernel's
// WWAN radio switch is watched, and the SDK's events are delivered.
//
// Requests (SendPin, Enable ...) are plain D-Bus calls made on the caller's
// thread: the connection is thread-safe and the answer is what the caller
// waits for anyway.
#pragma once

#include "EventQueue.h"
#include "ModemRegistry.h"
#include "SdkHost.h"

#include <gio/gio.h>

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

typedef struct _MMManager MMManager;

namespace utps::mm {

struct CallReply
{
    bool ok = false;
    std::string errorName; // the D-Bus error name when not ok
    std::string message;   // its text, for a log line
    std::shared_ptr<GVariant> value;
};

// The modem's lock and counters as a Properties call reads them.
struct LockState
{
    MMModemLock unlockRequired = MM_MODEM_LOCK_UNKNOWN;
    std::map<MMModemLock, int> retries;
};

class MmClient
{
public:
    struct Options
    {
        std::string bus = "system"; // "system", "session" or a D-Bus address
        std::string rfkillDir = "/sys/class/rfkill";
    };

    MmClient(ModemRegistry& registry, EventQueue& events, Options options);
    ~MmClient();
    MmClient(const MmClient&) = delete;
    MmClient& operator=(const MmClient&) = delete;

    void start();
    void stop();

    // Queues `events` for delivery on the client's thread.
    void post(ModemRegistry::Events events);
    // Returns once the client's thread has taken in everything the bus had
    // handed to it when this was called (at most about a second).
    void sync();
    bool daemonRunning() const { return m_daemonRunning; }

    // A method call on the daemon; `args` is consumed.
    CallReply call(const std::string& path, const char* interface, const char* method,
                   GVariant* args, int timeoutMs);
    std::optional<LockState> readLock(const std::string& modemPath);
    std::optional<std::string> readString(const std::string& path, const char* interface,
                                          const char* property);

private:
    void run();
    void connectBus();
    void scheduleReconnect();
    void dropBus();
    void onManagerReady(MMManager* manager, const std::string& error);
    void refresh();
    void reportOwner();
    // A one-shot timer kept in `slot`, which is empty again when `fire` runs.
    void arm(GSource*& slot, GSource* timer, void (MmClient::*fire)());
    void scheduleExpiry();
    void expireHeld();
    void watchRfkill();
    void readRfkill();
    std::string busText() const;
    void report(const BackendStatus& status);

    static void objectChanged(GDBusObjectManager*, GDBusObject*, gpointer self);
    static void interfaceChanged(GDBusObjectManager*, GDBusObject*, GDBusInterface*, gpointer self);
    static void propertiesChanged(GDBusObjectManagerClient*, GDBusObjectProxy*, GDBusProxy*,
                                  GVariant*, const gchar* const*, gpointer self);
    static void ownerChanged(GObject*, GParamSpec*, gpointer self);
    static void busClosed(GDBusConnection*, gboolean, GError*, gpointer self);

    ModemRegistry& m_registry;
    EventQueue& m_events;
    const Options m_options;

    GMainContext* m_context = nullptr;
    GMainLoop* m_loop = nullptr;
    std::thread m_thread;
    std::atomic<std::thread::id> m_threadId{};

    // Owned by the client's thread; the connection is also lent to callers.
    mutable std::mutex m_connectionMutex;
    GDBusConnection* m_connection = nullptr;
    MMManager* m_manager = nullptr;
    GSource* m_expiry = nullptr;
    GSource* m_reconnect = nullptr;
    GSource* m_rfkillWatch = nullptr;
    int m_rfkillFd = -1;
    std::atomic<bool> m_daemonRunning{false};
    BackendStatus m_reported; // on the client's thread, after start()
};

} // namespace utps::mm
