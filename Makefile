# Wraps CMake. `make demo` and `make test` work on a fresh clone: each first
# installs the Debian packages it needs that the machine lacks (see deps below).
BUILD ?= build
JOBS ?= $(shell nproc 2>/dev/null || echo 2)
CMAKE_FLAGS ?=
FUZZ_BUILD ?= build-fuzz
FUZZ_SECONDS ?= 30

# The Debian packages psdkit needs, by what needs them; the one list.
# The library and the tool (`make demo`):
DEPS_DEMO = build-essential cmake pkg-config libjpeg-dev libpng-dev zlib1g-dev liblcms2-dev libdeflate-dev \
            nlohmann-json3-dev
# What the tests, the benchmarks, the Python module and the peer readers add (`make test`):
DEPS_TEST = libgtest-dev libgmock-dev libbenchmark-dev pybind11-dev python3-dev python3-numpy python3-pytest \
            python3-psd-tools python3-pil imagemagick libimage-exiftool-perl
# The fuzz targets and the format check (`make fuzz`, CI), and the valgrind run (`make test-valgrind`):
DEPS_FUZZ = clang clang-format libclang-rt-14-dev
DEPS_VALGRIND = valgrind

# Sanitizer runs stop at the first finding and print where it came from.
SANITIZER_ENV = ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1

.PHONY: all deps deps-demo deps-ci build demo test test-sanitize test-valgrind bench fuzz fuzz-ci install clean python format format-check

all: build

# Installs what `make test` needs (deps-demo: what `make demo` needs; deps-ci:
# what .ci/run needs), as root or through sudo without a password.
deps:
	@.ci/install-packages $(DEPS_DEMO) $(DEPS_TEST)

deps-demo:
	@.ci/install-packages $(DEPS_DEMO)

deps-ci:
	@.ci/install-packages $(DEPS_DEMO) $(DEPS_TEST) $(DEPS_FUZZ)

# The whole build: library, tool, tests and benchmarks. A build tree that
# `make demo` configured without the tests gets them back.
build: deps
	@if [ ! -f $(BUILD)/CMakeCache.txt ] || grep -q '^PSDKIT_BUILD_TESTS:BOOL=OFF' $(BUILD)/CMakeCache.txt; then \
	  set -x; cmake -S . -B $(BUILD) -DPSDKIT_BUILD_TESTS=ON -DPSDKIT_BUILD_BENCH=ON $(CMAKE_FLAGS); fi
	cmake --build $(BUILD) -j $(JOBS)

# Only the library and the tool: a new build tree leaves the tests out.
demo: deps-demo
	@if [ ! -f $(BUILD)/CMakeCache.txt ]; then \
	  set -x; cmake -S . -B $(BUILD) -DPSDKIT_BUILD_TESTS=OFF -DPSDKIT_BUILD_BENCH=OFF $(CMAKE_FLAGS); fi
	cmake --build $(BUILD) -j $(JOBS) --target psdkit-cli
	$(BUILD)/tools/psdkit demo --force $(BUILD)/psdkit-demo.psd

test: build
	cd $(BUILD) && ctest --output-on-failure -j $(JOBS) -LE valgrind

# The whole suite, the corruption sweep included, under AddressSanitizer,
# UndefinedBehaviorSanitizer and LeakSanitizer. The install tests are left out:
# they build the example against the installed library with plain flags, which
# cannot link a sanitized library.
test-sanitize:
	$(MAKE) build BUILD=build-sanitize CMAKE_FLAGS="-DPSDKIT_SANITIZE=ON -DPSDKIT_BUILD_BENCH=OFF -DCMAKE_BUILD_TYPE=RelWithDebInfo"
	cd build-sanitize && $(SANITIZER_ENV) ctest --output-on-failure -j $(JOBS) -LE 'valgrind|install'

# Each test executable once under valgrind memcheck (label valgrind): no
# errors and no definite or indirect leaks. The sweep and the peer-tool
# interop tests stay out of it (see tests/robustness/Extra.cmake).
test-valgrind:
	@.ci/install-packages $(DEPS_VALGRIND)
	$(MAKE) build BUILD=build-valgrind CMAKE_FLAGS="-DPSDKIT_BUILD_BENCH=OFF -DCMAKE_BUILD_TYPE=RelWithDebInfo -DPSDKIT_VALGRIND=ON"
	cd build-valgrind && ctest --output-on-failure -j $(JOBS) -L valgrind

bench: build
	$(BUILD)/bench/psdkit_bench

# The libFuzzer targets (clang, with AddressSanitizer and UBSan) and their
# seed corpora; fuzz/README.md says how to run them.
fuzz: deps-demo
	@.ci/install-packages $(DEPS_FUZZ)
	cmake -S . -B $(FUZZ_BUILD) -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
	  -DCMAKE_BUILD_TYPE=RelWithDebInfo -DPSDKIT_BUILD_FUZZ=ON -DPSDKIT_SANITIZE=ON \
	  -DPSDKIT_BUILD_TESTS=OFF -DPSDKIT_BUILD_BENCH=OFF
	cmake --build $(FUZZ_BUILD) -j $(JOBS) --target psdkit_fuzz

# Each fuzz target for FUZZ_SECONDS on its seeds, as CI runs them.
fuzz-ci: fuzz
	fuzz/run-ci.sh $(FUZZ_BUILD) $(FUZZ_SECONDS)

# The Python module alone (build/python/module/psdkit*.so).
python: build
	cmake --build $(BUILD) -j $(JOBS) --target python

# The sources follow .clang-format: `format` applies it, `format-check` (CI)
# fails on any difference.
format:
	git ls-files '*.cpp' '*.h' | xargs clang-format -i --style=file

format-check:
	git ls-files '*.cpp' '*.h' | xargs clang-format --dry-run --Werror --style=file

install: build
	cmake --install $(BUILD)

clean:
	rm -rf build build-sanitize build-valgrind build-fuzz
