// Names are taken apart as the library does it: by the last slash and the last dot.
#include "cli/files/names.h"

#include <algorithm>
#include <string_view>

namespace lumo::cli {

namespace {

char lowered(char letter) {
    return 'A' <= letter && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

}  // namespace

SplitPath::SplitPath(const std::string& file) {
    const std::size_t slash = file.rfind('/');
    folder = slash == std::string::npos ? "" : file.substr(0, slash + 1);
    name = file.substr(folder.size());
}

std::string extensionOf(const std::string& name) {
    const std::size_t dot = name.rfind('.');
    return dot == std::string::npos ? "" : name.substr(dot + 1);
}

bool hasExtension(const std::string& name, const char* extension) {
    return std::ranges::equal(extensionOf(name), std::string_view(extension), {}, lowered, lowered);
}

std::string withLastThree(std::string name, const char* letters) {
    return name.replace(name.size() - 3, 3, letters);
}

}  // namespace lumo::cli
