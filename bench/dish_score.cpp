// Scores counts of generated dish photographs (samples/generator/dishphoto)
// against their truth: F1 of the one-to-one matching of detected and true
// colonies (intersection over union above one half) and the count error.
//
// Usage: dish_score [--seeds A-B] [--megapixels 6,1.5] [--settings JSON]
//                   [--glares N] [--colonies A-B] [--write DIR]
// --settings: a settings object (the settings file's keys) on top of the
// defaults, e.g. '{"dish":"auto"}'. --write: each photograph as
// DIR/dish-SEED-MP.png, for looking at. Prints one line per image, then the
// totals and the worst figures.

#include "countrun.h"
#include "dishphoto.h"
#include "touchingcells.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

namespace {

std::vector<double> Numbers(const std::string& s)
{
    std::vector<double> numbers;
    std::stringstream in(s);
    std::string part;
    while (std::getline(in, part, ','))
        numbers.push_back(std::atof(part.c_str()));
    return numbers;
}

} // namespace

int main(int argc, char** argv)
{
    int firstSeed = 1, lastSeed = 10;
    std::vector<double> sizes{6};
    QJsonObject json;
    std::string write;
    int glares = dishphoto::SceneParams().glares;
    int minColonies = dishphoto::SceneParams().minColonies;
    int maxColonies = dishphoto::SceneParams().maxColonies;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const std::string value = i + 1 < argc ? argv[i + 1] : "";
        if (arg == "--seeds") {
            std::sscanf(value.c_str(), "%d-%d", &firstSeed, &lastSeed);
        } else if (arg == "--megapixels") {
            sizes = Numbers(value);
        } else if (arg == "--settings") {
            json = QJsonDocument::fromJson(QByteArray::fromStdString(value)).object();
        } else if (arg == "--glares") {
            glares = std::atoi(value.c_str());
        } else if (arg == "--colonies") {
            std::sscanf(value.c_str(), "%d-%d", &minColonies, &maxColonies);
        } else if (arg == "--write") {
            write = value;
        } else {
            std::fprintf(stderr, "unknown argument %s\n", arg.c_str());
            return 2;
        }
        ++i;
    }
    CountSettings settings;
    try {
        settings = countsettings::FromJson(json, CountSettings(), QStringLiteral("--settings"));
    } catch (const UsageError& error) {
        std::fprintf(stderr, "%s: %s\n", qPrintable(error.option()), qPrintable(error.message()));
        return 2;
    }

    std::printf("%4s %5s %10s %6s | %6s %7s %7s %6s %6s %7s %7s %7s\n", "seed", "MP", "size",
                "truth", "count", "F1", "err%", "splits", "merges", "seconds", "dish-dc",
                "dish-dr");
    double worstF1 = 1, worstError = 0;
    long truth = 0, detected = 0;
    int images = 0;
    for (double megapixels : sizes)
        for (int seed = firstSeed; seed <= lastSeed; ++seed) {
            dishphoto::SceneParams params;
            params.size = dishphoto::PhotoSize(megapixels);
            params.seed = static_cast<std::uint64_t>(seed);
            params.glares = glares;
            params.minColonies = minColonies;
            params.maxColonies = maxColonies;
            const dishphoto::Scene scene = dishphoto::MakeScene(params);
            if (!write.empty())
                cv::imwrite(write + "/dish-" + std::to_string(seed) + "-" +
                                std::to_string(static_cast<int>(std::lround(10 * megapixels))) +
                                ".png",
                            scene.image);
            const auto start = std::chrono::steady_clock::now();
            const countrun::CountResult result = countrun::Count(scene.image, settings);
            const double seconds =
                std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
            if (!result.error.isEmpty()) {
                std::printf("%4d %5.1f: %s\n", seed, megapixels, qPrintable(result.error));
                worstF1 = 0;
                continue;
            }
            const cv::Mat found =
                countcore::LabelImage(scene.image.size(), result.core.validContours);
            const touchingcells::MatchScore s = touchingcells::Score(scene.labels, found);
            if (!write.empty()) {
                // The objects found in red over the photograph.
                cv::Mat overlay = scene.image.clone();
                for (const Contour& c : result.core.validContours)
                    cv::polylines(overlay, std::vector<Contour>{c}, true, cv::Scalar(0, 0, 255), 2);
                if (result.dish)
                    cv::circle(overlay,
                               cv::Point(static_cast<int>(result.dish->x),
                                         static_cast<int>(result.dish->y)),
                               static_cast<int>(dish::CountedRadius(*result.dish)),
                               cv::Scalar(255, 0, 0), 2);
                cv::imwrite(write + "/found-" + std::to_string(seed) + "-" +
                                std::to_string(static_cast<int>(std::lround(10 * megapixels))) +
                                ".png",
                            overlay);
            }
            // How far the rim found lies from the true one, pixels.
            double off = 0, radiusOff = 0;
            if (result.dish) {
                off = std::hypot(result.dish->x - scene.dishCentre.x,
                                 result.dish->y - scene.dishCentre.y);
                radiusOff = result.dish->radius - scene.dishRadius;
            }
            std::printf("%4d %5.1f %4dx%-5d %6d | %6d %7.4f %+7.2f %6d %6d %7.2f %7.1f %+7.1f "
                        "%5.1f %5.1f\n",
                        seed, megapixels, scene.image.cols, scene.image.rows, s.truth, s.detected,
                        s.f1, 100.0 * s.countError, s.splits, s.merges, seconds, off, radiusOff,
                        result.preparation.objectRadius, result.preparation.discRadius);
            std::fflush(stdout);
            worstF1 = std::min(worstF1, s.f1);
            if (std::abs(s.countError) > std::abs(worstError))
                worstError = s.countError;
            truth += s.truth;
            detected += s.detected;
            ++images;
        }
    std::printf("images %d truth %ld count %ld  worst F1 %.4f  worst count error %+.2f%%\n", images,
                truth, detected, worstF1, 100.0 * worstError);
    return 0;
}
