#include <Velin/VelinDetectorIpp.h>

#include <cmath>

namespace Orvan {
namespace Velin {

namespace {
// Values this small count as "no value": a point that never had a response or weight keeps its zero.
constexpr double kNoValue = 1e-6;
}  // namespace

// Both value lists are recomputed from the response at the points' present positions, since the
// refinement passes have moved the lower points since their weights were first set. The recomputed lower
// weight is the bare response: the point-confidence factor of the first tracing is not carried over.
void VelinDetectorIpp::refreshTraceWeights(double scale) {
    if (std::fabs(scale) < kNoValue) return;

    for (std::size_t k = 0; k < upperTraces.size(); ++k) {
        const Trace& trace = upperTraces[k];
        ValueList& values = upperResponses[k];
        for (std::size_t i = 0; i < trace.size(); ++i) {
            if (std::fabs(values[i]) >= kNoValue) {
                const BoundaryPoint& p = trace[i];
                values[i] = static_cast<float>(std::fabs(responseImage.getRow(p.aScan)[p.depth] / scale));
            }
        }
    }
    for (std::size_t k = 0; k < lowerTraces.size(); ++k) {
        const Trace& trace = lowerTraces[k];
        ValueList& values = lowerWeights[k];
        for (std::size_t i = 0; i < trace.size(); ++i) {
            if (std::fabs(values[i]) >= kNoValue) {
                const BoundaryPoint& p = trace[i];
                values[i] = static_cast<float>(std::fabs(responseImage.getRow(p.aScan)[p.depth] / scale));
            }
        }
    }

    normaliseToMaximum(upperResponses);
    normaliseToMaximum(lowerWeights);
}

// Scales by the maximum only; the minimum is not subtracted, so a value keeps its ratio to the strongest
// point of the B-scan and zero stays zero.
void VelinDetectorIpp::normaliseToMaximum(CheckedList<ValueList>& values) {
    float greatest = -1e6f;
    for (const ValueList& list : values) {
        for (float v : list) {
            if (v >= greatest) greatest = v;
        }
    }
    if (greatest == 0.0f) return;

    for (ValueList& list : values) {
        for (float& v : list) v /= greatest;
    }
}

}  // namespace Velin
}  // namespace Orvan
