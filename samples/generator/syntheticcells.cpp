#include "syntheticcells.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <stdexcept>

namespace syntheticcells {

Random::Random(std::uint64_t seed) : state_(seed ? seed : 0x9E3779B97F4A7C15ull) {}

std::uint64_t Random::Next()
{
    state_ ^= state_ >> 12;
    state_ ^= state_ << 25;
    state_ ^= state_ >> 27;
    return state_ * 0x2545F4914F6CDD1Dull;
}

int Random::Uniform(int low, int high)
{
    const auto span = static_cast<std::uint64_t>(high - low + 1);
    return low + static_cast<int>((Next() >> 11) % span);
}

namespace {

/// The top-left corners of every slot, row by row, with the grid centred.
std::vector<cv::Point> Slots(const LayoutParams& p)
{
    // At least half a slot of margin on every side.
    const int usableColumns = std::max(0, (p.size.width - p.slot / 2 * 2) / p.slot);
    const int usableRows = std::max(0, (p.size.height - p.slot / 2 * 2) / p.slot);
    const int left = (p.size.width - usableColumns * p.slot) / 2;
    const int top = (p.size.height - usableRows * p.slot) / 2;
    std::vector<cv::Point> slots;
    for (int r = 0; r < usableRows; ++r)
        for (int c = 0; c < usableColumns; ++c)
            slots.emplace_back(left + c * p.slot, top + r * p.slot);
    return slots;
}

cv::Size Axes(Random& random, const LayoutParams& p)
{
    const int a = random.Uniform(p.minRadius, p.maxRadius);
    if (p.roundOnly)
        return {a, a};
    const int b = std::max(p.minRadius, a - random.Uniform(0, 4));
    return {a, b};
}

} // namespace

Layout MakeLayout(const LayoutParams& p)
{
    std::vector<cv::Point> slots = Slots(p);
    if (static_cast<int>(slots.size()) < p.singles + p.pairs)
        throw std::invalid_argument("syntheticcells: too few slots for the cells");
    Random random(p.seed);
    // Fisher-Yates with the project's own generator, so the order is fixed.
    for (int i = static_cast<int>(slots.size()) - 1; i > 0; --i)
        std::swap(slots[i], slots[random.Uniform(0, i)]);

    Layout layout;
    layout.size = p.size;
    layout.singles = p.singles;
    layout.pairs = p.pairs;
    const int gap = 6;
    for (int i = 0; i < p.singles + p.pairs; ++i) {
        const cv::Point corner = slots[i];
        const int centreX = corner.x + p.slot / 2;
        const int centreY = corner.y + p.slot / 2;
        if (i < p.singles) {
            Cell cell;
            cell.axes = Axes(random, p);
            cell.angle = p.roundOnly ? 0 : random.Uniform(0, 179);
            const int room = std::max(0, p.slot / 2 - cell.axes.width - gap);
            cell.centre = {centreX + random.Uniform(-room, room),
                           centreY + random.Uniform(-room, room)};
            layout.cells.push_back(cell);
        } else {
            // Two discs whose centres lie 1.6 radii apart: they overlap in a
            // neck a little over half a diameter wide.
            const int radius = random.Uniform(p.minRadius, p.maxRadius);
            const int half = radius * 4 / 5;
            const bool horizontal = random.Uniform(0, 1) == 0;
            const cv::Point step = horizontal ? cv::Point(half, 0) : cv::Point(0, half);
            const int room = std::max(0, p.slot / 2 - half - radius - gap);
            const cv::Point centre(centreX + random.Uniform(-room, room),
                                   centreY + random.Uniform(-room, room));
            Cell first;
            first.axes = {radius, radius};
            first.centre = centre - step;
            Cell second = first;
            second.centre = centre + step;
            layout.cells.push_back(first);
            layout.cells.push_back(second);
        }
    }
    return layout;
}

cv::Mat Render(const Layout& layout, const Style& style)
{
    cv::Mat image(layout.size, CV_8UC3, style.background);
    for (const Cell& cell : layout.cells)
        cv::ellipse(image, cell.centre, cell.axes, cell.angle, 0, 360, style.cell, cv::FILLED,
                    cv::LINE_8);
    if (style.noise > 0) {
        Random random(style.seed);
        for (int y = 0; y < image.rows; ++y) {
            auto* row = image.ptr<uchar>(y);
            for (int x = 0; x < image.cols * 3; ++x)
                row[x] =
                    cv::saturate_cast<uchar>(row[x] + random.Uniform(-style.noise, style.noise));
        }
    }
    return image;
}

} // namespace syntheticcells
