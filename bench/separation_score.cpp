// Scores the automatic cut and the distance cut on generated scenes with
// truth labels, through the default counting pipeline: grey, Otsu on the
// whole image with the scene's polarity, the cut, measurement, border objects
// dropped, specks dropped.
//
// Usage: separation_score [--seeds A-B] [--sizes 1,5,20] [--kinds mixed,dense,...]
//                         [--sensitivity S] [--speck-fraction F] [--quiet]
// Prints one line per image and method, then the worst figures per method.

#include "autocount/alg/alg.h"
#include "engine/sizefloor.h"
#include "touchingcells.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace {

using touchingcells::Kind;

struct Options
{
    int firstSeed = 101, lastSeed = 110;
    std::vector<int> sizes{1, 5, 20};
    std::vector<std::string> kinds{"mixed", "dense", "ring", "dumbbell", "rod", "hole"};
    double sensitivity = 1.0;
    double speckFraction = engine::kSpeckFraction;
    bool quiet = false;
};

const std::map<std::string, Kind> kKinds{{"mixed", Kind::Mixed}, {"dense", Kind::DenseField},
                                         {"ring", Kind::Ring},   {"dumbbell", Kind::Dumbbell},
                                         {"rod", Kind::Rod},     {"hole", Kind::Hole}};

std::vector<std::string> Split(const std::string& s)
{
    std::vector<std::string> parts;
    std::stringstream in(s);
    std::string part;
    while (std::getline(in, part, ','))
        parts.push_back(part);
    return parts;
}

// Smallest radius per image size; the largest objects are three times this.
// Odd and even seeds differ so that every size sees small and large objects.
double MinRadius(int megapixels, int seed)
{
    const bool odd = seed % 2 != 0;
    switch (megapixels) {
    case 1:
        return odd ? 4.0 : 7.0;
    case 5:
        return odd ? 6.0 : 11.0;
    default:
        return odd ? 9.0 : 13.0;
    }
}

enum class Method
{
    AutoCut,
    DistanceCut
};

// The pipeline's detected objects as a label image (0 background).
cv::Mat Detect(const cv::Mat& image, bool bright, Method method, const Options& options)
{
    cv::Mat grey;
    cv::cvtColor(image, grey, cv::COLOR_BGR2GRAY);
    const cv::Mat whole(grey.size(), CV_8UC1, cv::Scalar(255));
    cv::Mat binary;
    int threshold = 0;
    AlgAuto2Bw(grey, whole, bright ? ALG_BRIGHT_OBJECTS : ALG_DARK_OBJECTS, binary, threshold);
    cv::Mat cut;
    if (method == Method::AutoCut) {
        AlgAutoCut(binary, cut);
    } else {
        AlgDistanceCutOptions cutOptions;
        cutOptions.sensitivity = options.sensitivity;
        AlgDistanceCut(binary, cut, cutOptions);
    }
    ContourList contours, inner;
    std::vector<parResult> results, innerResults;
    AlgCalResult(grey, cut, contours, results);
    AlgRemoveBorder(contours, results, grey.cols, grey.rows, inner, innerResults);
    std::vector<double> areas;
    for (const parResult& r : innerResults)
        areas.push_back(r.area);
    const ContourList kept = engine::DropSpecks(inner, areas, options.speckFraction);

    cv::Mat labels = cv::Mat::zeros(image.size(), CV_32S);
    for (size_t i = 0; i < kept.size(); ++i)
        cv::drawContours(labels, kept, static_cast<int>(i), cv::Scalar(static_cast<int>(i) + 1),
                         cv::FILLED, cv::LINE_8);
    return labels;
}

struct Worst
{
    double f1 = 1.0;
    double countError = 0.0;
    int images = 0;
    long truth = 0, detected = 0, splits = 0, merges = 0;
};

} // namespace

int main(int argc, char** argv)
{
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const std::string value = i + 1 < argc ? argv[i + 1] : "";
        if (arg == "--seeds") {
            std::sscanf(value.c_str(), "%d-%d", &options.firstSeed, &options.lastSeed);
            ++i;
        } else if (arg == "--sizes") {
            options.sizes.clear();
            for (const std::string& s : Split(value))
                options.sizes.push_back(std::atoi(s.c_str()));
            ++i;
        } else if (arg == "--kinds") {
            options.kinds = Split(value);
            ++i;
        } else if (arg == "--sensitivity") {
            options.sensitivity = std::atof(value.c_str());
            ++i;
        } else if (arg == "--speck-fraction") {
            options.speckFraction = std::atof(value.c_str());
            ++i;
        } else if (arg == "--quiet") {
            options.quiet = true;
        } else {
            std::fprintf(stderr, "unknown argument %s\n", arg.c_str());
            return 2;
        }
    }

    const char* methodNames[] = {"autocut", "distancecut"};
    Worst worst[2];
    std::printf("%-9s %4s %3s %-6s %6s | %-11s %6s %7s %6s %6s %7s\n", "scene", "seed", "MP", "pol",
                "truth", "method", "count", "F1", "splits", "merges", "err%");
    for (const std::string& kindName : options.kinds) {
        const auto kind = kKinds.find(kindName);
        if (kind == kKinds.end()) {
            std::fprintf(stderr, "unknown scene kind %s\n", kindName.c_str());
            return 2;
        }
        // Mixed scenes at every size; the special layouts at one megapixel.
        const std::vector<int> sizes =
            kind->second == Kind::Mixed ? options.sizes : std::vector<int>{1};
        for (int megapixels : sizes) {
            for (int seed = options.firstSeed; seed <= options.lastSeed; ++seed) {
                for (bool bright : {false, true}) {
                    touchingcells::SceneParams params;
                    params.size = touchingcells::MegapixelSize(megapixels);
                    params.kind = kind->second;
                    params.brightObjects = bright;
                    params.minRadius = MinRadius(megapixels, seed);
                    params.seed = static_cast<std::uint64_t>(seed) * 1000 + (bright ? 1 : 0);
                    const touchingcells::Scene scene = touchingcells::MakeScene(params);
                    for (int m = 0; m < 2; ++m) {
                        const cv::Mat detected =
                            Detect(scene.image, bright, static_cast<Method>(m), options);
                        const touchingcells::MatchScore s =
                            touchingcells::Score(scene.labels, detected);
                        Worst& w = worst[m];
                        w.f1 = std::min(w.f1, s.f1);
                        if (std::abs(s.countError) > std::abs(w.countError))
                            w.countError = s.countError;
                        ++w.images;
                        w.truth += s.truth;
                        w.detected += s.detected;
                        w.splits += s.splits;
                        w.merges += s.merges;
                        if (!options.quiet || s.f1 < 0.995)
                            std::printf("%-9s %4d %3d %-6s %6d | %-11s %6d %7.4f %6d %6d %+7.2f\n",
                                        kindName.c_str(), seed, megapixels,
                                        bright ? "bright" : "dark", s.truth, methodNames[m],
                                        s.detected, s.f1, s.splits, s.merges, 100.0 * s.countError);
                    }
                    std::fflush(stdout);
                }
            }
        }
    }
    for (int m = 0; m < 2; ++m)
        std::printf("%-11s images %d truth %ld count %ld splits %ld merges %ld  worst F1 %.4f  "
                    "worst count error %+.2f%%\n",
                    methodNames[m], worst[m].images, worst[m].truth, worst[m].detected,
                    worst[m].splits, worst[m].merges, worst[m].f1, 100.0 * worst[m].countError);
    return 0;
}
