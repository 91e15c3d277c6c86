// What the file of a gain table holds: for reports.
#include "cli/gain_table.h"

#include <algorithm>
#include <array>
#include <fstream>

#include "cli/library.h"

namespace lumo::cli {
namespace {

// Byte offsets in the header.
constexpr std::size_t widthAt = 2, heightAt = 4, lengthAt = 6, minAt = 16, maxAt = 18,
                      headerSize = 20;

std::vector<std::uint16_t> readWords(std::istream& in, std::size_t count) {
    std::vector<char> bytes(2 * count);
    in.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    std::vector<std::uint16_t> words(count);
    for (std::size_t i = 0; i < count; ++i)
        words[i] = static_cast<std::uint16_t>(static_cast<std::uint8_t>(bytes[2 * i]) |
                                              static_cast<std::uint8_t>(bytes[2 * i + 1]) << 8);
    return words;
}

}  // namespace

int GainTable::topCode() const {
    constexpr int largest = 65535;
    if (minPercent >= maxPercent) return largest;
    const double scale = largest / (highest() - lowest());
    return static_cast<int>((highest() - lowest()) * scale);
}

GainTable readGainTable(const std::string& file, const std::string& shownAs) {
    std::ifstream in(file, std::ios::binary);
    const std::vector<std::uint16_t> header = readWords(in, headerSize / 2);
    if (!in) throw libraryError(LumoErrorFile, shownAs);
    GainTable table{
        header[widthAt / 2], header[heightAt / 2], header[minAt / 2], header[maxAt / 2], {}};
    in.seekg(header[lengthAt / 2]);
    table.codes = readWords(in, std::size_t{header[widthAt / 2]} * header[heightAt / 2]);
    if (!in) throw libraryError(LumoErrorFile, shownAs);
    return table;
}

}  // namespace lumo::cli
