// Colour images in the studio: the channel word names the plane the band
// thresholds and the histogram shows, and the image suggests the polarity.
#include "studiofixture.h"

#include "settings.h"

#include "autocount/autocountmanager.h"

#include <QLabel>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

TEST_F(StudioTest, RedThresholdsAndShowsTheRedPlaneAndThePolarityIsSuggested)
{
    // Three discs bright in red only and five in blue only, on black.
    cv::Mat image(240, 400, CV_8UC3, cv::Scalar::all(0));
    for (int i = 0; i < 3; ++i)
        cv::circle(image, cv::Point(40 + 60 * i, 60), 16, cv::Scalar(0, 0, 200), cv::FILLED);
    for (int i = 0; i < 5; ++i)
        cv::circle(image, cv::Point(40 + 60 * i, 170), 16, cv::Scalar(200, 0, 0), cv::FILLED);
    const QString path = folder.filePath("colours.png");
    ASSERT_TRUE(cv::imwrite(path.toStdString(), image));
    ASSERT_TRUE(window->OpenImage(path));
    ASSERT_TRUE(Session()->Start());
    Session()->SetRegionMode(AutoCountManager::REGION_WHOLE_IMAGE);
    Session()->Next();
    // Bright discs on black: the automatic mode is set to bright objects.
    EXPECT_EQ(AutoCountManager::segmentMode, AutoCountManager::SEGMENT_AUTO_BRIGHT);
    EXPECT_EQ(Session()->Suggestion(), QStringLiteral("bright"));
    const auto* label = window->findChild<QLabel*>("polarityLabel");
    ASSERT_NE(label, nullptr);
    EXPECT_TRUE(label->text().contains("bright"));

    Session()->SetChannel(static_cast<int>(Channel::Red));
    Session()->SetSegmentMode(AutoCountManager::SEGMENT_MANUAL);
    Session()->SetLowThreshold(100);
    Session()->SetHighThreshold(255);
    cv::Mat labels;
    const cv::Mat binary = Session()->Manager()->GetBinaryImage();
    EXPECT_EQ(cv::connectedComponents(binary, labels) - 1, 3);
    // The histogram is the red plane's, scaled so that its largest bin is 1000.
    cv::Mat red;
    cv::extractChannel(image, red, 2);
    const double discs = cv::countNonZero(red == 200);
    const double ground = static_cast<double>(red.total()) - discs;
    EXPECT_EQ(Session()->Histogram()[200], static_cast<int>(discs * 1000 / ground));
    EXPECT_EQ(Session()->Histogram()[0], 1000);
    EXPECT_EQ(Session()->Settings().channel, Channel::Red);
}
