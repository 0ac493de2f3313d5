#include "autocount/alg/alg.h"

// To be implemented.
void AlgWatershed(cv::Mat, cv::Mat, cv::Mat&) {}
