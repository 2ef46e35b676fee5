#include "SdkHost.h"

#include "Backend.h"

#include <cstdio>
#include <memory>
#include <mutex>

namespace utps {

namespace {

using StatusObserver = std::function<void(const BackendStatus&)>;
using LogSink = std::function<void(LogLevel, const std::string&)>;

struct HostState
{
    std::mutex mutex;
    BackendStatus status;
    std::shared_ptr<const StatusObserver> observer;
    std::shared_ptr<const LogSink> sink;
};

HostState& state()
{
    // Never destroyed: a backend thread may log while the process exits.
    static HostState* const host = new HostState;
    return *host;
}

} // namespace

BackendStatus backendStatus()
{
    ensureBackend();
    std::lock_guard<std::mutex> lock(state().mutex);
    return state().status;
}

void setBackendStatusObserver(std::function<void(const BackendStatus&)> observer)
{
    std::lock_guard<std::mutex> lock(state().mutex);
    state().observer =
        observer ? std::make_shared<const StatusObserver>(std::move(observer)) : nullptr;
}

void setLogSink(std::function<void(LogLevel, const std::string&)> sink)
{
    std::lock_guard<std::mutex> lock(state().mutex);
    state().sink = sink ? std::make_shared<const LogSink>(std::move(sink)) : nullptr;
}

void reportStatus(const BackendStatus& status)
{
    std::shared_ptr<const StatusObserver> observer;
    {
        std::lock_guard<std::mutex> lock(state().mutex);
        state().status = status;
        observer = state().observer;
    }
    logLine(status.ready || status.pending ? LogLevel::Debug : LogLevel::Warning,
            "utps: " + status.backend + ": " + status.message);
    if (observer)
        (*observer)(status);
}

void logLine(LogLevel level, const std::string& line)
{
    std::shared_ptr<const LogSink> sink;
    {
        std::lock_guard<std::mutex> lock(state().mutex);
        sink = state().sink;
    }
    if (sink) {
        (*sink)(level, line);
        return;
    }
    if (level == LogLevel::Warning)
        std::fprintf(stderr, "%s\n", line.c_str());
}

} // namespace utps
