#include <QApplication>
#include <QQuickWindow>

#include <gtest/gtest.h>

// The main of view tests: a QApplication (menus are widgets), offscreen unless the environment
// names another platform (listing the tests needs no display either), and Qt Quick drawing in
// software, which every machine has.
int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    QApplication application(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
