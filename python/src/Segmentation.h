#pragma once

#include <pybind11/pybind11.h>

namespace velin {
namespace python {

/// segment_array and the Segmentation it returns: the engine's planes, the thickness map, the report's
/// figures and the grids, computed by the program's own code.
void bindSegmentation(pybind11::module_& m);

}  // namespace python
}  // namespace velin
