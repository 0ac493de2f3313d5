// A whole count, step after step, and the label image of its objects.

#include "autocount/core/countcore.h"

#include <opencv2/imgproc.hpp>

namespace countcore {

cv::Mat LabelImage(cv::Size size, const ContourList& contours)
{
    cv::Mat labels(size, CV_32SC1, cv::Scalar(0));
    for (size_t i = 0; i < contours.size(); ++i)
        cv::drawContours(labels, contours, static_cast<int>(i),
                         cv::Scalar(static_cast<double>(i + 1)), cv::FILLED, cv::LINE_8);
    return labels;
}

Result Count(const cv::Mat& source, const Request& request, const Hooks& hooks)
{
    Result result;
    result.thresholds = request.thresholds;
    const auto stop = [&] {
        result.cancelled = hooks.cancelled && hooks.cancelled();
        return result.cancelled;
    };
    const auto step = [&](int number) {
        if (hooks.progress)
            hooks.progress(number);
    };
    const cv::Size size = source.size();

    // Regions and segmentation.
    step(2);
    const ContourList whole{WholeImageRegion(size)};
    const cv::Mat mask = RegionMask(size, request.regions.empty() ? whole : request.regions);
    cv::Mat grey;
    cv::Mat binary(size, CV_8UC1, cv::Scalar(0));
    if (hooks.segment)
        hooks.segment(mask, result.thresholds, binary);
    else
        Segment(source, mask, request.segmentMode, request.channel, result.thresholds, grey,
                binary);
    for (int op : request.morphology)
        Refine(binary, op);
    if (request.fillHoles)
        FillHoles(binary);
    if (stop())
        return result;

    // Separation of touching objects.
    step(3);
    if (hooks.separate) {
        if (!hooks.separate(binary)) {
            result.cancelled = true;
            return result;
        }
    } else if (request.cut == 0) {
        AlgAutoCut(binary, binary);
    } else if (request.cut == 3) {
        Merge(binary);
    }
    result.binary = binary;
    if (stop())
        return result;

    // Measurement and the filter.
    step(4);
    Measure(source, binary, request.removeBorder, grey, result.contours, result.records);
    if (hooks.measured)
        hooks.measured(result.contours, result.records);
    for (size_t i = 0; i < result.records.size(); ++i) {
        if (!IsValid(request.ranges, result.records[i], request.scale))
            continue;
        result.validContours.push_back(result.contours.at(i));
        result.validRecords.push_back(result.records[i]);
    }
    result.types = EnabledTypes(request.ranges);
    return result;
}

} // namespace countcore
