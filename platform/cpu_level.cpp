// The processor's instruction-set level, found once; tests may lower it.
#include "platform/cpu_level.h"

#include <atomic>

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

const CpuLevel processorLevel = detectLevel();
std::atomic<CpuLevel> levelInForce{processorLevel};

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

ForcedLevel::ForcedLevel(CpuLevel level) noexcept : previous_(cpuLevel()) {
    if (level <= processorLevel) levelInForce = level;
}

ForcedLevel::~ForcedLevel() {
    levelInForce = previous_;
}

}  // namespace lumo
