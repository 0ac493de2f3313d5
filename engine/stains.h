#pragma once

// Stain separation by colour deconvolution (A. C. Ruifrok and D. A. Johnston,
// "Quantification of histochemical staining by color deconvolution", Anal.
// Quant. Cytol. Histol. 23, 2001): each channel's optical density,
// OD = -log10((I + 1) / 256), is a mix of the stains' unit OD vectors; the
// inverse of the matrix of those vectors gives each stain's amount.
//
// Named stains use the published haematoxylin, eosin and DAB vectors as one
// matrix. A stain given as an R,G,B OD vector is completed by two unit
// vectors orthogonal to it, so its amount is the OD's projection on it.

#include <QString>

#include <opencv2/core.hpp>

#include <array>
#include <optional>

namespace stains {

using Vector = std::array<double, 3>; ///< R, G, B optical density per unit of stain

/// "hematoxylin" (or "haematoxylin"), "eosin", "dab" or "R,G,B" (three
/// non-negative numbers, not all 0); nothing for anything else.
std::optional<Vector> Parse(const QString& text);

/// The amount of stain @p stain in every pixel of @p bgr (8-bit BGR), CV_32F.
cv::Mat Density(const cv::Mat& bgr, const Vector& stain);

/// Optical density shown as grey: this density is 255.
constexpr double kFullDensity = 1.5;

/// Density() as an 8-bit plane, 0 for none, 255 at kFullDensity and above.
cv::Mat DensityPlane(const cv::Mat& bgr, const Vector& stain);

} // namespace stains
