#include "Segmentation.h"

#include "Arguments.h"
#include "Arrays.h"

#include <VolumeJob.h>

#include <pybind11/stl.h>

#include <limits>
#include <string>
#include <vector>

namespace velin {
namespace python {
namespace {

// One segmented volume. It keeps the samples it was segmented from, because the macular grid's centre is
// found on them when a grid is asked for.
struct Segmentation {
    py::object samples;
    VolumeView view;
    cli::MeasuredVolume measured;
};

void checkSamples(const py::array& samples) {
    const bool bytes = samples.dtype().is(py::dtype::of<std::uint8_t>());
    if (!bytes || samples.ndim() != 3 || !(samples.flags() & py::array::c_style))
        throw py::type_error("expected a C-contiguous uint8 array of shape (B-scans, A-scans, depth)");
}

std::unique_ptr<Segmentation> segmentArray(const py::array& samples, const std::string& label, const std::string& eye,
                                           const std::string& scanKind, const cli::Spacing& spacing,
                                           const py::dict& arguments, const py::object& progress) {
    checkSamples(samples);
    const cli::SegmentSettings settings = settingsFrom(arguments, false);
    auto segmentation = std::make_unique<Segmentation>();
    segmentation->samples = samples;
    for (int k = 0; k < 3; ++k)
        if (samples.shape(k) > std::numeric_limits<int>::max())
            throw py::value_error("the array's axis " + std::to_string(k) + " has " + std::to_string(samples.shape(k)) +
                                  " elements, too many to segment");
    // The engine reads the array's own memory: no copy is made.
    segmentation->view = {static_cast<const std::uint8_t*>(samples.data()), static_cast<int>(samples.shape(0)),
                          static_cast<int>(samples.shape(1)), static_cast<int>(samples.shape(2))};

    // Called between B-scans with the GIL released: Ctrl-C is noticed here, and its KeyboardInterrupt (or
    // any exception of the caller's callback) ends the call.
    const ProgressCallback relay = [&progress](int done, int total) {
        py::gil_scoped_acquire held;
        if (PyErr_CheckSignals() != 0) throw py::error_already_set();
        if (!progress.is_none()) progress(done, total);
    };
    const cli::VolumeInput input{segmentation->view, label, eye, scanKind, spacing, {}};
    {
        py::gil_scoped_release free;
        segmentation->measured = cli::measureVolume(input, settings, relay);
    }
    return segmentation;
}

py::array plane(const py::object& self, const std::string& name) {
    const auto& s = self.cast<const Segmentation&>();
    const Result& result = s.measured.result;
    const std::vector<py::ssize_t> shape{result.numBScans, result.numAScans};
    for (const cli::PlaneFile& file : cli::planeFiles(s.measured)) {
        if (name + ".npy" != file.name) continue;
        if (file.int16 != nullptr) return readOnlyView(file.int16, shape, self);
        return readOnlyView(file.float32, shape, self);
    }
    throw py::value_error("unknown plane '" + name + "'");
}

std::vector<std::string> planeNames(const Segmentation& s) {
    std::vector<std::string> names;
    for (const cli::PlaneFile& file : cli::planeFiles(s.measured)) {
        const std::string name = file.name;
        names.push_back(name.substr(0, name.size() - 4));
    }
    return names;
}

std::string report(const Segmentation& s) {
    const cli::MeasuredVolume& m = s.measured;
    return cli::buildReport(m.input, m.options, m.result, m.map, m.thickness, m.grid, m.gridNote, {}).dump();
}

std::string grid(const Segmentation& s, const std::string& kind) {
    const cli::MeasuredVolume& m = s.measured;
    cli::GridKind gridKind;
    if (kind == "etdrs")
        gridKind = cli::GridKind::Etdrs;
    else if (kind == "circle")
        gridKind = cli::GridKind::Circle;
    else
        throw py::value_error("grid: expected etdrs or circle, got '" + kind + "'");
    if (!m.input.spacing.lateralKnown())
        throw py::value_error("grid: lateral spacing unknown; give it with spacing_um");
    if (!m.result.segmented()) throw py::value_error("grid: nothing segmented");
    cli::GridResult result;
    {
        py::gil_scoped_release free;
        result = cli::gridOf(gridKind, s.view, m);
    }
    return cli::gridReport(result, "").dump();
}

}  // namespace

void bindSegmentation(py::module_& m) {
    py::class_<Segmentation>(m, "Segmentation", "One segmented volume (use velin.Result).")
        .def("plane", &plane, py::arg("name"),
             "A plane the program writes as <name>.npy, as a read-only array of shape (B-scans, A-scans).")
        .def("plane_names", &planeNames, "The planes the program writes, without .npy, in its order.")
        .def("report", &report, "The report as the program writes it (without its file list), as JSON text.")
        .def("grid", &grid, py::arg("kind"), "The report's grid object for etdrs or circle, as JSON text.")
        .def_property_readonly("samples", [](const Segmentation& s) { return s.samples; })
        .def_property_readonly("segmented", [](const Segmentation& s) { return s.measured.result.segmented(); });
    m.def(
        "segment_array",
        [](const py::array& samples, const std::string& label, const std::string& eye, const std::string& scanKind,
           const std::tuple<double, double, double>& spacing, const py::dict& arguments, const py::object& progress) {
            const auto [dz, dx, dy] = spacing;
            return segmentArray(samples, label, eye, scanKind, {dz, dx, dy}, arguments, progress);
        },
        py::arg("samples"), py::arg("label"), py::arg("eye"), py::arg("scan_kind"), py::arg("spacing"),
        py::arg("arguments"), py::arg("progress"),
        "Segments a C-contiguous uint8 array with the GIL released. Spacing (dz, dx, dy) in um, 0 = unknown; "
        "eye and scan_kind empty when unknown.");
}

}  // namespace python
}  // namespace velin
