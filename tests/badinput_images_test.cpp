// Images the module's functions may be handed by a host: empty ones, and
// 16-bit, float, two- and four-channel ones where a function accepts them.
// Each answer is the documented result code; outputs stay untouched on a
// non-zero code. Where a function's contract ends, the image library's error
// reaches the caller uncaught, and the tests pin that too.

#include "autocount/alg/alg.h"

#include "support/testimages.h"

#include <opencv2/imgproc.hpp>

#include <gtest/gtest.h>

namespace {

// A header that a failing function must leave alone.
cv::Mat Untouched()
{
    return cv::Mat(1, 1, CV_8UC1, cv::Scalar(42));
}

::testing::AssertionResult StillUntouched(const cv::Mat& m, const cv::Mat& before)
{
    if (m.data == before.data && m.size() == before.size() && m.type() == before.type())
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "output was replaced";
}

// The empty images a host can produce: a default matrix and a 0 × 0 one.
std::vector<cv::Mat> Empties()
{
    return {cv::Mat(), cv::Mat(0, 0, CV_8UC1), cv::Mat(0, 5, CV_8UC3)};
}

const std::vector<cv::Point> kTriangle{{1, 1}, {6, 1}, {1, 6}};

TEST(BadInputEmptyImage, GetRoiReturns1)
{
    for (const cv::Mat& empty : Empties()) {
        cv::Mat dst = Untouched(), before = dst;
        EXPECT_EQ(AlgGetROI(empty, kTriangle, dst), 1);
        EXPECT_TRUE(StillUntouched(dst, before));
    }
}

TEST(BadInputEmptyImage, HsiReturnsMinus1)
{
    for (const cv::Mat& empty : Empties()) {
        cv::Mat h = Untouched(), s, i, before = h;
        EXPECT_EQ(AlgRGB2HSI(empty, h, s, i), -1);
        EXPECT_TRUE(StillUntouched(h, before));
        EXPECT_TRUE(s.empty() && i.empty());
    }
}

TEST(BadInputEmptyImage, OtsuReturns1AndKeepsTheThreshold)
{
    for (const cv::Mat& empty : Empties()) {
        int threshold = 77;
        EXPECT_EQ(AlgOtsu(empty, threshold), 1);
        EXPECT_EQ(threshold, 77);
    }
}

TEST(BadInputEmptyImage, BinarisationsReturnMinus1)
{
    for (const cv::Mat& empty : Empties()) {
        cv::Mat dst = Untouched(), before = dst;
        int threshold = 5;
        EXPECT_EQ(AlgAuto2Bw(empty, cv::Mat(), ALG_BRIGHT_OBJECTS, dst, threshold), -1);
        EXPECT_EQ(AlgManual2Bw(empty, cv::Mat(), 0, 255, ALG_SPACE_PLANES, ALG_PLANE_0, dst), -1);
        EXPECT_TRUE(StillUntouched(dst, before));
        EXPECT_EQ(threshold, 5);
    }
}

TEST(BadInputEmptyImage, RefinementReportsEmptyInput)
{
    for (const cv::Mat& empty : Empties()) {
        cv::Mat dst = Untouched(), before = dst;
        EXPECT_EQ(AlgMorphology(empty, ALG_MORPH_DILATE, dst), -1);
        EXPECT_EQ(AlgFillHole(empty, dst), 1);
        EXPECT_TRUE(StillUntouched(dst, before));
    }
}

TEST(BadInputEmptyImage, CutsReturn1)
{
    for (const cv::Mat& empty : Empties()) {
        cv::Mat dst = Untouched(), before = dst;
        EXPECT_EQ(AlgAutoCut(empty, dst), 1);
        EXPECT_EQ(AlgAutoCutROI(empty, dst), 1);
        EXPECT_EQ(AlgManulCut(empty, {{0, 0}, {3, 3}}, dst), 1);
        EXPECT_EQ(AlgMerge(empty, dst), 1);
        EXPECT_TRUE(StillUntouched(dst, before));
    }
}

TEST(BadInputEmptyImage, MeasurementReturns1AndAppendsNothing)
{
    cv::Mat binary = testimages::Grey(20, 20);
    testimages::Disc(binary, {10, 10}, 4);
    for (const cv::Mat& empty : Empties()) {
        ContourList contours{{{1, 1}}};
        std::vector<parResult> results(1);
        EXPECT_EQ(AlgCalResult(empty, binary, contours, results), 1);
        EXPECT_EQ(AlgCalResult(testimages::Grey(20, 20, 9), empty, contours, results), 1);
        EXPECT_EQ(contours.size(), 1u);
        EXPECT_EQ(results.size(), 1u);
    }
}

TEST(BadInputEmptyImage, DrawResultReturns1)
{
    for (const cv::Mat& empty : Empties()) {
        cv::Mat dst = Untouched(), before = dst;
        EXPECT_EQ(AlgDrawResult(empty, {kTriangle}, ALG_DRAW_OUTLINE, 255, 0, 0, dst), 1);
        EXPECT_TRUE(StillUntouched(dst, before));
    }
}

// A mask of any depth and channel count: the source's type, filled with the
// colour (255, 255, 255, 0) inside the polygon, so a fourth channel stays 0.
TEST(BadInputOtherFormats, GetRoiMakesAMaskOfTheSourcesType)
{
    for (const int type : {CV_16UC1, CV_32FC1, CV_8UC2, CV_8UC4, CV_64FC3}) {
        SCOPED_TRACE(type);
        cv::Mat dst;
        ASSERT_EQ(AlgGetROI(cv::Mat(8, 8, type, cv::Scalar::all(3)), kTriangle, dst), 0);
        ASSERT_EQ(dst.type(), type);
        cv::Mat channels[4];
        cv::split(dst, channels);
        for (int c = 0; c < dst.channels(); ++c) {
            const double inside = c < 3 ? 255.0 : 0.0;
            cv::Mat as64;
            channels[c].convertTo(as64, CV_64F);
            EXPECT_EQ(as64.at<double>(0, 0), 0.0);
            EXPECT_EQ(as64.at<double>(1, 1), inside);
            EXPECT_EQ(as64.at<double>(2, 3), inside);
            EXPECT_EQ(as64.at<double>(6, 6), 0.0);
        }
    }
}

TEST(BadInputOtherFormats, HsiChecksOnlyTheChannelCount)
{
    cv::Mat h, s, i;
    EXPECT_EQ(AlgRGB2HSI(cv::Mat(4, 4, CV_8UC2), h, s, i), 2);
    EXPECT_EQ(AlgRGB2HSI(cv::Mat(4, 4, CV_8UC4), h, s, i), 2);
    EXPECT_EQ(AlgRGB2HSI(cv::Mat(4, 4, CV_32FC1), h, s, i), 2);
    EXPECT_TRUE(h.empty() && s.empty() && i.empty());
    // A 16-bit three-channel image is read as bytes: status 0, 8-bit planes.
    ASSERT_EQ(AlgRGB2HSI(cv::Mat(4, 4, CV_16UC3, cv::Scalar::all(0)), h, s, i), 0);
    EXPECT_EQ(h.type(), CV_8UC1);
    EXPECT_EQ(h.size(), cv::Size(4, 4));
    EXPECT_EQ(cv::countNonZero(i), 0); // black bytes
}

// Otsu reads rows × columns bytes; a two-channel image's first bytes are
// its pixels' planes taken in turn.
TEST(BadInputOtherFormats, OtsuReadsTwoChannelImagesAsBytes)
{
    const cv::Mat twoLevels(4, 8, CV_8UC2, cv::Scalar(10, 200));
    int threshold = -1;
    ASSERT_EQ(AlgOtsu(twoLevels, threshold), 0);
    EXPECT_EQ(threshold, 10); // the first t of the tied maximum
}

TEST(BadInputOtherFormats, AutoBinarisationOfAFourChannelImageWorksOnEveryChannel)
{
    const cv::Mat pixels(3, 4, CV_8UC4, cv::Scalar(10, 200, 10, 200));
    cv::Mat dst;
    int threshold = -1;
    ASSERT_EQ(AlgAuto2Bw(pixels, cv::Mat(), ALG_BRIGHT_OBJECTS, dst, threshold), 0);
    EXPECT_EQ(threshold, 10);
    ASSERT_EQ(dst.type(), CV_8UC4);
    EXPECT_EQ(dst.at<cv::Vec4b>(2, 3), cv::Vec4b(0, 255, 0, 255));
}

TEST(BadInputOtherFormats, ManualBinarisationIgnoresTheCodesOfNonColourImages)
{
    for (const int type : {CV_8UC2, CV_8UC4, CV_16UC1}) {
        SCOPED_TRACE(type);
        cv::Mat dst;
        // Codes that a colour image would refuse with 1.
        EXPECT_EQ(
            AlgManual2Bw(cv::Mat(5, 6, type, cv::Scalar::all(0)), cv::Mat(), 0, 10, 99, 99, dst),
            0);
        EXPECT_EQ(dst.size(), cv::Size(6, 5));
        EXPECT_EQ(dst.type(), type);
    }
}

TEST(BadInputOtherFormats, MorphologyWorksOnSixteenBitAndFloatImages)
{
    for (const int type : {CV_16UC1, CV_32FC1}) {
        SCOPED_TRACE(type);
        cv::Mat one(9, 9, CV_64F, cv::Scalar(0));
        one.at<double>(4, 4) = 1000.0;
        cv::Mat image;
        one.convertTo(image, type);
        cv::Mat dst;
        ASSERT_EQ(AlgMorphology(image, ALG_MORPH_DILATE, dst), 0);
        ASSERT_EQ(dst.type(), type);
        cv::Mat result;
        dst.convertTo(result, CV_64F);
        // One pixel grows into a 5 × 5 square of its value.
        EXPECT_EQ(cv::countNonZero(result), 25);
        EXPECT_EQ(result.at<double>(2, 2), 1000.0);
        EXPECT_EQ(result.at<double>(6, 6), 1000.0);
    }
}

TEST(BadInputOtherFormats, DrawResultOnAFourChannelImageRaisesTheLibraryError)
{
    // Only grey and colour pictures are converted; the library refuses the
    // grey-to-colour conversion of four channels, and nothing catches it.
    cv::Mat dst;
    EXPECT_THROW(AlgDrawResult(cv::Mat(8, 8, CV_8UC4), {kTriangle}, ALG_DRAW_FILLED, 0, 0, 0, dst),
                 cv::Exception);
}

TEST(BadInputOtherFormats, MeasurementOnASixteenBitGreyImageRaisesAnErrorBeforeAppending)
{
    cv::Mat binary = testimages::Grey(20, 20);
    testimages::Disc(binary, {10, 10}, 4);
    ContourList contours;
    std::vector<parResult> results;
    EXPECT_THROW(AlgCalResult(cv::Mat(20, 20, CV_16UC1, cv::Scalar(7)), binary, contours, results),
                 cv::Exception);
    EXPECT_TRUE(contours.empty());
    EXPECT_TRUE(results.empty());
}

TEST(BadInputOtherFormats, MeasurementOnAGreyImageSmallerThanTheMaskRaisesAnError)
{
    cv::Mat binary = testimages::Grey(20, 20);
    testimages::Disc(binary, {14, 14}, 4);
    ContourList contours;
    std::vector<parResult> results;
    EXPECT_THROW(AlgCalResult(testimages::Grey(10, 10, 5), binary, contours, results),
                 cv::Exception);
    EXPECT_TRUE(contours.empty());
}

} // namespace
