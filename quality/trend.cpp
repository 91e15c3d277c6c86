// Fitting the trend by least squares over all pixels of a region. The sums over coordinates alone
// are products of sums over rows and over columns.
#include "quality/trend.h"

#include "platform/vectors.h"
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

/// Eight values as numbers in double precision; grey values by way of whole numbers of 32 bits, for
/// which there are instructions.
template <class To, class From>
LUMO_INLINE void toDouble(To& to, const From& from) {
    Vector<std::int32_t, sizeof to / 2> whole;
    if constexpr (sizeof from < sizeof whole) {
        convert(whole, from);
        convert(to, whole);
    } else {
        to = from;
    }
}

/// Sums over a row of the signal times 1, x and x^2, each in eight lanes that are added at the end:
/// an order that a processor can follow eight at a time.
struct RowSums {
    double sums[3] = {};
};

template <class Value>
LUMO_INLINE void sumRowBody(const Value* signal, double offset, const double* x, int count,
                            RowSums& to) {
    constexpr int lanes = 8;
    using Lanes = Vector<double, lanes * sizeof(double)>;
    Lanes sums[3] = {}, value{}, place{};
    Vector<Value, lanes * sizeof(Value)> some;
    int i = 0;
    for (; i + lanes <= count; i += lanes) {
        load(some, signal + i);
        load(place, x + i);
        toDouble(value, some);
        value -= offset;
        sums[0] += value;
        sums[1] += value * place;
        sums[2] += value * (place * place);
    }
    for (int lane = 0; i < count; ++i, ++lane) {
        const double last = signal[i] - offset;
        sums[0][lane] += last;
        sums[1][lane] += last * x[i];
        sums[2][lane] += last * (x[i] * x[i]);
    }
    for (int term = 0; term < 3; ++term)
        for (int lane = 0; lane < lanes; ++lane) to.sums[term] += sums[term][lane];
}
LUMO_LEVELS(void, sumTrendOfPixels, sumRowBody,
            (const std::uint16_t* pixels, double offset, const double* x, int count, RowSums& to),
            (pixels, offset, x, count, to))
LUMO_LEVELS(void, sumTrendOfSignal, sumRowBody,
            (const double* signal, double offset, const double* x, int count, RowSums& to),
            (signal, offset, x, count, to))

template <class Value>
LUMO_INLINE void subtractBody(const Value* signal, double offset, const double* x, int count,
                              const std::array<double, 3>& parabola, float* to) {
    const double a = parabola[0], b = parabola[1], c = parabola[2];
    for (int i = 0; i < count; ++i)
        to[i] = static_cast<float>(signal[i] - offset - (a + x[i] * (b + x[i] * c)));
}
LUMO_LEVELS(void, detrendPixels, subtractBody,
            (const std::uint16_t* pixels, double offset, const double* x, int count,
             const std::array<double, 3>& parabola, float* to),
            (pixels, offset, x, count, parabola, to))
LUMO_LEVELS(void, detrendSignal, subtractBody,
            (const double* signal, double offset, const double* x, int count,
             const std::array<double, 3>& parabola, float* to),
            (signal, offset, x, count, parabola, to))

}  // namespace

Trend::Trend(const Signal& signal, const Roi& region, bool meanAlone, Extremes& extremes)
    : signal_(signal),
      region_(region),
      width_(region.x2 - region.x1 + 1),
      height_(region.y2 - region.y1 + 1),
      values_(static_cast<std::size_t>(width_)) {
    for (int i = 0; i < width_; ++i) columns_.push_back(scaled(i, width_));
    std::array<double, 6> moments{};
    for (int row = 0; row < height_; ++row) {
        RowSums sums;
        if (signal.isShift()) {
            sumTrendOfPixels(signal.pixels(runOf(row)), signal.offset(), columns_.data(), width_,
                             sums);
        } else {
            signal.read(runOf(row), values_.data());
            sumTrendOfSignal(values_.data(), 0, columns_.data(), width_, sums);
        }
        extremes.look(region.y1 + row);
        for (std::size_t i = 0; i < moments.size(); ++i)
            moments[i] += sums.sums[powerX[i]] * power(scaled(row, height_), powerY[i]);
    }
    sum_ = moments[0];
    if (meanAlone)
        factors_[0] = sum_ / (static_cast<double>(width_) * height_);
    else
        fit(moments);
}

Run Trend::runOf(int row) const {
    return {region_.x1, region_.y1 + row, width_};
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

void Trend::subtract(int row, float* to) {
    const Run run = runOf(row);
    if (signal_.isShift())
        return detrendPixels(signal_.pixels(run), signal_.offset(), columns_.data(), width_,
                             along(row), to);
    signal_.read(run, values_.data());
    detrendSignal(values_.data(), 0, columns_.data(), width_, along(row), to);
}

}  // namespace lumo
