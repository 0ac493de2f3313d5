// An outside program that uses only the measurement of the installed module:
// it needs libautocount directly and the host library only through it.
#include <autocount/alg/alg.h>

#include <cstdio>

int main()
{
    cv::Mat grey(20, 20, CV_8UC1, cv::Scalar(100));
    cv::Mat binary = cv::Mat::zeros(20, 20, CV_8UC1);
    binary(cv::Rect(5, 5, 10, 10)).setTo(255);
    ContourList contours;
    std::vector<parResult> results;
    if (AlgCalResult(grey, binary, contours, results) != 0 || results.size() != 1)
        return 1;
    std::printf("measured area %.0f\n", results[0].area);
    return 0;
}
