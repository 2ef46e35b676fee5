#include "Startup.h"

#include "IPluginContainer.h"

#include <atomic>

namespace {
// Plug-ins may ask from their worker threads, so the pointer is atomic.
std::atomic<IPluginContainer*> g_container{nullptr};
} // namespace

IPluginContainer* Startup::GetPluginContainer()
{
    return g_container.load();
}

void Startup::SetPluginContainer(IPluginContainer* container)
{
    g_container.store(container);
}
