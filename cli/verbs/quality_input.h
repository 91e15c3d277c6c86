// What all quality figures share: their options, images whose history allows a figure, and the
// signal.
#pragma once

#include <string>
#include <vector>

#include "cli/command.h"
#include "cli/library.h"
#include "lumo_quality.h"

namespace lumo::cli {

struct QualityOptions {
    std::vector<std::string> files;
    double offset = 0, pitch = 0;
    std::string dark, response;
    bool processed = false, csv = false, json = false;
};

/// Declares FILE and the options that are common to all figures.
void addQualityOptions(CLI::App& verb, QualityOptions& options);

/// The signal that the options choose; reads the dark frame and the response table.
class SignalSource {
public:
    explicit SignalSource(const QualityOptions& options);
    SignalSource(const SignalSource&) = delete;
    SignalSource& operator=(const SignalSource&) = delete;
    [[nodiscard]] const LumoSignal* get() const { return &signal_; }

private:
    void readResponse(const std::string& file);

    ImageHandle darkImage_;
    Image dark_{};
    std::vector<double> grey_, values_;
    LumoSignal signal_{};
};

/// An image to be measured.
struct QualityInput {
    ImageHandle image;
    std::uint32_t pitchX, pitchY;  ///< nanometres
    std::uint32_t pitchKnown;      ///< 1: the user gave it
    std::string history;           ///< "unprocessed", "processed" or "unknown"
    std::string note;              ///< about the history
};

/// Reads an image; throws a CommandError if what was done to it changes noise, sharpness or
/// linearity, unless the options allow it.
[[nodiscard]] QualityInput readInput(const std::string& file, const QualityOptions& options);

/// A region with its name.
struct NamedRoi {
    std::string text;
    Roi roi;
};
/// NAME=x1,y1,x2,y2, or the numbers alone, by which it is then named.
[[nodiscard]] NamedRoi parseNamedRoi(const std::string& text);
[[nodiscard]] Roi wholeOf(const lmImage& image);

/// Throws a CommandError with the reason of a refusal, or with the code.
void checkQuality(int code, std::uint32_t reason, const std::string& subject);

/// A record that says its size.
template <class Record>
[[nodiscard]] Record sized() {
    Record record{};
    record.size = sizeof record;
    return record;
}

}  // namespace lumo::cli
