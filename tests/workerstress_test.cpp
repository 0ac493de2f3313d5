// The automatic-cut worker thread under load: no crash, no hang (every wait
// is bounded), and the result is the image before the cut or a complete cut.

#include "support/controllerfixture.h"
#include "support/testimages.h"

#include "autocount/alg/alg.h"
#include "autocount/workers/autocutmanager.h"

#include <QElapsedTimer>
#include <QThread>

namespace {

using Manager = AutoCountManager;

// Touching discs of varied size and number on an image of varied size.
cv::Mat VariedDiscs(cv::RNG& rng, int maxSide, int maxDiscs)
{
    const int rows = rng.uniform(20, maxSide), cols = rng.uniform(20, maxSide);
    cv::Mat binary = testimages::Grey(rows, cols);
    for (int k = rng.uniform(0, maxDiscs); k > 0; --k) {
        const cv::Point centre(rng.uniform(0, cols), rng.uniform(0, rows));
        testimages::Disc(binary, centre, rng.uniform(2, std::max(3, std::min(rows, cols) / 4)));
    }
    return binary;
}

class WorkerStress : public ControllerTest
{
protected:
    void SetUp() override
    {
        ControllerTest::SetUp();
        manager->SetAutoCountStep(Manager::STEP_SEPARATE);
    }
    void TearDown() override
    {
        FinishWorker();
        ControllerTest::TearDown();
    }
    int Finished() const { return events->Count(HOST_EVENT_AUTO_CUT_FINISHED); }
    // Ends the idle worker thread, as a host must before the next cut.
    static bool FinishWorker()
    {
        QThread* thread = Manager::autoCountThread;
        return !thread || (thread->quit(), thread->wait(60000));
    }
    // Starts an automatic cut of @p binary; returns the event count before it.
    int StartCut(const cv::Mat& binary)
    {
        EXPECT_TRUE(FinishWorker());
        manager->SetBinaryImage(binary);
        const int before = Finished();
        manager->SetObjectCutMode(Manager::CUT_AUTO);
        return before;
    }
    bool WaitForEvent(int count)
    {
        QElapsedTimer timer;
        for (timer.start(); Finished() <= count && timer.elapsed() < 60000;)
            QThread::msleep(1);
        return Finished() > count;
    }
};

TEST_F(WorkerStress, TwoHundredAutomaticCutsInARowEachGiveTheCompleteResult)
{
    cv::RNG rng(39);
    for (int round = 0; round < 200; ++round) {
        SCOPED_TRACE(round);
        const cv::Mat binary = VariedDiscs(rng, 160, 12);
        cv::Mat expected;
        ASSERT_EQ(AlgAutoCut(binary, expected), 0);
        ASSERT_TRUE(WaitForEvent(StartCut(binary)));
        manager->slotAutoCutFinished();
        ASSERT_TRUE(testimages::SameImage(manager->GetBinaryImage(), expected));
    }
}

// Another cut, the manual mode or no action while a cut runs: the worker never
// touches the binary image, and the host then takes the old image or the result.
TEST_F(WorkerStress, ModeChangesDuringRunningCutsLeaveTheOldImageOrACompleteResult)
{
    cv::RNG rng(17);
    int duringCut = 0;
    for (int round = 0; round < 100; ++round) {
        SCOPED_TRACE(round);
        // Large enough that the cut is usually still running when the mode changes.
        const cv::Mat binary = VariedDiscs(rng, 1200, 400), original = binary.clone();
        cv::Mat expected;
        ASSERT_EQ(AlgAutoCut(binary, expected), 0);
        const int before = StartCut(binary);
        QThread::usleep(rng.uniform(0, 20000));
        duringCut += Finished() == before;
        static const int modes[] = {Manager::CUT_AUTO, Manager::CUT_MANUAL, Manager::CUT_NONE};
        manager->SetObjectCutMode(modes[round % 3]);
        ASSERT_EQ(manager->GetBinaryImage().data, binary.data);
        ASSERT_TRUE(testimages::SameImage(binary, original));
        ASSERT_TRUE(FinishWorker()) << "the worker thread did not end";
        manager->slotAutoCutFinished();
        const cv::Mat now = manager->GetBinaryImage();
        ASSERT_TRUE(testimages::SameImage(now, original) || testimages::SameImage(now, expected));
    }
    EXPECT_GT(duringCut, 25) << "the cuts ended too soon to be interrupted";
}

} // namespace
