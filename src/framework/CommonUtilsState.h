// Process-wide state behind the static CommonUtils operations.
#pragma once

#include "CommonUtils.h"

#include <QMutex>
#include <QString>

#include <atomic>

namespace CommonUtilsState {

struct Shared
{
    QMutex mutex; // guards everything below that is not atomic
    CommonUtils::MessageResponder responder;
    CommonUtils::MessageObserver messageObserver;
    CommonUtils::SettingsObserver settingsObserver;
    QString settingsFolder; // empty: the application's config location
    QString pluginLibraryPath;

    std::atomic<bool> shuttingDown{false};
    std::atomic<int> threadCount{0};
    std::atomic<bool> miniMode{false};
    std::atomic<int> frameStyle{0};
};

Shared& shared();

} // namespace CommonUtilsState
