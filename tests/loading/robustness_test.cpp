// What a host may meet: memory that runs out at every single allocation, full disks, damaged files.
// A program of its own, since it replaces the allocator.
#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <zlib.h>

#include <cstring>
#include <functional>

#include "support/support.h"

// The counting allocator: every allocation of library, libpng, zlib and C++ runtime passes here.
extern "C" {
void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void* __libc_memalign(std::size_t, std::size_t);
void __libc_free(void*);
std::size_t malloc_usable_size(void*) noexcept;
}

namespace {

thread_local bool counting = false;
thread_local long untilFailure = -1;  ///< allocations that still succeed; -1: all do
thread_local long allocations = 0, live = 0;
thread_local std::size_t bytes = 0, peakBytes = 0;

bool refuses() {
    if (!counting) return false;
    ++allocations;
    return untilFailure >= 0 && untilFailure-- == 0;
}

void* counted(void* block) {
    if (counting && block != nullptr) {
        ++live;
        bytes += malloc_usable_size(block);
        peakBytes = std::max(peakBytes, bytes);
    }
    return block;
}

void uncount(void* block) {
    if (!counting || block == nullptr) return;
    --live;
    bytes -= std::min(bytes, malloc_usable_size(block));
}

}  // namespace

extern "C" {
void* malloc(std::size_t size) {
    return refuses() ? nullptr : counted(__libc_malloc(size));
}
void* calloc(std::size_t count, std::size_t size) {
    return refuses() ? nullptr : counted(__libc_calloc(count, size));
}
void* realloc(void* block, std::size_t size) {
    if (refuses()) return nullptr;
    uncount(block);
    return counted(__libc_realloc(block, size));
}
void* aligned_alloc(std::size_t alignment, std::size_t size) {
    return refuses() ? nullptr : counted(__libc_memalign(alignment, size));
}
void free(void* block) {
    uncount(block);
    __libc_free(block);
}
}

namespace lumo::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

/// Counts from here to the end of the object's life.
struct Counting {
    Counting() {
        allocations = live = 0;
        bytes = peakBytes = 0;
        counting = true;
    }
    ~Counting() { counting = false; }
};

std::size_t openFiles() {
    std::size_t count = 0;
    DIR* folder = opendir("/proc/self/fd");
    while (readdir(folder) != nullptr) ++count;
    closedir(folder);
    return count;
}

/// An image of every format in a folder, with metadata, history and extended header.
struct Samples {
    TempFolder folder;
    std::string png = folder / "a.png", xyz = folder / "a.xyz", xyz8 = folder / "b.xyz",
                raw = folder / "c.raw";

    Samples() {
        ImageOwner owner(37, 29);
        LumoSetMetaEntry(owner.image, "Image", "Source", "sample");
        LumoSetMetaEntry(owner.image, "Image_XHEAD", "key", "value");
        LumoAddPerformedStep(owner.image, "step");
        EXPECT_EQ(LumoWriteImage(owner.image, png.c_str(), 0), 0);
        EXPECT_EQ(LumoWriteImage(owner.image, xyz.c_str(), 0), 0);
        EXPECT_EQ(LumoWriteImage(owner.image, xyz8.c_str(), FormatXyz8), 0);
        EXPECT_EQ(LumoWriteImage(owner.image, raw.c_str(), 0), 0);
    }
};

