// Adding frames, their mean and deviation; subtracting a dark frame.
#include "quality/stack.h"

#include <cmath>
#include <memory>

#include "image/size_check.h"
#include "image/view.h"
#include "platform/cpu_level.h"
#include "quality/record.h"

namespace lumo {
namespace {

/// As many of the largest grey values as a sum of 32 bits holds.
constexpr std::uint32_t framesPerSum = 65537;

LUMO_INLINE void addSumsBody(const std::uint16_t* pixels, std::size_t count, std::uint32_t* sums) {
    for (std::size_t i = 0; i < count; ++i) sums[i] += pixels[i];
}
LUMO_LEVELS(void, stackSums, addSumsBody,
            (const std::uint16_t* pixels, std::size_t count, std::uint32_t* sums),
            (pixels, count, sums))

LUMO_INLINE void addSquaresBody(const std::uint16_t* pixels, std::size_t count,
                                std::uint64_t* squares) {
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint32_t pixel = pixels[i];
        squares[i] += pixel * pixel;
    }
}
LUMO_LEVELS(void, stackSquares, addSquaresBody,
            (const std::uint16_t* pixels, std::size_t count, std::uint64_t* squares),
            (pixels, count, squares))

LUMO_INLINE void subtractBody(const std::uint16_t* from, const std::uint16_t* dark,
                              std::size_t count, std::uint16_t* to) {
    for (std::size_t i = 0; i < count; ++i)
        to[i] = static_cast<std::uint16_t>(from[i] > dark[i] ? from[i] - dark[i] : 0);
}
LUMO_LEVELS(void, subtractDark, subtractBody,
            (const std::uint16_t* from, const std::uint16_t* dark, std::size_t count,
             std::uint16_t* to),
            (from, dark, count, to))

/// Makes room in the 32-bit sums.
void widen(LumoStack& stack) {
    if (stack.wideSums.empty()) stack.wideSums.resize(stack.count());
    for (std::size_t i = 0; i < stack.count(); ++i) stack.wideSums[i] += stack.sums[i];
    std::ranges::fill(stack.sums, 0U);
    stack.framesInSums = 0;
}

template <class Record>
void requireSize(const LumoStack* stack, const Record& record) {
    if (stack == nullptr) raise(LumoErrorParameter);
    if (record.data == nullptr || record.width != stack->width || record.height != stack->height)
        raise(LumoErrorImage);
}

void add(LumoStack& stack, const Image& frame) {
    if (stack.framesInSums == framesPerSum) widen(stack);
    stackSums(frame.data, stack.count(), stack.sums.data());
    if (!stack.squares.empty()) stackSquares(frame.data, stack.count(), stack.squares.data());
    ++stack.framesInSums;
    ++stack.frames;
}

template <class Body>
int framed(const char* function, Body&& body) {
    std::uint32_t reason = LumoReasonNone;
    return withReason(function, reason, body);
}

}  // namespace
}  // namespace lumo

extern "C" {

int LumoStackCreate(LumoStack** place, uint16_t width, uint16_t height, uint32_t deviation) {
    if (place != nullptr) *place = nullptr;
    return lumo::framed("LumoStackCreate", [&] {
        if (place == nullptr || width == 0 || height == 0) lumo::raise(LumoErrorParameter);
        auto stack = std::make_unique<LumoStack>(LumoStack{width, height, 0, 0, {}, {}, {}});
        stack->sums.resize(stack->count());
        if (deviation != 0) stack->squares.resize(stack->count());
        *place = stack.release();
    });
}

int LumoStackAdd(LumoStack* stack, Image frame) {
    return lumo::framed("LumoStackAdd", [&] {
        lumo::requireSize(stack, frame);
        lumo::add(*stack, frame);
    });
}

uint32_t LumoStackCount(const LumoStack* stack) {
    return stack != nullptr ? stack->frames : 0;
}

int LumoStackMean(const LumoStack* stack, Image target) {
    return lumo::framed("LumoStackMean", [&] {
        lumo::requireSize(stack, target);
        if (stack->frames == 0) lumo::refuse(LumoReasonFewFrames);
        const std::uint64_t frames = stack->frames;
        for (std::size_t i = 0; i < stack->count(); ++i)
            target.data[i] = static_cast<uint16_t>((2 * stack->sum(i) + frames) / (2 * frames));
    });
}

int LumoStackDeviation(const LumoStack* stack, FImage target) {
    return lumo::framed("LumoStackDeviation", [&] {
        lumo::requireSize(stack, target);
        if (stack->squares.empty()) lumo::raise(LumoErrorParameter);
        if (stack->frames < 2) lumo::refuse(LumoReasonFewFrames);
        for (std::size_t i = 0; i < stack->count(); ++i)
            target.data[i] = static_cast<float>(std::sqrt(stack->variance(i)));
    });
}

int LumoStackDestroy(LumoStack** place) {
    if (place == nullptr) return LumoErrorParameter;
    const std::unique_ptr<LumoStack> stack(*place);
    *place = nullptr;
    return LumoOk;
}

int LumoSubtractDark(Image source, Image dark, Image destination) {
    return lumo::callFrame("LumoSubtractDark", [&] {
        lumo::raiseFailure(lumo::Check_SameSize(source, dark));
        lumo::raiseFailure(lumo::Check_SameSize(source, destination));
        lumo::subtractDark(source.data, dark.data, lumo::viewOf(source).count(), destination.data);
    });
}

}  // extern "C"
