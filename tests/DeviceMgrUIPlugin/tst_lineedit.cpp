// The secret entry field's own context menu: items follow the field's text
// and the clipboard, and Cut and Copy never take the secret out.
#include "LineEdit.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QMenu>
#include <QTest>

#include <memory>

class tst_LineEdit : public QObject
{
    Q_OBJECT

private slots:
    void init() { QApplication::clipboard()->clear(); }

    void menuItemStates_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("clipboard");
        QTest::addColumn<QString>("states"); // per item, separators as '-': 1 enabled, 0 not
        const QString none, digits = "1234", more = "5678";
        QTest::newRow("empty field, empty clipboard") << none << none << QString("0-0000-0");
        QTest::newRow("empty field, text on clipboard") << none << more << QString("0-0010-0");
        QTest::newRow("digits, empty clipboard") << digits << none << QString("1-0001-1");
        QTest::newRow("digits, text on clipboard") << digits << more << QString("1-0011-1");
    }

    void menuItemStates()
    {
        QFETCH(QString, text);
        QFETCH(QString, clipboard);
        QFETCH(QString, states);
        if (!clipboard.isEmpty())
            QApplication::clipboard()->setText(clipboard);
        LineEdit field;
        field.setEchoMode(QLineEdit::Password);
        field.RightClickActions();
        field.RightClickActions();
        QCOMPARE(field.findChildren<QAction*>().size(), 6);
        field.setText(text);
        field.deselect(); // the text alone decides, not a selection or undo history

        std::unique_ptr<QMenu> menu(field.createContextMenu());
        QVERIFY(menu);
        QStringList texts;
        QString seen;
        for (const QAction* action : menu->actions()) {
            texts.append(action->text());
            seen += action->isSeparator() ? '-' : action->isEnabled() ? '1' : '0';
        }
        QCOMPARE(texts.join(QLatin1Char('|')), "Undo||Cut|Copy|Paste|Delete||Select All");
        QCOMPARE(seen, states);
    }

    void actionsWorkOnTheField()
    {
        LineEdit field;
        field.RightClickActions();
        QTest::keyClicks(&field, "12");
        QApplication::clipboard()->setText("34");
        field.pasteAction()->trigger();
        QCOMPARE(field.text(), "1234");
        field.selectAllAction()->trigger();
        QCOMPARE(field.selectedText(), "1234");
        field.deleteAction()->trigger();
        QCOMPARE(field.text(), QString());
        field.undoAction()->trigger();
        QCOMPARE(field.text(), "1234");
    }
};

QTEST_MAIN(tst_LineEdit)
#include "tst_lineedit.moc"
