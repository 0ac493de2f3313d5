// Scores the count of nuclei in generated stained tissue
// (samples/generator/stainedtissue) against the truth: F1 of the objects
// matched one to one (intersection over union above one half) and the count
// error, per image, with --stain hematoxylin and otherwise the defaults.
//
// Usage: tissue_score [--seeds A-B] [--stain NAME] [--preparation STEPS]
//                     [--sensitivity S] [--write DIR]
// Prints one line per image, then the worst F1 and count error. --stain ""
// scores the defaults alone. --write saves each image and its truth.

#include "countrun.h"
#include "stainedtissue.h"
#include "touchingcells.h"

#include <opencv2/imgcodecs.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>

int main(int argc, char** argv)
{
    int firstSeed = 1, lastSeed = 10;
    std::string stain = "hematoxylin";
    std::string write;
    QList<PrepStep> steps = CountSettings().preparation;
    double sensitivity = CountSettings().sensitivity;
    for (int i = 1; i + 1 < argc; i += 2) {
        const std::string arg = argv[i];
        const std::string value = argv[i + 1];
        if (arg == "--seeds")
            std::sscanf(value.c_str(), "%d-%d", &firstSeed, &lastSeed);
        else if (arg == "--stain")
            stain = value;
        else if (arg == "--preparation")
            steps = countsettings::ParsePreparation("--preparation", QString::fromStdString(value));
        else if (arg == "--sensitivity")
            sensitivity = std::atof(value.c_str());
        else if (arg == "--write")
            write = value;
        else {
            std::fprintf(stderr, "unknown argument %s\n", arg.c_str());
            return 2;
        }
    }
    std::printf("%5s %6s %6s %7s %6s %6s %7s  %s\n", "seed", "truth", "count", "F1", "splits",
                "merges", "err%", "plane");
    double worstF1 = 1.0, worstError = 0.0;
    for (int seed = firstSeed; seed <= lastSeed; ++seed) {
        stainedtissue::SceneParams params;
        params.seed = static_cast<std::uint64_t>(seed);
        const stainedtissue::Scene scene = stainedtissue::MakeScene(params);
        if (!write.empty()) {
            cv::imwrite(write + "/tissue" + std::to_string(seed) + ".png", scene.image);
            cv::Mat truth;
            scene.labels.convertTo(truth, CV_16U);
            cv::imwrite(write + "/tissue" + std::to_string(seed) + "_truth.png", truth);
        }
        CountSettings settings;
        settings.stain = QString::fromStdString(stain);
        settings.preparation = steps;
        settings.sensitivity = sensitivity;
        const countrun::CountResult result = countrun::Count(scene.image, settings);
        const cv::Mat detected =
            countcore::LabelImage(scene.image.size(), result.core.validContours);
        const touchingcells::MatchScore s = touchingcells::Score(scene.labels, detected);
        std::printf("%5d %6d %6d %7.4f %6d %6d %+7.2f  %s %s\n", seed, s.truth, s.detected, s.f1,
                    s.splits, s.merges, 100.0 * s.countError, qPrintable(result.plane),
                    result.bright ? "bright" : "dark");
        std::fflush(stdout);
        worstF1 = std::min(worstF1, s.f1);
        if (std::abs(s.countError) > std::abs(worstError))
            worstError = s.countError;
    }
    std::printf("worst F1 %.4f, worst count error %+.2f%%\n", worstF1, 100.0 * worstError);
    return 0;
}
