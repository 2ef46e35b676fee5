#pragma once

#include "LinkFrameworkExport.h"

class IPluginContainer;

class LINKFRAMEWORK_EXPORT Startup
{
public:
    // The process's plug-in container; null until the host made one.
    static IPluginContainer* GetPluginContainer();
    // Installed by the host (and by tests, null included). Not owned.
    static void SetPluginContainer(IPluginContainer* container);
};