TEST(Memory, EveryAllocationOfEveryCallMayFail) {
    const Samples samples;
    const std::string out = samples.folder / "out";
    using Call = std::function<int(lmImage*&, Image&)>;
    enum class Place { Kept, Cleared, Either };
    const auto write = [&](const char* extension, int format) -> Call {
        return [name = out + extension, format](lmImage*& image, Image&) {
            return LumoWriteImage(image, name.c_str(), format);
        };
    };
    const auto read = [](const std::string& name) -> Call {
        return [name](lmImage*& image, Image&) { return LumoReadImage(&image, name.c_str()); };
    };
    const struct {
        const char* name;
        Call call;
        Place place;
    } cases[] = {
        {"create", [](lmImage*& image, Image&) { return LumoCreateImage(&image, 9, 9); },
         Place::Cleared},
        {"resize", [](lmImage*& image, Image&) { return LumoResizeImageBuf(&image, 90, 90); },
         Place::Cleared},
        {"read png", read(samples.png), Place::Either},
        {"read xyz", read(samples.xyz), Place::Either},
        {"read xyz8", read(samples.xyz8), Place::Either},
        {"write png", write(".png", 0), Place::Kept},
        {"write xyz", write(".xyz", 0), Place::Kept},
        {"write xyz8", write(".xyz", FormatXyz8), Place::Kept},
        {"set entry",
         [](lmImage*& image, Image&) { return LumoSetMetaEntry(image, "New", "key", "value"); },
         Place::Kept},
        {"remove entry",
         [](lmImage*& image, Image&) {
             return LumoSetMetaEntry(image, "Image", "Creation Time", nullptr);
         },
         Place::Kept},
        {"add step", [](lmImage*& image, Image&) { return LumoAddPerformedStep(image, "more"); },
         Place::Kept},
        {"get entry",
         [](lmImage*& image, Image&) {
             char value[64];
             std::int32_t size = sizeof value;
             return LumoGetMetaEntry(image, "Image", "Creation Time", value, &size);
         },
         Place::Kept},
        {"get header",
         [](lmImage*& image, Image&) {
             char value[64];
             std::int32_t size = sizeof value;
             return LumoGetExtHeader(image, value, &size);
         },
         Place::Kept},
        {"read raw",
         [&](lmImage*&, Image& raster) { return Read_Image(samples.xyz8.c_str(), &raster); },
         Place::Kept},
        {"write turned",
         [&](lmImage*& image, Image&) {
             return WriteImageRot({image->width, image->height, image->data},
                                  const_cast<char*>(out.c_str()), 90);
         },
         Place::Kept},
        {"extra header", [](lmImage*&, Image&) { return Set_ImageExtraHeader(6, "block"); },
         Place::Kept},
    };
    for (const auto& one : cases) {
        bool succeeded = false;
        for (long failing = 0; !succeeded && failing < 2000; ++failing) {
            const std::string where =
                std::string(one.name) + ", allocation " + std::to_string(failing);
            const std::size_t files = openFiles();
            const Counting count;
            {
                ImageOwner owner(20, 10);
                const std::string metaData = owner->metaData;
                const lmImage* before = owner.image;
                Image raster{};
                const long already = allocations;
                untilFailure = failing;
                const int code = one.call(owner.image, raster);
                untilFailure = -1;
                succeeded = allocations - already <= failing;
                // Opening a file takes memory too, and libpng tells its own shortage as a failure.
                const bool known = code == 0 || code == -8 || code == -1 || code == -16 ||
                                   code == -11 || code == -10004;
                EXPECT_TRUE(known) << where << ": " << code;
                EXPECT_TRUE(code == 0 || !succeeded) << where;
                if (code != 0 && one.place == Place::Cleared) {
                    EXPECT_EQ(owner.image, nullptr) << where;
                }
                if (code != 0 && one.place == Place::Kept) {
                    EXPECT_EQ(owner.image, before) << where;
                    EXPECT_EQ(metaData, owner->metaData) << where << " changed the metadata";
                }
                Destroy_Image(&raster);
                Set_ImageExtraHeader(0, nullptr);
            }
            EXPECT_EQ(live, 0) << where << " leaks";
            EXPECT_EQ(openFiles(), files) << where;
        }
        EXPECT_TRUE(succeeded) << one.name;
    }
}

constexpr std::size_t megabyte = std::size_t{1} << 20;

