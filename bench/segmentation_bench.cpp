// Segmentation speed on a 20-megapixel colour image, driven through the
// controller as the user drives it (slider moves, mode changes, histogram
// channel picks), with the library's own colour conversions of the same image
// as baselines measured in the same run.
//
//   segmentation_bench --benchmark_repetitions=3
//
// The summary at the end gives each median and its ratio to the baseline.

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

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace {

constexpr int kWidth = 5472;
constexpr int kHeight = 3648;

// A textured colour picture: smooth colour gradients, pixel noise and a few
// thousand coloured blobs of different sizes, so that every channel has a
// spread histogram and the thresholds cut through objects.
cv::Mat MakeColourImage()
{
    cv::Mat image(kHeight, kWidth, CV_8UC3);
    for (int y = 0; y < kHeight; ++y) {
        auto* p = image.ptr<cv::Vec3b>(y);
        for (int x = 0; x < kWidth; ++x)
            p[x] = cv::Vec3b(static_cast<uchar>(60 + x * 120 / kWidth),
                             static_cast<uchar>(90 + y * 100 / kHeight),
                             static_cast<uchar>(150 - (x + y) * 60 / (kWidth + kHeight)));
    }
    cv::RNG rng(20240601);
    for (int k = 0; k < 4000; ++k) {
        const cv::Point centre(rng.uniform(0, kWidth), rng.uniform(0, kHeight));
        const cv::Size axes(rng.uniform(6, 60), rng.uniform(6, 60));
        const cv::Scalar colour(rng.uniform(0, 256), rng.uniform(0, 256), rng.uniform(0, 256));
        cv::ellipse(image, centre, axes, rng.uniform(0, 180), 0, 360, colour, cv::FILLED);
    }
    cv::Mat noise(image.size(), CV_8UC3);
    rng.fill(noise, cv::RNG::UNIFORM, 0, 24);
    image += noise;
    return image;
}

struct Session
{
    cv::Mat colour;
    cv::Mat binary; // a segmentation result, for the hole filling
    std::unique_ptr<QGraphicsView> view;
    RecordingCanvas canvas;
    std::unique_ptr<AutoCountManager> manager;
};

Session* session = nullptr;

// Starts a counting run on the image over the whole-image region and enters
// the segmentation step.
void StartSession(Session& s)
{
    s.colour = MakeColourImage();
    s.view = std::make_unique<QGraphicsView>();
    auto* scene = new QGraphicsScene(s.view.get());
    s.view->setScene(scene);
    s.canvas.SetImage(s.colour);
    s.manager = std::make_unique<AutoCountManager>();
    s.manager->SetDisplayCanvas(&s.canvas);
    s.manager->SetScene(scene);
    s.manager->Init();
    s.manager->SetAutoCountStep(AutoCountManager::STEP_REGION);
    s.manager->SetRegionSelectionMode(AutoCountManager::REGION_WHOLE_IMAGE);
    s.manager->SetSelectedRegions();
    s.manager->SetAutoCountStep(AutoCountManager::STEP_SEGMENT);
    s.manager->SetSegmentMode(AutoCountManager::SEGMENT_AUTO_DARK);
    s.binary = s.manager->GetBinaryImage().clone();
}

// ------------------------------------------------------------ baselines

void CvtColorGreyOnce()
{
    static cv::Mat grey;
    cv::cvtColor(session->colour, grey, cv::COLOR_BGR2GRAY);
    benchmark::DoNotOptimize(grey.data);
}

void CvtColorHsvOnce()
{
    static cv::Mat hsv;
    cv::cvtColor(session->colour, hsv, cv::COLOR_BGR2HSV);
    benchmark::DoNotOptimize(hsv.data);
}

void CvtColorGrey(benchmark::State& state)
{
    for (auto _ : state)
        CvtColorGreyOnce();
}

void CvtColorHsv(benchmark::State& state)
{
    for (auto _ : state)
        CvtColorHsvOnce();
}

// ------------------------------------------------------------ controller

// The manual band as the low-bound slider moves (argument: channel number).
void ManualSlider(benchmark::State& state)
{
    AutoCountManager::histogramChannel = static_cast<int>(state.range(0));
    AutoCountManager::segmentMode = AutoCountManager::SEGMENT_MANUAL;
    AutoCountManager::highThresh = 200;
    int low = 80;
    benchratio::Paired(
        state,
        [&] {
            session->manager->SetLowThreshold(low);
            low = low == 80 ? 81 : 80;
        },
        CvtColorGreyOnce);
}

// An automatic mode (argument: mode 0 bright, 1 dark).
void AutomaticMode(benchmark::State& state)
{
    const int mode = static_cast<int>(state.range(0));
    benchratio::Paired(
        state, [&] { session->manager->SetSegmentMode(mode); }, CvtColorGreyOnce);
}

// The histogram of a channel (argument), which also re-segments in the
// manual mode with that channel, as the host's channel box does.
void HistogramChannel(benchmark::State& state)
{
    AutoCountManager::segmentMode = AutoCountManager::SEGMENT_MANUAL;
    AutoCountManager::lowThresh = 80;
    AutoCountManager::highThresh = 200;
    int histogram[256];
    const int channel = static_cast<int>(state.range(0));
    benchratio::Paired(
        state,
        [&] {
            session->manager->GetHistogramData(channel, histogram);
            benchmark::DoNotOptimize(histogram);
        },
        CvtColorGreyOnce);
}

// ------------------------------------------------------------ algorithms

void RGB2HSI(benchmark::State& state)
{
    cv::Mat h, s, i;
    benchratio::Paired(
        state,
        [&] {
            AlgRGB2HSI(session->colour, h, s, i);
            benchmark::DoNotOptimize(h.data);
        },
        CvtColorHsvOnce);
}

// Hole filling of a segmentation result (a fresh copy each time, untimed).
void FillHole(benchmark::State& state)
{
    cv::Mat work, out;
    benchratio::Paired(
        state,
        [&] {
            AlgFillHole(work, out);
            benchmark::DoNotOptimize(out.data);
        },
        CvtColorGreyOnce, [&] { session->binary.copyTo(work); });
}

} // namespace

