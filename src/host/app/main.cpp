// linkhost: the host application of the device manager plug-in.
#include "HostApp.h"
#include "HostOptions.h"

#include <QApplication>

#include <cstdio>

int main(int argc, char* argv[])
{
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments.append(QString::fromLocal8Bit(argv[i]));
    HostOptions options;
    QString error;
    if (!HostOptions::parse(arguments, &options, &error)) {
        std::fprintf(stderr, "linkhost: %s\n%s", error.toLocal8Bit().constData(),
                     HostOptions::usage().toLocal8Bit().constData());
        return HostApp::ExitBadInput;
    }
    if (options.help) {
        std::fputs(HostOptions::usage().toLocal8Bit().constData(), stdout);
        return HostApp::ExitOk;
    }
    // The platform is chosen when the application object is made.
    if (options.headless)
        qputenv("QT_QPA_PLATFORM", "offscreen");

    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("linkhost"));
    QApplication::setOrganizationName(QStringLiteral("linkmarrow"));
    // Lets a desktop match the windows to linkhost.desktop (icon, name).
    QGuiApplication::setDesktopFileName(QStringLiteral("linkhost"));
    HostApp host(options);
    return host.run();
}
