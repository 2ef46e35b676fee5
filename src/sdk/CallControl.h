// What the dispatch layer does around every C API call, whatever the backend:
// per-function latency, programmed faults, and the call log with its observer.
// The virtual card's control API sets these up.
#pragma once

#include <sim/VirtualCard.h>

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace utps {

class CallControl
{
public:
    using Observer = std::function<void(const sim::CallRecord&)>;

    static CallControl& instance();

    // Sleeps the latency set for `function` (or for "*").
    void delay(const std::string& function) const;
    // True when a programmed fault takes this call; `result` then holds its value.
    bool takeFault(const std::string& function, int& result);
    // Logs a finished call and tells the observer, on the caller's thread.
    void record(sim::CallRecord call);

    void setFault(const std::string& function, int result, int times);
    void clearFaults();
    void setLatency(const std::string& function, int ms);
    std::vector<sim::CallRecord> callLog() const;
    void clearCallLog();
    void setObserver(Observer observer);
    void reset();

private:
    CallControl() = default;

    struct Fault
    {
        int result = 0;
        int times = 0; // < 0: for ever
    };

    mutable std::mutex m_mutex;
    std::map<std::string, Fault> m_faults;
    std::map<std::string, int> m_latencyMs;
    std::deque<sim::CallRecord> m_log;
    std::shared_ptr<const Observer> m_observer;
};

} // namespace utps
