#include "autocount/alg/alg.h"

const int x_offset[8] = {1, 1, 1, 0, 0, -1, -1, -1};
const int y_offset[8] = {-1, 0, 1, -1, 1, -1, 0, 1};
const int x_offset_4[4] = {-1, 0, 0, 1};
const int y_offset_4[4] = {0, -1, 1, 0};

// To be implemented.
int AlgAutoCut(cv::Mat, cv::Mat&)
{
    return 1;
}
int AlgAutoCutROI(cv::Mat, cv::Mat&)
{
    return 1;
}
