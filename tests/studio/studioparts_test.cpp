// The studio's stand-alone pieces: image conversion, the distribution
// classes, calibration, and the annotated-image export.
#include "studiofixture.h"

#include "discimage.h"

#include "calibration.h"
#include "imageloader.h"
#include "resultexport.h"
#include "sizedistributionchart.h"

#include "autocount/autocountmanager.h"
#include "host/scaleservice.h"

#include <QDir>
#include <QImage>

#include <opencv2/imgcodecs.hpp>

TEST(ImageLoaderTest, SixteenBitSamplesAreScaledBy255Over65535Rounded)
{
    cv::Mat deep(1, 6, CV_16UC1);
    const ushort in[] = {0, 128, 129, 257, 32896, 65535};
    for (int i = 0; i < 6; ++i)
        deep.at<ushort>(0, i) = in[i];
    const cv::Mat bgr = ImageLoader::ToBgr8(deep);
    ASSERT_EQ(bgr.type(), CV_8UC3);
    // 128·255/65535 = 0.498 → 0; 129·255/65535 = 0.502 → 1; 257 → 1; 32896 → 128.
    const int expected[] = {0, 0, 1, 1, 128, 255};
    for (int i = 0; i < 6; ++i) {
        SCOPED_TRACE(i);
        const cv::Vec3b pixel = bgr.at<cv::Vec3b>(0, i);
        EXPECT_EQ(pixel[0], expected[i]);
        EXPECT_EQ(pixel[1], expected[i]);
        EXPECT_EQ(pixel[2], expected[i]);
    }
}

TEST(ImageLoaderTest, ColourAndAlphaBecomeBlueGreenRed)
{
    cv::Mat bgra(1, 1, CV_16UC4, cv::Scalar(257 * 10, 257 * 20, 257 * 30, 0));
    const cv::Mat bgr = ImageLoader::ToBgr8(bgra);
    ASSERT_EQ(bgr.type(), CV_8UC3);
    EXPECT_EQ(bgr.at<cv::Vec3b>(0, 0), cv::Vec3b(10, 20, 30));
    const cv::Mat same(2, 2, CV_8UC3, cv::Scalar(1, 2, 3));
    EXPECT_EQ(ImageLoader::ToBgr8(same).data, same.data) << "8-bit colour is taken as it is";
}

TEST(ImageLoaderTest, ReadsSixteenBitGreyFilesAndNamesBadOnes)
{
    QTemporaryDir folder;
    const QString path = folder.filePath("deep.png");
    cv::Mat deep(3, 4, CV_16UC1, cv::Scalar(65535));
    ASSERT_TRUE(cv::imwrite(path.toStdString(), deep));
    QString error;
    const cv::Mat loaded = ImageLoader::Load(path, &error);
    ASSERT_EQ(loaded.type(), CV_8UC3);
    EXPECT_EQ(loaded.at<cv::Vec3b>(2, 3), cv::Vec3b(255, 255, 255));

    const QString text = folder.filePath("notes.png");
    QFile file(text);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("not an image");
    file.close();
    EXPECT_TRUE(ImageLoader::Load(text, &error).empty());
    EXPECT_TRUE(error.contains(text));
    EXPECT_TRUE(ImageLoader::Load(folder.filePath("missing.tif"), &error).empty());
    EXPECT_TRUE(error.contains("missing.tif"));
    EXPECT_TRUE(ImageLoader::IsSupportedFile("a/B.TIFF"));
    EXPECT_FALSE(ImageLoader::IsSupportedFile("a/b.txt"));
}

TEST(DistributionBinsTest, EqualClassesWithTheLargestValueInTheLast)
{
    const DistributionBins bins = DistributionBins::Make({0, 1, 2, 3, 4, 5, 6, 7, 8, 10}, 5);
    EXPECT_EQ(bins.minimum, 0.0);
    EXPECT_EQ(bins.width, 2.0);
    EXPECT_EQ(bins.counts, (QVector<int>{2, 2, 2, 2, 2}));
    const DistributionBins flat = DistributionBins::Make({3, 3, 3}, 5);
    EXPECT_EQ(flat.counts, QVector<int>{3});
    EXPECT_TRUE(DistributionBins::Make({}, 5).counts.isEmpty());
}

TEST_F(StudioTest, CalibrationIsRememberedAndNamesTheUnits)
{
    Calibration calibration;
    calibration.scale = 0.5;
    calibration.unit = QStringLiteral("µm");
    calibration.Save();
    const Calibration loaded = Calibration::Load();
    EXPECT_EQ(loaded.scale, 0.5);
    EXPECT_EQ(loaded.unit, QStringLiteral("µm"));
    loaded.Apply();
    EXPECT_EQ(ScaleService::calibrationStore.GetCurrentEntry().scale, 0.5);
    EXPECT_EQ(AutoCountManager::GetDataTypeName(AutoCountManager::DATA_AREA),
              QStringLiteral("Area_µm²"));
}

TEST_F(StudioTest, AnnotatedImageHasThePictureSizeAndTheOutlines)
{
    Session()->SetRegionMode(AutoCountManager::REGION_WHOLE_IMAGE);
    Session()->Next();
    Session()->SetSegmentMode(AutoCountManager::SEGMENT_AUTO_BRIGHT);
    Session()->Next();
    Session()->Next();
    ASSERT_GT(Session()->ObjectCount(), 0);
    const QString path = folder.filePath("annotated.png");
    ASSERT_TRUE(window->ExportAnnotatedImage(path, true));
    const QImage image(path);
    EXPECT_EQ(image.size(), QSize(discimage::kWidth, discimage::kHeight));
    // Background pixel as in the picture; the first object's outline drawn
    // in the outline colour, blue by default: on the contour the yellowish
    // disc (red 220, blue 90) turns bluer than red.
    EXPECT_EQ(image.pixelColor(5, 230), QColor(40, 40, 40));
    const auto& contour = Session()->Manager()->GetValidContours()[0];
    int blue = 0;
    for (const cv::Point& p : contour)
        if (image.pixelColor(p.x, p.y).blue() > image.pixelColor(p.x, p.y).red())
            ++blue;
    EXPECT_GT(blue, static_cast<int>(contour.size()) / 2);
    EXPECT_EQ(QDir(folder.path()).entryList({"annotated*"}, QDir::Files | QDir::Hidden),
              QStringList{"annotated.png"});
}
