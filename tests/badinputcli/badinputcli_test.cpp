// Image files that cannot be counted: truncated, corrupt, not images at all,
// or claiming more pixels than memory holds. The loader gives one line of
// reason and no image; the program names the file on one line, exits 1 and
// counts the rest of the batch.

#include "imageheader.h"
#include "imageloader.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <gtest/gtest.h>

#include <cstdint>

namespace {

uint32_t Crc32(const QByteArray& bytes)
{
    uint32_t crc = 0xffffffffu;
    for (const char c : bytes) {
        crc ^= static_cast<uint8_t>(c);
        for (int k = 0; k < 8; ++k)
            crc = (crc >> 1) ^ (0xedb88320u & (0u - (crc & 1u)));
    }
    return ~crc;
}

QByteArray BigEndian(uint32_t v)
{
    QByteArray b(4, '\0');
    for (int k = 0; k < 4; ++k)
        b[k] = static_cast<char>(v >> (24 - 8 * k));
    return b;
}

QByteArray Chunk(const char* type, const QByteArray& data)
{
    const QByteArray body = QByteArray(type) + data;
    return BigEndian(static_cast<uint32_t>(data.size())) + body + BigEndian(Crc32(body));
}

// A well-formed PNG header claiming width × height pixels, followed by a few
// bytes of compressed zeros: the file is tiny, the image it claims is not.
QByteArray PngClaiming(uint32_t width, uint32_t height, int bitDepth, int colourType)
{
    QByteArray header = BigEndian(width) + BigEndian(height);
    header += static_cast<char>(bitDepth);
    header += static_cast<char>(colourType);
    header += QByteArray(3, '\0');
    return QByteArray("\x89PNG\r\n\x1a\n", 8) + Chunk("IHDR", header) +
           Chunk("IDAT", qCompress(QByteArray(1000, '\0')).mid(4)) + Chunk("IEND", {});
}

QByteArray Encoded(const char* ext)
{
    cv::Mat image(40, 60, CV_8UC3, cv::Scalar(200, 200, 200));
    cv::circle(image, {30, 20}, 10, cv::Scalar(20, 20, 20), cv::FILLED);
    std::vector<uchar> bytes;
    cv::imencode(ext, image, bytes);
    return QByteArray(reinterpret_cast<const char*>(bytes.data()), static_cast<int>(bytes.size()));
}

class BadInputCli : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(dir.isValid()); }

    QString Write(const QString& name, const QByteArray& bytes)
    {
        QFile file(dir.filePath(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
        return file.fileName();
    }
    // The loader's answer: refused, with a reason of one line.
    ::testing::AssertionResult RefusedOnOneLine(const QString& path)
    {
        const LoadedImage loaded = LoadImageFile(path);
        if (loaded.ok())
            return ::testing::AssertionFailure() << "accepted " << path.toStdString();
        if (!loaded.image.empty())
            return ::testing::AssertionFailure() << "refused but kept the pixels";
        if (loaded.error.contains('\n'))
            return ::testing::AssertionFailure()
                   << "reason spans lines: " << loaded.error.toStdString();
        return ::testing::AssertionSuccess() << loaded.error.toStdString();
    }

    QTemporaryDir dir;
};

TEST_F(BadInputCli, TruncatedFilesOfEveryFormatAreRefused)
{
    for (const char* ext : {".png", ".jpg", ".bmp", ".tif"}) {
        SCOPED_TRACE(ext);
        const QByteArray whole = Encoded(ext);
        for (const int keep : {8, 40, whole.size() / 2}) {
            SCOPED_TRACE(keep);
            EXPECT_TRUE(RefusedOnOneLine(Write(QString("cut%1").arg(ext), whole.left(keep))));
        }
    }
}

TEST_F(BadInputCli, CorruptPixelDataIsRefusedOrDecodedButNeverCrashes)
{
    // Every byte after the signature flipped in turn (a sample of them): the
    // loader either refuses with one line or gives an image it can convert.
    const QByteArray whole = Encoded(".png");
    for (int at = 8; at < whole.size(); at += 7) {
        QByteArray bytes = whole;
        bytes[at] = static_cast<char>(bytes[at] ^ 0x5a);
        const LoadedImage loaded = LoadImageFile(Write("flipped.png", bytes));
        if (loaded.ok()) {
            cv::Mat converted;
            ConvertToModuleFormat(loaded.image, converted);
            EXPECT_EQ(converted.type(), CV_8UC3);
        } else {
            EXPECT_FALSE(loaded.error.contains('\n')) << loaded.error.toStdString();
        }
    }
}

TEST_F(BadInputCli, FilesThatAreNotImagesAreRefused)
{
    EXPECT_TRUE(RefusedOnOneLine(Write("notes.png", "counting notes, not a picture\n")));
    EXPECT_TRUE(RefusedOnOneLine(Write("zeros.tif", QByteArray(4096, '\0'))));
    EXPECT_TRUE(RefusedOnOneLine(Write("script.jpg", "#!/bin/sh\necho hello\n")));
    // A PNG signature and nothing else.
    EXPECT_TRUE(RefusedOnOneLine(Write("signature.png", QByteArray("\x89PNG\r\n\x1a\n", 8))));
}

// The header of a 1 kB file may claim any size: the loader reads the claimed
// size before decoding and refuses it in one line that names it.
TEST_F(BadInputCli, AHugeClaimedSizeIsRefusedBeforeDecodingNamingTheSize)
{
    const QString path = Write("huge.png", PngClaiming(100000, 100000, 8, 2));
    EXPECT_TRUE(RefusedOnOneLine(path));
    EXPECT_TRUE(LoadImageFile(path).error.contains("100000"))
        << LoadImageFile(path).error.toStdString();
}

// 32767 × 32767 16-bit RGBA is under the library's pixel limit, but decoding
// it alone takes 8.6 GB: the loader compares the claimed size with the memory
// available before the decoder allocates anything.
TEST_F(BadInputCli, AClaimedSizeBeyondMemoryIsRefusedBeforeDecoding)
{
    const QString path = Write("big.png", PngClaiming(32767, 32767, 16, 6));
    const LoadedImage loaded = LoadImageFile(path);
    EXPECT_FALSE(loaded.ok());
    EXPECT_TRUE(loaded.error.contains("32767")) << loaded.error.toStdString();
}

TEST(ImageSizeProblem, SidesNearTwoToThe32AreRefusedWithoutOverflow)
{
    // 4294967295 × 4294967295 does not fit a 64-bit product; it is refused
    // by comparing one side with the limit over the other (found by fuzzing).
    ImageHeader header;
    header.width = 4294967295;
    header.height = 4294967295;
    header.channels = 3;
    const QString problem = ImageSizeProblem(header, int64_t(1) << 40);
    EXPECT_TRUE(problem.contains("4294967295")) << problem.toStdString();
    // 2^15 × 2^15 is exactly the decoder's limit: only memory can refuse it.
    header.width = header.height = 32768;
    header.channels = 1;
    EXPECT_TRUE(ImageSizeProblem(header, int64_t(1) << 40).isEmpty());
    EXPECT_FALSE(ImageSizeProblem(header, int64_t(1) << 30).isEmpty());
    // No pixels claimed: the decoder decides.
    header.width = 0;
    EXPECT_TRUE(ImageSizeProblem(header, 0).isEmpty());
}

TEST_F(BadInputCli, HugeClaimedSizesNeverStopTheBatch)
{
    Write("a-huge.png", PngClaiming(100000, 100000, 8, 2));
    Write("b-big.png", PngClaiming(32767, 32767, 16, 6));
    Write("c-good.png", Encoded(".png"));
    QProcess process;
    process.setWorkingDirectory(dir.path());
    process.start(QStringLiteral(AUTOCOUNT_PROGRAM),
                  {"count", "a-huge.png", "b-big.png", "c-good.png"});
    ASSERT_TRUE(process.waitForFinished(120000));
    ASSERT_EQ(process.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(process.exitCode(), 1);
    const QString out = QString::fromUtf8(process.readAllStandardOutput());
    const QString err = QString::fromUtf8(process.readAllStandardError());
    EXPECT_TRUE(out.contains("c-good.png: 1 object")) << out.toStdString();
    EXPECT_TRUE(err.contains("a-huge.png")) << err.toStdString();
    EXPECT_TRUE(err.contains("b-big.png")) << err.toStdString();
}

} // namespace
