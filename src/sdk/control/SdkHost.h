// What a host application may ask of the SDK beside the C API: which backend
// answers and how it is doing, and where the SDK's own log lines go. The
// plug-in never includes this header.
#pragma once

#include <functional>
#include <string>

#if defined(UTPS_LIBRARY)
#define UTPS_HOST_EXPORT __attribute__((visibility("default")))
#else
#define UTPS_HOST_EXPORT
#endif

namespace utps {

struct BackendStatus
{
    std::string backend;  // "sim", "modemmanager", or the unknown name asked for
    bool ready = false;   // the backend can reach devices now
    std::string message;  // for a person: what it talks to, or what is wrong
    bool pending = false; // not ready yet, but no fault: another status follows
};

enum class LogLevel
{
    Debug,
    Warning
};

// The status of the backend UTPS_BACKEND selects; chooses it if no call has yet.
UTPS_HOST_EXPORT BackendStatus backendStatus();
// Told of every status change, on whichever thread the backend learns it.
UTPS_HOST_EXPORT void setBackendStatusObserver(std::function<void(const BackendStatus&)> observer);
// Where the SDK's log lines go (default: warnings to stderr). A line never
// carries a PIN or PUK.
UTPS_HOST_EXPORT void setLogSink(std::function<void(LogLevel, const std::string&)> sink);

// For the backends.
void reportStatus(const BackendStatus& status);
void logLine(LogLevel level, const std::string& line);

} // namespace utps
