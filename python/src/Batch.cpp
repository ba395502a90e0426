#include "Batch.h"

#include "Arguments.h"

#include <CliError.h>
#include <FolderNames.h>
#include <VolumeJob.h>

#include <pybind11/stl.h>

#include <exception>
#include <string>

namespace velin {
namespace python {
namespace {

// The program's own volume job; a failure is its error line (without "velin: error: "), not an exception,
// because for a batch it is one row of the cohort table.
py::object segmentFile(const std::string& input, const std::string& outputDir, const py::dict& arguments) {
    const cli::SegmentSettings settings = settingsFrom(arguments, true);
    std::string error;
    {
        py::gil_scoped_release free;
        try {
            cli::segmentFile(input, outputDir, settings, nullptr);
        } catch (const cli::CliError& e) {
            error = cli::errorText(e.what(), e.file());
        } catch (const std::exception& e) {
            error = cli::errorText(e.what(), input);
        }
    }
    return error.empty() ? py::object(py::none()) : py::str(error);
}

}  // namespace

void bindBatch(py::module_& m) {
    m.def("segment_file", &segmentFile, py::arg("input"), py::arg("output_dir"), py::arg("arguments"),
          "Segments one file into output_dir as velin segment does; returns None or the error text.");
    m.def("is_output_name", &cli::isOutputName, py::arg("name"),
          "Whether a file of this name is one of a volume folder's outputs.");
    m.def("volume_folders", &cli::volumeFolders, py::arg("inputs"), py::arg("output_dir"),
          "The folder velin segment gives each input: OUTDIR/<stem>, repeated stems numbered -2, -3, ...");
}

}  // namespace python
}  // namespace velin
