// The engine's separation worker: whatever mix of cuts, cancellations and
// image changes arrives, the newest request's result is never lost, its end
// is reported once, and it equals a fresh cut of the same image on the
// calling thread.

#include "separationworker.h"

#include <opencv2/imgproc.hpp>

#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <mutex>
#include <random>
#include <vector>

namespace {

/// A binary image of touching discs, different for each @p seed.
cv::Mat TouchingDiscs(unsigned seed)
{
    std::mt19937 random(seed);
    cv::Mat binary(96, 96, CV_8UC1, cv::Scalar(0));
    for (int i = 0; i < 6; ++i) {
        const cv::Point centre(14 + int(random() % 68), 14 + int(random() % 68));
        const int radius = 6 + int(random() % 7);
        cv::circle(binary, centre, radius, cv::Scalar(255), cv::FILLED);
        cv::circle(binary, centre + cv::Point(radius + 3, 0), radius, cv::Scalar(255), cv::FILLED);
    }
    return binary;
}

struct Ends
{
    std::mutex mutex;
    std::map<std::uint64_t, int> count; ///< ends reported per request
    std::uint64_t last = 0;
    cv::Mat result;
};

} // namespace

TEST(SeparationWorker, ThousandRandomRequestsEndWithTheNewestResultReportedOnce)
{
    Ends ends;
    SeparationWorker worker([&](std::uint64_t request, const cv::Mat& result) {
        std::lock_guard<std::mutex> lock(ends.mutex);
        ++ends.count[request];
        ends.last = request;
        ends.result = result.clone();
    });
    std::vector<cv::Mat> images;
    for (unsigned seed = 0; seed < 8; ++seed)
        images.push_back(TouchingDiscs(seed));

    std::mt19937 random(2024);
    std::uint64_t newest = 0;
    cv::Mat newestImage;
    SeparationWorker::Method newestMethod = SeparationWorker::Method::Distance;
    bool cancelledLast = false;
    for (int round = 0; round < 1000; ++round) {
        const int action = int(random() % 10);
        if (action < 7) { // a cut of one of the images, by either method
            newestImage = images[random() % images.size()];
            newestMethod = random() % 3 == 0 ? SeparationWorker::Method::AutoCut
                                             : SeparationWorker::Method::Distance;
            newest = worker.Start(newestImage, newestMethod);
            cancelledLast = false;
        } else if (action < 9) { // another mode: the cut is no longer wanted
            worker.Cancel();
            cancelledLast = true;
        } else { // the image changes under a running cut
            cv::bitwise_not(images[random() % images.size()], images[random() % images.size()]);
        }
        if (random() % 50 == 0)
            worker.Wait();
    }
    if (cancelledLast) {
        newestImage = images[0];
        newest = worker.Start(newestImage, newestMethod);
    }
    worker.Wait();

    std::lock_guard<std::mutex> lock(ends.mutex);
    EXPECT_EQ(ends.last, newest);
    for (const auto& end : ends.count)
        EXPECT_EQ(end.second, 1) << "request " << end.first;
    cv::Mat fresh;
    ASSERT_TRUE(
        SeparationWorker::Separate(newestImage, newestMethod, 1.0, nullptr, nullptr, fresh));
    ASSERT_EQ(ends.result.size(), fresh.size());
    EXPECT_EQ(cv::countNonZero(ends.result != fresh), 0);
}

TEST(SeparationWorker, ACancelledRequestReportsNothing)
{
    std::atomic<int> ends{0};
    SeparationWorker worker([&](std::uint64_t, const cv::Mat&) { ++ends; });
    worker.Start(TouchingDiscs(1), SeparationWorker::Method::Distance);
    worker.Cancel();
    worker.Wait();
    EXPECT_EQ(ends.load(), 0);
    worker.Start(TouchingDiscs(2), SeparationWorker::Method::Distance);
    worker.Wait();
    EXPECT_EQ(ends.load(), 1);
}
