// Measurement speed on a 20-megapixel object mask with 500, 5,000 and 20,000
// roundish objects of the same size range, against the library's connected
// components with statistics on the same mask, measured in the same run.
//
//   measurement_bench --benchmark_repetitions=3
//
// The summary at the end gives each median and its ratio to the baseline of
// the same object count; equal per-object sizes make the time per object
// comparable between the counts.

#include "autocount/alg/alg.h"
#include "autocount/autocountmanager.h"
#include "headlessqt.h"
#include "host/displaycanvas.h"
#include "ratioreporter.h"

#include <QApplication>
#include <QGraphicsScene>
#include <QGraphicsView>

#include <opencv2/imgproc.hpp>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <map>
#include <memory>
#include <numeric>
#include <string>
#include <vector>

namespace {

constexpr int kWidth = 5472;
constexpr int kHeight = 3648;
constexpr int kCell = 31; // one object at most per cell; 176 × 117 cells
const int kCounts[] = {500, 5000, 20000};

struct Scene
{
    cv::Mat colour; // the source picture
    cv::Mat grey;   // its blue-first grey image
    cv::Mat binary; // the object mask
};

// Object k sits in its own 31 × 31 cell: an ellipse with half-axes of 6 to 13
// pixels at a random angle, its centre jittered by a pixel, so neighbouring
// objects stay at least a pixel apart. The cells are picked at random from
// the whole image. The picture is a noisy background with each object a
// little brighter and textured.
Scene MakeScene(int count)
{
    const int columns = kWidth / kCell;
    const int rows = kHeight / kCell;
    std::vector<int> cells(static_cast<size_t>(columns * rows));
    std::iota(cells.begin(), cells.end(), 0);
    cv::RNG rng(static_cast<uint64_t>(count) * 7919u + 1u);
    for (size_t i = cells.size() - 1; i > 0; --i)
        std::swap(cells[i], cells[rng.uniform(0, static_cast<int>(i) + 1)]);

    Scene s;
    s.binary = cv::Mat::zeros(kHeight, kWidth, CV_8UC1);
    s.colour.create(kHeight, kWidth, CV_8UC3);
    rng.fill(s.colour, cv::RNG::UNIFORM, 20, 90);
    for (int k = 0; k < count && k < static_cast<int>(cells.size()); ++k) {
        const int cx = (cells[k] % columns) * kCell + kCell / 2 + rng.uniform(-1, 2);
        const int cy = (cells[k] / columns) * kCell + kCell / 2 + rng.uniform(-1, 2);
        const cv::Size axes(rng.uniform(6, 14), rng.uniform(6, 14));
        const double angle = rng.uniform(0, 180);
        cv::ellipse(s.binary, cv::Point(cx, cy), axes, angle, 0, 360, cv::Scalar(255), cv::FILLED);
        const cv::Scalar tone(rng.uniform(60, 160), rng.uniform(60, 160), rng.uniform(60, 160));
        cv::ellipse(s.colour, cv::Point(cx, cy), axes, angle, 0, 360, tone, cv::FILLED);
    }
    cv::Mat noise(s.colour.size(), CV_8UC3);
    rng.fill(noise, cv::RNG::UNIFORM, 0, 40);
    s.colour += noise;
    cv::cvtColor(s.colour, s.grey, cv::COLOR_BGR2GRAY);
    return s;
}

std::map<int, Scene> scenes;

// A counting run in the results step over the scene's picture and mask.
struct Controller
{
    std::unique_ptr<QGraphicsView> view;
    RecordingCanvas canvas;
    std::unique_ptr<AutoCountManager> manager;
};
Controller* controller = nullptr;

void StartController(Controller& c)
{
    c.view = std::make_unique<QGraphicsView>();
    auto* scene = new QGraphicsScene(c.view.get());
    c.view->setScene(scene);
    c.manager = std::make_unique<AutoCountManager>();
    c.manager->SetDisplayCanvas(&c.canvas);
    c.manager->SetScene(scene);
    c.manager->Init();
}

void UseScene(const Scene& s)
{
    controller->canvas.SetImage(s.colour);
    controller->manager->SetAutoCountStep(AutoCountManager::STEP_REGION);
    controller->manager->SetBinaryImage(s.binary);
}

// ------------------------------------------------------------ baseline

void ConnectedComponentsOnce(const Scene& s)
{
    static cv::Mat labels, stats, centroids;
    cv::connectedComponentsWithStats(s.binary, labels, stats, centroids, 8, CV_32S);
    benchmark::DoNotOptimize(labels.data);
}

void ConnectedComponents(benchmark::State& state)
{
    const Scene& s = scenes.at(static_cast<int>(state.range(0)));
    for (auto _ : state)
        ConnectedComponentsOnce(s);
}

// ------------------------------------------------------------ measurement

// The measurement of every object on the grey image, fresh lists each time.
void CalResult(benchmark::State& state)
{
    const Scene& s = scenes.at(static_cast<int>(state.range(0)));
    size_t found = 0;
    benchratio::Paired(
        state,
        [&] {
            ContourList contours;
            std::vector<parResult> results;
            AlgCalResult(s.grey, s.binary, contours, results);
            found = results.size();
            benchmark::DoNotOptimize(results.data());
        },
        [&] { ConnectedComponentsOnce(s); });
    state.counters["objects"] = static_cast<double>(found);
}

// The controller's measurement run: grey conversion of the source, all
// objects measured, border objects dropped. The lists are cleared (untimed)
// before each run, as the host's workflow does.
void CalculateData(benchmark::State& state)
{
    const Scene& s = scenes.at(static_cast<int>(state.range(0)));
    UseScene(s);
    AutoCountManager& m = *controller->manager;
    benchratio::Paired(
        state,
        [&] {
            m.CalculateData();
            benchmark::DoNotOptimize(m.GetAllResults().data());
        },
        [&] { ConnectedComponentsOnce(s); }, [&] { m.DeleteTargetItem(); });
    state.counters["objects"] = static_cast<double>(m.GetAllResults().size());
    m.DeleteTargetItem();
}

} // namespace

