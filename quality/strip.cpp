// The pixels along a line: which they are, their profile, and the turn that makes it sharpest.
#include "quality/strip.h"

#include <algorithm>
#include <cmath>

#include "quality/bins.h"
#include "quality/record.h"

namespace lumo {
namespace {

/// Narrows x so that least <= begin + step * x <= most.
void narrow(double begin, double step, double least, double most, double& first, double& last) {
    if (std::abs(step) < 1e-12) {
        if (begin < least || begin > most) last = first - 1;
        return;
    }
    const auto [low, high] = std::minmax({(least - begin) / step, (most - begin) / step});
    first = std::max(first, low);
    last = std::min(last, high);
}

Bins binsOf(const Image& image, const Signal& signal, const Strip& strip, double bin) {
    const auto size = static_cast<std::size_t>(std::max(strip.length / bin, 1.0));
    Bins bins(size);
    std::vector<double> row(image.width);
    const double step = strip.placePerColumn();
    for (const Run& run : strip.runs(image)) {
        signal.read(run, row.data());
        const double begin = strip.placeOfRow(run.y);
        for (int i = 0; i < run.count; ++i) {
            const double place = begin + step * (run.x + i);
            const auto at = static_cast<std::size_t>(std::max(place / bin, 0.0));
            if (at < size) bins.add(at, place, row[static_cast<std::size_t>(i)]);
        }
    }
    return bins;
}

/// How much the means of the bins vary.
double variation(const Image& image, const Signal& signal, const Strip& strip, double bin) {
    const Bins bins = binsOf(image, signal, strip, bin);
    double count = 0, sum = 0, squares = 0;
    for (std::size_t i = 0; i < bins.sums.size(); ++i) {
        if (bins.counts[i] == 0) continue;
        const double mean = bins.sums[i] / bins.counts[i];
        count += 1;
        sum += mean;
        squares += mean * mean;
    }
    return count > 0 ? squares / count - sum / count * (sum / count) : 0;
}

}  // namespace

Strip Strip::turnedTo(double newAngle) const {
    Strip turned = *this;
    turned.angle = newAngle;
    return turned;
}

bool Strip::isInside(const Image& image) const {
    const double c = std::cos(angle), s = std::sin(angle);
    for (const double u : {-length / 2, length / 2})
        for (const double v : {-width / 2, width / 2}) {
            const double column = (x + u * c - v * s) / pitch.x;
            const double row = (y + u * s + v * c) / pitch.y;
            if (column < -0.5 || column > image.width - 0.5 || row < -0.5 ||
                row > image.height - 0.5)
                return false;
        }
    return true;
}

double Strip::placeOfRow(int row) const {
    return length / 2 - x * std::cos(angle) + (row * pitch.y - y) * std::sin(angle);
}

double Strip::placePerColumn() const {
    return pitch.x * std::cos(angle);
}

std::vector<Run> Strip::runs(const Image& image) const {
    const double c = std::cos(angle), s = std::sin(angle);
    std::vector<Run> runs;
    for (int row = 0; row < image.height; ++row) {
        double first = 0, last = image.width - 1;
        narrow(placeOfRow(row), placePerColumn(), 0, length, first, last);
        const double across = x * s + (row * pitch.y - y) * c;
        narrow(across, -pitch.x * s, -width / 2, width / 2, first, last);
        if (last < first) continue;
        const int begin = static_cast<int>(std::ceil(first));
        const int end = static_cast<int>(std::floor(last)) + 1;
        if (end > begin) runs.push_back({begin, row, end - begin});
    }
    return runs;
}

double Strip::offGrid() const {
    return angle - std::round(angle / (90 * degree)) * (90 * degree);
}

double Strip::pitchAlong() const {
    return std::abs(std::cos(angle)) > std::abs(std::sin(angle)) ? pitch.x : pitch.y;
}

double Strip::pitchAcross() const {
    return std::abs(std::cos(angle)) > std::abs(std::sin(angle)) ? pitch.y : pitch.x;
}

Profile profileOf(const Image& image, const Signal& signal, const Strip& strip, double bin) {
    return {bin, binsOf(image, signal, strip, bin).atMiddles(bin)};
}

Strip straightened(const Image& image, const Signal& signal, const Strip& strip) {
    Strip best = strip;
    const auto search = [&](int steps, double step, double pixelsPerBin) {
        const double middle = best.angle, bin = strip.pitchAlong() * pixelsPerBin;
        double most = -1;
        for (int i = -steps; i <= steps; ++i) {
            const Strip turned = strip.turnedTo(middle + i * step);
            const double found = variation(image, signal, turned, bin);
            if (found <= most) continue;
            most = found;
            best = turned;
        }
    };
    search(6, degree, 1);
    search(9, 0.1 * degree, 1);
    if (std::abs(best.offGrid()) < leastTilt) return best;
    search(10, 0.1 * degree, 0.25);
    search(9, 0.01 * degree, 0.25);
    return best;
}

}  // namespace lumo
