#include "autocount/alg/alg.h"

// To be implemented.
int AlgMorphology(cv::Mat, int, cv::Mat&)
{
    return -1;
}
int AlgFillHole(cv::Mat, cv::Mat&)
{
    return 1;
}
