// The studio as the module's host: the canvas, region drawing through the
// view, going back, and what happens with bad input.
#include "studiofixture.h"

#include "discimage.h"
#include "imagecanvas.h"
#include "recentfiles.h"
#include "resultexport.h"

#include "autocount/autocountmanager.h"

#include <QGraphicsPixmapItem>
#include <QGraphicsScene>
#include <QMenu>
#include <QSettings>

TEST(ImageCanvasTest, InvertedShowPaintsObjectsDarkAndKeepsThePhoto)
{
    QGraphicsScene scene;
    ImageCanvas canvas(&scene);
    const cv::Mat photo(4, 6, CV_8UC3, cv::Scalar(10, 20, 30));
    canvas.SetImage(photo);
    EXPECT_EQ(scene.sceneRect(), QRectF(0, 0, 6, 4));
    cv::Mat binary(4, 6, CV_8UC1, cv::Scalar(0));
    binary.at<uchar>(1, 2) = 255;
    canvas.ShowInvertedImage(binary);
    EXPECT_TRUE(canvas.ShowsInverted());
    EXPECT_EQ(canvas.GetImage().data, photo.data) << "the photo stays the canvas's image";

    QGraphicsPixmapItem* item = nullptr;
    for (QGraphicsItem* candidate : scene.items())
        if ((item = qgraphicsitem_cast<QGraphicsPixmapItem*>(candidate)))
            break;
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(item->pos(), QPointF(0, 0));
    const QImage shown = item->pixmap().toImage();
    EXPECT_EQ(shown.size(), QSize(6, 4));
    EXPECT_EQ(qGray(shown.pixel(2, 1)), 0) << "object";
    EXPECT_EQ(qGray(shown.pixel(0, 0)), 255) << "background";

    canvas.ShowImage(const_cast<cv::Mat&>(photo));
    EXPECT_FALSE(canvas.ShowsInverted());
    EXPECT_EQ(QColor(item->pixmap().toImage().pixel(5, 3)), QColor(30, 20, 10));
}

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

TEST_F(StudioTest, GoingBackToRegionsCountsTheColourImageAgain)
{
    Session()->Next();
    ASSERT_TRUE(Session()->Canvas()->ShowsInverted());
    ClickButton("backButton");
    EXPECT_EQ(Session()->Step(), AutoCountManager::STEP_REGION);
    EXPECT_FALSE(Session()->Canvas()->ShowsInverted());
    EXPECT_EQ(Session()->Manager()->GetSourceImage().type(), CV_8UC3);
    EXPECT_EQ(Session()->Manager()->GetSourceImage().at<cv::Vec3b>(60, 60),
              cv::Vec3b(90, 200, 220));
}

TEST_F(StudioTest, BadFilesAndFoldersAreNamedAndChangeNothing)
{
    Session()->Next();
    const int step = Session()->Step();
    EXPECT_FALSE(window->OpenImage(folder.filePath("missing.png")));
    EXPECT_EQ(Session()->Step(), step);
    EXPECT_EQ(Session()->Canvas()->GetImage().cols, discimage::kWidth);

    QString error;
    const QString report = folder.filePath("no/such/folder/count.xlsx");
    EXPECT_FALSE(ResultExport::WriteReport(Session()->Manager(), report, &error));
    EXPECT_TRUE(error.contains(report));
}

TEST_F(StudioTest, RecentFilesAreNewestFirstWithoutRepeats)
{
    QSettings().remove("recentFiles");
    QMenu menu;
    RecentFiles recent(&menu);
    for (int i = 0; i < RecentFiles::kMaximum + 2; ++i)
        recent.Add(folder.filePath(QStringLiteral("image%1.png").arg(i)));
    recent.Add(folder.filePath("image5.png"));
    const QStringList files = recent.Files();
    ASSERT_EQ(files.size(), RecentFiles::kMaximum);
    EXPECT_TRUE(files.first().endsWith("image5.png"));
    EXPECT_EQ(files.filter("image5.png").size(), 1);
    EXPECT_TRUE(files.last().endsWith("image2.png")) << "image0 and image1 dropped out";
}
