#include "ExtendDialog.h"

#include <QCloseEvent>
#include <QVBoxLayout>

namespace {
const char DialogStyle[] = "ExtendDialog { background-color: #f6f8fa; }";
} // namespace

ExtendDialog::ExtendDialog(QWidget* parent, Qt::WindowFlags flags, enWidgetType type)
    : QDialog(parent, flags), m_layout(new QVBoxLayout(this)), m_type(type)
{
    m_layout->setContentsMargins(0, 0, 0, 0);
    m_layout->setSpacing(0);
    setStyleSheet(QLatin1String(DialogStyle));
}

ExtendDialog::~ExtendDialog() = default;

void ExtendDialog::AddMainWidget(QWidget* widget)
{
    if (!widget || widget == m_mainWidget)
        return;
    // A replaced content widget stays a hidden child: its creator may still
    // hold it.
    if (m_mainWidget) {
        m_layout->removeWidget(m_mainWidget);
        m_mainWidget->hide();
    }
    m_layout->addWidget(widget);
    widget->show();
    m_mainWidget = widget;
}

bool ExtendDialog::event(QEvent* event)
{
    // QWidget::event hands a Close event to closeEvent(), which is our signal:
    // receivers decide by ignoring or leaving the event accepted.
    const bool result = QDialog::event(event);
    if (event->type() == QEvent::Close && event->isAccepted())
        emit dlgCloseEvent();
    return result;
}
