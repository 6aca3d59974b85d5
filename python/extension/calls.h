/// Calls into the host: its errors, warnings and console text become Python's.
#pragma once

#include <exception>
#include <new>
#include <utility>

#include "python/extension/python.h"
#include "tessel/console.h"
#include "tessel/messages.h"

namespace face {

/// Creates the classes of errors and warnings in `module`, and takes the host's warnings from now on.
void addMessages(py::module_& module);

/// Raises `qfcore.Error` with this identifier: sets Python's error and throws it.
[[noreturn]] void raise(const std::string& identifier, const std::string& text);

/// Hands over to Python what the host has said during a call: printed text, then warnings. Throws when Python
/// turns a warning into an error.
void passOnMessages(const tessel::ConsoleRedirect& console);

/// What `action` returns. It runs to its end before Python hears of anything, so a warning that Python raises
/// as an error leaves no operation half done.
template <class Action>
auto called(Action&& action) {
  tessel::ConsoleRedirect console;
  try {
    auto result = std::forward<Action>(action)();
    passOnMessages(console);
    return result;
  } catch (const tessel::HostError& error) {
    passOnMessages(console);
    raise(error.identifier(), error.what());
  }
}

/// Runs `action` for a slot of a Python type: exceptions of C++ become Python's, and `failed` the result.
template <class Result, class Action>
Result guarded(Result failed, Action&& action) noexcept {
  try {
    return std::forward<Action>(action)();
  } catch (py::error_already_set& error) {
    error.restore();
  } catch (const py::builtin_exception& error) {
    error.set_error();
  } catch (const std::bad_alloc&) {
    PyErr_NoMemory();
  } catch (const std::exception& error) {
    PyErr_SetString(PyExc_RuntimeError, error.what());
  }
  return failed;
}

}  // namespace face
