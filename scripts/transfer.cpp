// The band filter's transfer function and its multiplication onto the spectrum.
//
// The factor is defined in double and rounded to single precision. It is computed a faster way,
// with tables of gaussians per row and per column and a vector exponential, beside a bound of the
// difference to the definition; where the bound leaves open which way the definition rounds, the
// definition itself is evaluated. So every factor is the defined one, at every level,
// but for the sign of a zero.
#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <vector>

#include "platform/prefetch.h"
#include "platform/vectors.h"
#include "scripts/band_filter.h"

namespace lumo {
namespace {

double gaussian(double x, double centre, double sigma) {
    const double z = (x - centre) / sigma;
    return std::exp(-0.5 * (z * z));
}

/// The factor at frequency f, as it is defined.
float definedFactor(const BandParameters& p, double f) {
    const double low = p.al0 + (p.al1 - p.al0) * gaussian(f, 0.0, p.ftp);
    const double high = p.ah0 + (p.ah1 - p.ah0) * (1.0 - gaussian(f, 0.0, p.fhp));
    const double band = p.ab0 + (p.ab1 - p.ab0) * gaussian(f, p.fbp0, p.fbp / 2.0);
    return static_cast<float>(low * high * band);
}

constexpr double roundOff = 0x1p-53;
constexpr double smallest = 0x1p-1020;  ///< covers what is lost below the normal numbers
constexpr int blockLength = 256;

/// Approximate factors of neighbouring coefficients; the sizes of the approximation and of its
/// error add up to the limit at most.
struct Block {
    std::array<double, blockLength> factor, limit, squared;
    std::array<float, blockLength> rounded;
};

/// A gaussian g = exp(-x) enters the factor as base + slope * g.
struct Term {
    double base, slope;
    /// What sums of numbers of this size lose: 16 roundings and what lies below normal numbers.
    double loss;

    Term(double base_, double slope_, double size)
        : base(base_), slope(slope_), loss(16.0 * roundOff * size + std::abs(slope_) * smallest) {}
};

/// The exponent's relative error is below 16 roundings on either way, which changes g by at most
/// 16 x g roundings; the products add less than 16 g, the exponential its own error.
LUMO_INLINE void multiply(const Term& term, double g, double x, double exponentialsError,
                          double& factor, double& limit) {
    const double value = term.base + term.slope * g;
    const double error =
        term.loss + std::abs(term.slope) * g * (16.0 * roundOff * (1.0 + x) + exponentialsError);
    factor *= value;
    limit *= std::abs(value) + error;
}

/// Of the exponential below. Smaller ones cost more than they save: at this size one factor of ten
/// thousands stays open.
constexpr double exponentialError = 0x1p-41;

/// a * b + c, rounded once where the level has an instruction for it.
template <int bytes>
LUMO_INLINE double multiplyAdd(double a, double b, double c) {
    if constexpr (bytes == baselineBytes)
        return a * b + c;
    else
        return std::fma(a, b, c);
}

/// exp(-x) for x >= 0, at least exp(-708). The series leaves out less than |r|^11 / 11! of at least
/// 2^-0.5, where |r| is at most ln 2 / 2.
template <int bytes>
LUMO_INLINE double exponential(double x) {
    constexpr double log2e = 1.4426950408889634, ln2High = 0x1.62e42fefa0000p-1,
                     ln2Low = 0x1.cf79abc9e3b3ap-40, shifter = 0x1.8p52;
    const double argument = x < 708.0 ? -x : -708.0;
    // The whole power of two in the low bits.
    const double shifted = multiplyAdd<bytes>(argument, log2e, shifter);
    const double power = shifted - shifter;
    const double r =
        multiplyAdd<bytes>(power, -ln2Low, multiplyAdd<bytes>(power, -ln2High, argument));
    constexpr double terms[] = {
        1.0 / 3628800.0, 1.0 / 362880.0, 1.0 / 40320.0, 1.0 / 5040.0, 1.0 / 720.0, 1.0 / 120.0,
        1.0 / 24.0,      1.0 / 6.0,      0.5,           1.0,          1.0};
    double p = terms[0];
#pragma GCC unroll 10
    for (int i = 1; i < 11; ++i) p = multiplyAdd<bytes>(p, r, terms[i]);
    return std::bit_cast<double>(std::bit_cast<std::uint64_t>(p) +
                                 (std::bit_cast<std::uint64_t>(shifted) << 52));
}

/// Gaussians around 0 are products of one that depends on the row and one on the column; so are
/// their exponents sums.
struct Separable {
    std::vector<double> gaussians, exponents;  ///< per column
    Term term;
    double sigma;

