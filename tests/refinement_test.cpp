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

// One-pixel-wide square outline with corners (2, 2) and (8, 8) in 11 × 11;
// filling it gives kFilled.
cv::Mat Ring()
{
    cv::Mat image = Grey(11, 11);
    cv::rectangle(image, cv::Point(2, 2), cv::Point(8, 8), cv::Scalar(255), 1);
    return image;
}
const cv::Mat kFilled = WithBlock(11, 11, cv::Rect(2, 2, 7, 7));

cv::Mat Morph(const cv::Mat& image, int operation)
{
    cv::Mat out;
    EXPECT_EQ(AlgMorphology(image, operation, out), 0);
    return out;
}

TEST(AlgMorphology, FiveByFiveSquareThatTheImageEdgeNeitherErodesNorGrows)
{
    // One pixel grows into a 5 × 5 square, in place; a 5 × 5 square erodes
    // to its centre.
    cv::Mat image = WithBlock(11, 11, cv::Rect(5, 5, 1, 1));
    const uchar* buffer = image.data;
    ASSERT_EQ(AlgMorphology(image, ALG_MORPH_DILATE, image), 0);
    EXPECT_EQ(image.data, buffer);
    EXPECT_TRUE(SameImage(image, WithBlock(11, 11, cv::Rect(3, 3, 5, 5))));
    EXPECT_TRUE(SameImage(Morph(WithBlock(12, 12, cv::Rect(4, 4, 5, 5)), ALG_MORPH_ERODE),
                          WithBlock(12, 12, cv::Rect(6, 6, 1, 1))));

    // A full-height strip along the left edge loses two columns on its right
    // only; a corner pixel grows only into the image.
    EXPECT_TRUE(SameImage(Morph(WithBlock(10, 10, cv::Rect(0, 0, 5, 10)), ALG_MORPH_ERODE),
                          WithBlock(10, 10, cv::Rect(0, 0, 3, 10))));
    EXPECT_TRUE(SameImage(Morph(WithBlock(8, 8, cv::Rect(0, 0, 1, 1)), ALG_MORPH_DILATE),
                          WithBlock(8, 8, cv::Rect(0, 0, 3, 3))));
}

TEST(AlgMorphology, OpeningDropsSpecksAndClosingBridgesNarrowGaps)
{
    // A 3 × 3 speck vanishes; a 7 × 7 block survives the opening unchanged.
    cv::Mat image = WithBlock(20, 20, cv::Rect(2, 2, 7, 7));
    image(cv::Rect(14, 14, 3, 3)).setTo(255);
    EXPECT_TRUE(SameImage(Morph(image, ALG_MORPH_OPEN), WithBlock(20, 20, cv::Rect(2, 2, 7, 7))));

    // Two 5 × 7 blocks two columns apart, three pixels from every edge, merge.
    cv::Mat pair = WithBlock(13, 20, cv::Rect(3, 3, 5, 7));
    pair(cv::Rect(10, 3, 5, 7)).setTo(255);
    EXPECT_TRUE(SameImage(Morph(pair, ALG_MORPH_CLOSE), WithBlock(13, 20, cv::Rect(3, 3, 12, 7))));

    // Within two pixels of the edge the dilated band is not eroded back, as
    // the edge counts as neither object nor background: a block at (2, 2)
    // grows to the corner.
    EXPECT_TRUE(SameImage(Morph(WithBlock(12, 12, cv::Rect(2, 2, 5, 5)), ALG_MORPH_CLOSE),
                          WithBlock(12, 12, cv::Rect(0, 0, 7, 7))));

    // Unknown codes fail and leave the output alone.
    cv::Mat out = Grey(2, 2, 7);
    EXPECT_EQ(AlgMorphology(image, 30, out), 2);
    EXPECT_EQ(AlgMorphology(image, 35, out), 2);
    EXPECT_TRUE(SameImage(out, Grey(2, 2, 7)));
}

