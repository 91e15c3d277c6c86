// What a host may meet: memory that runs out at every single allocation, full disks, damaged files.
// A program of its own, since it replaces the allocator.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <zlib.h>

#include <algorithm>
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

/// Counts from here to the end of the object's life.
struct Counting {
    Counting() {
        allocations = live = 0;
        bytes = peakBytes = 0;
        counting = true;
    }
    ~Counting() { counting = false; }
};

/// An image of every format in a folder, with metadata, history and extended header.
struct Samples {
    TempFolder folder;
    std::string png = folder / "a.png", xyz = folder / "a.xyz", xyz8 = folder / "b.xyz",
                raw = folder / "c.raw";

    Samples() {
        ImageOwner owner(37, 29);
        owner.set("Image", "Source", "sample");
        owner.set("Image_XHEAD", "key", "value");
        LumoAddPerformedStep(owner.image, "step");
        for (const auto& [name, format] :
             {std::pair{png, 0}, {xyz, 0}, {xyz8, int{FormatXyz8}}, {raw, 0}})
            EXPECT_EQ(LumoWriteImage(owner.image, name.c_str(), format), 0);
    }
};

using Call = std::function<int(lmImage*&)>;
enum class Place { Kept, Cleared, Either };  ///< what a failure does with the caller's image

constexpr const char* written[] = {"out.png", "out.xyz", "out.txt"};

/// Raster and metadata of an image as one number.
std::size_t contentOf(const lmImage& image) {
    const std::string raster(reinterpret_cast<const char*>(image.data),
                             std::size_t{image.width} * image.height * sizeof *image.data);
    return std::hash<std::string>()(raster + image.metaData);
}

std::size_t contentOf(const TempFolder& folder) {
    std::string all;
    for (const char* name : written) {
        const Bytes file = readFile(folder / name);
        all.append(file.begin(), file.end());
    }
    return std::hash<std::string>()(all);
}

constexpr long none = -1;  ///< no allocation is refused

/// Calls that leave the same behind when they fail. Opening a file takes memory too, and libpng
/// reports some of its own shortages as a damaged file.
struct Group {
    Place place;
    std::vector<int> codes;
    std::vector<Call> calls;
};

/// Makes the call with its allocation number `failing` refused. A success must be the `whole` one.
/// @return whether the call got by without it
bool callWithout(long failing, const Call& call, const Group& group, const TempFolder& folder,
                 std::size_t& whole) {
    const Place place = group.place;
    for (const char* name : written) std::filesystem::remove(folder / name);
    const std::size_t files = openFiles();
    bool enough = false;
    std::size_t made = 0;
    int code = 0;
    const Counting count;
    {
        ImageOwner owner(20, 10);
        owner.set("Image", "Creation Time", "Mon, 01 Dec 2008 09:05:03 GMT");
        const std::string metaData = owner->metaData;
        const lmImage* before = owner.image;
        const long already = allocations;
        untilFailure = failing;
        code = call(owner.image);
        untilFailure = -1;
        enough = allocations - already <= failing;
        EXPECT_TRUE(code == 0 || std::ranges::count(group.codes, code) == 1) << code;
        EXPECT_TRUE(code == 0 || !enough);
        if (code != 0 && place == Place::Cleared) {
            EXPECT_EQ(owner.image, nullptr);
        }
        if (code != 0 && place == Place::Kept) {
            EXPECT_EQ(owner.image, before);
            EXPECT_EQ(metaData, owner->metaData);
        }
        if (code == 0 && place != Place::Cleared) made = contentOf(*owner.image);
        Set_ImageExtraHeader(0, nullptr);
    }
    EXPECT_EQ(live, 0) << "leaks";
    made += contentOf(folder);  // an open write is complete only now
    if (failing == none) whole = made;
    EXPECT_TRUE(code != 0 || made == whole) << "a success that lacks something";
    EXPECT_EQ(openFiles(), files);
    return enough;
}

