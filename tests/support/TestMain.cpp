#include <QCoreApplication>

#include <gtest/gtest.h>

// Every test binary has a QCoreApplication, so futures, timers and queued calls work as they do in
// the application.
int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
