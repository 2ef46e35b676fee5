// What reached the virtual card, read from its call log.
#pragma once

#include <QStringList>

#include <string>

// How often `function` was called since the log was last cleared.
int callCount(const std::string& function);
// Every function called since the log was last cleared, in order.
QStringList calledFunctions();
