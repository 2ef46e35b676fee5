#include "HostOptions.h"

namespace {
QString* valueSlot(HostOptions* options, const QString& name)
{
    if (name == QLatin1String("--scenario"))
        return &options->scenario;
    if (name == QLatin1String("--setup"))
        return &options->setup;
    if (name == QLatin1String("--transcript"))
        return &options->transcript;
    if (name == QLatin1String("--screenshots"))
        return &options->screenshots;
    if (name == QLatin1String("--plugins"))
        return &options->plugins;
    if (name == QLatin1String("--user-data"))
        return &options->userData;
    if (name == QLatin1String("--backend"))
        return &options->backend;
    return nullptr;
}

// Options whose value is checked and converted, rather than kept as text.
bool isConverted(const QString& name)
{
    return name == QLatin1String("--fault") || name == QLatin1String("--expect-timeout");
}

bool isFunctionName(const QString& name)
{
    if (name.isEmpty() || name.at(0).isDigit())
        return false;
    for (const QChar c : name) {
        if (!(c.isLetterOrNumber() || c == QLatin1Char('_')))
            return false;
    }
    return true;
}

bool convert(HostOptions* options, const QString& name, const QString& value, QString* error)
{
    bool ok = false;
    if (name == QLatin1String("--expect-timeout")) {
        const int ms = value.toInt(&ok);
        if (!ok || ms < 0) {
            *error = QStringLiteral("--expect-timeout needs milliseconds (0 or more), not \"%1\"")
                         .arg(value);
            return false;
        }
        options->expectTimeoutMs = ms;
        return true;
    }
    const int equals = value.indexOf(QLatin1Char('='));
    const QString function = value.left(equals);
    const int result = equals > 0 ? value.mid(equals + 1).toInt(&ok) : 0;
    if (!ok || !isFunctionName(function)) {
        *error = QStringLiteral("--fault needs FUNCTION=RESULT with a whole number as RESULT, "
                                "not \"%1\"")
                     .arg(value);
        return false;
    }
    options->faults.append({function, result});
    return true;
}

bool* flagSlot(HostOptions* options, const QString& name)
{
    if (name == QLatin1String("--headless"))
        return &options->headless;
    if (name == QLatin1String("--trace"))
        return &options->trace;
    if (name == QLatin1String("--hidden"))
        return &options->hidden;
    if (name == QLatin1String("--help") || name == QLatin1String("-h"))
        return &options->help;
    return nullptr;
}
} // namespace

bool HostOptions::parse(const QStringList& arguments, HostOptions* options, QString* error)
{
    *options = HostOptions();
    for (int i = 1; i < arguments.size(); ++i) {
        QString name = arguments.at(i);
        QString value;
        bool inlineValue = false;
        const int equals = name.indexOf(QLatin1Char('='));
        if (name.startsWith(QLatin1String("--")) && equals > 0) {
            value = name.mid(equals + 1);
            name = name.left(equals);
            inlineValue = true;
        }
        if (bool* flag = flagSlot(options, name)) {
            if (inlineValue) {
                *error = QStringLiteral("%1 takes no value").arg(name);
                return false;
            }
            *flag = true;
            continue;
        }
        QString* slot = valueSlot(options, name);
        if (!slot && !isConverted(name)) {
            *error = QStringLiteral("unknown option %1").arg(arguments.at(i));
            return false;
        }
        if (!inlineValue) {
            if (i + 1 >= arguments.size()) {
                *error = QStringLiteral("%1 needs a value").arg(name);
                return false;
            }
            value = arguments.at(++i);
        }
        if (value.isEmpty()) {
            *error = QStringLiteral("%1 needs a value").arg(name);
            return false;
        }
        if (!slot) {
            if (!convert(options, name, value, error))
                return false;
            continue;
        }
        *slot = value;
    }
    if (!options->backend.isEmpty() && !backends().contains(options->backend)) {
        *error = QStringLiteral("unknown backend \"%1\" (known: %2)")
                     .arg(options->backend, backends().join(QStringLiteral(", ")));
        return false;
    }
    if (!options->scenario.isEmpty() && !options->setup.isEmpty()) {
        *error = QStringLiteral("--scenario and --setup exclude each other");
        return false;
    }
    return true;
}

QStringList HostOptions::backends()
{
    return {QStringLiteral("sim"), QStringLiteral("modemmanager")};
}

QString HostOptions::usage()
{
    return QStringLiteral(
        "usage: linkhost [--scenario FILE] [--headless] [--transcript FILE]\n"
        "                [--screenshots DIR] [--trace] [--setup FILE] [--plugins DIR]\n"
        "                [--user-data DIR] [--backend sim|modemmanager]\n"
        "                [--fault FUNCTION=RESULT]... [--expect-timeout MS] [--hidden]\n"
        "  --scenario FILE     replay FILE; exit 0 when every expectation held,\n"
        "                      1 when one failed, 2 when the file is bad\n"
        "  --setup FILE        take the virtual cards and host settings from FILE and\n"
        "                      run interactively\n"
        "  --headless          run on the offscreen platform\n"
        "  --hidden            start in the tray without the window (as when started\n"
        "                      at login); the window shows when no tray comes within 5 s\n"
        "  --transcript FILE   write the transcript to FILE\n"
        "  --screenshots DIR   save a picture of every window shown into DIR\n"
        "  --trace             copy the trace lines to stderr (they always go to\n"
        "                      linkhost.log in the user data folder)\n"
        "  --plugins DIR       load the plug-ins of DIR (default: $LINK_PLUGIN_DIR,\n"
        "                      else <program folder>/../lib/linkhost/plugins)\n"
        "  --user-data DIR     user data and settings folder\n"
        "  --backend NAME      the device SDK's backend: sim (the virtual card) or\n"
        "                      modemmanager (the modems of ModemManager); default:\n"
        "                      $UTPS_BACKEND, else sim for a scenario with virtual\n"
        "                      cards, else modemmanager when ModemManager is on the\n"
        "                      system bus, else sim\n"
        "  --fault F=R         the SDK function F returns R on every call, whatever\n"
        "                      the backend (repeatable; wins over the scenario's faults)\n"
        "  --expect-timeout MS wait at most MS for any expectation of the scenario\n"
        "Only one linkhost runs per user: a second one shows the first one's window\n"
        "and exits (a scenario replay runs anyway).\n");
}
