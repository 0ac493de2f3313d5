#pragma once

#include "autocount/autocount_export.h"

#include <QObject>

#include <opencv2/core.hpp>

/**
 * @brief Worker object of the automatic cut; lives on its own QThread.
 *
 * Each start of its thread runs slotAutoCut once, which cuts the image set by
 * SetImage and announces the end with host event 39.
 */
class AUTOCOUNT_EXPORT AutoCutManager : public QObject
{
    Q_OBJECT
public:
    AutoCutManager();
    ~AutoCutManager() override;

    /// Shares @p image's pixel buffer as the image to cut (no deep copy).
    void SetImage(const cv::Mat& image);
    /// The image to cut; after a cut, the cut result.
    cv::Mat GetImage() const { return cutImage_; }

signals:
    /// Declared for receivers that connect to it; the cut announces itself
    /// through host event 39 instead and never emits it.
    void signalAutoCutFinished();

public slots:
    void slotAutoCut();

private:
    cv::Mat cutImage_;
};
