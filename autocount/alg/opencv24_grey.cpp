#include "autocount/alg/opencv24.h"

#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>

namespace {

// 14-bit fixed-point grey weights: blue 0.114, green 0.587, red 0.299.
constexpr int kShift = 14;
constexpr int kBlueWeight = 1868;
constexpr int kGreenWeight = 9617;
constexpr int kRedWeight = 4899;
constexpr int kRound = 1 << (kShift - 1);

// Weighted sum of the first three bytes of every pixel; w0..w2 weigh byte 0..2.
void WeightedGrey(const cv::Mat& src, cv::Mat& dst, int w0, int w1, int w2)
{
    CV_Assert(!src.empty() && (src.channels() == 3 || src.channels() == 4));
    if (src.depth() != CV_8U) {
        // Only the 8-bit path differs between library versions.
        cv::cvtColor(src, dst, w0 == kBlueWeight ? cv::COLOR_BGR2GRAY : cv::COLOR_RGB2GRAY);
        return;
    }
    int tab0[256], tab1[256], tab2[256];
    for (int v = 0; v < 256; ++v) {
        tab0[v] = w0 * v;
        tab1[v] = w1 * v;
        tab2[v] = w2 * v + kRound;
    }
    cv::Mat out(src.size(), CV_8UC1);
    const int cn = src.channels();
    cv::parallel_for_(cv::Range(0, src.rows), [&](const cv::Range& rows) {
        for (int y = rows.start; y < rows.end; ++y) {
            const uchar* s = src.ptr<uchar>(y);
            uchar* d = out.ptr<uchar>(y);
            for (int x = 0; x < src.cols; ++x, s += cn)
                d[x] = static_cast<uchar>((tab0[s[0]] + tab1[s[1]] + tab2[s[2]]) >> kShift);
        }
    });
    dst = out;
}

} // namespace

namespace cv24 {

void GreyFromBgr(const cv::Mat& src, cv::Mat& dst)
{
    WeightedGrey(src, dst, kBlueWeight, kGreenWeight, kRedWeight);
}

void GreyFromRgb(const cv::Mat& src, cv::Mat& dst)
{
    WeightedGrey(src, dst, kRedWeight, kGreenWeight, kBlueWeight);
}

} // namespace cv24
