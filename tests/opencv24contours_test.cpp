// Contour search that leaves the image's outer frame out of every object.

#include "autocount/alg/opencv24.h"
#include "support/testimages.h"

#include <opencv2/imgproc.hpp>

#include <gtest/gtest.h>

namespace {

TEST(FrameFreeContours, FullImageTracesInsideTheFrame)
{
    // A 5 x 5 all-object image: only the inner 3 x 3 block remains once the
    // frame is cleared; its outer boundary is traced from (1,1) downwards.
    ContourList contours;
    cv24::FindContours(testimages::Grey(5, 5, 255), contours, nullptr, cv::RETR_EXTERNAL,
                       cv::CHAIN_APPROX_NONE);
    ASSERT_EQ(contours.size(), 1u);
    EXPECT_EQ(contours[0],
              Contour({{1, 1}, {1, 2}, {1, 3}, {2, 3}, {3, 3}, {3, 2}, {3, 1}, {2, 1}}));
}

TEST(FrameFreeContours, SquaresAwayFromTheFrameTraceFromTheirTopLeftCornerDownwards)
{
    // The outline runs through the boundary pixels' centres: down the left
    // side, right along the bottom, up the right side, back along the top.
    ContourList contours;
    cv::Mat image = testimages::Grey(8, 8);
    image(cv::Rect(2, 2, 3, 3)).setTo(255);
    cv24::FindContours(image, contours, nullptr, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_NONE);
    ASSERT_EQ(contours.size(), 1u);
    EXPECT_EQ(contours[0],
              Contour({{2, 2}, {2, 3}, {2, 4}, {3, 4}, {4, 4}, {4, 3}, {4, 2}, {3, 2}}));

    // 6 x 6 block at x, y = 2..7: five steps along each side, 20 points; the
    // simple chain keeps only the four corners.
    image = testimages::Grey(10, 10);
    image(cv::Rect(2, 2, 6, 6)).setTo(255);
    cv24::FindContours(image, contours, nullptr, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_NONE);
    ASSERT_EQ(contours.size(), 1u);
    EXPECT_EQ(contours[0], Contour({{2, 2}, {2, 3}, {2, 4}, {2, 5}, {2, 6}, {2, 7}, {3, 7},
                                    {4, 7}, {5, 7}, {6, 7}, {7, 7}, {7, 6}, {7, 5}, {7, 4},
                                    {7, 3}, {7, 2}, {6, 2}, {5, 2}, {4, 2}, {3, 2}}));
    cv24::FindContours(image, contours, nullptr, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_SIMPLE);
    ASSERT_EQ(contours.size(), 1u);
    EXPECT_EQ(contours[0], Contour({{2, 2}, {2, 7}, {7, 7}, {7, 2}}));
}

TEST(FrameFreeContours, EmptyAndTinyImagesHaveNoContours)
{
    ContourList contours{Contour{{1, 1}}};
    std::vector<cv::Vec4i> hierarchy(1);
    cv24::FindContours(cv::Mat(), contours, &hierarchy, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_NONE);
    EXPECT_TRUE(contours.empty());
    EXPECT_TRUE(hierarchy.empty());

    // Every pixel of a 2 x 2 image is frame.
    cv24::FindContours(testimages::Grey(2, 2, 255), contours, &hierarchy, cv::RETR_LIST,
                       cv::CHAIN_APPROX_NONE);
    EXPECT_TRUE(contours.empty());
}

// The old tracer's rule spelled out: clear the frame of a copy, then trace.
void ClearedFrameContours(const cv::Mat& image, ContourList& contours,
                          std::vector<cv::Vec4i>& hierarchy, int mode, int method)
{
    cv::Mat work = image.clone();
    work.row(0).setTo(0);
    work.row(work.rows - 1).setTo(0);
    work.col(0).setTo(0);
    work.col(work.cols - 1).setTo(0);
    cv::findContours(work, contours, hierarchy, mode, method);
}

TEST(FrameFreeContours, SameAsTracingACopyWithAClearedFrame)
{
    cv::RNG rng(31);
    const int modes[] = {cv::RETR_EXTERNAL, cv::RETR_LIST, cv::RETR_CCOMP, cv::RETR_TREE};
    const int methods[] = {cv::CHAIN_APPROX_NONE, cv::CHAIN_APPROX_SIMPLE};
    for (int round = 0; round < 12; ++round) {
        // Blobs with holes and objects over the frame, on images of odd sizes,
        // some of them sub-images.
        const int rows = rng.uniform(3, 90), cols = rng.uniform(3, 120);
        cv::Mat big = testimages::Grey(rows + 4, cols + 6);
        cv::Mat image =
            round % 2 ? big(cv::Rect(3, 2, cols, rows)) : big(cv::Rect(0, 0, cols, rows));
        for (int k = 0; k < 25; ++k) {
            const cv::Point c(rng.uniform(-5, cols + 5), rng.uniform(-5, rows + 5));
            cv::circle(image, c, rng.uniform(1, 12), cv::Scalar(rng.uniform(1, 256)), cv::FILLED);
            cv::circle(image, c, rng.uniform(0, 4), cv::Scalar(0), cv::FILLED);
        }
        if (round == 5)
            image.setTo(255); // a full image: only the interior block is an object
        for (int mode : modes)
            for (int method : methods) {
                SCOPED_TRACE(testing::Message() << round << " " << mode << " " << method);
                ContourList expected, got;
                std::vector<cv::Vec4i> expectedLinks, gotLinks;
                ClearedFrameContours(image, expected, expectedLinks, mode, method);
                const cv::Mat before = image.clone();
                cv24::FindContours(image, got, &gotLinks, mode, method);
                EXPECT_EQ(got, expected);
                EXPECT_EQ(gotLinks, expectedLinks);
                EXPECT_TRUE(testimages::SameImage(image, before)); // input untouched
            }
    }
}

} // namespace
