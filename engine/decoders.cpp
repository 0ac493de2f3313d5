#include "decoders.h"

#include <opencv2/core/utils/logger.hpp>
#include <opencv2/imgcodecs.hpp>

#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <mutex>
#include <streambuf>
#include <string>

#include <jpeglib.h>
#include <png.h>

namespace decoders {

namespace {

// Messages of one decode, kept in plain arrays: the libraries leave their
// handlers with longjmp, which must not skip a destructor.
struct Messages
{
    char error[256] = {};
    char warnings[512] = {};
    int warningCount = 0;
    std::jmp_buf jump;

    void Warn(const char* text)
    {
        ++warningCount;
        const size_t used = std::strlen(warnings);
        if (used + 3 >= sizeof warnings)
            return;
        std::snprintf(warnings + used, sizeof warnings - used, "%s%s", used ? "; " : "", text);
    }
};

QString Join(const char* first, const char* second)
{
    QString text = QString::fromLocal8Bit(first).simplified();
    const QString more = QString::fromLocal8Bit(second).simplified();
    if (!more.isEmpty())
        text += (text.isEmpty() ? QString() : QStringLiteral("; ")) + more;
    return text;
}

// ---- PNG -------------------------------------------------------------------

struct PngSource
{
    const png_byte* data;
    size_t size;
    size_t at;
};

void PngRead(png_structp png, png_bytep out, png_size_t length)
{
    auto* source = static_cast<PngSource*>(png_get_io_ptr(png));
    if (source->size - source->at < length)
        png_error(png, "file ends too early (truncated)");
    std::memcpy(out, source->data + source->at, length);
    source->at += length;
}

void PngError(png_structp png, png_const_charp text)
{
    auto* m = static_cast<Messages*>(png_get_error_ptr(png));
    std::snprintf(m->error, sizeof m->error, "%s", text);
    std::longjmp(m->jump, 1);
}

void PngWarning(png_structp png, png_const_charp text)
{
    static_cast<Messages*>(png_get_error_ptr(png))->Warn(text);
}

struct PngJob
{
    Messages messages;
    PngSource source{};
    png_structp png = nullptr;
    png_infop info = nullptr;
    png_uint_32 width = 0, height = 0;
    int depth = 0, channels = 0, significant = 0;
};

/// Reads the header and sets the transformations; false on an error.
bool PngStart(PngJob& job)
{
    if (setjmp(job.messages.jump))
        return false;
    png_structp png = job.png;
    png_infop info = job.info;
    png_set_read_fn(png, &job.source, PngRead);
    png_read_info(png, info);
    int bitDepth = 0, colourType = 0, interlace = 0;
    png_get_IHDR(png, info, &job.width, &job.height, &bitDepth, &colourType, &interlace, nullptr,
                 nullptr);
    if (colourType == PNG_COLOR_TYPE_PALETTE)
        png_set_palette_to_rgb(png);
    if (colourType == PNG_COLOR_TYPE_GRAY && bitDepth < 8)
        png_set_expand_gray_1_2_4_to_8(png);
    if (colourType & PNG_COLOR_MASK_ALPHA)
        png_set_strip_alpha(png);
    if (colourType & PNG_COLOR_MASK_COLOR)
        png_set_bgr(png);
    if (bitDepth == 16) {
        const uint16_t one = 1;
        if (*reinterpret_cast<const uint8_t*>(&one) == 1)
            png_set_swap(png);
    }
    png_color_8p sbit = nullptr;
    if (bitDepth == 16 && png_get_sBIT(png, info, &sbit) && sbit) {
        const int bits = (colourType & PNG_COLOR_MASK_COLOR)
                             ? std::max({int(sbit->red), int(sbit->green), int(sbit->blue)})
                             : int(sbit->gray);
        if (bits > 0 && bits < 16)
            job.significant = bits;
    }
    png_set_interlace_handling(png);
    png_read_update_info(png, info);
    job.depth = png_get_bit_depth(png, info);
    job.channels = png_get_channels(png, info);
    return true;
}

bool PngFinish(PngJob& job, png_bytep* rows)
{
    if (setjmp(job.messages.jump))
        return false;
    png_read_image(job.png, rows);
    png_read_end(job.png, nullptr);
    return true;
}

// ---- JPEG ------------------------------------------------------------------

struct JpegError
{
    jpeg_error_mgr manager;
    Messages* messages;
};

void JpegExit(j_common_ptr cinfo)
{
    auto* e = reinterpret_cast<JpegError*>(cinfo->err);
    (*cinfo->err->format_message)(cinfo, e->messages->error);
    std::longjmp(e->messages->jump, 1);
}

void JpegEmit(j_common_ptr cinfo, int level)
{
    // Level -1 is a warning: corrupt or missing data the library papers over.
    if (level >= 0)
        return;
    auto* e = reinterpret_cast<JpegError*>(cinfo->err);
    char text[JMSG_LENGTH_MAX];
    (*cinfo->err->format_message)(cinfo, text);
    e->messages->Warn(text);
    ++cinfo->err->num_warnings;
}

void JpegOutput(j_common_ptr cinfo)
{
    auto* e = reinterpret_cast<JpegError*>(cinfo->err);
    char text[JMSG_LENGTH_MAX];
    (*cinfo->err->format_message)(cinfo, text);
    e->messages->Warn(text);
}

struct JpegJob
{
    Messages messages;
    JpegError error{};
    jpeg_decompress_struct cinfo{};
    bool cmyk = false;
};

bool JpegStart(JpegJob& job, const QByteArray& bytes)
{
    if (setjmp(job.messages.jump))
        return false;
    jpeg_mem_src(&job.cinfo, reinterpret_cast<const unsigned char*>(bytes.constData()),
                 static_cast<unsigned long>(bytes.size()));
    jpeg_read_header(&job.cinfo, TRUE);
    switch (job.cinfo.jpeg_color_space) {
    case JCS_GRAYSCALE:
        job.cinfo.out_color_space = JCS_GRAYSCALE;
        break;
    case JCS_CMYK:
    case JCS_YCCK:
        job.cinfo.out_color_space = JCS_CMYK;
        job.cmyk = true;
        break;
    default:
        job.cinfo.out_color_space = JCS_EXT_BGR;
        break;
    }
    jpeg_start_decompress(&job.cinfo);
    return true;
}

bool JpegFinish(JpegJob& job, uint8_t* data, size_t step)
{
    if (setjmp(job.messages.jump))
        return false;
    while (job.cinfo.output_scanline < job.cinfo.output_height) {
        JSAMPROW row = data + step * job.cinfo.output_scanline;
        jpeg_read_scanlines(&job.cinfo, &row, 1);
    }
    jpeg_finish_decompress(&job.cinfo);
    return true;
}

// ---- OpenCV ------------------------------------------------------------------

// std::cerr as OpenCV's decoders and its log see it: what a thread writes
// while it decodes goes to that thread's buffer, everything else to the
// terminal as before.
thread_local std::string* tCaptured = nullptr;

class RoutedErrors : public std::streambuf
{
public:
    explicit RoutedErrors(std::streambuf* terminal) : terminal_(terminal) {}

protected:
    int overflow(int c) override
    {
        if (c == traits_type::eof())
            return traits_type::not_eof(c);
        const char ch = char(c);
        return xsputn(&ch, 1) == 1 ? c : traits_type::eof();
    }
    std::streamsize xsputn(const char* s, std::streamsize n) override
    {
        if (tCaptured) {
            tCaptured->append(s, size_t(n));
            return n;
        }
        return terminal_->sputn(s, n);
    }
    int sync() override { return tCaptured ? 0 : terminal_->pubsync(); }

private:
    std::streambuf* terminal_;
};

void RouteErrors()
{
    static std::once_flag once;
    std::call_once(once, [] {
        // Never destroyed: std::cerr is flushed after static objects are gone.
        std::cerr.rdbuf(new RoutedErrors(std::cerr.rdbuf()));
        cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_WARNING);
    });
}

} // namespace

