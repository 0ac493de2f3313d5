#include "tiffwriter.h"

#include <QFile>

#include <opencv2/imgproc.hpp>

#include <tiffio.h>

namespace tifftest {

namespace {

/// Packs one row of samples of @p bits bits, most significant bit first.
std::vector<uint8_t> Pack(const uint16_t* samples, size_t count, int bits)
{
    std::vector<uint8_t> out((count * size_t(bits) + 7) / 8, 0);
    size_t bit = 0;
    for (size_t i = 0; i < count; ++i)
        for (int b = bits - 1; b >= 0; --b, ++bit)
            if ((samples[i] >> b) & 1u)
                out[bit >> 3] |= uint8_t(0x80u >> (bit & 7));
    return out;
}

/// Row @p y of @p image as stored with @p bits bits per sample.
std::vector<uint8_t> Row(const cv::Mat& image, int y, int bits)
{
    const size_t count = size_t(image.cols) * image.channels();
    if (image.depth() == CV_8U) {
        const uint8_t* p = image.ptr<uint8_t>(y);
        return std::vector<uint8_t>(p, p + count);
    }
    const uint16_t* p = image.ptr<uint16_t>(y);
    if (bits == 16) {
        const uint8_t* b = reinterpret_cast<const uint8_t*>(p);
        return std::vector<uint8_t>(b, b + count * 2);
    }
    return Pack(p, count, bits);
}

} // namespace

bool Write(const QString& path, const std::vector<Page>& pages, bool bigTiff)
{
    TIFF* tif = TIFFOpen(QFile::encodeName(path).constData(), bigTiff ? "w8" : "w");
    if (!tif)
        return false;
    bool ok = true;
    for (size_t n = 0; n < pages.size() && ok; ++n) {
        const Page& page = pages[n];
        const cv::Mat& image = page.image;
        const int bits = page.bits ? page.bits : (image.depth() == CV_16U ? 16 : 8);
        const int samples = image.channels();
        TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, uint32_t(image.cols));
        TIFFSetField(tif, TIFFTAG_IMAGELENGTH, uint32_t(image.rows));
        TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, uint16_t(bits));
        TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, uint16_t(samples));
        TIFFSetField(tif, TIFFTAG_PHOTOMETRIC,
                     samples == 3      ? PHOTOMETRIC_RGB
                     : page.minIsWhite ? PHOTOMETRIC_MINISWHITE
                                       : PHOTOMETRIC_MINISBLACK);
        TIFFSetField(tif, TIFFTAG_PLANARCONFIG,
                     page.separatePlanes ? PLANARCONFIG_SEPARATE : PLANARCONFIG_CONTIG);
        TIFFSetField(tif, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
        if (pages.size() > 1) {
            TIFFSetField(tif, TIFFTAG_SUBFILETYPE, FILETYPE_PAGE);
            TIFFSetField(tif, TIFFTAG_PAGENUMBER, uint16_t(n), uint16_t(pages.size()));
        }
        if (!page.description.empty())
            TIFFSetField(tif, TIFFTAG_IMAGEDESCRIPTION, page.description.c_str());
        if (page.xResolution > 0) {
            TIFFSetField(tif, TIFFTAG_XRESOLUTION, page.xResolution);
            TIFFSetField(tif, TIFFTAG_YRESOLUTION,
                         page.yResolution > 0 ? page.yResolution : page.xResolution);
            TIFFSetField(tif, TIFFTAG_RESOLUTIONUNIT, uint16_t(page.resolutionUnit));
        }
        if (page.tile > 0) {
            TIFFSetField(tif, TIFFTAG_TILEWIDTH, uint32_t(page.tile));
            TIFFSetField(tif, TIFFTAG_TILELENGTH, uint32_t(page.tile));
            const tmsize_t tileBytes = TIFFTileSize(tif);
            for (int y0 = 0; y0 < image.rows && ok; y0 += page.tile)
                for (int x0 = 0; x0 < image.cols && ok; x0 += page.tile) {
                    // The tile's rows, padded with zeros beyond the image.
                    cv::Mat tile = cv::Mat::zeros(page.tile, page.tile, image.type());
                    const cv::Rect inside(x0, y0, std::min(page.tile, image.cols - x0),
                                          std::min(page.tile, image.rows - y0));
                    image(inside).copyTo(tile(cv::Rect(0, 0, inside.width, inside.height)));
                    std::vector<uint8_t> bytes;
                    for (int r = 0; r < page.tile; ++r) {
                        const std::vector<uint8_t> row = Row(tile, r, bits);
                        bytes.insert(bytes.end(), row.begin(), row.end());
                    }
                    bytes.resize(size_t(tileBytes), 0);
                    ok = TIFFWriteEncodedTile(
                             tif, TIFFComputeTile(tif, uint32_t(x0), uint32_t(y0), 0, 0),
                             bytes.data(), tileBytes) >= 0;
                }
        } else {
            TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, uint32_t(page.rowsPerStrip));
            if (page.separatePlanes) {
                std::vector<cv::Mat> planes;
                cv::split(image, planes);
                for (int p = 0; p < samples && ok; ++p)
                    for (int y = 0; y < image.rows && ok; ++y) {
                        std::vector<uint8_t> row = Row(planes[size_t(p)], y, bits);
                        ok = TIFFWriteScanline(tif, row.data(), uint32_t(y), uint16_t(p)) >= 0;
                    }
            }
            for (int y = 0; y < image.rows && ok && !page.separatePlanes; ++y) {
                std::vector<uint8_t> row = Row(image, y, bits);
                ok = TIFFWriteScanline(tif, row.data(), uint32_t(y), 0) >= 0;
            }
        }
        ok = ok && TIFFWriteDirectory(tif);
    }
    TIFFClose(tif);
    return ok;
}

cv::Mat Discs(int count, int depth, double background, double disc, cv::Size size, int radius)
{
    cv::Mat image(size, CV_MAKETYPE(depth, 1), cv::Scalar(background));
    // A grid of places, filled in reading order.
    const int columns = 5;
    const int stepX = size.width / (columns + 1);
    const int stepY = size.height / 3;
    for (int i = 0; i < count; ++i) {
        const cv::Point centre(stepX * (1 + i % columns), stepY * (1 + i / columns));
        cv::circle(image, centre, radius, cv::Scalar(disc), cv::FILLED, cv::LINE_8);
    }
    return image;
}

} // namespace tifftest
