#pragma once

// Microscope-like scenes of touching objects with a ground-truth label image.
//
// Objects are round or elliptical (aspect up to 2.5), of radii that vary
// threefold within one scene, alone or in clusters of touching objects that
// overlap by up to a third of the smaller one's radius. Special layouts add a
// dense field that covers the whole image, a ring of touching objects around
// background, a dumbbell, a rod and objects with a hole. Every random choice
// comes from syntheticcells::Random, so a seed gives the same bytes everywhere.
//
// Truth: a pixel belongs to every object whose shape covers it; where shapes
// overlap it goes to the object with the nearest centre. Pixels in an
// object's hole are background.

#include "syntheticcells.h"

#include <opencv2/core.hpp>

#include <cstdint>
#include <vector>

namespace touchingcells {

/// Layout of a scene.
enum class Kind
{
    Mixed,      ///< singles and clusters of touching objects, away from each other
    DenseField, ///< nearly every object touches its neighbours, up to the border
    Ring,       ///< rings of 8 to 12 touching discs around background, plus a mixed field
    Dumbbell,   ///< dumbbells (two bulbs joined by a bar 0.9 as wide), plus a mixed field
    Rod,        ///< capsules of aspect 4, plus a mixed field
    Hole,       ///< objects with a hole (a bright nucleus), plus a mixed field
};

struct SceneParams
{
    cv::Size size{1000, 1000};
    Kind kind = Kind::Mixed;
    bool brightObjects = false; ///< bright objects on a dark ground instead of dark on bright
    double minRadius = 8.0;     ///< radius of a disc of the same area; the largest is 3 times this
    double radiusSpread = 3.0;  ///< largest radius / smallest radius
    double maxAspect = 2.5;     ///< elongation of the ellipses, 1 for discs only
    double coverage = 0.22;     ///< share of the image the objects cover (mixed layouts)
    double clusterShare = 0.4;  ///< share of the objects that sit in clusters
    int minCluster = 2;         ///< objects per cluster
    int maxCluster = 6;
    int specials = 3;           ///< rings, dumbbells, rods or holed objects in the special layouts
    int noise = 8;              ///< each channel of each pixel moves by up to ±noise
    double illumination = 0.12; ///< relative brightness falls by up to this towards one corner
    std::uint64_t seed = 1;
};

/// What the scene holds, per truth label (label = index + 1).
struct TruthObject
{
    cv::Point2d centre;
    int cluster = 0;         ///< objects of one cluster share this number
    int clusterSize = 1;     ///< 1 for an object that touches nothing
    bool special = false;    ///< part of a ring, a dumbbell, a rod or a holed object
    int area = 0;            ///< truth pixels
    bool nearBorder = false; ///< has a pixel within 6 pixels of the image border
};

struct Scene
{
    cv::Mat image;  ///< 8-bit BGR
    cv::Mat labels; ///< CV_32S, 0 background, i + 1 for objects[i]
    std::vector<TruthObject> objects;
};

/// Builds the scene described by @p params.
Scene MakeScene(const SceneParams& params);

/// The sizes used for the figures: about 1, 5 and 20 megapixels, 4:3.
cv::Size MegapixelSize(int megapixels);

/// Result of matching a detected label image to the truth.
struct MatchScore
{
    int truth = 0;    ///< counted truth objects
    int detected = 0; ///< counted detected objects
    int truePositives = 0;
    int falsePositives = 0;
    int falseNegatives = 0;
    int splits = 0; ///< truth objects that the detection cut into two or more
    int merges = 0; ///< detected objects that hold two or more truth objects
    double f1 = 0.0;
    double countError = 0.0; ///< (detected - truth) / truth
};

/**
 * Matches @p detected (CV_32S, 0 background) to @p truth one to one where the
 * intersection over union exceeds one half.
 *
 * Objects at the border are left out on both sides: a truth object with a
 * pixel within @p borderBand pixels of the image edge is not counted, nor is
 * a detected object whose pixels lie mostly on such a truth object. A truth
 * object counts as split when two or more detected objects lie mostly inside
 * it; a detected object counts as a merge when it holds most of two or more
 * truth objects.
 */
MatchScore Score(const cv::Mat& truth, const cv::Mat& detected, int borderBand = 6);

} // namespace touchingcells
