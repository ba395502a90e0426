// velin._velin: the compiled half of the Python package. The package's Python modules give it its public
// face (velin.read, velin.segment, velin.Result, python -m velin.batch); everything computed here is the
// program's own code, so that Python and `velin segment` agree byte for byte.

#include "Arguments.h"
#include "Batch.h"
#include "Segmentation.h"
#include "Volumes.h"

#include <Velin/velin_c.h>

#include <pybind11/pybind11.h>

PYBIND11_MODULE(_velin, m) {
    m.doc() = "Compiled part of the velin package; use the functions of velin itself.";
    m.attr("__version__") = velin_version();
    velin::python::bindArguments(m);
    velin::python::bindVolumes(m);
    velin::python::bindSegmentation(m);
    velin::python::bindBatch(m);
}
