// The pitch of an image's pixels, and whether its file holds one.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "cli/command.h"
#include "cli/library.h"

namespace lumo::cli {

/// In nanometres, along a row and between rows.
struct Pitch {
    std::uint32_t x, y;
};

/// Where a pitch comes from stands in the metadata, so that it passes through every file that keeps
/// entries.
inline constexpr const char *pitchSection = "Import", *pitchKey = "PitchFrom",
                            *pitchAssumed = "assumed";

[[nodiscard]] bool isPitchAssumed(lmImage* image, const std::string& file);

/// Records that the file holds no pitch and the image has a customary one.
void assumePitch(lmImage* image, const std::string& file);

/// Gives the image this pitch, known from now on, in its record and its metadata.
void setPitch(lmImage* image, const Pitch& pitch, const std::string& file);

/// "100000 x 100000 nm", or "none (100000 nm assumed)".
[[nodiscard]] std::string pitchText(const Pitch& pitch, bool assumed);

/// Declares --pitch, for verbs whose lengths are in millimetres and for convert.
void addPitchOption(CLI::App& verb, std::string& text);

/// The option's one or two numbers; nothing if it was not given. Throws a usage error.
[[nodiscard]] std::optional<Pitch> parsePitch(const std::string& text);

/// While it lives, the extended header of an image whose pitch is assumed says so: XYZ has no other
/// place for it.
class PitchInExtendedHeader {
public:
    PitchInExtendedHeader(lmImage* image, const std::string& file);
    ~PitchInExtendedHeader();
    PitchInExtendedHeader(const PitchInExtendedHeader&) = delete;
    PitchInExtendedHeader& operator=(const PitchInExtendedHeader&) = delete;

private:
    lmImage* image_ = nullptr;
};

/// Takes it out again after reading.
void takePitchFromExtendedHeader(lmImage* image, const std::string& file);

}  // namespace lumo::cli
