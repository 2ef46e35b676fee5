// The contract's numbers by name: notification codes and SDK events, so that
// a scenario can write "NTF_SIM_READY" where the wire carries a number, and the
// main window can label what it shows.
#pragma once

#include <DeviceMgrContract.h>

#include <QString>

#include <optional>

namespace ContractNames {
// The notification code or SDK event called `name` ("NTF_SIM_READY",
// "UTPS_EVENT_DEV_DETECTED"); nothing for any other text.
std::optional<int> codeNamed(const QString& name);

// True for a text spelt like one of those names, known or not, so that a
// misspelt name is reported instead of being taken as text.
bool looksLikeName(const QString& text);

// The main window's label of a notification code: its name, with the three
// codes of a call in progress as one; "unnamed" for a code without one.
QString notificationLabel(unsigned int code);
} // namespace ContractNames
