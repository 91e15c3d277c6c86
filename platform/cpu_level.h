// Instruction-set levels, and the one way in which a kernel's copy for a level is chosen. Results
// are the same at every level.
//
// A kernel is one plain inline function, its body; LUMO_LEVELS makes a copy of it per level and a
// function `name` that chooses at run time:
//
//     LUMO_INLINE void invertBody(const std::uint16_t* from, std::uint16_t* to, int n) { ... }
//     LUMO_LEVELS(void, invert, invertBody, (const std::uint16_t* from, std::uint16_t* to, int n),
//                 (from, to, n))
//
// A body may be a template of `bytes`, the size of a level's vectors (see platform/vectors.h); one
// with more arguments stands in parentheses:
//
//     LUMO_LEVELS(void, sum, sumBody<bytes>, (const float* from, float* to, int n), (from, to, n))
//     LUMO_LEVELS(void, sort, (sortBody<bytes, 3>), (float* values, int n), (values, n))
//
// A function called by a body must be LUMO_INLINE too, or it stays at the baseline. The names of
// kernels differ within the library: tests know by them what ran.
#pragma once

#include <atomic>
#include <vector>

#define LUMO_INLINE [[gnu::always_inline]] static inline

#if defined(__x86_64__)
#define LUMO_TARGET_AVX2 [[gnu::target("avx2,fma,bmi,bmi2")]]
#define LUMO_TARGET_AVX512 [[gnu::target("avx2,fma,bmi,bmi2,avx512f,avx512bw,avx512dq,avx512vl")]]
#else
#define LUMO_TARGET_AVX2
#define LUMO_TARGET_AVX512
#endif

namespace lumo {

enum class CpuLevel { Baseline = 0, Avx2 = 1, Avx512 = 2 };
constexpr int baselineBytes = 16, avx2Bytes = 32, avx512Bytes = 64;

/// The level in force: the processor's, or the lower one that a test forces.
[[nodiscard]] CpuLevel cpuLevel() noexcept;

/// The processor's levels, lowest first.
[[nodiscard]] std::vector<CpuLevel> supportedLevels();

/// Forces a lower level while alive, and has kernels reported; a level that the processor lacks has
/// no effect. For tests.
class ForcedLevel {
public:
    explicit ForcedLevel(CpuLevel level) noexcept;
    ~ForcedLevel();
    ForcedLevel(const ForcedLevel&) = delete;
    ForcedLevel& operator=(const ForcedLevel&) = delete;

private:
    CpuLevel previousLevel_;
    unsigned previousChoice_;
};

/// Called with the name of each kernel and the level of its copy that runs while a level is forced,
/// on the thread on which it runs. For tests.
using KernelObserver = void (*)(const char* kernel, CpuLevel level);
/// @param observer  null: nobody
void observeKernels(KernelObserver observer) noexcept;
void reportKernel(const char* kernel) noexcept;

/// Which of a kernel's functions runs: the copy for the processor's level, or the last one, which
/// reports and goes on to the copy for the forced level. So nothing is asked where no test runs.
inline std::atomic<unsigned> kernelChoice{0};

}  // namespace lumo

#define LUMO_LEVELS(result, name, body, parameters, arguments)                                   \
    static result name##Baseline parameters {                                                    \
        [[maybe_unused]] constexpr int bytes = ::lumo::baselineBytes;                            \
        return body arguments;                                                                   \
    }                                                                                            \
    LUMO_TARGET_AVX2 static result name##Avx2 parameters {                                       \
        [[maybe_unused]] constexpr int bytes = ::lumo::avx2Bytes;                                \
        return body arguments;                                                                   \
    }                                                                                            \
    LUMO_TARGET_AVX512 static result name##Avx512 parameters {                                   \
        [[maybe_unused]] constexpr int bytes = ::lumo::avx512Bytes;                              \
        return body arguments;                                                                   \
    }                                                                                            \
    static result name##Reported parameters {                                                    \
        using Kernel = result(*) parameters;                                                     \
        constexpr Kernel copies[] = {name##Baseline, name##Avx2, name##Avx512};                  \
        ::lumo::reportKernel(#name);                                                             \
        return copies[static_cast<unsigned>(::lumo::cpuLevel())] arguments;                      \
    }                                                                                            \
    static result name parameters {                                                              \
        using Kernel = result(*) parameters;                                                     \
        constexpr Kernel kernels[] = {name##Baseline, name##Avx2, name##Avx512, name##Reported}; \
        const unsigned choice = ::lumo::kernelChoice.load(std::memory_order_relaxed);            \
        return kernels[choice] arguments;                                                        \
    }
