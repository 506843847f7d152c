#include "platform/linux/EvdevReader.h"

#include "ObservedHotkey.h"
#include "platform/linux/KeyStream.h"

#include <QCoreApplication>

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

namespace {

// One answer of libevdev_next_event as recorded from a keyboard: the read mode it was asked in, its
// status, and the event (time in milliseconds).
struct Read {
    unsigned int flag;
    int status;
    quint16 type;
    quint16 code;
    qint32 value;
    qint64 milliseconds;
};

constexpr unsigned int normal = EvdevReader::readNormal;
constexpr unsigned int syncing = EvdevReader::readSync;
constexpr int ok = EvdevReader::statusSuccess;
constexpr int sync = EvdevReader::statusSync;

// What a real keyboard sends around each key: the scan code, the key, the report.
std::vector<Read> key(quint16 code, qint32 value, qint64 milliseconds)
{
    return {{normal, ok, EV_MSC, MSC_SCAN, 0x70000 + code, milliseconds},
        {normal, ok, EV_KEY, code, value, milliseconds}, {normal, ok, EV_SYN, SYN_REPORT, 0, milliseconds}};
}
const Read dropped{normal, sync, EV_SYN, SYN_DROPPED, 0, 0};
Read synced(quint16 code, qint32 value, qint64 milliseconds)
{
    return {syncing, sync, EV_KEY, code, value, milliseconds};
}
const Read syncDone{syncing, -EAGAIN, 0, 0, 0, 0};
const Read empty{normal, -EAGAIN, 0, 0, 0, 0};
const Read unplugged{normal, -ENODEV, 0, 0, 0, 0};

constexpr quint16 rightAlt = 100, letterA = 30;

std::vector<Read> concat(std::initializer_list<std::vector<Read>> parts)
{
    std::vector<Read> all;
    for (const std::vector<Read> &part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

// Recorded reads through the reader, the key stream and the dictation key (right Alt), as the evdev
// source wires them: the actions the state machine gave, one notification per batch.
TEST(EvdevReader, RecordedSequencesReachTheDictationKey)
{
    struct Case {
        const char *name;
        std::vector<std::vector<Read>> notifications;
        std::vector<std::string> calls;
        EvdevReader::Drained lastDrained = EvdevReader::Drained::waiting;
    };
    const Case cases[] = {
        {"a hold with autorepeat",
            {concat({key(rightAlt, 1, 1000), key(rightAlt, 2, 1500), key(rightAlt, 2, 1530), {empty}}),
                concat({key(rightAlt, 2, 1560), key(rightAlt, 0, 3000), {empty}})},
            {"startRecording", "finishRecording"}},
        {"a letter during a hold cancels once; its repeats are not more letters",
            {concat({key(rightAlt, 1, 1000), key(letterA, 1, 1200), key(letterA, 2, 1700), key(letterA, 2, 1730),
                key(letterA, 0, 1800), key(rightAlt, 0, 3000), {empty}})},
            {"startRecording", "cancelRecording", "-"}},
        {"the release lost in a drop comes back from the resync",
            {concat({key(rightAlt, 1, 1000), {empty}}),
                concat({{dropped, synced(rightAlt, 0, 3000), syncDone}, key(letterA, 1, 3100), key(letterA, 0, 3200),
                    {empty}})},
            {"startRecording", "finishRecording"}},
        {"unplugged while held", {concat({key(rightAlt, 1, 1000), {unplugged}})}, {"startRecording"},
            EvdevReader::Drained::deviceGone},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        ObservedHotkey observed(HotkeyChoice::rightOption);
        KeyStream stream(nullptr);
        stream.setHandler(observed.source.handler);

        EvdevReader::Drained drained = EvdevReader::Drained::waiting;
        for (const std::vector<Read> &reads : c.notifications) {
            size_t next = 0;
            drained = EvdevReader::drain(
                [&](unsigned int flag, input_event &event) {
                    if (next == reads.size()) {
                        ADD_FAILURE() << "read past the recording";
                        return -EAGAIN;
                    }
                    const Read &read = reads[next++];
                    EXPECT_EQ(flag, read.flag) << "read " << next - 1;
                    event = input_event{};
                    event.input_event_sec = read.milliseconds / 1000;
                    event.input_event_usec = (read.milliseconds % 1000) * 1000;
                    event.type = read.type;
                    event.code = read.code;
                    event.value = read.value;
                    return read.status;
                },
                [&](const input_event &event) {
                    stream.key(event.code, event.value == 1,
                        quint64(event.input_event_sec) * 1'000'000'000 + quint64(event.input_event_usec) * 1'000);
                });
            EXPECT_EQ(next, reads.size()) << "stopped before the end of the recording";
            QCoreApplication::sendPostedEvents();
        }
        EXPECT_EQ(drained, c.lastDrained);
        EXPECT_EQ(observed.calls, c.calls);
    }
}

// Its own virtual keyboard types the pastes: reading it would take them for the user's keys.
TEST(EvdevReader, ReadsKeyboardsButNotItsOwnVirtualKeyboard)
{
    EXPECT_TRUE(EvdevReader::isKeyboardToRead("/dev/input/event3", "1", "AT Translated Set 2 keyboard"));
    EXPECT_FALSE(EvdevReader::isKeyboardToRead("/dev/input/event9", "1", EvdevReader::ownDeviceName));
    EXPECT_FALSE(EvdevReader::isKeyboardToRead("/dev/input/event4", "", "Logitech USB Optical Mouse"));
    EXPECT_FALSE(EvdevReader::isKeyboardToRead("/dev/input/mouse0", "1", "mouse"));
}

} // namespace
