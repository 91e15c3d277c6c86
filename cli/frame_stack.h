// A running stack of frames from files.
#pragma once

#include <memory>
#include <string>

#include "cli/arguments.h"
#include "cli/files/reading.h"
#include "cli/library.h"
#include "lumo_quality.h"

namespace lumo::cli {

class FrameStack {
public:
    /// Reads a frame and adds it; throws a CommandError if its size differs from the first one's.
    void add(const std::string& file, bool deviation) {
        const ImageHandle frame = readImage(file);
        if (!stack_) {
            LumoStack* created = nullptr;
            check(LumoStackCreate(&created, frame->width, frame->height, deviation ? 1 : 0), file);
            stack_.reset(created);
            width_ = frame->width;
            height_ = frame->height;
        }
        if (frame->width != width_ || frame->height != height_)
            throw CommandError(file + ": " + std::to_string(frame->width) + " x " +
                               std::to_string(frame->height) + " pixels, the frames before have " +
                               std::to_string(width_) + " x " + std::to_string(height_));
        check(LumoStackAdd(stack_.get(), rasterOf(*frame)), file);
    }
    /// Null without frames.
    [[nodiscard]] const LumoStack* get() const { return stack_.get(); }
    [[nodiscard]] int width() const { return width_; }
    [[nodiscard]] int height() const { return height_; }

private:
    struct Deleter {
        void operator()(LumoStack* stack) const { LumoStackDestroy(&stack); }
    };
    std::unique_ptr<LumoStack, Deleter> stack_;
    int width_ = 0, height_ = 0;
};

}  // namespace lumo::cli
