#include "CommonUtils.h"

#include "CommonUtilsState.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QMutexLocker>
#include <QSettings>
#include <QStandardPaths>
#include <QThread>

using CommonUtilsState::shared;

CommonUtilsState::Shared& CommonUtilsState::shared()
{
    static Shared state;
    return state;
}

namespace {
const char SettingsFileName[] = "linkhost.ini";
} // namespace

QString CommonUtils::GetSettings(const QString& group, const QString& key)
{
    QSettings settings(SettingsFile(), QSettings::IniFormat);
    settings.beginGroup(group);
    return settings.value(key).toString();
}

void CommonUtils::SetSettings(const QString& group, const QString& key, const QString& value)
{
    {
        QSettings settings(SettingsFile(), QSettings::IniFormat);
        settings.beginGroup(group);
        // Writing is a sync to disk of the whole file, milliseconds on the
        // path from a plug to the PIN prompt: only when something changes.
        const bool unchanged = settings.contains(key) && settings.value(key).toString() == value;
        if (!unchanged)
            settings.setValue(key, value);
        settings.endGroup();
        if (!unchanged)
            settings.sync();
        if (settings.status() != QSettings::NoError)
            qWarning("CommonUtils::SetSettings: cannot write %s/%s to %s", qPrintable(group),
                     qPrintable(key), qPrintable(SettingsFile()));
    }
    SettingsObserver observer;
    {
        QMutexLocker lock(&shared().mutex);
        observer = shared().settingsObserver;
    }
    if (observer)
        observer(group, key, value);
}

void CommonUtils::SetSettingsFolder(const QString& folder)
{
    QMutexLocker lock(&shared().mutex);
    shared().settingsFolder = folder;
}

QString CommonUtils::SettingsFolder()
{
    {
        QMutexLocker lock(&shared().mutex);
        if (!shared().settingsFolder.isEmpty())
            return shared().settingsFolder;
    }
    return QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation);
}

QString CommonUtils::SettingsFile()
{
    return QDir(SettingsFolder()).filePath(QLatin1String(SettingsFileName));
}

void CommonUtils::SetSettingsObserver(SettingsObserver observer)
{
    QMutexLocker lock(&shared().mutex);
    shared().settingsObserver = std::move(observer);
}

bool CommonUtils::IsYes(const QString& value)
{
    return value.contains(QLatin1Char('y'), Qt::CaseInsensitive);
}

bool CommonUtils::IsShuttingDown()
{
    return shared().shuttingDown.load();
}

void CommonUtils::SetShutDownFlag()
{
    shared().shuttingDown.store(true);
}

void CommonUtils::ResetShutDownFlag()
{
    shared().shuttingDown.store(false);
}

void CommonUtils::ThreadCountInc(const QString&, const QString&)
{
    ++shared().threadCount;
}

void CommonUtils::ThreadCountDec(const QString& file, const QString& function)
{
    int count = shared().threadCount.load();
    // Never below zero: an unmatched decrement is a caller's bug, not a count.
    while (count > 0 && !shared().threadCount.compare_exchange_weak(count, count - 1)) {
    }
    if (count <= 0) {
        qWarning("CommonUtils: thread out (%s : %s) without a matching in", qPrintable(file),
                 qPrintable(function));
    }
}

int CommonUtils::ThreadCount()
{
    return shared().threadCount.load();
}

bool CommonUtils::WaitForThreadToStop(QThread* thread, unsigned int seconds)
{
    if (!thread)
        return true;
    if (thread == QThread::currentThread()) {
        qWarning("CommonUtils::WaitForThreadToStop: a thread cannot wait for itself");
        return thread->isFinished();
    }
    return thread->wait(QDeadlineTimer(qint64(seconds) * 1000));
}

QString CommonUtils::GetPluginLibraryPath()
{
    QMutexLocker lock(&shared().mutex);
    return shared().pluginLibraryPath;
}

void CommonUtils::SetPluginLibraryPath(const QString& path)
{
    QMutexLocker lock(&shared().mutex);
    shared().pluginLibraryPath = path;
}

bool CommonUtils::IsMiniMode()
{
    return shared().miniMode.load();
}

void CommonUtils::SetMiniMode(bool mini)
{
    shared().miniMode.store(mini);
}

int CommonUtils::GetFrameStyle()
{
    return shared().frameStyle.load();
}

void CommonUtils::SetFrameStyle(int style)
{
    shared().frameStyle.store(style);
}
