// Steps in the form of a call: how the library's functions, and earlier programs, stand in a
// history.
#include "steps/call_forms.h"

#include <charconv>

#include "steps/words.h"

namespace lumo {
namespace {

std::optional<int> wholeNumber(std::string_view text) {
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return number;
}

std::optional<std::string> mirroring(std::string_view inside) {
    constexpr std::string_view between = ", v=";
    const std::size_t comma = inside.find(between);
    if (comma == std::string_view::npos) return std::nullopt;
    const std::optional<int> h = wholeNumber(inside.substr(0, comma)),
                             v = wholeNumber(inside.substr(comma + between.size()));
    if (!h || !v || (*h == 0) == (*v == 0)) return std::nullopt;
    return std::string("mirror --") + (*h != 0 ? "horizontal" : "vertical");
}

std::optional<std::string> quarterTurn(std::string_view inside) {
    return "rotate --quarter " + quotedWord(inside);
}

std::optional<std::string> turn(std::string_view inside) {
    return "rotate --angle " + quotedWord(inside);
}

std::optional<std::string> shearing(std::string_view inside) {
    return "shear --angle " + quotedWord(inside);
}

/// The function corrects what a table of any size covers.
std::optional<std::string> correction(std::string_view inside) {
    const std::string name =
        inside.starts_with("--") ? "./" + std::string(inside) : std::string(inside);
    return "calibrate " + quotedWord(name) + " --partial";
}

constexpr struct {
    std::string_view begin;
    std::optional<std::string> (*step)(std::string_view inside);
} calls[] = {{"LumoRotateImage(angle=", quarterTurn},
             {"LumoMirrorImage(h=", mirroring},
             {"CalibrateImage(calibrationDataFileName=", correction},
             {"RotationNewImage(angle=", turn},
             {"Shear(angle=", shearing}};

constexpr std::string_view flatField = "flat field of phantom";

}  // namespace

std::optional<std::string> stepOfCall(std::string_view recorded) {
    for (const auto& [begin, step] : calls)
        if (recorded.starts_with(begin) && recorded.ends_with(')'))
            return step(recorded.substr(begin.size(), recorded.size() - begin.size() - 1));
    // The flat field comes with the exposure that the same command makes.
    if (recorded.starts_with(flatField))
        return std::string(recorded.substr(flatField.find("phantom")));
    return std::nullopt;
}

}  // namespace lumo
