#pragma once

// Synthetic microscope-like images with a known number of objects: dark,
// roundish "cells" on a light, slightly noisy background, laid out on a grid
// so that no two clumps touch and none reaches the image border. Everything is
// integer or fixed-table work, so the same parameters give the same bytes on
// every machine.

#include <opencv2/core.hpp>

#include <cstdint>
#include <vector>

namespace syntheticcells {

/// Small deterministic generator (xorshift64*); independent of any library's RNG.
class Random
{
public:
    explicit Random(std::uint64_t seed);
    std::uint64_t Next();
    /// Uniform integer in [low, high], both included.
    int Uniform(int low, int high);

private:
    std::uint64_t state_;
};

/// One cell: a filled ellipse.
struct Cell
{
    cv::Point centre;
    cv::Size axes; ///< half-axes in pixels
    int angle = 0; ///< degrees
};

/// What to draw and how many objects a separating count should find.
struct Layout
{
    cv::Size size;
    std::vector<Cell> cells;
    int singles = 0; ///< cells that touch nothing
    int pairs = 0;   ///< clumps of two overlapping cells
    /// Objects when touching cells are separated.
    int Objects() const { return singles + 2 * pairs; }
    /// Objects when touching cells stay joined.
    int Clumps() const { return singles + pairs; }
};

struct LayoutParams
{
    cv::Size size{800, 600};
    int slot = 100; ///< side of one grid slot; one single or one pair per slot
    int singles = 30;
    int pairs = 5;
    int minRadius = 14; ///< half-axes are drawn from [minRadius, maxRadius]
    int maxRadius = 20;
    bool roundOnly = false; ///< discs instead of ellipses
    std::uint64_t seed = 1;
};

/// Places the cells on the grid of slots; slots are taken in a shuffled order.
/// A slot holds one cell or one pair; cells keep a gap of several pixels to
/// their slot's edge, and the grid keeps at least half a slot of margin from
/// the image border. Throws std::invalid_argument when the slots do not suffice.
Layout MakeLayout(const LayoutParams& params);

struct Style
{
    cv::Scalar background{226, 216, 210}; ///< blue, green, red
    cv::Scalar cell{120, 62, 92};
    int noise = 10; ///< each channel of each pixel moves by up to ±noise
    std::uint64_t seed = 7;
};

/// Draws @p layout: background, cells, then the noise (8-bit, three channels).
cv::Mat Render(const Layout& layout, const Style& style = Style());

} // namespace syntheticcells
