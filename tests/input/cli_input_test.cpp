// The autocount program on input files made here: the pages of a stack, an
// OME-TIFF's pixel size, and the inputs it must refuse one by one while the
// rest of the batch is counted (a corrupt JPEG, a FIFO, unreadable files in a
// folder, an image too large for the memory left, memory running out).

#include "tiffwriter.h"

#include "filenames.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QProcessEnvironment>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtEndian>

#include <opencv2/imgcodecs.hpp>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

namespace {

struct Outcome
{
    int exitCode = -1;
    QString out;
    QString err;
};

class CliInput : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(dir.isValid()); }
    QString Path(const QString& name) const { return dir.filePath(name); }

    Outcome Run(const QStringList& arguments, const QString& program = AUTOCOUNT_PROGRAM,
                const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment())
    {
        QProcess process;
        process.setWorkingDirectory(dir.path());
        process.setProcessEnvironment(environment);
        process.start(program, arguments);
        EXPECT_TRUE(process.waitForFinished(120000)) << "did not finish";
        Outcome o;
        o.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
        o.out = QString::fromUtf8(process.readAllStandardOutput());
        o.err = QString::fromUtf8(process.readAllStandardError());
        return o;
    }
    QString WriteDiscs(const QString& name, int discs)
    {
        EXPECT_TRUE(cv::imwrite(QFile::encodeName(Path(name)).toStdString(),
                                tifftest::Discs(discs, CV_8U, 220, 30)));
        return name;
    }
    /// Every line of @p err is the program's own: "autocount: ...".
    static ::testing::AssertionResult OnlyOwnLines(const QString& err)
    {
        for (const QString& line : err.split('\n', Qt::SkipEmptyParts))
            if (!line.startsWith(QLatin1String("autocount: ")))
                return ::testing::AssertionFailure()
                       << "raw line on stderr: " << line.toStdString();
        return ::testing::AssertionSuccess();
    }
    QTemporaryDir dir;
};

std::string Ome()
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>"
           "<OME xmlns=\"http://www.openmicroscopy.org/Schemas/OME/2016-06\">"
           "<Image ID=\"Image:0\"><Pixels ID=\"Pixels:0\" DimensionOrder=\"XYZCT\" "
           "Type=\"uint16\" SizeX=\"320\" SizeY=\"240\" SizeC=\"1\" SizeZ=\"3\" SizeT=\"1\" "
           "SignificantBits=\"12\" PhysicalSizeX=\"0.5\" PhysicalSizeY=\"0.5\">"
           "<TiffData/></Pixels></Image></OME>";
}

