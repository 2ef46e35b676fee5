#include "LineEdit.h"

#include "DeviceMgrTrace.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QKeyEvent>
#include <QMenu>

#include <memory>

namespace {

constexpr const char* kFile = DeviceMgrTrace::ServiceFile;

// What the keyboard's cut shortcut types.
constexpr ushort kCutCharacter = 24;

QAction* makeAction(LineEdit* owner, const char* text, const char* objectName)
{
    auto* action = new QAction(QString::fromLatin1(text), owner);
    action->setObjectName(QString::fromLatin1(objectName));
    return action;
}

bool isCutKeystroke(const QEvent* event)
{
    if (event->type() != QEvent::KeyPress)
        return false;
    const QString typed = static_cast<const QKeyEvent*>(event)->text();
    return typed.size() == 1 && typed.at(0).unicode() == kCutCharacter;
}

} // namespace

LineEdit::LineEdit(QWidget* parent) : ExtendLineEdit(parent)
{
    installEventFilter(this);
}

void LineEdit::RightClickActions()
{
    if (m_pActUndo)
        return;
    m_pActUndo = makeAction(this, "Undo", "DeviceMgrUI_VerifyUndo");
    m_pActCut = makeAction(this, "Cut", "DeviceMgrUI_VerifyCut");
    m_pActCopy = makeAction(this, "Copy", "DeviceMgrUI_VerifyCopy");
    m_pActPaste = makeAction(this, "Paste", "DeviceMgrUI_VerifyPaste");
    m_pActDelete = makeAction(this, "Delete", "DeviceMgrUI_VerifyDelete");
    m_pActSelectAll = makeAction(this, "Select All", "DeviceMgrUI_VerifySelectAll");

    connect(m_pActUndo, SIGNAL(triggered()), this, SLOT(undoVerify()));
    connect(m_pActCut, SIGNAL(triggered()), this, SLOT(copy()));
    connect(m_pActCopy, SIGNAL(triggered()), this, SLOT(copy()));
    connect(m_pActPaste, SIGNAL(triggered()), this, SLOT(pasteVerify()));
    connect(m_pActDelete, SIGNAL(triggered()), this, SLOT(deleteVerify()));
    connect(m_pActSelectAll, SIGNAL(triggered()), this, SLOT(selectAllVerify()));

    // The secret never leaves the field.
    m_pActCut->setEnabled(false);
    m_pActCopy->setEnabled(false);
}

QMenu* LineEdit::createContextMenu()
{
    if (!m_pActUndo || !m_pActCut || !m_pActCopy || !m_pActPaste || !m_pActDelete ||
        !m_pActSelectAll)
        return nullptr;

    // Deliberately by content, not by undo history or selection.
    const bool hasText = !text().isEmpty();
    const QClipboard* clipboard = QApplication::clipboard();
    m_pActPaste->setEnabled(clipboard && !clipboard->text().isEmpty());
    m_pActUndo->setEnabled(hasText);
    m_pActDelete->setEnabled(hasText);
    m_pActSelectAll->setEnabled(hasText);

    auto* menu = new QMenu(this);
    menu->addAction(m_pActUndo);
    menu->addSeparator();
    menu->addAction(m_pActCut);
    menu->addAction(m_pActCopy);
    menu->addAction(m_pActPaste);
    menu->addAction(m_pActDelete);
    menu->addSeparator();
    menu->addAction(m_pActSelectAll);
    return menu;
}

void LineEdit::ShowContextMenu(const QPoint& point)
{
    DM_DEBUG("%s: %s: %s: Entered", DM_TRACE_ARGS(kFile));
    std::unique_ptr<QMenu> menu(createContextMenu());
    if (!menu) {
        DM_DEBUG("%s: %s: %s: Invalid Args", DM_TRACE_ARGS(kFile));
        return;
    }
    menu->exec(mapToGlobal(point));
    DM_DEBUG("%s: %s: %s: Exit", DM_TRACE_ARGS(kFile));
}

bool LineEdit::eventFilter(QObject* object, QEvent* event)
{
    if (event && isCutKeystroke(event)) {
        event->ignore();
        return true;
    }
    return ExtendLineEdit::eventFilter(object, event);
}

void LineEdit::undoVerify()
{
    undo();
}

void LineEdit::pasteVerify()
{
    paste();
}

void LineEdit::deleteVerify()
{
    del();
}

void LineEdit::selectAllVerify()
{
    selectAll();
}
