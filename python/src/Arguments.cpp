#include "Arguments.h"

#include <CLI/CLI.hpp>

#include <cctype>
#include <functional>
#include <map>
#include <string>

namespace velin {
namespace python {
namespace {

// CLI11 words a validation error as "--spacing-um: what"; a Python caller knows the option as spacing_um.
std::string pythonSpelling(std::string message) {
    if (message.compare(0, 2, "--") != 0) return message;
    message.erase(0, 2);
    for (char& c : message) {
        if (c == ':') break;
        if (c == '-') c = '_';
    }
    return message;
}

std::string text(const py::handle& value, const char* key) {
    if (!py::isinstance<py::str>(value))
        throw py::type_error(std::string(key) + ": expected a str, got " +
                             std::string(py::str(value.get_type().attr("__name__"))));
    return value.cast<std::string>();
}

template <typename T>
T number(const py::handle& value, const char* key) {
    const bool integral = std::is_integral<T>::value;
    // bool is an int to Python, but True as a smoothing level is a slip, not a choice.
    const bool accepted = !py::isinstance<py::bool_>(value) &&
                          (py::isinstance<py::int_>(value) || (!integral && py::isinstance<py::float_>(value)));
    if (!accepted)
        throw py::type_error(std::string(key) + ": expected " + (integral ? "an int" : "a number") + ", got " +
                             std::string(py::str(value.get_type().attr("__name__"))));
    try {
        return value.cast<T>();
    } catch (const py::cast_error&) {
        throw py::value_error(std::string(key) + ": " + std::string(py::str(value)) + " is out of range");
    }
}

using Setter = std::function<void(cli::SegmentArguments&, const py::handle&, const char*)>;

const std::map<std::string, Setter>& setters() {
    static const std::map<std::string, Setter> table = {
        {"shape", [](auto& a, auto v, auto k) { a.shape = text(v, k); }},
        {"layout", [](auto& a, auto v, auto k) { a.layout = text(v, k); }},
        {"flip", [](auto& a, auto v, auto k) { a.flip = text(v, k); }},
        {"scale", [](auto& a, auto v, auto k) { a.scale = text(v, k); }},
        {"spacing_um", [](auto& a, auto v, auto k) { a.spacing = text(v, k); }},
        {"grid", [](auto& a, auto v, auto k) { a.grid = text(v, k); }},
        {"axial_factor", [](auto& a, auto v, auto k) { a.axialFactor = text(v, k); }},
        {"boundaries", [](auto& a, auto v, auto k) { a.boundaries = text(v, k); }},
        {"eye", [](auto& a, auto v, auto k) { a.eye = text(v, k); }},
        {"gap_scale", [](auto& a, auto v, auto k) { a.gapScale = number<float>(v, k); }},
        {"width_selector", [](auto& a, auto v, auto k) { a.widthSelector = number<float>(v, k); }},
        {"aux", [](auto& a, auto v, auto k) { a.auxParameter = number<float>(v, k); }},
        {"smoothing", [](auto& a, auto v, auto k) { a.smoothing = number<int>(v, k); }},
        {"threads", [](auto& a, auto v, auto k) { a.threads = number<int>(v, k); }},
    };
    return table;
}

}  // namespace

cli::SegmentSettings settingsFrom(const py::dict& arguments, bool optionNames) {
    cli::SegmentArguments parsed;
    for (const auto& item : arguments) {
        const std::string key = py::str(item.first);
        const auto setter = setters().find(key);
        if (setter == setters().end()) throw py::type_error("unknown segment option '" + key + "'");
        if (!item.second.is_none()) setter->second(parsed, item.second, key.c_str());
    }
    try {
        return cli::makeSettings(parsed);
    } catch (const CLI::ValidationError& e) {
        throw py::value_error(optionNames ? std::string(e.what()) : pythonSpelling(e.what()));
    }
}

void bindArguments(py::module_& m) {
    m.def(
        "check_arguments", [](const py::dict& arguments, bool optionNames) { settingsFrom(arguments, optionNames); },
        py::arg("arguments"), py::arg("option_names") = false,
        "Raises TypeError or ValueError, with the program's message, for options velin segment would refuse.");
}

}  // namespace python
}  // namespace velin
