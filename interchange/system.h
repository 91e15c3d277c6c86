// All that the helpers need of the operating system: whole reads and writes on descriptors, and the
// limits under which a file is looked at.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <optional>
#include <string>

namespace lumo::interchange {

/// Reads until the count or the end is reached; throws std::system_error.
[[nodiscard]] std::size_t readAll(int descriptor, void* to, std::size_t count);
/// The same from a place in a regular file, whose own position stays.
[[nodiscard]] std::size_t readAt(int descriptor, void* to, std::size_t count, std::uint64_t place);
/// Writes all bytes or throws std::system_error.
void writeAll(int descriptor, const void* from, std::size_t count);
void writeAt(int descriptor, const void* from, std::size_t count, std::uint64_t place);
/// Throws std::system_error.
[[nodiscard]] std::uint64_t fileSize(int descriptor);

/// Asks for large pages behind a fresh raster: faults for small ones cost more than to fill it.
void preferLargePages(void* block, std::uint64_t bytes);

/// Fills a block with random bytes; throws std::system_error.
void fillRandomly(void* block, std::size_t size);

/// The present time where the helper runs.
[[nodiscard]] std::tm localTimeNow();

/// Gives an environment variable another value while it lives.
class ReplacedVariable {
public:
    ReplacedVariable(const char* name, const char* value);
    ~ReplacedVariable();
    ReplacedVariable(const ReplacedVariable&) = delete;
    ReplacedVariable& operator=(const ReplacedVariable&) = delete;

private:
    const char* name_;
    std::optional<std::string> before_;
};

/// Whether files may be written.
enum class Access { read, write };

/// No core dump, no new privileges, no new files when reading; processor time and address space for
/// a picture of no size yet. Before anything of a file is looked at; throws std::system_error.
void limitProcess(Access access);
/// Raises the limits of time and address space for a raster whose size has been found plausible.
void allowRaster(std::uint64_t bytes);

}  // namespace lumo::interchange
