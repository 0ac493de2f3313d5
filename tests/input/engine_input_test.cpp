// The engine's image input on files made here: TIFF pages, tiles and BigTIFF
// through libtiff, samples deeper than 8 bits, the pixel size a file
// declares, and the files it must refuse (cut short, corrupt, special, too
// large), each with one line naming the reason and nothing on stderr.

#include "tiffwriter.h"

#include "bitdepth.h"
#include "catalogue.h"
#include "fluorescence.h"
#include "imageheader.h"
#include "imageinput.h"
#include "job.h"
#include "objectdata.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <opencv2/imgcodecs.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include <tiffio.h>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <thread>

namespace {

/// What the process writes to file descriptor 2 while it is alive.
class StderrCapture
{
public:
    StderrCapture()
    {
        std::fflush(stderr);
        file_ = std::tmpfile();
        saved_ = dup(2);
        dup2(fileno(file_), 2);
    }
    QByteArray Finish()
    {
        std::fflush(stderr);
        dup2(saved_, 2);
        close(saved_);
        std::rewind(file_);
        QByteArray text;
        char buffer[4096];
        size_t n;
        while ((n = std::fread(buffer, 1, sizeof buffer, file_)) > 0)
            text.append(buffer, int(n));
        std::fclose(file_);
        return text;
    }

private:
    std::FILE* file_ = nullptr;
    int saved_ = -1;
};

/// 8-bit level of @p value mapped from LOW..HIGH by the rule in bitdepth.h.
int Level(double value, double low, double high)
{
    const double scaled = (value - low) * 255.0 / (high - low);
    return int(std::lround(std::min(255.0, std::max(0.0, scaled))));
}

class EngineInput : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(dir.isValid()); }
    QString Path(const QString& name) const { return dir.filePath(name); }
    QString WriteBytes(const QString& name, const QByteArray& bytes)
    {
        QFile file(Path(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
        return file.fileName();
    }
    QString WriteTiff(const QString& name, const std::vector<tifftest::Page>& pages,
                      bool big = false)
    {
        EXPECT_TRUE(tifftest::Write(Path(name), pages, big));
        return Path(name);
    }
    static int Count(const QString& file, const CountSettings& settings = CountSettings())
    {
        const ImageResult result = job::Run(file, settings, ImageOutputs());
        EXPECT_TRUE(result.ok()) << result.error.toStdString();
        return result.count;
    }
    /// Refused with one line that contains @p named, no pixels and nothing on stderr.
    static ::testing::AssertionResult Refused(const QString& path, const QString& named)
    {
        StderrCapture capture;
        const InputImage input = ReadImage(path);
        const QByteArray printed = capture.Finish();
        if (!input.ok() && input.image.empty() && !input.error.contains('\n') &&
            input.error.contains(named, Qt::CaseInsensitive) && printed.isEmpty())
            return ::testing::AssertionSuccess();
        return ::testing::AssertionFailure()
               << path.toStdString() << ": '" << input.error.toStdString() << "', stderr '"
               << printed.toStdString() << "'";
    }
    QTemporaryDir dir;
};

// 12-bit samples packed as 12 bits: the file declares 0-4095, which becomes
// 0-255; not the 1/257 of a 16-bit container, which left them at 0-16.
TEST_F(EngineInput, TwelveBitTiffMapsItsDeclaredRangeOntoTheEightBits)
{
    tifftest::Page page;
    page.image = tifftest::Discs(3, CV_16U, 3000, 500);
    page.bits = 12;
    const QString path = WriteTiff("twelve.tif", {page});
    const InputImage input = ReadImage(path);
    ASSERT_TRUE(input.ok()) << input.error.toStdString();
    EXPECT_TRUE(input.source.converted);
    EXPECT_EQ(input.source.low, 0);
    EXPECT_EQ(input.source.high, 4095);
    EXPECT_EQ(input.source.rangeSource, "file: BitsPerSample 12");
    EXPECT_EQ(input.image.at<cv::Vec3b>(5, 5)[0], Level(3000, 0, 4095));  // 187
    EXPECT_EQ(input.image.at<cv::Vec3b>(80, 53)[0], Level(500, 0, 4095)); // 31
    EXPECT_EQ(Count(path), 3);

    // The objects' intensities in the file's units: the inverse mapping,
    // LOW + level × (HIGH - LOW) / 255, of the module's 8-bit measurements;
    // the integral sums that over the object's pixels. The darkest pixel of
    // a disc is the disc's 500, within half a step (4095 / 255 / 2).
    const ImageResult result = job::Run(path, CountSettings(), ImageOutputs());
    ASSERT_TRUE(result.ok()) << result.error.toStdString();
    ASSERT_EQ(result.source.original.size(), 3);
    const auto column = [&](const char* key) {
        const auto& keys = objectdata::Keys();
        return static_cast<int>(
            std::find_if(keys.begin(), keys.end(),
                         [&](const char* k) { return std::strcmp(k, key) == 0; }) -
            keys.begin());
    };
    const double step = 4095.0 / 255;
    for (int i = 0; i < 3; ++i) {
        const auto& object = result.objects[i];
        const QList<double>& original = result.source.original[i];
        EXPECT_NEAR(original[0], object[column("mean_gray")] * step, step * 5e-4);
        EXPECT_NEAR(original[1], object[column("min_gray")] * step, 1e-9);
        EXPECT_NEAR(original[2], object[column("max_gray")] * step, 1e-9);
        EXPECT_NEAR(original[3], object[column("integral")] * step, 1e-6 * original[3]);
        EXPECT_NEAR(original[1], 500, step / 2);
    }
}

// 12-bit data in 16-bit samples declares no range: the image's minimum and
// maximum become 0 and 255, unless the batch fixes the range.
TEST_F(EngineInput, TwelveBitDataInSixteenBitsStretchesUnlessTheBatchFixesTheRange)
{
    tifftest::Page page;
    page.image = tifftest::Discs(4, CV_16U, 3000, 500);
    const QString path = WriteTiff("sixteen.tif", {page});
    InputImage input = ReadImage(path);
    ASSERT_TRUE(input.ok()) << input.error.toStdString();
    EXPECT_EQ(input.source.rangeSource, "image minimum and maximum");
    EXPECT_EQ(input.source.low, 500);
    EXPECT_EQ(input.source.high, 3000);
    EXPECT_EQ(input.image.at<cv::Vec3b>(5, 5)[0], 255);
    EXPECT_EQ(input.image.at<cv::Vec3b>(80, 53)[0], 0);

    InputSettings bits;
    bits.bits = 12;
    input = ReadImage(path, bits);
    EXPECT_EQ(input.source.rangeSource, "option --bits 12");
    EXPECT_EQ(input.image.at<cv::Vec3b>(5, 5)[0], Level(3000, 0, 4095));
    EXPECT_EQ(input.image.at<cv::Vec3b>(80, 53)[0], Level(500, 0, 4095));

    InputSettings range;
    range.range = qMakePair(100.0, 6100.0);
    input = ReadImage(path, range);
    EXPECT_EQ(input.image.at<cv::Vec3b>(5, 5)[0], Level(3000, 100, 6100));  // 123
    EXPECT_EQ(input.image.at<cv::Vec3b>(80, 53)[0], Level(500, 100, 6100)); // 17
    CountSettings settings;
    settings.input = range;
    EXPECT_EQ(Count(path, settings), 4);
}

// PNG and PGM deeper than 8 bits take the same rule as TIFF.
TEST_F(EngineInput, SixteenBitPngAndPgmFollowTheSameRule)
{
    const cv::Mat image = tifftest::Discs(2, CV_16U, 3000, 500);
    ASSERT_TRUE(cv::imwrite(Path("deep.png").toStdString(), image));
    InputImage input = ReadImage(Path("deep.png"));
    ASSERT_TRUE(input.ok()) << input.error.toStdString();
    EXPECT_EQ(input.source.rangeSource, "image minimum and maximum");
    EXPECT_EQ(input.image.at<cv::Vec3b>(5, 5)[0], 255);

    // PGM with maxval 4095: the header declares 12 bits.
    QByteArray pgm = QByteArray("P5\n") + QByteArray::number(image.cols) + " " +
                     QByteArray::number(image.rows) + "\n4095\n";
    for (int y = 0; y < image.rows; ++y)
        for (int x = 0; x < image.cols; ++x) {
            const uint16_t v = image.at<uint16_t>(y, x);
            pgm.append(char(v >> 8)).append(char(v & 0xff));
        }
    input = ReadImage(WriteBytes("deep.pgm", pgm));
    ASSERT_TRUE(input.ok()) << input.error.toStdString();
    EXPECT_EQ(input.source.high, 4095);
    EXPECT_EQ(input.image.at<cv::Vec3b>(5, 5)[0], Level(3000, 0, 4095));
    EXPECT_EQ(Count(Path("deep.pgm")), 2);
}

// Nuclei in a 16-bit file whose samples run only from 0 to 250 count as the
// 8-bit stretch of the image's own range does (a fixed division by 257 left
// them at levels 0 and 1).
TEST_F(EngineInput, DimSixteenBitNucleiCountLikeTheirEightBitStretch)
{
    fluorescence::SceneParams p;
    p.size = cv::Size(600, 450);
    p.minRadius = 12;
    p.seed = 5;
    const fluorescence::Scene scene = fluorescence::MakeScene(p);
    cv::Mat grey, deep;
    cv::extractChannel(scene.image, grey, 0);
    grey.convertTo(deep, CV_16U, 250.0 / 255.0);
    double low = 0, high = 0;
    cv::minMaxLoc(deep, &low, &high);
    cv::Mat stretch(deep.size(), CV_8UC1);
    for (int y = 0; y < deep.rows; ++y)
        for (int x = 0; x < deep.cols; ++x)
            stretch.at<unsigned char>(y, x) = static_cast<unsigned char>(
                std::lround((deep.at<uint16_t>(y, x) - low) * 255 / (high - low)));
    ASSERT_TRUE(cv::imwrite(Path("deep.png").toStdString(), deep));
    ASSERT_TRUE(cv::imwrite(Path("stretch.png").toStdString(), stretch));
    CountSettings bright;
    bright.mode = SegmentMode::Bright;
    const int stretched = Count(Path("stretch.png"), bright);
    EXPECT_GT(stretched, static_cast<int>(scene.nuclei.size()) * 9 / 10);
    EXPECT_EQ(Count(Path("deep.png"), bright), stretched);
}

// Three pages with 2, 3 and 5 discs: each page counts its own; without a
// page the first is counted and the others are mentioned.
TEST_F(EngineInput, EveryPageOfAStackCountsItsOwnDiscs)
{
    std::vector<tifftest::Page> pages(3);
    const int discs[3] = {2, 3, 5};
    for (int i = 0; i < 3; ++i)
        pages[i].image = tifftest::Discs(discs[i], CV_8U, 220, 30);
    const QString path = WriteTiff("stack.tif", pages);
    EXPECT_EQ(PageCount(path), 3);
    for (int i = 0; i < 3; ++i) {
        const ImageResult result = job::Run(PageName(path, i + 1), CountSettings(), ImageOutputs());
        ASSERT_TRUE(result.ok()) << result.error.toStdString();
        EXPECT_EQ(result.count, discs[i]);
        EXPECT_EQ(result.file, PageName(path, i + 1));
        EXPECT_EQ(result.source.page, i + 1);
        EXPECT_EQ(result.source.pages, 3);
    }
    const ImageResult first = job::Run(path, CountSettings(), ImageOutputs());
    EXPECT_EQ(first.count, 2);
    ASSERT_FALSE(first.source.notes.isEmpty());
    EXPECT_TRUE(first.source.notes.first().contains("3 pages"))
        << first.source.notes.join("|").toStdString();
    CountSettings third;
    third.input.page = 3;
    EXPECT_EQ(Count(path, third), 5);
    EXPECT_TRUE(Refused(PageName(path, 4), "no page 4"));
}

std::string Ome(const char* size, const char* unit, const char* sizeY)
{
    return std::string("<?xml version=\"1.0\" encoding=\"UTF-8\"?>"
                       "<OME xmlns=\"http://www.openmicroscopy.org/Schemas/OME/2016-06\">"
                       "<Image ID=\"Image:0\"><Pixels ID=\"Pixels:0\" DimensionOrder=\"XYZCT\" "
                       "Type=\"uint8\" SizeX=\"320\" SizeY=\"240\" SizeC=\"1\" SizeZ=\"3\" "
                       "SizeT=\"1\" PhysicalSizeX=\"") +
           size + "\" PhysicalSizeXUnit=\"" + unit + "\" PhysicalSizeY=\"" + sizeY +
           "\" PhysicalSizeYUnit=\"" + unit +
           "\"><TiffData IFD=\"0\" PlaneCount=\"3\"/></Pixels></Image></OME>";
}

// OME-TIFF z-stack with 0.5 µm pixels: the calibration comes from the file
// and areas are the pixel areas times 0.25; each page knows its z.
TEST_F(EngineInput, OmeTiffGivesThePixelSizeAndEachPlanesIndices)
{
    std::vector<tifftest::Page> pages(3);
    for (int i = 0; i < 3; ++i)
        pages[i].image = tifftest::Discs(i + 2, CV_8U, 220, 30);
    pages[0].description = Ome("500", "nm", "500");
    const QString path = WriteTiff("stack.ome.tif", pages);

    CountSettings pixels;
    pixels.input.fileCalibration = false; // as --scale 1 --unit px
    const ImageResult inPixels = job::Run(PageName(path, 2), pixels, ImageOutputs());
    const ImageResult fromFile = job::Run(PageName(path, 2), CountSettings(), ImageOutputs());
    ASSERT_TRUE(inPixels.ok() && fromFile.ok()) << fromFile.error.toStdString();
    EXPECT_EQ(fromFile.count, 3);
    EXPECT_EQ(fromFile.source.calibrationSource, "file: OME-XML");
    EXPECT_EQ(fromFile.source.plane, "c=0 z=1 t=0");
    EXPECT_EQ(fromFile.unit, QStringLiteral("µm"));
    EXPECT_DOUBLE_EQ(fromFile.source.scale, 0.5);
    ASSERT_TRUE(inPixels.meanArea && fromFile.meanArea);
    EXPECT_NEAR(*fromFile.meanArea, *inPixels.meanArea * 0.25, 1e-9 * *inPixels.meanArea);
    EXPECT_TRUE(imageresult::SummaryLine(fromFile).contains("(file: OME-XML)"));

    // The unit asked for: nanometres.
    CountSettings nm;
    nm.unit = "nm";
    nm.defaultFilters = false; // the default area filter stops at 10^7 nm²
    const ImageResult inNm = job::Run(PageName(path, 2), nm, ImageOutputs());
    EXPECT_DOUBLE_EQ(inNm.source.scale, 500);
    EXPECT_NEAR(*inNm.meanArea, *inPixels.meanArea * 250000, 1e-9 * *inNm.meanArea);

    // An option's scale wins over the file's.
    CountSettings option;
    option.scale = 2;
    option.unit = "mm";
    option.input.fileCalibration = false;
    const ImageResult byOption = job::Run(PageName(path, 2), option, ImageOutputs());
    EXPECT_EQ(byOption.source.calibrationSource, "option");
    EXPECT_TRUE(byOption.source.notes.join(' ').contains("the file declares 0.5 × 0.5 µm pixels"))
        << byOption.source.notes.join('|').toStdString();
    EXPECT_NEAR(*byOption.meanArea, *inPixels.meanArea * 4, 1e-9 * *byOption.meanArea);
}

TEST_F(EngineInput, PixelsThatAreNotSquareAreNotedNotAveraged)
{
    tifftest::Page page;
    page.image = tifftest::Discs(2, CV_8U, 220, 30);
    page.description = Ome("0.5", "µm", "0.75");
    const ImageResult result =
        job::Run(WriteTiff("wide.tif", {page}), CountSettings(), ImageOutputs());
    ASSERT_TRUE(result.ok());
    EXPECT_DOUBLE_EQ(result.source.scale, 0.5);
    EXPECT_DOUBLE_EQ(result.source.scaleY, 0.75);
    EXPECT_TRUE(result.source.notes.join(' ').contains("not square"));
}

// 20000 pixels per cm and 50800 per inch are both 0.5 µm.
TEST_F(EngineInput, ResolutionTagsInCentimetresAndInchesCalibrate)
{
    for (const auto& [resolution, unit] : {std::pair<float, int>{20000.f, 3}, {50800.f, 2}}) {
        tifftest::Page page;
        page.image = tifftest::Discs(2, CV_8U, 220, 30);
        page.xResolution = resolution;
        page.resolutionUnit = unit;
        const ImageResult result = job::Run(WriteTiff(QString("res%1.tif").arg(unit), {page}),
                                            CountSettings(), ImageOutputs());
        ASSERT_TRUE(result.ok()) << result.error.toStdString();
        EXPECT_EQ(result.source.calibrationSource, "file: resolution tags");
        EXPECT_NEAR(result.source.scale, 0.5, 1e-6);
        EXPECT_EQ(result.unit, QStringLiteral("µm"));
    }
}

// Tiles (whose edges reach past the image), BigTIFF and RGB decode to the
// same pixels as plain strips.
TEST_F(EngineInput, TilesBigTiffAndRgbDecodeLikeStrips)
{
    tifftest::Page strips;
    strips.image = tifftest::Discs(3, CV_16U, 3000, 500, {150, 100}, 8);
    strips.bits = 12;
    tifftest::Page tiles = strips;
    tiles.tile = 32;
    const InputImage a = ReadImage(WriteTiff("strips.tif", {strips}));
    const InputImage b = ReadImage(WriteTiff("tiles.tif", {tiles}));
    const InputImage c = ReadImage(WriteTiff("big.tif", {tiles}, true));
    ASSERT_TRUE(a.ok() && b.ok() && c.ok()) << b.error.toStdString() << c.error.toStdString();
    EXPECT_EQ(cv::norm(a.image, b.image, cv::NORM_INF), 0);
    EXPECT_EQ(cv::norm(a.image, c.image, cv::NORM_INF), 0);

    // RGB, stored red first, arrives as the module's BGR, whether the planes
    // are interleaved or stored apart.
    tifftest::Page rgb;
    rgb.image = cv::Mat(40, 50, CV_8UC3, cv::Scalar(10, 20, 30));
    tifftest::Page planes = rgb;
    planes.separatePlanes = true;
    const InputImage d = ReadImage(WriteTiff("rgb.tif", {rgb}));
    const InputImage e = ReadImage(WriteTiff("planes.tif", {planes}));
    ASSERT_TRUE(d.ok() && e.ok()) << e.error.toStdString();
    EXPECT_EQ(d.image.at<cv::Vec3b>(0, 0), cv::Vec3b(30, 20, 10));
    EXPECT_EQ(e.image.at<cv::Vec3b>(39, 49), cv::Vec3b(30, 20, 10));

    // Minimum-is-white grey: stored 30 is 225 counted as minimum-is-black.
    tifftest::Page white;
    white.image = cv::Mat(40, 50, CV_8U, cv::Scalar(30));
    white.minIsWhite = true;
    const InputImage f = ReadImage(WriteTiff("white.tif", {white}));
    ASSERT_TRUE(f.ok());
    EXPECT_EQ(f.image.at<cv::Vec3b>(0, 0), cv::Vec3b(225, 225, 225));
}

// A TIFF cut short: refused with libtiff's words on the one line, and
// nothing of libtiff's on stderr.
TEST_F(EngineInput, TruncatedTiffIsRefusedWithLibtiffsWordsOnItsLine)
{
    tifftest::Page page;
    page.image = tifftest::Discs(3, CV_8U, 220, 30);
    const QString whole = WriteTiff("whole.tif", {page});
    QFile file(whole);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray bytes = file.readAll();
    // The directory comes after the pixels: keep it and cut into the strips.
    QByteArray cut = bytes;
    cut.truncate(bytes.size() / 3);
    EXPECT_TRUE(Refused(WriteBytes("cut.tif", cut), "tiff"));
    QByteArray holed = bytes;
    // Strip offsets pointing past the end: the data was lost.
    EXPECT_TRUE(Refused(WriteBytes("eight.tif", bytes.left(8)), "tiff"));
}

// Headers that claim absurd sizes are refused before any decoding, for every
// format: a WebP of 30000 × 20000, a BigTIFF of 30000 × 30000 16-bit RGB.
TEST_F(EngineInput, DecompressionBombsAreRefusedFromTheirHeaders)
{
    // RIFF/WEBP with an extended header: canvas width-1 and height-1 in 24 bits.
    QByteArray webp("RIFF\x40\0\0\0WEBPVP8X\x0a\0\0\0\0\0\0\0", 24);
    auto three = [](int v) {
        return QByteArray(1, char(v & 0xff)) + char((v >> 8) & 0xff) + char(v >> 16);
    };
    webp += three(30000 - 1) + three(20000 - 1) + QByteArray(40, '\0');
    EXPECT_TRUE(Refused(WriteBytes("bomb.webp", webp), "30000 × 20000"));

    // A BigTIFF whose directory claims 30000 × 30000 16-bit RGB samples.
    TIFF* tif = TIFFOpen(Path("bomb.tif").toUtf8().constData(), "w8");
    ASSERT_TRUE(tif);
    TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, 30000u);
    TIFFSetField(tif, TIFFTAG_IMAGELENGTH, 30000u);
    TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, 16);
    TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, 3);
    TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
    TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, 30000u);
    std::vector<uint8_t> row(30000 * 6, 0);
    TIFFWriteScanline(tif, row.data(), 0, 0);
    TIFFClose(tif);
    EXPECT_TRUE(Refused(Path("bomb.tif"), "30000 × 30000"));

    // PNM, Sun raster and JPEG 2000 (codestream and JP2) headers, 40000 × 40000.
    EXPECT_TRUE(Refused(
        WriteBytes("bomb.pgm", "P5\n# made here\n40000 40000\n255\n" + QByteArray(64, '\0')),
        "40000 × 40000"));
    auto big = [](uint32_t v) {
        return QByteArray(1, char(v >> 24)) + char(v >> 16) + char(v >> 8) + char(v);
    };
    EXPECT_TRUE(Refused(WriteBytes("bomb.ras", QByteArray("\x59\xa6\x6a\x95", 4) + big(40000) +
                                                   big(40000) + big(24) + QByteArray(64, '\0')),
                        "40000 × 40000"));
    const QByteArray siz = QByteArray("\xff\x4f\xff\x51\x00\x29\x00\x00", 8) + big(40000) +
                           big(40000) + big(0) + big(0) + big(40000) + big(40000) + big(0) +
                           big(0) + QByteArray("\x00\x01\x07\x01\x01", 5) + QByteArray(64, '\0');
    EXPECT_TRUE(Refused(WriteBytes("bomb.j2k", siz), "40000 × 40000"));
    const QByteArray jp2 = QByteArray("\0\0\0\x0cjP  \r\n\x87\n\0\0\0\x2djp2h\0\0\0\x16ihdr", 28) +
                           big(40000) + big(40000) + QByteArray("\x00\x03\x07\x07\x00\x00", 6) +
                           QByteArray(64, '\0');
    EXPECT_TRUE(Refused(WriteBytes("bomb.jp2", jp2), "40000 × 40000"));
    // Floating-point formats are refused before decoding; unknown headers too.
    EXPECT_TRUE(Refused(WriteBytes("sky.hdr", "#?RADIANCE\nFORMAT=32-bit_rle_rgbe\n\n-Y 9 +X 9\n"),
                        "floating point"));
    EXPECT_TRUE(Refused(WriteBytes("what.png", QByteArray(64, 'x')), "not an image"));

    // A 16 × 16 TIFF whose one tile claims 65536 × 65536 pixels.
    TIFF* tiled = TIFFOpen(Path("tile.tif").toUtf8().constData(), "w");
    ASSERT_TRUE(tiled);
    TIFFSetField(tiled, TIFFTAG_IMAGEWIDTH, 16u);
    TIFFSetField(tiled, TIFFTAG_IMAGELENGTH, 16u);
    TIFFSetField(tiled, TIFFTAG_BITSPERSAMPLE, 8);
    TIFFSetField(tiled, TIFFTAG_SAMPLESPERPIXEL, 1);
    TIFFSetField(tiled, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
    TIFFSetField(tiled, TIFFTAG_TILEWIDTH, 65536u);
    TIFFSetField(tiled, TIFFTAG_TILELENGTH, 65536u);
    TIFFWriteCheck(tiled, 1, "test");
    TIFFWriteDirectory(tiled);
    TIFFClose(tiled);
    EXPECT_TRUE(Refused(Path("tile.tif"), "a tile of 4096 MB"));

    // The pixel limit is the batch's to raise.
    ImageHeader header;
    header.width = 25000;
    header.height = 20000;
    header.channels = 1;
    EXPECT_TRUE(ImageSizeProblem(header, int64_t(1) << 50).contains("--max-pixels"));
    EXPECT_TRUE(ImageSizeProblem(header, int64_t(1) << 50, 600000000).isEmpty());
}