    Separable(Term term_, double sigma_, double step, int first, int end)
        : term(term_), sigma(sigma_) {
        if (term.slope == 0.0) return;
        for (int j = first; j < end; ++j) {
            exponents.push_back(exponentAt(j * step));
            gaussians.push_back(std::exp(-exponents.back()));
        }
    }
    [[nodiscard]] double exponentAt(double f) const { return 0.5 * (f / sigma) * (f / sigma); }
};

LUMO_INLINE void multiplySeparableBody(const double* gaussians, const double* exponents,
                                       const Term& term, double rowGaussian, double rowExponent,
                                       int count, Block& block) {
    const Term kept = term;
    for (int k = 0; k < count; ++k)
        multiply(kept, gaussians[k] * rowGaussian, exponents[k] + rowExponent, 0.0,
                 block.factor[static_cast<std::size_t>(k)],
                 block.limit[static_cast<std::size_t>(k)]);
}
LUMO_LEVELS(void, multiplySeparable, multiplySeparableBody,
            (const double* gaussians, const double* exponents, const Term& term, double rowGaussian,
             double rowExponent, int count, Block& block),
            (gaussians, exponents, term, rowGaussian, rowExponent, count, block))

/// The band term, whose centre is not 0.
template <int bytes>
LUMO_INLINE void multiplyBandBody(const Term& term, double centre, double sigma, int count,
                                  Block& block) {
    const Term kept = term;
    const double inverse = 1.0 / sigma;
    for (std::size_t k = 0; k < static_cast<std::size_t>(count); ++k) {
        const double z = (std::sqrt(block.squared[k]) - centre) * inverse;
        const double x = 0.5 * (z * z);
        multiply(kept, exponential<bytes>(x), x, exponentialError, block.factor[k], block.limit[k]);
    }
}
LUMO_LEVELS(void, multiplyBand, multiplyBandBody<bytes>,
            (const Term& term, double centre, double sigma, int count, Block& block),
            (term, centre, sigma, count, block))

/// How far the defined factor may lie from the approximate one.
LUMO_INLINE double errorOf(double factor, double limit) {
    return (limit - std::abs(factor)) + 16.0 * roundOff * limit;
}

/// Rounds the factors; false if one of them may round otherwise than the defined one.
LUMO_INLINE bool roundFactorsBody(int count, Block& block) {
    int open = 0;
    for (std::size_t k = 0; k < static_cast<std::size_t>(count); ++k) {
        const double error = errorOf(block.factor[k], block.limit[k]);
        const auto below = static_cast<float>(block.factor[k] - error);
        const auto above = static_cast<float>(block.factor[k] + error);
        open |= below == above ? 0 : 1;  // NaN stays open
        block.rounded[k] = above;
    }
    return open == 0;
}
LUMO_LEVELS(bool, roundFactors, roundFactorsBody, (int count, Block& block), (count, block))

LUMO_INLINE void squareFrequenciesBody(double fx, int first, double step, int count, Block& block) {
    for (int k = 0; k < count; ++k) {
        const double fy = (first + k) * step;
        block.squared[static_cast<std::size_t>(k)] = fx * fx + fy * fy;
    }
}
LUMO_LEVELS(void, squareFrequencies, squareFrequenciesBody,
            (double fx, int first, double step, int count, Block& block),
            (fx, first, step, count, block))

LUMO_INLINE void scaleRowBody(float* coefficients, const float* factors, int count) {
    constexpr int line = 16;  // floats
    for (int i = 0; i < 2 * count; i += line) prefetchAhead(coefficients + i);
    for (int k = 0; k < count; ++k) {
        coefficients[2 * k] *= factors[k];
        coefficients[2 * k + 1] *= factors[k];
    }
}
LUMO_LEVELS(void, scaleRow, scaleRowBody, (float* coefficients, const float* factors, int count),
            (coefficients, factors, count))

/// Cycles per millimetre from one coefficient to the next.
double frequencyStep(int pitch, int length) {
    return 1.0 / (pitch * 1e-6 * length);
}

/// The factors of one worker's columns.
class Factors {
public:
    explicit Factors(const FreqFilterJob& job)
        : job_(job),
          stepX_(frequencyStep(job.pixelsizeX, job.layout.paddedWidth)),
          stepY_(frequencyStep(job.pixelsizeY, job.layout.paddedHeight)),
          low_({p().al0, p().al1 - p().al0, std::abs(p().al0)}, p().ftp, stepY_, job.first,
               job.end),
          // 1 - g enters the high-pass term: its base is ah1, and the definition's difference and
          // sum lose more than ours.
          high_({p().ah1, p().ah0 - p().ah1, std::abs(p().ah0) + 2.0 * std::abs(p().ah1)}, p().fhp,
                stepY_, job.first, job.end),
          band_(p().ab0, p().ab1 - p().ab0, std::abs(p().ab0)) {
        for (const Term* term : {&low_.term, &high_.term, &band_})
            moderate_ &= std::abs(term->base) + std::abs(term->slope) <= 1e100;
    }

