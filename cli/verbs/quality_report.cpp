// Figures as a table for people, as CSV or as JSON.
#include "cli/verbs/quality_report.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "cli/csv.h"
#include "cli/messages.h"
#include "lumo_quality.h"

namespace lumo::cli {
namespace {

constexpr int fileDigits = 10;

std::string numberText(double value, int digits) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*g", digits, value);
    return text;
}

/// A value as a text; `none` for a number that does not exist.
std::string textOf(const Figure& figure, int digits, const char* none) {
    if (const auto* text = std::get_if<std::string>(&figure.value)) return *text;
    if (const auto* whole = std::get_if<std::int64_t>(&figure.value)) return std::to_string(*whole);
    const double number = std::get<double>(figure.value);
    return std::isfinite(number) ? numberText(number, digits) : none;
}

bool isText(const Figure& figure) {
    return std::holds_alternative<std::string>(figure.value);
}

}  // namespace

QualityReport::QualityReport(bool csv, bool json) : csv_(csv), records_(json) {}

void QualityReport::add(const Figures& figures, const std::string& note,
                        const std::function<void(JsonWriter&)>& curve) {
    if (csv_) return addCsv(figures, note);
    if (!records_.asJson()) return addLine(figures, note);
    const auto file = std::ranges::find(figures, "file", &Figure::key);
    const std::string name =
        file != figures.end() ? std::get<std::string>(file->value) : std::string();
    records_.add(name, [&](JsonWriter& writer) {
        for (const Figure& figure : figures) {
            if (figure.key == "file") continue;
            writer.key(figure.key);
            if (const auto* text = std::get_if<std::string>(&figure.value))
                writer.text(*text);
            else if (const auto* whole = std::get_if<std::int64_t>(&figure.value))
                writer.number(*whole);
            else
                writer.significant(std::get<double>(figure.value), fileDigits);
        }
        if (curve) curve(writer);
        if (!note.empty()) writer.entry("note", note);
    });
}

/// Numbers under their heads, then the texts, which may be of any length.
void QualityReport::addLine(const Figures& figures, const std::string& note) {
    constexpr std::size_t leastWidth = 9;
    std::string heads, line, textHeads, texts;
    for (const Figure& figure : figures) {
        if (isText(figure)) {
            const std::string text = printable(std::get<std::string>(figure.value));
            const std::size_t width = std::max<std::size_t>(figure.head.size(), 12);
            // The file comes last, as it may be of any length.
            textHeads =
                "  " + figure.head + std::string(width - figure.head.size(), ' ') + textHeads;
            texts = "  " + text + std::string(width - std::min(width, text.size()), ' ') + texts;
            continue;
        }
        const std::string value = textOf(figure, figure.digits, "-");
        const std::size_t width = std::max(figure.head.size(), leastWidth);
        heads += std::string(width + 1 - figure.head.size(), ' ') + figure.head;
        line += std::string(width + 1 - std::min(width, value.size()), ' ') + value;
    }
    if (first_) std::cout << heads << textHeads << '\n';
    first_ = false;
    std::cout << line << texts << '\n';
    if (!note.empty()) std::cout << "    note: " << note << '\n';
}

void QualityReport::addCsv(const Figures& figures, const std::string& note) {
    if (first_) {
        for (const Figure& figure : figures) std::cout << figure.key << ',';
        std::cout << "note\n";
    }
    first_ = false;
    for (const Figure& figure : figures)
        std::cout << csvField(textOf(figure, fileDigits, "")) << ',';
    std::cout << csvField(note) << '\n';
}

std::string noteText(std::uint32_t notes, const std::string& further) {
    std::string text = further;
    for (std::uint32_t note = 1; note != 0; note <<= 1)
        if ((notes & note) != 0)
            text += (text.empty() ? "" : "; ") + std::string(LumoQualityNoteText(note));
    return text;
}

}  // namespace lumo::cli
