#include <Velin/VelinDetectorIpp.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdlib>

namespace Orvan {
namespace Velin {

namespace {
constexpr int kInitialWindow = 100;
// Keeps the second-band search clear of the bottom rows of the image.
constexpr int kBottomMargin = 21;
constexpr int kBandReach = 6;
constexpr double kBandFraction = 0.7;
constexpr double kValleyFraction = 0.7;
constexpr int kMinRunSteps = 7;

struct PointLimit {
    int limitDepth;
    float weight;
    bool strongValley;
};

// Looks down one A-scan below the upper point at depth d: the brightest sample just below it is the top
// layer (peak p, value P); a second band deeper down that reaches 0.7 P, and the darkest sample between the
// two, give the depth where the search for the lower boundary ends.
PointLimit findPointLimit(const float* f, int d, int w, int width) {
    const int end = d + w / 2;
    int p = d;
    // The snap to the response may leave a point one sample past the last column; its own sample is then
    // taken from the last column instead of from beyond the row.
    float peak = f[std::min(d, width - 1)];
    for (int x = d + 1; x < end; ++x) {
        if (f[x] > peak) {
            peak = f[x];
            p = x;
        }
    }

    const int lo = std::min(p + w, width - kBottomMargin);
    const int hi = std::min(lo + kBandReach * w, width - kBottomMargin);

    const float bandThreshold = static_cast<float>(static_cast<double>(peak) * kBandFraction);
    bool found = false;
    float bandBright = f[lo];
    int s = lo;
    int e = hi;
    float bandDeep = 0.0f;
    for (int x = hi; x > lo; --x) {
        if (!(f[x] > bandThreshold && x - p > w)) continue;
        if (!found) {
            found = true;
            bandDeep = f[x];
            e = x;
        }
        if (f[x] > bandBright) {
            bandBright = f[x];
            s = x;
        }
    }
    if (!found) return PointLimit{p, 0.0f, false};

    const float sum = bandBright + peak;
    const float thr = static_cast<float>(static_cast<double>(sum) * kValleyFraction * 0.5);
    bool strong = true;

    int darkAbove = 0;
    for (int x = p; x < s; ++x) darkAbove += f[x] < thr ? 1 : 0;
    int darkBelow = 0;
    if (p >= s || darkAbove == 0) {
        for (int x = s; x < e; ++x) darkBelow += f[x] < thr ? 1 : 0;
    }

    if (darkAbove + darkBelow == 0) {
        // No dark valley between the bands: end at the first dark sample below the band, if any.
        int x = e + w;
        while (x < hi && f[x] >= thr) ++x;
        if (x < hi) s = x;
        strong = false;
    } else if ((bandBright <= bandDeep || std::fabs(bandBright - peak) * 10.0 < peak) && darkAbove * 10 < s - p) {
        s = e;
    }

    float valley = FLT_MAX;
    int v = s;
    for (int x = s; x > p; --x) {
        if (f[x] < valley) {
            valley = f[x];
            v = x;
        }
    }

    if (valley > thr || v > e) return PointLimit{s, 0.0f, false};
    return PointLimit{v, 1.0f, strong};
}

// Records i..b-1 of every run of more than 6 linked steps go into the segment. A run is broken only by a
// record that moves more than one sample in depth and more than one A-scan at once. The record where a walk
// stops is never taken, even when the walk stopped at the end of the list.
void appendRuns(const Segment& records, Segment& segment) {
    const int n = static_cast<int>(records.size());
    int i = 0;
    while (i < n - 1) {
        int j = i + 1;
        int steps = 0;
        while (j < n) {
            const UpperPoint& prev = records[j - 1];
            const UpperPoint& cur = records[j];
            if (std::abs(cur.depth - prev.depth) > 1 && std::abs(cur.aScan - prev.aScan) > 1) break;
            ++steps;
            ++j;
        }
        const int stop = j < n ? j : n - 1;
        if (steps >= kMinRunSteps) {
            for (int k = i; k < stop; ++k) segment.push_back(records[k]);
        }
        i = stop;
    }
}
}  // namespace

// The search window w only ever shrinks, for the rest of the call: once a point lies so deep that half the
// window would leave the image, all later points and chains keep the narrower window.
bool VelinDetectorIpp::buildUpperSegments() {
    if (upperTraces.empty()) return false;

    const int width = filteredImage.getWidth();
    int w = kInitialWindow;

    for (const Trace& chain : upperTraces) {
        const int n = static_cast<int>(chain.size());
        if (n <= 2) continue;

        Segment records;
        int strongCount = 0;
        for (int k = 1; k <= n - 2; ++k) {
            const int d = chain[k].depth;
            const int a = chain[k].aScan;
            if (d + w / 2 > width - 1) w = width - d - 2;

            const PointLimit limit = findPointLimit(filteredImage.getRow(a), d, w, width);
            if (limit.weight > 0.0f && limit.strongValley) ++strongCount;
            records.push_back(UpperPoint{d, a, limit.limitDepth, a, limit.weight});
        }

        Segment segment;
        appendRuns(records, segment);
        if (!segment.empty() && strongCount >= minPointCount / 2) upperSegments.push_back(segment);
    }
    return !upperSegments.empty();
}

}  // namespace Velin
}  // namespace Orvan
