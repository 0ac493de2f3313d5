#include "autocount/alg/alg.h"

// To be implemented.
int AlgCalResult(cv::Mat, cv::Mat, ContourList&, std::vector<parResult>&)
{
    return 1;
}
int AlgRemoveBorder(ContourList, std::vector<parResult>, int, int, ContourList& contoursOut,
                    std::vector<parResult>& resultsOut)
{
    contoursOut.clear();
    resultsOut.clear();
    return 0;
}