// A JPEG without its end or with corrupt entropy data is corrupt: the
// decoder's warning is the reason, and nothing reaches stderr.
TEST_F(EngineInput, TruncatedJpegIsCorruptAndSaysSoOnItsLine)
{
    std::vector<uchar> encoded;
    ASSERT_TRUE(cv::imencode(".jpg", tifftest::Discs(3, CV_8U, 220, 30), encoded));
    const QByteArray whole(reinterpret_cast<const char*>(encoded.data()), int(encoded.size()));
    ASSERT_TRUE(ReadImage(WriteBytes("whole.jpg", whole)).ok());
    EXPECT_TRUE(Refused(WriteBytes("cut.jpg", whole.left(whole.size() * 2 / 3)), "libjpeg"));
    EXPECT_TRUE(Refused(WriteBytes("noend.jpg", whole.left(whole.size() - 2)), "jpeg"));

    // Corrupt entropy data: zeroed bytes, and a marker amid the scan.
    const int scan = whole.indexOf(QByteArray("\xff\xda", 2));
    ASSERT_GT(scan, 0);
    QByteArray zeroed = whole;
    for (int i = 0; i < 40; ++i)
        zeroed[scan + 200 + i] = '\0';
    EXPECT_TRUE(Refused(WriteBytes("zeroed.jpg", zeroed), "Corrupt JPEG data"));
    QByteArray marker = whole;
    marker.insert(scan + (whole.size() - scan) / 2, QByteArray("\xff\xd3", 2));
    EXPECT_TRUE(Refused(WriteBytes("marker.jpg", marker), "Corrupt JPEG data"));
}

