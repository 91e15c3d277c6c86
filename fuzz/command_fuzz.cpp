// Filter commands from arbitrary text, on a small image: the result and what became of the
// destination agree with a plain reading of the text.
#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "lumo_legacy.h"

namespace {

constexpr std::uint16_t width = 20, height = 17;

std::vector<std::uint16_t> testPixels() {
    std::vector<std::uint16_t> pixels;
    for (unsigned i = 0; i < unsigned{width} * height; ++i)
        pixels.push_back(static_cast<std::uint16_t>(i * 2654435761U >> 13));
    return pixels;
}

std::string readPlainly(const char* command) {
    std::string text = std::string(command).substr(0, 255);
    for (char& c : text)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
    return text;
}

std::string nameIn(const std::string& text) {
    const std::size_t at = text.find("type=");
    if (at == std::string::npos) return "";
    const std::string rest = text.substr(at + 5);
    return rest.substr(0, rest.find_first_of(" \t\r\n")).substr(0, 63);
}

void require(bool condition) {
    if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string command(reinterpret_cast<const char*>(data), size);
    const std::string text = readPlainly(command.c_str()), name = nameIn(text);
    std::vector<std::uint16_t> pixels = testPixels(), out(pixels.size(), 4711), again(out);
    const std::vector<std::uint16_t> untouched = out, original = pixels;
    const Image source{width, height, pixels.data()};
    IniReturn* store = nullptr;
    lmtSetLastError(0);
    const int code = SC_Filter_ImageEx(source, {width, height, out.data()}, 90000, 110000,
                                       command.c_str(), &store, nullptr, nullptr);
    const int refused = lmtGetLastError();
    require(store != nullptr && Destroy_IniReturn(&store) == 0 && store == nullptr);
    require(pixels == original);

    constexpr const char* plain[] = {"unsharp_mask",  "unsharp_mask2",    "mean_filter",
                                     "median_filter", "histogramm_equal", "histogramm_equal3"};
    const bool band = name == "gauss_fd" || name == "gauss_fd2";
    const bool known =
        std::any_of(std::begin(plain), std::end(plain), [&](const char* p) { return name == p; });
    require(known ? code == 0 : band ? code == 0 || code == -2 : code == -2);
    if (code != 0 || refused != 0) require(out == untouched);
    if (code != 0) return 0;
    // The same command in lower case, cut to what is read, in place: the same pixels.
    require(SC_Filter_Image(source, source, 90000, 110000, text.c_str()) == 0);
    require(pixels == (refused != 0 ? original : out));
    return 0;
}
