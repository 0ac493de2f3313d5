#include "autocount/workers/calculatedatamanager.h"

CalculateDataManager::CalculateDataManager(cv::Mat image, cv::Mat& binary, ContourList& contours,
                                           std::vector<parResult>& results)
    : image_(image), binary_(&binary), contours_(&contours), results_(&results)
{
}

void CalculateDataManager::slotCalculateData()
{
    AlgCalResult(image_, *binary_, *contours_, *results_);
    emit signalCalculateDataFinished();
}
