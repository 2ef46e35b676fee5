#include "Autostart.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>

namespace {
// A desktop entry's Exec quotes an argument with blanks or specials in
// double quotes, escaping ", `, $ and \ inside.
QString execArgument(const QString& argument)
{
    static const QString specials = QStringLiteral(" \t\n\"'\\><~|&;$*?#()`");
    bool plain = !argument.isEmpty();
    for (const QChar c : argument)
        plain = plain && !specials.contains(c);
    if (plain)
        return argument;
    QString quoted = argument;
    for (const char* c : {"\\", "\"", "`", "$"})
        quoted.replace(QLatin1String(c), QLatin1String("\\") + QLatin1String(c));
    // A desktop entry's own escaping doubles every backslash once more.
    quoted.replace(QLatin1String("\\"), QLatin1String("\\\\"));
    return QLatin1Char('"') + quoted + QLatin1Char('"');
}
} // namespace

QString Autostart::entryPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
           QStringLiteral("/autostart/linkhost.desktop");
}

bool Autostart::isEnabled()
{
    QFile file(entryPath());
    if (!file.open(QIODevice::ReadOnly))
        return false;
    while (!file.atEnd()) {
        if (file.readLine().trimmed() == "Hidden=true")
            return false;
    }
    return true;
}

bool Autostart::setEnabled(bool enabled, const QString& program, QString* error)
{
    const QString path = entryPath();
    if (!enabled) {
        if (!QFileInfo::exists(path) || QFile::remove(path))
            return true;
        *error = QCoreApplication::translate("Autostart", "Cannot remove %1").arg(path);
        return false;
    }
    const QString folder = QFileInfo(path).absolutePath();
    if (!QDir().mkpath(folder)) {
        *error =
            QCoreApplication::translate("Autostart", "Cannot create the folder %1").arg(folder);
        return false;
    }
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        *error = QCoreApplication::translate("Autostart", "Cannot write %1: %2")
                     .arg(path, file.errorString());
        return false;
    }
    const QString entry = QStringLiteral("[Desktop Entry]\n"
                                         "Type=Application\n"
                                         "Name=linkhost\n"
                                         "Comment=Mobile broadband device manager\n"
                                         "Exec=%1 --hidden\n"
                                         "Icon=linkhost\n"
                                         "Terminal=false\n"
                                         "X-GNOME-Autostart-enabled=true\n")
                              .arg(execArgument(program));
    file.write(entry.toUtf8());
    if (!file.commit()) {
        *error = QCoreApplication::translate("Autostart", "Cannot write %1: %2")
                     .arg(path, file.errorString());
        return false;
    }
    return true;
}
