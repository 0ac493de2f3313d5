#pragma once

// Turns the fuzzer's bytes into the arguments of the module's functions:
// small images of any size, depth and channel count, polygons, parameters.
// Reading past the end yields zeros, so every input, however short, decodes
// to a complete set of arguments. Every read is a statement of its own (never
// two reads in one expression, whose order compilers choose differently), so
// an input decodes alike in the clang fuzz build and the replay test.

#include <opencv2/core.hpp>

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace fuzzing {

/// A broken promise of a function inside its contract. The fuzzer reports
/// it as a crash; the replay test as a failure naming the input.
class ContractViolation : public std::logic_error
{
public:
    using std::logic_error::logic_error;
};

/// Throws ContractViolation with @p what when @p condition is false.
void Require(bool condition, const std::string& what);

class FuzzInput
{
public:
    FuzzInput(const uint8_t* data, size_t size) : data_(data), size_(size) {}

    uint8_t Byte();
    /// A value in [lo, hi], both inclusive.
    int Int(int lo, int hi);
    /// Any 32-bit value; small ones and the extremes more often.
    int AnyInt();
    bool Bool() { return Byte() & 1; }
    /// A double that is often NaN, ±infinity, 0 or an extreme.
    double AnyDouble();
    /// One of @p choices.
    template <typename T, size_t N> T Pick(const T (&choices)[N])
    {
        return choices[Int(0, static_cast<int>(N) - 1)];
    }
    size_t Remaining() const { return size_ - pos_; }
    /// Everything not read yet.
    std::vector<uint8_t> Rest();

private:
    const uint8_t* data_;
    size_t size_;
    size_t pos_ = 0;
};

/// How the pixels of a generated image are filled.
enum class Pixels
{
    Raw,    ///< every byte from the input (then a generator seeded by it)
    Binary, ///< 0 or 255 per pixel (every channel alike)
    Blobs,  ///< a few filled discs and rectangles of 255 on 0
};

/// Limits of generated images.
constexpr int kMaxSide = 64;

/// A random depth among the library's depths (8U, 8S, 16U, 16S, 32S, 32F,
/// 64F); 8U more often than the others.
int AnyDepth(FuzzInput& in);

/// AnyDepth with one to four channels.
int AnyType(FuzzInput& in);

/// An image of the given type, rows × cols (0 gives an empty image); with a
/// flag from the input it is a view into a larger image, so that its rows
/// are not continuous.
cv::Mat MakeImage(FuzzInput& in, int rows, int cols, int type, Pixels pixels);

/// Random size (0..kMaxSide per side), then MakeImage.
cv::Mat AnyImage(FuzzInput& in, int type, Pixels pixels);

/// A point with coordinates near an image of @p size (up to one image size
/// outside it); with @p far, now and then anywhere in the range of int.
cv::Point AnyPoint(FuzzInput& in, cv::Size size, bool far = true);

/// Up to @p maxPoints points of AnyPoint.
std::vector<cv::Point> AnyPolygon(FuzzInput& in, cv::Size size, int maxPoints, bool far = true);

/// True when @p a and @p b are the same header over the same pixels.
bool SameHeader(const cv::Mat& a, const cv::Mat& b);

/// True when every byte of @p a equals the matching byte of @p b (same
/// size and type).
bool SameBytes(const cv::Mat& a, const cv::Mat& b);

/// True when every element of the 8-bit image is 0 or 255.
bool OnlyZeroAnd255(const cv::Mat& image);

} // namespace fuzzing
