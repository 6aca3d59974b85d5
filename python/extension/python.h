/// pybind11 with what every file of the extension takes from it.
#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

namespace face {

namespace py = pybind11;

}  // namespace face
