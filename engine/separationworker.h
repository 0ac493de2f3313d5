#pragma once

// Separation of touching objects on a thread of its own, for front ends that
// must stay responsive (the studio) and for any caller that starts cuts one
// after another. A new request asks the running cut to stop (a flag the
// distance cut checks between objects and inside its flood; the module's
// automatic cut cannot be stopped and is let finish), waits for it, and then
// runs the newest request. The end is reported exactly once, for the newest
// request only; a result that a newer request overtook is dropped, so no
// request's result is ever lost to an older one.

#include <opencv2/core.hpp>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>

class SeparationWorker
{
public:
    enum class Method
    {
        Distance, ///< the distance-map separation
        AutoCut,  ///< the module's automatic cut
    };

    /// Told on the worker's thread when the newest request has finished:
    /// its number and the separated binary image (empty when the method
    /// refused the image).
    using Finished = std::function<void(std::uint64_t request, const cv::Mat& result)>;
    /// Told on the worker's thread how far the running request is, 0..1.
    using Progress = std::function<void(std::uint64_t request, double done)>;

    explicit SeparationWorker(Finished finished, Progress progress = Progress());
    /// Stops the running cut (as far as it can be stopped) and ends the thread.
    ~SeparationWorker();
    SeparationWorker(const SeparationWorker&) = delete;
    SeparationWorker& operator=(const SeparationWorker&) = delete;

    /// Asks for @p binary to be separated; returns the request's number.
    /// A request still waiting is replaced, a running one asked to stop.
    std::uint64_t Start(const cv::Mat& binary, Method method, double sensitivity = 1.0);
    /// Drops the waiting request and asks the running one to stop; no end
    /// is reported for either.
    void Cancel();
    /// Blocks until no request waits or runs.
    void Wait();
    bool Busy() const;

    /// Separates @p binary with @p method on the calling thread: what one
    /// request does. False when @p cancel stopped it; @p result then stays.
    static bool Separate(const cv::Mat& binary, Method method, double sensitivity,
                         const std::atomic<bool>* cancel,
                         const std::function<void(double)>& progress, cv::Mat& result);

private:
    struct Request
    {
        std::uint64_t number = 0;
        cv::Mat binary;
        Method method = Method::Distance;
        double sensitivity = 1.0;
    };

    void Loop();

    Finished finished_;
    Progress progress_;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::optional<Request> waiting_;
    bool running_ = false;
    bool quitting_ = false;
    std::uint64_t last_ = 0;    ///< number of the newest request
    std::uint64_t dropped_ = 0; ///< requests up to this number report no end
    std::atomic<bool> stop_{false};
    std::thread thread_;
};
