// Least squares with a few terms, by normal equations.
#pragma once

#include <array>
#include <cmath>
#include <cstddef>
#include <utility>

namespace lumo {

template <std::size_t terms>
class LeastSquares {
public:
    using Terms = std::array<double, terms>;

    void add(const Terms& term, double value) {
        for (std::size_t i = 0; i < terms; ++i) {
            for (std::size_t j = 0; j < terms; ++j) matrix_[i][j] += term[i] * term[j];
            matrix_[i][terms] += term[i] * value;
        }
    }
    /// Enters sums that were made elsewhere.
    void set(std::size_t row, std::size_t column, double sum) { matrix_[row][column] = sum; }

    /// The factors of the terms, by elimination; all 0 if the values do not determine them.
    [[nodiscard]] Terms solve() const {
        auto m = matrix_;
        Terms factors{};
        for (std::size_t k = 0; k < terms; ++k) {
            std::size_t pivot = k;
            for (std::size_t i = k + 1; i < terms; ++i)
                if (std::abs(m[i][k]) > std::abs(m[pivot][k])) pivot = i;
            if (!(std::abs(m[pivot][k]) > 0)) return factors;
            std::swap(m[k], m[pivot]);
            for (std::size_t i = k + 1; i < terms; ++i) {
                const double factor = m[i][k] / m[k][k];
                for (std::size_t j = k; j <= terms; ++j) m[i][j] -= factor * m[k][j];
            }
        }
        for (std::size_t k = terms; k-- > 0;) {
            double rest = m[k][terms];
            for (std::size_t j = k + 1; j < terms; ++j) rest -= m[k][j] * factors[j];
            factors[k] = rest / m[k][k];
        }
        return factors;
    }

private:
    std::array<std::array<double, terms + 1>, terms> matrix_{};
};

/// c0 + c1 x + c2 x^2
using Parabola = std::array<double, 3>;

[[nodiscard]] inline double valueAt(const Parabola& parabola, double x) {
    return parabola[0] + x * (parabola[1] + x * parabola[2]);
}

}  // namespace lumo
