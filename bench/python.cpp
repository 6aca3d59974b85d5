/// The Python package beside the C++ classes that it shows, and beside what a user of NumPy alone would write.
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>

#include <pybind11/embed.h>

#include "bench/languages.h"
#include "bench/operands.h"

namespace bench {
namespace {

namespace py = pybind11;

/// The interpreter, which lives to the end of the program: results of others may not die after it.
void startPython() {
  static const auto* interpreter = [] {
    auto* started = new py::scoped_interpreter;
    py::module_::import("sys").attr("path").attr("insert")(0, QFCORE_PYTHON_PACKAGE);
    return started;
  }();
  static_cast<void>(interpreter);
}

Contender python(Prepare prepare, std::vector<Goal> goals = {}) {
  return {"Python", std::move(prepare), std::move(goals)};
}

/// A fresh process that runs one statement.
Prepare byStarting(const std::string& statement) {
  return [=](std::size_t) -> Work {
    const std::string command =
        "PYTHONPATH='" QFCORE_PYTHON_PACKAGE "' '" QFCORE_PYTHON "' -c '" + statement + "'";
    return [=] {
      if (std::system(command.c_str()) != 0) throw std::runtime_error("Python does not start");
    };
  };
}

/// a + b of single values, again and again.
Prepare bySingleSums() {
  return [](std::size_t count) -> Work {
    return [=, a = fi(0.3, s16()), b = fi(-0.7, s16())] {
      for (std::size_t k = 0; k < count; ++k) benchmark::DoNotOptimize(a + b);
    };
  };
}

Prepare byConstruction() {
  return [](std::size_t count) -> Work {
    return [values = randomValues(count, 1)] {
      const unsigned dims[] = {static_cast<unsigned>(values.size()), 1};
      benchmark::DoNotOptimize(fi(values.data(), dims, 2, s16()));
    };
  };
}

Prepare byMatrixProduct() {
  return [](std::size_t side) -> Work {
    const unsigned dims[] = {static_cast<unsigned>(side), static_cast<unsigned>(side)};
    const auto matrix = [&](unsigned seed) {
      return fi(randomValues(side * side, 1, seed).data(), dims, 2, s16());
    };
    return [a = matrix(1), b = matrix(2)] { benchmark::DoNotOptimize(a.mtimes(b)); };
  };
}

constexpr const char* kVectors = "a, b = (qf.fi(random.uniform(-1, 1, n), 's16,15') for _ in range(2))";
constexpr const char* kMatrices = "a, b = (qf.fi(random.uniform(-1, 1, (n, n)), 's16,15') for _ in range(2))";

}  // namespace

Prepare byPython(const std::string& setUp, const std::string& body) {
  return [=](std::size_t elementCount) -> Work {
    startPython();
    py::dict names;
    names["n"] = elementCount;
    py::exec("import numpy as np, qfcore as qf\nrandom = np.random.default_rng(1)\n" + setUp +
                 "\ndef work():\n " + body,
             names);
    // The dictionary goes with the work, the interpreter does not.
    const auto kept = std::make_shared<py::dict>(names);
    return [kept, work = (*kept)["work"].cast<py::object>()] { work(); };
  };
}

std::vector<Job> pythonJobs() {
  const auto once = [](std::size_t) { return std::size_t{1}; };
  const std::size_t million = 1'000'000;
  return {
      {"python: a + b of single values",
       {{"C++", bySingleSums()},
        python(byPython("a, b = qf.fi(0.3, 's16,15'), qf.fi(-0.7, 's16,15')", "for _ in range(n): a + b"),
               {atMostNanoseconds(1000)})},
       {1'000}},
      {"python: fi(x, 's16,15')",
       {{"C++", byConstruction()},
        {"NumPy clip(rint(x * 2**15))",
         byPython("x = random.uniform(-1, 1, n)", "np.clip(np.rint(x * 2**15), -2**15, 2**15 - 1) / 2**15")},
        python(byPython("x = random.uniform(-1, 1, n)", "qf.fi(x, 's16,15')"),
               {atMost(1.2, "C++"), atMost(0.2, "NumPy clip(rint(x * 2**15))")})},
       {million}},
      {"python: a + b",
       {{"C++", byFi(s16(), {}, std::plus<>(), uniform(1, 1), uniform(1, 2))},
        python(byPython(kVectors, "a + b"), {atMost(1.1, "C++")})},
       {million}},
      {"python: a * b",
       {{"C++",
         byFi(
             s16(), {}, [](const fi& a, const fi& b) { return a.times(b); }, uniform(1, 1), uniform(1, 2))},
        python(byPython(kVectors, "a * b"), {atMost(1.1, "C++")})},
       {million}},
      {"python: a @ b",
       {{"C++", byMatrixProduct()}, python(byPython(kMatrices, "a @ b"), {atMost(1.1, "C++")})},
       {1'000},
       [](std::size_t side) { return side * side * side; }},
      {"python: start and import",
       {{"import numpy", byStarting("import numpy")},
        python(byStarting("import qfcore"), {atMostNanoseconds(150e6)})},
       {1},
       once,
       true},
  };
}

}  // namespace bench
