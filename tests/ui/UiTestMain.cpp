#include <QApplication>
#include <gtest/gtest.h>

// Widgets need an application object with a GUI; tests run on the offscreen platform.
int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen"); // also when CTest lists the tests at build time
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
