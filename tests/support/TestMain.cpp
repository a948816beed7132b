#include <QCoreApplication>
#include <QTemporaryDir>
#include <gtest/gtest.h>

// QProcess and the thread pool expect an application object, as in the program.
int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    // A temporary folder of this process's own: tests that look for files
    // left in it do not see those of tests running beside them.
    QTemporaryDir temporary;
    if (temporary.isValid())
        qputenv("TMPDIR", QFile::encodeName(temporary.path()));
    // The analysis cache of the program the tests start, never the user's.
    qputenv("XDG_CACHE_HOME", QFile::encodeName(temporary.path() + QStringLiteral("/cache")));
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
