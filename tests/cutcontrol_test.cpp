// Object separation through the controller: the automatic cut on its worker
// thread with host event 39, the merge mode, and the manual cut from a
// double click.

#include "autocount/workers/autocutmanager.h"

#include "support/testimages.h"
#include "support/zoomedview.h"

#include "autocount/alg/opencv24.h"

#include <opencv2/imgproc.hpp>

#include <QEventLoop>
#include <QMetaMethod>
#include <QThread>
#include <QTimer>

#include <gtest/gtest.h>

#include <atomic>

namespace {

using Manager = AutoCountManager;
using testimages::SameImage;

int Objects(const cv::Mat& binary)
{
    ContourList contours;
    cv24::FindContours(binary, contours, nullptr, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_NONE);
    return static_cast<int>(contours.size());
}

// Qt's warnings during one call, for the refused connection.
QStringList* capturedMessages = nullptr;
void CaptureMessage(QtMsgType, const QMessageLogContext&, const QString& message)
{
    if (capturedMessages)
        capturedMessages->append(message);
}

class CutControlTest : public ZoomedViewTest
{
protected:
    void SetUp() override
    {
        ZoomedViewTest::SetUp();
        observerId_ = HostEvents::AddObserver([this](int code, void*) {
            if (code != HOST_EVENT_AUTO_CUT_FINISHED)
                return;
            eventThread = QThread::currentThread();
            cutFinished = true;
            QMetaObject::invokeMethod(&loop, "quit", Qt::QueuedConnection);
        });
    }
    void TearDown() override
    {
        HostEvents::RemoveObserver(observerId_);
        ZoomedViewTest::TearDown();
    }

    // Runs the event loop until event 39 arrives (or a generous time-out).
    bool WaitForCut()
    {
        if (!cutFinished) {
            QTimer::singleShot(60000, &loop, &QEventLoop::quit);
            loop.exec();
        }
        return cutFinished;
    }

