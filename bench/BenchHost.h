// The plug-in module loaded and started as linkhost does it, for the
// benchmarks that time a host: the container, the built-in siblings and a
// main window, the module's Init and ShowWindow, the window shown and the
// frame-shown notification broadcast.
#pragma once

#include "HostSiblings.h"
#include <PluginContainer.h>

#include <QMainWindow>

class IUIPlugin;

namespace bench {

// Resets the virtual card and adds one unplugged card whose SIM waits for
// its PIN; returns its index.
int addLockedCard();

class Host
{
public:
    // `module` empty: the host alone. Exits the benchmark when the module
    // cannot be loaded.
    explicit Host(const QString& module);
    ~Host();
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

private:
    PluginContainer m_container;
    HostSiblings m_siblings;
    QMainWindow m_window;
    IUIPlugin* m_plugin = nullptr;
};

} // namespace bench
