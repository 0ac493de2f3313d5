// Scores the default count with and without the engine's preparation against
// generated truth: fluorescence-like nuclei (samples/generator/fluorescence)
// with --mode bright, and the scenes of touching objects
// (samples/generator/touchingcells) with their own polarity, which the
// preparation must not make worse.
//
// Usage: preparation_score [--seeds A-B] [--set fluorescence|touching|both]
//                          [--sizes 1,5] [--steps on|STEPS] [--quiet]
// Prints one line per image and setting, then the totals and the worst
// figures per setting.

#include "countrun.h"
#include "fluorescence.h"
#include "touchingcells.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

namespace {

struct Worst
{
    double f1 = 1.0;
    double countError = 0.0;
    int images = 0;
    long truth = 0, detected = 0, splits = 0, merges = 0;

    void Add(const touchingcells::MatchScore& s)
    {
        f1 = std::min(f1, s.f1);
        if (std::abs(s.countError) > std::abs(countError))
            countError = s.countError;
        ++images;
        truth += s.truth;
        detected += s.detected;
        splits += s.splits;
        merges += s.merges;
    }
};

std::vector<int> Numbers(const std::string& s)
{
    std::vector<int> numbers;
    std::stringstream in(s);
    std::string part;
    while (std::getline(in, part, ','))
        numbers.push_back(std::atoi(part.c_str()));
    return numbers;
}

// Steps of the prepared setting (--steps); all by default.
QList<PrepStep> gSteps = CountSettings().preparation;

cv::Mat Detect(const cv::Mat& image, bool bright, bool prepare)
{
    CountSettings settings;
    settings.mode = bright ? SegmentMode::Bright : SegmentMode::Dark;
    settings.preparation = prepare ? gSteps : QList<PrepStep>();
    const countrun::CountResult result = countrun::Count(image, settings);
    return countcore::LabelImage(image.size(), result.core.validContours);
}

const char* kSettingNames[] = {"module", "prepared"};

void Line(const char* set, const char* kind, int seed, int megapixels, const char* polarity,
          int setting, const touchingcells::MatchScore& s, bool quiet)
{
    if (quiet && s.f1 >= 0.995)
        return;
    std::printf("%-12s %-9s %4d %3d %-6s %6d | %-8s %6d %7.4f %6d %6d %+7.2f\n", set, kind, seed,
                megapixels, polarity, s.truth, kSettingNames[setting], s.detected, s.f1, s.splits,
                s.merges, 100.0 * s.countError);
    std::fflush(stdout);
}

} // namespace

int main(int argc, char** argv)
{
    int firstSeed = 101, lastSeed = 110;
    std::string set = "both";
    std::vector<int> sizes{1};
    bool quiet = false;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const std::string value = i + 1 < argc ? argv[i + 1] : "";
        if (arg == "--seeds") {
            std::sscanf(value.c_str(), "%d-%d", &firstSeed, &lastSeed);
            ++i;
        } else if (arg == "--set") {
            set = value;
            ++i;
        } else if (arg == "--sizes") {
            sizes = Numbers(value);
            ++i;
        } else if (arg == "--steps") {
            gSteps = countsettings::ParsePreparation("--steps", QString::fromStdString(value));
            ++i;
        } else if (arg == "--quiet") {
            quiet = true;
        } else {
            std::fprintf(stderr, "unknown argument %s\n", arg.c_str());
            return 2;
        }
    }

    std::printf("%-12s %-9s %4s %3s %-6s %6s | %-8s %6s %7s %6s %6s %7s\n", "set", "scene", "seed",
                "MP", "pol", "truth", "setting", "count", "F1", "splits", "merges", "err%");
    Worst fluo[2], touching[2];
    if (set == "fluorescence" || set == "both") {
        for (int megapixels : sizes)
            for (int seed = firstSeed; seed <= lastSeed; ++seed) {
                fluorescence::SceneParams params;
                params.size = touchingcells::MegapixelSize(megapixels);
                // Nuclei 8 to 24 pixels in radius over the seeds.
                params.minRadius = 8.0 + 2.0 * (seed % 5);
                params.seed = static_cast<std::uint64_t>(seed);
                const fluorescence::Scene scene = fluorescence::MakeScene(params);
                for (int m = 0; m < 2; ++m) {
                    const touchingcells::MatchScore s =
                        touchingcells::Score(scene.labels, Detect(scene.image, true, m == 1));
                    fluo[m].Add(s);
                    Line("fluorescence", "nuclei", seed, megapixels, "bright", m, s, quiet);
                }
            }
    }
    if (set == "touching" || set == "both") {
        const std::pair<const char*, touchingcells::Kind> kinds[] = {
            {"mixed", touchingcells::Kind::Mixed}, {"dense", touchingcells::Kind::DenseField},
            {"ring", touchingcells::Kind::Ring},   {"dumbbell", touchingcells::Kind::Dumbbell},
            {"rod", touchingcells::Kind::Rod},     {"hole", touchingcells::Kind::Hole}};
        for (const auto& [name, kind] : kinds)
            for (int megapixels : sizes)
                for (int seed = firstSeed; seed <= lastSeed; ++seed)
                    for (bool bright : {false, true}) {
                        // As bench/separation_score draws them.
                        touchingcells::SceneParams params;
                        params.size = touchingcells::MegapixelSize(megapixels);
                        params.kind = kind;
                        params.brightObjects = bright;
                        const bool odd = seed % 2 != 0;
                        params.minRadius = megapixels == 1 ? (odd ? 4.0 : 7.0) : (odd ? 6.0 : 11.0);
                        params.seed = static_cast<std::uint64_t>(seed) * 1000 + (bright ? 1 : 0);
                        const touchingcells::Scene scene = touchingcells::MakeScene(params);
                        for (int m = 0; m < 2; ++m) {
                            const touchingcells::MatchScore s = touchingcells::Score(
                                scene.labels, Detect(scene.image, bright, m == 1));
                            touching[m].Add(s);
                            Line("touching", name, seed, megapixels, bright ? "bright" : "dark", m,
                                 s, quiet);
                        }
                    }
    }
    for (int m = 0; m < 2; ++m) {
        for (const auto& [name, w] : {std::pair<const char*, Worst&>{"fluorescence", fluo[m]},
                                      std::pair<const char*, Worst&>{"touching", touching[m]}})
            if (w.images > 0)
                std::printf("%-12s %-8s images %d truth %ld count %ld splits %ld merges %ld  "
                            "worst F1 %.4f  worst count error %+.2f%%\n",
                            name, kSettingNames[m], w.images, w.truth, w.detected, w.splits,
                            w.merges, w.f1, 100.0 * w.countError);
    }
    return 0;
}
