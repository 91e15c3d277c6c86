// The verb `badpixels`: maps of bad pixels, found in frames, listed, and images mended by them.
#include <memory>

#include "cli/files/batch.h"
#include "cli/files/inputs.h"
#include "cli/frame_stack.h"
#include "cli/raster.h"
#include "cli/verbs/quality_input.h"
#include "cli/verbs/quality_report.h"
#include "cli/verbs/verbs.h"

namespace lumo::cli {

namespace {

constexpr const char* kinds[LUMO_BAD_PIXEL_KINDS] = {"dead",       "over", "under",        "noisy",
                                                     "nonUniform", "lag",  "neighbourhood"};

struct Options : ChangeOptions {
    BatchOptions batch;
    std::vector<std::string> dark, bright, corrected;
    std::string after, map;
    LumoBadPixelLimits limits{sizeof(LumoBadPixelLimits), 30, 0.05, 1.3, 0.6, 6, 1, 2};
    bool csv = false, json = false;
};

void report(const LumoBadPixels& found, const std::string& file, const Options& options,
            const std::vector<LumoBadCluster>* clusters = nullptr) {
    Figures figures{{"bad", "bad", std::int64_t{found.bad}}};
    for (int kind = 0; kind < LUMO_BAD_PIXEL_KINDS; ++kind)
        figures.push_back({kinds[kind], kinds[kind], std::int64_t{found.kinds[kind]}});
    const std::pair<const char*, std::uint32_t> counts[] = {
        {"singles", found.singles},
        {"clusters", found.clusters},
        {"relevantClusters", found.relevantClusters},
        {"rows", found.rows},
        {"columns", found.columns}};
    for (const auto& [key, count] : counts) figures.push_back({key, key, std::int64_t{count}});
    figures.push_back({"file", "file", file});
    QualityReport table(options.csv, options.json);
    table.add(figures, noteText(found.notes), [&](JsonWriter& json) {
        if (clusters == nullptr) return;
        json.key("clusterList");
        json.beginArray();
        for (const LumoBadCluster& cluster : *clusters) {
            json.beginObject();
            json.entry("x1", cluster.box.x1);
            json.entry("y1", cluster.box.y1);
            json.entry("x2", cluster.box.x2);
            json.entry("y2", cluster.box.y2);
            json.entry("pixels", std::int64_t{cluster.pixels});
            json.entry("relevant", std::int64_t{cluster.relevant});
            json.end();
        }
        json.end();
    });
    table.records().end();
}

Status find(const Options& options) {
    OutputOptions to = options.output;
    to.file = options.map;
    if (!hasExtension(to.file, "png")) throw usageError(to.file + ": a map is a .png file");
    ImageOutput output(to);
    FrameStack dark, bright, corrected;
    for (const std::string& file : options.dark) dark.add(file, true);
    for (const std::string& file : options.bright) bright.add(file, false);
    for (const std::string& file : options.corrected) corrected.add(file, false);
    ImageHandle after;
    Image rest{};
    if (!options.after.empty()) {
        after = readImage(options.after);
        rest = rasterOf(*after);
    }
    const ImageHandle map = createImage(dark.width(), dark.height(), options.map);
    LumoBadPixels found = sized<LumoBadPixels>();
    const int code =
        LumoFindBadPixels(dark.get(), bright.get(), corrected.get(), after ? &rest : nullptr,
                          &options.limits, rasterOf(*map), &found);
    checkQuality(code, found.reason, options.map);
    output.save(map.get());
    report(found, options.map, options);
    return done;
}

Status list(const Options& options) {
    const ImageHandle map = readImage(options.map);
    LumoBadPixels found = sized<LumoBadPixels>();
    std::int32_t count = 0;
    check(LumoListBadPixels(rasterOf(*map), &found, nullptr, &count), options.map);
    std::vector<LumoBadCluster> clusters(static_cast<std::size_t>(count));
    check(LumoListBadPixels(rasterOf(*map), &found, clusters.data(), &count), options.map);
    report(found, options.map, options, &clusters);
    return done;
}

Status mend(const Options& options) {
    requireFiles(options.batch, options, "lumo badpixels mend");
    const ImageHandle map = readImage(options.map);
    char crc[32];
    std::snprintf(crc, sizeof crc, " --crc %08x", summarize(*map).crc32);
    const std::string step = "badpixels mend " + options.map + crc;
    Records records(options.json);
    const auto mendOne = [&](const ChangeOptions& each) {
        std::uint32_t mended = 0, doubtful = 0, reason = 0;
        changeImage(each, [&](ImageHandle& image) {
            const int code =
                LumoMendPixels(rasterOf(*image), rasterOf(*map), &mended, &doubtful, &reason);
            checkQuality(code, reason, each.input);
            check(LumoAddPerformedStep(image.get(), step.c_str()), each.input);
        });
        if (records.asJson())
            return records.add(each.output.file, [&](JsonWriter& json) {
                json.entry("mended", std::int64_t{mended});
                json.entry("doubtful", std::int64_t{doubtful});
            });
        clearProgress();
        std::cout << printable(each.output.file) << "\n  pixels mended: " << mended
                  << "\n  with fewer than five good neighbours: " << doubtful << '\n';
    };
    const Status status = runOnFiles(options.batch, options, mendOne, &records);
    records.end();
    return status;
}

void addForms(CLI::App& verb, Options& options) {
    CLI::Option* csv = verb.add_flag("--csv", options.csv, "Comma-separated");
    verb.add_flag("--json", options.json, "An array of objects")->excludes(csv);
}

/// The parser gives a name behind a list of frames to that list: the last one of all is the map's.
void takeMap(const CLI::App& verb, Options& options) {
    if (!options.map.empty()) return;
    const std::pair<const char*, std::vector<std::string>*> lists[] = {
        {"--dark", &options.dark},
        {"--bright", &options.bright},
        {"--corrected", &options.corrected}};
    std::vector<std::string>* last = nullptr;
    for (const CLI::Option* option : verb.parse_order())
        for (const auto& [name, files] : lists)
            if (option->get_name() == name) last = files;
    if (last == nullptr || last->size() < 2)
        throw usageError("lumo badpixels find: MAP is required");
    options.map = last->back();
    last->pop_back();
}

void setUpFind(CLI::App& verb, Options& options) {
    verb.add_option("MAP", options.map, "The map to write, a PNG file; may come last");
    verb.add_option("--dark", options.dark, "Frames without beam; 30 to look for noisy pixels")
        ->required();
    verb.add_option("--bright", options.bright, "Frames under even radiation, not corrected");
    verb.add_option("--corrected", options.corrected, "Frames under even radiation, corrected");
    verb.add_option("--after", options.after, "The first frame after the beam");
    const auto limit = [&](const char* name, double& value, double least, double most,
                           const char* text) {
        verb.add_option(name, value, text)->check(CLI::Range(least, most))->capture_default_str();
    };
    limit("--dead", options.limits.dead, 0, 1, "Response below this part of the median");
    limit("--over", options.limits.over, 1, 1e9, "Response above this times the median");
    limit("--under", options.limits.under, 0, 1, "Response below this part of the median");
    limit("--noisy", options.limits.noisy, 0, 1e9, "Deviation above this times the median");
    limit("--non-uniform", options.limits.nonUniformPercent, 0, 100,
          "Corrected mean off the median by more per cent");
    limit("--lag", options.limits.lag, 0, 1e9, "Signal after the beam above this times the median");
    addForceOption(verb, options.output.force);
    addForms(verb, options);
}

}  // namespace

Work setUpBadPixels(CLI::App& verb) {
    const auto options = std::make_shared<Options>();
    verb.require_subcommand(0, 1);
    CLI::App& find_ = *verb.add_subcommand("find", "Find bad pixels in dark and bright frames");
    setUpFind(find_, *options);
    CLI::App& list_ = *verb.add_subcommand("list", "Count what a map holds");
    list_.add_option("MAP", options->map, "The map to read")->required();
    addForms(list_, *options);
    CLI::App& mend_ = *verb.add_subcommand("mend", "Replace bad pixels by the good ones around");
    mend_.add_option("MAP", options->map, "The map to read")->required();
    addBatchOptions(mend_, *options, options->batch);
    addForms(mend_, *options);
    return [options, &find_, &list_, &mend_] {
        if (find_.parsed()) {
            takeMap(find_, *options);
            return find(*options);
        }
        if (list_.parsed()) return list(*options);
        if (mend_.parsed()) return mend(*options);
        throw usageError("lumo badpixels: give find, list or mend");
    };
}

}  // namespace lumo::cli
