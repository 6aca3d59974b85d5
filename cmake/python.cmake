# The Python that the package is made for is the system's own, which the system's packages belong to; one that comes first
# on the search path is not.
set(Python_ROOT_DIR /usr CACHE PATH "Where the Python is that the package is made for")
set(Python_FIND_STRATEGY LOCATION)
find_package(Python REQUIRED COMPONENTS Interpreter Development)
find_package(pybind11 REQUIRED)
