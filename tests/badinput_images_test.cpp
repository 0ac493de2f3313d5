// Images a host may hand the module: empty ones, and 16-bit, float, two- and
// four-channel ones.

#include "autocount/alg/alg.h"

#include "support/testimages.h"

#include <gtest/gtest.h>

namespace {

const std::vector<cv::Point> kTriangle{{1, 1}, {6, 1}, {1, 6}};

// Every function on every kind of empty image: its code, and no output touched.
TEST(BadInputEmptyImage, EveryFunctionReturnsItsCodeAndLeavesTheOutputs)
{
    cv::Mat binary = testimages::Grey(20, 20);
    testimages::Disc(binary, {10, 10}, 4);
    for (const cv::Mat& e : {cv::Mat(), cv::Mat(0, 0, CV_8UC1), cv::Mat(0, 5, CV_8UC3)}) {
        SCOPED_TRACE(e.cols);
        cv::Mat dst(1, 1, CV_8UC1, cv::Scalar(42)), s, i;
        const cv::Mat before = dst;
        int t = 77;
        ContourList c{{{1, 1}}};
        std::vector<parResult> r(1);
        const std::vector<int> codes{
            AlgGetROI(e, kTriangle, dst),
            AlgRGB2HSI(e, dst, s, i),
            AlgOtsu(e, t),
            AlgAuto2Bw(e, cv::Mat(), ALG_BRIGHT_OBJECTS, dst, t),
            AlgManual2Bw(e, cv::Mat(), 0, 255, ALG_SPACE_PLANES, ALG_PLANE_0, dst),
            AlgMorphology(e, ALG_MORPH_DILATE, dst),
            AlgFillHole(e, dst),
            AlgAutoCut(e, dst),
            AlgAutoCutROI(e, dst),
            AlgManulCut(e, {{0, 0}, {3, 3}}, dst),
            AlgMerge(e, dst),
            AlgDrawResult(e, {kTriangle}, ALG_DRAW_OUTLINE, 255, 0, 0, dst),
            AlgCalResult(e, binary, c, r),
            AlgCalResult(testimages::Grey(20, 20, 9), e, c, r)};
        EXPECT_EQ(codes, (std::vector<int>{1, -1, 1, -1, -1, -1, 1, 1, 1, 1, 1, 1, 1, 1}));
        EXPECT_TRUE(dst.data == before.data && dst.size() == before.size() && s.empty() &&
                    i.empty() && t == 77 && c.size() + r.size() == 2u);
    }
}

// The mask has the source's type, filled with (255, 255, 255, 0) inside.
TEST(BadInputOtherFormats, GetRoiMakesAMaskOfTheSourcesType)
{
    for (const int type : {CV_16UC1, CV_32FC1, CV_8UC2, CV_8UC4, CV_64FC3}) {
        SCOPED_TRACE(type);
        cv::Mat dst, as64;
        ASSERT_EQ(AlgGetROI(cv::Mat(8, 8, type, cv::Scalar::all(3)), kTriangle, dst), 0);
        ASSERT_EQ(dst.type(), type);
        dst.convertTo(as64, CV_64F);
        for (int c = 0; c < dst.channels(); ++c) {
            const double inside = c < 3 ? 255.0 : 0.0;
            EXPECT_EQ(as64.ptr<double>(0, 0)[c], 0.0);
            EXPECT_EQ(as64.ptr<double>(2, 3)[c], inside);
            EXPECT_EQ(as64.ptr<double>(6, 6)[c], 0.0);
        }
    }
}

// Two- and four-channel images are read as bytes, planes taken in turn.
TEST(BadInputOtherFormats, BinarisationsReadMultiChannelImagesAsBytes)
{
    int threshold = -1;
    ASSERT_EQ(AlgOtsu(cv::Mat(4, 8, CV_8UC2, cv::Scalar(10, 200)), threshold), 0);
    EXPECT_EQ(threshold, 10); // the first t of the tied maximum
    cv::Mat dst;
    ASSERT_EQ(AlgAuto2Bw(cv::Mat(3, 4, CV_8UC4, cv::Scalar(10, 200, 10, 200)), cv::Mat(),
                         ALG_BRIGHT_OBJECTS, dst, threshold),
              0);
    EXPECT_EQ(dst.at<cv::Vec4b>(2, 3), cv::Vec4b(0, 255, 0, 255));
}

// Outside a contract: a refusal code, or the library's error uncaught.
TEST(BadInputOtherFormats, OutsideTheContractsACodeOrTheLibraryErrorReachesTheCaller)
{
    cv::Mat dst, s, i, binary = testimages::Grey(20, 20);
    for (const int type : {CV_8UC2, CV_8UC4, CV_32FC1})
        EXPECT_EQ(AlgRGB2HSI(cv::Mat(4, 4, type), dst, s, i), 2);
    EXPECT_TRUE(dst.empty() && s.empty() && i.empty());
    testimages::Disc(binary, {14, 14}, 4);
    EXPECT_THROW(AlgDrawResult(cv::Mat(8, 8, CV_8UC4), {kTriangle}, ALG_DRAW_FILLED, 0, 0, 0, dst),
                 cv::Exception);
    ContourList contours;
    std::vector<parResult> results;
    EXPECT_THROW(AlgCalResult(cv::Mat(20, 20, CV_16UC1, cv::Scalar(7)), binary, contours, results),
                 cv::Exception);
    EXPECT_THROW(AlgCalResult(testimages::Grey(10, 10, 5), binary, contours, results),
                 cv::Exception);
    EXPECT_TRUE(contours.empty() && results.empty()); // raised before appending
}

} // namespace
