// Fitting the trend by least squares over all pixels of a region. The sums over coordinates alone
// are products of sums over rows and over columns.
#include "quality/trend.h"

#include "platform/cpu_level.h"
#include "quality/least_squares.h"

namespace lumo {
namespace {

/// Powers of x and y in each term.
constexpr int powerX[] = {0, 1, 0, 2, 1, 0}, powerY[] = {0, 0, 1, 0, 1, 2};

double scaled(int i, int count) {
    return count > 1 ? 2.0 * i / (count - 1) - 1 : 0;
}

double power(double base, int exponent) {
    double product = 1;
    for (int i = 0; i < exponent; ++i) product *= base;
    return product;
}

/// Sums over a row of the signal times 1, x and x^2, each in eight lanes that are added at the end:
/// an order that a processor can follow eight at a time.
struct RowSums {
    double sums[3] = {};
};

LUMO_INLINE void sumRowBody(const double* signal, const double* x, int count, RowSums& to) {
    constexpr int lanes = 8;
    double sums[3][lanes] = {};
    int i = 0;
    for (; i + lanes <= count; i += lanes)
        for (int lane = 0; lane < lanes; ++lane) {
            const double value = signal[i + lane], place = x[i + lane];
            sums[0][lane] += value;
            sums[1][lane] += value * place;
            sums[2][lane] += value * (place * place);
        }
    for (int lane = 0; i < count; ++i, ++lane) {
        sums[0][lane] += signal[i];
        sums[1][lane] += signal[i] * x[i];
        sums[2][lane] += signal[i] * (x[i] * x[i]);
    }
    for (int term = 0; term < 3; ++term)
        for (const double sum : sums[term]) to.sums[term] += sum;
}
LUMO_LEVELS(void, sumRow, sumRowBody,
            (const double* signal, const double* x, int count, RowSums& to), (signal, x, count, to))

LUMO_INLINE void subtractBody(const double* signal, const double* x, int count, double a, double b,
                              double c, float* to) {
    for (int i = 0; i < count; ++i)
        to[i] = static_cast<float>(signal[i] - (a + x[i] * (b + x[i] * c)));
}
LUMO_LEVELS(void, subtractParabola, subtractBody,
            (const double* signal, const double* x, int count, double a, double b, double c,
             float* to),
            (signal, x, count, a, b, c, to))

}  // namespace

Trend::Trend(const Signal& signal, const Roi& region, bool meanAlone)
    : width_(region.x2 - region.x1 + 1), height_(region.y2 - region.y1 + 1) {
    for (int i = 0; i < width_; ++i) columns_.push_back(scaled(i, width_));
    std::vector<double> values(columns_.size());
    std::array<double, 6> moments{};
    for (int row = 0; row < height_; ++row) {
        signal.read({region.x1, region.y1 + row, width_}, values.data());
        RowSums sums;
        sumRow(values.data(), columns_.data(), width_, sums);
        for (std::size_t i = 0; i < moments.size(); ++i)
            moments[i] += sums.sums[powerX[i]] * power(scaled(row, height_), powerY[i]);
    }
    sum_ = moments[0];
    if (meanAlone)
        factors_[0] = sum_ / (static_cast<double>(width_) * height_);
    else
        fit(moments);
}

void Trend::fit(const std::array<double, 6>& moments) {
    double powersX[5] = {}, powersY[5] = {};  // sums of powers 0 to 4
    for (int p = 0; p < 5; ++p) {
        for (int i = 0; i < width_; ++i) powersX[p] += power(scaled(i, width_), p);
        for (int i = 0; i < height_; ++i) powersY[p] += power(scaled(i, height_), p);
    }
    LeastSquares<6> squares;
    for (std::size_t i = 0; i < moments.size(); ++i) {
        for (std::size_t j = 0; j < moments.size(); ++j)
            squares.set(i, j, powersX[powerX[i] + powerX[j]] * powersY[powerY[i] + powerY[j]]);
        squares.set(i, moments.size(), moments[i]);
    }
    factors_ = squares.solve();
}

std::array<double, 3> Trend::along(int row) const {
    const double y = scaled(row, height_);
    return {factors_[0] + y * (factors_[2] + y * factors_[5]), factors_[1] + y * factors_[4],
            factors_[3]};
}

void Trend::subtract(const double* signal, int row, float* to) const {
    const auto [a, b, c] = along(row);
    subtractParabola(signal, columns_.data(), width_, a, b, c, to);
}

}  // namespace lumo
