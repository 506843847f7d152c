#pragma once

#include <QCoreApplication>
#include <QElapsedTimer>

#include <future>

// Keeps the event loop running until `done` holds or `milliseconds` pass; false on time-out. For
// tests against real desktops and servers, whose answers take real time.
template<typename Predicate>
bool waitFor(Predicate done, int milliseconds = 5000)
{
    QElapsedTimer timer;
    timer.start();
    while (!done()) {
        if (timer.elapsed() > milliseconds)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    }
    return true;
}

// Keeps the event loop running until `future` holds its result, for work on another thread that
// needs this thread's events (a server, a bus); false on time-out.
template<typename T>
bool waitFor(const std::future<T> &future, int milliseconds = 5000)
{
    return waitFor([&] { return future.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }, milliseconds);
}
