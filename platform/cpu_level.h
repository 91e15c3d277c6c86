// Instruction-set levels: which copy of a kernel runs. Results are the same at every level.
//
// A kernel is one plain inline function `body`; LUMO_LEVELS makes a copy of it per level and a
// function `name` that chooses at run time:
//
//     LUMO_INLINE void body(const std::uint16_t* from, std::uint16_t* to, int n) { ... }
//     LUMO_LEVELS(void, invertRow, body, (const std::uint16_t* from, std::uint16_t* to, int n),
//                 (from, to, n))
//
// A function called by a body must be LUMO_INLINE too, or it stays at the baseline.
//
// LUMO_VECTOR_LEVELS does the same from two bodies: a plain one, and one of AVX2 intrinsics that
// exists on x86-64 only.
#pragma once

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

/// The level in force: the processor's, or the lower one that a test forces.
[[nodiscard]] CpuLevel cpuLevel() noexcept;

/// The processor's levels, lowest first.
[[nodiscard]] std::vector<CpuLevel> supportedLevels();

/// Forces a lower level while alive; a level that the processor lacks has no effect. For tests.
class ForcedLevel {
public:
    explicit ForcedLevel(CpuLevel level) noexcept;
    ~ForcedLevel();
    ForcedLevel(const ForcedLevel&) = delete;
    ForcedLevel& operator=(const ForcedLevel&) = delete;

private:
    CpuLevel previous_;
};

}  // namespace lumo

#if defined(__x86_64__)
#define LUMO_VECTOR_LEVELS(result, name, plainBody, vectorBody, parameters, arguments) \
    static result name parameters {                                                    \
        return ::lumo::cpuLevel() >= ::lumo::CpuLevel::Avx2 ? vectorBody arguments     \
                                                            : plainBody arguments;     \
    }
#else
#define LUMO_VECTOR_LEVELS(result, name, plainBody, vectorBody, parameters, arguments) \
    static result name parameters {                                                    \
        return plainBody arguments;                                                    \
    }
#endif

#define LUMO_LEVELS(result, name, body, parameters, arguments)                   \
    static result name##Baseline parameters {                                    \
        return body arguments;                                                   \
    }                                                                            \
    LUMO_TARGET_AVX2 static result name##Avx2 parameters {                       \
        return body arguments;                                                   \
    }                                                                            \
    LUMO_TARGET_AVX512 static result name##Avx512 parameters {                   \
        return body arguments;                                                   \
    }                                                                            \
    static result name parameters {                                              \
        using Kernel = result(*) parameters;                                     \
        constexpr Kernel kernels[] = {name##Baseline, name##Avx2, name##Avx512}; \
        return kernels[static_cast<int>(::lumo::cpuLevel())] arguments;          \
    }
