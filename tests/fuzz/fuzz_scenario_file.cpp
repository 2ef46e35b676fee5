// The scenario file parser takes whatever a user points linkhost at: any
// bytes must end in a scenario or in a message, in both modes, never in a
// crash. Since Setup reads a subset of what Replay reads, a file that plays
// must also set up, with the same cards.
#include "ScenarioFile.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

struct Outcome
{
    bool accepted = false;
    size_t devices = 0;
};

[[noreturn]] void fail(const char* what)
{
    fprintf(stderr, "fuzz_scenario_file: %s\n", what);
    abort();
}

Outcome parse(const QByteArray& json, ScenarioFile::Mode mode)
{
    Scenario scenario;
    QString error;
    const bool accepted = ScenarioFile::parse(json, mode, &scenario, &error);
    if (!accepted && error.isEmpty())
        fail("refused without a message");
    for (const ScenarioStep& step : scenario.steps)
        (void)step.text(); // how a failing step is named
    return {accepted, scenario.devices.size()};
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray json =
        QByteArray::fromRawData(reinterpret_cast<const char*>(data), qsizetype(size));
    const Outcome replay = parse(json, ScenarioFile::Replay);
    const Outcome setup = parse(json, ScenarioFile::Setup);
    if (replay.accepted && !setup.accepted)
        fail("played, but refused as a setup file");
    if (replay.accepted && replay.devices != setup.devices)
        fail("a different number of cards as a setup file");
    return 0;
}
