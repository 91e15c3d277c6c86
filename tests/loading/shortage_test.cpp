// Memory that runs out at every single allocation of the functions on plain rasters, and a disk
// that fails in the middle of a file. The linker leads the library's own calls here; what libraries
// below take for themselves is left alone. So are transform plans, which come back null when memory
// is short.
#include <fftw3.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <functional>
#include <new>

#include "support/support.h"

namespace {

std::atomic<long> untilFailure{-1};  ///< allocations that still succeed; negative: all do
std::atomic<long> live{0};
std::size_t untilReadFails = SIZE_MAX;  ///< bytes that files still give

bool refuses() {
    return untilFailure >= 0 && untilFailure-- == 0;
}

void* counted(void* block) {
    if (block != nullptr) ++live;
    return block;
}

}  // namespace

extern "C" {
void* __real_malloc(std::size_t);
void* __real_calloc(std::size_t, std::size_t);
void* __real_realloc(void*, std::size_t);
void __real_free(void*);
void* __real_fftwf_malloc(std::size_t);
void __real_fftwf_free(void*);
fftwf_plan __real_fftwf_plan_dft_r2c_2d(int, int, float*, fftwf_complex*, unsigned);
fftwf_plan __real_fftwf_plan_dft_c2r_2d(int, int, fftwf_complex*, float*, unsigned);
void __real_fftwf_destroy_plan(fftwf_plan);

void* __wrap_malloc(std::size_t size) {
    return refuses() ? nullptr : counted(__real_malloc(size));
}
void* __wrap_calloc(std::size_t count, std::size_t size) {
    return refuses() ? nullptr : counted(__real_calloc(count, size));
}
void* __wrap_realloc(void* block, std::size_t size) {
    if (refuses()) return nullptr;
    if (block != nullptr) --live;
    return counted(__real_realloc(block, size));
}
void __wrap_free(void* block) {
    if (block != nullptr) --live;
    __real_free(block);
}
void* __wrap_fftwf_malloc(std::size_t size) {
    return refuses() ? nullptr : counted(__real_fftwf_malloc(size));
}
void __wrap_fftwf_free(void* block) {
    if (block != nullptr) --live;
    __real_fftwf_free(block);
}
fftwf_plan __wrap_fftwf_plan_dft_r2c_2d(int n0, int n1, float* in, fftwf_complex* out, unsigned f) {
    if (refuses()) return nullptr;
    ++live;
    return __real_fftwf_plan_dft_r2c_2d(n0, n1, in, out, f);
}
fftwf_plan __wrap_fftwf_plan_dft_c2r_2d(int n0, int n1, fftwf_complex* in, float* out, unsigned f) {
    if (refuses()) return nullptr;
    ++live;
    return __real_fftwf_plan_dft_c2r_2d(n0, n1, in, out, f);
}
ssize_t __real_read(int, void*, std::size_t);
/// Reads fail once so many bytes have come.
ssize_t __wrap_read(int file, void* to, std::size_t size) {
    if (untilReadFails == 0) return errno = EIO, -1;
    const ssize_t count = __real_read(file, to, std::min(size, untilReadFails));
    if (count > 0) untilReadFails -= static_cast<std::size_t>(count);
    return count;
}
void __wrap_fftwf_destroy_plan(fftwf_plan plan) {
    --live;
    __real_fftwf_destroy_plan(plan);
}
}

// The C++ runtime's forms end here, too: `new` of arrays and the nothrow forms call this one.
void* operator new(std::size_t size) {
    void* block = __wrap_malloc(size);
    if (block == nullptr) throw std::bad_alloc();
    return block;
}
void* operator new(std::size_t size, std::align_val_t alignment) {
    const auto boundary = static_cast<std::size_t>(alignment);
    void* block =
        refuses()
            ? nullptr
            : counted(std::aligned_alloc(boundary, (size + boundary - 1) / boundary * boundary));
    if (block == nullptr) throw std::bad_alloc();
    return block;
}
void operator delete(void* block) noexcept {
    __wrap_free(block);
}
void operator delete(void* block, std::size_t) noexcept {
    __wrap_free(block);
}
void operator delete(void* block, std::align_val_t) noexcept {
    __wrap_free(block);
}
void operator delete(void* block, std::size_t, std::align_val_t) noexcept {
    __wrap_free(block);
}

