// One run of the band filter: transform, workers, transform back.
#include "scripts/band_filter.h"

#include <fftw3.h>

#include <algorithm>
#include <exception>
#include <thread>
#include <type_traits>
#include <vector>

#include "frame/call_frame.h"
#include "platform/fork.h"
#include "platform/processors.h"

namespace lumo {
namespace {

constexpr const char* caller = "SC_Filter_ImageEx";

struct PlanRelease {
    /// Under the lock as well, since the planner has one of its own that a fork does not wait for.
    void operator()(fftwf_plan plan) const noexcept {
        const std::lock_guard planner(forkSafeLock());
        fftwf_destroy_plan(plan);
    }
};
using Plan = std::unique_ptr<std::remove_pointer_t<fftwf_plan>, PlanRelease>;

/// The transform in the buffer, there and back; the planning leaves the buffer's contents alone. It
/// is one step with the setting of the thread count: the transform library keeps one for the
/// process, and its planner changes it while it plans.
struct Transforms {
    Plan forward, reverse;

    Transforms(float* buffer, const FftLayout& layout) {
        plan(buffer, layout);
        if (forward != nullptr && reverse != nullptr) return;
        slog(3, "%s unable to plan the transform", caller);
        raise(LumoErrorMemory);
    }

private:
    /// Does not log: a line has a lock of its own that a fork waits for.
    void plan(float* buffer, const FftLayout& layout) {
        auto* spectrum = reinterpret_cast<fftwf_complex*>(buffer);
        const std::lock_guard planning(forkSafeLock());
        Init_FftThreads();
        forward.reset(fftwf_plan_dft_r2c_2d(layout.paddedWidth, layout.paddedHeight, buffer,
                                            spectrum, FFTW_ESTIMATE));
        reverse.reset(fftwf_plan_dft_c2r_2d(layout.paddedWidth, layout.paddedHeight, spectrum,
                                            buffer, FFTW_ESTIMATE));
    }
};

int workerCount() {
    const int processors = processorCount();
    if (processors > 0) return processors;
    slog(4,
         "GetSystemInfo returned no available processors. LUMO will use one thread for further "
         "processing");
    return 1;
}

/// Runs the jobs, each on a thread of its own; one whose thread cannot be had runs here. Raises the
/// code of a job that failed once all have ended.
void runJobs(const std::vector<FreqFilterJob>& jobs) {
    std::vector<std::thread> threads;
    threads.reserve(jobs.size());
    std::vector<int> codes(jobs.size());
    for (std::size_t i = 0; i < jobs.size(); ++i) {
        const auto work = [&jobs, &codes, i] {
            codes[i] = guarded([&] { Filter_FreqColumns(jobs[i]); });
        };
        try {
            threads.emplace_back(work);
        } catch (const std::exception&) {  // no thread, or no memory for it
            work();
        }
    }
    for (std::thread& thread : threads) thread.join();
    for (const int code : codes) raiseFailure(code);
}

void filterSpectrum(FreqFilterJob job) {
    const float zeroFrequency = job.buffer[0];
    const int workers = workerCount();
    slog(8, "%s filtering frequency data with %i thread(s)/processor(s)", caller, workers);
    const int count = job.layout.rowStride / 2;
    std::vector<FreqFilterJob> jobs;
    for (int worker = 0; worker < workers; ++worker) {
        job.first = worker > 0 ? jobs.back().end : 0;
        job.end = chunkEnd(worker, workers, count);
        jobs.push_back(job);
    }
    runJobs(jobs);
    if (!job.parameters.preserveZeroFrequency) return;
    slog(8, "%s preserving the zero frequency", caller);
    job.buffer[0] = zeroFrequency;
}

void run(Source source, Target destination, int pixelsizeX, int pixelsizeY,
         const BandParameters& parameters, bool automaticWindow) {
    FftLayout layout;
    const FftBuffer buffer = Make_FftBuffer(source, &layout);
    if (buffer == nullptr) {
        slog(3, "%s unable to alloc FFTW-inplace-buffer", caller);
        raise(LumoErrorMemory);
    }
    slog(8, "%s before fftwf_plan_dft_r2c_2d", caller);
    Transforms transforms(buffer.get(), layout);
    slog(8, "%s before fftwf_execute(planForward)", caller);
    fftwf_execute(transforms.forward.get());
    slog(8, "%s before filtering", caller);
    filterSpectrum({0, 0, buffer.get(), layout, pixelsizeX, pixelsizeY, parameters});
    slog(8, "%s before fftwf_execute(planReverse)", caller);
    fftwf_execute(transforms.reverse.get());
    slog(8, "%s before fftw_real2LUMO", caller);
    const double count = static_cast<double>(layout.paddedWidth) * layout.paddedHeight;
    fftw_real2LUMO(destination, buffer.get(), layout,
                   automaticWindow ? 0.0F : static_cast<float>(1.0 / count));
    slog(8, "%s before fftwf_destroy_plan", caller);
}

}  // namespace

int chunkEnd(int worker, int workers, int count) {
    const auto chunk = static_cast<std::int64_t>(count) / workers + 1;
    return static_cast<int>(std::min<std::int64_t>((worker + 1) * chunk, count));
}

int bandFilter(Source source, Target destination, int pixelsizeX, int pixelsizeY,
               const BandParameters& parameters, bool automaticWindow) {
    slog(8, "%s ftp=%f fhp=%f fbp=%f", caller, parameters.ftp, parameters.fhp, parameters.fbp);
    if (parameters.ftp * parameters.fhp * parameters.fbp == 0.0) return LumoErrorParameter;
    if (source.count() == 0) return LumoOk;
    const int code = guarded(
        [&] { run(source, destination, pixelsizeX, pixelsizeY, parameters, automaticWindow); });
    if (code == LumoOk) slog(7, "%s SUCCESS", caller);
    return code;
}

}  // namespace lumo
