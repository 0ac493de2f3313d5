// The picture's encoding: what is written reads back pixel for pixel, without
// a physical resolution, and JPEG where it is asked for; the scale bar's length.

#include "pngencoder.h"
#include "scalebar.h"

#include <QImage>

#include <gtest/gtest.h>

#include <cmath>
#include <random>

TEST(PictureEncoding, PngReadsBackPixelForPixelWithoutAPhysicalResolution)
{
    std::mt19937 random(3);
    QImage image(97, 61, QImage::Format_RGB32);
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            image.setPixel(x, y, qRgb(int(random() % 256), int(random() % 256), y * 4));
    const QByteArray png = pngencoder::Encode(image);
    ASSERT_TRUE(png.startsWith("\x89PNG\r\n\x1a\n"));
    EXPECT_FALSE(png.contains("pHYs"));
    const QImage back = QImage::fromData(png, "PNG");
    ASSERT_EQ(back.size(), image.size());
    EXPECT_EQ(back.convertToFormat(QImage::Format_RGB32), image);
    EXPECT_TRUE(pngencoder::Encode(QImage()).isEmpty());
}

TEST(PictureScaleBar, TheLongestOneTwoOrFiveTimesAPowerOfTenWithinAQuarterOfTheWidth)
{
    struct Case
    {
        int width;
        double scale;
        double length;
        int pixels;
    };
    // A quarter of the width in units: 13.3 → 10; exactly 100 → 100; 92.5 → 50;
    // 0.3 → 0.2; 0.5 → 0.5; 2500 → 2000.
    for (const Case& c :
         {Case{320, 1.0 / 6.0, 10, 60}, Case{400, 1.0, 100, 100}, Case{1000, 0.37, 50, 135},
          Case{120, 0.01, 0.2, 20}, Case{2000, 0.001, 0.5, 500}, Case{1000, 10.0, 2000, 200}}) {
        const scalebar::Bar bar = scalebar::Choose(c.width, c.scale, QStringLiteral("µm"));
        EXPECT_DOUBLE_EQ(bar.length, c.length) << c.width << " at " << c.scale;
        EXPECT_EQ(bar.pixels, c.pixels) << c.width << " at " << c.scale;
    }
    EXPECT_EQ(scalebar::Choose(320, 0.5, QStringLiteral("µm")).label, QStringLiteral("20 µm"));
    for (double scale : {0.0, -1.0, std::nan(""), HUGE_VAL})
        EXPECT_EQ(scalebar::Choose(320, scale, QStringLiteral("µm")).pixels, 0) << scale;
    EXPECT_EQ(scalebar::Choose(4, 1.0, QStringLiteral("µm")).pixels, 0);
}
