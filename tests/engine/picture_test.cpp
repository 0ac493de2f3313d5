// The picture's encoding: what is written reads back pixel for pixel, without
// a physical resolution, and JPEG where it is asked for.

#include "pngencoder.h"

#include <QImage>

#include <gtest/gtest.h>

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
