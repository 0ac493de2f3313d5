// The dish search (dish::Find) against the rest of a count with --dish auto,
// both in one run on one generated 6-megapixel dish photograph. The paired
// baseline is the whole count (which searches once itself); the counter
// "to_rest" is the search's time over the rest of that count, the figure
// aimed at: at most 0.5.

#include "countrun.h"
#include "dish.h"
#include "dishphoto.h"
#include "ratioreporter.h"

#include <benchmark/benchmark.h>

#include <cstdio>

namespace {

const dishphoto::Scene& Scene()
{
    static const dishphoto::Scene scene = [] {
        dishphoto::SceneParams p; // six megapixels
        p.seed = 5;
        return dishphoto::MakeScene(p);
    }();
    return scene;
}

void BM_DishSearch(benchmark::State& state)
{
    const cv::Mat& image = Scene().image;
    CountSettings settings;
    settings.dish = DishMode::Auto;
    int count = 0;
    benchratio::Paired(
        state, [&] { benchmark::DoNotOptimize(dish::Find(image)); },
        [&] { count = countrun::Count(image, settings).Count(); });
    const double share = state.counters["ratio"];
    state.counters["to_rest"] = share / (1 - share);
    state.counters["objects"] = count;
}

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    std::printf("image %d x %d, %zu colonies\n", Scene().image.cols, Scene().image.rows,
                Scene().colonies.size());
    benchratio::RatioReporter reporter;
    benchmark::RegisterBenchmark("DishSearch", BM_DishSearch)
        ->UseManualTime()
        ->Iterations(3)
        ->Unit(benchmark::kMillisecond);
    reporter.Describe("DishSearch", "count with --dish auto");
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
