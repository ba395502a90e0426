#pragma once

#include <Velin/Entry/ShortPlane.h>
#include <Velin/VelinDetectorIpp.h>

#include <cstdint>

namespace Orvan {
namespace Velin {

/// Turns the detector's four result lists into the four planes (B-scans x A-scans): plane1/plane2 the depths
/// of the upper and lower boundary (-1 where none), plane3/plane4 the upper response and lower weight x 100,
/// truncated (0 where none). Short runs of -1 across B-scans are bridged in plane1 and plane2 with the limit
/// `maxGap`. Positions in the lists must lie inside the planes; the value lists must have, entry for entry,
/// at least as many rows as boundaryList1.
void fillResultPlanes(const MatrixList& boundaryList1, const MatrixList& boundaryList2, const MatrixList& valueList1,
                      const MatrixList& valueList2, std::int32_t maxGap, ShortPlane& plane1, ShortPlane& plane2,
                      ShortPlane& plane3, ShortPlane& plane4);

}  // namespace Velin
}  // namespace Orvan
