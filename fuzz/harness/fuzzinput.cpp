#include "fuzzinput.h"

#include <opencv2/imgproc.hpp>

#include <cstring>
#include <limits>

namespace fuzzing {

void Require(bool condition, const std::string& what)
{
    if (!condition)
        throw ContractViolation(what);
}

uint8_t FuzzInput::Byte()
{
    return pos_ < size_ ? data_[pos_++] : 0;
}

int FuzzInput::Int(int lo, int hi)
{
    if (hi <= lo)
        return lo;
    const uint32_t span = static_cast<uint32_t>(static_cast<int64_t>(hi) - lo) + 1u;
    uint32_t raw = Byte();
    if (span > 256u)
        raw = (raw << 8) | Byte();
    if (span > 65536u)
        raw = (raw << 16) | (static_cast<uint32_t>(Byte()) << 8) | Byte();
    return static_cast<int>(static_cast<int64_t>(lo) + raw % span);
}

int FuzzInput::AnyInt()
{
    switch (Byte() % 8) {
    case 0:
        return std::numeric_limits<int>::min();
    case 1:
        return std::numeric_limits<int>::max();
    case 2:
    case 3:
        return Int(-300, 300);
    default: {
        uint32_t raw = 0;
        for (int k = 0; k < 4; ++k)
            raw = (raw << 8) | Byte();
        int value;
        std::memcpy(&value, &raw, sizeof value);
        return value;
    }
    }
}

double FuzzInput::AnyDouble()
{
    switch (Byte() % 10) {
    case 0:
        return std::numeric_limits<double>::quiet_NaN();
    case 1:
        return std::numeric_limits<double>::infinity();
    case 2:
        return -std::numeric_limits<double>::infinity();
    case 3:
        return 0.0;
    case 4:
        return std::numeric_limits<double>::max();
    case 5:
        return Int(-1000, 1000) / 8.0;
    default: {
        uint64_t raw = 0;
        for (int k = 0; k < 8; ++k)
            raw = (raw << 8) | Byte();
        double value;
        std::memcpy(&value, &raw, sizeof value);
        return value;
    }
    }
}

std::vector<uint8_t> FuzzInput::Rest()
{
    std::vector<uint8_t> rest(data_ + pos_, data_ + size_);
    pos_ = size_;
    return rest;
}

int AnyDepth(FuzzInput& in)
{
    static const int depths[] = {CV_8U,  CV_8U,  CV_8U,  CV_8S, CV_16U,
                                 CV_16S, CV_32S, CV_32F, CV_64F};
    return in.Pick(depths);
}

int AnyType(FuzzInput& in)
{
    const int depth = AnyDepth(in);
    const int channels = in.Int(1, 4);
    return CV_MAKETYPE(depth, channels);
}

namespace {

// xorshift32: fills what the input's bytes do not cover.
struct Generator
{
    uint32_t state;
    explicit Generator(uint32_t seed) : state(seed ? seed : 0x9e3779b9u) {}
    uint8_t Next()
    {
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        return static_cast<uint8_t>(state >> 24);
    }
};

void FillRaw(FuzzInput& in, cv::Mat& image)
{
    Generator generator(in.Byte() * 0x01010101u);
    const size_t rowBytes = image.cols * image.elemSize();
    for (int y = 0; y < image.rows; ++y) {
        uchar* p = image.ptr<uchar>(y);
        for (size_t x = 0; x < rowBytes; ++x)
            p[x] = in.Remaining() > 0 ? in.Byte() : generator.Next();
    }
}

void FillBinary(FuzzInput& in, cv::Mat& image)
{
    // Density of object pixels in 1/8 steps, then one byte per pixel; every
    // channel of a pixel alike.
    const int density = in.Int(0, 8);
    Generator generator(in.Byte() * 0x01010101u + 1u);
    const int cn = image.channels();
    for (int y = 0; y < image.rows; ++y) {
        uchar* p = image.ptr<uchar>(y);
        for (int x = 0; x < image.cols; ++x) {
            const uint8_t r = in.Remaining() > 0 ? in.Byte() : generator.Next();
            const uchar value = (r & 7) < density ? 255 : 0;
            for (int c = 0; c < cn; ++c)
                p[x * cn + c] = value;
        }
    }
}

void FillBlobs(FuzzInput& in, cv::Mat& image)
{
    image.setTo(cv::Scalar::all(0));
    const int count = in.Int(0, 8);
    for (int k = 0; k < count; ++k) {
        const int x = in.Int(-4, image.cols + 3);
        const int y = in.Int(-4, image.rows + 3);
        const cv::Point centre(x, y);
        const int size = in.Int(0, kMaxSide / 2);
        if (in.Bool())
            cv::circle(image, centre, size, cv::Scalar::all(255), cv::FILLED, cv::LINE_8);
        else
            cv::rectangle(image, cv::Rect(centre.x, centre.y, size, in.Int(0, kMaxSide / 2)),
                          cv::Scalar::all(255), cv::FILLED, cv::LINE_8);
        // A background cut through the blob now and then makes necks and holes.
        if (in.Bool()) {
            const cv::Point from = AnyPoint(in, image.size(), false);
            const cv::Point to = AnyPoint(in, image.size(), false);
            const int thickness = in.Int(1, 3);
            cv::line(image, from, to, cv::Scalar::all(0), thickness, cv::LINE_8);
        }
    }
}

} // namespace

cv::Mat MakeImage(FuzzInput& in, int rows, int cols, int type, Pixels pixels)
{
    if (rows <= 0 || cols <= 0)
        return in.Bool() ? cv::Mat() : cv::Mat(0, 0, type);

    cv::Mat image;
    if (in.Bool()) {
        // A view into a larger image: rows are not continuous.
        const int left = in.Int(0, 3), top = in.Int(0, 3);
        const int bottom = in.Int(0, 3);
        const int right = in.Int(1, 3);
        cv::Mat parent(rows + top + bottom, cols + left + right, type, cv::Scalar::all(77));
        image = parent(cv::Rect(left, top, cols, rows));
    } else {
        image.create(rows, cols, type);
    }

    // Binary images and blobs are 8-bit by nature.
    Require(pixels == Pixels::Raw || image.depth() == CV_8U, "binary pixels need an 8-bit image");
    switch (pixels) {
    case Pixels::Raw:
        FillRaw(in, image);
        break;
    case Pixels::Binary:
        FillBinary(in, image);
        break;
    case Pixels::Blobs:
        FillBlobs(in, image);
        break;
    }
    return image;
}

cv::Mat AnyImage(FuzzInput& in, int type, Pixels pixels)
{
    const int rows = in.Int(0, kMaxSide);
    const int cols = in.Int(0, kMaxSide);
    return MakeImage(in, rows, cols, type, pixels);
}

cv::Point AnyPoint(FuzzInput& in, cv::Size size, bool far)
{
    const int w = std::max(size.width, 1), h = std::max(size.height, 1);
    if (in.Byte() % 16 == 0 && far) {
        const int x = in.AnyInt();
        const int y = in.AnyInt();
        return cv::Point(x, y);
    }
    const int x = in.Int(-w, 2 * w);
    const int y = in.Int(-h, 2 * h);
    return cv::Point(x, y);
}

std::vector<cv::Point> AnyPolygon(FuzzInput& in, cv::Size size, int maxPoints, bool far)
{
    std::vector<cv::Point> polygon(in.Int(0, maxPoints));
    for (cv::Point& p : polygon)
        p = AnyPoint(in, size, far);
    return polygon;
}

bool SameHeader(const cv::Mat& a, const cv::Mat& b)
{
    return a.data == b.data && a.size == b.size && a.type() == b.type();
}

bool SameBytes(const cv::Mat& a, const cv::Mat& b)
{
    if (a.empty() && b.empty())
        return true;
    if (a.size() != b.size() || a.type() != b.type())
        return false;
    const size_t rowBytes = a.cols * a.elemSize();
    for (int y = 0; y < a.rows; ++y)
        if (std::memcmp(a.ptr(y), b.ptr(y), rowBytes) != 0)
            return false;
    return true;
}

bool OnlyZeroAnd255(const cv::Mat& image)
{
    for (int y = 0; y < image.rows; ++y) {
        const uchar* p = image.ptr<uchar>(y);
        for (size_t x = 0; x < image.cols * image.elemSize(); ++x)
            if (p[x] != 0 && p[x] != 255)
                return false;
    }
    return true;
}

} // namespace fuzzing
