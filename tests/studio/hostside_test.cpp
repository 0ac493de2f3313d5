// The studio as the module's host: a region drawn through the view.
#include "studiofixture.h"

#include "autocount/autocountmanager.h"

TEST_F(StudioTest, PolygonDrawnWithTheMouseMakesTheMaskAndLeavesNoCutVertices)
{
    ClickButton("regionPolygon");
    // A freehand triangle around the disc at (60, 60): click, trace, click.
    Click(ViewportPos(30, 30));
    Move(ViewportPos(100, 30));
    Move(ViewportPos(65, 100));
    Click(ViewportPos(65, 100));
    AutoCountManager* manager = Session()->Manager();
    ASSERT_EQ(manager->GetPolygonItems().size(), 1);
    Session()->Next();
    EXPECT_EQ(manager->GetRegionMask().at<uchar>(50, 60), 255);
    EXPECT_EQ(manager->GetRegionMask().at<uchar>(150, 60), 0);
    Session()->Next();
    EXPECT_TRUE(manager->GetDrawingPoints().isEmpty())
        << "a cut line must not begin with the polygon's vertices";
}
