// A well-formed module whose object does not speak the plug-in interfaces.
#include <QObject>
#include <QPointer>

extern "C" Q_DECL_EXPORT const char* qt_plugin_query_verification_data()
{
    return "pattern=QT_PLUGIN_VERIFICATION_DATA\nversion=6.4.2\ndebug=false";
}

extern "C" Q_DECL_EXPORT QObject* qt_plugin_instance()
{
    static QPointer<QObject> instance;
    if (!instance) {
        instance = new QObject;
        instance->setObjectName(QStringLiteral("ForeignObject"));
    }
    return instance;
}
