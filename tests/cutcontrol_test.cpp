// Object separation through the controller: the automatic cut on its worker
// thread with host event 39, the merge mode, and the manual cut from a
// double click.

#include "autocount/workers/autocutmanager.h"

#include "support/testimages.h"
#include "support/zoomedview.h"

#include "autocount/alg/opencv24.h"

#include <opencv2/imgproc.hpp>

#include <QEventLoop>
#include <QThread>
#include <QTimer>

#include <gtest/gtest.h>

#include <atomic>
#include <memory>

namespace {

using Manager = AutoCountManager;
using testimages::SameImage;

int Objects(const cv::Mat& binary)
{
    ContourList contours;
    cv24::FindContours(binary, contours, nullptr, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_NONE);
    return static_cast<int>(contours.size());
}

using CutControlTest = ZoomedViewTest;

TEST_F(CutControlTest, AutomaticCutSeparatesTouchingDiscsThroughTheWorker)
{
    // Six discs: two alone, two overlapping pairs.
    cv::Mat binary = testimages::Grey(120, 200, 0);
    testimages::Disc(binary, {25, 25}, 14);
    testimages::Disc(binary, {170, 90}, 12);
    testimages::Disc(binary, {70, 40}, 15);
    testimages::Disc(binary, {94, 44}, 15);
    testimages::Disc(binary, {60, 92}, 14);
    testimages::Disc(binary, {82, 80}, 13);
    ASSERT_EQ(Objects(binary), 4);
    manager->SetAutoCountStep(Manager::STEP_SEPARATE);
    manager->SetBinaryImage(binary);

    QEventLoop loop;
    std::atomic<bool> cutFinished{false};
    QThread* eventThread = nullptr;
    const int observer = HostEvents::AddObserver([&](int code, void*) {
        if (code != HOST_EVENT_AUTO_CUT_FINISHED)
            return;
        eventThread = QThread::currentThread();
        cutFinished = true;
        QMetaObject::invokeMethod(&loop, "quit", Qt::QueuedConnection);
    });
    const std::shared_ptr<void> removeObserver(
        nullptr, [&](void*) { HostEvents::RemoveObserver(observer); });
    manager->SetObjectCutMode(Manager::CUT_AUTO);

    ASSERT_NE(Manager::autoCutManager, nullptr);
    EXPECT_EQ(Manager::autoCutManager->thread(), Manager::autoCountThread);

    if (!cutFinished) {
        QTimer::singleShot(60000, &loop, &QEventLoop::quit);
        loop.exec();
    }
    ASSERT_TRUE(cutFinished);
    EXPECT_EQ(eventThread, Manager::autoCountThread); // broadcast by the worker
    // Until the host takes the result, the binary image is the uncut one.
    EXPECT_EQ(manager->GetBinaryImage().data, binary.data);

    manager->slotAutoCutFinished();
    const cv::Mat result = manager->GetBinaryImage();
    EXPECT_EQ(result.data, Manager::autoCutManager->GetImage().data);
    EXPECT_EQ(Objects(result), 6);
    EXPECT_TRUE(canvas.LastShownInverted());
    EXPECT_EQ(canvas.LastShown().data, result.data);
    EXPECT_EQ(events->Count(HOST_EVENT_AUTO_CUT_FINISHED), 1);
}

TEST_F(CutControlTest, ManualAndNoActionOnlyClearTheCutLinesMergeClosesTwoPixelGaps)
{
    cv::Mat binary = testimages::Grey(20, 40, 0);
    binary(cv::Rect(2, 2, 10, 6)).setTo(255);
    binary(cv::Rect(14, 2, 10, 6)).setTo(255);
    manager->SetAutoCountStep(Manager::STEP_SEPARATE);
    manager->SetBinaryImage(binary);
    for (int mode : {Manager::CUT_MANUAL, Manager::CUT_NONE}) {
        Manager::objectCutMode = Manager::CUT_MANUAL;
        Press({20, 10});
        Move({40, 10}, Qt::LeftButton);
        Release({40, 10});
        ASSERT_FALSE(manager->GetLineItems().isEmpty());
        manager->SetObjectCutMode(mode);
        EXPECT_TRUE(scene->items().isEmpty());
    }
    EXPECT_EQ(cv::countNonZero(manager->GetBinaryImage()), 2 * 10 * 6);
    EXPECT_EQ(canvas.ShowCount(), 0);

    manager->SetObjectCutMode(Manager::CUT_MERGE);
    cv::Mat expected = testimages::Grey(20, 40, 0);
    expected(cv::Rect(2, 2, 22, 6)).setTo(255);
    EXPECT_TRUE(SameImage(manager->GetBinaryImage(), expected));
    EXPECT_TRUE(canvas.LastShownInverted());
    EXPECT_EQ(canvas.LastShown().data, manager->GetBinaryImage().data);
}

TEST_F(CutControlTest, DoubleClickCutsTheBinaryImageAlongTheLine)
{
    // View (20, 10) is scene (30, 15); view (20, 90) is scene (30, 55).
    cv::Mat binary = testimages::Grey(80, 100, 0);
    binary(cv::Rect(10, 20, 60, 30)).setTo(255);
    manager->SetAutoCountStep(Manager::STEP_SEPARATE);
    manager->SetBinaryImage(binary);
    manager->SetObjectCutMode(Manager::CUT_MANUAL);
    Click({20, 10});
    DoubleClick({20, 90});
    const cv::Mat cut = manager->GetBinaryImage();
    EXPECT_EQ(Objects(cut), 2);
    for (int y = 20; y < 50; ++y)
        EXPECT_EQ(cut.at<uchar>(y, 30), 0) << "row " << y;
    EXPECT_EQ(canvas.LastShown().data, cut.data);
}

} // namespace