TEST(Memory, EveryAllocationOfEveryCallMayFail) {
    const Samples samples;
    std::string png = samples.folder / "out.png", xyz = samples.folder / "out.xyz";
    const auto read = [](const std::string& name) -> Call {
        return [&](lmImage*& image) { return LumoReadImage(&image, name.c_str()); };
    };
    const auto write = [](const std::string& name, int format) -> Call {
        return [&, format](lmImage*& image) { return LumoWriteImage(image, name.c_str(), format); };
    };
    char value[64];
    std::int32_t size = 0;
    const Group groups[] = {
        {Place::Cleared,
         {-8},
         {[](lmImage*& image) { return LumoCreateImage(&image, 9, 9); },
          [](lmImage*& image) { return LumoResizeImageBuf(&image, 90, 90); }}},
        {Place::Either, {-8, -1, -11}, {read(samples.png)}},
        {Place::Either, {-8, -1, -10004}, {read(samples.xyz), read(samples.xyz8)}},
        {Place::Kept, {-8, -16}, {write(png, 0), write(xyz, 0)}},
        {Place::Kept, {-8, -16, -1}, {write(xyz, FormatXyz8)}},
        {Place::Kept,
         {-8},
         {[](lmImage*& image) { return LumoSetMetaEntry(image, "New", "key", "value"); },
          [](lmImage*& image) {
              return LumoSetMetaEntry(image, "Image", "Creation Time", nullptr);
          },
          [](lmImage*& image) { return LumoAddPerformedStep(image, "more"); },
          [&](lmImage*& image) {
              size = sizeof value;
              return LumoGetMetaEntry(image, "Image", "Creation Time", value, &size);
          },
          [&](lmImage*& image) {
              return LumoForEachMetaEntry(
                  image, [](auto...) { return 0; }, nullptr);
          },
          [&](lmImage*& image) { return LumoGetExtHeader(image, value, &(size = sizeof value)); }}},
        {Place::Kept,
         {-8, -1, -16},
         {[&](lmImage*&) {
              OwnedImage raster;
              return Read_Image(samples.xyz8.c_str(), &raster);
          },
          [&](lmImage*& image) {
              return WriteImageRot({image->width, image->height, image->data}, png.data(), 90);
          },
          // Left open: destroying the image abandons the write.
          [&](lmImage*& image) { return LumoPngWriteStart(image, png.c_str()); },
          [](lmImage*&) { return Set_ImageExtraHeader(6, "block"); }}}};
    for (const Group& group : groups)
        for (std::size_t i = 0; i < group.calls.size(); ++i) {
            bool enough = false;
            std::size_t whole = 0;
            callWithout(none, group.calls[i], group, samples.folder, whole);
            for (long failing = 0; !enough && failing < 2000; ++failing) {
                SCOPED_TRACE(testing::Message() << "group " << &group - groups << ", call " << i
                                                << ", allocation " << failing);
                enough = callWithout(failing, group.calls[i], group, samples.folder, whole);
            }
            EXPECT_TRUE(enough);
        }
}

constexpr std::size_t megabyte = std::size_t{1} << 20;

/// Reads a damaged file and checks what always holds.
void expectOrderlyRead(const std::string& name, bool mustFail, const std::string& what) {
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
    EXPECT_FALSE(mustFail && code == 0) << what;
    const int known[] = {0, -50, -11, -8, -10004, -10006};
    EXPECT_NE(std::ranges::find(known, code), std::end(known)) << what << ": " << code;
    const std::size_t raster =
        owner.image != nullptr ? std::size_t{owner->width} * owner->height * 2 : 0;
    EXPECT_LE(peak, raster + megabyte) << what << ": a claim costs memory";
    EXPECT_TRUE(code != 0 || (owner.image != nullptr && owner->data != nullptr)) << what;
    if (owner.image == nullptr) return;
    EXPECT_EQ(owner->metaSize, static_cast<int>(std::strlen(owner->metaData)) + 1) << what;
}

/// The files of a format, each cut at every byte of its head and then here and there, and with
/// every byte there flipped in turn. Where the format has checksums, no damage goes unseen.
void cutAndFlip(const std::string& damagedPart, const std::string& opened, std::size_t head,
                bool checksums = false) {
    const Bytes whole = readFile(damagedPart);
    for (std::size_t at = 0; at < whole.size(); at += at < head ? 1 : 61) {
        writeFile(damagedPart, {whole.begin(), whole.begin() + std::ptrdiff_t(at)});
        expectOrderlyRead(opened, checksums, damagedPart + " cut at " + std::to_string(at));
        for (const int flip : {0x01, 0x40, 0x80, 0xFF}) {
            Bytes flipped = whole;
            flipped[at] = std::uint8_t(flipped[at] ^ flip);
            writeFile(damagedPart, flipped);
            expectOrderlyRead(opened, checksums, damagedPart + " flipped at " + std::to_string(at));
        }
    }
    writeFile(damagedPart, whole);
}

TEST(Damage, IsAnsweredAtEveryByte) {
    const Samples samples;
    cutAndFlip(samples.png, samples.png, 10000, true);
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
    expectOrderlyRead(samples.png, true, "65535 x 65535");
}

TEST(Disk, AFileSizeLimitIsAFailureNotASignal) {
    const TempFolder folder;
    ImageOwner owner(300, 200), wordy(3, 2);
    for (const char* key : {"Creation Time", "Source", "Software", "Author"})
        wordy.set("Image", key, std::string(1023, 'w').c_str());  // more than a stream holds back
    std::string turned = folder / "t.raw";
    const auto write = [&](const char* name, int format) {
        return [=, &owner, name = folder / name] {
            return LumoWriteImage(owner.image, name.c_str(), format);
        };
    };
    const std::vector<std::function<int()>> writers = {
        write("a.xyz", 0),
        write("a.xyz", FormatXyz8),
        write("a.txt", 0),
        write("a.png", 0),
        [&] { return LumoWriteImagePNG(wordy.image, (folder / "w.png").c_str()); },
        [&] { return Write_Image((folder / "b.raw").c_str(), owner.plain()); },
        [&] { return WriteImageRot(owner.plain(), turned.data(), 90); },
        [&] { return WriteImageInfo({}, (folder / "c.txt").c_str()); }};
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
