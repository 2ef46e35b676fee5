// Reads the fields out of a transcript record and matches them against an
// expectation's fields.
#pragma once

#include "Transcript.h"

#include <QJsonObject>
#include <QMap>
#include <QString>

namespace RecordMatcher {
// The fields of a record by name, as expectations of its kind name them
// (a "notify" broadcast has to = "all"; an "sdk" record has call, args and
// result ...). Empty when the text does not have its kind's form.
QMap<QString, QString> fields(const Transcript::Record& record);

// True when every field of `expected` matches: "text" when the record's
// text contains it (an empty "text" only an empty text), every other field
// exactly (a number or boolean by its JSON text). A quoted result also
// matches its unquoted text. "expect", "timeout", "for" and "comment" are
// not fields.
bool matches(const Transcript::Record& record, const QString& kind, const QJsonObject& expected);

// The text of a JSON scalar as a record would spell it.
QString scalarText(const QJsonValue& value);
// `text` between double quotes with \" \\ and \n escaped, and the reverse.
QString quote(const QString& text);
QString unquote(const QString& quoted);
} // namespace RecordMatcher
