// Placeholder bodies: replaced by the implementation of this class.
#include "LineEdit.h"

#include <QMenu>

LineEdit::LineEdit(QWidget* parent) : ExtendLineEdit(parent) {}

void LineEdit::RightClickActions() {}

void LineEdit::ShowContextMenu(const QPoint& /*point*/) {}

QMenu* LineEdit::createContextMenu()
{
    return nullptr;
}

bool LineEdit::eventFilter(QObject* object, QEvent* event)
{
    return ExtendLineEdit::eventFilter(object, event);
}

void LineEdit::undoVerify() {}
void LineEdit::pasteVerify() {}
void LineEdit::deleteVerify() {}
void LineEdit::selectAllVerify() {}
