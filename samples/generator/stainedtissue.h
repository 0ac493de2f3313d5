#pragma once

// Tissue-like colour images stained with haematoxylin and eosin, with a
// ground-truth label image of the nuclei.
//
// The picture is made by the Beer-Lambert law: every pixel holds an amount
// of each stain, each stain absorbs with its own optical-density colour, and
// the light that passes is 255 x 10^-OD per channel. The stain colours of an
// image are drawn at random around a purple-blue (haematoxylin) and a pink
// (eosin) on white, not from any deconvolution's stain vectors, and so is the
// strength of the staining.
//
// Scene: pink cytoplasm of uneven density with fibres, white holes (fat,
// vessels) where there is no tissue, and dark purple nuclei (ellipses, radii
// varying about twofold, grainy chromatin), some of them in touching pairs
// and triples. The optics blur the picture a little; then sensor noise and a
// JPEG-like compression (colour planes at half resolution, 8x8 blocks of
// quantised cosine coefficients) follow. Every random choice comes from
// syntheticcells::Random, so a seed gives the same bytes everywhere.
//
// Truth: a nucleus pixel belongs to the nucleus whose ellipse covers it; where
// two overlap, to the one with the nearest centre (scaled by its radius).

#include <opencv2/core.hpp>

#include <cstdint>

namespace stainedtissue {

struct SceneParams
{
    cv::Size size{800, 600};
    double minRadius = 7.0;        ///< of a nucleus (radius of the disc of its area)
    double radiusSpread = 1.8;     ///< largest radius / smallest
    double nucleusCoverage = 0.12; ///< share of the tissue the nuclei cover
    double touchingShare = 0.3;    ///< share of the nuclei that sit in pairs or triples
    double holeCoverage = 0.15;    ///< share of the image that is white holes
    double noise = 4.0;            ///< standard deviation of the sensor noise, grey levels
    int quality = 75;              ///< of the JPEG-like compression, 1..100; 0 for none
    std::uint64_t seed = 1;
};

struct Scene
{
    cv::Mat image;          ///< 8-bit BGR
    cv::Mat labels;         ///< CV_32S: 0 elsewhere, i + 1 on nucleus i
    int nuclei = 0;         ///< how many nuclei are drawn
    cv::Vec3d haematoxylin; ///< the image's haematoxylin OD colour (R, G, B), unit length
    cv::Vec3d eosin;        ///< and its eosin colour
};

/// Builds the scene described by @p params.
Scene MakeScene(const SceneParams& params);

} // namespace stainedtissue
