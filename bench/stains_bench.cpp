// Stain separation (the haematoxylin density of every pixel) against the
// rest of the count, both in one run on one 20-megapixel stained-tissue
// image: the ratio is the separation's time over the time of counting the
// density plane itself (preparation, threshold, distance cut, measurement,
// specks). The aim is at most 0.5.

#include "countrun.h"
#include "ratioreporter.h"
#include "stainedtissue.h"
#include "stains.h"

#include <benchmark/benchmark.h>

#include <cstdio>

namespace {

const stainedtissue::Scene& Scene()
{
    static const stainedtissue::Scene scene = [] {
        stainedtissue::SceneParams p;
        p.size = cv::Size(5472, 3648);
        p.seed = 20;
        return stainedtissue::MakeScene(p);
    }();
    return scene;
}

void BM_StainSeparation(benchmark::State& state)
{
    const cv::Mat& image = Scene().image;
    const stains::Vector haematoxylin = *stains::Parse("hematoxylin");
    // The rest of the count: the density plane as a grey image, counted as
    // bright objects, which is what the count does after the separation.
    cv::Mat plane = stains::DensityPlane(image, haematoxylin), planeImage;
    cv::merge(std::vector<cv::Mat>{plane, plane, plane}, planeImage);
    CountSettings rest;
    rest.mode = SegmentMode::Bright;
    int count = 0;
    benchratio::Paired(
        state,
        [&] {
            const cv::Mat separated = stains::DensityPlane(image, haematoxylin);
            benchmark::DoNotOptimize(separated.data);
        },
        [&] { count = countrun::Count(planeImage, rest).Count(); });
    state.counters["objects"] = count;
}

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    std::printf("image %d x %d, %d nuclei\n", Scene().image.cols, Scene().image.rows,
                Scene().nuclei);
    benchratio::RatioReporter reporter;
    benchmark::RegisterBenchmark("StainSeparation", BM_StainSeparation)
        ->UseManualTime()
        ->Iterations(2)
        ->Unit(benchmark::kMillisecond);
    reporter.Describe("StainSeparation", "count of the density plane");
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
