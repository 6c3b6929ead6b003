# Wraps CMake. `make demo` and `make test` work on a fresh clone.
BUILD ?= build
JOBS ?= $(shell nproc 2>/dev/null || echo 2)
CMAKE_FLAGS ?=

.PHONY: all build demo test test-sanitize test-valgrind bench fuzz install clean

all: build

$(BUILD)/CMakeCache.txt:
	cmake -S . -B $(BUILD) $(CMAKE_FLAGS)

build: $(BUILD)/CMakeCache.txt
	cmake --build $(BUILD) -j $(JOBS)

demo: build
	$(BUILD)/tools/psdkit demo --force $(BUILD)/psdkit-demo.psd

test: build
	cd $(BUILD) && ctest --output-on-failure -j $(JOBS) -LE valgrind

test-sanitize:
	$(MAKE) test BUILD=build-sanitize CMAKE_FLAGS="-DPSDKIT_SANITIZE=ON -DPSDKIT_BUILD_BENCH=OFF -DCMAKE_BUILD_TYPE=Debug"

test-valgrind:
	$(MAKE) build BUILD=build-valgrind CMAKE_FLAGS="-DPSDKIT_BUILD_BENCH=OFF -DCMAKE_BUILD_TYPE=Debug -DPSDKIT_VALGRIND=ON"
	cd build-valgrind && ctest --output-on-failure -j $(JOBS) -L valgrind

bench: build
	$(BUILD)/bench/psdkit_bench

install: build
	cmake --install $(BUILD)

clean:
	rm -rf build build-sanitize build-valgrind build-fuzz
