// Image files against the bare file operation or libpng called directly, and the text store.
#include <fcntl.h>
#include <png.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "harness.h"
#include "opencv_peers.h"

namespace {

using lumo::bench::Suite;
using lumo::bench::within;

/// A folder with an image of the radiograph, removed with the last benchmark that uses it.
struct Files {
    std::string folder, xyz, xyz8, png, out;
    lmImage* image = nullptr;
    std::vector<char> bytes;

    explicit Files(const Image& raster) {
        // In memory where there is such a file system: a disk's write-back would drown the rest.
        const bool inMemory = std::filesystem::is_directory("/dev/shm");
        std::string name = std::string(inMemory ? "/dev/shm" : "/tmp") + "/lumo-bench-XXXXXX";
        folder = mkdtemp(name.data());
        xyz = folder + "/a.xyz";
        xyz8 = folder + "/b.xyz";
        png = folder + "/c.png";
        out = folder + "/d";
        LumoCreateImage(&image, raster.width, raster.height);
        bytes.resize(std::size_t{raster.width} * raster.height * 2 + 4);
        std::memcpy(image->data, raster.data, bytes.size() - 4);
        LumoWriteImage(image, xyz.c_str(), FormatXyz);
        LumoWriteImage(image, xyz8.c_str(), FormatXyz8);
        LumoWriteImage(image, png.c_str(), FormatPng);
    }
    ~Files() {
        LumoDestroyImage(&image);
        std::filesystem::remove_all(folder);
    }
};

void readFileOnly(const std::string& name) {
    const int file = open(name.c_str(), O_RDONLY);
    struct stat status {};
    fstat(file, &status);
    const auto size = static_cast<std::size_t>(status.st_size);
    void* block = std::malloc(size);
    if (read(file, block, size) != status.st_size) std::abort();
    close(file);
    std::free(block);
}

void writeFileOnly(const std::string& name, const std::vector<char>& bytes, std::size_t size) {
    const int file = open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
    if (write(file, bytes.data(), size) != static_cast<ssize_t>(size)) std::abort();
    close(file);
}

void readLibpng(const std::string& name) {
    std::FILE* file = std::fopen(name.c_str(), "rb");
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_init_io(png, file);
    png_read_info(png, info);
    png_set_swap(png);
    const png_uint_32 height = png_get_image_height(png, info),
                      width = png_get_image_width(png, info);
    auto* pixels = static_cast<png_byte*>(std::malloc(std::size_t{width} * height * 2));
    std::vector<png_bytep> rows(height);
    for (png_uint_32 y = 0; y < height; ++y) rows[y] = pixels + std::size_t{y} * width * 2;
    png_read_image(png, rows.data());
    png_read_end(png, info);
    png_destroy_read_struct(&png, &info, nullptr);
    std::fclose(file);
    std::free(pixels);
}

void writeLibpng(const std::string& name, const lmImage* image) {
    std::FILE* file = std::fopen(name.c_str(), "wb");
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_init_io(png, file);
    png_set_compression_level(png, 6);
    png_set_IHDR(png, info, image->width, image->height, 16, PNG_COLOR_TYPE_GRAY,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    png_set_swap(png);
    for (std::size_t y = 0; y < image->height; ++y)
        png_write_row(png, reinterpret_cast<png_const_bytep>(image->data + y * image->width));
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    std::fclose(file);
}

void readImage(const std::string& name) {
    lmImage* image = nullptr;
    LumoReadImage(&image, name.c_str());
    LumoDestroyImage(&image);
}

const lumo::bench::Group files([](Suite& suite) {
    const auto shared = std::make_shared<Files>(suite.radiograph());
    const Files* f = shared.get();
    const Image plain = {f->image->width, f->image->height, f->image->data};
    const std::size_t size16 = f->bytes.size(), size8 = size16 / 2 + 254;
    suite.add({"XYZ read",
               [shared] { readImage(shared->xyz); },
               {{"malloc, read, free", [=] { readFileOnly(f->xyz); }, within(1.15)}}});
    suite.add({"XYZ write",
               [=] { LumoWriteImage(f->image, (f->out + ".xyz").c_str(), FormatXyz); },
               {{"write", [=] { writeFileOnly(f->out + ".w", f->bytes, size16); }, within(1.15)}}});
    suite.add({"XYZ 8 bits read",
               [=] { readImage(f->xyz8); },
               {{"malloc, read, free", [=] { readFileOnly(f->xyz8); }, within(3.2)}}});
    suite.add({"XYZ 8 bits write",
               [=] { LumoWriteImage(f->image, (f->out + "8.xyz").c_str(), FormatXyz8); },
               {{"write", [=] { writeFileOnly(f->out + "8.w", f->bytes, size8); }, within(4.5)}}});
    suite.add(
        {"PNG read", [=] { readImage(f->png); }, {{"libpng", [=] { readLibpng(f->png); }, 2}}});
    lumo::bench::Peers writers = lumo::bench::cvWritePng(plain, f->out + "o.png", 2);
    writers.push_back({"libpng", [=] { writeLibpng(f->out + "p.png", f->image); }, 15});
    suite.add({"PNG write", [=] { LumoWriteImage(f->image, (f->out + ".png").c_str(), FormatPng); },
               std::move(writers)});
});

/// An image with so many steps of history.
lmImage* imageWithSteps(int steps) {
    lmImage* image = nullptr;
    LumoCreateImage(&image, 0, 0);
    for (int i = 0; i < steps; ++i) LumoAddPerformedStep(image, "LumoRotateImage(angle=90)");
    return image;
}

const lumo::bench::Group store([](Suite& suite) {
    const auto destroy = [](lmImage* image) { LumoDestroyImage(&image); };
    const std::shared_ptr<lmImage> image(imageWithSteps(0), destroy);
    const std::string value(50, 'v');
    for (int i = 0; image->metaSize < 65536; ++i)
        LumoSetMetaEntry(image.get(), ("Section" + std::to_string(i / 40)).c_str(),
                         ("Key" + std::to_string(i)).c_str(), value.c_str());
    LumoSetMetaEntry(image.get(), "Last", "key", "value");
    const auto copy =
        std::make_shared<std::vector<char>>(static_cast<std::size_t>(image->metaSize));
    suite.add({"100 entries of 64 KiB metadata",
               [image] {
                   char text[64];
                   for (int i = 0; i < 100; ++i) {
                       std::int32_t size = sizeof text;
                       LumoGetMetaEntry(image.get(), "Last", "key", text, &size);
                   }
               },
               {{"memcpy of the text",
                 [=] {
                     for (int i = 0; i < 100; ++i) {
                         std::memcpy(copy->data(), image->metaData, copy->size());
                         asm volatile("" : : "r"(copy->data()) : "memory");
                     }
                 },
                 within(20)}}});
    const auto append = [=](int before) {
        const std::shared_ptr<lmImage> steps(imageWithSteps(before), destroy);
        return [steps, base = std::string(steps->metaData)] {
            for (int i = 0; i < 100; ++i)
                LumoAddPerformedStep(steps.get(), "LumoRotateImage(angle=90)");
            // Back to the steps there were.
            steps->metaSize = static_cast<std::int32_t>(base.size()) + 1;
            std::memcpy(steps->metaData, base.c_str(), base.size() + 1);
        };
    };
    suite.add(
        {"history steps 900 to 1000", append(900), {{"steps 0 to 100", append(0), within(20)}}});
});

}  // namespace
