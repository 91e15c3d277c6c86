// Runs all declared operations and prints one table.
//
//     lumo_bench [--tiny] [--rounds N] [part of an operation's name]
#include "harness.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <numbers>
#include <random>

namespace lumo::bench {
namespace {

constexpr int wholeSide = 3072, tinySide = 64;
constexpr const char* copyName = "copy";

std::vector<void (*)(Suite&)>& groups() {
    static std::vector<void (*)(Suite&)> all;
    return all;
}

/// The noiseless grey value at a place given in parts of the side.
double signalAt(double x, double y) {
    constexpr double rim = 0.04;
    if (std::min(x, y) < rim || std::max(x, y) > 1 - rim) return 300;
    const double turn = 2 * std::numbers::pi;
    const double field = 21000 + 9000 * std::sin(1.5 * turn * x) * std::cos(turn * y);
    const bool bone = std::hypot(x - 0.4, y - 0.6) < 0.2 || (x > 0.7 && std::abs(y - 0.4) < 0.1);
    return bone ? 0.7 * field : field;
}

/// Sum of four uniform numbers: nearly normal, with deviation 1.
double noiseFrom(std::uint64_t bits) {
    double sum = 0;
    for (int i = 0; i < 4; ++i)
        sum += static_cast<double>((bits >> (16 * i)) & 65535) / 65535 - 0.5;
    return sum * std::sqrt(3.0);
}

void fillRadiograph(std::uint16_t* pixels, int side) {
    std::mt19937_64 random(1);
    for (int y = 0; y < side; ++y)
        for (int x = 0; x < side; ++x) {
            const double signal = signalAt(double(x) / side, double(y) / side);
            *pixels++ =
                static_cast<std::uint16_t>(signal + 0.62 * std::sqrt(signal) * noiseFrom(random()));
        }
}

/// Keeps the shortest run of each benchmark, in milliseconds.
class Minima : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.run_type != Run::RT_Iteration) continue;
            const double time = 1e3 * run.real_accumulated_time / double(run.iterations);
            const auto [place, first] = times_.try_emplace(run.run_name.function_name, time);
            if (!first) place->second = std::min(place->second, time);
        }
    }
    [[nodiscard]] double of(const std::string& name) const { return times_.at(name); }

private:
    std::map<std::string, double> times_;
};

void schedule(const std::string& name, int repetitions, const Work& work, const Work& prepare) {
    auto* scheduled =
        benchmark::RegisterBenchmark(name.c_str(), [&work, &prepare](benchmark::State& state) {
            if (prepare) prepare();
            for (auto _ : state) work();
        });
    scheduled->Iterations(1)->Repetitions(repetitions)->UseRealTime();
}

/// Times of one operation in one round: ours, the copy, and the peers in order.
struct Times {
    double own, copy;
    std::vector<double> peers;
};

Times measure(const Operation& operation, const Work& copy, int repetitions) {
    const Work nothing;
    benchmark::ClearRegisteredBenchmarks();
    schedule("own", repetitions, operation.own, operation.prepare);
    schedule(copyName, repetitions, copy, nothing);
    for (const Peer& peer : operation.peers)
        schedule("peer " + peer.name, repetitions, peer.run, nothing);
    Minima minima;
    benchmark::RunSpecifiedBenchmarks(&minima);
    Times times{minima.of("own"), minima.of(copyName), {}};
    for (const Peer& peer : operation.peers) times.peers.push_back(minima.of("peer " + peer.name));
    return times;
}

template <class Value>
double medianOver(const std::vector<Times>& rounds, Value valueOf) {
    std::vector<double> values;
    for (const Times& times : rounds) values.push_back(valueOf(times));
    std::ranges::nth_element(values, values.begin() + std::ssize(values) / 2);
    return values[values.size() / 2];
}

std::string withGoal(double value, double goal) {
    char text[64];
    std::snprintf(text, sizeof text, goal == 0 ? "%.2f" : "%.2f (>= %.3g)", value, goal);
    return text;
}

void printLine(const char* operation, const char* time, const std::string& copies,
               const std::string& peer, const std::string& faster, const char* result) {
    std::printf("| %-36s | %8s | %7s | %-28s | %-19s | %-4s |\n", operation, time, copies.c_str(),
                peer.c_str(), faster.c_str(), result);
}

void printPeer(const Peer& peer, std::size_t index, const std::vector<Times>& rounds) {
    const double faster =
        medianOver(rounds, [&](const Times& times) { return times.peers[index] / times.own; });
    const char* result = faster >= peer.timesFaster ? "ok" : "MISS";
    printLine("", "", "", peer.name, withGoal(faster, peer.timesFaster),
              peer.timesFaster > 0 ? result : "");
}

