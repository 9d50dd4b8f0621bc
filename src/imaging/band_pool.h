#pragma once
// Spreading a resample over the machine's threads: the target's rows are cut
// into bands, each filled by one thread.
#include <cstdint>
#include <exception>
#include <functional>
#include <vector>

namespace glintbook::resample {

// Runs task(i) for every i in [0, count) on the calling thread and helper
// threads kept alive between calls. One call at a time uses the helpers; a
// call that finds them busy runs all its tasks itself.
void RunTasks(int count, const std::function<void(int)>& task);

// How many bands `work` (roughly source pixels read plus multiply-adds) is
// worth: at least 1, at most `requested` threads (0: ResampleThreads()).
int ThreadsFor(double work, int requested);

// Runs band(y0, y1) over [0, h) in `bands` bands (2 <= bands <= h). An
// exception in any band is rethrown here.
template <class Band>
void RunBands(int h, int bands, const Band& band) {
    std::vector<std::exception_ptr> errors(static_cast<size_t>(bands));
    const auto bound = [&](int i) { return int(std::int64_t(h) * i / bands); };
    RunTasks(bands, [&](int i) {
        try {
            band(bound(i), bound(i + 1));
        } catch (...) {
            errors[size_t(i)] = std::current_exception();
        }
    });
    for (auto& e : errors)
        if (e) std::rethrow_exception(e);
}

}  // namespace glintbook::resample
