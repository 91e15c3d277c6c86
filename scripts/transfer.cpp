// The band filter's transfer function and its multiplication onto the spectrum.
// The formulas keep the written order of operations.
#include <cmath>

#include "scripts/band_filter.h"

namespace lumo {
namespace {

double gaussian(double x, double centre, double sigma) {
    const double z = (x - centre) / sigma;
    return std::exp(-0.5 * (z * z));
}

/// The factor at frequency f, as it is defined.
float transferFactor(const BandParameters& p, double f) {
    const double low = p.al0 + (p.al1 - p.al0) * gaussian(f, 0.0, p.ftp);
    const double high = p.ah0 + (p.ah1 - p.ah0) * (1.0 - gaussian(f, 0.0, p.fhp));
    const double band = p.ab0 + (p.ab1 - p.ab0) * gaussian(f, p.fbp0, p.fbp / 2.0);
    return static_cast<float>(low * high * band);
}

/// Cycles per millimetre from one coefficient to the next.
double frequencyStep(int pitch, int length) {
    return 1.0 / (pitch * 1e-6 * length);
}

}  // namespace

void Filter_FreqColumns(const FreqFilterJob& job) {
    const FftLayout& layout = job.layout;
    const double stepX = frequencyStep(job.pixelsizeX, layout.paddedWidth);
    const double stepY = frequencyStep(job.pixelsizeY, layout.paddedHeight);
    for (int i = 0; i < layout.paddedWidth; ++i) {
        const int kx = i <= layout.paddedWidth / 2 ? i : i - layout.paddedWidth;
        float* row = layout.row(job.buffer, i);
        for (int j = job.first; j < job.end; ++j) {
            const double fx = kx * stepX, fy = j * stepY;
            const float factor = transferFactor(job.parameters, std::sqrt(fx * fx + fy * fy));
            row[2 * j] *= factor;
            row[2 * j + 1] *= factor;
        }
    }
}

}  // namespace lumo
