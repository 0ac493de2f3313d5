#include "autocount/alg/alg.h"

// To be implemented.
int AlgManulCut(cv::Mat, std::vector<cv::Point>, cv::Mat&)
{
    return 1;
}
int AlgMerge(cv::Mat, cv::Mat&)
{
    return 1;
}