namespace lumo::test {
namespace {

/// What a call works on; made anew for each try.
struct Bench {
    Raster source = noise(60, 50), target{60, 50, 7};
    Image fresh{};  ///< receives new rasters
    ImageOwner owner{60, 50};
    std::vector<std::uint32_t> counts = std::vector<std::uint32_t>(65536);
    std::vector<float> weights = std::vector<float>(49, 0.1F);
    ~Bench() { Destroy_Image(&fresh); }
};

using Call = std::function<int(Bench&)>;

struct Case {
    const char* name;
    Call call;
    bool recovers = false;  ///< does without a thread, so that it may still succeed
};

Call command(const char* text) {
    return [text](Bench& at) {
        lmtSetLastError(0);
        const int code =
            SC_Filter_Image(at.source.image(), at.target.image(), 100000, 100000, text);
        return code != 0 ? code : lmtGetLastError();  // where an operation's own code is found
    };
}

Call convolution(bool inPlace, std::uint16_t side) {
    return [=](Bench& at) {
        return Convol_Image(at.source.image(), inPlace ? at.source.image() : at.target.image(),
                            {side, side, at.weights.data()});
    };
}

std::vector<Case> casesIn(const TempFolder& folder) {
    const std::string out = folder / "out.raw", table = folder / "table.cal";
    const std::string png = folder / "out.png";
    const auto limits = [](Bench& at) {
        ImageValue value{};
        return Get_ImageValueLim(at.source.image(), &value, 1000, 1000);
    };
    const auto shares = [](Bench& at) {
        std::uint32_t low = 0, high = 0;
        return Get_HistoValue(at.source.image(), 10, 60000, &low, &high);
    };
    const auto dose = [](Bench& at) {
        std::int32_t indicator = 0;
        const Image image = at.source.image();
        return GetOrvelDoseIndicator(&image, &indicator);
    };
    const auto equal3 = [](Bench& at) {
        std::int32_t low = 0, high = 65535;
        return Equal_Histo3(at.target.image(), at.source.image(), 50, &low, &high, 0, 0, 0);
    };
    const auto calibrate = [table](Bench& at) {
        return CalibrateImage(at.owner.image, table.c_str());
    };
    const auto gains = [table](Bench& at) {
        return CreateCalibrationData(at.owner.image, 5, 5, 20, 500, table.c_str());
    };
    const auto writeBegunTwice = [png](Bench& at) {
        const int code = LumoPngWriteStart(at.owner.image, png.c_str());
        return code != 0 ? code : LumoWriteImagePNG(at.owner.image, png.c_str());
    };
    const auto turn = [](Bench& at) { return LumoRotateImage(at.owner.image, 90); };
    return {
        {"limits", limits},
        {"shares", shares},
        {"dose", dose},
        {"condensed",
         [](Bench& at) {
             return Make_HistogramScaled(at.source.image(), at.counts.data(), 99, 9, 0, 65535);
         }},
        {"window",
         [](Bench& at) {
             return Opt_GreyscaleLim(at.source.image(), at.target.image(), 1000, 1000, 2);
         }},
        {"equalise",
         [](Bench& at) { return Equal_Histo(at.target.image(), at.source.image(), 1000, 1000); }},
        {"equalise clipped", equal3},
        {"crop",
         [](Bench& at) {
             Image source = at.source.image();
             return Crop_Image(&source, &at.fresh, {5, 5, 20, 20});
         }},
        {"bin", [](Bench& at) { return Bin_Image(at.source.image(), &at.fresh, 3, 2); }},
        {"write region",
         [out](Bench& at) {
             return Write_ImageRoi(out.c_str(), at.source.image(), {5, 5, 20, 20});
         }},
        {"convolve", convolution(false, 3)},
        {"convolve in place", convolution(true, 7)},
        {"mean", command("type=mean_filter size=5")},
        {"median 3", command("type=median_filter size=3")},
        {"median 9", command("type=median_filter size=9")},
        {"median 40", command("type=median_filter size=40")},
        {"unsharp mask", command("type=unsharp_mask radius=0.5 value=2")},
        {"unsharp mask 2", command("type=unsharp_mask2 radius=0.5 value=2")},
        {"equalise by command", command("type=histogramm_equal3 np=60")},
        {"band", command("type=gauss_fd al1=0.5"), true},
        {"band on its own scale", command("type=gauss_fd2 ab1=2 preservezerofreq=1"), true},
        {"rotate", [](Bench& at) { return RotationNewImage(at.source.image(), &at.fresh, 7); }},
        {"shear", [](Bench& at) { return Shear(at.source.image(), &at.fresh, 7); }},
        {"write", writeBegunTwice},
        {"quarter turn", turn},
        {"gains", gains},
        {"calibrate", calibrate},
    };
}

/// Calls once with the given number of allocations that succeed. Gives whether more were not asked.
bool tryWith(const Case& one, long allocations) {
    const long before = live;
    const std::size_t files = openFiles();
    long left = 0;
    {
        Bench at;
        const Raster source = at.source, target = at.target;
        const std::vector<std::uint16_t> owned = at.owner.pixels();
        const std::string entries = at.owner->metaData;
        untilFailure = allocations;
        const int code = one.call(at);
        left = untilFailure.exchange(-1);
        if (left >= 0 || (code == 0 && one.recovers)) {
            EXPECT_EQ(code, 0) << one.name;
        } else {
            // Opening a file takes memory of the C++ runtime.
            EXPECT_TRUE(code == -8 || code == -1) << one.name << ' ' << allocations << ": " << code;
            EXPECT_TRUE(at.source == source && at.target == target && at.fresh.data == nullptr &&
                        at.fresh.height == 0 && at.owner.pixels() == owned &&
                        at.owner->metaData == entries)
                << one.name << ' ' << allocations << " wrote something";
        }
    }
    EXPECT_EQ(live, before) << one.name << ' ' << allocations << " leaks";
    EXPECT_EQ(openFiles(), files) << one.name << ' ' << allocations;
    return left >= 0;
}

TEST(Shortage, EveryAllocationOfEveryFunctionOnRastersMayFail) {
    const TempFolder folder;
    const std::vector<Case> cases = casesIn(folder);
    EXPECT_EQ(cases[cases.size() - 2].call(*std::make_unique<Bench>()), 0);  // for "calibrate"
    for (const Case& one : cases) {
        long allocations = 0;
        while (!tryWith(one, allocations) && allocations < 500) ++allocations;
        EXPECT_LT(allocations, 500) << one.name;
        EXPECT_GT(allocations, 0) << one.name << " asks for nothing";
    }
}

TEST(Shortage, ADiskThatFailsWithinAGainTableLeavesTheImage) {
    const TempFolder folder;
    const std::string name = folder / "gains.cal";
    ImageOwner image(noise(600, 500));
    ASSERT_EQ(CreateCalibrationData(image.image, 1, 1, 50, 150, name.c_str()), 0);
    const std::vector<std::uint16_t> pixels = image.pixels();
    const std::string metadata = image->metaData;
    for (const std::size_t bytes : {0U, 20U, 300000U, 600019U}) {
        untilReadFails = bytes;
        EXPECT_EQ(CalibrateImage(image.image, name.c_str()), -11) << bytes;
        untilReadFails = SIZE_MAX;
        EXPECT_TRUE(image.pixels() == pixels && image->metaData == metadata) << bytes;
    }
    EXPECT_EQ(CalibrateImage(image.image, name.c_str()), 0);
}

}  // namespace
}  // namespace lumo::test
