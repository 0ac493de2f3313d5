#pragma once

// Intensities of the objects found in one channel, measured in the others:
// for each plane, the mean, integral (sum), maximum, minimum and population
// standard deviation over the pixels of each object's filled outline (the
// pixels the label image marks), under keys named by the plane, e.g.
// "mean_gray_c2".

#include "autocount/alg/alg.h"

#include <QString>
#include <QStringList>

#include <opencv2/core.hpp>

#include <vector>

namespace channelmeasures {

/// One plane to measure in: 8- or 16-bit, one channel, the image's size.
struct Plane
{
    QString name; ///< suffix of the keys, e.g. "c2"
    cv::Mat data;
};

/// The measurements of every object in every plane.
struct Table
{
    QStringList keys;                      ///< five per plane, plane after plane
    std::vector<std::vector<double>> rows; ///< one per object, parallel to keys
};

/// The five keys of plane @p name, in the order of a row.
QStringList Keys(const QString& name);

/// The colour planes of @p image (8-bit BGR) as c1 red, c2 green, c3 blue;
/// none when the three planes are equal (a grey image spread to three).
std::vector<Plane> ColourPlanes(const cv::Mat& image);

/// Measures @p contours (filled) in each of @p planes; planes of another
/// size or type are left out.
Table Measure(const ContourList& contours, const std::vector<Plane>& planes, cv::Size size);

} // namespace channelmeasures
