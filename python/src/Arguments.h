#pragma once

// Python values to the program's segment options, checked by the program's own rules and messages.

#include <SegmentArguments.h>

#include <pybind11/pybind11.h>

namespace velin {
namespace python {

namespace py = pybind11;

/// Builds the options from a dict keyed like the program's options with underscores ("spacing_um",
/// "axial_factor", "gap_scale", ...), values as text or numbers; keys absent keep the program's defaults.
/// Unknown keys are a TypeError, values of the wrong type a TypeError, bad values a ValueError whose message
/// names the option in Python's spelling (spacing_um) or, with `optionNames`, as the program's option
/// (--spacing-um).
cli::SegmentSettings settingsFrom(const py::dict& arguments, bool optionNames);

void bindArguments(py::module_& m);

}  // namespace python
}  // namespace velin
