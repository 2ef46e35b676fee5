// linkhost's command line.
#pragma once

#include <QList>
#include <QString>
#include <QStringList>

struct HostOptions
{
    // --fault FUNCTION=RESULT: FUNCTION returns RESULT on every call.
    struct Fault
    {
        QString function;
        int result = 0;
    };

    QString scenario;    // --scenario FILE: replay, then exit 0/1/2
    QString setup;       // --setup FILE: devices and host from FILE, then interactive
    QString transcript;  // --transcript FILE
    QString screenshots; // --screenshots DIR
    QString plugins;     // --plugins DIR
    QString userData;    // --user-data DIR
    QString backend;     // --backend sim|modemmanager: the SDK's backend
    QList<Fault> faults; // --fault, repeatable
    bool headless = false;
    bool hidden = false; // --hidden: start in the tray (as at login)
    bool trace = false;
    bool help = false;

    // --expect-timeout MS: no expectation waits longer; < 0: as written.
    int expectTimeoutMs = -1;

    // `arguments` includes the program name. False with a message on an
    // unknown option, a missing value or a contradiction.
    static bool parse(const QStringList& arguments, HostOptions* options, QString* error);
    static QString usage();
    // The names --backend takes.
    static QStringList backends();
};
