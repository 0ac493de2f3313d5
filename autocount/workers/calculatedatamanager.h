#pragma once

#include "autocount/alg/alg.h"
#include "autocount/autocount_export.h"

#include <QObject>

#include <opencv2/core.hpp>

#include <vector>

/**
 * @brief Runs the object measurement away from the controller, for hosts
 * that want it on a worker thread.
 *
 * The output lists belong to the caller and must stay alive and untouched
 * until signalCalculateDataFinished arrives.
 */
class AUTOCOUNT_EXPORT CalculateDataManager : public QObject
{
    Q_OBJECT
public:
    CalculateDataManager(cv::Mat image, cv::Mat& binary, ContourList& contours,
                         std::vector<parResult>& results);

signals:
    void signalCalculateDataFinished();

public slots:
    /// Measures the binary image on the picture, appending to the lists.
    void slotCalculateData();

private:
    cv::Mat image_;
    cv::Mat* binary_;
    ContourList* contours_;
    std::vector<parResult>* results_;
};
