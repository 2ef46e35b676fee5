// What a person does with keyboard and mouse, as events delivered through
// the application (its event filters see them, as they would a real key or
// click). The scenario runner's hands; no test library involved, so the
// production linkhost carries none.
#pragma once

#include <QPoint>
#include <QString>
#include <Qt>

class QWidget;

namespace UserInput {
// A key pressed and released on `target`, with the text the keyboard sends.
void key(QWidget* target, Qt::Key key, Qt::KeyboardModifiers modifiers, const QString& text);
// Each character of `text` typed as a key of its own.
void type(QWidget* target, const QString& text);
// The left button pressed and released at `at` (target coordinates).
void click(QWidget* target, QPoint at);
} // namespace UserInput
