// Entry point of every test executable: a headless QApplication around
// GoogleTest, so that scene, font and settings code behaves as in a host.
#include <QApplication>

#include <opencv2/core/utility.hpp>

#include <gtest/gtest.h>

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    // Under ThreadSanitizer the image library's own thread pool, which is not
    // instrumented, would hide its hand-overs; scripts/tsan.sh asks for the
    // library's loops to run on the calling thread, so that only the threads
    // of our own code are checked.
    if (!qEnvironmentVariableIsEmpty("AUTOCOUNT_TEST_SERIAL_OPENCV"))
        cv::setNumThreads(0);
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
