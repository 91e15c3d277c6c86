// The processor's instruction-set level, found once; tests may lower it.
#include "platform/cpu_level.h"

namespace lumo {
namespace {

CpuLevel detectLevel() noexcept {
#if defined(__x86_64__)
    __builtin_cpu_init();
    const bool avx2 = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma") &&
                      __builtin_cpu_supports("bmi") && __builtin_cpu_supports("bmi2");
    const bool avx512 = __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
                        __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512vl");
    if (avx2 && avx512) return CpuLevel::Avx512;
    if (avx2) return CpuLevel::Avx2;
#endif
    return CpuLevel::Baseline;
}

/// Of the functions that LUMO_LEVELS makes, the one that reports.
constexpr unsigned reported = static_cast<unsigned>(CpuLevel::Avx512) + 1;

const CpuLevel processorLevel = [] {
    const CpuLevel level = detectLevel();
    kernelChoice = static_cast<unsigned>(level);
    return level;
}();
std::atomic<CpuLevel> levelInForce{processorLevel};
std::atomic<KernelObserver> kernelObserver{nullptr};

}  // namespace

CpuLevel cpuLevel() noexcept {
    return levelInForce.load(std::memory_order_relaxed);
}

std::vector<CpuLevel> supportedLevels() {
    std::vector<CpuLevel> levels;
    for (const CpuLevel level : {CpuLevel::Baseline, CpuLevel::Avx2, CpuLevel::Avx512})
        if (level <= processorLevel) levels.push_back(level);
    return levels;
}

ForcedLevel::ForcedLevel(CpuLevel level) noexcept
    : previousLevel_(cpuLevel()), previousChoice_(kernelChoice) {
    if (level > processorLevel) return;
    levelInForce = level;
    kernelChoice = reported;
}

ForcedLevel::~ForcedLevel() {
    levelInForce = previousLevel_;
    kernelChoice = previousChoice_;
}

void observeKernels(KernelObserver observer) noexcept {
    kernelObserver = observer;
}

void reportKernel(const char* kernel) noexcept {
    if (const KernelObserver observer = kernelObserver) observer(kernel, cpuLevel());
}

}  // namespace lumo
