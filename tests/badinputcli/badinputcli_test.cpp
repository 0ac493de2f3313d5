// Image files that cannot be counted (truncated, not images at all, or
// claiming more pixels than memory holds) and report paths that cannot be
// written.

#include "imageinput.h"

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
    const char b[4] = {char(v >> 24), char(v >> 16), char(v >> 8), char(v)};
    return QByteArray(b, 4);
}

QByteArray Chunk(const char* type, const QByteArray& data)
{
    const QByteArray body = type + data;
    return BigEndian(static_cast<uint32_t>(data.size())) + body + BigEndian(Crc32(body));
}

// A well-formed PNG of a few bytes whose header claims width × height pixels.
QByteArray PngClaiming(uint32_t width, uint32_t height, char bitDepth, char colourType)
{
    const QByteArray header =
        BigEndian(width) + BigEndian(height) + bitDepth + colourType + QByteArray(3, '\0');
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

// The loader refuses the file, keeps no pixels and gives a reason of one line
// that contains @p named.
::testing::AssertionResult Refused(const QString& path, const QString& named = {})
{
    const LoadedImage loaded = LoadImageFile(path);
    if (!loaded.ok() && loaded.image.empty() && !loaded.error.contains('\n') &&
        loaded.error.contains(named))
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure()
           << path.toStdString() << ": " << loaded.error.toStdString();
}

struct BadInputCli : ::testing::Test
{
    QString Write(const QString& name, const QByteArray& bytes)
    {
        QFile file(dir.filePath(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
        return file.fileName();
    }
    QTemporaryDir dir;
};

// Truncated files of every format and files that are not images. (Corrupt
// bytes of every kind are the image-file fuzz target's corpus.)
TEST_F(BadInputCli, TruncatedAndNonImageFilesAreRefusedInOneLine)
{
    for (const char* ext : {".png", ".jpg", ".bmp", ".tif"}) {
        const QByteArray whole = Encoded(ext);
        for (const int keep : {8, 40, whole.size() / 2})
            EXPECT_TRUE(Refused(Write(QString("cut%1%2").arg(keep).arg(ext), whole.left(keep))));
    }
    EXPECT_TRUE(Refused(Write("notes.png", "counting notes, not a picture\n")));
    EXPECT_TRUE(Refused(Write("zeros.tif", QByteArray(4096, '\0'))));
    EXPECT_TRUE(Refused(Write("signature.png", QByteArray("\x89PNG\r\n\x1a\n", 8))));
}

// A 1 kB file's header may claim any size: the loader refuses it before
// decoding, naming it (32767 × 32767 16-bit RGBA is under the library's pixel
// limit but would take 8.6 GB), and the program names each such file and
// counts the rest of the batch.
TEST_F(BadInputCli, HugeClaimedSizesAreRefusedByNameAndNeverStopTheBatch)
{
    EXPECT_TRUE(Refused(Write("a-huge.png", PngClaiming(100000, 100000, 8, 2)), "100000"));
    EXPECT_TRUE(Refused(Write("b-big.png", PngClaiming(32767, 32767, 16, 6)), "32767"));
    Write("c-good.png", Encoded(".png"));
    QProcess process;
    process.setWorkingDirectory(dir.path());
    process.start(QStringLiteral(AUTOCOUNT_PROGRAM),
                  {"count", "a-huge.png", "b-big.png", "c-good.png"});
    ASSERT_TRUE(process.waitForFinished(120000));
    ASSERT_EQ(process.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(process.exitCode(), 1);
    const QString out = process.readAllStandardOutput(), err = process.readAllStandardError();
    EXPECT_TRUE(out.contains("c-good.png: 1 object")) << out.toStdString();
    EXPECT_TRUE(err.contains("a-huge.png") && err.contains("b-big.png")) << err.toStdString();
}

// The count still comes out; the report that cannot be written is named on
// standard error, the status is 1 and the file in the way is untouched.
TEST_F(BadInputCli, UnwritableReportPathsAreNamedAndTheCountStillComesOut)
{
    Write("c.png", Encoded(".png"));
    Write("notes.txt", "keep me");
    for (const QString report : {"notes.txt/r.xlsx", "/proc/autocount-r.xlsx"}) {
        QProcess process;
        process.setWorkingDirectory(dir.path());
        process.start(QStringLiteral(AUTOCOUNT_PROGRAM), {"count", "--report", report, "c.png"});
        ASSERT_TRUE(process.waitForFinished(120000));
        EXPECT_EQ(process.exitCode(), 1) << report.toStdString();
        EXPECT_TRUE(QString(process.readAllStandardOutput()).contains("c.png: 1 object"));
        const QString err = process.readAllStandardError();
        EXPECT_TRUE(err.startsWith("autocount: " + report)) << err.toStdString();
    }
    QFile notes(dir.filePath("notes.txt"));
    ASSERT_TRUE(notes.open(QIODevice::ReadOnly));
    EXPECT_EQ(notes.readAll(), "keep me");
    EXPECT_FALSE(QFile::exists("/proc/autocount-r.xlsx"));
}

} // namespace