// Files read on several threads at once keep their own decoder's words: a
// cut TIFF's error names libtiff only, a cut JPEG's libjpeg only, a cut BMP
// (decoded by OpenCV) neither; and nothing reaches stderr.
TEST_F(EngineInput, DecoderMessagesStayWithTheirFileOnSeveralThreads)
{
    tifftest::Page page;
    page.image = tifftest::Discs(3, CV_8U, 220, 30);
    const QString tiff = WriteTiff("whole.tif", {page});
    QFile whole(tiff);
    ASSERT_TRUE(whole.open(QIODevice::ReadOnly));
    const QString cutTiff = WriteBytes("cut.tif", whole.readAll().left(20000));
    std::vector<uchar> jpeg, bmp;
    ASSERT_TRUE(cv::imencode(".jpg", page.image, jpeg));
    ASSERT_TRUE(cv::imencode(".bmp", page.image, bmp));
    const QString cutJpeg = WriteBytes(
        "cut.jpg", QByteArray(reinterpret_cast<const char*>(jpeg.data()), int(jpeg.size()) / 2));
    const QString cutBmp = WriteBytes(
        "cut.bmp", QByteArray(reinterpret_cast<const char*>(bmp.data()), int(bmp.size()) / 2));
    ASSERT_FALSE(ReadImage(cutTiff).ok());

    struct Case
    {
        QString path;
        const char* mine;
        QStringList others;
    };
    const std::vector<Case> cases = {{cutTiff, "libtiff", {"libjpeg", "libpng"}},
                                     {cutJpeg, "libjpeg", {"libtiff", "libpng"}},
                                     {cutBmp, "", {"libtiff", "libjpeg", "libpng"}}};
    StderrCapture capture;
    std::vector<QStringList> errors(cases.size());
    std::vector<std::thread> threads;
    for (size_t c = 0; c < cases.size(); ++c)
        threads.emplace_back([&, c] {
            for (int i = 0; i < 30; ++i)
                errors[c] << ReadImage(cases[c].path).error;
        });
    for (std::thread& thread : threads)
        thread.join();
    const QByteArray printed = capture.Finish();
    EXPECT_TRUE(printed.isEmpty()) << printed.toStdString();
    for (size_t c = 0; c < cases.size(); ++c)
        for (const QString& error : errors[c]) {
            EXPECT_FALSE(error.isEmpty()) << cases[c].path.toStdString();
            EXPECT_TRUE(error.contains(cases[c].mine)) << error.toStdString();
            for (const QString& other : cases[c].others)
                EXPECT_FALSE(error.contains(other)) << error.toStdString();
        }
}