void print(const Operation& operation, const std::vector<Times>& rounds) {
    const double copies =
        medianOver(rounds, [](const Times& times) { return times.own / times.copy; });
    char time[32];
    std::snprintf(time, sizeof time, "%.2f", std::ranges::min(rounds, {}, &Times::own).own);
    printLine(operation.name.c_str(), time, withGoal(copies, 0), "", "", "");
    for (std::size_t i = 0; i < operation.peers.size(); ++i)
        printPeer(operation.peers[i], i, rounds);
}

std::string processorName() {
    std::ifstream file("/proc/cpuinfo");
    for (std::string line; std::getline(file, line);)
        if (line.starts_with("model name")) return line.substr(line.find(':') + 2);
    return "unknown processor";
}

#if defined(__clang__)
#define COMPILER "clang"
#else
#define COMPILER "gcc"
#endif

/// Peers that were not installed when this program was built.
void nameMissingPeers() {
#ifndef LUMO_PEER_OPENCV
    std::printf("left out, as it was not installed: OpenCV (Debian package libopencv-dev)\n\n");
#endif
#ifndef LUMO_PEER_CIMG
    std::printf("left out, as it was not installed: CImg (Debian package cimg-dev)\n\n");
#endif
}

struct Options {
    bool tiny = false;
    int rounds = 3;
    std::string part;
};

Options parse(int count, char** arguments) {
    Options options;
    for (int i = 1; i < count; ++i) {
        if (std::strcmp(arguments[i], "--tiny") == 0)
            options.tiny = true;
        else if (std::strcmp(arguments[i], "--rounds") == 0 && i + 1 < count)
            options.rounds = std::max(1, std::atoi(arguments[++i]));
        else if (arguments[i][0] != '-')
            options.part = arguments[i];
        else {
            std::fputs("lumo_bench [--tiny] [--rounds N] [part of an operation's name]\n", stderr);
            std::exit(2);
        }
    }
    return options;
}

void run(const Options& options) {
    const int side = options.tiny ? tinySide : wholeSide;
    const int rounds = options.tiny ? 1 : options.rounds, repetitions = options.tiny ? 1 : 9;
    Suite suite(side);
    for (auto* declare : groups()) declare(suite);
    const Image from = suite.radiograph(), to = suite.scratch();
    const std::size_t bytes = std::size_t{from.width} * from.height * sizeof *from.data;
    const Work copy = [=] {
        std::memcpy(to.data, from.data, bytes);
        benchmark::ClobberMemory();
    };
    std::printf("%s; " COMPILER " %s; %d x %d pixels; minima of %d, median of %d\n\n",
                processorName().c_str(), __VERSION__, side, side, repetitions, rounds);
    nameMissingPeers();
    printLine("operation", "ms", "x copy", "peer", "times faster (goal)", "");
    printLine("---", "---:", "---:", "---", "---", "---");
    for (const Operation& operation : suite.operations()) {
        if (operation.name.find(options.part) == std::string::npos) continue;
        std::vector<Times> times;
        for (int round = 0; round < rounds; ++round)
            times.push_back(measure(operation, copy, repetitions));
        print(operation, times);
        std::fflush(stdout);
    }
}

}  // namespace

Suite::Suite(int side) : side_(side) {
    for (int i = 0; i < 2; ++i) (void)filled([](std::size_t) { return std::uint16_t{0}; });
    fillRadiograph(rasters_[0].get(), side);
}

Suite::~Suite() = default;

Image Suite::radiograph() const {
    return {static_cast<std::uint16_t>(side_), static_cast<std::uint16_t>(side_),
            rasters_[0].get()};
}

Image Suite::scratch() const {
    return {static_cast<std::uint16_t>(side_), static_cast<std::uint16_t>(side_),
            rasters_[1].get()};
}

Image Suite::filled(const std::function<std::uint16_t(std::size_t)>& valueOf) {
    const std::size_t count = static_cast<std::size_t>(side_) * static_cast<std::size_t>(side_);
    rasters_.push_back(std::make_unique<std::uint16_t[]>(count));
    std::uint16_t* pixels = rasters_.back().get();
    for (std::size_t i = 0; i < count; ++i) pixels[i] = valueOf(i);
    return {static_cast<std::uint16_t>(side_), static_cast<std::uint16_t>(side_), pixels};
}

Group::Group(void (*declare)(Suite&)) {
    groups().push_back(declare);
}

}  // namespace lumo::bench

/// No log: its lines would be timed, and left behind in the current folder.
extern "C" [[gnu::visibility("default")]] const char* lumoLogDirectory(void);
const char* lumoLogDirectory(void) {
    return "/dev/null";
}

int main(int count, char** arguments) {
    char program[] = "lumo_bench", interleaved[] = "--benchmark_enable_random_interleaving=true";
    char* settings[] = {program, interleaved, nullptr};
    int settingCount = 2;
    benchmark::Initialize(&settingCount, settings);
    lumo::bench::run(lumo::bench::parse(count, arguments));
}
