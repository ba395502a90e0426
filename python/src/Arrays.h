#pragma once

// NumPy arrays over memory the C++ side already holds, without copying it.

#include <pybind11/numpy.h>

#include <memory>
#include <vector>

namespace velin {
namespace python {

namespace py = pybind11;

/// Hands `values` over to a new array of `shape`; the array owns them from then on.
template <typename T>
py::array_t<T> adoptVector(std::vector<T>&& values, const std::vector<py::ssize_t>& shape, bool writeable) {
    auto* owned = new std::vector<T>(std::move(values));
    py::capsule release(owned, [](void* p) { delete static_cast<std::vector<T>*>(p); });
    py::array_t<T> array(shape, owned->data(), release);
    if (!writeable) py::detail::array_proxy(array.ptr())->flags &= ~py::detail::npy_api::NPY_ARRAY_WRITEABLE_;
    return array;
}

/// A read-only array of `shape` over `values`, which `owner` keeps alive.
template <typename T>
py::array_t<T> readOnlyView(const T* values, const std::vector<py::ssize_t>& shape, py::handle owner) {
    py::array_t<T> array(shape, values, owner);
    py::detail::array_proxy(array.ptr())->flags &= ~py::detail::npy_api::NPY_ARRAY_WRITEABLE_;
    return array;
}

}  // namespace python
}  // namespace velin
