// Static services of the host: message boxes, settings, shut-down state,
// worker-thread accounting and a few facts about the host's frame.
#pragma once

#include "LinkFrameworkExport.h"

#include <QMessageBox>
#include <QString>

#include <functional>

class QDialog;
class QThread;
class QWidget;

// What a message box would show; handed to the responder and the observer.
struct MessageRequest
{
    QMessageBox::Icon icon = QMessageBox::NoIcon;
    QWidget* parent = nullptr;
    QString title;
    QString text;
    QString buttons[3]; // the texts as shown; empty = no such button
};

class LINKFRAMEWORK_EXPORT CommonUtils
{
public:
    // Reply codes of ShowMessage, by button position.
    static constexpr int FirstButton = QMessageBox::Ok;      // 1024
    static constexpr int SecondButton = QMessageBox::Cancel; // 4194304
    static constexpr int ThirdButton = QMessageBox::No;      // 65536

    using MessageResponder = std::function<int(const MessageRequest&)>;
    using MessageObserver = std::function<void(const MessageRequest&, int reply)>;
    using SettingsObserver =
        std::function<void(const QString& group, const QString& key, const QString& value)>;

    // Shows a modal message box in the host's style and returns the reply
    // code of the button pressed. Empty button texts give the host's default
    // single OK button. While `*ppDialog` is given it points at the open box.
    static int ShowMessage(QMessageBox::Icon icon, QWidget* parent, const QString& title,
                           const QString& text, const QString& button1 = QString(),
                           const QString& button2 = QString(), const QString& button3 = QString(),
                           bool modal = true, Qt::WindowFlags flags = {},
                           QDialog** ppDialog = nullptr, const QString& detail = QString(),
                           bool centre = true);
    // While a responder is installed no box is shown: the request goes to the
    // responder and its reply is returned. Pass an empty function to remove.
    static void SetMessageResponder(MessageResponder responder);
    // Told of every message box and its reply (shown or answered).
    static void SetMessageObserver(MessageObserver observer);

    static void MoveCentre(QDialog* dialog);

    // String settings by group and key, stored as INI in the settings folder.
    static QString GetSettings(const QString& group, const QString& key);
    static void SetSettings(const QString& group, const QString& key, const QString& value);
    static void SetSettingsFolder(const QString& folder);
    static QString SettingsFolder();
    static QString SettingsFile();
    static void SetSettingsObserver(SettingsObserver observer);
    // A yes/no setting is on when its text contains "y" in either case.
    static bool IsYes(const QString& value);

    static bool IsShuttingDown();
    static void SetShutDownFlag();
    static void ResetShutDownFlag(); // for tests

    static void ThreadCountInc(const QString& file, const QString& function);
    static void ThreadCountDec(const QString& file, const QString& function);
    static int ThreadCount();
    // Waits up to `seconds` for `thread` to finish; true when it did.
    static bool WaitForThreadToStop(QThread* thread, unsigned int seconds);

    static QString GetPluginLibraryPath();
    static void SetPluginLibraryPath(const QString& path);

    static bool IsMiniMode();
    static void SetMiniMode(bool mini);
    // Bit set of the frame's style; FrameStyleMini (4) = the mini frame is in use.
    static constexpr int FrameStyleMini = 4;
    static int GetFrameStyle();
    static void SetFrameStyle(int style);
};