DecodedImage ReadPng(const QByteArray& bytes)
{
    DecodedImage out;
    PngJob job;
    job.source = {reinterpret_cast<const png_byte*>(bytes.constData()), size_t(bytes.size()), 0};
    job.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &job.messages, PngError, PngWarning);
    job.info = job.png ? png_create_info_struct(job.png) : nullptr;
    if (!job.png || !job.info) {
        png_destroy_read_struct(job.png ? &job.png : nullptr, nullptr, nullptr);
        out.error = QStringLiteral("out of memory starting the PNG decoder");
        return out;
    }
    // The size was checked from the header before; the rows come next.
    bool ok = PngStart(job);
    if (ok) {
        const int type = CV_MAKETYPE(job.depth == 16 ? CV_16U : CV_8U, job.channels);
        if (job.channels != 1 && job.channels != 3) {
            ok = false;
            std::snprintf(job.messages.error, sizeof job.messages.error,
                          "unexpected PNG layout (%d planes)", job.channels);
        } else {
            out.image.create(int(job.height), int(job.width), type);
            std::vector<png_bytep> rows(job.height);
            for (png_uint_32 y = 0; y < job.height; ++y)
                rows[y] = out.image.ptr<png_byte>(int(y));
            ok = PngFinish(job, rows.data());
        }
    }
    png_destroy_read_struct(&job.png, &job.info, nullptr);
    const QString warnings = QString::fromLocal8Bit(job.messages.warnings).simplified();
    if (!ok) {
        out.image.release();
        out.error = QStringLiteral("corrupt or truncated PNG (libpng: %1)")
                        .arg(Join(job.messages.error, job.messages.warnings));
        return out;
    }
    if (!warnings.isEmpty())
        out.notes << QStringLiteral("libpng: %1").arg(warnings);
    out.storedBits = job.depth == 16 ? 16 : 8;
    if (job.significant > 0 && out.storedBits == 16) {
        out.significantBits = job.significant;
        out.bitsSource = QStringLiteral("file: PNG sBIT %1").arg(job.significant);
    }
    return out;
}

