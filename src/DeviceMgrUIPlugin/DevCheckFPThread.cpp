// Placeholder bodies: replaced by the implementation of this class.
#include "DevCheckFPThread.h"

DevCheckFPThread::DevCheckFPThread() : QThread(nullptr) {}
DevCheckFPThread::~DevCheckFPThread() = default;
void DevCheckFPThread::Push(int /*event*/) {}
void DevCheckFPThread::Pop(int /*event*/) {}
void DevCheckFPThread::ClearNotifyList() {}
void DevCheckFPThread::SendAllNotifies() {}
void DevCheckFPThread::FPLock() {}
void DevCheckFPThread::FPUnLock() {}
void DevCheckFPThread::Stop() {}
std::vector<int> DevCheckFPThread::queuedEvents()
{
    return {};
}
void DevCheckFPThread::appQuitStop() {}
void DevCheckFPThread::run() {}
bool DevCheckFPThread::isShuttingDown()
{
    return false;
}
