#pragma once

// Colour photographs of agar dishes with colonies, with a ground-truth label
// image: what a phone or a bench camera takes of a plate on a table.
//
// A round dish (its centre and radius drawn per image, always inside the
// frame) lies on a textured surround of a random colour. From the centre
// out: the agar (a random amber colour), a darker band where the agar meets
// the wall, and the bright rim of the wall. Colonies are round, darker than
// the agar (the agar is lit from behind), a little darker at the centre,
// their radii spread threefold; a share of them sit in groups of two or
// three that overlap. They keep inside kColonyReach of the dish radius.
// Glare (soft white ellipses, some on the rim) and a light gradient across
// the picture lie on top; then the optics' blur, camera noise and a JPEG
// round trip.
//
// Truth: a pixel belongs to every colony whose disc covers it; where discs
// overlap it goes to the colony with the nearest centre. Every random choice
// comes from syntheticcells::Random.

#include "syntheticcells.h"

#include <opencv2/core.hpp>

#include <cstdint>
#include <vector>

namespace dishphoto {

/// Colonies end within this share of the dish radius (the agar ends at
/// kAgarEdge, the bright wall at 1).
constexpr double kColonyReach = 0.88;
constexpr double kAgarEdge = 0.93;
constexpr double kWallStart = 0.955;

struct SceneParams
{
    cv::Size size{3000, 2000}; ///< six megapixels
    int minColonies = 20;
    int maxColonies = 300;
    double touchingShare = 0.2; ///< share of the colonies in groups that overlap
    int glares = 3;             ///< at most this many glare spots (at least one)
    bool jpeg = true;           ///< the JPEG round trip at the end
    std::uint64_t seed = 1;
};

struct Colony
{
    cv::Point2d centre;
    double radius = 0;
};

struct Glare
{
    cv::Point2d centre;
    double a = 0, b = 0; ///< half-axes, pixels
    double angle = 0;    ///< radians
    double strength = 0; ///< grey levels added at the centre
};

struct Scene
{
    cv::Mat image;  ///< 8-bit BGR
    cv::Mat labels; ///< CV_32S, 0 background, i + 1 for colonies[i]
    cv::Point2d dishCentre;
    double dishRadius = 0; ///< outer edge of the wall
    std::vector<Colony> colonies;
    std::vector<Glare> glares;
};

/// A size of about @p megapixels with the 3:2 shape of a camera picture.
cv::Size PhotoSize(double megapixels);

Scene MakeScene(const SceneParams& params);

} // namespace dishphoto
