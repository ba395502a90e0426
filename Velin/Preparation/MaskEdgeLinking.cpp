#include <Velin/VelinDetectorIpp.h>

#include <cstdint>
#include <cstdlib>

namespace Orvan {
namespace Velin {

namespace {
// Depth tolerance between linked points; narrower B-scans get half of it.
constexpr int kDepthTolerance = 40;
constexpr int kDepthToleranceNarrow = 20;
constexpr int kNarrowAScanCount = 200;
// Points further apart than this many A-scans are never linked directly.
constexpr int kAScanReach = 8;

struct Linker {
    int tolerance;

    bool close(const BoundaryPoint& p, const BoundaryPoint& q) const {
        return std::abs(p.aScan - q.aScan) < kAScanReach && std::abs(p.depth - q.depth) <= tolerance;
    }

    // A point joins a chain next to its last point, or next to the one before when the last point was a
    // stray one (which needs three points in the chain to tell).
    bool joins(const BoundaryPoint& p, const Trace& chain) const {
        const std::size_t n = chain.size();
        if (n == 0) return true;
        if (close(p, chain[n - 1])) return true;
        return n >= 3 && close(p, chain[n - 2]);
    }

    // Index of the first point of the first run of runLength - 1 linked points. When there is none, the
    // index where the last attempt began.
    int forwardStart(const Trace& edges, int runLength) const {
        const int count = static_cast<int>(edges.size());
        int start = 0;
        if (runLength - 1 <= 1) return start;
        while (start < count - runLength) {
            int k = start;
            int run = 1;
            while (close(edges[k], edges[k + 1])) {
                ++k;
                if (++run >= runLength - 1) return start;
            }
            start = k + 1;
        }
        return start;
    }

    // Index of the last point of the last run of runLength linked points: one point more than the forward
    // run needs.
    int backwardEnd(const Trace& edges, int runLength) const {
        int end = static_cast<int>(edges.size()) - 1;
        if (runLength <= 1) return end;
        while (end >= runLength) {
            int k = end;
            int run = 1;
            while (close(edges[k - 1], edges[k])) {
                --k;
                if (++run >= runLength) return end;
            }
            end = k - 1;
        }
        return end;
    }
};

// Appends to the chain the first rising mask edge in row y that is near its last point and connected to it:
// in the row whose edge is the shallower one, the mask must be continuous from that edge down to the other.
bool linkRowPoint(const Orvan::Ipp::ippImage8u& mask, int firstDepth, int tolerance, int y, Trace& chain) {
    const BoundaryPoint last = chain.back();
    if (std::abs(y - last.aScan) >= 2) return false;

    const int width = mask.getWidth();
    const std::uint8_t* row = mask.getRow(y);
    for (int x = 2; x <= width - 2; ++x) {
        if (x <= firstDepth) continue;
        if (!(row[x - 1] == 0 && row[x] != 0)) continue;
        if (std::abs(x - last.depth) > tolerance) continue;

        bool connected = true;
        if (x < last.depth) {
            for (int c = x; c < last.depth && connected; ++c) connected = row[c] != 0;
        } else {
            const std::uint8_t* lastRow = mask.getRow(last.aScan);
            for (int c = last.depth; c < x && connected; ++c) connected = lastRow[c] != 0;
        }
        if (connected) {
            chain.push_back(BoundaryPoint{x, y});
            return true;
        }
    }
    return false;
}

// When the two chains hold more points than there are A-scans, either one of them is dropped (the shorter,
// or the backward one when it lies wholly left of the forward one) or, when they overlap, both are cut back
// to meet at the middle of the overlap.
void reconcileChains(Trace& forward, Trace& backward, int height, int m, bool& dropForward, bool& dropBackward) {
    const int forwardSize = static_cast<int>(forward.size());
    const int backwardSize = static_cast<int>(backward.size());
    if (forwardSize + backwardSize <= height) return;

    const auto keepLonger = [&]() {
        if (forwardSize < backwardSize) {
            dropForward = true;
        } else {
            dropBackward = true;
        }
    };
    if (forwardSize > height - m || backwardSize > height - m) {
        keepLonger();
        return;
    }
    // The backward chain runs toward smaller A-scans: its last point is its leftmost.
    const BoundaryPoint f0 = forward.front();
    const BoundaryPoint fl = forward.back();
    const BoundaryPoint b0 = backward.front();
    const BoundaryPoint bl = backward.back();
    const std::int64_t product = static_cast<std::int64_t>(fl.aScan - b0.aScan) * (f0.aScan - bl.aScan);
    if (product < 1) {
        keepLonger();
    } else if (bl.aScan < f0.aScan) {
        dropBackward = true;
    } else if (bl.aScan < fl.aScan) {
        const int mid = (bl.aScan + fl.aScan) / 2;
        while (forward.back().aScan > mid) forward.pop_back();
        while (backward.back().aScan < mid - 1) backward.pop_back();
    }
}
}  // namespace

// Builds one chain from the left and one from the right of the mask's first edge points, each starting at a
// run of well-linked points so that stray edges at the border do not seed it, and extends them row by row
// along the mask. When both chains together cover more A-scans than exist, they are cut so that they meet.
bool VelinDetectorIpp::linkMaskEdges() {
    const int height = maskImage.getHeight();
    const int tolerance = height < kNarrowAScanCount ? kDepthToleranceNarrow : kDepthTolerance;
    const Linker linker{tolerance};

    Trace edges;
    if (!checkMaskLayer(edges, false)) return false;
    const int m = minPointCount;
    const int count = static_cast<int>(edges.size());

    const int start = linker.forwardStart(edges, m);
    const int end = linker.backwardEnd(edges, m);

    Trace forward;
    int lastTaken = -1;
    for (int i = start; i < count; ++i) {
        if (linker.joins(edges[i], forward)) {
            forward.push_back(edges[i]);
            lastTaken = i;
        }
    }

    bool forwardValid = false;
    if (static_cast<int>(forward.size()) >= m) {
        forwardValid = true;
        if (static_cast<int>(forward.size()) < height - 1 && lastTaken < count - 1) {
            // A row without a link leaves every later row two or more A-scans from the chain's end, so
            // nothing further could be linked: the extension stops there.
            for (int y = forward.back().aScan + 1; y <= height - 2; ++y) {
                if (!linkRowPoint(maskImage, dataFirstDepth, tolerance, y, forward)) break;
            }
        }
    }

    Trace backward;
    if (static_cast<int>(forward.size()) < height - 1) {
        const int firstAScan = edges[0].aScan;
        for (int i = end; i >= 1; --i) {
            if (edges[i].aScan <= firstAScan) continue;
            if (linker.joins(edges[i], backward)) backward.push_back(edges[i]);
        }
    }

    bool backwardValid = false;
    if (static_cast<int>(backward.size()) >= m) {
        backwardValid = true;
        for (int y = backward.back().aScan - 1; y >= edges[0].aScan + 1; --y) {
            if (!linkRowPoint(maskImage, dataFirstDepth, tolerance, y, backward)) break;
        }
    }

    bool dropForward = false;
    bool dropBackward = false;
    reconcileChains(forward, backward, height, m, dropForward, dropBackward);

    if (forwardValid && !dropForward) upperTraces.push_back(forward);
    if (backwardValid && !dropBackward) upperTraces.push_back(backward);

    snapTracesToResponseMaximum(responseImage);
    return !upperTraces.empty();
}

}  // namespace Velin
}  // namespace Orvan
