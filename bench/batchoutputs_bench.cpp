// The throughput of a batch with every output the lab notebook needs against
// counting only, measured in one run of the built program: 24 images of
// 5 megapixels, with --jobs 1 and --jobs 2. The counters give images per
// second, the cost of the outputs as a ratio to counting only (aim at most 2
// with --jobs 2), the use of both cores as the ratio of --jobs 2 to --jobs 1
// with every output (aim at least 1.7), and the growth of the peak memory
// from a 4-image batch to the 24-image batch (aim at most 1.05).

#include "syntheticcells.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QTemporaryDir>

#include <opencv2/imgcodecs.hpp>

#include <benchmark/benchmark.h>

#include <cerrno>
#include <string>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int kImages = 24;
/// Runs of each batch size for the memory figure.
constexpr int kRounds = 3;

/// 24 images of 2736 × 1824 (5 MP) with about 300 cells each.
void WriteImages(const QString& folder, int count)
{
    for (int i = 0; i < count; ++i) {
        syntheticcells::LayoutParams p;
        p.size = cv::Size(2736, 1824);
        p.slot = 110;
        p.singles = 220;
        p.pairs = 50;
        p.seed = 700 + i;
        const QString name = QStringLiteral("img%1.png").arg(i, 2, 10, QLatin1Char('0'));
        cv::imwrite(QDir(folder).filePath(name).toStdString(),
                    syntheticcells::Render(syntheticcells::MakeLayout(p)));
    }
}

struct RunFigures
{
    double seconds = 0;
    double peakMb = 0; ///< the largest resident size of the program
};

/// Runs "autocount count ARGUMENTS" with standard output discarded; the
/// peak is this child's own, from wait4.
RunFigures RunProgram(const QStringList& arguments)
{
    std::vector<std::string> words{AUTOCOUNT_PROGRAM, "count"};
    for (const QString& argument : arguments)
        words.push_back(argument.toStdString());
    std::vector<char*> argv;
    for (std::string& word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);

    RunFigures figures;
    QElapsedTimer timer;
    timer.start();
    pid_t pid = -1;
    if (posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ) == 0) {
        int status = 0;
        struct rusage usage = {};
        while (wait4(pid, &status, 0, &usage) < 0 && errno == EINTR) {
        }
        figures.peakMb = usage.ru_maxrss / 1024.0;
    }
    figures.seconds = timer.nsecsElapsed() / 1e9;
    posix_spawn_file_actions_destroy(&actions);
    return figures;
}

void BM_BatchWithEveryOutput(benchmark::State& state)
{
    QTemporaryDir images;
    QTemporaryDir out;
    WriteImages(images.path(), kImages);
    const QStringList every = {"--table",     out.filePath("{stem}.csv"),
                               "--annotated", out.filePath("{stem}.png"),
                               "--report",    out.filePath("{stem}.xlsx")};
    double count1 = 0, every1 = 0, count2 = 0, every2 = 0;
    for (auto _ : state) {
        count1 += RunProgram({"--jobs", "1", images.path()}).seconds;
        every1 +=
            RunProgram(QStringList{"--jobs", "1"} + every + QStringList{images.path()}).seconds;
        count2 += RunProgram({"--jobs", "2", images.path()}).seconds;
        every2 +=
            RunProgram(QStringList{"--jobs", "2"} + every + QStringList{images.path()}).seconds;
    }
    const double n = static_cast<double>(state.iterations());
    state.counters["ips_count_jobs1"] = kImages * n / count1;
    state.counters["ips_every_jobs1"] = kImages * n / every1;
    state.counters["ips_count_jobs2"] = kImages * n / count2;
    state.counters["ips_every_jobs2"] = kImages * n / every2;
    state.counters["outputs_cost_jobs1"] = every1 / count1;
    state.counters["outputs_cost_jobs2"] = every2 / count2;
    state.counters["jobs2_over_jobs1"] = every1 / every2;
}
BENCHMARK(BM_BatchWithEveryOutput)->Unit(benchmark::kMillisecond)->Iterations(1);

/// Peak memory of a 4-image and of a 24-image batch with every output, each
/// in a fresh process, each run kRounds times; the largest peak of each size
/// counts.
void BM_BatchMemoryStaysFlat(benchmark::State& state)
{
    QTemporaryDir few;
    QTemporaryDir many;
    QTemporaryDir out;
    WriteImages(few.path(), 4);
    WriteImages(many.path(), kImages);
    const QStringList every = {"--table",     out.filePath("{stem}.csv"),
                               "--annotated", out.filePath("{stem}.png"),
                               "--report",    out.filePath("{stem}.xlsx")};
    double peakFew = 0;
    double peakMany = 0;
    for (auto _ : state) {
        // Each size kRounds times, in turn: which images are in flight together at
        // the peak varies from run to run.
        for (int round = 0; round < kRounds; ++round) {
            peakFew = std::max(
                peakFew,
                RunProgram(QStringList{"--jobs", "2"} + every + QStringList{few.path()}).peakMb);
            peakMany = std::max(
                peakMany,
                RunProgram(QStringList{"--jobs", "2"} + every + QStringList{many.path()}).peakMb);
        }
    }
    state.counters["peak_mb_4"] = peakFew;
    state.counters["peak_mb_24"] = peakMany;
    state.counters["peak_growth"] = peakMany / peakFew;
}
BENCHMARK(BM_BatchMemoryStaysFlat)->Unit(benchmark::kMillisecond)->Iterations(1);

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
