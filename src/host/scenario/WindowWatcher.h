// Watches every window of the application: records "shown <name>" and
// "hidden <name>" for windows with an object name, and, when a screenshot
// folder is set, saves each such window shortly after it was shown.
#pragma once

#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>

class QImage;
class QWidget;
struct MessageRequest;

class WindowWatcher : public QObject
{
    Q_OBJECT
public:
    // Time for a shown window to lay itself out and paint before its picture.
    static constexpr int ScreenshotDelayMs = 150;

    explicit WindowWatcher(QObject* parent = nullptr);
    ~WindowWatcher() override;

    // Folder for "<nn>-<objectName>.png"; empty = no automatic pictures.
    void setScreenshotFolder(const QString& folder);
    QString screenshotFolder() const { return m_folder; }
    // The next numbered path for a picture of `name` in the folder.
    QString nextScreenshotPath(const QString& name);
    // The active window, else the window shown last that is still visible.
    QWidget* currentWindow() const;

    // What a person sees of `base`: its picture with every other visible
    // window drawn over it where it lies, framed and titled, in the order
    // they were shown.
    QImage screen(QWidget* base) const;
    // A picture of the message box that `request` would show, for a box a
    // scenario answered without showing it; saved as "<nn>-msgbox.png".
    bool saveMessage(const MessageRequest& request, QString* error);

    static bool save(QWidget* window, const QString& path, QString* error);
    static bool save(const QImage& image, const QString& path, QString* error);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void shown(QWidget* window);
    void takeScreenshot(QPointer<QWidget> window);

    QString m_folder;
    int m_screenshots = 0;
    QList<QPointer<QWidget>> m_shownOrder;
};
