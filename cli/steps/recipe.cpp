// Steps in text files: recipes, a step a line, and scripts of filter commands.
#include "cli/steps/recipe.h"

#include <cerrno>
#include <fstream>
#include <system_error>

namespace lumo::cli {

std::vector<StepText> readRecipe(const std::string& file, const std::string& before) {
    errno = 0;
    std::ifstream stream(file);
    std::vector<StepText> steps;
    int number = 0;
    for (std::string line; std::getline(stream, line);) {
        const std::string place = file + ':' + std::to_string(++number);
        const std::size_t begin = line.find_first_not_of(" \t\r");
        if (begin == std::string::npos || line[begin] == '#') continue;
        if (line.find('\0') != std::string::npos)
            throw usageError(place + ": holds a zero byte, so it is no text");
        steps.push_back({before + line, place});
    }
    if (!stream.eof())
        throw CommandError(file + ": cannot be read" +
                           (errno != 0 ? " (" + std::generic_category().message(errno) + ')' : ""));
    return steps;
}

}  // namespace lumo::cli