/// Reads a damaged file and checks what always holds.
void expectOrderlyRead(const std::string& name, const std::string& what) {
    ImageOwner owner;
    const std::size_t files = openFiles();
    int code = 0;
    std::size_t peak = 0;
    {
        const Counting count;
        code = LumoReadImage(&owner.image, name.c_str());
        peak = peakBytes;
    }
    EXPECT_EQ(openFiles(), files) << what;
    EXPECT_TRUE(code == 0 || code == -50 || code == -11 || code == -8 || code == -10004 ||
                code == -10006)
        << what << ": " << code;
    const std::size_t raster =
        owner.image != nullptr ? std::size_t{owner->width} * owner->height * 2 : 0;
    EXPECT_LE(peak, raster + megabyte) << what << ": a claim costs memory";
    if (owner.image == nullptr) {
        EXPECT_NE(code, 0) << what;
        return;
    }
    EXPECT_EQ(owner->metaSize, static_cast<int>(std::strlen(owner->metaData)) + 1) << what;
    if (code == 0) {
        EXPECT_NE(owner->data, nullptr) << what;
    }
}

/// The files of a format, each cut at every byte of its head and then here and there, and with
/// every byte there flipped in turn.
void cutAndFlip(const std::string& damagedPart, const std::string& opened, std::size_t head) {
    const Bytes whole = readFile(damagedPart);
    for (std::size_t at = 0; at < whole.size(); at += at < head ? 1 : 61) {
        writeFile(damagedPart, Bytes(whole.begin(), whole.begin() + static_cast<long>(at)));
        expectOrderlyRead(opened, damagedPart + " cut at " + std::to_string(at));
        for (const int flip : {0x01, 0x40, 0x80, 0xFF}) {
            Bytes flipped = whole;
            flipped[at] = static_cast<std::uint8_t>(flipped[at] ^ flip);
            writeFile(damagedPart, flipped);
            expectOrderlyRead(opened, damagedPart + " flipped at " + std::to_string(at));
        }
    }
    writeFile(damagedPart, whole);
}

TEST(Damage, IsAnsweredAtEveryByte) {
    const Samples samples;
    cutAndFlip(samples.png, samples.png, 400);
    cutAndFlip(samples.xyz, samples.xyz, 8);
    cutAndFlip(samples.folder / "a.txt", samples.xyz, 200);
    cutAndFlip(samples.xyz8, samples.xyz8, 300);
}

TEST(Damage, AClaimOfAHugeImageCostsNoMemory) {
    const Samples samples;
    Bytes png = readFile(samples.png);
    for (const std::size_t side : {18U, 19U, 22U, 23U}) png[side] = 0xFF;
    const auto crc = static_cast<std::uint32_t>(crc32(0, png.data() + 12, 17));
    for (std::size_t i = 0; i < 4; ++i)
        png[29 + i] = static_cast<std::uint8_t>(crc >> (24 - 8 * i));
    writeFile(samples.png, png);
    expectOrderlyRead(samples.png, "65535 x 65535");
}

TEST(Disk, AFileSizeLimitIsAFailureNotASignal) {
    const TempFolder folder;
    ImageOwner owner(300, 200);
    std::string turned = folder / "t.raw";
    const std::vector<std::function<int()>> writers = {
        [&] { return LumoWriteImage(owner.image, (folder / "a.xyz").c_str(), 0); },
        [&] { return LumoWriteImage(owner.image, (folder / "a.xyz").c_str(), FormatXyz8); },
        [&] { return LumoWriteImage(owner.image, (folder / "a.txt").c_str(), 0); },
        [&] { return LumoWriteImage(owner.image, (folder / "a.png").c_str(), 0); },
        [&] {
            return Write_Image((folder / "b.raw").c_str(), {300, 200, owner->data});
        },
        [&] {
            return WriteImageRot({300, 200, owner->data}, turned.data(), 90);
        },
        [&] { return WriteImageInfo({}, (folder / "c.txt").c_str()); },
    };
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit tight{90, before.rlim_max};
    for (std::size_t i = 0; i < writers.size(); ++i) {
        setrlimit(RLIMIT_FSIZE, &tight);
        const int code = writers[i]();
        setrlimit(RLIMIT_FSIZE, &before);
        EXPECT_EQ(code, -16) << i;
        EXPECT_EQ(writers[i](), 0) << i;
    }
}

}  // namespace
}  // namespace lumo::test
