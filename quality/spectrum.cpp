// Transforms of regions, the sum of their powers, cuts through it.
#include "quality/spectrum.h"

#include <algorithm>
#include <cmath>

#include "platform/cpu_level.h"
#include "quality/record.h"

namespace lumo {
namespace {

constexpr int lines = 7;        ///< beside an axis
constexpr int besideLines = 3;  ///< that tell what an axis would hold without rows or columns
constexpr int firstShared = 8;  ///< index from which the trend takes nothing away

/// In single precision, as the transform is.
LUMO_INLINE double powerOf(const float* coefficient) {
    return static_cast<double>(coefficient[0] * coefficient[0] + coefficient[1] * coefficient[1]);
}
LUMO_INLINE void addPowersBody(const float* row, int count, double* sums) {
    for (int i = 0; i < count; ++i) sums[i] += powerOf(row + 2 * i);
}
/// The same of two rows.
LUMO_INLINE void addPowers2Body(const float* row, const float* mirrored, int count, double* sums) {
    for (int i = 0; i < count; ++i) sums[i] += powerOf(row + 2 * i) + powerOf(mirrored + 2 * i);
}
LUMO_LEVELS(void, addPowers, addPowersBody, (const float* row, int count, double* sums),
            (row, count, sums))
LUMO_LEVELS(void, addMirroredPowers, addPowers2Body,
            (const float* row, const float* mirrored, int count, double* sums),
            (row, mirrored, count, sums))

/// Power that an axis has above its neighbours, summed over the frequencies along it.
/// @param above  of an index along the axis
template <class Above>
double sharedDeviation(const Spectrum& spectrum, Above above) {
    double sum = 0;
    for (int k = firstShared; k <= regionSide / 2; ++k)
        sum += (k < regionSide / 2 ? 2 : 1) * above(k);
    // The indices left out hold as much as the others.
    const double used = regionSide - (2 * firstShared - 1);
    const double perIndex = spectrum.scale / (regionSide * spectrum.pitch.x) /
                            (regionSide * spectrum.pitch.y) * regionSide / used;
    return std::sqrt(std::max(sum * perIndex, 0.0));
}

/// A cut's sums by distance from the origin.
struct Cut {
    std::vector<double> sums = std::vector<double>(PowerPlane::columns);
    std::vector<double> counts = std::vector<double>(PowerPlane::columns);

    void add(double distance, double power) {
        const auto bin = static_cast<std::size_t>(std::lround(distance));
        if (bin >= sums.size()) return;
        sums[bin] += power;
        counts[bin] += 1;
    }
    [[nodiscard]] double mean(std::size_t i) const {
        return counts[i] > 0 ? sums[i] / counts[i] : missing;
    }
};

}  // namespace

PowerPlane::PowerPlane() : sums_(std::size_t{columns} * columns) {
    constexpr std::size_t floats = std::size_t{regionSide} * columns * 2;
    buffer_.reset(static_cast<float*>(fftwf_malloc(floats * sizeof(float))));
    if (buffer_ == nullptr) raise(LumoErrorMemory);
    {
        const std::lock_guard planning(forkSafeLock());
        Init_FftPlanner();
        plan_.reset(fftwf_plan_dft_r2c_2d(regionSide, regionSide, buffer_.get(),
                                          reinterpret_cast<fftwf_complex*>(buffer_.get()),
                                          FFTW_ESTIMATE));
    }
    if (plan_ == nullptr) raise(LumoErrorMemory);
}

void PowerPlane::add(const float* upper, const float* lower, std::size_t stride) {
    float* to = buffer_.get();
    for (const float* half : {upper, lower})
        for (std::size_t y = 0; y < regionStep; ++y, to += 2 * columns)
            std::copy_n(half + y * stride, regionSide, to);
    fftwf_execute(plan_.get());
    const auto rowAt = [this](int v) { return buffer_.get() + std::ptrdiff_t{v} * 2 * columns; };
    for (int v = 0; v < columns; ++v) {
        double* sums = sums_.data() + std::ptrdiff_t{v} * columns;
        if (v == 0 || v == regionSide / 2)
            addPowers(rowAt(v), columns, sums);
        else
            addMirroredPowers(rowAt(v), rowAt(regionSide - v), columns, sums);
    }
}

double PowerPlane::total() const {
    const auto signs = [](int index) { return index > 0 && index < regionSide / 2 ? 2 : 1; };
    double total = 0;
    for (int v = 0; v < columns; ++v)
        for (int u = 0; u < columns; ++u) total += signs(u) * signs(v) * at(u, v);
    return total;
}

std::vector<LumoNpsPoint> cutsOf(const Spectrum& spectrum, double mean) {
    const PowerPlane& plane = spectrum.plane;
    // Distances count in indices along the cut: the other axis has another pitch.
    const double vInU = spectrum.pitch.x / spectrum.pitch.y, uInV = 1 / vInU;
    Cut x, y;
    for (int line = 1; line <= lines; ++line)
        for (int k = 1; k < PowerPlane::columns; ++k) {
            x.add(std::hypot(k, line * vInU), plane.at(k, line));
            y.add(std::hypot(line * uInV, k), plane.at(line, k));
        }
    std::vector<LumoNpsPoint> points;
    const double normal = mean > 0 ? 1 / (mean * mean) : missing;
    for (std::size_t k = 0; k < x.sums.size(); ++k) {
        const double npsX = x.mean(k) * spectrum.scale, npsY = y.mean(k) * spectrum.scale;
        const double index = static_cast<double>(k) / regionSide;
        points.push_back({index / spectrum.pitch.x, npsX, npsX * normal, index / spectrum.pitch.y,
                          npsY, npsY * normal});
    }
    points[0].npsX = points[0].npsY = points[0].nnpsX = points[0].nnpsY = missing;
    return points;
}

double rowDeviation(const Spectrum& spectrum) {
    return sharedDeviation(spectrum, [&](int v) {
        double beside = 0;
        for (int u = 1; u <= besideLines; ++u) beside += spectrum.plane.at(u, v);
        return spectrum.plane.at(0, v) - beside / besideLines;
    });
}

double columnDeviation(const Spectrum& spectrum) {
    return sharedDeviation(spectrum, [&](int u) {
        double beside = 0;
        for (int v = 1; v <= besideLines; ++v) beside += spectrum.plane.at(u, v);
        return spectrum.plane.at(u, 0) - beside / besideLines;
    });
}

}  // namespace lumo
