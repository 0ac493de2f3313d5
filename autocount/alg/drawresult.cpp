#include "autocount/alg/alg.h"

// To be implemented.
int AlgDrawResult(cv::Mat, ContourList, int, int, int, int, cv::Mat&)
{
    return 1;
}
