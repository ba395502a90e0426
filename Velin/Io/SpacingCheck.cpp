#include <Velin/Io/SpacingCheck.h>

#include <utility>

namespace velin {
namespace io {

const char* spacingAxisName(SpacingAxis axis) {
    switch (axis) {
        case SpacingAxis::Depth:
            return "depth spacing";
        case SpacingAxis::AScan:
            return "spacing between A-scans";
        case SpacingAxis::BScan:
            return "spacing between B-scans";
    }
    return "spacing";
}

std::string spacingProblem(SpacingAxis axis, double um) {
    return velin::spacingProblem(um, axis == SpacingAxis::BScan);
}

void dropImplausibleSpacing(Volume& volume) {
    const std::pair<SpacingAxis, double*> spacings[] = {{SpacingAxis::Depth, &volume.spacingDepthUm},
                                                        {SpacingAxis::AScan, &volume.spacingAScanUm},
                                                        {SpacingAxis::BScan, &volume.spacingBScanUm}};
    for (const auto& spacing : spacings) {
        if (*spacing.second == 0.0) continue;  // unknown
        const std::string problem = spacingProblem(spacing.first, *spacing.second);
        if (problem.empty()) continue;
        volume.notes.push_back(std::string(spacingAxisName(spacing.first)) + " in the file: " + problem +
                               "; taken as unknown");
        *spacing.second = 0.0;
    }
}

}  // namespace io
}  // namespace velin
