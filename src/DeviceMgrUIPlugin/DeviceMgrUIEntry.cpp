// The module's two entry points, the only symbols it exports.
#include "DeviceMgrUIPlugin.h"

#include <QPointer>

#define DEVMGR_ENTRY extern "C" __attribute__((visibility("default")))

DEVMGR_ENTRY const char* qt_plugin_query_verification_data()
{
    static const char verificationData[] = "pattern=QT_PLUGIN_VERIFICATION_DATA\n"
                                           "version=4.6.2\n"
                                           "debug=false\n"
                                           "buildkey=macosx macx g++-4 full-config";
    return verificationData;
}

DEVMGR_ENTRY QObject* qt_plugin_instance()
{
    // Guarded: once the host deleted the object, the next call makes a new one.
    static QPointer<QObject> instance;
    if (!instance)
        instance = new CDeviceMgrUI;
    return instance;
}
