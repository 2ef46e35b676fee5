// The host's notification service: routes numbered notifications to the
// loaded plug-ins' INotify and tells the main window about each one.
#pragma once

#include "SiblingInterfaces.h"

#include <QList>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QString>

class NotifyServicePlugin : public QObject, public INotifyService
{
    Q_OBJECT
    Q_INTERFACES(INotifyService)
public:
    // What `to` is in notified() for a broadcast, and for a notification
    // that went to the subscribers of its source.
    static constexpr const char* BroadcastTarget = "all";
    static constexpr const char* SubscribersTarget = "subscribers";

    explicit NotifyServicePlugin(QObject* parent = nullptr);

    void Subscribe(const QString& sourceClsid, unsigned int code) override;
    void SendNotifyTo(const QString& targetClsid, unsigned int code, NotifyParam wParam,
                      NotifyParam lParam) override;
    void BroadcastNotify(unsigned int code, NotifyParam wParam, NotifyParam lParam) override;

    // A notification that the plug-in `sourceClsid` sends: it reaches the
    // targets only when someone subscribed to that source and code. Returns
    // the number of targets reached.
    int notifyFrom(const QString& sourceClsid, unsigned int code, NotifyParam wParam,
                   NotifyParam lParam);
    bool isSubscribed(const QString& sourceClsid, unsigned int code) const;

    // A target is a plug-in object that answers to INotify; others are refused.
    bool addTarget(QObject* plugin);
    void removeTarget(QObject* plugin);
    QList<QObject*> targets() const;

signals:
    // `to` is BroadcastTarget, SubscribersTarget or the target's class
    // identifier.
    void notified(unsigned int code, const QString& to);

private:
    int deliver(unsigned int code, NotifyParam wParam, NotifyParam lParam,
                const QString& onlyClsid);

    QList<QPointer<QObject>> m_targets;
    QSet<QString> m_subscriptions; // "<clsid> <code>"
};
