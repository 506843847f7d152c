#pragma once

#include <QtGlobal>

#include <deque>
#include <mutex>
#include <span>

// The keys Sorawen's paste injector is about to send, so that the key source can drop exactly those
// and deliver every other key, other senders' injected keys included. The injector records on its
// worker thread, the key source consumes on the main thread; every call is thread-safe. An entry
// nobody consumes expires, so a lost injected event never swallows a later key of the user.
class InjectedKeys
{
public:
    struct Key {
        quint16 linuxKeyCode = 0;
        bool isPressed = false;

        friend bool operator==(const Key &, const Key &) = default;
    };

    // How long a recorded key waits for its event, in nanoseconds.
    static constexpr quint64 lifetime = 1'000'000'000;
    // How far before its recording an event may be stamped and still match: the X server's stamps
    // are whole milliseconds, so an event can read as a millisecond older than it is (with margin).
    static constexpr quint64 stampTolerance = 20'000'000;

    // `now` is the monotonic clock in nanoseconds (KeyEventTranslator::now()).
    void record(std::span<const Key> keys, quint64 now);
    // True when an event of `key` stamped `timestamp` is one recorded before; each recorded key
    // answers true once.
    bool consume(Key key, quint64 timestamp);

private:
    struct Entry {
        Key key;
        quint64 recordedAt = 0;
    };

    void dropExpired(quint64 now);

    std::mutex mutex;
    std::deque<Entry> entries; // guarded by mutex, oldest first
};
