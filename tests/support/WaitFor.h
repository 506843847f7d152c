#pragma once

#include <QCoreApplication>
#include <QElapsedTimer>

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
