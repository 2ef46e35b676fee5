#include "NotifyServicePlugin.h"

#include "Transcript.h"

namespace {
QString subscriptionKey(const QString& clsid, unsigned int code)
{
    return clsid + QLatin1Char(' ') + QString::number(code);
}

QString params(NotifyParam wParam, NotifyParam lParam)
{
    return QStringLiteral("%1 %2").arg(qulonglong(wParam)).arg(qulonglong(lParam));
}

QString clsidOf(QObject* plugin)
{
    auto* base = qobject_cast<IBasePlugin*>(plugin);
    return base ? base->GetCLSID() : QString();
}
} // namespace

NotifyServicePlugin::NotifyServicePlugin(QObject* parent) : QObject(parent)
{
    setObjectName(QStringLiteral("LinkHost_NotifyService"));
}

void NotifyServicePlugin::Subscribe(const QString& sourceClsid, unsigned int code)
{
    const QString key = subscriptionKey(sourceClsid, code);
    Transcript::instance().record(QStringLiteral("subscribe"), key);
    m_subscriptions.insert(key);
}

void NotifyServicePlugin::SendNotifyTo(const QString& targetClsid, unsigned int code,
                                       NotifyParam wParam, NotifyParam lParam)
{
    Transcript::instance().record(
        QStringLiteral("notify"),
        QStringLiteral("to %1 %2 %3").arg(targetClsid).arg(code).arg(params(wParam, lParam)));
    emit notified(code, targetClsid);
    // A null identifier never selects anyone: plug-ins without one are
    // reachable by broadcast only.
    if (targetClsid.isEmpty())
        return;
    deliver(code, wParam, lParam, targetClsid);
}

void NotifyServicePlugin::BroadcastNotify(unsigned int code, NotifyParam wParam, NotifyParam lParam)
{
    Transcript::instance().record(
        QStringLiteral("notify"),
        QStringLiteral("broadcast %1 %2").arg(code).arg(params(wParam, lParam)));
    emit notified(code, QString::fromLatin1(BroadcastTarget));
    deliver(code, wParam, lParam, QString());
}

int NotifyServicePlugin::notifyFrom(const QString& sourceClsid, unsigned int code,
                                    NotifyParam wParam, NotifyParam lParam)
{
    const bool subscribed = isSubscribed(sourceClsid, code);
    Transcript::instance().record(
        QStringLiteral("notify"),
        QStringLiteral("from %1 %2 %3%4")
            .arg(sourceClsid)
            .arg(code)
            .arg(params(wParam, lParam))
            .arg(subscribed ? QString() : QStringLiteral(" (not subscribed)")));
    if (!subscribed)
        return 0;
    emit notified(code, QString::fromLatin1(SubscribersTarget));
    return deliver(code, wParam, lParam, QString());
}

bool NotifyServicePlugin::isSubscribed(const QString& sourceClsid, unsigned int code) const
{
    return m_subscriptions.contains(subscriptionKey(sourceClsid, code));
}

bool NotifyServicePlugin::addTarget(QObject* plugin)
{
    if (!plugin || !qobject_cast<INotify*>(plugin))
        return false;
    for (const QPointer<QObject>& target : std::as_const(m_targets)) {
        if (target == plugin)
            return true;
    }
    m_targets.append(plugin);
    return true;
}

void NotifyServicePlugin::removeTarget(QObject* plugin)
{
    m_targets.removeIf(
        [plugin](const QPointer<QObject>& target) { return target.isNull() || target == plugin; });
}

QList<QObject*> NotifyServicePlugin::targets() const
{
    QList<QObject*> result;
    for (const QPointer<QObject>& target : m_targets) {
        if (target)
            result.append(target);
    }
    return result;
}

int NotifyServicePlugin::deliver(unsigned int code, NotifyParam wParam, NotifyParam lParam,
                                 const QString& onlyClsid)
{
    // A receiver may send notifications of its own, or have targets added or
    // removed (a plug-in reload), while we are delivering: walk a copy and
    // re-check each guarded pointer.
    const QList<QPointer<QObject>> snapshot = m_targets;
    int reached = 0;
    for (const QPointer<QObject>& target : snapshot) {
        if (!target)
            continue;
        if (!onlyClsid.isEmpty() && clsidOf(target) != onlyClsid)
            continue;
        if (auto* receiver = qobject_cast<INotify*>(target.data())) {
            receiver->Notify(code, wParam, lParam);
            ++reached;
        }
    }
    return reached;
}
