#include <QApplication>
#include <QQuickWindow>

#include <gtest/gtest.h>

// The main of view tests: a QApplication (menus are widgets) on the platform the environment names,
// offscreen under CTest, and Qt Quick drawing in software, which every machine has.
int main(int argc, char **argv)
{
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    QApplication application(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
