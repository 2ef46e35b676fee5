// The secret entry field on its own: no cut by keyboard, and a context menu
// whose items follow the field's content and the clipboard, with Cut and Copy
// never usable.
#include "LineEdit.h"
#include "TraceCapture.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QKeyEvent>
#include <QMenu>
#include <QTest>
#include <QTimer>

#include <memory>

namespace {

// What the cut shortcut types on a real keyboard: Ctrl+X carrying the
// control character 24.
bool sendCutKeystroke(QWidget* target)
{
    QKeyEvent press(QEvent::KeyPress, Qt::Key_X, Qt::ControlModifier, QString(QChar(24)));
    QApplication::sendEvent(target, &press);
    QKeyEvent release(QEvent::KeyRelease, Qt::Key_X, Qt::ControlModifier, QString(QChar(24)));
    QApplication::sendEvent(target, &release);
    return press.isAccepted();
}

struct MenuItem
{
    QString text;
    bool separator;
    bool enabled;
};

QList<MenuItem> itemsOf(const QMenu* menu)
{
    QList<MenuItem> items;
    for (const QAction* action : menu->actions())
        items.append({action->text(), action->isSeparator(), action->isEnabled()});
    return items;
}

} // namespace

class tst_LineEdit : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void cutKeystrokeIsSwallowed();
    void otherKeysStillType();
    void actionsAreNamedAndCreatedOnce();
    void menuWithoutActionsIsRefused();
    void menuItemStates_data();
    void menuItemStates();
    void cutAndCopyNeverTakeTheSecretOut();
    void actionsWorkOnTheField();
    void showContextMenuRunsTheMenuAtTheMappedPoint();
};

void tst_LineEdit::init()
{
    QApplication::clipboard()->clear();
}

void tst_LineEdit::cutKeystrokeIsSwallowed()
{
    // Plain echo and a selection: without the filter the line edit itself
    // would cut the text.
    LineEdit field;
    field.setText(QStringLiteral("1234"));
    field.selectAll();

    const bool accepted = sendCutKeystroke(&field);

    QCOMPARE(field.text(), QStringLiteral("1234"));
    QVERIFY(!accepted);
    QVERIFY(QApplication::clipboard()->text().isEmpty());
}

void tst_LineEdit::otherKeysStillType()
{
    LineEdit field;
    QTest::keyClicks(&field, QStringLiteral("42"));
    QTest::keyClick(&field, Qt::Key_Backspace);
    QTest::keyClicks(&field, QStringLiteral("7"));
    QCOMPARE(field.text(), QStringLiteral("47"));
}

void tst_LineEdit::actionsAreNamedAndCreatedOnce()
{
    LineEdit field;
    QVERIFY(!field.undoAction());
    field.RightClickActions();
    QAction* firstUndo = field.undoAction();
    field.RightClickActions();
    QCOMPARE(field.undoAction(), firstUndo);

    const QList<QAction*> actions = {field.undoAction(),   field.cutAction(),
                                     field.copyAction(),   field.pasteAction(),
                                     field.deleteAction(), field.selectAllAction()};
    const QStringList names = {"DeviceMgrUI_VerifyUndo",   "DeviceMgrUI_VerifyCut",
                               "DeviceMgrUI_VerifyCopy",   "DeviceMgrUI_VerifyPaste",
                               "DeviceMgrUI_VerifyDelete", "DeviceMgrUI_VerifySelectAll"};
    const QStringList texts = {"Undo", "Cut", "Copy", "Paste", "Delete", "Select All"};
    for (int i = 0; i < actions.size(); ++i) {
        QVERIFY(actions[i]);
        QCOMPARE(actions[i]->objectName(), names[i]);
        QCOMPARE(actions[i]->text(), texts[i]);
    }
    QCOMPARE(field.findChildren<QAction*>().size(), 6);
}

void tst_LineEdit::menuWithoutActionsIsRefused()
{
    LineEdit field;
    TraceCapture trace;
    QVERIFY(!std::unique_ptr<QMenu>(field.createContextMenu()));
    field.ShowContextMenu(QPoint(1, 1));
    QVERIFY(trace.contains(QStringLiteral("ShowContextMenu: Invalid Args")));
    QVERIFY(!QApplication::activePopupWidget());
}