TEST(AlgFillHole, FillsEnclosedHolesOnly)
{
    cv::Mat ring = Ring();
    ASSERT_EQ(AlgFillHole(ring, ring), 0); // in place
    EXPECT_TRUE(SameImage(ring, kFilled));

    // No background at all: v | (255 - v) = 255 for every v.
    cv::Mat out;
    ASSERT_EQ(AlgFillHole(Grey(5, 6, 100), out), 0);
    EXPECT_TRUE(SameImage(out, Grey(5, 6, 255)));

    // Without its corner pixel the ring's inside touches the outside only
    // diagonally. The 3 × 3 closing leaves the corner open (its neighbour
    // (1,1) sees no object) and the 4-connected flood cannot pass: the inside
    // is filled and the corner stays background.
    ring = Ring();
    ring.at<uchar>(2, 2) = 0;
    cv::Mat expected = kFilled.clone();
    expected.at<uchar>(2, 2) = 0;
    ASSERT_EQ(AlgFillHole(ring, out), 0);
    EXPECT_TRUE(SameImage(out, expected));

    // A ring without its left wall against the left edge: the inside reaches
    // the border and is not a hole. Five rows high, too wide for the closing,
    // three pixels from the other edges: nothing changes.
    cv::Mat bay = Grey(13, 12);
    bay(cv::Rect(0, 3, 8, 1)).setTo(255);
    bay(cv::Rect(0, 9, 8, 1)).setTo(255);
    bay(cv::Rect(7, 3, 1, 7)).setTo(255);
    expected = bay.clone();
    ASSERT_EQ(AlgFillHole(bay, out), 0);
    EXPECT_TRUE(SameImage(out, expected));
}

TEST(AlgFillHole, OnePixelBreakIsClosedFirstInTheCallersImage)
{
    cv::Mat ring = Ring();
    ring.at<uchar>(2, 5) = 0;
    cv::Mat out;
    ASSERT_EQ(AlgFillHole(ring, out), 0);
    EXPECT_TRUE(SameImage(out, kFilled));
    EXPECT_EQ(ring.at<uchar>(2, 5), 255);
    EXPECT_EQ(ring.at<uchar>(5, 5), 0);
}

using RefinementTest = ControllerTest;

TEST_F(RefinementTest, OperationsMapOntoTheAlgorithmsAndRepaint)
{
    // Two blocks that closing merges and a speck that opening drops.
    cv::Mat image = WithBlock(16, 24, cv::Rect(4, 4, 5, 7));
    image(cv::Rect(11, 4, 5, 7)).setTo(255);
    image(cv::Rect(19, 12, 2, 1)).setTo(255);
    const int codes[][2] = {{AutoCountManager::MORPHOLOGY_DILATE, ALG_MORPH_DILATE},
                            {AutoCountManager::MORPHOLOGY_ERODE, ALG_MORPH_ERODE},
                            {AutoCountManager::MORPHOLOGY_OPEN, ALG_MORPH_OPEN},
                            {AutoCountManager::MORPHOLOGY_CLOSE, ALG_MORPH_CLOSE}};
    int shown = 0;
    for (const auto& c : codes) {
        SCOPED_TRACE(c[0]);
        manager->SetBinaryImage(image.clone());
        manager->MorphologyOperation(c[0]);
        EXPECT_TRUE(SameImage(manager->GetBinaryImage(), Morph(image, c[1])));
        EXPECT_EQ(canvas.ShowCount(), ++shown);
        EXPECT_TRUE(canvas.LastShownInverted());
        EXPECT_EQ(canvas.LastShown().data, manager->GetBinaryImage().data);
    }
    // Unknown operations only repaint.
    const cv::Mat kept = image.clone();
    manager->SetBinaryImage(kept);
    manager->MorphologyOperation(4);
    manager->MorphologyOperation(-1);
    EXPECT_EQ(manager->GetBinaryImage().data, kept.data);
    EXPECT_TRUE(SameImage(kept, image));
    EXPECT_EQ(canvas.ShowCount(), shown + 2);

    manager->SetBinaryImage(Ring());
    manager->FillHole();
    EXPECT_TRUE(SameImage(manager->GetBinaryImage(), kFilled));
    EXPECT_EQ(canvas.ShowCount(), shown + 3);
    EXPECT_TRUE(canvas.LastShownInverted());
    // An empty binary image is left as it is and still shown.
    manager->SetBinaryImage(cv::Mat());
    manager->FillHole();
    EXPECT_TRUE(manager->GetBinaryImage().empty());
    EXPECT_EQ(canvas.ShowCount(), shown + 4);
}

} // namespace
