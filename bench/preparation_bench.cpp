// The engine's preparation stage (size estimate, background opening,
// smoothing, the noise-floor and local-peak threshold, the hole filling)
// against the rest of the count, both in one run on one 20-megapixel
// fluorescence-like image: the ratio is the preparation's time over the time
// of the count without it (the module's threshold, the distance cut, the
// measurement, the specks). The aim is at most 1.

#include "countrun.h"
#include "fluorescence.h"
#include "preparation.h"
#include "ratioreporter.h"

#include <opencv2/imgproc.hpp>

#include <benchmark/benchmark.h>

#include <cstdio>

namespace {

const fluorescence::Scene& Scene()
{
    static const fluorescence::Scene scene = [] {
        fluorescence::SceneParams p;
        p.size = cv::Size(5472, 3648);
        p.minRadius = 14;
        p.seed = 20;
        return fluorescence::MakeScene(p);
    }();
    return scene;
}

void BM_Preparation(benchmark::State& state)
{
    const cv::Mat& image = Scene().image;
    cv::Mat grey;
    cv::cvtColor(image, grey, cv::COLOR_BGR2GRAY);
    const cv::Mat whole(grey.size(), CV_8UC1, cv::Scalar(255));
    CountSettings rest;
    rest.mode = SegmentMode::Bright;
    rest.preparation.clear();
    int count = 0;
    benchratio::Paired(
        state,
        [&] {
            cv::Mat binary(grey.size(), CV_8UC1, cv::Scalar(0));
            preparation::Segment(grey, true, whole, preparation::Steps(), binary);
            preparation::FillSingleObjectHoles(binary);
            benchmark::DoNotOptimize(binary.data);
        },
        [&] { count = countrun::Count(image, rest).Count(); });
    state.counters["objects"] = count;
}

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    std::printf("image %d x %d, %zu nuclei\n", Scene().image.cols, Scene().image.rows,
                Scene().nuclei.size());
    benchratio::RatioReporter reporter;
    benchmark::RegisterBenchmark("Preparation", BM_Preparation)
        ->UseManualTime()
        ->Iterations(2)
        ->Unit(benchmark::kMillisecond);
    reporter.Describe("Preparation", "count without the preparation");
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