void tst_LineEdit::menuItemStates_data()
{
    QTest::addColumn<QString>("fieldText");
    QTest::addColumn<QString>("clipboard");
    QTest::addColumn<bool>("editEnabled"); // Undo, Delete, Select All
    QTest::addColumn<bool>("pasteEnabled");

    QTest::newRow("empty field, empty clipboard") << QString() << QString() << false << false;
    QTest::newRow("empty field, text on clipboard") << QString() << "5678" << false << true;
    QTest::newRow("digits, empty clipboard") << "1234" << QString() << true << false;
    QTest::newRow("digits, text on clipboard") << "1234"
                                               << "5678" << true << true;
}

void tst_LineEdit::menuItemStates()
{
    QFETCH(QString, fieldText);
    QFETCH(QString, clipboard);
    QFETCH(bool, editEnabled);
    QFETCH(bool, pasteEnabled);

    if (!clipboard.isEmpty())
        QApplication::clipboard()->setText(clipboard);
    LineEdit field;
    field.setEchoMode(QLineEdit::Password);
    field.RightClickActions();
    field.setText(fieldText);
    // Neither undo history nor a selection changes the verdict.
    field.deselect();

    std::unique_ptr<QMenu> menu(field.createContextMenu());
    QVERIFY(menu);
    const QList<MenuItem> items = itemsOf(menu.get());
    QCOMPARE(items.size(), 8);
    const QStringList order = {"Undo", "", "Cut", "Copy", "Paste", "Delete", "", "Select All"};
    for (int i = 0; i < order.size(); ++i) {
        QCOMPARE(items[i].separator, order[i].isEmpty());
        if (!order[i].isEmpty())
            QCOMPARE(items[i].text, order[i]);
    }
    QCOMPARE(items[0].enabled, editEnabled);
    QCOMPARE(items[2].enabled, false);
    QCOMPARE(items[3].enabled, false);
    QCOMPARE(items[4].enabled, pasteEnabled);
    QCOMPARE(items[5].enabled, editEnabled);
    QCOMPARE(items[7].enabled, editEnabled);
}

void tst_LineEdit::cutAndCopyNeverTakeTheSecretOut()
{
    LineEdit field;
    field.setEchoMode(QLineEdit::Password);
    field.RightClickActions();
    field.setText(QStringLiteral("1234"));
    field.selectAll();

    // Disabled actions ignore trigger(); their signal still shows where they
    // lead: Cut only copies, and a password field copies nothing.
    emit field.cutAction()->triggered();
    emit field.copyAction()->triggered();
    QCOMPARE(field.text(), QStringLiteral("1234"));
    QVERIFY(QApplication::clipboard()->text().isEmpty());

    std::unique_ptr<QMenu> menu(field.createContextMenu());
    QVERIFY(!field.cutAction()->isEnabled());
    QVERIFY(!field.copyAction()->isEnabled());
}

void tst_LineEdit::actionsWorkOnTheField()
{
    LineEdit field;
    field.RightClickActions();
    QTest::keyClicks(&field, QStringLiteral("12"));

    QApplication::clipboard()->setText(QStringLiteral("34"));
    field.pasteAction()->trigger();
    QCOMPARE(field.text(), QStringLiteral("1234"));

    field.selectAllAction()->trigger();
    QCOMPARE(field.selectedText(), QStringLiteral("1234"));

    field.deleteAction()->trigger();
    QCOMPARE(field.text(), QString());

    field.undoAction()->trigger();
    QCOMPARE(field.text(), QStringLiteral("1234"));
}

void tst_LineEdit::showContextMenuRunsTheMenuAtTheMappedPoint()
{
    QWidget window;
    window.move(40, 30);
    auto* field = new LineEdit(&window);
    field->move(20, 10);
    field->RightClickActions();
    field->setText(QStringLiteral("12"));
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));

    QList<MenuItem> seen;
    QPoint shownAt;
    QTimer::singleShot(0, this, [&seen, &shownAt] {
        if (auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget())) {
            seen = itemsOf(menu);
            shownAt = menu->pos();
            menu->close();
        }
    });
    TraceCapture trace;
    const QPoint point(5, 3);
    field->ShowContextMenu(point);

    QCOMPARE(seen.size(), 8);
    QVERIFY(seen[0].enabled);
    QVERIFY(!seen[2].enabled);
    QCOMPARE(shownAt, field->mapToGlobal(point));
    QVERIFY(trace.contains(QStringLiteral("ShowContextMenu: Exit")));
    QVERIFY(!QApplication::activePopupWidget());
}

QTEST_MAIN(tst_LineEdit)
#include "tst_lineedit.moc"
