// What the plug-in's fuzz targets share: an application on the offscreen
// platform, made once per process, and silent trace lines.
#pragma once

#include <QApplication>
#include <QByteArray>

#include <cstdio>

namespace fuzz {

// The plug-in traces every call it takes; printed, millions of lines would
// slow the fuzzer down and bury its report. Only fatal messages are shown,
// before Qt aborts.
inline void silenceTrace()
{
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext&, const QString& text) {
        if (type == QtFatalMsg)
            fprintf(stderr, "%s\n", qPrintable(text));
    });
}

inline void setDefaultEnv(const char* name, const char* value)
{
    if (qEnvironmentVariableIsEmpty(name))
        qputenv(name, value);
}

// Never deleted: libFuzzer ends the process with exit(), and the host made
// for the inputs may still hold widgets then. QApplication keeps references
// to its argc and argv and takes out the options it knows, so it gets its
// own, and libFuzzer's flags stay as they were.
inline QApplication* makeApplication()
{
    // A binary run by hand needs no display and never picks ModemManager.
    setDefaultEnv("QT_QPA_PLATFORM", "offscreen");
    setDefaultEnv("UTPS_BACKEND", "sim");
    static int argc = 1;
    // Also the prefix of the hosts' temporary folders, which the objects
    // made once per process leave behind: tools/fuzz.sh gives the targets a
    // TMPDIR of their own and removes it.
    static char name[] = "linkmarrow-fuzz";
    static char* argv[] = {name, nullptr};
    silenceTrace();
    return new QApplication(argc, argv);
}

} // namespace fuzz
