// Finds a widget the way a scenario names it: by object name among the
// visible windows, optionally inside one window ("in") and by its current
// text ("text"). Several widgets may share a name, so a lookup that is not
// unique fails and names every candidate.
#pragma once

#include <QList>
#include <QString>

class QWidget;

struct WidgetQuery
{
    enum Kind
    {
        AnyWidget,
        LineEdit, // "type" looks at line edits only
        Button,   // "click" looks at buttons only
    };
    QString name;
    QString in;           // a window's (or a part's) object name; empty = anywhere
    bool hasText = false; // narrow by text
    QString text;
    Kind kind = AnyWidget;
    bool visibleOnly = true; // false: hidden widgets and windows count too
};

struct WidgetLookup
{
    QWidget* widget = nullptr; // set when exactly one widget matched
    QString error;             // otherwise what went wrong, naming the candidates
    bool ambiguous = false;    // several matched (none matched when false)
};

namespace WidgetFinder {
WidgetLookup find(const WidgetQuery& query);
// The widget's current text: a line edit's or button's text (without
// mnemonic markers), a label's, a combo box's current text, a window's title.
QString text(const QWidget* widget);
// "<name> (<class>) in <window>, text \"...\"" plus hidden/disabled marks.
QString describe(const QWidget* widget);
// `text` matches `wanted` when it contains it; an empty `wanted` only an
// empty text.
bool textMatches(const QString& text, const QString& wanted);
} // namespace WidgetFinder
