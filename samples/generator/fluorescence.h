#pragma once

// Fluorescence-like scenes of nuclei with a ground-truth label image.
//
// Nuclei are ellipses (aspect up to 1.4) whose radii vary up to twofold,
// alone or in clusters of 2 to 4 that overlap so that they meet in a neck.
// Each nucleus has its own brightness, spread log-uniformly over a tenfold
// range, a grainy texture (smoothed noise of 25 % contrast) and one to three
// dark nucleoli at 35 % of the nucleus's brightness. The background rises
// threefold from one side of the image to the other. The optical blur is a
// Gaussian, the camera adds noise; the image is 8-bit, the same in all three
// planes. A second plane, the "marker", gives each nucleus one known level
// over its truth pixels (no blur, no noise), for measurements in another
// channel.
//
// Truth: a pixel belongs to every nucleus whose ellipse covers it; where
// ellipses overlap it goes to the nucleus with the nearest centre. Every
// random choice comes from syntheticcells::Random.

#include "syntheticcells.h"

#include <opencv2/core.hpp>

#include <cstdint>
#include <vector>

namespace fluorescence {

struct SceneParams
{
    cv::Size size{1000, 1000};
    double minRadius = 10.0; ///< of the smallest nuclei; the largest are radiusSpread times this
    double radiusSpread = 2.0;
    double coverage = 0.18;        ///< share of the image the nuclei cover
    double clusterShare = 0.35;    ///< share of the nuclei that sit in clusters
    double peak = 180.0;           ///< brightness of the brightest nuclei above the background
    double brightnessRange = 10.0; ///< brightest / dimmest
    double background = 8.0;       ///< background at its dark side
    double gradient = 3.0;         ///< background at its bright side / at its dark side
    double blur = 1.5;             ///< sigma of the optical blur, pixels
    double noise = 2.0;            ///< standard deviation of the camera noise, grey levels
    double texture = 0.25;         ///< contrast of the grain
    std::uint64_t seed = 1;
};

struct Nucleus
{
    cv::Point2d centre;
    double radius = 0;
    double brightness = 0; ///< above the background
    int marker = 0;        ///< level in the marker plane
    int cluster = 0;       ///< nuclei of one cluster share this number
};

struct Scene
{
    cv::Mat image;  ///< 8-bit BGR, the nuclear stain in every plane
    cv::Mat marker; ///< 8-bit, one level per nucleus over its truth pixels
    cv::Mat labels; ///< CV_32S, 0 background, i + 1 for nuclei[i]
    std::vector<Nucleus> nuclei;
};

Scene MakeScene(const SceneParams& params);

} // namespace fluorescence
