// linkhost's command line.
#pragma once

#include <QString>
#include <QStringList>

struct HostOptions
{
    QString scenario;    // --scenario FILE: replay, then exit 0/1/2
    QString setup;       // --setup FILE: devices and host from FILE, then interactive
    QString transcript;  // --transcript FILE
    QString screenshots; // --screenshots DIR
    QString plugins;     // --plugins DIR
    QString userData;    // --user-data DIR
    QString backend;     // --backend sim|modemmanager: the SDK's backend
    bool headless = false;
    bool trace = false;
    bool help = false;

    // `arguments` includes the program name. False with a message on an
    // unknown option, a missing value or a contradiction.
    static bool parse(const QStringList& arguments, HostOptions* options, QString* error);
    static QString usage();
    // The names --backend takes.
    static QStringList backends();
};
