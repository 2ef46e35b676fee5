// Placeholder bodies: replaced by the implementation of this class.
#include "DeviceMgrWin7Thread.h"

DeviceMgrWin7Thread* DeviceMgrWin7Thread::m_pThreadInstance = nullptr;

DeviceMgrWin7Thread* DeviceMgrWin7Thread::Instance()
{
    if (!m_pThreadInstance)
        m_pThreadInstance = new DeviceMgrWin7Thread();
    return m_pThreadInstance;
}

DeviceMgrWin7Thread::DeviceMgrWin7Thread() : QThread(nullptr) {}

DeviceMgrWin7Thread::~DeviceMgrWin7Thread() = default;

void DeviceMgrWin7Thread::Stop() {}

void DeviceMgrWin7Thread::appQuitStop() {}

void DeviceMgrWin7Thread::run() {}