// A 12-bit OME-TIFF z-stack of 2, 3 and 5 discs with 0.5 µm pixels: --page
// all counts every page under its own name in the lines, the JSON and the
// summary table; without --page, page 1 is counted and the rest mentioned.
TEST_F(CliInput, PageAllCountsEveryPageOfAnOmeStackUnderItsOwnName)
{
    std::vector<tifftest::Page> pages(3);
    const int discs[3] = {2, 3, 5};
    for (int i = 0; i < 3; ++i)
        pages[i].image = tifftest::Discs(discs[i], CV_16U, 3000, 500);
    pages[0].description = Ome();
    ASSERT_TRUE(tifftest::Write(Path("stack.tif"), pages));

    const Outcome all = Run({"count", "--page", "all", "--json", "--summary", "summary.csv",
                             "--table", "{stem}.csv", "stack.tif"});
    ASSERT_EQ(all.exitCode, 0) << all.err.toStdString();
    const QJsonArray images =
        QJsonDocument::fromJson(all.out.toUtf8()).object().value("images").toArray();
    ASSERT_EQ(images.size(), 3) << all.out.toStdString();
    for (int i = 0; i < 3; ++i) {
        const QJsonObject image = images[i].toObject();
        EXPECT_EQ(image.value("file").toString(), QString("stack.tif[%1]").arg(i + 1));
        EXPECT_EQ(image.value("count").toInt(), discs[i]);
        const QJsonObject input = image.value("input").toObject();
        EXPECT_EQ(input.value("plane").toString(), QString("c=0 z=%1 t=0").arg(i));
        const QJsonObject conversion = input.value("conversion").toObject();
        EXPECT_EQ(conversion.value("from").toArray().at(1).toDouble(), 4095);
        EXPECT_EQ(conversion.value("source").toString(), "file: OME SignificantBits 12");
        const QJsonObject calibration = input.value("calibration").toObject();
        EXPECT_EQ(calibration.value("source").toString(), "file: OME-XML");
        EXPECT_EQ(calibration.value("scale").toDouble(), 0.5);
        EXPECT_TRUE(QFile::exists(Path(QString("stack[%1].csv").arg(i + 1))));
        EXPECT_TRUE(all.err.contains(QString("stack.tif[%1]: %2 objects").arg(i + 1).arg(discs[i])))
            << all.err.toStdString();
    }
    QFile summary(Path("summary.csv"));
    ASSERT_TRUE(summary.open(QIODevice::ReadOnly));
    EXPECT_TRUE(summary.readAll().contains("stack.tif[3]"));
    QFile sidecar(Path("stack[2].settings.json"));
    ASSERT_TRUE(sidecar.open(QIODevice::ReadOnly));
    EXPECT_EQ(QJsonDocument::fromJson(sidecar.readAll()).object().value("calibration").toString(),
              "file: OME-XML");

    // Threads and worker processes hand on the same records.
    for (const QStringList& how : {QStringList{"--jobs", "2"}, QStringList{"--isolate"}}) {
        const Outcome again =
            Run(QStringList{"count", "--page", "all", "--json"} + how + QStringList{"stack.tif"});
        ASSERT_EQ(again.exitCode, 0) << again.err.toStdString();
        const QJsonArray records =
            QJsonDocument::fromJson(again.out.toUtf8()).object().value("images").toArray();
        ASSERT_EQ(records.size(), 3);
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(records[i].toObject().value("count").toInt(), discs[i]);
            EXPECT_EQ(records[i].toObject().value("input"), images[i].toObject().value("input"));
        }
    }

    const Outcome first = Run({"count", "stack.tif"});
    EXPECT_EQ(first.exitCode, 0);
    EXPECT_TRUE(first.out.startsWith("stack.tif: 2 objects")) << first.out.toStdString();
    EXPECT_TRUE(first.out.contains("page 1 of 3")) << first.out.toStdString();
    EXPECT_TRUE(first.out.contains("µm²"));
    EXPECT_TRUE(first.err.contains("stack.tif: note: the file has 3 pages"))
        << first.err.toStdString();

    const Outcome third = Run({"count", "--page", "3", "stack.tif"});
    EXPECT_TRUE(third.out.startsWith("stack.tif: 5 objects")) << third.out.toStdString();
    const Outcome fourth = Run({"count", "--page", "4", "stack.tif"});
    EXPECT_EQ(fourth.exitCode, 1);
    EXPECT_TRUE(fourth.err.contains("stack.tif: no page 4")) << fourth.err.toStdString();
    EXPECT_EQ(Run({"count", "--page", "0", "stack.tif"}).exitCode, 2);
    EXPECT_EQ(Run({"count", "--bits", "12", "--range", "0:10", "stack.tif"}).exitCode, 2);
}

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

// A PNG whose compressed image data is damaged, its chunk's CRC made right
// again so that only the data is wrong.
QByteArray DamagedPng()
{
    std::vector<uchar> encoded;
    cv::imencode(".png", tifftest::Discs(3, CV_8U, 220, 30), encoded);
    QByteArray png(reinterpret_cast<const char*>(encoded.data()), int(encoded.size()));
    const int idat = png.indexOf("IDAT");
    const int length = int(qFromBigEndian<quint32>(png.constData() + idat - 4));
    for (int i = 2; i < 12; ++i)
        png[idat + 4 + i] = char(png[idat + 4 + i] ^ 0x5a);
    const quint32 crc = qToBigEndian(Crc32(png.mid(idat, 4 + length)));
    png.replace(idat + 4 + length, 4, QByteArray(reinterpret_cast<const char*>(&crc), 4));
    return png;
}

