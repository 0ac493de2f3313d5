#pragma once

#include "host/host_export.h"

#include <opencv2/core.hpp>

#include <mutex>

/**
 * @brief The host object that owns the image shown in the image view.
 *
 * The counting module reads the current image from it when counting starts
 * and shows every intermediate image through it. A host derives from this
 * class to paint into its own view; RecordingCanvas is the stand-alone
 * implementation used by the command-line tool and the tests.
 */
class AUTOCOUNT_HOST_EXPORT DisplayCanvas
{
public:
    virtual ~DisplayCanvas();

    /// The image currently shown, sharing its pixel buffer (reference-counted).
    /// Empty when nothing is shown.
    virtual cv::Mat GetImage() = 0;

    /// Shows @p image as it is (the colour source image).
    virtual void ShowImage(cv::Mat& image) = 0;

    /// Shows a binary image through the host's inverse paint path, so that
    /// objects (255) appear dark on a light background.
    virtual void ShowInvertedImage(const cv::Mat& image) = 0;
};

/**
 * @brief Stand-alone canvas: holds one image and records what was shown last.
 *
 * GetImage returns the image given to SetImage (sharing its buffer). Each
 * Show call records the shown matrix header and whether it came through the
 * inverted path. Safe to query from any thread.
 */
class AUTOCOUNT_HOST_EXPORT RecordingCanvas : public DisplayCanvas
{
public:
    /// Makes @p image the canvas's current image (no deep copy).
    void SetImage(const cv::Mat& image);

    cv::Mat GetImage() override;
    void ShowImage(cv::Mat& image) override;
    void ShowInvertedImage(const cv::Mat& image) override;

    /// The matrix header passed to the last Show call (empty before any).
    cv::Mat LastShown() const;
    /// True when the last Show call was ShowInvertedImage.
    bool LastShownInverted() const;
    /// Number of Show calls so far, of either kind.
    int ShowCount() const;

private:
    mutable std::mutex mutex_;
    cv::Mat image_;
    cv::Mat lastShown_;
    bool lastInverted_ = false;
    int showCount_ = 0;
};
