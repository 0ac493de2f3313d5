#include "autocount/alg/alg.h"
#include "autocount/alg/opencv24.h"

#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>

#include <mutex>
#include <vector>

namespace {

// Cuts one outer contour of the filled image and ORs its piece into @p result.
// Returns AlgAutoCutROI's status; objects one pixel wide or tall are skipped.
int CutObject(const Contour& contour, cv::Mat& result, std::mutex& resultLock)
{
    cv::Rect box = cv::boundingRect(contour);
    if (box.width <= 1 || box.height <= 1)
        return 0; // thin objects leave the output on purpose
    box.x = std::max(box.x, 0);
    box.y = std::max(box.y, 0);

    // The object alone, rebuilt from its outline inside its own box: other
    // objects that reach into the box are not part of the mask.
    ContourList shifted(1);
    shifted[0].reserve(contour.size());
    for (const cv::Point& p : contour)
        shifted[0].push_back(p - box.tl());
    cv::Mat mask = cv::Mat::zeros(box.height, box.width, CV_8UC1);
    cv::fillPoly(mask, shifted, cv::Scalar(255), cv::LINE_8, 0, cv::Point());

    cv::Mat piece;
    const int status = AlgAutoCutROI(mask, piece);
    if (status != 0)
        return status;

    // OR keeps what earlier objects wrote where boxes overlap, and makes the
    // result independent of the order in which the objects finish.
    std::lock_guard<std::mutex> lock(resultLock);
    cv::Mat target = result(box);
    cv::bitwise_or(piece, target, target);
    return 0;
}

} // namespace

int AlgAutoCut(cv::Mat in, cv::Mat& out)
{
    if (!in.data || in.total() == 0)
        return 1;
    // A three-channel input gets the same code as an empty one (AlgAutoCutROI
    // answers 2 for it); callers rely on the codes as they are.
    if (in.channels() == 3)
        return 1;

    cv::Mat work = in.clone();
    AlgFillHole(work, work);

    ContourList contours;
    cv24::FindContours(work, contours, nullptr, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_NONE);

    cv::Mat result = cv::Mat::zeros(in.size(), in.type());

    // Objects are cut independently and combined by OR, so they can be cut
    // in parallel; the result does not depend on the order. One stripe per
    // object keeps the work balanced between small and large objects, and
    // each worker holds only the buffers of the object it is cutting.
    std::vector<int> status(contours.size(), 0);
    std::mutex resultLock;
    cv::parallel_for_(
        cv::Range(0, static_cast<int>(contours.size())),
        [&](const cv::Range& range) {
            for (int i = range.start; i < range.end; ++i)
                status[i] = CutObject(contours[i], result, resultLock);
        },
        static_cast<double>(contours.size()));

    // The first failing object, in contour order, abandons the whole cut.
    for (int s : status) {
        if (s != 0)
            return s;
    }
    out = result;
    return 0;
}