    /// Of row i and the columns first .. first + count - 1, at most a block of them.
    const float* of(int i, int first, int count) {
        const double fx = i * stepX_;
        squareFrequencies(fx, first, stepY_, count, block_);
        if (!moderate_) {
            defineAll(count);
            return block_.rounded.data();
        }
        double constant = 1.0;
        for (const Term* term : {&low_.term, &high_.term, &band_})
            if (term->slope == 0.0) constant *= term->base;
        std::fill_n(block_.factor.begin(), count, constant);
        std::fill_n(block_.limit.begin(), count, std::abs(constant));
        for (const Separable* factor : {&low_, &high_}) {
            if (factor->term.slope == 0.0) continue;
            const double exponent = factor->exponentAt(fx);
            const auto at = static_cast<std::size_t>(first - job_.first);
            multiplySeparable(&factor->gaussians[at], &factor->exponents[at], factor->term,
                              std::exp(-exponent), exponent, count, block_);
        }
        if (band_.slope != 0.0) multiplyBand(band_, p().fbp0, p().fbp / 2.0, count, block_);
        if (!roundFactors(count, block_)) define(count);
        return block_.rounded.data();
    }

private:
    [[nodiscard]] const BandParameters& p() const { return job_.parameters; }

    void defineAll(int count) {
        for (std::size_t k = 0; k < static_cast<std::size_t>(count); ++k)
            block_.rounded[k] = definedFactor(p(), std::sqrt(block_.squared[k]));
    }

    /// Replaces the factors that are open by the defined ones.
    void define(int count) {
        for (std::size_t k = 0; k < static_cast<std::size_t>(count); ++k) {
            const double error = errorOf(block_.factor[k], block_.limit[k]);
            if (static_cast<float>(block_.factor[k] - error) !=
                static_cast<float>(block_.factor[k] + error))
                block_.rounded[k] = definedFactor(p(), std::sqrt(block_.squared[k]));
        }
    }

    const FreqFilterJob& job_;
    double stepX_, stepY_;
    Separable low_, high_;
    Term band_;
    /// No product of two terms overflows, and what it loses below the normal numbers does not show:
    /// they may be multiplied in any order.
    bool moderate_ = true;
    Block block_;
};

}  // namespace

void Filter_FreqColumns(const FreqFilterJob& job) {
    const FftLayout& layout = job.layout;
    Factors factors(job);
    for (int i = 0; i <= layout.paddedWidth / 2; ++i) {
        // Frequencies of either sign share their factors.
        const int mirrored = layout.paddedWidth - i;
        for (int first = job.first; first < job.end; first += blockLength) {
            const int count = std::min(blockLength, job.end - first);
            const float* row = factors.of(i, first, count);
            scaleRow(layout.row(job.buffer, i) + std::ptrdiff_t{2} * first, row, count);
            if (mirrored > layout.paddedWidth / 2 && mirrored < layout.paddedWidth)
                scaleRow(layout.row(job.buffer, mirrored) + std::ptrdiff_t{2} * first, row, count);
        }
    }
}

}  // namespace lumo