    QEventLoop loop;
    std::atomic<bool> cutFinished{false};
    QThread* eventThread = nullptr;

private:
    int observerId_ = -1;
};

// Six discs: two alone, two overlapping pairs.
cv::Mat TouchingDiscs()
{
    cv::Mat binary = testimages::Grey(120, 200, 0);
    testimages::Disc(binary, {25, 25}, 14);
    testimages::Disc(binary, {170, 90}, 12);
    testimages::Disc(binary, {70, 40}, 15);
    testimages::Disc(binary, {94, 44}, 15);
    testimages::Disc(binary, {60, 92}, 14);
    testimages::Disc(binary, {82, 80}, 13);
    return binary;
}

TEST(AutoCutManagerTest, MetaObjectHasTheSignalThenTheSlot)
{
    const QMetaObject& meta = AutoCutManager::staticMetaObject;
    const int offset = meta.methodOffset();
    ASSERT_EQ(meta.methodCount() - offset, 2);
    EXPECT_EQ(meta.method(offset).methodSignature(), QByteArray("signalAutoCutFinished()"));
    EXPECT_EQ(meta.method(offset).methodType(), QMetaMethod::Signal);
    EXPECT_EQ(meta.method(offset + 1).methodSignature(), QByteArray("slotAutoCut()"));
    EXPECT_EQ(meta.method(offset + 1).methodType(), QMetaMethod::Slot);
    EXPECT_EQ(meta.propertyCount() - meta.propertyOffset(), 0);
}

TEST(AutoCutManagerTest, SetImageSharesTheBuffer)
{
    AutoCutManager worker;
    EXPECT_TRUE(worker.GetImage().empty());
    cv::Mat image = testimages::Grey(4, 4, 255);
    worker.SetImage(image);
    EXPECT_EQ(worker.GetImage().data, image.data);
}

TEST_F(CutControlTest, AutomaticCutSeparatesTouchingDiscsThroughTheWorker)
{
    const cv::Mat binary = TouchingDiscs();
    ASSERT_EQ(Objects(binary), 4);
    const cv::Mat original = binary.clone();
    manager->SetAutoCountStep(Manager::STEP_SEPARATE);
    manager->SetBinaryImage(binary);

    QStringList messages;
    capturedMessages = &messages;
    const QtMessageHandler previous = qInstallMessageHandler(CaptureMessage);
    manager->SetObjectCutMode(Manager::CUT_AUTO);
    qInstallMessageHandler(previous);
    capturedMessages = nullptr;

    EXPECT_EQ(Manager::objectCutMode, Manager::CUT_AUTO);
    ASSERT_NE(Manager::autoCountThread, nullptr);
    ASSERT_NE(Manager::autoCutManager, nullptr);
    EXPECT_EQ(Manager::autoCutManager->thread(), Manager::autoCountThread);
    // The controller declares no slots: Qt refuses the finished-signal link.
    EXPECT_EQ(messages.filter("slotAutoCutFinished").size(), 1)
        << messages.join('\n').toStdString();

    ASSERT_TRUE(WaitForCut());
    EXPECT_EQ(eventThread, Manager::autoCountThread); // broadcast by the worker
    // Until the host takes the result, the binary image is the uncut one.
    EXPECT_EQ(manager->GetBinaryImage().data, binary.data);
    EXPECT_TRUE(SameImage(manager->GetBinaryImage(), original));
    const int shownBefore = canvas.ShowCount();

    manager->slotAutoCutFinished();
    const cv::Mat result = manager->GetBinaryImage();
    EXPECT_EQ(result.data, Manager::autoCutManager->GetImage().data);
    EXPECT_NE(result.data, binary.data);
    EXPECT_EQ(Objects(result), 6);
    EXPECT_EQ(canvas.ShowCount(), shownBefore + 1);
    EXPECT_TRUE(canvas.LastShownInverted());
    EXPECT_EQ(canvas.LastShown().data, result.data);
    EXPECT_EQ(events->Count(HOST_EVENT_AUTO_CUT_FINISHED), 1);
}

TEST_F(CutControlTest, ManualAndNoActionModesOnlyClearTheCutLines)
{
    manager->SetAutoCountStep(Manager::STEP_SEPARATE);
    Manager::objectCutMode = Manager::CUT_MANUAL;
    const cv::Mat binary = testimages::Grey(60, 80, 255);
    manager->SetBinaryImage(binary);
    for (int mode : {Manager::CUT_MANUAL, Manager::CUT_NONE}) {
        Press({20, 10});
        Move({40, 10}, Qt::LeftButton);
        Release({40, 10});
        ASSERT_FALSE(manager->GetLineItems().isEmpty());
        manager->SetObjectCutMode(mode);
        EXPECT_EQ(Manager::objectCutMode, mode);
        EXPECT_TRUE(manager->GetLineItems().isEmpty());
        EXPECT_TRUE(scene->items().isEmpty());
        Manager::objectCutMode = Manager::CUT_MANUAL;
    }
    EXPECT_EQ(manager->GetBinaryImage().data, binary.data);
    EXPECT_EQ(cv::countNonZero(binary), 60 * 80);
    EXPECT_EQ(canvas.ShowCount(), 0);
}

TEST_F(CutControlTest, MergeModeClosesTwoPixelGapsAndShowsTheImage)
{
    cv::Mat binary = testimages::Grey(20, 40, 0);
    binary(cv::Rect(2, 2, 10, 6)).setTo(255);
    binary(cv::Rect(14, 2, 10, 6)).setTo(255);
    manager->SetBinaryImage(binary);
    manager->SetObjectCutMode(Manager::CUT_MERGE);
    EXPECT_EQ(Manager::objectCutMode, Manager::CUT_MERGE);
    cv::Mat expected = testimages::Grey(20, 40, 0);
    expected(cv::Rect(2, 2, 22, 6)).setTo(255);
    EXPECT_TRUE(SameImage(manager->GetBinaryImage(), expected));
    EXPECT_EQ(canvas.ShowCount(), 1);
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
