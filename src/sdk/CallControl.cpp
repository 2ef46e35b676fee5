#include "CallControl.h"

#include <chrono>
#include <thread>

namespace utps {

namespace {
// A long-running host with the virtual card must not grow without bound; no
// test or scenario looks further back than this.
constexpr std::size_t kMaxLogRecords = 100000;
} // namespace

CallControl& CallControl::instance()
{
    // Never destroyed: calls made while other libraries tear down their
    // statics (a plug-in unregistering at exit) must still find it.
    static CallControl* const control = new CallControl;
    return *control;
}

void CallControl::delay(const std::string& function) const
{
    int ms = 0;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_latencyMs.empty())
            return;
        auto it = m_latencyMs.find(function);
        if (it == m_latencyMs.end())
            it = m_latencyMs.find("*");
        if (it == m_latencyMs.end())
            return;
        ms = it->second;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

bool CallControl::takeFault(const std::string& function, int& result)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    auto it = m_faults.find(function);
    if (it == m_faults.end())
        return false;
    result = it->second.result;
    if (it->second.times > 0 && --it->second.times == 0)
        m_faults.erase(it);
    return true;
}

void CallControl::record(sim::CallRecord call)
{
    std::shared_ptr<const Observer> observer;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_log.size() >= kMaxLogRecords)
            m_log.pop_front();
        m_log.push_back(call);
        observer = m_observer;
    }
    // Outside the lock: an observer may read the log or make further calls.
    if (observer)
        (*observer)(call);
}

void CallControl::setFault(const std::string& function, int result, int times)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (times == 0) {
        m_faults.erase(function);
        return;
    }
    m_faults[function] = Fault{result, times};
}

void CallControl::clearFaults()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_faults.clear();
}

void CallControl::setLatency(const std::string& function, int ms)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (ms <= 0) {
        m_latencyMs.erase(function);
        return;
    }
    m_latencyMs[function] = ms;
}

std::vector<sim::CallRecord> CallControl::callLog() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return {m_log.begin(), m_log.end()};
}

void CallControl::clearCallLog()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_log.clear();
}

void CallControl::setObserver(Observer observer)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_observer = observer ? std::make_shared<const Observer>(std::move(observer)) : nullptr;
}

void CallControl::reset()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_faults.clear();
    m_latencyMs.clear();
    m_log.clear();
    m_observer.reset();
}

} // namespace utps
