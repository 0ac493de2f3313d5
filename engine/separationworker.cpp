#include "separationworker.h"

#include "autocount/alg/alg.h"

SeparationWorker::SeparationWorker(Finished finished, Progress progress)
    : finished_(std::move(finished)), progress_(std::move(progress)), thread_([this] { Loop(); })
{
}

SeparationWorker::~SeparationWorker()
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        quitting_ = true;
        waiting_.reset();
        stop_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

std::uint64_t SeparationWorker::Start(const cv::Mat& binary, Method method, double sensitivity)
{
    std::uint64_t number = 0;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        number = ++last_;
        // The image is the caller's as it is now, whatever it does next.
        waiting_ = Request{number, binary.clone(), method, sensitivity};
        if (running_)
            stop_ = true;
    }
    changed_.notify_all();
    return number;
}

void SeparationWorker::Cancel()
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        waiting_.reset();
        dropped_ = last_;
        if (running_)
            stop_ = true;
    }
    changed_.notify_all();
}

void SeparationWorker::Wait()
{
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this] { return !running_ && !waiting_; });
}

bool SeparationWorker::Busy() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return running_ || waiting_.has_value();
}

bool SeparationWorker::Separate(const cv::Mat& binary, Method method, double sensitivity,
                                const std::atomic<bool>* cancel,
                                const std::function<void(double)>& progress, cv::Mat& result)
{
    cv::Mat out;
    if (method == Method::AutoCut) {
        // Runs to its end: the module's cut has no way to be stopped.
        if (AlgAutoCut(binary, out) != 0)
            out = cv::Mat();
        if (progress)
            progress(1.0);
    } else {
        AlgDistanceCutOptions options;
        options.sensitivity = sensitivity;
        options.cancel = cancel;
        options.progress = progress;
        const int status = AlgDistanceCut(binary, out, options);
        if (status == 4)
            return false;
        if (status != 0)
            out = cv::Mat();
    }
    if (cancel && *cancel)
        return false;
    result = out;
    return true;
}

void SeparationWorker::Loop()
{
    for (;;) {
        Request request;
        {
            std::unique_lock<std::mutex> lock(mutex_);
            changed_.wait(lock, [this] { return quitting_ || waiting_.has_value(); });
            if (quitting_)
                return;
            request = std::move(*waiting_);
            waiting_.reset();
            running_ = true;
            stop_ = false;
        }
        cv::Mat result;
        const std::uint64_t number = request.number;
        const bool done = Separate(
            request.binary, request.method, request.sensitivity, &stop_,
            [&](double share) {
                if (progress_)
                    progress_(number, share);
            },
            result);
        bool report = false;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            // Only the newest request reports its end, and only when it was
            // neither overtaken nor cancelled.
            report = done && !waiting_ && number == last_ && number > dropped_ && !quitting_;
            if (report)
                finished_(number, result);
            running_ = false;
        }
        changed_.notify_all();
    }
}
