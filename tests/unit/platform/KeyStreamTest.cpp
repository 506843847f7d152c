#include "platform/linux/KeyStream.h"

#include <QCoreApplication>

#include <gtest/gtest.h>

#include <vector>

namespace {

TEST(KeyStream, HandsEventsOverAfterTheReadInOrder)
{
    KeyStream stream(nullptr);
    std::vector<KeyEvent> events;
    stream.setHandler([&](const KeyEvent &event) { events.push_back(event); });
    stream.key(42, true, 7); // left Shift
    stream.key(1, true, 8); // Escape
    stream.key(1, false, 9);
    // What is held is known at once; the handler runs only once the event loop gets to it.
    EXPECT_EQ(stream.heldModifiers(), 0x02u);
    stream.startOver();
    EXPECT_TRUE(events.empty());
    QCoreApplication::sendPostedEvents();
    ASSERT_EQ(events.size(), 4u);
    EXPECT_EQ(events[0], (KeyEvent{KeyEventType::flagsChanged, 0, 0x02, 7}));
    EXPECT_EQ(events[1], (KeyEvent{KeyEventType::keyDown, escapeKeyCode, 0x02, 8}));
    EXPECT_EQ(events[2], (KeyEvent{KeyEventType::keyUp, escapeKeyCode, 0x02, 9}));
    EXPECT_EQ(events[3].type, KeyEventType::tapDisabledByUserInput);
}

TEST(KeyStream, AHandlerThatStopsTheSourceGetsNoMoreEvents)
{
    KeyStream stream(nullptr);
    std::vector<KeyEvent> events;
    stream.setHandler([&](const KeyEvent &event) {
        events.push_back(event);
        stream.setHandler(nullptr);
    });
    stream.key(30, true, 1);
    stream.key(30, false, 2);
    QCoreApplication::sendPostedEvents();
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].timestamp, 1u);

    // Events read for a stopped handler never reach the next one.
    stream.setHandler([&](const KeyEvent &event) { events.push_back(event); });
    stream.key(42, true, 3);
    stream.setHandler([&](const KeyEvent &event) { events.push_back(event); });
    QCoreApplication::sendPostedEvents();
    EXPECT_EQ(events.size(), 1u);
}

} // namespace
