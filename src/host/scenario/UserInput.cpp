#include "UserInput.h"

#include <QApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPointer>
#include <QWidget>

namespace UserInput {

void key(QWidget* target, Qt::Key key, Qt::KeyboardModifiers modifiers, const QString& text)
{
    QPointer<QWidget> alive(target);
    QKeyEvent press(QEvent::KeyPress, key, modifiers, text);
    QApplication::sendEvent(target, &press);
    // The press may have closed (and deleted) the widget.
    if (!alive)
        return;
    QKeyEvent release(QEvent::KeyRelease, key, modifiers, text);
    QApplication::sendEvent(target, &release);
}

void type(QWidget* target, const QString& text)
{
    QPointer<QWidget> alive(target);
    for (const QChar character : text) {
        if (!alive)
            return;
        // Printable Latin-1 keys are named after their upper-case character.
        const char16_t code = character.toUpper().unicode();
        const Qt::Key qtKey = code >= 0x20 && code < 0x100 ? Qt::Key(code) : Qt::Key_unknown;
        key(target, qtKey, Qt::NoModifier, QString(character));
    }
}

void click(QWidget* target, QPoint at)
{
    QPointer<QWidget> alive(target);
    const QPointF global = target->mapToGlobal(QPointF(at));
    QMouseEvent press(QEvent::MouseButtonPress, QPointF(at), global, Qt::LeftButton, Qt::LeftButton,
                      Qt::NoModifier);
    QApplication::sendEvent(target, &press);
    if (!alive)
        return;
    QMouseEvent release(QEvent::MouseButtonRelease, QPointF(at), global, Qt::LeftButton,
                        Qt::NoButton, Qt::NoModifier);
    QApplication::sendEvent(target, &release);
}

} // namespace UserInput
