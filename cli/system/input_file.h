// Files that are read, whatever they are: regular files, pipes, standard input.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace lumo::cli {

/// The name that stands for standard input and standard output.
inline constexpr std::string_view standardStream = "-";

/// How messages name a file.
[[nodiscard]] std::string shownName(const std::string& file);

/// The system's reason why a file cannot be read; empty if it can.
[[nodiscard]] std::string whyNotOpened(const std::string& file);

/// A descriptor that is closed with its owner.
class Descriptor {
public:
    explicit Descriptor(int number = -1) : number_(number) {}
    Descriptor(Descriptor&& other) noexcept : number_(other.release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept;
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { close(); }

    [[nodiscard]] int number() const { return number_; }
    [[nodiscard]] bool valid() const { return number_ >= 0; }
    int release();
    void close();

private:
    int number_;
};

/// A path by which an open file can be opened again, whatever its name is or whether it has one.
[[nodiscard]] std::string pathOf(const Descriptor& descriptor);

/// A file without a name, in memory; throws std::system_error.
[[nodiscard]] Descriptor unnamedFile();

/// Writes all of it; false with errno set if that fails.
[[nodiscard]] bool writeAll(int descriptor, const char* data, std::size_t size);

/// An open input whose bytes can be read at any place, more than once: what comes from a pipe is
/// kept in memory.
class InputFile {
public:
    /// How many bytes of a pipe are worth keeping, by those that it begins with.
    using Limit = std::uint64_t (*)(std::string_view start);

    /// "-" is standard input. Throws std::system_error if it cannot be opened or is a folder.
    InputFile(const std::string& file, Limit limit);

    /// For calls that open files by name.
    [[nodiscard]] const std::string& path() const { return path_; }
    /// Whether other files can lie beside it.
    [[nodiscard]] bool isNamed() const { return named_; }
    [[nodiscard]] std::uint64_t size() const { return size_; }
    [[nodiscard]] const Descriptor& descriptor() const { return descriptor_; }

    /// At most `size` bytes from there on; fewer at the end of the file.
    [[nodiscard]] std::string read(std::uint64_t from, std::size_t size) const;

private:
    void keepStream(Limit limit);

    std::string path_;
    Descriptor descriptor_;
    bool named_ = true;
    std::uint64_t size_ = 0;
};

}  // namespace lumo::cli
