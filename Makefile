# The commands a newcomer types. Each does its own set-up: make and apt are all that has to be there.
# `make test preset=dev` runs the tests of another preset of CMakePresets.json.
preset ?= release
PREFIX ?= /usr/local
cores := $(shell nproc)
release := build/release
sources = find tessel qfcore python tests fuzz bench examples docs -name '*.cpp' -o -name '*.h'

fuzz := build/fuzz
# Seconds for each fuzz target.
FUZZ_SECONDS ?= 60

.PHONY: build run python test coverage fuzz reliability bench bench-build bench-instructions performance docs package install setup setup-test setup-package setup-check setup-coverage \
  format check-format check-clang lint cppcheck tidy clean
.DEFAULT_GOAL := build

build: $(release)/build.ninja
	cmake --build --preset release --target tessel tessel_runtime qfcore

run: build
	cd build && release/bin/tessel ../examples/ecg.tsl

# The package is complete in the build folder; who imports it says where that is.
python: $(release)/build.ninja
	cmake --build --preset release --target python
	@echo 'PYTHONPATH=$(CURDIR)/$(release)/python'

# The tests of workers and of blocks wait most of their time: one more than there are cores runs beside them.
test: setup-test build/$(preset)/build.ninja
	cmake --build --preset $(preset)
	ctest --preset $(preset) -j $$(($(cores) + 1))

# The figures of the page come from the last `make test`, and from `make fuzz`.
reliability:
	docs/reliability.sh docs/reliability.md $(release) $(fuzz)

# Findings are written to build/fuzz/findings; what one shows is mended, and its file joins the corpus.
fuzz: setup-check $(fuzz)/build.ninja
	cmake --build --preset fuzz --target fuzz_targets
	fuzz/run.sh $(fuzz) $(FUZZ_SECONDS)

bench-build: $(release)/build.ninja
	cmake --build --preset release --target bench

bench: bench-build
	$(release)/bin/bench

performance: bench-build
	$(release)/bin/bench --markdown docs/performance.md --readme README.md

bench-instructions: setup-check bench-build
	bench/count_instructions.sh $(release)/bin/bench

# What the programs of all pages print stands behind them, and their pictures beside the pages.
docs: setup-test build python
	cmake --build --preset release --target reference
	$(release)/bin/reference docs/reference
	/usr/bin/python3 tests/docs/documents.py --renew $(release) *.md docs/*.md docs/*/*.md examples/*/*.md

# Debian packages, in build/package. `maintainer` says who answers for them.
package: setup-package $(release)/build.ninja
	$(if $(maintainer),cmake --preset release -DQFCORE_MAINTAINER='$(maintainer)')
	cmake --build --preset release --target tessel tessel_runtime qfcore python package_files
	cd $(release) && cpack -G DEB -B $(CURDIR)/build/package
	rm -rf build/package/_CPack_Packages

install: build
	cmake --install $(release) --prefix "$(PREFIX)"

setup:
	@cmake/setup.sh

setup-test:
	@cmake/setup.sh test package

setup-package:
	@cmake/setup.sh package

setup-check:
	@cmake/setup.sh check

setup-coverage:
	@cmake/setup.sh test coverage

build/%/build.ninja: CMakePresets.json | setup
	cmake --preset $*

# What no test reaches and tests/coverage/explained.txt does not explain is listed in build/coverage/untaken.txt, by the functions,
# conditions and cases of the source. Fails where there is any.
coverage: setup-coverage build/coverage/build.ninja
	cmake --build --preset coverage
	rm -rf build/coverage/profiles
	LLVM_PROFILE_FILE=$(CURDIR)/build/coverage/profiles/%m.profraw ctest --preset coverage -j $(cores)
	llvm-profdata-19 merge -sparse build/coverage/profiles/*.profraw -o build/coverage/profile
	llvm-cov-19 export -instr-profile=build/coverage/profile $$(printf -- '-object %s ' build/coverage/lib/lib*.so build/coverage/bin/*) \
	  $(addprefix -sources ,qfcore tessel) >build/coverage/coverage.json
	tests/coverage/untaken.py build/coverage/coverage.json . tests/coverage/explained.txt >build/coverage/untaken.txt

format: setup-check
	$(sources) | xargs clang-format -i

check-format: setup-check
	$(sources) | xargs clang-format --dry-run --Werror

check-clang: setup-check build/clang/build.ninja
	cmake --build --preset clang --target all bench

lint: cppcheck tidy

cppcheck: setup-check
	cppcheck --quiet -j$(cores) --std=c++20 --language=c++ --error-exitcode=1 --enable=warning,performance,portability \
	  --suppressions-list=cmake/cppcheck.txt -DQFCORE_DOUBLE_PRECISION_LIMIT=52 -I. -Itessel/include tessel qfcore python/extension

tidy: setup-check build/clang/build.ninja
	run-clang-tidy -quiet -p build/clang '$(CURDIR)/(tessel|qfcore)/'

clean:
	rm -rf build
