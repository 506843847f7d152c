#include "dictation/HotkeyStateMachine.h"
#include "ObservedHotkey.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using A = HotkeyAction;

enum class Event { down, downWithOther, up, other, escape };

struct Step {
    Event event;
    double at;
    std::vector<HotkeyAction> expected;
};

struct Case {
    const char *name;
    std::vector<Step> steps;
};

std::vector<HotkeyAction> apply(HotkeyStateMachine &machine, const Step &step)
{
    switch (step.event) {
    case Event::down: return machine.keyChanged(true, false, step.at);
    case Event::downWithOther: return machine.keyChanged(true, true, step.at);
    case Event::up: return machine.keyChanged(false, false, step.at);
    case Event::other: return machine.anotherKeyPressed();
    case Event::escape: return machine.escapePressed();
    }
    return {};
}

// Each case drives a fresh machine through a gesture; the state it reaches is checked by what the
// following events return.
const Case cases[] = {
    {"hold",
        {{Event::down, 10.0, {A::startRecording}}, {Event::up, 11.5, {A::finishRecording}},
            {Event::down, 12.0, {A::startRecording}}}},
    // Times start at 0 so that the differences at the boundaries are exactly the durations.
    {"hold of exactly the minimum is a hold",
        {{Event::down, 0.0, {A::startRecording}}, {Event::up, 0.15, {A::finishRecording}}}},
    {"tap then double press locks, next press finishes",
        {{Event::down, 10.0, {A::startRecording}}, {Event::up, 10.1, {A::cancelRecording}},
            {Event::down, 10.3, {A::startLockedRecording}}, {Event::up, 10.4, {}},
            {Event::down, 15.0, {A::finishLockedRecording}}, {Event::down, 15.05, {}}, {Event::up, 15.1, {}},
            {Event::down, 16.0, {A::startRecording}}}},
    {"second press exactly at the interval is a double press",
        {{Event::down, -0.1, {A::startRecording}}, {Event::up, 0.0, {A::cancelRecording}},
            {Event::down, 0.35, {A::startLockedRecording}}}},
    {"second press just past the interval starts a new hold",
        {{Event::down, -0.1, {A::startRecording}}, {Event::up, 0.0, {A::cancelRecording}},
            {Event::down, 0.3501, {A::startRecording}},
            // The new hold is measured from its own press.
            {Event::up, 0.45, {A::cancelRecording}}}},
    {"press while another key is held is suppressed until release",
        {{Event::downWithOther, 10.0, {}}, {Event::down, 10.1, {}}, {Event::up, 10.2, {}},
            {Event::down, 10.3, {A::startRecording}}}},
    {"another key during a hold cancels and suppresses",
        {{Event::down, 10.0, {A::startRecording}}, {Event::other, 10.1, {A::cancelRecording}}, {Event::other, 10.2, {}},
            {Event::up, 11.0, {}}, {Event::down, 11.1, {A::startRecording}}}},
    {"another key while waiting or locked does nothing",
        {{Event::down, 10.0, {A::startRecording}}, {Event::up, 10.1, {A::cancelRecording}}, {Event::other, 10.15, {}},
            {Event::down, 10.2, {A::startLockedRecording}}, {Event::other, 10.3, {}}, {Event::up, 10.4, {}},
            {Event::down, 12.0, {A::finishLockedRecording}}}},
    {"escape during a hold cancels; the release only returns to idle",
        {{Event::down, 10.0, {A::startRecording}}, {Event::escape, 10.5, {A::cancelRecording}},
            {Event::escape, 10.6, {}}, {Event::up, 11.0, {}}, {Event::down, 11.1, {A::startRecording}}}},
    {"escape while locked cancels and swallows the next gesture",
        {{Event::down, 10.0, {A::startRecording}}, {Event::up, 10.1, {A::cancelRecording}},
            {Event::down, 10.2, {A::startLockedRecording}}, {Event::up, 10.3, {}},
            {Event::escape, 12.0, {A::cancelRecording}}, {Event::down, 13.0, {}}, {Event::up, 13.1, {}},
            {Event::down, 14.0, {A::startRecording}}}},
};

TEST(HotkeyStateMachine, Gestures)
{
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        HotkeyStateMachine machine;
        for (size_t i = 0; i < c.steps.size(); ++i) {
            SCOPED_TRACE("step " + std::to_string(i));
            EXPECT_EQ(describe(apply(machine, c.steps[i])), describe(c.steps[i].expected));
        }
    }
}

} // namespace
