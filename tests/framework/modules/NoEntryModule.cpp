// A shared library that is no plug-in at all.
#include <QtGlobal>

extern "C" Q_DECL_EXPORT int fw_not_a_plugin()
{
    return 42;
}
