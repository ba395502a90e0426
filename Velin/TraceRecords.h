#pragma once

#include <Velin/CheckedList.h>

#include <cstdint>

namespace Orvan {
namespace Velin {

/// One point of an upper-boundary segment, with the depth at which the downward search below it ends.
struct UpperPoint {
    std::int32_t depth;
    std::int32_t aScan;
    std::int32_t limitDepth;
    std::int32_t limitAScan;  ///< paired with limitDepth; only the bend test reads it
    float weight;             ///< > 0 means a reliable point
};

/// One local extremum of the response along an A-scan. All zero stands for "no candidate".
struct ExtremumRecord {
    std::int32_t depth;
    std::int32_t aScan;
    float value;
};

/// A point of a trace: depth (column in the images) and A-scan (row).
struct BoundaryPoint {
    std::int32_t depth;
    std::int32_t aScan;
};

using Trace = CheckedList<BoundaryPoint>;
using Segment = CheckedList<UpperPoint>;
using CandidateList = CheckedList<ExtremumRecord>;
using ValueList = CheckedList<float>;

}  // namespace Velin
}  // namespace Orvan