// FIFOs, sockets and devices are refused from their type, never opened.
TEST_F(EngineInput, SpecialFilesAreRefusedUnread)
{
    const QString fifo = Path("pipe.png");
    ASSERT_EQ(mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
    EXPECT_TRUE(Refused(fifo, "FIFO"));
    EXPECT_EQ(PageCount(fifo), 0); // not opened either

    const QString socketPath = Path("s.png");
    const int s = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s",
                  QFile::encodeName(socketPath).constData());
    ASSERT_EQ(bind(s, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    EXPECT_TRUE(Refused(socketPath, "socket"));
    close(s);
    EXPECT_TRUE(Refused("/dev/zero", "device"));

    ASSERT_EQ(symlink("nowhere.png", QFile::encodeName(Path("dangling.png")).constData()), 0);
    EXPECT_TRUE(Refused(Path("dangling.png"), "dangling"));
}

} // namespace

namespace {

// The memory left is the least of MemAvailable and each control group's
// limit minus its usage, v2 and v1, walking up to the mount's root.
TEST(EngineMemory, ControlGroupLimitsBoundTheMemoryAvailable)
{
    QTemporaryDir root;
    ASSERT_TRUE(root.isValid());
    auto write = [&root](const QString& name, const QByteArray& text) {
        QDir().mkpath(QFileInfo(root.filePath(name)).absolutePath());
        QFile file(root.filePath(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(text);
    };
    MemorySources from;
    from.meminfo = root.filePath("meminfo");
    from.status = root.filePath("status");
    from.cgroup = root.filePath("cgroup");
    from.cgroupMount = root.filePath("fs");
    write("meminfo", "MemTotal: 16000000 kB\nMemAvailable:    8000000 kB\n");
    write("status", "VmSize: 1000 kB\n");

    // cgroup v2: the group allows 1 GiB and uses 256 MiB; its parent has no limit.
    write("cgroup", "0::/jobs/counter\n");
    write("fs/jobs/counter/memory.max", "1073741824\n");
    write("fs/jobs/counter/memory.current", "268435456\n");
    write("fs/jobs/memory.max", "max\n");
    EXPECT_EQ(AvailableMemory(from), 1073741824 - 268435456);

    // A parent's tighter limit counts too.
    write("fs/jobs/memory.max", "536870912\n");
    write("fs/jobs/memory.current", "500000000\n");
    EXPECT_EQ(AvailableMemory(from), 536870912 - 500000000);

    // cgroup v1 (with v2 unused beside it), the "no limit" value skipped.
    write("cgroup", "4:memory:/batch\n0::/\n");
    write("fs/memory/batch/memory.limit_in_bytes", "2147483648\n");
    write("fs/memory/batch/memory.usage_in_bytes", "147483648\n");
    write("fs/memory/memory.limit_in_bytes", "9223372036854771712\n");
    EXPECT_EQ(AvailableMemory(from), 2000000000);

    // No group limit: MemAvailable.
    write("fs/memory/batch/memory.limit_in_bytes", "9223372036854771712\n");
    EXPECT_EQ(AvailableMemory(from), int64_t(8000000) * 1024);
}

} // namespace
