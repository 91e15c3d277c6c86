// The choice between a kernel's copies.
#include "platform/cpu_level.h"

#include <gtest/gtest.h>

#include <string>

namespace lumo {
namespace {

LUMO_INLINE std::string nameOf(const char* copy) {
    return copy;
}
// Each copy hands its own name on instead of the argument.
LUMO_LEVELS(std::string, chosen, nameOf, ([[maybe_unused]] const char* name), (__func__))

template <int size>
LUMO_INLINE int sizeOf() {
    return size;
}
LUMO_LEVELS(int, chosenBytes, sizeOf<bytes>, (), ())

TEST(CpuLevel, ForcedLevelRunsAndIsRestored) {
    const char* names[] = {"chosenBaseline", "chosenAvx2", "chosenAvx512"};
    const CpuLevel best = supportedLevels().back();
    for (const CpuLevel level : supportedLevels()) {
        const ForcedLevel forced(level);
        EXPECT_EQ(chosen(""), names[static_cast<int>(level)]);
        EXPECT_EQ(chosenBytes(), 16 << static_cast<int>(level));
    }
    EXPECT_EQ(chosen(""), names[static_cast<int>(best)]);
    EXPECT_EQ(chosenBytes(), 16 << static_cast<int>(best));
    const ForcedLevel lacking(static_cast<CpuLevel>(static_cast<int>(best) + 1));
    EXPECT_EQ(cpuLevel(), best);
}

}  // namespace
}  // namespace lumo
