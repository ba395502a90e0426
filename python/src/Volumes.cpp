#include "Volumes.h"

#include "Arguments.h"
#include "Arrays.h"

#include <CliError.h>

#include <Velin/Io/Phantom.h>
#include <Velin/Io/VolumeFile.h>

#include <new>
#include <stdexcept>

namespace velin {
namespace python {
namespace {

// The array takes the samples over without a copy; eye and kind are None when the file does not say.
py::tuple describe(io::Volume&& volume) {
    auto optional = [](const std::string& text) { return text.empty() ? py::object(py::none()) : py::str(text); };
    const py::tuple spacing = py::make_tuple(volume.spacingDepthUm, volume.spacingAScanUm, volume.spacingBScanUm);
    py::array array = adoptVector(std::move(volume.samples), {volume.numBScans, volume.numAScans, volume.depth}, false);
    return py::make_tuple(array, optional(volume.eye), optional(volume.scanKind), spacing);
}

py::tuple readVolume(const std::string& path, const py::dict& arguments) {
    const cli::SegmentSettings settings = settingsFrom(arguments, false);
    io::Volume volume;
    std::string failure;
    {
        py::gil_scoped_release free;
        try {
            volume = io::readVolume(path, settings.read);
        } catch (const io::VolumeFileError& e) {
            failure = cli::errorText(e.what(), path);
        }
    }
    // The message is the program's line for the file, without its "velin: error: ".
    if (!failure.empty()) {
        PyErr_SetString(PyExc_OSError, failure.c_str());
        throw py::error_already_set();
    }
    return describe(std::move(volume));
}

py::tuple makePhantom(int numBScans, int numAScans, int depth, std::uint64_t seed, double noise,
                      const std::string& kind, const std::string& eye) {
    io::PhantomOptions options;
    options.numBScans = numBScans;
    options.numAScans = numAScans;
    options.depth = depth;
    options.seed = seed;
    options.noise = noise;
    options.scanKind = kind;
    options.eye = eye;
    io::Phantom phantom;
    {
        py::gil_scoped_release free;
        phantom = io::makePhantom(options);  // std::invalid_argument becomes ValueError
    }
    return describe(std::move(phantom.volume));
}

}  // namespace

void bindVolumes(py::module_& m) {
    m.def("read_volume", &readVolume, py::arg("path"), py::arg("arguments"),
          "Reads a volume file with the program's readers: (samples, eye, scan_kind, (dz, dx, dy)); 0 = unknown.");
    m.def("make_phantom", &makePhantom, py::arg("b_scans"), py::arg("a_scans"), py::arg("depth"), py::arg("seed"),
          py::arg("noise"), py::arg("kind"), py::arg("eye"),
          "The program's synthetic retina: (samples, eye, scan_kind, (dz, dx, dy)).");
}

}  // namespace python
}  // namespace velin
