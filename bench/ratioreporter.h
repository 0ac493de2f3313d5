#pragma once

// Console reporter that also prints, after all benchmarks ran, the median
// wall-clock time of each benchmark and its ratio to a baseline benchmark
// measured in the same run. The machine is shared, so only ratios within one
// run are compared.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace benchratio {

class RatioReporter : public benchmark::ConsoleReporter
{
public:
    /// Prints @p name's median over @p baseline's median in the summary.
    void AddRatio(std::string name, std::string baseline)
    {
        ratios_.emplace_back(std::move(name), std::move(baseline));
    }

    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            if (run.error_occurred || run.run_type != Run::RT_Iteration || run.iterations == 0)
                continue;
            const double seconds =
                run.GetAdjustedRealTime() / benchmark::GetTimeUnitMultiplier(run.time_unit);
            auto& list = seconds_[run.run_name.function_name + Args(run)];
            list.push_back(seconds);
        }
        ConsoleReporter::ReportRuns(runs);
    }

    void Finalize() override
    {
        ConsoleReporter::Finalize();
        if (ratios_.empty())
            return;
        std::printf("\n%-44s %12s  %-28s %12s %8s\n", "benchmark (median)", "ms", "baseline", "ms",
                    "ratio");
        for (const auto& [name, baseline] : ratios_) {
            const double t = Median(name);
            const double b = Median(baseline);
            if (t < 0 || b <= 0)
                continue;
            std::printf("%-44s %12.2f  %-28s %12.2f %8.2f\n", name.c_str(), t * 1e3,
                        baseline.c_str(), b * 1e3, t / b);
        }
        std::fflush(stdout);
    }

    /// Median seconds per iteration of @p name over its repetitions, or -1.
    double Median(const std::string& name) const
    {
        const auto it = seconds_.find(name);
        if (it == seconds_.end() || it->second.empty())
            return -1;
        std::vector<double> v = it->second;
        std::sort(v.begin(), v.end());
        const size_t n = v.size();
        return n % 2 ? v[n / 2] : 0.5 * (v[n / 2 - 1] + v[n / 2]);
    }

private:
    // The benchmark's name with its arguments, without the timing suffixes.
    static std::string Args(const Run& run)
    {
        return run.run_name.args.empty() ? std::string() : "/" + run.run_name.args;
    }

    std::vector<std::pair<std::string, std::string>> ratios_;
    std::map<std::string, std::vector<double>> seconds_;
};

} // namespace benchratio
