// Morphology with the 5 × 5 rectangle and hole filling, on their own and
// through the controller.

#include "support/controllerfixture.h"
#include "support/testimages.h"

#include "autocount/alg/alg.h"

#include <opencv2/imgproc.hpp>

#include <gtest/gtest.h>

namespace {

using testimages::Grey;
using testimages::SameImage;

// rows × cols image with the object rectangle (x, y, w, h) set to 255.
cv::Mat WithBlock(int rows, int cols, cv::Rect block)
{
    cv::Mat image = Grey(rows, cols);
    image(block).setTo(255);
    return image;
}

// One-pixel-wide square outline with corners (lo, lo) and (hi, hi).
cv::Mat SquareRing(int size, int lo, int hi)
{
    cv::Mat image = Grey(size, size);
    cv::rectangle(image, cv::Point(lo, lo), cv::Point(hi, hi), cv::Scalar(255), 1);
    return image;
}

// Two 5 × 7 blocks two columns apart, at least three pixels from every edge
// so that a 5 × 5 closing does not reach the edge.
cv::Mat BlockPair()
{
    cv::Mat pair = WithBlock(13, 20, cv::Rect(3, 3, 5, 7));
    pair(cv::Rect(10, 3, 5, 7)).setTo(255);
    return pair;
}

// ---------------------------------------------------------------- morphology

TEST(AlgMorphology, DilationGrowsOnePixelIntoAFiveByFiveSquare)
{
    cv::Mat image = Grey(11, 11);
    image.at<uchar>(5, 5) = 255;
    cv::Mat out;
    ASSERT_EQ(AlgMorphology(image, ALG_MORPH_DILATE, out), 0);
    EXPECT_TRUE(SameImage(out, WithBlock(11, 11, cv::Rect(3, 3, 5, 5))));
}

TEST(AlgMorphology, ErosionRemovesAFourByFourSquareAndShrinksFiveByFiveToItsCentre)
{
    cv::Mat out;
    ASSERT_EQ(AlgMorphology(WithBlock(12, 12, cv::Rect(4, 4, 4, 4)), ALG_MORPH_ERODE, out), 0);
    EXPECT_EQ(cv::countNonZero(out), 0);

    ASSERT_EQ(AlgMorphology(WithBlock(12, 12, cv::Rect(4, 4, 5, 5)), ALG_MORPH_ERODE, out), 0);
    cv::Mat centre = Grey(12, 12);
    centre.at<uchar>(6, 6) = 255;
    EXPECT_TRUE(SameImage(out, centre));
}

TEST(AlgMorphology, ImageEdgeNeitherErodesNorGrows)
{
    // A strip along the left edge, full height: erosion eats two columns from
    // its right side only; top, bottom and left stay.
    cv::Mat out;
    ASSERT_EQ(AlgMorphology(WithBlock(10, 10, cv::Rect(0, 0, 5, 10)), ALG_MORPH_ERODE, out), 0);
    EXPECT_TRUE(SameImage(out, WithBlock(10, 10, cv::Rect(0, 0, 3, 10))));

    // A full image stays full; an empty one stays empty.
    ASSERT_EQ(AlgMorphology(Grey(6, 6, 255), ALG_MORPH_ERODE, out), 0);
    EXPECT_EQ(cv::countNonZero(out), 36);
    ASSERT_EQ(AlgMorphology(Grey(6, 6), ALG_MORPH_DILATE, out), 0);
    EXPECT_EQ(cv::countNonZero(out), 0);

    // A corner pixel grows only into the image: a 3 × 3 square.
    cv::Mat corner = Grey(8, 8);
    corner.at<uchar>(0, 0) = 255;
    ASSERT_EQ(AlgMorphology(corner, ALG_MORPH_DILATE, out), 0);
    EXPECT_TRUE(SameImage(out, WithBlock(8, 8, cv::Rect(0, 0, 3, 3))));
}

TEST(AlgMorphology, OpeningDropsSpecksAndClosingBridgesNarrowGaps)
{
    // A 3 × 3 speck vanishes; a 7 × 7 block survives the opening unchanged.
    cv::Mat image = WithBlock(20, 20, cv::Rect(2, 2, 7, 7));
    image(cv::Rect(14, 14, 3, 3)).setTo(255);
    cv::Mat out;
    ASSERT_EQ(AlgMorphology(image, ALG_MORPH_OPEN, out), 0);
    EXPECT_TRUE(SameImage(out, WithBlock(20, 20, cv::Rect(2, 2, 7, 7))));

    // Two blocks of equal height two columns apart merge into one rectangle.
    ASSERT_EQ(AlgMorphology(BlockPair(), ALG_MORPH_CLOSE, out), 0);
    EXPECT_TRUE(SameImage(out, WithBlock(13, 20, cv::Rect(3, 3, 12, 7))));

    // Closing reaches the edge, though: within two pixels of it the dilated
    // band is not eroded back, as the edge counts as neither object nor
    // background. A block at (2, 2) grows to the corner.
    ASSERT_EQ(AlgMorphology(WithBlock(12, 12, cv::Rect(2, 2, 5, 5)), ALG_MORPH_CLOSE, out), 0);
    EXPECT_TRUE(SameImage(out, WithBlock(12, 12, cv::Rect(0, 0, 7, 7))));
}

TEST(AlgMorphology, WorksInPlace)
{
    cv::Mat image = Grey(11, 11);
    image.at<uchar>(5, 5) = 255;
    const uchar* buffer = image.data;
    ASSERT_EQ(AlgMorphology(image, ALG_MORPH_DILATE, image), 0);
    EXPECT_EQ(image.data, buffer);
    EXPECT_EQ(cv::countNonZero(image), 25);
}

TEST(AlgMorphology, RejectsEmptyInputAndUnknownCodesWithoutTouchingTheOutput)
{
    cv::Mat out = Grey(2, 2, 7);
    const uchar* buffer = out.data;
    EXPECT_EQ(AlgMorphology(cv::Mat(), ALG_MORPH_DILATE, out), -1);
    EXPECT_EQ(AlgMorphology(Grey(4, 4, 255), 30, out), 2);
    EXPECT_EQ(AlgMorphology(Grey(4, 4, 255), 35, out), 2);
    EXPECT_EQ(out.data, buffer);
    EXPECT_TRUE(SameImage(out, Grey(2, 2, 7)));
}

// --------------------------------------------------------------- hole filling

TEST(AlgFillHole, FillsTheInsideOfARing)
{
    cv::Mat out;
    ASSERT_EQ(AlgFillHole(SquareRing(11, 2, 8), out), 0);
    EXPECT_TRUE(SameImage(out, WithBlock(11, 11, cv::Rect(2, 2, 7, 7))));
}

TEST(AlgFillHole, DiagonalGapDoesNotConnectTheHoleToTheOutside)
{
    // Without its corner pixel the ring's inside touches the outside only
    // diagonally, at (3,3)-(2,2). The 3 × 3 closing leaves the corner open
    // (its neighbour (1,1) sees no object), and the 4-connected flood cannot
    // pass, so the inside is filled and the corner stays background.
    cv::Mat ring = SquareRing(11, 2, 8);
    ring.at<uchar>(2, 2) = 0;
    cv::Mat expected = WithBlock(11, 11, cv::Rect(2, 2, 7, 7));
    expected.at<uchar>(2, 2) = 0;
    cv::Mat out;
    ASSERT_EQ(AlgFillHole(ring, out), 0);
    EXPECT_TRUE(SameImage(out, expected));
}

TEST(AlgFillHole, BayOpenToTheImageBorderStaysEmpty)
{
    // A ring without its left wall, lying against the left edge: the inside
    // (rows 4..8, columns 0..6) reaches the border and is not a hole. It is
    // five rows high, too wide for the closing, and the walls keep three
    // pixels from the other edges, so nothing changes.
    cv::Mat bay = Grey(13, 12);
    bay(cv::Rect(0, 3, 8, 1)).setTo(255);
    bay(cv::Rect(0, 9, 8, 1)).setTo(255);
    bay(cv::Rect(7, 3, 1, 7)).setTo(255);
    const cv::Mat expected = bay.clone();
    cv::Mat out;
    ASSERT_EQ(AlgFillHole(bay, out), 0);
    EXPECT_TRUE(SameImage(out, expected));
}

TEST(AlgFillHole, OnePixelBreakIsClosedFirstAndTheInsideFilled)
{
    cv::Mat ring = SquareRing(11, 2, 8);
    ring.at<uchar>(2, 5) = 0;
    cv::Mat out;
    ASSERT_EQ(AlgFillHole(ring, out), 0);
    EXPECT_TRUE(SameImage(out, WithBlock(11, 11, cv::Rect(2, 2, 7, 7))));
    // The closing worked on the caller's pixels: the break is closed there too.
    EXPECT_EQ(ring.at<uchar>(2, 5), 255);
    EXPECT_EQ(ring.at<uchar>(5, 5), 0);
}

TEST(AlgFillHole, AnyNonZeroPixelEndsAt255)
{
    // No background at all: v | (255 - v) = 255 for every v.
    cv::Mat out;
    ASSERT_EQ(AlgFillHole(Grey(5, 6, 100), out), 0);
    EXPECT_TRUE(SameImage(out, Grey(5, 6, 255)));
}

TEST(AlgFillHole, WorksInPlace)
{
    cv::Mat ring = SquareRing(11, 2, 8);
    ASSERT_EQ(AlgFillHole(ring, ring), 0);
    EXPECT_TRUE(SameImage(ring, WithBlock(11, 11, cv::Rect(2, 2, 7, 7))));
}

TEST(AlgFillHole, RejectsEmptyInputWithoutTouchingTheOutput)
{
    cv::Mat out = Grey(2, 2, 7);
    const uchar* buffer = out.data;
    EXPECT_EQ(AlgFillHole(cv::Mat(), out), 1);
    EXPECT_EQ(out.data, buffer);
    EXPECT_TRUE(SameImage(out, Grey(2, 2, 7)));
}

// ---------------------------------------------------------------- controller

using RefinementTest = ControllerTest;

TEST_F(RefinementTest, OperationNumbersMapOntoDilateErodeOpenClose)
{
    cv::Mat dot = Grey(11, 11);
    dot.at<uchar>(5, 5) = 255;
    manager->SetBinaryImage(dot);
    manager->MorphologyOperation(AutoCountManager::MORPHOLOGY_DILATE);
    EXPECT_TRUE(SameImage(manager->GetBinaryImage(), WithBlock(11, 11, cv::Rect(3, 3, 5, 5))));
    EXPECT_EQ(canvas.ShowCount(), 1);
    EXPECT_TRUE(canvas.LastShownInverted());
    EXPECT_EQ(canvas.LastShown().data, manager->GetBinaryImage().data);

    // Operations accumulate: the 5 × 5 square erodes back to the dot.
    manager->MorphologyOperation(AutoCountManager::MORPHOLOGY_ERODE);
    EXPECT_TRUE(SameImage(manager->GetBinaryImage(), dot));

    manager->SetBinaryImage(WithBlock(20, 20, cv::Rect(2, 2, 3, 3)));
    manager->MorphologyOperation(AutoCountManager::MORPHOLOGY_OPEN);
    EXPECT_EQ(cv::countNonZero(manager->GetBinaryImage()), 0);

    manager->SetBinaryImage(BlockPair());
    manager->MorphologyOperation(AutoCountManager::MORPHOLOGY_CLOSE);
    EXPECT_TRUE(SameImage(manager->GetBinaryImage(), WithBlock(13, 20, cv::Rect(3, 3, 12, 7))));
}

TEST_F(RefinementTest, UnknownOperationOnlyRepaints)
{
    cv::Mat dot = Grey(11, 11);
    dot.at<uchar>(5, 5) = 255;
    manager->SetBinaryImage(dot);
    manager->MorphologyOperation(4);
    manager->MorphologyOperation(-1);
    EXPECT_EQ(manager->GetBinaryImage().data, dot.data);
    EXPECT_EQ(cv::countNonZero(manager->GetBinaryImage()), 1);
    EXPECT_EQ(canvas.ShowCount(), 2);
    EXPECT_TRUE(canvas.LastShownInverted());
}

TEST_F(RefinementTest, FillHoleFillsAndRepaints)
{
    manager->SetBinaryImage(SquareRing(11, 2, 8));
    manager->FillHole();
    EXPECT_TRUE(SameImage(manager->GetBinaryImage(), WithBlock(11, 11, cv::Rect(2, 2, 7, 7))));
    EXPECT_EQ(canvas.ShowCount(), 1);
    EXPECT_TRUE(canvas.LastShownInverted());

    // An empty binary image is left as it is and still shown.
    manager->SetBinaryImage(cv::Mat());
    manager->FillHole();
    EXPECT_TRUE(manager->GetBinaryImage().empty());
    EXPECT_EQ(canvas.ShowCount(), 2);
}

} // namespace
