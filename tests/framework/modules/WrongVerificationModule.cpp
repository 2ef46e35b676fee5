// Built against something else: the loader must refuse it before asking
// for an instance.
#include "TestPlugin.h"

extern "C" Q_DECL_EXPORT const char* qt_plugin_query_verification_data()
{
    return "pattern=SOME_OTHER_LOADER\nversion=1.0";
}

extern "C" Q_DECL_EXPORT QObject* qt_plugin_instance()
{
    static TestPlugin instance;
    return &instance;
}
