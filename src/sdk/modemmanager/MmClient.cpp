#include "MmClient.h"

#include "Rfkill.h"
#include "SdkHost.h"

#include <glib-unix.h>
#include <libmm-glib.h>

#include <fcntl.h>
#include <unistd.h>

#include <condition_variable>

namespace utps::mm {

namespace {

constexpr guint kReconnectSeconds = 5;
constexpr int kSyncTimeoutMs = 1000;
constexpr const char* kBackend = "modemmanager";

void logWarning(const std::string& line)
{
    logLine(LogLevel::Warning, "utps: modemmanager: " + line);
}

std::string errorText(const GError* error)
{
    return error ? std::string(error->message) : std::string("unknown error");
}

// The D-Bus name of an error, whether GDBus mapped it to a domain or not.
std::string errorName(GError* error)
{
    if (g_dbus_error_is_remote_error(error)) {
        gchar* name = g_dbus_error_get_remote_error(error);
        std::string text = name ? name : "";
        g_free(name);
        return text;
    }
    gchar* name = g_dbus_error_encode_gerror(error);
    std::string text = name ? name : "";
    g_free(name);
    return text;
}

std::map<MMModemLock, int> retriesFrom(MMUnlockRetries* retries)
{
    std::map<MMModemLock, int> result;
    if (!retries)
        return result;
    mm_unlock_retries_foreach(
        retries,
        [](MMModemLock lock, guint count, gpointer data) {
            (*static_cast<std::map<MMModemLock, int>*>(data))[lock] = int(count);
        },
        &result);
    return result;
}

std::map<MMModemLock, int> retriesFrom(GVariant* dictionary)
{
    std::map<MMModemLock, int> result;
    GVariantIter iter;
    guint32 lock = 0;
    guint32 count = 0;
    g_variant_iter_init(&iter, dictionary);
    while (g_variant_iter_next(&iter, "{uu}", &lock, &count))
        result[MMModemLock(lock)] = int(count);
    return result;
}

// The object's interface `name`, or null; mm_object_peek_*() complain about
// an object that lacks it.
template <typename Proxy> Proxy* peek(MMObject* object, const char* name)
{
    GDBusInterface* found = g_dbus_object_get_interface(G_DBUS_OBJECT(object), name);
    if (!found)
        return nullptr;
    g_object_unref(found); // the object keeps its own reference
    return reinterpret_cast<Proxy*>(found);
}

ModemSnapshot snapshotOf(MMObject* object, MMModem* modem)
{
    ModemSnapshot snapshot;
    snapshot.path = mm_object_get_path(object);
    const gchar* device = mm_modem_get_device(modem);
    snapshot.device = device ? device : "";
    const gchar* model = mm_modem_get_model(modem);
    snapshot.model = model ? model : "";
    const gchar* sim = mm_modem_get_sim_path(modem);
    snapshot.simPath = sim ? sim : "";
    snapshot.state = mm_modem_get_state(modem);
    snapshot.unlockRequired = mm_modem_get_unlock_required(modem);
    MMUnlockRetries* retries = mm_modem_get_unlock_retries(modem);
    snapshot.unlockRetries = retriesFrom(retries);
    if (retries)
        g_object_unref(retries);
    snapshot.capabilities = mm_modem_get_current_capabilities(modem);
    snapshot.powerState = mm_modem_get_power_state(modem);
    if (auto* threeGpp = peek<MMModem3gpp>(object, MM_DBUS_INTERFACE_MODEM_MODEM3GPP))
        snapshot.simLockEnabled =
            (mm_modem_3gpp_get_enabled_facility_locks(threeGpp) & MM_MODEM_3GPP_FACILITY_SIM) != 0;
    return snapshot;
}

GSource* attachIdle(GMainContext* context, gint priority, GSourceFunc function, gpointer data,
                    GDestroyNotify destroy)
{
    GSource* source = g_idle_source_new();
    g_source_set_priority(source, priority);
    g_source_set_callback(source, function, data, destroy);
    g_source_attach(source, context);
    return source;
}

void destroySource(GSource*& source)
{
    if (!source)
        return;
    g_source_destroy(source);
    g_source_unref(source);
    source = nullptr;
}

} // namespace

MmClient::MmClient(ModemRegistry& registry, EventQueue& events, Options options)
    : m_registry(registry), m_events(events), m_options(std::move(options))
{
    m_context = g_main_context_new();
    m_loop = g_main_loop_new(m_context, FALSE);
}

MmClient::~MmClient()
{
    stop();
    g_main_loop_unref(m_loop);
    g_main_context_unref(m_context);
}

void MmClient::report(const BackendStatus& status)
{
    // A bus that stays away is retried every few seconds: said once.
    if (status.ready == m_reported.ready && status.message == m_reported.message)
        return;
    m_reported = status;
    reportStatus(status);
}

void MmClient::start()
{
    report({kBackend, false, "connecting to ModemManager on " + busText(), true});
    m_thread = std::thread([this] { run(); });
    m_threadId = m_thread.get_id();
}

void MmClient::stop()
{
    if (!m_thread.joinable())
        return;
    g_main_context_invoke(
        m_context,
        [](gpointer loop) {
            g_main_loop_quit(static_cast<GMainLoop*>(loop));
            return G_SOURCE_REMOVE;
        },
        m_loop);
    if (std::this_thread::get_id() == m_threadId)
        m_thread.detach(); // the process exits from inside a callback
    else
        m_thread.join();
}

std::string MmClient::busText() const
{
    if (m_options.bus == "system")
        return "the system bus";
    if (m_options.bus == "session")
        return "the session bus";
    // The address without its guid and other keys: what a person recognises.
    return "the bus at " + m_options.bus.substr(0, m_options.bus.find(','));
}

void MmClient::run()
{
    g_main_context_push_thread_default(m_context);
    connectBus();
    watchRfkill();
    g_main_loop_run(m_loop);
    destroySource(m_rfkillWatch);
    if (m_rfkillFd >= 0)
        ::close(m_rfkillFd);
    destroySource(m_expiry);
    destroySource(m_reconnect);
    dropBus();
    // Sources a caller attached after the loop ended (a drain, a barrier).
    while (g_main_context_iteration(m_context, FALSE)) {
    }
    g_main_context_pop_thread_default(m_context);
}

void MmClient::connectBus()
{
    GError* error = nullptr;
    GDBusConnection* connection = nullptr;
    if (m_options.bus == "system" || m_options.bus == "session")
        connection = g_bus_get_sync(
            m_options.bus == "system" ? G_BUS_TYPE_SYSTEM : G_BUS_TYPE_SESSION, nullptr, &error);
    else
        connection = g_dbus_connection_new_for_address_sync(
            m_options.bus.c_str(),
            GDBusConnectionFlags(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                 G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
            nullptr, nullptr, &error);
    if (!connection) {
        report({kBackend, false,
                "cannot reach " + busText() + ": " + errorText(error) + "; trying again every " +
                    std::to_string(kReconnectSeconds) + " s"});
        g_clear_error(&error);
        scheduleReconnect();
        return;
    }
    // A bus that goes away must not take the host with it.
    g_dbus_connection_set_exit_on_close(connection, FALSE);
    g_signal_connect(connection, "closed", G_CALLBACK(busClosed), this);
    {
        std::lock_guard<std::mutex> lock(m_connectionMutex);
        m_connection = connection;
    }
    // Made here, not through mm_manager_new(): its asynchronous start runs on
    // a worker thread, and the daemon's signals would then be dispatched on
    // the process's default main context (a GUI thread) instead of this one.
    MMManager* manager = mm_manager_new_sync(
        connection, G_DBUS_OBJECT_MANAGER_CLIENT_FLAGS_DO_NOT_AUTO_START, nullptr, &error);
    onManagerReady(manager, errorText(error));
    g_clear_error(&error);
}

void MmClient::arm(GSource*& slot, GSource* timer, void (MmClient::*fire)())
{
    struct Shot
    {
        MmClient* self;
        GSource** slot;
        void (MmClient::*fire)();
    };
    slot = timer;
    g_source_set_callback(
        timer,
        [](gpointer data) {
            const Shot& shot = *static_cast<Shot*>(data);
            g_source_unref(*shot.slot);
            *shot.slot = nullptr;
            (shot.self->*shot.fire)();
            return G_SOURCE_REMOVE;
        },
        new Shot{this, &slot, fire}, [](gpointer data) { delete static_cast<Shot*>(data); });
    g_source_attach(timer, m_context);
}

void MmClient::scheduleReconnect()
{
    if (!m_reconnect)
        arm(m_reconnect, g_timeout_source_new_seconds(kReconnectSeconds), &MmClient::connectBus);
}

void MmClient::dropBus()
{
    if (m_manager) {
        g_signal_handlers_disconnect_by_data(m_manager, this);
        g_clear_object(&m_manager);
    }
    GDBusConnection* connection = nullptr;
    {
        std::lock_guard<std::mutex> lock(m_connectionMutex);
        std::swap(connection, m_connection);
    }
    if (connection) {
        g_signal_handlers_disconnect_by_data(connection, this);
        g_object_unref(connection);
    }
    m_daemonRunning = false;
}

void MmClient::onManagerReady(MMManager* manager, const std::string& error)
{
    if (!manager) {
        report({kBackend, false, "cannot follow ModemManager on " + busText() + ": " + error});
        dropBus();
        scheduleReconnect();
        return;
    }
    m_manager = manager;
    g_signal_connect(manager, "object-added", G_CALLBACK(objectChanged), this);
    g_signal_connect(manager, "object-removed", G_CALLBACK(objectChanged), this);
    g_signal_connect(manager, "interface-added", G_CALLBACK(interfaceChanged), this);
    g_signal_connect(manager, "interface-removed", G_CALLBACK(interfaceChanged), this);
    g_signal_connect(manager, "interface-proxy-properties-changed", G_CALLBACK(propertiesChanged),
                     this);
    g_signal_connect(manager, "notify::name-owner", G_CALLBACK(ownerChanged), this);
    reportOwner();
    refresh();
}

void MmClient::objectChanged(GDBusObjectManager*, GDBusObject*, gpointer self)
{
    static_cast<MmClient*>(self)->refresh();
}

void MmClient::interfaceChanged(GDBusObjectManager*, GDBusObject*, GDBusInterface*, gpointer self)
{
    static_cast<MmClient*>(self)->refresh();
}

void MmClient::propertiesChanged(GDBusObjectManagerClient*, GDBusObjectProxy*, GDBusProxy*,
                                 GVariant*, const gchar* const*, gpointer self)
{
    static_cast<MmClient*>(self)->refresh();
}

void MmClient::ownerChanged(GObject*, GParamSpec*, gpointer self)
{
    auto* client = static_cast<MmClient*>(self);
    client->reportOwner();
    client->refresh();
}

void MmClient::busClosed(GDBusConnection*, gboolean, GError* error, gpointer self)
{
    auto* client = static_cast<MmClient*>(self);
    client->report({kBackend, false, client->busText() + " closed: " + errorText(error)});
    client->dropBus();
    client->refresh();
    client->scheduleReconnect();
}

void MmClient::reportOwner()
{
    gchar* owner =
        m_manager
            ? g_dbus_object_manager_client_get_name_owner(G_DBUS_OBJECT_MANAGER_CLIENT(m_manager))
            : nullptr;
    m_daemonRunning = owner != nullptr;
    g_free(owner);
    if (!m_daemonRunning) {
        report({kBackend, false,
                "ModemManager is not running on " + busText() +
                    ": no modem can be managed until it starts"});
        return;
    }
    const gchar* version = mm_manager_get_version(m_manager);
    report({kBackend, true,
            "ModemManager " + std::string(version ? version : "") + " on " + busText()});
}

void MmClient::refresh()
{
    std::vector<ModemSnapshot> modems;
    if (m_manager && m_daemonRunning) {
        GList* objects = g_dbus_object_manager_get_objects(G_DBUS_OBJECT_MANAGER(m_manager));
        for (GList* item = objects; item; item = item->next) {
            MMObject* object = MM_OBJECT(item->data);
            // A dropped modem can leave an object without interfaces behind.
            if (auto* modem = peek<MMModem>(object, MM_DBUS_INTERFACE_MODEM))
                modems.push_back(snapshotOf(object, modem));
        }
        g_list_free_full(objects, g_object_unref);
    }
    post(m_registry.reconcile(modems, ModemRegistry::Clock::now()));
    scheduleExpiry();
}

void MmClient::scheduleExpiry()
{
    destroySource(m_expiry);
    const auto next = m_registry.nextExpiry();
    if (!next)
        return;
    const auto wait =
        std::chrono::duration_cast<std::chrono::milliseconds>(*next - ModemRegistry::Clock::now());
    arm(m_expiry, g_timeout_source_new(guint(std::max<long long>(0, wait.count()) + 1)),
        &MmClient::expireHeld);
}

void MmClient::expireHeld()
{
    post(m_registry.expire(ModemRegistry::Clock::now()));
    scheduleExpiry();
}

void MmClient::watchRfkill()
{
    readRfkill();
    // Events of the switches; without access to them the state is still read
    // when asked.
    m_rfkillFd = ::open("/dev/rfkill", O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (m_rfkillFd < 0)
        return;
    m_rfkillWatch = g_unix_fd_source_new(m_rfkillFd, G_IO_IN);
    g_source_set_callback(m_rfkillWatch, G_SOURCE_FUNC(+[](gint fd, GIOCondition, gpointer data) {
                              char buffer[256];
                              while (::read(fd, buffer, sizeof buffer) > 0) {
                              }
                              static_cast<MmClient*>(data)->readRfkill();
                              return gboolean(G_SOURCE_CONTINUE);
                          }),
                          this, nullptr);
    g_source_attach(m_rfkillWatch, m_context);
}

void MmClient::readRfkill()
{
    post(m_registry.setHardwareRadio(wwanHardwareRadio(m_options.rfkillDir)));
}

void MmClient::post(ModemRegistry::Events events)
{
    // A queue that was not empty has its drain on the way already.
    if (!m_events.push(std::move(events)))
        return;
    GSource* source = attachIdle(
        m_context, G_PRIORITY_DEFAULT,
        [](gpointer data) {
            static_cast<MmClient*>(data)->m_events.drain();
            return G_SOURCE_REMOVE;
        },
        this, nullptr);
    g_source_unref(source);
}

void MmClient::sync()
{
    if (std::this_thread::get_id() == m_threadId || !m_thread.joinable())
        return;
    struct Barrier
    {
        std::mutex mutex;
        std::condition_variable passed;
        bool done = false;
    };
    auto barrier = std::make_shared<Barrier>();
    // Below the priority at which the bus's messages are dispatched.
    GSource* source = attachIdle(
        m_context, G_PRIORITY_LOW,
        [](gpointer data) {
            Barrier& b = **static_cast<std::shared_ptr<Barrier>*>(data);
            std::lock_guard<std::mutex> lock(b.mutex);
            b.done = true;
            b.passed.notify_all();
            return G_SOURCE_REMOVE;
        },
        new std::shared_ptr<Barrier>(barrier),
        [](gpointer data) { delete static_cast<std::shared_ptr<Barrier>*>(data); });
    g_source_unref(source);
    std::unique_lock<std::mutex> lock(barrier->mutex);
    barrier->passed.wait_for(lock, std::chrono::milliseconds(kSyncTimeoutMs),
                             [&] { return barrier->done; });
}

CallReply MmClient::call(const std::string& path, const char* interface, const char* method,
                         GVariant* args, int timeoutMs)
{
    g_variant_ref_sink(args);
    GDBusConnection* connection = nullptr;
    {
        std::lock_guard<std::mutex> lock(m_connectionMutex);
        if (m_connection)
            connection = G_DBUS_CONNECTION(g_object_ref(m_connection));
    }
    CallReply reply;
    if (!connection) {
        g_variant_unref(args);
        reply.errorName = "org.freedesktop.DBus.Error.Disconnected";
        reply.message = "not connected to " + busText();
        logWarning(std::string(method) + " on " + path + ": " + reply.message);
        return reply;
    }
    GError* error = nullptr;
    GVariant* value = g_dbus_connection_call_sync(
        connection, MM_DBUS_SERVICE, path.c_str(), interface, method, args, nullptr,
        G_DBUS_CALL_FLAGS_NO_AUTO_START, timeoutMs, nullptr, &error);
    g_variant_unref(args);
    g_object_unref(connection);
    if (!value) {
        reply.errorName = errorName(error);
        g_dbus_error_strip_remote_error(error);
        reply.message = errorText(error);
        g_error_free(error);
        return reply;
    }
    reply.ok = true;
    reply.value.reset(value, &g_variant_unref);
    return reply;
}

std::optional<LockState> MmClient::readLock(const std::string& modemPath)
{
    const CallReply reply = call(modemPath, "org.freedesktop.DBus.Properties", "GetAll",
                                 g_variant_new("(s)", MM_DBUS_INTERFACE_MODEM), 5000);
    if (!reply.ok)
        return std::nullopt;
    GVariant* properties = g_variant_get_child_value(reply.value.get(), 0);
    LockState state;
    guint32 lock = MM_MODEM_LOCK_UNKNOWN;
    if (g_variant_lookup(properties, "UnlockRequired", "u", &lock))
        state.unlockRequired = MMModemLock(lock);
    if (GVariant* retries =
            g_variant_lookup_value(properties, "UnlockRetries", G_VARIANT_TYPE("a{uu}"))) {
        state.retries = retriesFrom(retries);
        g_variant_unref(retries);
    }
    g_variant_unref(properties);
    return state;
}

std::optional<std::string> MmClient::readString(const std::string& path, const char* interface,
                                                const char* property)
{
    const CallReply reply = call(path, "org.freedesktop.DBus.Properties", "Get",
                                 g_variant_new("(ss)", interface, property), 5000);
    if (!reply.ok)
        return std::nullopt;
    GVariant* boxed = g_variant_get_child_value(reply.value.get(), 0);
    GVariant* value = g_variant_get_variant(boxed);
    std::optional<std::string> text;
    if (g_variant_is_of_type(value, G_VARIANT_TYPE_STRING))
        text = g_variant_get_string(value, nullptr);
    g_variant_unref(value);
    g_variant_unref(boxed);
    return text;
}

} // namespace utps::mm
