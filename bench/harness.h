// What the benchmarks share: declaring operations with their peers and goals, the test raster, and
// the table that compares minima of interleaved runs. Goals are set beside peers, which do the same
// on the same machine at the same time; beside a copy of the raster times are only shown, as the
// speed of memory is that of the hour.
//
//     static const Group group([](Suite& suite) {
//         const Image image = suite.radiograph(), scratch = suite.scratch();
//         suite.add({"invert", [=] { Invert_Image(image, scratch); }, cvInvert(image,
//         scratch, 1.3)});
//     });
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "lumo_legacy.h"

namespace lumo::bench {

using Work = std::function<void()>;

/// Another way to do the same, and what is asked of ours beside it.
struct Peer {
    std::string name;
    Work run;
    /// Ours is at least so many times as fast; 0: shown only.
    double timesFaster = 0;
};

/// The goal to take at most so many times as long as the peer.
constexpr double within(double times) {
    return 1 / times;
}

struct Operation {
    std::string name;
    Work own;
    std::vector<Peer> peers = {};
    /// Runs untimed before each timed call of ours, say to refill a raster that is changed in
    /// place.
    Work prepare = {};
};

/// What a bench file hands over, and the rasters that it may use while the benchmarks run.
class Suite {
public:
    /// A suite of square rasters with this side.
    explicit Suite(int side);
    ~Suite();
    Suite(const Suite&) = delete;
    Suite& operator=(const Suite&) = delete;

    void add(Operation operation) { operations_.push_back(std::move(operation)); }

    /// A radiograph: smooth fields with edges, quantum noise and a dark rim. Not to be changed.
    [[nodiscard]] Image radiograph() const;
    /// A raster of the same size that any operation may write to.
    [[nodiscard]] Image scratch() const;
    /// Another raster of the same size, filled by the given function of the pixel's number.
    [[nodiscard]] Image filled(const std::function<std::uint16_t(std::size_t)>& valueOf);
    /// A length on a raster of 3072 pixels, scaled to the suite's own.
    [[nodiscard]] int scaled(int length) const { return length * side_ / 3072; }

    [[nodiscard]] const std::vector<Operation>& operations() const { return operations_; }

private:
    int side_;
    std::vector<std::unique_ptr<std::uint16_t[]>> rasters_;
    std::vector<Operation> operations_;
};

/// Registers a function that declares operations; objects of this type are static.
class Group {
public:
    explicit Group(void (*declare)(Suite&));
};

}  // namespace lumo::bench
