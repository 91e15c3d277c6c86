// Several threads at once, each on an image of its own; the thread sanitizer looks on.
#include <gtest/gtest.h>

#include <atomic>
#include <clocale>
#include <thread>

#include "support/support.h"

namespace lumo::test {
namespace {

constexpr int threadCount = 4;

/// Reads a sample, changes it by a filter of the thread's own, writes it in turn as PNG and XYZ,
/// and reads it back. Every round gives the same pixels. Gives the number of surprises.
int workAlone(const TempFolder& folder, int number) {
    static const char* const commands[threadCount] = {"type=gauss_fd", "type=median_filter size=5",
                                                      "type=gauss_fd2 al1=0.5",
                                                      "type=unsharp_mask2 radius=0.4"};
    int wrong = 0;
    Pixels first;
    for (int round = 0; round < 20; ++round) {
        const std::string out =
            folder / ("t" + std::to_string(number) + (round % 2 == 0 ? ".png" : ".xyz"));
        ImageOwner owner, back;
        wrong += LumoReadImage(&owner.image, (folder / "a.png").c_str()) != 0;
        const Image raster = {static_cast<std::uint16_t>(owner->width),
                              static_cast<std::uint16_t>(owner->height), owner->data};
        wrong += SC_Filter_Image(raster, raster, 100000, 100000, commands[number]) != 0;
        if (round == 0) first = owner.pixels();
        wrong += owner.pixels() != first;
        wrong += LumoAddPerformedStep(owner.image, commands[number]) != 0;
        wrong += LumoWriteImage(owner.image, out.c_str(), 0) != 0;
        wrong += LumoReadImage(&back.image, out.c_str()) != 0;
        wrong += back.image == nullptr || back.pixels() != owner.pixels();
        wrong += LumoReadImage(&back.image, "missing.png") != -1 || lmtGetLastError() != -1;
    }
    return wrong;
}

TEST(Threads, WorkOnImagesOfTheirOwn) {
    const TempFolder folder;
    {
        const ImageOwner sample(37, 29);
        ASSERT_EQ(LumoWriteImage(sample.image, (folder / "a.png").c_str(), 0), 0);
    }
    setlocale(LC_NUMERIC, "C.UTF-8");  // for the first command to replace
    const LogLines log;
    std::vector<std::thread> threads;
    std::atomic<int> wrong{0};
    for (int number = 0; number < threadCount; ++number)
        threads.emplace_back([&, number] { wrong += workAlone(folder, number); });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(wrong, 0);
    const std::vector<std::string> lines = log.lines();
    EXPECT_GT(lines.size(), std::size_t{threadCount} * 20 * 5);
    for (const std::string& line : lines)
        EXPECT_TRUE(matches(line, "[3-8] [A-Z][A-Za-z_]+ [^\n]*")) << "torn: " << line;
}

}  // namespace
}  // namespace lumo::test
