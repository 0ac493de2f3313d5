#pragma once

#include <QColor>
#include <QList>

#include <opencv2/core.hpp>

/**
 * @brief Colours that stay legible on a picture: the contrast ratio of two
 * colours (relative luminance, as in the web's accessibility guidelines),
 * a picture's median colour, and the choice of a colour that reaches 3:1.
 */
namespace legiblecolours {

/// The least contrast ratio the studio's own colours keep against the picture.
constexpr double kMinimumRatio = 3.0;

/// Contrast ratio of @p a and @p b, 1 (same luminance) to 21 (black on white).
double Ratio(const QColor& a, const QColor& b);

/// The per-channel median of an 8-bit BGR (or grey) picture; pictures of
/// more than about a million pixels are sampled on a regular grid.
QColor MedianColour(const cv::Mat& image);

/**
 * @brief @p preferred when it reaches kMinimumRatio against @p background,
 * else the first strong colour that does (yellow, cyan, magenta, white,
 * black), leaving out the colours of @p taken. Black or white always
 * reaches it, so the result does too.
 */
QColor Legible(const QColor& preferred, const QColor& background, const QList<QColor>& taken = {});

} // namespace legiblecolours
