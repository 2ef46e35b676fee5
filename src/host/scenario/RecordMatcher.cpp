#include "RecordMatcher.h"

#include "WidgetFinder.h"

#include <QRegularExpression>

#include <cmath>

namespace {
// Keys of an expectation that are not record fields.
bool isMetaKey(const QString& key)
{
    return key == QLatin1String("expect") || key == QLatin1String("expect-not") ||
           key == QLatin1String("timeout") || key == QLatin1String("for") ||
           key == QLatin1String("comment");
}

QMap<QString, QString> notifyFields(const QString& text)
{
    const QStringList parts = text.split(QLatin1Char(' '));
    QMap<QString, QString> result;
    if (parts.size() >= 4 && parts.at(0) == QLatin1String("broadcast")) {
        result[QStringLiteral("to")] = QStringLiteral("all");
        result[QStringLiteral("code")] = parts.at(1);
        result[QStringLiteral("w")] = parts.at(2);
        result[QStringLiteral("l")] = parts.at(3);
    } else if (parts.size() >= 5 &&
               (parts.at(0) == QLatin1String("to") || parts.at(0) == QLatin1String("from"))) {
        if (parts.at(0) == QLatin1String("to"))
            result[QStringLiteral("to")] = parts.at(1);
        else
            result[QStringLiteral("from")] = parts.at(1);
        result[QStringLiteral("code")] = parts.at(2);
        result[QStringLiteral("w")] = parts.at(3);
        result[QStringLiteral("l")] = parts.at(4);
    }
    return result;
}

QMap<QString, QString> msgboxFields(const QString& text)
{
    static const QRegularExpression form(
        QStringLiteral(R"(^icon=(\d+) title=("(?:[^"\\]|\\.)*") text=("(?:[^"\\]|\\.)*") )"
                       R"(buttons=("(?:[^"\\]|\\.)*") -> (-?\d+)$)"));
    const QRegularExpressionMatch match = form.match(text);
    if (!match.hasMatch())
        return {};
    return {{QStringLiteral("icon"), match.captured(1)},
            {QStringLiteral("title"), RecordMatcher::unquote(match.captured(2))},
            {QStringLiteral("text"), RecordMatcher::unquote(match.captured(3))},
            {QStringLiteral("buttons"), RecordMatcher::unquote(match.captured(4))},
            {QStringLiteral("reply"), match.captured(5)}};
}

QMap<QString, QString> sdkFields(const QString& text)
{
    const int open = text.indexOf(QLatin1Char('('));
    const int equals = text.lastIndexOf(QStringLiteral(" = "));
    const int close = text.lastIndexOf(QLatin1Char(')'), equals);
    if (open <= 0 || equals < 0 || close < open)
        return {};
    return {{QStringLiteral("call"), text.left(open)},
            {QStringLiteral("args"), text.mid(open + 1, close - open - 1)},
            {QStringLiteral("result"), text.mid(equals + 3)}};
}

QMap<QString, QString> splitAt(const QString& text, const QString& separator, const QString& left,
                               const QString& right)
{
    const int at = text.indexOf(separator);
    if (at < 0)
        return {{left, text}};
    return {{left, text.left(at)}, {right, text.mid(at + separator.size())}};
}

bool fieldMatches(const QString& name, const QString& actual, const QString& expected)
{
    if (name == QLatin1String("text"))
        return WidgetFinder::textMatches(actual, expected);
    if (actual == expected)
        return true;
    const bool quoted = actual.size() >= 2 && actual.startsWith(QLatin1Char('"')) &&
                        actual.endsWith(QLatin1Char('"'));
    return quoted && RecordMatcher::unquote(actual) == expected;
}
} // namespace

QMap<QString, QString> RecordMatcher::fields(const Transcript::Record& record)
{
    const QString& kind = record.kind;
    const QString& text = record.text;
    if (kind == QLatin1String("notify"))
        return notifyFields(text);
    if (kind == QLatin1String("msgbox"))
        return msgboxFields(text);
    if (kind == QLatin1String("shown") || kind == QLatin1String("hidden"))
        return {{QStringLiteral("widget"), text}};
    if (kind == QLatin1String("sdk"))
        return sdkFields(text);
    if (kind == QLatin1String("call"))
        return splitAt(text, QStringLiteral(" = "), QStringLiteral("op"), QStringLiteral("result"));
    if (kind == QLatin1String("setting"))
        return splitAt(text, QStringLiteral(" = "), QStringLiteral("key"), QStringLiteral("value"));
    if (kind == QLatin1String("plugin"))
        return splitAt(text, QStringLiteral(" "), QStringLiteral("op"), QStringLiteral("id"));
    if (kind == QLatin1String("subscribe"))
        return splitAt(text, QStringLiteral(" "), QStringLiteral("from"), QStringLiteral("code"));
    if (kind == QLatin1String("menu") || kind == QLatin1String("dialup") ||
        kind == QLatin1String("miniframe"))
        return {{QStringLiteral("op"), text}};
    return {};
}

bool RecordMatcher::matches(const Transcript::Record& record, const QString& kind,
                            const QJsonObject& expected)
{
    if (record.kind != kind)
        return false;
    const QMap<QString, QString> actual = fields(record);
    for (auto it = expected.begin(); it != expected.end(); ++it) {
        if (isMetaKey(it.key()))
            continue;
        const auto field = actual.constFind(it.key());
        if (field == actual.constEnd())
            return false;
        if (!fieldMatches(it.key(), field.value(), scalarText(it.value())))
            return false;
    }
    return true;
}

QString RecordMatcher::scalarText(const QJsonValue& value)
{
    if (value.isBool())
        return value.toBool() ? QStringLiteral("true") : QStringLiteral("false");
    if (value.isDouble()) {
        const double number = value.toDouble();
        if (std::floor(number) == number && std::fabs(number) < 9.0e15)
            return QString::number(qint64(number));
        return QString::number(number);
    }
    return value.toString();
}

QString RecordMatcher::quote(const QString& text)
{
    QString escaped = text;
    escaped.replace(QLatin1Char('\\'), QStringLiteral("\\\\"));
    escaped.replace(QLatin1Char('"'), QStringLiteral("\\\""));
    escaped.replace(QLatin1Char('\n'), QStringLiteral("\\n"));
    return QLatin1Char('"') + escaped + QLatin1Char('"');
}

QString RecordMatcher::unquote(const QString& quoted)
{
    QString text = quoted;
    if (text.size() >= 2 && text.startsWith(QLatin1Char('"')) && text.endsWith(QLatin1Char('"')))
        text = text.mid(1, text.size() - 2);
    QString result;
    result.reserve(text.size());
    for (int i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (c != QLatin1Char('\\') || i + 1 == text.size()) {
            result.append(c);
            continue;
        }
        const QChar next = text.at(++i);
        result.append(next == QLatin1Char('n') ? QChar(QLatin1Char('\n')) : next);
    }
    return result;
}
