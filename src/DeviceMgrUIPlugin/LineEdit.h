// The secret entry field: digits only (by validator), no keyboard cut, and a
// context menu of its own in which Cut and Copy are always disabled.
#pragma once

#include <ExtendLineEdit.h>

class QAction;
class QMenu;

class LineEdit : public ExtendLineEdit
{
    Q_OBJECT
public:
    explicit LineEdit(QWidget* parent = nullptr);

    // Creates the six context-menu actions (once).
    void RightClickActions();
    // Runs the context menu at `point` (field coordinates).
    void ShowContextMenu(const QPoint& point);
    // The menu ShowContextMenu runs, with its items enabled as they would be
    // now; null when the actions are missing. The caller owns it.
    QMenu* createContextMenu();

    bool eventFilter(QObject* object, QEvent* event) override;

    QAction* undoAction() const { return m_pActUndo; }
    QAction* cutAction() const { return m_pActCut; }
    QAction* copyAction() const { return m_pActCopy; }
    QAction* pasteAction() const { return m_pActPaste; }
    QAction* deleteAction() const { return m_pActDelete; }
    QAction* selectAllAction() const { return m_pActSelectAll; }

public slots:
    void undoVerify();
    void pasteVerify();
    void deleteVerify();
    void selectAllVerify();

private:
    QAction* m_pActUndo = nullptr;
    QAction* m_pActCut = nullptr;
    QAction* m_pActCopy = nullptr;
    QAction* m_pActPaste = nullptr;
    QAction* m_pActDelete = nullptr;
    QAction* m_pActSelectAll = nullptr;
};
