// Means of bins at the bins' middles.
#include "quality/bins.h"

namespace lumo {

Bins& Bins::operator+=(const Bins& other) {
    for (std::size_t i = 0; i < sums.size(); ++i) {
        sums[i] += other.sums[i];
        places[i] += other.places[i];
        counts[i] += other.counts[i];
    }
    return *this;
}

std::vector<double> Bins::atMiddles(double width) const {
    std::vector<double> at, means, values(sums.size());
    for (std::size_t i = 0; i < sums.size(); ++i) {
        if (counts[i] == 0) continue;
        at.push_back(places[i] / counts[i]);
        means.push_back(sums[i] / counts[i]);
    }
    if (at.empty()) return values;
    std::size_t next = 0;
    for (std::size_t i = 0; i < values.size(); ++i) {
        const double middle = (static_cast<double>(i) + 0.5) * width;
        while (next < at.size() && at[next] < middle) ++next;
        if (next == 0 || next == at.size()) {
            values[i] = next == 0 ? means.front() : means.back();
            continue;
        }
        const double part = (middle - at[next - 1]) / (at[next] - at[next - 1]);
        values[i] = means[next - 1] + part * (means[next] - means[next - 1]);
    }
    return values;
}

}  // namespace lumo
