#include <Velin/Io/Phantom.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <stdexcept>

namespace velin {
namespace io {

namespace {

// The scan covers 6 mm x 6 mm of the fundus and 2 mm of depth, like a device cube; all anatomy below is in
// micrometres and millimetres so that any sampling of that field gives the same retina.
constexpr double kFieldMm = 6.0;
constexpr double kDepthUm = 2000.0;

// Mean 8-bit intensities of the tissues, as in a log-compressed device cube.
constexpr double kVitreous = 14.0;
constexpr double kNfl = 200.0;
constexpr double kGclIpl = 112.0;
constexpr double kInl = 55.0;
constexpr double kOpl = 100.0;
constexpr double kOnl = 50.0;
constexpr double kInnerSegments = 72.0;
constexpr double kEllipsoid = 185.0;
constexpr double kOuterSegments = 95.0;
constexpr double kRpe = 228.0;
constexpr double kChoroidTop = 95.0, kChoroidBottom = 60.0;
constexpr double kScleraTop = 30.0, kScleraBottom = 18.0;
constexpr double kCupTissueTop = 95.0, kCupTissueBottom = 45.0;

// Speckle: log-normal multiplicative grain whose spread at noise level 1 resembles a device cube.
constexpr double kSpeckleSigma = 0.15;
constexpr int kSpeckleBits = 12;
constexpr double kScanBrightnessSpread = 0.04;

// Fundus geometry in a frame whose x axis points nasally (towards the disc) and whose y axis points from
// the first B-scan to the last.
constexpr double kFovealPitSigmaMm = 0.42;
constexpr double kDiscRadiusXMm = 0.80, kDiscRadiusYMm = 0.95;
constexpr double kCupDepthUm = 380.0;
constexpr double kMinLayerUm = 4.0;

struct Anatomy {
    double foveaX, foveaY, discX, discY;
};

struct Segment {
    double start;  ///< in samples, fractional
    double valueTop, valueBottom;
};

struct ColumnModel {
    bool insideDisc = false;
    double top = 0.0;        ///< retina surface (or cup surface inside the disc), samples
    double nflBottom = 0.0;  ///< samples
    std::vector<Segment> segments;
};

std::uint64_t splitMix(std::uint64_t& state) {
    std::uint64_t z = (state += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
}

// Standard normal quantile by bisection on the error function: exact enough, portable and only run
// 4096 times per phantom.
double normalQuantile(double p) {
    double lo = -10.0, hi = 10.0;
    for (int i = 0; i < 80; ++i) {
        const double mid = 0.5 * (lo + hi);
        if (0.5 * std::erfc(-mid / std::sqrt(2.0)) < p) {
            lo = mid;
        } else {
            hi = mid;
        }
    }
    return 0.5 * (lo + hi);
}

// Factors with mean 1 at equally spaced quantiles, so that a uniform random index draws log-normal grain.
std::vector<float> speckleTable(double sigma) {
    const int size = 1 << kSpeckleBits;
    std::vector<float> table(static_cast<std::size_t>(size));
    for (int i = 0; i < size; ++i) {
        const double z = normalQuantile((i + 0.5) / size);
        table[static_cast<std::size_t>(i)] = static_cast<float>(std::exp(sigma * z - 0.5 * sigma * sigma));
    }
    return table;
}

double gaussian(double x, double centre, double sigma) {
    const double t = (x - centre) / sigma;
    return std::exp(-0.5 * t * t);
}

ColumnModel modelColumn(double xMm, double yMm, const Anatomy& anatomy, double samplesPerUm) {
    const double fx = xMm - anatomy.foveaX, fy = yMm - anatomy.foveaY;
    const double dx = xMm - anatomy.discX, dy = yMm - anatomy.discY;
    const double rFovea = std::hypot(fx, fy);
    const double rDisc = std::hypot(dx, dy);
    const double pit = gaussian(rFovea, 0.0, kFovealPitSigmaMm);

    // The nerve-fibre layer gathers towards the disc: thick at its rim, thickest above and below it
    // (the arcuate bundles), thin on the far temporal side and absent at the fovea.
    const double discRadius = std::hypot(kDiscRadiusXMm * dx, kDiscRadiusYMm * dy) / std::max(rDisc, 1e-9);
    const double nearDisc = std::exp(-std::max(rDisc - discRadius, 0.0) / 1.2);
    // Share of the vertical direction around the disc; it fades to an even 0.5 towards the disc centre,
    // where the direction is undefined, so that the cup floor stays smooth.
    const double ex = dx / kDiscRadiusXMm, ey = dy / kDiscRadiusYMm;
    const double rho2 = ex * ex + ey * ey;
    const double direction = rDisc > 0.0 ? (dy * dy) / (rDisc * rDisc) : 0.5;
    const double verticalShare = rho2 < 1.0 ? 0.5 + (direction - 0.5) * rho2 : direction;
    const double arcuate = 20.0 * gaussian(std::abs(fy), 1.6, 0.55) * std::exp(-std::max(rDisc - 1.0, 0.0) / 5.0);
    const double nflUm = std::max(kMinLayerUm + 2.0,
                                  (12.0 + 95.0 * nearDisc * (1.0 + 0.45 * verticalShare) + arcuate) * (1.0 - 0.95 * pit));
    const double gclIplUm = std::max(kMinLayerUm, (36.0 + 45.0 * gaussian(rFovea, 1.2, 0.6)) * (1.0 - 0.92 * pit));
    const double inlUm = std::max(kMinLayerUm, (28.0 + 12.0 * gaussian(rFovea, 1.1, 0.5)) * (1.0 - 0.85 * pit));
    const double oplUm = 22.0 * (1.0 - 0.5 * pit);
    const double onlUm = 70.0 + 40.0 * pit;
    const double innerSegmentsUm = 22.0 + 6.0 * pit;
    const double ellipsoidUm = 10.0;
    const double outerSegmentsUm = 22.0 + 8.0 * pit;
    const double rpeUm = 24.0;
    const double choroidUm = 220.0;

    // The pigment epithelium lies on a shallow bowl (the globe's curvature), tilted and gently undulating;
    // every layer above follows it, so the foveal pit appears where the inner layers thin out.
    const double r2 = (xMm * xMm + yMm * yMm) / (2.0 * (kFieldMm / 2.0) * (kFieldMm / 2.0));
    const double rpeTopUm = 960.0 - 140.0 * r2 + 35.0 * yMm / 3.0 + 12.0 * std::sin(1.3 * xMm + 0.7 * yMm);

    ColumnModel column;
    const double stack[] = {nflUm, gclIplUm, inlUm, oplUm, onlUm, innerSegmentsUm, ellipsoidUm, outerSegmentsUm};
    double topUm = rpeTopUm;
    for (double t : stack) topUm -= t;
    column.top = topUm * samplesPerUm;
    column.nflBottom = (topUm + nflUm) * samplesPerUm;

    if (rho2 < 1.0) {
        // Inside the disc there is no retina: the surface sinks into the cup over pale neural and laminar
        // tissue.
        column.insideDisc = true;
        const double cupUm = topUm + kCupDepthUm * (1.0 - rho2) * (1.0 - rho2);
        column.top = cupUm * samplesPerUm;
        column.segments = {{0.0, kVitreous, kVitreous},
                           {column.top, kCupTissueTop, kCupTissueBottom},
                           {(cupUm + 450.0) * samplesPerUm, kScleraTop, kScleraBottom}};
        return column;
    }

    const double values[] = {kNfl * (0.95 + 0.1 * nearDisc), kGclIpl, kInl, kOpl, kOnl, kInnerSegments, kEllipsoid,
                             kOuterSegments};
    column.segments.push_back({0.0, kVitreous, kVitreous});
    double boundaryUm = topUm;
    for (std::size_t i = 0; i < 8; ++i) {
        column.segments.push_back({boundaryUm * samplesPerUm, values[i], values[i]});
        boundaryUm += stack[i];
    }
    column.segments.push_back({boundaryUm * samplesPerUm, kRpe, kRpe});
    boundaryUm += rpeUm;
    column.segments.push_back({boundaryUm * samplesPerUm, kChoroidTop, kChoroidBottom});
    boundaryUm += choroidUm;
    column.segments.push_back({boundaryUm * samplesPerUm, kScleraTop, kScleraBottom});
    return column;
}

// Each sample integrates the piecewise model over its own extent, so boundaries fall between samples
// smoothly instead of jumping by whole samples.
void renderProfile(const std::vector<Segment>& segments, int depth, std::vector<float>& profile) {
    std::fill(profile.begin(), profile.end(), 0.0f);
    const double end = static_cast<double>(depth);
    for (std::size_t i = 0; i < segments.size(); ++i) {
        const double s0 = segments[i].start;
        const double s1 = i + 1 < segments.size() ? segments[i + 1].start : std::max(end, s0);
        const double lo = std::clamp(s0, 0.0, end), hi = std::clamp(s1, 0.0, end);
        if (hi <= lo) continue;
        const double span = std::max(s1 - s0, 1e-9);
        // The deepest segment's ramp runs to the end of the volume.
        const double rampEnd = i + 1 < segments.size() ? span : std::max(end - s0, 1e-9);
        for (int d = static_cast<int>(lo); d < static_cast<int>(std::ceil(hi)); ++d) {
            const double overlap = std::min(hi, d + 1.0) - std::max(lo, static_cast<double>(d));
            const double t = std::clamp((d + 0.5 - s0) / rampEnd, 0.0, 1.0);
            const double value = segments[i].valueTop + (segments[i].valueBottom - segments[i].valueTop) * t;
            profile[static_cast<std::size_t>(d)] += static_cast<float>(overlap * value);
        }
    }
}

void validate(const PhantomOptions& o) {
    const auto bad = [](const std::string& what) { throw std::invalid_argument("makePhantom: " + what); };
    if (o.numBScans < 1) bad("numBScans must be at least 1, got " + std::to_string(o.numBScans));
    if (o.numAScans < 8) bad("numAScans must be at least 8, got " + std::to_string(o.numAScans));
    if (o.depth < 64 || o.depth > 32767) bad("depth must be within 64..32767, got " + std::to_string(o.depth));
    const std::uint64_t samples = static_cast<std::uint64_t>(o.numBScans) * static_cast<std::uint64_t>(o.numAScans) *
                                  static_cast<std::uint64_t>(o.depth);
    if (samples > 2147483647u) bad("the volume would have " + std::to_string(samples) + " samples, more than 2^31-1");
    if (!(o.noise >= 0.0) || !std::isfinite(o.noise)) bad("noise must be a finite value >= 0, got " + std::to_string(o.noise));
    if (o.scanKind != "macula" && o.scanKind != "disc") bad("scanKind must be \"macula\" or \"disc\", got \"" + o.scanKind + "\"");
    if (o.eye != "OD" && o.eye != "OS") bad("eye must be \"OD\" or \"OS\", got \"" + o.eye + "\"");
}

std::int16_t truthSample(double boundary) { return static_cast<std::int16_t>(std::floor(boundary + 0.5)); }

}  // namespace

Phantom makePhantom(const PhantomOptions& options) {
    validate(options);
    const int nb = options.numBScans, na = options.numAScans, nd = options.depth;
    const double samplesPerUm = nd / kDepthUm;
    // The disc lies nasally: on the side of larger A-scan indices for a right eye, smaller for a left one.
    const double nasalSign = options.eye == "OS" ? -1.0 : 1.0;
    const Anatomy anatomy = options.scanKind == "disc" ? Anatomy{-4.2, 0.35, 0.0, 0.0} : Anatomy{0.1, 0.05, 4.3, 0.3};

    Phantom phantom;
    Volume& volume = phantom.volume;
    volume.numBScans = nb;
    volume.numAScans = na;
    volume.depth = nd;
    volume.eye = options.eye;
    volume.scanKind = options.scanKind;
    volume.spacingDepthUm = kDepthUm / nd;
    volume.spacingAScanUm = kFieldMm * 1000.0 / na;
    volume.spacingBScanUm = kFieldMm * 1000.0 / nb;
    volume.samples.resize(static_cast<std::size_t>(nb) * na * nd);
    phantom.top.assign(static_cast<std::size_t>(nb) * na, -1);
    phantom.nflBottom.assign(static_cast<std::size_t>(nb) * na, -1);
    phantom.topExact.assign(static_cast<std::size_t>(nb) * na, std::numeric_limits<float>::quiet_NaN());
    phantom.nflBottomExact.assign(static_cast<std::size_t>(nb) * na, std::numeric_limits<float>::quiet_NaN());

    const double sigma = kSpeckleSigma * options.noise;
    const std::vector<float> speckle = speckleTable(sigma);
    const std::uint64_t mask = (1u << kSpeckleBits) - 1u;
    std::vector<float> profile(static_cast<std::size_t>(nd));

    for (int b = 0; b < nb; ++b) {
        const double yMm = ((b + 0.5) / nb - 0.5) * kFieldMm;
        std::uint64_t scanState = options.seed ^ (0xD1B54A32D192ED03ull * static_cast<std::uint64_t>(b + 1));
        const double scanGain = 1.0 + kScanBrightnessSpread * options.noise *
                                          (2.0 * static_cast<double>(splitMix(scanState) >> 11) / 9007199254740992.0 - 1.0);
        for (int a = 0; a < na; ++a) {
            const double xMm = nasalSign * ((a + 0.5) / na - 0.5) * kFieldMm;
            const ColumnModel column = modelColumn(xMm, yMm, anatomy, samplesPerUm);
            const std::size_t position = static_cast<std::size_t>(b) * na + a;
            if (!column.insideDisc) {
                phantom.top[position] = truthSample(column.top);
                phantom.nflBottom[position] = truthSample(column.nflBottom);
                phantom.topExact[position] = static_cast<float>(column.top);
                phantom.nflBottomExact[position] = static_cast<float>(column.nflBottom);
            }
            renderProfile(column.segments, nd, profile);

            std::uint64_t state = splitMix(scanState);
            std::uint8_t* out = volume.samples.data() + position * static_cast<std::size_t>(nd);
            std::uint64_t bits = 0;
            int bitsLeft = 0;
            for (int d = 0; d < nd; ++d) {
                if (bitsLeft < kSpeckleBits) {
                    bits = splitMix(state);
                    bitsLeft = 64;
                }
                const float grain = speckle[static_cast<std::size_t>(bits & mask)];
                bits >>= kSpeckleBits;
                bitsLeft -= kSpeckleBits;
                const double value = profile[static_cast<std::size_t>(d)] * grain * scanGain;
                out[d] = static_cast<std::uint8_t>(std::lround(std::clamp(value, 0.0, 255.0)));
            }
        }
    }
    return phantom;
}

}  // namespace io
}  // namespace velin
