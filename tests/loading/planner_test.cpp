// The band filter and the transform library's planner, whose setting and state belong to the whole
// process: runs side by side, after a fork, with fewer processors. A program of its own, since it
// looks at the calls to the planner.
#include <fftw3.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <thread>

#include "platform/processors.h"
#include "support/support.h"

namespace {

std::atomic<int> planning{0};          ///< plans in the making
std::atomic<int> disturbances{0};      ///< settings meanwhile, or plans under another's setting
std::atomic<std::thread::id> setter;   ///< who set the count last
std::atomic<int> threadsOfPlanner{0};  ///< the count that was set last

template <class Make>
fftwf_plan planSlowly(Make make) {
    if (setter.load() != std::this_thread::get_id()) ++disturbances;
    ++planning;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    const fftwf_plan plan = make();
    --planning;
    return plan;
}

}  // namespace

extern "C" {
fftwf_plan __real_fftwf_plan_dft_r2c_2d(int, int, float*, fftwf_complex*, unsigned);
fftwf_plan __real_fftwf_plan_dft_c2r_2d(int, int, fftwf_complex*, float*, unsigned);
void __real_fftwf_plan_with_nthreads(int);

fftwf_plan __wrap_fftwf_plan_dft_r2c_2d(int n0, int n1, float* in, fftwf_complex* out, unsigned f) {
    return planSlowly([=] { return __real_fftwf_plan_dft_r2c_2d(n0, n1, in, out, f); });
}
fftwf_plan __wrap_fftwf_plan_dft_c2r_2d(int n0, int n1, fftwf_complex* in, float* out, unsigned f) {
    return planSlowly([=] { return __real_fftwf_plan_dft_c2r_2d(n0, n1, in, out, f); });
}
void __wrap_fftwf_plan_with_nthreads(int count) {
    if (planning != 0) ++disturbances;
    setter = std::this_thread::get_id();
    threadsOfPlanner = count;
    __real_fftwf_plan_with_nthreads(count);
}
}

namespace lumo::test {
namespace {

/// Large enough for the transform to use its threads, and of a size at which its rounding differs
/// between plans for one and for two; what was rounded down shows it.
Raster filtered() {
    Raster image = noise(1152, 336);
    EXPECT_EQ(SC_Filter_Image(image.image(), image.image(), 100000, 100000, "type=gauss_fd2"), 0);
    return image;
}

/// The code that a child process ends with; -1 if a signal ended it.
template <class Work>
int inChild(Work work) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(60);
        _exit(work());
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/// Keeps the calling thread on one processor.
class OneProcessor {
public:
    OneProcessor() {
        sched_getaffinity(0, sizeof before_, &before_);
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(static_cast<std::size_t>(sched_getcpu()), &one);
        sched_setaffinity(0, sizeof one, &one);
    }
    ~OneProcessor() { sched_setaffinity(0, sizeof before_, &before_); }

private:
    cpu_set_t before_;
};

TEST(Planner, IsLeftAloneWhileItPlans) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([] {
            for (int round = 0; round < 5; ++round) {
                Raster image = noise(16, 12);
                SC_Filter_Image(image.image(), image.image(), 100000, 100000, "type=gauss_fd2");
            }
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(disturbances, 0);
}

TEST(Planner, CountsTheProcessorsOfEveryRun) {
    filtered();
    EXPECT_EQ(threadsOfPlanner, processorCount());
    const OneProcessor pinned;
    filtered();
    EXPECT_EQ(threadsOfPlanner, 1);
}

TEST(Planner, PlansInAForkedChildAsInItsParent) {
    const Raster parents = filtered();
    EXPECT_EQ(inChild([&] { return filtered() == parents ? 0 : 1; }), 0);
    EXPECT_EQ(inChild([&] {  // a child's child, and threads of its own
                  return inChild([&] {
                      bool same = false;
                      std::thread([&] { same = filtered() == parents; }).join();
                      return same ? 0 : 1;
                  });
              }),
              0);
    EXPECT_EQ(filtered(), parents);
}

TEST(Planner, IsFreeInAChildOfBusyThreads) {
    std::atomic<bool> enough{false};
    std::thread busy([&] {
        while (!enough) {
            Raster image = noise(16, 12);
            SC_Filter_Image(image.image(), image.image(), 100000, 100000, "type=gauss_fd2");
        }
    });
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(inChild([] {
                      Raster image = noise(16, 12);
                      return SC_Filter_Image(image.image(), image.image(), 100000, 100000,
                                             "type=gauss_fd2");
                  }),
                  0);
    enough = true;
    busy.join();
}

TEST(Processors, AreLimitedByTheEnvironment) {
    unsetenv("OMP_NUM_THREADS");
    const int all = processorCount();
    ASSERT_GE(all, 1);
    const std::pair<const char*, int> cases[] = {
        {"1", 1},   {"1,4", 1},  {"100000", all}, {"99999999999999999999", all},
        {"0", all}, {"-3", all}, {"", all},       {"many", all}};
    for (const auto& [text, count] : cases) {
        setenv("OMP_NUM_THREADS", text, 1);
        EXPECT_EQ(processorCount(), count) << text;
    }
    setenv("OMP_NUM_THREADS", "1", 1);
    filtered();
    EXPECT_EQ(threadsOfPlanner, 1);
    unsetenv("OMP_NUM_THREADS");
}

}  // namespace
}  // namespace lumo::test
