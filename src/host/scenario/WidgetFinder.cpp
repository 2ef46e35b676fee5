#include "WidgetFinder.h"

#include <QAbstractButton>
#include <QAbstractSpinBox>
#include <QApplication>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QTextEdit>
#include <QWidget>

#include <algorithm>

namespace {
bool hasKind(const QWidget* widget, WidgetQuery::Kind kind)
{
    switch (kind) {
    case WidgetQuery::LineEdit:
        return qobject_cast<const QLineEdit*>(widget);
    case WidgetQuery::Button:
        return qobject_cast<const QAbstractButton*>(widget);
    case WidgetQuery::AnyWidget:
        break;
    }
    return true;
}

const char* kindName(WidgetQuery::Kind kind)
{
    switch (kind) {
    case WidgetQuery::LineEdit:
        return "line edit";
    case WidgetQuery::Button:
        return "button";
    case WidgetQuery::AnyWidget:
        break;
    }
    return "widget";
}

QString windowName(const QWidget* window)
{
    if (!window->objectName().isEmpty())
        return window->objectName();
    return QString::fromLatin1(window->metaObject()->className());
}

// Every widget called `name` that belongs to `window` itself (not to a
// window parented to it), the window included.
QList<QWidget*> namedIn(QWidget* window, const QString& name)
{
    QList<QWidget*> found;
    if (window->objectName() == name)
        found.append(window);
    const QList<QWidget*> children = window->findChildren<QWidget*>(name);
    for (QWidget* child : children) {
        if (child->window() == window)
            found.append(child);
    }
    return found;
}

// True when `widget` lies inside a widget called `container` (its window or
// a part of it such as a dock).
bool isInside(const QWidget* widget, const QString& container)
{
    if (widget->isWindow())
        return widget->objectName() == container;
    for (const QWidget* at = widget->parentWidget(); at; at = at->parentWidget()) {
        if (at->objectName() == container)
            return true;
        if (at->isWindow())
            break;
    }
    return false;
}

QList<QWidget*> windows()
{
    QList<QWidget*> result;
    const QList<QWidget*> all = QApplication::topLevelWidgets();
    for (QWidget* window : all) {
        if (window->isWindow() && window->windowType() != Qt::Desktop)
            result.append(window);
    }
    // In a stable order, so that messages read the same from run to run.
    std::stable_sort(result.begin(), result.end(), [](const QWidget* a, const QWidget* b) {
        return a->objectName() < b->objectName();
    });
    return result;
}

QString queryText(const WidgetQuery& query)
{
    QString text = QStringLiteral("%1 \"%2\"").arg(QLatin1String(kindName(query.kind)), query.name);
    if (!query.in.isEmpty())
        text += QStringLiteral(" in \"%1\"").arg(query.in);
    if (query.hasText)
        text += QStringLiteral(" with text \"%1\"").arg(query.text);
    return text;
}

QString listOf(const QList<QWidget*>& widgets)
{
    QStringList lines;
    for (const QWidget* widget : widgets)
        lines.append(QStringLiteral("  ") + WidgetFinder::describe(widget));
    return lines.join(QLatin1Char('\n'));
}
} // namespace

QString WidgetFinder::text(const QWidget* widget)
{
    if (const auto* edit = qobject_cast<const QLineEdit*>(widget))
        return edit->text();
    if (const auto* button = qobject_cast<const QAbstractButton*>(widget)) {
        QString caption = button->text();
        caption.replace(QStringLiteral("&&"), QStringLiteral("\x01"));
        caption.remove(QLatin1Char('&'));
        caption.replace(QStringLiteral("\x01"), QStringLiteral("&"));
        return caption;
    }
    if (const auto* label = qobject_cast<const QLabel*>(widget))
        return label->text();
    if (const auto* combo = qobject_cast<const QComboBox*>(widget))
        return combo->currentText();
    if (const auto* spin = qobject_cast<const QAbstractSpinBox*>(widget))
        return spin->text();
    if (const auto* plain = qobject_cast<const QPlainTextEdit*>(widget))
        return plain->toPlainText();
    if (const auto* rich = qobject_cast<const QTextEdit*>(widget))
        return rich->toPlainText();
    if (const auto* group = qobject_cast<const QGroupBox*>(widget))
        return group->title();
    if (widget->isWindow())
        return widget->windowTitle();
    return QString();
}

bool WidgetFinder::textMatches(const QString& text, const QString& wanted)
{
    return wanted.isEmpty() ? text.isEmpty() : text.contains(wanted);
}

QString WidgetFinder::describe(const QWidget* widget)
{
    QString line = QStringLiteral("%1 (%2) in %3, text \"%4\"")
                       .arg(widget->objectName(), QLatin1String(widget->metaObject()->className()),
                            windowName(widget->window()), text(widget));
    if (!widget->isVisible())
        line += QStringLiteral(", hidden");
    if (!widget->isEnabled())
        line += QStringLiteral(", disabled");
    return line;
}

WidgetLookup WidgetFinder::find(const WidgetQuery& query)
{
    QList<QWidget*> named;   // same name anywhere, for the message
    QList<QWidget*> matched; // everything the query asks for
    for (QWidget* window : windows()) {
        const QList<QWidget*> candidates = namedIn(window, query.name);
        named += candidates;
        if (query.visibleOnly && !window->isVisible())
            continue;
        for (QWidget* widget : candidates) {
            if (query.visibleOnly && !widget->isVisible())
                continue;
            if (!hasKind(widget, query.kind))
                continue;
            if (!query.in.isEmpty() && !isInside(widget, query.in))
                continue;
            if (query.hasText && !textMatches(text(widget), query.text))
                continue;
            matched.append(widget);
        }
    }
    WidgetLookup lookup;
    if (matched.size() == 1) {
        lookup.widget = matched.first();
        return lookup;
    }
    if (matched.isEmpty()) {
        lookup.error = QStringLiteral("no %1%2").arg(
            query.visibleOnly ? QStringLiteral("visible ") : QString(), queryText(query));
        if (!named.isEmpty())
            lookup.error += QStringLiteral("; widgets of that name:\n") + listOf(named);
        return lookup;
    }
    lookup.ambiguous = true;
    lookup.error = QStringLiteral("%1 is ambiguous, %2 candidates:\n")
                       .arg(queryText(query))
                       .arg(matched.size()) +
                   listOf(matched);
    return lookup;
}
