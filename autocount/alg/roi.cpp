#include "autocount/alg/alg.h"

// To be implemented.
int AlgGetROI(cv::Mat, std::vector<cv::Point>, cv::Mat&)
{
    return 1;
}
