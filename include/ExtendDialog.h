#pragma once

#include "LinkFrameworkExport.h"

#include <QDialog>

class QCloseEvent;
class QVBoxLayout;

// The frame of the message boxes and pop-ups: a window with a title and a
// customised frame (0x2001001).
inline constexpr Qt::WindowFlags MessageWindowFlags =
    Qt::Window | Qt::WindowTitleHint | Qt::CustomizeWindowHint;

enum enWidgetType
{
    WIDGET_TYPE_NORMAL = 0,
    WIDGET_TYPE_POPUP = 1,
};

// The host's dialog frame. Content goes in through AddMainWidget.
//
// closeEvent is declared as a signal: it has the signature of QWidget's
// virtual close handler, so it replaces that handler and every close request
// is handed to whoever is connected. A receiver that ignores the event keeps
// the dialog open; with no receiver the event stays accepted and the dialog
// closes. dlgCloseEvent() follows every close that took effect.
class LINKFRAMEWORK_EXPORT ExtendDialog : public QDialog
{
    Q_OBJECT
public:
    ExtendDialog(QWidget* parent, Qt::WindowFlags flags, enWidgetType type);
    ~ExtendDialog() override;

    void AddMainWidget(QWidget* widget);
    QWidget* MainWidget() const { return m_mainWidget; }
    enWidgetType WidgetType() const { return m_type; }

signals:
    void dlgCloseEvent();
    // Named like QWidget's handler on purpose: it takes its place, so the
    // receivers of a close decide by ignoring the event or leaving it accepted.
    void closeEvent(QCloseEvent* event) override;

protected:
    bool event(QEvent* event) override;

private:
    QVBoxLayout* m_layout = nullptr;
    QWidget* m_mainWidget = nullptr;
    enWidgetType m_type;
};
