#include "engine/sizefloor.h"

#include <algorithm>
#include <cmath>

namespace engine {

double TypicalArea(std::vector<double> areas)
{
    if (areas.empty())
        return 0.0;
    // The larger half starts at the upper of the two middle elements (or at
    // the middle one); its median is the element halfway through it.
    const std::size_t firstOfLarger = areas.size() / 2;
    const std::size_t larger = areas.size() - firstOfLarger;
    const std::size_t k = firstOfLarger + larger / 2;
    std::nth_element(areas.begin(), areas.begin() + static_cast<std::ptrdiff_t>(k), areas.end());
    return areas[k];
}

double SpeckFloor(const std::vector<double>& areas, double fraction)
{
    if (!(fraction > 0.0) || !std::isfinite(fraction))
        return 0.0;
    return fraction * TypicalArea(areas);
}

std::vector<std::size_t> KeptAboveSpeckFloor(const std::vector<double>& areas, double fraction)
{
    const double floor = SpeckFloor(areas, fraction);
    std::vector<std::size_t> kept;
    kept.reserve(areas.size());
    for (std::size_t i = 0; i < areas.size(); ++i)
        if (areas[i] >= floor)
            kept.push_back(i);
    return kept;
}

} // namespace engine
