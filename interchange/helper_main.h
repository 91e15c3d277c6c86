// The frame of every helper program: limits first, then the request, then one picture or one
// answer.
//
//   lumo-X read [NAME=VALUE...]    the file is standard input (a regular file, seekable)
//   lumo-X write [NAME=VALUE...]   a picture comes through standard input; the file is descriptor
//   3,
//                                  empty and open for reading and writing; descriptor 4, if the
//                                  request names "like", is the original file
//
// The stream of transfer.h goes to standard output; statuses are HelperStatus. Standard error is
// nobody's: the program throws it away.
#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "interchange/picture.h"

namespace lumo::interchange {

inline constexpr int outputDescriptor = 3, likeDescriptor = 4;

/// Ends the work: the text, one short sentence without the file's name, goes to the user.
class Refusal : public std::runtime_error {
    using runtime_error::runtime_error;
};

/// The options of one call.
class Request {
public:
    Request() = default;
    /// Throws std::invalid_argument for what is not NAME=VALUE, or not among the names.
    Request(std::span<char* const> arguments, std::span<const char* const> names);
    explicit Request(std::map<std::string, std::string> values) : values_(std::move(values)) {}

    [[nodiscard]] bool has(const std::string& name) const { return values_.contains(name); }
    /// Empty if it was not given.
    [[nodiscard]] std::string text(const std::string& name) const;
    /// 0 if it was not given; throws std::invalid_argument for anything but a decimal number.
    [[nodiscard]] std::uint32_t number(const std::string& name) const;

private:
    std::map<std::string, std::string> values_;
};

/// What a program is. Both functions throw Refusal with what the user should know; they call
/// allowRaster() as soon as they know the picture's size from a header that makes sense.
struct Helper {
    const char* name;
    std::span<const char* const> options;
    Picture (*read)(int file, const Request&);
    /// Returns notes.
    std::vector<std::string> (*write)(const Picture&, int file, const Request&);
};

/// The whole of main().
[[nodiscard]] int runHelper(const Helper& helper, int count, char** arguments);

}  // namespace lumo::interchange