// A JPEG cut short counted as good before; now the file is named with the
// decoder's reason, the status is 1, and no raw decoder line reaches stderr
// (libpng printed its own "libpng error: ..." for a damaged PNG).
TEST_F(CliInput, CorruptJpegFailsItsFileAndTheDecoderNeverPrintsRaw)
{
    QFile damaged(Path("damaged.png"));
    ASSERT_TRUE(damaged.open(QIODevice::WriteOnly));
    damaged.write(DamagedPng());
    damaged.close();
    std::vector<uchar> encoded;
    ASSERT_TRUE(cv::imencode(".jpg", tifftest::Discs(3, CV_8U, 220, 30), encoded));
    QFile cut(Path("cut.jpg"));
    ASSERT_TRUE(cut.open(QIODevice::WriteOnly));
    cut.write(reinterpret_cast<const char*>(encoded.data()), qint64(encoded.size() * 2 / 3));
    cut.close();
    WriteDiscs("good.png", 2);
    const Outcome o = Run({"count", "cut.jpg", "damaged.png", "good.png"});
    EXPECT_EQ(o.exitCode, 1);
    EXPECT_TRUE(o.err.contains("autocount: damaged.png: corrupt or truncated PNG (libpng: "))
        << o.err.toStdString();
    EXPECT_TRUE(o.err.contains("autocount: cut.jpg: corrupt or truncated JPEG"))
        << o.err.toStdString();
    EXPECT_TRUE(OnlyOwnLines(o.err));
    EXPECT_TRUE(o.out.contains("good.png: 2 objects")) << o.out.toStdString();
}

// A FIFO among the inputs is refused at once (reading it would wait for a
// writer for ever) and the next image is counted.
TEST_F(CliInput, FifoInputIsRefusedAtOnceAndTheBatchGoesOn)
{
    ASSERT_EQ(mkfifo(QFile::encodeName(Path("pipe.png")).constData(), 0600), 0);
    WriteDiscs("good.png", 2);
    const Outcome o = Run({"count", "pipe.png", "good.png"});
    EXPECT_EQ(o.exitCode, 1);
    EXPECT_TRUE(o.err.contains("autocount: pipe.png: not a regular file (a FIFO)"))
        << o.err.toStdString();
    EXPECT_TRUE(o.out.contains("good.png: 2 objects"));
}

// A folder batch names each image file it cannot read on its own line: a
// dangling link, and a file without read permission. Permissions do not bind
// root, so as root the program runs as nobody (setpriv); without setpriv the
// unreadable file is not tried.
TEST_F(CliInput, FolderBatchNamesEveryImageFileItCannotRead)
{
    QDir().mkpath(Path("images"));
    WriteDiscs("images/a-good.png", 2);
    ASSERT_EQ(symlink("gone.png", QFile::encodeName(Path("images/b-dangling.png")).constData()), 0);
    WriteDiscs("images/c-locked.png", 3);
    ASSERT_EQ(chmod(QFile::encodeName(Path("images/c-locked.png")).constData(), 0), 0);
    Outcome o;
    bool denied = geteuid() != 0;
    if (denied) {
        o = Run({"count", "images"});
    } else {
        const QString setpriv = QStandardPaths::findExecutable("setpriv");
        if (!setpriv.isEmpty()) {
            denied = true;
            for (const QString& folder : {dir.path(), Path("images")})
                ASSERT_EQ(chmod(QFile::encodeName(folder).constData(), 0755), 0);
            o = Run({"--reuid=65534", "--regid=65534", "--clear-groups", AUTOCOUNT_PROGRAM, "count",
                     "images"},
                    setpriv);
        } else {
            o = Run({"count", "images"});
        }
    }
    EXPECT_EQ(o.exitCode, 1) << o.err.toStdString();
    EXPECT_TRUE(o.out.contains("images/a-good.png: 2 objects")) << o.out.toStdString();
    EXPECT_TRUE(o.err.contains("autocount: images/b-dangling.png: dangling symbolic link"))
        << o.err.toStdString();
    if (denied) {
        EXPECT_TRUE(
            o.err.contains("autocount: images/c-locked.png: cannot read: Permission denied"))
            << o.err.toStdString();
    }
}

