#pragma once

// A size floor for specks: a few pixels of noise, or a fleck of background
// texture inside the hole of an object that the image border cuts open.
//
// Rule: the floor is a fraction of the image's typical object area, where the
// typical area is the median of the larger half of all areas (the upper
// quartile). Specks are many and small, so they pull an ordinary median
// down; the larger half stays a measure of the real objects as long as
// specks are fewer than half of everything found. With the default
// fraction of 1/20 the floor lies at a fifth of the smallest objects of a
// scene whose radii vary threefold (their area is about a fifth of the
// typical one), and far above noise of a few pixels. Callers may lower the
// fraction to keep smaller objects, or set it to 0 to keep everything.

#include <cstddef>
#include <vector>

namespace engine {

/// Default share of the typical area below which an object is a speck.
constexpr double kSpeckFraction = 0.05;

/// Median of the larger half of @p areas (the upper quartile, the upper of
/// two middle values); 0 for an empty list.
double TypicalArea(std::vector<double> areas);

/// @p fraction × TypicalArea(@p areas); 0 when @p fraction is not above 0
/// or the list is empty.
double SpeckFloor(const std::vector<double>& areas, double fraction = kSpeckFraction);

/// Indices of the areas at or above SpeckFloor(@p areas, @p fraction), in order.
std::vector<std::size_t> KeptAboveSpeckFloor(const std::vector<double>& areas,
                                             double fraction = kSpeckFraction);

/// Keeps the entries of @p items whose index KeptAboveSpeckFloor returns.
template <class T>
std::vector<T> DropSpecks(const std::vector<T>& items, const std::vector<double>& areas,
                          double fraction = kSpeckFraction)
{
    std::vector<T> kept;
    for (std::size_t i : KeptAboveSpeckFloor(areas, fraction))
        if (i < items.size())
            kept.push_back(items[i]);
    return kept;
}

} // namespace engine
