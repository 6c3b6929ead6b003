# Wraps CMake. `make demo` and `make test` work on a fresh clone.
BUILD ?= build
JOBS ?= $(shell nproc 2>/dev/null || echo 2)
CMAKE_FLAGS ?=
FUZZ_BUILD ?= build-fuzz
FUZZ_SECONDS ?= 30

# Sanitizer runs stop at the first finding and print where it came from.
SANITIZER_ENV = ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1

.PHONY: all build demo test test-sanitize test-valgrind bench fuzz fuzz-ci install clean python

all: build

$(BUILD)/CMakeCache.txt:
	cmake -S . -B $(BUILD) $(CMAKE_FLAGS)

build: $(BUILD)/CMakeCache.txt
	cmake --build $(BUILD) -j $(JOBS)

demo: build
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
	$(MAKE) build BUILD=build-valgrind CMAKE_FLAGS="-DPSDKIT_BUILD_BENCH=OFF -DCMAKE_BUILD_TYPE=RelWithDebInfo -DPSDKIT_VALGRIND=ON"
	cd build-valgrind && ctest --output-on-failure -j $(JOBS) -L valgrind

bench: build
	$(BUILD)/bench/psdkit_bench

# The libFuzzer targets (clang, with AddressSanitizer and UBSan) and their
# seed corpora; fuzz/README.md says how to run them.
fuzz:
	cmake -S . -B $(FUZZ_BUILD) -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
	  -DCMAKE_BUILD_TYPE=RelWithDebInfo -DPSDKIT_BUILD_FUZZ=ON -DPSDKIT_SANITIZE=ON \
	  -DPSDKIT_BUILD_TESTS=OFF -DPSDKIT_BUILD_BENCH=OFF
	cmake --build $(FUZZ_BUILD) -j $(JOBS) --target psdkit_fuzz

# Each fuzz target for FUZZ_SECONDS on its seeds, as CI runs them.
fuzz-ci: fuzz
	fuzz/run-ci.sh $(FUZZ_BUILD) $(FUZZ_SECONDS)

# The Python module alone (build/python/module/psdkit*.so).
python: $(BUILD)/CMakeCache.txt
	cmake --build $(BUILD) -j $(JOBS) --target python

install: build
	cmake --install $(BUILD)

clean:
	rm -rf build build-sanitize build-valgrind build-fuzz