// A name that is not UTF-8 (Latin-1 "café") is read, from a folder and as
// an argument, and shown with the stray byte escaped.
TEST_F(CliInput, NamesThatAreNotUtf8AreReadAndShownEscaped)
{
    filenames::InstallCodec(); // so that this process passes the bytes on unchanged
    QDir().mkpath(Path("latin"));
    const QString name = QFile::decodeName(QByteArray("latin/caf\xe9.png"));
    WriteDiscs(name, 2);
    ASSERT_TRUE(QFile::exists(Path(name)));
    for (const QStringList& arguments : {QStringList{"count", "latin"}, QStringList{"count", name},
                                         QStringList{"count", "--isolate", "latin"}}) {
        const Outcome o = Run(arguments);
        EXPECT_EQ(o.exitCode, 0) << o.err.toStdString();
        EXPECT_TRUE(o.out.contains("latin/caf\\xe9.png: 2 objects")) << o.out.toStdString();
    }
}

// Under an address-space limit the memory left is what the check uses: a
// 6000 × 6000 image is refused by name instead of failing inside the count,
// and the small image after it is counted.
TEST_F(CliInput, AddressSpaceLimitRefusesABigImageByName)
{
    const QString prlimit = QStandardPaths::findExecutable("prlimit");
    if (prlimit.isEmpty())
        GTEST_SKIP() << "prlimit is not installed";
    cv::Mat big(6000, 6000, CV_8U, cv::Scalar(200));
    ASSERT_TRUE(cv::imwrite(Path("big.png").toStdString(), big));
    WriteDiscs("small.png", 2);
    const Outcome o = Run(
        {QString("--as=%1").arg(700ll << 20), AUTOCOUNT_PROGRAM, "count", "big.png", "small.png"},
        prlimit);
    EXPECT_EQ(o.exitCode, 1) << o.err.toStdString();
    EXPECT_TRUE(o.err.contains("autocount: big.png: image too large for the memory available"))
        << o.err.toStdString();
    EXPECT_TRUE(o.out.contains("small.png: 2 objects")) << o.out.toStdString();
}

// --max-pixels sets the pixel limit of the check before decoding.
TEST_F(CliInput, MaxPixelsRefusesLargerImagesByName)
{
    ASSERT_TRUE(
        cv::imwrite(Path("wide.png").toStdString(), cv::Mat(1000, 2000, CV_8U, cv::Scalar(9))));
    WriteDiscs("small.png", 2);
    const Outcome o = Run({"count", "--max-pixels", "1000000", "wide.png", "small.png"});
    EXPECT_EQ(o.exitCode, 1);
    EXPECT_TRUE(o.err.contains("autocount: wide.png: image too large to decode: 2000 × 1000 pixels "
                               "(at most 1000000 pixels; --max-pixels allows more)"))
        << o.err.toStdString();
    EXPECT_TRUE(o.out.contains("small.png: 2 objects"));
    EXPECT_EQ(Run({"count", "--max-pixels", "2000000", "wide.png"}).exitCode, 0);
    EXPECT_EQ(Run({"count", "--max-pixels", "many", "wide.png"}).exitCode, 2);
}

// Memory that runs out while one image is counted (every allocation of
// 20 MB or more fails) fails that image with a clear line; the next is counted.
TEST_F(CliInput, RunningOutOfMemoryFailsOnlyThatImage)
{
    cv::Mat big(3000, 3000, CV_8U, cv::Scalar(200));
    ASSERT_TRUE(cv::imwrite(Path("big.png").toStdString(), big));
    WriteDiscs("small.png", 2);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("LD_PRELOAD", BIGALLOC_SHIM);
    environment.insert("AUTOCOUNT_TEST_ALLOC_LIMIT", QString::number(20 << 20));
    const Outcome o = Run({"count", "big.png", "small.png"}, AUTOCOUNT_PROGRAM, environment);
    EXPECT_EQ(o.exitCode, 1) << o.err.toStdString();
    EXPECT_TRUE(o.err.contains("autocount: big.png: out of memory")) << o.err.toStdString();
    EXPECT_TRUE(o.out.contains("small.png: 2 objects")) << o.out.toStdString();
}

} // namespace
