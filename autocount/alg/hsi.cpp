#include "autocount/alg/alg.h"

// To be implemented.
int AlgRGB2HSI(cv::Mat, cv::Mat&, cv::Mat&, cv::Mat&)
{
    return -1;
}
