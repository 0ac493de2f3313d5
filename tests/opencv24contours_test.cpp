// Contour search that leaves the image's outer frame out of every object.

#include "autocount/alg/opencv24.h"
#include "support/testimages.h"

#include <opencv2/imgproc.hpp>

#include <gtest/gtest.h>

namespace {

Contour Points(std::initializer_list<cv::Point> points)
{
    return Contour(points);
}

TEST(FrameFreeContours, FullImageTracesInsideTheFrame)
{
    // A 5 x 5 all-object image: only the inner 3 x 3 block remains once the
    // frame is cleared; its outer boundary is traced from (1,1) downwards.
    cv::Mat image = testimages::Grey(5, 5, 255);
    const cv::Mat before = image.clone();
    ContourList contours;
    cv24::FindContours(image, contours, nullptr, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_NONE);
    ASSERT_EQ(contours.size(), 1u);
    EXPECT_EQ(contours[0],
              Points({{1, 1}, {1, 2}, {1, 3}, {2, 3}, {3, 3}, {3, 2}, {3, 1}, {2, 1}}));
    EXPECT_TRUE(testimages::SameImage(image, before)); // the input stays as it was
}

TEST(FrameFreeContours, ObjectOnTheFrameIsIgnored)
{
    // 6 x 6: a bar on column 0 (rows 1-4) lies wholly on the frame and is not an
    // object; the 2 x 2 block at rows/columns 2-3 is.
    cv::Mat image = testimages::Grey(6, 6);
    image(cv::Rect(0, 1, 1, 4)).setTo(255);
    image(cv::Rect(2, 2, 2, 2)).setTo(255);
    ContourList contours;
    std::vector<cv::Vec4i> hierarchy;
    cv24::FindContours(image, contours, &hierarchy, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_NONE);
    ASSERT_EQ(contours.size(), 1u);
    EXPECT_EQ(contours[0], Points({{2, 2}, {2, 3}, {3, 3}, {3, 2}}));
    ASSERT_EQ(hierarchy.size(), 1u);
    EXPECT_EQ(hierarchy[0], cv::Vec4i(-1, -1, -1, -1));
}

TEST(FrameFreeContours, HoleIsAChildInTheTree)
{
    // A 7 x 7 ring (rows/columns 1-5, hole at 3,3) inside a 9 x 9 image gives
    // an outer boundary and, in the tree, one hole whose parent is that boundary.
    cv::Mat image = testimages::Grey(9, 9);
    image(cv::Rect(2, 2, 5, 5)).setTo(255);
    image.at<uchar>(4, 4) = 0;
    ContourList contours;
    std::vector<cv::Vec4i> hierarchy;
    cv24::FindContours(image, contours, &hierarchy, cv::RETR_TREE, cv::CHAIN_APPROX_SIMPLE);
    ASSERT_EQ(contours.size(), 2u);
    EXPECT_EQ(hierarchy[0][2], 1); // first child of the outer boundary
    EXPECT_EQ(hierarchy[1][3], 0); // parent of the hole
    EXPECT_EQ(contours[0], Points({{2, 2}, {2, 6}, {6, 6}, {6, 2}}));
}

TEST(FrameFreeContours, EmptyAndTinyImagesHaveNoContours)
{
    ContourList contours{Points({{1, 1}})};
    std::vector<cv::Vec4i> hierarchy{cv::Vec4i(1, 2, 3, 4)};
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