int main(int argc, char** argv)
{
    benchratio::UseHeadlessQt();
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);

    for (int count : kCounts)
        scenes.emplace(count, MakeScene(count));
    Controller c;
    StartController(c);
    controller = &c;

    benchratio::RatioReporter reporter;
    auto* ccl = benchmark::RegisterBenchmark("ConnectedComponentsWithStats", ConnectedComponents)
                    ->Unit(benchmark::kMillisecond)
                    ->UseRealTime();
    auto* cal = benchmark::RegisterBenchmark("AlgCalResult", CalResult)
                    ->Unit(benchmark::kMillisecond)
                    ->UseManualTime();
    auto* run = benchmark::RegisterBenchmark("CalculateData", CalculateData)
                    ->Unit(benchmark::kMillisecond)
                    ->UseManualTime();
    for (int count : kCounts) {
        ccl->Arg(count);
        cal->Arg(count);
        run->Arg(count);
    }
    for (const char* name : {"AlgCalResult", "CalculateData"})
        for (int count : kCounts)
            reporter.Describe(name + ("/" + std::to_string(count)), "connectedComponentsWithStats");

    benchmark::RunSpecifiedBenchmarks(&reporter);

    // Linear growth: the extra time per extra object stays the same between
    // the counts.
    std::printf("\n");
    for (const char* name : {"AlgCalResult", "CalculateData"}) {
        for (size_t k = 1; k < std::size(kCounts); ++k) {
            const double t0 = reporter.MedianMs(name + ("/" + std::to_string(kCounts[k - 1])));
            const double t1 = reporter.MedianMs(name + ("/" + std::to_string(kCounts[k])));
            if (t0 < 0 || t1 < 0)
                continue;
            std::printf("%s: %d -> %d objects: %.2f us per extra object\n", name, kCounts[k - 1],
                        kCounts[k], (t1 - t0) / (kCounts[k] - kCounts[k - 1]) * 1e3);
        }
    }
    benchmark::Shutdown();
    controller = nullptr;
    c.manager.reset();
    return 0;
}
