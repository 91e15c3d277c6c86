// The step `filter`: a command of the filter command language, its keys and values checked before
// it runs.
#include <cfloat>

#include "frame/ini2.h"
#include "steps/table.h"

namespace lumo {
namespace {

constexpr const char* commands =
    "gauss_fd gauss_fd2 unsharp_mask unsharp_mask2 mean_filter median_filter histogramm_equal "
    "histogramm_equal3";
constexpr const char* band = "gauss_fd gauss_fd2";
constexpr const char* masks = "unsharp_mask unsharp_mask2";
constexpr std::size_t longestCommand = 255;  // what the language reads of a text
constexpr double most = 1e6;

constexpr StepOption amplitude(const char* name, const char* summary) {
    return {.name = name,
            .type = LumoOptionReal,
            .flags = LumoOptionKey,
            .least = -most,
            .largest = most,
            .value = "A",
            .standard = "1",
            .summary = summary,
            .commands = band};
}

constexpr StepOption frequency(const char* name, double least, const char* standard,
                               const char* summary) {
    return {.name = name,
            .type = LumoOptionReal,
            .flags = LumoOptionKey,
            .least = least,
            .largest = most,
            .value = "F",
            .unit = "cycles/mm",
            .standard = standard,
            .summary = summary,
            .commands = band};
}

constexpr StepOption whole(const char* name, double largest, const char* unit, const char* standard,
                           const char* summary) {
    return {.name = name,
            .type = LumoOptionInteger,
            .flags = LumoOptionKey,
            .least = 0,
            .largest = largest,
            .value = "N",
            .unit = unit,
            .standard = standard,
            .summary = summary,
            .commands = "histogramm_equal3"};
}

constexpr StepOption share(const char* name, const char* summary) {
    return {.name = name,
            .type = LumoOptionReal,
            .flags = LumoOptionKey,
            .least = -1,
            .largest = 40,
            .value = "P",
            .unit = "per cent",
            .standard = "3",
            .summary = summary,
            .commands = "histogramm_equal"};
}

constexpr StepOption side(double largest, const char* command) {
    return {.name = "size",
            .type = LumoOptionInteger,
            .flags = LumoOptionKey,
            .least = 1,
            .largest = largest,
            .value = "N",
            .unit = "pixels",
            .standard = "3",
            .summary = "Side of the window that begins at each pixel",
            .commands = command};
}

constexpr double leastWidth = 1e-6;

constexpr StepOption options[] = {
    {.name = "type",
     .type = LumoOptionChoice,
     .flags = LumoOptionKey | LumoOptionRequired,
     .value = "COMMAND",
     .summary = "What is done",
     .choices = commands},
    {.name = "radius",
     .type = LumoOptionReal,
     .flags = LumoOptionKey,
     .least = 0,
     .largest = 1000,
     .value = "R",
     .unit = "mm",
     .standard = "1",
     .summary = "How far the blur reaches",
     .commands = masks},
    {.name = "value",
     .type = LumoOptionReal,
     .flags = LumoOptionKey,
     .least = -most,
     .largest = most,
     .value = "V",
     .standard = "1",
     .summary = "Strength; 0 leaves the picture unsharpened",
     .commands = masks},
    side(65535, "mean_filter"),
    side(256, "median_filter"),
    share("low", "Share of the darkest pixels to leave out; negative: no limit"),
    share("high", "Share of the brightest pixels to leave out; negative: no limit"),
    whole("np", 100, "", "50", "Clip level; 50 is neutral, each 50 are a factor of 1000"),
    whole("lp", 65535, "grey value", "0", "Lower end of the useful range, if lf=1"),
    whole("rp", 65535, "grey value", "65535", "Upper end of the useful range, if rf=1"),
    whole("lf", 1, "", "0", "1: lp is the lower end; 0: it is found"),
    whole("rf", 1, "", "0", "1: rp is the upper end; 0: it is found"),
    whole("gew", 100, "per cent", "0", "Share of a square-root curve blended in"),
    amplitude("al0", "Low-pass term: its height far from frequency 0"),
    amplitude("al1", "Low-pass term: its height at frequency 0"),
    frequency("ftp", leastWidth, "10", "Low-pass term: width"),
    amplitude("ah0", "High-pass term: its height at frequency 0"),
    amplitude("ah1", "High-pass term: its height far from frequency 0"),
    frequency("fhp", leastWidth, "10", "High-pass term: width"),
    amplitude("ab0", "Band term: its height far from fbp0"),
    amplitude("ab1", "Band term: its height at fbp0"),
    frequency("fbp0", 0, "5", "Band term: centre"),
    frequency("fbp", leastWidth, "2", "Band term: width, two standard deviations"),
    {.name = "preservezerofreq",
     .type = LumoOptionInteger,
     .flags = LumoOptionKey,
     .least = 0,
     .largest = 1,
     .value = "N",
     .standard = "0",
     .summary = "1: the mean grey value is kept",
     .commands = band},
};

std::string commandOf(const StepArguments& arguments) {
    return arguments.normalForm().substr(sizeof "filter");
}

void check(const StepArguments& arguments, LumoStepReport& report) {
    const std::size_t length = commandOf(arguments).size();
    if (length > longestCommand)
        refuse(report, LumoErrorParameter,
               "filter: the command has " + std::to_string(length) + " characters, 255 are read");
}

/// Clamping and rounding apart, these are sums of the pixels with fixed weights.
std::uint32_t flagsOf(const StepArguments& arguments) {
    constexpr std::uint32_t always = LumoStepRepeatable | LumoStepFilterCommand;
    const std::string type = arguments.text("type");
    const bool linear = type == "mean_filter" || type == "unsharp_mask2" || type == "gauss_fd2";
    return linear ? always | LumoStepLinear : always;
}

struct StoreDeleter {
    void operator()(IniReturn* store) const noexcept { Destroy_IniReturn(&store); }
};

/// Puts the caller's last error back.
class KeptLastError {
public:
    KeptLastError() : code_(lmtGetLastError()) { lmtSetLastError(LumoOk); }
    ~KeptLastError() { lmtSetLastError(code_); }
    KeptLastError(const KeptLastError&) = delete;
    KeptLastError& operator=(const KeptLastError&) = delete;

private:
    int code_;
};

/// The call's own code, or the one that an operation leaves behind when it refuses its parameters.
int runCommand(const StepWork& work, const std::string& command,
               std::unique_ptr<IniReturn, StoreDeleter>& store, char*& text, std::uint32_t& size) {
    const KeptLastError kept;
    IniReturn* slot = nullptr;
    const int code = SC_Filter_ImageEx(
        work.source(), work.target(), static_cast<std::int32_t>(work.image.pixelsizeX),
        static_cast<std::int32_t>(work.image.pixelsizeY), command.c_str(), &slot, &text, &size);
    store.reset(slot);
    return code != LumoOk ? code : lmtGetLastError();
}

void apply(const StepWork& work) {
    std::unique_ptr<IniReturn, StoreDeleter> store;
    char* text = nullptr;
    std::uint32_t size = 0;
    work.require(runCommand(work, commandOf(work.arguments), store, text, size));
    if (size == 0) return;
    ini2 results(text, static_cast<int>(size));
    constexpr struct {
        const char *key, *label;
    } values[] = {{"lp", "lower end of the useful range"}, {"rp", "upper end of the useful range"}};
    for (const auto& [key, label] : values) {
        long value = 0;
        if (results.get("return", key, &value, 0L) == 0) work.report.count(key, label, value);
    }
}

}  // namespace

constinit const Step filterStep = {
    .name = "filter",
    .summary = "Run a filter command",
    .effect =
        "Sides and pitch stay; unsharp_mask and gauss_fd spread the result over all grey "
        "values.",
    .examples =
        "filter type=unsharp_mask radius=0.5 value=2\n"
        "filter type=median_filter size=5",
    .flags = LumoStepRepeatable | LumoStepFilterCommand,
    .options = options,
    .check = check,
    .flagsOf = flagsOf,
    .apply = apply,
};

}  // namespace lumo
