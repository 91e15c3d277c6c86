// The band filter beside FFTW alone and beside its spectrum loop as it is defined.
#include <fftw3.h>
#include <sched.h>

#include <cmath>
#include <memory>

#include "harness.h"
#include "scripts/band_filter.h"

namespace {

using lumo::bench::Suite;
using lumo::bench::Work;

struct FftwFree {
    void operator()(float* buffer) const { fftwf_free(buffer); }
};

/// Both plans, filling, both transforms: what no band filter of this kind can do without.
Work transformsAlone(Image image) {
    return [=] {
        const lumo::FftLayout layout = lumo::layoutOf(image.width, image.height);
        const std::unique_ptr<float[], FftwFree> buffer(static_cast<float*>(
            fftwf_malloc(static_cast<std::size_t>(layout.floats()) * sizeof(float))));
        auto* spectrum = reinterpret_cast<fftwf_complex*>(buffer.get());
        const fftwf_plan forward = fftwf_plan_dft_r2c_2d(layout.paddedWidth, layout.paddedHeight,
                                                         buffer.get(), spectrum, FFTW_ESTIMATE);
        const fftwf_plan reverse = fftwf_plan_dft_c2r_2d(layout.paddedWidth, layout.paddedHeight,
                                                         spectrum, buffer.get(), FFTW_ESTIMATE);
        for (int x = 0; x < layout.paddedWidth; ++x)
            for (int y = 0; y < layout.paddedHeight; ++y)
                layout.row(buffer.get(), x)[y] =
                    image.data[std::size_t(x % image.width) * image.width +
                               std::size_t(y % image.height)];
        fftwf_execute(forward);
        fftwf_execute(reverse);
        fftwf_destroy_plan(forward);
        fftwf_destroy_plan(reverse);
    };
}

/// Three exponentials a coefficient.
void multiplyAsDefined(const lumo::FreqFilterJob& job) {
    const auto g = [](double x, double mean, double sigma) {
        return std::exp(-0.5 * (((x - mean) / sigma) * ((x - mean) / sigma)));
    };
    const lumo::FftLayout& layout = job.layout;
    const lumo::BandParameters& p = job.parameters;
    for (int i = 0; i < layout.paddedWidth; ++i)
        for (int j = job.first; j < job.end; ++j) {
            const int kx = i <= layout.paddedWidth / 2 ? i : i - layout.paddedWidth;
            const double f = std::hypot(kx / (job.pixelsizeX * 1e-6 * layout.paddedWidth),
                                        j / (job.pixelsizeY * 1e-6 * layout.paddedHeight));
            const auto factor =
                static_cast<float>((p.al0 + (p.al1 - p.al0) * g(f, 0, p.ftp)) *
                                   (p.ah0 + (p.ah1 - p.ah0) * (1 - g(f, 0, p.fhp))) *
                                   (p.ab0 + (p.ab1 - p.ab0) * g(f, p.fbp0, p.fbp / 2)));
            layout.row(job.buffer, i)[2 * j] *= factor;
            layout.row(job.buffer, i)[2 * j + 1] *= factor;
        }
}

const lumo::bench::Group group([](Suite& suite) {
    const Image image = suite.radiograph(), scratch = suite.scratch();
    lumo::BandParameters parameters;
    parameters.al0 = 0.9;
    parameters.ah0 = 0.8;
    parameters.ab1 = 1.7;
    const lumo::FftLayout layout = lumo::layoutOf(image.width, image.height);
    const std::shared_ptr<float[]> spectrum(new float[static_cast<std::size_t>(layout.floats())]());
    const lumo::FreqFilterJob job{
        0, layout.rowStride / 2, spectrum.get(), layout, 100000, 100000, parameters};
    suite.add({"band filter, spectrum alone",
               [=, keep = spectrum] { lumo::Filter_FreqColumns(job); },
               {{"as defined", [=, keep = spectrum] { multiplyAsDefined(job); }, 14}}});
    // As many workers and transform threads as the process may use, for the peer too: run it under
    // taskset for one.
    lumo::Init_FftThreads();
    cpu_set_t allowed;
    sched_getaffinity(0, sizeof allowed, &allowed);
    const bool one = CPU_COUNT(&allowed) == 1;
    const Work alone = transformsAlone(image);
    for (const auto& [name, times] : {std::pair{"gauss_fd2", one ? 1 / 1.1 : 1 / 1.3},
                                      {"gauss_fd", one ? 1 / 1.2 : 1 / 1.35}}) {
        const std::string text = std::string("type=") + name + " al0=0.9 ah0=0.8 ab1=1.7";
        suite.add({std::string("band filter, ") + name,
                   [=] { SC_Filter_Image(image, scratch, 100000, 100000, text.c_str()); },
                   {{"FFTW alone", alone, times}}});
    }
});

}  // namespace
