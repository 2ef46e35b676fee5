// Every word a scenario may use, in one table each for actions ("do") and
// expectations ("expect", "expect-not"): the fields a step of that name
// takes (ScenarioFile checks them before anything runs) and what it does
// (ScenarioRunner carries it out). To find or add an action, look here.
#pragma once

#include "ScenarioFields.h"

#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <vector>

class QWidget;
class ScenarioRunner;

namespace ScenarioVocabulary {

// How an action moves the scenario on.
enum class Steer
{
    Next,  // the next step runs as soon as the action has
    Pause, // the next step runs "ms" later
    Quit,  // the scenario ends here
};

struct Action
{
    const char* name;
    // Its own fields, besides "do" and "comment" (and, on a widget, "in"
    // and "timeout").
    std::vector<ScenarioFields::Field> fields;
    // The runner finds the step's "widget" first (waiting for it up to
    // "timeout") and hands it to `run`.
    bool onWidget = false;
    // Beyond the fields' types; null when there is nothing more to check.
    bool (*check)(const QJsonObject& step, const QString& where, int deviceCount,
                  QString* error) = nullptr;
    // Carries the step out: an empty text, or why it failed.
    QString (*run)(ScenarioRunner& runner, const QJsonObject& step, QWidget* target) = nullptr;
    Steer steer = Steer::Next;
};

struct Expectation
{
    const char* name;
    // Its own fields, besides "expect"/"expect-not", "comment" and the
    // wait ("timeout", or "for" when negated).
    std::vector<ScenarioFields::Field> fields;
    // Checks a widget's state now rather than the transcript's records.
    bool onWidget = false;
    bool negatable = true; // may be written "expect-not"
};

// Null for a word the vocabulary lacks.
const Action* action(const QString& name);
const Expectation* expectation(const QString& name);

} // namespace ScenarioVocabulary
