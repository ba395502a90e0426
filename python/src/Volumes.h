#pragma once

#include <pybind11/pybind11.h>

namespace velin {
namespace python {

/// read_volume and make_phantom: volumes from files and the built-in phantom, as read-only uint8 arrays.
void bindVolumes(pybind11::module_& m);

}  // namespace python
}  // namespace velin
