#pragma once

#include <pybind11/pybind11.h>

namespace velin {
namespace python {

/// What a cohort batch needs from the program: one volume file segmented into a folder exactly as
/// `velin segment` does it, and the program's folder names.
void bindBatch(pybind11::module_& m);

}  // namespace python
}  // namespace velin