DecodedImage ReadJpeg(const QByteArray& bytes)
{
    DecodedImage out;
    JpegJob job;
    job.cinfo.err = jpeg_std_error(&job.error.manager);
    job.error.messages = &job.messages;
    job.error.manager.error_exit = JpegExit;
    job.error.manager.emit_message = JpegEmit;
    job.error.manager.output_message = JpegOutput;
    jpeg_create_decompress(&job.cinfo);
    bool ok = JpegStart(job, bytes) && job.messages.warningCount == 0;
    if (ok) {
        const int channels = job.cinfo.output_components;
        cv::Mat decoded(int(job.cinfo.output_height), int(job.cinfo.output_width),
                        CV_MAKETYPE(CV_8U, channels));
        ok = JpegFinish(job, decoded.data, decoded.step);
        if (ok && job.cmyk) {
            // Adobe's inverted CMYK, converted as OpenCV converts it.
            out.image.create(decoded.size(), CV_8UC3);
            for (int y = 0; y < decoded.rows; ++y) {
                const uint8_t* s = decoded.ptr<uint8_t>(y);
                cv::Vec3b* d = out.image.ptr<cv::Vec3b>(y);
                for (int x = 0; x < decoded.cols; ++x, s += 4) {
                    const int k = s[3];
                    d[x] = cv::Vec3b(uint8_t(k - ((255 - s[2]) * k >> 8)),
                                     uint8_t(k - ((255 - s[1]) * k >> 8)),
                                     uint8_t(k - ((255 - s[0]) * k >> 8)));
                }
            }
        } else {
            out.image = decoded;
        }
    }
    jpeg_destroy_decompress(&job.cinfo);
    if (!ok || job.messages.warningCount > 0) {
        out.image.release();
        out.error = QStringLiteral("corrupt or truncated JPEG (libjpeg: %1)")
                        .arg(Join(job.messages.error, job.messages.warnings));
    }
    return out;
}

DecodedImage ReadWithOpenCv(const QByteArray& bytes)
{
    RouteErrors();
    DecodedImage out;
    std::string captured;
    tCaptured = &captured;
    QString exception;
    try {
        const cv::Mat buffer(1, bytes.size(), CV_8U, const_cast<char*>(bytes.constData()));
        out.image = cv::imdecode(buffer, cv::IMREAD_UNCHANGED);
    } catch (const cv::Exception& e) {
        exception = QString::fromStdString(e.err).simplified();
    }
    tCaptured = nullptr;
    QString said = QString::fromLocal8Bit(captured.c_str()).simplified();
    if (!exception.isEmpty())
        said = said.isEmpty() ? exception : exception + QStringLiteral("; ") + said;
    if (out.image.empty()) {
        out.error = said.isEmpty() ? QStringLiteral("corrupt or truncated image")
                                   : QStringLiteral("corrupt or truncated image (%1)").arg(said);
        return out;
    }
    if (!said.isEmpty())
        out.notes << said;
    out.storedBits = out.image.depth() == CV_16U ? 16 : 8;
    return out;
}

} // namespace decoders
