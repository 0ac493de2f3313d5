// Regions partly or wholly outside the image: the fill clips them to the
// image, and nothing else happens.

#include "support/controllerfixture.h"
#include "support/testimages.h"

namespace {

using BadInputRegions = ControllerTest;

TEST_F(BadInputRegions, RegionsOutsideTheImageAreClipped)
{
    // Regions (two corners make a rectangle) on 30 rows × 40 columns, and the
    // boxes they select.
    const std::vector<std::pair<std::vector<std::vector<QPointF>>, std::vector<cv::Rect>>> cases{
        {{{{-10, -5}, {10, 8}}, {{35, 25}, {60, 70}}}, {{0, 0, 11, 9}, {35, 25, 5, 5}}},
        // One column right of the image, and above and to the left of it.
        {{{{40, 0}, {90, 29}}, {{-20, -20}, {-1, -1}}}, {}},
        {{{{-1000, -1000}, {1000, 1000}}}, {{0, 0, 40, 30}}},
        // Beyond the range of int (a scene can hold them): clamped, not wrapped.
        {{{{-1e12, -1e12}, {1e12, 1e12}}}, {{0, 0, 40, 30}}},
        {{{{-10, -10}, {5, -10}, {5, 5}, {-10, 5}}}, {{0, 0, 6, 6}}},
        {{{{50, 50}, {90, 50}, {70, 80}}}, {}},
    };
    for (size_t k = 0; k < cases.size(); ++k) {
        SCOPED_TRACE(k);
        TearDown(); // a fresh controller for each case
        SetUp();
        StartWith(testimages::Grey(30, 40));
        const bool rectangles = cases[k].first[0].size() == 2;
        manager->SetRegionSelectionMode(rectangles ? AutoCountManager::REGION_RECTANGLE
                                                   : AutoCountManager::REGION_POLYGON);
        for (const std::vector<QPointF>& p : cases[k].first) {
            rectangles ? manager->CreateRectItem(p[0]) : manager->CreatePolygonItem(p[0]);
            for (size_t n = 1; n < p.size(); ++n)
                rectangles ? manager->ChangeRectItem(p[n]) : manager->ChangePolygonItem(p[n]);
            rectangles ? manager->CreateRectItem(p[1]) : manager->CreatePolygonItem(p[0]);
        }
        manager->SetSelectedRegions();
        cv::Mat expected = testimages::Grey(30, 40);
        for (const cv::Rect& box : cases[k].second)
            expected(box).setTo(255);
        EXPECT_TRUE(testimages::SameImage(manager->GetRegionMask(), expected));
    }
}

} // namespace
