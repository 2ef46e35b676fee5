#include "WidgetFinder.h"

#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <QVBoxLayout>

#include <memory>

// Two dialogs that use the same object names for their parts, as the
// device manager's PIN dialogs do.
class TestWidgetFinder : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        m_first = makeDialog(QStringLiteral("FirstDlg"), QStringLiteral("OK"));
        m_second = makeDialog(QStringLiteral("SecondDlg"), QStringLiteral("Cancel"));
        m_first->show();
        m_second->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_second.get()));
    }
    void cleanup()
    {
        m_first.reset();
        m_second.reset();
    }

    void lookup_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("in");
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("kind");
        QTest::addColumn<QString>("found"); // "<window>/<text>", or empty
        QTest::addColumn<QString>("error"); // a part of the message
        QTest::newRow("unique by window") << "Shared_Button"
                                          << "SecondDlg" << QString() << int(WidgetQuery::Button)
                                          << "SecondDlg/Cancel" << QString();
        QTest::newRow("unique by text") << "Shared_Button" << QString() << "OK"
                                        << int(WidgetQuery::Button) << "FirstDlg/OK" << QString();
        QTest::newRow("ambiguous names every candidate")
            << "Shared_Button" << QString() << QString() << int(WidgetQuery::Button) << QString()
            << "is ambiguous, 2 candidates:\n"
               "  Shared_Button (QPushButton) in FirstDlg, text \"OK\"\n"
               "  Shared_Button (QPushButton) in SecondDlg, text \"Cancel\"";
        QTest::newRow("click looks at buttons only")
            << "Shared_Edit"
            << "FirstDlg" << QString() << int(WidgetQuery::Button) << QString()
            << "no visible button \"Shared_Edit\" in \"FirstDlg\"; widgets of that name:";
        QTest::newRow("type looks at line edits only")
            << "Shared_Button"
            << "FirstDlg" << QString() << int(WidgetQuery::LineEdit) << QString()
            << "no visible line edit";
        QTest::newRow("line edit by window")
            << "Shared_Edit"
            << "SecondDlg" << QString() << int(WidgetQuery::LineEdit) << "SecondDlg/" << QString();
        QTest::newRow("hidden widgets do not count")
            << "Hidden_Label" << QString() << QString() << int(WidgetQuery::AnyWidget) << QString()
            << "Hidden_Label (QLabel) in FirstDlg, text \"secret\", hidden";
        QTest::newRow("missing") << "Nothing" << QString() << QString()
                                 << int(WidgetQuery::AnyWidget) << QString()
                                 << "no visible widget \"Nothing\"";
        QTest::newRow("a window by its own name")
            << "FirstDlg" << QString() << QString() << int(WidgetQuery::AnyWidget)
            << "FirstDlg/First" << QString();
        QTest::newRow("text narrows to none")
            << "Shared_Button" << QString() << "Apply" << int(WidgetQuery::Button) << QString()
            << "with text \"Apply\"";
    }
    void lookup()
    {
        QFETCH(QString, name);
        QFETCH(QString, in);
        QFETCH(QString, text);
        QFETCH(int, kind);
        QFETCH(QString, found);
        QFETCH(QString, error);
        WidgetQuery query;
        query.name = name;
        query.in = in;
        query.hasText = !text.isNull();
        query.text = text;
        query.kind = WidgetQuery::Kind(kind);
        const WidgetLookup lookup = WidgetFinder::find(query);
        if (found.isEmpty()) {
            QVERIFY(!lookup.widget);
            QVERIFY2(lookup.error.contains(error), qPrintable(lookup.error));
            return;
        }
        QVERIFY2(lookup.widget, qPrintable(lookup.error));
        QCOMPARE(lookup.widget->window()->objectName() + QLatin1Char('/') +
                     WidgetFinder::text(lookup.widget),
                 found);
    }

    void hiddenWidgetsCountWhenAskedFor()
    {
        WidgetQuery query;
        query.name = QStringLiteral("Hidden_Label");
        query.visibleOnly = false;
        const WidgetLookup lookup = WidgetFinder::find(query);
        QVERIFY2(lookup.widget, qPrintable(lookup.error));
        QCOMPARE(WidgetFinder::text(lookup.widget), QStringLiteral("secret"));
    }

    void closedWindowIsNoCandidate()
    {
        m_first->close();
        WidgetQuery query;
        query.name = QStringLiteral("Shared_Button");
        query.kind = WidgetQuery::Button;
        const WidgetLookup lookup = WidgetFinder::find(query);
        QVERIFY2(lookup.widget, qPrintable(lookup.error));
        QCOMPARE(lookup.widget->window(), m_second.get());
    }

    void partOfAWindowNarrowsToo()
    {
        WidgetQuery query;
        query.name = QStringLiteral("Shared_Button");
        query.in = QStringLiteral("SecondDlg_Content");
        const WidgetLookup lookup = WidgetFinder::find(query);
        QVERIFY2(lookup.widget, qPrintable(lookup.error));
        QCOMPARE(lookup.widget->window(), m_second.get());
    }

    void buttonTextLosesMnemonics()
    {
        QPushButton button(QStringLiteral("&Save && go"));
        QCOMPARE(WidgetFinder::text(&button), QStringLiteral("Save & go"));
    }

private:
    static std::unique_ptr<QDialog> makeDialog(const QString& name, const QString& buttonText)
    {
        auto dialog = std::make_unique<QDialog>();
        dialog->setObjectName(name);
        dialog->setWindowTitle(name.left(name.size() - 3));
        auto* content = new QWidget(dialog.get());
        content->setObjectName(name + QStringLiteral("_Content"));
        auto* layout = new QVBoxLayout(content);
        auto* edit = new QLineEdit(content);
        edit->setObjectName(QStringLiteral("Shared_Edit"));
        auto* button = new QPushButton(buttonText, content);
        button->setObjectName(QStringLiteral("Shared_Button"));
        layout->addWidget(edit);
        layout->addWidget(button);
        if (name == QLatin1String("FirstDlg")) {
            auto* hidden = new QLabel(QStringLiteral("secret"), content);
            hidden->setObjectName(QStringLiteral("Hidden_Label"));
            hidden->hide();
            layout->addWidget(hidden);
        }
        auto* outer = new QVBoxLayout(dialog.get());
        outer->addWidget(content);
        return dialog;
    }

    std::unique_ptr<QDialog> m_first;
    std::unique_ptr<QDialog> m_second;
};

QTEST_MAIN(TestWidgetFinder)
#include "tst_widgetfinder.moc"