int main(int argc, char** argv)
{
    benchratio::UseHeadlessQt();
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);

    Session s;
    StartSession(s);
    session = &s;

    benchratio::RatioReporter reporter;
    auto plain = [](const char* name, void (*fn)(benchmark::State&)) {
        benchmark::RegisterBenchmark(name, fn)->Unit(benchmark::kMillisecond)->UseRealTime();
    };
    // Paired benchmarks, each with its arguments; the summary names the baseline.
    auto paired = [&](const char* name, void (*fn)(benchmark::State&), const char* baseline,
                      std::vector<int> args) {
        auto* b =
            benchmark::RegisterBenchmark(name, fn)->Unit(benchmark::kMillisecond)->UseManualTime();
        for (int a : args) {
            b->Arg(a);
            reporter.Describe(std::string(name) + "/" + std::to_string(a), baseline);
        }
        if (args.empty())
            reporter.Describe(name, baseline);
    };
    plain("CvtColorBGR2GRAY", CvtColorGrey);
    plain("CvtColorBGR2HSV", CvtColorHsv);
    paired("ImageSegmentManual", ManualSlider, "cvtColor BGR2GRAY", {0, 1, 2, 3, 4, 5, 6});
    paired("ImageSegmentAuto", AutomaticMode, "cvtColor BGR2GRAY",
           {AutoCountManager::SEGMENT_AUTO_BRIGHT, AutoCountManager::SEGMENT_AUTO_DARK});
    paired("AlgRGB2HSI", RGB2HSI, "cvtColor BGR2HSV", {});
    paired("GetHistogramData", HistogramChannel, "cvtColor BGR2GRAY", {0, 1, 2, 3, 4, 5, 6});
    paired("AlgFillHole", FillHole, "cvtColor BGR2GRAY", {});

    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    session = nullptr;
    return 0;
}
