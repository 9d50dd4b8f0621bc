// The resampler's threads: how many it may use, and helpers that stay alive
// between calls to take bands of target rows.
#include "imaging/band_pool.h"

#include "imaging/resample.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <vector>

namespace glintbook {

namespace {
std::atomic<int> configuredThreads{0};
}

void SetResampleThreads(int threads) { configuredThreads.store(std::max(threads, 0)); }

int ResampleThreads() {
    if (const int n = configuredThreads.load(); n > 0) return n;
    if (const char* env = std::getenv("GLINTBOOK_RESAMPLE_THREADS")) {
        char* end = nullptr;
        const long n = std::strtol(env, &end, 10);
        if (end != env && *end == '\0' && n > 0) return int(std::min(n, 256L));
    }
    return int(std::max(1u, std::thread::hardware_concurrency()));
}

namespace resample {

namespace {

// Below this much work (roughly source pixels read plus multiply-adds) one
// thread finishes sooner than it takes to start another.
constexpr double kWorkPerThread = 200000;

// How long a helper looks for more work before it sleeps.
constexpr std::chrono::microseconds kSpin{200};

// Helper threads that stay alive between calls: starting a thread costs tens
// of microseconds, a good part of a whole resample. One call at a time uses
// them; a call that finds them busy does all its bands itself.
class BandPool {
public:
    ~BandPool() {
        {
            std::lock_guard lock(mutex_);
            stop_ = true;
        }
        wake_.notify_all();
        for (auto& t : threads_) t.join();
    }

    // Runs task(i) for every i in [0, count): the caller takes some, the
    // helpers (grown to count - 1 of them) the others.
    void Run(int count, const std::function<void(int)>& task) {
        std::unique_lock busy(runMutex_, std::try_to_lock);
        if (!busy.owns_lock()) {
            for (int i = 0; i < count; ++i) task(i);
            return;
        }
        {
            std::lock_guard lock(mutex_);
            while (int(threads_.size()) < count - 1) threads_.emplace_back([this] { Serve(); });
            task_ = &task;
            next_ = 0;
            count_ = count;
            unfinished_ = count;
            ++generation_;
        }
        wake_.notify_all();
        Work();
        std::unique_lock lock(mutex_);
        done_.wait(lock, [this] { return unfinished_ == 0; });
        task_ = nullptr;
    }

private:
    // Takes and runs tasks of the current call until none is left.
    void Work() {
        for (;;) {
            int i;
            const std::function<void(int)>* task;
            {
                std::lock_guard lock(mutex_);
                if (next_ >= count_) return;
                i = next_++;
                task = task_;
            }
            (*task)(i);
            std::lock_guard lock(mutex_);
            if (--unfinished_ == 0) done_.notify_all();
        }
    }

    void Serve() {
        std::uint64_t seen = 0;
        for (;;) {
            // A resize often follows another within microseconds (an import
            // makes two), and a sleeping thread takes tens of them to wake:
            // look for the next call a short while before sleeping.
            const auto until = std::chrono::steady_clock::now() + kSpin;
            while (generation_.load(std::memory_order_relaxed) == seen && std::chrono::steady_clock::now() < until)
                std::this_thread::yield();
            {
                std::unique_lock lock(mutex_);
                wake_.wait(lock, [&] { return stop_ || generation_ != seen; });
                if (stop_) return;
                seen = generation_;
            }
            Work();
        }
    }

    std::mutex runMutex_;
    std::mutex mutex_;
    std::condition_variable wake_, done_;
    std::vector<std::thread> threads_;
    const std::function<void(int)>* task_ = nullptr;
    int next_ = 0, count_ = 0, unfinished_ = 0;
    std::atomic<std::uint64_t> generation_ = 0;  // written under mutex_
    bool stop_ = false;
};

}  // namespace

void RunTasks(int count, const std::function<void(int)>& task) {
    static BandPool pool;
    pool.Run(count, task);
}

int ThreadsFor(double work, int requested) {
    const int limit = requested > 0 ? requested : ResampleThreads();
    return std::clamp(int(work / kWorkPerThread), 1, limit);
}

}  // namespace resample
}  // namespace glintbook
