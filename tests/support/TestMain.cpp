#include <QCoreApplication>
#include <gtest/gtest.h>

// QProcess and the thread pool expect an application object, as in the program.
int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
