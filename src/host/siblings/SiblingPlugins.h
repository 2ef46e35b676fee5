// The host's small built-in sibling plug-ins: main frame, mini frame, main
// menu and dial-up UI. Each records what it is asked into the transcript.
#pragma once

#include "SiblingInterfaces.h"

#include <QObject>
#include <QPointer>
#include <QWidget>

class MainFramePlugin : public QObject, public IMainFrameUIService
{
    Q_OBJECT
    Q_INTERFACES(IMainFrameUIService)
public:
    explicit MainFramePlugin(QObject* parent = nullptr);
    QWidget* GetMainWindow() override { return m_window; }
    void setMainWindow(QWidget* window) { m_window = window; }

private:
    QPointer<QWidget> m_window;
};

class MiniFramePlugin : public QObject, public IMiniFrameUIService
{
    Q_OBJECT
    Q_INTERFACES(IMiniFrameUIService)
public:
    explicit MiniFramePlugin(QObject* parent = nullptr);
    void Refresh() override;

signals:
    void refreshed();
};

// Called in the middle of the device manager's own handlers: it only records
// and signals. The real menu asks the device manager for its state when it is
// about to be shown, never from here.
class MainMenuPlugin : public QObject, public IMainMenuUI
{
    Q_OBJECT
    Q_INTERFACES(IMainMenuUI)
public:
    explicit MainMenuPlugin(QObject* parent = nullptr);
    void RefreshMenu() override;
    void RefreshDeviceMenu() override;
    void DisableDeviceMenu() override;

signals:
    // `op` is the operation's name: "RefreshMenu", "RefreshDeviceMenu" or
    // "DisableDeviceMenu".
    void menuRequest(const QString& op);

private:
    void request(const QString& op);
};

class DialupPlugin : public QObject, public IDialupUIService
{
    Q_OBJECT
    Q_INTERFACES(IDialupUIService)
public:
    explicit DialupPlugin(QObject* parent = nullptr);
    bool IsConnected() override;
    int GlobalDisconnect(int reason) override;

    bool connected() const { return m_connected; }
    void setConnected(bool connected);

signals:
    void connectionChanged(bool connected);

private:
    bool m_connected = false;
};
