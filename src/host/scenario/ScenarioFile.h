// A scenario: virtual cards, host settings and the steps to replay, read from
// JSON and checked completely before anything runs, so that a bad file is
// reported (exit 2) instead of half played.
#pragma once

#include <sim/VirtualCard.h>

#include <QJsonObject>
#include <QList>
#include <QPair>
#include <QString>

#include <vector>

struct ScenarioFault
{
    QString function;
    int result = 1;
    int times = 1; // < 0 = for ever
};

struct ScenarioHost
{
    QString language = QStringLiteral("en");
    sim::HostConfig sdk;                     // win7, wwanReadyAfter, wwanServiceActive
    bool sdkUserDataDirSet = false;          // else the user data folder with a trailing "/"
    QList<QPair<QString, QString>> settings; // "group/key" -> value
    QString userDataDir;
    int frameStyle = 0;
    bool dialupConnected = false;
    QList<ScenarioFault> faults;
    int eventGapMs = 0;
    bool hasReloadMap = false;
    QJsonObject reloadMap;
};

struct ScenarioStep
{
    int number = 0;           // 1-based, as reported
    QJsonObject json;         // the step, with a code's name as its number
    QString written;          // the step as written, one line of compact JSON
    bool expectation = false; // "expect" or "expect-not"
    bool negated = false;     // "expect-not"
    QString name;             // the action, or the expectation's kind

    // The step as written, for messages.
    QString text() const { return written; }
};

struct Scenario
{
    std::vector<sim::CardConfig> devices;
    ScenarioHost host;
    QList<ScenarioStep> steps;
};

class ScenarioFile
{
public:
    enum Mode
    {
        Replay, // a scenario: "steps" is required and checked
        Setup,  // only "devices" and "host" are used
    };

    // False with a message naming the file, the place and the problem.
    static bool load(const QString& path, Mode mode, Scenario* scenario, QString* error);
    static bool parse(const QByteArray& json, Mode mode, Scenario* scenario, QString* error);
};
