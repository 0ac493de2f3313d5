#include "autocount/alg/alg.h"

// To be implemented.
int AlgOtsu(cv::Mat, int&)
{
    return 1;
}
int AlgAuto2Bw(cv::Mat, cv::Mat, int, cv::Mat&, int&)
{
    return -1;
}
int AlgManual2Bw(cv::Mat, cv::Mat, int, int, int, int, cv::Mat&)
{
    return -1;
}
