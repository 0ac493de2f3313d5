#pragma once

// The studio tests' picture: bright discs on a dark background, some inside
// the rectangle the tests draw, some outside it, and one pair that touches.

#include <opencv2/core.hpp>

namespace discimage {

constexpr int kWidth = 320;
constexpr int kHeight = 240;

/// The rectangle the tests draw, in image pixels: it holds three single
/// discs and the touching pair, and leaves two discs outside.
const cv::Rect kRegion(20, 20, 200, 200);

/// Discs inside kRegion that stand alone.
constexpr int kSingleDiscsInside = 3;
/// Discs outside kRegion.
constexpr int kDiscsOutside = 2;

/// 8-bit BGR picture: background (40, 40, 40), discs (90, 200, 220).
cv::Mat Make();

} // namespace discimage
