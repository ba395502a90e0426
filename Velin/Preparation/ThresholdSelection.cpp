#include <Velin/VelinDetectorIpp.h>

#include <Velin/Image/IppPrimitives.h>

#include <array>
#include <cmath>

namespace Orvan {
namespace Velin {
namespace {

using namespace Orvan::Ipp;
using Probabilities = std::array<double, 256>;

// Grey-level probabilities over the columns first..last of all rows. False (with no histogram) when the
// range does not lie inside the image or holds no pixel.
bool columnProbabilities(const ippImage8u& source, int first, int last, Probabilities& p) {
    const int width = source.getWidth();
    const int n = last - first + 1;
    if (first < 0 || first >= width || last < 0 || last >= width || n < 0 || n > width) return false;
    Ipp32s counts[256] = {};
    Ipp32s levels[257] = {};
    ippiHistogramEven_8u_C1R(source.getPixel(first, 0), source.getStep(), IppiSize{n, source.getHeight()}, counts,
                             levels, 257, 0, 256);
    const int pixels = n * source.getHeight();
    if (pixels < 1) return false;
    for (int i = 0; i < 256; ++i) p[i] = static_cast<double>(counts[i]) / pixels;
    return true;
}

// Pixels below t become 0 and pixels above it 1; pixels equal to t keep the value t. Unlike applyThreshold,
// which maps them to 0, and kept so: the mask then holds three values.
void writeSelectorMask(const ippImage8u& source, ippImage8u& mask, int t) {
    const Ipp8u level = static_cast<Ipp8u>(t);
    ippiThreshold_LTValGTVal_8u_C1R(source.getData(), source.getStep(), mask.getData(), mask.getStep(),
                                    source.getSize(), level, 0, level, 1);
}

// Kittler-Illingworth minimum error threshold, deliberately without the class-2 log-probability term
// (weighted by zero): the criterion in this form favours splits with a small dark class less than the
// textbook one, and the tissue thresholds of the filter stage rest on it.
int minimumErrorThreshold(const Probabilities& p) {
    constexpr double kOmittedTermWeight = 0.0;
    int threshold = 0;
    double best = 0.0;
    bool haveCandidate = false;
    for (int split = 1; split <= 256; ++split) {
        double p1 = 0.0, m1 = 0.0;
        for (int i = 0; i < split; ++i) {
            p1 += p[i];
            m1 += i * p[i];
        }
        double p2 = 0.0, m2 = 0.0;
        for (int i = split; i < 256; ++i) {
            p2 += p[i];
            m2 += i * p[i];
        }
        double l1 = 0.0, s1 = 0.0, s2 = 0.0;
        if (p1 != 0.0 && p2 != 0.0) {
            const double mean1 = m1 / p1;
            const double mean2 = m2 / p2;
            double v1 = 0.0, v2 = 0.0;
            for (int i = 0; i < split; ++i) v1 += (i - mean1) * (i - mean1) * p[i];
            for (int i = split; i < 256; ++i) v2 += (i - mean2) * (i - mean2) * p[i];
            l1 = std::log(p1);
            s1 = v1 != 0.0 ? std::log(std::sqrt(v1 / p1)) : 0.0;
            s2 = v2 != 0.0 ? std::log(std::sqrt(v2 / p2)) : 0.0;
        }
        const double j = 1.0 + 2.0 * (p2 * s2 + p1 * s1) - 2.0 * (p1 * l1 + p2 * kOmittedTermWeight);
        if (j > 1.0 && (!haveCandidate || j < best)) {
            best = j;
            threshold = split - 1;
            haveCandidate = true;
        }
    }
    return threshold;
}

// Otsu's between-class variance, with grey levels counted from 1. Ties keep the smaller threshold.
int otsuThreshold(const Probabilities& p) {
    double totalMean = 0.0;
    for (int i = 0; i < 256; ++i) totalMean += (i + 1) * p[i];
    int threshold = 0;
    double best = 0.0;
    double omega = 0.0;
    double mu = 0.0;
    for (int k = 0; k < 256; ++k) {
        omega += p[k];
        mu += (k + 1) * p[k];
        const double spread = omega * (1.0 - omega);
        if (omega == 0.0 || omega == 1.0 || spread == 0.0) continue;
        const double between = (omega * totalMean - mu) * (omega * totalMean - mu) / spread;
        if (between > best) {
            best = between;
            threshold = k;
        }
    }
    return threshold;
}

}  // namespace

int VelinDetectorIpp::selectThresholdA(const ippImage8u& source, ippImage8u& mask, int first, int last, bool apply) {
    Probabilities p;
    if (!columnProbabilities(source, first, last, p)) return 0;
    const int t = minimumErrorThreshold(p);
    if (apply) writeSelectorMask(source, mask, t);
    return t;
}

int VelinDetectorIpp::selectThresholdB(const ippImage8u& source, ippImage8u& mask, int first, int last, bool apply) {
    Probabilities p;
    if (!columnProbabilities(source, first, last, p)) return 0;
    const int t = otsuThreshold(p);
    if (apply) writeSelectorMask(source, mask, t);
    return t;
}

}  // namespace Velin
}  // namespace Orvan
