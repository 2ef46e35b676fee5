#include "DeviceCalls.h"

#include "PluginInterfaces.h"
#include "RecordMatcher.h"
#include "Transcript.h"

#include <QJsonValue>

#include <functional>
#include <utility>

namespace {
using Call = std::function<QString(IDeviceMgr*)>;

QString number(int value)
{
    return QString::number(value);
}

// As an expectation's `true` or `false` is spelled, so that it matches.
QString boolean(bool value)
{
    return RecordMatcher::scalarText(QJsonValue(value));
}

const QList<std::pair<QString, Call>>& table()
{
    static const QList<std::pair<QString, Call>> calls = {
        {QStringLiteral("VerifyPIN"), [](IDeviceMgr* m) { return number(m->VerifyPIN()); }},
        {QStringLiteral("EnablePIN"), [](IDeviceMgr* m) { return number(m->EnablePIN()); }},
        {QStringLiteral("DisablePIN"), [](IDeviceMgr* m) { return number(m->DisablePIN()); }},
        {QStringLiteral("UnlockPIN"), [](IDeviceMgr* m) { return number(m->UnlockPIN()); }},
        {QStringLiteral("ModifyPIN"), [](IDeviceMgr* m) { return number(m->ModifyPIN()); }},
        {QStringLiteral("EnableRF"), [](IDeviceMgr* m) { return number(m->EnableRF()); }},
        {QStringLiteral("DisableRF"), [](IDeviceMgr* m) { return number(m->DisableRF()); }},
        {QStringLiteral("SetOffline"), [](IDeviceMgr* m) { return number(m->SetOffline()); }},
        {QStringLiteral("DetatchGPRS"), [](IDeviceMgr* m) { return number(m->DetatchGPRS()); }},
        {QStringLiteral("ShowChooseDevice"),
         [](IDeviceMgr* m) {
             m->ShowChooseDevice();
             return QString();
         }},
        {QStringLiteral("IsDeviceAvialable"),
         [](IDeviceMgr* m) { return boolean(m->IsDeviceAvialable()); }},
        {QStringLiteral("IsValidSim"), [](IDeviceMgr* m) { return boolean(m->IsValidSim()); }},
        {QStringLiteral("StartDetectDevice"),
         [](IDeviceMgr* m) {
             m->StartDetectDevice();
             return QString();
         }},
        {QStringLiteral("GetLastUsedDeviceName"),
         [](IDeviceMgr* m) { return RecordMatcher::quote(m->GetLastUsedDeviceName()); }},
    };
    return calls;
}
} // namespace

QStringList DeviceCalls::operations()
{
    QStringList names;
    for (const auto& entry : table())
        names.append(entry.first);
    return names;
}

bool DeviceCalls::isOperation(const QString& op)
{
    return operations().contains(op);
}

bool DeviceCalls::invoke(IDeviceMgr* manager, const QString& op, QString* result)
{
    if (!manager)
        return false;
    for (const auto& entry : table()) {
        if (entry.first != op)
            continue;
        const QString value = entry.second(manager);
        Transcript::instance().record(QStringLiteral("call"),
                                      value.isEmpty() ? op : op + QStringLiteral(" = ") + value);
        if (result)
            *result = value;
        return true;
    }
    return false;
}
